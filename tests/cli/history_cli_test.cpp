// Sending with care, and what it keeps, over the command line.

#include <algorithm>

#include "tests/cli/cli_test_tools.h"

namespace tonalith {
namespace {

struct HistoryCli : ::testing::Test {
  CliHome& home_ = CliHome::Instance();
  std::string Path(const std::string& name) { return home_.Path(name); }
  CliOutput Ok(const std::vector<std::string>& arguments) {
    CliOutput output = home_.Run(arguments);
    EXPECT_EQ(output.status, 0) << arguments[0] << ": " << output.err;
    return output;
  }
  void Fails(const std::vector<std::string>& arguments, const std::string& sentence) {
    const CliOutput output = home_.Run(arguments);
    EXPECT_EQ(output.status, 1) << output.out;
    EXPECT_NE(output.err.find(sentence), std::string::npos) << output.err;
  }
};

TEST_F(HistoryCli, WhatWasOverwrittenIsListedShownAndRestored) {
  const std::string bank = Path("kept.dat"), after = Path("kept_after.syx"), before = Path("kept_before.syx");
  Ok({"receive", "matrix-1000", "patch bank 0", bank, "--virtual", "factory", "--state", before});
  Ok({"rename", bank, "5", "FIVE"});
  EXPECT_NE(Ok({"send", bank, "--virtual", before, "--state", after, "--slots", "3,5-7", "--keep", "--verify"})
                .out.find("sent, verified, what was there is number 1 of the history"),
            std::string::npos);
  EXPECT_NE(ReadFileText(after), ReadFileText(before));
  EXPECT_NE(Ok({"history", "list", "matrix"}).out.find("\tOberheim Matrix-1000\tPatch Bank 0, 4 patches\n"),
            std::string::npos);
  const std::string shown = Ok({"history", "show", "1"}).out;
  EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 6) << shown;
  EXPECT_EQ(shown.find("FIVE"), std::string::npos);
  Ok({"history", "restore", "1", "--virtual", after, "--state", Path("kept_back.syx"), "--verify"});
  EXPECT_EQ(ReadFileText(Path("kept_back.syx")), ReadFileText(before));
}

// A send that is broken off says how to go on, keeps what is left when it is told to, and goes on from there, twice.
TEST_F(HistoryCli, ASendGoesOnWhereItStopped) {
  const std::string bank = Path("goes.dat"), rest = Path("rest.dat"), whole = Path("whole.syx");
  const std::string first = Path("first.syx"), second = Path("second.syx"), third = Path("third.syx");
  Ok({"receive", "matrix-1000", "patch bank 0", bank, "--virtual", "factory"});
  for (const char* slot : {"5", "50", "95"}) Ok({"rename", bank, slot, "NEW"});
  Ok({"send", bank, "--virtual", "factory", "--state", whole});
  const std::vector<std::string> broken = {"send", bank, "--virtual", "factory", "--fault", "port-vanishes:at=5000"};
  Fails(broken, "  --slots 14-99 sends the rest.");
  const auto with = [](std::vector<std::string> words, const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
  };
  Fails(with(broken, {"--rest", rest, "--state", first}), "is marked in " + rest + "; send " + rest + " --resume");
  const auto unsent = [&](const std::string& path) {
    const std::string states = Ok({"bank", "state", path}).out;
    std::size_t count = 0;
    for (std::size_t at = 0; (at = states.find("\tchanged\t", at)) != states.npos; ++at) ++count;
    return count;
  };
  EXPECT_EQ(unsent(rest), 86U);
  EXPECT_EQ(Ok({"names", rest}).out, Ok({"names", bank}).out);
  Fails({"send", rest, "--resume", "--virtual", first, "--state", second, "--fault", "port-vanishes:at=5000"},
        "--resume sends the rest.");
  EXPECT_EQ(unsent(rest), 72U);
  Ok({"send", rest, "--resume", "--virtual", second, "--state", third, "--record", Path("rest.txt")});
  EXPECT_EQ(unsent(rest), 0U);
  EXPECT_EQ(ReadFileText(third), ReadFileText(whole));
  EXPECT_NE(Ok({"send", rest, "--resume", "--virtual", third}).err.find("nothing is left to be sent"),
            std::string::npos);
  Fails({"send", whole, "--resume", "--virtual", "factory"}, "is no data file of a bank");
  Fails({"send", rest, "--resume", "--slots", "1", "--virtual", "factory"}, "exclude each other");
  Fails({"send", bank, "--rest", "", "--virtual", "factory"}, "--rest takes a file");
}

// Only what one Get asked for is left of it, not what the bank never held.
TEST_F(HistoryCli, AGetGoesOnWithWhatItAskedFor) {
  const std::string bank = Path("some.dat");
  const std::vector<std::string> get = {"receive", "matrix-1000", "patch bank 0", bank, "--virtual", "factory"};
  std::vector<std::string> broken = get, rest = get;
  broken.insert(broken.end(), {"--patch", "3", "--patch", "4", "--patch", "90", "--fault", "port-vanishes:at=300"});
  rest.insert(rest.end(), {"--resume", bank});
  Fails(broken, "1 of 3 patches had come");
  rest.insert(rest.end(), {"--record", Path("some.txt")});
  Ok(rest);
  EXPECT_LT(ReadFileText(Path("some.txt")).size(), 3000U) << "two patches";
  const std::string names = Ok({"names", bank}).out;
  EXPECT_EQ(std::count(names.begin(), names.end(), '\n'), 3);
}

TEST_F(HistoryCli, RefusalsNameTheirReason) {
  const std::string bank = Path("refused.dat"), patch = Path("refused_patch.dat");
  Ok({"receive", "matrix-1000", "patch bank 0", bank, "--virtual", "factory"});
  for (const char* slots : {"100", "5-3", "x", "3,,4", "-1", "1-", ""}) {
    SCOPED_TRACE(slots);
    Fails({"send", bank, "--virtual", "factory", "--slots", slots}, "--slots takes numbers");
  }
  Fails({"send", bank, "--virtual", "factory", "--slots", "1", "--patch", "2"}, "exclude each other");
  Fails({"send", bank, "--virtual", "factory", "--keep", "--fault", "no-reply:times=9999"}, "Nothing was sent");
  Ok({"receive", "dx7", "voice bank", patch, "--virtual", "factory"});
  Fails({"send", patch, "--virtual", "factory", "--slots", "1"}, "is sent as a whole");
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"history"},
                                                    {"history", "show", "x"},
                                                    {"history", "restore", "999999"},
                                                    {"history", "list", "no such"},
                                                    {"history", "list", "dx7", "--keep"}})
    EXPECT_EQ(home_.Run(arguments).status, 1);
}

}  // namespace
}  // namespace tonalith
