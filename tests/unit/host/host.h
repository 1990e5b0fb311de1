#ifndef VORGATE_TESTS_HOST_HOST_H
#define VORGATE_TESTS_HOST_HOST_H

// The reference engine as the module meets it, inside the test program: exported
// symbols, each thread's globals, values in the engine's layout, calls, output,
// log and long jumps. Tests write PHP values as JSON, where
//   an array is a list, an object an array with keys; "#..." is a numeric key;
//   {"$": "object"}, "resource" and "undef" (a deleted slot) are what they say;
//   a frame of the backtrace is "function", "class::method" or [either, arguments].

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "zend_api/engine.h"

namespace host {

using json = nlohmann::ordered_json;
using Lines = std::vector<std::string>;

// What is made here lives until the calling thread ends.
zval value(const json& data);
char* c_string(std::string_view text);

struct Globals {
  zend_compiler_globals compiler{};
  zend_executor_globals executor{};
  php_core_globals core{};
  sapi_globals_struct sapi{};
};

// How the calling thread's engine behaves, and what it was made to do.
struct State {
  json frames = json::array();  // of the running script, innermost first
  json server;                  // what _SERVER becomes when it is asked for
  bool compile_fails = false;
  // PHP code that runs at such a moment.
  void (*on_handler)() = nullptr;
  void (*on_output)() = nullptr;
  void (*on_backtrace)() = nullptr;
  void (*on_server)() = nullptr;
  void (*on_log)() = nullptr;
  const char* (*to_string)() = nullptr;

  Lines ran;       // functions whose own handler ran
  Lines warnings;  // of the parameter parser
  Lines compiled;
  Lines log;  // "severity message"
  std::string output;
  int server_requests = 0;
  int backtraces = 0;  // fetched and not released
};

Globals& globals();
State& state();
// A new request on this thread; reset makes the hooks PHP's own again as well.
void new_request();
void reset();

// A function whose handler notes that it ran and answers 42.
zend_internal_function& function(std::string_view name);
// Fills the function table: keys, and the functions behind them.
void define_functions(const json& names);
void set_request_array(int track, const json& entries);

// Leaves the running call as exit and exhaustion do.
void bail();
// Whether call() came back by itself.
bool comes_back(void (*call)(void*), void* argument);
template <typename Call>
bool comes_back(Call call) {
  return comes_back([](void* self) { (*static_cast<Call*>(self))(); }, &call);
}

// Calls a function as compiled code does; the outcome's type is IS_UNDEF when the
// call left by long jump.
zval call(std::string_view function, const json& arguments, bool strict = false);

extern zend_op_array* const compiled_code;  // what a compilation gives
extern std::string agent_library;           // the file behind the agent's fixed path

}  // namespace host

#endif  // VORGATE_TESTS_HOST_HOST_H
