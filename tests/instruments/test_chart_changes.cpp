// Changes of parameters, as the simulated instruments of charts take them.

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "chart/simulator_of_chart.h"
#include "data/data_text.h"
#include "simulator/description.h"
#include "simulator/instrument.h"

namespace tonalith {

// A message that changes a parameter changes it in the instrument that the chart describes.
TEST(ChartChanges, AreTakenBySimulators) {
  const std::string chart =
      "[Acme One]\ndrivers = 60000   maker = 7D   device = n\n"
      "[data Tone]\nrequest = F0 7D 0n 01 F7\ndump = F0 7D 0n 02 (16) F7\n"
      "[parameters Tone]\nchange = F0 7D 0n 03 number value F7\n0 | A | 0..9 | | 77\n"
      "change = F0 7D 0n 04 offset low high F7\n1 0-3 | B | 0..9\n1 4-6 | C | 0..7\n2 0-6 | D | -8..8\n"
      "change = F0 7D 0n 05 part offset value F7\nrepeat OP in 2 1 from 4 step 4\n+0 | level | 0..99\n+3 | rate | "
      "0..99\n";
  ChartProblems problems("x.chart");
  const ChartSimulator made = SimulatorOfChart(chart, &problems);
  ASSERT_FALSE(problems.any()) << problems.First().text;
  const DescriptionResult read = ParseDescription(made.text, "x");
  ASSERT_TRUE(read.description) << read.problem << made.text;
  struct Row {
    std::vector<std::uint8_t> message;
    std::size_t byte;  // that becomes
    int value;
  };
  const Row rows[] = {{{0xF0, 0x7D, 0, 3, 77, 8, 0xF7}, 0, 8},      {{0xF0, 0x7D, 0, 4, 1, 5, 3, 0xF7}, 1, 0x35},
                      {{0xF0, 0x7D, 0, 4, 2, 5, 7, 0xF7}, 2, 0x75}, {{0xF0, 0x7D, 0, 5, 0, 0, 99, 0xF7}, 4, 99},
                      {{0xF0, 0x7D, 0, 5, 0, 3, 98, 0xF7}, 7, 98},  {{0xF0, 0x7D, 0, 5, 1, 0, 97, 0xF7}, 8, 97},
                      {{0xF0, 0x7D, 0, 5, 1, 3, 96, 0xF7}, 11, 96}, {{0xF0, 0x7D, 0, 5, 2, 3, 96, 0xF7}, 16, 0},
                      {{0xF0, 0x7D, 0, 5, 1, 1, 96, 0xF7}, 16, 0}};
  SimulatedInstrument instrument(*read.description);
  for (const Row& row : rows) {
    std::vector<std::uint8_t> expected = instrument.Memory();
    ASSERT_EQ(expected.size(), 16u) << made.text;
    if (row.byte < expected.size()) expected[row.byte] = static_cast<std::uint8_t>(row.value);
    instrument.OnMessage(row.message, 0);
    EXPECT_EQ(instrument.Memory(), expected) << row.byte << "\n" << made.text;
  }
}

namespace {

// An instrument with one patch of 16 bytes, and these parameters.
std::optional<SimulatedInstrument> Made(const std::string& packing, const std::string& rows) {
  ChartProblems problems("x.chart");
  const ChartSimulator made = SimulatorOfChart(
      "[Acme One]\ndrivers = 60000   maker = 7D   device = n   sum = negative sum\n"
      "[data Tone]\nrequest = F0 7D 0n 01 F7\ndump = F0 7D 0n 02 (16" +
          packing + ") F7\n[parameters Tone]\n" + rows,
      &problems);
  EXPECT_FALSE(problems.any()) << problems.First().text;
  DescriptionResult read = ParseDescription(made.text, "x");
  EXPECT_TRUE(read.description) << read.problem << made.text;
  if (!read.description) return std::nullopt;
  return SimulatedInstrument(std::move(*read.description));
}

}  // namespace

// Whatever bits a parameter has, and however its messages say them: other bits stay.
TEST(ChartChanges, ReachTheBitsThatAreMeant) {
  struct Row {
    const char *packing, *rows;
    const char* sent;     // messages in hexadecimal
    const char* changed;  // BYTE VALUE ...
  };
  const Row rows[] = {
      {"", "numbers = hex   change = F0 7D 0n 03 number value F7\n2 4-6 | A | 0..7 | | 1A\n", "F0 7D 00 03 1A 05 F7",
       "2 5F"},
      {"",
       "numbers = hex   change = F0 7D 0n 03 number value F7\n2 4-6 | A | 0..7 | | 01 1A\n2 0-3 | B | 0..9 | | 1A 01\n",
       "F0 7D 00 03 1A 01 05 F7", "2 05"},
      {"", "change = F0 7D 0n 03 number value high value low F7\n3 word low first | A | 0..300 | | 9\n",
       "F0 7D 00 03 09 02 2C F7", "3 2C 4 02"},
      {"", "change = F0 7D 0n 03 number value F7\n5 nibbles | A | 0..127 | | 9\n", "F0 7D 00 03 09 5A F7", "5 0A 6 05"},
      {"", "change = F0 7D 0n 03 number value F7\n5 word | A | -60..60 | | 9\n", "F0 7D 00 03 09 7F F7", "5 7F 6 7F"},
      {"", "change = controller number\n1 0-6 | A | 0..127 | | CC 74\n", "B5 4A 09", "1 09"},
      {"", "change = controller number scaled\n1 4-5 | A | 0..3 | | CC 8\n", "B0 08 7F", "1 3F"},
      {"", "change = controller number scaled\n1 4-5 | A | 0..3 | | CC 8\n", "B0 08 40", "1 2F"},
      {" nibbles low first", "change = controller number\n1 | A | 0..255 | | CC 27+59\n", "B0 1B 64 B0 3B 40", "1 C9"},
      {" nibbles low first", "change = controller number\n1 | A | 0..255 | | CC 27+59\n", "B0 3B 40", ""},
      {"", "change = NRPN number\n1 word | A | 0..300 | | 200\n", "B0 63 01 B0 62 48 B0 06 02 B0 26 2C", "1 02 2 2C"},
      {"", "change = NRPN number\n1 word | A | 0..300 | | 200\n", "B0 63 01 B0 62 47 B0 06 02 B0 26 2C", ""},
      {"", "change = F0 7D 0n 03 number shown low shown high F7\n1 0-6 | A | 0..127 | value - 64 | 9\n",
       "F0 7D 00 03 09 49 7F F7", "1 09"},
      {"",
       "repeat L in 1..2 from 4 step 4\nchange = F0 7D 0n 05 {L}-1 F7 + F0 7D 0n 06 number value F7\n+0 | A | 0..9 | | "
       "7\n",
       "F0 7D 00 05 01 F7 F0 7D 00 06 07 09 F7", "8 09"},
      {"",
       "repeat L in 1..2 from 4 step 4\nchange = F0 7D 0n 05 {L}-1 F7 + F0 7D 0n 06 number value F7\n+0 | A | 0..9 | | "
       "7\n",
       "F0 7D 00 06 07 09 F7", ""},
      {"", "change = F0 7D 0n 03 < offset bytes sum F7\n4 word low first | A | 0..300\n", "F0 7D 00 03 04 2C 02 4E F7",
       "4 2C 5 02"},
      {"", "change = F0 7D 0n 03 < offset bytes sum F7\n4 word low first | A | 0..300\n", "F0 7D 00 03 04 2C 02 4F F7",
       ""},
      {" nibbles low first", "change = F0 7D 0n 03 offset low high F7\n9 7 & 7 7 | A | 0..3\n",
       "F0 7D 00 03 09 0F 0A F7 F0 7D 00 03 07 01 08 F7", "9 AF 7 81"},
      {"",
       "change = F0 7D 0n 03 number value F7\n0 | M | 0..1\n8 | A | 0..9 | | 9  when = M in 0\n9 | B | 0..9 | | 9  "
       "when = M in 1\n",
       "F0 7D 00 03 09 07 F7", "9 07"}};
  for (const Row& row : rows) {
    auto instrument = Made(row.packing, row.rows);
    ASSERT_TRUE(instrument) << row.rows;
    std::vector<std::uint8_t> expected(16, 0x0F);
    expected[0] = 1;
    ASSERT_TRUE(instrument->RestoreMemory(expected)) << row.rows;
    std::istringstream changed(row.changed);
    for (unsigned byte = 0, value = 0; changed >> std::hex >> byte >> value;)
      expected.at(byte) = static_cast<std::uint8_t>(value);
    instrument->OnBytes(ParseHex(row.sent).value(), 0);
    EXPECT_EQ(instrument->Memory(), expected) << row.rows << row.sent;
  }
}

}  // namespace tonalith
