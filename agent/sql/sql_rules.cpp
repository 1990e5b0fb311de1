#include "agent/sql/sql_rules.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <numeric>
#include <utility>

#include <re2/filtered_re2.h>
#include <re2/re2.h>
#include <re2/set.h>

#include "agent/sql/shipped_rules.h"
#include "agent/sql/sql_lexer.h"
#include "agent/text.h"
#include "agent/toml_reader.h"

namespace vorgate::sql {
namespace {

using agent::lower;

bool is_plain_name(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return (lower(c) >= 'a' && lower(c) <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '$';
  });
}

// Is this what a comment leaves of a literal that was open in front of it, as in
// "'x' OR 1=1 -- ' AND b = 2"?
bool hides_quote(std::string_view comment) {
  const std::size_t first = comment.find_first_not_of(" \t-+");
  return first != std::string_view::npos && (comment[first] == '\'' || comment[first] == '"');
}

std::size_t bytes_in_literals(const std::vector<Token>& tokens) {
  return std::accumulate(tokens.begin(), tokens.end(), std::size_t{0},
                         [](std::size_t sum, const Token& token) {
                           const bool literal = token.kind == TokenKind::string;
                           return sum + (literal ? token.content_end - token.content : 0);
                         });
}

// Where two readings make sense, the one that leaves more as data: nobody knows what
// the request sent.
std::vector<Token> read_as_data(std::string_view query, Dialect dialect) {
  std::vector<Token> tokens = read_query(query, dialect);
  if (dialect != Dialect::automatic || query.size() >= query_limit ||
      query.find('\\') == std::string_view::npos) {
    return tokens;
  }
  std::vector<Token> other = tokenize(query, Dialect::sqlite);
  return all_quotes_closed(other) && bytes_in_literals(other) > bytes_in_literals(tokens) ? other
                                                                                          : tokens;
}

std::string_view masked(std::string_view query, const Token& token) {
  const auto content = query.substr(token.content, token.content_end - token.content);
  switch (token.kind) {
    case TokenKind::comment:
      return hides_quote(content) ? "-- ''" : "--";
    case TokenKind::string:
      return "''";
    case TokenKind::number:
      return "0";
    case TokenKind::name:
      return is_plain_name(content) ? content : "name";
    default:
      return content;
  }
}

}  // namespace

struct RuleSet::Rule {
  std::string name;
  std::string description;
  int pattern = -1;                  // its number in Patterns
  std::unique_ptr<re2::RE2> unless;  // may be null
};

// Ordinary queries hold few of the words that the patterns need. One pass over the
// query tells which it holds, and most often no pattern is left to be tried.
struct RuleSet::Patterns {
  // Words of two characters, such as "@@" and "||", count.
  re2::FilteredRE2 all{2};
  re2::RE2::Set words{options(true), re2::RE2::UNANCHORED};
  bool any_word = false;

  static re2::RE2::Options options(bool literal) {
    re2::RE2::Options options;
    options.set_encoding(re2::RE2::Options::EncodingLatin1);  // queries are bytes
    options.set_log_errors(false);
    options.set_never_capture(true);
    options.set_literal(literal);
    return options;
  }

  void compile() {
    if (all.NumRegexps() == 0) return;
    std::vector<std::string> needed;
    all.Compile(&needed);
    for (const std::string& word : needed) words.Add(word, nullptr);
    any_word = !needed.empty() && words.Compile();
  }

  // The numbers of the patterns that match, in their order.
  std::vector<int> matches(const std::string& text) const {
    std::vector<int> found;
    std::vector<int> numbers;
    re2::RE2::Set::ErrorInfo failure{};
    if (any_word &&
        (words.Match(text, &found, &failure) || failure.kind == re2::RE2::Set::kNoError)) {
      all.AllMatches(text, found, &numbers);
    } else {
      for (int number = 0; number < all.NumRegexps(); ++number) {
        if (re2::RE2::PartialMatch(text, all.GetRE2(number))) numbers.push_back(number);
      }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
  }
};

class RuleSet::Reader : public TomlReader {
 public:
  using TomlReader::TomlReader;

  RuleSet read(const toml::table& document) {
    RuleSet set;
    for (const auto& [key, node] : document) {
      const toml::array* const array = node.as_array();
      if (key != "rule" || array == nullptr) {
        refuse(key.source(), "'" + std::string(key.str()) +
                                 "' is not known here; a rule file holds [[rule]] entries only");
        continue;
      }
      for (const toml::node& element : *array) read_rule(element, &set);
    }
    set.patterns_->compile();
    return set;
  }

 private:
  void read_rule(const toml::node& node, RuleSet* set) {
    const toml::table* const table = node.as_table();
    if (table == nullptr) {
      refuse(node.source(), "not a rule; write [[rule]] on a line of its own");
      return;
    }
    Rule rule;
    const std::string error_before = error();
    for (const auto& [key, value] : *table) {
      if (key == "name") {
        rule.name = text(value);
      } else if (key == "description") {
        rule.description = text(value);
      } else if (key == "pattern") {
        re2::FilteredRE2& patterns = set->patterns_->all;
        const re2::RE2::Options options = Patterns::options(false);
        if (patterns.Add(text(value), options, &rule.pattern) != re2::RE2::NoError) {
          const std::string reason = re2::RE2(text(value), options).error();
          refuse(value.source(), "not a pattern: " + reason + "; see RE2's syntax");
        } else if (re2::RE2::PartialMatch("", patterns.GetRE2(rule.pattern))) {
          refuse(value.source(), "the pattern matches an empty query; make it say more");
        }
      } else if (key == "unless") {
        rule.unless = std::make_unique<re2::RE2>(text(value), Patterns::options(false));
        if (!rule.unless->ok()) {
          refuse(value.source(), "not a pattern: " + rule.unless->error() + "; see RE2's syntax");
        }
      } else {
        unknown(key, "name, description, pattern, unless");
      }
    }
    if (error() != error_before) return;
    if (rule.name.empty() || rule.description.empty() || rule.pattern < 0) {
      refuse(node.source(), "incomplete rule; give it name, description and pattern");
    }
    const auto same = [&](const Rule& other) { return other.name == rule.name; };
    if (std::any_of(set->rules_.begin(), set->rules_.end(), same)) {
      refuse(node.source(), "second rule named '" + rule.name + "'; give it a name of its own");
    }
    set->rules_.push_back(std::move(rule));
  }
};

RuleSet::RuleSet() : patterns_(std::make_unique<Patterns>()) {}
RuleSet::RuleSet(RuleSet&&) noexcept = default;
RuleSet& RuleSet::operator=(RuleSet&&) noexcept = default;
RuleSet::~RuleSet() = default;

std::string normalise(std::string_view query, Dialect dialect) {
  std::string text;
  text.reserve(2 * query.size());
  for (const Token& token : read_as_data(query, dialect)) {
    const bool ended = token.content_end < token.end || token.end < query.size();
    if (token.kind == TokenKind::space || token.kind == TokenKind::hint ||
        (token.kind == TokenKind::comment && ended)) {
      continue;
    }
    if (!text.empty()) text += ' ';
    const std::string_view shown = masked(query, token);
    std::transform(shown.begin(), shown.end(), std::back_inserter(text), lower);
  }
  return text;
}

std::optional<RuleSet> RuleSet::parse(std::string_view text, const std::string& file,
                                      std::string* error) {
  Reader reader(file);
  RuleSet set = reader.read(reader.parse(text));
  if (reader.error().empty()) return set;
  *error = reader.error();
  return std::nullopt;
}

bool RuleSet::match(const std::string& normal_form, std::string* detail,
                    const std::vector<std::string>& disabled) const {
  if (rules_.empty()) return false;
  for (const int number : patterns_->matches(normal_form)) {
    const Rule& rule = rules_[static_cast<std::size_t>(number)];
    if (std::find(disabled.begin(), disabled.end(), rule.name) != disabled.end()) continue;
    if (rule.unless != nullptr && re2::RE2::PartialMatch(normal_form, *rule.unless)) continue;
    if (detail != nullptr) *detail = rule.name + ": " + rule.description;
    return true;
  }
  return false;
}

std::vector<std::string> RuleSet::names() const {
  std::vector<std::string> names;
  for (const Rule& rule : rules_) names.push_back(rule.name);
  return names;
}

const RuleSet& shipped_rules() {
  // Not a local static object: a child forked while another thread makes one would wait
  // for that thread for ever. Never deleted: requests may still run while the process
  // ends.
  static std::atomic<const RuleSet*> shipped{nullptr};
  const RuleSet* rules = shipped.load(std::memory_order_acquire);
  if (rules != nullptr) return *rules;
  std::string error;
  auto set = RuleSet::parse(shipped_rules_text, "sql_rules.toml", &error);
  auto made = std::make_unique<const RuleSet>(std::move(set).value_or(RuleSet()));
  // Of two threads that come first, both compile; one set stays.
  return shipped.compare_exchange_strong(rules, made.get(), std::memory_order_acq_rel)
             ? *made.release()
             : *rules;
}

}  // namespace vorgate::sql
