#ifndef VORGATE_AGENT_POLICY_SOURCE_H
#define VORGATE_AGENT_POLICY_SOURCE_H

#include <sys/stat.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "agent/policy.h"
#include "agent/script/script_rules.h"
#include "agent/sql/sql_rules.h"

namespace vorgate::agent {

// The policy that is in force, kept in step with its file.
//
// Any thread may read; nothing waits. There is no thread of its own: a reader
// looks at the file when the last look is 250 ms old, so a changed file holds
// for the reads that start a second after the change, and mostly sooner. Other
// readers go on with the policy in force meanwhile. A file that keeps changing is
// taken as it is half a second after a look first found it changed.
//
// A file that cannot be read or is refused leaves the last good policy in force
// (at the start: the default one), and is told of once for each changed version.
// A file that is gone brings the default policy back. The policy's rule files are
// read together with it, and only then; one that is refused is told of and left out.
//
// After a fork the child goes on with its copy, whatever other threads of the
// parent were doing.
class PolicySource {
 private:
  struct Snapshot {
    Policy policy;
    std::vector<sql::RuleSet> rules;
    std::vector<script::RuleSet> script_rules;
    Snapshot* next_retired = nullptr;
  };

 public:
  // Reads the file at once.
  explicit PolicySource(std::string path);
  PolicySource(const PolicySource&) = delete;
  PolicySource& operator=(const PolicySource&) = delete;
  // No reader may be left.
  ~PolicySource();

  // The policy in force; it lives as long as this object does.
  class Reading {
   public:
    explicit Reading(PolicySource& source) noexcept : source_(source) {
      source.refresh();
      source.readers_.fetch_add(1);
      snapshot_ = source.current_.load();
    }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    ~Reading() { source_.readers_.fetch_sub(1); }

    const Policy* operator->() const noexcept { return &snapshot_->policy; }
    // What the policy's rule files hold.
    const std::vector<sql::RuleSet>& rules() const noexcept { return snapshot_->rules; }
    const std::vector<script::RuleSet>& script_rules() const noexcept {
      return snapshot_->script_rules;
    }

   private:
    PolicySource& source_;
    const Snapshot* snapshot_;
  };

  Reading read() noexcept { return Reading(*this); }

 private:
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

  static Version version_of(const std::string& path) noexcept;
  void refresh() noexcept;
  int look(bool first) noexcept;
  void load(const Version& version);
  void publish(std::unique_ptr<Snapshot> snapshot) noexcept;
  void reclaim() noexcept;

  const std::string path_;
  std::atomic<Snapshot*> current_;
  std::atomic<int> readers_{0};
  std::atomic<std::int64_t> next_look_;  // milliseconds of the monotonic clock
  // The process whose thread is looking at the file, or 0. It owns what follows.
  // The process id matters after a fork: the thread that held this for the
  // parent is not there in the child.
  std::atomic<pid_t> looking_{0};
  Version seen_;
  Version told_;
  std::int64_t postponed_since_ = 0;  // milliseconds of the monotonic clock; 0: not postponed
  Snapshot* retired_ = nullptr;
};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_POLICY_SOURCE_H
