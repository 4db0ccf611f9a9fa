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
