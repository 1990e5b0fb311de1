#include "detectors/finding.h"

#include "engine/channel.h"
#include "engine/common_util.h"

bool has_reporting_object() { return reporting_object() != nullptr; }

bool open_record(HttpInfo& info, CallStack stack) {
  php_get_part_http_info(info);
  if (CCommonUtil::get_instance()->is_in_white_list(info)) return false;
  php_get_left_http_info(info, stack == CallStack::with);
  return true;
}

int block_mode(vorgate::BlockCategory category) {
  return reporting_object()->get_block_mode(static_cast<int>(category));
}

bool report_finding(const Finding& finding, HttpInfo& info) {
  const int mode = block_mode(finding.category);
  send_finding(finding, mode, info);
  return mode != 0;
}

void send_finding(const Finding& finding, int mode, HttpInfo& info) {
  CCommonUtil::get_instance()->report_event(static_cast<unsigned int>(finding.code), finding.kind,
                                            finding.detail, finding.target, finding.subject,
                                            mode == 0 ? 1 : 0, 0, info);
}

void report_plain(const char* kind, const char* detail, const char* target, const char* subject,
                  HttpInfo& info) {
  CCommonUtil::get_instance()->report_event(static_cast<unsigned int>(vorgate::EventCode::record),
                                            kind, detail, target, subject, 1, 1, info);
}
