#include "request/superglobals.h"

#include <string_view>

namespace {

// The first string of the array under a name, ignoring ASCII case; false when
// there is none.
bool find_string(HashTable* table, std::string_view name, std::string& out) {
  bool found = false;
  zend_api::for_each(table, [&](const zend_string* key, const zval* value) {
    if (!zend_api::key_is(key, name) || zend_api::type_of(value) != IS_STRING) return true;
    out = zend_api::text(value);
    found = true;
    return false;
  });
  return found;
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
