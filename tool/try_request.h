#ifndef VORGATE_TOOL_TRY_REQUEST_H
#define VORGATE_TOOL_TRY_REQUEST_H

// A request made up on the command line or read from a file, in the form in which
// the engine hands one to the module.

#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace vorgate::agent::tool {

class TriedRequest {
 public:
  using Json = nlohmann::ordered_json;

  // Names and values below are exact bytes, not encoded. Names are treated as PHP
  // treats them: "a.b" becomes "a_b", "a[]" an array, "0" has no name. Wrong
  // input throws CLI::ValidationError.

  // Path and query as sent.
  void set_uri(const std::string& uri);
  void add_get(const std::string& name, const std::string& value);
  void add_post(const std::string& name, const std::string& value);
  void add_cookie(const std::string& name, const std::string& value);
  // "Name: value". Host, Cookie, X-Forwarded-For and Content-Type mean what they
  // mean in a request.
  void add_header(const std::string& line);
  // A whole request as it goes over the wire: request line, headers, empty line,
  // form fields. Line ends may be bare.
  void read(const std::string& text);

  std::string server_name;  // empty: the Host header's, or "localhost"
  std::string client = "192.0.2.1";

  // The engine's arrays, keys as host/host.h has them.
  const Json& get() const { return get_; }
  const Json& post() const { return post_; }
  const Json& cookies() const { return cookies_; }
  Json server() const;

  const std::string& method() const { return method_; }
  const std::string& uri() const { return uri_; }
  std::string query() const;
  const std::string& cookie_text() const { return cookie_text_; }
  std::string header(const std::string& name) const;

 private:
  void add_cookies(const std::string& text);

  std::string method_ = "GET";
  std::string uri_ = "/";
  std::string cookie_text_;
  std::vector<std::pair<std::string, std::string>> headers_;  // names in lower case
  Json get_ = Json::object();
  Json post_ = Json::object();
  Json cookies_ = Json::object();
};

}  // namespace vorgate::agent::tool

#endif  // VORGATE_TOOL_TRY_REQUEST_H
