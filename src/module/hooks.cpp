#include "module/hooks.h"

#include <cstring>
#include <string>
#include <string_view>

#include "engine/channel.h"
#include "engine/common_util.h"
#include "engine/notices.h"

namespace {

zend_api::compile_string_hook old_compile_string = nullptr;
zend_api::compile_file_hook old_compile_file = nullptr;
// What stood in front of safe_compile_file when the engine had started, an opcode cache
// say; null where nothing did.
zend_api::compile_file_hook covered_compile_file = nullptr;
zend_api::execute_internal_hook old_execute_internal = nullptr;
// What a call goes on to: the hook found at start-up, or else the engine itself.
// C code throws nothing, and only a callee that says so can be jumped to from a
// function that says so.
using Forward = void (*)(zend_execute_data*, zval*) noexcept;
Forward forward_internal = nullptr;

// Whether the called function's own name ends in "query". This and one indirect
// jump is all that an ordinary internal call pays for being watched.
inline bool calls_a_query(const zend_execute_data* execute_data) {
  constexpr std::string_view suffix = "query";
  const zend_string* name = zend_api::function_name(execute_data);
  if (name == nullptr) return false;
  const std::string_view text = zend_api::text(name);
  return text.size() >= suffix.size() &&
         std::memcmp(text.data() + text.size() - suffix.size(), suffix.data(), suffix.size()) == 0;
}

// "class::function", or the function alone.
std::string full_name(const zend_execute_data* execute_data) {
  std::string name;
  const zend_string* class_name = zend_api::class_name(execute_data);
  if (class_name != nullptr && class_name->len != 0) {
    name = zend_api::text(class_name);
    name += "::";
  }
  name += zend_api::text(zend_api::function_name(execute_data));
  return name;
}

// Frames of their own, so that what they own is gone before anything can leave by
// long jump.

bool is_refused_file(const char* name) {
  return CCommonUtil::get_instance()->check_file_include(name);
}

__attribute__((noinline)) bool is_refused_string(std::string_view source, const char* name) {
  const std::string code(source);
  const std::string source_name(name);
  return CCommonUtil::get_instance()->check_code_exec(source_name, code);
}

// Compiles a file by the hook, and asks the detector.
zend_op_array* compile_and_judge(zend_api::compile_file_hook compile, zend_file_handle* file_handle,
                                 int type) noexcept {
  const zend_api::Declarations before = zend_api::declarations();
  zend_op_array* compiled = compile(file_handle, type);
  const char* name = zend_api::file_name(file_handle);
  if (name == nullptr) return compiled;
  zend_api::hold_up_bailouts();
  const bool refused = is_refused_file(name);
  zend_api::resume_bailout();
  if (!refused) return compiled;
  if (compiled != nullptr) zend_api::forget_declarations(before, compiled);
  zend_api::print(file_include_deny);
  return nullptr;
}

// The message is the one notice that there is for queries: a static text.
bool is_refused_query(zend_execute_data* execute_data) {
  std::string message;
  return !CCommonUtil::get_instance()->check_internal_functions(execute_data, message);
}

// The rest of the internal-call hook, for the few calls that may be queries.
__attribute__((noinline)) void run_query(zend_execute_data* execute_data, zval* return_value) {
  zend_api::hold_up_bailouts();
  const bool refused = is_refused_query(execute_data);
  zend_api::resume_bailout();
  if (refused) {
    zend_api::refuse_query(return_value);
    zend_api::print(sql_injection);
  } else {
    forward_internal(execute_data, return_value);
  }
}

}  // namespace

zend_op_array* safe_compile_file(zend_file_handle* file_handle, int type) noexcept {
  if (covered_compile_file != nullptr) return old_compile_file(file_handle, type);
  return compile_and_judge(old_compile_file, file_handle, type);
}

zend_op_array* safe_compile_any_file(zend_file_handle* file_handle, int type) noexcept {
  return compile_and_judge(covered_compile_file, file_handle, type);
}

zend_op_array* safe_compile_string(zend_api_compiled_source* source_string,
                                   zend_api_compiled_name filename
                                       ZEND_API_COMPILE_POSITION_PARAMETER) noexcept {
  const zend_api::Declarations before = zend_api::declarations();
  zend_op_array* compiled =
      old_compile_string(source_string, filename ZEND_API_COMPILE_POSITION_ARGUMENT);
  if (compiled == nullptr) return nullptr;
  zend_api::hold_up_bailouts();
  const bool refused = is_refused_string(zend_api::source_text(source_string), filename);
  zend_api::resume_bailout();
  if (!refused) return compiled;
  zend_api::forget_declarations(before, compiled);
  zend_api::print(error_report);
  return nullptr;
}

void safe_execute_internal(zend_execute_data* execute_data, zval* return_value) noexcept {
  if (__builtin_expect(calls_a_query(execute_data), 0)) {
    run_query(execute_data, return_value);
    return;
  }
  forward_internal(execute_data, return_value);
}

bool CCommonUtil::check_internal_functions(zend_execute_data* execute_data, std::string& message) {
  if (reporting_object() == nullptr) return true;
  if (!calls_a_query(execute_data)) return true;
  if (is_safe_sql_query(full_name(execute_data))) return true;
  message = sql_injection;
  return false;
}

void hook_zend_api() {
  old_compile_string = zend_compile_string;
  zend_compile_string = safe_compile_string;
  old_compile_file = zend_compile_file;
  zend_compile_file = safe_compile_file;
  old_execute_internal = zend_execute_internal;
  forward_internal = reinterpret_cast<Forward>(
      old_execute_internal != nullptr ? old_execute_internal : execute_internal);
  zend_execute_internal = safe_execute_internal;
}

void hook_cached_files() {
  if (zend_compile_file == safe_compile_file) return;
  covered_compile_file = zend_compile_file;
  zend_compile_file = safe_compile_any_file;
}

void unhook_zend_api() {
  covered_compile_file = nullptr;
  zend_compile_string = old_compile_string;
  zend_compile_file = old_compile_file;
  if (old_execute_internal != nullptr) zend_execute_internal = old_execute_internal;
}
