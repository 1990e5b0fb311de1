#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "detectors/finding.h"
#include "engine/common_util.h"
#include "request/parameters.h"
#include "stack/render.h"
#include "text/text.h"

namespace event_detail = vorgate::event_detail;
namespace event_kind = vorgate::event_kind;
namespace event_target = vorgate::event_target;
using vorgate::BlockCategory;
using vorgate::EventCode;

namespace {

constexpr std::size_t max_attack_detail = 4096;

// Only here is the detail cut; chains and plain records carry it whole.
bool report_attack(const char* event_name, const std::string& kind, std::string detail,
                   HttpInfo& info) {
  reserve_custom_len(detail, max_attack_detail);
  return report_finding({EventCode::request_execution, BlockCategory::code_execution, event_name,
                         kind.c_str(), event_target::command, detail.c_str()},
                        info);
}

bool report_chain(const std::string& detail, HttpInfo& info) {
  const std::string chain = resort_stack_info(info.stack_trace);
  return report_finding(
      {EventCode::deserialisation, BlockCategory::deserialisation, event_kind::execute_command,
       chain.c_str(), event_target::command, detail.c_str()},
      info);
}

}  // namespace

bool CCommonUtil::check_code_exec(const std::string& source_name, const std::string& code) {
  if (!has_reporting_object()) return false;
  std::string kind;
  std::string detail;
  if (!is_it_toxic(source_name, code, kind, detail)) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::with)) return false;

  if (kind == event_detail::web_shell) {
    return report_attack(event_kind::run_web_shell, kind, detail, info);
  }
  if (contains(kind, event_detail::web_shell_family_prefix)) {
    return report_attack(event_kind::execute_command, kind, detail, info);
  }

  std::string unserialised;
  switch (check_self_and_unserialize(detail, info.stack_trace, unserialised)) {
    case 1:
      return report_attack(event_kind::execute_command, kind, detail, info);
    case 2:
      return report_chain(detail, info);
    default:
      break;
  }
  if (kind == event_detail::eval_code && contains(info.stack_trace, "__construct(eval(")) {
    kind += event_detail::from_constructor_suffix;
    return report_attack(event_kind::execute_command, kind, detail, info);
  }
  report_plain(event_kind::execute_command, kind.c_str(), event_target::command, detail.c_str(),
               info);
  return false;
}

int CCommonUtil::check_self_and_unserialize(const std::string& detail,
                                            const std::string& stack_text,
                                            std::string& unserialize_arg) {
  std::vector<std::string> parameters;
  get_all_parameters(parameters, PARAM_ALL);
  std::set<std::string> matches;
  if (!find_str_in_parameters(parameters, detail.c_str(), matches, false)) return 0;
  if (matches.count(detail) != 0) return 1;
  if (!get_unserialize_argument(stack_text, unserialize_arg)) return 0;
  return find_str_in_parameters(parameters, unserialize_arg.c_str(), matches, true) ? 2 : 0;
}

bool CCommonUtil::get_unserialize_argument(const std::string& stack_text, std::string& arg) {
  constexpr const char* call = "unserialize(";
  const char* start = std::strstr(stack_text.c_str(), "unserialize(O:");
  if (start == nullptr) return false;
  const char* end = std::strstr(start, ";})\n");
  if (end == nullptr) return false;
  start += std::strlen(call);
  arg.assign(start, end + std::strlen(";}"));
  return true;
}
