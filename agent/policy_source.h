#ifndef VORGATE_AGENT_POLICY_SOURCE_H
#define VORGATE_AGENT_POLICY_SOURCE_H

#include <vector>

#include "agent/policy.h"
#include "agent/script/script_rules.h"
#include "agent/sql/sql_rules.h"

namespace vorgate::agent {

// A policy, and what the rule files that it names hold.
struct PolicyInForce {
  Policy policy;
  std::vector<sql::RuleSet> rules;
  std::vector<script::RuleSet> script_rules;
};

// Where the agent takes its policy from. Any thread may read; nothing waits.
class PolicySource {
 public:
  // The policy in force; it stays as it is for as long as this object lives.
  class Reading {
   public:
    explicit Reading(PolicySource& source) noexcept : source_(source), held_(source.hold()) {}
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    ~Reading() { source_.release(); }

    const Policy* operator->() const noexcept { return &held_->policy; }
    const std::vector<sql::RuleSet>& rules() const noexcept { return held_->rules; }
    const std::vector<script::RuleSet>& script_rules() const noexcept {
      return held_->script_rules;
    }

   private:
    PolicySource& source_;
    const PolicyInForce* held_;
  };

  PolicySource() = default;
  PolicySource(const PolicySource&) = delete;
  PolicySource& operator=(const PolicySource&) = delete;

  Reading read() noexcept { return Reading(*this); }

 protected:
  ~PolicySource() = default;

  // What `hold` answers lives until the `release` that belongs to it.
  virtual const PolicyInForce* hold() noexcept = 0;
  virtual void release() noexcept = 0;
};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_POLICY_SOURCE_H
