#ifndef VORGATE_DETECTORS_COMMAND_EXEC_H
#define VORGATE_DETECTORS_COMMAND_EXEC_H

// Does the text, up to its first NUL byte, hold a byte that means something to a
// shell or to a path: space | & / ; \ . > $ { % <
// A null pointer holds none.
bool contains_special_char(const char* text);

#endif  // VORGATE_DETECTORS_COMMAND_EXEC_H
