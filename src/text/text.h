#ifndef VORGATE_TEXT_TEXT_H
#define VORGATE_TEXT_TEXT_H

// Searches and small helpers for hostile bytes. All are linear in the length of both texts,
// whatever these hold: std::string::find is not, and a visitor chooses both.

#include <cstddef>
#include <string>
#include <string_view>

// Where `needle` first stands in `text`, or std::string_view::npos. All bytes
// count alike; an empty needle stands at 0.
std::size_t find_text(std::string_view text, std::string_view needle);

inline bool contains(std::string_view text, std::string_view needle) {
  return find_text(text, needle) != std::string_view::npos;
}

// The same for zero-terminated texts: both end at their first NUL byte.
bool contains_c_string(const char* text, const char* needle);

// Cuts `s` to its first `max_len` bytes when it is longer.
void reserve_custom_len(std::string& s, std::size_t max_len);

// Replaces each occurrence of `from`, which must not be empty, by `to`, from left
// to right; what was put in is not searched again.
void string_replace(std::string& text, const std::string& from, const std::string& to);

#endif  // VORGATE_TEXT_TEXT_H
