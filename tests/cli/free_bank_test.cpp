#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "chart/simulator_of_chart.h"
#include "cli_test_tools.h"
#include "data/hex_text.h"
#include "simulator/instrument.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

std::uint8_t NegativeSumOf(const Bytes& bytes, std::size_t from) {
  int sum = 0;
  for (std::size_t i = from; i < bytes.size(); ++i) sum += bytes[i];
  return static_cast<std::uint8_t>(-sum & 0x7F);
}

Bytes WithName(const std::string& name) {
  Bytes patch(12, 0x15);
  for (std::size_t i = 0; i < 8; ++i) patch[i] = i < name.size() ? static_cast<std::uint8_t>(name[i]) : ' ';
  return patch;
}

// A bank with a number of patches in front and a checksum behind each.
Bytes Counted(const std::vector<std::string>& names) {
  Bytes bytes = {0xF0, 0x7D, 0x00, 0x09, 0x21, static_cast<std::uint8_t>(names.size())};
  for (const std::string& name : names) {
    const Bytes patch = WithName(name);
    bytes.insert(bytes.end(), patch.begin(), patch.end());
    bytes.push_back(NegativeSumOf(patch, 0));
  }
  bytes.push_back(0xF7);
  return bytes;
}

// A bank with one checksum behind all patches.
Bytes Summed(const std::vector<std::string>& names) {
  Bytes bytes = {0xF0, 0x7D, 0x00, 0x0A, 0x21, 0x00, static_cast<std::uint8_t>(12 * names.size())};
  for (const std::string& name : names) {
    const Bytes patch = WithName(name);
    bytes.insert(bytes.end(), patch.begin(), patch.end());
  }
  bytes.push_back(NegativeSumOf(bytes, 7));
  bytes.push_back(0xF7);
  return bytes;
}

std::string TextOf(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

struct Kind {
  const char* name;
  const char* code;
  const char* driver;
  const char* dump;
  Bytes (*bank)(const std::vector<std::string>& names);
};
constexpr Kind kKinds[] = {{"Orrin Crate", "09", "60310", "turns {(12) sum}*1..9 F7", Counted},
                           {"Orrin Heap", "0A", "60320", "count {(12)}*1..9 sum F7", Summed}};

std::string ChartOf(const Kind& kind) {
  const std::string head = std::string("F0 7D 0n ") + kind.code;
  return std::string("[") + kind.name + "]\nmaker = 7D   device = n   drivers = " + kind.driver +
         "   sum = negative sum   find = Patch\n[data Bank]  9 x Patch   name = 0 8   map = none\nrequest = " + head +
         " 11 F7\ndump = " + head + " 21 " + kind.dump + "\n[data Patch]  name = 0 8\nrequest = " + head +
         " 10 F7\ndump = " + head + " 20 (12) sum F7\n";
}

}  // namespace

// Banks of as many patches as there are: what was got, named and sent again, and what is no such bank.
TEST(FreeBank, HasAsManyPatchesAsCame) {
  const CliHome& home = CliHome::Instance();
  for (const Kind& kind : kKinds) {
    const std::string chart = home.Path("crate.chart"), package = home.Path("crate.pvz"), bank = home.Path("crate.dat");
    WriteFileText(chart, ChartOf(kind));
    const CliOutput checked = home.Run({"module", "check", chart});
    EXPECT_EQ(checked.status, 0) << checked.out << checked.err;
    EXPECT_EQ(checked.out.find("FAILED"), std::string::npos) << checked.out;
    ASSERT_EQ(home.Run({"module", "build", chart, package}).status, 0);
    ASSERT_EQ(home.Run({"module", "install", package}).status, 0);
    const auto talk = [&](const std::string& text) {
      WriteFileText(home.Path("crate.txt"), text);
      return home.Path("crate.txt");
    };
    const auto get = [&](const std::vector<std::string>& names) {
      const std::string asked = std::string("OUT F0 7D 00 ") + kind.code + " 11 F7\nIN ";
      return home.Run({"receive", kind.name, "bank", bank, "--attempts", "0", "--conversation",
                       talk(asked + HexText(kind.bank(names)) + "\n")});
    };
    const auto names = [&] { return home.Run({"names", bank}).out; };
    EXPECT_EQ(get({"ONE", "TWO", "THREE"}).status, 0);
    EXPECT_EQ(names(), "0\t 1\tONE\n1\t 2\tTWO\n2\t 3\tTHREE\n");
    // Checksums of today go out, and into files.
    EXPECT_EQ(home.Run({"rename", bank, "1", "NINA"}).status, 0);
    const Bytes named = kind.bank({"ONE", "NINA", "THREE"});
    EXPECT_EQ(home.Run({"send", bank, "--conversation", talk("OUT " + HexText(named) + "\n")}).status, 0);
    const CliOutput written = home.Run({"export", bank, home.Path("crate.syx")});
    EXPECT_EQ(written.err, "");
    EXPECT_EQ(ReadFileText(home.Path("crate.syx")), TextOf(named));
    // A second get brings more, or fewer; one that is no bank leaves all as it was.
    EXPECT_EQ(get({"A", "B", "C", "D", "E"}).status, 0);
    EXPECT_EQ(names(), "0\t 1\tA\n1\t 2\tB\n2\t 3\tC\n3\t 4\tD\n4\t 5\tE\n");
    EXPECT_NE(get(std::vector<std::string>(10, "TOO MANY")).status, 0);
    EXPECT_NE(get({}).status, 0);
    EXPECT_EQ(names(), "0\t 1\tA\n1\t 2\tB\n2\t 3\tC\n3\t 4\tD\n4\t 5\tE\n");
    EXPECT_EQ(get({"LAST"}).status, 0);
    EXPECT_EQ(names(), "0\t 1\tLAST\n");
  }
}

TEST(FreeBank, OtherSizesAreNoBank) {
  const CliHome& home = CliHome::Instance();
  for (const Kind& kind : kKinds) {
    const std::string chart = home.Path("crate.chart"), package = home.Path("crate.pvz");
    WriteFileText(chart, ChartOf(kind));
    ASSERT_EQ(home.Run({"module", "build", chart, package}).status, 0);
    ASSERT_EQ(home.Run({"module", "install", package}).status, 0);
    const auto identify = [&](const Bytes& bytes) {
      WriteFileText(home.Path("crate.syx"), TextOf(bytes));
      return home.Run({"identify", home.Path("crate.syx")}).out;
    };
    const Bytes whole = kind.bank({"ONE", "TWO", "THREE"});
    EXPECT_EQ(identify(whole), "0\t" + std::to_string(whole.size()) + "\t" + kind.name + "\tBank\tok\n");
    Bytes damaged = whole;
    damaged[20] ^= 1;
    EXPECT_NE(identify(damaged).find("\tBank\tbad\n"), std::string::npos);
    Bytes cut = whole;
    cut.erase(cut.end() - 6, cut.end() - 1);
    EXPECT_EQ(identify(cut), "");
    EXPECT_EQ(identify(kind.bank({})), "");
    EXPECT_EQ(identify(kind.bank(std::vector<std::string>(10, "TOO MANY"))), "");
    EXPECT_NE(identify(kind.bank(std::vector<std::string>(9, "MOST"))), "");
  }
  Bytes miscounted = Counted({"ONE", "TWO", "THREE"});
  ++miscounted[5];
  WriteFileText(home.Path("crate.syx"), TextOf(miscounted));
  EXPECT_EQ(home.Run({"identify", home.Path("crate.syx")}).out, "");
}

// Behind the last patch there is room for more, up to the most, one behind the other.
TEST(FreeBank, APatchIsAddedBehindTheLast) {
  const CliHome& home = CliHome::Instance();
  for (const Kind& kind : kKinds) {
    const std::string chart = home.Path("crate.chart"), package = home.Path("crate.pvz"), single = home.Path("one.dat");
    const std::string bank = home.Path("crate.syx"), more = home.Path("more.syx"), kept = home.Path("more.dat");
    WriteFileText(chart, ChartOf(kind));
    ASSERT_EQ(home.Run({"module", "build", chart, package}).status, 0);
    ASSERT_EQ(home.Run({"module", "install", package}).status, 0);
    WriteFileText(bank, TextOf(kind.bank({"ONE", "TWO", "THREE"})));
    const auto edit = [&](const std::vector<std::string>& commands) {
      std::vector<std::string> args = {"bank", "edit", bank, more};
      args.insert(args.end(), commands.begin(), commands.end());
      return home.Run(args);
    };
    EXPECT_EQ(edit({"copy 1 3", "copy 0 4"}).err, "");
    EXPECT_EQ(ReadFileText(more), TextOf(kind.bank({"ONE", "TWO", "THREE", "TWO", "ONE"})));
    EXPECT_EQ(edit({"copy 1 3", "copy 0 4", "undo"}).err, "");
    EXPECT_EQ(ReadFileText(more), TextOf(kind.bank({"ONE", "TWO", "THREE", "TWO"})));
    EXPECT_EQ(home.Run({"identify", more}).out,
              "0\t" + std::to_string(ReadFileText(more).size()) + "\t" + kind.name + "\tBank\tok\n");
    EXPECT_NE(edit({"copy 1 4"}).err.find("The bank has 3 patches; the next one goes into slot 3."), std::string::npos);
    EXPECT_NE(edit({"copy 1 9"}).err.find("There are the slots 0 to 8."), std::string::npos);
    EXPECT_EQ(edit({"copy 0 3", "copy 0 4", "copy 0 5", "copy 0 6", "copy 0 7", "copy 0 8"}).status, 0);
    EXPECT_NE(edit({"copy 0 3", "copy 0 4", "copy 0 5", "copy 0 6", "copy 0 7", "copy 0 8", "copy 0 9"}).status, 0);
    // A patch of its own, and a data file that keeps it.
    EXPECT_EQ(home.Run({"patch", "take", bank, "2", single}).err, "");
    EXPECT_EQ(home.Run({"patch", "put", bank, "3", single, kept}).err, "");
    EXPECT_EQ(home.Run({"names", kept}).out, "0\t 1\tONE\n1\t 2\tTWO\n2\t 3\tTHREE\n3\t 4\tTHREE\n");
    EXPECT_EQ(home.Run({"export", kept, more}).err, "");
    EXPECT_EQ(ReadFileText(more), TextOf(kind.bank({"ONE", "TWO", "THREE", "THREE"})));
  }
}

// A simulated instrument has the most of them, and then as many as it was sent.
TEST(FreeBank, ItsSimulatorTakesAsManyAsCome) {
  for (const Kind& kind : kKinds) {
    ChartProblems problems("crate.chart");
    const ChartSimulator made = SimulatorOfChart(ChartOf(kind), &problems);
    EXPECT_TRUE(made.missing.empty()) << made.missing.front().why;
    const DescriptionResult read = ParseDescription(made.text, "crate");
    ASSERT_TRUE(read.description) << read.problem << made.text;
    SimulatedInstrument instrument(*read.description);
    std::int64_t now = 0;
    const auto say = [&](const Bytes& bytes) { return instrument.OnMessage(bytes, now += 1'000'000); };
    const auto got = [&] {
      const auto replies =
          say({0xF0, 0x7D, 0x00, static_cast<std::uint8_t>(std::stoi(kind.code, nullptr, 16)), 0x11, 0xF7});
      return replies.size() == 1 ? replies.front().bytes : Bytes();
    };
    EXPECT_EQ(got().size(), kind.bank(std::vector<std::string>(9, "MOST")).size());
    const Bytes three = kind.bank({"ONE", "TWO", "THREE"});
    Bytes miscounted = three, damaged = three;
    ++miscounted[&kind == &kKinds[0] ? 5 : 6];
    damaged[20] ^= 1;
    say(miscounted);
    say(damaged);
    say(kind.bank(std::vector<std::string>(10, "TOO MANY")));
    EXPECT_EQ(got().size(), kind.bank(std::vector<std::string>(9, "MOST")).size());
    say(three);
    EXPECT_EQ(HexText(got()), HexText(three));
    instrument.RestoreFactory();
    EXPECT_EQ(got().size(), kind.bank(std::vector<std::string>(9, "MOST")).size());
  }
}

// What follows from a mistake in the range is not named as well.
TEST(FreeBank, AMistakeInTheRangeIsNamedOnce) {
  const CliHome& home = CliHome::Instance();
  const std::string file = home.Path("range.chart"), good = ChartOf(kKinds[0]);
  for (const char* range : {"*0..9", "*1..", "*9..3", "*1..400", "*1..10"}) {
    std::string text = good;
    text.replace(text.find("*1..9"), 5, range);
    WriteFileText(file, text);
    const CliOutput checked = home.Run({"module", "check", file});
    EXPECT_NE(checked.out.find("range.chart:5:"), std::string::npos) << range << checked.out;
    EXPECT_NE(checked.err.find("1 error, no warnings."), std::string::npos) << range << checked.out << checked.err;
  }
}

}  // namespace tonalith
