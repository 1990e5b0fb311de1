#include "tool/try_request.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include <CLI/CLI.hpp>

#include "agent/text.h"
#include "tool/event_words.h"

namespace vorgate::agent::tool {
namespace {

using Json = TriedRequest::Json;

[[noreturn]] void refuse(const std::string& what) { throw CLI::ValidationError(what); }

std::string encoded(std::string_view text) {
  constexpr const char* digits = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || std::string_view("-_.").find(c) != std::string_view::npos) {
      out += c;
    } else {
      out += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return out;
}

bool is_number(const std::string& name) {
  return !name.empty() && name.size() < 19 && (name == "0" || name[0] != '0') &&
         std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Puts an entry into an array as PHP names it.
void add_entry(Json& entries, std::string name, const std::string& value, bool first_stays) {
  name.erase(0, std::min(name.find_first_not_of(' '), name.size()));
  const std::size_t bracket = name.find('[');
  const bool is_array =
      bracket != 0 && bracket != name.npos && name.find(']', bracket) != name.npos;
  if (is_array) name.resize(bracket);
  for (char& c : name) {
    if (c == ' ' || c == '.' || c == '[') c = '_';
  }
  if (name.empty()) return;
  if (name == "$" || name[0] == '#') {
    refuse("the parameter name '" + name + "' cannot be tried; take another name");
  }
  if (is_number(name)) name.insert(0, "#");
  if (first_stays && entries.contains(name)) return;
  if (!is_array) {
    entries[name] = value;
    return;
  }
  if (!entries[name].is_array()) entries[name] = Json::array();
  entries[name].push_back(value);
}

// Calls add(name, value) for each entry of an encoded form or query.
template <typename Add>
void for_each_pair(std::string_view text, char separator, bool plus_is_blank, Add&& add) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view pair = text.substr(0, end);
    const std::size_t equal = std::min(pair.find('='), pair.size());
    const std::string_view value = pair.substr(std::min(equal + 1, pair.size()));
    if (!pair.empty()) {
      add(url_decoded(pair.substr(0, equal), plus_is_blank), url_decoded(value, plus_is_blank));
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

void TriedRequest::set_uri(const std::string& uri) {
  uri_ = uri;
  for_each_pair(query(), '&', true, [&](const std::string& name, const std::string& value) {
    add_entry(get_, name, value, false);
  });
}

std::string TriedRequest::query() const {
  const std::size_t mark = uri_.find('?');
  return mark == uri_.npos ? std::string() : uri_.substr(mark + 1);
}

void TriedRequest::add_get(const std::string& name, const std::string& value) {
  add_entry(get_, name, value, false);
  uri_ += uri_.find('?') == uri_.npos ? '?' : '&';
  uri_ += encoded(name) + "=" + encoded(value);
}

void TriedRequest::add_post(const std::string& name, const std::string& value) {
  method_ = "POST";
  add_entry(post_, name, value, false);
  if (header("content-type").empty()) {
    headers_.emplace_back("content-type", "application/x-www-form-urlencoded");
  }
}

void TriedRequest::add_cookie(const std::string& name, const std::string& value) {
  add_entry(cookies_, name, value, true);
  if (!cookie_text_.empty()) cookie_text_ += "; ";
  cookie_text_ += encoded(name) + "=" + encoded(value);
}

void TriedRequest::add_cookies(const std::string& text) {
  for_each_pair(text, ';', false, [&](const std::string& name, const std::string& value) {
    add_entry(cookies_, name, value, true);
  });
  if (!cookie_text_.empty()) cookie_text_ += "; ";
  cookie_text_ += text;
}

void TriedRequest::add_header(const std::string& line) {
  const std::size_t colon = line.find(':');
  if (colon == 0 || colon == line.npos) refuse("'" + line + "' is no header; write 'Name: value'");
  const std::string name = lowered(line.substr(0, colon));
  const std::size_t start = std::min(line.find_first_not_of(" \t", colon + 1), line.size());
  const std::string value = line.substr(start);
  if (name == "cookie") {
    add_cookies(value);
  } else {
    headers_.emplace_back(name, value);
  }
}

std::string TriedRequest::header(const std::string& name) const {
  for (const auto& [known, value] : headers_) {
    if (known == name) return value;
  }
  return {};
}

void TriedRequest::read(const std::string& text) {
  std::size_t at = 0;
  const auto next_line = [&] {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string line = text.substr(at, end - at);
    at = std::min(end + 1, text.size());
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
  };
  const std::string head = next_line();
  const std::size_t blank = head.find(' ');
  const std::size_t end = head.find(' ', std::min(blank, head.size() - 1) + 1);
  if (blank == 0 || blank == head.npos || end == head.npos || head.compare(end, 6, " HTTP/") != 0) {
    refuse("no HTTP request; its first line has to be like 'GET /path?query HTTP/1.1'");
  }
  set_uri(head.substr(blank + 1, end - blank - 1));
  for (std::string line = next_line(); !line.empty(); line = next_line()) add_header(line);
  if (header("content-type").find("application/x-www-form-urlencoded") == 0) {
    std::string body = text.substr(at);
    while (!body.empty() && (body.back() == '\n' || body.back() == '\r')) body.pop_back();
    for_each_pair(body, '&', true, [&](const std::string& name, const std::string& value) {
      add_entry(post_, name, value, false);
    });
  } else if (header("content-type").find("multipart/form-data") == 0) {
    std::fprintf(stderr, "the multipart body is not read; give its fields by --post\n");
  }
  method_ = head.substr(0, blank);
}

Json TriedRequest::server() const {
  Json server = Json::object();
  for (const auto& [name, value] : headers_) {
    std::string key = "HTTP_" + name;
    std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) {
      return c == '-' ? '_' : static_cast<char>(std::toupper(c));
    });
    server[key] = value;
  }
  std::string name = server_name.empty() ? header("host") : server_name;
  if (server_name.empty() && (name.empty() || name[0] != '[')) {
    name.resize(std::min(name.find(':'), name.size()));
  }
  server["SERVER_NAME"] = name.empty() ? "localhost" : name;
  server["REMOTE_ADDR"] = client;
  return server;
}

}  // namespace vorgate::agent::tool
