#ifndef VORGATE_AGENT_CATEGORIES_H
#define VORGATE_AGENT_CATEGORIES_H

#include <array>

#include "vorgate/php_help.h"

namespace vorgate::agent {

// The blocking categories by the names that the policy file and the event lines
// use.
struct NamedCategory {
  BlockCategory category;
  const char* name;
};

inline constexpr std::array<NamedCategory, 5> categories{{
    {BlockCategory::code_execution, "code_execution"},
    {BlockCategory::query_injection, "query_injection"},
    {BlockCategory::deserialisation, "deserialisation"},
    {BlockCategory::file_access, "file_access"},
    {BlockCategory::command_execution, "command_execution"},
}};

}  // namespace vorgate::agent

#endif  // VORGATE_AGENT_CATEGORIES_H
