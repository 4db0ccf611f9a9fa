// Changes of parameters, as the simulated instruments of charts take them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "chart/simulator_of_chart.h"
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

}  // namespace tonalith
