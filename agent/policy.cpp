#include "policy.h"

#include <algorithm>
#include <array>
#include <utility>

#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

#include "categories.h"

namespace vorgate::agent {
namespace {

constexpr std::array<const char*, 3> enforcement_names{"off", "report", "block"};
constexpr std::array<const char*, 2> mode_names{"report", "block"};

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equal_ignoring_case(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

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

// Turns the parsed document into a policy and keeps the fault that comes first
// in the file.
class Reader {
 public:
  explicit Reader(const std::string& file) : file_(file) {}

  Policy read(const toml::table& document) {
    Policy policy;
    for (const auto& [key, node] : document) {
      if (key == "enforcement") {
        policy.enforcement = static_cast<Enforcement>(choice(node, enforcement_names));
      } else if (key == "modes") {
        policy.report_only = modes(node);
      } else if (key == "allow") {
        policy.allow = allow(node);
      } else if (key == "trusted_proxies") {
        policy.trusted_proxies = networks(node);
      } else if (key == "log") {
        log(node, &policy);
      } else {
        unknown(key, "enforcement, modes, allow, trusted_proxies, log");
      }
    }
    return policy;
  }

  void refuse(const toml::source_region& where, const std::string& reason) {
    if (!error_.empty() && !(where.begin < where_)) return;
    where_ = where.begin;
    error_ = file_ + ":" + std::to_string(where_.line) + ":" + std::to_string(where_.column) +
             ": " + reason;
  }

  const std::string& error() const { return error_; }

 private:
  void unknown(const toml::key& key, const std::string& known) {
    refuse(key.source(), "unknown key '" + std::string(key.str()) + "'; known here: " + known);
  }

  // A string that says something. A null byte would cut a path short.
  std::string text(const toml::node& node) {
    const auto* value = node.as_string();
    if (value == nullptr || value->get().empty() || value->get().find('\0') != std::string::npos) {
      refuse(node.source(), "not a text; write one in double quotes, not empty");
      return {};
    }
    return value->get();
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

  unsigned int modes(const toml::node& node) {
    unsigned int report_only = 0;
    const toml::table* table = node.as_table();
    if (table == nullptr) {
      refuse(node.source(), "not a table; write [modes] on a line of its own");
      return report_only;
    }
    for (const auto& [key, mode] : *table) {
      std::string known;
      const NamedCategory* category = nullptr;
      for (const NamedCategory& each : categories) {
        if (key == each.name) category = &each;
        known += std::string(known.empty() ? "" : ", ") + each.name;
      }
      if (category == nullptr) {
        unknown(key, known);
      } else if (choice(mode, mode_names) == 0) {
        report_only |= 1u << static_cast<unsigned int>(category->category);
      }
    }
    return report_only;
  }

  std::vector<AllowEntry> allow(const toml::node& node) {
    std::vector<AllowEntry> entries;
    const toml::array* array = node.as_array();
    if (array == nullptr) {
      refuse(node.source(), "not a list; write [[allow]] with double brackets");
      return entries;
    }
    for (const toml::node& element : *array) entries.push_back(allow_entry(element));
    return entries;
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

  std::vector<Network> networks(const toml::node& node) {
    std::vector<Network> list;
    const toml::array* array = node.as_array();
    if (array == nullptr) {
      refuse(node.source(), "not a list; write [\"192.0.2.0/24\", ...]");
      return list;
    }
    for (const toml::node& element : *array) list.push_back(network(element));
    return list;
  }

  void log(const toml::node& node, Policy* policy) {
    const toml::table* table = node.as_table();
    if (table == nullptr) {
      refuse(node.source(), "not a table; write [log] on a line of its own");
      return;
    }
    for (const auto& [key, value] : *table) {
      if (key != "path") {
        unknown(key, "path");
        continue;
      }
      policy->log_path = text(value);
      if (policy->log_path.substr(0, 1) != "/") {
        refuse(value.source(), "not an absolute path; start with '/'");
      }
    }
  }

  const std::string& file_;
  toml::source_position where_{};
  std::string error_;
};

}  // namespace

bool Policy::blocks(int category) const {
  const bool known = std::any_of(categories.begin(), categories.end(), [&](const auto& each) {
    return static_cast<int>(each.category) == category;
  });
  return known && enforcement == Enforcement::block && ((report_only >> category) & 1) == 0;
}

bool uri_is_below(std::string_view request_uri, std::string_view prefix) {
  const std::string_view path = plain_path(request_uri);
  if (path.substr(0, prefix.size()) != prefix || prefix.empty()) return false;
  return path.size() == prefix.size() || prefix.back() == '/' || path[prefix.size()] == '/';
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

std::optional<Policy> parse_policy(std::string_view text, const std::string& file,
                                   std::string* error) {
  Reader reader(file);
  Policy policy;
  try {
    policy = reader.read(toml::parse(text));
  } catch (const toml::parse_error& fault) {
    reader.refuse(fault.source(), std::string(fault.description()) + "; correct the TOML syntax");
  }
  if (reader.error().empty()) return policy;
  *error = reader.error();
  return std::nullopt;
}

}  // namespace vorgate::agent
