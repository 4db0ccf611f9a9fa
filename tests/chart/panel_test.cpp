// Panels: which box holds what, how it is laid out, and the macros that reach the data.

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

#include "chart/panel_layout.h"
#include "chart/parameters.h"
#include "tests/script/macro_test_support.h"

namespace tonalith {

namespace {

using test::Bytes;

constexpr char kRows[] =
    "[parameters Voice]\n"
    "change = F0 43 1n 01 number value F7\n"
    "0 5-6 | OSC 1 octave | 0..2 | 16', 8', 4' | 11\n"
    "1 | OSC 1 level | 0..31 | | 12\n"
    "2 | OSC 10 level | 0..99 | value - 50 | 13\n"
    "3 | CHORUS | 0..1 | off, on | 14\n"
    "4 | EG attack | 0..31 | | 15\n5 | EG decay | 0..31 | | 16\n6 | EG break point | 0..31 | | 17\n"
    "7 | EG slope | 0..31 | | 18\n8 | EG sustain | 0..31 | | 19\n9 | EG release | 0..31 | 127 - value | 20\n"
    "10 | MOD1 source | 0..2 | none, LFO, EG with a long name | 21\n11 word | MOD1 amount | -8192..8191 offset\n"
    "13 | MOD2 source | 0..2 | as MOD1 source | 23\n14 nibbles | MOD2 amount | -128..127\n"
    "16 | STRAY thing | 0..4\n";
constexpr char kPanel[] =
    "[panel Voice]\n"
    "row = OSC 1, OSC 10 | CHORUS: switches\n"
    "row = EG: envelope(attack decay \"break point\" slope sustain release), MOD: matrix(source amount)\n";

struct Made {
  ParameterTable table;
  PanelPlan plan;
  std::vector<ChartProblem> problems;
};

Made Make(const std::string& panel) {
  ChartProblems problems("x.chart");
  const ChartText chart = ReadChartText(std::string("[Maker Model]\n") + kRows + panel, &problems);
  Made made;
  made.table = ReadParameters(chart.sections.at(1), {40, true}, {}, &problems);
  made.plan = ReadPanel(chart.sections.at(2), &made.table, &problems);
  made.problems = problems.all();
  return made;
}

int Right(const ControlRecord& c) {
  return c.head.left + c.head.width;
}
int Bottom(const ControlRecord& c) {
  return c.head.top + c.head.height;
}

}  // namespace

TEST(Panel, BoxesHoldWhatTheirWordsBegin) {
  const Made made = Make(kPanel);
  for (const ChartProblem& problem : made.problems) ADD_FAILURE() << problem.Text();
  std::string sections;
  for (const Parameter& p : made.table.parameters) sections += p.section + ";";
  EXPECT_EQ(sections, "OSC 1;OSC 1;OSC 10;CHORUS;EG;EG;EG;EG;EG;EG;MOD;MOD;MOD;MOD;Other;");
  EXPECT_TRUE(made.plan.rows[0][2].gapBefore);
}

// Every parameter has one control to edit it, nothing lies on anything else, and the same chart gives the same bytes.
TEST(Panel, ControlsStandOnOneGrid) {
  const Made made = Make(kPanel);
  const PanelFiles files = LayOutPanel(made.plan, made.table, {6, 'n'}, "Voice");
  std::set<int> ids;
  std::multiset<std::string> edits;
  std::vector<const ControlRecord*> editing;
  for (const ControlRecord& c : files.panel.controls) {
    EXPECT_TRUE(ids.insert(c.head.id).second) << c.head.id;
    EXPECT_GE(c.head.left, 0);
    EXPECT_LE(Right(c), files.width);
    EXPECT_LE(Bottom(c), files.height);
    if (c.bindings.empty()) continue;
    for (const ControlRecord* other : editing) {
      const bool apart = Right(c) <= other->head.left || Right(*other) <= c.head.left || Bottom(c) <= other->head.top ||
                         Bottom(*other) <= c.head.top;
      EXPECT_TRUE(apart) << c.head.name << " lies on " << other->head.name;
    }
    editing.push_back(&c);
    if (c.head.id <= made.table.parameters.size()) edits.insert(c.head.name);
    if (TagText(c.tag) == "GRPH") {
      EXPECT_EQ(c.bindings.size(), 8u);
      EXPECT_EQ(c.own.Numbers("Points"), (std::vector<std::int64_t>{2, 1, 3, 1, 3, 1, 2, 1}));
      EXPECT_EQ(c.own.Numbers("Linked Controls"), (std::vector<std::int64_t>{5, -1, 6, 7, 8, 9, 10, -1}));
    }
  }
  EXPECT_EQ(edits.size(), made.table.parameters.size());
  for (const Parameter& p : made.table.parameters) EXPECT_EQ(edits.count(p.name), 1u) << p.name;
  EXPECT_EQ(files.lists.texts.size(), 3u) << "the octaves, the sources once, the values of the release";
  const Bytes bytes = WriteTemplate(files.panel);
  TemplateFile back;
  ASSERT_TRUE(ReadTemplate(bytes, &back).ok());
  EXPECT_EQ(WriteTemplate(back), bytes);
  EXPECT_EQ(WriteTemplate(LayOutPanel(made.plan, made.table, {6, 'n'}, "Voice").panel), bytes);
}

TEST(Panel, MistakesAreNamedWhereTheyStand) {
  struct Row {
    const char* panel;
    int column;
    const char* text;
  };
  const Row rows[] = {{"row = OSC 1, FILTER\n", 14, "begins with these words"},
                      {"row = OSC 1, OSC 1\n", 14, "already"},
                      {"row = EG: enevlope(attack)\n", 11, "no style of a box"},
                      {"row = EG: envelope(atack)\n", 7, "no parameter of that name"},
                      {"row = EG: same\n", 11, "no box before"},
                      {"line = EG\n", 1, "no key of a panel"}};
  for (const Row& row : rows) {
    const Made made = Make(std::string("[panel Voice]\n") + row.panel);
    ASSERT_FALSE(made.problems.empty()) << row.panel;
    EXPECT_EQ(made.problems[0].line, 20) << made.problems[0].Text();
    EXPECT_EQ(made.problems[0].column, row.column) << made.problems[0].Text();
    EXPECT_NE(made.problems[0].text.find(row.text), std::string::npos) << made.problems[0].Text();
  }
}

namespace {

MacroOutcome RunBinding(const TemplateValues& binding, const char* field, Bytes* image, Synth synth, std::int32_t x,
                        std::vector<Bytes>* out = nullptr) {
  test::ScriptedServices services;
  TransferContext context;
  const std::string& code = binding.Text(field);
  MacroStart start;
  start.x = x;
  start.returnRet = true;
  MacroOutcome outcome =
      RunMacro(services, context, synth, {reinterpret_cast<const std::uint8_t*>(code.data()), code.size()},
               MacroBuffer(*image), start);
  if (out) *out = services.out;
  return outcome;
}

}  // namespace

// The macros of a binding do what the place does.
TEST(PanelBinding, MacrosReachTheSameBits) {
  std::mt19937 random(5);
  for (const int format : {0, 15}) {
    Synth synth{};
    synth.storageFormat = static_cast<std::uint8_t>(format);
    synth.headerSize = 6;
    synth.voiceBytes = synth.voiceSize = 30;
    synth.numVoices = 1;
    for (const char* text : {"4 word", "4 word low first", "4 nibbles", "4 4 nibbles high first", "4 word half",
                             "4 bit+low 7", "9 0 & 4 0-6", "4 2-3 & 8 1-3 & 6 0"}) {
      Parameter parameter;
      ASSERT_FALSE(ParseFieldPlace(text, true, {}, &parameter.place));
      ASSERT_FALSE(
          ParseFieldRange("0.." + std::to_string(parameter.place.highest()), &parameter.place, &parameter.range));
      const TemplateValues binding = BindParameter(parameter, {}, {synth.headerSize, 'n'});
      for (int round = 0; round < 20; ++round) {
        Bytes image(60);
        for (std::uint32_t i = 0; i < 30; ++i) PatchBytes(image, synth).Set(i, random() & 0x7F);
        Bytes expected = image;
        const auto value = static_cast<std::int32_t>(random() % (parameter.place.highest() + 1));
        ASSERT_TRUE(parameter.place.Write(PatchBytes(expected, synth), value));
        const MacroOutcome read = RunBinding(binding, "Retrieve Macro", &image, synth, 0);
        ASSERT_TRUE(read.returned) << text;
        EXPECT_EQ(read.returnValue, parameter.place.Read(ConstPatchBytes(image, synth))) << text;
        RunBinding(binding, "Store Macro", &image, synth, value);
        EXPECT_EQ(image, expected) << text << " format " << format;
      }
    }
  }
}

// Where a condition does not hold, a control reads what none has, writes nothing and sends nothing.
TEST(PanelBinding, WhatIsNotThereIsLeftAlone) {
  constexpr char kChart[] =
      "[Maker Model]\n[parameters Voice]\n"
      "change = F0 43 1n 01 number value F7\n"
      "0 0-2 | MODE | 0..7\n2 word | DEPTH | -8192..8191 offset\n4 0-4 | FINE | -16..15\n"
      "8 | MODE A | 0..99 | | 1  when = MODE in 3..5\n8 | MODE B | 0..99 | | 2  when = MODE in -3..1\n"
      "9 2-4 | DEEP | 0..7 | | 3  when = DEPTH in -100..200, MODE in 0..3\n"
      "10 nibbles | LOW | 0..127 | | 4  when = FINE in -3..-1\n";
  ChartProblems problems("x.chart");
  const ChartText chart = ReadChartText(kChart, &problems);
  const ParameterTable table = ReadParameters(chart.sections.at(1), {30, true}, {}, &problems);
  for (const ChartProblem& problem : problems.all()) ADD_FAILURE() << problem.Text();
  Synth synth{};
  synth.headerSize = 6;
  synth.voiceBytes = synth.voiceSize = 30;
  synth.numVoices = 1;
  int there = 0, missing = 0;
  for (const Parameter& p : table.parameters) {
    if (p.condition < 0) continue;
    const TemplateValues binding = BindParameter(p, table, {synth.headerSize, 'n'});
    for (const std::int64_t mode : {0, 1, 2, 3, 5, 7}) {
      for (const std::int64_t depth : {-8192, -101, -100, 200, 201}) {
        for (const std::int64_t fine : {-16, -4, -3, -1, 0, 15}) {
          Bytes image(60, 0x15);
          const PatchBytes patch(image, synth);
          table.Find("MODE")->place.Write(patch, mode);
          table.Find("DEPTH")->place.Write(patch, depth);
          table.Find("FINE")->place.Write(patch, fine);
          const bool in = table.IsIn(p, patch.view());
          ++(in ? there : missing);
          const std::string at =
              p.name + " " + std::to_string(mode) + " " + std::to_string(depth) + " " + std::to_string(fine);
          EXPECT_EQ(RunBinding(binding, "Retrieve Macro", &image, synth, 0).returnValue,
                    in ? p.place.Read(patch.view()) : -1)
              << at;
          Bytes expected = image;
          if (in) p.place.Write(PatchBytes(expected, synth), 6);
          RunBinding(binding, "Store Macro", &image, synth, 6);
          EXPECT_EQ(image, expected) << at;
          std::vector<Bytes> out;
          RunBinding(binding, "Transmit", &image, synth, 6, &out);
          EXPECT_EQ(out.size(), in ? 1u : 0u) << at;
        }
      }
    }
  }
  EXPECT_GT(there, 100);
  EXPECT_GT(missing, 100);
}

TEST(PanelBinding, ChangesAreSentAsTheChartSays) {
  struct Row {
    const char* change;
    const char* number;
    std::int32_t value;
    const char* sent;  // "": no macro, the whole patch goes out
  };
  const Row rows[] = {{"F0 43 1n 01 number value F7", "11", 5, "F0 43 13 01 0B 05 F7"},
                      {"F0 43 1n number high number low value F7", "134", 5, "F0 43 13 01 06 05 F7"},
                      {"F0 41 36 0n number value high value low F7", "02 0B", 300, "F0 41 36 03 02 0B 02 2C F7"},
                      {"F0 42 04 offset value F7", "", 9, "F0 42 04 07 09 F7"},
                      {"F0 42 04 offset shape F7", "", 9, ""},
                      {"F0 42 nn 40+offset low high byte F7", "", 9, "F0 42 03 47 0A 05 5A F7"},
                      {"F0 41 10 < 03 offset high offset low bytes sum F7", "", 9, "F0 41 10 03 00 07 5A 1C F7"},
                      {"F0 41 17+2 01 F7", "", 9, "F0 41 19 01 F7"},
                      {"F0 42 10+offset-2 03 value F7", "", 9, "F0 42 15 03 09 F7"},
                      {"F0 42 offset-8 value F7", "", 9, ""},
                      {"F0 42 4-1 value F7", "", 9, "F0 42 03 09 F7"},
                      {"controller number", "CC 74", 9, "B0 4A 09"},
                      {"NRPN number", "200", 300, "B0 63 01 B0 62 48 B0 06 02 B0 26 2C"},
                      {"F0 01 F7 + F0 02 value F7", "", 9, "F0 01 F7 F0 02 09 F7"},
                      {"F0 01 F7 + F0 02 shape F7", "", 9, ""},
                      {"F0 42 number value F7", "", 9, ""}};
  for (const Row& row : rows) {
    Synth synth{};
    synth.hasSysExChannel = 1;
    synth.sysExChannel = 3;
    Parameter parameter;
    ASSERT_FALSE(ParseFieldPlace("7", true, {}, &parameter.place));
    parameter.range = {0, row.value > 127 ? 1000 : 100};
    parameter.number = row.number;
    parameter.change = 0;
    ParameterTable table;
    table.changes = {row.change};
    const TemplateValues binding = BindParameter(parameter, table, {6, 'n', 0});
    EXPECT_EQ(binding.Number("Comm Mode"), *row.sent ? 0 : 2) << row.change;
    if (!*row.sent) continue;
    synth.headerSize = 6;
    Bytes image(20);
    image[6 + 7] = 0x5A;
    std::vector<Bytes> out;
    RunBinding(binding, "Transmit", &image, synth, row.value, &out);
    Bytes sent;
    for (const Bytes& message : out) sent.insert(sent.end(), message.begin(), message.end());
    EXPECT_EQ(sent, test::Hex(row.sent)) << row.change;
  }
}

}  // namespace tonalith
