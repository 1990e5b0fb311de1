#ifndef VORGATE_AGENT_CATEGORIES_H
#define VORGATE_AGENT_CATEGORIES_H

#include <array>

#include "vorgate/php_help.h"

namespace vorgate::agent {

// The blocking categories by the names that the policy file and the event lines
// use, and what they cover, for people.
struct NamedCategory {
  BlockCategory category;
  const char* name;
  const char* words;
};

inline constexpr std::array<NamedCategory, 5> categories{{
    {BlockCategory::code_execution, "code_execution",
     "code, or a connection's host, taken from the request; web shells"},
    {BlockCategory::query_injection, "query_injection", "SQL, LDAP filters, XML external entities"},
    {BlockCategory::deserialisation, "deserialisation",
     "object chains, file creation, YAML objects"},
    {BlockCategory::file_access, "file_access", "inclusion, reading, request forgery"},
    {BlockCategory::command_execution, "command_execution", "shell commands and phpinfo"},
}};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_CATEGORIES_H
