// Charts become module sources: what the messages of a chart say is in the descriptors, forms and steps.

#include <gtest/gtest.h>

#include <string>

#include "chart/chart_of_module.h"
#include "chart/module_of_chart.h"

namespace tonalith {

namespace {

constexpr const char* kHead = "[Acme One]\ndrivers = 60000   maker = 7D   device = n   sum = sum\n";

// The lines of a file of the source that begin with one of the words, with ';' between.
std::string Lines(const ChartModule& module, const std::string& file, const std::vector<std::string>& words) {
  std::string found;
  const auto text = module.source.find(file);
  if (text == module.source.end()) return "no " + file;
  std::size_t at = 0;
  while (at < text->second.size()) {
    const std::size_t end = text->second.find('\n', at);
    const std::string line = text->second.substr(at, end - at);
    for (const std::string& word : words)
      if (line.starts_with(word + " ")) found += (found.empty() ? "" : "; ") + line;
    at = end + 1;
  }
  return found;
}

}  // namespace

TEST(ChartModule, MessagesSayHowDataLies) {
  struct Case {
    const char* chart;
    const char* file;
    std::vector<std::string> words;
    const char* lines;
  };
  const Case cases[] = {
      // groups with a sum each, a count in front
      {"[data Bank]  4 x Tone\ndump = F0 7D 0n 01 {count (16 nibbles low first) sum}*4 F7\n[data Tone]\ndump = F0 7D "
       "0n 02 "
       "(16) F7\n",
       "bank.descriptor",
       {"fileSize", "headerSize", "voiceSize", "voiceOffset", "voiceBytes", "storageFormat", "verify", "init"},
       "fileSize = 145; headerSize = 4; voiceSize = 35; voiceBytes = 16; voiceOffset = 2; storageFormat = 1; init = 4: "
       "00 20 "
       "| times 4 | step 35; verify = 4 6 32 38 | times 4 | step 35"},
      // a packing that runs through the bank
      {"[data Bank]  10 x Tone\ndump = F0 7D 0n 01 (140 7 of 8 through) F7\n[data Tone]\ndump = F0 7D 0n 02 (14) F7\n",
       "bank.descriptor",
       {"fileSize", "voiceSize"},
       "fileSize = 165; voiceSize = 14"},
      // as many as there are, which a byte says, or the length of the message
      {"[data Bank]  4 x Tone\ndump = F0 7D 0n 01 turns {(16) sum}*1..4 F7\n[data Tone]\ndump = F0 7D 0n 02 (16) F7\n",
       "bank.descriptor",
       {"fileSize", "headerSize", "numVoices", "voiceSize", "optionBits", "message", "verify", "init"},
       "optionBits = 1; fileSize = 74; headerSize = 5; numVoices = 4; voiceSize = 17; init = 4: 04; message = F0 7D 0? "
       "01 ?? | length any | least 23 17 | turns 4 1; verify = 4 5 16 21 | times any | step 17"},
      {"[data Bank]  4 x Tone\ndump = F0 7D 0n 01 count {(16)}*2..4 sum or 7F F7\n[data Tone]\ndump = F0 7D 0n 02 (16) "
       "F7\n",
       "bank.descriptor",
       {"fileSize", "headerSize", "voiceSize", "message", "verify", "init"},
       "fileSize = 72; headerSize = 6; voiceSize = 16; init = 4: 00 40; message = F0 7D 0? 01 ?? ?? | length any | "
       "least "
       "40 16 | sized 4 32; verify = 4 6 32 38 | or 7F | size 40"},
      // an answer that has the device number elsewhere is looked into; what the panel sends; what refusals mean
      {"[data Tone]\ndump = F0 7D 75 0n (4) F7   ok = F0 7D 6n 02 F7 | refused F0 7D 6n 03 F7 \"No room.\"\n"
       "get = panel   put = dump -> ok\n",
       "tone.descriptor",
       {"get", "put"},
       "get = listen | answer F0 7D 75; put = data | answer F0 7D device&15+96 02 F7 | refused F0 7D device&15+96 03 "
       "F7"},
      {"port speed = 1000   other tuning = F0 7D 0n 09 (any) F7\n[data Tone]\ndump = F0 7D 75 0n (4) F7\n"
       "ok = F0 7D 6n 02 F7 | refused F0 7D 6n 03 F7 \"No room.\"   put = dump -> ok\n",
       "module.ini",
       {"MaxSysExSpeed", "tuning", "F0"},
       "MaxSysExSpeed = 1000; tuning = F0 7D 0? 09 *; F0 7D 6? 03 = No room."},
      // patch by patch: program change, a place in the message, a pause, an answer
      {"[data Bank]  8 x Tone   pause = 20 ms\neach = F0 7D 0n 01 10+p (4) sum F7   ok = F0 7D 0n 05 F7\n"
       "get = Cn pp, F0 7D 0n 06 F7 -> each   put = each -> ok\n[data Tone]\ndump = F0 7D 0n 02 (4) F7\n",
       "bank.descriptor",
       {"patchByPatch", "get", "put", "slots"},
       "patchByPatch = 1; get = send device&15+192 patch; get = pause 20; get = ask F0 7D 00 06 F7; get = pause 20; "
       "put = set "
       "4: 10+patch; put = data | answer F0 7D 00 05 F7; put = pause 20; slots = 4 16 8"},
      // pauses inside a message, what chose the bank before
      {"[data Bank b = 0..1]  4 x Tone\nchoose = F0 7D 0n 08 0b F7\ndump = F0 7D 0n 01 {(16) sum (120 ms)}*4 F7   get "
       "= choose, "
       "F0 7D 0n 09 F7 -> dump   put = choose, dump   file = choose dump | dump (b = 0)\n[data Tone]\ndump = F0 7D 0n "
       "02 (16) F7\n",
       "bank1.descriptor",
       {"put", "context"},
       "put = send F0 7D 00 08 01 F7; put = data 21; put = repeat 3; put = pause 120; put = data 17; put = end; put = "
       "pause 120; "
       "put = data 1; context = F0 7D 0? 08 | 01 | no"},
      // read in a form with a place, sent in the edit buffer's own
      {"[data Edit]\ndump = F0 7D 0n 00 00 (4) F7   old = F0 7D 0n 01 pp (4) F7   request = F0 7D 0n 04 F7\n",
       "edit.descriptor",
       {"get", "put"},
       "get = ask F0 7D 00 04 F7; put = set 3: 00 00; put = data"},
      // a number beyond a base
      {"[data Tone]  patches = 0..7   request = F0 7D 0n 01 08+p F7   dump = F0 7D 0n 02 08+p (8) F7\n",
       "tone.descriptor",
       {"patchNumberInImage", "patchNumberOffset", "put", "patchByte"},
       "patchNumberInImage = 1; put = set 4: 08+patch; put = data; patchByte = 4 | first 8"},
      // numbers of 14 bits, banks of a hundred
      {"find = F0 7D 4n F7 -> F0 7D 28+n 0? F7\n[data Tone]\ndump = F0 7D 0n 02 (8) F7\n",
       "module.ini",
       {"Enable", "ChMax", "Request", "Reply"},
       "Enable = 1; ChMax = 15; Request = F0 7D 4n F7; Reply = F0 7D 28+n 0? F7"},
      {"[data Bank b = A..B]  100 x Tone   patches = 0..99, 100..199   numbers = {b}-00..{b}-99\n"
       "request = F0 7D 0n 01 pp low pp high F7   each = F0 7D 0n 02 pp low pp high (4) F7\n"
       "[data Tone]\ndump = F0 7D 0n 03 (4) F7\n",
       "bankb.descriptor",
       {"numberFormat", "bankNumberOffset", "get", "put", "slots"},
       "numberFormat = 76; bankNumberOffset = 100; get = ask F0 7D 00 01 patch+100&127 patch+100/128 F7; put = set 4: "
       "patch+100&127 patch+100/128; put = data; slots = 4 100 100 | high 5"},
      // what the instrument changes by itself, of unpacked bytes
      {"[data Tone]\ndump = F0 7D 0n 02 (16 nibbles low first) F7   volatile = 5, 12..15\n",
       "tone.descriptor",
       {"volatile"},
       "volatile = 5, 12..15"},
  };
  for (const Case& c : cases) {
    ChartProblems problems("x.chart");
    const ChartModule module = ModuleOfChart(std::string(kHead) + c.chart, &problems);
    EXPECT_FALSE(problems.any()) << problems.First().text;
    EXPECT_EQ(Lines(module, c.file, c.words), c.lines);
    ModuleImage image;
    EXPECT_TRUE(BuildChart(std::string(kHead) + c.chart, &problems, &image).ok()) << problems.First().text;
  }
}

// What builds, but not what was meant.
TEST(ChartModule, NamesWhatCannotBe) {
  struct Case {
    const char* chart;
    const char* problem;
  };
  const std::string patch = "[data Tone]\ndump = F0 7D 0n 02 (8) F7\n";
  const std::string mixed = "[data Tone]\ndump = F0 7D 0n 02 (4 nibbles low first) (8) F7\n[parameters Tone]\n";
  const Case cases[] = {
      {"find = F0 7D 4n (3) F7 -> F0 7D 3n F7\n", "are bytes and the device number"},
      {"find = F0 7D ?? F7 -> F0 7D 3n F7\n", "a byte of the question is open"},
      {"find = F0 7D n4 F7 -> F0 7D 3n F7\n", "are bytes and the device number"},
      {"find = Tune\n", "no data type of this name"},
      {"[data A]  8 x Tone\ndump = F0 7D 0n 03 (any) F7\n", "a bank of any size does not say where its patches lie"},
      {"[data A]  8 x Tone\ndump = F0 7D 0n 03 {(8)}*1..4 F7\n", "is said to have the most of them"},
      {"[data A]\ndump = F0 7D 0n 03 {(8)}*1..4 F7\n", "is said to have the most of them"},
      {"[data A]  4 x Tone\neach = F0 7D 0n 03 pp {(8)}*1..4 F7\n", "is said to have the most of them"},
      {"[data A]  4 x Tone\ndump = F0 7D 0n 03 {(8)}*4..4 F7\n", "at least and at most"},
      {"[data A]  4 x Tone\ndump = F0 7D 0n 03 {(8)}*0..4 F7\n", "at least and at most"},
      {"[data A]  4 x Tone\ndump = F0 7D 0n 03 turns {(8)}*4 F7\n", "a byte says how often a group stands there"},
      {"[data A]  200 x Tone\ndump = F0 7D 0n 03 turns {(8)}*1..200 F7\n", "127 times at most"},
      {"[data A]  4 x Tone\ndump = F0 7D 0n 03 (2) {(8)}*1..4 F7\n", "no pause and no other data"},
      {"[data A]  4 x Tone\ndump = F0 7D 0n 03 {(8) (50 ms)}*1..4 F7\n", "no pause and no other data"},
      {"[data A]  4 x Tone\ndump = F0 7D 0n 03 {(4)}*1..4 {(4)}*1..4 F7\n", "only one group"},
      {"[data A]  4 x Tone\ndump = F0 7D 0n 03 {(8 7 of 8 through)}*1..4 F7\n", "needs to know how many there are"},
      {"[data A]  4 x Tone\ndump = F0 7D 0n 03 {(2)}*1..4 01 02 F7\n", "as long as one of them"},
      {"[data A]\ndump = F0 7D 0n 03 (8) F7   volatile = 5..8\n", "the patch has no such byte"},
      {"[data A]\ndump = F0 7D 0n 03 (8) F7   volatile = 3..2\n", "places and runs of places are expected"},
      {"[data A]\ndump = F0 7D 0n 03 (8) F7   volatile = clock\n", "places and runs of places are expected"},
      {"[data A]\ndump = F0 7D 0n 03 (8) F7   volatile = 1,,2\n", "places and runs of places are expected"},
  };
  ModuleImage image;
  for (const Case& c : cases) {
    ChartProblems problems("x.chart");
    EXPECT_FALSE(BuildChart(kHead + std::string(c.chart) + patch, &problems, &image).ok()) << c.chart;
    EXPECT_NE(problems.First().text.find(c.problem), std::string::npos) << c.chart << problems.First().text;
  }
  for (const bool right : {true, false}) {
    ChartProblems problems("x.chart");
    const std::string row = right ? "11 | OSC level | 0..127\n" : "12 | OSC level | 0..127\n";
    EXPECT_EQ(BuildChart(kHead + mixed + row, &problems, &image).ok(), right) << "four bytes and eight";
  }
}

// A message that changes two parameters is a mistake at their rows, unless it carries what both lie in.
TEST(ChartModule, ChangesTellParametersApart) {
  struct Case {
    const char* change;
    const char* other;  // of the second row; empty: the same
    int line;           // 0: right
  };
  const Case cases[] = {{"F0 7D 20 number value F7", "", 8},          {"F0 7D 20 part number value F7", "", 0},
                        {"F0 7D 20 part offset value F7", "", 0},     {"F0 7D 20 {OP} number value F7", "", 0},
                        {"F0 7D 20 offset byte F7", "", 0},           {"F0 7D 20 20+part byte F7", "", 9},
                        {"F0 7D 20 part offset value F7", "none", 0}, {"F0 7D 20 part value F7", "", 9}};
  for (const Case& c : cases) {
    ChartProblems problems("x.chart");
    ModuleImage image;
    const std::string other = *c.other ? std::string("  change = ") + c.other : std::string();
    const bool right =
        BuildChart(
            kHead + std::string("[data Tone]\ndump = F0 7D 0n 02 (16) F7\n[parameters Tone]\nchange = ") + c.change +
                "\nrepeat OP in 00 01 from 4 step 4\n+0 | level | 0..9 | | 5\n+1 | rate | 0..9 | | 6" + other + "\n",
            &problems, &image)
            .ok();
    EXPECT_EQ(right, c.line == 0) << c.change << (right ? "" : problems.First().text);
    if (!right) {
      EXPECT_EQ(problems.all().front().line, c.line) << problems.all().front().Text();
    }
  }
}

TEST(ChartModule, ARelativeSaysWhatIsDifferent) {
  const std::string chart =
      std::string(kHead) +
      "dump = F0 7D 0n 01 (16) F7\n[data Tone]\nname = 0 8\n[data Extra]\ndump = F0 7D 0n 03 (4) F7\n"
      "[variant Acme Two]  drivers = 60010   dump = F0 7D 0n 02 (24) F7\n[data Tone]  name = 8 8\n";
  ChartProblems problems("x.chart");
  const ChartModule one = ModuleOfChart(chart, &problems);
  const ChartModule two = ModuleOfChart(chart, &problems, "Acme Two");
  EXPECT_FALSE(problems.any()) << problems.First().text;
  EXPECT_EQ(Lines(one, "tone.descriptor", {"fileSize", "nameOffset"}), "fileSize = 21; nameOffset = 0");
  EXPECT_EQ(Lines(two, "tone.descriptor", {"fileSize", "nameOffset", "message"}),
            "fileSize = 29; nameOffset = 8; message = F0 7D 0? 02");
  EXPECT_EQ(Lines(two, "module.ini", {"Name", "DriverBase", "Types"}),
            "Name = Acme Two; DriverBase = 60010; Types = tone extra");
  ModuleOfChart(chart, &problems, "Acme Three");
  EXPECT_EQ(problems.First().text,
            "x.chart:1:1: error: the chart has no relative of this name (\"Acme Three\"); right: Acme Two");
}

// The text that a module without its chart gives is found by the same question, over the same device numbers.
TEST(ChartOfModule, GivesTheOwnInquiryBack) {
  const std::string types = "\n[data Tone]\nrequest = F0 7D 0n 02 F7\ndump = F0 7D 0n 01 (16) F7\n";
  const std::pair<const char*, const char*> cases[] = {
      {"device = n", "find = F0 42 4n F7 -> F0 42 3n 04 F7"},
      {"device = n 02..05, default 02", "find = F0 40 nn F7 -> F0 40 10+n 6? ?? F7"},
      {"device = n", "find = F0 40 01 F7 -> F0 40 02 F7"},
  };
  for (const auto& [device, find] : cases) {
    const std::string head = std::string("[Acme One]\ndrivers = 60000   maker = 7D   ") + device + "\n" + find;
    ChartProblems problems("one.chart");
    ModuleImage image;
    ASSERT_TRUE(BuildChart(head + types, &problems, &image).ok()) << problems.First().text;
    const auto iniOf = [](const ModuleImage& module) {
      std::string text;
      for (const auto& file : module.files)
        if (file.path.ends_with(".ini") && file.path.find('\\') == std::string::npos)
          text.assign(file.bytes.begin(), file.bytes.end());
      return text.substr(std::min(text.size(), text.find("[Device Inquiry]")));
    };
    const std::string before = iniOf(image);
    std::erase_if(image.files, [](const auto& file) { return file.path.ends_with(".chart"); });
    ChartOfModule found;
    ASSERT_TRUE(FindChartOfModule("Acme One", image.files, &found));
    EXPECT_FALSE(found.whole);
    ModuleImage again;
    ASSERT_TRUE(BuildChart(found.text, &problems, &again).ok()) << problems.First().text << found.text;
    EXPECT_NE(before.find("[Own Inquiry]"), std::string::npos);
    const auto inquiry = [](const std::string& ini) {
      const std::size_t at = ini.find("[Own Inquiry]");
      return ini.substr(0, ini.find("\n[", at));
    };
    EXPECT_EQ(inquiry(iniOf(again)), inquiry(before)) << found.text;
  }
}

}  // namespace tonalith
