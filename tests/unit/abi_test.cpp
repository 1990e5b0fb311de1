#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>

#include "abi_rows.h"

// Both tables were measured on the genuine engine.
TEST(Abi, DeclarationsAreThoseOfTheEngine) {
  std::set<std::string> measured;
  for (const char* table : {"/abi-20160303-ts.tsv", "/abi-additional.tsv"}) {
    std::ifstream file(std::string(TEST_DATA) + table);
    for (std::string line; std::getline(file, line);) measured.insert(line);
  }
  for (const std::string& row : abi_rows()) EXPECT_EQ(measured.count(row), 1U) << row;
}
