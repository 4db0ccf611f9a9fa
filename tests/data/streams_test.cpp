#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "data/event.h"
#include "data/hex_text.h"
#include "data/standard_midi_file.h"
#include "data/sysex_split.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(SysExSplit, MessagesJunkRealTimeAndTails) {
  struct Case {
    const char* stream;
    const char* pieces;  // each followed by '.', '~' when cut off
    std::size_t junk;
  };
  const Case cases[] = {
      {"", "", 0},
      {"F0 01 F7 F0 02 03 F7", "F0 01 F7.F0 02 03 F7.", 0},
      {"90 40 7F F0 01 F7 FE 00 F0 02 F7 12", "F0 01 F7.F0 02 F7.", 6},
      {"F0 01 F8 02 FE F7", "F0 01 02 F7.", 0},
      {"F0 01 90 40 F0 02 F7", "F0 01~F0 02 F7.", 2},
      {"F0 01 F0 02 F7", "F0 01~F0 02 F7.", 0},
      {"F0 01 02 03 04 05 06 07 08 09 0A", "F0 01 02 03 04 05 06 07 08 09 0A~", 0},
      {"F7 F7 F0 F7", "F0 F7.", 2},
      {"01 02 03", "", 3},
      {"F0 01 02 03 04 05 06 07 F7 F0 01 02 03 04 05 06 07 08 F7",
       "F0 01 02 03 04 05 06 07 F7.F0 01 02 03 04 05 06 07 08 F7.", 0},
      {"F0 F8 FF F7", "F0 F7.", 0},
      {"F0", "F0~", 0},
  };
  for (const Case& c : cases) {
    const Bytes stream = *ParseHex(c.stream);
    SysExSplitter splitter(stream);
    SysExPiece piece;
    std::string got;
    while (splitter.Next(&piece)) {
      EXPECT_EQ(piece.hasRealTime, CleanSysEx(piece).size() != piece.bytes.size()) << c.stream;
      EXPECT_EQ(piece.bytes.data(), stream.data() + piece.offset);
      got += HexText(CleanSysEx(piece)) + (piece.isTerminated ? '.' : '~');
    }
    EXPECT_EQ(SplitSysEx(stream, true).size(),
              static_cast<std::size_t>(
                  std::count_if(got.begin(), got.end(), [](char ch) { return ch == '.' || ch == '~'; })));
    EXPECT_EQ(SplitSysEx(stream, false).size(), static_cast<std::size_t>(std::count(got.begin(), got.end(), '.')));
    EXPECT_EQ(got, c.pieces) << c.stream;
    EXPECT_EQ(splitter.junk(), c.junk) << c.stream;
  }
  const Bytes two = *ParseHex("F0 F7 00 F0 01 F7");
  EXPECT_EQ(SplitSysEx(std::span(two).first(3), true).size(), 1U) << "what stands behind is not its own";
}

TEST(StandardMidiFile, WrittenMessagesComeBack) {
  const Bytes a{0xF0, 0x43, 0x01, 0xF7}, b(300, 0x11);
  Bytes c = b;
  c.front() = 0xF0;
  c.back() = 0xF7;
  const SmfMessage messages[] = {{a, 0}, {c, 20000}};
  const Bytes file = WriteSmfSysEx(messages, "Capture");
  SmfContents contents;
  ASSERT_TRUE(ReadSmfSysEx(file, &contents, nullptr));
  ASSERT_EQ(contents.messages.size(), 2u);
  EXPECT_EQ(contents.messages[0].bytes, a);
  EXPECT_EQ(contents.messages[1].bytes, c);
  EXPECT_EQ(contents.messages[1].tick, 20000u);
  EXPECT_EQ(file[contents.messages[1].fileOffset], 0xF0);
  for (std::size_t n = 0; n < file.size(); ++n) {  // every cut is survived, and nothing is made up
    SmfContents part;
    ReadSmfSysEx(std::span(file).first(n), &part, nullptr);
    for (const SmfSysEx& message : part.messages) EXPECT_LE(message.bytes.size(), c.size());
  }
}

TEST(StandardMidiFile, PacketsRunningStatusAndDamage) {
  struct Case {
    const char* track;
    const char* messages;
  };
  const Case cases[] = {
      {"00 F0 03 43 01 F7 00 FF 2F 00", "F0 43 01 F7."},
      {"00 F0 02 43 01 10 F7 02 02 03 10 F7 02 04 F7", "F0 43 01 02 03 04 F7."},
      {"00 90 40 7F 00 41 7F 00 F0 02 01 F7", "F0 01 F7."},
      {"00 F7 04 F0 7E 7F F7 00 F7 01 F8", "F0 7E 7F F7."},
      {"00 F0 05 01 02", "F0 01 02~"},
      {"00 F0 04 01 F8 02 F7", "F0 01 02 F7."},
      {"00 F0 04 01 90 02 F7", "F0 01~"},
      {"00 F0 02 01 02 00 F0 02 03 F7", "F0 01 02~F0 03 F7."},
      {"00 FF 7F 90 00", ""},
      {"FF FF FF FF FF", ""},
  };
  for (const Case& c : cases) {
    Bytes file = *ParseHex("4D 54 68 64 00 00 00 06 00 00 00 01 00 60 4D 54 72 6B 00 00 00 40");
    const Bytes track = *ParseHex(c.track);
    file.insert(file.end(), track.begin(), track.end());
    SmfContents contents;
    ASSERT_TRUE(ReadSmfSysEx(file, &contents, nullptr));
    std::string got;
    for (const SmfSysEx& m : contents.messages) got += HexText(m.bytes) + (m.isTerminated ? '.' : '~');
    EXPECT_EQ(got, c.messages) << c.track;
  }
}

TEST(Events, BlocksCarryTheirSize) {
  Event* first = AllocEvent(5);
  first->next = AllocEvent(0);
  EXPECT_EQ(EventDataSize(first), 5u);
  EXPECT_EQ(EventData(first)[4], 0);
  EXPECT_EQ(EventData(first->next), nullptr);
  FreeEventList(first);
}

TEST(DataText, HexAndNumbers) {
  EXPECT_EQ(HexText(*ParseHex("f0 43,10\n2aF7")), "F0 43 10 2A F7");
  for (const char* wrong : {"F", "F0 4", "0x10", "G0", "F 0"}) EXPECT_FALSE(ParseHex(wrong)) << wrong;
  for (const auto& [text, value] : {std::pair("-0x10", -16),
                                    {" +7 ", 7},
                                    {"0XfF", 255},
                                    {"0", 0},
                                    {"00a", -1},
                                    {"0x1g", -1},
                                    {"9", 9},
                                    {"0x9A", 154}}) {
    EXPECT_EQ(ParseNumber(text).value_or(-1), value) << text;
  }
  EXPECT_EQ(ParseNumber("999999999999999"), 999999999999999);
  EXPECT_FALSE(ParseNumber("1000000000000000"));
  std::string error;
  EXPECT_FALSE(ParseHex("F0 4", &error));
  EXPECT_EQ(error, "There is no pair of hex digits at character 4.");
  for (const char* wrong : {"", "-", "0x", "1 2", "12a", "99999999999999999999"}) EXPECT_FALSE(ParseNumber(wrong));
}

}  // namespace
}  // namespace tonalith
