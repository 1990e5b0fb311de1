#include "detectors/chains.h"

#include "detectors/finding.h"
#include "stack/render.h"
#include "text/text.h"

namespace event_kind = vorgate::event_kind;
namespace event_target = vorgate::event_target;
using vorgate::BlockCategory;
using vorgate::EventCode;

bool unserialize_vul(const std::string& stack_text) {
  const std::size_t unserialize = find_text(stack_text, "unserialize(");
  if (unserialize == std::string::npos) return false;
  const std::size_t destruct = find_text(stack_text, "__destruct(");
  if (destruct != std::string::npos) return destruct < unserialize;
  return find_text(stack_text, "__wakeup(") < unserialize;
}

bool code_exec_vul(const std::string& stack_text) {
  return contains(stack_text, "eval(") || contains(stack_text, "assert(") ||
         contains(stack_text, "preg_replace(");
}

bool report_execution_chain(const char* command, HttpInfo& info, bool& verdict) {
  EventCode code;
  BlockCategory category;
  if (unserialize_vul(info.stack_trace)) {
    code = EventCode::deserialisation;
    category = BlockCategory::deserialisation;
  } else if (code_exec_vul(info.stack_trace)) {
    code = EventCode::command_execution;
    category = BlockCategory::command_execution;
  } else {
    return false;
  }
  const std::string chain = resort_stack_info(info.stack_trace);
  verdict = report_finding(
      {code, category, event_kind::execute_command, chain.c_str(), event_target::command, command},
      info);
  return true;
}
