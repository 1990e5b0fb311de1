#include "host/test_agent.h"

#include <chrono>
#include <thread>

extern "C" __attribute__((visibility("default"))) TestAgentState* test_agent_state() {
  static TestAgentState state;
  return &state;
}

extern "C" __attribute__((visibility("default"))) IPhpHelp* create_php_help() {
  TestAgentState& state = *test_agent_state();
  ++state.asked;
  std::this_thread::sleep_for(std::chrono::milliseconds(5));  // first requests queue up meanwhile
  return state.refuses ? nullptr : &state.agent;
}
