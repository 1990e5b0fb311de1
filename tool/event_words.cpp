#include "tool/event_words.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <optional>
#include <sstream>

#include "agent/toml_reader.h"

namespace vorgate::agent::tool {
namespace {

std::string text_of(const Address& address) {
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(address.v4 ? AF_INET : AF_INET6, address.bytes.data(), text, sizeof text);
  return text;
}

bool is_name_character(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '\\' || c == ':' || c == '{' || c == '}' || static_cast<unsigned char>(c) >= 0x80;
}

// "name(" at the front. Arguments are not escaped, so a line of a stack trace that
// begins otherwise is the rest of an argument with a line break.
bool begins_call(std::string_view text) {
  const std::size_t end = static_cast<std::size_t>(
      std::find_if_not(text.begin(), text.end(), is_name_character) - text.begin());
  return end > 0 && end < text.size() && text[end] == '(';
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

void add_sources(const char* place, char separator, std::string_view list,
                 const std::string& subject, std::vector<Source>* out) {
  constexpr std::size_t shortest = 3;  // what is shorter stands in anything
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(separator), list.size());
    std::string_view entry = list.substr(0, end);
    list.remove_prefix(std::min(end + 1, list.size()));
    while (!entry.empty() && entry.front() == ' ') entry.remove_prefix(1);
    const std::size_t equals = std::min(entry.find('='), entry.size());
    const std::string_view value = entry.substr(std::min(equals + 1, entry.size()));
    // A query stands in the event as it was sent, fields that follow it decoded. A name
    // without a value counts as a value itself.
    for (const std::string& each : {url_decoded(equals == entry.size() ? entry : value),
                                    std::string(equals == entry.size() ? entry : value)}) {
      const bool inside = each.size() >= shortest && subject.find(each) != std::string::npos;
      const bool around = subject.size() >= shortest && each.find(subject) != std::string::npos;
      if (!inside && !around && (subject.empty() || each != subject)) continue;
      Source source{place, url_decoded(entry.substr(0, equals)), each};
      if (std::none_of(out->begin(), out->end(), [&](const Source& known) {
            return known.name == source.name && known.value == source.value;
          })) {
        out->push_back(std::move(source));
      }
      break;
    }
  }
}

// A line of TOML; empty for no text, and for what is no plain ASCII.
std::string condition(const char* key, const std::string& text) {
  const bool plain =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7e; });
  if (text.empty() || !plain) return {};
  std::ostringstream line;
  constexpr auto quotes =
      toml::toml_formatter::default_flags & ~toml::format_flags::allow_literal_strings;
  line << toml::toml_formatter(toml::table{{key, text}}, quotes) << '\n';
  return line.str();
}

}  // namespace

std::string url_decoded(std::string_view text, bool plus_is_blank) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hex_digit(text[i + 1]) >= 0 &&
        hex_digit(text[i + 2]) >= 0) {
      out += static_cast<char>(hex_digit(text[i + 1]) * 16 + hex_digit(text[i + 2]));
      i += 2;
    } else {
      out += plus_is_blank && text[i] == '+' ? ' ' : text[i];
    }
  }
  return out;
}

const EventWords& words_for(std::string_view event) {
  const auto found = std::find_if(all_words.begin(), all_words.end(),
                                  [&](const EventWords& each) { return event == each.event; });
  return found != all_words.end() ? *found : all_words.back();
}

const char* category_words(std::string_view category) {
  for (const NamedCategory& each : categories) {
    if (category == each.name) return each.words;
  }
  return "";
}

const char* verdict_words(std::string_view verdict) {
  for (const VerdictWords& each : all_verdicts) {
    if (verdict == each.verdict) return each.words;
  }
  return "This tool does not know the verdict.";
}

const char* request_text_label(RequestText text) {
  constexpr std::array<const char*, request_texts> labels{
      "Virtual host", "Script",     "URI",           "Query and fields", "Method",
      "Peer",         "User agent", "Referer",       "Cookie",           "Forwarded for",
      "Content type", "Reserved",   "Upload's name", "Stack trace"};
  return labels[text];
}

std::string category_and_event(const LoggedEvent& event) {
  if (event.category.empty() || event.category == event.event) return event.event;
  std::string name = event.event;
  const std::string front = event.category + '_';
  if (name.compare(0, front.size(), front) == 0) name.erase(0, front.size());
  constexpr std::string_view back = "_injection";
  if (event.category == "query_injection" && name.size() > back.size() &&
      name.compare(name.size() - back.size(), back.size(), back) == 0) {
    name.erase(name.size() - back.size());
  }
  return event.category + '/' + name;
}

std::string client_of(const LoggedEvent& event, const Policy& policy) {
  const auto client = policy.client(event.request[remote_addr], event.request[forwarded_for]);
  return client ? text_of(*client) : event.request[remote_addr];
}

std::vector<std::string> calls_of(const LoggedEvent& event) {
  std::vector<std::string> calls;
  std::string_view rest = event.request[stack_trace];
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (calls.empty() || begins_call(line)) {
      calls.emplace_back(line);
    } else {
      calls.back().append("\n").append(line);
    }
  }
  std::reverse(calls.begin(), calls.end());
  if (!calls.empty()) return calls;
  rest = event.detail;
  while (!rest.empty()) {
    // An arrow inside an argument is followed by no call, unless somebody means it.
    std::size_t end = rest.find(")->");
    while (end != std::string_view::npos && !begins_call(rest.substr(end + 3))) {
      end = rest.find(")->", end + 3);
    }
    if (end == std::string_view::npos) {
      calls.emplace_back(rest);
      break;
    }
    calls.emplace_back(rest.substr(0, end + 1));
    rest.remove_prefix(end + 3);
  }
  return calls;
}

std::vector<Source> sources_of(const LoggedEvent& event) {
  std::vector<Source> sources;
  if (event.is_finding()) {
    add_sources("parameter", '&', event.request[query_string], event.subject, &sources);
    add_sources("cookie", ';', event.request[cookie], event.subject, &sources);
  }
  return sources;
}

AllowSnippet allow_snippet(const LoggedEvent& event, const Policy& policy) {
  AllowSnippet snippet;
  const std::string& server = event.request[server_name];
  const std::string path =
      event.request[request_uri].substr(0, event.request[request_uri].find('?'));
  const auto client = policy.client(event.request[remote_addr], event.request[forwarded_for]);
  std::string error;
  const std::string by_path = condition("uri_prefix", path);
  if (by_path.empty() || !parse_policy("[[allow]]\n" + by_path, "allow", &error)) {
    snippet.warnings.emplace_back(
        "No entry can name this page: its path is empty or can be read in several ways. An entry "
        "without the path would exempt the whole application.");
    return snippet;
  }
  const std::string by_server = condition("server_name", server);
  snippet.text = "[[allow]]\n" + by_server + by_path;
  if (client) snippet.text += condition("client", text_of(*client));
  // As the agent would take it, with the proxies that it trusts.
  std::optional<Policy> tried = parse_policy(snippet.text, "allow", &error);
  if (tried) tried->trusted_proxies = policy.trusted_proxies;
  if (!tried || !tried->exempts(server, event.request[request_uri], event.request[remote_addr],
                                event.request[forwarded_for])) {
    snippet.text.clear();
    snippet.warnings.emplace_back("No entry matches this request.");
    return snippet;
  }
  if (by_server.empty()) {
    snippet.warnings.emplace_back(
        "The event names no usable virtual host; the entry holds for all.");
  }
  if (!client) {
    snippet.warnings.emplace_back("The client is unknown; the entry holds for every client.");
  } else {
    snippet.warnings.emplace_back("Leave the client's line out to exempt the page for everybody.");
  }
  snippet.warnings.emplace_back(
      path == "/" ? "Below / lies everything: this exempts the client's every request."
                  : "It exempts all that lies below this path, and every kind of finding.");
  return snippet;
}

}  // namespace vorgate::agent::tool
