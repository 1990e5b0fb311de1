#include <string>
#include <vector>

#include "detectors/finding.h"
#include "engine/common_util.h"
#include "request/parameters.h"
#include "text/text.h"

namespace {

// Whether the request can reshape the filter: the filter contains the parameter,
// and the parameter itself holds what structures a filter.
bool reshapes_filter(const std::string& parameter, const std::string& filter) {
  return contains(filter, parameter) && parameter.find_first_of(")(\\*") != parameter.npos;
}

}  // namespace

bool CCommonUtil::check_ldap_search(const std::string& function_name, const std::string& filter) {
  if (!has_reporting_object()) return false;
  std::vector<std::string> parameters;
  get_all_parameters(parameters, PARAM_GET_POST);
  for (const std::string& parameter : parameters) {
    if (!reshapes_filter(parameter, filter)) continue;
    HttpInfo info;
    if (!open_record(info, CallStack::without)) return false;
    return report_finding(
        {vorgate::EventCode::query_injection, vorgate::BlockCategory::query_injection,
         vorgate::event_kind::query_by_shape, function_name.c_str(), vorgate::event_target::command,
         filter.c_str()},
        info);
  }
  return false;
}
