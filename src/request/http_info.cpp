#include "request/http_info.h"

#include <string_view>

#include "request/parameters.h"
#include "request/superglobals.h"
#include "stack/render.h"
#include "zend_api/engine.h"

namespace {

constexpr int max_stack_frames = 16;
constexpr std::size_t max_post_text = 4096;

std::string from_c_string(const char* text) { return text == nullptr ? std::string() : text; }

std::string server_entry(std::string_view name) {
  return php_get_info(TRACK_VARS_SERVER, name.data(), name.size());
}

}  // namespace

void php_get_part_http_info(HttpInfo& info) {
  info.request_uri = from_c_string(zend_api::request_info().request_uri);
  info.server_name = server_entry("SERVER_NAME");
  info.remote_addr = server_entry("REMOTE_ADDR");
  info.forwarded_for = server_entry("HTTP_X_FORWARDED_FOR");
}

void php_get_left_http_info(HttpInfo& info, bool with_stack) {
  const sapi_request_info& request = zend_api::request_info();
  info.script_path = from_c_string(request.path_translated);
  info.request_method = from_c_string(request.request_method);
  info.cookie = from_c_string(request.cookie_data);
  info.content_type = from_c_string(request.content_type);

  std::string query = from_c_string(request.query_string);
  if (info.request_method == "POST") {
    const std::string fields = php_request_raw_strings(TRACK_VARS_POST, max_post_text);
    if (!fields.empty()) {
      if (!query.empty()) query += '&';
      query += fields;
    }
  }
  info.query_string = query;

  info.user_agent = server_entry("HTTP_USER_AGENT");
  info.referer = server_entry("HTTP_REFERER");
  if (with_stack) info.stack_trace = format_debug_backtrace_str(max_stack_frames);
}
