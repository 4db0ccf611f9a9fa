// Charts taken apart: what belongs together, and where it stands.

#include <gtest/gtest.h>

#include <string>

#include "chart/chart_text.h"

namespace tonalith {

namespace {

ChartText Read(const std::string& text, ChartProblems* problems) {
  return ReadChartText(text, problems);
}

std::string Place(ChartPlace at) {
  return std::to_string(at.line) + ":" + std::to_string(at.column);
}

// KEY=VALUE@PLACE of the value, with ';' between.
std::string Entries(const std::vector<ChartEntry>& entries) {
  std::string text;
  for (const ChartEntry& e : entries)
    text +=
        (text.empty() ? "" : "; ") + e.key + (e.flag ? "@" + Place(e.keyAt) : "=" + e.value + "@" + Place(e.valueAt));
  return text;
}

std::string Rows(const std::vector<ChartRow>& rows) {
  std::string text;
  for (const ChartRow& row : rows) {
    text += text.empty() ? "" : "\n";
    for (std::size_t i = 0; i < row.cells.size(); ++i)
      text += (i ? "|" : "") + row.cells[i].text + "@" + Place(row.cells[i].at);
    if (!row.entries.empty()) text += " + " + Entries(row.entries);
  }
  return text;
}

}  // namespace

TEST(ChartText, EntriesStandInLinesOrBehindTwoBlanks) {
  ChartProblems problems("x.chart");
  const ChartText chart = Read(
      "# comment\n"
      "[Korg DW-6000]   maker = 42    device = n, also MIDI channel\n"
      "find    = F0 42 4n F7 -> F0 42 3n 04 F7   # comment  a = b\n"
      "note = \"a  b = c # d\"\tshort = DW\n"
      "[data Voice Bank b=1..7]   48 x Voice   readonly   complete\n"
      "        dump = F0 F7 \\\n"
      "  and on\n"
      "\n"
      "[script get]\n"
      "L 4 [\n"
      "]\n"
      "[data Voice]\n"
      "put each = dump, -> done | refused F0 F7 \"No  = never\"\n",
      &problems);
  EXPECT_FALSE(problems.any()) << problems.First().text;
  ASSERT_EQ(chart.sections.size(), 4u);
  EXPECT_EQ(chart.sections[0].kind + "/" + chart.sections[0].name, "instrument/Korg DW-6000");
  EXPECT_EQ(Entries(chart.sections[0].entries),
            "maker=42@2:26; device=n, also MIDI channel@2:41; find=F0 42 4n F7 -> F0 42 3n 04 F7@3:11; "
            "note=\"a  b = c # d\"@4:8; short=DW@4:31");
  EXPECT_EQ(chart.sections[1].name, "Voice Bank");
  ASSERT_TRUE(chart.sections[1].variable);
  EXPECT_EQ(Entries({*chart.sections[1].variable}), "b=1..7@5:20");
  EXPECT_EQ(Entries(chart.sections[1].entries),
            "holds=48 x Voice@5:28; readonly@5:41; complete@5:52; dump=F0 F7   and on@6:16");
  EXPECT_EQ(Place(chart.sections[1].entries.back().cell.At(8)), "7:3");
  EXPECT_EQ(chart.sections[2].script, "L 4 [\n]\n");
  EXPECT_EQ(Entries(chart.sections[3].entries), "put each=dump, -> done | refused F0 F7 \"No  = never\"@13:12");
}

TEST(ChartText, TablesHaveRowsWithCells) {
  ChartProblems problems("x.chart");
  const ChartText chart = Read(
      "[X]\n"
      "[parameters Voice]   repeat OP in 4 3 2 1   # comment\n"
      "change = F0 F7\n"
      "list WAVES = saw, \"a | b\"\n"
      " 2 0-4 | OSC 1 level | 0..31 |   | 13     change = F0 01 F7\n"
      "+0     | C# \"|\"     |       | 0 = off,  1 = on\n"
      "end\n"
      "[panel Voice]\n"
      "row = OSC 1, NOISE | VCF\n",
      &problems);
  EXPECT_FALSE(problems.any()) << problems.First().text;
  EXPECT_EQ(Entries(chart.sections[1].entries), "change=F0 F7@3:10; list WAVES=saw, \"a | b\"@4:14");
  EXPECT_EQ(Rows(chart.sections[1].rows),
            "repeat OP in 4 3 2 1@2:22\n"
            "2 0-4@5:2|OSC 1 level@5:10|0..31@5:24|@5:34|13@5:36 + change=F0 01 F7@5:52\n"
            "+0@6:1|C# \"|\"@6:10|@6:29|0 = off,  1 = on@6:31\n"
            "end@7:1");
  EXPECT_EQ(Entries(chart.sections[2].entries), "row=OSC 1, NOISE | VCF@9:7");
}

TEST(ChartText, EveryMistakeIsNamedWhereItStands) {
  struct Case {
    const char* chart;
    const char* problem;
  };
  static constexpr Case kCases[] = {
      {"", "x.chart:1:1: error: the chart is empty; right: the first line reads [MAKER MODEL]"},
      {"maker = 42\n",
       "x.chart:1:1: error: the line stands before the first section (\"maker = 42\"); right: the first line "
       "reads [MAKER MODEL]"},
      {"[data X]\n", "x.chart:1:2: error: the first section names the instrument (\"data X\"); right: [MAKER MODEL]"},
      {"[X]\n[dta Y]\n",
       "x.chart:2:2: error: no kind of section (\"dta Y\"); right: data, panel, variant, script, exchange, "
       "parameters, references"},
      {"[X]\n[data Y\n",
       "x.chart:2:1: error: the bracket of the section is not closed (\"[data Y\"); right: [KIND NAME]"},
      {"[X]\n[data ]\n", "x.chart:2:2: error: the section needs a name (\"data\"); right: [data NAME]"},
      {"[X]\na = \"b\n",
       "x.chart:2:5: error: the quotes are not closed (\"\"b\"); right: a text stands between two \" in "
       "one line"},
      {"[X]\nrequest F0\n",
       "x.chart:2:1: error: neither an entry nor a word that stands alone (\"request F0\"); right: key = "
       "value, with two blanks between entries; alone stand readonly, complete, handshake, multitimbral, "
       "patch by patch"},
      {"[X]\n[data Bank]  any x Patch\n",
       "x.chart:2:14: error: neither an entry nor a word that stands alone (\"any x Patch\"); right: 64 x Patch: a "
       "bank "
       "always has as many patches; data that comes with more or fewer is kept whole, without \"64 x\""},
      {"[X]\na = \xFF\n", "x.chart:2:1: error: the line is not UTF-8; right: a chart is UTF-8 text"},
  };
  for (const Case& c : kCases) {
    ChartProblems problems("x.chart");
    Read(c.chart, &problems);
    ASSERT_TRUE(problems.any()) << c.chart;
    EXPECT_EQ(problems.all().front().Text(), c.problem);
  }
}

}  // namespace tonalith
