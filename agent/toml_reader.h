#ifndef VORGATE_AGENT_TOML_READER_H
#define VORGATE_AGENT_TOML_READER_H

#include <string>
#include <string_view>

#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

namespace vorgate {

// What the readers of policy and rule files have in common. Of all faults in a
// file, the one that comes first is kept.
class TomlReader {
 public:
  // file  how faults name the file; must outlive this object.
  explicit TomlReader(const std::string& file) : file_(file) {}

  // "file:line:column: reason; remedy", or empty.
  const std::string& error() const { return error_; }

  // A text with a fault in its syntax gives an empty table.
  toml::table parse(std::string_view text) {
    try {
      return toml::parse(text);
    } catch (const toml::parse_error& fault) {
      refuse(fault.source(), std::string(fault.description()) + "; correct the TOML syntax");
      return {};
    }
  }

 protected:
  void refuse(const toml::source_region& where, const std::string& reason) {
    if (!error_.empty() && !(where.begin < where_)) return;
    where_ = where.begin;
    error_ = file_ + ":" + std::to_string(where_.line) + ":" + std::to_string(where_.column) +
             ": " + reason;
  }

  void unknown(const toml::key& key, const std::string& known) {
    refuse(key.source(), "unknown key '" + std::string(key.str()) + "'; known here: " + known);
  }

  // A string that says something. A null byte would cut a path short.
  std::string text(const toml::node& node) {
    std::string value = node.value_or(std::string());
    if (value.empty() || value.find('\0') != std::string::npos) {
      refuse(node.source(), "not a text; write one in quotes, not empty");
      return {};
    }
    return value;
  }

 private:
  const std::string& file_;
  toml::source_position where_{};
  std::string error_;
};

}  // namespace vorgate

#endif  // VORGATE_AGENT_TOML_READER_H
