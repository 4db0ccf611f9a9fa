#include <gtest/gtest.h>

#include <filesystem>

#include "cli_test_tools.h"
#include "platform/text.h"

namespace tonalith {

namespace {

const std::vector<std::string> kChart = SplitText(
    "--name|Orrin Eight|--request|F0 7D 00 08 10 nn F7|--header|F0 7D 00 08 20 nn|--reply|24|--channel-byte|2|"
    "--name-at|6|10|--checksum|0|6|16|22",
    '|');

CliOutput New(const std::string& folder, std::vector<std::string> more = {}, bool chart = true) {
  std::vector<std::string> args = {"module", "new", CliHome::Instance().Path(folder)};
  if (chart) args.insert(args.end(), kChart.begin(), kChart.end());
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

// The descriptor of a patch with a line in place of the one that begins with its key.
void Change(const std::string& folder, const std::string& key, const std::string& line) {
  const std::string path = CliHome::Instance().Path(folder + "/patch.descriptor");
  std::string text = ReadFileText(path);
  const std::size_t at = text.find("\n" + key + " =") + 1;
  text.replace(at, text.find('\n', at) - at, line);
  WriteFileText(path, text);
}

// The byte of the patch number has a first value and limits; data with another one is something else.
TEST(Authoring, PatchNumbersHaveLimits) {
  ASSERT_EQ(New("limits", {"--bank", "64"}).status, 0);
  const std::string dump = CliHome::Instance().Path("limits.syx");
  Change("limits", "patchByte", "patchByte = 5 | first 8 | count 4");
  const CliOutput both = Check("limits");
  EXPECT_TRUE(Has(both.out, "error: a number that does not begin at 0 cannot be written into the image as well"));
  Change("limits", "patchNumberInImage", "patchNumberInImage = 0");
  for (const int number : {0, 7, 8, 11, 12, 127}) {
    std::string bytes = Raw(kGlass);
    bytes[5] = static_cast<char>(number);
    WriteFileText(dump, bytes);
    const CliOutput checked = Check("limits", {"--dump", dump});
    EXPECT_EQ(checked.status, number >= 8 && number < 12 ? 0 : 1) << number << checked.out << checked.err;
    if (number == 11) {
      EXPECT_TRUE(Has(checked.out, "\t 4\tGLASS BELL\n")) << checked.out;
    }
  }
  for (const char* wrong : {"5 | first 128", "5 | count 0", "5 | first 100 | count 29", "5 | last 3", "5000", ""}) {
    Change("limits", "patchByte", std::string("patchByte = ") + wrong);
    EXPECT_TRUE(Has(Check("limits").out, "limits/patch.descriptor:30: error: ")) << wrong << Check("limits").out;
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

TEST(Authoring, ASourceIsMadeOnceAndBuilds) {
  const CliOutput made = New("once", {"--bank", "4"});
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_TRUE(Has(made.out, "5 files")) << made.out;
  const std::string before = ReadFileText(CliHome::Instance().Path("once/patch.descriptor"));
  const CliOutput again = New("once");
  EXPECT_EQ(again.status, 1);
  EXPECT_TRUE(Has(again.err, "is not empty; nothing in it is overwritten.")) << again.err;
  EXPECT_EQ(ReadFileText(CliHome::Instance().Path("once/patch.descriptor")), before);
  const CliOutput built = CliHome::Instance().Run(
      {"module", "build", CliHome::Instance().Path("once"), CliHome::Instance().Path("once.pvz")});
  EXPECT_EQ(built.status, 0) << built.err;
  const CliOutput checked = Check("once");
  EXPECT_EQ(checked.status, 0) << checked.err;
  EXPECT_EQ(checked.out, "Orrin Eight: no errors, no warnings\n");
}

TEST(Authoring, OptionsThatMakeNoSenseGetASentence) {
  struct Case {
    std::vector<std::string> args;
    const char* sentence;
  };
  const std::vector<Case> cases = {
      {{}, "\"new\" needs one folder"},
      {{"x"}, "--name is missing"},
      {{"x", "--name", "X"}, "--request is missing"},
      {{"x", "--name", "X", "--request", "F0 7D F7"}, "--reply is missing"},
      {{"x", "--name", "X", "--request", "F0 7D F7", "--reply", "99999999999999999999"}, "--reply takes a number"},
      {{"x", "--name", "X", "--request", "F0 7Z F7", "--reply", "20"}, "--request: \"7Z\""},
      {{"x", "--name", "X", "--request", "F0 7D F7", "--reply", "20", "--checksum", "0", "1"}, "--checksum takes"},
      {{"x", "--name", "X", "--request", "F0 7D F7", "--reply", "20", "--name-at", "-1", "5"}, "--name-at takes"},
      {{"x", "--name", "X", "--request", "F0 7D F7", "--reply", "20", "--oops"}, "There is no option --oops"},
      {{"x", "--name", "X", "--dump", "/nonexistent"}, "Cannot open /nonexistent"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {"module", "new"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const CliOutput output = CliHome::Instance().Run(args);
    EXPECT_EQ(output.status, 1) << c.sentence;
    EXPECT_TRUE(Has(output.err, c.sentence)) << output.err;
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
       {"--device", "3"},
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
  const CliOutput made = New("four", {"--name", "Four", "--dump", file, "--channel-byte", "2"}, false);
  EXPECT_EQ(made.status, 0) << made.err;
  for (const char* part :
       {"sure\tbyte 5 is the patch number, 0 to 3", "checksum of type 0 over 16 from byte 6 on, at byte 22",
        "Patch Bank, 96 bytes, checksum ok, 4 patches", "BLASS BELL"})
    EXPECT_TRUE(Has(made.out, part)) << part << "\n" << made.out;
}

TEST(Authoring, NumbersOfOtherInstrumentsAreKnown) {
  ASSERT_EQ(CliHome::Instance().problem(), "");
  ASSERT_EQ(New("taken", {"--driver-base", "1000"}).status, 0);
  const CliOutput output = Check("taken");
  EXPECT_EQ(output.status, 1);
  EXPECT_TRUE(Has(output.out, "module.ini") || Has(output.out, "patch.descriptor")) << output.out;
  EXPECT_TRUE(Has(output.out, "driver id 1000 belongs to the Yamaha DX7")) << output.out;
}

}  // namespace tonalith
