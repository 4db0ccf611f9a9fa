// Charts that are begun from what a printed chart says.

#include <gtest/gtest.h>

#include "chart/chart_draft.h"
#include "chart/message_bytes.h"
#include "chart/module_of_chart.h"
#include "data/hex_text.h"

namespace tonalith {

TEST(ChartDraft, TakesMessagesAsTheyArePrinted) {
  const std::pair<const char*, const char*> cases[] = {
      {"F0 42 3n 04 10 F7", "F0 42 3n 04 10 F7"},
      {"f0h,42h,3nh,04h,10h,f7h", "F0 42 3n 04 10 F7"},
      {"0F0H 42H 3NH PPH 0F7H", "F0 42 3n pp F7"},
      {"$F0 0x42 $3n F7", "F0 42 3n F7"},
      {"11110000 01000010 0011nnnn 0ppppppp 11110111", "F0 42 3n pp F7"},
      {"1111 0000 0100 0010 0011 nnnn 1111 0111", "F0 42 3n F7"},
      {"F0 42 3n (134 nibbles low first) sum F7", "F0 42 3n (134 nibbles low first) sum F7"},
      {"F0 {(26) sum}*64 20+p F7", "F0 {(26) sum}*64 20+p F7"},
  };
  for (const auto& [printed, message] : cases) EXPECT_EQ(PrintedMessage(printed, 'n'), message) << printed;
  EXPECT_EQ(PrintedMessage("F0 7D 0s nn F7", 's'), "F0 7D 0s pp F7");
  EXPECT_EQ(PrintedMessage("F0 7D nn F7", 'n'), "F0 7D nn F7");
}

TEST(ChartDraft, WhatIsSaidBuilds) {
  ChartSaid said;
  said.name = "Orrin Eight", said.device = "n", said.sum = "negative sum", said.nameAt = "0 10";
  said.request = "F0 7D 0n 08 10 pp F7", said.answer = "F0 7D 0n 08 20 pp (96) sum F7";
  const auto built = [&](std::size_t types, std::size_t warnings) {
    ChartDraft draft;
    const Result made = DraftChart(said, &draft);
    EXPECT_TRUE(made.ok()) << made.text;
    EXPECT_EQ(draft.types, types) << draft.text;
    EXPECT_EQ(draft.warnings.size(), warnings) << draft.text;
    ChartProblems problems("x.chart");
    ModuleImage image;
    EXPECT_TRUE(BuildChart(draft.text, &problems, &image).ok()) << problems.First().text << draft.text;
  };
  built(1, 0);
  said.bank = "64";
  built(2, 0);
  said.bankRequest = "F0 7D 0n 08 11 F7", said.bankAnswer = "F0 7D 0n 08 21 (96)*64 sum F7";
  built(2, 0);
  said.bankRequest.clear();
  said.request = "F0 7D 0n 08 10 F7", said.answer = "F0 7D 0n 08 20 (96) sum F7";
  built(2, 2);
}

// What a message of a chart is made of comes out of it again, at any place.
TEST(MessageBytes, AreTakenApartAsTheyWereMade) {
  struct Case {
    const char* text;
    const char* bytes;  // with n = 3, p = 5 and data 01 02 03 ...
  };
  const Case cases[] = {
      {"F0 42 3n 04 pp (2) F7", "F0 42 33 04 05 01 02 F7"},
      {"F0 < 41 0n 10+p b-1 (2) sum F7", "F0 41 03 15 00 01 02 24 F7"},
      {"F0 {(2) sum}*2 F7", "F0 01 02 7D 03 04 79 F7"},
      {"F0 {pp {(1) sum}*2}*2 F7", "F0 05 01 7F 02 7E 05 03 7D 04 7C F7"},
      {"F0 count (3) sum F7", "F0 00 03 01 02 03 7A F7"},
      {"F0 42 (any) F7", "F0 42 01 02 03 04 F7"},
      {"F0 (2) (75 ms) sum:exclusive-or F7", "F0 01 02 03 F7"},
  };
  for (const Case& c : cases) {
    ChartNames names;
    names.variables = "npb";
    names.sum = 0;
    ChartProblems problems("x.chart");
    ChartCell cell;
    cell.text = c.text;
    cell.at = {1, 1};
    cell.pieces = {{0, {1, 1}}};
    const ChartMessage message = ReadChartMessage(cell, names, &problems);
    ASSERT_FALSE(problems.any()) << problems.First().text;
    const ChartValues values = {{'n', 3}, {'p', 5}, {'b', 1}};
    const ChartData data = {1, 2, 3, 4};
    std::size_t used = 0;
    const auto bytes = MessageBytes(message, values, data, &used);
    EXPECT_EQ(HexText(bytes), c.bytes) << c.text;
    ChartValues found;
    ChartData taken;
    ASSERT_TRUE(MatchMessage(message, bytes, &found, &taken)) << c.text;
    EXPECT_EQ(taken, ChartData(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(used))) << c.text;
    for (const auto& [letter, value] : found) EXPECT_EQ(value, values.at(letter)) << c.text << letter;
    // With another value it is another message.
    for (const auto& [letter, value] : ChartValues(found)) {
      ChartValues other = {{letter, value + 1}};
      EXPECT_FALSE(MatchMessage(message, bytes, &other, nullptr)) << c.text << letter;
    }
    EXPECT_FALSE(MatchMessage(message, std::span(bytes).first(3), &found, nullptr)) << c.text;
  }
}

}  // namespace tonalith
