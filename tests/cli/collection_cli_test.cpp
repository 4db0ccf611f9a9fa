// Collections on the command line: made, filled with Sets, data of every shipped type, dumps and folders, taken apart.

#include <set>

#include "cli_test_tools.h"
#include "platform/text.h"

namespace tonalith {

namespace {

class CollectionCommands : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(home_.problem(), "");
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_ + "/in \xC3\x9C");
    ASSERT_EQ(Run("collection new", {collection_}).status, 0);
  }
  CliOutput Run(const std::string& line, const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = Words(line);
    words.insert(words.end(), more.begin(), more.end());
    return home_.Run(words);
  }
  std::vector<std::vector<std::string>> Rows(const CliOutput& output) {
    EXPECT_EQ(output.status, 0) << output.err;
    std::vector<std::vector<std::string>> rows;
    for (const std::string& line : SplitText(output.out, '\n'))
      if (!line.empty()) rows.push_back(SplitText(line, '\t'));
    return rows;
  }

  CliHome& home_ = CliHome::Instance();
  const std::string folder_ = home_.Path("collections");
  const std::string collection_ = folder_ +
                                  "/\xC3\x9C"
                                  "bung.pvc";
};

}  // namespace

// A Set of every shipped instrument goes in, is listed, and comes out as it was.
TEST_F(CollectionCommands, SetsOfAllInstrumentsComeBack) {
  std::vector<std::string> sets;
  std::set<std::string> instruments;
  for (const auto& row : Rows(Run("module list")))
    if (!row.front().empty() && row.front().front() != ' ')
      instruments.insert(row.front().substr(0, row.front().find(':')));
  for (const std::string& instrument : instruments) {
    sets.push_back(folder_ + "/in \xC3\x9C/" + std::to_string(sets.size()) + ".pvs");
    ASSERT_EQ(Run("set new", {instrument, sets.back()}).status, 0) << instrument;
  }
  ASSERT_GE(sets.size(), 30u);
  const CliOutput added = Run("collection add", {collection_, folder_ + "/in \xC3\x9C"});
  EXPECT_EQ(added.status, 0) << added.err;
  EXPECT_NE(added.out.find(std::to_string(sets.size()) + " stored, 0 skipped.\n"), std::string::npos) << added.out;
  const auto rows = Rows(Run("collection list", {collection_}));
  ASSERT_EQ(rows.size(), sets.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i].at(1), "set");
    EXPECT_TRUE(rows[i].at(3).find(" Set") != std::string::npos) << rows[i].at(3);
    const std::string out = folder_ + "/out.pvs";
    ASSERT_EQ(Run("collection take", {collection_, std::to_string(i), out}).status, 0);
    std::filesystem::remove(folder_ + "/again.pvc");
    ASSERT_EQ(Run("collection new", {folder_ + "/again.pvc"}).status, 0);
    ASSERT_EQ(Run("collection add", {folder_ + "/again.pvc", out}).status, 0);
    // Folders give their files by name.
    const auto again = Rows(Run("collection list", {folder_ + "/again.pvc"}));
    ASSERT_EQ(again.size(), 1u);
    EXPECT_EQ(again[0].at(3), rows[i].at(3));
    const auto parts = Rows(Run("set list", {out}));
    EXPECT_GT(parts.size(), 0u);
  }
}

TEST_F(CollectionCommands, DataDumpsAndFoldersGoInAndOut) {
  const std::string bank = folder_ + "/in \xC3\x9C/bank.dat", dump = folder_ + "/dump.SYX";
  ASSERT_EQ(Run("receive dx7 --virtual factory", {"voice bank", bank}).status, 0);
  ASSERT_EQ(Run("export", {bank, folder_ + "/bank.syx"}).status, 0);
  std::filesystem::rename(folder_ + "/bank.syx", dump);
  WriteFileText(folder_ + "/in \xC3\x9C/notes.txt", "nothing of this is music");
  const CliOutput added = Run("collection add", {collection_, folder_ + "/in \xC3\x9C", dump});
  EXPECT_EQ(added.status, 0) << added.err;
  EXPECT_NE(added.out.find("2 stored, 1 skipped.\n"), std::string::npos) << added.out;
  const auto rows = Rows(Run("collection list", {collection_}));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].at(1), "bank");
  EXPECT_EQ(rows[0].at(2), "Yamaha DX7 Voice Bank");
  EXPECT_EQ(rows[0].at(3), "bank.dat");
  EXPECT_EQ(rows[1].at(1), "data");
  EXPECT_EQ(rows[1].at(3), "dump.SYX");
  EXPECT_NE(Run("collection listing", {collection_}).out.find("Yamaha DX7 Voice Bank"), std::string::npos);
  // Out again: the bank with its names, the dump byte for byte.
  const std::string out = folder_ + "/out.dat", raw = folder_ + "/out.syx";
  ASSERT_EQ(Run("collection take", {collection_, "0", out}).status, 0);
  EXPECT_EQ(Run("names", {out}).out, Run("names", {bank}).out);
  ASSERT_EQ(Run("collection take", {collection_, "1", raw}).status, 0);
  EXPECT_EQ(ReadFileText(raw), ReadFileText(dump));
  // The same again takes the place of what is there where that is wanted.
  EXPECT_NE(Run("collection add --same overwrite", {collection_, bank}).out.find("overwritten\tbank.dat"),
            std::string::npos);
  EXPECT_EQ(Rows(Run("collection list", {collection_})).size(), 2u);
  // Into another Collection, and as a link.
  const std::string other = folder_ + "/other.pvc";
  ASSERT_EQ(Run("collection new", {other}).status, 0);
  EXPECT_EQ(Run("collection add", {other, collection_}).status, 0);
  EXPECT_EQ(Run("collection add --link", {other, bank}).status, 0);
  EXPECT_EQ(Rows(Run("collection list", {other})).at(2).at(4), "defined,linked");

  const std::string bytes = ReadFileText(collection_);
  WriteFileText(folder_ + "/cut.pvc", bytes.substr(0, bytes.size() * 3 / 4));
  const CliOutput cut = Run("collection list", {folder_ + "/cut.pvc"});
  EXPECT_EQ(cut.status, 0);
  EXPECT_NE(cut.err.find("Note: "), std::string::npos);
  for (const auto& [line, more] : std::vector<std::pair<std::string, std::vector<std::string>>>{
           {"collection list", {bank}},
           {"collection add", {bank, bank}},
           {"collection add", {collection_, folder_ + "/nothing"}},
           {"collection add", {collection_, collection_}},
           {"collection add --same maybe", {collection_, bank}},
           {"collection take", {collection_, "9", out}},
           {"collection take", {collection_, "0", collection_}},
           {"collection new", {collection_}}}) {
    const CliOutput refused = Run(line, more);
    EXPECT_EQ(refused.status, 1) << line;
    EXPECT_NE(refused.err, "") << line;
  }
  EXPECT_EQ(ReadFileText(collection_), bytes);
}

}  // namespace tonalith
