#include "detectors/finding.h"
#include "engine/common_util.h"
#include "text/text.h"

bool CCommonUtil::check_yaml_parse(const std::string& function_name, const std::string& document) {
  if (!has_reporting_object()) return false;
  // What stands behind a NUL byte is not looked at.
  if (!contains_c_string(document.c_str(), "!php/object")) return false;
  if (!is_param_contain_str(document)) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::without)) return false;
  const std::string label = "unserialize:" + function_name;
  return report_finding(
      {vorgate::EventCode::deserialisation, vorgate::BlockCategory::deserialisation,
       "execute_command", label.c_str(), "command", document.c_str()},
      info);
}
