#ifndef VORGATE_STACK_RENDER_H
#define VORGATE_STACK_RENDER_H

// The call stack as the text that events carry, and that text as a chain.

#include <string>

// The first `max_frames` frames, innermost first, one line each:
// "class::function(argument, argument)" and a newline. String arguments are cut
// to 1024 bytes; a floating-point number is written "tnull". Arguments are not
// escaped: a newline in one breaks the line.
std::string format_debug_backtrace_str(int max_frames);

// The lines of such a text, outermost first, joined by "->". Carriage returns
// are dropped, each line is cut to 128 bytes, and what follows the last newline
// is left out.
std::string resort_stack_info(const std::string& stack_text);

#endif  // VORGATE_STACK_RENDER_H
