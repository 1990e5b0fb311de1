#include "engine/agent_library.h"
#include "engine/channel.h"
#include "module/hooks.h"
#include "module/wrappers.h"
#include "zend_api/engine.h"

// Wires the parts to the engine. No callback ever fails: whatever is missing, PHP
// goes on serving.

extern "C" {

static zend_result zm_startup_vorgate(int type, int) noexcept {
  load_message_queue_md();
  patch_handler();
  hook_zend_api();
  zend_api::when_started(type, hook_cached_files);
  return SUCCESS;
}

static zend_result zm_shutdown_vorgate(int, int) noexcept {
  unhook_zend_api();
  unpatch_handler();
  return SUCCESS;
}

static zend_result zm_activate_vorgate(int, int) noexcept {
  zend_api::note_request_start();
  message_queue_init();
  return SUCCESS;
}

static zend_result zm_deactivate_vorgate(int, int) noexcept {
  zend_api::note_request_end(reporting_object() != nullptr);
  return SUCCESS;
}

static void zm_info_vorgate(zend_module_entry*) noexcept {
  php_info_print_table_start();
  php_info_print_table_header(2, "vorgate support", "enabled");
  php_info_print_table_end();
}

zend_module_entry vorgate_module_entry =
    zend_api::make_module_entry("vorgate", VORGATE_VERSION,
                                {zm_startup_vorgate, zm_shutdown_vorgate, zm_activate_vorgate,
                                 zm_deactivate_vorgate, zm_info_vorgate});

// Where the engine begins to load a module.
__attribute__((visibility("default"))) zend_module_entry* get_module() noexcept {
  return &vorgate_module_entry;
}

}  // extern "C"
