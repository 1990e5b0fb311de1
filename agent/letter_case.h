#ifndef VORGATE_AGENT_LETTER_CASE_H
#define VORGATE_AGENT_LETTER_CASE_H

#include <algorithm>
#include <string_view>

namespace vorgate::agent {

// ASCII alone, whatever locale a script has set.
inline char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

inline bool equal_ignoring_case(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_LETTER_CASE_H
