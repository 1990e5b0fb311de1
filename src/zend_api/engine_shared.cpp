// What every engine does alike; what it takes to do it differs, and stands behind
// internal.h.
#include "zend_api/engine.h"
#include "zend_api/internal.h"

namespace zend_api {
namespace {

// The request's arrays once its end has begun.
struct Kept {
  bool is_in_force;
  HashTable* arrays[TRACK_VARS_FILES + 1];
};
__attribute__((tls_model("initial-exec"))) thread_local Kept kept{};

}  // namespace

HashTable* request_array(int track) {
  const bool is_valid = request_data_is_valid();
  HashTable* engines = nullptr;
  if (is_valid && type_of(&request_slot(track)) == IS_ARRAY) engines = array(&request_slot(track));
  if (!kept.is_in_force) return engines;
  // Another array than the kept one came later, and nobody holds it; or it is the next
  // request's, which another module's start-up runs code in.
  return !is_valid || engines == kept.arrays[track] ? kept.arrays[track] : nullptr;
}

void note_request_start() {
  kept = {};
  forget_bailout();
}

// After this, the engine gives its hold on the arrays up while PHP code (session
// handlers, a stream wrapper's close method) can still run, and shows it late or not
// at all. One more hold keeps what may be looked at alive. It is never given up: the
// memory is the request's, and goes as a whole.
void note_request_end(bool is_watched) {
  if (is_watched) {
    // Where the memory does not suffice, it is done without, and nobody is to notice.
    int& kinds = reported_kinds();
    const int usual = kinds;
    kinds = 0;
    hold_up_bailouts();
    materialise_server_array();
    forget_bailout();
    kinds = usual;
  }
  Kept found{true, {}};
  for (int track = 0; track <= TRACK_VARS_FILES; ++track) {
    found.arrays[track] = request_array(track);
    if (found.arrays[track] != nullptr) keep(request_slot(track));
  }
  kept = found;
}

void materialise_server_array() {
  // Made at the end, it would go into tables that are being taken down.
  if (kept.is_in_force || !server_array_is_made_on_demand() || !request_data_is_valid()) return;
  survive_bailout(
      [](void*) {
        char name[] = "_SERVER";
        zend_is_auto_global_str(name, sizeof(name) - 1);
      },
      nullptr);
}

void fetch_backtrace(zval* result, int max_frames) {
  struct Request {
    zval* result;
    int limit;
  } request{result, backtrace_limit(max_frames)};
  *result = {};  // IS_UNDEF
  survive_bailout(
      [](void* argument) {
        const auto* wanted = static_cast<Request*>(argument);
        zend_fetch_debug_backtrace(wanted->result, 0, 0, wanted->limit);
      },
      &request);
}

// Giving an array up can start a garbage collection, and that runs destructors.
void release_backtrace(zval* backtrace) {
  survive_bailout([](void* value) { give_up(static_cast<zval*>(value)); }, backtrace);
}

void log_notice(const char* message) {
  constexpr int notice = 5;  // LOG_NOTICE
  survive_bailout([](void* text) { php_log_err_with_severity(static_cast<char*>(text), notice); },
                  const_cast<char*>(message));
}

}  // namespace zend_api
