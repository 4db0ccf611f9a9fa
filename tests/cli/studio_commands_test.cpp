#include "tests/cli/cli_test_tools.h"

namespace tonalith {

namespace {

// A configuration root of its own.
CliOutput Studio(std::vector<std::string> arguments, const std::string& root = "studio-root") {
  arguments.insert(arguments.begin(), {"--config-root", CliHome::Instance().Path(root)});
  return RunCli(arguments);
}

std::size_t CountLines(const std::string& text, const std::string& beginning) {
  std::size_t count = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) count += line.rfind(beginning, 0) == 0;
  return count;
}

}  // namespace

TEST(StudioCommands, AddListSaveAndRemove) {
  const CliHome& home = CliHome::Instance();
  ASSERT_EQ(home.problem(), "");
  const CliOutput all = Studio({"studio", "list"});
  ASSERT_EQ(all.status, 0) << all.err;
  const std::size_t before = CountLines(all.out, "instrument\t");
  EXPECT_GT(before, 3u);
  EXPECT_NE(all.out.find("driver\tVoice Bank\t1000\t1\t1\t0\t\t0\t\n"), std::string::npos) << all.out;
  CliOutput output = Studio({"studio", "add", "yamaha dx7"});
  EXPECT_EQ(output.out, "Yamaha DX7 1: added\n") << output.err;
  output = Studio({"studio", "add", "no such thing"});
  EXPECT_EQ(output.status, 1);
  EXPECT_NE(output.err.find("There is no installed module \"no such thing\""), std::string::npos) << output.err;
  EXPECT_EQ(CountLines(Studio({"studio", "list"}).out, "instrument\t"), before + 1) << "the studio was saved";

  const std::string file = home.Path("My studio.PV9");
  EXPECT_EQ(Studio({"studio", "save", file}).status, 0);
  const std::string bytes = ReadFileText(file);
  EXPECT_EQ(bytes.substr(0, 4), "9VRD");
  EXPECT_EQ(Studio({"studio", "summary", file}).out, ReadFileText(home.Path("My studio.txt")));
  EXPECT_EQ(Studio({"studio", "remove", "Yamaha DX7 1"}).out, "Yamaha DX7 1: removed\n");
  EXPECT_EQ(CountLines(Studio({"studio", "list"}).out, "instrument\t"), before);
  EXPECT_EQ(CountLines(Studio({"studio", "list", file}).out, "instrument\t"), before + 1);
  EXPECT_NE(Studio({"studio", "listing", file}).out.find("\nFilename: My studio.PV9\n"), std::string::npos);

  WriteFileText(file, bytes.substr(0, 6 + 740 * 3));
  output = Studio({"studio", "list", file});
  EXPECT_EQ(output.status, 1);
  EXPECT_EQ(CountLines(output.out, "instrument\t"), 1u) << "what could be read";
  EXPECT_NE(output.err.find("damaged"), std::string::npos) << output.err;
  WriteFileText(file, "no studio at all");
  EXPECT_NE(Studio({"studio", "list", file}).err.find("Error! This file does not contain a Studio"), std::string::npos);
  EXPECT_NE(Studio({"studio", "listing"}).out.find("Make            Model                    CommCh MidiCh Port"),
            std::string::npos);
  EXPECT_EQ(Studio({"studio", "report"}).out.rfind("Studio Configuration\n====================\n\nGlobal\n", 0), 0u);
  EXPECT_NE(Studio({"studio", "devices", "-"}).out.find("Manufacturer=\"Yamaha\" Model=\"DX7\""), std::string::npos);
  EXPECT_EQ(Studio({"studio", "devices", home.Path("x.middev")}).status, 0);
  EXPECT_EQ(ReadFileText(home.Path("x.middev")).rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n\n<!DOCTYPE", 0),
            0u);
  EXPECT_EQ(Studio({"studio"}).status, 1);
  EXPECT_EQ(Studio({"studio", "save"}).status, 1);
}

TEST(StudioCommands, InstallingAddsTheInstrument) {
  const CliHome& home = CliHome::Instance();
  const std::string package = home.Path("resources/modules/yamaha-dx7.pvz");
  const CliOutput before = Studio({"studio", "list"}, "install-root");
  CliOutput output = Studio({"studio", "remove", "Yamaha DX7"}, "install-root");
  ASSERT_EQ(output.status, 0) << output.err;
  output = Studio({"module", "install", package}, "install-root");
  EXPECT_EQ(output.status, 0) << output.err;
  EXPECT_NE(output.out.find("Yamaha DX7: installed\n"), std::string::npos) << output.out;
  EXPECT_EQ(CountLines(Studio({"studio", "list"}, "install-root").out, "instrument\tYamaha DX7\t"), 1u);
  EXPECT_EQ(Studio({"module", "install", package}, "install-root").status, 0);
  EXPECT_EQ(CountLines(Studio({"studio", "list"}, "install-root").out, "instrument\t"),
            CountLines(before.out, "instrument\t"))
      << "an instrument that is there already is reloaded";
  WriteFileText(home.Path("bad.pvz"), "PVZ ?");
  output = Studio({"module", "install", home.Path("bad.pvz")}, "install-root");
  EXPECT_EQ(output.status, 1);
  EXPECT_NE(output.err, "");
  WriteFileText(home.Path("install-root/Documents/Corvane/Tonalith/Default.PV9"), "no studio");
  output = Studio({"studio", "list"}, "install-root");
  EXPECT_NE(output.err.find("Error! This file does not contain a Studio"), std::string::npos) << output.err;
  EXPECT_EQ(CountLines(output.out, "instrument\t"), CountLines(before.out, "instrument\t"));
}

}  // namespace tonalith
