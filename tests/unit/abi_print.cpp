#include <cstdio>

#include "abi_rows.h"

int main() {
  for (const std::string& row : abi_rows()) std::puts(row.c_str());
}
