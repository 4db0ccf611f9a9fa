#include "tests/cli/cli_test_tools.h"

namespace tonalith {

// Found, kept for the next command, and said in words when it is not there.
TEST(StudioAutosense, FindsAndRemembers) {
  const CliHome& home = CliHome::Instance();
  const CliOutput found = home.Run({"studio", "autosense", "jv-1080", "--virtual", "--pairs", "8", "--at", "5",
                                    "--answer-on", "2", "--device", "7", "--fault", "late-reply:reply=0,delay=200"});
  EXPECT_EQ(found.status, 0) << found.err;
  EXPECT_NE(found.out.find("MIDI IN Port: Virtual 2\nMIDI OUT Port: Virtual 5\n"), std::string::npos) << found.out;
  EXPECT_NE(found.out.find("Device ID: 23\n"), std::string::npos) << found.out;
  const CliOutput list = home.Run({"studio", "list"});
  EXPECT_NE(list.out.find("Virtual 5"), std::string::npos) << "another start of the program\n" << list.out;

  const CliOutput silent =
      home.Run({"studio", "autosense", "m1", "--virtual", "--absent", "--also", "korg-m1@2", "--fault", "no-reply"});
  EXPECT_EQ(silent.status, 0) << "another one of the same kind stands there: " << silent.err;
  const CliOutput wrong = home.Run(
      {"studio", "autosense", "m1", "--virtual", "--pairs", "3", "--fault", "other-model:reply=0", "--verbose"});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_EQ(wrong.err, "") << "what happened is told on standard output";
  EXPECT_EQ(wrong.out.find("A compatible Korg M1 was not detected."), wrong.out.find("A compatible"));
  EXPECT_NE(wrong.out.find("Korg (42), family 0C 00"), std::string::npos) << wrong.out;
  EXPECT_NE(wrong.out.find("to Virtual 3: F0 7E 0F 06 01 F7"), std::string::npos) << "what was tried";
}

TEST(StudioAutosense, RefusesWhatMakesNoSense) {
  const CliHome& home = CliHome::Instance();
  for (const char* words : {"", "m1 dx7", "nothing --virtual", "m1 --pairs 3", "m1 --virtual --pairs 0",
                            "m1 --virtual --pairs 65", "m1 --virtual --also nobody", "m1 --virtual --also korg-m1@x",
                            "m1 --virtual --fault nonsense", "m1 --virtual --also korg-m1@1"}) {
    const CliOutput output = home.Run(Words("studio autosense " + std::string(words)));
    EXPECT_EQ(output.status, 1);
    EXPECT_NE(output.err, "");
    EXPECT_EQ(output.out, "");
  }
}

}  // namespace tonalith
