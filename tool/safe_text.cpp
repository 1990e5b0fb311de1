#include "tool/safe_text.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>

namespace vorgate::agent::tool {
namespace {

struct Character {
  std::size_t bytes;  // 0: no UTF-8 here
  wchar_t code;
};

// The character at the front of a text that is not empty, by the C library, which
// has a locale for it whatever the environment says.
Character first_character(std::string_view text) {
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  thread_local const locale_t before = uselocale(utf8);
  static_cast<void>(before);
  std::mbstate_t state{};
  wchar_t code = 0;
  const std::size_t length = std::mbrtowc(&code, text.data(), text.size(), &state);
  if (length == 0) return {1, L'\0'};
  if (length > text.size()) return {0, 0};
  return {length, code};
}

// Right-to-left marks and embeddings take no room, so their width gives them away.
bool is_plain(wchar_t code) { return wcwidth(code) >= 1; }

}  // namespace

std::string visible(std::string_view bytes, Charset charset, LineBreaks breaks) {
  std::string out;
  out.reserve(bytes.size());
  char escape[16];
  while (!bytes.empty()) {
    const auto lead = static_cast<unsigned char>(bytes.front());
    std::size_t length = 1;
    if ((lead >= 0x20 && lead < 0x7f) || (lead == '\n' && breaks == LineBreaks::kept)) {
      out += bytes.front();
    } else if (lead == '\n' || lead == '\t' || lead == '\r') {
      out += lead == '\n' ? "\\n" : lead == '\t' ? "\\t" : "\\r";
    } else {
      const Character character = first_character(bytes);
      if (character.bytes < 2) {
        std::snprintf(escape, sizeof escape, "\\x%02x", lead);
        out += escape;
      } else {
        length = character.bytes;
        if (charset == Charset::utf8 && is_plain(character.code)) {
          out += bytes.substr(0, length);
        } else {
          std::snprintf(escape, sizeof escape, "\\u{%x}", static_cast<unsigned>(character.code));
          out += escape;
        }
      }
    }
    bytes.remove_prefix(length);
  }
  return out;
}

std::size_t columns(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const Character character = first_character(text);
    width += static_cast<std::size_t>(std::max(wcwidth(character.code), 1));
    text.remove_prefix(std::max<std::size_t>(character.bytes, 1));
  }
  return width;
}

std::string cut(std::string_view text, std::size_t width, Charset charset) {
  // No character needs more than two columns a byte or fewer than one in four.
  if (text.size() <= width) return std::string(text);
  const std::string_view sign = charset == Charset::utf8 ? "\u2026" : "~";
  std::size_t used = 0;
  std::size_t end = 0;     // of what fits
  std::size_t before = 0;  // of what fits with the sign behind it
  for (std::string_view rest = text; !rest.empty();) {
    const Character character = first_character(rest);
    used += static_cast<std::size_t>(std::max(wcwidth(character.code), 1));
    if (used > width) {
      return width == 0 ? std::string() : std::string(text.substr(0, before)) + std::string(sign);
    }
    end += std::max<std::size_t>(character.bytes, 1);
    rest = text.substr(end);
    if (used < width) before = end;
  }
  return std::string(text);
}

std::string fit(std::string_view text, std::size_t width, Charset charset) {
  std::string out = cut(text, width, charset);
  const std::size_t used = columns(out);
  if (used < width) out.append(width - used, ' ');
  return out;
}

Charset terminal_charset() {
  // Bytes beyond ASCII are control characters to some terminals of other sets.
  if (std::setlocale(LC_CTYPE, "") == nullptr) return Charset::ascii;
  const std::string_view name = nl_langinfo(CODESET);
  return name == "UTF-8" || name == "utf8" ? Charset::utf8 : Charset::ascii;
}

std::size_t terminal_width() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return isatty(STDOUT_FILENO) != 0 ? 80 : 0;
}

bool terminal_colours() {
  const char* const wish = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) != 0 && (wish == nullptr || *wish == '\0') &&
         (terminal == nullptr || std::string_view(terminal) != "dumb");
}

}  // namespace vorgate::agent::tool
