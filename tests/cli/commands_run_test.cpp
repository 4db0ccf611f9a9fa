#include "data/hex_text.h"
#include "platform/text.h"
#include "tests/cli/cli_test_tools.h"

namespace tonalith {
namespace {

CliOutput RunScriptCommand(const std::string& script, std::vector<std::string> args) {
  args.insert(args.begin(), {"run", "-"});
  return RunCli(args, script);
}

std::string ExampleReply(int flippedByte = -1) {
  std::vector<std::uint8_t> dump = {0xF0, 0x3E, 0x11, 0x02, 0x45, 0x09};
  for (int i = 0; i < 128; ++i) dump.push_back(3 * i & 0x7F);
  dump.insert(dump.end(), {0x40, 0xF7});
  if (flippedByte >= 0) dump[static_cast<std::size_t>(flippedByte)] ^= 1;
  return HexText(dump);
}

const char* const kExampleReceive =
    "; ask for the edit voice and read one dump\n"
    "S 7 { F0 3E 11 00 05 00 F7 }    ; transmit data := request\n"
    "C 3\nF Z 5\nTR 7\nR 136\nIFGQ V10\nGP 0\nFG V0 134\nK 00 00 6 128 134\nFG V1 134\nMV0 - V1\nGP 136\nIF V0\nGP 0\n"
    "IFX\nIFX\n]\n";

std::vector<std::string> ExampleArgs(std::vector<std::string> more) {
  std::vector<std::string> args = {"--descriptor", "manufacturerId=0x3E",
                                   "--descriptor", "fileSize=136",
                                   "--descriptor", "optionBits=3",
                                   "--channel",    "2",
                                   "--patch",      "9"};
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

// The patch keeps its number where X takes an answer.
TEST(RunCommand, ThePatchHasAPlaceOfItsOwn) {
  const CliOutput output = RunScriptCommand("ABS 9 S 4 { F0 7D 00 F7 } F V997 2 T 4 ]", {"--x", "4"});
  EXPECT_EQ(output.out, "OUT F0 7D 04 F7\nRESULT 0\nW 0 X 9 Y 0 Z 0\nV10 0\n");
}

TEST(RunCommand, ExampleInstrument) {
  const std::string request = "OUT F0 3E 11 02 05 09 F7\n";
  const CliOutput good = RunScriptCommand(kExampleReceive, ExampleArgs({"--reply", ExampleReply()}));
  EXPECT_EQ(good.err, "");
  EXPECT_EQ(good.status, 0);
  EXPECT_EQ(good.out, request + "IN " + ExampleReply() + "\nRESULT 136\nW 0 X 0 Y 2 Z 9\nV10 136\n");

  const CliOutput flipped = RunScriptCommand(kExampleReceive, ExampleArgs({"--reply", ExampleReply(20)}));
  EXPECT_EQ(flipped.out, request + "IN " + ExampleReply(20) + "\nRESULT 0\nW 0 X 0 Y 2 Z 9\nV10 136\n");

  std::string otherMaker = ExampleReply();
  otherMaker.replace(3, 2, "43");
  const CliOutput wrong = RunScriptCommand(kExampleReceive, ExampleArgs({"--reply", otherMaker}));
  EXPECT_EQ(wrong.out, request + "IN " + otherMaker + "\nRESULT -7\nW 0 X 0 Y 2 Z 9\nV10 -7\n");
  EXPECT_EQ(wrong.status, 1);
  EXPECT_EQ(wrong.err, "The script ended with -7: ERROR! Incorrect SysX Company ID!\n");

  const CliOutput silent = RunScriptCommand(kExampleReceive, ExampleArgs({}));
  EXPECT_EQ(silent.out, request + "RESULT 0\nW 0 X 0 Y 2 Z 1\nV10 -19\n");

  std::string zeroed = ExampleReply();
  for (const std::size_t byte : {3u, 5u, 134u}) zeroed.replace(byte * 3, 2, "00");
  const CliOutput sent = RunScriptCommand("C 3 F Z 5 K 00 00 6 128 134 T 136 ]", ExampleArgs({"--image", zeroed}));
  EXPECT_EQ(sent.out, "OUT " + ExampleReply() + "\nRESULT 136\nW 0 X 0 Y 2 Z 9\nV10 0\n");
}

// The wire takes and refuses messages as a real port does.
TEST(RunCommand, ReceivesLikeAPort) {
  struct {
    const char* name;
    const char* script;
    const char* replies;  // between bars
    const char* image;
    const char* result;
  } cases[] = {
      {"one reply a receive", "R 3 R 3 ]", "F0 01 F7|F0 02 F7", "F0 01 F7 F0 02 F7 00 00", "RESULT 6"},
      {"none of it for the next", "N R 3 R 3 R 2 ]", "F0 01 02 03 04 05 F7|F0 02 F7", "F0 01 02 F0 02 F7 00 00",
       "RESULT 6"},
      {"ends at F7", "R 0 ]", "F0 01 F7", "F0 01 F7 00 00 00 00 00", "RESULT 3"},
      {"a refused message", "S 2 { F0 41 } SetSysXAccept R 8 ]", "F0 42 F7", "00 00 00 00 00 00 00 00", "RESULT 0"},
      {"the wanted one behind it", "S 2 { F0 41 } SetSysXAccept R 8 ]", "F0 42 F7 F0 41 F7", "F0 41 F7 00 00 00 00 00",
       "RESULT 3"},
      {"declined", "S 3 { F0 FF 09 } SetSysXDecline R 8 ]", "F0 01 09 F7 F0 01 02 F7", "F0 01 02 F7 00 00 00 00",
       "RESULT 4"},
      {"not SysEx", "R 3 ]", "90 40 40", "00 00 00 00 00 00 00 00", "RESULT 0"},
      {"everything", "N R 3 ]", "90 40 40", "90 40 40 00 00 00 00 00", "RESULT 3"},
      {"past the end", "NS R 6 ]", "F0 01 F7 F0 02 F7", "F0 01 F7 F0 02 F7 00 00", "RESULT 6"},
      {"an end message", "NS S 2 { F0 02 } SetSysXEnd R 8 ]", "F0 01 F7 F0 02 F7", "F0 01 F7 F0 02 F7 00 00",
       "RESULT 6"},
      {"skipping", "RA 2 8 ]", "F0 01 02 03 F7", "02 03 F7 00 00 00 00 00", "RESULT 3"},
      {"cancelled by a message", "S 3 { F0 0E F7 } SETERRORMSG GP 1 R 4 GP 5 ]", "F0 0E F7", "00 00 00 00 00 00 00 00",
       "RESULT 1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<std::string> args = {"--image", "00 00 00 00 00 00 00 00", "--show-image"};
    for (const std::string& reply : SplitText(c.replies, '|')) args.insert(args.end(), {"--reply", reply});
    const CliOutput output = RunScriptCommand(c.script, args);
    EXPECT_EQ(output.status, 0) << output.err;
    EXPECT_NE(output.out.find(std::string(c.result) + "\n"), std::string::npos) << output.out;
    EXPECT_NE(output.out.find(std::string("IMAGE ") + c.image + "\n"), std::string::npos) << output.out;
  }
}

TEST(RunCommand, Conversations) {
  const std::string file = testing::TempDir() + "run_conversation.txt";
  std::ofstream(file) << "OUT F0 11 F7\nWAIT 20\nIN F0 22 F7\nOUT F0 33 F7\nIN F0 44 F7\n";
  const std::string script = "S 3 { F0 11 F7 } TR R 3 S 3 { F0 33 F7 } T R 3 ]";
  const CliOutput kept = RunScriptCommand(script, {"--conversation", file});
  EXPECT_EQ(kept.status, 0) << kept.err;
  EXPECT_EQ(kept.out, "OUT F0 11 F7\nIN F0 22 F7\nOUT F0 33 F7\nIN F0 44 F7\nRESULT 6\nW 0 X 0 Y 0 Z 0\nV10 3\n");
  const CliOutput broken = RunScriptCommand("S 3 { F0 12 F7 } TR R 3 ]", {"--conversation", file});
  EXPECT_EQ(broken.status, 1);
  EXPECT_NE(broken.err, "");
  EXPECT_NE(broken.out.find("RESULT 0\n"), std::string::npos);
}

// The main window's variables are there without a window, for each run anew.
TEST(RunCommand, ApplicationVariables) {
  for (int run = 0; run < 2; ++run) {
    const CliOutput output = RunScriptCommand("SetAppVar 1 42\nGetAppVar 1\n", {});
    EXPECT_EQ(output.status, 0) << output.err;
    EXPECT_NE(output.out.find(" X 42 "), std::string::npos) << output.out;
  }
  EXPECT_NE(RunScriptCommand("GetAppVar 1\n", {}).out.find(" X -1 "), std::string::npos);
}

// What the script of an editor needs, and a sentence for each way to fail.
TEST(RunCommand, EditorsLimitsAndFailures) {
  struct Case {
    const char* script;
    const char* args;
    const char* out;  // a part
    const char* err;
  };
  const std::vector<Case> cases = {
      {"MW + 1 MV0 @ X ]", "--edit 1,-2,3,0x10", "RESULT 0\nW 2 X -2 Y 3 Z 16\n", ""},
      {"MX + 1 ]", "--patch 9 --channel 3", "W 0 X 1 Y 3 Z 9\n", ""},
      {"MV0 = 7 RET V0 GP 5 ]", "--ret", "RESULT 7\n", ""},
      {"MV0 = 7 RET V0 GP 5 ]", "", "RESULT 5\n", ""},
      {"GP 5 ]", "--ret", "RESULT 5\n", ""},
      {"MV0 - 3 RET V0 ]", "--ret", "RESULT -3\n", "The script ended with -3: ERROR! After 3 attempts"},
      {"FLOAT V0 MV0 = 5 MV0 / 2 MX = V0 ]", "--float", "FLOAT W 0 X 2.5 Y 0 Z 0\n", ""},
      {"MV0 + 1 MX @ V0 F V0 0 ]", "--times 3 --show-image --image 00",
       "RESULT 0\nW 0 X 1 Y 0 Z 0\nV10 0\nRESULT 0\nW 0 X 2 Y 0 Z 0\nV10 0\nRESULT 0\nW 0 X 3 Y 0 Z 0\nV10 "
       "0\nIMAGE 03\n",
       ""},
      {"MV0 + 1 IFQ V0 2 BREAK IFX ]", "--times 9", "V10 0\nRESULT -99\n", "BREAK outside a loop.\n"},
      {"L 1000000000 [ L 1000000000 [ MX + 1 ] ] ]", "--limit 0.05", "RESULT -5\n",
       "The script was stopped after 0.05 s of computing.\n"},
      {"L 100 [ SLEEP 60000 ] ]", "--limit 0.05", "RESULT 0\n", ""},
      {"MACRO 0 ]", "--macro $macro", "RESULT -5\n", "The script was stopped: macros deeper than 64.\n"},
      {"0D FF", "", "RESULT -5\n", "The script ended with -5: ERROR! Unexpected Tonalith Macro Command!\n"},
      {"GA 100000000 ]", "", "RESULT -15\n", "a work buffer of more than 16 MiB.\n"},
      {"setDefaultMidiChannel 4 setDefaultMidiChannel 6 setMidiThru 0 ]", "--descriptor shortName=Acme", " X 4 ",
       "A script of the Acme changed \"Default MIDI channel\" from 1 to 5.\nA script of the Acme changed "
       "\"Default MIDI channel\" from 5 to 7.\n"},
      {"setDefaultMidiChannel 0 ]", "", " X 0 ", ""},  // nothing of the run before is left
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.script);
    const std::string macro = testing::TempDir() + "run_macro.txt";
    std::ofstream(macro) << c.script;
    const CliOutput output = RunScriptCommand(c.script, Words(ReplaceAll(c.args, "$macro", macro)));
    const std::string told = "A script of the";
    const bool fails = *c.err && std::string(c.err).compare(0, told.size(), told) != 0;
    EXPECT_EQ(output.status, fails ? 1 : 0);
    EXPECT_NE(output.out.find(c.out), std::string::npos) << output.out;
    if (*c.err) {
      EXPECT_NE(output.err.find(c.err), std::string::npos) << output.err;
    } else {
      EXPECT_EQ(output.err, "");
    }
  }
}

TEST(RunCommand, CodeAndMistakes) {
  const CliOutput hex = RunScriptCommand("0E 05 07 00 00 00 07\n0E 01 08 05 07 FF\n", {"--x", "-3"});
  EXPECT_EQ(hex.out, "RESULT 0\nW 0 X 7 Y 0 Z 0\nV10 0\n");
  EXPECT_EQ(RunScriptCommand(std::string("\x07\xFF", 2), {"--x", "0x10"}).out, "RESULT 0\nW 0 X 16 Y 0 Z 0\nV10 0\n");
  EXPECT_EQ(RunScriptCommand("Q Q Q", {}).status, 1);
  for (const char* args : {"--reply F0,1", "--descriptor noSuchField=1", "--channel 256", "--patch", "--nothing 1",
                           "--conversation /no/such/file", "second.txt", "--edit 1,2,3", "--edit 1,2,3,x",
                           "--edit 1,2,3,4 --x 5", "--times 0", "--limit 0", "--limit 1.2.3"}) {
    const CliOutput output = RunScriptCommand("]", Words(args));
    EXPECT_EQ(output.status, 1) << args;
    EXPECT_NE(output.err, "") << args;
    EXPECT_EQ(output.out, "") << args;
  }
}

}  // namespace
}  // namespace tonalith
