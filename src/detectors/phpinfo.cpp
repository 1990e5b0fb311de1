#include "detectors/chains.h"
#include "detectors/finding.h"
#include "engine/common_util.h"

bool CCommonUtil::check_phpinfo(const std::string& func_name) {
  if (!has_reporting_object()) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::with)) return false;

  if (is_param_contain_str("phpinfo()")) {
    return report_finding(
        {vorgate::EventCode::command_execution, vorgate::BlockCategory::command_execution,
         vorgate::event_kind::execute_command, func_name.c_str(), vorgate::event_target::command,
         "phpinfo()"},
        info);
  }
  // Unlike a command, an ordinary phpinfo leaves no record.
  bool verdict = false;
  report_execution_chain("phpinfo()", info, verdict);
  return verdict;
}
