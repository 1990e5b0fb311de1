#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "agent/file_io.h"
#include "agent/policy.h"
#include "agent/policy_file.h"
#include "scratch.h"

namespace vorgate::agent::test {
namespace {

constexpr int commands = static_cast<int>(BlockCategory::command_execution);

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

TEST(Files, AFaultIsNamedWithItsPlaceAndARemedy) {
  const auto all = [](const std::string& cases, const auto& parse) {
    for (const auto& each : read_cases(cases)) {
      std::string error;
      EXPECT_FALSE(parse(std::string(each["text"]), "a.b", &error)) << each;
      EXPECT_EQ(error.rfind("a.b:" + std::string(each["place"]), 0), 0u) << error;
      EXPECT_NE(error.find(std::string(each["reason"])), std::string::npos) << error << each;
      EXPECT_NE(error.find("; "), std::string::npos) << error;
    }
  };
  all("agent/policy_faults.jsonl", parse_policy);
  all("agent/script_rule_faults.jsonl", script::RuleSet::parse);
}

TEST(Policy, TheExampleSaysWhatHoldsWithoutAFile) {
  std::string error;
  const auto example = parse_policy(read_file(AGENT_EXAMPLE, &error).value(), "", &error);
  ASSERT_TRUE(example) << error;
  const Policy none;
  const auto decisions = [](const Policy& each) {
    return std::tie(each.enforcement, each.report_only, each.log_path, each.rule_files,
                    each.script_rule_files, each.script_time_limit, each.unscanned_scripts,
                    each.refused_endings);
  };
  EXPECT_TRUE(decisions(*example) == decisions(none));
  EXPECT_TRUE(example->allow.empty() && example->trusted_proxies.empty());
}

bool more_rights = false;  // has this program more than its caller?

TEST(Policy, TheEnvironmentNamesNoFileToAProgramWithMoreRightsThanItsCaller) {
  setenv("VORGATE_AGENT_CONFIG", "/named", 1);
  EXPECT_EQ(policy_path(), "/named");
  more_rights = true;
  EXPECT_EQ(policy_path(), standard_policy_path);
  more_rights = false;
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
  expect_told(1, {path + ":2:"});

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
  expect_told(1, {path + ":2:9: "});

  testing::internal::CaptureStderr();
  std::filesystem::remove(path);
  time.pass();
  errno = 7;
  EXPECT_EQ(agent.get_block_mode(commands), 0);
  EXPECT_EQ(errno, 7);
  expect_told(1, {path + ": the policy file is gone"});
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
  expect_told(2, {folder / "broken:4:11: not a pattern", folder / "none: cannot be read: No such"});
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
  // What MySQL reads as a literal, and what does not count here.
  const char* const query = "SELECT 'x\\' or sleep(5) -- '";
  EXPECT_TRUE(agent.match_sql(query, "a=x\\' or sleep(5) -- "));
  EXPECT_FALSE(agent.lookup_sql(query, nullptr));
  time.replace(path, "sql.dialect = 'sqlite'\nsql.disabled_rules = ['file-read']");
  time.pass();
  EXPECT_TRUE(agent.lookup_sql(query, nullptr));
  EXPECT_FALSE(agent.lookup_sql("SELECT LOAD_FILE('/x')", nullptr));
  time.replace(path, "sql.dialect = 'mysql'\nsql.disabled_rules = ['time-delay']");
  time.pass();
  EXPECT_FALSE(agent.match_sql(query, "a=x\\' or sleep(5) -- "));
  EXPECT_TRUE(agent.lookup_sql("SELECT LOAD_FILE('/x')", nullptr));
  EXPECT_FALSE(agent.lookup_sql("SELECT SLEEP(5)", nullptr));
  EXPECT_FALSE(agent.match_sql(nullptr, nullptr));
}

// A process of its own in each round: the shipped rules are compiled only once.
TEST(Agent, AChildForkedWhileOtherThreadsCompileRulesCanAsk) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer's own locks do not survive a fork beside other threads";
#endif
  const auto ask = [] {
    std::string error;
    EXPECT_TRUE(script::RuleSet::parse("rule a { condition: filesize > 1 }", "", &error));
    EXPECT_TRUE(sql::shipped_rules().match("select sleep ( 0 )", nullptr));
    EXPECT_EQ(script::shipped_rules()->match("eval($_GET[1]);", script::Kinds::families,
                                             std::chrono::seconds(60), nullptr),
              script::Found::web_shell);
  };
  for (int round = 0; round < 24; ++round) {
    const pid_t parent = in_child([&] {
      std::vector<std::thread> threads;
      for (int t = 0; t < 3; ++t) threads.emplace_back(ask);
      usleep(static_cast<useconds_t>(300 * round));
      EXPECT_EQ(exit_status(in_child([&] {
                  alarm(60);
                  ask();
                })),
                0);
      for (std::thread& thread : threads) thread.join();
    });
    EXPECT_EQ(exit_status(parent), 0);
  }
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
  for (int number = 1; number <= 1000; ++number) {
    write(number);
    time.pass(10);
    // Read twice only, and always too soon after a change: it must not be put off again.
    if (number == 40) rare.read();
    if (number == 149) {
      EXPECT_EQ(rare.read()->log_path, "/log149");
    }
    if (number % 200 != 0) continue;
    EXPECT_EQ(exit_status(in_child([&] {
                write(++number);
                time.pass();
                EXPECT_EQ(source.read()->log_path, "/log" + std::to_string(number));
              })),
              0);
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  time.pass();
  EXPECT_EQ(source.read()->log_path, "/log1001");  // by the last child
  EXPECT_EQ(mixed, 0);
}

TEST(PolicyFile, IsFollowedWhateverTheFileClockSays) {
  const Folder folder;
  FakeTime time;
  const std::string path = time.replace(folder / "agent.toml", "log.path = '/a'");
  PolicyFile source(path, time);
  // Two changes within one tick: neither size, inode nor stamp tells.
  std::ofstream(path) << "log.path = '/b'";
  time.pass();
  EXPECT_EQ(source.read()->log_path, "/b");
  time.replace(path, "log.path = '/c'");
  time.wall_ahead -= 60'000;  // set back
  time.pass(260);
  EXPECT_EQ(source.read()->log_path, "/c");
}

// Through the built library, by the table of operations, as the module does it.
TEST(Library, GivesOneObjectForTheProcess) {
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
      EXPECT_TRUE(object->lookup_sql("SELECT SLEEP(5)", nullptr));
      EXPECT_NE(object->scan_script("eval($_GET[0]);", 1), 0);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (IPhpHelp* object : objects) EXPECT_EQ(object, objects[0]);
  EXPECT_EQ(objects[0]->get_block_mode(commands), 1);
  unsetenv("VORGATE_AGENT_CONFIG");
  EXPECT_EQ(create(), objects[0]);
}

}  // namespace
}  // namespace vorgate::agent::test

// In place of the C library's, for the whole program.
extern "C" char* secure_getenv(const char* name) noexcept {
  return vorgate::agent::test::more_rights ? nullptr : getenv(name);
}
