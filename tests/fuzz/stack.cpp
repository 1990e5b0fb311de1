// Call stacks: from the engine's records to text, and that text as a chain.

#include <algorithm>

#include "detectors/chains.h"
#include "fuzz/input.h"
#include "stack/backtrace.h"
#include "stack/render.h"

using fuzz::json;

namespace {

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t number = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) ++number;
  return number;
}

void check_text(const std::string& text, CCommonUtil& engine) {
  const std::string chain = resort_stack_info(text);
  HOLDS(chain.find_first_of("\r\n") == chain.npos);
  HOLDS(chain.size() <= 130 * count(text, "\n"));
  unserialize_vul(text);
  code_exec_vul(text);
  std::string argument;
  if (engine.get_unserialize_argument(text, argument)) {
    HOLDS(argument.substr(0, 2) == "O:" && argument.substr(argument.size() - 2) == ";}");
    HOLDS(text.find("unserialize(" + argument + ")\n") != text.npos);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::request(nullptr, [&](CCommonUtil& engine) {
    fuzz::Input input(data, size);
    for (std::size_t frames = input.choice(20); frames > 0; --frames) {
      json frame = input.value(1);
      for (const char* key : {"function", "class", "Args", "LINE"}) {
        if (frame.is_object() && !frame.contains("$") && input.flag()) frame[key] = input.value();
      }
      host::state.frames.push_back(frame);
    }
    const int limit = static_cast<int>(input.choice(18)) + 1;
    const std::size_t cut = input.choice(32);
    std::vector<backtraceInfo> records;
    get_backtrace_info(limit, records, input.flag(), cut);
    HOLDS(records.size() <= static_cast<std::size_t>(limit));
    for (const backtraceInfo& record : records) {
      HOLDS(std::all_of(record.args.begin(), record.args.end(), [&](const arginfo& argument) {
        return argument.type >= arginfo::integer && argument.type <= arginfo::string &&
               argument.sval.size() <= cut;
      }));
    }
    const std::string text = format_debug_backtrace_str(limit);
    HOLDS(count(text, ")\n") >= records.size() && text.empty() == records.empty());
    check_text(text, engine);
    check_text(input.text(), engine);

    const std::string from = input.text() + "x", to = input.text();
    std::string changed = text;
    string_replace(changed, from, to);
    HOLDS(changed.size() + count(text, from) * from.size() ==
          text.size() + count(text, from) * to.size());
  });
  return 0;
}
