#include "module/dispatch.h"

#include <string>

#include "engine/notices.h"
#include "host/watched_request.h"
#include "module/wrappers.h"

using host::call;
using host::json;
using host::Lines;
using host::state;

namespace {

// What watched_calls.json is about: a text that every detector takes for an attack
// when the request holds it.
const std::string attack = "!php/object phpinfo()";

class WatchedCall : public WatchedRequest {
 protected:
  WatchedCall() {
    json table;
    for (const json& row : rows) table[std::string(row[0])] = row[0];
    host::define_functions(table);
    patch_handler();
    get(attack);
  }
  ~WatchedCall() override { unpatch_handler(); }
  void block(bool blocks) {
    agent.mode = blocks ? 1 : 0;
    agent.upload_answer = blocks ? 0 : 1;
  }
  // The call goes to the function's own handler, and nobody judges it.
  void expect_untouched(const std::string& function, const json& arguments, bool strict = false) {
    SCOPED_TRACE(function + arguments.dump());
    state().ran.clear();
    agent.log.clear();
    EXPECT_EQ(call(function, arguments, strict).value.lval, 42);
    EXPECT_EQ(state().ran, Lines{function});
    EXPECT_EQ(agent.log, Lines{});
    EXPECT_EQ(state().warnings, Lines{});
  }

  // Function, as many arguments as its row parses, the report, the notice.
  const json rows = cases("watched_calls.json");
};

TEST_F(WatchedCall, IsJudgedByItsRow) {
  for (const json& row : rows) {
    SCOPED_TRACE(row.dump());
    state() = {};
    std::string reported = row[2];
    block(true);
    const zval blocked = call(row[0].get<std::string>(), row[1]);
    EXPECT_EQ(agent.log.back(), reported);
    EXPECT_EQ(zend_api::type_of(&blocked), IS_FALSE);
    EXPECT_EQ(state().ran, Lines{});
    const std::string notice = "<br/>" + std::string(row[3]) + " Not Allowed @VARNO 2020-2030<br/>";
    EXPECT_EQ(state().output, notice);

    block(false);
    EXPECT_EQ(call(row[0].get<std::string>(), row[1]).value.lval, 42);
    if (reported[0] != 'u') reported[reported.size() - 3] = '1';
    EXPECT_EQ(agent.log.back(), reported);
    EXPECT_EQ(state().ran, Lines{row[0]});
    EXPECT_EQ(state().output, notice) << "printed once, by the blocked call";
    EXPECT_EQ(state().warnings, Lines{});
  }
}

TEST_F(WatchedCall, OfAnotherShapeIsLeftToTheFunction) {
  const json resource{{"$", "resource"}}, object{{"$", "object"}};
  for (const json& row : rows) {
    const std::string function = row[0];
    json arguments = row[1];
    if (arguments.empty()) continue;
    for (const json& wrong : {json{{"list", attack}}, resource}) {
      arguments.back() = wrong;
      expect_untouched(function, arguments);
    }
    for (const json& scalar : {json(10002), json(), json(true), json(2.5), object}) {
      arguments.back() = scalar;
      expect_untouched(function, arguments, true);
    }
    while (!arguments.empty()) {  // with too few, the parser would end the request
      arguments.erase(arguments.size() - 1);
      expect_untouched(function, arguments);
    }
  }
  expect_untouched("curl_setopt", {resource, 10015, attack});
  expect_untouched("curl_setopt", {attack, 10002, attack});
  expect_untouched("copy", {resource, attack});
}

TEST_F(WatchedCall, IsJudgedByItsOwnArgumentOnly) {
  get("source");
  call("copy", {"source", "to"});
  call("curl_setopt", {{{"$", "resource"}}, "10002", "http://source"});
  call("socket_connect", {{{"$", "resource"}}, "host", 80});
  EXPECT_EQ(agent.log, (Lines{"upload copy|to", "0 connect|socket_connect|host|host|1|1"}));
  EXPECT_TRUE(is_safe_handler(nullptr, nullptr, "unknown"));
}

TEST_F(WatchedCall, HasItsArgumentConvertedAsTheFunctionWould) {
  block(true);
  state().to_string = [] { return attack.c_str(); };
  const zval outcome = call("system", json::array({{{"$", "object"}}}));
  EXPECT_EQ(zend_api::type_of(&outcome), IS_FALSE);
  call("system", {12});
  EXPECT_EQ(agent.log.back(), "0 execute_command|system|command|12|1|1");
}

TEST_F(WatchedCall, SurvivesALongJumpOutOfItsWork) {
  for (const json& row : rows) {
    const std::string function = row[0];
    SCOPED_TRACE(function);
    state() = {};
    block(true);
    state().on_output = host::bail;
    EXPECT_EQ(call(function, row[1]).type_info, IS_UNDEF);
    block(false);
    state().on_handler = host::bail;
    EXPECT_EQ(call(function, row[1]).type_info, IS_UNDEF);
    state().on_handler = nullptr;
    EXPECT_EQ(call(function, row[1]).value.lval, 42);
  }
  state().to_string = [] {
    host::bail();
    return "";
  };
  EXPECT_EQ(call("move_uploaded_file", {"source", {{"$", "object"}}}).type_info, IS_UNDEF);
}

// The engine can run out of memory where the module holds strings; the event is
// sent and everything destroyed before the request ends.
TEST_F(WatchedCall, PassesOnALongJumpThatFoundItAtWork) {
  host::globals().core.auto_globals_jit = 1;
  for (auto moment : {&host::State::on_backtrace, &host::State::on_server}) {
    state() = {};
    agent.log.clear();
    block(true);
    state().*moment = host::bail;
    EXPECT_EQ(call("move_uploaded_file", {"source", attack}).type_info, IS_UNDEF);
    EXPECT_EQ(call("exec", {attack}).type_info, IS_UNDEF);
    EXPECT_EQ(agent.log, (Lines{"upload move_uploaded_file|" + attack, "mode 8",
                                "20011 execute_command|exec|command|" + attack + "|0|0"}));
    EXPECT_EQ(agent.record[13], "");
    EXPECT_EQ(state().output, "");
    EXPECT_EQ(state().ran, Lines{});
    state().*moment = nullptr;
    EXPECT_EQ(call("exec", {"true"}).value.lval, 42);
  }
}

}  // namespace
