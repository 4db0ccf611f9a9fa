#include <gtest/gtest.h>

#include <filesystem>

#include "cli_test_tools.h"
#include "platform/text.h"

namespace tonalith {

namespace {

const std::vector<std::string> kSaid = SplitText(
    "--name|Orrin Eight|--device|n|--request|F0 7D 0n 08 10 pp F7|--answer|F0 7D 0n 08 20 pp (16) sum F7|"
    "--name-at|0 10|--sum|negative sum",
    '|');

// A new chart in the folder of its name.
CliOutput New(const std::string& folder, std::vector<std::string> more = {}, bool chart = true) {
  const std::string path = CliHome::Instance().Path(folder);
  std::filesystem::create_directory(path);
  std::vector<std::string> args = {"module", "new", path + "/new.chart"};
  if (chart) args.insert(args.end(), kSaid.begin(), kSaid.end());
  args.insert(args.end(), more.begin(), more.end());
  return CliHome::Instance().Run(args);
}

CliOutput Check(const std::string& folder, std::vector<std::string> more = {}) {
  std::vector<std::string> args = {"module", "check", CliHome::Instance().Path(folder)};
  args.insert(args.end(), more.begin(), more.end());
  return CliHome::Instance().Run(args);
}

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// "GLASS BELL" as patch 0, and another patch as number 1.
const char kGlass[] = "F0 7D 00 08 20 00 47 4C 41 53 53 20 42 45 4C 4C 01 02 03 04 05 06 32 F7";
const char kOther[] = "F0 7D 00 08 20 01 47 4C 41 53 53 20 42 45 4C 4B 01 02 03 04 05 06 33 F7";

std::string Raw(const std::string& hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 3)
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  return bytes;
}

}  // namespace

// The byte of the patch number has a first value and limits; data with another one is something else.
TEST(Authoring, PatchNumbersHaveLimits) {
  const CliHome& home = CliHome::Instance();
  std::filesystem::create_directory(home.Path("limits"));
  WriteFileText(home.Path("limits/module.ini"),
                "[Module]\nName = Orrin Eight\nDriverBase = 21100\nTypes = bank patch\nmanufacturerId = 0x7D\n");
  WriteFileText(home.Path("limits/bank.descriptor"),
                "typeName = Patch Bank\ndataKind = 2\npatchType = patch\nfileSize = 1536\nnumVoices = 64\n"
                "voiceSize = 24\nvoiceOffset = 6\nvoiceBytes = 16\nnameLength = 10\nmessage = F0 7D 0? 08 20 ??\n"
                "slots = 5 0 64\n");
  const auto with = [&](const std::string& line, const std::vector<std::string>& more = {}) {
    WriteFileText(home.Path("limits/patch.descriptor"),
                  "typeName = Patch\ndataKind = 1\nfileSize = 24\nheaderSize = 6\nvoiceSize = 16\nnameLength = 10\n"
                  "checksumLength = 16\nchecksumStart = 6\nchecksumOffset = 22\npatchMax = 63\n"
                  "dumpRequest = F0 7D 00 08 10 00 F7\ndumpRequestPatchOffset = 5\n"
                  "message = F0 7D 0? 08 20 ??\nnumberAs = bank\n" +
                      line);
    return Check("limits", more);
  };
  EXPECT_TRUE(Has(with("patchNumberOffset = 5\npatchNumberInImage = 1\npatchByte = 5 | first 8 | count 4\n").out,
                  "error: a number that does not begin at 0 cannot be written into the image as well"));
  const std::string dump = home.Path("limits.syx");
  for (const int number : {0, 7, 8, 11, 12, 127}) {
    std::string bytes = Raw(kGlass);
    bytes[5] = static_cast<char>(number);
    WriteFileText(dump, bytes);
    const CliOutput checked = with("patchNumberOffset = 5\npatchByte = 5 | first 8 | count 4\n", {"--dump", dump});
    EXPECT_EQ(checked.status, number >= 8 && number < 12 ? 0 : 1) << number << checked.out << checked.err;
    if (number == 11) {
      EXPECT_TRUE(Has(checked.out, "\t 4\tGLASS BELL\n")) << checked.out;
    }
  }
  for (const char* wrong : {"5 | first 128", "5 | count 0", "5 | first 100 | count 29", "5 | last 3", "5000", ""}) {
    const CliOutput checked = with(std::string("patchByte = ") + wrong);
    EXPECT_TRUE(Has(checked.out, "limits/patch.descriptor:15: error: ")) << wrong << checked.out;
  }
}

// A module anywhere uses what the shipped ones share.
TEST(Authoring, WhatModulesShareIsFoundFromEverywhere) {
  const CliHome& home = CliHome::Instance();
  std::filesystem::create_directory(home.Path("shared"));
  WriteFileText(home.Path("shared/module.ini"),
                "[Module]\nName = Orrin Tagged\nDriverBase = 21000\nTypes = system\nmanufacturerId = 0x43\n");
  const auto with = [&](const std::string& line) {
    WriteFileText(home.Path("shared/system.descriptor"),
                  "typeName = System\ndataKind = 5\nfileSize = 103\nlet tag = 38 39 37 33 53 20\n" + line);
    return home.Run({"module", "build", home.Path("shared"), home.Path("shared.pvz")});
  };
  const CliOutput built = with("include = tagged\n");
  EXPECT_EQ(built.status, 0) << built.err;
  EXPECT_TRUE(Has(with("include = untagged\n").err, "there is no file \"untagged.descriptor\"")) << built.err;
}

TEST(Authoring, DescriptionsOfSimulatorsAreChecked) {
  const CliHome& home = CliHome::Instance();
  for (const auto& entry : std::filesystem::directory_iterator(TONALITH_SOURCE_DIR "/simulator/descriptions")) {
    const CliOutput checked = home.Run({"module", "check", "--simulator", entry.path().string()});
    EXPECT_EQ(checked.status, 0) << entry.path() << checked.out << checked.err;
    EXPECT_TRUE(Has(checked.out, ": no errors, no warnings; everything is ")) << checked.out;
  }
  const std::string file = home.Path("eight.sim");
  WriteFileText(file, "[instrument]\nname = Orrin Eight\nkee = eight\n[area voices]\nbytes = 8 # all\nname = 0 9\n");
  const CliOutput wrong = home.Run({"module", "check", "--simulator", file});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_TRUE(
      wrong.out.starts_with(file + ":3:1: error: \"kee\" is not known here\n    [instrument] takes: key, name, "))
      << wrong.out;
  EXPECT_TRUE(Has(wrong.out, file + ":6:8: error: name = 0 9: expected offset, length and code of the name\n"));
  EXPECT_TRUE(Has(wrong.err, "2 errors, no warnings.")) << wrong.err;
}

TEST(Authoring, AChartIsMadeOnceAndWorks) {
  const CliOutput made = New("once", {"--bank", "4"});
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_TRUE(Has(made.out, "Orrin Eight, 2 data types")) << made.out;
  const std::string file = CliHome::Instance().Path("once/new.chart");
  const std::string before = ReadFileText(file);
  const CliOutput again = New("once");
  EXPECT_EQ(again.status, 1);
  EXPECT_TRUE(Has(again.err, "is there already; nothing is overwritten.")) << again.err;
  EXPECT_EQ(ReadFileText(file), before);
  const CliOutput built = CliHome::Instance().Run({"module", "build", file, CliHome::Instance().Path("once.pvz")});
  EXPECT_EQ(built.status, 0) << built.err;
  const CliOutput checked = Check("once");
  EXPECT_EQ(checked.status, 0) << checked.out << checked.err;
  EXPECT_EQ(checked.out,
            "Patch Bank: got, sent, silent, an answer lost, exported, got as device 15, sent as device 15\n"
            "Patch: got, sent, silent, an answer lost, exported, got as device 15, sent as device 15\n"
            "Orrin Eight: no errors, no warnings\n");
}

// What cannot be right is asked for again; what is said then counts, and the end of the input ends it.
TEST(Authoring, AWrongAnswerIsAskedForAgain) {
  const CliHome& home = CliHome::Instance();
  const std::string file = home.Path("asked.chart");
  const std::string begin = "\nOrrin Nine\n7D\nn\n0..7F\nF0 7D 3n 05 10 F7\nF0 7D 3n 05 40 (26) sum F7\n\n";
  const CliOutput asked = home.Run({"module", "new", file}, begin + "negativ sum\n\nnegative sum\n0 10\n\n");
  EXPECT_EQ(asked.status, 0) << asked.err;
  for (const char* said :
       {"The instrument needs a name.", "it may be negative sum", "its kind is needed", "\"0..7F\" is no message"})
    EXPECT_TRUE(Has(asked.out, said)) << asked.out;
  EXPECT_NE(ReadFileText(file).find("sum = negative sum"), std::string::npos);
  EXPECT_NE(home.Run({"module", "new", home.Path("unasked.chart")}, begin + "negativ sum\n").status, 0);
}

TEST(Authoring, TheChartOfAModuleComesBack) {
  const CliHome& home = CliHome::Instance();
  const std::string package = home.Path("back.pvz");
  ASSERT_EQ(New("back", {"--bank", "4"}).status, 0);
  ASSERT_EQ(home.Run({"module", "build", home.Path("back"), package}).status, 0);
  EXPECT_EQ(home.Run({"module", "text", package}).out, ReadFileText(home.Path("back/new.chart")));
  // A module of another source: a chart that builds, and says that it is none yet.
  std::filesystem::create_directory(home.Path("other"));
  WriteFileText(home.Path("other/module.ini"),
                "[Module]\nName = Orrin Other\nDriverBase = 21200\nTypes = patch\nmanufacturerId = 0x7D\n"
                "hasSysExChannel = 1\nsysExChannelOffset = 2\ndumpRequestChannelOffset = 2\n");
  WriteFileText(home.Path("other/patch.descriptor"),
                "typeName = Patch\ndataKind = 1\nfileSize = 24\nheaderSize = 6\nvoiceSize = 16\nnameLength = 10\n"
                "checksumLength = 16\nchecksumStart = 6\nchecksumOffset = 22\nmessage = F0 7D 0? 08 20 ??\n"
                "dumpRequest = F0 7D 00 08 10 00 F7\ndumpRequestPatchOffset = 5\n");
  ASSERT_EQ(home.Run({"module", "build", home.Path("other"), package}).status, 0);
  const CliOutput text = home.Run({"module", "text", package});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_TRUE(Has(text.err, "The module has no chart")) << text.err;
  EXPECT_TRUE(Has(text.out, "request = F0 7D 0n 08 10 pp F7\ndump = F0 7D 0n 08 20 ?? (16) sum F7\n")) << text.out;
  WriteFileText(home.Path("other.chart"), text.out);
  EXPECT_EQ(home.Run({"module", "build", home.Path("other.chart"), package}).status, 0);
}

// What a chart says that its instrument cannot mean is seen when the module is played.
TEST(Authoring, PlayingFindsWhatReadingDoesNot) {
  struct Case {
    const char* request;  // of the bank
    const char* rest;
    const char* sentence;
  };
  const Case cases[] = {
      {"request = F0 7D 0n 08 10 00 F7", "",
       ":5:11: error: Patch Bank, getting: nothing in the request depends on the patch."},
      {"request = F0 7D 0n 08 10 pp F7", "put = F0 7D 0n 08 20 00 (16) sum F7",
       "Patch Bank, sending: nothing that is sent says which patch it is."},
  };
  for (const Case& c : cases) {
    std::filesystem::create_directory(CliHome::Instance().Path("played"));
    WriteFileText(CliHome::Instance().Path("played/new.chart"),
                  std::string("[Orrin Nine]\nmaker = 7D   device = n   drivers = 60100   sum = negative sum\n"
                              "find = Patch\n[data Patch Bank]  4 x Patch   name = 0 10\n") +
                      c.request + "\n" + c.rest +
                      "\n[data Patch]   name = 0 10\nrequest = F0 7D 0n 08 10 pp F7\n"
                      "dump = F0 7D 0n 08 20 pp (16) sum F7\n");
    const CliOutput checked = Check("played");
    EXPECT_EQ(checked.status, 1);
    EXPECT_TRUE(Has(checked.out, c.sentence)) << c.sentence << "\n" << checked.out << checked.err;
  }
}

TEST(Authoring, WhatIsMissingGetsASentence) {
  struct Case {
    std::vector<std::string> args;
    const char* sentence;
  };
  const std::string file = CliHome::Instance().Path("x.chart");
  const std::vector<Case> cases = {
      {{}, "\"new\" needs one chart"},
      {{"x"}, "A chart is a file NAME.chart"},
      {{file, "--request", "F0 7D F7"}, "The name of the instrument is missing"},
      {{file, "--name", "X"}, "The message that asks for a patch is missing"},
      {{file, "--name", "a/b", "--request", "F0 7D F7"}, "--name: at most 64"},
      {{file, "--name", "X", "--request", "F0 7D F7"}, "The answer is missing"},
      {{file, "--name", "X", "--request", "F0 7D F7", "--answer", "F0 7D (9) sum F7"}, "whose kind is missing"},
      {{file, "--name", "X", "--request", "F0 7D F7", "--answer", "F0 7D (9) F7", "--bank-request", "0..7F"},
       "--bank-request: \"0..7F\" is no message"},
      {{file, "--name", "X", "--oops"}, "There is no option --oops"},
      {{file, "--name", "X", "--dump", "/nonexistent"}, "Cannot open /nonexistent"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {"module", "new"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const CliOutput output = CliHome::Instance().Run(args);
    EXPECT_EQ(output.status, 1) << c.sentence;
    EXPECT_TRUE(Has(output.err, c.sentence)) << output.err;
    EXPECT_FALSE(std::filesystem::exists(file));
  }
}

TEST(Authoring, AConversationIsFollowedExchangeByExchange) {
  ASSERT_EQ(New("talk", {"--bank", "4"}).status, 0);
  const std::string file = CliHome::Instance().Path("talk.txt");
  struct Case {
    std::string talk;
    std::vector<std::string> options;
    int status;
    std::vector<std::string> said;
  };
  const std::string request = "OUT F0 7D 00 08 10 00 F7\n", in = "IN " + std::string(kGlass) + "\n";
  const std::string out = "OUT " + std::string(kGlass) + "\n";
  const std::vector<Case> cases = {
      {request + in,
       {},
       0,
       {"line 1: sent as expected, 7 bytes", "line 2: the instrument answered", "received: 24 bytes"}},
      {request + in + out, {}, 0, {"line 3: sent as expected, 24 bytes", "received and sent again: 24 bytes"}},
      {"OUT F0 7D 03 08 10 00 F7\nIN F0 7D 03" + std::string(kGlass).substr(8) + "\n",
       {"--device", "4"},
       0,
       {"received: 24 bytes"}},
      {"OUT F0 7D 00 09 10 00 F7\n" + in,
       {},
       1,
       {"line 1: sent something else, at byte 3 of 7 bytes", "expected F0 7D 00 09", "sent     F0 7D 00 08"}},
      {request + in + "OUT " + kOther + "\n", {}, 1, {"line 3: sent something else, at byte 5 of 24 bytes"}},
      {request + "IN F0 7D 00 08 20 00 47 F7\n", {}, 1, {"the instrument answered with 8 bytes"}},
      {request + in, {"--type", "patch", "--patch", "1"}, 1, {"line 1: sent something else, at byte 5 of 7 bytes"}},
      {"OUT F0 7D 00 08 10 01 F7\nIN " + std::string(kOther) + "\n",
       {"--type", "bank", "--patch", "1"},
       0,
       {"Patch Bank"}},
      {"", {}, 1, {"The conversation is empty."}},
      {"HELLO\n", {}, 1, {"Line 1: a line begins with OUT, IN or WAIT."}},
  };
  for (const Case& c : cases) {
    WriteFileText(file, c.talk);
    std::vector<std::string> options = {"--conversation", file};
    options.insert(options.end(), c.options.begin(), c.options.end());
    const CliOutput output = Check("talk", options);
    EXPECT_EQ(output.status, c.status) << c.talk << output.out << output.err;
    for (const std::string& part : c.said)
      EXPECT_TRUE(Has(output.out + output.err, part)) << part << "\n" << output.out;
  }
}

TEST(Authoring, DumpsAreRecognisedVerifiedAndNamed) {
  ASSERT_EQ(New("dumps", {"--bank", "4"}).status, 0);
  const std::string file = CliHome::Instance().Path("dump.syx");
  std::string damaged = kGlass;
  damaged.replace(damaged.size() - 5, 2, "00");
  struct Case {
    std::string bytes;
    int status;
    std::vector<std::string> said;
  };
  const std::vector<Case> cases = {
      {Raw(kGlass), 0, {"Patch, 24 bytes, checksum ok, 1 patch", "GLASS BELL"}},
      {Raw(kGlass) + Raw(kOther), 0, {"Patch Bank, 48 bytes, checksum ok, 2 patches"}},
      {Raw(damaged), 1, {"checksum bad"}},
      {Raw(kGlass) + Raw("F0 7D 00 11 22 F7"), 1, {"1 message was not recognised"}},
      {Raw("F0 7D 00 11 22 F7"), 1, {"6 bytes: F0 7D 00 11 22 F7", "Compare length and beginning"}},
      {"", 1, {"holds no SysEx"}},
  };
  for (const Case& c : cases) {
    WriteFileText(file, c.bytes);
    const CliOutput output = Check("dumps", {"--dump", file});
    EXPECT_EQ(output.status, c.status) << output.out << output.err;
    for (const std::string& part : c.said) EXPECT_TRUE(Has(output.out, part)) << part << "\n" << output.out;
  }
}

TEST(Authoring, ADumpIsEnoughToBeginWith) {
  const std::string file = CliHome::Instance().Path("four.syx");
  std::string all;
  for (int k = 0; k < 4; ++k) {
    std::string message = Raw(kGlass);
    message[5] = static_cast<char>(k);
    message[6] = static_cast<char>('A' + k);
    message[22] = static_cast<char>((0x32 + 'G' - 'A' - k) & 0x7F);
    all += message;
  }
  WriteFileText(file, all);
  const CliOutput made = New("four", {"--name", "Four", "--dump", file}, false);
  EXPECT_EQ(made.status, 0) << made.err;
  for (const char* part :
       {"likely\tbyte 5 is the patch number, 0 to 3", "checksum (negative sum) of 16 bytes from byte 6 on, at byte 22",
        "Patch Bank, 96 bytes, checksum ok, 4 patches", "BLASS BELL"})
    EXPECT_TRUE(Has(made.out, part)) << part << "\n" << made.out;
}

TEST(Authoring, NumbersOfOtherInstrumentsAreKnown) {
  ASSERT_EQ(CliHome::Instance().problem(), "");
  ASSERT_EQ(New("taken").status, 0);
  const std::string file = CliHome::Instance().Path("taken/new.chart");
  WriteFileText(file, ReplaceAll(ReadFileText(file), "drivers = 60000", "drivers = 1000"));
  const CliOutput output = Check("taken");
  EXPECT_EQ(output.status, 1);
  EXPECT_TRUE(Has(output.out, file + ":")) << output.out;
  EXPECT_TRUE(Has(output.out, "Choose another number behind drivers =")) << output.out;
  EXPECT_TRUE(Has(output.out, "driver id 1000 belongs to the Yamaha DX7")) << output.out;
}

}  // namespace tonalith
