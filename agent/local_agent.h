#ifndef VORGATE_AGENT_LOCAL_AGENT_H
#define VORGATE_AGENT_LOCAL_AGENT_H

#include <string>
#include <utility>

#include "agent/agent.h"
#include "agent/event_log.h"
#include "agent/policy_file.h"

namespace vorgate::agent {

// The agent as a process has it: decides by a policy file and appends events to the
// log that it names.
struct LocalAgent {
  // Reads the policy file at once; see PolicyFile for what follows.
  explicit LocalAgent(std::string policy_path, Surroundings& surroundings = Surroundings::real())
      : policy(std::move(policy_path), surroundings) {}

  PolicyFile policy;
  EventLog log;
  Agent agent{policy, log};
};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_LOCAL_AGENT_H
