#include "script/listing.h"

#include <gtest/gtest.h>

#include <vector>

#include "script/statement_table.h"

namespace tonalith {
namespace {

using ListedCode = std::vector<std::uint8_t>;

TEST(Listing, Texts) {
  const struct {
    ListedCode code;
    const char* text;
  } cases[] = {
      {{255}, ""},
      {{8, 0, 0, 0, 3, 0xF0, 0x7E, 0xF7, 255}, "S 3 { F0 7E F7 } \r\n"},
      {{11, 0, 0, 0, 1, 0, 0, 0, 9, 0x0A, 255}, "FA 1 9 { 0A } \r\n"},
      {{8, 0x80, 0, 0, 1, 7, 255}, "S X { } \r\n] \r\n"},
      {{0, 0, 0, 0, 0, 255}, "T \r\n"},
      {{17, 0, 0, 0, 5, 3, 0, 0, 0, 0, 255}, "RB 5 \r\nB \r\n"},
      {{6, 0, 0, 0, 0, 255}, "D 0 \r\n"},
      {{2, 0x80, 0, 0, 1, 2, 0x40, 0, 0, 5, 255}, "C X \r\nC V5 \r\n"},
      {{2, 0x7F, 0xFF, 0xFF, 0xFF, 255}, "C V268435455 \r\n"},
      {{20, 9, 20, 2, 20, 0xC8, 1, 255}, "RET V5 \r\nRET Y \r\nRET V196 \r\n"},
      {{10, 0, 0x1F, 0, 0, 0, 6, 0, 0, 0, 128, 0, 0, 0, 134, 255}, "K 00 1F 6 128 134 \r\n"},
      {{14, 1, 0, 0, 0, 0, 5, 14, 5, 8, 0, 255}, "MX + 5 \r\nMV1 @ W \r\n"},
      {{4, 0, 0, 0, 2, 23, 1, 9, 38, 7, 7, 5, 255}, "L 2 [ \r\n  IF X \r\n    A \r\n    IFX \r\n  ] \r\n] \r\nN \r\n"},
      {{4, 0, 0, 0, 2, 33, 1, 0, 0, 0, 3, 25, 9, 255}, "L 2 [ \r\n  IFQ X 3 \r\n    IFE \r\nA \r\n"},
      {{18, 15, 0, 0, 0, 1, 0, 0, 0, 2, 18, 21, 18, 24, 0, 0, 0, 7, 255}, "GSB 1 2 \r\nGL2 \r\nCCN 7 \r\n"},
      {{51, 8, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 53, 200, 255}, "1 2 3 \r\n\r\n"},
      {{47, 4, 0, 0, 0, 9, 47, 50, 0, 0, 0, 1, 0, 0, 0, 2, 255}, "GETVAL 9 \r\n1 2 \r\n"},
      {{50, 0, 1, 0, 0, 0, 5, 40, 26, 48, 1, 0, 0, 0, 3, 255}, "VR X 5 \r\nGetPanelVersion \r\nVL 3 \r\n"},
  };
  for (const auto& c : cases) {
    const ListingResult result = ListScript(c.code);
    EXPECT_EQ(result.error, ListingError::None) << c.text;
    EXPECT_EQ(result.text, c.text);
  }
}

TEST(Listing, StopsAtWhatCannotBeListed) {
  const struct {
    ListedCode code;
    std::size_t at;
    const char* text;
  } cases[] = {
      {{}, 0, ""},
      {{9, 13, 255}, 1, "A \r\n"},
      {{9, 59}, 1, "A \r\n"},
      {{9}, 1, "A \r\n"},
      {{8, 0, 0, 0, 4, 1, 2, 3}, 0, "S 4 "},
      {{8, 0x3F, 0xFF, 0xFF, 0xFF, 1, 2, 3, 255}, 0, "S 1073741823 "},
      {{23, 0x80}, 0, "IF "},
      {{52}, 0, ""},
      {{14, 1, 0, 0, 0}, 0, "MX + "},
  };
  for (const auto& c : cases) {
    const ListingResult result = ListScript(c.code);
    EXPECT_EQ(result.error, ListingError::InvalidOpcode);
    EXPECT_EQ(result.stoppedAt, c.at);
    EXPECT_EQ(result.text, c.text);
  }
  EXPECT_EQ(ListingReport(ListingError::NoSpace), "Error Uncompiling Control String\nError: Invalid Opcode");
  EXPECT_EQ(ListingReport(ListingError::InvalidOpcode), "Error Uncompiling Control String\nError: ");
}

// Lines are changed by size of the code and number of lines, not by their content.
TEST(Listing, LineBuffers) {
  std::vector<std::string> buffers(4, std::string(100, '?'));
  std::vector<char*> lines;
  for (std::string& buffer : buffers) lines.push_back(buffer.data());
  ListedCode code;
  for (int i = 0; i < 8; ++i) code.insert(code.end(), {6, 0, 0, 0, 1});
  code.push_back(kEndOfScript);
  ASSERT_EQ(code.size(), 41u);  // threshold 41 / 4 = 10
  EXPECT_EQ(SynUnCompile(lines, 100, code, nullptr), ListingError::None);
  EXPECT_STREQ(lines[0], "D 1 \r\nD 1 \r\n");
  EXPECT_STREQ(lines[2], "D 1 \r\nD 1 \r\n");
  EXPECT_STREQ(lines[3], "D 1 \r\nD 1 \r\n");
  code.erase(code.begin(), code.begin() + 5);  // below 41 bytes the threshold is 80
  EXPECT_EQ(SynUnCompile(lines, 100, code, nullptr), ListingError::None);
  EXPECT_STREQ(lines[0], "D 1 \r\nD 1 \r\nD 1 \r\nD 1 \r\nD 1 \r\nD 1 \r\nD 1 \r\n");
  // Text and terminator need 43 characters; never is more touched.
  EXPECT_EQ(SynUnCompile(lines, 43, code, nullptr), ListingError::None);
  buffers[0].assign(100, '?');
  EXPECT_EQ(SynUnCompile(lines, 42, code, nullptr), ListingError::NoSpace);
  EXPECT_EQ(buffers[0][42], '?');
  EXPECT_EQ(SynUnCompile({}, 42, code, nullptr), ListingError::NoSpace);
  int indentation = 2;
  EXPECT_EQ(SynGoUnCompile(lines, 100, ListedCode{9, 4, 0, 0, 0, 1, 255}, indentation), ListingError::None);
  EXPECT_STREQ(lines[0], "A \r\n    L 1 [ \r\n      ");
  EXPECT_EQ(indentation, 3);
}

TEST(Listing, HexOperands) {
  char buffer[32] = {};
  ScriptTextLine line{buffer, 0};
  SynWriteSrcLong(0x1F, line, true);
  SynWriteSrcLong(kNumberVariableBit | 0x1F, line, true);
  SynWriteSrcByte(7, line, false);
  EXPECT_EQ(std::string(buffer, line.position), "1F V1F 07 ");
}

}  // namespace
}  // namespace tonalith
