#ifndef VORGATE_TESTS_AGENT_SCRATCH_H
#define VORGATE_TESTS_AGENT_SCRATCH_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/local_agent.h"

namespace vorgate::agent::test {

// A folder that goes with the test.
class Folder {
 public:
  Folder() {
    std::string name = std::filesystem::temp_directory_path() / "agent-XXXXXX";
    path_ = mkdtemp(name.data());
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline std::string replace(const std::string& path, const std::string& text) {
  std::ofstream(path + ".new", std::ios::binary) << text;
  std::filesystem::rename(path + ".new", path);
  return path;
}

// The lines of a file. What is not JSON, or has no line end, is_discarded().
inline std::vector<nlohmann::json> read_lines(const std::string& path) {
  std::vector<nlohmann::json> lines;
  std::ifstream file(path, std::ios::binary);
  for (std::string line; std::getline(file, line);) {
    lines.push_back(nlohmann::json::parse(file.eof() ? "" : line, nullptr, false));
  }
  return lines;
}

// The cases of a file in tests/data.
inline std::vector<nlohmann::json> read_cases(const std::string& name) {
  const auto cases = read_lines(TEST_DATA "/" + name);
  EXPECT_FALSE(cases.empty()) << name;
  return cases;
}

// Time goes as a test says, for the stamps of files too.
class FakeTime final : public Surroundings {
 public:
  std::int64_t steady_ms() noexcept override { return steady_; }
  std::int64_t wall_ns() noexcept override { return (steady_ + wall_ahead) * 1'000'000; }
  int stat(const char* path, struct stat* status) noexcept override {
    const int result = Surroundings::stat(path, status);
    status->st_mtim = status->st_ctim = {stamp_ / 1000, stamp_ % 1000 * 1'000'000};
    return result;
  }

  // By default what the agent promises: a change holds for every call a second later.
  void pass(std::int64_t ms = 1000) { steady_ += ms; }
  // In one step, as an administrator should. Answers the path.
  std::string replace(const std::string& path, const std::string& text) {
    stamp_ = steady_ + wall_ahead;
    return test::replace(path, text);
  }

  std::int64_t wall_ahead = 3'600'000;

 private:
  std::atomic<std::int64_t> steady_{1'000'000};
  std::atomic<std::int64_t> stamp_{1'000'000};
};

// An agent whose policy says no more than where the log is.
struct LoggingAgent : LocalAgent {
  explicit LoggingAgent(const Folder& folder)
      : LocalAgent(replace(folder / "agent.toml", "log.path = '" + folder / "events" + "'\n")),
        log_path(folder / "events") {}
  void send(const std::string& subject) {
    agent.send_event(0x20011, "execute_command", "system", "command", subject.c_str(), 1, 0,
                     nullptr);
  }
  std::string log_path;
};

// Were so many lines told since CaptureStderr, and are these parts of them?
inline void expect_told(int lines, const std::vector<std::string>& parts) {
  const std::string told = testing::internal::GetCapturedStderr();
  for (const std::string& part : parts) EXPECT_NE(told.find(part), told.npos) << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), lines) << told;
}

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
