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

// The functions that have a wrapper: as many as there are watched ones.
// clang-format off
#define VORGATE_WRAPPED(each) \
  each(exec) each(system) each(passthru) each(shell_exec) each(popen) each(proc_open) \
  each(fopen) each(rename) each(copy) \
  each(socket_connect) each(fsockopen) \
  each(file_get_contents) each(file_put_contents) each(move_uploaded_file) \
  each(yaml_parse) each(ldap_search) each(curl_setopt) each(curl_init) each(phpinfo)
// clang-format on

// The wrappers, NAME_handler each, called by the engine. Each judges the call and then
// either runs the saved handler or makes the call return false.
extern "C" {
#define VORGATE_DECLARE(function) \
  void function##_handler(zend_execute_data* execute_data, zval* return_value) noexcept;
VORGATE_WRAPPED(VORGATE_DECLARE)
#undef VORGATE_DECLARE
}

#endif  // VORGATE_MODULE_WRAPPERS_H
