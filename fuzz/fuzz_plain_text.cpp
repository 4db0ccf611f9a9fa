// Any bytes on their way to a terminal, a log and a window.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "platform/plain_text.h"
#include "platform/terminal_text.h"
#include "platform/text.h"

namespace {

using namespace tonalith;

void MustHold(bool holds) {
  if (!holds) std::abort();
}

// UTF-8 in which nothing but the characters of `kept` acts on a terminal.
void MustBePlain(const std::string& text, std::u32string_view kept) {
  MustHold(IsValidUtf8(text));
  for (const char32_t code : Utf8CodePoints(text))
    MustHold(!IsHiddenCharacter(code) || kept.find(code) != std::u32string_view::npos);
}

void MustFit(const std::u32string& shown, std::size_t limit, std::u32string_view kept) {
  MustHold(shown.size() <= limit);
  for (const char32_t code : shown) MustHold(!IsHiddenCharacter(code) || kept.find(code) != std::u32string_view::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string line = PlainLine(text);
  MustBePlain(line, U"");
  MustHold(PlainLine(line) == line);
  MustBePlain(PlainSentence(text), U"");
  MustBePlain(PlainLines(text), U"\n\t\r");

  std::ostringstream stream;
  TerminalText(stream) << "[" << text << "]\n";
  MustHold(stream.str() == "[" + line + "]\n");

  const std::size_t limit = size % 40;
  const std::size_t lines = 1 + size % 5;
  for (const std::u32string& codes : {Utf8CodePoints(text), Utf8CodePoints(Latin1ToUtf8(text))}) {
    MustFit(ShownLine(codes, limit), limit, U"");
    // The end of each line, and the ellipsis for what is left out.
    const std::u32string several = ShownLines(codes, limit, lines);
    MustFit(several, (limit + 1) * lines + 1, U"\n");
    MustHold(static_cast<std::size_t>(std::count(several.begin(), several.end(), U'\n')) <= lines);
  }
  return 0;
}
