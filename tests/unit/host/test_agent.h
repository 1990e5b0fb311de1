#ifndef VORGATE_TESTS_HOST_TEST_AGENT_H
#define VORGATE_TESTS_HOST_TEST_AGENT_H

// An agent that answers as it is told and writes down what it is asked.

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

#include "vorgate/php_help.h"

class TestAgent final : public IPhpHelp {
 public:
  int mode = 0;
  int upload_answer = 1;
  int script_answer = 0;
  bool white_listed = false;
  bool sql_pattern = false;
  bool sql_values = false;
  std::string family;

  std::vector<std::string> log;     // in order: modes asked, events, uploads, SQL tests
  std::vector<std::string> scans;   // of code
  std::vector<std::string> exempt;  // what the white list was asked
  std::vector<std::string> record;  // the request's texts, of the last event or upload

  int send_event(unsigned int code, const char* kind, const char* detail, const char* target,
                 const char* subject, int allowed, int plain, const MQ_HttpInfo* info) override {
    char number[16];
    std::snprintf(number, sizeof(number), "%x ", code);
    note(number, {kind, detail, target, subject, std::to_string(allowed), std::to_string(plain)});
    keep(*info);
    return 7;
  }
  int send_upload(const char* function, const char* path, const MQ_HttpInfo* info) override {
    note("upload ", {function, path});
    keep(*info);
    return upload_answer;
  }
  bool match_sql(const char* query, const char* values) override {
    note("match ", {query, values});
    return sql_values;
  }
  void reserved_operation() override { note("reserved", {}); }
  bool lookup_sql(const char* query, std::string* detail) override {
    note("lookup ", {query});
    if (sql_pattern) *detail = "union";
    return sql_pattern;
  }
  int get_block_mode(int category) override {
    note("mode ", {std::to_string(category)});
    return mode;
  }
  bool is_white_listed(const char* server, const char* uri, const char* address,
                       const char* forwarded) override {
    exempt = {server, uri, address, forwarded};
    return white_listed;
  }
  int scan_script(const char* code, int flag) override {
    scans.push_back("script " + std::to_string(std::string(code).size()) + " " +
                    std::to_string(flag));
    return script_answer;
  }
  bool scan_webshell(const std::string& code, std::string* found) override {
    scans.push_back("webshell " + std::to_string(code.size()));
    if (!family.empty()) *found = family;
    return !family.empty();
  }

 private:
  void note(std::string line, const std::vector<std::string>& texts) {
    for (std::size_t i = 0; i < texts.size(); ++i) line += (i == 0 ? "" : "|") + texts[i];
    log.push_back(line);
  }
  void keep(const MQ_HttpInfo& info) {
    record.assign(&info.server_name, &info.server_name + sizeof(info) / sizeof(const char*));
  }
};

// What the library built from test_agent.cpp holds; test_agent_state() gives it.
struct TestAgentState {
  std::atomic<int> asked{0};  // calls of the factory
  std::atomic<bool> refuses{false};
  TestAgent agent;
};

#endif  // VORGATE_TESTS_HOST_TEST_AGENT_H
