#ifndef VORGATE_TOOL_EVENT_READER_H
#define VORGATE_TOOL_EVENT_READER_H

// Reading event logs. A log is read as it is written: a piece of a line that a
// killed process left behind, or anything else that is no event, is counted and
// passed over, so every event is seen once.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "agent/policy.h"
#include "vorgate/php_help.h"

namespace vorgate::agent::tool {

// The texts of a request, in the order of the log line.
enum RequestText : std::size_t {
  server_name,
  script_path,
  request_uri,
  query_string,
  request_method,
  remote_addr,
  user_agent,
  referer,
  cookie,
  forwarded_for,
  content_type,
  reserved,
  upload_file_name,
  stack_trace,
  request_texts,  // how many there are
};

// Their names in the log line.
extern const std::array<const char*, request_texts> request_text_names;

// One event. All texts are exact bytes from the network, whatever the line had to
// do to carry them: show them through visible() only.
struct LoggedEvent {
  std::string time;  // as in the line: UTC, RFC 3339
  std::string host;
  std::int64_t pid = 0;
  std::int64_t tid = 0;
  std::string event;
  std::optional<std::int64_t> code;
  std::string category;  // empty: none
  std::string verdict;
  std::string kind;
  std::string detail;
  std::string target;
  std::string subject;
  std::array<std::string, request_texts> request;
  std::uint64_t lost_before = 0;

  // Anything but a plain record of a call in which nothing was found.
  bool is_finding() const { return verdict != event_verdict::logged; }
};

// No value for a text that is no event.
std::optional<LoggedEvent> parse_event(std::string_view line);

// Reads one log from the front to the back, plain or compressed by gzip.
// Not for several threads.
class EventReader {
 public:
  EventReader() = default;
  EventReader(const EventReader&) = delete;
  EventReader& operator=(const EventReader&) = delete;
  ~EventReader();

  // Opens a log ("-" is standard input) and goes to the first line that begins at
  // `offset` or behind it; in a compressed log that counts the unpacked bytes. May
  // be called again, for another file. On failure `error` says "path: reason; remedy".
  bool open(const std::string& path, std::uint64_t offset, std::string* error);

  // The next event, valid until the next call; null at the end of what is there
  // now. Called again later, it goes on with what was appended since; the piece of
  // a line at the end waits for its rest.
  const LoggedEvent* next();

  // At the end of a log that nobody writes to any more: what stands there without a
  // line end, if it is an event; else it counts as skipped.
  const LoggedEvent* finish();

  // Where the line of the last event begins, in bytes, and the line's number,
  // counted from 1 at the offset that reading started from.
  std::uint64_t offset() const { return line_offset_; }
  std::uint64_t line() const { return line_; }
  // Where the next line begins.
  std::uint64_t position() const { return position_; }
  // Lines passed over because they are no events. Empty lines do not count.
  std::uint64_t skipped() const { return skipped_; }
  // Why reading ended before the end of the file; empty: it did not.
  const std::string& failure() const { return failure_; }
  // The open file; negative: none.
  int descriptor() const { return descriptor_; }

 private:
  bool fill();
  const LoggedEvent* take(std::string_view line, std::size_t length);
  void close();

  void* file_ = nullptr;  // zlib's
  int descriptor_ = -1;
  std::string path_;
  std::string failure_;
  std::string buffer_;
  std::size_t start_ = 0;    // of the next line in the buffer
  std::size_t scanned_ = 0;  // no line end between the start and here
  bool overlong_ = false;    // in a line too long to keep
  bool seeking_ = false;     // in the line before the first one that counts
  std::uint64_t position_ = 0;
  std::uint64_t line_offset_ = 0;
  std::uint64_t line_ = 0;
  std::uint64_t skipped_ = 0;
  LoggedEvent event_;
};

// The policy that the agent takes, by its file's usual place or by the environment;
// the default one when there is no such file. No value when the file is refused;
// `error` says why.
std::optional<Policy> policy_in_force(std::string* error);

// The policy for a command that reads the log at `path`. Empty, the path becomes the
// policy's; then a policy that is refused ends the command with status 2. With a path
// given the default policy takes its place, and a line on standard error says so.
Policy policy_for(const char* command, std::string* path);

// Says why on standard error, and ends the command with status 2.
[[noreturn]] void give_up(const char* command, const std::string& reason);

}  // namespace vorgate::agent::tool

#endif  // VORGATE_TOOL_EVENT_READER_H
