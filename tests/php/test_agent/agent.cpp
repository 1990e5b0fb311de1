// An agent that answers by rules and writes down what it is asked; events it writes
// as the local agent does. With it, scenarios reach each branch of the module that
// depends on an agent's answer.
//   lookup_sql     true when the query holds "/*pattern*/"
//   match_sql      true when the query holds "/*value*/"
//   scan_webshell  true when the code holds "/*family*/"
//   scan_script    true when the code holds "/*shell*/"
//   send_upload    refuses a path that holds "refused"
// By environment variables, which a script can set with putenv: VORGATE_TEST_MODE is
// the answer of get_block_mode (else 1), and with VORGATE_TEST_EXEMPT requests are
// exempt. VORGATE_TEST_LOG names the log.

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

#include "agent/event_json.h"
#include "vorgate/php_help.h"

namespace {

using Json = nlohmann::ordered_json;

void write_line(const std::string& line) {
  std::ofstream(std::getenv("VORGATE_TEST_LOG"), std::ios::app) << line;
}

template <typename Answer>
Answer answer(const char* question, const std::string& of, Answer value) {
  const Json line{
      {"pid", getpid()}, {"asked", question}, {"of", of}, {"answer", Json(value).dump()}};
  write_line(line.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n');
  return value;
}

bool holds(const std::string& text, const char* mark) {
  return text.find(mark) != std::string::npos;
}

class TestAgent final : public IPhpHelp {
 public:
  int send_event(unsigned int code, const char* kind, const char* detail, const char* target,
                 const char* subject, int allowed, int, const MQ_HttpInfo* info) override {
    write_line(
        vorgate::agent::event_line({code, kind, detail, target, subject, allowed != 0, info}, 0));
    return 0;
  }
  int send_upload(const char* function, const char* path, const MQ_HttpInfo*) override {
    return answer("send_upload", std::string(function) + ", " + path,
                  holds(path, "refused") ? 0 : 1);
  }
  bool match_sql(const char* query, const char* values) override {
    return answer("match_sql", std::string(query) + ", " + values, holds(query, "/*value*/"));
  }
  void reserved_operation() override {}
  bool lookup_sql(const char* query, std::string* detail) override {
    const bool found = holds(query, "/*pattern*/");
    if (found) *detail = "the pattern found";
    return answer("lookup_sql", query, found);
  }
  int get_block_mode(int category) override {
    const char* mode = std::getenv("VORGATE_TEST_MODE");
    const int value = mode != nullptr ? std::atoi(mode) : 1;
    return answer("get_block_mode", std::to_string(category), value);
  }
  bool is_white_listed(const char*, const char*, const char*, const char*) override {
    const bool exempt = std::getenv("VORGATE_TEST_EXEMPT") != nullptr;
    return exempt ? answer("is_white_listed", "", true) : false;
  }
  int scan_script(const char* code, int flag) override {
    return answer("scan_script", std::string(code) + ", " + std::to_string(flag),
                  holds(code, "/*shell*/") ? 2 : 0);
  }
  bool scan_webshell(const std::string& code, std::string* family) override {
    const bool found = holds(code, "/*family*/");
    if (found) *family = "Family";
    return found ? answer("scan_webshell", code, true) : false;
  }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) IPhpHelp* create_php_help() {
  static TestAgent agent;
  return &agent;
}
