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
