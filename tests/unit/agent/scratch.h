#ifndef VORGATE_TESTS_AGENT_SCRATCH_H
#define VORGATE_TESTS_AGENT_SCRATCH_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent.h"

namespace vorgate::agent::test {

// A folder that goes with the test.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "agent-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline std::string read(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// In one step, as an administrator should.
inline void replace(const std::string& path, const std::string& text) {
  std::ofstream(path + ".new", std::ios::binary) << text;
  std::filesystem::rename(path + ".new", path);
}

struct Lines {
  std::vector<nlohmann::json> whole;
  int torn = 0;  // lines that are not JSON, an end without a line end included
};

inline Lines read_lines(const std::string& path) {
  Lines lines;
  std::ifstream file(path, std::ios::binary);
  for (std::string line; std::getline(file, line);) {
    auto object = nlohmann::json::parse(line, nullptr, false);
    if (object.is_discarded() || file.eof()) {
      ++lines.torn;
    } else {
      lines.whole.push_back(std::move(object));
    }
  }
  return lines;
}

// An agent whose policy says no more than where the log is.
struct LoggingAgent {
  explicit LoggingAgent(const Folder& folder, const std::string& log = "events")
      : log_path(folder / log), agent(policy(folder)) {}
  std::string policy(const Folder& folder) const {
    replace(folder / "agent.toml", "[log]\npath = \"" + log_path + "\"\n");
    return folder / "agent.toml";
  }
  void send(const std::string& subject) {
    const IPhpHelp::MQ_HttpInfo info{};
    agent.send_event(0x20011, "execute_command", "system", "command", subject.c_str(), 1, 0, &info);
  }
  std::string log_path;
  Agent agent;
};

// Runs `work` in a child process; answers its process id.
template <typename Work>
pid_t in_child(Work work) {
  const pid_t child = fork();
  if (child != 0) return child;
  work();
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

inline int exit_status(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace vorgate::agent::test

#endif  // VORGATE_TESTS_AGENT_SCRATCH_H
