// What a chart says about the inside of data, as files of the module.

#include <gtest/gtest.h>

#include <string>

#include "chart/field_files.h"
#include "parameters/parameter_table.h"
#include "parameters/patch_conversion.h"
#include "parameters/reference_matrix.h"

namespace tonalith {

namespace {

const ModuleSource kSource = {
    {"module.ini", "[Module]\nName = Test One\nDriverBase = 60000\nTypes = bank voice multi\nmanufacturerId = 0x7D\n"},
    {"bank.descriptor", "typeName = Bank\nfileSize = 36\nheaderSize = 3\nvoices = 4 8\n"},
    {"voice.descriptor", "typeName = Voice\nfileSize = 16\nheaderSize = 3\nvoiceSize = 12\ninit = 5: 03\n"},
    {"multi.descriptor", "typeName = Multi\nfileSize = 16\nheaderSize = 3\nvoiceSize = 12\n"}};
const std::vector<FieldTypeNames> kTypes = {{"Bank", "Bank", "Voice"}, {"Voice", "Voice", ""}, {"Multi", "Multi", ""}};

// File of the module by the end of its name; empty when there is none.
std::string FileOf(const ModuleImage& module, const std::string& name) {
  for (const PackageFile& file : module.files)
    if (file.path.ends_with("\\" + name)) return {file.bytes.begin(), file.bytes.end()};
  return {};
}

ModuleImage Add(const std::string& chart, ChartProblems* problems) {
  ModuleImage module;
  const Result built = BuildModule(kSource, &module);
  EXPECT_TRUE(built.ok()) << built.text;
  AddFieldFiles(ReadChartText(chart, problems), kTypes, &module, problems);
  return module;
}

}  // namespace

TEST(FieldFiles, EveryTypeGetsItsOwn) {
  ChartProblems problems("x.chart");
  const ModuleImage module =
      Add("[Test One]\nlist WAVES = saw, square\n"
          "[parameters Voice]\n0 | A | 0..1 | list WAVES\n2 | B | 0..9\n"
          "[parameters Bank]\n0 0 | A | 0..1 | list WAVES\n0 1-4 | B | 0..9\n"
          "[references Multi]\nPart i (1..2): voice at 1+2(i-1) in 0..3 -> Bank\n",
          &problems);
  for (const ChartProblem& problem : problems.all()) ADD_FAILURE() << problem.Text();
  ParameterTable table;
  ASSERT_TRUE(ReadParameterTable(FileOf(module, ParameterTableName(60001)), &table).ok());
  EXPECT_EQ(table.parameters.at(0).TextOf(1), "square");
  EXPECT_EQ(table.parameters.at(1).defaultValue, 3) << "new data decides";
  PatchConversion conversion;
  ASSERT_TRUE(ReadPatchConversion(FileOf(module, PatchConversionName(60000)), &conversion).ok());
  EXPECT_EQ(conversion.pairs.size(), 2u);
  EXPECT_EQ(conversion.patchType, 60001);
  ReferenceMatrix matrix;
  ASSERT_TRUE(ReadReferenceMatrix(FileOf(module, ReferenceMatrixName(60002)), &matrix).ok());
  ASSERT_EQ(matrix.rows.size(), 2u);
  EXPECT_EQ(matrix.rows[1].child.text, "3");
  EXPECT_EQ(matrix.rows[1].targets.at(0).slots, 4u);
}

// What only messages change, and no data has.
TEST(FieldFiles, ParametersInNoDataAreListed) {
  ChartProblems problems("x.chart");
  const ModuleImage module = Add(
      "[Test One]  device = n\n[parameters Live / Master]\n- | A | 0..1 | off, on | CC 7  change = controller number\n"
      "change = F0 7D 0n number value high value low F7\nrepeat PART in 1 2 from 0 step 1 numbers step 4\n"
      "- | tune | -64..63 | | 3\n",
      &problems);
  for (const ChartProblem& problem : problems.all()) ADD_FAILURE() << problem.Text();
  ParameterTable table;
  const std::string text = FileOf(module, MessageParametersName(1));
  ASSERT_TRUE(ReadParameterTable(text, &table).ok()) << text;
  EXPECT_EQ(ParameterTableText(table), text);
  EXPECT_EQ(ParameterTableSheet(table, table.ofNoData),
            "Live / Master\t-\tA\t0..1\toff, on\tCC 7\t\t\nLive / Master\t-\tPART1 tune\t-64..63\t\t3\t\t\n"
            "Live / Master\t-\tPART2 tune\t-64..63\t\t7\t\t\n");
}

TEST(FieldFiles, MistakesAreNamedWhereTheyStand) {
  struct Row {
    const char* chart;
    int line;
    const char* text;
  };
  const Row rows[] = {
      {"[parameters Vioce]\n0 | A | 0..1\n", 2, "no data of that name"},
      {"[parameters Voice]\n12 | A | 0..1\n", 3, "behind the end"},
      {"[parameters Voice]\n0 | A | 0..1\n[parameters Bank]\n0 | A | 0..1\n1 | B | 0..1\n", 6, "only one of"},
      {"[parameters Live]\n- | A | 0..1\n", 3, "nothing changes"},
      {"[parameters Live]\nchange = F0 7D offset value F7\n- | A | 0..1\n", 3, "cannot be sent for \"A\""},
      {"[parameters Live]\nchange = F0 7D value F7\n- | A | 0..1\n- | B | 0..1\n", 5, "the same message"},
      {"[parameters Live]\nchange = F0 7D value F7\n- | A | 0..1\n0 | B | 0..1\n", 2, "no data of that name"},
      {"[parameters Live]\nchange = F0 7D value F7\n- | A | 0..1  when = byte 3 in 0..1\n", 4, "asks for data"},
      {"[parameters Live]\nchange = F0 7D value F7\n- | A | 0..1\n[panel Live]\nrow = A\n", 5, "are in no data"},
      {"[parameters Voice]\n- | A | 0..1\n", 2, "a section whose name is that of no data"},
      {"[parameters Voice]\n0 | A | 0..1\n1 | B | 0..1 | off, on | 3  change = F0 7D nmber value F7\n", 4,
       "cannot be sent"},
      {"[parameters Voice]\nchange = F0 7D value F7\n0 | A | 0..255\n", 3, "cannot be sent for \"A\""},
      {"[references Multi]\nvoice at 1 in 0..3 -> Banks\n", 3, "no data of that name"},
      {"[references Multi]\nvoice at 12 in 0..3 -> Bank\n", 3, "behind the end"},
      {"[references Multi]\nvoice in 0..3 -> Bank\n", 3, "does not read"},
      {"[references Multi]\nvoice at 1 in 0..3\n", 3, "no bank"},
      {"[references Multi]\nP i (1..4): voice at 9/(i-2) in 0..3 -> Bank\n", 3, "does not read"},
  };
  for (const Row& row : rows) {
    ChartProblems problems("x.chart");
    Add(std::string("[Test One]\n") + row.chart, &problems);
    ASSERT_FALSE(problems.all().empty()) << row.chart;
    EXPECT_EQ(problems.all()[0].line, row.line) << problems.all()[0].Text();
    EXPECT_NE(problems.all()[0].Text().find(row.text), std::string::npos) << problems.all()[0].Text();
  }
}

}  // namespace tonalith
