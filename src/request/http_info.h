#ifndef VORGATE_REQUEST_HTTP_INFO_H
#define VORGATE_REQUEST_HTTP_INFO_H

// The current request as events describe it, made when it is described.
// Meaningful on the request's thread while a request is served; what is missing is empty.
// Nothing is decoded, trimmed or kept between calls.

#include <string>

// In the order of IPhpHelp::MQ_HttpInfo.
struct HttpInfo {
  std::string server_name;
  std::string script_path;
  std::string request_uri;
  std::string query_string;
  std::string request_method;
  std::string remote_addr;
  std::string user_agent;
  std::string referer;
  std::string cookie;
  std::string forwarded_for;
  std::string content_type;
  std::string reserved;
  std::string upload_file_name;
  std::string stack_trace;
};

// Fills the four fields that the white list is asked with.
void php_get_part_http_info(HttpInfo& info);

// Fills the other fields of an ordinary event; the call stack, which is the
// costly part, only when asked for.
void php_get_left_http_info(HttpInfo& info, bool with_stack);

#endif  // VORGATE_REQUEST_HTTP_INFO_H
