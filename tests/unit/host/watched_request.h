#ifndef VORGATE_TESTS_HOST_WATCHED_REQUEST_H
#define VORGATE_TESTS_HOST_WATCHED_REQUEST_H

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "engine/common_util.h"
#include "host/host.h"
#include "host/test_agent.h"

// A request under way in a module whose agent is `agent`.
class WatchedRequest : public testing::Test {
 protected:
  WatchedRequest() {
    host::reset();
    engine.php_help = nullptr;
    engine.init();  // fills the tables
    zend_api::note_request_start();
    engine.php_help = &agent;
  }
  ~WatchedRequest() override {
    EXPECT_EQ(host::state().backtraces, 0);
    engine.php_help = nullptr;
  }
  static void get(const std::string& value) {
    host::set_request_array(TRACK_VARS_GET, {{"q", value}});
  }
  static host::json cases(const char* file) {
    std::ifstream data(std::string(TEST_DATA "/") + file);
    return host::json::parse(data);
  }

  TestAgent agent;
  CCommonUtil& engine = *CCommonUtil::get_instance();
};

#endif  // VORGATE_TESTS_HOST_WATCHED_REQUEST_H
