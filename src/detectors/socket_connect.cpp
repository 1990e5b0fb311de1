#include "detectors/finding.h"
#include "engine/common_util.h"

// The record comes before the taint test: every connection leaves one, so that
// the agent sees all that goes out.
bool CCommonUtil::check_socket_connect(const std::string& function_name, const std::string& host) {
  if (!has_reporting_object()) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::without)) return false;

  if (is_param_equal_str(host)) {
    return report_finding({vorgate::EventCode::request_execution,
                           vorgate::BlockCategory::code_execution, vorgate::event_kind::connect,
                           function_name.c_str(), vorgate::event_target::host, host.c_str()},
                          info);
  }
  report_plain(vorgate::event_kind::connect, function_name.c_str(), vorgate::event_target::host,
               host.c_str(), info);
  return false;
}
