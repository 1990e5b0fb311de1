#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "agent/file_io.h"
#include "agent/script/script_rules.h"
#include "agent/uploads.h"
#include "scratch.h"

namespace vorgate::agent::test {
namespace {

constexpr std::chrono::seconds long_enough{60};

script::Found ask(const std::string& code, script::Kinds kinds, std::string* family = nullptr) {
  return script::shipped_rules()->match(code, kinds, long_enough, family);
}

TEST(Scripts, EachShippedRuleFindsItsFamilyAndNotWhatLooksLikeIt) {
  std::vector<std::string> tried;
  for (const auto& each : read_cases("agent/web_shells.jsonl")) {
    const std::string name = tried.emplace_back(each["rule"]);
    std::string family;
    EXPECT_EQ(ask(each["shell"], script::Kinds::families_and_large, &family),
              script::Found::web_shell);
    EXPECT_EQ(family, name) << each;
    // In a few lines it is no sign of anything.
    EXPECT_EQ(ask(each["shell"], script::Kinds::families) == script::Found::nothing,
              name == "all-in-one");
    EXPECT_EQ(ask(each["ordinary"], script::Kinds::families_and_large, &family),
              script::Found::nothing)
        << each << family;
  }
  EXPECT_EQ(script::shipped_rules()->names(), tried);
}

TEST(Scripts, AFaultInARuleFileIsNamedWithItsPlaceAndARemedy) {
  for (const auto& each : read_cases("agent/script_rule_faults.jsonl")) {
    std::string error;
    EXPECT_FALSE(script::RuleSet::parse(std::string(each["text"]), "a.yar", &error)) << each;
    EXPECT_EQ(error.rfind("a.yar:" + std::string(each["place"]) + " ", 0), 0u) << error;
    EXPECT_NE(error.find(std::string(each["reason"])), std::string::npos) << error << each;
    EXPECT_NE(error.find("; "), std::string::npos) << error;
  }
}

TEST(Scripts, AreTestedByTheShippedRulesAndByThoseOfThePolicyWithinATimeLimit) {
  const Folder folder;
  replace(folder / "own",
          "import \"console\"\n"
          "rule own { strings: $a = \"own word\" condition: $a and console.log(\"heard\") }\n"
          "rule big : large { meta: name = \"x\" strings: $a = \"big word\" condition: $a }");
  replace(folder / "broken", "rule a {\n condition: }");
  FakeTime time;
  const std::string path = time.replace(
      folder / "agent.toml", "[scripts]\nrules = ['" + folder / "broken" + "', '" + folder / "own" +
                                 "', '" + folder / "none" + "']\ntime_limit_ms = 10000");
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  LocalAgent local(path, time);
  Agent& agent = local.agent;
  std::string told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find(folder / "broken:2: syntax error"), std::string::npos) << told;
  EXPECT_NE(told.find(folder / "none: cannot be read"), std::string::npos) << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 2) << told;

  std::string family = "kept";
  EXPECT_FALSE(agent.scan_webshell("echo 1;", &family));
  EXPECT_FALSE(agent.scan_webshell("echo 'big word';", &family));
  EXPECT_EQ(agent.scan_script("echo 1;", 1), 0);
  EXPECT_EQ(agent.scan_script(nullptr, 1), 0);
  EXPECT_EQ(family, "kept");
  EXPECT_TRUE(agent.scan_webshell(std::string("\0own word", 9), &family));
  EXPECT_EQ(family, "own");
  EXPECT_TRUE(agent.scan_webshell("eval($_POST[1]);", nullptr));
  EXPECT_NE(agent.scan_script("eval($_POST[1]);", 1), 0);
  EXPECT_NE(agent.scan_script("echo 'big word';", 1), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

  // NOLINTNEXTLINE(bugprone-string-constructor): so large is meant.
  const std::string late = std::string(50'000'000, ' ') + "eval($_POST[1]);";
  EXPECT_TRUE(agent.scan_webshell(late, nullptr));
  time.replace(path, "scripts.time_limit_ms = 1");
  time.pass();
  testing::internal::CaptureStderr();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(agent.scan_webshell(late, nullptr));
  told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find("scripts.time_limit_ms"), std::string::npos) << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
}

// Some threads compile and scan all the time.
TEST(Scripts, AChildForkedInTheMiddleOfACompilationCanScan) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "its own allocator's locks do not survive a fork beside other threads";
#endif
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      while (!stop.load()) {
        std::string error;
        EXPECT_TRUE(script::RuleSet::parse("rule a { condition: filesize > 1 }", "", &error));
        ask("echo 1;", script::Kinds::families);
      }
    });
  }
  std::vector<pid_t> children;
  for (int i = 0; i < 40; ++i) {
    children.push_back(in_child([] {
      alarm(60);
      std::string error;
      EXPECT_TRUE(script::RuleSet::parse("rule b { condition: filesize > 1 }", "", &error));
      EXPECT_EQ(ask("eval($_GET[1]);", script::Kinds::families), script::Found::web_shell);
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(exit_status(child), 0);
  stop = true;
  for (std::thread& thread : threads) thread.join();
}

TEST(Scripts, OrdinaryCodeOfFrameworksIsNoWebShell) {
  for (const std::string framework : {"Symfony", "Twig", "Doctrine"}) {
    int files = 0;
    int findings = 0;
    const std::filesystem::path folder = "/usr/share/php/" + framework;
    ASSERT_TRUE(std::filesystem::is_directory(folder)) << folder << ": see TEST_PACKAGES";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      if (entry.path().extension() != ".php") continue;
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string code{std::istreambuf_iterator<char>(file), {}};
      std::string family;
      const auto found = ask(code, script::Kinds::families_and_large, &family);
      EXPECT_EQ(found, script::Found::nothing) << entry.path() << ": " << family;
      ++files;
      findings += found != script::Found::nothing;
    }
    EXPECT_GT(files, 100);
    std::cout << files << " files of " << framework << ", " << findings << " findings\n";
  }
}

TEST(Uploads, AreJudgedByTheNameOfTheFileThatComesIntoBeing) {
  std::ifstream file(TEST_DATA "/agent/uploads.json");
  const auto cases = nlohmann::json::parse(file);
  const auto all = [&](const char* group, bool wanted, const auto& test) {
    for (const std::string text : cases[group]) EXPECT_EQ(test(text), wanted) << group << text;
    EXPECT_FALSE(cases[group].empty());
  };
  const auto ending = [](const std::string& path) {
    return has_ending(path, Policy().refused_endings);
  };
  all("refused", true, ending);
  all("passed", false, ending);
  all("multipart", true, uploads_files);
  all("other", false, uploads_files);
}

// Refused without a log as well: there is no folder for it.
TEST(Uploads, AreRefusedReportedAndRecordedByPolicy) {
  const Folder folder;
  const std::string log = "log.path = '" + folder / "log" + "'\nenforcement = 'block'\n";
  IPhpHelp::MQ_HttpInfo upload{};
  upload.content_type = "Multipart/form-data; boundary=x";
  IPhpHelp::MQ_HttpInfo form{};
  form.content_type = "application/x-www-form-urlencoded";
  const auto send = [&](const std::string& policy) {
    LocalAgent local(replace(folder / "agent.toml", policy));
    std::string answers;
    for (const auto* info : {&upload, &form, static_cast<IPhpHelp::MQ_HttpInfo*>(nullptr)}) {
      for (const char* path : {"x.php", "x.jsp", static_cast<const char*>(nullptr)}) {
        answers += local.agent.send_upload("copy", path, info) != 0 ? '1' : '0';
      }
    }
    return answers;
  };
  EXPECT_EQ(send(log), "011111111");
  EXPECT_EQ(send(log + "modes.deserialisation = 'report'"), "111111111");
  EXPECT_EQ(send(log + "uploads.refused_endings = ['.JSP']"), "101111111");
  EXPECT_EQ(send(log + "uploads.refused_endings = []"), "111111111");
  std::string verdicts;
  for (const auto& line : read_lines(folder / "log")) {
    EXPECT_TRUE(line["code"].is_null());
    EXPECT_EQ(line["category"], "deserialisation");
    const std::string verdict = line["verdict"];
    EXPECT_EQ(line["event"], verdict == "logged" ? "file_create" : "script_upload");
    verdicts += verdict[0];
  }
  EXPECT_EQ(verdicts, "bllllllllrlllllllllbllllllllllllllll");
  testing::internal::CaptureStderr();
  EXPECT_EQ(send("log.path = '/none/log'\nenforcement = 'block'\n"), "011111111");
  testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace vorgate::agent::test
