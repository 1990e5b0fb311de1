// An agent that answers by rules written into what it is asked about and into the
// environment, and writes down every question. With it, scenarios reach each
// branch of the module that depends on an agent's answer.
//
//   lookup_sql     true when the query holds "/*pattern*/"
//   match_sql      true when the query holds "/*value*/"
//   scan_webshell  true when the code holds "/*family*/"
//   scan_script    true when the code holds "/*shell*/"
//   send_upload    refuses a path that holds "refused"
// and by environment variables, which a script can set with putenv:
//   VORGATE_TEST_MODE    the answer of get_block_mode (1 where it is not set)
//   VORGATE_TEST_EXEMPT  where it is set, requests are exempt
// The log is the file that VORGATE_TEST_LOG names.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <nlohmann/json.hpp>

#include "vorgate/php_help.h"

namespace {

using Json = nlohmann::ordered_json;

void write_line(const Json& what) {
  Json line{{"pid", getpid()}};
  line.update(what);
  const std::string text = line.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n';
  const char* path = std::getenv("VORGATE_TEST_LOG");
  std::FILE* log = path != nullptr ? std::fopen(path, "a") : nullptr;
  if (log == nullptr) return;
  std::fwrite(text.data(), 1, text.size(), log);
  std::fclose(log);
}

template <typename Answer>
Answer answer(const char* question, const std::string& of, Answer value) {
  write_line({{"asked", question}, {"of", of}, {"answer", Json(value).dump()}});
  return value;
}

bool holds(const std::string& text, const char* mark) {
  return text.find(mark) != std::string::npos;
}

class TestAgent final : public IPhpHelp {
 public:
  int send_event(unsigned int code, const char* kind, const char* detail, const char* target,
                 const char* subject, int allowed, int plain, const MQ_HttpInfo*) override {
    const char* verdict = plain != 0 ? "plain" : allowed != 0 ? "allowed" : "stopped";
    write_line({{"event", "event"},
                {"code", code},
                {"verdict", verdict},
                {"kind", kind},
                {"detail", detail},
                {"target", target},
                {"subject", subject}});
    return 0;
  }
  int send_upload(const char* function, const char* path, const MQ_HttpInfo* info) override {
    return answer("send_upload",
                  std::string(function) + ", " + path + ", " + info->upload_file_name,
                  std::strstr(path, "refused") != nullptr ? 0 : 1);
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
    return answer("get_block_mode", std::to_string(category),
                  mode != nullptr ? std::atoi(mode) : 1);
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
