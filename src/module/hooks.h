#ifndef VORGATE_MODULE_HOOKS_H
#define VORGATE_MODULE_HOOKS_H

// The engine's hooks on compilation and on internal calls. Each replacement does
// the work of the hook it found, and asks a detector.

#include "zend_api/engine.h"

// Put the three hooks in place, at module start-up, and back, at shut-down. The
// internal-call hook is put back only where there was one before: otherwise it
// stays, and forwards to the engine.
void hook_zend_api();
void unhook_zend_api();

// To be called once the engine has started. What stands in front of safe_compile_file by
// then, an opcode cache above all, need not hand each inclusion on: safe_compile_any_file
// goes in front of it and judges in the other's place.
void hook_cached_files();

// Called by the engine in the place of zend_compile_file (the first two),
// zend_compile_string and zend_execute_internal.
extern "C" {
zend_op_array* safe_compile_file(zend_file_handle* file_handle, int type) noexcept;
zend_op_array* safe_compile_any_file(zend_file_handle* file_handle, int type) noexcept;
zend_op_array* safe_compile_string(zend_api_compiled_source* source_string,
                                   zend_api_compiled_name filename
                                       ZEND_API_COMPILE_POSITION_PARAMETER) noexcept;
void safe_execute_internal(zend_execute_data* execute_data, zval* return_value) noexcept;
}

#endif  // VORGATE_MODULE_HOOKS_H
