#ifndef VORGATE_MODULE_DISPATCH_H
#define VORGATE_MODULE_DISPATCH_H

// From a call of a watched function to its detector.

#include <string>

#include "zend_api/engine.h"

// Judges the running call of the named function. False blocks it; the notice has
// been printed then. The return value is not touched.
//
// Can leave by long jump, in conversions and in printing. It owns nothing at
// those moments; what the caller owns must outlive the call.
bool is_safe_handler(zend_execute_data* execute_data, zval* return_value,
                     const std::string& function_name);

#endif  // VORGATE_MODULE_DISPATCH_H
