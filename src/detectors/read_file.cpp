#include "detectors/finding.h"
#include "engine/common_util.h"

// The taint test comes first: a read of a file that the script named itself costs
// one scan of the parameters.
bool CCommonUtil::check_read_file(const std::string& function_name, const std::string& file_name) {
  if (!has_reporting_object()) return false;
  if (!is_param_contain_str(file_name)) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::without)) return false;
  return report_finding({vorgate::EventCode::file_read, vorgate::BlockCategory::file_access,
                         vorgate::event_kind::read, function_name.c_str(),
                         vorgate::event_target::file, file_name.c_str()},
                        info);
}
