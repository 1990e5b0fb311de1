#include "zend_api/reference.h"

#include <cstddef>
#include <string>

#include "zend_api/engine.h"
#include "zend_api/internal.h"

namespace zend_api {
namespace {

// The calling thread's record of globals with the given resource id.
template <typename Globals>
Globals& thread_globals(int id) {
  void** records = *static_cast<void***>(tsrm_get_ls_cache());
  return *static_cast<Globals*>(records[id - 1]);
}

// Between the modules' request shut-down and the next request.
__attribute__((tls_model("initial-exec"))) thread_local bool request_is_ending = false;

// False from the moment on at which the engine tears the request's data down.
bool request_data_is_valid() {
  return thread_globals<zend_executor_globals>(executor_globals_id).valid_symbol_table != 0;
}

}  // namespace

HashTable* function_table() {
  return thread_globals<zend_compiler_globals>(compiler_globals_id).function_table;
}

HashTable* request_array(int track) {
  if (!request_data_is_valid()) return nullptr;
  const zval& slot = thread_globals<php_core_globals>(core_globals_id).http_globals[track];
  return type_of(&slot) == IS_ARRAY ? array(&slot) : nullptr;
}

void materialise_server_array() {
  if (thread_globals<php_core_globals>(core_globals_id).auto_globals_jit == 0) return;
  // Made now, it would go into tables that are being taken down.
  if (request_is_ending || !request_data_is_valid()) return;
  survive_bailout(
      [](void*) {
        char name[] = "_SERVER";
        zend_is_auto_global_str(name, sizeof(name) - 1);
      },
      nullptr);
}

void note_request_start() {
  request_is_ending = false;
  forget_bailout();
}

// The engine gives its hold on the request's arrays up some time after this, and
// only later clears valid_symbol_table; PHP code (a stream wrapper's close method)
// can run in between. One more hold keeps what it may look at alive. It is never
// given up: the memory is the request's, and goes as a whole.
void note_request_end() {
  request_is_ending = true;
  for (const zval& slot : thread_globals<php_core_globals>(core_globals_id).http_globals) {
    if (slot.type_info == IS_ARRAY_EX) ++slot.value.counted->refcount;
  }
}

const sapi_request_info& request_info() {
  return thread_globals<sapi_globals_struct>(sapi_globals_id).request_info;
}

void fetch_backtrace(zval* result, int max_frames) {
  struct Request {
    zval* result;
    int max_frames;
  } request{result, max_frames};
  result->type_info = IS_UNDEF;
  survive_bailout(
      [](void* argument) {
        const auto* wanted = static_cast<Request*>(argument);
        zend_fetch_debug_backtrace(wanted->result, 0, 0, wanted->max_frames);
      },
      &request);
}

// Giving an array up can start a garbage collection, and that runs destructors.
void release_backtrace(zval* backtrace) {
  survive_bailout([](void* value) { _zval_ptr_dtor(static_cast<zval*>(value)); }, backtrace);
}

std::string format_integer(int64_t value) {
  char digits[32];
  php_sprintf(digits, "%d", value);
  return digits;
}

void log_notice(const char* message) {
  constexpr int notice = 5;  // LOG_NOTICE
  survive_bailout([](void* text) { php_log_err_with_severity(static_cast<char*>(text), notice); },
                  const_cast<char*>(message));
}

void refuse_query(zval*) {}

Declarations declarations() { return {0, 0}; }

void forget_declarations(const Declarations&, const zend_op_array*) {}

sigjmp_buf*& bailout_target() {
  return thread_globals<zend_executor_globals>(executor_globals_id).bailout;
}

bool null_becomes_string(const zend_execute_data*, uint32_t) { return true; }

}  // namespace zend_api
