#include "agent/sql/sql_injection.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "agent/sql/occurrence_index.h"
#include "agent/sql/sql_lexer.h"
#include "agent/text.h"

namespace vorgate::sql {
namespace {

using agent::lower;
using agent::lowered;

// Shorter values can break a query but not bend it; and a quote or a bracket that
// somebody typed stands in every query anyway. (So do quotes in any number.)
constexpr std::size_t shortest = 3;

// A text about SQL of so few tokens, such as "SELECT * FROM", can stand in the
// application's own query by chance.
constexpr std::size_t chance_tokens = 8;

// No ordinary request comes near these. Beyond them the request was built to keep
// the test busy, and that answers the question.
constexpr std::size_t most_values = 20'000;
constexpr std::size_t most_suspects = 64;
constexpr std::size_t most_work = 25'000;  // roughly: bytes followed and tokens looked at

// Behind a value's first "&". Beyond it, values end there.
constexpr std::size_t most_further_steps = 10'000;

// How much is read of the rest of a value that the query's cut has shortened.
constexpr std::size_t longest_rest = 2048;

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

bool is_one_of(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(), [&](std::string_view each) {
    return std::equal(word.begin(), word.end(), each.begin(), each.end(),
                      [](char a, char b) { return lower(a) == b; });
  });
}

// An occurrence in a query: the tokens that it touches, without spaces.
class Touched {
 public:
  // dashes  do two dashes start a comment on a server that may be meant?
  Touched(std::string_view query, const std::vector<Token>& tokens, bool dashes, std::size_t begin,
          std::size_t end)
      : query_(query), begin_(begin), end_(end), first_(token_at(tokens, begin)), past_(first_) {
    for (; past_ != tokens.end() && past_->begin < end; ++past_) {
      if (past_->kind == TokenKind::space) continue;
      if (count_ == 0) start_ = &*past_;
      ++count_;
      const bool whole = past_->begin >= begin && past_->end <= end;
      if (past_->kind == TokenKind::comment || past_->kind == TokenKind::hint ||
          (is_quoted(*past_) && !whole) ||
          (dashes && is_symbol(*past_, "-") && past_ != first_ && is_symbol(past_[-1], "-"))) {
        plain_ = false;
      }
      last_ = &*past_;
    }
    for (auto token = first_; token != tokens.begin() && before_ == nullptr;) {
      if ((--token)->kind != TokenKind::space && token->kind != TokenKind::comment) {
        before_ = &*token;
      }
    }
    whole_ = before_ == nullptr && std::all_of(past_, tokens.end(), [&](const Token& token) {
               return token.kind == TokenKind::space || is_symbol(token, ";");
             });
  }

  std::size_t count() const { return count_; }

  // Within the quotes or within the comment: data, whatever it says.
  bool is_within_delimiters() const {
    return first_ + 1 == past_ && (is_quoted(*first_) || first_->kind == TokenKind::comment) &&
           begin_ >= first_->content && end_ <= first_->content_end;
  }

  // "user()", "version()".
  bool is_bare_call() const {
    return count_ == 3 && start_->kind == TokenKind::word && is_symbol(*last_, ")") &&
           is_symbol(*behind(start_), "(");
  }

  // Does it go on where a literal has ended? What people write seldom does.
  bool continues_expression() const {
    if (count_ == 0 || start_->kind == TokenKind::comment) return false;
    if (start_->kind != TokenKind::word) return true;
    return is_word(start_, {"or",    "and",   "xor", "union",   "like",   "rlike", "regexp",
                            "in",    "is",    "not", "between", "having", "limit", "group",
                            "order", "where", "on",  "div",     "mod",    "into",  "for"});
  }

  // No more than data, or than a choice that applications leave to their users.
  // as_data  does the same text stand elsewhere in the query as data alone?
  bool is_allowed(bool as_data) const {
    if (is_within_delimiters() || is_border()) return true;
    if (!plain_) return false;
    if (whole_) return count_ <= 1 || is_ordinary_statement();
    return count_ <= 1 || is_two_words() || is_numeric() || is_list() || is_call() || is_clause() ||
           is_condition(as_data);
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

  bool is_word(const Token* token, std::initializer_list<std::string_view> words) const {
    return token != nullptr && token->kind == TokenKind::word && is_one_of(text(*token), words);
  }

  bool is_symbol(const Token& token, std::string_view characters) const {
    return token.kind == TokenKind::symbol && token.end == token.begin + 1 &&
           characters.find(query_[token.begin]) != std::string_view::npos;
  }

  // The touched token behind this one, or null.
  const Token* behind(const Token* token) const {
    if (token == last_) return nullptr;
    for (++token; token->kind == TokenKind::space;) ++token;
    return token;
  }

  template <typename Test>
  bool every(Test test) const {
    return std::all_of(first_, past_, [&](const Token& token) {
      return token.kind == TokenKind::space || test(token);
    });
  }

  // No more than one end of a literal, and commas and brackets beside it. What bends a
  // query has to leave one literal and to enter another, or to hide the rest.
  bool is_border() const {
    const auto cut = [&](const Token& token) {
      return is_quoted(token) && token.closed && (token.begin < begin_ || token.end > end_);
    };
    if (count_ == 0 || count_ > 3 || cut(*start_) + cut(*last_) == 0) return false;
    if (count_ > 1 && cut(*start_) && cut(*last_)) return false;
    return every([&](const Token& token) { return cut(token) || is_symbol(token, ",()"); });
  }

  // "7 DAY", "name DESC", "top 10".
  bool is_two_words() const {
    return count_ == 2 && every([](const Token& token) {
             return token.kind == TokenKind::word || token.kind == TokenKind::number;
           });
  }

  // "START TRANSACTION", "SHOW TABLES": these are searched for, and tell nothing.
  bool is_ordinary_statement() const {
    return is_two_words() && is_word(start_, {"start", "begin", "show", "commit", "rollback"});
  }

  // "2024-05-01 10:30:00", "10-20", "-1.5", ">= 100".
  bool is_numeric() const {
    // "id = 7-2" asks whether the server counts.
    if (count_ == 3 && !is_symbol(*behind(start_), ".,:/") && before_ != nullptr &&
        is_symbol(*before_, "=<>") && start_->kind == TokenKind::number) {
      return false;
    }
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
      } else if (expected == after && is_word(&token, {"asc", "desc"})) {
        expected = after;
      } else if (expected == after && is_word(&token, {"nulls"})) {
        expected = nulls;
      } else if (expected == nulls && is_word(&token, {"first", "last"})) {
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
    return is_word(start_, {"now", "rand", "random", "count", "curdate", "curtime", "current_date",
                            "uuid", "current_timestamp"}) &&
           count_ <= 4 &&
           every([&](const Token& token) { return &token == start_ || is_symbol(token, "()*"); });
  }

  bool is_of_words(std::string_view symbols) const {
    return every([&](const Token& token) {
      return token.kind == TokenKind::word || token.kind == TokenKind::number ||
             is_symbol(token, symbols);
    });
  }

  // "WHERE 1=1", "1=1 AND" and, where the same text was searched for, "status = 1"
  // behind a word that begins a condition: there, applications put no data.
  bool is_condition(bool as_data) const {
    if (begin_ != start_->begin || count_ > chance_tokens || !is_of_words("(),.*=<>")) return false;
    if (!is_word(before_, {"where", "and", "or", "on", "having", "when"})) return false;
    const Token* const sign = behind(start_);
    const bool constant = start_->kind == TokenKind::number && sign != nullptr &&
                          is_symbol(*sign, "=<>") && count_ <= 4;
    return as_data || constant;
  }

  // Cannot be a whole: the query's own text has to go on.
  bool is_unfinished() const {
    return is_symbol(*last_, "(,.=") ||
           is_word(last_, {"from", "where", "and", "or", "by", "select", "join", "on", "in", "as",
                           "into", "set", "limit", "values", "not", "having", "like", "union"});
  }

  // "ORDER BY RAND()", "ON DUPLICATE KEY UPDATE": what an application would hardly
  // put together from data, where it would not put data.
  bool is_clause() const {
    if (count_ > chance_tokens || begin_ != start_->begin || !is_of_words("(),.*=")) return false;
    if (!is_word(start_,
                 {"select", "from",   "where",  "order", "group",  "having", "limit", "offset",
                  "join",   "left",   "right",  "inner", "outer",  "cross",  "on",    "insert",
                  "into",   "values", "update", "set",   "delete", "not",    "for",   "is"})) {
      return false;
    }
    const Token* const second = behind(start_);
    // Functions and operators of these names are no clauses.
    if (is_word(start_, {"left", "right"}) && !is_word(second, {"join", "outer"})) return false;
    if (is_word(start_, {"order", "group"}) && !is_word(second, {"by"})) return false;
    if (is_word(start_, {"not"})) {
      return is_word(second, {"in", "like", "null", "exists", "between", "regexp", "rlike"});
    }
    const bool selects = is_word(start_, {"select"});
    bool nested = false;
    for (const Token* token = start_; token != nullptr; token = behind(token)) {
      const Token* const next = behind(token);
      nested = nested || (is_symbol(*token, "(") && is_word(next, {"select"}));
    }
    if (nested && !selects) return false;
    if (before_ == nullptr) return true;
    if (before_->kind == TokenKind::symbol) {
      return is_symbol(*before_, ")*;") || (is_symbol(*before_, "(") && is_unfinished());
    }
    // Where a value is expected, it is one.
    return !is_word(before_, {"by", "where", "and", "or", "having", "in", "like", "between",
                              "limit", "offset", "set", "values", "when", "then", "else"});
  }

  std::string_view query_;
  std::size_t begin_;
  std::size_t end_;
  Position first_;
  Position past_;
  const Token* start_ = nullptr;
  const Token* last_ = nullptr;
  const Token* before_ = nullptr;
  std::size_t count_ = 0;
  bool plain_ = true;   // no comment or hint, and every quoted token whole
  bool whole_ = false;  // there is nothing else in the query
};

// What applications do to a value before they use it. Upper and lower case are no
// changes of their own: values are followed without regard to it.
enum class Change : std::uint8_t {
  none,
  slashes_off,  // stripslashes()
  slashes,      // addslashes()
  escaped,      // mysqli_real_escape_string()
  doubled,      // quotes doubled, as by PDO::quote() for SQLite and PostgreSQL
  tags_off,     // strip_tags()
  decoded,      // urldecode()
  entities,     // htmlspecialchars()
};
constexpr std::size_t changes = 8;

// The changes that do something to this byte, a bit each.
constexpr unsigned int changes_of(char c) {
  const auto bit = [](Change change) { return 1u << static_cast<unsigned int>(change); };
  switch (c) {
    case '\\':
      return bit(Change::slashes_off) | bit(Change::slashes) | bit(Change::escaped);
    case '\'':
      return bit(Change::slashes) | bit(Change::escaped) | bit(Change::doubled) |
             bit(Change::entities);
    case '"':
      return bit(Change::slashes) | bit(Change::escaped) | bit(Change::entities);
    case '\n':
    case '\r':
    case '\x1a':
      return bit(Change::escaped);
    case '<':
      return bit(Change::tags_off) | bit(Change::entities);
    case '>':
      return bit(Change::entities);
    case '%':
    case '+':
      return bit(Change::decoded);
    default:
      return 0;
  }
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  return lower(c) >= 'a' && lower(c) <= 'f' ? lower(c) - 'a' + 10 : -1;
}

// What a change makes of the byte at `*at`, which it moves on. Valid until the next call.
class Changed {
 public:
  std::string_view next(Change change, std::string_view values, std::size_t* at) {
    const char c = values[(*at)++];
    buffer_ = {c, c};
    const std::string_view same(buffer_.data(), 1);
    if (change == Change::decoded && c == '+') return " ";
    if (change == Change::entities && c == '&') return "&amp;";  // calls for no change alone
    if ((changes_of(c) >> static_cast<unsigned int>(change) & 1) == 0) return same;
    const auto peek = [&](std::size_t distance) {
      return *at + distance < values.size() ? values[*at + distance] : '\0';
    };
    switch (change) {
      case Change::slashes_off:
        if (*at == values.size()) return {};
        buffer_[0] = values[(*at)++];
        return same;
      case Change::slashes:
      case Change::escaped:
        buffer_ = {'\\', c == '\n' ? 'n' : c == '\r' ? 'r' : c == '\x1a' ? 'Z' : c};
        return {buffer_.data(), 2};
      case Change::doubled:
        return {buffer_.data(), 2};
      case Change::tags_off: {
        if (is_blank(peek(0))) return same;
        constexpr std::size_t longest_tag = 256;
        const std::size_t end = values.substr(*at, longest_tag).find('>');
        *at = end == std::string_view::npos ? std::min(values.find('&', *at), values.size())
                                            : *at + end + 1;
        return {};
      }
      case Change::decoded:
        if (hex_digit(peek(0)) < 0 || hex_digit(peek(1)) < 0) return same;
        buffer_[0] = static_cast<char>(hex_digit(peek(0)) * 16 + hex_digit(peek(1)));
        *at += 2;
        return same;
      case Change::entities:
        return c == '\''  ? "&#039;"
               : c == '"' ? "&quot;"
               : c == '<' ? "&lt;"
               : c == '>' ? "&gt;"
                          : "&amp;";
      case Change::none:
        break;
    }
    return same;
  }

 private:
  std::array<char, 2> buffer_{};
};

// As it was sent, or all of it folded as by strtolower() or strtoupper().
bool is_same(std::string_view found, std::string_view sent) {
  const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; };
  const auto equals = [&](auto fold) {
    return std::equal(found.begin(), found.end(), sent.begin(),
                      [&](char a, char b) { return a == fold(b); });
  };
  return found == sent || equals(lower) || equals(upper);
}

// The starts of values, one after the other. A value starts behind the first "="
// since the last "&"; but PHP leaves no blank and no dot in a parameter's name.
class Starts {
 public:
  explicit Starts(std::string_view values) : values_(values) {}

  bool next(std::size_t* start) {
    constexpr std::size_t longest_name = 256;
    while (border_ < values_.size()) {
      const std::size_t equals = find('=', border_);
      if (equals == values_.size()) return false;
      // The last "&" in front of it begins the name.
      std::string_view name = values_.substr(border_, equals - border_);
      const void* const and_sign = memrchr(name.data(), '&', name.size());
      if (and_sign != nullptr) {
        const char* const first = static_cast<const char*>(and_sign) + 1;
        name.remove_prefix(static_cast<std::size_t>(first - name.data()));
      }
      border_ = find('&', equals) + 1;
      if (name.size() <= longest_name && name.find_first_of(" .") != std::string_view::npos) {
        continue;
      }
      *start = equals + 1;
      return true;
    }
    return false;
  }

 private:
  std::size_t find(char c, std::size_t from) const {
    // Floods of pairs make most distances short.
    for (const std::size_t near = std::min(from + 8, values_.size()); from < near; ++from) {
      if (values_[from] == c) return from;
    }
    return std::min(values_.find(c, from), values_.size());
  }

  std::string_view values_;
  std::size_t border_ = 0;
};

// Which three bytes stand in a text, in lower case: never says no wrongly.
class Triples {
 public:
  explicit Triples(std::string_view text) {
    for (std::size_t i = 0; i + shortest <= text.size(); ++i) seen_[slot(text.data() + i)] = true;
  }
  bool may_hold(const char* three) const { return seen_[slot(three)]; }

 private:
  static std::size_t slot(const char* three) {
    const auto byte = [&](int i) {
      return static_cast<std::size_t>(static_cast<unsigned char>(lower(three[i])));
    };
    return (byte(0) * 509 + byte(1) * 31 + byte(2)) % bits;
  }
  static constexpr std::size_t bits = 32768;
  std::bitset<bits> seen_;
};

class Test {
 public:
  Test(std::string_view query, std::string_view values, Dialect dialect)
      : query_(query), values_(values), dialect_(dialect), triples_(query) {}

  bool run() {
    std::size_t count = 0;
    std::size_t start = 0;
    for (Starts starts(values_); starts.next(&start);) {
      if (++count > most_values || examine(start)) return true;
    }
    return suspected_ && !doubles_;
  }

 private:
  // What is needed once a value may stand in the query.
  struct Reading {
    Reading(std::string_view query, Dialect dialect)
        : folded(lowered(std::string(query))),
          tokens(read_query(query, dialect)),
          room(room_of(query, tokens)) {
      const bool open = dialect == Dialect::automatic && query.size() < query_limit;
      if (open && all_quotes_closed(tokens)) {
        other = tokenize(query, Dialect::sqlite);
        if (!all_quotes_closed(other)) other.clear();
      }
      // Where a text is data for one server and more for the other, both count.
      if (!other.empty()) {
        const auto other_room = room_of(query, other);
        std::transform(room.begin(), room.end(), other_room.begin(), room.begin(),
                       [](std::uint32_t a, std::uint32_t b) { return std::min(a, b); });
      }
      index.emplace(folded, room);
      for (const Token& token : tokens) {
        const char first = query[token.begin];
        if ((token.kind == TokenKind::name && first == '`') || token.kind == TokenKind::hint ||
            (token.kind == TokenKind::comment && first == '#')) {
          mysql_from = token.begin;
          break;
        }
      }
    }

    std::string folded;
    std::vector<Token> tokens;
    std::vector<Token> other;  // as SQLite and PostgreSQL read the same; empty: they do not
    std::size_t mysql_from = std::string_view::npos;  // here the query shows that it is for MySQL
    std::vector<std::uint32_t> room;
    std::optional<OccurrenceIndex> index;
  };

  // For each end of an occurrence, how far it may reach back without touching more
  // than the inside of one token.
  static std::vector<std::uint32_t> room_of(std::string_view query,
                                            const std::vector<Token>& tokens) {
    std::vector<std::uint32_t> room(query.size() + 1);
    for (const Token& token : tokens) {
      if (token.kind == TokenKind::hint) continue;
      for (std::uint32_t end = token.content + 1; end <= token.content_end; ++end) {
        room[end] = end - token.content;
      }
    }
    return room;
  }

  const Reading& reading() {
    if (!reading_) reading_.emplace(query_, dialect_);
    return *reading_;
  }

  bool is_cut() const { return query_.size() >= query_limit; }

  Touched touched(const std::vector<Token>& tokens, std::size_t begin, std::size_t length) const {
    return {query_, tokens, dialect_ == Dialect::automatic, begin, begin + length};
  }

  // The value that starts here, in all forms.
  bool examine(std::size_t start) {
    const std::size_t sent = start;
    start = behind_blanks(start);
    if (work_ > most_work) return true;
    if (is_cut() && start > sent && follows_cut_blanks(start - sent, start)) return true;
    unsigned int wanted = 1;
    for (std::size_t change = 0; change < changes; ++change) {
      if ((wanted >> change & 1) == 0 || !may_start(static_cast<Change>(change), start, &wanted)) {
        continue;
      }
      if (follow(static_cast<Change>(change), start, &wanted)) return true;
    }
    return false;
  }

  std::size_t behind_blanks(std::size_t at) {
    const std::size_t from = at;
    const std::size_t end = std::min(values_.size(), at + 8 * most_work);
    while (at < end && is_blank(values_[at])) ++at;
    work_ += (at - from) / 8;
    return at;
  }

  // Do the first bytes stand in the query at all? Most often they do not. Adds to
  // `wanted` the changes that the first bytes call for.
  bool may_start(Change change, std::size_t start, unsigned int* wanted) {
    std::array<char, 16> first{};
    std::size_t length = 0;
    std::size_t at = start;
    Changed changed;
    ++work_;
    while (length < shortest && at < values_.size()) {
      if (change == Change::none) {
        *wanted |= changes_of(values_[at]);
        first[length++] = values_[at++];
        continue;
      }
      const std::size_t from = at;
      for (const char c : changed.next(change, values_, &at)) first[length++] = c;
      work_ += (at - from) / 16;
    }
    return length >= shortest && triples_.may_hold(first.data());
  }

  // Tries every value that starts here. A later "&" can be the value's own, so it
  // goes on behind the first; the steps behind are limited, because the starts
  // there take them again. Adds to `wanted` the changes that the bytes call for.
  bool follow(Change change, std::size_t start, unsigned int* wanted) {
    work_ += 2;
    const OccurrenceIndex& index = *reading().index;
    OccurrenceIndex::State state = OccurrenceIndex::start;
    OccurrenceIndex::State trimmed_state = state;
    std::size_t trimmed = 0;  // the length without trailing blanks
    std::size_t cut_length = 0;
    std::size_t cut_at = 0;
    std::size_t further_steps = 0;
    bool first = true;
    Changed changed;
    text_.clear();
    for (std::size_t i = start;;) {
      if (i == values_.size() || values_[i] == '&') {
        if (is_suspect(change, trimmed_state, text_.substr(0, trimmed))) return true;
        first = false;
      }
      if (i == values_.size() || (!first && further_steps_ + ++further_steps > most_further_steps))
        break;
      if (first && ++work_ > most_work) return true;
      const std::size_t from = i;
      if (change == Change::none) *wanted |= changes_of(values_[i]);
      const std::string_view bytes = changed.next(change, values_, &i);
      work_ += (i - from) / 16;
      const bool occurs = std::all_of(bytes.begin(), bytes.end(),
                                      [&](char c) { return index.advance(&state, lower(c)); });
      if (!occurs) {
        // Without its trailing blanks the value may still have occurred.
        const std::size_t end = behind_blanks(from);
        if ((end == values_.size() || values_[end] == '&') &&
            is_suspect(change, trimmed_state, text_.substr(0, trimmed))) {
          return true;
        }
        break;
      }
      text_ += bytes;
      if (is_cut() && index.at_end(state)) {
        cut_length = text_.size();
        cut_at = i;
      }
      if (bytes.empty() || is_blank(bytes.back())) continue;
      trimmed = text_.size();
      trimmed_state = state;
    }
    further_steps_ += further_steps;
    return cut_length >= shortest && reaches_cut(cut_length, cut_at);
  }

  // The query's last `length` bytes are the part of a value that a cut has left.
  bool reaches_cut(std::size_t length, std::size_t rest) {
    const std::size_t begin = query_.size() - length;
    const Touched part = touched(reading().tokens, begin, length);
    work_ += part.count() + 1;
    if (work_ > most_work) return true;
    if (part.is_within_delimiters()) return false;
    return !part.is_allowed(false) || goes_on(begin, rest);
  }

  // Does the query end within blanks that a value starts with?
  bool follows_cut_blanks(std::size_t blanks, std::size_t rest) {
    const std::vector<Token>& tokens = reading().tokens;
    const Token& last = tokens.back();
    return last.kind == TokenKind::space && last.end - last.begin <= blanks &&
           last.end - last.begin >= shortest && goes_on(last.begin, rest);
  }

  // The query's end, from `begin` on, is a value's. What the value is can be told when
  // its rest is read as well, without what only lengthens the last token.
  bool goes_on(std::size_t begin, std::size_t rest) {
    const bool blank = is_blank(query_.back());
    const auto lengthens = [&](char c) {
      return blank ? is_blank(c) : (lower(c) >= 'a' && lower(c) <= 'z') || (c >= '0' && c <= '9');
    };
    const std::size_t from = rest;
    const std::size_t limit = std::min(values_.size(), rest + 8 * most_work);
    while (rest < limit && lengthens(values_[rest])) ++rest;
    std::size_t end = rest;
    while (end < values_.size() && end - rest < longest_rest && !starts_pair(end)) ++end;
    const std::string whole = std::string(query_) + std::string(values_.substr(rest, end - rest));
    work_ += (rest - from) / 8 + whole.size();
    const auto tokens = tokenize(whole, dialect_ == Dialect::automatic ? Dialect::mysql : dialect_);
    const bool read_whole = end - rest < longest_rest;
    if (!read_whole && !all_quotes_closed(tokens)) return false;
    return !Touched(whole, tokens, dialect_ == Dialect::automatic, begin, whole.size())
                .is_allowed(false);
  }

  // A parameter's name does not begin with a blank.
  bool starts_pair(std::size_t at) const {
    return values_[at] == '&' && at + 1 < values_.size() && values_[at + 1] != '&' &&
           values_[at + 1] != '=' && !is_blank(values_[at + 1]);
  }

  // The changed value `text` occurs in the query, and its state in the index is this.
  bool is_suspect(Change change, OccurrenceIndex::State state, const std::string& text) {
    const Reading& read = reading();
    doubles_ = doubles_ || (change == Change::doubled && text.find("''") != std::string::npos);
    if (text.size() < shortest || text.size() <= read.index->least_room(state)) return false;
    if (text.find_first_not_of("'\"`\\") == std::string::npos) return false;
    const std::string folded = lowered(std::string(text));
    work_ += text.size() / 8;
    if (!suspects_.insert(folded + static_cast<char>(change)).second) return false;
    if (suspects_.size() > most_suspects) return true;
    const bool as_data = stands_as_data(folded);
    for (std::size_t at = find_part(read.folded, folded, 0); at != std::string_view::npos;
         at = find_part(read.folded, folded, at + 1)) {
      if (!is_same(query_.substr(at, text.size()), text)) continue;
      if (is_more_than_data(change, at, text, as_data)) return true;
      if (++work_ > most_work) return true;
    }
    return false;
  }

  // Within a literal or a comment, and sent once: a text that somebody searched for.
  bool stands_as_data(const std::string& folded) {
    const Reading& read = reading();
    bool stands = false;
    for (std::size_t at = find_part(read.folded, folded, 0);
         at != std::string_view::npos && !stands && work_ <= most_work;
         at = find_part(read.folded, folded, at + 1)) {
      const Touched part = touched(read.tokens, at, folded.size());
      work_ += part.count() + 1;
      stands = part.is_within_delimiters();
    }
    return stands;
  }

  bool is_more_than_data(Change change, std::size_t at, const std::string& text, bool as_data) {
    const Reading& read = reading();
    const auto crosses = [&](const std::vector<Token>& tokens, std::size_t least) {
      const Touched part = touched(tokens, at, text.size());
      work_ += part.count();
      return part.count() >= least && !part.is_allowed(as_data);
    };
    // As the less likely reading, short texts are chance, and in other letter case "user()".
    constexpr std::size_t no_chance = 4;
    const bool by_chance = query_.substr(at, text.size()) != text &&
                           touched(read.tokens, at, text.size()).is_bare_call();
    const bool crossing = !by_chance && crosses(read.tokens, 1);
    if (read.other.empty()) return crossing;
    const bool quotes = text.find_first_of("'\"") != std::string::npos;
    // What is changed for one server can look like an attack to another.
    if (crossing && change != Change::none) return crosses(read.other, 1);
    if (crossing && !quotes && touched(read.other, at, text.size()).is_within_delimiters()) {
      // MySQL's injection by two parameters, or a path in front of a text about SQL.
      suspected_ = suspected_ || touched(read.tokens, at, text.size()).continues_expression();
      return false;
    }
    if (crossing && !crosses(read.other, 1)) {
      suspected_ = true;
      return false;
    }
    if (crossing || change != Change::none || at >= read.mysql_from) return crossing;
    // A backslash that stands as it was sent, in front of a quote: MySQL's escapes
    // would have doubled it.
    const bool escaped = at > 0 && query_[at - 1] == '\\';
    const bool behind_backslash =
        text.find("\\'") != std::string::npos || text.find("\\\"") != std::string::npos;
    return behind_backslash && !escaped && crosses(read.other, no_chance);
  }

  std::string_view query_;
  std::string_view values_;
  Dialect dialect_;
  Triples triples_;
  std::optional<Reading> reading_;
  std::unordered_set<std::string> suspects_;  // each with its change
  std::string text_;                          // of the value that is followed
  bool suspected_ = false;                    // injected if the query is for MySQL
  bool doubles_ = false;                      // a quote is doubled in the query: it is not
  std::size_t further_steps_ = 0;
  std::size_t work_ = 0;
};

}  // namespace

bool is_injected(std::string_view query, std::string_view values, Dialect dialect) {
  return Test(query, values, dialect).run();
}

}  // namespace vorgate::sql
