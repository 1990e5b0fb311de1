#include <atomic>
#include <exception>
#include <memory>

#include "agent/local_agent.h"

// One object for the process, however often and from however many threads this
// is called. It is never deleted: requests may still run while the process ends.
// The environment is read here and never again, for scripts can change it.
extern "C" __attribute__((visibility("default"))) IPhpHelp* create_php_help() noexcept {
  using namespace vorgate::agent;
  // Not a local static object: a child forked while another thread makes one would wait
  // for that thread for ever. Of two threads that come first, both make one; one stays.
  static std::atomic<LocalAgent*> only{nullptr};
  LocalAgent* local = only.load(std::memory_order_acquire);
  try {
    if (local == nullptr) {
      auto made = std::make_unique<LocalAgent>(policy_path());
      if (only.compare_exchange_strong(local, made.get(), std::memory_order_acq_rel)) {
        local = made.release();
      }
    }
    return &local->agent;
  } catch (const std::exception&) {
    return nullptr;
  }
}
