#ifndef VORGATE_TOOL_SAFE_TEXT_H
#define VORGATE_TOOL_SAFE_TEXT_H

// Showing texts that attackers wrote.

#include <cstddef>
#include <string>
#include <string_view>

namespace vorgate::agent::tool {

enum class Charset { ascii, utf8 };
enum class LineBreaks { escaped, kept };

// The text with everything in it visible: a byte that is no UTF-8 becomes \xNN, and
// so does a control character; a character that takes no room on the screen or turns
// the direction of writing becomes \u{NNNN}. What remains is valid UTF-8 that can be
// printed anywhere; with Charset::ascii it is ASCII.
std::string visible(std::string_view bytes, Charset charset,
                    LineBreaks breaks = LineBreaks::escaped);

// How many columns a visible text of one line takes.
std::size_t columns(std::string_view text);

// The visible text in exactly so many columns: cut, with a sign that it is, or filled
// up with blanks.
std::string fit(std::string_view text, std::size_t width, Charset charset);
// The same, without filling up.
std::string cut(std::string_view text, std::size_t width, Charset charset);

// What the environment says of the terminal's character set.
Charset terminal_charset();

// The width of the terminal at standard output; 0 when there is none.
std::size_t terminal_width();

// Does standard output want colours?
bool terminal_colours();

}  // namespace vorgate::agent::tool

#endif  // VORGATE_TOOL_SAFE_TEXT_H
