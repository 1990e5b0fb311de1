// The agent's lexer, its test of values and its rules.

#include <algorithm>

#include "agent/sql/sql_injection.h"
#include "agent/sql/sql_lexer.h"
#include "agent/sql/sql_rules.h"
#include "fuzz/input.h"

using namespace vorgate::sql;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const std::string query = input.text();
  const std::string values = input.text();
  for (const Dialect dialect : {Dialect::mysql, Dialect::sqlite, Dialect::postgresql}) {
    std::uint32_t end = 0;
    for (const Token& token : tokenize(query, dialect)) {
      HOLDS(token.begin == end && token.end > end);
      HOLDS(token.begin <= token.content && token.content <= token.content_end);
      end = token.end;
      HOLDS(token.content_end <= end);
    }
    HOLDS(end == query.size());
  }

  const std::string form = normalise(query);
  HOLDS(std::none_of(form.begin(), form.end(), [](char c) { return c >= 'A' && c <= 'Z'; }));
  std::string detail;
  HOLDS(shipped_rules().match(form, &detail) != detail.empty());

  is_injected(query, values);
  HOLDS(!is_injected(query, "") && !is_injected("", values));
  // Data without quotes and backslashes does not leave its literal; what closes the
  // literal does, whatever follows.
  const bool is_data = values.find_first_of("'\\") == values.npos;
  const std::string closing = "x' OR " + values + " OR 'x";
  if (is_data) HOLDS(!is_injected("SELECT '" + values + "'", "v=" + values));
  if (values.size() < query_limit / 2) {
    HOLDS(is_injected("SELECT '" + closing + "'", "v=" + closing));
  }
  return 0;
}
