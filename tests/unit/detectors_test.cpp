#include <functional>
#include <map>
#include <string>
#include <utility>

#include "detectors/command_exec.h"
#include "watched_request.h"

using host::json;
using host::Lines;
using host::state;
using namespace std::string_literals;

namespace {

using Check = std::function<bool()>;
std::string notice;  // of the last document

class Detectors : public WatchedRequest {
 protected:
  std::string ints() const { return agent.mode == 0 ? "|1|0" : "|0|0"; }

  void expect(bool blocked, const Lines& lines, const Check& check) {
    agent.log.clear();
    EXPECT_EQ(check(), blocked);
    EXPECT_EQ(agent.log, lines);
  }
  // After these lines to the agent one event, refused in any mode but 0.
  void expect_finding(Lines lines, int category, const std::string& event, const Check& check) {
    lines.push_back("mode|" + std::to_string(category));
    lines.push_back("");
    for (agent.mode = 0; agent.mode < 3; ++agent.mode) {
      lines.back() = event + ints();
      expect(agent.mode != 0, lines, check);
    }
  }

  // "Class::function", or an array of that and its arguments.
  static json frame(const json& call) {
    json arguments = call.is_array() ? call : json::array({call});
    const std::string name = arguments[0];
    const std::size_t colons = name.find("::");
    arguments.erase(0);
    json made{{"args", arguments}};
    if (colons != name.npos) made["class"] = name.substr(0, colons);
    made["function"] = colons == name.npos ? name : name.substr(colons + 2);
    return made;
  }

  const std::map<std::string, bool (*)(CCommonUtil&, const json&)> checks{
      {"command", [](auto& e, auto& a) { return e.check_command_exec(a[0], a[1]); }},
      {"phpinfo", [](auto& e, auto& a) { return e.check_phpinfo(a[0]); }},
      {"code", [](auto& e, auto& a) { return e.check_code_exec(a[0], a[1]); }},
      {"include", [](auto& e, auto& a) { return e.check_file_include(std::string(a[0]).c_str()); }},
      {"read", [](auto& e, auto& a) { return e.check_read_file(a[0], a[1]); }},
      {"fetch", [](auto& e, auto& a) { return e.check_curl_ssrf("", a[0]); }},
      {"connect", [](auto& e, auto& a) { return e.check_socket_connect(a[0], a[1]); }},
      {"create", [](auto& e, auto& a) { return e.check_create_file(a[0], a[1]); }},
      {"yaml", [](auto& e, auto& a) { return e.check_yaml_parse(a[0], a[1]); }},
      {"ldap", [](auto& e, auto& a) { return e.check_ldap_search(a[0], a[1]); }},
      {"xxe", [](auto& e, auto& a) { return e.php_help && e.check_xxe(a[0], notice); }}};
};

// A row's form is described in tests/README.md.
TEST_F(Detectors, FindWhatTheTableSays) {
  for (const json& row : cases("detectors.json")) {
    SCOPED_TRACE(row.dump(-1, ' ', false, json::error_handler_t::replace));
    const std::string check = row.begin().key();
    for (const auto& [source, track] : {std::pair{"get", TRACK_VARS_GET},
                                        {"post", TRACK_VARS_POST},
                                        {"cookie", TRACK_VARS_COOKIE}}) {
      const json data = row.value(source, json::object());
      host::set_request_array(track, data.is_string() ? json{{"q", data}} : data);
    }
    state.frames = json::array();
    for (const json& call : row.value("stack", json::array())) state.frames.push_back(frame(call));
    agent.family = row.value("family", "");
    agent.upload_answer = row.value("answer", 1);
    const Check run = [&, judge = checks.at(check)] { return judge(engine, row.front()); };
    Lines sends;
    if (check == "create") sends = {"upload|fopen|/x"};
    if (row.contains("records")) sends = {"0|" + std::string(row["records"]) + "|1|1"};
    if (row.contains("finds")) {
      expect_finding(sends, row["finds"][0], row["finds"][1], run);
    } else {
      expect(agent.upload_answer == 0, sends, run);
    }
    for (const bool exempt : {true, false}) {  // or without agent
      agent.white_listed = exempt;
      engine.php_help = exempt ? &agent : nullptr;
      expect(false, {}, run);
    }
    engine.php_help = &agent;
  }
  EXPECT_EQ(notice, "XXE injection detected @VARNO 2020-2030.");
  EXPECT_FALSE(engine.check_file_include(nullptr));
}

TEST_F(Detectors, KnowTheSpecialCharactersOfAShell) {
  const std::string special = " |&/;\\.>${%<";
  for (char c = 1; c > 0; ++c) {
    const char text[] = {'z', c, 0};
    EXPECT_EQ(contains_special_char(text), special.find(c) != special.npos) << text;
  }
}

TEST_F(Detectors, ScanLargeScriptsAndCutTheirReport) {
  std::string code(5121, 'x');
  const Check check = [&] { return engine.check_code_exec("f.php(1) : eval()'d code", code); };
  const auto record = [&] { return "0|execute_command|eval()'d code|command|" + code + "|1|1"; };
  expect(false, {record()}, check);
  agent.script_answer = 1;
  expect_finding({}, 2, "40000|execute_command_2|webshell|command|" + code.substr(0, 4096), check);
  code.pop_back();
  expect(false, {record()}, check);
}

TEST_F(Detectors, LeaveQueriesToTheAgentAndBlockInModeOneOnly) {
  host::set_request_array(TRACK_VARS_GET, {{"q", "1\0or 1"s}});
  state.frames = {{{"args", {json{{"$", "object"}}, nullptr, 5, "s\0\0001"s, "s2"}}}};
  const char* const functions[] = {"PDO::query", "mysql_query", "mssql_query"};
  const Lines tests{"mode|3", "lookup|s  1", "match|s  1|q=1 or 1"};  // no text ends at a NUL byte
  for (agent.mode = 0; agent.mode < 3; ++agent.mode) {
    const std::string function = functions[agent.mode];
    const Check check = [&] { return !engine.is_safe_sql_query(function); };
    expect(false, {tests[0], tests[1], tests[2], "lookup|s2", "match|s2|q=1 or 1"}, check);
    agent.white_listed = agent.sql_values = true;
    expect(false, tests, check);
    agent.white_listed = false;
    const std::string found = "20001|sql_query_lib|" + function + "|command|s  1" + ints();
    expect(agent.mode == 1, {tests[0], tests[1], tests[2], found}, check);
    agent.sql_pattern = "union";
    expect(agent.mode == 1,
           {tests[0], tests[1], "20001|sql_query_regex|union|command|s  1" + ints()}, check);
    agent.sql_values = false;
    agent.sql_pattern = "";
  }
}

}  // namespace
