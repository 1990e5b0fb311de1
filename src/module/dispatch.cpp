#include "module/dispatch.h"

#include <cstring>

#include "engine/common_util.h"
#include "engine/notices.h"
#include "module/wrappers.h"

namespace {

// The option of curl_setopt that sets the URL.
constexpr zend_api::IntegerArgument curl_option_url = 10002;

template <bool (CCommonUtil::*check)(const std::string&, const std::string&)>
bool judged_by(CCommonUtil& engine, const std::string& function, const std::string& argument) {
  return (engine.*check)(function, argument);
}

bool judged_by_name(CCommonUtil& engine, const std::string& function, const std::string&) {
  return engine.check_phpinfo(function);
}

// Notices do not follow the kind of judge: only a creation has one of its own.
constexpr Judge command_judge{judged_by<&CCommonUtil::check_command_exec>, error_report};
constexpr Judge read_judge{judged_by<&CCommonUtil::check_read_file>, error_report};
constexpr Judge create_judge{judged_by<&CCommonUtil::check_create_file>, create_file};
constexpr Judge connection_judge{judged_by<&CCommonUtil::check_socket_connect>, error_report};
constexpr Judge yaml_judge{judged_by<&CCommonUtil::check_yaml_parse>, error_report};
constexpr Judge ldap_judge{judged_by<&CCommonUtil::check_ldap_search>, error_report};
constexpr Judge curl_judge{judged_by<&CCommonUtil::check_curl_ssrf>, error_report};
constexpr Judge phpinfo_judge{judged_by_name, error_report};

bool first(zend_execute_data* call, Examination& examination) {
  return zend_api::parse_s(call, examination.argument);
}

bool destination(zend_execute_data* call, Examination& examination) {
  zend_api::StringArgument source;
  return zend_api::parse_ss(call, source, examination.argument);
}

bool path_by_mode(zend_execute_data* call, Examination& examination) {
  zend_api::StringArgument mode;
  if (!zend_api::parse_ss(call, examination.argument, mode)) return false;
  if (std::strchr(mode.data, 'r') == nullptr) examination.judge = create_judge;
  return true;
}

bool address(zend_execute_data* call, Examination& examination) {
  return zend_api::parse_rs(call, examination.argument);
}

bool filter(zend_execute_data* call, Examination& examination) {
  return zend_api::parse_zzs(call, examination.argument);
}

bool url_option(zend_execute_data* call, Examination& examination) {
  zend_api::IntegerArgument option = curl_option_url;
  return zend_api::parse_rl(call, option) && option == curl_option_url &&
         zend_api::parse_rls(call, examination.argument);
}

bool first_if_given(zend_execute_data* call, Examination& examination) {
  return zend_api::argument_count(call) != 0 && zend_api::parse_s(call, examination.argument);
}

bool nothing(zend_execute_data*, Examination&) { return true; }

// Copies the argument and asks the judge; a frame of its own, so that the copy is
// gone before anything can leave by long jump.
bool is_attack(const Examination& examination, const std::string& function) {
  const std::string argument(examination.argument.data, examination.argument.size);
  return examination.judge.detector(*CCommonUtil::get_instance(), function, argument);
}

}  // namespace

// clang-format off
const std::array<WatchedFunction, 19> watched_functions{{
    {"exec",               exec_handler,               first,          command_judge},
    {"system",             system_handler,             first,          command_judge},
    {"passthru",           passthru_handler,           first,          command_judge},
    {"shell_exec",         shell_exec_handler,         first,          command_judge},
    {"popen",              popen_handler,              first,          command_judge},
    {"proc_open",          proc_open_handler,          first,          command_judge},
    {"fopen",              fopen_handler,              path_by_mode,   read_judge},  // or create
    {"rename",             rename_handler,             destination,    create_judge},
    {"copy",               copy_handler,               destination,    create_judge},
    {"socket_connect",     socket_connect_handler,     address,        connection_judge},
    {"fsockopen",          fsockopen_handler,          first,          connection_judge},
    {"file_get_contents",  file_get_contents_handler,  first,          read_judge},
    {"file_put_contents",  file_put_contents_handler,  first,          create_judge},
    {"move_uploaded_file", move_uploaded_file_handler, destination,    create_judge},
    {"yaml_parse",         yaml_parse_handler,         first,          yaml_judge},
    {"ldap_search",        ldap_search_handler,        filter,         ldap_judge},
    {"curl_setopt",        curl_setopt_handler,        url_option,     curl_judge},
    {"curl_init",          curl_init_handler,          first_if_given, curl_judge},
    {"phpinfo",            phpinfo_handler,            nothing,        phpinfo_judge},
}};
// clang-format on

bool is_safe_handler(zend_execute_data* execute_data, zval*, const std::string& function_name) {
  for (const WatchedFunction& function : watched_functions) {
    if (function.name != function_name) continue;
    Examination examination{function.judge, {}};
    if (!function.take(execute_data, examination)) return true;
    const bool attack = is_attack(examination, function_name);
    zend_api::resume_bailout();
    if (attack) zend_api::print(examination.judge.notice);
    return !attack;
  }
  return true;
}
