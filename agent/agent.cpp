#include "agent.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <string_view>
#include <utility>

#include "sql/sql_injection.h"
#include "sql/sql_rules.h"

namespace vorgate::agent {
namespace {

constexpr const char* default_policy_path = "/etc/vorgate/agent.toml";
constexpr const char* policy_path_variable = "VORGATE_AGENT_CONFIG";

// The module asks in the middle of other people's calls.
class ErrnoKept {
 public:
  ErrnoKept() noexcept : value_(errno) {}
  ErrnoKept(const ErrnoKept&) = delete;
  ErrnoKept& operator=(const ErrnoKept&) = delete;
  ~ErrnoKept() { errno = value_; }

 private:
  int value_;
};

std::string_view view(const char* text) { return text != nullptr ? text : ""; }

// Out of memory, a test finds nothing.
template <typename Test>
bool found(Test test) noexcept {
  const ErrnoKept errno_kept;
  try {
    return test();
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

Agent::Agent(std::string policy_path) : policy_(std::move(policy_path)) {}

int Agent::send_event(unsigned int code, const char* kind, const char* detail, const char* target,
                      const char* subject, int allowed, int, const MQ_HttpInfo* info) noexcept {
  const ErrnoKept errno_kept;
  const auto policy = policy_.read();
  log_.record(policy->log_path, {code, kind, detail, target, subject, allowed != 0, info});
  return 0;
}

int Agent::send_upload(const char* function, const char* path, const MQ_HttpInfo* info) noexcept {
  const ErrnoKept errno_kept;
  const auto policy = policy_.read();
  log_.record(policy->log_path, {std::nullopt, "create", function, "file", path, true, info});
  return 1;
}

int Agent::get_block_mode(int category) noexcept {
  const ErrnoKept errno_kept;
  return policy_.read()->blocks(category) ? 1 : 0;
}

bool Agent::is_white_listed(const char* server_name, const char* request_uri,
                            const char* remote_addr, const char* forwarded_for) noexcept {
  return found([&] {
    return policy_.read()->exempts(view(server_name), view(request_uri), view(remote_addr),
                                   view(forwarded_for));
  });
}

bool Agent::match_sql(const char* query, const char* values) noexcept {
  return found([&] { return sql::is_injected(view(query), view(values)); });
}

void Agent::reserved_operation() noexcept {}

bool Agent::lookup_sql(const char* query, std::string* detail) noexcept {
  return found([&] {
    const std::string form = sql::normalise(view(query));
    if (sql::shipped_rules().match(form, detail)) return true;
    const auto policy = policy_.read();
    return std::any_of(policy.rules().begin(), policy.rules().end(),
                       [&](const sql::RuleSet& rules) { return rules.match(form, detail); });
  });
}

int Agent::scan_script(const char*, int) noexcept { return 0; }
bool Agent::scan_webshell(const std::string&, std::string*) noexcept { return false; }

}  // namespace vorgate::agent

// One object for the process, however often and from however many threads this
// is called. It is never deleted: requests may still run while the process ends.
// The environment is read here and never again, for scripts can change it.
extern "C" __attribute__((visibility("default"))) IPhpHelp* create_php_help() noexcept {
  using namespace vorgate::agent;
  try {
    static Agent* const agent = [] {
      const char* path = secure_getenv(policy_path_variable);
      return new Agent(path != nullptr && *path != '\0' ? path : default_policy_path);
    }();
    return agent;
  } catch (const std::exception&) {
    return nullptr;
  }
}
