#ifndef VORGATE_AGENT_TEXT_H
#define VORGATE_AGENT_TEXT_H

#include <algorithm>
#include <string>
#include <string_view>

namespace vorgate::agent {

// A null pointer is empty.
inline std::string_view view(const char* text) { return text != nullptr ? text : ""; }

inline bool starts_with(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

// ASCII alone, whatever locale a script has set.
inline char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

inline std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), lower);
  return text;
}

inline bool equal_ignoring_case(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_TEXT_H
