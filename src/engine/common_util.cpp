#include "engine/common_util.h"

#include <dlfcn.h>
#include <pthread.h>

#include "engine/agent_library.h"
#include "vorgate/php_help.h"
#include "zend_api/engine.h"

namespace {

// Guards the making of the reporting object and the filling of the word tables.
pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;

constexpr const char* sql_functions[] = {
    "mysql_query",         "mysqli_query",       "mysqli::query",
    "mysqli_real_query",   "mysqli::real_query", "mysqli_multi_query",
    "mysqli::multi_query", "PDO::query",         "mssql_query",
};

constexpr const char* command_words[] = {
    "reboot",  "halt",   "poweroff", "pwd",     "ls",     "lsattr",   "id",
    "who",     "whoami", "top",      "lsof",    "iostat", "iotop",    "netstat",
    "logname", "users",  "last",     "lastlog", "lastb",  "ifconfig",
};

}  // namespace

CCommonUtil* CCommonUtil::get_instance() {
  static CCommonUtil instance;
  return &instance;
}

void CCommonUtil::init() {
  if (php_help.load(std::memory_order_acquire) != nullptr) return;
  zend_api::hold_up_bailouts();  // until the lock is free again
  pthread_mutex_lock(&g_lock);
  if (php_help.load(std::memory_order_relaxed) == nullptr) {
    if (hMod == nullptr) hMod = getMessageQueueHandle();
    IPhpHelp* agent = nullptr;
    if (hMod != nullptr) {
      using Factory = IPhpHelp* (*)();
      // Without a factory, or without an object of it, there is no agent: vorgate-agent
      // says so, the module does not.
      if (auto create = reinterpret_cast<Factory>(dlsym(hMod, VORGATE_AGENT_FACTORY))) {
        agent = create();
      }
    }
    sql_func_set.insert(std::begin(sql_functions), std::end(sql_functions));
    cmd_collection_init();
    // Last: whoever sees the object must see complete tables.
    php_help.store(agent, std::memory_order_release);
  }
  pthread_mutex_unlock(&g_lock);
  zend_api::resume_bailout();
}

void CCommonUtil::cmd_collection_init() {
  cmd_collection.insert(std::begin(command_words), std::end(command_words));
}

int CCommonUtil::release() { return hMod == nullptr ? -1 : dlclose(hMod); }

std::map<std::string, CCommonUtil::handler>& CCommonUtil::get_func_set() { return func_set; }
