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

bool read_all(int descriptor, std::size_t limit, std::string* text) {
  char block[1 << 14];
  ssize_t got;
  do {
    do {
      got = ::read(descriptor, block, sizeof block);
    } while (got < 0 && errno == EINTR);
    if (got > 0) text->append(block, static_cast<std::size_t>(got));
  } while (got > 0 && text->size() <= limit);
  return got >= 0;
}

std::optional<std::string> read_file(const std::string& path, std::string* error) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  std::string text;
  if (!file || !read_all(file.get(), largest_file, &text)) {
    *error = path + ": cannot be read: " + strerrordesc_np(errno);
  } else if (text.size() > largest_file) {
    *error = path + ": too large; keep it below 1 MiB";
  } else {
    return text;
  }
  return std::nullopt;
}

}  // namespace vorgate::agent
