#include "studio/package.h"
#include "tests/cli/cli_test_tools.h"
#include "tests/peer/ftp_server.h"
#include "tests/studio/package_fixture.h"

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

TEST(StudioCommands, AnotherModuleIsReplacedOnlyByName) {
  const CliHome& home = CliHome::Instance();
  ASSERT_EQ(Studio({"studio", "list"}, "replace-root").status, 0);
  const std::string package = home.Path("evil.pvz");
  ASSERT_TRUE(WritePackage(BuiltModule("Evil", 900, 1, 1, "Yamaha DX7"), package).ok());
  for (const std::vector<std::string>& more : {std::vector<std::string>{}, {"--replace", "Kawai K4"}}) {
    std::vector<std::string> words = {"module", "install", package};
    words.insert(words.end(), more.begin(), more.end());
    const CliOutput refused = Studio(words, "replace-root");
    EXPECT_EQ(refused.status, 1);
    for (const char* part : {"\"Yamaha DX7\"", "Nothing was installed", "--replace"})
      EXPECT_NE(refused.err.find(part), std::string::npos) << refused.err;
    EXPECT_NE(refused.out.find("SHA-256 "), std::string::npos) << "shown before anything is installed";
    EXPECT_EQ(CountLines(Studio({"studio", "list"}, "replace-root").out, "instrument\tYamaha DX7\t"), 1u);
  }
  const CliOutput agreed = Studio({"module", "install", package, "--replace", "yamaha dx7"}, "replace-root");
  EXPECT_EQ(agreed.status, 0) << agreed.err;
  EXPECT_NE(agreed.out.find("replaced\tYamaha DX7.ini\n"), std::string::npos) << agreed.out;
  const CliOutput after = Studio({"studio", "list"}, "replace-root");
  EXPECT_EQ(CountLines(after.out, "instrument\tYamaha DX7\t"), 0u);
  EXPECT_EQ(CountLines(after.out, "instrument\tEvil\t"), 1u);
}

TEST(StudioCommands, RestoredFilesAreSaidOnce) {
  const CliHome& home = CliHome::Instance();
  ASSERT_EQ(RunCli({"module", "manifest", home.Path("resources/modules")}).status, 0);
  ASSERT_EQ(Studio({"module", "list"}, "restore-root").err, "");
  const std::string ini = home.Path("restore-root/share/Corvane/Tonalith/v13/Instruments/Yamaha DX7.ini");
  WriteFileText(ini, "junk");
  const CliOutput restored = Studio({"module", "list"}, "restore-root");
  EXPECT_EQ(restored.status, 0);
  EXPECT_NE(restored.err.find("has been restored: Yamaha DX7.ini (the damaged one is kept as Yamaha DX7.ini.broken)."),
            std::string::npos)
      << restored.err;
  EXPECT_EQ(CountLines(restored.out, "Yamaha DX7\t"), 1u);
  EXPECT_EQ(Studio({"module", "list"}, "restore-root").err, "");
  std::filesystem::remove(home.Path("resources/modules/shipped.sha256"));
}

TEST(StudioCommands, TheModuleServerGetsNoPasswordInPlainText) {
  const CliHome& home = CliHome::Instance();
  const std::string log = home.Path("ftp-commands");
  FtpServerProcess ftp(std::vector<std::string>{"hostile_ftp.py", "plain", log});
  if (!ftp.running()) GTEST_SKIP() << "no python to run a server with";
  WriteFileText(home.Path("password"), "secret\n");
  std::vector<std::string> words = {"module", "server", "--site",          ftp.site(),
                                    "--user", "me",     "--password-file", home.Path("password")};
  const CliOutput refused = Studio(words, "server-root");
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("--plain-password"), std::string::npos) << refused.err;
  EXPECT_EQ(ReadFileText(log).find("PASS"), std::string::npos);
  words.push_back("--plain-password");
  const CliOutput listed = Studio(words, "server-root");
  EXPECT_EQ(listed.status, 0) << listed.err;
  EXPECT_EQ(listed.out, "good.pvz\n");
  words.push_back("good.pvz");
  const CliOutput fetched = Studio(words, "server-root");
  EXPECT_EQ(fetched.status, 1) << "what it sends is no package";
  EXPECT_NE(fetched.err.find("Invalid File Header on read"), std::string::npos) << fetched.err;
  EXPECT_EQ(Studio({"module", "server"}, "server-root").status, 1) << "no server is set up";
}

}  // namespace tonalith
