#ifndef VORGATE_AGENT_UTC_H
#define VORGATE_AGENT_UTC_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorgate::agent {

// Times as events carry them, such as "2026-01-31T23:59:59.123456Z", and as
// microseconds since 1970. Nothing here takes a lock, as the C library's functions for
// it do: a fork can leave that closed.

std::int64_t now_us() noexcept;
std::string utc_text(std::int64_t microseconds);
// No value for what is no such text.
std::optional<std::int64_t> parse_utc(std::string_view text);

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_UTC_H
