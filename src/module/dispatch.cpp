#include "module/dispatch.h"

#include "engine/common_util.h"
#include "module/watched.h"

namespace {

// Copies the argument and asks the judge; a frame of its own, so that the copy is
// gone before anything can leave by long jump.
bool is_attack(const Judge& judge, const std::string& function,
               const zend_api::StringArgument& argument) {
  const std::string copy(argument.data, argument.size);
  return judge.detector(*CCommonUtil::get_instance(), function, copy);
}

// Where everything that a judge owned is gone.
bool verdict(bool attack, const char* notice) {
  zend_api::resume_bailout();
  if (attack) zend_api::print(notice);
  return !attack;
}

}  // namespace

bool is_safe_handler(zend_execute_data* execute_data, zval*, const std::string& function_name) {
  const WatchedFunction* function = find_watched(function_name);
  if (function == nullptr) return true;
  if (function->applies != nullptr && !function->applies(execute_data)) return true;
  zend_api::StringArgument argument{};
  if (!function->format.empty() &&
      !zend_api::parse(execute_data, function->format, function->subject, argument)) {
    if (function->other_form == nullptr) return true;
    zend_api::hold_up_bailouts();
    const bool attack = function->other_form(execute_data, function_name);
    return verdict(attack, function->judge.notice);
  }
  const Judge judge =
      function->choose != nullptr ? function->choose(execute_data) : function->judge;
  zend_api::hold_up_bailouts();
  const bool attack = is_attack(judge, function_name, argument);
  return verdict(attack, judge.notice);
}
