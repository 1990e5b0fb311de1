#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "agent/file_io.h"
#include "agent/policy.h"
#include "agent/policy_file.h"
#include "scratch.h"

namespace vorgate::agent::test {
namespace {

constexpr int commands = static_cast<int>(BlockCategory::command_execution);

// Was exactly one line told since CaptureStderr, and is this a part of it?
void expect_told_once(const std::string& part) {
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find(part), std::string::npos) << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
}

TEST(Policy, BlocksAndExemptsWhatItSaysAndNothingElse) {
  for (const auto& each : read_cases("agent/policies.jsonl")) {
    std::string error;
    const Policy policy = parse_policy(std::string(each["policy"]), "", &error).value_or(Policy());
    EXPECT_EQ(error, "");
    for (int category = -1; category < 70; ++category) {
      const bool named = std::count(each["blocks"].begin(), each["blocks"].end(), category) != 0;
      EXPECT_EQ(policy.blocks(category), named) << each["policy"] << category;
    }
    for (const auto& request : each["requests"]) {
      const auto field = [&](const char* name) { return request.value(name, ""); };
      EXPECT_EQ(policy.exempts(field("server_name"), field("request_uri"), field("remote_addr"),
                               field("forwarded_for")),
                request["exempt"].get<bool>())
          << each["policy"] << request;
    }
  }
}

TEST(Policy, AFaultIsNamedWithItsPlaceAndARemedy) {
  for (const auto& each : read_cases("agent/policy_faults.jsonl")) {
    std::string error;
    EXPECT_FALSE(parse_policy(std::string(each["text"]), "a.toml", &error)) << each;
    EXPECT_EQ(error.rfind("a.toml:" + std::string(each["place"]), 0), 0u) << error;
    EXPECT_NE(error.find(std::string(each["reason"])), std::string::npos) << error << each;
  }
}

TEST(Policy, TheExampleSaysWhatHoldsWithoutAFile) {
  std::string error;
  const auto example = parse_policy(read_file(AGENT_EXAMPLE, &error).value(), "", &error);
  ASSERT_TRUE(example) << error;
  EXPECT_TRUE(example->enforcement == Policy().enforcement && example->report_only == 0 &&
              example->allow.empty() && example->trusted_proxies.empty() &&
              example->log_path == Policy().log_path && example->rule_files.empty() &&
              example->script_rule_files.empty() &&
              example->script_time_limit == Policy().script_time_limit &&
              example->refused_endings == Policy().refused_endings);
}

// Runs once more as a program with the rights of its file's owner.
TEST(Policy, TheEnvironmentNamesNoFileToAProgramWithMoreRightsThanItsCaller) {
  if (getenv("VORGATE_AGENT_CONFIG") != nullptr) {
    EXPECT_TRUE(getauxval(AT_SECURE) != 0 && policy_path() == standard_policy_path);
    return;
  }
  setenv("VORGATE_AGENT_CONFIG", "/named", 1);
  EXPECT_EQ(policy_path(), "/named");
  const Folder folder;
  struct statvfs mount {};
  if (geteuid() != 0 || statvfs((folder / "").c_str(), &mount) != 0 ||
      (mount.f_flag & ST_NOSUID) != 0) {
    GTEST_SKIP() << "only root can lend rights, and not on this file system";
  }
  const std::string program = folder / "program";
  std::filesystem::copy_file("/proc/self/exe", program);
  ASSERT_TRUE(chown(program.c_str(), 65534, 65534) == 0 && chmod(program.c_str(), 04755) == 0);
  EXPECT_EQ(exit_status(in_child([&] {
              execl(program.c_str(), "", "--gtest_filter=Policy.TheEnv*", nullptr);
              ADD_FAILURE() << strerrordesc_np(errno);
            })),
            0);
  unsetenv("VORGATE_AGENT_CONFIG");
}

TEST(Agent, FollowsItsPolicyFileAndRefusesABrokenOne) {
  const Folder folder;
  FakeTime time;
  testing::internal::CaptureStderr();
  const std::string path = time.replace(folder / "agent.toml", "enforcement = 'block'\n[mode]\n");
  LocalAgent local(path, time);
  Agent& agent = local.agent;
  EXPECT_EQ(agent.get_block_mode(commands), 0);
  time.pass();  // so fresh a file is read again, but told of only once
  EXPECT_EQ(agent.get_block_mode(commands), 0);
  expect_told_once(path + ":2:");

  time.replace(path, "enforcement = 'block'\n[[allow]]\nuri_prefix = '/open'\n");
  time.pass();
  EXPECT_EQ(agent.get_block_mode(commands), 1);
  EXPECT_TRUE(agent.is_white_listed(nullptr, "/open", nullptr, nullptr));

  testing::internal::CaptureStderr();
  time.replace(path, "enforcement = 'off'\nmodes = 3\n");
  for (int i = 0; i < 2; ++i) {
    time.pass();
    EXPECT_EQ(agent.get_block_mode(commands), 1);
    EXPECT_FALSE(agent.is_white_listed("", "/", "", ""));
  }
  expect_told_once(path + ":2:9: ");

  testing::internal::CaptureStderr();
  std::filesystem::remove(path);
  time.pass();
  errno = 7;
  EXPECT_EQ(agent.get_block_mode(commands), 0);
  EXPECT_EQ(errno, 7);
  expect_told_once(path + ": the policy file is gone");
}

TEST(Agent, TestsQueriesByTheShippedRulesAndByThoseOfItsPolicy) {
  const Folder folder;
  FakeTime time;
  replace(folder / "own", "[[rule]]\nname = 'a'\ndescription = 'b'\npattern = '\\bsecrets\\b'\n");
  replace(folder / "broken", "[[rule]]\nname = 'a'\ndescription = 'b'\npattern = '('\n");
  const std::string path =
      time.replace(folder / "agent.toml", "sql.rules = ['" + folder / "broken" + "', '" +
                                              folder / "none" + "', '" + folder / "own" + "']");
  testing::internal::CaptureStderr();
  LocalAgent local(path, time);
  Agent& agent = local.agent;
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find(folder / "broken:4:11: not a pattern"), std::string::npos) << told;
  EXPECT_NE(told.find(folder / "none: cannot be read: No such file"), std::string::npos) << told;
  std::string detail = "kept";
  EXPECT_FALSE(agent.lookup_sql("SELECT 'SLEEP(5)', 'secrets'", &detail));
  EXPECT_FALSE(agent.lookup_sql(nullptr, nullptr));
  EXPECT_EQ(detail, "kept");
  EXPECT_TRUE(agent.lookup_sql("SELECT SLEEP(5)", &detail));
  EXPECT_EQ(detail, "time-delay: a call that makes the server wait");
  EXPECT_TRUE(agent.lookup_sql("SELECT * FROM Secrets", &detail));
  EXPECT_EQ(detail, "a: b");
  time.replace(path, "");
  time.pass();
  EXPECT_FALSE(agent.lookup_sql("SELECT * FROM Secrets", nullptr));
  EXPECT_TRUE(agent.match_sql("SELECT 1 OR 1=1", "a=1 OR 1=1"));
  EXPECT_FALSE(agent.match_sql(nullptr, nullptr));
}

TEST(PolicyFile, ReadersSeeWholePoliciesWhileItChangesAndAfterAFork) {
  const Folder folder;
  FakeTime time;
  const auto write = [&](int number) {
    const std::string name = "'/log" + std::to_string(number) + "'\n";
    return time.replace(folder / "agent.toml",
                        "log.path = " + name + "[[allow]]\nuri_prefix = " + name);
  };
  PolicyFile source(write(0), time);
  PolicyFile rare(folder / "agent.toml", time);
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
  for (int number = 1; number <= 1000; ++number) {
    write(number);
    time.pass(10);
    // Read twice only, and always too soon after a change: it must not be put off again.
    if (number == 40) rare.read();
    if (number == 149) {
      EXPECT_EQ(rare.read()->log_path, "/log149");
    }
    if (number != 500) continue;
    child = in_child([&] {
      close(written[1]);
      char end;
      EXPECT_EQ(::read(written[0], &end, 1), 0);
      time.pass();
      EXPECT_EQ(source.read()->log_path, "/log1000");
    });
  }
  close(written[0]);
  close(written[1]);
  EXPECT_NE(source.read()->log_path, "/log0");  // a file that never rests is followed too
  time.pass();
  EXPECT_EQ(source.read()->log_path, "/log1000");
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mixed, 0);
  EXPECT_EQ(exit_status(child), 0);
}

TEST(PolicyFile, SeesTwoChangesWithinOneTickOfTheFileClock) {
  const Folder folder;
  FakeTime time;
  const std::string path = time.replace(folder / "agent.toml", "log.path = '/a'");
  PolicyFile source(path, time);
  std::ofstream(path) << "log.path = '/b'";  // neither size, inode nor stamp tells
  time.pass();
  EXPECT_EQ(source.read()->log_path, "/b");
}

TEST(PolicyFile, IsFollowedAtOnceWhenTheClockIsSetBack) {
  const Folder folder;
  FakeTime time;
  PolicyFile source(time.replace(folder / "agent.toml", "log.path = '/a'"), time);
  time.pass();
  time.replace(folder / "agent.toml", "log.path = '/b'");
  time.wall_ahead -= 60'000;
  time.pass(260);
  EXPECT_EQ(source.read()->log_path, "/b");
}

// Through the built library, by the table of operations, as the module does it.
TEST(Library, GivesOneObjectForTheProcessByItsOnlySymbol) {
  const Folder folder;
  const std::string path = replace(folder / "agent.toml", "enforcement = 'block'\n");
  setenv("VORGATE_AGENT_CONFIG", path.c_str(), 1);
  void* const library = dlopen(AGENT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto create = reinterpret_cast<IPhpHelp* (*)()>(dlsym(library, "create_php_help"));
  ASSERT_NE(create, nullptr);
  std::vector<IPhpHelp*> objects(8);
  std::vector<std::thread> threads;
  for (IPhpHelp*& object : objects) {
    threads.emplace_back([&object, create] {
      object = create();
      // The rules are compiled by whoever comes first.
      for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(object->lookup_sql("SELECT SLEEP(5)", nullptr));
        EXPECT_NE(object->scan_script("eval($_GET[0]);", 1), 0);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (IPhpHelp* object : objects) EXPECT_EQ(object, objects[0]);
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
