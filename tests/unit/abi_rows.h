#ifndef VORGATE_TESTS_ABI_ROWS_H
#define VORGATE_TESTS_ABI_ROWS_H

#include <string>
#include <vector>

// What the engine's declarations of this build say, one line for each size,
// field and constant that the own declarations use: kind, name, field, offset or
// value, and size, separated by tabs.
std::vector<std::string> abi_rows();

#endif  // VORGATE_TESTS_ABI_ROWS_H
