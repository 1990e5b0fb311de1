// Watched calls, queries and compilations in hostile requests, judged for an agent
// that checks what it is told.

#include <algorithm>
#include <cstring>
#include <thread>

#include "agent/base64.h"
#include "agent/event_json.h"
#include "agent/sql/sql_injection.h"
#include "agent/sql/sql_rules.h"
#include "engine/common_util.h"
#include "fuzz/input.h"
#include "host/host.h"
#include "module/hooks.h"
#include "module/watched.h"
#include "module/wrappers.h"

using host::json;
using host::state;

namespace {

// A line of the event log must give every byte of its texts back.
void check_line(const vorgate::agent::Event& event) {
  const std::string line = event_line(event, 0);
  HOLDS(line.find('\n') == line.size() - 1);
  HOLDS(std::all_of(line.begin(), line.end() - 1, [](char c) { return c >= ' ' && c <= '~'; }));
  const json document = json::parse(line);
  const json raw = document.value("raw", json::object());
  const auto check = [&](const json& object, const std::string& name, const char* text,
                         const std::string& prefix = "") {
    HOLDS(raw.contains(prefix + name) ? raw[prefix + name] == vorgate::agent::to_base64(text)
                                      : object[name] == text);
  };
  check(document, "kind", event.kind);
  check(document, "detail", event.detail);
  check(document, "target", event.target);
  check(document, "subject", event.subject);
  // The record's texts stand in its order.
  const char* const* text = &event.info->server_name;
  for (const auto& field : document["request"].items()) {
    check(document["request"], field.key(), *text++, "request.");
  }
  HOLDS(document["request"].size() == sizeof(*event.info) / sizeof(const char*));
}

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
    check_line({code, kind, detail, target, subject, allowed != 0, info});
    return 0;
  }
  int send_upload(const char* function, const char* path, const MQ_HttpInfo* info) override {
    ++events;
    refused += upload_answer == 0;
    check_line({std::nullopt, "create", function, "file", path, true, info});
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
  int scan_script(const char* code, int) override { return recognises && *code != 0 ? 1 : 0; }
  bool scan_webshell(const std::string& code, std::string* family) override {
    *family = code.substr(0, 8);
    return recognises && code.size() % 2 == 0;
  }
};

json entries(fuzz::Input& input, int depth = 2);

// As host.h writes PHP values.
json value(fuzz::Input& input, int depth = 2) {
  const json others[] = {{{"$", "resource"}},
                         {{"$", "object"}},
                         {{"$", "undef"}},
                         nullptr,
                         true,
                         10002,
                         -1,
                         1LL << 33,
                         10002.5};
  const std::size_t kind = input.choice(std::size(others) + 2);
  if (kind == 0) return input.text_or_earlier();
  if (kind > 1) return others[kind - 2];
  return depth > 0 ? entries(input, depth - 1) : json::array();
}

json entries(fuzz::Input& input, int depth) {
  json array = json::object();
  for (std::size_t count = input.choice(8); count > 0; --count) {
    const std::string name = input.text_or_earlier();
    array[name == "$" ? "" : name] = value(input, depth);
  }
  return array;
}

const char* const queries[] = {"mysqli_query", "mysql_query", "query"};
const char* const kinds[] = {"eval()'d code", "assert code", "regexp code", "mbregex replace",
                             "runtime-created function"};
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

void serve(fuzz::Input& input, const host::Lines& functions, CCommonUtil& engine) {
  Agent agent;
  host::reset();
  engine.init();  // fills the tables
  engine.php_help = &agent;
  zend_api::note_request_start();
  hook_zend_api();
  const std::size_t what = input.choice(functions.size() + 3);
  agent.mode = static_cast<int>(input.choice(3));
  // Three arguments suffice for every function. Without choices all are the text that the
  // request holds.
  json arguments = json::array();
  for (std::size_t count = 3 - input.choice(4); count > 0; --count) {
    arguments.push_back(value(input));
  }
  json sent = entries(input);
  sent["q"] = value(input);
  const int tracks[] = {TRACK_VARS_GET, TRACK_VARS_POST, TRACK_VARS_COOKIE};
  host::set_request_array(tracks[input.choice(3)], sent);
  host::set_request_array(tracks[input.choice(3)], entries(input));
  for (std::size_t frames = input.choice(8); frames > 0; --frames) {
    state.frames.push_back({{"function", input.text_or_earlier()}, {"args", entries(input, 1)}});
  }
  host::set_request_array(TRACK_VARS_FILES, entries(input));
  state.server = entries(input);
  host::globals.core.auto_globals_jit = input.flag() ? 0 : 1;
  const std::string object = input.text_or_earlier(), type = input.text_or_earlier();
  const std::string method = input.flag() ? type : "POST";
  std::string query = input.text_or_earlier();
  host::globals.sapi.request_info.request_method = method.c_str();
  host::globals.sapi.request_info.query_string = query.data();
  host::globals.sapi.request_info.content_type = type.c_str();
  agent.upload_answer = input.flag() ? 0 : 1;
  agent.exempt = input.flag();
  agent.recognises = input.flag();
  if (input.flag()) state.object_text = object.c_str();
  state.leaves_at = moments[input.choice(std::size(moments))];

  bool came_back = true, refused = false;
  if (what < functions.size()) {
    // The function's own handler runs unless the call is refused.
    const zval result = host::call(functions[what], arguments, input.flag());
    const unsigned char kind = zend_api::type_of(&result);
    const host::Lines alone{functions[what]};
    HOLDS(kind != IS_LONG || (result.value.lval == 42 && state.ran == alone));
    HOLDS(kind == IS_LONG || kind == IS_UNDEF || state.ran.empty());
    came_back = kind != IS_UNDEF;
    refused = came_back && kind != IS_LONG;
  } else {
    std::string name = input.flag() ? object : std::string("f : ") + kinds[input.choice(5)];
    std::string message;
    zval source = host::value(input.text_or_earlier());
    zend_file_handle file{};
    file.filename = source.value.str->val;
    came_back = host::comes_back([&] {
      if (what == functions.size()) {
        refused = zend_compile_file(&file, 2) == nullptr;
      } else if (what == functions.size() + 1) {
        refused = zend_compile_string(&source, name.data()) == nullptr;
      } else {
        zend_api::hold_up_bailouts();
        refused = engine.check_xxe("DOMDocument::loadXML", message);
        zend_api::resume_bailout();
      }
    });
  }
  HOLDS(came_back || !state.leaves_at.empty());
  HOLDS(!refused || agent.refused > 0);
  HOLDS(agent.events <= 2 && (!agent.exempt || agent.events == 0));
  if (came_back && agent.refused > 0 && agent.mode < 2) HOLDS(refused);
  HOLDS(state.backtraces == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const host::Lines functions = make_functions();
  // On a thread of its own: what the host makes goes with it.
  std::thread([&] {
    fuzz::Input input(data, size);
    serve(input, functions, *CCommonUtil::get_instance());
  }).join();
  return 0;
}
