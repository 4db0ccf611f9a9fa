// Tables of parameters become rows of a chart, and the rows say what the table said.

#include <gtest/gtest.h>

#include <string>

#include "chart/parameter_import.h"
#include "chart/parameters.h"

namespace tonalith {

namespace {

// place, name, range, shown and number of every parameter the rows stand for.
std::string Expanded(const std::string& rows) {
  ChartProblems problems("x.chart");
  const ChartText chart = ReadChartText("[Maker Model]\n" + rows, &problems);
  const ParameterTable table = ReadParameters(chart.sections.at(1), {0, true}, {}, &problems);
  for (const ChartProblem& problem : problems.all()) ADD_FAILURE() << problem.Text();
  std::string text;
  for (const Parameter& p : table.parameters)
    text += p.place.text + "\t" + p.name + "\t" + FieldRangeText(p.place, p.range) + "\t" + p.shown + "\t" + p.number +
            "\n";
  return text;
}

}  // namespace

TEST(ParameterImport, WhatRepeatsIsFoldedAndStandsForTheSame) {
  std::string sheet = "place\tname\trange\tshown\tnumber\n", expected;
  for (int op = 4; op > 0; --op) {
    for (int layer = 1; layer <= 3; ++layer) {
      const int base = (4 - op) * 30 + layer * 5;
      const std::string name = "OP" + std::to_string(op) + " Layer " + std::to_string(layer) + " ";
      expected += std::to_string(base) + "\t" + name + "level\t0..99\t\t" + std::to_string(base) + "\n";
      expected +=
          std::to_string(base + 1) + " 5-6\t" + name + "wave\t0..2\tsaw, tri, sine\t" + std::to_string(base + 1) + "\n";
    }
  }
  expected += "120\tVOLUME\t-64..63\t%\t\n";
  ParameterImport import;
  const Result result = ImportParameterSheet(sheet + expected, &import);
  ASSERT_TRUE(result.ok()) << result.text;
  EXPECT_EQ(Expanded(import.rows), expected);
  EXPECT_EQ(import.rows,
            "[parameters DATA]\n"
            "repeat OP in 4 3 2 1 from 5 step 30 numbers step 30\n"
            "repeat Layer in 1..3 from +0 step 5 numbers step 5\n"
            "+0     | level  | 0..99   |                | 5\n"
            "+1 5-6 | wave   | 0..2    | saw, tri, sine | 6\n"
            "end\n"
            "end\n"
            "120    | VOLUME | -64..63 | %\n");
}

TEST(ParameterImport, ColumnsOfPagesAreKnown) {
  ParameterImport import;
  const Result result = ImportParameterSheet(
      "block\toffset\tbit\twidth\tkind\tname\tmin\tmax\tlabels\tchange_number\n"
      "VCED\t0\t0\t8\tbyte\tcutoff\t0\t99\t\t0A\n"
      "VCED\t1\t3\t2\tbits\tcurve\t0\t3\t-LIN, -EXP, +EXP, +LIN\t0B\n"
      "VCED\t2\t0\t8\two\tbend\t-8192\t8191\t\t\n"
      "VCED\t4\t0\t8\tn4\ttune\t0\t9\tdepends on the moon\t\n"
      "VCED\t8\t0\t8\tbyte\tname 1\t32\t127\tASCII\t\n"
      "VCED\t9\t0\t8\tbyte\tdetune\t0\t14\t-7..+7\t\r\n",
      &import);
  ASSERT_TRUE(result.ok()) << result.text;
  EXPECT_EQ(import.parameters, 5u);
  EXPECT_EQ(import.passedOver, 1u);
  EXPECT_EQ(import.asNumbers, 1u);
  EXPECT_EQ(Expanded(import.rows),
            "0\tcutoff\t0..99\t\t0A\n1 3-4\tcurve\t0..3\t-LIN, -EXP, +EXP, +LIN\t0B\n"
            "2 word low first\tbend\t-8192..8191 offset\t\t\n4 4 nibbles high first\ttune\t0..9\t\t\n"
            "9\tdetune\t0..14\tvalue - 7\t\n");
  EXPECT_NE(import.rows.find("numbers = hex\n"), std::string::npos);
  EXPECT_NE(import.rows.find("# depends on the moon"), std::string::npos);
}

TEST(ParameterImport, ConditionsStandBehindTheirRows) {
  ParameterImport import;
  ASSERT_TRUE(ImportParameterSheet("place\tname\trange\twhen\n"
                                   "0\tMODE\t0..3\n"
                                   "1\tOP1 level\t0..9\tMODE in 1..3\n2\tOP2 level\t0..9\tMODE in 1..3\n"
                                   "3\tOP3 level\t0..9\tMODE in 2\n",
                                   &import)
                  .ok());
  EXPECT_EQ(import.rows,
            "[parameters DATA]\n"
            "0  | MODE      | 0..3\n"
            "repeat OP in 1 2 from 1 step 1\n"
            "+0 | level     | 0..9  when = MODE in 1..3\n"
            "end\n"
            "3  | OP3 level | 0..9  when = MODE in 2\n");
  Expanded(import.rows);
}

TEST(ParameterImport, MistakesNameTheirLine) {
  ParameterImport import;
  const std::string head = "place\tname\trange\n0\tA\t0..1\n";
  for (const auto& [text, said] : std::vector<std::pair<std::string, std::string>>{
           {"", "line 1:"},
           {"a\tb\n", "line 1:"},
           {head + "x\tB\t0..1\n", "line 3:"},
           {head + "1\t\t0..1\n", "line 3:"},
           {head + "1\tB\t5..1\n", "line 3:"},
           {head + "1 3\tB\t0..2\n", "line 3:"},
           {"place\tname\trange\twhen\n0\tA\t0..1\tB is 1\n", "line 2:"}}) {
    const Result result = ImportParameterSheet(text, &import);
    EXPECT_FALSE(result.ok()) << text;
    EXPECT_TRUE(result.text.starts_with(said)) << result.text;
  }
}

}  // namespace tonalith
