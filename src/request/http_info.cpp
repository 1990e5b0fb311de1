#include "request/http_info.h"

#include <strings.h>

#include <string_view>

#include "request/parameters.h"
#include "stack/render.h"

namespace {

constexpr int max_stack_frames = 16;
constexpr std::size_t max_post_text = 4096;

std::string from_c_string(const char* text) { return text == nullptr ? std::string() : text; }

bool key_is(const zend_string* key, std::string_view name) {
  if (key == nullptr) return false;
  const std::string_view text = zend_api::text(key);
  return text.size() == name.size() && strncasecmp(text.data(), name.data(), name.size()) == 0;
}

// The first string of the array under a name, ignoring ASCII case; false when
// there is none.
bool find_string(HashTable* table, std::string_view name, std::string& out) {
  bool found = false;
  zend_api::for_each(table, [&](const zend_string* key, const zval* value) {
    if (!key_is(key, name) || zend_api::type_of(value) != IS_STRING) return true;
    out = zend_api::text(value);
    found = true;
    return false;
  });
  return found;
}

std::string server_entry(std::string_view name) {
  return php_get_info(TRACK_VARS_SERVER, name.data(), name.size());
}

}  // namespace

HashTable* getHashTable(int track) { return zend_api::request_array(track); }

std::string php_get_info(int track, const char* name, std::size_t name_len) {
  std::string value;
  if (track != TRACK_VARS_SERVER) return value;
  zend_api::materialise_server_array();
  HashTable* server = getHashTable(TRACK_VARS_SERVER);
  if (server != nullptr) find_string(server, {name, name_len}, value);
  return value;
}

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

std::string php_get_upload_file_name() {
  std::string name;
  HashTable* files = getHashTable(TRACK_VARS_FILES);
  if (files == nullptr) return name;
  zend_api::for_each(files, [&](const zend_string* field, const zval* value) {
    if (field == nullptr || zend_api::type_of(value) != IS_ARRAY) return true;
    return !find_string(zend_api::array(value), "name", name);
  });
  return name;
}
