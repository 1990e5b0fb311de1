#include "detectors/chains.h"
#include "detectors/finding.h"
#include "engine/common_util.h"
#include "stack/render.h"

// No taint test: the agent hears of every creation and may refuse it. What it
// lets pass is still refused inside a deserialisation chain.
bool CCommonUtil::check_create_file(const std::string& func_name, const std::string& path) {
  if (!has_reporting_object()) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::with)) return false;
  if (report_create_file(func_name.c_str(), path.c_str(), info)) return true;

  if (!unserialize_vul(info.stack_trace)) return false;
  const std::string chain = resort_stack_info(info.stack_trace);
  return report_finding(
      {vorgate::EventCode::deserialisation, vorgate::BlockCategory::deserialisation,
       vorgate::event_kind::create, chain.c_str(), vorgate::event_target::file, path.c_str()},
      info);
}
