#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/categories.h"
#include "agent/event_json.h"
#include "agent/file_io.h"
#include "engine/common_util.h"
#include "host/host.h"
#include "module/watched.h"
#include "tool/commands.h"
#include "tool/files.h"
#include "tool/safe_text.h"
#include "tool/try_request.h"
#include "vorgate/php_help.h"

// Where the engine begins with the module, which is linked in.
extern "C" zend_module_entry* get_module() noexcept;

namespace vorgate::agent::tool {
namespace {

using host::json;

// One question that was asked on the way, and its answer.
struct Test {
  std::string name;
  std::string answer;
  std::string words;
};

std::string shown(std::string_view text) { return visible(text, Charset::ascii); }

// The policy as it was read.
class FixedPolicy final : public PolicySource {
 public:
  explicit FixedPolicy(PolicyFiles& files)
      : policy_{*files.policy, std::move(files.sql_rules), std::move(files.script_rules)} {}

 private:
  const PolicyInForce* hold() noexcept override { return &policy_; }
  void release() noexcept override {}

  const PolicyInForce policy_;
};

// A creation inside a chain gives two events: the finding comes last.
class LastEvent final : public EventSink {
 public:
  void record(const std::string&, const Event& event) noexcept override {
    line = event_line(event, 0);
  }

  std::string line;
};

// The agent under the chosen policy, asked as the module asks it in PHP, and listened
// to.
class WatchedAgent final : public IPhpHelp {
 public:
  explicit WatchedAgent(PolicyFiles& files) : policy_(*files.policy), source_(files) {}

  int send_event(unsigned int code, const char* kind, const char* detail, const char* target,
                 const char* subject, int allowed, int plain, const MQ_HttpInfo* info) override {
    return agent_.send_event(code, kind, detail, target, subject, allowed, plain, info);
  }
  int send_upload(const char* function, const char* path, const MQ_HttpInfo* info) override {
    const int answer = agent_.send_upload(function, path, info);
    note("creation", answer == 0 ? "refused" : "allowed", "the agent's answer");
    return answer;
  }
  bool match_sql(const char* query, const char* values) override {
    const bool found = agent_.match_sql(query, values);
    note("SQL values", found ? "yes" : "no",
         found ? "a value of the request changes what the query is"
               : "no value of the request changes what the query is");
    return found;
  }
  void reserved_operation() override {}
  bool lookup_sql(const char* query, std::string* detail) override {
    const bool found = agent_.lookup_sql(query, detail);
    note("SQL patterns", found ? "yes" : "no", found ? "rule " + *detail : "no rule matches");
    return found;
  }
  int get_block_mode(int category) override {
    const int mode = agent_.get_block_mode(category);
    std::string name = "category " + std::to_string(category);
    for (const NamedCategory& each : categories) {
      if (static_cast<int>(each.category) == category) name = each.name;
    }
    note("policy", mode != 0 ? "block" : "report", name);
    return mode;
  }
  bool is_white_listed(const char* server_name, const char* request_uri, const char* remote_addr,
                       const char* forwarded_for) override {
    exempt = agent_.is_white_listed(server_name, request_uri, remote_addr, forwarded_for);
    std::string words = "no entry holds for this request";
    if (policy_.enforcement == Enforcement::off) words = "enforcement is off";
    for (std::size_t i = 0; exempt && i < policy_.allow.size(); ++i) {
      Policy one = policy_;
      one.allow = {policy_.allow[i]};
      if (!one.exempts(server_name, request_uri, remote_addr, forwarded_for)) continue;
      words = "allow entry " + std::to_string(i + 1) + " of " +
              std::to_string(policy_.allow.size()) + " holds";
      break;
    }
    note("white list", exempt ? "yes" : "no", words);
    return exempt;
  }
  int scan_script(const char* code, int flag) override {
    const int found = agent_.scan_script(code, flag);
    note("long script", found != 0 ? "yes" : "no",
         found != 0 ? "looks like a web shell" : "looks like no web shell");
    return found;
  }
  bool scan_webshell(const std::string& code, std::string* family) override {
    const bool found = agent_.scan_webshell(code, family);
    note("web shell", found ? "yes" : "no", found ? "family " + *family : "no known family");
    return found;
  }

  void note(std::string name, std::string answer, std::string words) {
    tests.push_back({std::move(name), std::move(answer), std::move(words)});
  }

  std::vector<Test> tests;
  bool exempt = false;

  // What the agent told, without what differs from one time to the next.
  std::optional<json> event() const {
    if (told_.line.empty()) return std::nullopt;
    json event = json::parse(told_.line);
    for (const char* key : {"time", "host", "pid", "tid"}) event.erase(key);
    return event;
  }

 private:
  const Policy policy_;
  FixedPolicy source_;
  LastEvent told_;
  Agent agent_{source_, told_};
};

// --- The calls that can be tried --------------------------------------------

// What the engine compiles: how the source's name ends, or null for a file, and
// what the engine puts around the text.
struct Compiled {
  const char* name;
  const char* source_name;
  const char* head;
  const char* tail;
};
constexpr std::array<Compiled, 6> compiled{{
    {"include", nullptr, "", ""},
    {"require", nullptr, "", ""},
    {"eval", "(1) : eval()'d code", "", ""},
    {"assert", "(1) : assert code", "return ", ";"},
    {"create_function", "(1) : runtime-created function", "function __lambda_func(){", "}"},
    {"mb_ereg_replace", "(1) : mbregex replace", "return ", ";"},
}};

const std::set<std::string>& query_functions() { return CCommonUtil::get_instance()->sql_func_set; }

std::string known_sinks() {
  std::string names;
  const auto add = [&names](std::string_view name) {
    names += names.empty() ? "" : ", ";
    names += name;
  };
  for (const WatchedFunction& function : watched_functions) add(function.name);
  for (const Compiled& each : compiled) add(each.name);
  for (const std::string& name : query_functions()) add(name);
  return names;
}

// The arguments of a call of this function in which `value` is the one that the
// module looks at, and the others are such that it does.
json arguments_for(const WatchedFunction& function, const std::string& value,
                   const std::string& mode) {
  json arguments = json::array();
  for (std::size_t i = 0; i < function.format.size(); ++i) {
    switch (function.format[i]) {
      case 's':
        arguments.push_back(i == function.subject ? value : mode);
        break;
      case 'l':
        arguments.push_back(curl_option_url);
        break;
      default:
        arguments.push_back(json::object({{"$", "resource"}}));
    }
  }
  return arguments;
}

// "Class::function(text)" as a frame of the stack.
json frame(const std::string& line) {
  const std::size_t open = std::min(line.find('('), line.size());
  const std::size_t colons = line.substr(0, open).find("::");
  const std::size_t start = colons == line.npos ? 0 : colons + 2;
  json frame{{"function", line.substr(start, open - start)}};
  if (start != 0) frame["class"] = line.substr(0, colons);
  std::string text = line.substr(std::min(open + 1, line.size()));
  if (!text.empty() && text.back() == ')') text.pop_back();
  if (!text.empty()) frame["args"] = json::array({text});
  return frame;
}

// --- The command ------------------------------------------------------------

struct Options {
  std::string sink;
  std::string value;
  std::string mode = "r";
  std::string policy = policy_path();
  std::string request;
  std::string uri;
  std::string server_name;
  std::string client;
  std::string forwarded_for;
  std::vector<std::string> get, post, cookies, headers, stack;
  bool as_json = false;
};

// The whole of a file; "-" is standard input.
std::string contents(const std::string& path) {
  const Descriptor file(path == "-" ? dup(STDIN_FILENO)
                                    : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  std::string text;
  if (!file || !read_all(file.get(), SIZE_MAX - 1, &text)) {
    throw CLI::ValidationError(path +
                               " cannot be read; name a file, or write @@ for a value that "
                               "begins with @");
  }
  return text;
}

std::string value_of(const std::string& given) {
  if (given == "-") return contents(given);
  if (given.substr(0, 2) == "@@") return given.substr(1);
  return given.substr(0, 1) == "@" ? contents(given.substr(1)) : given;
}

TriedRequest request_of(const Options& options) {
  TriedRequest request;
  if (!options.request.empty()) request.read(contents(options.request));
  if (!options.uri.empty()) request.set_uri(options.uri);
  using Add = void (TriedRequest::*)(const std::string&, const std::string&);
  const auto add_all = [&](const std::vector<std::string>& pairs, Add add) {
    for (const std::string& pair : pairs) {
      const std::size_t equal = std::min(pair.find('='), pair.size());
      (request.*add)(pair.substr(0, equal),
                     value_of(pair.substr(std::min(equal + 1, pair.size()))));
    }
  };
  add_all(options.get, &TriedRequest::add_get);
  add_all(options.post, &TriedRequest::add_post);
  add_all(options.cookies, &TriedRequest::add_cookie);
  for (const std::string& header : options.headers) request.add_header(header);
  if (!options.forwarded_for.empty()) {
    request.add_header("X-Forwarded-For: " + options.forwarded_for);
  }
  request.server_name = options.server_name;
  if (!options.client.empty()) request.client = options.client;
  return request;
}

// Lends the request to the engine that the module meets. The texts must outlive it.
struct EngineTexts {
  std::string query, content_type, script = "/index.php";
};
void lend(const TriedRequest& request, EngineTexts& texts) {
  sapi_request_info& info = host::globals.sapi.request_info;
  texts.query = request.query();
  texts.content_type = request.header("content-type");
  info.request_method = request.method().c_str();
  info.query_string = texts.query.data();
  info.cookie_data = const_cast<char*>(request.cookie_text().c_str());
  info.request_uri = const_cast<char*>(request.uri().c_str());
  info.content_type = texts.content_type.c_str();
  info.path_translated = texts.script.data();
  host::set_request_array(TRACK_VARS_GET, request.get());
  host::set_request_array(TRACK_VARS_POST, request.post());
  host::set_request_array(TRACK_VARS_COOKIE, request.cookies());
  host::globals.core.auto_globals_jit = 1;
  host::state.server = request.server();
}

// Makes the call. Answers whether it would have run.
bool runs(const Options& options, const std::string& value) {
  for (const Compiled& each : compiled) {
    if (options.sink != each.name) continue;
    zend_op_array* result = nullptr;
    host::comes_back([&] {
      if (each.source_name == nullptr) {
        zend_file_handle file{};
        const zval name = host::value(value);
        file.filename = static_cast<const char*>(name.value.str->val);
        result = zend_compile_file(&file, 2);
      } else {
        zval code = host::value(each.head + value + each.tail);
        const zval name = host::value(std::string("/index.php") + each.source_name);
        result = zend_compile_string(&code, static_cast<char*>(name.value.str->val));
      }
    });
    return result != nullptr;
  }
  for (const WatchedFunction& function : watched_functions) {
    if (options.sink != function.name) continue;
    const json arguments = arguments_for(function, value, options.mode);
    host::state.ran.clear();
    host::call(options.sink, arguments);
    return !host::state.ran.empty();
  }
  // A query, which the module knows by the name of the declaring class as well.
  zend_internal_function& function = host::function(options.sink);
  static zend_class_entry scope{};
  const std::size_t colons = options.sink.find("::");
  if (colons != options.sink.npos) {
    scope.name = host::value(options.sink.substr(0, colons)).value.str;
    function.scope = &scope;
    function.function_name = host::value(options.sink.substr(colons + 2)).value.str;
  }
  host::call(options.sink, json::array({value}));
  return !host::state.ran.empty();
}

bool is_known(const std::string& sink) {
  const auto named = [&](const auto& row) { return sink == row.name; };
  return std::any_of(watched_functions.begin(), watched_functions.end(), named) ||
         std::any_of(compiled.begin(), compiled.end(), named) || query_functions().count(sink) != 0;
}

enum class Answer { nothing, record, exempt, reported, blocked };
struct AnswerWords {
  const char* name;
  const char* words;
};
constexpr std::array<AnswerWords, 5> answers{{
    {"nothing", "goes on, nothing found"},
    {"record", "goes on, nothing found, and is recorded"},
    {"exempt", "goes on, the request is exempt"},
    {"reported", "would be reported, and goes on"},
    {"blocked", "would be blocked"},
}};

void print_text(const Options& options, const TriedRequest& request, const std::string& value,
                const std::vector<Test>& tests, const std::optional<json>& event, Answer answer) {
  const json server = request.server();
  const auto line = [](const char* name, const std::string& text) {
    std::printf("%-9s %s\n", name, text.c_str());
  };
  line("Call", options.sink + "(\"" + shown(value) + "\")");
  line("Request", shown(request.method() + " " + request.uri()) + ", to " +
                      shown(server["SERVER_NAME"].get<std::string>()) + ", from " +
                      shown(request.client));
  std::printf("\n%-14s %-8s %s\n", "Test", "Answer", "Why");
  for (const Test& test : tests) {
    std::printf("%-14s %-8s %s\n", test.name.c_str(), test.answer.c_str(),
                shown(test.words).c_str());
  }
  std::printf("\n");
  if (!event) {
    line("Event", "none");
  } else {
    const auto text = [&](const char* key) {
      const json& entry = (*event)[key];
      return entry.is_string() ? shown(entry.get<std::string>()) : std::string("none");
    };
    line("Event", text("event") + ", category " + text("category") + ": " + text("kind") + " by " +
                      text("detail") + " of " + text("target") + " \"" + text("subject") + "\"");
  }
  const char* words = answers.at(static_cast<std::size_t>(answer)).words;
  line("Answer", answer == Answer::blocked
                     ? words + std::string("; the visitor reads ") + shown(host::state.output)
                     : words);
}

void try_call(Options options) {
  if (!is_known(options.sink)) {
    throw CLI::ValidationError("unknown sink '" + options.sink + "'; known: " + known_sinks());
  }
  PolicyFiles files = look_at_policy(options.policy);
  for (const auto* faults : {&files.faults, &files.unread}) {
    for (const std::string& fault : *faults) std::fprintf(stderr, "%s\n", fault.c_str());
  }
  if (!files.faults.empty() || !files.unread.empty()) {
    std::fprintf(stderr, "%s: the agent would not take this as it stands; correct it first\n",
                 options.policy.c_str());
    throw CLI::RuntimeError(2);
  }
  const std::string value = value_of(options.value);
  const TriedRequest request = request_of(options);
  EngineTexts texts;
  lend(request, texts);
  for (const std::string& line : options.stack) host::state.frames.push_back(frame(line));

  WatchedAgent agent(files);
  CCommonUtil::get_instance()->php_help = &agent;
  const bool ran = runs(options, value);
  CCommonUtil::get_instance()->php_help = nullptr;

  const std::optional<json> event = agent.event();
  const bool finding = event && event->value("verdict", "") != event_verdict::logged;
  const Answer answer = !ran           ? Answer::blocked
                        : finding      ? Answer::reported
                        : agent.exempt ? Answer::exempt
                        : event        ? Answer::record
                                       : Answer::nothing;
  if (options.as_json) {
    json out{{"sink", options.sink}, {"tests", json::array()}, {"event", nullptr}};
    for (const Test& test : agent.tests) {
      out["tests"].push_back({{"test", test.name}, {"answer", test.answer}, {"why", test.words}});
    }
    if (event) out["event"] = *event;
    out["answer"] = answers.at(static_cast<std::size_t>(answer)).name;
    std::printf("%s\n", out.dump(2, ' ', true, json::error_handler_t::replace).c_str());
  } else {
    print_text(options, request, value, agent.tests, event, answer);
  }
  if (answer >= Answer::reported) throw CLI::RuntimeError(1);
}

// The module in the engine that this program plays, before the first request.
void start_module() {
  host::reset();
  host::Lines names;
  for (const WatchedFunction& function : watched_functions) names.emplace_back(function.name);
  host::define_functions(names);
  zend_module_entry* const module = get_module();
  module->module_startup_func(0, 0);
  module->request_startup_func(0, 0);
}

}  // namespace

void add_try(CLI::App& program) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = program.add_subcommand(
      "try", "Makes a call in a request, without PHP, and shows what would come of it");
  command->add_option("SINK", options->sink, "The function, as in PHP: system, include, PDO::query")
      ->required();
  command->add_option("VALUE", options->value,
                      "The command, path, code, query and the like. @FILE: what the file holds; "
                      "-: standard input; @@...: a value that begins with @");
  command->add_option("--get", options->get, "NAME=VALUE of the query; VALUE as above")
      ->allow_extra_args(false);
  command->add_option("--post", options->post, "NAME=VALUE of the form")->allow_extra_args(false);
  command->add_option("--cookie", options->cookies, "NAME=VALUE of a cookie")
      ->allow_extra_args(false);
  command->add_option("--header", options->headers, "'Name: value'")->allow_extra_args(false);
  command->add_option("--uri", options->uri, "Path and query as sent (default: /)");
  command->add_option("--server-name", options->server_name, "Virtual host (default: localhost)");
  command->add_option("--client", options->client, "The peer's address (default: 192.0.2.1)");
  command->add_option("--forwarded-for", options->forwarded_for, "X-Forwarded-For");
  command->add_option("--request", options->request, "File with a whole HTTP request; - as above");
  command
      ->add_option("--stack", options->stack,
                   "A call on the stack, such as 'Logger::__destruct()'; innermost first")
      ->allow_extra_args(false);
  command->add_option("--mode", options->mode, "fopen's second argument")->capture_default_str();
  command->add_option("--policy", options->policy,
                      "Policy file (default: the one that the agent would read)");
  command->add_flag("--json", options->as_json, "As JSON");
  command->callback([options] {
    start_module();
    try_call(*options);
  });
}

}  // namespace vorgate::agent::tool
