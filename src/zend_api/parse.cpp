#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <system_error>

#include "zend_api/engine.h"
#include "zend_api/internal.h"

namespace zend_api {
namespace {

#if defined(VORGATE_ENGINE_INSTALLED) && PHP_VERSION_ID >= 80000
constexpr bool handles_are_objects = true;
#else
constexpr bool handles_are_objects = false;
#endif

const zval* argument(const zend_execute_data* execute_data, uint32_t index) {
  const zval* slots = reinterpret_cast<const zval*>(execute_data);
  return slots + ZEND_CALL_FRAME_SLOT + index;
}

// Whether the caller declared strict types: scalars are then not converted.
bool caller_is_strict(const zend_execute_data* execute_data) {
  const zend_execute_data* caller = execute_data->prev_execute_data;
  return caller != nullptr && caller->func != nullptr &&
         (caller->func->internal_function.fn_flags & ZEND_ACC_STRICT_TYPES) != 0;
}

// Whether the value is a number or a text that turns into an integer without a
// word from the engine.
bool is_plain_integer(const zval* value) {
  if (type_of(value) == IS_DOUBLE) {
    const double number = floating(value);
    return number > -0x1p53 && number < 0x1p53 && number == std::trunc(number);
  }
  if (type_of(value) != IS_STRING) return false;
  const std::string_view digits = text(value);
  int64_t number;
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number);
  return error == std::errc() && end == digits.end();
}

// Whether the engine's parser can be asked for `letter` here without a complaint
// that the called function would not make itself.
bool fits(const zend_execute_data* execute_data, uint32_t index, char letter) {
  const unsigned char type = type_of(argument(execute_data, index));
  if (type == IS_REFERENCE || letter == 'z') return true;
  switch (letter) {
    case 's':
      if (type == IS_STRING) return true;
      if (caller_is_strict(execute_data)) return false;
      if (type == IS_NULL) return null_becomes_string(execute_data, index);
      return type == IS_FALSE || type == IS_TRUE || type == IS_LONG || type == IS_DOUBLE ||
             type == IS_OBJECT;
    case 'l':
      if (type == IS_LONG) return true;
      if (caller_is_strict(execute_data)) return false;
      return type == IS_FALSE || type == IS_TRUE || is_plain_integer(argument(execute_data, index));
    default:  // 'r'
      return type == IS_RESOURCE || (handles_are_objects && type == IS_OBJECT);
  }
}

template <typename... Out>
bool parse(zend_execute_data* execute_data, const char* spec, Out*... out) {
  const uint32_t count = static_cast<uint32_t>(std::strlen(spec));
  // With fewer arguments the engine's parser would end the request.
  if (argument_count(execute_data) < count) return false;
  for (uint32_t i = 0; i < count; ++i) {
    if (!fits(execute_data, i, spec[i])) return false;
  }
  if (!handles_are_objects) return engine_parse(count, spec, out...);
  // The handles have been looked at above; the engine's own 'r' would refuse an
  // object.
  char engine_spec[4] = {};
  for (uint32_t i = 0; i < count; ++i) engine_spec[i] = spec[i] == 'r' ? 'z' : spec[i];
  return engine_parse(count, engine_spec, out...);
}

}  // namespace

bool parse_s(zend_execute_data* execute_data, StringArgument& first) {
  return parse(execute_data, "s", &first.data, &first.size);
}

bool parse_ss(zend_execute_data* execute_data, StringArgument& first, StringArgument& second) {
  return parse(execute_data, "ss", &first.data, &first.size, &second.data, &second.size);
}

bool parse_rs(zend_execute_data* execute_data, StringArgument& second) {
  zval* handle;
  return parse(execute_data, "rs", &handle, &second.data, &second.size);
}

bool parse_zzs(zend_execute_data* execute_data, StringArgument& third) {
  zval* first;
  zval* second;
  return parse(execute_data, "zzs", &first, &second, &third.data, &third.size);
}

bool parse_rl(zend_execute_data* execute_data, IntegerArgument& second) {
  zval* handle;
  return parse(execute_data, "rl", &handle, &second);
}

bool parse_rls(zend_execute_data* execute_data, StringArgument& third) {
  zval* handle;
  IntegerArgument second;
  return parse(execute_data, "rls", &handle, &second, &third.data, &third.size);
}

}  // namespace zend_api
