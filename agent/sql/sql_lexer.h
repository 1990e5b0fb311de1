#ifndef VORGATE_AGENT_SQL_SQL_LEXER_H
#define VORGATE_AGENT_SQL_SQL_LEXER_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vorgate::sql {

// How many bytes of a query the agent is given at most. One of this length may
// have been cut anywhere, also within a literal.
constexpr std::size_t query_limit = 4096;

enum class TokenKind : std::uint8_t {
  space,
  comment,   // "-- ", "#" or "/* */"
  hint,      // "/*!40101" and its "*/": what stands between them is executed
  word,      // a keyword or a bare identifier
  variable,  // "@name" or "@@name"
  number,    // also hexadecimal and bit literals without quotes
  string,    // in single or double quotes, with its prefix (N'..', x'..', _utf8'..')
  name,      // an identifier in backticks or brackets
  symbol,    // an operator or a punctuation character
};

// Offsets into the query. Of a string, name or comment, [content, content_end) is
// what stands between the delimiters; of any other token it is the token.
struct Token {
  TokenKind kind;
  bool closed;  // false: the query ends within this string, name or comment
  std::uint32_t begin;
  std::uint32_t content;
  std::uint32_t content_end;
  std::uint32_t end;
};

// Where servers read the same bytes in different ways.
//   mysql       a backslash escapes within quotes; "#" and "-- " start comments;
//               comments can be executable.
//   sqlite      a backslash means itself; "--" starts a comment; names may stand
//               in backticks and brackets.
//   postgresql  a backslash means itself, but in E'..'; "--" starts a comment;
//               comments nest; texts may stand between "$tag$"s.
//   automatic   not known: read_query() chooses.
enum class Dialect : std::uint8_t { automatic, mysql, sqlite, postgresql };

// Cuts a query into tokens. Any bytes are fine: the tokens follow each other
// without gaps and cover the whole text. The text must be shorter than 4 GiB.
class Lexer {
 public:
  // dialect  not automatic.
  Lexer(std::string_view text, Dialect dialect) noexcept : text_(text), dialect_(dialect) {}

  // The next token; false at the end of the text.
  bool next(Token* token) noexcept;

  // How many bytes have been looked at so far, those looked at again included.
  std::size_t examined() const noexcept { return examined_; }

 private:
  unsigned char at(std::size_t position) const noexcept;
  bool has(std::size_t position) const noexcept { return position < text_.size(); }
  template <typename Test>
  std::size_t skip(std::size_t position, Test test) const noexcept;

  void quoted(Token* token, std::size_t quote) noexcept;
  bool bracketed(Token* token) noexcept;
  bool between_dollars(Token* token) noexcept;
  bool comment(Token* token) noexcept;
  void number(Token* token) noexcept;
  void word(Token* token) noexcept;
  void finish(Token* token, TokenKind kind, std::size_t end) noexcept;

  std::string_view text_;
  Dialect dialect_;
  std::size_t position_ = 0;
  bool in_hint_ = false;
  bool after_operand_ = false;  // the last byte belongs to an operand: a "." continues it
  mutable std::size_t examined_ = 0;
};

std::vector<Token> tokenize(std::string_view text, Dialect dialect);

// The tokens of a query. Where the server is not known: as MySQL reads it, unless
// only the reading of SQLite or PostgreSQL closes all quotes.
std::vector<Token> read_query(std::string_view query, Dialect dialect);

// Is no string and no name open at the end?
bool all_quotes_closed(const std::vector<Token>& tokens) noexcept;

}  // namespace vorgate::sql

#endif  // VORGATE_AGENT_SQL_SQL_LEXER_H
