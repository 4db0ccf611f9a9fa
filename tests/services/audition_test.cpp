// What chooses a patch, and the tones behind it.

#include "services/audition.h"

#include <gtest/gtest.h>

#include "data/data_text.h"

namespace tonalith {
namespace {

TEST(PatchChange, FollowsTheRulesOfItsDataType) {
  const struct {
    int mode, msb, lsb, base, perBank, patch;
    const char* sent;
  } rows[] = {
      {0, -1, -1, 0, 0, 5, "C2 05 "},
      {1, -5, -1, 0, 0, 130, "B2 00 7F C2 02 "},
      {1, -1, -1, 0, 64, 70, "B2 20 01 C2 06 "},
      {1, 0, 3, 0, 64, 70, "B2 00 00 B2 20 04 C2 06 "},
      {8, 5, 6, 0, 0, 1, "B2 00 05 B2 20 06 C2 01 "},
      {2, -2, 9, 3, 0, 1, "B2 00 03 C2 01 "},
      {3, 5, -4, 0, 0, 77, "B2 20 00 C2 00 "},
      {4, 7, -1, 0, 0, 9, "C2 07 C2 09 "},
      {1, 127, 127, 127, 1, 127, "B2 00 7F B2 20 7E C2 00 "},
      {5, 0, 0, 0, 0, 1, ""},
      {6, 0, 0, 0, 0, 1, ""},
      {7, 0, 0, 0, 0, 1, ""},
  };
  for (const auto& row : rows) {
    Synth synth{};
    synth.startsEmpty = 1;
    synth.midiChannel = 2;
    synth.bankSelectMode = static_cast<std::uint8_t>(row.mode);
    synth.bankSelectMsbDefault = static_cast<std::int8_t>(row.msb);
    synth.bankSelectLsbDefault = static_cast<std::int8_t>(row.lsb);
    synth.bankSelectBase = static_cast<std::uint8_t>(row.base);
    synth.bankSelectMax = static_cast<std::uint8_t>(row.perBank);
    std::string sent;
    for (const auto& message : PatchChangeMessages(synth, row.patch)) sent += HexText(message) + " ";
    EXPECT_EQ(sent, row.sent) << row.mode << " " << row.msb << " " << row.lsb << " " << row.patch;
    synth.startsEmpty = 0;
    EXPECT_TRUE(PatchChangeMessages(synth, row.patch).empty());
  }
}

}  // namespace
}  // namespace tonalith
