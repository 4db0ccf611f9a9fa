// The catalogue on the command line: every patch of every instrument is found again, what changes is seen, and damaged
// files, damaged databases and interruptions are in nobody's way.

#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <set>

#include "cli_test_tools.h"
#include "platform/lock_file.h"
#include "platform/text.h"

namespace tonalith {

namespace {

using Columns = std::vector<std::vector<std::string>>;

Columns LinesOf(const std::string& text) {
  Columns rows;
  for (const std::string& line : SplitText(text, '\n'))
    if (!line.empty()) rows.push_back(SplitText(line, '\t'));
  return rows;
}

class CatalogueCommands : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(home_.problem(), "");
    for (const std::string& path : {folder_, home_.Path("root/config")}) std::filesystem::remove_all(path);
    std::filesystem::create_directories(folder_ + "/deeper");
  }
  CliOutput Run(const std::string& line, const std::vector<std::string>& more = {}, CancelToken interrupt = {}) {
    std::vector<std::string> words = Words(line);
    words.insert(words.end(), more.begin(), more.end());
    return home_.Run(words, {}, interrupt);
  }
  Columns Find(const std::string& text, const std::vector<std::string>& more = {}) {
    const CliOutput found = Run("catalogue find " + text, more);
    EXPECT_EQ(found.status, 0) << found.err;
    return LinesOf(found.out);
  }
  void Scan() {
    const CliOutput scanned = Run("catalogue scan", {folder_});
    EXPECT_EQ(scanned.status, 0) << scanned.err;
    told_ = scanned.err;
  }
  // A bank of the DX7 as a data file.
  void MakeBank(const std::string& path) {
    ASSERT_EQ(Run("receive dx7 --virtual factory", {"voice bank", path}).status, 0);
  }
  std::map<std::string, std::string> Status() {
    std::map<std::string, std::string> status;
    for (const auto& row : LinesOf(Run("catalogue status").out))
      if (row.size() == 2) status[row[0]] = row[1];
    return status;
  }
  std::string Database() {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home_.Path("root/config")))
      if (entry.path().filename() == "Catalogue.db") return entry.path().string();
    return {};
  }

  CliHome& home_ = CliHome::Instance();
  const std::string folder_ = home_.Path(
      "catalogue \xC3\x9C"
      "bung");
  std::string told_;
};

}  // namespace

// Sets with the data of simulated instruments; what is found is what the file has.
TEST_F(CatalogueCommands, EveryPatchOfEveryInstrumentIsFound) {
  std::map<std::string, std::string> files;
  for (const auto& row : LinesOf(Run("module list").out))
    if (!row.front().empty()) files[row.front()] = folder_ + "/deeper/" + std::to_string(files.size()) + ".pvs";
  EXPECT_GE(files.size(), 30U);
  std::map<std::string, Columns> expected;
  for (const auto& [instrument, file] : files) {
    ASSERT_EQ(Run("set new", {instrument, file}).status, 0) << instrument;
    Run("set get", {file, "--virtual"});
    for (const auto& row : LinesOf(Run("names", {file}).out))
      expected[instrument].push_back({std::string(TrimmedView(row.size() > 2 ? row[2] : "")), row.at(1)});
  }
  Scan();
  std::size_t found = 0;
  std::map<std::string, Columns> hits;
  for (const auto& row : Find("")) {
    ASSERT_EQ(row.size(), 6U);
    ++found;
    // "names" leaves out data that has none.
    if (!row[2].empty()) hits[row[4]].push_back({row[2], row[3]});
  }
  for (const auto& [instrument, file] : files) {
    // In their order, but for components that nothing has come for.
    auto next = expected[instrument].begin();
    for (const auto& row : hits[file]) {
      next = std::find(next, expected[instrument].end(), row);
      ASSERT_NE(next, expected[instrument].end()) << instrument << ": " << row[0];
    }
    if (hits[file].empty()) continue;
    // Each by the words of its name, and only of this instrument.
    const auto& patch = hits[file][hits[file].size() / 2];
    const Columns named = Find("", {patch[0], "--instrument", instrument});
    EXPECT_TRUE(std::any_of(named.begin(), named.end(), [&](const auto& row) { return row[2] == patch[0]; }))
        << instrument << ": " << patch[0];
    for (const auto& row : named) EXPECT_EQ(row[0], named.front()[0]);
  }
  EXPECT_GT(found, 8000U);
  EXPECT_EQ(Status()["patches"], std::to_string(found));
  EXPECT_EQ(Status()["damaged"], "0");
}

TEST_F(CatalogueCommands, FilesComeChangeAndGo) {
  const std::string bank = folder_ + "/deeper/b\xC3\xA4nk.dat", library = folder_ + "/mine.pvl";
  MakeBank(bank);
  ASSERT_EQ(Run("export", {bank, folder_ + "/bank.syx"}).status, 0);
  ASSERT_EQ(Run("export", {bank, folder_ + "/bank.mid"}).status, 0);
  ASSERT_EQ(Run("library new dx7 voice", {library}).status, 0);
  ASSERT_EQ(Run("library add", {library, bank}).status, 0);
  ASSERT_EQ(Run("library run", {library, "Select", "3", ",", "Keyword", "1",
                                "\xC3\x9C"
                                "bung",
                                ",", "Comment", "played at night"})
                .status,
            0);
  WriteFileText(folder_ + "/notes.txt", "nothing of this is music");
  Scan();
  EXPECT_EQ(Status()["patches"], "128");
  EXPECT_EQ(Status()["without data"], "1");
  const auto names = LinesOf(Run("names", {bank}).out);
  // Any case, any part of a word, with and without accents, keywords and comments as well; instrument and type count.
  for (const char* text : {"ubung",
                           "\xC3\xBC"
                           "BUNG",
                           "BUN dx7", "night pla voice", "ght yam"})
    EXPECT_EQ(Find(text, {"--instrument", "dx7"}).size(), 1U) << text;
  EXPECT_EQ(Find("", {"--tag", "bung"}).size(), 1U);
  EXPECT_EQ(Find("", {"--tag", "night"}).size(), 0U);
  EXPECT_EQ(Find("ubungen").size(), 0U);
  EXPECT_EQ(Find("dx7 --limit 5").size(), 5U);
  EXPECT_EQ(Run("catalogue find x --instrument Theremin").status, 1);
  // The same sounds are in all four files.
  const Columns same = LinesOf(Run("catalogue same", {bank, "3"}).out);
  EXPECT_EQ(same.size(), 2U) << "a voice alone is packed in another way";
  for (const auto& row : same) EXPECT_EQ(row.at(2), names[3].at(2));
  // A name makes no other sound; a byte does.
  ASSERT_EQ(Run("rename", {bank, "3", "OTHER"}).status, 0);
  EXPECT_NE(Run("catalogue same", {bank, "3"}).err.find("scan its folder again"), std::string::npos);
  Scan();
  EXPECT_NE(told_.find("5 files, 1 of them read with 32 patches; 0 no longer there."), std::string::npos) << told_;
  EXPECT_EQ(LinesOf(Run("catalogue same", {bank, "3"}).out).size(), 2U);
  EXPECT_EQ(Find("other").size(), 1U);
  std::string bytes = ReadFileText(folder_ + "/bank.syx");
  bytes[6 + 128 * 3] ^= 1;
  WriteFileText(folder_ + "/bank.syx", bytes);
  Scan();
  EXPECT_EQ(LinesOf(Run("catalogue same", {bank, "3"}).out).size(), 1U);
  EXPECT_EQ(LinesOf(Run("catalogue near", {bank, "3", "0"}).out).size(), 1U);
  const Columns near = LinesOf(Run("catalogue near", {bank, "3", "1"}).out);
  ASSERT_EQ(near.size(), 2U);
  EXPECT_EQ(near[0].at(6) + near[1].at(6), "01");
  EXPECT_EQ(Status()["damaged"], "1") << Run("catalogue status").out;
  std::filesystem::remove_all(folder_ + "/deeper");
  Scan();
  EXPECT_NE(told_.find("1 no longer there"), std::string::npos) << told_;
  EXPECT_EQ(Find("other").size(), 0U);
  EXPECT_EQ(Run("catalogue same", {bank, "3"}).status, 1);
  EXPECT_EQ(Run("catalogue scan", {folder_ + "/none"}).status, 1);
  EXPECT_EQ(Run("catalogue same", {library, "999"}).status, 1);
}

TEST_F(CatalogueCommands, DamageIsToldAndInNobodysWay) {
  const std::string bank = folder_ + "/a.dat", dump = folder_ + "/b.syx";
  MakeBank(bank);
  ASSERT_EQ(Run("export", {bank, dump}).status, 0);
  const std::string data = ReadFileText(bank), raw = ReadFileText(dump);
  WriteFileText(folder_ + "/cut.dat", data.substr(0, data.find("BODY") + 2000));
  WriteFileText(folder_ + "/cut.syx", raw + raw.substr(0, raw.size() / 2));
  WriteFileText(folder_ + "/half.syx", raw.substr(0, raw.size() / 2));
  WriteFileText(folder_ + "/text.syx", "Dumped on a Friday\n" + raw);
  Scan();
  const auto status = Status();
  EXPECT_EQ(status.at("damaged"), "3");
  for (const char* file : {"/cut.dat", "/cut.syx", "/half.syx"}) EXPECT_NE(status.count(folder_ + file), 0U) << file;
  std::map<std::string, std::size_t> patches;
  for (const auto& row : Find("dx7")) ++patches[row.at(4).substr(folder_.size())];
  EXPECT_EQ(patches["/a.dat"] + patches["/b.syx"] + patches["/cut.syx"] + patches["/text.syx"], 4 * 32U);
  EXPECT_GT(patches["/cut.dat"], 8U);
  EXPECT_LT(patches["/cut.dat"], 32U);
  const Columns before = Find("dx7");
  // A database that is none, of another version, damaged inside, cut, or gone.
  const std::string database = Database();
  ASSERT_NE(database, "");
  const std::string whole = ReadFileText(database);
  std::string inside = whole;
  std::fill(inside.begin() + 4096, inside.end(), '\x55');
  std::string version = whole;
  version[63] = 99;
  const std::string cases[] = {std::string(100000, 'x'), version, inside, whole.substr(0, whole.size() / 2)};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    WriteFileText(database, cases[i]);
    const CliOutput found = Run("catalogue find dx7");
    EXPECT_EQ(found.status, 0) << i << found.err;
    EXPECT_NE(found.err.find("it is made anew"), std::string::npos) << i;
    EXPECT_EQ(LinesOf(found.out), before) << i;
    EXPECT_EQ(Run("catalogue find dx7").err, "") << i;
  }
  std::filesystem::remove(database);
  EXPECT_EQ(Run("catalogue find dx7").out, "");
  EXPECT_EQ(Run("catalogue scan").status, 0);
  EXPECT_EQ(Find("dx7"), before);
}

TEST_F(CatalogueCommands, InterruptionsLoseNothing) {
  for (int i = 0; i < 3; ++i) MakeBank(folder_ + "/" + std::to_string(i) + ".dat");
  const CancelToken interrupt;
  interrupt.Cancel();
  const CliOutput stopped = Run("catalogue scan", {folder_}, interrupt);
  EXPECT_EQ(stopped.status, 1);
  EXPECT_NE(stopped.err.find("Cancelled; what was read is kept."), std::string::npos) << stopped.err;
  Scan();
  EXPECT_EQ(Status()["patches"], "96");
  // Killed at any moment of a scan of many files.
  const std::string dump = ReadFileText(folder_ + "/0.dat");
  for (int i = 0; i < 2000; ++i) WriteFileText(folder_ + "/deeper/" + std::to_string(i) + ".dat", dump);
  for (int delay = 0; delay < 5; ++delay) {
    const pid_t child = ::fork();
    if (child == 0) {
      Run("catalogue scan", {folder_});
      ::_exit(0);
    }
    ::usleep(static_cast<useconds_t>(20'000 + 60'000 * delay));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    const auto left = Status();
    EXPECT_EQ(left.at("damaged"), "0");
    EXPECT_EQ(std::stoi(left.at("patches")), 32 * std::stoi(left.at("files"))) << "files are there whole or not at all";
  }
  Scan();
  EXPECT_EQ(Status()["patches"], std::to_string(32 * 2003));
  Scan();
  EXPECT_NE(told_.find(" 0 of them read"), std::string::npos) << told_;
}

TEST_F(CatalogueCommands, OneProcessWrites) {
  MakeBank(folder_ + "/a.dat");
  Scan();
  LockFile lock;
  ASSERT_TRUE(
      lock.Take(Folders::Below(home_.Path("root")).runtime, LockFile::NameFor("catalogue", Database()), 0).ok());
  const CliOutput second = Run("catalogue scan", {folder_});
  EXPECT_EQ(second.status, 1);
  EXPECT_NE(second.err.find("Another program of yours"), std::string::npos) << second.err;
  EXPECT_EQ(Find("dx7").size(), 32U) << "reading goes on";
  WriteFileText(Database(), "none");
  EXPECT_EQ(Run("catalogue find dx7").status, 1);
  lock.Release();
  EXPECT_EQ(Find("dx7").size(), 32U);
}

}  // namespace tonalith
