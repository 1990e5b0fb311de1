#ifndef VORGATE_AGENT_AGENT_H
#define VORGATE_AGENT_AGENT_H

#include <string>
#include <string_view>

#include "agent/event_sink.h"
#include "agent/notice.h"
#include "agent/policy_source.h"
#include "agent/script/script_rules.h"
#include "vorgate/php_help.h"

namespace vorgate::agent {

// The local agent: policy in, events out. The operations' contracts are those of
// IPhpHelp. Any thread, no lock; errno is left as it was found.
class Agent final : public IPhpHelp {
 public:
  // Both have to outlive it.
  Agent(PolicySource& policy, EventSink& events) noexcept : policy_(policy), events_(events) {}

  int send_event(unsigned int code, const char* kind, const char* detail, const char* target,
                 const char* subject, int allowed, int plain,
                 const MQ_HttpInfo* info) noexcept override;
  int send_upload(const char* function, const char* path,
                  const MQ_HttpInfo* info) noexcept override;
  bool match_sql(const char* query, const char* values) noexcept override;
  void reserved_operation() noexcept override;
  bool lookup_sql(const char* query, std::string* detail) noexcept override;
  int get_block_mode(int category) noexcept override;
  bool is_white_listed(const char* server_name, const char* request_uri, const char* remote_addr,
                       const char* forwarded_for) noexcept override;
  int scan_script(const char* code, int flag) noexcept override;
  bool scan_webshell(const std::string& code, std::string* family) noexcept override;

 private:
  bool scan(std::string_view code, script::Kinds kinds, std::string* family) noexcept;

  PolicySource& policy_;
  EventSink& events_;
  OnceAMinute time_limit_notice_;
};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_AGENT_H
