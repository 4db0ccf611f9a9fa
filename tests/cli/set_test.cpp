// Sets on the command line: every instrument of the program, faults on some of the data, links and refusals.

#include <map>
#include <set>

#include "cli/command_line_tool.h"
#include "cli_test_tools.h"
#include "platform/text.h"

namespace tonalith {

namespace {

std::vector<std::vector<std::string>> Table(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  for (const std::string& line : SplitText(text, '\n'))
    if (!line.empty()) rows.push_back(SplitText(line, '\t'));
  return rows;
}

class SetCommands : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(home_.problem(), ""); }
  CliOutput Run(const std::string& line, const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = Words(line);
    words.insert(words.end(), more.begin(), more.end());
    return home_.Run(words);
  }
  std::string New(const std::string& instrument) {
    const std::string path = home_.Path("set " + std::to_string(++count_) + ".pvs");
    std::filesystem::remove(path);
    const CliOutput made = Run("set new", {instrument, path});
    EXPECT_EQ(made.status, 0) << made.err;
    return path;
  }
  std::string States(const std::string& path) {
    std::string text;
    for (const auto& row : Table(Run("set list", {path}).out)) text += row.at(2) + " ";
    return text;
  }

  CliHome& home_ = CliHome::Instance();
  static inline int count_ = 0;
};

}  // namespace

// What comes is what a receive of that data alone brings, and goes back as it came.
TEST_F(SetCommands, EveryInstrumentIsGotAndSent) {
  std::set<std::string> instruments;
  for (const auto& row : Table(Run("module list").out))
    if (!row.front().empty() && row.front().front() != ' ')
      instruments.insert(row.front().substr(0, row.front().find(':')));
  EXPECT_GE(instruments.size(), 30u);
  std::size_t got = 0, notGot = 0;
  for (const std::string& instrument : instruments) {
    const std::string path = New(instrument);
    const CliOutput get = Run("set get", {path, "--virtual"});
    std::map<std::string, std::string> outcomes;
    for (const auto& row : Table(get.out)) outcomes[row.at(0)] = row.at(2);
    const auto list = Table(Run("set list", {path}).out);
    ASSERT_FALSE(list.empty()) << instrument;
    bool all = !outcomes.empty();
    for (const auto& row : list) {
      const auto outcome = outcomes.find(row[0]);
      const bool came = outcome != outcomes.end() && outcome->second == "got";
      // Of a bank that did not come whole what came is kept.
      const bool part =
          !came && outcome != outcomes.end() && outcome->second.find(" were received") != std::string::npos;
      EXPECT_EQ(row[2], came || part ? "defined" : "undefined") << instrument << " " << row[1];
      EXPECT_EQ(row[3] == "0", row[2] == "undefined") << instrument << " " << row[1];
      EXPECT_EQ(row[4], "-");
      all = all && (outcome == outcomes.end() || came);
      (came ? got : notGot) += 1;
    }
    EXPECT_EQ(get.status, all ? 0 : 1) << instrument << get.err;
    if (outcomes.empty()) continue;
    const std::string saved = ReadFileText(path);
    const CliOutput send = Run("set send", {path, "--virtual"});
    EXPECT_EQ(send.out.find("undefined"), std::string::npos);
    EXPECT_EQ(ReadFileText(path), saved) << "sending changes nothing";
    for (const auto& row : Table(send.out)) EXPECT_EQ(row.at(2), "sent") << instrument << " " << row.at(1);
    EXPECT_EQ(send.status, 0) << instrument << send.err;
  }
  EXPECT_GT(got, 150u) << notGot;
}

TEST_F(SetCommands, FaultsOnSomeLeaveTheOthersWhole) {
  const struct {
    const char *instrument, *fault;
  } cases[] = {
      {"Kawai K4", "no-reply:reply=2,times=8"},
      {"Yamaha DX7", "corrupt-byte:reply=1,times=3,at=100"},
      {"Yamaha SY22", "truncated-reply:reply=1,times=3,at=20"},
  };
  for (const auto& c : cases) {
    const std::string path = New(c.instrument);
    const CliOutput get = Run("set get --virtual", {"--fault", c.fault, path, "--timeout", "500"});
    EXPECT_EQ(get.status, 1) << c.instrument << get.out;
    std::string expected;
    std::map<std::string, bool> came;
    for (const auto& row : Table(get.out)) came[row.at(0)] = row.at(2) == "got";
    std::size_t whole = 0;
    for (const auto& row : Table(Run("set list", {path}).out)) {
      if (!came.count(row[0])) continue;
      if (came[row[0]]) {
        EXPECT_EQ(row[2], "defined") << c.instrument << row[1];
      }
      whole += came[row[0]];
    }
    EXPECT_GT(whole, 0u) << c.instrument << get.out;
    EXPECT_LT(whole, came.size()) << c.instrument << get.out;
    EXPECT_NE(get.err.find(std::to_string(whole) + " of " + std::to_string(came.size())), std::string::npos) << get.err;
  }
}

TEST_F(SetCommands, CancelledBeforeItBeginsChangesNothing) {
  const std::string path = New("Kawai K4");
  const std::string before = ReadFileText(path);
  CancelToken interrupt;
  interrupt.Cancel();
  const CliOutput get = home_.Run({"set", "get", path, "--virtual"}, {}, interrupt);
  EXPECT_EQ(get.status, 1);
  EXPECT_NE(get.err.find("Cancelled: 0 of"), std::string::npos) << get.err;
  EXPECT_EQ(ReadFileText(path), before);
}

TEST_F(SetCommands, ComponentsGoInAndOut) {
  const std::string path = New("Yamaha DX7"), bank = home_.Path("bank \xC3\xA4.dat"), sysex = home_.Path("bank.syx");
  ASSERT_EQ(Run("set get --virtual --component 0", {path}).status, 0);
  EXPECT_EQ(States(path), "defined undefined undefined undefined ");
  ASSERT_EQ(Run("set take", {path, "0", bank}).status, 0);
  ASSERT_EQ(Run("set take", {path, "0", sysex}).status, 0);
  const std::string names = Run("names", {bank}).out;
  EXPECT_EQ(SplitText(names, '\n').size(), 33u);
  EXPECT_EQ(SplitText(Run("set listing", {path}).out, '\n').size(), 8u + 4 + 1) << "a row each";
  const std::string text = Run("set text", {path}).out;
  EXPECT_NE(text.find(Table(names).at(31).back()), std::string::npos) << text;
  EXPECT_EQ(SplitText(text, '\n').size(), 33u) << "a line each";
  EXPECT_EQ(Run("set text --component 0", {path}).out, text);
  EXPECT_EQ(Run("set text --component 1", {path}).status, 1) << "it holds nothing";
  EXPECT_EQ(Run("set text --component 9", {path}).status, 1);
  for (const std::string& file : {bank, sysex}) {
    const std::string other = New("Yamaha DX7");
    EXPECT_EQ(Run("set put", {other, "1", file}).status, 1) << "another type";
    EXPECT_EQ(States(other), "undefined undefined undefined undefined ");
    ASSERT_EQ(Run("set put", {other, "0", file}).status, 0);
    ASSERT_EQ(Run("set take", {other, "0", home_.Path("again.dat")}).status, 0);
    EXPECT_EQ(Run("names", {home_.Path("again.dat")}).out, names);
  }
  ASSERT_EQ(Run("set deactivate", {path, "0"}).status, 0);
  EXPECT_EQ(States(path), "defined,inactive undefined undefined undefined ");
  EXPECT_EQ(Run("set send --virtual --component 0", {path}).status, 1);
  EXPECT_EQ(Run("set send", {path, "--virtual"}).status, 1);
  ASSERT_EQ(Run("set activate", {path, "0"}).status, 0);
  EXPECT_EQ(Run("set send --virtual --verify", {path}).out, "0\tVoice Bank\tsent\n");

  const std::string linked = New("Yamaha DX7");
  for (const std::string& file : {sysex, bank}) {
    ASSERT_EQ(Run("set link", {linked, "0", file}).status, 0);
    EXPECT_EQ(Table(Run("set list", {linked}).out)[0],
              (std::vector<std::string>{"0", "Voice Bank", "defined,linked", "4104", file}));
  }
  EXPECT_EQ(Run("set get --virtual --component 0", {linked}).status, 1);
  std::filesystem::remove(bank);
  EXPECT_EQ(States(linked), "undefined,linked undefined undefined undefined ");
  EXPECT_EQ(Run("set resolve", {linked}).status, 1);
  ASSERT_EQ(Run("set link", {linked, "0", sysex}).status, 0);
  ASSERT_EQ(Run("set resolve", {linked}).status, 0);
  EXPECT_EQ(States(linked), "defined undefined undefined undefined ");
}

// Both ends of every link are patches that the data has under that number and name; what plays others is sent last.
TEST_F(SetCommands, LinksNamePatchesThatAreThere) {
  const struct {
    const char *instrument, *parent, *child;
  } cases[] = {
      {"Korg M1", "Combination Bank", "Program Bank"},
      {"Yamaha DX7II", "Performance Bank", "Voices 1-32"},
      {"Ensoniq ESQ-1", "Program Bank", "Program Bank"},
  };
  for (const auto& c : cases) {
    const std::string path = New(c.instrument), taken = home_.Path("taken.dat");
    const CliOutput get = Run("set get", {path, "--virtual"});
    std::map<std::string, std::set<std::string>> patches;
    for (const auto& row : Table(Run("set list", {path}).out)) {
      if (row[2] != "defined") continue;
      ASSERT_EQ(Run("set take", {path, row[0], taken}).status, 0);
      for (const auto& patch : Table(Run("names", {taken}).out))
        patches[row[1]].insert(std::string(TrimmedView(patch.at(1))) + "\t" + patch.at(2));
    }
    const CliOutput links = Run("set links", {path});
    EXPECT_EQ(links.status, 0) << links.err;
    std::set<std::string> pairs;
    bool found = false;
    for (const std::string& line : SplitText(links.out, '\n')) {
      if (line.empty()) continue;
      EXPECT_TRUE(pairs.insert(line).second) << "twice: " << line;
      const auto row = SplitText(line, '\t');
      ASSERT_EQ(row.size(), 6u) << line;
      if (row[1] == "-" || row[5].empty()) continue;
      EXPECT_TRUE(patches[row[0]].count(row[1] + "\t" + row[2])) << c.instrument << ": " << line;
      EXPECT_TRUE(patches[row[3]].count(row[4] + "\t" + row[5])) << c.instrument << ": " << line;
      found = found || (row[0] == c.parent && row[3] == c.child);
    }
    EXPECT_TRUE(found) << c.instrument << links.out;
    const std::string page = home_.Path("links.html");
    EXPECT_EQ(Run("set links", {path, "--report", page}).status, 0);
    EXPECT_NE(ReadFileText(page).find(std::string(c.child) + "</h2>\n<table>\n<tr><th>Patch</th><th>Is used by"),
              std::string::npos)
        << c.instrument;
    const std::string sent = Run("set send", {path, "--virtual"}).out;
    if (std::string(c.parent) != c.child) {
      EXPECT_GT(sent.find(std::string("\t") + c.parent + "\t"), sent.find(std::string("\t") + c.child + "\t")) << sent;
    }
  }
}

TEST_F(SetCommands, WhatCannotBeDoneLeavesTheFile) {
  const std::string path = New("Yamaha DX7"), before = ReadFileText(path);
  const std::vector<std::vector<std::string>> lines = {
      {"new", "Yamaha DX7", path},
      {"new", "Nobody's", home_.Path("x.pvs")},
      {"take", path, "0", home_.Path("x.dat")},
      {"take", path, "9", home_.Path("x.dat")},
      {"take", path, "-1", home_.Path("x.dat")},
      {"take", path, "0", path},
      {"put", path, "0", home_.Path("missing.dat")},
      {"put", path, "0", path},
      {"link", path, "0", path},
      {"resolve", path},
      {"send", path, "--virtual"},
      {"send", path, "--virtual", "--component", "0"},
      {"get", path, "--virtual", "--component", "x"},
      {"get", path, "--virtual", home_.Path("missing.syx")},
      {"get", path, "--patch", "1"},
      {"list", home_.Path("missing.pvs")},
      {"list"},
      {"frob", path},
      {},
  };
  for (std::vector<std::string> line : lines) {
    line.insert(line.begin(), "set");
    const CliOutput output = home_.Run(line);
    std::string shown;
    for (const std::string& word : line) shown += word + " ";
    EXPECT_EQ(output.status, 1) << shown;
    EXPECT_NE(output.err, "") << shown;
    EXPECT_EQ(ReadFileText(path), before) << shown;
  }
  EXPECT_FALSE(std::filesystem::exists(home_.Path("x.pvs")));
  EXPECT_FALSE(std::filesystem::exists(home_.Path("x.dat")));
}

}  // namespace tonalith
