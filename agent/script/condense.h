#ifndef VORGATE_AGENT_SCRIPT_CONDENSE_H
#define VORGATE_AGENT_SCRIPT_CONDENSE_H

#include <string>
#include <string_view>

namespace vorgate::script {

// PHP code as the shipped rules read it, so that what a script does not do can neither
// hide what it does nor use up the time: one blank for each comment and each run of
// blanks, and of a word (as in a name, or in a coded text) its first and last 128 bytes.
// What shells call themselves in comments is not lost: how each begins stands behind the
// code, 4 KiB of all of them.
//   code  what eval is given: it begins in PHP, without "<?php".
// From where it cannot be told for sure what is a comment (a heredoc, an expression
// within a text, "#[", "<?" without "php"), comments stay. One pass; may throw
// std::bad_alloc.
std::string condense(std::string_view code);

}  // namespace vorgate::script

#endif  // VORGATE_AGENT_SCRIPT_CONDENSE_H
