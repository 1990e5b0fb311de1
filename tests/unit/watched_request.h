#ifndef VORGATE_TESTS_WATCHED_REQUEST_H
#define VORGATE_TESTS_WATCHED_REQUEST_H

// An agent that answers as it is told and writes down what it is asked.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "engine/common_util.h"
#include "host/host.h"
#include "vorgate/php_help.h"

class TestAgent final : public IPhpHelp {
 public:
  int mode = 1, upload_answer = 1, script_answer = 0;
  bool white_listed = false, sql_values = false;
  // What is recognised in a query and in code; empty: nothing.
  std::string sql_pattern, family;

  host::Lines log;     // in order: modes asked, events, uploads, SQL tests
  host::Lines exempt;  // what the white list was asked
  host::Lines record;  // the request's texts, of the last event or upload

  int send_event(unsigned int code, const char* kind, const char* detail, const char* target,
                 const char* subject, int allowed, int plain, const MQ_HttpInfo* info) override {
    note(code, kind, detail, target, subject, allowed, plain);
    record.assign(&info->server_name, &info->server_name + sizeof(*info) / sizeof(const char*));
    return 7;
  }
  int send_upload(const char* function, const char* path, const MQ_HttpInfo* info) override {
    note("upload", function, path);
    record.assign(&info->server_name, &info->server_name + sizeof(*info) / sizeof(const char*));
    return upload_answer;
  }
  bool match_sql(const char* query, const char* values) override {
    note("match", query, values);
    return sql_values;
  }
  void reserved_operation() override {}
  bool lookup_sql(const char* query, std::string* detail) override {
    note("lookup", query);
    *detail = sql_pattern;
    return !sql_pattern.empty();
  }
  int get_block_mode(int category) override {
    note("mode", category);
    return mode;
  }
  bool is_white_listed(const char* server, const char* uri, const char* address,
                       const char* forwarded) override {
    exempt = {server, uri, address, forwarded};
    return white_listed;
  }
  int scan_script(const char*, int flag) override { return flag == 1 ? script_answer : 0; }
  bool scan_webshell(const std::string& code, std::string* found) override {
    *found = family;
    return !family.empty() && !code.empty();
  }

 private:
  template <typename First, typename... Texts>
  void note(const First& first, const Texts&... texts) {
    std::ostringstream line;
    line << std::hex << first;
    ((line << '|' << texts), ...);
    log.push_back(line.str());
  }
};

// A request under way in a module whose agent is `agent`.
class WatchedRequest : public testing::Test {
 protected:
  WatchedRequest() {
    host::reset();
    engine.init();  // fills the tables
    zend_api::note_request_start();
    engine.php_help = &agent;
  }
  ~WatchedRequest() override { EXPECT_EQ(host::state.backtraces, 0); }
  static host::json cases(const std::string& file) {
    return host::json::parse(std::ifstream(TEST_DATA "/" + file));
  }

  TestAgent agent;
  CCommonUtil& engine = *CCommonUtil::get_instance();
};

#endif  // VORGATE_TESTS_WATCHED_REQUEST_H
