#ifndef VORGATE_AGENT_SQL_SQL_RULES_H
#define VORGATE_AGENT_SQL_SQL_RULES_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/sql/sql_lexer.h"

namespace vorgate::sql {

// The form of a query that rules are matched with: words in lower case, every
// string as '', every number as 0, one blank between tokens; comments and the
// borders of executable ones left out. A comment that hides the query's end is
// "--", or "-- ''" if a quote is the first thing that it hides. What stands within
// quotes or comments cannot match anything.
std::string normalise(std::string_view query, Dialect dialect = Dialect::automatic);

// Patterns of queries that ordinary applications do not send. Immutable once made:
// any thread may ask it. The file's form is described in docs/sql-tests.md.
class RuleSet {
 public:
  RuleSet();  // empty: nothing matches
  RuleSet(RuleSet&&) noexcept;
  RuleSet& operator=(RuleSet&&) noexcept;
  ~RuleSet();

  // Reads a rule file's text. On failure there is no value, and `error` says
  // "file:line:column: reason; remedy" for the first fault in the file.
  static std::optional<RuleSet> parse(std::string_view text, const std::string& file,
                                      std::string* error);

  // Does a rule match what `normalise` made of a query, one whose name is not in
  // `disabled`? The first one's "name: description" goes to `detail`, which may be
  // null. May throw std::bad_alloc.
  bool match(const std::string& normal_form, std::string* detail,
             const std::vector<std::string>& disabled = {}) const;

  std::vector<std::string> names() const;

 private:
  struct Rule;
  struct Patterns;
  class Reader;

  std::vector<Rule> rules_;  // in the order of their patterns
  std::unique_ptr<Patterns> patterns_;
};

// The rules of sql_rules.toml as they were when the agent was built. Compiled at
// the first call in a process. May throw std::bad_alloc; the next call tries again.
const RuleSet& shipped_rules();

}  // namespace vorgate::sql

#endif  // VORGATE_AGENT_SQL_SQL_RULES_H
