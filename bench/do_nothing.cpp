// What being watched costs at the least: a module with the three hooks and the
// nineteen wrappers of vorgate, each of which only forwards. The benchmark
// measures vorgate against it, since an engine with hooks takes other paths than
// one without, whatever the hooks do.

#include <strings.h>

#include <array>
#include <string_view>
#include <utility>

#include "zend_api/engine.h"

namespace {

constexpr std::string_view names[] = {
    "exec",
    "system",
    "passthru",
    "shell_exec",
    "popen",
    "proc_open",
    "fopen",
    "rename",
    "copy",
    "socket_connect",
    "fsockopen",
    "file_get_contents",
    "yaml_parse",
    "ldap_search",
    "file_put_contents",
    "move_uploaded_file",
    "curl_setopt",
    "curl_init",
    "phpinfo",
};
constexpr std::size_t count = std::size(names);

zif_handler saved[count];
decltype(zend_compile_file) old_compile_file;
decltype(zend_compile_string) old_compile_string;

template <std::size_t i>
void forward(zend_execute_data* execute_data, zval* return_value) {
  saved[i](execute_data, return_value);
}

template <std::size_t... i>
constexpr std::array<zif_handler, count> make_wrappers(std::index_sequence<i...>) {
  return {forward<i>...};
}
constexpr auto wrappers = make_wrappers(std::make_index_sequence<count>());

zend_op_array* compile_file(zend_file_handle* handle, int type) {
  return old_compile_file(handle, type);
}

zend_op_array* compile_string(zend_api_compiled_source* source,
                              zend_api_compiled_name name ZEND_API_COMPILE_POSITION_PARAMETER) {
  return old_compile_string(source, name ZEND_API_COMPILE_POSITION_ARGUMENT);
}

void run_internal(zend_execute_data* execute_data, zval* return_value) {
  execute_internal(execute_data, return_value);
}

zend_result start(int, int) {
  zend_api::for_each(CG(function_table), [](const zend_string* key, zval* value) {
    for (std::size_t i = 0; i < count; ++i) {
      if (key == nullptr || zend_api::text(key) != names[i]) continue;
      zif_handler* slot = zend_api::handler_slot(value);
      saved[i] = std::exchange(*slot, wrappers[i]);
    }
    return true;
  });
  old_compile_file = std::exchange(zend_compile_file, compile_file);
  old_compile_string = std::exchange(zend_compile_string, compile_string);
  zend_execute_internal = run_internal;
  return SUCCESS;
}

zend_result nothing(int, int) { return SUCCESS; }

zend_module_entry entry =
    zend_api::make_module_entry("do_nothing", "0", {start, nothing, nothing, nothing, nullptr});

}  // namespace

extern "C" __attribute__((visibility("default"))) zend_module_entry* get_module() { return &entry; }
