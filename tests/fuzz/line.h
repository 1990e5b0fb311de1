#ifndef VORGATE_TESTS_FUZZ_LINE_H
#define VORGATE_TESTS_FUZZ_LINE_H

// A line of the event log must give every byte of its texts back.

#include <algorithm>
#include <string>

#include "agent/event_json.h"
#include "fuzz/input.h"

namespace fuzz {

inline std::string from_base64(const std::string& digits) {
  const std::string all = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0, count = 0;
  for (const char digit : digits) {
    if (digit == '=') break;
    HOLDS(all.find(digit) != all.npos);
    bits = bits << 6 | static_cast<unsigned>(all.find(digit));
    if ((count += 6) >= 8) bytes += static_cast<char>(bits >> (count -= 8) & 0xff);
  }
  return bytes;
}

inline void check_line(const vorgate::agent::Event& event) {
  const std::string line = event_line(event, 0);
  HOLDS(line.find('\n') == line.size() - 1);
  HOLDS(std::all_of(line.begin(), line.end() - 1, [](char c) { return c >= ' ' && c <= '~'; }));
  const json document = json::parse(line);
  const json raw = document.value("raw", json::object());
  const auto check = [&](const json& object, const std::string& prefix, const std::string& name,
                         const char* text) {
    const bool is_raw = raw.contains(prefix + name);
    HOLDS((is_raw ? from_base64(raw[prefix + name]) : std::string(object[name])) ==
          (text == nullptr ? "" : text));
  };
  check(document, "", "kind", event.kind);
  check(document, "", "detail", event.detail);
  check(document, "", "target", event.target);
  check(document, "", "subject", event.subject);
  // The record's texts stand in its order.
  const char* const* text = event.info == nullptr ? nullptr : &event.info->server_name;
  for (const auto& [name, value] : document["request"].items()) {
    check(document["request"], "request.", name, text == nullptr ? nullptr : *text++);
  }
  HOLDS(document["request"].size() == sizeof(*event.info) / sizeof(const char*));
}

}  // namespace fuzz

#endif  // VORGATE_TESTS_FUZZ_LINE_H
