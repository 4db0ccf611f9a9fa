// Every packing that charts have a word for takes the bytes that the program packs it into.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "chart/message.h"
#include "data/packed_bytes.h"
#include "studio/coded_words.h"

namespace tonalith {

TEST(ChartPackings, EveryWordHasTheSizeOfItsPacking) {
  constexpr int kByBit[] = {12, 13}, kWords[] = {20, 21}, kOfDescriptors = 16;
  for (const CodedWord& word : FindCodedTable("storageFormat")->words) {
    const std::string code = std::to_string(word.code) + " " + word.word;
    const bool byBit = word.code == kByBit[0] || word.code == kByBit[1];
    const bool words = word.code == kWords[0] || word.code == kWords[1];  // a place is two bytes
    for (const int bytes : {4, 8, 14, 20, 28, 56}) {
      Synth synth{};
      synth.storageFormat = static_cast<std::uint8_t>(word.code);
      synth.fileSize = synth.voiceSize = synth.voiceBytes = 400;
      synth.numVoices = 1;
      std::vector<std::uint8_t> raw(400, 0);
      for (int i = 0; i < (words ? bytes / 2 : bytes); ++i) SetByte(&synth, raw.data(), byBit ? 8 * i : i, 0x3FFF);
      std::size_t touched = raw.size();
      while (touched && raw[touched - 1] == 0) --touched;
      const std::uint32_t size = PackedSize(word.code, static_cast<std::uint32_t>(bytes));
      EXPECT_EQ(word.code == kOfDescriptors ? 0 : touched, size) << code << ", " << bytes;
    }
    ChartProblems problems("x.chart");
    ReadChartMessage(ChartCell{"F0 7D (56 " + std::string(word.word) + ") F7", {}, {}}, {}, &problems);
    EXPECT_EQ(problems.any(), word.code == kOfDescriptors) << code;
  }
}

}  // namespace tonalith
