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

// Whether the innermost code on this thread's stack that can be jumped out of is the
// module's, on its way to resume_bailout.
__attribute__((tls_model("initial-exec"))) thread_local bool held_up = false;

}  // namespace

void hold_up_bailouts() { held_up = true; }

bool survive_bailout(void (*call)(void*), void* argument) {
  if (remembered != nullptr) return false;
  if (!held_up) {
    call(argument);
    return true;
  }
  JumpBuffer*& engine_target = bailout_target();
  JumpBuffer* const outer = engine_target;
  if (outer == nullptr) {  // start-up: there is no request to leave
    call(argument);
    return true;
  }
  JumpBuffer here;
  engine_target = &here;
  held_up = false;  // what the engine runs from here on is not the module's
  bool returned = false;
  if (SETJMP(here) == 0) {
    call(argument);
    returned = true;
  }
  held_up = true;
  engine_target = outer;
  if (!returned) remembered = outer;
  return returned;
}

void forget_bailout() {
  held_up = false;
  remembered = nullptr;
}

void resume_bailout() {
  JumpBuffer* const target = remembered;
  forget_bailout();
  if (target == nullptr) return;
  LONGJMP(*target, FAILURE);
}

}  // namespace zend_api
