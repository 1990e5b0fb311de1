#ifndef VORGATE_AGENT_SQL_SHIPPED_RULES_H
#define VORGATE_AGENT_SQL_SHIPPED_RULES_H

namespace vorgate::sql {

// The text of sql_rules.toml: the library needs no file beside it.
extern const char* const shipped_rules_text;

}  // namespace vorgate::sql

#endif  // VORGATE_AGENT_SQL_SHIPPED_RULES_H
