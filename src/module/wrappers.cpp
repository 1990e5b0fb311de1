#include "module/wrappers.h"

#include <string>

#include "engine/common_util.h"
#include "module/dispatch.h"

namespace {

// The name outlives the call: the saved handler and the notice can leave by long
// jump.
void run_watched(const std::string& name, zend_execute_data* execute_data, zval* return_value) {
  if (!is_safe_handler(execute_data, return_value, name)) {
    zend_api::set_false(return_value);
    return;
  }
  CCommonUtil::get_instance()->get_func_by_name(name)(execute_data, return_value);
}

}  // namespace

void CCommonUtil::add_func(const std::string& name, handler h) { func_set.emplace(name, h); }

CCommonUtil::handler CCommonUtil::get_func_by_name(const std::string& name) {
  return func_set[name];
}

void patch_func(int save, const char* name, zif_handler new_handler) {
  zend_api::for_each(zend_api::function_table(), [&](const zend_string* key, zval* value) {
    if (!zend_api::key_is(key, name)) return true;
    zif_handler* slot = zend_api::handler_slot(value);
    if (slot == nullptr) return true;
    if (save != 0) CCommonUtil::get_instance()->add_func(name, *slot);
    *slot = new_handler;
    return true;
  });
}

void patch_handler() {
  for (const WatchedFunction& function : watched_functions) {
    patch_func(1, function.name.data(), function.wrapper);
  }
}

void unpatch_handler() {
  for (const auto& [name, handler] : CCommonUtil::get_instance()->get_func_set()) {
    patch_func(0, name.c_str(), handler);
  }
}

#define VORGATE_WRAPPER(function)                                                         \
  void function##_handler(zend_execute_data* execute_data, zval* return_value) noexcept { \
    static const std::string name = #function;                                            \
    run_watched(name, execute_data, return_value);                                        \
  }

VORGATE_WRAPPER(exec)
VORGATE_WRAPPER(system)
VORGATE_WRAPPER(passthru)
VORGATE_WRAPPER(shell_exec)
VORGATE_WRAPPER(popen)
VORGATE_WRAPPER(proc_open)
VORGATE_WRAPPER(fopen)
VORGATE_WRAPPER(rename)
VORGATE_WRAPPER(copy)
VORGATE_WRAPPER(socket_connect)
VORGATE_WRAPPER(fsockopen)
VORGATE_WRAPPER(file_get_contents)
VORGATE_WRAPPER(file_put_contents)
VORGATE_WRAPPER(move_uploaded_file)
VORGATE_WRAPPER(yaml_parse)
VORGATE_WRAPPER(ldap_search)
VORGATE_WRAPPER(curl_setopt)
VORGATE_WRAPPER(curl_init)
VORGATE_WRAPPER(phpinfo)
