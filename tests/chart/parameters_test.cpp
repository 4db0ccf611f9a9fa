// The rows of [parameters]: what they become and where a mistake is named.

#include <gtest/gtest.h>

#include <string>

#include "chart/parameters.h"

namespace tonalith {

namespace {

ParameterTable Read(const std::string& rows, ChartProblems* problems, std::uint32_t patchBytes = 200) {
  const ChartText chart = ReadChartText("[Maker Model]\n[parameters Voice]\n" + rows, problems);
  return ReadParameters(chart.sections.at(1), {patchBytes, true}, {}, problems);
}

TEST(ChartParameters, RepeatsStandForTheirRows) {
  ChartProblems problems("x.chart");
  const ParameterTable table = Read(
      "change = F0 18+{OP} number F7\n"
      "1 | ALGORITHM | 0..31 | from 1 | 134\n"
      "repeat OP in 2 1 from 10 step 20 numbers step 21\n"
      "+0 | level | 0..99 | | 5\n"
      "+1 | other level of {OP} | 0..99 | as level\n"
      "repeat Part in A B from +4 step 2\n"
      "+1 0 & +0 | wave | 0..255 | | 7  change = none\n"
      "end\n"
      "end\n"
      "offset from 100\n"
      "3 | LAST | 0..1 | off, on\n",
      &problems);
  for (const ChartProblem& problem : problems.all()) ADD_FAILURE() << problem.Text();
  std::string rows;
  for (const Parameter& p : table.parameters)
    rows += p.place.text + "|" + p.name + "|" + p.number + "|" + (p.change < 0 ? "" : table.changes[p.change]) + "\n";
  EXPECT_EQ(rows,
            "1|ALGORITHM|134|F0 18+{OP} number F7\n"
            "10|OP2 level|5|F0 18+2 number F7\n"
            "11|other level of 2||F0 18+2 number F7\n"
            "15 0 & 14|OP2 Part A wave|7|\n"
            "17 0 & 16|OP2 Part B wave|7|\n"
            "30|OP1 level|26|F0 18+1 number F7\n"
            "31|other level of 1||F0 18+1 number F7\n"
            "35 0 & 34|OP1 Part A wave|28|\n"
            "37 0 & 36|OP1 Part B wave|28|\n"
            "103|LAST||F0 18+{OP} number F7\n");
}

// Rows whose conditions exclude each other may lie in the same place; a repeat counts in the condition, too.
TEST(ChartParameters, ConditionsHoldAsFarAsTheyAreSaid) {
  ChartProblems problems("x.chart");
  const ParameterTable table = Read(
      "offset from 5\n"
      "0 0-1 | MODE | 0..3 | single, split, dual, vocoder\n"
      "repeat Part in 1 2 from 10 step 10\n"
      "when = MODE in {Part}-1..2\n"
      "+0 | on | 0..1\n"
      "+1 | wave | 0..9  when = on in 1, MODE in 2\n"
      "+2 | level | 0..9  when = byte 1 in 4\n"
      "end\n"
      "10 | PLAIN | 0..99  when = MODE in 3\n"
      "90 | LAST | 0..9\n",
      &problems);
  for (const ChartProblem& problem : problems.all()) ADD_FAILURE() << problem.Text();
  std::string rows;
  for (const Parameter& p : table.parameters)
    rows += p.place.text + "|" + p.name + "|" + (table.ConditionOf(p) ? table.ConditionOf(p)->Text() : "") + "\n";
  EXPECT_EQ(rows,
            "5 0-1|MODE|\n"
            "15|Part 1 on|MODE in 0..2\n"
            "16|Part 1 wave|Part 1 on in 1, MODE in 2\n"
            "17|Part 1 level|byte 6 in 4\n"
            "25|Part 2 on|MODE in 1..2\n"
            "26|Part 2 wave|Part 2 on in 1, MODE in 2\n"
            "27|Part 2 level|byte 6 in 4\n"
            "15|PLAIN|MODE in 3\n"
            "95|LAST|\n");
}

struct FaultRow {
  const char* rows;
  int line, column;
  const char* text;  // part of what is said
};

TEST(ChartParameters, MistakesAreNamedWhereTheyStand) {
  const FaultRow faults[] = {
      {"0 | A | 0..31\n0 4 | B | 0..1\n", 4, 1, "overlaps that of \"A\""},
      {"250 | A | 0..31\n", 3, 1, "behind the end of the patch"},
      {"0 0-4 | A | 0..32\n", 3, 13, "does not fit into 5 bits"},
      {"0 0-4 | A | 0..3 | x, y, z\n", 3, 20, "has 3 texts, the range 4 values"},
      {"0 | A | 0..3\n1 | A | 0..3\n", 4, 5, "of that name already"},
      {"0 7 | A | 0..1\n", 3, 3, "bits 0 to 6"},
      {"+0 | A | 0..1\n", 3, 1, "there is none"},
      {"0 | A | 0..3 | as B\n1 | B | 0..3 | as A\n", 3, 16, "refers to itself"},
      {"0 | A | 0..3 | list X\n", 3, 21, "no list"},
      {"0 | A\n", 3, 5, "no range"},
      {"0 | | 0..3\n", 3, 5, "no name"},
      {"repeat OP on 3\n+0 | A | 0..1\n", 3, 1, "does not read"},
      {"end\n", 3, 1, "no repeat"},
      {"offset 5\n", 3, 1, "does not read"},
      {"colour = red\n", 3, 1, "no key"},
      {"repeat OP in 1 2 from 0 step 0\n+0 | A | 0..1\n", 4, 1, "(OP2)"},
      {"change = F0 20+part value F7\n0 | A | 0..3\n", 3, 16, "stands in no repeat"},
      {"0 | A | 0..3\nwhen = A between 1 and 2\n1 | B | 0..3\n", 4, 8, "does not read"},
      {"0 | A | 0..3\nwhen = A in 4..5\n1 | B | 0..3\n2 | C | 0..3\n", 4, 8, "never has these values"},
      {"0 | A | 0..3\n1 | B | 0..3  when = B in 1\n", 4, 22, "asks for the parameter itself"},
      {"0 | A | 0..3  when = C in 1\n", 3, 22, "no parameter of that name"},
      {"0 | A | 0..3  when = byte 3 7 in 1\n", 3, 29, "bits 0 to 6"},
      {"0 | A | 0..3  when = byte 3 0-1 in 4\n", 3, 36, "does not fit into 2 bits"},
      {"9 | M | 0..9\n0 | A | 0..3  when = M in 1..3\n0 | B | 0..3  when = M in 3..5\n", 5, 1,
       "overlaps that of \"A\""},
  };
  for (const FaultRow& fault : faults) {
    ChartProblems problems("x.chart");
    Read(fault.rows, &problems);
    ASSERT_FALSE(problems.all().empty()) << fault.rows;
    const ChartProblem& first = problems.all().front();
    EXPECT_EQ(first.line, fault.line) << fault.rows << first.Text();
    EXPECT_EQ(first.column, fault.column) << fault.rows << first.Text();
    EXPECT_NE(first.text.find(fault.text), std::string::npos) << fault.rows << first.Text();
  }
}

// A message that says the part: which set of the innermost repeat, and the place in it.
TEST(ChartParameters, ChangesSayThePart) {
  struct Row {
    const char* change;
    const char* said[3];  // of byte 3 of the first and the second set, and of a row before the repeat
  };
  const Row rows[] = {{"F0 part offset value F7", {"F0 00 offset-10 value F7", "F0 01 offset-30 value F7", nullptr}},
                      {"F0 20+part 40+offset low high F7",
                       {"F0 20+0 40+offset-10 low high F7", "F0 20+1 40+offset-30 low high F7", nullptr}},
                      {"F0 part number offset high value F7",
                       {"F0 00 number offset-10 high value F7", "F0 01 number offset-30 high value F7", nullptr}},
                      {"F0 {OP}-1 offset value F7", {"F0 2-1 offset value F7", "F0 1-1 offset value F7", nullptr}},
                      {"F0 offset parts F7", {"F0 offset parts F7", "F0 offset parts F7", "F0 offset parts F7"}}};
  for (const Row& row : rows) {
    ChartProblems problems("x.chart");
    const std::string change = std::string("change = ") + row.change + "\n";
    const ParameterTable table = Read((row.said[2] ? change : "") + "1 | A | 0..9\nrepeat OP in 2 1 from 10 step 20\n" +
                                          change + "+3 | level | 0..99\nend\n",
                                      &problems);
    for (const ChartProblem& problem : problems.all()) ADD_FAILURE() << problem.Text();
    ASSERT_EQ(table.parameters.size(), 3u);
    const auto said = [&](std::size_t i) {
      return table.parameters[i].change < 0 ? "" : table.changes[static_cast<std::size_t>(table.parameters[i].change)];
    };
    EXPECT_EQ(said(1), row.said[0]);
    EXPECT_EQ(said(2), row.said[1]);
    EXPECT_EQ(said(0), row.said[2] ? row.said[2] : "");
  }
}

}  // namespace

}  // namespace tonalith
