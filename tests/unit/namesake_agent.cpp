// An agent whose object is the test program's, with a class of a name that the module
// exports; built as vorgate/php_help.h says.
#include <dlfcn.h>

#include "vorgate/php_help.h"

struct CCommonUtil {
  IPhpHelp* init();  // the module's would wait for its own lock
};
IPhpHelp* CCommonUtil::init() {
  return reinterpret_cast<IPhpHelp* (*)()>(dlsym(RTLD_DEFAULT, VORGATE_AGENT_FACTORY))();
}

extern "C" __attribute__((visibility("default"))) IPhpHelp* create_php_help() {
  return CCommonUtil().init();
}
