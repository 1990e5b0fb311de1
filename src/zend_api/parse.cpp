#include <algorithm>
#include <charconv>
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

zval* argument(zend_execute_data* execute_data, uint32_t index) {
  zval* slots = reinterpret_cast<zval*>(execute_data);
  return slots + ZEND_CALL_FRAME_SLOT + index;
}

bool to_integer(double value, IntegerArgument& number) {
  if (!(value > -0x1p63 && value < 0x1p63)) return false;
  number = static_cast<IntegerArgument>(value);
  return true;
}

// Whether the caller declared strict types: scalars are then not converted.
bool caller_is_strict(const zend_execute_data* execute_data) {
  const zend_execute_data* caller = execute_data->prev_execute_data;
  return caller != nullptr && caller->func != nullptr &&
         (caller->func->internal_function.fn_flags & ZEND_ACC_STRICT_TYPES) != 0;
}

// The number at the front of a text, cut to an integer, in every form in which the
// engine takes one: behind blanks, with a sign, a fraction, an exponent. Other text
// behind it is for the called function to complain of.
bool leading_integer(std::string_view text, IntegerArgument& number) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\r\v\f"), text.size()));
  const bool negative = !text.empty() && text.front() == '-';
  if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  // No second sign; and neither "inf" nor "nan" is a number to the engine.
  if (text.empty() || (text.front() != '.' && (text.front() < '0' || text.front() > '9'))) {
    return false;
  }
  double value;
  if (std::from_chars(text.begin(), text.end(), value).ec != std::errc()) return false;
  return to_integer(negative ? -value : value, number);
}

// What the called function would make of a value for which it declares an integer.
// It is not left to the engine's parser, which would say a second time what it has to
// say of a text or a fraction.
bool take_integer(const zval* value, bool strict, IntegerArgument& number) {
  if (type_of(value) == IS_LONG) {
    number = integer(value);
    return true;
  }
  if (strict) return false;
  switch (type_of(value)) {
    case IS_FALSE:
    case IS_TRUE:
      number = type_of(value) == IS_TRUE;
      return true;
    case IS_DOUBLE:
      return to_integer(floating(value), number);
    case IS_STRING:
      return leading_integer(text(value), number);
    default:
      return false;
  }
}

// Whether the engine's parser can be asked for `letter` here without a complaint
// that the called function would not make itself.
bool fits(zend_execute_data* execute_data, uint32_t index, char letter) {
  zval* value = argument(execute_data, index);
  const unsigned char type = type_of(value);
  if (type == IS_REFERENCE || letter == 'z') return true;
  if (letter == 'r') return type == (handles_are_objects ? IS_OBJECT : IS_RESOURCE);
  if (type == IS_STRING) return true;
  if (caller_is_strict(execute_data)) return false;
  if (type == IS_NULL) return null_becomes_string(execute_data, index);
  if (type == IS_OBJECT) return object_becomes_string(value);
  return type == IS_FALSE || type == IS_TRUE || type == IS_LONG || type == IS_DOUBLE;
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
    zval* value = argument(execute_data, i);
    const unsigned char type = type_of(value);
    // What is taken or looked at here is none of the parser's business any more: it
    // would warn a second time, or refuse an object that is a handle.
    char letter = 'z';
    if (format[i] == 'l' && type != IS_REFERENCE) {
      if (!take_integer(value, caller_is_strict(execute_data), slots[i].integer)) return false;
    } else if (!fits(execute_data, i, format[i])) {
      return false;
    } else if (format[i] == 's' && type == IS_NULL) {
      static char empty[] = "";
      slots[i].text = {empty, 0};
    } else if (format[i] != 'r' || !handles_are_objects) {
      letter = format[i];
    }
    switch (spec[i] = letter) {
      case 's':
        *next++ = &slots[i].text.data;
        *next++ = &slots[i].text.size;
        break;
      case 'l':
        *next++ = &slots[i].integer;
        break;
      default:
        *next++ = &slots[i].value;
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

bool may_be_handle(zend_execute_data* execute_data, uint32_t index, std::string_view class_name) {
#if defined(VORGATE_ENGINE_INSTALLED) && PHP_VERSION_ID >= 80000
  if (argument_count(execute_data) <= index) return false;
  const zval* value = argument(execute_data, index);
  ZVAL_DEREF(value);
  return type_of(value) != IS_OBJECT || text(Z_OBJCE_P(value)->name) == class_name;
#else
  (void)execute_data;
  (void)index;
  (void)class_name;
  return true;
#endif
}

bool program_list(zend_execute_data* execute_data, uint32_t index,
                  std::vector<std::string>& words) {
#if defined(VORGATE_ENGINE_INSTALLED) && PHP_VERSION_ID >= 70400
  if (argument_count(execute_data) <= index) return false;
  const zval* list = argument(execute_data, index);
  ZVAL_DEREF(list);
  if (type_of(list) != IS_ARRAY) return false;
  for_each(array(list), [&](const zend_string*, const zval* word) {
    ZVAL_DEREF(word);
    if (type_of(word) == IS_STRING) {
      words.emplace_back(text(word));
    } else {
      words.push_back(type_of(word) == IS_LONG ? std::to_string(integer(word)) : std::string());
    }
    return true;
  });
  return !words.empty();
#else
  (void)execute_data;
  (void)index;
  (void)words;
  return false;
#endif
}

}  // namespace zend_api
