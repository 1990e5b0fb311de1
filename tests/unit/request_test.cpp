#include <set>
#include <string>

#include "host/watched_request.h"
#include "request/http_info.h"
#include "request/parameters.h"

using host::globals;
using host::json;
using host::Lines;
using host::state;
using namespace std::string_literals;

class Request : public WatchedRequest {
 protected:
  Request() {
    sapi.request_uri = host::c_string("/r?x=1");
    sapi.path_translated = host::c_string("/srv/r.php");
    sapi.query_string = host::c_string("x=1");
    sapi.cookie_data = host::c_string("c=2");
    sapi.request_method = "GET";
    sapi.content_type = "text/plain";
    globals().core.auto_globals_jit = 1;
    state().server = {{"SERVER_NAME", "shop"},
                      {"REMOTE_ADDR", "::1"},
                      {"HTTP_X_FORWARDED_FOR", "10.0.0.9"},
                      {"HTTP_USER_AGENT", "ua"},
                      {"HTTP_REFERER", "ref"}};
    state().frames = {"main"};
  }
  std::string query(const char* method, const std::string& text, const json& post) {
    sapi.request_method = method;
    sapi.query_string = host::c_string(text);
    host::set_request_array(TRACK_VARS_POST, post);
    HttpInfo info;
    php_get_left_http_info(info, false);
    return info.query_string;
  }
  sapi_request_info& sapi = globals().sapi.request_info;
};

TEST_F(Request, RecordReachesTheAgentInItsOrder) {
  engine.check_command_exec("exec", "true");
  EXPECT_EQ(agent.record, (Lines{"shop", "/srv/r.php", "/r?x=1", "x=1", "GET", "::1", "ua", "ref",
                                 "c=2", "10.0.0.9", "text/plain", "", "", "main()\n"}));
  EXPECT_EQ(agent.exempt, (Lines{"shop", "/r?x=1", "::1", "10.0.0.9"}));
  engine.check_socket_connect("fsockopen", "h");
  EXPECT_EQ(agent.record[13], "") << "taken only for what needs it";
  HttpInfo info;
  EXPECT_EQ(engine.report_event(1, "", "", "", "", 0, 0, info), 7);

  sapi = {};
  state().server = json::object();
  engine.check_socket_connect("fsockopen", "h");
  EXPECT_EQ(agent.record, Lines(14));
}

TEST_F(Request, FormFieldsFollowTheQuery) {
  EXPECT_EQ(query("POST", "a=1", {{"b", "2"}, {"#", "n"}, {"c", {"3", "4", "5"}}, {"d", ""}}),
            "a=1&b=2&c&d=");
  EXPECT_EQ(query("POST", "", {{"b", "2"}}), "b=2");
  EXPECT_EQ(query("POST", "a=1", {}), "a=1");
  EXPECT_EQ(query("post", "a=1", {{"b", "2"}}), "a=1");
  const std::string large(5000, 'q');
  EXPECT_EQ(query("POST", large, {{"b", large}}), large + "&b=" + large.substr(0, 4094));
}

TEST_F(Request, ServerEntriesAreFoundInOrderWhateverTheirCase) {
  state().server = json::parse(R"({"#": "n", "SERVER_NAMES": "longer", "Server_Name": ["x"],
    "sERVER_NAME": {"$": "undef"}, "server_name": "first\u0000byte", "SERVER_NAME": "second"})");
  EXPECT_EQ(php_get_info(TRACK_VARS_SERVER, "SERVER_NAME", 11), "first\0byte"s);
  EXPECT_EQ(php_get_info(TRACK_VARS_GET, "SERVER_NAME", 11), "");
  EXPECT_EQ(state().server_requests, 1);
  globals().core.auto_globals_jit = 0;
  globals().core.http_globals[TRACK_VARS_SERVER] = host::value("no array");
  EXPECT_EQ(php_get_info(TRACK_VARS_SERVER, "SERVER_NAME", 11), "");
  EXPECT_EQ(state().server_requests, 1) << "made at the start already";
}

TEST_F(Request, UploadNameIsThatOfTheFirstSingleFile) {
  host::set_request_array(TRACK_VARS_FILES, json::parse(R"({"#": {"name": "numeric"},
    "many": {"name": ["a", "b"]}, "one": {"type": "t", "NAME": "c.jpg"}, "two": {"name": "d"}})"));
  sapi.content_type = "multipart/form-data; boundary=x";
  engine.check_create_file("copy", "/x");
  EXPECT_EQ(agent.record[12], "c.jpg");
  sapi.content_type = "multipart/form-data; bound=x";
  engine.check_create_file("copy", "/x");
  EXPECT_EQ(agent.record[12], "");
}

TEST_F(Request, ArraysAreAbsentOnceTheEngineMayHaveGivenThemUp) {
  get("id");
  host::set_request_array(TRACK_VARS_SERVER, state().server);
  const auto expect_found = [&](bool parameter, bool server) {
    engine.check_command_exec("exec", "id");
    EXPECT_EQ(agent.log.back().substr(0, 5), parameter ? "20011" : "0 exe");
    EXPECT_EQ(agent.record[0], server ? "shop" : "");
    EXPECT_EQ(agent.record[2], "/r?x=1");
  };
  expect_found(true, true);
  const int asked = state().server_requests;
  const zend_refcounted_h& held = *globals().core.http_globals[TRACK_VARS_GET].value.counted;
  const uint32_t holds = held.refcount;
  zend_api::note_request_end();
  EXPECT_EQ(held.refcount, holds + 1);  // or the engine would free it under our eyes
  expect_found(true, true);
  globals().executor.valid_symbol_table = 0;
  expect_found(false, false);
  zend_api::note_request_start();
  expect_found(false, false);
  EXPECT_EQ(state().server_requests, asked);
}

TEST_F(Request, GathersNamedValuesAndBareNames) {
  host::set_request_array(TRACK_VARS_GET, json::parse(R"({"a": "1", "gone": {"$": "undef"},
    "#": "numeric", "x_y_z": "", "bare": "", "list": ["leaf"], "nul": "a\u0000b", "int": 5})"));
  host::set_request_array(TRACK_VARS_POST, {{"p", "1"}, {"p_q", ""}});
  host::set_request_array(TRACK_VARS_COOKIE, {{"c", "3"}, {"c_d", ""}});
  const Lines all{"kept", "1", "x_y_z", "x y_z", "x.y_z", "bare", "a\0b"s, "1", "3"};
  const struct {
    int type;
    std::ptrdiff_t first, last;  // of `all`
  } table[] = {{PARAM_GET, 1, 7},      {PARAM_POST, 7, 8}, {PARAM_COOKIE, 8, 9},
               {PARAM_GET_POST, 1, 8}, {PARAM_ALL, 1, 9},  {9, 1, 9}};
  for (const auto& row : table) {
    Lines gathered{"kept"};
    engine.get_all_parameters(gathered, static_cast<eParamType>(row.type));
    Lines expected(all.begin() + row.first, all.begin() + row.last);
    expected.insert(expected.begin(), "kept");
    EXPECT_EQ(gathered, expected) << row.type;
  }
  EXPECT_EQ(php_request_raw_strings(TRACK_VARS_GET), "a=1&x_y_z=&bare=&list&nul=a\0b&int"s);
  EXPECT_EQ(php_request_value_strings(), "a=1&x_y_z=&bare=&nul=a\0b&p=1&p_q="s);
  host::set_request_array(TRACK_VARS_GET, {});
  EXPECT_EQ(php_request_value_strings(), "p=1&p_q=");
}

TEST_F(Request, TaintTestsHaveOneDirection) {
  get("cmd=ls\0 -la"s);
  host::set_request_array(TRACK_VARS_COOKIE, {{"c", "/etc/passwd"}});
  for (const char* part : {"ls", "-la", ""}) EXPECT_TRUE(engine.is_param_contain_str(part));
  for (const std::string& other : {"cmd=ls\0 -la."s, "LS"s, "/etc/passwd"s}) {
    EXPECT_FALSE(engine.is_param_contain_str(other)) << other;
  }
  EXPECT_TRUE(engine.is_param_equal_str("/etc/passwd"));
  for (const char* other : {"/etc/passwd2", "/ETC/PASSWD", "/etc"}) {
    EXPECT_FALSE(engine.is_param_equal_str(other)) << other;
  }
  Lines parameters{"a\0needle"s, "needle 1", "needle 2", "needle 1"};
  std::set<std::string> found;
  EXPECT_TRUE(engine.find_str_in_parameters(parameters, "needle", found, true));
  EXPECT_TRUE(found.empty());
  EXPECT_TRUE(engine.find_str_in_parameters(parameters, "needle", found, false));
  EXPECT_EQ(found, (std::set<std::string>{"needle 1", "needle 2"}));
  EXPECT_FALSE(engine.find_str_in_parameters(parameters, "needle 3", found, false));
}
