#ifndef VORGATE_DETECTORS_CHAINS_H
#define VORGATE_DETECTORS_CHAINS_H

// Attack chains in a rendered call stack, whose lines stand innermost first.

#include <string>

#include "request/http_info.h"

// Is a magic method of an object run by unserialize? A "__destruct(" anywhere
// settles it alone, even where it stands on the wrong side and a "__wakeup(" does
// not.
bool unserialize_vul(const std::string& stack_text);

// Does the stack pass through eval, assert or preg_replace?
bool code_exec_vul(const std::string& stack_text);

// What a shell command and phpinfo have in common: when the stack of the record
// shows one of the chains, reports it as the execution of `command`, sets
// `verdict`, and answers true.
bool report_execution_chain(const char* command, HttpInfo& info, bool& verdict);

#endif  // VORGATE_DETECTORS_CHAINS_H
