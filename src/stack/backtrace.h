#ifndef VORGATE_STACK_BACKTRACE_H
#define VORGATE_STACK_BACKTRACE_H

// The PHP call stack at the moment of a watched call, as records that own their
// data. Called on the request's thread, while a PHP call is in progress.

#include <cstdint>
#include <string>
#include <vector>

#include "zend_api/engine.h"

// One scalar argument of a frame. The field that `type` names holds the value;
// the others are zero or empty.
struct arginfo {
  enum : int { integer = 1, floating = 2, boolean = 3, string = 4 };

  int type = 0;
  int64_t lval = 0;
  double dval = 0;
  bool bval = false;
  std::string sval;  // cut to the capture's limit
};

// One frame. What the engine does not tell is empty or 0; a line that is no
// integer is -1.
struct backtraceInfo {
  int line = 0;
  std::string file;
  std::string function;
  std::string class_name;
  std::vector<arginfo> args;  // the scalar arguments only: not positional
};

// Appends one record for each of the first `max_frames` frames to `out`,
// innermost first. With `args_only` the records hold nothing but arguments.
// String arguments are cut to `max_string_len` bytes.
void get_backtrace_info(int max_frames, std::vector<backtraceInfo>& out, bool args_only,
                        unsigned long max_string_len);

// Replaces `out` by the scalar arguments of the innermost frame, strings cut to
// 4096 bytes. Leaves it as it is when there are none.
void get_args_info(std::vector<arginfo>& out);

// The value as bytes when it is a string and the key equals `name`, ignoring
// ASCII case; else empty. The key may be null.
std::string get_string_value_by_name(const char* name, const zend_string* key, const zval* value);

#endif  // VORGATE_STACK_BACKTRACE_H
