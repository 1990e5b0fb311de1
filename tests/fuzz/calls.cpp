// Watched calls, queries and compilations in hostile requests, judged for an agent
// that checks what it is told.

#include <algorithm>
#include <cstring>

#include "agent/sql/sql_injection.h"
#include "agent/sql/sql_rules.h"
#include "fuzz/line.h"
#include "module/hooks.h"
#include "module/watched.h"
#include "module/wrappers.h"

using fuzz::json;
using host::state;

namespace {

class Agent final : public IPhpHelp {
 public:
  int mode = 0, upload_answer = 1;
  bool exempt = false, recognises = false;
  int events = 0, refused = 0;

  int send_event(unsigned code, const char* kind, const char* detail, const char* target,
                 const char* subject, int allowed, int plain, const MQ_HttpInfo* info) override {
    HOLDS(plain == (code == 0) && allowed == (code == 0 || mode == 0));
    ++events;
    refused += allowed == 0;
    fuzz::check_line({code, kind, detail, target, subject, allowed != 0, info});
    return 0;
  }
  int send_upload(const char* function, const char* path, const MQ_HttpInfo* info) override {
    ++events;
    refused += upload_answer == 0;
    fuzz::check_line({std::nullopt, "create", function, "file", path, true, info});
    return upload_answer;
  }
  bool match_sql(const char* query, const char* values) override {
    HOLDS(std::strlen(query) <= 4096);
    return vorgate::sql::is_injected(query, values);
  }
  void reserved_operation() override { HOLDS(false); }
  bool lookup_sql(const char* query, std::string* detail) override {
    return vorgate::sql::shipped_rules().match(vorgate::sql::normalise(query), detail);
  }
  int get_block_mode(int category) override {
    HOLDS(category == 2 || category == 3 || category == 6 || category == 7 || category == 8);
    return mode;
  }
  bool is_white_listed(const char* server, const char* uri, const char* address,
                       const char* forwarded) override {
    HOLDS(server != nullptr && uri != nullptr && address != nullptr && forwarded != nullptr);
    return exempt;
  }
  int scan_script(const char* code, int) override {
    return recognises && std::strlen(code) > 0 ? 1 : 0;
  }
  bool scan_webshell(const std::string& code, std::string* family) override {
    *family = code.substr(0, 8);
    return recognises && code.size() % 2 == 0;
  }
};

const char* const queries[] = {"mysqli_query", "mysql_query", "query"};
const char* const kinds[] = {"eval()'d code", "assert code", "regexp code", "mbregex replace",
                             "runtime-created function"};
const char* const xml = "DOMDocument::loadXML";
const char* const moments[] = {"", "backtrace", "conversion", "handler", "output", "server"};

// Once, on the thread that stays: the host's functions with the wrappers in place.
host::Lines make_functions() {
  host::reset();
  host::Lines names;
  for (const WatchedFunction& function : watched_functions) names.emplace_back(function.name);
  names.insert(names.end(), std::begin(queries), std::end(queries));
  host::define_functions(names);
  static zend_class_entry pdo{};
  pdo.name = host::value("PDO").value.str;
  host::function("query").scope = &pdo;
  patch_handler();
  return names;
}

void serve(fuzz::Input& input, const host::Lines& functions, Agent& agent, CCommonUtil& engine) {
  hook_zend_api();
  const std::size_t what = input.choice(functions.size() + 3);
  agent.mode = static_cast<int>(input.choice(3));
  const std::string_view moment = moments[input.choice(std::size(moments))];
  json arguments = json::array();
  for (std::size_t count = input.choice(5); count > 0; --count) arguments.push_back(input.value());
  for (const int track :
       {TRACK_VARS_GET, TRACK_VARS_POST, TRACK_VARS_COOKIE, TRACK_VARS_SERVER, TRACK_VARS_FILES}) {
    host::set_request_array(track, input.entries());
  }
  const std::string text = input.text(), object = input.text(), type = input.text();
  for (std::size_t frames = input.choice(8); frames > 0; --frames) {
    state.frames.push_back({{"function", input.text()}, {"args", input.entries(1)}});
  }
  agent.upload_answer = input.flag() ? 0 : 1;
  agent.exempt = input.flag();
  agent.recognises = input.flag();
  if (input.flag()) state.object_text = object.c_str();
  host::globals.core.auto_globals_jit = input.flag() ? 1 : 0;
  host::globals.sapi.request_info.content_type = type.c_str();
  state.leaves_at = moment;

  bool came_back = true, refused = false;
  if (what < functions.size()) {
    // The function's own handler runs unless the call is refused.
    const zval result = host::call(functions[what], arguments, input.flag());
    const unsigned char kind = zend_api::type_of(&result);
    HOLDS(kind != IS_LONG ||
          (result.value.lval == 42 && state.ran == host::Lines{functions[what]}));
    HOLDS(kind == IS_LONG || kind == IS_UNDEF || state.ran.empty());
    came_back = kind != IS_UNDEF;
    refused = came_back && kind != IS_LONG;
  } else {
    const std::string kind = kinds[input.choice(std::size(kinds))];
    std::string name = input.flag()                   ? object
                       : what == functions.size() + 2 ? xml
                                                      : "f(1) : " + kind;
    std::string message;
    zval source = host::value(text);
    zend_file_handle file{};
    file.filename = source.value.str->val;
    came_back = host::comes_back([&] {
      if (what == functions.size()) {
        refused = zend_compile_file(&file, 2) == nullptr;
      } else if (what == functions.size() + 1) {
        refused = zend_compile_string(&source, name.data()) == nullptr;
      } else {
        refused = engine.check_xxe(name, message);
        zend_api::resume_bailout();
      }
    });
  }
  HOLDS(came_back || !moment.empty());
  HOLDS(!refused || agent.refused > 0);
  HOLDS(agent.events <= 2 && (!agent.exempt || agent.events == 0));
  if (came_back && agent.refused > 0 && agent.mode < 2) HOLDS(refused);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const host::Lines functions = make_functions();
  Agent agent;
  fuzz::request(&agent, [&](CCommonUtil& engine) {
    fuzz::Input input(data, size);
    serve(input, functions, agent, engine);
  });
  return 0;
}
