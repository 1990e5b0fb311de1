#include "agent/base64.h"

#include <cstdint>

namespace vorgate::agent {
namespace {

constexpr std::string_view digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string to_base64(std::string_view bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      out += i + k > bytes.size() ? '=' : digits[group >> (18 - 6 * k) & 63];
    }
  }
  return out;
}

std::string from_base64(std::string_view text) {
  std::string out;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text.substr(0, text.find('='))) {
    const std::size_t value = digits.find(c);
    if (value == std::string_view::npos) return {};
    bits = bits << 6 | static_cast<std::uint32_t>(value);
    if ((count += 6) >= 8) out += static_cast<char>(bits >> (count -= 8) & 0xff);
  }
  return out;
}

}  // namespace vorgate::agent
