#include <setjmp.h>

#include "zend_api/engine.h"
#include "zend_api/internal.h"

namespace zend_api {
namespace {

#ifdef VORGATE_ENGINE_INSTALLED
using JumpBuffer = JMP_BUF;
#else
using JumpBuffer = sigjmp_buf;
#define SETJMP(buffer) sigsetjmp(buffer, 0)
#define LONGJMP(buffer, value) siglongjmp(buffer, value)
#endif

// Where the engine wanted to go when survive_bailout held it up. The static TLS
// model needs no call into the loader.
__attribute__((tls_model("initial-exec"))) thread_local JumpBuffer* remembered = nullptr;

}  // namespace

bool survive_bailout(void (*call)(void*), void* argument) {
  if (remembered != nullptr) return false;
  JumpBuffer*& engine_target = bailout_target();
  JumpBuffer* const outer = engine_target;
  if (outer == nullptr) {  // start-up: there is no request to leave
    call(argument);
    return true;
  }
  JumpBuffer here;
  engine_target = &here;
  if (SETJMP(here) == 0) {
    call(argument);
    engine_target = outer;
    return true;
  }
  engine_target = outer;
  remembered = outer;
  return false;
}

void forget_bailout() { remembered = nullptr; }

void resume_bailout() {
  if (remembered == nullptr) return;
  JumpBuffer* const target = remembered;
  remembered = nullptr;
  LONGJMP(*target, FAILURE);
}

}  // namespace zend_api
