#include <string>
#include <utility>
#include <vector>

#include "request/http_info.h"
#include "request/parameters.h"
#include "stack/backtrace.h"
#include "stack/render.h"
#include "text/text.h"
#include "watched_request.h"

using host::globals;
using host::json;
using host::Lines;
using host::state;
using namespace std::string_literals;

const std::string longest(10000, 'x');

class Request : public WatchedRequest {
 protected:
  Request() {
    sapi.request_uri = c_string("/r?x=1");
    sapi.path_translated = c_string("/srv/r.php");
    sapi.query_string = c_string("x=1");
    sapi.cookie_data = c_string("c=2");
    sapi.request_method = "GET";
    sapi.content_type = "text/plain";
    globals.core.auto_globals_jit = 1;
    state.frames = {{{"function", "main"}}};
  }
  static char* c_string(const std::string& text) { return host::value(text).value.str->val; }
  std::string query(const char* method, const std::string& text, const json& post) {
    sapi.request_method = method;
    sapi.query_string = c_string(text);
    host::set_request_array(TRACK_VARS_POST, post);
    HttpInfo info;
    php_get_left_http_info(info, false);
    return info.query_string;
  }
  sapi_request_info& sapi = globals.sapi.request_info;
};

TEST_F(Request, RecordReachesTheAgentInItsOrder) {
  state.server = json::parse(R"({"#": "n", "SERVER_NAMES": "longer", "Server_Name": ["x"],
    "sERVER_NAME": {"$": "undef"}, "server_name": "shop", "SERVER_NAME": "second",
    "REMOTE_ADDR": "::1", "HTTP_X_FORWARDED_FOR": "10.0.0.9", "HTTP_USER_AGENT": "ua",
    "HTTP_REFERER": "ref"})");
  engine.check_command_exec("exec", "true");
  EXPECT_EQ(agent.record, (Lines{"shop", "/srv/r.php", "/r?x=1", "x=1", "GET", "::1", "ua", "ref",
                                 "c=2", "10.0.0.9", "text/plain", "", "", "main()\n"}));
  EXPECT_EQ(agent.exempt, (Lines{"shop", "/r?x=1", "::1", "10.0.0.9"}));
  const int asked = state.server_requests;
  sapi = {};
  globals.core.auto_globals_jit = 0;  // made at the start already
  globals.core.http_globals[TRACK_VARS_SERVER] = host::value("no array");
  engine.check_socket_connect("fsockopen", "h");
  EXPECT_EQ(agent.record, Lines(14)) << "the stack is taken only for what needs it";
  EXPECT_EQ(state.server_requests, asked);
}

TEST_F(Request, FormFieldsFollowTheQuery) {
  EXPECT_EQ(query("POST", "a=1", {{"b", "2"}, {"#", "n"}, {"c", {"3", "4", "5"}}, {"d", ""}}),
            "a=1&b=2&c&d=");
  EXPECT_EQ(query("POST", "", {{"b", "2"}}), "b=2");
  EXPECT_EQ(query("POST", "a=1", {}), "a=1");
  EXPECT_EQ(query("post", "a=1", {{"b", "2"}}), "a=1");
  EXPECT_EQ(query("POST", longest, {{"b", longest}}), longest + "&b=" + longest.substr(0, 4094));
}

TEST_F(Request, GathersNamedValuesAndBareNames) {
  host::set_request_array(TRACK_VARS_GET, json::parse(R"({"a": "1", "gone": {"$": "undef"},
    "#": "numeric", "x_y_z": "", "bare": "", "list": ["leaf"], "nul": "a\u0000b", "int": 5})"));
  host::set_request_array(TRACK_VARS_POST, {{"p", "2"}, {"p_q", ""}});
  host::set_request_array(TRACK_VARS_COOKIE, {{"c", "3"}, {"c_d", ""}});
  Lines gathered{"kept"};
  engine.get_all_parameters(gathered, PARAM_ALL);
  EXPECT_EQ(gathered, (Lines{"kept", "1", "x_y_z", "x y_z", "x.y_z", "bare", "a\0b"s, "2", "3"}));
  EXPECT_EQ(php_request_value_strings(), "a=1&x_y_z=&bare=&nul=a\0b&p=2&p_q="s);
}

TEST_F(Request, UploadCarriesTheNameOfTheFirstSingleFile) {
  host::set_request_array(TRACK_VARS_FILES, json::parse(R"({"#": {"name": "numeric"},
    "several": {"name": ["list"]}, "text": "x", "odd": {"names": "x", "size": 5, "NAME": "first"},
    "next": {"name": "second"}})"));
  for (const auto& [type, name] : {std::pair{"multipart/form-data; boundary=x", "first"},
                                   {"multipart/form-data; charset=x", ""},
                                   {"text/plain; boundary=x", ""}}) {
    sapi.content_type = type;
    engine.check_create_file("copy", "to");
    EXPECT_EQ(agent.record[12], name) << type;
  }
}

TEST_F(Request, StackKeepsScalarsAndCutsStrings) {
  state.frames = json::parse(R"([5, {"file": "/main.php", "Line": 3, "FUNCTION": "f", "#": "h",
    "functions": "g", "class": "C", "args": [null, false, 2.5]}, {"line": "7", "args": 1}, {}])");
  state.frames[1]["args"].push_back(longest);
  std::vector<backtraceInfo> frames;
  get_backtrace_info(3, frames, false, 9);
  ASSERT_EQ(frames.size(), 2U) << "what is no frame counts, and yields none";
  EXPECT_EQ(frames[0].file + frames[0].class_name + frames[0].function, "/main.phpCf");
  EXPECT_TRUE(frames[0].line == 3 && frames[1].line == -1);
  const std::vector<arginfo>& args = frames[0].args;
  ASSERT_EQ(args.size(), 3U);
  EXPECT_TRUE(args[1].type == arginfo::floating && args[1].dval == 2.5);
  EXPECT_EQ(args[2].sval.size(), 9U);
  std::vector<arginfo> innermost = args;
  get_args_info(innermost);
  EXPECT_EQ(innermost.size(), 3U) << "left as it is by a frame without arguments";
  state.frames.erase(0);
  get_args_info(innermost);
  EXPECT_EQ(innermost[2].sval.size(), 4096U);
}

TEST_F(Request, StackIsRenderedAsAgentsKnowThem) {
  for (const json& row : cases("rendered_frames.json")) {
    state.frames = json::array({row[0]});
    EXPECT_EQ(format_debug_backtrace_str(16), row[1]);
  }
  state.frames = json(20, {{"function", "f"}, {"args", {longest}}});
  engine.check_command_exec("exec", "true");
  EXPECT_EQ(agent.record[13].size(), 16 * (1024 + std::string("f()\n").size()));
}

TEST_F(Request, StackTextTurnsIntoAChain) {
  for (const json& row : cases("chains.json")) EXPECT_EQ(resort_stack_info(row[0]), row[1]);
}

TEST(Text, IsFoundWhateverTheLengths) {
  std::string numbers;
  for (int i = 100; i < 300; ++i) numbers += std::to_string(i);
  for (const std::size_t length : {90U, 128U, 129U, 600U}) {
    const std::string text = numbers.substr(0, length);
    for (const std::size_t size : {8U, 64U, 65U, 90U}) {
      std::string needle = text.substr(length - size);
      EXPECT_EQ(find_text(text, needle), length - size);
      needle.back() = 'x';
      EXPECT_EQ(find_text(text, needle), text.npos);
    }
  }
}
