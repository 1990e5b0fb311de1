#ifndef VORGATE_TOOL_COMMANDS_H
#define VORGATE_TOOL_COMMANDS_H

// The subcommands of vorgate-agent. Each function adds one to the program; what it
// does runs while the arguments are parsed. A command that ends with a status other
// than 0 throws CLI::RuntimeError with it: 1 something is wrong with what was looked
// at, 2 it could not be looked at (wrong usage included).

#include <CLI/CLI.hpp>

namespace vorgate::agent::tool {

void add_check(CLI::App& program);
void add_status(CLI::App& program);
void add_try(CLI::App& program);
void add_tail(CLI::App& program);
void add_explain(CLI::App& program);
void add_report(CLI::App& program);

}  // namespace vorgate::agent::tool

#endif  // VORGATE_TOOL_COMMANDS_H
