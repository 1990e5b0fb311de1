#ifndef VORGATE_AGENT_POLICY_FILE_H
#define VORGATE_AGENT_POLICY_FILE_H

#include <sys/stat.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "agent/policy_source.h"

namespace vorgate::agent {

// What a policy file is followed by: the clocks, and the state of the file. A test
// hands in its own.
class Surroundings {
 public:
  virtual std::int64_t steady_ms() noexcept;  // never set back
  virtual std::int64_t wall_ns() noexcept;    // since 1970, the clock that files are stamped by
  virtual int stat(const char* path, struct stat* status) noexcept;  // as stat(2)

  // Those of the machine.
  static Surroundings& real() noexcept;

 protected:
  ~Surroundings() = default;
};

// The policy that is in force, kept in step with its file.
//
// There is no thread of its own: a reader looks at the file when the last look is
// 250 ms old, so a changed file holds for the reads that start a second after the
// change, and mostly sooner. Other readers go on with the policy in force meanwhile.
// A file that keeps changing is taken as it is half a second after a look first found
// it changed.
//
// A file that cannot be read or is refused leaves the last good policy in force
// (at the start: the default one), and is told of once for each changed version.
// A file that is gone brings the default policy back. The policy's rule files are
// read together with it, and only then; one that is refused is told of and left out.
//
// After a fork the child goes on with its copy, whatever other threads of the
// parent were doing.
class PolicyFile final : public PolicySource {
 public:
  // Reads the file at once.
  explicit PolicyFile(std::string path, Surroundings& surroundings = Surroundings::real());
  // No reader may be left.
  ~PolicyFile();

 private:
  struct Snapshot : PolicyInForce {
    Snapshot* next_retired = nullptr;
  };

  // What tells one version of the file from another.
  struct Version {
    int error = -1;  // errno of stat, 0 for none; -1: never looked
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t modified = 0;  // nanoseconds since 1970
    std::int64_t changed = 0;   // the same, of the inode

    bool operator==(const Version& other) const noexcept;
  };

  const PolicyInForce* hold() noexcept override;
  void release() noexcept override { readers_.fetch_sub(1); }

  Version version() noexcept;
  void refresh() noexcept;
  int look(bool first) noexcept;
  void load(const Version& version);
  void publish(std::unique_ptr<Snapshot> snapshot) noexcept;
  void reclaim() noexcept;

  const std::string path_;
  Surroundings& surroundings_;
  std::atomic<Snapshot*> current_;
  std::atomic<int> readers_{0};
  std::atomic<std::int64_t> next_look_;  // milliseconds of the steady clock
  // The process whose thread is looking at the file, or 0. It owns what follows.
  // The process id matters after a fork: the thread that held this for the
  // parent is not there in the child.
  std::atomic<pid_t> looking_{0};
  Version seen_;
  Version told_;
  std::int64_t postponed_since_ = 0;  // milliseconds of the steady clock; 0: not postponed
  Snapshot* retired_ = nullptr;
};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_POLICY_FILE_H
