#include <charconv>
#include <cmath>
#include <cstddef>
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

constexpr std::size_t most_letters = 3;

// Where the engine's parser leaves one argument, by its letter.
struct Slot {
  StringArgument text;
  IntegerArgument integer;
  zval* value;
};

bool parse_all(zend_execute_data* execute_data, std::string_view format, Slot* slots) {
  const uint32_t count = static_cast<uint32_t>(format.size());
  // With fewer arguments the engine's parser would end the request.
  if (count > most_letters || argument_count(execute_data) < count) return false;
  char spec[most_letters + 1] = {};
  // Two for a string, one for anything else. The parser takes as many as it needs, in
  // the type that it needs: on all platforms of the module pointers are passed alike.
  void* out[2 * most_letters] = {};
  void** next = out;
  for (uint32_t i = 0; i < count; ++i) {
    if (!fits(execute_data, i, format[i])) return false;
    switch (spec[i] = format[i]) {
      case 's':
        *next++ = &slots[i].text.data;
        *next++ = &slots[i].text.size;
        break;
      case 'l':
        *next++ = &slots[i].integer;
        break;
      default:
        *next++ = &slots[i].value;
        // The handle has been looked at; the engine's own 'r' would refuse an object.
        if (handles_are_objects) spec[i] = 'z';
    }
  }
  return engine_parse(count, spec, out[0], out[1], out[2], out[3], out[4], out[5]);
}

}  // namespace

bool parse(zend_execute_data* execute_data, std::string_view format, uint32_t index,
           StringArgument& argument) {
  Slot slots[most_letters] = {};
  if (!parse_all(execute_data, format, slots)) return false;
  argument = slots[index].text;
  return true;
}

bool parse(zend_execute_data* execute_data, std::string_view format, uint32_t index,
           IntegerArgument& argument) {
  Slot slots[most_letters] = {};
  if (!parse_all(execute_data, format, slots)) return false;
  argument = slots[index].integer;
  return true;
}

}  // namespace zend_api
