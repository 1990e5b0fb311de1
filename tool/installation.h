#ifndef VORGATE_TOOL_INSTALLATION_H
#define VORGATE_TOOL_INSTALLATION_H

// What stands on the machine and what runs on it, as far as this program may see.

#include <sys/types.h>

#include <string>
#include <vector>

namespace vorgate::agent::tool {

// The build id strings of a shared library or program: which module interface it is
// for, such as "API20220829,NTS" (empty: none is in it), and the linker's build id.
struct Build {
  std::string php_interface;
  std::string id;
};
Build build_of(const std::string& path);

// Why PHP would go on without the agent's library, and what to do: one sentence, empty
// when nothing is wrong. Loads the library and asks its factory for the agent, in a
// process of its own. The module itself says nothing of a library without an agent.
std::string load_fault(const std::string& library);

// A PHP interpreter on disk, and the folder of its configuration where the
// distribution has one.
struct Interpreter {
  std::string path;
  std::string php_interface;
  std::string folder;              // "/etc/php/8.2/fpm", or empty
  std::vector<std::string> loads;  // what "extension=" names there as vorgate
};
std::vector<Interpreter> interpreters();

// The files vorgate.so in the usual folders for extensions.
std::vector<std::string> module_files();

// A file that a process has mapped.
struct Mapped {
  std::string path;    // empty: it has not
  bool stale = false;  // another file stands at that path now, or none
};

// A running PHP.
struct PhpProcess {
  pid_t pid = 0;
  uid_t user = 0;
  std::string name;     // of the program
  std::string program;  // the file with the interpreter in it: the program or libphp
  bool seen = false;    // false: everything below is unknown, for want of permission
  Mapped module;
  Mapped agent;
  std::string policy;  // VORGATE_AGENT_CONFIG as it was when the program started
};
// False when the processes cannot be looked at at all.
bool php_processes(std::vector<PhpProcess>* found);

}  // namespace vorgate::agent::tool

#endif  // VORGATE_TOOL_INSTALLATION_H
