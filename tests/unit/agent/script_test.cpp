#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "agent/file_io.h"
#include "agent/script/condense.h"
#include "agent/script/script_rules.h"
#include "agent/uploads.h"
#include "scratch.h"

namespace vorgate::agent::test {
namespace {

constexpr std::chrono::seconds long_enough{60};

script::Found ask(const std::string& code, script::Kinds kinds, std::string* family = nullptr) {
  return script::shipped_rules()->match(script::condense(code), kinds, long_enough, family);
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
  expect_told(2, {folder / "broken:2: syntax error", folder / "none: cannot be read"});

  std::string family = "kept";
  EXPECT_FALSE(agent.scan_webshell("echo 1;", &family));
  EXPECT_FALSE(agent.scan_webshell("echo 'big word';", &family));
  EXPECT_EQ(agent.scan_script("echo 1;", 1), 0);
  EXPECT_EQ(agent.scan_script(nullptr, 1), 0);
  EXPECT_EQ(family, "kept");
  // Rules of one's own read the code as it was written, NUL bytes and comments included.
  const std::string comment = std::string("\0/*", 3) + std::string(200, 'x') + " own word*/";
  EXPECT_TRUE(agent.scan_webshell(comment, &family));
  EXPECT_EQ(family, "own");
  EXPECT_TRUE(agent.scan_webshell("eval/**/($_POST[1]);", nullptr));
  EXPECT_NE(agent.scan_script("eval($_POST[1]);", 1), 0);
  EXPECT_NE(agent.scan_script("echo 'big word';", 1), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

  std::string endless;  // a match at every turn, and none
  while (endless.size() < 5'000'000) endless += "eval($a);";
  const auto limit = [&](const std::string& more) {
    time.replace(path, "log.path = '" + folder / "log" + "'\nscripts.time_limit_ms = 1\n" + more);
    time.pass();
  };
  limit("");
  testing::internal::CaptureStderr();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(agent.scan_webshell(endless, nullptr));
  expect_told(1, {"scripts.time_limit_ms"});
  EXPECT_EQ(agent.scan_script(endless.c_str(), 1), 0);
  const auto lines = read_lines(folder / "log");
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0]["event"], "script_unscanned");
  EXPECT_EQ(lines[0]["verdict"], "reported");
  EXPECT_EQ(lines[0]["subject"], endless.substr(0, 4096));
  limit("scripts.on_timeout = 'block'");
  EXPECT_TRUE(agent.scan_webshell(endless, &family));
  EXPECT_EQ(family, "unscanned");
  limit("enforcement = 'off'");
  EXPECT_FALSE(agent.scan_webshell(endless, nullptr));
  EXPECT_EQ(read_lines(folder / "log").size(), 4u);
}

TEST(Scripts, AreReadWithoutWhatPadsThem) {
  for (const auto& each : read_cases("agent/condensed.jsonl")) {
    EXPECT_EQ(script::condense(std::string(each["code"])), each["reads"]) << each;
  }
  // What each is filled up with would take far longer than the limit.
  std::string filler;
  while (filler.size() < 60'000) filler += "eval(";
  const std::string name(8'000'000, 'x');
  for (const std::string& padding :
       {"/*" + filler + "*/", "#" + filler + "\n", "//" + filler + "\r", std::string(60'000, ' '),
        "class " + name + " {}"}) {
    const std::string code = script::condense(padding + "eval" + padding + "($_GET[1]);");
    EXPECT_LE(code.size(), 1000u);
    EXPECT_EQ(ask(padding + ";eval/**/($_GET[1]);", script::Kinds::families),
              script::Found::web_shell);
  }
}

TEST(Scripts, OrdinaryCodeOfFrameworksIsNoWebShell) {
  int files = 0;
  for (const char* framework : {"Symfony", "Twig", "Doctrine"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(
             std::filesystem::path("/usr/share/php") / framework)) {
      if (entry.path().extension() != ".php") continue;
      ++files;
      std::string error;
      std::string family;
      const std::string code = read_file(entry.path(), &error).value_or("");
      EXPECT_EQ(ask(code, script::Kinds::families_and_large, &family), script::Found::nothing)
          << entry.path() << ": " << family;
    }
  }
  EXPECT_GT(files, 1000) << "see TEST_PACKAGES";
}

TEST(Uploads, AreJudgedByTheNameOfTheFileThatComesIntoBeing) {
  std::ifstream file(TEST_DATA "/agent/uploads.json");
  const auto cases = nlohmann::json::parse(file);
  for (const std::string group : {"refused", "passed", "multipart", "other"}) {
    for (const std::string text : cases[group]) {
      const bool found = group == "refused" || group == "passed"
                             ? has_ending(text, Policy().refused_endings)
                             : uploads_files(text);
      EXPECT_EQ(found, group == "refused" || group == "multipart") << group << text;
    }
  }
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
    const std::string verdict = line["verdict"];
    EXPECT_TRUE(line["code"].is_null() && line["category"] == "deserialisation" &&
                line["event"] == (verdict == "logged" ? "file_create" : "script_upload"));
    verdicts += verdict[0];
  }
  EXPECT_EQ(verdicts, "bllllllllrlllllllllbllllllllllllllll");
  EXPECT_EQ(send("log.path = '/none/log'\nenforcement = 'block'\n"), "011111111");
}

}  // namespace
}  // namespace vorgate::agent::test
