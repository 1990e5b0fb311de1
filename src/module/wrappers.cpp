#include "module/wrappers.h"

#include <array>
#include <iterator>
#include <string>
#include <string_view>

#include "engine/common_util.h"
#include "module/dispatch.h"
#include "module/watched.h"

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

struct Wrapper {
  std::string_view name;
  zif_handler handler;
};

#define VORGATE_ROW(function) {#function, function##_handler},
constexpr Wrapper wrappers[] = {VORGATE_WRAPPED(VORGATE_ROW)};
#undef VORGATE_ROW
static_assert(std::size(wrappers) == std::tuple_size_v<decltype(watched_functions)>);

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
    for (const Wrapper& wrapper : wrappers) {
      if (wrapper.name == function.name) patch_func(1, function.name.data(), wrapper.handler);
    }
  }
}

void unpatch_handler() {
  for (const auto& [name, handler] : CCommonUtil::get_instance()->get_func_set()) {
    patch_func(0, name.c_str(), handler);
  }
}

#define VORGATE_DEFINE(function)                                                          \
  void function##_handler(zend_execute_data* execute_data, zval* return_value) noexcept { \
    static const std::string name = #function;                                            \
    run_watched(name, execute_data, return_value);                                        \
  }
VORGATE_WRAPPED(VORGATE_DEFINE)
#undef VORGATE_DEFINE
