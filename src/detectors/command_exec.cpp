#include "detectors/command_exec.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
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

std::string base_name(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool is_shell(const std::string& program) {
  constexpr std::string_view shells[] = {"sh",  "bash", "dash", "ash",  "zsh",
                                         "ksh", "mksh", "csh",  "tcsh", "fish"};
  return std::find(std::begin(shells), std::end(shells), base_name(program)) != std::end(shells);
}

// "-o pipefail", also behind other letters, and files of settings.
bool has_value(const std::string& option) {
  return option == "--rcfile" || option == "--init-file" ||
         (option[1] != '-' && (option.back() == 'o' || option.back() == 'O'));
}

// The text that a shell is told to run; null when the words start no shell, or one that
// reads a file.
const std::string* shell_text(const std::vector<std::string>& words) {
  auto word = words.begin();
  if (base_name(*word) == "busybox") {
    ++word;
  } else if (base_name(*word) == "env") {  // its options and variables come first
    while (++word != words.end() && (word->find('=') != word->npos || word->rfind('-', 0) == 0)) {
      if ((*word == "-u" || *word == "-C") && ++word == words.end()) return nullptr;
    }
  }
  if (word == words.end() || !is_shell(*word)) return nullptr;
  bool runs_text = false;
  while (++word != words.end()) {
    const bool is_option = word->size() > 1 && (word->front() == '-' || word->front() == '+');
    if (!is_option) return runs_text ? &*word : nullptr;
    if (word->front() == '-' && (*word)[1] != '-' && contains(*word, "c")) runs_text = true;
    if (has_value(*word) && ++word == words.end()) break;
  }
  return nullptr;
}

// What a command leaves that is not the request's: a finding inside a chain, or the
// plain record.
bool report_execution(const std::string& function, const std::string& command, HttpInfo& info) {
  bool verdict = false;
  if (report_execution_chain(command.c_str(), info, verdict)) return verdict;
  report_plain(vorgate::event_kind::execute_command, function.c_str(),
               vorgate::event_target::command, command.c_str(), info);
  return false;
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
  return report_execution(func_name, command, info);
}

bool check_program(CCommonUtil& engine, const std::string& function,
                   const std::vector<std::string>& words) {
  if (const std::string* text = shell_text(words)) {
    return engine.check_command_exec(function, *text);
  }
  if (!has_reporting_object()) return false;
  HttpInfo info;
  if (!open_record(info, CallStack::with)) return false;
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + word;
  return report_execution(function, line, info);
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
