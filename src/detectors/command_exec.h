#ifndef VORGATE_DETECTORS_COMMAND_EXEC_H
#define VORGATE_DETECTORS_COMMAND_EXEC_H

#include <string>
#include <vector>

class CCommonUtil;

// Does the text, up to its first NUL byte, hold a byte that means something to a
// shell or to a path: space | & / ; \ . > $ { % <
// A null pointer holds none.
bool contains_special_char(const char* text);

// Judges a program started with a list of words, the program first. Where it is a shell
// that runs a text (-c), the text is the command and judged as one. In any other list
// each word reaches the program as it is, whatever it holds: that is an attack inside a
// chain only, and else leaves the plain record. True: to be blocked.
bool check_program(CCommonUtil& engine, const std::string& function,
                   const std::vector<std::string>& words);

#endif  // VORGATE_DETECTORS_COMMAND_EXEC_H
