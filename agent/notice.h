#ifndef VORGATE_AGENT_NOTICE_H
#define VORGATE_AGENT_NOTICE_H

#include <atomic>
#include <cstdint>
#include <string_view>

namespace vorgate::agent {

// Tells the administrator: one line to the system log and one to standard error.
//
// Any thread. Never waits: where the system log or the reader of standard error
// does not keep up, the line is dropped. It does not go through syslog(3), which
// takes a lock that a fork can leave closed, waits for a full socket, and speaks
// under whatever name the application gave to openlog.
//   text         without a line end; longer texts are cut at 2,000 bytes.
//   socket_path  where the system log listens.
void notice(std::string_view text, const char* socket_path = "/dev/log") noexcept;

// Keeps a notice from being given more often than once a minute.
class OnceAMinute {
 public:
  // Is the notice to be given now? Then not again for a minute. Any thread.
  bool is_due() noexcept { return is_due(now()); }
  // The same at another time, in seconds.
  bool is_due(std::int64_t now) noexcept;

 private:
  static std::int64_t now() noexcept;

  std::atomic<std::int64_t> next_{0};  // seconds of the monotonic clock
};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_NOTICE_H
