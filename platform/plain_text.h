// Text from strangers (data files, instruments, ports, servers, file names, modules) made fit to be shown: what a
// terminal or a text view would act on instead of showing it becomes visible.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tonalith {

// Whether a code point acts on its surroundings instead of being seen: control characters (C0, DEL, C1), line and
// paragraph separators, marks that turn the direction of writing, characters without width and the invisible tags.
// Joiners (U+200C, U+200D) are part of words and stay.
bool IsHiddenCharacter(char32_t code);

// One line for a terminal or a log.  `text` should be UTF-8; hidden characters up to U+009F and bytes that are no UTF-8
// become \xNN, other hidden characters \u{N}; everything else stays as it is.
std::string PlainLine(std::string_view text);
// The same behind what `out` holds.
void AppendPlainLine(std::string& out, std::string_view text);
// Nothing but visible ASCII and blanks: the same text in Latin-1 and UTF-8, and its own plain line.
bool IsPlainAscii(std::string_view text);
// As PlainLine for a sentence that may be laid out in several lines: each of its line ends becomes one blank.
std::string PlainSentence(std::string_view text);
// As PlainLine; tabs and line ends (line feeds, alone or behind a carriage return) stay.
std::string PlainLines(std::string_view text);

// For one line of a window: hidden characters become U+FFFD, which every font has, and what is longer than `limit` code
// points is cut and ends in an ellipsis.
constexpr std::size_t kShownCharacters = 300;
std::u32string ShownLine(std::u32string_view text, std::size_t limit = kShownCharacters);
// As ShownLine for each line of a text; line feeds stay, carriage returns before them go, and tabs become blanks.  In
// the place of what follows `lines` lines an ellipsis stands.
constexpr std::size_t kShownLines = 60;
std::u32string ShownLines(std::u32string_view text, std::size_t limit = kShownCharacters,
                          std::size_t lines = kShownLines);

}  // namespace tonalith
