#ifndef VORGATE_ZEND_API_ENGINE_H
#define VORGATE_ZEND_API_ENGINE_H

// The PHP engine as the module sees it: the only header through which the rest
// of the module reaches the engine. Types, constants and exported functions keep
// the engine's names; what differs from one engine to the next, or needs care,
// stands in the namespace below.
//
// Everything here is called on the thread that serves the request and speaks of
// that thread's engine state.
//
// Long jumps. The engine leaves a function by longjmp when a script exits (on
// PHP 7), runs out of memory or time, or fails fatally, and it passes over the
// destructors of every C++ frame in between. Two rules keep that harmless:
//   - A frame that calls a saved handler, a saved hook, parse or
//     zend_printf owns nothing that needs destroying at that moment.
//   - The few engine calls that are made while strings are alive (the backtrace,
//     _SERVER, the log) go through survive_bailout. The outermost frame of the
//     module says so beforehand with hold_up_bailouts, and passes the jump on with
//     resume_bailout when all is destroyed.

#include <strings.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#ifdef VORGATE_ENGINE_INSTALLED
#include "zend_api/installed.h"
#else
#include "zend_api/reference.h"
#endif

namespace zend_api {

// --- Values -----------------------------------------------------------------

// One of the IS_* constants.
inline unsigned char type_of(const zval* value) {
#ifdef VORGATE_ENGINE_INSTALLED
  return Z_TYPE_P(value);
#else
  return static_cast<unsigned char>(value->type_info);
#endif
}

// The bytes of a string; they live as long as the string.
inline std::string_view text(const zend_string* string) { return {string->val, string->len}; }

// The same of a value of type IS_STRING.
inline std::string_view text(const zval* value) { return text(value->value.str); }

// Whether the key of an element, null for a numeric one, is `name`, ignoring ASCII case.
inline bool key_is(const zend_string* key, std::string_view name) {
  return key != nullptr && key->len == name.size() &&
         strncasecmp(key->val, name.data(), name.size()) == 0;
}

inline int64_t integer(const zval* value) { return value->value.lval; }
inline double floating(const zval* value) { return value->value.dval; }
inline HashTable* array(const zval* value) { return value->value.arr; }

// Makes a return value PHP false. The old value must not need destroying, which
// holds for a return value before its function has run.
inline void set_false(zval* value) {
#ifdef VORGATE_ENGINE_INSTALLED
  ZVAL_FALSE(value);
#else
  value->type_info = IS_FALSE;
#endif
}

// --- Arrays -----------------------------------------------------------------

// Calls visit(key, value) for each element in storage order, passing over
// deleted slots, until it answers false. The key is null for a numeric one.
template <typename Visit>
void for_each(HashTable* table, Visit&& visit) {
#ifdef VORGATE_ENGINE_INSTALLED
  zend_string* key;
  zval* value;
  ZEND_HASH_FOREACH_STR_KEY_VAL(table, key, value) {
    if (!visit(static_cast<const zend_string*>(key), value)) return;
  }
  ZEND_HASH_FOREACH_END();
#else
  for (uint32_t i = 0; i < table->nNumUsed; ++i) {
    Bucket& bucket = table->arData[i];
    if (type_of(&bucket.val) == IS_UNDEF) continue;
    if (!visit(static_cast<const zend_string*>(bucket.key), &bucket.val)) return;
  }
#endif
}

// --- Functions and calls ----------------------------------------------------

// The calling thread's table of functions, by lower-case name.
HashTable* function_table();

// Where the handler of an internal function is kept, given its value in the
// function table; null for a function of another kind.
inline zif_handler* handler_slot(zval* table_value) {
  auto* function = static_cast<zend_function*>(table_value->value.ptr);
  if (function->internal_function.type != ZEND_INTERNAL_FUNCTION) return nullptr;
  return &function->internal_function.handler;
}

// The name of the function that a frame calls, without its class; null when
// there is none.
inline const zend_string* function_name(const zend_execute_data* execute_data) {
  if (execute_data == nullptr || execute_data->func == nullptr) return nullptr;
  return execute_data->func->internal_function.function_name;
}

// The name of the class that declares the function of a frame; null when it is
// no method. Only for a frame whose function_name is not null.
inline const zend_string* class_name(const zend_execute_data* execute_data) {
  const zend_class_entry* scope = execute_data->func->internal_function.scope;
  return scope == nullptr ? nullptr : scope->name;
}

// How many arguments the call was given.
inline uint32_t argument_count(const zend_execute_data* execute_data) {
#ifdef VORGATE_ENGINE_INSTALLED
  return ZEND_CALL_NUM_ARGS(execute_data);
#else
  return execute_data->This.u2.num_args;
#endif
}

// What a refused query leaves as its result: null, as the engine initialised it.
// Where PHP 8 compiles just in time it trusts the declared types, which know no
// null, and would crash on one: where such code may be running, false.
void refuse_query(zval* return_value);

// A string argument. It belongs to the call and lives as long as its frame.
struct StringArgument {
  char* data;
  size_t size;
};

// An integer argument of the engine's width.
#ifdef VORGATE_ENGINE_INSTALLED
using IntegerArgument = zend_long;
#else
using IntegerArgument = int64_t;
#endif

// Parses the first arguments of the running call, one for each type letter of the
// engine in `format`, at most three: s string, l integer, r resource (or, from PHP 8
// on, the object that took its place), z anything. Puts the one at `index` (from 0),
// whose letter is s or l, into `argument`. True when all of them were there and
// fitted.
//
// A call that the form does not fit is never made to suffer for it: with too few
// arguments, or a type that could not be a legal one, the engine's parser is not
// asked at all, so that the watched function speaks for itself. A value that has
// to be converted is converted in place, as the watched function would have done
// it. A conversion can run PHP code (__toString): see "Long jumps" above.
bool parse(zend_execute_data* execute_data, std::string_view format, uint32_t index,
           StringArgument& argument);
bool parse(zend_execute_data* execute_data, std::string_view format, uint32_t index,
           IntegerArgument& argument);

// False when the call's argument at `index` (from 0) cannot be a handle: PHP 8 knows
// the class of the objects that took a resource's place, and a function that finds
// another object throws. True of everything else, which `parse` is for.
bool may_be_handle(zend_execute_data* execute_data, uint32_t index, std::string_view class_name);

// The elements of an array given as the call's argument at `index` (from 0), where
// proc_open takes a program and its arguments so (PHP 7.4). An element that is no text
// and no number is empty: turning an object into text could run PHP code. False when
// there is none.
bool program_list(zend_execute_data* execute_data, uint32_t index, std::vector<std::string>& words);

// --- The request ------------------------------------------------------------

// The request's array of the given TRACK_VARS_* index as the engine keeps it;
// null when there is none.
HashTable* request_array(int track);

// Makes sure that _SERVER exists where the engine makes it on first use.
void materialise_server_array();

const sapi_request_info& request_info();

// To be told by the module's request start-up and its request shut-down. From the
// latter on, when PHP code still runs but the engine gives the arrays up,
// request_array answers what there was at that moment. With `is_watched`, _SERVER is
// there too: later it could not be made.
void note_request_start();
void note_request_end(bool is_watched);

// --- Reports of the engine --------------------------------------------------

// The debug backtrace, arguments included: the frames that an unlimited one begins
// with, `max_frames` of them or all that there are, and now and then a few more. Asking
// for hardly more than is looked at keeps the cost of a watched call, in time and in
// the request's memory, from growing with the depth of the stack. Whatever happens,
// `result` is a value that release_backtrace takes.
void fetch_backtrace(zval* result, int max_frames);
void release_backtrace(zval* backtrace);

// "%d" of the engine: the low 32 bits of the integer, as a decimal number.
std::string format_integer(int64_t value);

// Writes a line to PHP's error log.
void log_notice(const char* message);

// The SQL, include and command notices are printed as they stand: they hold no
// conversion. Output can run PHP code: see "Long jumps" above.
inline void print(const char* notice) { zend_printf(notice); }

// --- Hooks ------------------------------------------------------------------

using compile_file_hook = zend_op_array* (*)(zend_file_handle*, int);
using compile_string_hook = decltype(zend_compile_string);
using execute_internal_hook = void (*)(zend_execute_data*, zval*);

// To be told by the module's start-up, with the type that the engine gave it: calls
// call(), which must not throw or jump, at the end of the engine's start-up, when opcode
// caches have put their hooks in place and run what they preload. A module that is loaded
// later finds all that in place: it is not called, nor does the reference engine call.
void when_started(int module_type, void (*call)());

// The name of a file about to be compiled, as the script wrote it; null when the
// handle has none.
inline const char* file_name(const zend_file_handle* handle) {
#if defined(VORGATE_ENGINE_INSTALLED) && PHP_VERSION_ID >= 80100
  return handle->filename == nullptr ? nullptr : handle->filename->val;
#else
  return handle->filename;
#endif
}

// The source text of a string about to be compiled.
inline std::string_view source_text(const zend_api_compiled_source* source) { return text(source); }

// A compilation declares functions and classes of its text before it answers. How
// far the calling thread's tables are filled, and a way back to there: takes what
// `refused` declared since out of the tables, so that a refused text leaves
// nothing callable behind. The declarations themselves stay in the request's
// memory until its end. The reference engine exports nothing to do this with:
// there, what was declared stays.
struct Declarations {
  uint32_t functions;
  uint32_t classes;
};
Declarations declarations();
void forget_declarations(const Declarations& before, const zend_op_array* refused);

// --- Long jumps -------------------------------------------------------------

// From here to resume_bailout, survive_bailout holds up the engine's jumps. To be
// called by every function that the engine enters, in the same frame as
// resume_bailout and before strings come alive.
void hold_up_bailouts();

// Calls call(argument). When it leaves by a long jump of the engine, the jump
// ends here and is remembered; nothing else may then run PHP code until
// resume_bailout. Answers whether the call came back by itself; while a jump is
// remembered, answers false without calling. `call` must own nothing that needs
// destroying.
//
// Where no frame of the module waits with resume_bailout, for an exported method
// that another extension calls, nobody could go on with the jump: it is not held
// up, and passes as it does through any function of the engine.
bool survive_bailout(void (*call)(void*), void* argument);

// Ends the hold-up, and goes on with a remembered jump: does not return then. At a
// place where the caller owns nothing.
void resume_bailout();

// --- The module entry -------------------------------------------------------

struct ModuleCallbacks {
  zend_result (*startup)(int type, int module_number);
  zend_result (*shutdown)(int type, int module_number);
  zend_result (*activate)(int type, int module_number);
  zend_result (*deactivate)(int type, int module_number);
  void (*info)(zend_module_entry*);
};

// The entry of a module without functions, settings, dependencies and globals,
// for the engine that this build is for.
constexpr zend_module_entry make_module_entry(const char* name, const char* version,
                                              const ModuleCallbacks& callbacks) {
  zend_module_entry entry{};
  entry.size = sizeof(zend_module_entry);
  entry.zend_api = ZEND_MODULE_API_NO;
#ifdef VORGATE_ENGINE_INSTALLED
  entry.zend_debug = ZEND_DEBUG;
  entry.zts = USING_ZTS;
  entry.build_id = ZEND_MODULE_BUILD_ID;
#else
  entry.zend_debug = 0;
  entry.zts = 1;
  entry.build_id = "API20160303,TS";
#endif
  entry.name = name;
  entry.version = version;
  entry.module_startup_func = callbacks.startup;
  entry.module_shutdown_func = callbacks.shutdown;
  entry.request_startup_func = callbacks.activate;
  entry.request_shutdown_func = callbacks.deactivate;
  entry.info_func = callbacks.info;
  return entry;
}

}  // namespace zend_api

#endif  // VORGATE_ZEND_API_ENGINE_H
