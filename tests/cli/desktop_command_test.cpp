#include "cli_test_tools.h"
#include "services/desktop_file.h"

namespace tonalith {
namespace {

TEST(DesktopCommand, ListsTheWindowsOrSaysWhatIsWrong) {
  const std::string folder = CliHome::Instance().Path("desktop");
  std::filesystem::create_directories(folder);
  const auto bytes = WriteDesktop(std::vector<DesktopWindow>{
      {10, 20, 300, 200, "/a", "x\n.dat", 17000}, {0, 0, 0, 0, "", "", 17006}, {1, 2, 3, 4, "", "", 9}});
  const std::string file = folder + "/mine.PVW";
  WriteFileText(file, std::string(bytes.begin(), bytes.end()));
  const CliOutput listed = RunCli({"desktop", "dump", file});
  EXPECT_EQ(listed.status, 0) << listed.err;
  EXPECT_EQ(listed.out,
            "windows: 3\n1\t17000\tbank editor\t10\t20\t300\t200\t/a/x\\x0A.dat\n2\t17006\tMIDI monitor\t0\t0\t0\t0\t\n"
            "3\t9\tunknown\t1\t2\t3\t4\t\n");
  const CliOutput checked = RunCli({"desktop", "check", file});
  EXPECT_EQ(checked.status, 1);
  EXPECT_EQ(checked.out,
            "1\tnothing\tThere is no file /a/x\\x0A.dat.\n2\twindow\tMIDI monitor\n3\tnothing\tThere are no windows of "
            "type 9.\n");
  EXPECT_FALSE(checked.err.empty());
  WriteFileText(file, std::string(bytes.begin(), bytes.end() - 1));
  const CliOutput cut = RunCli({"desktop", "dump", file});
  EXPECT_EQ(cut.status, 1);
  EXPECT_EQ(cut.out, "");
  EXPECT_NE(cut.err.find("announces 3 windows and holds 2"), std::string::npos) << cut.err;
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"desktop"}, {"desktop", "load", file}, {"desktop", "dump", folder + "/none"}}) {
    const CliOutput refused = RunCli(words);
    EXPECT_EQ(refused.status, 1);
    EXPECT_FALSE(refused.err.empty());
  }
}

}  // namespace
}  // namespace tonalith
