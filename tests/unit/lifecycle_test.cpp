#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "engine/common_util.h"
#include "host/host.h"
#include "host/test_agent.h"

using host::state;

namespace {

template <typename Function>
Function symbol(void* library, const char* name) {
  return reinterpret_cast<Function>(dlsym(library, name));
}

// Each test loads the module anew, and unloads it as a graceful restart does.
class Lifecycle : public testing::Test {
 protected:
  Lifecycle() {
    host::reset();
    host::define_functions(host::json::object());
    test_agent_->asked = 0;
    test_agent_->refuses = false;
  }
  ~Lifecycle() override {
    EXPECT_EQ(dlclose(module_), 0);
    EXPECT_EQ(dlopen(MODULE_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "not unloaded";
  }
  void start() { EXPECT_EQ(entry_.module_startup_func(1, 0), SUCCESS); }
  void stop() { EXPECT_EQ(entry_.module_shutdown_func(1, 0), SUCCESS); }
  void serve() {
    EXPECT_EQ(entry_.request_startup_func(1, 0), SUCCESS);
    EXPECT_EQ(entry_.request_shutdown_func(1, 0), SUCCESS);
  }
  IPhpHelp* agent() { return engine_.php_help; }

  void* agent_library_ = dlopen(AGENT_FILE, RTLD_NOW);
  TestAgentState* test_agent_ = symbol<TestAgentState* (*)()>(agent_library_, "test_agent_state")();
  void* module_ = dlopen(MODULE_FILE, RTLD_NOW);
  zend_module_entry& entry_ = *symbol<zend_module_entry* (*)()>(module_, "get_module")();
  CCommonUtil& engine_ = *symbol<CCommonUtil* (*)()>(module_, "_ZN11CCommonUtil12get_instanceEv")();
};

TEST_F(Lifecycle, EntryTellsTheEngineWhatTheModuleIs) {
  EXPECT_EQ(entry_.size, 168);
  EXPECT_EQ(entry_.zend_api, 20160303U);
  EXPECT_EQ(entry_.zend_debug, 0);
  EXPECT_EQ(entry_.zts, 1);
  EXPECT_STREQ(entry_.name, "vorgate");
  EXPECT_STREQ(entry_.version, "0.1.0");
  EXPECT_STREQ(entry_.build_id, "API20160303,TS");
  const void* const absent[] = {entry_.ini_entry, entry_.deps, entry_.functions,
                                entry_.globals_id_ptr, entry_.handle};
  for (const void* field : absent) EXPECT_EQ(field, nullptr);
  EXPECT_EQ(entry_.globals_size, 0U);
  EXPECT_TRUE(!entry_.post_deactivate_func && !entry_.globals_ctor && !entry_.globals_dtor);
  entry_.info_func(&entry_);
  EXPECT_EQ(state().output, "<table>vorgate support|enabled|</table>");
}

TEST_F(Lifecycle, HooksComeAndGoButForAFirstInternalCallHook) {
  const auto compile_file = zend_compile_file;
  const auto compile_string = zend_compile_string;
  start();
  EXPECT_NE(zend_compile_file, compile_file);
  EXPECT_NE(zend_compile_string, compile_string);
  const auto own_hook = zend_execute_internal;
  EXPECT_NE(own_hook, nullptr);
  stop();
  EXPECT_EQ(zend_compile_file, compile_file);
  EXPECT_EQ(zend_compile_string, compile_string);
  EXPECT_EQ(zend_execute_internal, own_hook);

  zend_execute_internal = execute_internal;
  start();
  EXPECT_EQ(zend_execute_internal, own_hook);
  stop();
  EXPECT_EQ(zend_execute_internal, execute_internal);
}

TEST_F(Lifecycle, HandlersAreWrappedWhateverTheirCaseAndPutBack) {
  const auto handler = [](const char* name) -> zif_handler& {
    return host::function(name).handler;
  };
  host::function("popen").type = 2;  // a script's own
  host::define_functions(host::json::parse(R"({"system": "system", "#": "copy", "EXEC": "EXEC",
    "rename": {"$": "undef"}, "popen": "popen", "systems": "systems", "exec": "exec"})"));
  const zif_handler own = handler("system");
  const zif_handler other = [](zend_execute_data*, zval*) {};
  handler("exec") = other;
  start();
  for (const char* name : {"system", "EXEC"}) EXPECT_NE(handler(name), own) << name;
  EXPECT_EQ(handler("exec"), handler("EXEC"));
  for (const char* name : {"systems", "popen", "copy"}) EXPECT_EQ(handler(name), own) << name;
  engine_.func_set["system"] = other;
  start();
  EXPECT_EQ(engine_.func_set, (decltype(engine_.func_set){{"exec", own}, {"system", other}}))
      << "the first one found stays";
  stop();
  EXPECT_EQ(handler("system"), other);
  EXPECT_EQ(handler("exec"), own);
  EXPECT_EQ(engine_.func_set.size(), 2U);
  handler("system") = own;
  host::function("popen").type = ZEND_INTERNAL_FUNCTION;
}

TEST_F(Lifecycle, MissingAgentIsLookedForAtEachRequest) {
  host::define_functions({{"system", "system"}});
  start();
  EXPECT_EQ(state().log.size(), 1U);
  serve();
  ASSERT_EQ(state().log.size(), 2U);
  EXPECT_EQ(state().log[1].substr(0, 20), "5 /nowhere/agent.so:");
  EXPECT_EQ(agent(), nullptr);
  EXPECT_EQ(engine_.cmd_collection.size(), 20U);
  EXPECT_EQ(engine_.sql_func_set.size(), 9U);
  EXPECT_NE(symbol<int (*)()>(module_, "message_queue_release")(), 0);
  EXPECT_EQ(host::call("system", {"id"}).value.lval, 42);

  host::agent_library = AGENT_FILE;  // installed while PHP runs
  serve();
  serve();
  EXPECT_EQ(agent(), &test_agent_->agent);
  EXPECT_EQ(test_agent_->asked, 1);
  EXPECT_EQ(state().log.size(), 2U);
  EXPECT_EQ(symbol<int (*)()>(module_, "message_queue_release")(), 0);
  stop();
}

TEST_F(Lifecycle, AgentThatGivesNoObjectIsAskedAgainQuietly) {
  host::agent_library = AGENT_FILE;
  test_agent_->refuses = true;
  start();
  EXPECT_EQ(test_agent_->asked, 0);
  serve();
  EXPECT_EQ(agent(), nullptr);
  test_agent_->refuses = false;
  serve();
  EXPECT_EQ(agent(), &test_agent_->agent);
  EXPECT_EQ(test_agent_->asked, 2);
  stop();
  EXPECT_EQ(state().log, host::Lines{});
}

TEST_F(Lifecycle, LibraryWithoutAFactoryIsNoAgent) {
  host::agent_library = "libm.so.6";
  start();
  serve();
  EXPECT_EQ(agent(), nullptr);
  EXPECT_EQ(state().log, host::Lines{});
  stop();
}

TEST_F(Lifecycle, RequestEndsWithItsShutDown) {
  host::agent_library = AGENT_FILE;
  host::define_functions({{"system", "system"}});
  host::set_request_array(TRACK_VARS_GET, {{"q", "id"}});
  start();
  for (int request = 0; request < 2; ++request) {
    entry_.request_startup_func(1, 0);
    host::call("system", {"id"});
    EXPECT_EQ(test_agent_->agent.log.back().substr(0, 6), "20011 ");
    const zend_refcounted_h& sent =
        *host::globals().core.http_globals[TRACK_VARS_GET].value.counted;
    const uint32_t holds = sent.refcount;
    entry_.request_shutdown_func(1, 0);
    EXPECT_EQ(sent.refcount, holds + 1);
    host::call("system", {"id"});  // by a session handler, say
    EXPECT_EQ(test_agent_->agent.log.back().substr(0, 6), "20011 ");
  }
  stop();
}

TEST_F(Lifecycle, LogThatLeavesByLongJumpLeavesTheModuleUsable) {
  start();
  state().on_log = host::bail;
  EXPECT_FALSE(host::comes_back([this] { entry_.request_startup_func(1, 0); }));
  state().on_log = nullptr;
  host::agent_library = AGENT_FILE;
  serve();  // would wait for ever, had the jump left the lock behind
  EXPECT_EQ(agent(), &test_agent_->agent);
  stop();
}

// Thrown often, as a race is lost by chance only.
class FirstRequests : public Lifecycle, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Race, FirstRequests, testing::Range(0, 20));

TEST_P(FirstRequests, OnManyThreadsAskTheFactoryOnce) {
  start();
  host::agent_library = AGENT_FILE;
  std::atomic<bool> go{false};
  std::atomic<int> complete{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, serves = i % 2 == 0] {
      host::new_request();
      while (!go) std::this_thread::yield();
      if (serves) entry_.request_startup_func(1, 0);
      while (engine_.php_help.load(std::memory_order_acquire) == nullptr) {
        std::this_thread::yield();
      }
      complete += engine_.sql_func_set.size() == 9 && engine_.cmd_collection.count("whoami") == 1 &&
                  engine_.cmd_collection.size() == 20 && state().log.empty();
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(complete, 8);
  EXPECT_EQ(test_agent_->asked, 1);
  stop();
}

}  // namespace
