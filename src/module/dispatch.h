#ifndef VORGATE_MODULE_DISPATCH_H
#define VORGATE_MODULE_DISPATCH_H

// From a call of a watched function to its detector.

#include <array>
#include <string>
#include <string_view>

#include "zend_api/engine.h"

class CCommonUtil;

// Who judges a call, and what the visitor is told when it is blocked.
struct Judge {
  bool (*detector)(CCommonUtil& engine, const std::string& function, const std::string& argument);
  const char* notice;
};

// The one argument of a call that matters, and its judge.
struct Examination {
  Judge judge;
  zend_api::StringArgument argument;
};

// One watched function.
struct WatchedFunction {
  std::string_view name;
  zif_handler wrapper;
  // Takes the argument from the running call; can choose another judge than the
  // row's. False when there is nothing to examine.
  bool (*take)(zend_execute_data* execute_data, Examination& examination);
  Judge judge;
};

// In the order in which they are patched.
extern const std::array<WatchedFunction, 19> watched_functions;

// Judges the running call of the named function. False blocks it; the notice has
// been printed then. The return value is not touched.
//
// Can leave by long jump, in conversions and in printing. It owns nothing at
// those moments; what the caller owns must outlive the call.
bool is_safe_handler(zend_execute_data* execute_data, zval* return_value,
                     const std::string& function_name);

#endif  // VORGATE_MODULE_DISPATCH_H
