#ifndef VORGATE_REQUEST_HTTP_INFO_H
#define VORGATE_REQUEST_HTTP_INFO_H

// The current request as events describe it, and access to its arrays. Meaningful
// on the request's thread while a request is served; what is missing is empty.
// Nothing is decoded, trimmed or kept between calls.

#include <cstddef>
#include <string>

#include "zend_api/engine.h"

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

// The request's array with the given TRACK_VARS_* index; null when there is none.
// Does not make _SERVER where the engine makes it on first use. The array stays
// the engine's.
HashTable* getHashTable(int track);

// The first string in _SERVER whose name equals the `name_len` bytes of `name`,
// ignoring ASCII case. Empty for every track but TRACK_VARS_SERVER.
std::string php_get_info(int track, const char* name, std::size_t name_len);

// Fills the four fields that the white list is asked with.
void php_get_part_http_info(HttpInfo& info);

// Fills the other fields of an ordinary event; the call stack, which is the
// costly part, only when asked for.
void php_get_left_http_info(HttpInfo& info, bool with_stack);

// The client's name of the first uploaded file; fields for several files are
// passed over.
std::string php_get_upload_file_name();

#endif  // VORGATE_REQUEST_HTTP_INFO_H
