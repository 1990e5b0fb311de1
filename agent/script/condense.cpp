#include "agent/script/condense.h"

#include <algorithm>

#include "agent/text.h"

namespace vorgate::script {
namespace {

constexpr std::size_t kept_of_word = 128;  // at each end
constexpr std::size_t kept_of_comment = 128;
constexpr std::size_t kept_of_comments = 4096;

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool is_of_word(char c) {
  const char small = agent::lower(c);
  return (small >= 'a' && small <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// Can anything but code begin with it?
bool means_something(char c) {
  return c == '/' || c == '#' || c == '\'' || c == '"' || c == '`' || c == '<' || c == '?';
}

class Condenser {
 public:
  explicit Condenser(std::string_view code) : rest_(code) { out_.reserve(code.size() / 4); }

  std::string take() {
    while (!rest_.empty()) {
      if (!sure_) {
        copy(rest_.size());
      } else if (in_php_) {
        php();
      } else {
        html();
      }
    }
    return std::move(out_.append(comments_));
  }

 private:
  bool at(std::string_view text) const { return agent::starts_with(rest_, text); }

  // Blanks and words are the same wherever they stand.
  void copy(std::size_t size) {
    std::string_view text = rest_.substr(0, size);
    rest_.remove_prefix(text.size());
    while (!text.empty()) {
      const bool blank = is_blank(text.front());
      const bool word = is_of_word(text.front());
      std::size_t end = 1;
      while (end < text.size() && (blank ? is_blank(text[end]) : is_of_word(text[end]) == word) &&
             (blank || !is_blank(text[end]))) {
        ++end;
      }
      if (blank) {
        put_blank();
      } else if (word && end > 2 * kept_of_word) {
        out_.append(text.substr(0, kept_of_word))
            .append(text.substr(end - kept_of_word, kept_of_word));
      } else {
        out_ += text.substr(0, end);
      }
      text.remove_prefix(end);
    }
  }

  void put_blank() {
    if (out_.empty() || out_.back() != ' ') out_ += ' ';
  }

  void leave_out(std::size_t size) {
    if (comments_.size() < kept_of_comments) {
      comments_.append(rest_.substr(0, std::min(size, kept_of_comment))) += '\n';
    }
    rest_.remove_prefix(std::min(size, rest_.size()));
    put_blank();
  }

  void html() {
    const std::size_t tag = rest_.find("<?");
    if (tag == std::string_view::npos) return copy(rest_.size());
    copy(tag);
    const std::string_view name = rest_.substr(2, 3);
    const bool long_tag =
        agent::equal_ignoring_case(name, "php") && rest_.size() > 5 && is_blank(rest_[5]);
    // Whether "<?" alone opens is a matter of the configuration.
    sure_ = long_tag || agent::starts_with(name, "=");
    in_php_ = true;
    copy(sure_ ? 2 : 0);
  }

  void php() {
    const auto next = std::find_if(rest_.begin(), rest_.end(), means_something);
    if (next != rest_.begin()) return copy(static_cast<std::size_t>(next - rest_.begin()));
    if (at("/*")) {
      const std::size_t end = rest_.find("*/", 2);
      leave_out(end == std::string_view::npos ? end : end + 2);
    } else if (at("#[") || at("<<<")) {
      sure_ = false;  // an attribute or a comment, as the version has it; a heredoc
    } else if (at("//") || at("#")) {
      leave_out(std::min(rest_.find_first_of("\r\n"), rest_.find("?>")));
    } else if (at("?>")) {
      in_php_ = false;
      copy(2);
    } else if (at("'") || at("\"") || at("`")) {
      quoted(rest_.front());
    } else {
      copy(1);
    }
  }

  void quoted(char quote) {
    std::size_t end = 1;
    for (; end < rest_.size() && rest_[end] != quote; ++end) {
      if (rest_[end] == '\\') {
        ++end;
      } else if (quote != '\'' &&
                 (rest_.compare(end, 2, "{$") == 0 || rest_.compare(end, 2, "${") == 0)) {
        sure_ = false;  // the expression can hold quotes and comments of its own
        return;
      }
    }
    copy(end + 1);
  }

  std::string_view rest_;
  std::string out_;
  std::string comments_;
  bool in_php_ = true;
  bool sure_ = true;
};

}  // namespace

std::string condense(std::string_view code) { return Condenser(code).take(); }

}  // namespace vorgate::script
