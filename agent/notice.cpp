#include "agent/notice.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "agent/file_io.h"

namespace vorgate::agent {
namespace {

constexpr std::size_t longest_text = 2000;
constexpr std::int64_t minute_s = 60;

void send_to_system_log(const char* line, std::size_t length, const char* socket_path) noexcept {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, socket_path, sizeof address.sun_path - 1);
  const Descriptor socket_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket_fd) return;
  // Nobody can be told of a failure here; standard error has the line as well.
  sendto(socket_fd.get(), line, length, MSG_NOSIGNAL | MSG_DONTWAIT,
         reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

}  // namespace

void notice(std::string_view text, const char* socket_path) noexcept {
  const int length = static_cast<int>(std::min(text.size(), longest_text));
  char line[longest_text + 64];
  int size = std::snprintf(line, sizeof line, "<%d>vorgate-agent[%d]: %.*s", LOG_DAEMON | LOG_ERR,
                           getpid(), length, text.data());
  send_to_system_log(line, static_cast<std::size_t>(size), socket_path);

  size =
      std::snprintf(line, sizeof line, "vorgate-agent[%d]: %.*s\n", getpid(), length, text.data());
  pollfd standard_error{STDERR_FILENO, POLLOUT, 0};
  if (poll(&standard_error, 1, 0) == 1 && (standard_error.revents & POLLOUT) != 0) {
    write_quietly(STDERR_FILENO, {line, static_cast<std::size_t>(size)});
  }
}

std::int64_t OnceAMinute::now() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return now.tv_sec;
}

bool OnceAMinute::is_due(std::int64_t now) noexcept {
  std::int64_t due = next_.load(std::memory_order_relaxed);
  return now >= due && next_.compare_exchange_strong(due, now + minute_s);
}

}  // namespace vorgate::agent
