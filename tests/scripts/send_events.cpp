// Writes events through an agent's library, as PHP's workers would:
//   send_events LIBRARY PROCESSES EVENTS-OF-EACH MICROSECONDS-BETWEEN
// The subject of each begins with its own number, "process.event".

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "vorgate/php_help.h"

namespace {

void send(IPhpHelp* agent, int process, int events, useconds_t pause) {
  const char* const no = "";
  IPhpHelp::MQ_HttpInfo info{no, no, no, no, no, no, no, no, no, no, no, no, no, no};
  info.server_name = "www.example.net";
  info.request_uri = "/index.php?a=b";
  info.user_agent = "agent \xe2\x82\xac %s \"#012\"";
  for (int i = 0; i < events; ++i) {
    std::string subject = std::to_string(process) + '.' + std::to_string(i) + ' ';
    // Past the sizes at which a shipper may cut: 8 KiB, 64 KiB, 128 KiB, 1 MiB.
    std::size_t size = static_cast<std::size_t>(i) * 7 % 1500;
    if (i % 100 == 50) size = 9000;
    if (i % 1000 == 500) size = 70000;
    if (i == events / 2) size = 140000;
    if (i == events / 3) size = 2000000;
    for (std::size_t k = 0; k < size; ++k) subject += static_cast<char>('!' + (k + process) % 90);
    if (i % 10 == 3) subject += "\xff\n\x01\xc3";
    agent->send_event(0x20011, "execute_command", "system", "command", subject.c_str(), 1, 0,
                      &info);
    usleep(pause);
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 5) return 2;
  void* library = dlopen(arguments[1], RTLD_NOW);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 2;
  }
  const auto factory = reinterpret_cast<IPhpHelp* (*)()>(dlsym(library, VORGATE_AGENT_FACTORY));
  IPhpHelp* const agent = factory();
  for (int process = 0; process < std::atoi(arguments[2]); ++process) {
    if (fork() == 0) {
      send(agent, process, std::atoi(arguments[3]),
           static_cast<useconds_t>(std::atoi(arguments[4])));
      _exit(0);
    }
  }
  while (wait(nullptr) > 0) {
  }
}
