#ifndef VORGATE_MODULE_WRAPPERS_H
#define VORGATE_MODULE_WRAPPERS_H

// The watched functions' handlers in the engine's function table.

#include "zend_api/engine.h"

// Replaces the handler of every internal function whose name equals `name`,
// ignoring ASCII case; with `save`, remembers the handler found there first.
// A name that no loaded extension defines is passed over silently.
void patch_func(int save, const char* name, zif_handler new_handler);

// Put the wrappers in place, and the saved handlers back: at module start-up and
// shut-down.
void patch_handler();
void unpatch_handler();

// The wrappers, called by the engine. Each judges the call and then either runs
// the saved handler or makes the call return false.
extern "C" {
void exec_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void system_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void passthru_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void shell_exec_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void popen_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void proc_open_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void fopen_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void rename_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void copy_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void socket_connect_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void fsockopen_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void file_get_contents_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void file_put_contents_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void move_uploaded_file_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void yaml_parse_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void ldap_search_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void curl_setopt_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void curl_init_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
void phpinfo_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
}

#endif  // VORGATE_MODULE_WRAPPERS_H
