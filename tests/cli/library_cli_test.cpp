// Libraries on the command line: made, filled from banks, folders and whatever lies there, listed, changed, searched.

#include <algorithm>

#include "cli_test_tools.h"
#include "platform/text.h"

namespace tonalith {

namespace {

std::vector<std::vector<std::string>> Rows(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  for (const std::string& line : SplitText(text, '\n'))
    if (!line.empty()) rows.push_back(SplitText(line, '\t'));
  return rows;
}

class LibraryCommands : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(home_.problem(), "");
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_ + "/deeper \xC3\xA4");
  }
  CliOutput Run(const std::string& line, const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = Words(line);
    words.insert(words.end(), more.begin(), more.end());
    return home_.Run(words);
  }
  std::string New(const std::string& instrument, const std::string& type) {
    const std::string path = folder_ + "/new.pvl";
    std::filesystem::remove(path);
    const CliOutput made = Run("library new", {instrument, type, path});
    EXPECT_EQ(made.status, 0) << made.err;
    return path;
  }

  CliHome& home_ = CliHome::Instance();
  const std::string folder_ = home_.Path("libraries");
};

}  // namespace

TEST_F(LibraryCommands, BanksAndFoldersComeIn) {
  const std::string library = New("Yamaha DX7", "Voice"), bank = folder_ + "/deeper \xC3\xA4/bank.dat";
  ASSERT_EQ(Run("receive dx7 --virtual factory", {"voice bank", bank}).status, 0);
  ASSERT_EQ(Run("export", {bank, folder_ + "/bank.syx"}).status, 0);
  WriteFileText(folder_ + "/notes.txt", "nothing of this is music");
  const CliOutput all = Run("library add --unique none", {library, bank});
  EXPECT_EQ(all.status, 0) << all.err;
  const auto names = Rows(Run("names", {bank}).out);
  const auto listed = Rows(Run("library list", {library}).out);
  ASSERT_EQ(listed.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(listed[i].at(0), names[i].at(2));
    EXPECT_NE(listed[i].at(1).find(Printf("%04zu,bank.dat", i)), std::string::npos) << listed[i][1];
  }
  EXPECT_NE(all.out.find("32 added, 0 skipped.\n"), std::string::npos) << all.out;
  const std::string before = ReadFileText(library);
  // The same sounds again, from the folder that they lie in, the Library itself among them.
  const CliOutput again = Run("library add --unique sound", {library, folder_});
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_NE(again.out.find("0 added, 97 skipped.\n"), std::string::npos) << again.out;
  EXPECT_NE(
      again.out.find("skipped\t" + names[3].at(2) + "\t" + bank + "\tPatch not added to library - data identical"),
      std::string::npos);
  EXPECT_EQ(ReadFileText(library), before);
  EXPECT_NE(Run("library add", {library, bank}).out.find("0 added, 32 skipped.\n"), std::string::npos);
  // What is of another kind is said.
  const std::string other = New("Kawai K4", "Single");
  const CliOutput wrong = Run("library add", {other, bank, folder_ + "/notes.txt"});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_NE(wrong.out.find("Bank and Patch SysEx are not from the same Company!"), std::string::npos) << wrong.out;
  EXPECT_NE(wrong.err.find("notes.txt"), std::string::npos);
}

TEST_F(LibraryCommands, CommandsChangeAndSearchesFind) {
  const std::string library = New("dx7", "voice"), bank = folder_ + "/bank.syx";
  ASSERT_EQ(Run("receive dx7 --virtual factory", {"voice bank", folder_ + "/bank.dat"}).status, 0);
  ASSERT_EQ(Run("export", {folder_ + "/bank.dat", bank}).status, 0);
  ASSERT_EQ(Run("library add --unique none", {library, bank, bank}).status, 0);
  const auto before = Rows(Run("library list", {library}).out);
  ASSERT_EQ(before.size(), 64u);
  const auto duplicates = Rows(Run("library duplicates", {library}).out);
  EXPECT_EQ(duplicates.size(), 32u);
  const auto named = Rows(Run("export --format text", {library, "-"}).out);
  ASSERT_EQ(named.size(), 64u);
  EXPECT_EQ(named[63], (std::vector<std::string>{"64", before[63][0]}));
  const CliOutput program = Run("export --format reaper", {library, "-"});
  EXPECT_EQ(program.status, 1);
  EXPECT_NE(program.err.find("No program change chooses"), std::string::npos) << program.err;
  EXPECT_EQ(duplicates.at(0).at(0), before[0][0] + " - " + before[0][0] + " : 0 different bytes");
  EXPECT_EQ(Rows(Run("library similar", {library, before[5][0], "100"}).out).size(), 1u);
  EXPECT_GT(Rows(Run("library similar", {library, before[5][0], "0"}).out).size(), 60u);
  EXPECT_EQ(Run("library similar", {library, "no such patch", "90"}).status, 1);
  EXPECT_EQ(Run("library similar", {library, before[5][0], "101"}).status, 1);
  // Duplicates go.
  EXPECT_EQ(Run("library run", {library, "Choose", "Duplicates", ",", "SelectAll", ",", "Clear"}).status, 0);
  EXPECT_EQ(Run("library run", {library, "GetCount"}).out, "32\n");
  EXPECT_EQ(Run("library run", {library, "Select", "3", "5", ",", "Name", "M\xC3\xBC", "7", ",", "Keyword", "1",
                                "4 Lead", ",", "Comment", "said twice"})
                .status,
            0);
  const auto after = Rows(Run("library list", {library, "--filter", "4 lead", "--sort", "-name"}).out);
  ASSERT_EQ(after.size(), 2u);
  EXPECT_EQ(after[0].at(0), "Mu");
  EXPECT_EQ(after[1].at(0), "7");
  EXPECT_EQ(after[0].at(2), "said twice");
  EXPECT_EQ(after[1].at(2), "");
  EXPECT_EQ(Run("library run", {library, "Select", "1", ",", "ViewHideSelected"}).status, 0);
  EXPECT_EQ(Rows(Run("library list", {library}).out).size(), 31u);
  EXPECT_EQ(Rows(Run("library list --hidden", {library}).out).size(), 32u);
  // What is refused changes nothing.
  const std::string bytes = ReadFileText(library);
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
           {"Frob"}, {"Morph"}, {"Clear", ",", "Frob"}, {"Name", "x"}, {"Choose", "Keys", "a b"}, {"Save", ","}}) {
    std::vector<std::string> more = {library};
    more.insert(more.end(), words.begin(), words.end());
    const CliOutput refused = Run("library run", more);
    EXPECT_EQ(refused.status, 1) << words[0];
    EXPECT_NE(refused.err, "");
  }
  EXPECT_EQ(ReadFileText(library), bytes);
  WriteFileText(folder_ + "/cut.pvl", bytes.substr(0, bytes.size() / 2));
  const CliOutput cut = Run("library list", {folder_ + "/cut.pvl"});
  EXPECT_EQ(cut.status, 0);
  EXPECT_NE(cut.err.find("Note: "), std::string::npos);
  EXPECT_EQ(Run("library list", {folder_ + "/bank.dat"}).status, 1);
  EXPECT_EQ(Run("library new dx7 voice", {library}).status, 1);
  EXPECT_EQ(Run("library new dx7", {"voice bank", folder_ + "/x.pvl"}).status, 1);
}

}  // namespace tonalith
