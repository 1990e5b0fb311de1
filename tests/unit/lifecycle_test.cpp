#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "engine/common_util.h"
#include "watched_request.h"

using host::state;

static TestAgent agent;
static std::atomic<int> agent_asked;
static std::atomic<bool> agent_refused;

extern "C" __attribute__((visibility("default"))) IPhpHelp* create_php_help() {
  ++agent_asked;
  std::this_thread::sleep_for(std::chrono::milliseconds(5));  // first requests queue up meanwhile
  return agent_refused ? nullptr : &agent;
}

namespace {

// Each test loads the module anew, and unloads it as a graceful restart does.
class Lifecycle : public testing::Test {
 protected:
  Lifecycle() {
    host::reset();
    host::define_functions({"system"});
    agent_asked = 0;
  }
  ~Lifecycle() override {
    stop();
    EXPECT_EQ(dlclose(module_), 0);
    EXPECT_EQ(dlopen(MODULE_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "not unloaded";
  }
  void start() { EXPECT_EQ(entry_.module_startup_func(1, 0), SUCCESS); }
  void stop() { EXPECT_EQ(entry_.module_shutdown_func(1, 0), SUCCESS); }
  void begin() { EXPECT_EQ(entry_.request_startup_func(1, 0), SUCCESS); }
  template <typename Function>
  Function symbol(const char* name) {
    return reinterpret_cast<Function>(dlsym(module_, name));
  }

  void* module_ = dlopen(MODULE_FILE, RTLD_NOW | RTLD_GLOBAL);  // as PHP does
  zend_module_entry& entry_ = *symbol<zend_module_entry* (*)()>("get_module")();
  CCommonUtil& engine_ = *symbol<CCommonUtil* (*)()>("_ZN11CCommonUtil12get_instanceEv")();
  int (*release_)() = symbol<int (*)()>("message_queue_release");
};

TEST_F(Lifecycle, HooksComeAndGoButForAFirstInternalCallHook) {
  EXPECT_TRUE(entry_.size == sizeof(entry_) && entry_.zend_api == 20160303 && entry_.zts == 1);
  const auto compile_file = zend_compile_file;
  const auto compile_string = zend_compile_string;
  const auto earlier = [](zend_execute_data*, zval* result) { *result = host::value("earlier"); };
  for (const bool found : {false, true}) {
    if (found) zend_execute_internal = earlier;
    start();
    EXPECT_TRUE(zend_compile_file != compile_file && zend_compile_string != compile_string);
    const auto own = zend_execute_internal;
    const zval outcome = host::call("strlen", {"x"});
    EXPECT_EQ(zend_api::type_of(&outcome), found ? IS_STRING : IS_LONG);
    stop();
    EXPECT_TRUE(zend_compile_file == compile_file && zend_compile_string == compile_string);
    EXPECT_EQ(zend_execute_internal == own, !found);
  }
}

TEST_F(Lifecycle, HandlersAreWrappedWhateverTheirCaseAndPutBack) {
  const auto handler = [](const char* name) { return host::function(name).handler; };
  host::function("popen").type = 2;  // a script's own
  host::define_functions({"system", "EXEC", "popen", "systems"});
  const zif_handler own = handler("system");
  start();
  start();  // saves nothing anew
  for (const char* name : {"system", "EXEC"}) EXPECT_NE(handler(name), own) << name;
  for (const char* name : {"systems", "popen"}) EXPECT_EQ(handler(name), own) << name;
  stop();
  for (const char* name : {"system", "EXEC"}) EXPECT_EQ(handler(name), own) << name;
}

TEST_F(Lifecycle, AgentIsLookedForAtEachRequestUntilItGivesItsObject) {
  start();
  begin();
  EXPECT_EQ(state.log.at(1).substr(0, 20), "5 /nowhere/agent.so:");
  EXPECT_NE(release_(), 0);

  state.leaves_at = "log";
  EXPECT_FALSE(host::comes_back([this] { begin(); }));
  state.leaves_at = "";
  host::agent_library = "";  // installed while PHP runs
  agent_refused = true;
  begin();  // would wait for ever, had the jump left the lock behind
  EXPECT_EQ(engine_.php_help, nullptr);
  agent_refused = false;
  begin();
  begin();
  EXPECT_EQ(engine_.php_help, &agent);
  EXPECT_EQ(agent_asked, 2);
  EXPECT_EQ(state.log.size(), 3U);  // of the library that was not there
  EXPECT_EQ(release_(), 0);
}

TEST_F(Lifecycle, LibraryWithoutAFactoryIsNoAgent) {
  host::agent_library = "libm.so.6";
  start();
  begin();
  EXPECT_EQ(engine_.php_help, nullptr);
}

TEST_F(Lifecycle, AgentMeetsItsOwnClassOfAnExportedName) {
  host::agent_library = NAMESAKE_AGENT;
  start();
  begin();
  EXPECT_EQ(engine_.php_help, &agent);
}

TEST_F(Lifecycle, RequestDataIsSeenUntilTheLastCodeOfARequestHasRun) {
  host::agent_library = "";
  host::globals.core.auto_globals_jit = 1;
  state.server = {{"SERVER_NAME", "shop"}};
  const auto expect_seen = [](bool sent, bool server) {
    host::call("system", {"id"});
    EXPECT_EQ(agent.log.back().substr(0, 6), sent ? "20011|" : "0|exec");
    EXPECT_EQ(agent.record[0], server ? "shop" : "");
  };
  start();
  for (const bool memory_is_full : {false, true}) {
    zval* const arrays = host::globals.core.http_globals;
    arrays[TRACK_VARS_SERVER] = {};
    host::set_request_array(TRACK_VARS_GET, {{"q", "id"}});
    const zval sent = arrays[TRACK_VARS_GET];
    host::globals.executor.error_reporting = 7;
    begin();
    state.leaves_at = memory_is_full ? "server" : "";
    state.meanwhile = [] { EXPECT_EQ(host::globals.executor.error_reporting, 0); };
    EXPECT_TRUE(host::comes_back([this] { entry_.request_shutdown_func(1, 0); }));
    EXPECT_EQ(host::globals.executor.error_reporting, 7);
    state.leaves_at = "";
    EXPECT_EQ(sent.value.counted->refcount, 1U) << "or the engine would free it under our eyes";
    const int asked = state.server_requests;
    expect_seen(true, !memory_is_full);  // by a session handler, say
    host::set_request_array(TRACK_VARS_GET, "freed");
    host::globals.executor.valid_symbol_table = 0;
    expect_seen(true, !memory_is_full);  // by a stream wrapper's close method
    EXPECT_EQ(state.server_requests, asked);
    host::globals.executor.valid_symbol_table = 1;
    arrays[TRACK_VARS_SERVER] = {};
    expect_seen(false, false);  // another module's start of the next request
  }
}

// Thrown often, as a race is lost by chance only.
class FirstRequests : public Lifecycle, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Race, FirstRequests, testing::Range(0, 20));

TEST_P(FirstRequests, OnManyThreadsAskTheFactoryOnce) {
  start();
  host::agent_library = "";
  std::atomic<bool> go{false};
  std::atomic<int> complete{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&, serves = i % 2 == 0] {
      while (!go) std::this_thread::yield();
      if (serves) begin();
      while (engine_.php_help.load(std::memory_order_acquire) == nullptr) {
        std::this_thread::yield();
      }
      complete += engine_.sql_func_set.size() == 9 && engine_.cmd_collection.size() == 20 &&
                  state.log.empty();
    });
  }
  go = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(complete, 8);
  EXPECT_EQ(agent_asked, 1);
}

// With the local agent: the module's and the agent's parts at once.
TEST_F(Lifecycle, RequestsOnManyThreadsAreEachJudgedByTheirOwnData) {
  const std::string policy = testing::TempDir() + "vorgate-" + std::to_string(getpid());
  std::ofstream(policy) << "enforcement = 'block'\nlog.path = '/dev/null'\n";
  setenv("VORGATE_AGENT_CONFIG", policy.c_str(), 1);
  host::agent_library = AGENT_LIBRARY;
  start();
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (const char* sent : {"id", "di", "xid", "7", "id", "di", "xid", "7"}) {
    threads.emplace_back([&, sent, attacks = std::string(sent).find("id") != std::string::npos] {
      host::globals.executor.valid_symbol_table = 1;
      for (int i = 0; i < 50; ++i) {
        begin();
        host::set_request_array(TRACK_VARS_GET, {{"q", sent}});
        const zval result = host::call("system", {"id"});
        right += zend_api::type_of(&result) == (attacks ? IS_FALSE : IS_LONG);
        EXPECT_EQ(entry_.request_shutdown_func(1, 0), SUCCESS);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 400);
  std::remove(policy.c_str());
}

}  // namespace
