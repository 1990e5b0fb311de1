#include "agent/policy_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <optional>
#include <utility>

#include "agent/file_io.h"
#include "agent/notice.h"

namespace vorgate::agent {
namespace {

constexpr int look_interval_ms = 250;
// A file that changed less than this ago may still be being written: an editor
// truncates it first. It is left alone for a while, so that half a policy does
// not hold; but not for ever, should somebody touch it all the time.
constexpr std::int64_t settling_ns = 100'000'000;
constexpr int settling_look_ms = 100;
constexpr std::int64_t longest_postponement_ms = 500;

std::int64_t nanoseconds(const timespec& time) noexcept {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

std::int64_t clock_ns(clockid_t clock) noexcept {
  timespec now{};
  clock_gettime(clock, &now);
  return nanoseconds(now);
}

// Reads the rule files that can be used, and tells of the others.
template <typename Rules>
void read_rules(const std::vector<std::string>& files, bool tell, std::vector<Rules>* all) {
  for (const std::string& file : files) {
    std::string error;
    const auto text = read_file(file, &error);
    auto rules = text ? Rules::parse(*text, file, &error) : std::nullopt;
    if (rules) {
      all->push_back(std::move(*rules));
    } else if (tell) {
      notice(error + "; rule file refused, all other rules are in force");
    }
  }
}

}  // namespace

std::int64_t Surroundings::steady_ms() noexcept {
  return clock_ns(CLOCK_MONOTONIC_COARSE) / 1'000'000;
}

std::int64_t Surroundings::wall_ns() noexcept { return clock_ns(CLOCK_REALTIME); }

int Surroundings::stat(const char* path, struct stat* status) noexcept {
  return ::stat(path, status);
}

Surroundings& Surroundings::real() noexcept {
  class Machine final : public Surroundings {};
  static Machine machine;
  return machine;
}

bool PolicyFile::Version::operator==(const Version& other) const noexcept {
  return error == other.error && device == other.device && inode == other.inode &&
         size == other.size && modified == other.modified && changed == other.changed;
}

PolicyFile::Version PolicyFile::version() noexcept {
  Version version;
  struct stat status {};
  if (surroundings_.stat(path_.c_str(), &status) != 0) {
    // A folder that is missing on the way is no other state than a missing file.
    version.error = errno == ENOTDIR ? ENOENT : errno;
    return version;
  }
  version.error = 0;
  version.device = status.st_dev;
  version.inode = status.st_ino;
  version.size = status.st_size;
  version.modified = nanoseconds(status.st_mtim);
  version.changed = nanoseconds(status.st_ctim);
  return version;
}

PolicyFile::PolicyFile(std::string path, Surroundings& surroundings)
    : path_(std::move(path)), surroundings_(surroundings), current_(new Snapshot), next_look_(0) {
  next_look_.store(surroundings_.steady_ms() + look(true));
}

PolicyFile::~PolicyFile() {
  reclaim();
  delete current_.load();
}

const PolicyInForce* PolicyFile::hold() noexcept {
  refresh();
  readers_.fetch_add(1);
  return current_.load();
}

void PolicyFile::refresh() noexcept {
  const std::int64_t now = surroundings_.steady_ms();
  if (now < next_look_.load(std::memory_order_relaxed)) return;
  const pid_t self = getpid();
  pid_t holder = looking_.load(std::memory_order_relaxed);
  if (holder == self) return;
  if (!looking_.compare_exchange_strong(holder, self, std::memory_order_acquire)) return;
  next_look_.store(now + look(false), std::memory_order_relaxed);
  looking_.store(0, std::memory_order_release);
}

// Answers when to look again, in milliseconds.
int PolicyFile::look(bool first) noexcept {
  reclaim();
  // The version is taken before the text is read: what changes in between is
  // found by the next look.
  const Version version = this->version();
  if (version == seen_) {
    postponed_since_ = 0;
    return look_interval_ms;
  }
  const std::int64_t age = surroundings_.wall_ns() - version.changed;
  const bool settled = version.error != 0 || age < 0 || age >= settling_ns;
  const std::int64_t now = surroundings_.steady_ms();
  if (postponed_since_ == 0) postponed_since_ = now;
  if (!settled && !first && now - postponed_since_ < longest_postponement_ms) {
    return settling_look_ms;
  }
  postponed_since_ = 0;
  try {
    load(version);
    // Two changes within one tick of the file system's clock look alike, so an
    // unsettled file is read again.
    seen_ = settled ? version : Version();
  } catch (const std::exception&) {
    seen_ = Version();  // out of memory: the policy in force stays, and the next look tries again
  }
  return look_interval_ms;
}

void PolicyFile::load(const Version& version) {
  std::string error;
  std::optional<Policy> policy;
  if (version.error == ENOENT) {
    policy.emplace();
    if (seen_.error >= 0 && seen_.error != ENOENT) {
      error = path_ + ": the policy file is gone; reporting everything, blocking nothing";
    }
  } else if (version.error != 0) {
    error = path_ + ": cannot be looked at: " + strerrordesc_np(version.error);
  } else if (const auto text = read_file(path_, &error)) {
    policy = parse_policy(*text, path_, &error);
  }
  const bool is_news = !(version == told_);
  if (!error.empty() && is_news) {
    notice(policy ? error : error + "; file refused, the policy in force stays");
  }
  auto snapshot = std::make_unique<Snapshot>();
  if (policy) {
    snapshot->policy = std::move(*policy);
    read_rules(snapshot->policy.rule_files, is_news, &snapshot->rules);
    read_rules(snapshot->policy.script_rule_files, is_news, &snapshot->script_rules);
  }
  told_ = version;
  if (policy) publish(std::move(snapshot));
}

void PolicyFile::publish(std::unique_ptr<Snapshot> snapshot) noexcept {
  Snapshot* old = current_.exchange(snapshot.release());
  old->next_retired = retired_;
  retired_ = old;
  reclaim();
}

// Frees what no reader can hold. A reader counts itself in before it takes the
// current snapshot, and all of this is sequentially consistent: when no reader
// is counted after an exchange, every later one finds the new snapshot. The list
// is pieced together by single stores, so a fork at any moment leaves it whole.
void PolicyFile::reclaim() noexcept {
  if (retired_ == nullptr || readers_.load() != 0) return;
  while (retired_ != nullptr) {
    Snapshot* snapshot = retired_;
    retired_ = snapshot->next_retired;
    delete snapshot;
  }
}

}  // namespace vorgate::agent
