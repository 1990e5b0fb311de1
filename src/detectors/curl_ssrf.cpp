#include "detectors/finding.h"
#include "engine/common_util.h"
#include "text/text.h"

bool CCommonUtil::check_curl_ssrf(const std::string&, const std::string& url) {
  if (!has_reporting_object()) return false;
  if (!is_param_contain_str(url)) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::without)) return false;
  // The action stands in the place of the target as well.
  const char* action =
      contains(url, "file://") ? vorgate::event_kind::read : vorgate::event_kind::connect;
  return report_finding({vorgate::EventCode::request_forgery, vorgate::BlockCategory::file_access,
                         action, vorgate::event_detail::request_forgery, action, url.c_str()},
                        info);
}
