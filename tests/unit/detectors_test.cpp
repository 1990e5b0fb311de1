#include <fstream>
#include <map>
#include <string>

#include "detectors/command_exec.h"
#include "host/watched_request.h"

using host::json;
using host::Lines;
using host::state;

namespace {

class Detectors : public WatchedRequest {
 protected:
  std::string ints() const { return agent.mode == 0 ? "|1|0" : "|0|0"; }

  // One event, refused in any mode but 0.
  template <typename Check>
  void expect_finding(int category, const std::string& event, Check check) {
    for (agent.mode = 0; agent.mode < 3; ++agent.mode) {
      agent.log.clear();
      EXPECT_EQ(check(), agent.mode != 0);
      EXPECT_EQ(agent.log, (Lines{"mode " + std::to_string(category), event + ints()}));
    }
  }
  // Let through in a blocking mode, with these lines to the agent.
  template <typename Check>
  void expect_allowed(const Lines& lines, Check check) {
    agent.mode = 1;
    agent.log.clear();
    EXPECT_FALSE(check());
    EXPECT_EQ(agent.log, lines);
  }
  template <typename Check>
  void expect_silence_when_exempt_or_without_agent(Check check) {
    agent.white_listed = true;
    expect_allowed({}, check);
    agent.white_listed = false;
    engine.php_help = nullptr;
    expect_allowed({}, check);
    engine.php_help = &agent;
  }

  using Call = bool (*)(CCommonUtil&, const json&);
  const std::map<std::string, Call> checks{
      {"command", [](auto& e, auto& a) { return e.check_command_exec(a[0], a[1]); }},
      {"phpinfo", [](auto& e, auto& a) { return e.check_phpinfo(a[0]); }},
      {"code", [](auto& e, auto& a) { return e.check_code_exec(a[0], a[1]); }},
      {"include", [](auto& e, auto& a) { return e.check_file_include(std::string(a[0]).c_str()); }},
      {"read", [](auto& e, auto& a) { return e.check_read_file(a[0], a[1]); }},
      {"fetch", [](auto& e, auto& a) { return e.check_curl_ssrf("", a[0]); }},
      {"connect", [](auto& e, auto& a) { return e.check_socket_connect(a[0], a[1]); }},
      {"yaml", [](auto& e, auto& a) { return e.check_yaml_parse(a[0], a[1]); }},
      {"ldap", [](auto& e, auto& a) { return e.check_ldap_search(a[0], a[1]); }}};
};

TEST_F(Detectors, FindWhatTheTableSays) {
  for (const json& row : cases("detectors.json")) {
    SCOPED_TRACE(row.dump(-1, ' ', false, json::error_handler_t::replace));
    const auto request = [&](int track, const char* source) {
      const json data = row.value(source, json::object());
      host::set_request_array(track, data.is_string() ? json{{"q", data}} : data);
    };
    request(TRACK_VARS_GET, "get");
    request(TRACK_VARS_POST, "post");
    request(TRACK_VARS_COOKIE, "cookie");
    state().frames = row.value("stack", json::array());
    agent.family = row.value("family", "");
    const json& arguments = row["args"];
    const auto expected = [&](std::string event) {  // "@": the judged argument, as C sees it
      const std::string subject = arguments.back().get<std::string>().c_str();
      if (event.back() == '@') event.replace(event.size() - 1, 1, subject);
      return event;
    };
    const auto check = [&, call = checks.at(row["check"])] { return call(engine, arguments); };
    agent.scans.clear();
    if (row.contains("finds")) {
      expect_finding(row["finds"][0], expected(row["finds"][1]), check);
    } else if (row.contains("records")) {
      expect_allowed({"0 " + expected(row["records"]) + "|1|1"}, check);
    } else {
      expect_allowed({}, check);
    }
    if (row.contains("scans")) {
      EXPECT_EQ(agent.scans, row["scans"].get<Lines>());
    }
    expect_silence_when_exempt_or_without_agent(check);
  }
  EXPECT_FALSE(engine.check_file_include(nullptr));
  EXPECT_FALSE(contains_special_char(nullptr));
  EXPECT_EQ(engine.cmd_collection.count("LS") + engine.cmd_collection.count("lso"), 0U);
}

TEST_F(Detectors, ScanLargeScriptsAndCutTheirReport) {
  const auto check = [&](std::string code) {
    return [this, code] { return engine.check_code_exec("f.php(1) : eval()'d code", code); };
  };
  const std::string large(5121, 'x');
  agent.script_answer = 1;
  expect_finding(2, "40000 execute_command_2|webshell|command|" + large.substr(0, 4096),
                 check(large));
  EXPECT_EQ(agent.scans[1], "script 5121 1");
  const std::string plain = "0 execute_command|eval()'d code|command|";
  expect_allowed({plain + large.substr(1) + "|1|1"}, check(large.substr(1)));
  agent.script_answer = 0;
  expect_allowed({plain + large + "|1|1"}, check(large));
}

// How a genuine engine names compiled strings and nests calls.
TEST_F(Detectors, UnderstandTheTraceOfAGenuineEngine) {
  const json findings = cases("trace-findings.json");
  std::ifstream trace(TEST_DATA "/trace-7.1-ts.jsonl");
  int seen = 0;
  for (std::string line; std::getline(trace, line);) {
    SCOPED_TRACE(line);
    const json event = json::parse(line);
    state().frames = event.value("backtrace", json::array());
    const std::string hook = event["hook"], name = event["name"];
    agent.log.clear();
    if (hook == "compile_string") {
      const std::string code = event["code"];
      EXPECT_FALSE(engine.check_code_exec(name, code));
      const std::string expected = findings.value(code, "eval()'d code|command|" + code);
      EXPECT_EQ(agent.log, Lines{"0 execute_command|" + expected + "|1|1"});
    } else if (name == "system" || name == "exec" || name == "shell_exec") {
      const std::string command = state().frames[0]["args"][0];
      EXPECT_FALSE(engine.check_command_exec(name, command));
      const std::string expected = findings[command];
      EXPECT_EQ(agent.log.back(),
                expected + "|command|" + command + (expected[0] == '0' ? "|1|1" : "|1|0"));
    } else if (hook == "execute_internal") {
      EXPECT_TRUE(engine.is_safe_sql_query(name));
      EXPECT_EQ(name.find("query") != name.npos, agent.log.size() == 3U);
    } else {
      continue;
    }
    ++seen;
  }
  EXPECT_EQ(seen, 32);
}

TEST_F(Detectors, LeaveCreationsToTheAgentButInChains) {
  const auto check = [&] { return engine.check_create_file("fopen", "/x"); };
  state().frames = {"G::__destruct", "unserialize"};
  for (agent.mode = 0; agent.mode < 3; ++agent.mode) {
    agent.log.clear();
    EXPECT_EQ(check(), agent.mode != 0);
    EXPECT_EQ(agent.log, (Lines{"upload fopen|/x", "mode 6",
                                "20008 create|unserialize()->G::__destruct()|file|/x" + ints()}));
  }
  agent.upload_answer = 0;
  agent.log.clear();
  EXPECT_TRUE(check());
  EXPECT_EQ(agent.log, Lines{"upload fopen|/x"});
  EXPECT_EQ(agent.record[13], "G::__destruct()\nunserialize()\n");
  agent.upload_answer = -1;
  state().frames = {"unserialize"};
  expect_allowed({"upload fopen|/x"}, check);
  expect_silence_when_exempt_or_without_agent(check);
}

TEST_F(Detectors, KnowExternalEntitiesByTheirShape) {
  const std::string document = "<!DOCTYPE x [<!ENTITY e SYSTEM 'file:///x'>]>";
  std::string message;
  const auto check = [&](std::string function, std::string text) {
    return [this, &message, function, text] {
      state().frames = json{{"f", 1, "<x/>", text, "<y/>"}};
      message.clear();
      return engine.check_xxe(function, message);
    };
  };
  for (const std::string function :
       {"simplexml_load_string", "DOMDocument::loadXML", "SimpleXMLElement::__construct"}) {
    expect_finding(3, "20010 xxe_inject|" + function + "|command|" + document,
                   check(function, document));
    EXPECT_EQ(message, "XXE injection detected @VARNO 2020-2030.");
  }
  expect_allowed({}, check("domdocument::loadXML", document));
  for (const char* harmless : {"SYSTEM !DOCTYPE !ENTITY", " SYSTEM !DOCTYPE", " SYSTEM !ENTITY",
                               "!DOCTYPE !ENTITY", " system !doctype !entity"}) {
    expect_allowed({}, check("simplexml_load_string", harmless));
  }
  agent.white_listed = true;
  expect_allowed({}, check("simplexml_load_string", document));
  EXPECT_EQ(message, "");
}

TEST_F(Detectors, LeaveQueriesToTheAgentAndBlockInModeOneOnly) {
  get("1 or 1");
  state().frames = json{{"mysqli_query", {{"$", "object"}}, nullptr, 5, "s1", "s2"}};
  const auto expect = [&](const char* function, bool safe, const Lines& lines) {
    agent.log.clear();
    EXPECT_EQ(engine.is_safe_sql_query(function), safe);
    EXPECT_EQ(agent.log, lines);
  };
  expect("mysqli_prepare", true, {});
  expect("PDO::query", true,
         {"mode 3", "lookup s1", "match s1|q=1 or 1", "lookup s2", "match s2|q=1 or 1"});
  for (agent.mode = 0; agent.mode < 3; ++agent.mode) {
    agent.sql_values = true;
    expect("PDO::query", agent.mode != 1,
           {"mode 3", "lookup s1", "match s1|q=1 or 1",
            "20001 sql_query_lib|PDO::query|command|s1" + ints()});
    agent.sql_pattern = true;
    expect("mssql_query", agent.mode != 1,
           {"mode 3", "lookup s1", "20001 sql_query_regex|union|command|s1" + ints()});
    agent.sql_pattern = false;
  }
  agent.mode = 1;
  agent.white_listed = true;
  expect("mysqli_query", true, {"mode 3", "lookup s1", "match s1|q=1 or 1"});
}

}  // namespace
