#ifndef VORGATE_AGENT_SCRIPT_SHIPPED_RULES_H
#define VORGATE_AGENT_SCRIPT_SHIPPED_RULES_H

namespace vorgate::script {

// The text of script_rules.yar: the library needs no file beside it.
extern const char* const shipped_rules_text;

}  // namespace vorgate::script

#endif  // VORGATE_AGENT_SCRIPT_SHIPPED_RULES_H
