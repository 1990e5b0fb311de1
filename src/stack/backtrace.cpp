#include "stack/backtrace.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr unsigned long max_argument_text = 4096;

void capture_arguments(HashTable* arguments, unsigned long max_string_len,
                       std::vector<arginfo>& out) {
  zend_api::for_each(arguments, [&](const zend_string*, const zval* value) {
    arginfo argument;
    switch (zend_api::type_of(value)) {
      case IS_FALSE:
      case IS_TRUE:
        argument.type = arginfo::boolean;
        argument.bval = zend_api::type_of(value) == IS_TRUE;
        break;
      case IS_LONG:
        argument.type = arginfo::integer;
        argument.lval = zend_api::integer(value);
        break;
      case IS_DOUBLE:
        argument.type = arginfo::floating;
        argument.dval = zend_api::floating(value);
        break;
      case IS_STRING:
        argument.type = arginfo::string;
        argument.sval = zend_api::text(value).substr(0, max_string_len);
        break;
      default:
        return true;
    }
    out.push_back(std::move(argument));
    return true;
  });
}

// Whether the entry was one of the frame's names.
bool capture_name(const zend_string* key, const zval* value, backtraceInfo& frame) {
  const std::pair<const char*, std::string*> names[] = {
      {"file", &frame.file}, {"function", &frame.function}, {"class", &frame.class_name}};
  for (const auto& [name, field] : names) {
    std::string text = get_string_value_by_name(name, key, value);
    if (text.empty()) continue;
    *field = std::move(text);
    return true;
  }
  return false;
}

backtraceInfo capture_frame(HashTable* entries, bool args_only, unsigned long max_string_len) {
  backtraceInfo frame;
  zend_api::for_each(entries, [&](const zend_string* key, const zval* value) {
    if (!args_only) {
      if (capture_name(key, value, frame)) return true;
      if (zend_api::key_is(key, "line")) {
        const bool is_integer = zend_api::type_of(value) == IS_LONG;
        frame.line = is_integer ? static_cast<int>(zend_api::integer(value)) : -1;
        return true;
      }
    }
    if (zend_api::key_is(key, "args") && zend_api::type_of(value) == IS_ARRAY) {
      capture_arguments(zend_api::array(value), max_string_len, frame.args);
    }
    return true;
  });
  return frame;
}

}  // namespace

std::string get_string_value_by_name(const char* name, const zend_string* key, const zval* value) {
  if (!zend_api::key_is(key, name) || zend_api::type_of(value) != IS_STRING) return {};
  return std::string(zend_api::text(value));
}

void get_backtrace_info(int max_frames, std::vector<backtraceInfo>& out, bool args_only,
                        unsigned long max_string_len) {
  zval backtrace;
  zend_api::fetch_backtrace(&backtrace, max_frames);
  if (zend_api::type_of(&backtrace) == IS_ARRAY) {
    int count = 0;
    zend_api::for_each(zend_api::array(&backtrace), [&](const zend_string*, const zval* element) {
      if (++count > max_frames) return false;
      if (zend_api::type_of(element) == IS_ARRAY) {
        out.push_back(capture_frame(zend_api::array(element), args_only, max_string_len));
      }
      return true;
    });
  }
  zend_api::release_backtrace(&backtrace);
}

void get_args_info(std::vector<arginfo>& out) {
  std::vector<backtraceInfo> frames;
  get_backtrace_info(1, frames, true, max_argument_text);
  if (!frames.empty() && !frames.front().args.empty()) out = std::move(frames.front().args);
}
