#include "module/dispatch.h"

#include <string>

#include "module/hooks.h"
#include "module/wrappers.h"
#include "text/text.h"
#include "watched_request.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

using host::call;
using host::json;
using host::Lines;
using host::state;

namespace {

// What stands for "%" in the files of calls: a text that every detector takes for an
// attack when the request holds it.
const std::string attack = "!php/object phpinfo()";
const json resource{{"$", "resource"}}, object{{"$", "object"}};

// Include and eval as calls, whose own part is to run what was compiled.
void compile(zend_execute_data* running, zval* result) {
  static const zif_handler run = host::function("anything").handler;
  zend_api::StringArgument text;
  if (!zend_api::parse(running, "s", 0, text)) return;
  zend_file_handle file{};
  file.filename = text.data;
  zval source = host::value(text.data), name = host::value("f(1) : eval()'d code");
  const bool evaluated = zend_api::text(zend_api::function_name(running)) == "eval";
  *result = host::value(false);
  if (evaluated ? zend_compile_string(&source, name.value.str->val) : zend_compile_file(&file, 2)) {
    run(running, result);
  }
}

class WatchedCall : public WatchedRequest {
 protected:
  WatchedCall() {
    Lines names;
    for (const json& row : rows) names.push_back(row[0]);
    host::define_functions(names);
    for (const char* name : {"include", "eval"}) host::function(name).handler = compile;
    patch_handler();
    hook_zend_api();
    host::set_request_array(TRACK_VARS_GET, {{"q", attack}});
    agent.sql_pattern = "union";
    for (const json& row : calls("hooked_calls.json")) rows.push_back(row);
  }
  ~WatchedCall() override {
    unhook_zend_api();
    unpatch_handler();
  }
  // Begins anew, with an agent that blocks or only reports.
  void expect_calls(bool blocked) {
    state = {};
    agent.log = {""};
    agent.mode = blocked ? 1 : 0;
    agent.upload_answer = blocked ? 0 : 1;
  }
  // The call goes to the function's own handler, and nobody judges it.
  void expect_untouched(const std::string& function, const json& arguments, bool strict = false) {
    SCOPED_TRACE(function + arguments.dump());
    expect_calls(true);
    EXPECT_EQ(call(function, arguments, strict).value.lval, 42);
    EXPECT_EQ(state.ran, Lines{function});
    EXPECT_EQ(agent.log, Lines{""});
  }

  static json calls(const std::string& file) {
    std::string text = cases(file).dump();
    string_replace(text, "%", attack);
    return json::parse(text);
  }
  static std::string event(const json& row, bool refused) {
    const std::string event = row[2];
    return event[0] == 'u' ? event : event + (refused ? "|0|0" : "|1|0");
  }
  // Function, as many arguments as its row parses, the report, the notice.
  json rows = calls("watched_calls.json");
};

TEST_F(WatchedCall, IsJudgedByItsRow) {
  for (const json& row : rows) {
    SCOPED_TRACE(row.dump());
    expect_calls(true);
    const zval blocked = call(row[0], row[1]);
    EXPECT_EQ(zend_api::type_of(&blocked), row[0] == "mysqli_query" ? IS_NULL : IS_FALSE);
    EXPECT_EQ(agent.log.back(), event(row, true));
    EXPECT_EQ(state.ran, Lines{});
    EXPECT_EQ(state.output, "<br/>" + std::string(row[3]) + " @VARNO 2020-2030<br/>");

    expect_calls(false);
    EXPECT_EQ(call(row[0], row[1]).value.lval, 42);
    EXPECT_EQ(agent.log.back(), event(row, false));
    EXPECT_EQ(state.ran, Lines{row[0]});
    EXPECT_EQ(state.output, "");
  }
}

TEST_F(WatchedCall, OfAnotherShapeIsLeftToTheFunction) {
  for (const json& row : calls("watched_calls.json")) {
    json arguments = row[1];
    if (arguments.empty()) continue;
    for (const json& wrong : {json{{"list", attack}}, resource, object}) {
      arguments.back() = wrong;
      expect_untouched(row[0], arguments);
    }
    for (const json& scalar : {json(10002), json(), json(true), json(2.5), object}) {
      arguments.back() = scalar;
      expect_untouched(row[0], arguments, true);
    }
    while (!arguments.empty()) {  // with too few, the parser would end the request
      arguments.erase(arguments.size() - 1);
      expect_untouched(row[0], arguments);
    }
  }
  for (const json& option : {json(10015), json(1e300), json("--10002"), json("inf"), json("")}) {
    expect_untouched("curl_setopt", {resource, option, attack});
  }
  expect_untouched("curl_setopt", {attack, 10002, attack});
  expect_untouched("copy", {resource, attack});
  for (const char* name : {"mysqli_Query", "ery", "mysqli_query_x"}) expect_untouched(name, {"x"});
}

TEST_F(WatchedCall, IsJudgedByItsOwnArgumentAsTheFunctionWouldConvertIt) {
  expect_calls(false);
  state.object_text = "text";
  call("copy", {attack, "to"});
  call("socket_connect", {resource, "host", 80});
  call("system", json::array({object}));
  call("system", {12});
  call("system", {nullptr});
  EXPECT_EQ(agent.log, (Lines{"", "upload|copy|to", "0|connect|socket_connect|host|host|1|1",
                              "0|execute_command|system|command|text|1|1",
                              "0|execute_command|system|command|12|1|1",
                              "0|execute_command|system|command||1|1"}));
  const json url_options{10002.5, "10002", " \t+10002", "1.0002e4", "10002.9 ", "10002x"};
  for (const json& option : url_options) {
    expect_calls(false);
    call("curl_setopt", {resource, option, attack});
    EXPECT_EQ(agent.log.back(), "2000e|connect|curl_ssrf|connect|" + attack + "|1|0") << option;
  }
}

// The engine can run out of memory where the module holds strings; the event is
// sent and everything destroyed before the request ends.
TEST_F(WatchedCall, SurvivesALongJumpOutOfItsWork) {
  host::globals.core.auto_globals_jit = 1;
  for (const std::string moment : {"handler", "output", "server", "backtrace", "conversion"}) {
    for (const json& row : rows) {
      SCOPED_TRACE(moment + row.dump());
      std::string reported = event(row, moment != "handler");
      json arguments = row[1];
      const bool takes_stack = reported[0] == 'u' || reported.substr(0, 5) == "20011";
      if (moment == "backtrace" && !takes_stack) continue;
      if (moment == "conversion") {
        if (arguments.empty() || row[0] == "mysqli_query") continue;
        arguments.back() = object;
        reported = "";
      }
      expect_calls(moment != "handler");
      state.leaves_at = moment;
      EXPECT_EQ(call(row[0], arguments).type_info, IS_UNDEF);
      EXPECT_EQ(agent.log.back(), reported);
      EXPECT_EQ(state.output.empty(), moment != "output");
      EXPECT_EQ(state.ran.empty(), moment != "handler");
    }
  }
}

// Nobody in the module could go on with the jump, and later it would lead nowhere.
TEST_F(WatchedCall, DoesNotInheritALongJumpOutOfAnExportedMethod) {
  const auto ask = [this] {
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler lost;  // what the method held
#endif
    state.leaves_at = "backtrace";
    std::string message;
    EXPECT_FALSE(host::comes_back([&] { engine.check_xxe("simplexml_load_string", message); }));
    state.leaves_at = "";
  };
  ask();
  EXPECT_EQ(call("system", {"x"}).value.lval, 42);
  state.meanwhile = ask;  // by code that runs while a call is judged
  EXPECT_EQ(call("system", {"x"}).value.lval, 42);
  EXPECT_EQ(state.ran, (Lines{"system", "system"}));
}

}  // namespace
