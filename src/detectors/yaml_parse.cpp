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
  const std::string label = vorgate::event_detail::yaml_object_prefix + function_name;
  return report_finding(
      {vorgate::EventCode::deserialisation, vorgate::BlockCategory::deserialisation,
       vorgate::event_kind::execute_command, label.c_str(), vorgate::event_target::command,
       document.c_str()},
      info);
}
