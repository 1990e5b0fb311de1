#include "tool/event_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <nlohmann/json.hpp>

#include "agent/base64.h"
#include "agent/file_io.h"
#include "tool/commands.h"

namespace vorgate::agent::tool {
namespace {

using Json = nlohmann::json;

constexpr std::size_t block = 1 << 18;
// The agent's own lines stay far below; what is longer is no event.
constexpr std::size_t longest_line = 1 << 26;

gzFile gz(void* file) { return static_cast<gzFile>(file); }

const std::string* text_of(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
}

std::int64_t number_of(const Json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_number_integer() ? found->get<std::int64_t>() : 0;
}

}  // namespace

const std::array<const char*, request_texts> request_text_names{
    "server_name",  "script_path", "request_uri",      "query_string", "request_method",
    "remote_addr",  "user_agent",  "referer",          "cookie",       "forwarded_for",
    "content_type", "reserved",    "upload_file_name", "stack_trace"};

std::optional<LoggedEvent> parse_event(std::string_view line) {
  const Json json = Json::parse(line, nullptr, false);
  if (!json.is_object()) return std::nullopt;
  const auto raw_found = json.find("raw");
  const Json* const raw = raw_found != json.end() && raw_found->is_object() ? &*raw_found : nullptr;
  const auto read = [&](const Json& object, const std::string& prefix, const char* name,
                        std::string* out) {
    const std::string* text = raw != nullptr ? text_of(*raw, (prefix + name).c_str()) : nullptr;
    if (text != nullptr) {
      *out = from_base64(*text);
    } else if ((text = text_of(object, name)) != nullptr) {
      *out = *text;
    }
    return text != nullptr;
  };

  LoggedEvent event;
  // What no event is without.
  if (!read(json, "", "time", &event.time) || !read(json, "", "event", &event.event) ||
      !read(json, "", "verdict", &event.verdict)) {
    return std::nullopt;
  }
  read(json, "", "host", &event.host);
  read(json, "", "category", &event.category);
  read(json, "", "kind", &event.kind);
  read(json, "", "detail", &event.detail);
  read(json, "", "target", &event.target);
  read(json, "", "subject", &event.subject);
  event.pid = number_of(json, "pid");
  event.tid = number_of(json, "tid");
  event.lost_before =
      static_cast<std::uint64_t>(std::max<std::int64_t>(number_of(json, "lost_before"), 0));
  const auto code = json.find("code");
  if (code != json.end() && code->is_number_integer()) event.code = code->get<std::int64_t>();
  const auto request = json.find("request");
  if (request != json.end() && request->is_object()) {
    for (std::size_t i = 0; i < request_texts; ++i) {
      read(*request, "request.", request_text_names[i], &event.request[i]);
    }
  }
  return event;
}

EventReader::~EventReader() { close(); }

void EventReader::close() {
  if (file_ != nullptr) gzclose(gz(file_));
  file_ = nullptr;
  descriptor_ = -1;
}

bool EventReader::open(const std::string& path, std::uint64_t offset, std::string* error) {
  close();
  path_ = path;
  failure_.clear();
  buffer_.clear();
  start_ = scanned_ = 0;
  overlong_ = false;
  // From the byte before: if that ends a line, the next one counts.
  seeking_ = offset > 0;
  position_ = line_offset_ = seeking_ ? offset - 1 : 0;
  line_ = 0;
  const int number = path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                 : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  struct stat about {};
  if (number >= 0 && fstat(number, &about) == 0 && S_ISDIR(about.st_mode)) {
    ::close(number);
    errno = EISDIR;
  } else if (number >= 0) {
    file_ = gzdopen(number, "rb");
    if (file_ != nullptr) {
      descriptor_ = number;
      gzbuffer(gz(file_), block);
      if (!seeking_ || gzseek(gz(file_), static_cast<z_off_t>(position_), SEEK_SET) >= 0) {
        return true;
      }
      close();
      *error = path + ": cannot go to byte " + std::to_string(offset) + "; give a file, not a pipe";
      return false;
    }
    ::close(number);
    errno = ENOMEM;
  }
  const int reason = errno;
  *error = path + ": cannot be read: " + strerrordesc_np(reason);
  if (reason == ENOENT) *error += "; name the event log, or the policy by VORGATE_AGENT_CONFIG";
  if (reason == EACCES) *error += "; run this as a user who may read it";
  return false;
}

// Reads one more block. Answers whether something came.
bool EventReader::fill() {
  if (file_ == nullptr || !failure_.empty()) return false;
  if (start_ > 0) {
    buffer_.erase(0, start_);
    scanned_ -= start_;
    start_ = 0;
  }
  const std::size_t before = buffer_.size();
  buffer_.resize(before + block);
  const int got = gzread(gz(file_), buffer_.data() + before, static_cast<unsigned int>(block));
  buffer_.resize(before + (got > 0 ? static_cast<std::size_t>(got) : 0));
  if (got < 0) {
    int code = 0;
    const char* const reason = gzerror(gz(file_), &code);
    failure_ =
        path_ + ": reading ended early: " + (code == Z_ERRNO ? strerrordesc_np(errno) : reason);
  }
  // At the end of a file zlib stays there until it is told to look again.
  if (got == 0) gzclearerr(gz(file_));
  return got > 0;
}

// One line, without its end; `length` is with it.
const LoggedEvent* EventReader::take(std::string_view line, std::size_t length) {
  line_offset_ = position_;
  position_ += length;
  ++line_;
  std::optional<LoggedEvent> event;
  if (line.size() <= longest_line) event = parse_event(line);
  if (event) {
    event_ = std::move(*event);
    return &event_;
  }
  if (!line.empty()) ++skipped_;
  return nullptr;
}

const LoggedEvent* EventReader::next() {
  while (true) {
    const std::size_t end = buffer_.find('\n', scanned_);
    if (end == std::string::npos) {
      scanned_ = buffer_.size();
      if (scanned_ - start_ > longest_line) {
        // Its bytes are not kept, only counted.
        overlong_ = true;
        position_ += scanned_ - start_;
        start_ = scanned_;
      }
      if (!fill()) return nullptr;
      continue;
    }
    const std::string_view line(buffer_.data() + start_, end - start_);
    start_ = scanned_ = end + 1;
    if (overlong_ || seeking_) {
      position_ += line.size() + 1;
      if (!seeking_) {
        ++line_;
        ++skipped_;
      }
      overlong_ = seeking_ = false;
    } else if (const LoggedEvent* event = take(line, line.size() + 1)) {
      return event;
    }
  }
}

const LoggedEvent* EventReader::finish() {
  if (start_ == buffer_.size() && !overlong_) return nullptr;
  const std::string line = buffer_.substr(start_);
  start_ = scanned_ = buffer_.size();
  if (seeking_) return nullptr;
  if (!overlong_) return take(line, line.size());
  overlong_ = false;
  ++skipped_;
  return nullptr;
}

std::optional<Policy> policy_in_force(std::string* error) {
  const std::string path = policy_path();
  if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) return Policy();
  const std::optional<std::string> text = read_file(path, error);
  if (!text) return std::nullopt;
  return parse_policy(*text, path, error);
}

Policy policy_for(const char* command, std::string* path) {
  std::string error;
  std::optional<Policy> policy = policy_in_force(&error);
  if (!policy && path->empty()) give_up(command, error);
  if (!policy) {
    std::fprintf(stderr, "vorgate-agent %s: %s; going on with the default policy\n", command,
                 error.c_str());
    policy.emplace();
  }
  if (path->empty()) *path = policy->log_path;
  return std::move(*policy);
}

void give_up(const char* command, const std::string& reason) {
  std::fflush(stdout);
  std::fprintf(stderr, "vorgate-agent %s: %s\n", command, reason.c_str());
  throw CLI::RuntimeError(2);
}

}  // namespace vorgate::agent::tool
