#include "platform/plain_text.h"

#include <gtest/gtest.h>

#include <sstream>

#include "platform/log.h"
#include "platform/prompts.h"
#include "platform/terminal_text.h"

namespace tonalith {
namespace {

TEST(PlainText, NothingActsOnATerminal) {
  const struct {
    const char* text;
    const char* line;
    const char* lines;
    const char* sentence;
  } rows[] = {
      {"Z\xC3\xBCrich \xE2\x82\xAC \xF0\x9F\x8E\xB9", "Z\xC3\xBCrich \xE2\x82\xAC \xF0\x9F\x8E\xB9",
       "Z\xC3\xBCrich \xE2\x82\xAC \xF0\x9F\x8E\xB9", "Z\xC3\xBCrich \xE2\x82\xAC \xF0\x9F\x8E\xB9"},
      {"\x1B[2J\x7F", "\\x1B[2J\\x7F", "\\x1B[2J\\x7F", "\\x1B[2J\\x7F"},
      {"\x9B[2J \xC2\x9B[2J", "\\x9B[2J \\x9B[2J", "\\x9B[2J \\x9B[2J", "\\x9B[2J \\x9B[2J"},
      {"a\nb\tc\r\nd\re", "a\\x0Ab\\x09c\\x0D\\x0Ad\\x0De", "a\nb\tc\r\nd\\x0De", "a b\\x09c d e"},
      {"\xE2\x80\xAE"
       "exe \xE2\x80\xA8 \xE2\x81\xA6",
       "\\u{202E}exe \\u{2028} \\u{2066}", "\\u{202E}exe \\u{2028} \\u{2066}", "\\u{202E}exe \\u{2028} \\u{2066}"},
      {"\xC3", "\\xC3", "\\xC3", "\\xC3"},
      {"\xF3\xA0\x81\x81\xE2\x80\x8D", "\\u{E0041}\xE2\x80\x8D", "\\u{E0041}\xE2\x80\x8D", "\\u{E0041}\xE2\x80\x8D"},
      {"  one\r\n\r\ntwo\n", "  one\\x0D\\x0A\\x0D\\x0Atwo\\x0A", "  one\r\n\r\ntwo\n", "one two"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(PlainLine(row.text), row.line);
    EXPECT_EQ(PlainLines(row.text), row.lines);
    EXPECT_EQ(PlainSentence(row.text), row.sentence);
  }
}

TEST(PlainText, WindowsShowWhatIsThere) {
  const struct {
    const char32_t* text;
    std::size_t limit, lines;
    const char32_t* line;
    const char32_t* severalLines;
  } rows[] = {
      {U"<b>&Name[*]</b>", 99, 9, U"<b>&Name[*]</b>", U"<b>&Name[*]</b>"},
      {U"a\nb\tc\x7F\x9B\x202E", 99, 9,
       U"a\xFFFD"
       U"b\xFFFD"
       U"c\xFFFD\xFFFD\xFFFD",
       U"a\nb c\xFFFD\xFFFD\xFFFD"},
      {U"abcdef", 4, 9, U"abc\x2026", U"abc\x2026"},
      {U"abcd", 4, 9, U"abcd", U"abcd"},
      {U"a\r\nb\nc", 99, 2,
       U"a\xFFFD\xFFFD"
       U"b\xFFFD"
       U"c",
       U"a\nb\n\x2026"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ShownLine(row.text, row.limit), row.line);
    EXPECT_EQ(ShownLines(row.text, row.limit, row.lines), row.severalLines);
  }
}

TEST(TerminalText, OnlyTheProgramEndsLines) {
  std::ostringstream stream;
  const TerminalText out(stream);
  const std::string name = "a\n\x1B[1m";
  out << "name\t" << name << "\n" << 7 << " " << std::string_view("\t") << (name.empty() ? OwnText("x") : OwnText("y"));
  out.Lines("\none\n\x07");
  const std::uint8_t bytes[] = {0xF0, 0x1B, 0xF7};
  out.Bytes(bytes);
  EXPECT_EQ(stream.str(), "name\ta\\x0A\\x1B[1m\n7 \\x09y\none\n\\x07\xF0\x1B\xF7");
  stream.setstate(std::ios::badbit);
  EXPECT_FALSE(out.Takes());
}

TEST(TerminalText, BlocksSayTheSame) {
  std::ostringstream stream, blocks;
  const TerminalText out(stream);
  const std::string texts[] = {"a\n\x1B[1m", "plain", "", "Z\xC3\xBCrich \xC3", std::string(70000, 'x'), "\x7F"};
  {
    TerminalBlocks lines{TerminalText(blocks)};
    const auto say = [&texts](auto& to) {
      for (const std::string& text : texts) to << 7 << "\t" << text << " " << std::string_view("\t") << -12 << "\n";
    };
    say(out);
    say(lines);
    EXPECT_GE(blocks.str().size(), 70000u);
    EXPECT_LT(blocks.str().size(), stream.str().size());
  }
  EXPECT_EQ(blocks.str(), stream.str());
}

TEST(Log, ALineStaysALine) {
  std::string seen;
  const int sink = Log::Instance().AddSink([&seen](LogChannel, std::string_view line) { seen = line; });
  Log::Instance().Write(LogChannel::Monitor, "port \x1B]0;x\x07\nMIDI OUT 2: all is well\r\n");
  Log::Instance().RemoveSink(sink);
  EXPECT_EQ(seen, "port \\x1B]0;x\\x07 MIDI OUT 2: all is well");
  ScriptedPrompts prompts({"file /x\ny"});
  FilePrompt prompt;
  prompt.title = "Save\x1B[1m";
  prompts.File(prompt);
  EXPECT_EQ(prompts.Log().front(), "Save\\x1B[1m |  | open -> /x\\x0Ay");
}

}  // namespace
}  // namespace tonalith
