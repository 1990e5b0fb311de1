#include <cstdio>
#include <exception>

#include "tool/commands.h"

namespace {

int run(int argc, char** argv) {
  using namespace vorgate::agent::tool;
  CLI::App program{"Looks after vorgate's local agent: its policy, its rules and its events.",
                   "vorgate-agent"};
  program.set_version_flag("--version", "vorgate-agent " VORGATE_VERSION);
  program.require_subcommand(1);
  program.get_formatter()->column_width(34);
  add_check(program);
  add_status(program);
  add_try(program);
  add_tail(program);
  add_explain(program);
  add_report(program);
  try {
    program.parse(argc, argv);
    return 0;
  } catch (const CLI::RuntimeError& end) {
    return end.get_exit_code();
  } catch (const CLI::ParseError& error) {
    // Help and version end here too, with 0; a usage error ends with 2.
    return program.exit(error) == 0 ? 0 : 2;
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vorgate-agent: %s\n", error.what());
    return 2;
  }
}
