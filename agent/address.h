#ifndef VORGATE_AGENT_ADDRESS_H
#define VORGATE_AGENT_ADDRESS_H

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vorgate::agent {

// An IPv4 or IPv6 address. An IPv4-mapped IPv6 address (::ffff:192.0.2.7) is the
// IPv4 address that it stands for: a dual-stack socket names IPv4 peers that way.
struct Address {
  bool v4 = false;
  std::array<std::uint8_t, 16> bytes{};  // network order; IPv4 uses the first four

  // The usual text forms, nothing around them; no zone, no port. Anything else
  // gives no value.
  static std::optional<Address> parse(std::string_view text);

  // One element of X-Forwarded-For: an address, with white space around it, in
  // brackets and with a port as some proxies write it.
  static std::optional<Address> parse_hop(std::string_view text);
};

// A block of addresses of one family. ::/0 is every IPv6 address and no IPv4 one.
struct Network {
  Address base;
  unsigned int prefix = 0;  // bits that count, from the left

  // A single address or CIDR form. A block with bits set beyond its prefix
  // (10.0.0.1/8) gives no value: it is a slip more often than not.
  static std::optional<Network> parse(std::string_view text);

  bool contains(const Address& address) const;
};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_ADDRESS_H
