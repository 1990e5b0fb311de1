#include "engine/channel.h"

#include "engine/common_util.h"
#include "request/superglobals.h"
#include "text/text.h"

IPhpHelp* reporting_object() {
  return CCommonUtil::get_instance()->php_help.load(std::memory_order_acquire);
}

void conv_to_mqhttpinfo(IPhpHelp::MQ_HttpInfo& out, HttpInfo& in) {
  out.server_name = in.server_name.c_str();
  out.script_path = in.script_path.c_str();
  out.request_uri = in.request_uri.c_str();
  out.query_string = in.query_string.c_str();
  out.request_method = in.request_method.c_str();
  out.remote_addr = in.remote_addr.c_str();
  out.user_agent = in.user_agent.c_str();
  out.referer = in.referer.c_str();
  out.cookie = in.cookie.c_str();
  out.forwarded_for = in.forwarded_for.c_str();
  out.content_type = in.content_type.c_str();
  out.reserved = in.reserved.c_str();
  out.upload_file_name = in.upload_file_name.c_str();
  out.stack_trace = in.stack_trace.c_str();
}

int CCommonUtil::report_event(unsigned int code, const char* s1, const char* s2, const char* s3,
                              const char* s4, int i1, int i2, HttpInfo& info) {
  IPhpHelp::MQ_HttpInfo record;
  conv_to_mqhttpinfo(record, info);
  return reporting_object()->send_event(code, s1, s2, s3, s4, i1, i2, &record);
}

bool CCommonUtil::report_create_file(const char* a, const char* b, HttpInfo& info) {
  IPhpHelp* agent = reporting_object();
  if (agent == nullptr) return false;
  if (contains(info.content_type, "multipart/form-data; boundary=")) {
    info.upload_file_name = php_get_upload_file_name();
  }
  IPhpHelp::MQ_HttpInfo record;
  conv_to_mqhttpinfo(record, info);
  return agent->send_upload(a, b, &record) == 0;
}

bool CCommonUtil::is_in_white_list(HttpInfo& info) {
  return reporting_object()->is_white_listed(info.server_name.c_str(), info.request_uri.c_str(),
                                             info.remote_addr.c_str(), info.forwarded_for.c_str());
}

void message_queue_init() { CCommonUtil::get_instance()->init(); }

extern "C" __attribute__((visibility("default"))) int message_queue_release() {
  return CCommonUtil::get_instance()->release();
}
