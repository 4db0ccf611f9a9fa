// Scripts of modules that do not end by themselves, and that change settings, as the commands with transfers meet them.

#include <chrono>
#include <thread>

#include "cli_test_tools.h"

namespace tonalith {
namespace {

constexpr char kEndless[] = "L 1000000000 [ L 1000000000 [ MX + 1 ] ] ]\n";
constexpr char kPresses[] = "PressCancel 2 L 1000000000 [ L 1000000000 [ StripF7 65536 ] ] ]\n";
constexpr char kTalk[] = "OUT F0 7D 00 10 F7\n";

class ModuleScripts : public testing::Test {
 protected:
  // A module whose only data type has these scripts, installed.
  void Install(const std::string& receive, const std::string& transmit) {
    const std::filesystem::path folder = Path("scripted");
    std::filesystem::create_directories(folder);
    WriteFileText(folder / "module.ini", "[Module]\nName = Scripted\nDriverBase = 33200\nVersion = 1\nTypes = patch\n");
    WriteFileText(folder / "patch.descriptor",
                  "typeName = Patch\nmanufacturerId = 0x7D\nfileSize = 20\nheaderSize = 2\nvoiceSize = 17\n"
                  "dataKind = 1\nmessage = F0 7D\nreceive = get\ntransmit = put\n");
    WriteFileText(folder / "get.script", receive);
    WriteFileText(folder / "put.script", transmit);
    WriteFileText(Path("talk.txt"), kTalk);
    const CliOutput built = home_.Run({"module", "build", folder.string(), Path("scripted.pvz")});
    ASSERT_EQ(built.status, 0) << built.err;
    const CliOutput installed = home_.Run({"module", "install", Path("scripted.pvz")});
    ASSERT_EQ(installed.status, 0) << installed.err;
  }
  static std::string Path(const std::string& name) { return CliHome::Instance().Path(name); }
  std::vector<std::string> Command(const std::string& name) const {
    if (name == "receive") return {"receive", "scripted", "patch", Path("got.dat"), "--conversation", Path("talk.txt")};
    if (name == "send") return {"send", Path("sent.syx"), "--conversation", Path("talk.txt")};
    return {"module", "check", Path("scripted"), "--conversation", Path("talk.txt")};
  }
  CliHome& home_ = CliHome::Instance();
};

TEST_F(ModuleScripts, EndWhenTheyAreInterrupted) {
  for (const char* script : {kEndless, kPresses}) {
    Install(script, script);
    WriteFileText(Path("sent.syx"), std::string("\xF0\x7D", 2) + std::string(17, '\1') + "\xF7");
    for (const char* name : {"receive", "send", "check"}) {
      SCOPED_TRACE(std::string(name) + ": " + script);
      CancelToken interrupt;
      std::thread user([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        interrupt.Cancel();
      });
      const CliOutput output = home_.Run(Command(name), {}, interrupt);
      user.join();
      EXPECT_EQ(output.status, 1);
      EXPECT_NE((output.out + output.err).find("cancelled"), std::string::npos) << output.out << output.err;
      EXPECT_FALSE(std::filesystem::exists(Path("got.dat")));
    }
  }
}

TEST_F(ModuleScripts, SayWhyTheyWereStopped) {
  std::string loops;
  for (int i = 0; i < 300; ++i) loops += "L 2 [ ";
  for (int i = 0; i < 300; ++i) loops += "] ";
  Install(loops + "]", loops + "]");
  WriteFileText(Path("sent.syx"), std::string("\xF0\x7D", 2) + std::string(17, '\1') + "\xF7");
  EXPECT_EQ(home_.Run(Command("receive")).err,
            "tonalith-cli receive: The script that receives the Scripted Patch was stopped: loops deeper than 256.\n");
  EXPECT_EQ(home_.Run(Command("send")).err,
            "tonalith-cli send: The script that sends the Scripted Patch was stopped: loops deeper than 256.\n");
  const CliOutput checked = home_.Run(Command("check"));
  EXPECT_EQ(checked.status, 1);
  EXPECT_NE(checked.out.find("was stopped: loops deeper than 256."), std::string::npos) << checked.out;
  const CliOutput imported = home_.Run({"import", Path("sent.syx"), Path("sent.dat")});
  ASSERT_EQ(imported.status, 0) << imported.err;
  // A file has the form that the module declares, whatever becomes of its script.
  const CliOutput exported = home_.Run({"export", Path("sent.dat"), Path("out.syx")});
  EXPECT_EQ(exported.status, 0) << exported.err;
  EXPECT_EQ(ReadFileText(Path("out.syx")), ReadFileText(Path("sent.syx")));
}

TEST_F(ModuleScripts, TellWhatTheyChangeInTheSettings) {
  Install("setDefaultMidiChannel 3 S 5 { F0 7D 00 10 F7 } TR R 20 ]", "T ]");
  const CliOutput output = home_.Run(Command("receive"));
  EXPECT_NE(output.err.find("A script of the Scripted Patch changed \"Default MIDI channel\" from 1 to 4."),
            std::string::npos)
      << output.err;
}

TEST_F(ModuleScripts, CheckNamesEveryFault) {
  std::filesystem::create_directories(Path("scripted"));
  Install("S 5 { F0 7D 00 10 F7 } TR R 20 ]", "T ]");
  WriteFileText(std::filesystem::path(Path("scripted")) / "get.script", "PLUGH 3\nXYZZY\nT 1 ]\n");
  WriteFileText(std::filesystem::path(Path("scripted")) / "put.script", "IF X\nQUUX 4 T 1 ]\n");
  const CliOutput checked = home_.Run({"module", "check", Path("scripted")});
  EXPECT_EQ(checked.status, 1);
  for (const char* fault : {"get.script:1: error: character 1: unknown word \"PLUGH\"",
                            "get.script:2: error: character 1: unknown word \"XYZZY\"",
                            "put.script:1: error: character 1: the condition is never closed",
                            "put.script:2: error: character 1: unknown word \"QUUX\""})
    EXPECT_NE(checked.out.find(fault), std::string::npos) << fault << "\n" << checked.out;
}

}  // namespace
}  // namespace tonalith
