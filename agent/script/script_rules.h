#ifndef VORGATE_AGENT_SCRIPT_SCRIPT_RULES_H
#define VORGATE_AGENT_SCRIPT_SCRIPT_RULES_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct YR_RULES;

namespace vorgate::script {

enum class Found { nothing, web_shell, out_of_time };

// Which rules count: those of large scripts stand apart, because what they look for
// together would be no sign of anything in a few lines.
enum class Kinds { families, families_and_large };

// YARA rules for PHP code that is about to run. Immutable once made: any thread may
// ask it. A rule tagged "large" is one for large scripts; every other stands for a
// family, whose name is the rule's meta entry "name", or the rule's own.
class RuleSet {
 public:
  RuleSet(RuleSet&& other) noexcept;
  RuleSet& operator=(RuleSet&& other) noexcept;
  ~RuleSet();

  // Reads a rule file's text. On failure there is no value, and `error` says
  // "file:line: reason; remedy" for the first fault in the file. Refused besides
  // faults of syntax: include, modules that have no use for a script, and a rule
  // that an empty text matches. Waits while another thread does the same.
  static std::optional<RuleSet> parse(std::string_view text, const std::string& file,
                                      std::string* error);

  // Does a rule match? The first one's family goes to `family`, which may be null.
  // The limit is kept roughly: the clock is looked at every 4 KiB, and between two
  // conditions. Without memory, nothing is found.
  Found match(std::string_view code, Kinds kinds, std::chrono::nanoseconds limit,
              std::string* family) const noexcept;

  // The families' names, in the order of the file.
  std::vector<std::string> names() const;

 private:
  explicit RuleSet(YR_RULES* rules) noexcept : rules_(rules) {}

  YR_RULES* rules_;
};

// The rules of script_rules.yar as they were when the agent was built. Compiled at
// the first call in a process; a process that never asks does not pay for them. Null
// only without memory; the next call tries again.
const RuleSet* shipped_rules() noexcept;

}  // namespace vorgate::script

#endif  // VORGATE_AGENT_SCRIPT_SCRIPT_RULES_H
