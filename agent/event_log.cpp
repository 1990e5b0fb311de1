#include "agent/event_log.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

#include "agent/event_json.h"
#include "agent/file_io.h"
#include "agent/notice.h"

namespace vorgate::agent {
namespace {

constexpr mode_t file_mode = 0640;
// How often a line is written again: after a torn piece in front of it, or
// because the file was deleted meanwhile. Both again and again is a broken disk.
constexpr int most_attempts = 5;

int open_again(const std::string& path, int flags, mode_t mode = 0) noexcept {
  int descriptor;
  do {
    descriptor = open(path.c_str(), flags | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

// The owner of the log's folder, where root writes into somebody else's; else none.
bool foreign_folder(const std::string& path, struct stat* folder) noexcept {
  char name[PATH_MAX];
  const std::size_t length = path.rfind('/') + 1;
  if (geteuid() != 0 || length >= sizeof name) return false;
  name[path.copy(name, length)] = '\0';
  return stat(name, folder) == 0 && folder->st_uid != 0;
}

// Reading is for the byte in front of a line. A log that the process may write
// and not read is fine too; only torn pieces go unseen there.
int open_log(const std::string& path, struct stat* status) noexcept {
  // Root's command lines write the log of the web server's workers. They follow no
  // link that a worker may have put there, and a file that they make is the workers'.
  struct stat folder {};
  const bool foreign = foreign_folder(path, &folder);
  const int flags = foreign ? O_NOFOLLOW : 0;
  int descriptor = open_again(path, flags | O_RDWR);
  if (descriptor < 0 && errno == ENOENT) {
    descriptor = open_again(path, flags | O_RDWR | O_CREAT, file_mode);
    // A script may have set a umask under which no other worker could open it.
    if (descriptor >= 0) fchmod(descriptor, file_mode);
    if (descriptor >= 0 && foreign && fchown(descriptor, folder.st_uid, folder.st_gid) != 0) {
      // A file system without owners: the next worker tells that it cannot write.
    }
  }
  if (descriptor < 0 && errno == EACCES) descriptor = open_again(path, flags | O_WRONLY);
  if (descriptor < 0 || fstat(descriptor, status) != 0 || !S_ISFIFO(status->st_mode)) {
    return descriptor;
  }
  // Open for reading, a pipe would swallow lines that nobody else reads.
  close(descriptor);
  return open_again(path, O_WRONLY);
}

// Does the line of `size` bytes that was written last through this descriptor
// follow a piece without a line end? The descriptor is this call's own, so its
// position is the end of that very line, whatever others have appended since.
bool follows_torn_piece(int descriptor, std::size_t size) noexcept {
  const off_t start = lseek(descriptor, 0, SEEK_CUR) - static_cast<off_t>(size);
  char before = '\n';
  return start > 0 && pread(descriptor, &before, 1, start - 1) == 1 && before != '\n';
}

// Answers 0 or an errno.
int append(const std::string& path, const std::string& line) noexcept {
  for (int attempt = 0; attempt < most_attempts; ++attempt) {
    struct stat status {};
    const Descriptor log(open_log(path, &status));
    if (!log) return errno;
    if (S_ISFIFO(status.st_mode) && line.size() > PIPE_BUF) return EMSGSIZE;
    const ssize_t written = write_quietly(log.get(), line);
    if (written < 0) return errno;
    if (static_cast<std::size_t>(written) != line.size()) return ENOSPC;
    if (!S_ISREG(status.st_mode)) return 0;
    const bool deleted = fstat(log.get(), &status) == 0 && status.st_nlink == 0;
    if (!deleted && !follows_torn_piece(log.get(), line.size())) return 0;
  }
  return EIO;
}

}  // namespace

void EventLog::record(const std::string& path, const Event& event) noexcept {
  const std::uint32_t lost = take_lost();
  int error = 0;
  try {
    error = append(path, event_line(event, lost));
  } catch (const std::exception&) {
    error = ENOMEM;
  }
  if (error == 0) return;
  add_lost(lost);
  lose(path, strerrordesc_np(error));
}

void EventLog::lose(const std::string& path, const char* reason) noexcept {
  add_lost(1);
  if (!notice_.is_due()) return;
  try {
    notice(path + ": cannot write the event log: " + reason +
           "; events of this process are lost and counted until it can be written "
           "(vorgate-agent status says what to do)");
  } catch (const std::exception&) {
    notice("cannot write the event log, and out of memory");
  }
}

std::uint32_t EventLog::take_lost() noexcept {
  if (lost_.load(std::memory_order_relaxed) == 0) return 0;
  const std::uint64_t taken = lost_.exchange(0);
  return taken >> 32 == static_cast<std::uint64_t>(getpid()) ? static_cast<std::uint32_t>(taken)
                                                             : 0;
}

void EventLog::add_lost(std::uint32_t count) noexcept {
  if (count == 0) return;
  const auto self = static_cast<std::uint64_t>(getpid());
  std::uint64_t before = lost_.load(std::memory_order_relaxed);
  std::uint64_t sum;
  do {
    const std::uint64_t known = before >> 32 == self ? before & UINT32_MAX : 0;
    sum = self << 32 | std::min<std::uint64_t>(known + count, UINT32_MAX);
  } while (!lost_.compare_exchange_weak(before, sum));
}

}  // namespace vorgate::agent
