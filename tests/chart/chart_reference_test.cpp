// The page about charts says what the reader knows, and every example of it is understood.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "chart/chart_keys.h"
#include "chart/chart_reference.h"
#include "chart/message.h"
#include "chart/module_of_chart.h"
#include "platform/text.h"

namespace tonalith {

TEST(ChartReference, IsWhatThePageHolds) {
  std::ifstream in(TONALITH_SOURCE_DIR "/docs/chart.md", std::ios::binary);
  const std::string page{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  EXPECT_NE(page.find(TrimmedView(ChartReference())), std::string::npos)
      << "put the output of `tonalith-cli module words` into it";
  // The chart that the page begins with is a whole one.
  const std::size_t begin = page.find("```\n") + 4;
  ChartProblems problems("chart.md");
  ModuleImage image;
  EXPECT_TRUE(BuildChart(page.substr(begin, page.find("```", begin) - begin), &problems, &image).ok())
      << problems.First().text;
}

TEST(ChartReference, EveryExampleIsUnderstood) {
  for (const ChartKey& key : ChartKeys()) {
    ChartProblems problems("x.chart");
    const bool head = std::string(key.section) == "instrument" || std::string(key.key) == "multitimbral";
    const ChartText chart =
        ReadChartText(std::string("[X]\n") + (head ? "" : "[data Y]\n") + key.example + "\n", &problems);
    const ChartSection& section = chart.sections.back();
    CheckChartKeys(section, &problems);
    EXPECT_FALSE(problems.any()) << problems.First().text;
    ASSERT_EQ(section.entries.size(), 1u) << key.example;
    const ChartEntry& entry = section.entries.front();
    EXPECT_TRUE(entry.flag || FindChartKey(head ? "instrument" : "data", entry.key) == &key) << key.example;
  }
  for (const ChartItemForm& form : ChartItemForms()) {
    ChartProblems problems("x.chart");
    ChartNames names;
    names.variables = "np";
    names.sum = 0;
    names.definitions["sample"] = {"(16) sum", {1, 1}, {}};
    const ChartMessage message = ReadChartMessage({form.example, {1, 1}, {}}, names, &problems);
    EXPECT_FALSE(problems.any()) << problems.First().text;
    EXPECT_FALSE(message.empty()) << form.example;
  }
}

}  // namespace tonalith
