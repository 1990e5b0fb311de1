#include "tool/event_words.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <optional>

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

// Text that a TOML string can hold between quotes; none for what is no plain ASCII.
std::optional<std::string> toml_string(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c < 0x20 || c > 0x7e) return std::nullopt;
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
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

const std::vector<EventWords>& all_words() {
  static const std::vector<EventWords> words{
      {"command_execution", "Command from the request",
       "A shell command that the request had shaped, or phpinfo, was called.",
       "A value of the request is the command, holds it, or stands in it with characters that "
       "mean something to a shell; or the call stack shows that evaluated code made the call.",
       "Start the program without a shell and with a list of arguments (proc_open with an array), "
       "or pass each value through escapeshellarg and accept known values only."},
      {"code_execution", "Code from the request", "PHP code was about to be evaluated.",
       "The code is a value of the request, or comes out of a serialised object or a constructor "
       "that the request brought into an evaluation.",
       "Remove the evaluation: compute the result, or choose from a fixed list of functions."},
      {"web_shell", "Web shell", "Code that looks like a web shell was about to be evaluated.",
       "The agent knows the code as one of a family of web shells.",
       "Treat the machine as broken into: find the file or request that brought the code, and "
       "when it first came."},
      {"request_named_connection", "Connection to a host from the request",
       "The application was about to connect to a host that the request names.",
       "A value of the request is the host's name.", "Accept hosts from a fixed list only."},
      {"sql_injection", "SQL injection",
       "A query that the request had changed was sent to a "
       "database.",
       "A value of the request became more than a value in the query, or the query itself has "
       "the shape of an attack.",
       "Use prepared statements with bound parameters for every value."},
      {"ldap_injection", "LDAP injection",
       "A search filter that the request had changed was sent "
       "to a directory.",
       "A value of the request with parentheses, a star or a backslash stands in the filter.",
       "Pass each value through ldap_escape with LDAP_ESCAPE_FILTER."},
      {"xml_external_entity", "XML external entity",
       "An XML document with an external entity was parsed.",
       "The document declares an entity that stands in a file or at a URL.",
       "Parse without LIBXML_NOENT and LIBXML_DTDLOAD; refuse documents with a DOCTYPE."},
      {"file_include", "Inclusion of a file from the request",
       "A file that the request names, or one that no application includes, was about to be "
       "run as PHP.",
       "The path is a value of the request, or holds a place or wrapper that attacks use.",
       "Include from a fixed list of names; turn allow_url_include off."},
      {"file_read", "Reading of a file from the request",
       "A file that the request names by its whole path was about to be read.",
       "A value of the request holds the whole path.",
       "Look the file up by a name of a fixed form, below one folder, and check realpath."},
      {"request_forgery", "Request forgery",
       "The application was about to fetch a URL that the request names.",
       "A value of the request holds the whole URL.",
       "Accept known hosts and schemes only, and refuse internal addresses."},
      {"deserialisation_chain", "Object chain",
       "Reading serialised data led to a command or to code.",
       "The call stack shows a destructor or wake-up method inside unserialize.",
       "Do not give data from outside to unserialize: use json_decode, or allowed_classes."},
      {"deserialisation_file_create", "Object chain that creates a file",
       "Reading serialised data was about to create a file.",
       "The call stack shows a destructor or wake-up method inside unserialize.",
       "Do not give data from outside to unserialize: use json_decode, or allowed_classes."},
      {"yaml_object", "Object in YAML", "A YAML document with a PHP object was about to be read.",
       "The document holds !php/object and is a value of the request.", "Set yaml.decode_php = 0."},
      {"execution_record", "Command or code, nothing found",
       "An ordinary command or evaluation took place.",
       "Nothing was found. The line is the record that it happened.", ""},
      {"connection_record", "Connection, nothing found", "An ordinary connection was opened.",
       "Nothing was found. The line is the record that it happened.", ""},
      {"file_create", "File created or overwritten",
       "A file was about to be created or overwritten.",
       "Nothing was found. The line is the record that it happened.", ""},
      {"unknown", "Unknown event", "The module reported something that this tool has no name for.",
       "The number of the event is newer than this tool, or the line was not written by the "
       "local agent.",
       "Compare the versions of the module, the agent and this tool."},
  };
  return words;
}

const EventWords& words_for(std::string_view event) {
  const std::vector<EventWords>& words = all_words();
  const auto found = std::find_if(words.begin(), words.end(),
                                  [&](const EventWords& each) { return event == each.event; });
  return found != words.end() ? *found : words.back();
}

const char* category_words(std::string_view category) {
  if (category == "code_execution") {
    return "code, or a connection's host, taken from the request; web shells";
  }
  if (category == "query_injection") return "SQL, LDAP filters, XML external entities";
  if (category == "deserialisation") return "object chains, file creation, YAML objects";
  if (category == "file_access") return "inclusion, reading, request forgery";
  if (category == "command_execution") return "shell commands and phpinfo";
  return "";
}

const char* verdict_words(std::string_view verdict) {
  if (verdict == "blocked") return "The call was stopped: it did not take place.";
  if (verdict == "reported") {
    return "The call was let go: it took place. The policy only reports this category.";
  }
  if (verdict == "logged") return "The call was let go: nothing was found in it.";
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
  const auto condition = [](const char* key, const std::string& text) {
    const auto quoted = toml_string(text);
    return quoted && !text.empty() ? std::string(key) + " = " + *quoted + '\n' : std::string();
  };
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
