#ifndef VORGATE_AGENT_FILE_IO_H
#define VORGATE_AGENT_FILE_IO_H

#include <sys/types.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>

namespace vorgate::agent {

// A file descriptor that closes itself. Negative: none.
class Descriptor {
 public:
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  int get() const noexcept { return number_; }
  explicit operator bool() const noexcept { return number_ >= 0; }

 private:
  int number_;
};

// write(2) in one call, again when a signal came first, and without the signals
// that a broken pipe or a file size limit sends: they would end a process that
// does not expect them. Answers as write(2) does; may write less than asked.
ssize_t write_quietly(int descriptor, std::string_view bytes) noexcept;

// Appends what can be read from a descriptor to `text`, to its end or to one byte more
// than `limit`. False: errno says why.
bool read_all(int descriptor, std::size_t limit, std::string* text);

// The whole text of a policy or rule file, or another small one. Does not wait, whatever stands at
// `path`. On failure there is no value, and `error` says "path: reason".
std::optional<std::string> read_file(const std::string& path, std::string* error);

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_FILE_IO_H
