// Policy and rule files, addresses and X-Forwarded-For.

#include "agent/policy.h"

#include <arpa/inet.h>

#include <array>
#include <cstring>

#include "agent/sql/sql_rules.h"
#include "fuzz/input.h"

using namespace vorgate::agent;

namespace {

// "file:line:column: reason", both counted from 1.
void check_error(const std::string& error) {
  unsigned line = 0, column = 0;
  int reason = 0;
  HOLDS(std::sscanf(error.c_str(), "f.toml:%u:%u: %n", &line, &column, &reason) == 2);
  HOLDS(line > 0 && column > 0 && reason > 0 && error.size() > static_cast<std::size_t>(reason));
}

void check_address(const std::string& text) {
  const auto address = Address::parse(text);
  if (!address) return;
  char written[INET6_ADDRSTRLEN] = "";
  inet_ntop(address->v4 ? AF_INET : AF_INET6, address->bytes.data(), written, sizeof written);
  HOLDS(Address::parse(written)->bytes == address->bytes);
  HOLDS(Address::parse_hop(" [" + text + "]:80\t")->bytes == address->bytes);
  HOLDS(Address::parse_hop(text)->bytes == address->bytes);
  HOLDS(Network::parse(text)->contains(*address));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::string text = input.text();
  std::array<std::string, 4> asked;
  for (std::string& each : asked) {
    each = input.text();
    check_address(each);
    Address::parse_hop(each);
    Network::parse(each);
  }
  const auto& [server, uri, peer, forwarded] = asked;

  std::string error;
  const auto policy = parse_policy(text, "f.toml", &error);
  HOLDS(policy.has_value() == error.empty());
  if (policy) {
    HOLDS(policy->log_path.front() == '/' && policy->log_path.find('\0') == std::string::npos);
    const bool exempt = policy->exempts(server, uri, peer, forwarded);
    HOLDS(exempt || policy->enforcement != Enforcement::off);
    HOLDS(!exempt || policy->enforcement == Enforcement::off || !policy->allow.empty());
    const auto client = policy->client(peer, forwarded);
    const auto direct = Address::parse(peer);
    HOLDS(!client || direct);
    if (policy->trusted_proxies.empty() && client) HOLDS(client->bytes == direct->bytes);
    HOLDS(!policy->blocks(8) || policy->enforcement == Enforcement::block);
  } else {
    check_error(error);
  }
  error.clear();
  const auto rules = vorgate::sql::RuleSet::parse(text, "f.toml", &error);
  HOLDS(rules.has_value() == error.empty());
  if (!rules) check_error(error);
  if (rules) HOLDS(!rules->match("", nullptr));
  return 0;
}
