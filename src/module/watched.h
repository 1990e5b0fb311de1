#ifndef VORGATE_MODULE_WATCHED_H
#define VORGATE_MODULE_WATCHED_H

// The watched functions, as data: which calls are looked at, at which argument, and
// who judges it. Wrappers and dispatcher read the table; so may whoever makes a call
// of a watched function up.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "zend_api/engine.h"

class CCommonUtil;

// Who judges a call, and what the visitor is told when it is blocked.
struct Judge {
  bool (*detector)(CCommonUtil& engine, const std::string& function, const std::string& argument);
  const char* notice;
};

// The option of curl_setopt that sets the URL.
inline constexpr zend_api::IntegerArgument curl_option_url = 10002;

// One watched function. A call that its format does not fit is not judged: the
// function speaks for itself.
struct WatchedFunction {
  std::string_view name;
  // The arguments that a call must have, as zend_api::parse takes them; empty when
  // the call is judged without looking at any.
  std::string_view format;
  // Which of them (from 0) the judge is given; the letter there is s.
  uint32_t subject;
  Judge judge;
  // Where other arguments have a say: whether the call is to be looked at, asked
  // before the format is tried, and who judges a call that fits, in the place of
  // `judge`. Both can leave by long jump. Null where there is no such say.
  bool (*applies)(zend_execute_data* execute_data);
  Judge (*choose)(zend_execute_data* execute_data);
  // Judges a call that the format does not fit, and answers whether it is an attack.
  // Null where such a call is not judged.
  bool (*other_form)(zend_execute_data* execute_data, const std::string& function);
};

// In the order in which they are patched.
extern const std::array<WatchedFunction, 19> watched_functions;

// The row of a name, in the case of the table; null when there is none.
const WatchedFunction* find_watched(std::string_view name);

#endif  // VORGATE_MODULE_WATCHED_H
