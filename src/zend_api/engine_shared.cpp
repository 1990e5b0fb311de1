// What every engine does alike; what it takes to do it differs, and stands behind
// internal.h.
#include "zend_api/engine.h"
#include "zend_api/internal.h"

namespace zend_api {

HashTable* request_array(int track) {
  if (!request_data_is_valid()) return nullptr;
  const zval& slot = request_slot(track);
  return type_of(&slot) == IS_ARRAY ? array(&slot) : nullptr;
}

void materialise_server_array() {
  if (!server_array_is_made_on_demand()) return;
  survive_bailout(
      [](void*) {
        char name[] = "_SERVER";
        zend_is_auto_global_str(name, sizeof(name) - 1);
      },
      nullptr);
}

void fetch_backtrace(zval* result, int max_frames) {
  struct Request {
    zval* result;
    int limit;
  } request{result, backtrace_limit(max_frames)};
  *result = {};  // IS_UNDEF
  survive_bailout(
      [](void* argument) {
        const auto* wanted = static_cast<Request*>(argument);
        zend_fetch_debug_backtrace(wanted->result, 0, 0, wanted->limit);
      },
      &request);
}

// Giving an array up can start a garbage collection, and that runs destructors.
void release_backtrace(zval* backtrace) {
  survive_bailout([](void* value) { give_up(static_cast<zval*>(value)); }, backtrace);
}

void log_notice(const char* message) {
  constexpr int notice = 5;  // LOG_NOTICE
  survive_bailout([](void* text) { php_log_err_with_severity(static_cast<char*>(text), notice); },
                  const_cast<char*>(message));
}

}  // namespace zend_api
