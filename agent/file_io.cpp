#include "agent/file_io.h"

#include <fcntl.h>
#include <signal.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace vorgate::agent {
namespace {

constexpr std::size_t largest_file = 1 << 20;

}  // namespace

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

std::optional<std::string> read_file(const std::string& path, std::string* error) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  std::string text(largest_file + 1, '\0');
  std::size_t size = 0;
  ssize_t got = file ? 1 : -1;
  while (got > 0 && size < text.size()) {
    do {
      got = ::read(file.get(), text.data() + size, text.size() - size);
    } while (got < 0 && errno == EINTR);
    if (got > 0) size += static_cast<std::size_t>(got);
  }
  if (got < 0) {
    *error = path + ": cannot be read: " + strerrordesc_np(errno);
  } else if (size > largest_file) {
    *error = path + ": too large; keep it below 1 MiB";
  } else {
    text.resize(size);
    return text;
  }
  return std::nullopt;
}

}  // namespace vorgate::agent
