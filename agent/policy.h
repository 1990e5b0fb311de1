#ifndef VORGATE_AGENT_POLICY_H
#define VORGATE_AGENT_POLICY_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/address.h"
#include "agent/sql/sql_lexer.h"

namespace vorgate::agent {

enum class Enforcement { off, report, block };

// One [[allow]] entry: every condition that it has must hold; it has at least one.
struct AllowEntry {
  std::string server_name;  // empty: any
  std::string uri_prefix;   // empty: any
  std::optional<Network> client;
};

// What the administrator decided. The default value is what holds without a
// policy file. Immutable once it is in use, so any thread may ask it.
struct Policy {
  Enforcement enforcement = Enforcement::report;
  unsigned int report_only = 0;  // bit N set: category number N is never blocked
  std::vector<AllowEntry> allow;
  std::vector<Network> trusted_proxies;
  std::string log_path = "/var/log/vorgate/events.jsonl";
  std::vector<std::string> rule_files;                  // for SQL queries, beside the shipped rules
  std::vector<std::string> disabled_rules;              // shipped rules that do not count
  sql::Dialect sql_dialect = sql::Dialect::automatic;   // how the server reads queries
  std::vector<std::string> script_rule_files;           // for web shells, the same
  std::chrono::milliseconds script_time_limit{50};      // for one question about a script
  Enforcement unscanned_scripts = Enforcement::report;  // of those that took longer; never off
  // How the names of files end that no upload may create.
  std::vector<std::string> refused_endings{".php",  ".php3",     ".php4",    ".php5", ".php6",
                                           ".php7", ".php8",     ".pht",     ".phtm", ".phtml",
                                           ".phar", ".htaccess", ".user.ini"};

  // Is a finding of this category to be stopped? Unknown numbers: no.
  bool blocks(int category) const;

  // Is this request exempt? The texts are those of the request, unchecked.
  bool exempts(std::string_view server_name, std::string_view request_uri,
               std::string_view remote_addr, std::string_view forwarded_for) const;

  // Who sent the request: the peer, or what trusted proxies say of it. From a
  // trusted peer the forwarded addresses are followed from right to left, as
  // long as each is a trusted proxy itself; the first that is not is the client.
  // No value when that cannot be told, because the peer or an address on the way
  // is no address: such a request matches no entry that names a client.
  std::optional<Address> client(std::string_view remote_addr, std::string_view forwarded_for) const;
};

// Where the policy is unless the environment says otherwise.
inline constexpr const char* standard_policy_path = "/etc/vorgate/agent.toml";

// The policy file of an agent that is loaded into this process now: the one that
// VORGATE_AGENT_CONFIG names, or the standard one. The variable does not count in a
// program that runs with more rights than its caller.
std::string policy_path();

// Reads a policy file's text. On failure there is no value, and `error` says
// "file:line:column: reason; remedy" for the first fault in the file.
std::optional<Policy> parse_policy(std::string_view text, const std::string& file,
                                   std::string* error);

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_POLICY_H
