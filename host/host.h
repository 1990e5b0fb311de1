#ifndef VORGATE_HOST_HOST_H
#define VORGATE_HOST_HOST_H

// The reference engine as the module meets it, played inside a program without PHP:
// exported symbols, each thread's globals, values in the engine's layout, calls,
// output, log and long jumps. What no caller may ask of an engine ends the program
// with one line on standard error. PHP values are written as JSON, where
//   an array is a list, an object an array with keys; "#..." is a numeric key;
//   {"$": "object"}, "resource" and "undef" (a deleted slot) are what they say.

#include <functional>
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

struct Globals {
  zend_compiler_globals compiler{};
  zend_executor_globals executor{};
  php_core_globals core{};
  sapi_globals_struct sapi{};
};

// How the calling thread's engine behaves, and what it was made to do.
struct State {
  json frames = json::array();        // of the running script, innermost first
  json server;                        // what _SERVER becomes when it is asked for
  const char* object_text = nullptr;  // what objects turn into, if they do
  // Where PHP code leaves by long jump: "backtrace", "conversion", "handler", "log",
  // "output" or "server".
  std::string_view leaves_at;
  std::function<void()> meanwhile;  // PHP code that runs at the next of these moments

  Lines ran;  // functions whose own handler ran
  Lines log;  // "severity message"
  std::string output;
  int server_requests = 0;
  int backtraces = 0;  // fetched and not released
};

inline thread_local Globals globals;
inline thread_local State state;
// A new request on this thread, and the hooks PHP's own again.
void reset();

// A function whose handler notes that it ran and answers 42.
zend_internal_function& function(const std::string& name);
// Fills this thread's function table.
void define_functions(const Lines& names);
void set_request_array(int track, const json& entries);

// Calls a function as compiled code does; the outcome's type is IS_UNDEF when the
// call left by long jump.
zval call(const std::string& function, const json& arguments, bool strict = false);

// Ends the program where the module does what an engine would not survive.
void require(bool holds, const char* else_what);

// Whether call() came back by itself.
template <typename Call>
bool comes_back(const Call& call) {
  sigjmp_buf*& target = globals.executor.bailout;
  sigjmp_buf* const outer = target;
  sigjmp_buf here;
  target = &here;
  if (sigsetjmp(here, 0) != 0) {
    require(target == &here, "a jump that was held up has left its target behind");
    target = outer;
    return false;
  }
  call();
  target = outer;
  return true;
}

inline std::string agent_library;  // behind the agent's fixed path; "": this program

}  // namespace host

#endif  // VORGATE_HOST_HOST_H
