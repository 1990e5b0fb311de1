#include "agent/sql/sql_lexer.h"

#include <algorithm>
#include <array>

namespace vorgate::sql {
namespace {

bool is_digit(unsigned char c) { return c >= '0' && c <= '9'; }

bool is_hex_digit(unsigned char c) {
  return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool is_bit(unsigned char c) { return c == '0' || c == '1'; }

bool is_space(unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Bytes beyond ASCII belong to names, whatever the encoding.
bool is_word(unsigned char c) {
  return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '$' ||
         c >= 0x80;
}

// Longer ones first.
constexpr std::array<std::string_view, 14> symbols{"<=>", "->>", "<=", ">=", "<>", "!=", "<<",
                                                   ">>",  "||",  "&&", ":=", "::", "->", "=="};

}  // namespace

unsigned char Lexer::at(std::size_t position) const noexcept {
  ++examined_;
  return has(position) ? static_cast<unsigned char>(text_[position]) : 0;
}

template <typename Test>
std::size_t Lexer::skip(std::size_t position, Test test) const noexcept {
  while (has(position) && test(at(position))) ++position;
  return position;
}

void Lexer::finish(Token* token, TokenKind kind, std::size_t end) noexcept {
  token->kind = kind;
  token->end = static_cast<std::uint32_t>(std::min(end, text_.size()));
  token->content_end = token->end;
}

// From the opening quote on; a prefix may stand in front of it.
void Lexer::quoted(Token* token, std::size_t quote) noexcept {
  const unsigned char mark = at(quote);
  const bool extended = quote == position_ + 1 && (at(position_) | 0x20) == 'e';
  const bool escapes =
      mark != '`' &&
      (dialect_ == Dialect::mysql || (dialect_ == Dialect::postgresql && extended && mark == '\''));
  token->content = static_cast<std::uint32_t>(quote + 1);
  token->closed = false;
  std::size_t end = quote + 1;
  while (has(end) && !token->closed) {
    const unsigned char c = at(end);
    if (c == '\\' && escapes) {
      end += 2;
    } else if (c != mark) {
      ++end;
    } else if (at(end + 1) == mark) {
      end += 2;
    } else {
      ++end;
      token->closed = true;
    }
  }
  finish(token, mark == '`' ? TokenKind::name : TokenKind::string, end);
  if (token->closed) --token->content_end;
}

// SQLite's [name], if one starts here.
bool Lexer::bracketed(Token* token) noexcept {
  if (dialect_ != Dialect::sqlite || at(position_) != '[') return false;
  token->content = static_cast<std::uint32_t>(position_ + 1);
  const std::size_t end = skip(token->content, [](unsigned char c) { return c != ']'; });
  token->closed = has(end);
  finish(token, TokenKind::name, end + 1);
  if (token->closed) --token->content_end;
  return true;
}

// PostgreSQL's $tag$text$tag$, if one starts here.
bool Lexer::between_dollars(Token* token) noexcept {
  if (dialect_ != Dialect::postgresql || at(position_) != '$' || is_digit(at(position_ + 1))) {
    return false;
  }
  const std::size_t tag_end =
      skip(position_ + 1, [](unsigned char c) { return is_word(c) && c != '$'; });
  constexpr std::size_t longest_tag = 63;
  if (at(tag_end) != '$' || tag_end - position_ > longest_tag + 1) return false;
  const std::string_view tag = text_.substr(position_, tag_end + 1 - position_);
  token->content = static_cast<std::uint32_t>(tag_end + 1);
  const std::size_t close = text_.find(tag, token->content);
  token->closed = close != std::string_view::npos;
  finish(token, TokenKind::string, token->closed ? close + tag.size() : text_.size());
  if (token->closed) token->content_end = static_cast<std::uint32_t>(close);
  return true;
}

// A comment or a hint's border, if one starts here.
bool Lexer::comment(Token* token) noexcept {
  const bool mysql = dialect_ == Dialect::mysql;
  const unsigned char first = at(position_);
  const unsigned char second = at(position_ + 1);
  const bool dashes =
      first == '-' && second == '-' && (!mysql || !has(position_ + 2) || at(position_ + 2) <= ' ');
  if (dashes || (mysql && first == '#')) {
    token->content = static_cast<std::uint32_t>(position_ + (dashes ? 2 : 1));
    finish(token, TokenKind::comment,
           skip(token->content, [](unsigned char c) { return c != '\n'; }));
    return true;
  }
  if (in_hint_ && first == '*' && second == '/') {
    in_hint_ = false;
    finish(token, TokenKind::hint, position_ + 2);
    return true;
  }
  if (first != '/' || second != '*') return false;
  const std::size_t mark = position_ + (at(position_ + 2) == 'M' ? 3 : 2);
  if (mysql && !in_hint_ && at(mark) == '!') {
    // A version has five or six digits; any other number is the statement's.
    std::size_t digits = 0;
    while (digits < 6 && is_digit(at(mark + 1 + digits))) ++digits;
    in_hint_ = true;
    finish(token, TokenKind::hint, mark + 1 + (digits >= 5 ? digits : 0));
    return true;
  }
  token->content = static_cast<std::uint32_t>(position_ + 2);
  token->closed = false;
  std::size_t end = position_ + 2;
  for (int depth = 1; depth > 0 && has(end); ++end) {
    if (at(end) == '*' && at(end + 1) == '/') {
      --depth;
      ++end;
    } else if (at(end) == '/' && at(end + 1) == '*' && dialect_ == Dialect::postgresql) {
      ++depth;
      ++end;
    }
    token->closed = depth == 0;
  }
  finish(token, TokenKind::comment, end);
  token->content_end = token->closed ? token->end - 2 : token->end;
  return true;
}

void Lexer::number(Token* token) noexcept {
  const unsigned char base = at(position_) == '0' ? at(position_ + 1) : 0;
  std::size_t end;
  bool fraction = false;
  if (base == 'x' && is_hex_digit(at(position_ + 2))) {
    end = skip(position_ + 2, is_hex_digit);
  } else if (base == 'b' && is_bit(at(position_ + 2))) {
    end = skip(position_ + 2, is_bit);
  } else {
    end = skip(position_, is_digit);
    if (at(end) == '.') {
      fraction = true;
      end = skip(end + 1, is_digit);
    }
    if ((at(end) | 0x20) == 'e') {
      const std::size_t sign = at(end + 1) == '+' || at(end + 1) == '-' ? 1 : 0;
      if (is_digit(at(end + 1 + sign))) {
        fraction = true;
        end = skip(end + 1 + sign, is_digit);
      }
    }
  }
  // "2nd" is a name, but what follows "1.5" or "1e0" is a word of its own.
  if (!fraction && has(end) && is_word(at(end))) {
    finish(token, TokenKind::word, skip(end, is_word));
  } else {
    finish(token, TokenKind::number, end);
  }
}

void Lexer::word(Token* token) noexcept {
  const std::size_t end = skip(position_, is_word);
  const std::size_t length = end - position_;
  const unsigned char first = at(position_);
  constexpr std::string_view prefixes = "nNxXbBeE";
  const bool prefix =
      first == '_' || (length == 1 && prefixes.find(static_cast<char>(first)) != prefixes.npos);
  if (prefix && at(end) == '\'') {
    quoted(token, end);
  } else {
    finish(token, TokenKind::word, end);
  }
}

bool Lexer::next(Token* token) noexcept {
  if (!has(position_)) return false;
  const auto begin = static_cast<std::uint32_t>(position_);
  *token = {TokenKind::symbol, true, begin, begin, begin, begin};
  const unsigned char first = at(position_);
  if (is_space(first)) {
    finish(token, TokenKind::space, skip(position_, is_space));
  } else if (first == '\'' || first == '"' || (first == '`' && dialect_ != Dialect::postgresql)) {
    quoted(token, position_);
  } else if (bracketed(token) || between_dollars(token)) {
    // done
  } else if (is_digit(first) || (first == '.' && !after_operand_ && is_digit(at(position_ + 1)))) {
    number(token);
  } else if (is_word(first)) {
    word(token);
  } else if (first == '@' && (is_word(at(position_ + 1)) || at(position_ + 1) == '@')) {
    finish(token, TokenKind::variable,
           skip(position_ + 2, [](unsigned char c) { return is_word(c) || c == '.'; }));
  } else if (!comment(token)) {
    std::size_t length = 1;
    for (const std::string_view symbol : symbols) {
      std::size_t same = 0;
      while (same < symbol.size() &&
             at(position_ + same) == static_cast<unsigned char>(symbol[same])) {
        ++same;
      }
      if (same == symbol.size()) {
        length = same;
        break;
      }
    }
    finish(token, TokenKind::symbol, position_ + length);
  }
  after_operand_ = token->kind == TokenKind::word || token->kind == TokenKind::name;
  position_ = token->end;
  return true;
}

std::vector<Token> tokenize(std::string_view text, Dialect dialect) {
  std::vector<Token> tokens;
  Lexer lexer(text, dialect);
  for (Token token{}; lexer.next(&token);) tokens.push_back(token);
  return tokens;
}

bool all_quotes_closed(const std::vector<Token>& tokens) noexcept {
  return std::all_of(tokens.begin(), tokens.end(), [](const Token& token) {
    return token.closed || (token.kind != TokenKind::string && token.kind != TokenKind::name);
  });
}

std::vector<Token> read_query(std::string_view query, Dialect dialect) {
  if (dialect != Dialect::automatic) return tokenize(query, dialect);
  std::vector<Token> tokens = tokenize(query, Dialect::mysql);
  if (query.size() >= query_limit || all_quotes_closed(tokens)) return tokens;
  for (const Dialect other : {Dialect::sqlite, Dialect::postgresql}) {
    std::vector<Token> read = tokenize(query, other);
    if (all_quotes_closed(read)) return read;
  }
  return tokens;
}

}  // namespace vorgate::sql
