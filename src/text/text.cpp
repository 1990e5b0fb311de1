#include "text/text.h"

#include <cstring>
#include <utility>

std::size_t find_text(std::string_view text, std::string_view needle) {
  // memmem is linear whatever the bytes are, and prepares tables for that, which cost
  // more than searching a short text in the plain way ever can.
  constexpr std::size_t short_text = 128;
  if (text.size() <= short_text) return text.find(needle);
  if (needle.empty()) return 0;
  const void* hit = memmem(text.data(), text.size(), needle.data(), needle.size());
  if (hit == nullptr) return std::string_view::npos;
  return static_cast<std::size_t>(static_cast<const char*>(hit) - text.data());
}

bool contains_c_string(const char* text, const char* needle) {
  return std::strstr(text, needle) != nullptr;
}

void reserve_custom_len(std::string& s, std::size_t max_len) {
  if (s.size() > max_len) s.resize(max_len);
}

void string_replace(std::string& text, const std::string& from, const std::string& to) {
  std::string result;
  std::size_t start = 0;
  for (std::size_t hit; (hit = text.find(from, start)) != text.npos; start = hit + from.size()) {
    result.append(text, start, hit - start);
    result += to;
  }
  if (start == 0) return;
  result.append(text, start);
  text = std::move(result);
}
