#ifndef VORGATE_AGENT_EVENT_LOG_H
#define VORGATE_AGENT_EVENT_LOG_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "agent/event_sink.h"
#include "agent/notice.h"

namespace vorgate::agent {

// Appends events to a file of JSON lines, and keeps count of those that it could
// not append. Any thread, no lock, no open file between two events.
//
// When `record` returns, the line is with the kernel: the end of the process,
// even by SIGKILL, does not lose it. The file is opened by its name for each
// event, so a rotated or deleted file makes room for a new one (mode 0640, its
// folder must be there; made by root, it is given to the folder's owner), and nothing
// has to be handed down through a fork.
//
// Lines do not tear: each is one write at the end of the file, which Linux does
// one at a time for each regular file of a local file system. A write can still
// stop half-way, on a full disk or because the process is killed in it; the
// torn piece then has no line end. The next writer sees it in front of its own
// line and writes that line once more. So a reader that drops lines that are not
// whole JSON gets every line that was not counted as lost, and gets it once.
//
// A pipe takes only lines that it takes in one piece (4096 bytes). A device is
// written as it is.
class EventLog final : public EventSink {
 public:
  // Appends one event to the file at `path`. A failure is counted, is told to
  // the administrator once a minute, and disturbs nobody.
  void record(const std::string& path, const Event& event) noexcept override;

 private:
  void lose(const std::string& path, const char* reason) noexcept;
  std::uint32_t take_lost() noexcept;
  void add_lost(std::uint32_t count) noexcept;

  // Lost events of a process: its id in the upper half, their number in the
  // lower. A forked child starts from nothing; the parent keeps its own.
  std::atomic<std::uint64_t> lost_{0};
  OnceAMinute notice_;
};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_EVENT_LOG_H
