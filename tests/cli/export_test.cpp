// `export --format`: every format of a file, a user's definitions, what is refused.

#include "platform/text.h"
#include "store/names/disk_midi.h"
#include "tests/cli/cli_test_tools.h"

namespace tonalith {

TEST(ExportFormats, OfAFile) {
  const CliHome& home = CliHome::Instance();
  ASSERT_EQ(home.problem(), "");
  const std::string bank = home.Path("B\u00e4nk.dat"), folder = home.Path("all");
  ASSERT_EQ(home.Run({"receive", "dx7", "voice bank", bank, "--virtual", "factory"}).status, 0);
  const CliOutput all = home.Run({"export", bank, folder, "--format", "all"});
  ASSERT_EQ(all.status, 0) << all.err;
  for (const ExportKind& kind : ExportKinds()) {
    const std::string path = folder + "/" + ExportFileName(kind.format, "B\u00e4nk");
    const std::string written = ReadFileText(path);
    EXPECT_FALSE(written.empty()) << path;
    EXPECT_NE(all.out.find(path + "\n"), std::string::npos);
    const CliOutput one = home.Run({"export", bank, "-", "--format", AsciiUpper(kind.key)});
    EXPECT_EQ(one.status, 0) << one.err;
    EXPECT_EQ(one.out, written) << kind.key;
  }
  EXPECT_EQ(ReadFileText(folder + "/B\u00e4nk.syx").size(), 4104u);

  const std::string ins = home.Path("Master.ins");
  WriteFileText(ins, "; mine\r\n");
  const CliOutput merged = home.Run({"export", bank, ins, "--format", "cakewalk", "--merge"});
  EXPECT_EQ(merged.status, 0) << merged.err;
  EXPECT_EQ(ReadFileText(ins + ".bak"), "; mine\r\n");
  EXPECT_NE(ReadFileText(ins).find("\r\n[Yamaha DX7 Voice Bank]\r\n0="), std::string::npos);

  const std::string refused = home.Path("refused");
  const std::vector<std::vector<std::string>> wrong = {
      {"--format", "nonsense"}, {"--format", "reaper", "--merge"}, {"--merge", "--format", "all"}, {}};
  for (const auto& options : wrong) {
    std::vector<std::string> words = {"export", bank, refused};
    words.insert(words.end(), options.begin(), options.end());
    const CliOutput output = home.Run(words);
    EXPECT_EQ(output.status, 1);
    EXPECT_FALSE(output.err.empty());
    EXPECT_FALSE(std::filesystem::exists(refused));
  }
  // A folder that is a file, names of nothing.
  EXPECT_EQ(home.Run({"export", bank, bank, "--format", "all"}).status, 1);
  WriteFileText(refused, "no data");
  EXPECT_EQ(home.Run({"export", refused, home.Path("x"), "--format", "text"}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(home.Path("x")));
}

}  // namespace tonalith
