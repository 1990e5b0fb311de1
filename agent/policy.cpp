#include "agent/policy.h"

#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "agent/categories.h"
#include "agent/sql/sql_rules.h"
#include "agent/text.h"
#include "agent/toml_reader.h"

namespace vorgate::agent {
namespace {

constexpr std::array<const char*, 3> enforcement_names{"off", "report", "block"};
constexpr std::array<const char*, 2> mode_names{"report", "block"};
constexpr std::array<const char*, 4> dialect_names{"auto", "mysql", "sqlite", "postgresql"};
constexpr std::int64_t longest_time_limit_ms = 10'000;
// Made when the agent is loaded, so that no fork can fall in the middle of it.
const toml::table& no_table = *new toml::table;
const toml::array& no_array = *new toml::array;

// The path in front of the query, if everybody reads it alike; else empty.
std::string_view plain_path(std::string_view uri) {
  constexpr std::string_view plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~!$&'()*+,=:@/";
  const std::string_view path = uri.substr(0, uri.find('?'));
  if (path.empty() || path.front() != '/') return {};
  if (path.find_first_not_of(plain) != std::string_view::npos) return {};
  for (std::size_t start = 1; start < path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string_view segment = path.substr(start, end - start);
    if (segment.empty() || segment == "." || segment == "..") return {};
    start = end + 1;
  }
  return path;
}

// Does a request URI lie at or below `prefix`, on a border of path segments? The
// query does not matter. Never true for a path that servers, proxies and
// applications could read in different ways: with a "." or ".." segment, "//",
// "%", "\", ";", "#", a control character or a byte beyond ASCII, or not
// starting with "/".
bool uri_is_below(std::string_view request_uri, std::string_view prefix) {
  const std::string_view path = plain_path(request_uri);
  if (path.substr(0, prefix.size()) != prefix || prefix.empty()) return false;
  return path.size() == prefix.size() || prefix.back() == '/' || path[prefix.size()] == '/';
}

// Turns a parsed document into a policy.
class PolicyReader : public TomlReader {
 public:
  using TomlReader::TomlReader;

  Policy read(const toml::table& document) {
    Policy policy;
    for (const auto& [key, node] : document) {
      if (key == "enforcement") {
        policy.enforcement = static_cast<Enforcement>(choice(node, enforcement_names));
      } else if (key == "modes") {
        read_modes(node, &policy);
      } else if (key == "allow") {
        read_allow(node, &policy);
      } else if (key == "trusted_proxies") {
        for (const toml::node& element : list(node, "[\"192.0.2.0/24\", ...]")) {
          policy.trusted_proxies.push_back(network(element));
        }
      } else if (key == "log") {
        read_log(node, &policy);
      } else if (key == "sql") {
        read_sql(node, &policy);
      } else if (key == "scripts") {
        read_scripts(node, &policy);
      } else if (key == "uploads") {
        read_uploads(node, &policy);
      } else {
        unknown(key, "enforcement, modes, allow, trusted_proxies, log, sql, scripts, uploads");
      }
    }
    return policy;
  }

 private:
  // What is no table or list reads like an empty one.
  const toml::table& table(const toml::node& node, const std::string& name) {
    if (node.is_table()) return *node.as_table();
    refuse(node.source(), "not a table; write [" + name + "] on a line of its own");
    return no_table;
  }

  const toml::array& list(const toml::node& node, const std::string& remedy) {
    if (node.is_array()) return *node.as_array();
    refuse(node.source(), "not a list; write " + remedy);
    return no_array;
  }

  std::string absolute_path(const toml::node& node) {
    std::string path = text(node);
    if (path.substr(0, 1) != "/") refuse(node.source(), "not an absolute path; start with '/'");
    return path;
  }

  template <std::size_t N>
  std::size_t choice(const toml::node& node, const std::array<const char*, N>& names) {
    const std::string given = node.value_or(std::string());
    const auto found = std::find(names.begin(), names.end(), given);
    if (found != names.end()) return static_cast<std::size_t>(found - names.begin());
    std::string remedy;
    for (const char* name : names) {
      remedy += std::string(remedy.empty() ? "\"" : " or \"") + name + "\"";
    }
    refuse(node.source(), "unknown value; write " + remedy);
    return 0;
  }

  Network network(const toml::node& node) {
    const std::string given = text(node);
    const auto network = Network::parse(given);
    if (!network) {
      refuse(node.source(),
             "'" + given + "' is no address and no CIDR block; write one such as " +
                 "192.0.2.7, 192.0.2.0/24 or 2001:db8::/32, with no bit set beyond " +
                 "the prefix");
    }
    return network.value_or(Network{});
  }

  void read_modes(const toml::node& node, Policy* policy) {
    for (const auto& [key, mode] : table(node, "modes")) {
      std::string known;
      const NamedCategory* category = nullptr;
      for (const NamedCategory& each : categories) {
        if (key == each.name) category = &each;
        known += std::string(known.empty() ? "" : ", ") + each.name;
      }
      if (category == nullptr) {
        unknown(key, known);
      } else if (choice(mode, mode_names) == 0) {
        policy->report_only |= 1u << static_cast<unsigned int>(category->category);
      }
    }
  }

  void read_allow(const toml::node& node, Policy* policy) {
    for (const toml::node& element : list(node, "[[allow]] with double brackets")) {
      policy->allow.push_back(allow_entry(element));
    }
  }

  AllowEntry allow_entry(const toml::node& node) {
    AllowEntry entry;
    const toml::table* table = node.as_table();
    if (table == nullptr || table->empty()) {
      refuse(node.source(),
             "an allow entry without a condition would exempt every request; "
             "give it server_name, uri_prefix or client, or remove it");
      return entry;
    }
    for (const auto& [key, value] : *table) {
      if (key == "server_name") {
        entry.server_name = text(value);
      } else if (key == "uri_prefix") {
        entry.uri_prefix = text(value);
        if (plain_path(entry.uri_prefix) != entry.uri_prefix) {
          refuse(value.source(),
                 "not a plain path; start with '/' and leave out '.' and '..' "
                 "segments, '//', '%', ';', '?' and the like");
        }
      } else if (key == "client") {
        entry.client = network(value);
      } else {
        unknown(key, "server_name, uri_prefix, client");
      }
    }
    return entry;
  }

  void read_log(const toml::node& node, Policy* policy) {
    for (const auto& [key, value] : table(node, "log")) {
      if (key == "path") {
        policy->log_path = absolute_path(value);
      } else {
        unknown(key, "path");
      }
    }
  }

  void read_sql(const toml::node& node, Policy* policy) {
    for (const auto& [key, value] : table(node, "sql")) {
      if (key == "rules") {
        for (const toml::node& file : list(value, "[\"/etc/vorgate/rules.toml\", ...]")) {
          policy->rule_files.push_back(absolute_path(file));
        }
      } else if (key == "dialect") {
        policy->sql_dialect = static_cast<sql::Dialect>(choice(value, dialect_names));
      } else if (key == "disabled_rules") {
        for (const toml::node& name : list(value, "[\"time-delay\", ...]")) {
          policy->disabled_rules.push_back(shipped_rule(name));
        }
      } else {
        unknown(key, "rules, dialect, disabled_rules");
      }
    }
  }

  std::string shipped_rule(const toml::node& node) {
    std::string name = text(node);
    const std::vector<std::string> names = sql::shipped_rules().names();
    if (std::find(names.begin(), names.end(), name) == names.end()) {
      std::string known;
      for (const std::string& each : names) known += (known.empty() ? "" : ", ") + each;
      refuse(node.source(), "no shipped rule is named '" + name + "'; write one of " + known);
    }
    return name;
  }

  void read_scripts(const toml::node& node, Policy* policy) {
    for (const auto& [key, value] : table(node, "scripts")) {
      if (key == "rules") {
        for (const toml::node& file : list(value, "[\"/etc/vorgate/scripts.yar\", ...]")) {
          policy->script_rule_files.push_back(absolute_path(file));
        }
      } else if (key == "time_limit_ms") {
        const auto limit = value.value_exact<std::int64_t>().value_or(0);
        if (limit < 1 || limit > longest_time_limit_ms) {
          refuse(value.source(), "not a time limit; write a number of milliseconds from 1 to " +
                                     std::to_string(longest_time_limit_ms));
        }
        policy->script_time_limit = std::chrono::milliseconds(limit);
      } else if (key == "on_timeout") {
        policy->unscanned_scripts =
            choice(value, mode_names) == 0 ? Enforcement::report : Enforcement::block;
      } else {
        unknown(key, "rules, time_limit_ms, on_timeout");
      }
    }
  }

  void read_uploads(const toml::node& node, Policy* policy) {
    for (const auto& [key, value] : table(node, "uploads")) {
      if (key != "refused_endings") {
        unknown(key, "refused_endings");
        continue;
      }
      policy->refused_endings.clear();
      for (const toml::node& element : list(value, "[\".php\", \".phtml\", ...]")) {
        std::string ending = text(element);
        if (ending.size() < 2 || ending.front() != '.' || ending.find('/') != std::string::npos) {
          refuse(element.source(), "not the ending of a name; start with '.' and leave out '/'");
        }
        policy->refused_endings.push_back(std::move(ending));
      }
    }
  }
};

}  // namespace

bool Policy::blocks(int category) const {
  const bool known = std::any_of(categories.begin(), categories.end(), [&](const auto& each) {
    return static_cast<int>(each.category) == category;
  });
  return known && enforcement == Enforcement::block && ((report_only >> category) & 1) == 0;
}

std::optional<Address> Policy::client(std::string_view remote_addr,
                                      std::string_view forwarded_for) const {
  const auto trusted = [&](const Address& address) {
    return std::any_of(trusted_proxies.begin(), trusted_proxies.end(),
                       [&](const Network& proxy) { return proxy.contains(address); });
  };
  std::optional<Address> hop = Address::parse(remote_addr);
  std::string_view rest = forwarded_for;
  while (hop && !rest.empty() && trusted(*hop)) {
    const std::size_t comma = rest.rfind(',');
    const bool last = comma == std::string_view::npos;
    hop = Address::parse_hop(last ? rest : rest.substr(comma + 1));
    rest = last ? std::string_view() : rest.substr(0, comma);
  }
  return hop;
}

bool Policy::exempts(std::string_view server_name, std::string_view request_uri,
                     std::string_view remote_addr, std::string_view forwarded_for) const {
  if (enforcement == Enforcement::off) return true;
  return std::any_of(allow.begin(), allow.end(), [&](const AllowEntry& entry) {
    if (!entry.server_name.empty() && !equal_ignoring_case(entry.server_name, server_name)) {
      return false;
    }
    if (!entry.uri_prefix.empty() && !uri_is_below(request_uri, entry.uri_prefix)) return false;
    if (!entry.client) return true;
    const std::optional<Address> sender = client(remote_addr, forwarded_for);
    return sender && entry.client->contains(*sender);
  });
}

std::string policy_path() {
  const char* path = secure_getenv("VORGATE_AGENT_CONFIG");
  return path != nullptr && *path != '\0' ? path : standard_policy_path;
}

std::optional<Policy> parse_policy(std::string_view text, const std::string& file,
                                   std::string* error) {
  PolicyReader reader(file);
  Policy policy = reader.read(reader.parse(text));
  if (reader.error().empty()) return policy;
  *error = reader.error();
  return std::nullopt;
}

}  // namespace vorgate::agent
