#include "tests/cli/cli_test_tools.h"

namespace tonalith {
namespace {

class BankCli : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(home_.problem(), "");
    ASSERT_EQ(Run({"receive", "dx7", "voice bank", Path("bank.dat"), "--virtual", "factory"}).status, 0);
  }
  std::string Path(const std::string& name) const { return home_.Path("bank-cli-" + name); }
  CliOutput Run(const std::vector<std::string>& words) const { return home_.Run(words); }
  std::string Row(const std::string& file, std::size_t slot) const {
    std::istringstream lines(Run({"bank", "state", file}).out);
    std::string line;
    for (std::size_t i = 0; i <= slot; ++i) std::getline(lines, line);
    return line;
  }

  const CliHome& home_ = CliHome::Instance();
};

TEST_F(BankCli, EditsIntoAnotherFileAndTellsTheState) {
  const std::string bank = Path("bank.dat"), out = Path("out.dat"), before = ReadFileText(bank);
  const CliOutput edited =
      Run({"bank", "edit", bank, out, "rename 3 X Y", "swap 3 0", "rotate 0-31 1", "undo", "redo", "undo"});
  EXPECT_EQ(edited.out,
            "Renamed 1 Patches\nSwap patches\nShifted 31 Patches Down\nUndo Rotate\nRedo Rotate\nUndo Rotate\n")
      << edited.err;
  EXPECT_EQ(Row(out, 0), "0\t1\tdefined\tchanged\tok\tX Y");
  EXPECT_TRUE(Row(out, 5).starts_with("5\t6\tdefined\tsent\tok\t"));
  EXPECT_EQ(ReadFileText(bank), before);
  EXPECT_EQ(Run({"identify", out}).out.substr(0, 3), "0\t4");
}

TEST_F(BankCli, WhatIsRefusedWritesNothing) {
  const std::string bank = Path("bank.dat"), out = Path("none.dat");
  for (const char* command : {"swap 0 32", "swap 0", "frob", "move 0-3 33", "rotate 3-0 1", "sort 0-3 size",
                              "rename 0 ELEVEN CHARS", "autoname 0-3 x y", "delete 0-32", "redo", ""}) {
    const CliOutput refused = Run({"bank", "edit", bank, out, "invert 0-3", command, "invert 0-3"});
    EXPECT_EQ(refused.status, 1) << command;
    EXPECT_EQ(refused.out, "") << command;
    EXPECT_NE(refused.err, "") << command;
    EXPECT_FALSE(std::filesystem::exists(out)) << command;
  }
  EXPECT_EQ(Run({"bank", "edit", bank, bank, "invert 0-3"}).status, 1);
}

TEST_F(BankCli, APatchLeavesItsBankAndComesBack) {
  const std::string bank = Path("bank.dat"), voice = Path("voice.dat"), again = Path("again.dat");
  ASSERT_EQ(Run({"patch", "take", bank, "7", voice}).status, 0);
  EXPECT_NE(Run({"identify", voice}).out.find("163\tYamaha DX7\tVoice\tok"), std::string::npos);
  const CliOutput put = Run({"patch", "put", bank, "7", voice, again});
  EXPECT_EQ(put.out, "Write Patch\n") << put.err;
  const std::string before = Path("before.syx"), after = Path("after.syx");
  ASSERT_EQ(Run({"export", bank, before}).status + Run({"export", again, after}).status, 0);
  EXPECT_EQ(ReadFileText(before), ReadFileText(after));
  EXPECT_EQ(Run({"patch", "take", voice, "0", Path("no.dat")}).status, 1);
  EXPECT_EQ(Run({"patch", "put", bank, "32", voice, Path("no.dat")}).status, 1);
  EXPECT_EQ(Run({"patch", "put", bank, "0", bank, Path("no.dat")}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(Path("no.dat")));
}

TEST_F(BankCli, BytesAreListedInEveryWay) {
  const std::string bank = Path("bank.dat");
  const std::string stray = Path("stray.syx");
  std::ofstream(stray, std::ios::binary) << "\x01\xF0\x7E\x7F\x06\x01\xF7\x90\x3C\x40";
  const struct {
    std::vector<std::string> words;
    int status;
    const char* out;
    const char* err;
  } rows[] = {
      {{bank}, 0, "\n00000:  F0 43 00 09 20 00 ", ""},
      {{bank, "--messages"}, 0, "\n00000:  F0 43 00 09 20 00 ", ""},
      {{bank, "--messages"}, 0, "Yamaha DX7 Voice Bank", ""},
      {{stray, "--messages"}, 0, "\n00007:  90 3C 40 Note On", ""},
      {{stray, "--messages"}, 0, "Identity Request", ""},
      {{stray, "--formatted"}, 1, "", "view: "},
      {{bank, "--formatted", "--messages"}, 1, "", "give it alone"},
      {{bank, "--find", "43 00"}, 0, "1 (0x0001)\t00000:  F0 43", ""},
      {{bank, "--find", "\"nowhere\""}, 1, "", "was not found"},
      {{bank, "--compare", bank}, 0, "There are no mismatches!", ""},
      {{bank, "--compare", stray}, 1, "0 (0x0000)", "differ"},
      {{Path("gone.syx")}, 1, "", "gone.syx"},
  };
  for (const auto& row : rows) {
    std::vector<std::string> words = {"view"};
    words.insert(words.end(), row.words.begin(), row.words.end());
    const CliOutput viewed = Run(words);
    EXPECT_EQ(viewed.status, row.status) << words[1] << viewed.err;
    EXPECT_NE(viewed.out.find(row.out), std::string::npos) << viewed.out.substr(0, 300);
    EXPECT_NE(viewed.err.find(row.err), std::string::npos) << viewed.err;
  }
}

}  // namespace
}  // namespace tonalith
