#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/commands.h"
#include "tool/event_reader.h"
#include "tool/event_words.h"
#include "tool/safe_text.h"

namespace vorgate::agent::tool {
namespace {

constexpr std::size_t label_width = 18;
constexpr std::size_t shown_bytes = 4096;  // of one text

struct Options {
  std::string id;
  std::string log;
  std::uint64_t line = 0;
  bool last = false;
  bool full = false;
};

class Explanation {
 public:
  Explanation(const LoggedEvent& event, const Policy& policy, bool full)
      : event_(event),
        policy_(policy),
        full_(full),
        charset_(terminal_charset()),
        colours_(terminal_colours()),
        width_(std::clamp<std::size_t>(terminal_width() == 0 ? 100 : terminal_width(), 40, 120)) {}

  void print() const {
    const EventWords& words = words_for(event_.event);
    std::printf("%s: %s\n", bold(words.title).c_str(), verdict().c_str());
    prose(std::string(words.what) + ' ' + verdict_words(event_.verdict), 2);
    event_part();
    calls_part();
    request_part();
    heading(event_.is_finding() ? "Why it is a finding" : "Why there is a line");
    prose(words.why, 2);
    for (const Source& source : sources_of(event_)) {
      prose("Here the " + source.place + " " + quoted(source.name) + " has " +
                (source.value == event_.subject
                     ? "exactly this value."
                     : "the value " + quoted(source.value) +
                           (source.value.size() > event_.subject.size() ? ", which holds it."
                                                                        : ", which stands in it.")),
            2);
    }
    if (event_.is_finding()) remedy_part(words);
  }

 private:
  std::string bold(const std::string& text) const {
    return colours_ ? "\x1b[1m" + text + "\x1b[0m" : text;
  }

  std::string verdict() const {
    std::string text = visible(event_.verdict, charset_);
    if (!colours_) return text;
    return (event_.verdict == event_verdict::blocked ? "\x1b[32m"
            : event_.is_finding()                    ? "\x1b[1;33m"
                                                     : "") +
           text + "\x1b[0m";
  }

  std::string quoted(const std::string& text) const {
    return '"' + cut(visible(text.substr(0, 400), charset_), 200, charset_) + '"';
  }

  void heading(const char* text) const { std::printf("\n%s\n", bold(text).c_str()); }

  // Text of words, filled to the width.
  void prose(const std::string& text, std::size_t indent) const {
    std::string line(indent, ' ');
    std::size_t used = indent;
    for (std::size_t start = 0; start < text.size();) {
      const std::size_t end = std::min(text.find(' ', start), text.size());
      const std::string word = text.substr(start, end - start);
      const std::size_t room = columns(word);
      if (used > indent && used + 1 + room > width_) {
        std::printf("%s\n", line.c_str());
        line.assign(indent, ' ');
        used = indent;
      }
      if (used > indent) {
        line += ' ';
        ++used;
      }
      line += word;
      used += room;
      start = end + 1;
    }
    std::printf("%s\n", line.c_str());
  }

  // The exact bytes of a text, its lines below each other.
  std::string shown(const std::string& text, std::size_t indent) const {
    const std::size_t size = full_ ? text.size() : std::min(text.size(), shown_bytes);
    std::string all = visible(std::string_view(text).substr(0, size), charset_, LineBreaks::kept);
    std::string out;
    while (!all.empty() && all.back() == '\n') all.pop_back();
    for (const char c : all) {
      out += c;
      if (c == '\n') out.append(indent, ' ');
    }
    if (size < text.size()) {
      out += " [and " + std::to_string(text.size() - size) + " bytes more: --full]";
    }
    return out;
  }

  void field(const char* label, const std::string& text) const {
    if (text.empty()) return;
    std::printf("  %-*s%s\n", static_cast<int>(label_width), label,
                shown(text, label_width + 2).c_str());
  }

  void event_part() const {
    heading("Event");
    field("Time", event_.time);
    char code[32] = "";
    if (event_.code) {
      std::snprintf(code, sizeof code, " (0x%llx)", static_cast<unsigned long long>(*event_.code));
    }
    field("Name", event_.event + code);
    if (!event_.category.empty()) {
      const std::string words = category_words(event_.category);
      field("Category", event_.category + (words.empty() ? "" : ": " + words));
    }
    field("Tried", event_.kind);
    field("Function or chain", event_.detail);
    field("Acted on", event_.target);
    field("Subject", event_.subject);
    field("Machine", event_.host);
    field("Process, thread", std::to_string(event_.pid) + ", " + std::to_string(event_.tid));
    if (event_.lost_before > 0) {
      field("Lost before it",
            std::to_string(event_.lost_before) + " events that this process could not write");
    }
  }

  void calls_part() const {
    const std::vector<std::string> calls = calls_of(event_);
    heading("Calls, outermost first");
    if (calls.empty()) {
      std::printf("  none in the event\n");
      return;
    }
    const std::string script = event_.request[script_path];
    std::printf("  %s\n", script.empty() ? "the script" : visible(script, charset_).c_str());
    const char* const corner = charset_ == Charset::utf8 ? "\u2514\u2500 " : "`- ";
    for (std::size_t i = 0; i < calls.size(); ++i) {
      const std::size_t indent = 2 + 3 * i;
      const std::string text = visible(std::string_view(calls[i]).substr(0, 1200), charset_);
      std::printf(
          "%*s%s%s%s\n", static_cast<int>(indent), "", corner,
          cut(text, std::max<std::size_t>(width_, indent + 43) - indent - 3, charset_).c_str(),
          i + 1 < calls.size()                       ? ""
          : event_.verdict == event_verdict::blocked ? "   <- stopped here"
                                                     : "   <- let go");
    }
  }

  void request_part() const {
    heading("Request");
    const std::string client = client_of(event_, policy_);
    if (client != event_.request[remote_addr])
      field("Client", client + " (by the policy's proxies)");
    bool some = false;
    for (const RequestText text :
         {request_method, request_uri, server_name, query_string, remote_addr, forwarded_for,
          user_agent, referer, cookie, content_type, upload_file_name, script_path, reserved,
          stack_trace}) {
      field(request_text_label(text), event_.request[text]);
      some = some || !event_.request[text].empty();
    }
    if (!some) std::printf("  none: it was not made by a web request\n");
  }

  void remedy_part(const EventWords& words) const {
    heading("What to do");
    if (*words.remedy != '\0') prose(words.remedy, 2);
    if (event_.verdict == event_verdict::reported && !event_.category.empty()) {
      prose("To stop it: enforcement = \"block\" in the policy, and " +
                visible(event_.category, charset_) + " = \"block\" under [modes].",
            2);
    }
    const AllowSnippet snippet = allow_snippet(event_, policy_);
    if (!snippet.text.empty()) {
      prose("If the request is an ordinary one, this in the policy exempts it:", 2);
      std::printf("\n");
      for (std::size_t start = 0; start < snippet.text.size();) {
        const std::size_t end = snippet.text.find('\n', start);
        std::printf("%s\n", snippet.text.substr(start, end - start).c_str());
        start = end + 1;
      }
      std::printf("\n");
    }
    for (const std::string& warning : snippet.warnings) prose(warning, 2);
  }

  const LoggedEvent& event_;
  const Policy& policy_;
  const bool full_;
  const Charset charset_;
  const bool colours_;
  const std::size_t width_;
};

LoggedEvent find_event(const Options& options) {
  EventReader reader;
  std::string error;
  std::uint64_t offset = 0;
  if (!options.id.empty()) offset = std::stoull(options.id);
  if (!reader.open(options.log, offset, &error)) give_up("explain", error);
  std::optional<LoggedEvent> found;
  const LoggedEvent* event;
  while ((event = reader.next()) != nullptr || (event = reader.finish()) != nullptr) {
    if (options.line > 0 ? reader.line() >= options.line : !options.last) break;
    if (event->is_finding()) found = *event;
  }
  if (!reader.failure().empty()) give_up("explain", reader.failure());
  if (options.last) {
    if (!found) give_up("explain", options.log + ": no finding in it");
    return std::move(*found);
  }
  if (event == nullptr || (options.line > 0 && reader.line() != options.line)) {
    give_up("explain", options.log + ": line " + std::to_string(options.line) + " is no event");
  }
  if (!options.id.empty() && reader.offset() != offset) {
    give_up("explain", options.log + ": no event begins at byte " + options.id +
                           "; take the number in front of a line of tail, with the same log");
  }
  return *event;
}

}  // namespace

void add_explain(CLI::App& program) {
  CLI::App* const command =
      program.add_subcommand("explain", "Says all about one event, and what to do about it");
  auto options = std::make_shared<Options>();
  command->add_option("ID", options->id,
                      "the byte where it begins, from tail; or -: a line of the log from\n"
                      "standard input");
  command->add_option("--line", options->line, "the event of this line, counted from 1")
      ->check(CLI::PositiveNumber)
      ->type_name("N");
  command->add_flag("--last", options->last, "the latest finding (also without any of these)");
  command->add_flag("--full", options->full, "long texts whole");
  command->add_option("--log,LOG", options->log, "the event log, also .gz (the policy's)")
      ->type_name("FILE");
  command->callback([options] {
    if ((options->last || options->line > 0) && !options->id.empty()) {
      // Then the only positional argument is the log.
      if (!options->log.empty() || (options->last && options->line > 0)) {
        give_up("explain", "name the event once: ID, --line or --last");
      }
      options->log.swap(options->id);
    }
    if (options->id.empty() && options->line == 0) options->last = true;
    const bool number =
        options->id.size() < 19 && options->id.find_first_not_of("0123456789") == std::string::npos;
    if (!number && options->id != "-") {
      give_up("explain", visible(options->id, Charset::ascii) +
                             ": no event's number; take the one in front of a line of tail");
    }
    const bool piped = options->id == "-";
    if (piped) options->log = "-";
    const Policy policy = policy_for("explain", &options->log);
    if (piped) {
      std::string text;
      std::getline(std::cin, text);
      const std::optional<LoggedEvent> event = parse_event(text);
      if (!event) give_up("explain", "standard input: its first line is no event");
      Explanation(*event, policy, options->full).print();
    } else {
      Explanation(find_event(*options), policy, options->full).print();
    }
  });
}

}  // namespace vorgate::agent::tool
