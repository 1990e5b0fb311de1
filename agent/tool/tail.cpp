#include "commands.h"

namespace vorgate::agent::tool {

void add_tail(CLI::App& program) {
  CLI::App* const command = program.add_subcommand("tail", "Shows the latest events, a line each");
  command->callback([] {});
}

}  // namespace vorgate::agent::tool
