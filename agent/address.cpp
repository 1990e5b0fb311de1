#include "agent/address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <charconv>
#include <string>

namespace vorgate::agent {
namespace {

constexpr unsigned int mapped_bits = 96;  // ::ffff:0:0/96 holds the IPv4 addresses

// Digits only, no sign, no leading zero, at most `limit`.
std::optional<unsigned int> parse_number(std::string_view text, unsigned int limit) {
  unsigned int number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number > limit) return std::nullopt;
  if (text.size() > 1 && text.front() == '0') return std::nullopt;
  return number;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blank = " \t";
  const std::size_t first = text.find_first_not_of(blank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

bool bit(const Address& address, unsigned int index) {
  return ((address.bytes[index / 8] >> (7 - index % 8)) & 1) != 0;
}

}  // namespace

std::optional<Address> Address::parse(std::string_view text) {
  const std::string terminated(text);
  if (terminated.find('\0') != std::string::npos) return std::nullopt;
  Address address;
  if (inet_pton(AF_INET, terminated.c_str(), address.bytes.data()) == 1) {
    address.v4 = true;
    return address;
  }
  in6_addr v6{};
  if (inet_pton(AF_INET6, terminated.c_str(), &v6) != 1) return std::nullopt;
  address.v4 = IN6_IS_ADDR_V4MAPPED(&v6);
  std::copy(v6.s6_addr + (address.v4 ? mapped_bits / 8 : 0), v6.s6_addr + 16,
            address.bytes.begin());
  return address;
}

std::optional<Address> Address::parse_hop(std::string_view text) {
  text = trimmed(text);
  std::string_view host = text;
  std::string_view port;
  if (!text.empty() && text.front() == '[') {
    const std::size_t close = text.find(']');
    if (close == std::string_view::npos) return std::nullopt;
    host = text.substr(1, close - 1);
    port = text.substr(close + 1);
  } else if (std::count(text.begin(), text.end(), ':') == 1) {
    host = text.substr(0, text.find(':'));
    port = text.substr(host.size());
  }
  if (!port.empty() && (port.front() != ':' || !parse_number(port.substr(1), 65535))) {
    return std::nullopt;
  }
  return parse(host);
}

std::optional<Network> Network::parse(std::string_view text) {
  const std::size_t slash = text.find('/');
  const std::string_view host = text.substr(0, slash);
  const std::optional<Address> base = Address::parse(host);
  if (!base) return std::nullopt;
  Network network{*base, base->v4 ? 32u : 128u};
  if (slash != std::string_view::npos) {
    // A mapped address was written with an IPv6 prefix length.
    const unsigned int skipped =
        base->v4 && host.find(':') != std::string_view::npos ? mapped_bits : 0;
    const auto prefix = parse_number(text.substr(slash + 1), network.prefix + skipped);
    if (!prefix || *prefix < skipped) return std::nullopt;
    const unsigned int width = network.prefix;
    network.prefix = *prefix - skipped;
    for (unsigned int i = network.prefix; i < width; ++i) {
      if (bit(network.base, i)) return std::nullopt;
    }
  }
  return network;
}

bool Network::contains(const Address& address) const {
  if (address.v4 != base.v4) return false;
  for (unsigned int i = 0; i < prefix; ++i) {
    if (bit(address, i) != bit(base, i)) return false;
  }
  return true;
}

}  // namespace vorgate::agent
