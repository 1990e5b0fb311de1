#include "stack/render.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

#include "stack/backtrace.h"
#include "text/text.h"
#include "vorgate/php_help.h"
#include "zend_api/engine.h"

namespace {

constexpr unsigned long max_argument_text = 1024;
constexpr std::size_t max_chain_line = 128;

void append_argument(const arginfo& argument, std::string& text) {
  switch (argument.type) {
    case arginfo::boolean:
      text += argument.bval ? "true" : "false";
      break;
    case arginfo::string:
      text += argument.sval;
      break;
    case arginfo::integer:
      text += zend_api::format_integer(argument.lval);
      break;
    default:
      text += "tnull";
  }
  text += ", ";
}

std::string render_arguments(const std::vector<arginfo>& arguments) {
  std::string text;
  for (const arginfo& argument : arguments) append_argument(argument, text);
  // Three bytes and less keep their separator: "f(1, )" is how the stack has
  // always read, and agents know it so.
  if (text.size() > 3) text.resize(text.size() - 2);
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

}  // namespace

std::string format_debug_backtrace_str(int max_frames) {
  std::vector<backtraceInfo> frames;
  get_backtrace_info(max_frames, frames, false, max_argument_text);
  std::string text;
  for (const backtraceInfo& frame : frames) {
    if (!frame.class_name.empty()) {
      text += frame.class_name;
      text += "::";
    }
    text += frame.function;
    text += '(';
    text += render_arguments(frame.args);
    text += ")\n";
  }
  return text;
}

std::string resort_stack_info(const std::string& stack_text) {
  std::string text = stack_text;
  string_replace(text, "\r\n", "");
  string_replace(text, "\r", "");

  std::vector<std::string_view> lines;
  std::string_view rest = text;
  for (std::size_t end; (end = rest.find('\n')) != rest.npos; rest.remove_prefix(end + 1)) {
    lines.push_back(rest.substr(0, std::min(end, max_chain_line)));
  }

  std::string chain;
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    if (line != lines.rbegin()) chain += vorgate::event_detail::chain_link;
    chain += *line;
  }
  return chain;
}
