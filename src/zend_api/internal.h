#ifndef VORGATE_ZEND_API_INTERNAL_H
#define VORGATE_ZEND_API_INTERNAL_H

// What the sources of this folder share and nobody else needs.

#include <setjmp.h>

#include "zend_api/engine.h"

namespace zend_api {

// The engine's slot for the place that its next long jump of a request goes to.
#ifdef VORGATE_ENGINE_INSTALLED
JMP_BUF*& bailout_target();
#else
sigjmp_buf*& bailout_target();
#endif

// False from the moment on at which the engine tears the request's data down.
bool request_data_is_valid();

// The engine's slot for the request's array of a TRACK_VARS_* index. To be read
// only while the request's data is valid.
const zval& request_slot(int track);

// Keeps a counted value from being freed as long as the request's memory lasts.
void keep(const zval& value);

// Whether the engine makes _SERVER on first use.
bool server_array_is_made_on_demand();

// The engine's slot for which kinds of messages it gives out.
int& reported_kinds();

// Ends the hold on a value. PHP code can run: see "Long jumps" in engine.h.
void give_up(zval* value);

// The limit under which the engine's backtrace holds `max_frames` frames, if the stack
// does: PHP 8 counts frames against the limit that it then leaves out.
int backtrace_limit(int max_frames);

// Ends what hold_up_bailouts began, and drops a remembered jump.
void forget_bailout();

// Whether the value null of the call's argument at `index` (from 0) is one that
// the called function itself would turn into an empty string. PHP 8 knows
// parameters for which null has a meaning of its own; one that takes anything is none
// of them.
bool null_becomes_string(const zend_execute_data* execute_data, uint32_t index);

// Turns an object that was given for a string into its text, in place, as the called
// function would, where the engine's parser would complain if it could not be done.
// Answers whether the parser can be asked. Runs PHP code (__toString).
bool object_becomes_string(zval* object);

// Hands the type letters to the engine's parser for the first `count` arguments; the
// results go where the pointers that follow point. True on success.
template <typename... Out>
bool engine_parse(uint32_t count, const char* spec, Out*... out) {
#ifdef VORGATE_ENGINE_INSTALLED
  return zend_parse_parameters_ex(
             ZEND_PARSE_PARAMS_QUIET,
             static_cast<decltype(ZEND_CALL_NUM_ARGS(static_cast<zend_execute_data*>(nullptr)))>(
                 count),
             spec, out...) == SUCCESS;
#else
  return zend_parse_parameters(static_cast<int>(count), spec, out...) == SUCCESS;
#endif
}

}  // namespace zend_api

#endif  // VORGATE_ZEND_API_INTERNAL_H
