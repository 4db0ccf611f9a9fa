#include <algorithm>

#include "tests/cli/cli_test_tools.h"

namespace tonalith {
namespace {

struct ReceiveCommand : testing::Test {
  void SetUp() override { ASSERT_EQ(home_.problem(), ""); }
  std::string Path(const std::string& name) const { return home_.Path(name); }
  std::size_t Patches(const std::string& path) const {
    const std::string names = home_.Run({"names", path}).out;
    return static_cast<std::size_t>(std::count(names.begin(), names.end(), '\n'));
  }
  const CliHome& home_ = CliHome::Instance();
};

// What came of a bank is in the file, what did not is named as the instrument numbers it, and can be got later.
TEST_F(ReceiveCommand, WhatIsMissingIsNamedAndGotLater) {
  const struct {
    const char *instrument, *type, *fault;
    std::size_t patches, all;
    const char* says;  // null: everything came
  } cases[] = {
      {"dw-8000", "program bank", "no-reply:reply=10,times=2", 64, 64, nullptr},
      {"dw-8000", "program bank", "no-reply:reply=64,times=3", 63, 64,
       "63 of 64 patches of Korg DW-8000 Program Bank were received; 88 is missing."},
      {"dw-8000", "program bank", "no-reply:reply=50,times=99", 49, 64,
       "72, 73, 74, 75, 76, 77, 78, 81, 82, 83, 84 and 4 more are missing."},
      {"matrix", "patch bank 0", "corrupt-byte:reply=4,times=6", 98, 100,
       "; 003 and 004 came damaged and were not kept."},
      {"matrix", "patch bank 0", "port-vanishes:at=5000", 17, 100,
       "its MIDI port is no longer available (17 of 100 patches had come)."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.instrument) + " " + c.fault);
    const std::string out = Path("part.dat");
    const std::vector<std::string> get = {"receive", c.instrument, c.type, out, "--virtual", "factory"};
    const auto with = [&get](std::vector<std::string> more) {
      more.insert(more.begin(), get.begin(), get.end());
      return more;
    };
    const CliOutput first = home_.Run(with({"--fault", c.fault}));
    EXPECT_EQ(first.status, c.says ? 1 : 0) << first.err;
    EXPECT_NE(first.err.find(c.says ? c.says : ""), std::string::npos) << first.err;
    EXPECT_EQ(Patches(out), c.patches);
    const CliOutput rest = home_.Run(with({"--resume", out, "--record", Path("rest.txt")}));
    EXPECT_EQ(rest.status, 0) << rest.err;
    EXPECT_EQ(Patches(out), c.all);
    EXPECT_NE(home_.Run(with({"--resume", out})).err.find(c.says ? ": nothing is missing." : ""), std::string::npos);
    EXPECT_TRUE(!c.says || ReadFileText(Path("rest.txt")).size() < 1500 * (c.all - c.patches))
        << "only what was missing";
    std::filesystem::remove(out);
  }
}

TEST_F(ReceiveCommand, DamageIsKeptOnlyWithItsMark) {
  const std::string out = Path("damaged.dat");
  const std::vector<std::string> get = {"receive", "dx7", "voice bank", out, "--virtual", "factory"};
  std::vector<std::string> kept = get, again = get, other = get;
  kept.insert(kept.end(), {"--fault", "corrupt-byte:at=1000,value=1,times=9", "--any-checksum"});
  const CliOutput first = home_.Run(kept);
  EXPECT_EQ(first.status, 0);
  EXPECT_NE(first.err.find("it came damaged and was kept."), std::string::npos) << first.err;
  EXPECT_NE(ReadFileText(out).find("Damaged"), std::string::npos);
  const auto marked = [this](const std::string& path) {
    const std::string names = home_.Run({"names", path}).out;
    std::size_t count = 0;
    for (std::size_t at = names.find("\tdamaged\n"); at != names.npos; at = names.find("\tdamaged\n", at + 1)) ++count;
    return count;
  };
  EXPECT_EQ(marked(out), 32u) << "a dump that comes as a whole";
  const std::string matrix = Path("matrix.dat");
  home_.Run({"receive", "matrix", "patch bank 0", matrix, "--virtual", "factory", "--fault",
             "corrupt-byte:reply=4,times=6", "--any-checksum"});
  EXPECT_EQ(marked(matrix), 2u) << "patch by patch";
  // Data of another type is nothing to go on with, and stays as it is.
  const CliOutput wrong =
      home_.Run({"receive", "matrix", "patch bank 1", Path("m.dat"), "--virtual", "factory", "--resume", out});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_NE(wrong.err.find("holds no Oberheim Matrix-1000 Patch Bank 1, but a Yamaha DX7 Voice Bank."),
            std::string::npos)
      << wrong.err;
  again.insert(again.end(), {"--resume", out});
  EXPECT_EQ(home_.Run(again).status, 0);
  EXPECT_EQ(ReadFileText(out).find("Damaged"), std::string::npos);
  EXPECT_EQ(marked(out), 0u);
}

// Where no checksum tells, two readings do; a third decides.
TEST_F(ReceiveCommand, ReadsTwiceWhereNothingElseTells) {
  const auto get = [this](const std::string& name, const std::vector<std::string>& more) {
    std::vector<std::string> args = {"receive", "dw-8000", "program", Path(name), "--virtual", "factory"};
    args.insert(args.end(), more.begin(), more.end());
    return home_.Run(args);
  };
  ASSERT_EQ(get("good.syx", {}).status, 0);
  const std::string good = ReadFileText(Path("good.syx"));
  for (const char* reply : {"1", "2"}) {
    const std::string fault = std::string("corrupt-byte:at=20,reply=") + reply;
    EXPECT_EQ(get("twice.syx", {"--twice", "--fault", fault}).status, 0);
    EXPECT_EQ(ReadFileText(Path("twice.syx")), good);
  }
  const CliOutput differing =
      get("bad.syx", {"--twice", "--fault", "corrupt-byte:at=20,value=1;corrupt-byte:at=20,value=2,reply=2"});
  EXPECT_EQ(differing.status, 1) << "three readings, none like another";
  EXPECT_NE(differing.err.find("damaged on the way (3 attempts)"), std::string::npos) << differing.err;
}

TEST_F(ReceiveCommand, DumpsThatStartAtThePanel) {
  const auto get = [this](const char* instrument, const char* type, std::vector<std::string> more,
                          const CancelToken& interrupt = {}) {
    more.insert(more.begin(), {"receive", instrument, type, Path("panel.dat"), "--virtual", "factory", "--wait"});
    return home_.Run(more, {}, interrupt);
  };
  const std::string start = "Start the dump on the instrument.\n";
  const CliOutput pressed = get("juno-106", "patch", {"--press", "patch"});
  EXPECT_EQ(pressed.status, 0) << pressed.err;
  EXPECT_EQ(pressed.err, start);
  const CliOutput waited = get("juno-106", "patch", {"--timeout", "60000"});
  EXPECT_EQ(waited.status, 1);
  EXPECT_NE(waited.err.find("has to be started on the instrument"), std::string::npos) << waited.err;
  CancelToken interrupt;
  interrupt.Cancel();
  EXPECT_EQ(get("juno-106", "patch", {}, interrupt).err,
            start + "tonalith-cli receive: Receiving the Roland Juno-106 Patch was cancelled.\n");
  const CliOutput fewer = get("juno-106", "patch bank", {"--press", "patch"});
  EXPECT_EQ(fewer.status, 1) << "no one presses the rest";
  EXPECT_NE(fewer.err.find("1 of "), std::string::npos) << fewer.err;
  const CliOutput asked = get("dx7", "voice", {});
  EXPECT_EQ(asked.status, 1);
  EXPECT_NE(asked.err.find("is asked for; --wait is for dumps"), std::string::npos) << asked.err;
}

}  // namespace
}  // namespace tonalith
