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

}  // namespace

HashTable* function_table() {
  return thread_globals<zend_compiler_globals>(compiler_globals_id).function_table;
}

bool request_data_is_valid() {
  return thread_globals<zend_executor_globals>(executor_globals_id).valid_symbol_table != 0;
}

const zval& request_slot(int track) {
  return thread_globals<php_core_globals>(core_globals_id).http_globals[track];
}

void keep(const zval& value) {
  if (value.type_info == IS_ARRAY_EX) ++value.value.counted->refcount;
}

bool server_array_is_made_on_demand() {
  return thread_globals<php_core_globals>(core_globals_id).auto_globals_jit != 0;
}

int& reported_kinds() {
  return thread_globals<zend_executor_globals>(executor_globals_id).error_reporting;
}

const sapi_request_info& request_info() {
  return thread_globals<sapi_globals_struct>(sapi_globals_id).request_info;
}

void give_up(zval* value) { _zval_ptr_dtor(value); }

std::string format_integer(int64_t value) {
  char digits[32];
  php_sprintf(digits, "%d", value);
  return digits;
}

void refuse_query(zval*) {}

int backtrace_limit(int max_frames) { return max_frames; }

void when_started(int, void (*)()) {}

Declarations declarations() { return {0, 0}; }

void forget_declarations(const Declarations&, const zend_op_array*) {}

sigjmp_buf*& bailout_target() {
  return thread_globals<zend_executor_globals>(executor_globals_id).bailout;
}

bool object_becomes_string(zval* object) {
  const zend_object_handlers& handlers = *object->value.obj->handlers;
  if (handlers.cast_object == nullptr) return handlers.get != nullptr;
  zval text;
  if (handlers.cast_object(object, &text, IS_STRING) != SUCCESS) return false;
  _zval_ptr_dtor(object);
  object->value = text.value;
  object->type_info = text.type_info;
  return true;
}

bool null_becomes_string(const zend_execute_data*, uint32_t) { return true; }

}  // namespace zend_api
