#include "file_io.h"

#include <signal.h>

#include <cerrno>
#include <ctime>

namespace vorgate::agent {

ssize_t write_quietly(int descriptor, std::string_view bytes) noexcept {
  sigset_t held;
  sigemptyset(&held);
  sigaddset(&held, SIGPIPE);
  sigaddset(&held, SIGXFSZ);
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &held, &before);
  ssize_t written;
  do {
    written = write(descriptor, bytes.data(), bytes.size());
  } while (written < 0 && errno == EINTR);
  const int error = errno;
  if (written < 0 && (error == EPIPE || error == EFBIG)) {
    // The kernel sent the signal to this thread: take it before the mask goes.
    const timespec at_once{};
    sigtimedwait(&held, nullptr, &at_once);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return written;
}

}  // namespace vorgate::agent
