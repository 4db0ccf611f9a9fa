#include "tests/cli/cli_test_tools.h"

namespace tonalith {

// Found, kept for the next command, and said in words when it is not there.
TEST(StudioAutosense, FindsAndRemembers) {
  const CliHome& home = CliHome::Instance();
  const CliOutput found = home.Run({"studio", "autosense", "jv-1080", "--virtual", "--pairs", "8", "--at", "5",
                                    "--answer-on", "2", "--device", "24", "--fault", "late-reply:reply=0,delay=200"});
  EXPECT_EQ(found.status, 0) << found.err;
  EXPECT_NE(found.out.find("MIDI IN Port: Virtual 2\nMIDI OUT Port: Virtual 5\n"), std::string::npos) << found.out;
  EXPECT_NE(found.out.find("Device ID: 24\n"), std::string::npos) << found.out;
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

// By hand instead: what fits is kept for the next start, what does not changes nothing.
TEST(StudioSet, KeepsWhatFitsAndRefusesTheRest) {
  const CliHome& home = CliHome::Instance();
  const struct {
    const char* words;
    int status;
    const char* said;
  } cases[] = {
      {"jv-1080 --device 32 --channel 16", 0, "device ID 32, MIDI channel 16\n"},
      {"jv-1080 --device 16 --channel 1", 1, "a number from 17 to 32, not 16."},
      {"jv-1080 --device 33", 1, "a number from 17 to 32, not 33."},
      {"jv-1080 --channel 17", 1, "from 1 to 16"},
      {"rev2 --device 1", 1, "The Sequential Prophet Rev2 has no device ID."},
      {"jv-1080 --in nowhere --channel 2", 1, "MIDI IN port"},
      {"jv-1o80 --channel 2", 1, "there is: "},
      {"jv-1080", 1, "what to set is missing"},
      {"", 1, "one instrument is needed"},
  };
  for (const auto& one : cases) {
    const CliOutput output = home.Run(Words("studio set " + std::string(one.words)));
    EXPECT_EQ(output.status, one.status) << one.words;
    EXPECT_NE((one.status ? output.err : output.out).find(one.said), std::string::npos) << one.words << "\n"
                                                                                        << output.out << output.err;
  }
  EXPECT_NE(home.Run({"studio", "list"}).out.find("instrument\tRoland JV-1080\tRoland JV-1080.ini\t32\t16\t"),
            std::string::npos);
}

}  // namespace tonalith
