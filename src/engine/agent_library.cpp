#include "engine/agent_library.h"

#include <dlfcn.h>

#include "vorgate/php_help.h"
#include "zend_api/engine.h"

void* hMod = nullptr;

void* getMessageQueueHandle() {
  void* library = dlopen(VORGATE_AGENT_LIBRARY, RTLD_NOW);
  if (library == nullptr) zend_api::log_notice(dlerror());
  return library;
}

void load_message_queue_md() { hMod = getMessageQueueHandle(); }
