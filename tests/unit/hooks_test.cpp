#include "module/hooks.h"

#include <string>

#include "engine/notices.h"
#include "host/watched_request.h"

using host::call;
using host::Lines;
using host::state;

namespace {

class Hooks : public WatchedRequest {
 protected:
  Hooks() {
    hook_zend_api();
    agent.mode = 1;
    agent.sql_pattern = true;
    get("page.inc");
  }
  ~Hooks() override { unhook_zend_api(); }
  static zend_op_array* include(const char* name) {
    zend_file_handle handle{};
    handle.filename = name;
    return zend_compile_file(&handle, 2);
  }
  static zend_op_array* eval(const char* code) {
    zval source = host::value(code);
    return zend_compile_string(&source, host::c_string("f(1) : eval()'d code"));
  }
};

TEST_F(Hooks, RefusedFileIsCompiledButNotGiven) {
  EXPECT_EQ(include("page.inc"), nullptr);
  EXPECT_EQ(state().output, file_include_deny);
  EXPECT_EQ(include("other.inc"), host::compiled_code);
  EXPECT_EQ(include(nullptr), host::compiled_code);
  EXPECT_EQ(state().compiled, (Lines{"page.inc", "other.inc", "(null)"}));
  state().compile_fails = true;
  agent.mode = 0;
  EXPECT_EQ(include("page.inc"), nullptr);
  EXPECT_EQ(agent.log.back(), "20004 file_include|safe_compile_file|file|page.inc|1|0");
  EXPECT_EQ(state().output, file_include_deny) << "printed once";
}

TEST_F(Hooks, RefusedStringIsCompiledButNotGiven) {
  EXPECT_EQ(eval("page.inc"), nullptr);
  EXPECT_EQ(state().output, error_report);
  EXPECT_EQ(eval("harmless"), host::compiled_code);
  EXPECT_EQ(state().compiled[0], "f(1) : eval()'d code: page.inc");
  agent.log.clear();
  state().compile_fails = true;
  EXPECT_EQ(eval("page.inc"), nullptr);
  EXPECT_EQ(agent.log, Lines{}) << "what does not compile is not judged";
}

TEST_F(Hooks, RefusedQueryIsNotRun) {
  for (const char* query : {"mysqli_query", "mysqli::real_query", "PDO::query"}) {
    state().output.clear();
    const zval outcome = call(query, {"select 1"});
    EXPECT_EQ(zend_api::type_of(&outcome), IS_NULL);
    EXPECT_EQ(state().output, sql_injection);
    EXPECT_EQ(agent.log.back(), "20001 sql_query_regex|union|command|select 1|0|0");
  }
  agent.log.clear();
  for (const char* other : {"query", "Other::query", "mysqli_Query", "ery", "mysqli_query_x"}) {
    EXPECT_EQ(call(other, {"select 1"}).value.lval, 42);
  }
  EXPECT_EQ(agent.log, Lines{});
  agent.sql_pattern = false;
  call("mysqli_query", {"select 1"});
  EXPECT_EQ(agent.log[1], "lookup select 1");
  agent.sql_pattern = true;
  engine.php_help = nullptr;
  call("mysqli_query", {"select 1"});
  EXPECT_EQ(state().ran.size(), 7U);
  std::string message;
  zend_execute_data nameless{};
  EXPECT_TRUE(engine.check_internal_functions(&nameless, message));
  EXPECT_TRUE(engine.check_internal_functions(nullptr, message));
}

TEST_F(Hooks, ForwardToAnEarlierHook) {
  unhook_zend_api();
  zend_execute_internal = [](zend_execute_data* running, zval* result) {
    state().output += "earlier ";
    execute_internal(running, result);
  };
  hook_zend_api();
  EXPECT_EQ(call("strlen", {"x"}).value.lval, 42);
  call("mysqli_query", {"select 1"});
  EXPECT_EQ(state().output, std::string("earlier ") + sql_injection);
}

TEST_F(Hooks, SurviveALongJumpOutOfTheirWork) {
  using host::State;
  for (auto moment : {&State::on_output, &State::on_backtrace, &State::on_server}) {
    state() = {};
    host::globals().core.auto_globals_jit = 1;
    state().*moment = host::bail;
    const bool asked = moment != &State::on_backtrace;  // an include's stack is not
    EXPECT_EQ(host::comes_back([] { include("page.inc"); }), !asked);
    EXPECT_FALSE(host::comes_back([] { eval("page.inc"); }));
    EXPECT_EQ(agent.log.back(), "40000 execute_command|eval()'d code|command|page.inc|0|0");
    EXPECT_EQ(call("mysqli_query", {"select 1"}).type_info, IS_UNDEF);
    EXPECT_EQ(state().ran, Lines{});
    state().*moment = nullptr;
    EXPECT_EQ(include("other.inc"), host::compiled_code);
  }
}

}  // namespace
