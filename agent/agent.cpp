#include "agent/agent.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <string_view>

#include "agent/script/condense.h"
#include "agent/sql/sql_injection.h"
#include "agent/sql/sql_rules.h"
#include "agent/text.h"
#include "agent/uploads.h"

namespace vorgate::agent {
namespace {

constexpr std::size_t longest_subject = 4096;  // of an event of the agent's own

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

int Agent::send_event(unsigned int code, const char* kind, const char* detail, const char* target,
                      const char* subject, int allowed, int, const MQ_HttpInfo* info) noexcept {
  const ErrnoKept errno_kept;
  const auto policy = policy_.read();
  events_.record(policy->log_path, {code, kind, detail, target, subject, allowed != 0, info});
  return 0;
}

int Agent::send_upload(const char* function, const char* path, const MQ_HttpInfo* info) noexcept {
  const ErrnoKept errno_kept;
  const auto policy = policy_.read();
  const bool is_script = info != nullptr && found([&] {
                           return uploads_files(view(info->content_type)) &&
                                  has_ending(view(path), policy->refused_endings);
                         });
  const bool allowed =
      !is_script || !policy->blocks(static_cast<int>(BlockCategory::deserialisation));
  events_.record(policy->log_path,
                 {std::nullopt, "create", function, "file", path, allowed, info, is_script});
  return allowed ? 1 : 0;
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
  return found(
      [&] { return sql::is_injected(view(query), view(values), policy_.read()->sql_dialect); });
}

void Agent::reserved_operation() noexcept {}

bool Agent::lookup_sql(const char* query, std::string* detail) noexcept {
  return found([&] {
    const auto policy = policy_.read();
    const std::string form = sql::normalise(view(query), policy->sql_dialect);
    if (sql::shipped_rules().match(form, detail, policy->disabled_rules)) return true;
    return std::any_of(policy.rules().begin(), policy.rules().end(),
                       [&](const sql::RuleSet& rules) { return rules.match(form, detail); });
  });
}

int Agent::scan_script(const char* code, int) noexcept {
  return scan(view(code), script::Kinds::families_and_large, nullptr) ? 1 : 0;
}

bool Agent::scan_webshell(const std::string& code, std::string* family) noexcept {
  return scan(code, script::Kinds::families, family);
}

// One time limit for all rules, without the time in which the shipped ones are compiled.
bool Agent::scan(std::string_view code, script::Kinds kinds, std::string* family) noexcept {
  return found([&] {
    const auto policy = policy_.read();
    if (policy->enforcement == Enforcement::off) return false;
    const script::RuleSet* shipped = script::shipped_rules();
    const auto end = std::chrono::steady_clock::now() + policy->script_time_limit;
    const auto answer = [&](const script::RuleSet& rules, std::string_view text) {
      const auto left = end - std::chrono::steady_clock::now();
      return left.count() <= 0 ? script::Found::out_of_time
                               : rules.match(text, kinds, left, family);
    };
    auto answered =
        shipped != nullptr ? answer(*shipped, script::condense(code)) : script::Found::nothing;
    for (const script::RuleSet& rules : policy.script_rules()) {
      if (answered != script::Found::nothing) break;
      answered = answer(rules, code);
    }
    if (answered != script::Found::out_of_time) return answered == script::Found::web_shell;
    if (time_limit_notice_.is_due()) {
      notice(
          "a script could not be scanned within scripts.time_limit_ms; raise it in the policy, "
          "or look for a slow rule");
    }
    if (policy->unscanned_scripts == Enforcement::block) {
      if (family != nullptr) *family = event_detail::unscanned;
      return true;
    }
    const std::string detail =
        std::string(event_detail::web_shell_family_prefix) + event_detail::unscanned;
    const std::string subject(code.substr(0, longest_subject));
    events_.record(policy->log_path, {static_cast<unsigned int>(EventCode::request_execution),
                                      event_kind::execute_command, detail.c_str(),
                                      event_target::command, subject.c_str(), true, nullptr});
    return false;
  });
}

}  // namespace vorgate::agent
