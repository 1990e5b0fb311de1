#include "detectors/command_exec.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "detectors/chains.h"
#include "detectors/finding.h"
#include "engine/common_util.h"
#include "request/parameters.h"
#include "text/text.h"

namespace {

bool is_all_digits(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Whether a command found inside a longer parameter says enough to be no
// coincidence.
bool is_telling(const std::string& command) {
  if (contains_special_char(command.c_str())) return true;
  if (command.size() < 3 && command != "id") return false;
  return !is_all_digits(command);
}

// Whether this one query or form value shaped the command.
bool shapes_command(CCommonUtil& engine, const std::string& parameter, const std::string& command) {
  if (parameter.size() == command.size()) return parameter == command;
  if (parameter.size() > command.size()) return contains(parameter, command) && is_telling(command);
  return contains(command, parameter) &&
         (contains_special_char(parameter.c_str()) || engine.check_cmd_in_collection(parameter));
}

}  // namespace

bool contains_special_char(const char* text) {
  return text != nullptr && std::strpbrk(text, " |&/;\\.>${%<") != nullptr;
}

bool CCommonUtil::check_command_exec(const std::string& func_name, const std::string& command) {
  if (!has_reporting_object()) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::with)) return false;

  if (check_command_from_param(func_name, command)) {
    return report_finding(
        {vorgate::EventCode::command_execution, vorgate::BlockCategory::command_execution,
         vorgate::event_kind::execute_command, func_name.c_str(), vorgate::event_target::command,
         command.c_str()},
        info);
  }
  bool verdict = false;
  if (report_execution_chain(command.c_str(), info, verdict)) return verdict;
  report_plain(vorgate::event_kind::execute_command, func_name.c_str(),
               vorgate::event_target::command, command.c_str(), info);
  return false;
}

bool CCommonUtil::check_command_from_param(const std::string& func_name,
                                           const std::string& command) {
  std::vector<std::string> parameters;
  get_all_parameters(parameters, PARAM_GET_POST);
  for (const std::string& parameter : parameters) {
    if (shapes_command(*this, parameter, command)) return true;
  }
  // A cookie has to name the function as well.
  std::vector<std::string> cookies;
  get_all_parameters(cookies, PARAM_COOKIE);
  for (const std::string& cookie : cookies) {
    if (contains(cookie, command) && contains(cookie, func_name)) return true;
  }
  return false;
}

bool CCommonUtil::check_cmd_in_collection(const std::string& word) {
  return cmd_collection.count(word) != 0;
}
