#include "module/watched.h"

#include <cstring>
#include <vector>

#include "detectors/command_exec.h"
#include "engine/common_util.h"
#include "engine/notices.h"

namespace {

template <bool (CCommonUtil::*check)(const std::string&, const std::string&)>
bool judged_by(CCommonUtil& engine, const std::string& function, const std::string& argument) {
  return (engine.*check)(function, argument);
}

bool judged_by_name(CCommonUtil& engine, const std::string& function, const std::string&) {
  return engine.check_phpinfo(function);
}

// Notices do not follow the kind of judge: only a creation has one of its own.
constexpr Judge command{judged_by<&CCommonUtil::check_command_exec>, error_report};
constexpr Judge reading{judged_by<&CCommonUtil::check_read_file>, error_report};
constexpr Judge creation{judged_by<&CCommonUtil::check_create_file>, create_file};
constexpr Judge connection{judged_by<&CCommonUtil::check_socket_connect>, error_report};
constexpr Judge yaml{judged_by<&CCommonUtil::check_yaml_parse>, error_report};
constexpr Judge ldap{judged_by<&CCommonUtil::check_ldap_search>, error_report};
constexpr Judge curl{judged_by<&CCommonUtil::check_curl_ssrf>, error_report};
constexpr Judge information{judged_by_name, error_report};

// An "r" anywhere in the mode reads.
Judge by_mode(zend_execute_data* call) {
  zend_api::StringArgument mode{};
  const bool reads = zend_api::parse(call, "ss", 1, mode) && std::strchr(mode.data, 'r') != nullptr;
  return reads ? reading : creation;
}

constexpr char curl_handle[] = "CurlHandle", socket_handle[] = "Socket",
               ldap_link[] = "LDAP\\Connection";

template <const char* class_name>
bool given_a(zend_execute_data* call) {
  return zend_api::may_be_handle(call, 0, class_name);
}

// Most calls set something else, whose value is no text.
bool sets_url(zend_execute_data* call) {
  zend_api::IntegerArgument option = 0;
  return given_a<curl_handle>(call) && zend_api::parse(call, "rl", 1, option) &&
         option == curl_option_url;
}

// A program and its arguments, without a shell of proc_open's own.
bool judged_as_program(zend_execute_data* call, const std::string& function) {
  std::vector<std::string> words;
  return zend_api::program_list(call, 0, words) &&
         check_program(*CCommonUtil::get_instance(), function, words);
}

}  // namespace

// clang-format off
const std::array<WatchedFunction, 19> watched_functions{{
    {"exec",               "s",   0, command,     nullptr,                nullptr, nullptr},
    {"system",             "s",   0, command,     nullptr,                nullptr, nullptr},
    {"passthru",           "s",   0, command,     nullptr,                nullptr, nullptr},
    {"shell_exec",         "s",   0, command,     nullptr,                nullptr, nullptr},
    {"popen",              "s",   0, command,     nullptr,                nullptr, nullptr},
    {"proc_open",          "s",   0, command,     nullptr,                nullptr, judged_as_program},
    {"fopen",              "ss",  0, reading,     nullptr,                by_mode, nullptr},
    {"rename",             "ss",  1, creation,    nullptr,                nullptr, nullptr},
    {"copy",               "ss",  1, creation,    nullptr,                nullptr, nullptr},
    {"socket_connect",     "rs",  1, connection,  given_a<socket_handle>, nullptr, nullptr},
    {"fsockopen",          "s",   0, connection,  nullptr,                nullptr, nullptr},
    {"file_get_contents",  "s",   0, reading,     nullptr,                nullptr, nullptr},
    {"file_put_contents",  "s",   0, creation,    nullptr,                nullptr, nullptr},
    {"move_uploaded_file", "ss",  1, creation,    nullptr,                nullptr, nullptr},
    {"yaml_parse",         "s",   0, yaml,        nullptr,                nullptr, nullptr},
    {"ldap_search",        "zzs", 2, ldap,        given_a<ldap_link>,     nullptr, nullptr},
    {"curl_setopt",        "rls", 2, curl,        sets_url,               nullptr, nullptr},
    {"curl_init",          "s",   0, curl,        nullptr,                nullptr, nullptr},
    {"phpinfo",            "",    0, information, nullptr,                nullptr, nullptr},
}};
// clang-format on

const WatchedFunction* find_watched(std::string_view name) {
  for (const WatchedFunction& function : watched_functions) {
    if (function.name == name) return &function;
  }
  return nullptr;
}
