#include <strings.h>

#include <cstring>

#include "detectors/finding.h"
#include "engine/common_util.h"
#include "text/text.h"

namespace {

constexpr const char* danger_include[] = {
    "/etc/passwd",  "/etc/rsyncd.conf",         "/access_log", "php://filter/",
    "php://input/", "data://text/plain;base64", "file:///",
};

}  // namespace

bool CCommonUtil::check_file_include(const char* path) {
  if (!has_reporting_object()) return false;
  if (is_exclude_file(path)) return false;
  if (!is_param_equal_str(path) && !is_dangerous_path(path)) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::without)) return false;
  return report_finding({vorgate::EventCode::file_include, vorgate::BlockCategory::file_access,
                         vorgate::event_kind::include, vorgate::event_detail::include,
                         vorgate::event_target::file, path},
                        info);
}

// Ordinary PHP sources are waved through; wrappers and network paths never are.
bool CCommonUtil::is_exclude_file(const char* path) {
  if (path == nullptr) return true;
  if (contains_c_string(path, "//") || contains_c_string(path, "\\\\")) return false;
  const char* extension = std::strrchr(path, '.');
  return extension != nullptr && strcasecmp(extension, ".php") == 0;
}

bool CCommonUtil::is_dangerous_path(const char* path) {
  for (const char* danger : danger_include) {
    if (contains_c_string(path, danger)) return true;
  }
  return false;
}
