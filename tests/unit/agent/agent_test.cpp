#include "agent.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "scratch.h"

namespace vorgate::agent::test {
namespace {

constexpr int commands = static_cast<int>(BlockCategory::command_execution);

// What the agent promises: a change holds for every call a second later.
void wait_for_reload() { std::this_thread::sleep_for(std::chrono::seconds(1)); }

TEST(Agent, FollowsItsPolicyFileAndRefusesABrokenOne) {
  const Folder folder;
  const std::string path = folder / "agent.toml";
  Agent agent(path);
  EXPECT_EQ(agent.get_block_mode(commands), 0);
  EXPECT_FALSE(agent.is_white_listed("", "/", "192.0.2.1", ""));

  replace(path, "enforcement = 'block'\n[[allow]]\nuri_prefix = '/open'\n");
  wait_for_reload();
  EXPECT_EQ(agent.get_block_mode(commands), 1);
  EXPECT_TRUE(agent.is_white_listed(nullptr, "/open", nullptr, nullptr));

  testing::internal::CaptureStderr();
  replace(path, "enforcement = 'off'\nmodes = 3\n");
  for (int i = 0; i < 2; ++i) {
    wait_for_reload();
    EXPECT_EQ(agent.get_block_mode(commands), 1);
    EXPECT_FALSE(agent.is_white_listed("", "/", "", ""));
  }
  std::string told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find(path + ":2:9: "), std::string::npos) << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;

  // In place, the same size as before: no new inode gives it away.
  std::ofstream(path) << "enforcement = 'block'\nmodes={}";
  wait_for_reload();
  EXPECT_FALSE(agent.is_white_listed("", "/open", "", ""));

  testing::internal::CaptureStderr();
  std::filesystem::remove(path);
  wait_for_reload();
  EXPECT_EQ(agent.get_block_mode(commands), 0);
  told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find(path + ": the policy file is gone"), std::string::npos) << told;
}

TEST(Agent, StartsWithTheDefaultsOnABrokenPolicy) {
  const Folder folder;
  replace(folder / "agent.toml", "enforcement = 'block'\n[mode]\n");
  testing::internal::CaptureStderr();
  Agent agent(folder / "agent.toml");
  EXPECT_EQ(agent.get_block_mode(commands), 0);
  wait_for_reload();
  EXPECT_EQ(agent.get_block_mode(commands), 0);
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find("agent.toml:2:"), std::string::npos) << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
  testing::internal::CaptureStderr();
  Agent misled(folder / "");  // a folder is no policy
  EXPECT_EQ(misled.get_block_mode(commands), 0);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Is a directory"), std::string::npos);
}

TEST(PolicySource, ReadersSeeWholePoliciesWhileTheFileChangesAndAfterAFork) {
  const Folder folder;
  const std::string path = folder / "agent.toml";
  const auto write = [&](int number) {
    replace(path, "log.path = '/log" + std::to_string(number) + "'\n[[allow]]\nuri_prefix = '/log" +
                      std::to_string(number) + "'\n");
  };
  write(0);
  PolicySource source(path);
  std::atomic<bool> stop{false};
  std::atomic<int> mixed{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      while (!stop.load()) {
        const auto policy = source.read();
        if (policy->log_path != policy->allow.at(0).uri_prefix) ++mixed;
      }
    });
  }
  pid_t child = 0;
  int written[2];  // closed by the parent when the last change is made
  ASSERT_EQ(pipe(written), 0);
  for (int number = 1; number <= 150; ++number) {
    write(number);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (number == 75) {
      child = in_child([&] {
        close(written[1]);
        char end;
        EXPECT_EQ(::read(written[0], &end, 1), 0);
        wait_for_reload();
        EXPECT_EQ(source.read()->log_path, "/log150");
      });
    }
  }
  close(written[0]);
  close(written[1]);
  EXPECT_NE(source.read()->log_path, "/log0");  // a file that never rests is followed too
  wait_for_reload();
  EXPECT_EQ(source.read()->log_path, "/log150");
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mixed, 0);
  EXPECT_EQ(exit_status(child), 0);
}

TEST(PolicySource, AReaderThatComesRarelyIsNotPutOffAgainAndAgain) {
  const Folder folder;
  const std::string path = folder / "agent.toml";
  PolicySource source(path);
  std::atomic<bool> stop{false};
  std::thread writer([&] {
    while (!stop.load()) {
      replace(path, "log.path = '/new'");
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  wait_for_reload();
  source.read();  // may find the file too fresh to be taken
  wait_for_reload();
  EXPECT_EQ(source.read()->log_path, "/new");
  stop = true;
  writer.join();
}

TEST(PolicySource, SeesTwoChangesWithinOneTickOfTheFileClock) {
  const Folder folder;
  const std::string path = folder / "agent.toml";
  std::ofstream(path) << "log.path = '/a'";
  PolicySource source(path);
  std::ofstream(path) << "log.path = '/b'";
  wait_for_reload();
  EXPECT_EQ(source.read()->log_path, "/b");
}

TEST(Agent, AnswersNothingFoundAndLetsUploadsPass) {
  const Folder folder;
  LoggingAgent log(folder);
  const IPhpHelp::MQ_HttpInfo info{};
  EXPECT_NE(log.agent.send_upload("fopen", "/tmp/\xff.php", &info), 0);
  EXPECT_NE(log.agent.send_upload(nullptr, nullptr, nullptr), 0);
  std::string text = "kept";
  EXPECT_FALSE(log.agent.match_sql("SELECT 'O\\'Brien'", "a=O'Brien"));
  EXPECT_FALSE(log.agent.lookup_sql("SELECT 'SLEEP(5)'", &text));
  EXPECT_FALSE(log.agent.match_sql(nullptr, nullptr));
  EXPECT_FALSE(log.agent.lookup_sql(nullptr, nullptr));
  EXPECT_EQ(log.agent.scan_script("eval($_GET[0]);", 1), 0);
  EXPECT_FALSE(log.agent.scan_webshell("eval($_GET[0]);", &text));
  EXPECT_EQ(text, "kept");
  const Lines lines = read_lines(log.log_path);
  ASSERT_EQ(lines.whole.size(), 2u);
  const auto& upload = lines.whole[0];
  EXPECT_EQ(upload["event"], "file_create");
  EXPECT_TRUE(upload["code"].is_null());
  EXPECT_EQ(upload["category"], "deserialisation");
  EXPECT_EQ(upload["verdict"], "logged");
  EXPECT_EQ(upload["kind"], "create");
  EXPECT_EQ(upload["detail"], "fopen");
  EXPECT_EQ(upload["target"], "file");
  EXPECT_TRUE(upload["raw"].contains("subject"));
}

TEST(Agent, TestsQueries) {
  const Folder folder;
  LoggingAgent log(folder);
  EXPECT_TRUE(log.agent.match_sql("SELECT 1 OR 1=1", "a=1 OR 1=1"));
  std::string detail;
  EXPECT_TRUE(log.agent.lookup_sql("SELECT SLEEP(5)", &detail));
  EXPECT_EQ(detail, "time-delay: a call that makes the server wait");
}

// Through the built library, by the table of operations, as the module does it.
TEST(Library, GivesOneObjectForTheProcessByItsOnlySymbol) {
  const Folder folder;
  replace(folder / "agent.toml", "enforcement = 'block'\n");
  setenv("VORGATE_AGENT_CONFIG", (folder / "agent.toml").c_str(), 1);
  void* const library = dlopen(AGENT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto create = reinterpret_cast<IPhpHelp* (*)()>(dlsym(library, "create_php_help"));
  ASSERT_NE(create, nullptr);
  std::vector<IPhpHelp*> objects(8);
  std::vector<std::thread> threads;
  for (IPhpHelp*& object : objects) threads.emplace_back([&, create] { object = create(); });
  for (std::thread& thread : threads) thread.join();
  for (IPhpHelp* object : objects) EXPECT_EQ(object, objects[0]);
  ASSERT_NE(objects[0], nullptr);
  EXPECT_EQ(objects[0]->get_block_mode(commands), 1);
  unsetenv("VORGATE_AGENT_CONFIG");
  EXPECT_EQ(create(), objects[0]);

  FILE* const symbols = popen("nm -D --defined-only '" AGENT_LIBRARY "'", "r");
  char line[512] = "";
  std::string names;
  while (fgets(line, sizeof line, symbols) != nullptr) names += std::string(line).substr(17);
  pclose(symbols);
  EXPECT_EQ(names, "T create_php_help\n");
}

}  // namespace
}  // namespace vorgate::agent::test
