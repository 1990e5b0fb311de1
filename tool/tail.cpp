#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "agent/file_io.h"
#include "agent/utc.h"
#include "tool/commands.h"
#include "tool/event_reader.h"
#include "tool/event_words.h"
#include "tool/safe_text.h"

namespace vorgate::agent::tool {
namespace {

constexpr int follow_interval = 200;  // milliseconds

struct Options {
  bool follow = false;
  bool all = false;
  std::size_t lines = 20;
  bool lines_given = false;
  std::vector<std::string> categories;
  std::vector<std::string> verdicts;
  std::string since;
  std::string log;
};

// A time as events have it, to be compared as text: "15m" and the like before now,
// or the beginning of such a time. Empty: neither.
std::string since_text(const std::string& given) {
  std::size_t digits = 0;
  while (digits < given.size() && given[digits] >= '0' && given[digits] <= '9') ++digits;
  if (digits > 0 && digits < 10 && digits + 1 == given.size()) {
    const std::string_view units = "smhdw";
    constexpr std::array<std::int64_t, 5> seconds{1, 60, 3600, 86400, 604800};
    const std::size_t unit = units.find(given.back());
    if (unit == std::string_view::npos) return {};
    return utc_text(now_us() - std::stol(given) * seconds[unit] * 1'000'000).substr(0, 19);
  }
  std::string time = given;
  constexpr std::string_view rest = "0000-01-01T00:00:00.000000Z";
  if (time.size() < 10 || time.size() > rest.size()) return {};
  if (time.size() > 10 && time[10] == ' ') time[10] = 'T';
  // Short of microseconds, the Z comes earlier.
  if (time.size() > 16 && time.back() == 'Z') time.pop_back();
  return parse_utc(time + std::string(rest.substr(time.size()))) ? time : std::string();
}

bool among(const std::vector<std::string>& names, const std::string& name) {
  return names.empty() || std::find(names.begin(), names.end(), name) != names.end();
}

// What was not shown, by the reason.
struct Hidden {
  std::uint64_t records = 0;
  std::uint64_t filtered = 0;
};

class Tail {
 public:
  Tail(Options options, const Policy& policy)
      : options_(std::move(options)),
        policy_(policy),
        charset_(terminal_charset()),
        width_(terminal_width()),
        colours_(terminal_colours()) {}

  void run() {
    if (options_.follow && access(options_.log.c_str(), F_OK) != 0) {
      std::fprintf(stderr, "vorgate-agent tail: %s is not there yet; waiting for it\n",
                   options_.log.c_str());
      while (access(options_.log.c_str(), F_OK) != 0) poll(nullptr, 0, follow_interval);
    }
    show_latest();
    std::fflush(stdout);
    if (options_.follow) {
      follow();
    } else {
      say_hidden();
    }
  }

 private:
  struct Row {
    std::string text;
    Hidden before;
  };

  // Standard input, a pipe and a compressed file have to be read from the front.
  std::uint64_t seekable_size() const {
    const Descriptor file(::open(options_.log.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat about {};
    unsigned char start[2] = {0, 0};
    if (options_.log == "-" || !file || fstat(file.get(), &about) != 0 || !S_ISREG(about.st_mode) ||
        pread(file.get(), start, 2, 0) != 2 || (start[0] == 0x1f && start[1] == 0x8b)) {
      return 0;
    }
    return static_cast<std::uint64_t>(about.st_size);
  }

  // The last lines, read from as far behind as it takes to find so many.
  void show_latest() {
    const bool bounded = options_.since.empty() || options_.lines_given;
    const std::uint64_t size = bounded ? seekable_size() : 0;
    for (std::uint64_t window = 1 << 20;; window *= 8) {
      const std::uint64_t offset = size > window ? size - window : 0;
      std::string error;
      skipped_before_ = reader_.skipped();
      hidden_ = {};
      if (!reader_.open(options_.log, offset, &error)) give_up("tail", error);
      std::deque<Row> rows;
      while (const LoggedEvent* event = next()) {
        if (!wanted(*event)) continue;
        rows.push_back({row(*event), hidden_});
        if (bounded && rows.size() > options_.lines) rows.pop_front();
      }
      if (rows.size() < options_.lines && offset > 0) continue;
      if (!reader_.failure().empty()) give_up("tail", reader_.failure());
      if (!rows.empty() && rows.size() == options_.lines && bounded) {
        hidden_.records -= rows.front().before.records;
        hidden_.filtered -= rows.front().before.filtered;
      }
      for (const Row& each : rows) std::fputs(each.text.c_str(), stdout);
      shown_ = rows.size();
      return;
    }
  }

  // While following, a line without its end is one that is being written.
  const LoggedEvent* next() {
    const LoggedEvent* const event = reader_.next();
    return event != nullptr || options_.follow ? event : reader_.finish();
  }

  void follow() {
    say_filter();
    bool gone = false;
    while (true) {
      bool some = false;
      while (const LoggedEvent* event = reader_.next()) {
        if (wanted(*event)) {
          std::fputs(row(*event).c_str(), stdout);
          some = true;
        }
      }
      if (!reader_.failure().empty()) give_up("tail", reader_.failure());
      if (some) std::fflush(stdout);
      struct stat here {};
      struct stat there {};
      fstat(reader_.descriptor(), &here);
      const bool found = stat(options_.log.c_str(), &there) == 0;
      const bool other = found && (here.st_ino != there.st_ino || here.st_dev != there.st_dev);
      if (found && !other && static_cast<std::uint64_t>(there.st_size) < reader_.position()) {
        reopen("was cut short; starting at its front");
      } else if (other && gone) {
        // A process that had the old file open has had the time to write its line.
        reopen("is a new file");
        gone = false;
      } else {
        gone = other;
        poll(nullptr, 0, follow_interval);
      }
    }
  }

  void reopen(const char* what) {
    std::string error;
    if (!reader_.open(options_.log, 0, &error)) return;  // gone again, or not there yet
    std::fprintf(stderr, "vorgate-agent tail: %s %s\n", options_.log.c_str(), what);
  }

  bool wanted(const LoggedEvent& event) {
    const bool record = !event.is_finding();
    if (event.time < options_.since) {
      ++hidden_.filtered;
    } else if (record && !options_.all && options_.verdicts.empty()) {
      ++hidden_.records;
    } else if (!among(options_.categories, event.category) ||
               !among(options_.verdicts, event.verdict)) {
      ++hidden_.filtered;
    } else {
      return true;
    }
    return false;
  }

  std::string row(const LoggedEvent& event) const {
    const auto show = [&](std::string_view text) {
      // What nobody will see need not be made visible.
      return visible(text.substr(0, 4 * std::max<std::size_t>(width_, 200)), charset_);
    };
    const std::string place = std::to_string(reader_.offset());
    const std::string time =
        event.time.size() < 19 ? show(event.time) : show(event.time.substr(5, 14));
    const bool narrow = width_ > 0 && width_ < 110;
    const std::string what = show(narrow ? event.event : category_and_event(event));
    const std::string detail = show(event.detail);
    const std::string subject = show(event.subject);
    const std::string client = show(client_of(event, policy_));
    const std::string page =
        show(event.request[request_method] + (event.request[request_method].empty() ? "" : " ") +
             event.request[request_uri]);
    std::string out;
    const auto put = [&](const std::string& text, std::size_t width, const char* colour = nullptr) {
      if (!out.empty()) out += ' ';
      if (colours_ && colour != nullptr) out += colour;
      out += width == 0 ? cut(text, 200, charset_) : fit(text, width, charset_);
      if (colours_ && colour != nullptr) out += "\x1b[0m";
    };
    put(place, std::max<std::size_t>(place.size(), narrow ? 6 : 9), "\x1b[2m");
    put(narrow && time.size() == 14 ? time.substr(6) : time, narrow ? 8 : 14);
    put(show(event.verdict), 8,
        event.verdict == event_verdict::blocked ? "\x1b[32m"
        : event.is_finding()                    ? "\x1b[1;33m"
                                                : "\x1b[2m");
    put(what, narrow ? 18 : 27);
    std::size_t used = 0;
    if (width_ > 0) {
      used = place.size() < (narrow ? 6U : 9U) ? (narrow ? 6 : 9) : place.size();
      used += narrow ? 8 + 8 + 18 + 3 : 14 + 8 + 27 + 3;
    }
    const std::size_t fixed = used + (narrow ? 3 : 4 + 15);
    const std::size_t room = width_ > fixed + 12 ? width_ - fixed : 12;
    put(detail, width_ == 0 ? 18 : room / 5);
    put(subject, width_ == 0 ? 0 : room * 9 / 20, "\x1b[1m");
    if (!narrow) put(client.empty() ? "-" : client, width_ == 0 ? 0 : 15);
    const std::size_t rest = room - room / 5 - room * 9 / 20;
    put(cut(page, width_ == 0 ? 200 : rest, charset_), 0, "\x1b[2m");
    return out + '\n';
  }

  void say_filter() const {
    std::fprintf(stderr, "vorgate-agent tail: following %s, %s\n", options_.log.c_str(),
                 options_.all || !options_.verdicts.empty()
                     ? "records included"
                     : "findings only (--all shows records too)");
  }

  void say_hidden() const {
    std::string text = "vorgate-agent tail: " + std::to_string(shown_) +
                       (shown_ == 1 ? " event shown" : " events shown");
    const auto add = [&](std::uint64_t count, const char* what) {
      if (count > 0) text += "; " + std::to_string(count) + what;
    };
    add(hidden_.records, " plain records left out (--all shows them)");
    add(hidden_.filtered, " left out by the filter");
    add(reader_.skipped() - skipped_before_, " lines are no events");
    std::fprintf(stderr, "%s\n", text.c_str());
  }

  const Options options_;
  const Policy& policy_;
  const Charset charset_;
  const std::size_t width_;
  const bool colours_;
  EventReader reader_;
  Hidden hidden_;
  std::uint64_t skipped_before_ = 0;
  std::size_t shown_ = 0;
};

}  // namespace

void add_tail(CLI::App& program) {
  CLI::App* const command = program.add_subcommand(
      "tail",
      "Shows the latest findings, a line each. In front stands the byte where the event\n"
      "begins in the log; explain takes it");
  auto options = std::make_shared<Options>();
  command->add_flag("-f,--follow", options->follow, "go on with what is appended, until Ctrl-C");
  command->add_flag("-a,--all", options->all, "also plain records of calls without a finding");
  CLI::Option* const lines =
      command->add_option("-n,--lines", options->lines, "so many at most (20; with --since all)")
          ->type_name("N");
  std::vector<std::string> names;
  names.reserve(categories.size());
  for (const NamedCategory& each : categories) names.emplace_back(each.name);
  std::vector<std::string> verdicts;
  verdicts.reserve(all_verdicts.size());
  for (const VerdictWords& each : all_verdicts) verdicts.emplace_back(each.verdict);
  command->add_option("-c,--category", options->categories, "only of these categories")
      ->delimiter(',')
      ->check(CLI::IsMember(names));
  command->add_option("--verdict", options->verdicts, "only with these verdicts")
      ->delimiter(',')
      ->check(CLI::IsMember(verdicts));
  command->add_option("--since", options->since, "15m, 2h, 7d, or a time in UTC: 2026-01-31T08:00")
      ->type_name("TIME")
      ->check([](const std::string& text) {
        return since_text(text).empty()
                   ? "no time; write 15m, 2h, 7d, 2026-01-31 or 2026-01-31T08:00"
                   : std::string();
      });
  command->add_option("--log,LOG", options->log, "the event log, also .gz, or - (the policy's)")
      ->type_name("FILE");
  command->callback([options, lines] {
    options->lines_given = lines->count() > 0;
    if (!options->since.empty()) options->since = since_text(options->since);
    const Policy policy = policy_for("tail", &options->log);
    if (options->follow && options->log == "-") give_up("tail", "--follow needs a file");
    Tail(*options, policy).run();
  });
}

}  // namespace vorgate::agent::tool
