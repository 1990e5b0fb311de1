#include "agent/sql/sql_injection.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "agent/sql/occurrence_index.h"
#include "agent/sql/sql_lexer.h"

namespace vorgate::sql {
namespace {

// Shorter values can break a query but not bend it; and a quote or a bracket that
// somebody typed stands in every query anyway. (So do quotes in any number.)
constexpr std::size_t shortest = 3;

// A crossing of so few tokens can be chance: a text about SQL, such as "SELECT *
// FROM", that the application's own query contains.
constexpr std::size_t chance_tokens = 8;

// No ordinary request comes near these. Beyond them the request was built to keep
// the test busy, and that answers the question.
constexpr std::size_t most_suspects = 64;
constexpr std::size_t most_work = 1'000'000;  // tokens looked at

// The blanks that applications trim.
bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// In linear time, which std::string_view does not promise.
std::size_t find_part(std::string_view text, std::string_view part, std::size_t from) {
  if (from >= text.size()) return std::string_view::npos;
  const void* const found =
      memmem(text.data() + from, text.size() - from, part.data(), part.size());
  return found == nullptr ? std::string_view::npos
                          : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

bool is_quoted(const Token& token) {
  return token.kind == TokenKind::string || token.kind == TokenKind::name;
}

// An occurrence in a query: the tokens that it touches, without spaces.
class Touched {
 public:
  Touched(std::string_view query, const std::vector<Token>& tokens, std::size_t begin,
          std::size_t end)
      : query_(query), begin_(begin), end_(end), first_(token_at(tokens, begin)), past_(first_) {
    before_ = &*first_ == tokens.data() ? nullptr : &*first_ - 1;
    if (before_ != nullptr && before_->kind == TokenKind::space) {
      before_ = before_ == tokens.data() ? nullptr : before_ - 1;
    }
    for (; past_ != tokens.end() && past_->begin < end; ++past_) {
      if (past_->kind == TokenKind::space) continue;
      ++count_;
      const bool whole = past_->begin >= begin && past_->end <= end;
      if (past_->kind == TokenKind::comment || past_->kind == TokenKind::hint ||
          (is_quoted(*past_) && !whole)) {
        plain_ = false;
      }
    }
  }

  std::size_t count() const { return count_; }

  // Within the quotes or within the comment: data, whatever it says.
  bool is_within_delimiters() const {
    return first_ + 1 == past_ && (is_quoted(*first_) || first_->kind == TokenKind::comment) &&
           begin_ >= first_->content && end_ <= first_->content_end;
  }

  // No more than data, or than a choice that applications leave to their users.
  bool is_allowed() const {
    if (is_within_delimiters()) return true;
    if (!plain_) return false;
    return count_ <= 1 || is_two_words() || is_numeric() || is_list() || is_call() || is_clause();
  }

 private:
  using Position = std::vector<Token>::const_iterator;

  static Position token_at(const std::vector<Token>& tokens, std::size_t offset) {
    return std::upper_bound(tokens.begin(), tokens.end(), offset,
                            [](std::size_t at, const Token& token) { return at < token.end; });
  }

  std::string_view text(const Token& token) const {
    return query_.substr(token.begin, token.end - token.begin);
  }

  bool is_word(const Token& token, std::string_view word) const {
    const std::string_view found = text(token);
    return token.kind == TokenKind::word &&
           std::equal(found.begin(), found.end(), word.begin(), word.end(),
                      [](char a, char b) { return lower(a) == b; });
  }

  bool is_symbol(const Token& token, std::string_view characters) const {
    return token.kind == TokenKind::symbol && token.end == token.begin + 1 &&
           characters.find(query_[token.begin]) != std::string_view::npos;
  }

  template <typename Test>
  bool every(Test test) const {
    return std::all_of(first_, past_, [&](const Token& token) {
      return token.kind == TokenKind::space || test(token);
    });
  }

  // "7 DAY", "name DESC", "top 10".
  bool is_two_words() const {
    return count_ == 2 && every([](const Token& token) {
             return token.kind == TokenKind::word || token.kind == TokenKind::number;
           });
  }

  // "2024-05-01 10:30:00", "10-20", "-1.5", ">= 100".
  bool is_numeric() const {
    bool at_start = true;
    return every([&](const Token& token) {
      const bool comparison = at_start && token.kind == TokenKind::symbol &&
                              text(token).find_first_not_of("<>=!") == std::string_view::npos;
      at_start = false;
      return comparison || token.kind == TokenKind::number || is_symbol(token, "-+,.:/");
    });
  }

  // "1, 2, 3", "'a','b'", "p.price desc, name", "-created_at".
  bool is_list() const {
    enum { item, part, after, nulls } expected = item;
    return every([&](const Token& token) {
      const bool named = token.kind == TokenKind::word || token.kind == TokenKind::name;
      if (is_symbol(token, ",") && expected != part && expected != nulls) {
        expected = item;
      } else if (expected == item && is_symbol(token, "+-")) {
        expected = item;
      } else if ((expected == item || expected == part) &&
                 (named || token.kind == TokenKind::number || token.kind == TokenKind::string ||
                  is_symbol(token, "*"))) {
        expected = after;
      } else if (expected == after && is_symbol(token, ".")) {
        expected = part;
      } else if (expected == after && (is_word(token, "asc") || is_word(token, "desc"))) {
        expected = after;
      } else if (expected == after && is_word(token, "nulls")) {
        expected = nulls;
      } else if (expected == nulls && (is_word(token, "first") || is_word(token, "last"))) {
        expected = after;
      } else {
        return false;
      }
      return true;
    });
  }

  // "NOW()", "RAND()", "COUNT(*)": applications' own queries are full of them, and
  // they tell nothing.
  bool is_call() const {
    constexpr std::array<std::string_view, 9> names{"now",          "rand",    "random",
                                                    "count",        "curdate", "curtime",
                                                    "current_date", "uuid",    "current_timestamp"};
    const bool named = std::any_of(names.begin(), names.end(),
                                   [&](std::string_view name) { return is_word(*first_, name); });
    return named && count_ <= 4 &&
           every([&](const Token& token) { return &token == &*first_ || is_symbol(token, "()*"); });
  }

  // "ORDER BY RAND()", "ON DUPLICATE KEY UPDATE": what an application would hardly
  // put together from data, where it would not put data.
  bool is_clause() const {
    constexpr std::array<std::string_view, 24> starts{
        "select", "from",   "where",  "order", "group",  "having", "limit", "offset",
        "join",   "left",   "right",  "inner", "outer",  "cross",  "on",    "insert",
        "into",   "values", "update", "set",   "delete", "not",    "for",   "is"};
    if (count_ > chance_tokens || begin_ != first_->begin) return false;
    if (before_ != nullptr && before_->kind == TokenKind::symbol && !is_symbol(*before_, ")*")) {
      return false;
    }
    return std::any_of(starts.begin(), starts.end(),
                       [&](std::string_view word) { return is_word(*first_, word); }) &&
           every([&](const Token& token) {
             return token.kind == TokenKind::word || token.kind == TokenKind::number ||
                    is_symbol(token, "(),.*=");
           });
  }

  std::string_view query_;
  std::size_t begin_;
  std::size_t end_;
  Position first_;
  Position past_;
  const Token* before_ = nullptr;
  std::size_t count_ = 0;
  bool plain_ = true;  // no comment or hint, and every quoted token whole
};

class Test {
 public:
  Test(std::string_view query, std::string_view values)
      : query_(query),
        values_(values),
        tokens_(read_query(query)),
        room_(room(query, tokens_)),
        index_(query, room_),
        spare_steps_(8 * (query.size() + values.size())) {}

  bool run() {
    for (std::size_t border = 0; border < values_.size();) {
      const std::size_t end = std::min(values_.find('&', border), values_.size());
      const std::size_t equals = values_.substr(0, end).find('=', border);
      if (equals != std::string_view::npos && follow(equals + 1)) return true;
      border = end + 1;
    }
    return false;
  }

 private:
  // For each end of an occurrence, how far it may reach back without touching more
  // than the inside of one token.
  static std::vector<std::uint32_t> room(std::string_view query, const std::vector<Token>& tokens) {
    std::vector<std::uint32_t> room(query.size() + 1);
    for (const Token& token : tokens) {
      if (token.kind == TokenKind::hint) continue;
      for (std::uint32_t end = token.content + 1; end <= token.content_end; ++end) {
        room[end] = end - token.content;
      }
    }
    return room;
  }

  // Tries every value that starts here. A later "&" can be the value's own, so it
  // goes on behind the first; the steps behind are limited, because the starts
  // there take them again.
  bool follow(std::size_t start) {
    while (start < values_.size() && is_blank(values_[start])) ++start;
    OccurrenceIndex::State state = OccurrenceIndex::start;
    OccurrenceIndex::State trimmed_state = state;
    std::size_t trimmed = start;  // where the value ends without its trailing blanks
    bool first = true;
    for (std::size_t i = start;; ++i) {
      if (i == values_.size() || values_[i] == '&') {
        if (is_suspect(trimmed_state, values_.substr(start, trimmed - start))) return true;
        first = false;
        if (i == values_.size()) return false;
      }
      if (!first && spare_steps_-- == 0) {
        spare_steps_ = 0;
        return false;
      }
      if (!index_.advance(&state, values_[i])) {
        // Without its trailing blanks the value may still have occurred.
        while (i < values_.size() && is_blank(values_[i])) ++i;
        return (i == values_.size() || values_[i] == '&') &&
               is_suspect(trimmed_state, values_.substr(start, trimmed - start));
      }
      if (reaches_cut(state, i + 1 - start)) return true;
      if (is_blank(values_[i])) continue;
      trimmed = i + 1;
      trimmed_state = state;
    }
  }

  // Is this the part of a longer value that a cut has left at the query's end?
  bool reaches_cut(OccurrenceIndex::State state, std::size_t length) {
    if (query_.size() < query_limit || length < shortest || length <= room_.back() ||
        !index_.at_end(state)) {
      return false;
    }
    const Touched touched(query_, tokens_, query_.size() - length, query_.size());
    work_ += touched.count() + 1;
    return work_ > most_work || !touched.is_allowed();
  }

  // `value` occurs in the query, and its state in the index is this.
  bool is_suspect(OccurrenceIndex::State state, std::string_view value) {
    if (value.size() < shortest || value.size() <= index_.least_room(state)) return false;
    if (value.find_first_not_of("'\"`") == std::string_view::npos) return false;
    if (!suspects_.insert(value).second) return false;
    if (suspects_.size() > most_suspects) return true;
    bool as_data = false;
    bool by_chance = false;
    for (std::size_t at = find_part(query_, value, 0); at != std::string_view::npos;
         at = find_part(query_, value, at + 1)) {
      const Touched touched(query_, tokens_, at, at + value.size());
      work_ += touched.count() + 1;
      if (work_ > most_work) return true;
      if (touched.is_within_delimiters()) {
        as_data = true;
      } else if (!touched.is_allowed()) {
        if (touched.count() > chance_tokens) return true;
        by_chance = true;
      }
    }
    return by_chance && !(as_data && is_sent_once(value));
  }

  // Sent twice, the text that stands where data belongs does not explain the other.
  bool is_sent_once(std::string_view value) const {
    return find_part(values_, value, find_part(values_, value, 0) + 1) == std::string_view::npos;
  }

  std::string_view query_;
  std::string_view values_;
  std::vector<Token> tokens_;
  std::vector<std::uint32_t> room_;
  OccurrenceIndex index_;
  std::unordered_set<std::string_view> suspects_;
  std::size_t spare_steps_;
  std::size_t work_ = 0;
};

// PHP's stripslashes().
std::string without_slashes(std::string_view values) {
  std::string text;
  text.reserve(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i] == '\\' && ++i == values.size()) break;
    text += values[i];
  }
  return text;
}

// A few values are looked for in the plain way before the query is read: most
// requests have few, and most queries hold none of them.
bool may_hold_a_value(std::string_view query, std::string_view values) {
  constexpr int few = 32;
  if (query.size() >= query_limit) return true;  // a part of a value can be enough
  int seen = 0;
  for (std::size_t border = 0; border < values.size();) {
    const std::size_t end = std::min(values.find('&', border), values.size());
    const std::size_t equals = values.substr(0, end).find('=', border);
    border = end + 1;
    if (equals == std::string_view::npos) continue;
    if (++seen > few) return true;
    std::size_t start = equals + 1;
    std::size_t trimmed = end;
    while (start < end && is_blank(values[start])) ++start;
    while (trimmed > start && is_blank(values[trimmed - 1])) --trimmed;
    // Whatever a value that starts here goes on with, it starts with this.
    const std::string_view least = values.substr(start, std::max(trimmed - start, shortest));
    if (least.size() >= shortest && find_part(query, least, 0) != std::string_view::npos) {
      return true;
    }
  }
  return false;
}

bool reaches_over_borders(std::string_view query, std::string_view values) {
  return may_hold_a_value(query, values) && Test(query, values).run();
}

}  // namespace

bool is_injected(std::string_view query, std::string_view values) {
  if (reaches_over_borders(query, values)) return true;
  // Some applications put slashes into their request arrays and take them out of
  // what they use.
  return values.find('\\') != std::string_view::npos &&
         reaches_over_borders(query, without_slashes(values));
}

}  // namespace vorgate::sql
