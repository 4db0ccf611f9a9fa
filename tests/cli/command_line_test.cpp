#include "cli/command_help.h"
#include "platform/text.h"
#include "tests/cli/cli_test_tools.h"

namespace tonalith {
namespace {

struct CommandLineCase {
  const char* line;
  std::string input;
  std::string out;
};

// One of each form, with values worked out by hand.
TEST(CommandLine, FormsPrintExactly) {
  const std::string script = "S 3 { F0 7E F7 } TR 3 R 4 ]";
  const std::vector<CommandLineCase> cases = {
      {"pack get 1 0 0201", "", "18\n"},
      {"pack get 1 1 02010403", "", "52\n"},
      {"pack get 1 1 -", "02 01 04 03\n", "52\n"},
      {"pack get 1 0 00000201 --bank 2 --voice-size 2", "", "18\n"},
      {"pack set 1 0 18 00 00", "", "02 01\n"},
      {"csum 0 5 3 8 F04110161210000400F7", "", "F0 41 10 16 12 10 00 04 6C F7\n"},
      {"csum 19 0 9 0 313233343536373839", "", "CBF43926\n"},
      {"number 0 4 --voices 32", "", "\" 5\"\n"},
      {"name get 0 5 4252415353", "", "\"BRASS\"\n"},
      {"name set 0 5 AB 0000000000", "", "41 42 20 20 20\n"},
      {"name set 0 6 --[A] 000000000000", "", "2D 2D 5B 41 5D 20\n"},
      {"name set 0 2 --storage 1 AB 00000000", "", "01 04 02 04\n"},
      {"name get 0 3 020401050304 --storage 1", "", "\"BQC\"\n"},
      {"compile -", "S 3 { F0 7E F7 }\n]", "08 00 00 00 03 F0 7E F7 07 FF\n"},
      {"compile -", "", "FF\n"},
      {"list -", "0900000000 05 ff", "A \r\nT 5 \r\n"},
      {"list -", std::string("\x08\0\0\0\x01\xF7\xFF", 7), "S 1 { F7 } \r\n"},
      {"list -", "FF", "\n"},
      {"list -", "08 00 00 00 03 F0 7E F7 07 FF\n", "S 3 { F0 7E F7 } \r\n] \r\n"},
      {"run - --descriptor manufacturerId=0x7E --descriptor optionBits=3 --reply F07E01F7", script,
       "OUT F0 7E F7\nIN F0 7E 01 F7\nRESULT 4\nW 0 X 0 Y 0 Z 0\nV10 4\n"},
  };
  for (const CommandLineCase& c : cases) {
    const CliOutput output = RunCli(Words(c.line), c.input);
    EXPECT_EQ(output.status, 0) << c.line << ": " << output.err;
    EXPECT_EQ(output.out, c.out) << c.line;
    EXPECT_EQ(output.err, "") << c.line;
  }
}

TEST(CommandLine, WhatCannotBeDoneIsASentenceAndOne) {
  constexpr char kLines[] =
      ",nosuch,--nosuch,help nosuch,--config-root,--config-root=,pack,pack get x 0 00,pack get 1 0 0,csum 0 0,"
      "csum 0 0 1 0,name set 0 5,df make /nonexistent/x.dat --body F0F7,df dump /nonexistent/x.dat,"
      "compile /nonexistent,run /nonexistent,module,module build /nonexistent /nonexistent/x.pvz,receive dx7,"
      "receive dx7 voice out --frob 1,receive dx7 voice out --device 500,receive dx7 voice out --state x,send,"
      "send x --in,rename x,export x y.wav,ports x,demo x";
  for (const std::string& line : SplitText(kLines, ',')) {
    const CliOutput output = RunCli(Words(line));
    EXPECT_EQ(output.status, 1) << line;
    EXPECT_EQ(output.out, "") << line;
    EXPECT_NE(output.err, "") << line;
    EXPECT_EQ(output.err.empty() ? '\n' : output.err.back(), '\n') << line;
  }
}

// What could be read is printed all the same.
TEST(CommandLine, FaultsOfScriptsAreNamed) {
  const struct {
    const char *line, *input;
    int status;
    const char *out, *err;
  } cases[] = {
      {"compile --lint -", "END", 0, "07 1F FF\n", "1:1: unknown word"},
      {"compile -", "A\nT", 1, "", "Error at Line 2, Character 2\nError #0: \n"},
      {"compile --capacity 1 -", "A", 1, "", "Error at Line 2, Character 1\nError #2: Unknown Character\n"},
      {"compile", "", 1, "", "compile needs a file"},
      {"compile --frob -", "", 1, "", "compile does not know"},
      {"list -", "09 0D FF", 1, "A \r\n",
       "Error Uncompiling Control String\nError: \nNo complete statement at byte 1 (0D)"},
      {"list -", "09", 1, "A \r\n", "Error Uncompiling Control String\nError: \nThe code ends without"},
      {"list -", "", 1, "\n", "Error Uncompiling Control String"},
  };
  for (const auto& c : cases) {
    const CliOutput output = RunCli(Words(c.line), c.input);
    EXPECT_EQ(output.status, c.status) << c.input;
    EXPECT_EQ(output.out, c.out) << c.input;
    EXPECT_NE(output.err.find(c.err), std::string::npos) << output.err;
  }
}

TEST(CommandLine, HelpForEveryCommand) {
  const CliOutput overview = RunCli({"--help"});
  EXPECT_EQ(overview.status, 0);
  EXPECT_EQ(RunCli({"help"}).out, overview.out);
  for (const CliCommand& command : CliCommands()) {
    EXPECT_NE(overview.out.find("\n  " + std::string(command.name) + " "), std::string::npos) << command.name;
    const CliOutput help = RunCli({command.name, "--help"});
    EXPECT_EQ(help.status, 0) << command.name;
    EXPECT_NE(help.out.find("\n  tonalith-cli "), std::string::npos) << command.name << " has no example";
    EXPECT_NE(help.out.find(std::string("\n") + command.name + " "), std::string::npos) << command.name;
    EXPECT_EQ(RunCli({"help", command.name}).out, help.out);
    EXPECT_EQ(help.err, "");
    std::string all = help.out + overview.out;
    // A word of a command explains itself, and no other one.
    const std::vector<std::string> verbs = CliVerbs(command);
    for (const std::string& verb : verbs) {
      const CliOutput one = RunCli({command.name, verb, "--help"});
      EXPECT_EQ(one.status, 0) << command.name << " " << verb << one.err;
      EXPECT_EQ(RunCli({"help", command.name, verb}).out, one.out);
      EXPECT_EQ(RunCli({command.name, verb, "x", "--help"}).out, one.out);
      for (const std::string& other : verbs)
        EXPECT_EQ(one.out.find("\n" + std::string(command.name) + " " + other + " ") != std::string::npos,
                  other == verb)
            << command.name << " " << verb << ": " << one.out;
      all += one.out;
    }
    EXPECT_EQ(RunCli({command.name, "nosuch", "--help"}).status, verbs.empty() ? 0 : 1) << command.name;
    std::istringstream lines(all);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 120U) << line;
  }
  // What the run of a command says it knows, its help has.
  EXPECT_EQ(CliVerbs(*FindCliCommand("module")),
            (std::vector<std::string>{"build", "manifest", "words", "list", "install", "server", "new", "check",
                                      "table", "text", "simulator"}));
  EXPECT_EQ(RunCli({"--version"}).out, "tonalith-cli " TONALITH_VERSION "\n");
}

TEST(CommandLine, DataFilesComeBackByteForByte) {
  const CliHome& home = CliHome::Instance();
  const std::string a = home.Path("made.dat"), b = home.Path("again.dat");
  const CliOutput made = home.Run({"df", "make", "--descriptor", "shortName=Test", "--descriptor",
                                   "manufacturerId=0x7D", "--body", "F0 7D 00 01 F7 00", a});
  ASSERT_EQ(made.status, 0) << made.err;
  ASSERT_EQ(home.Run({"df", "roundtrip", a, b}).status, 0);
  EXPECT_EQ(ReadFileText(a), ReadFileText(b));
  EXPECT_NE(home.Run({"df", "dump", a}).out.find("000000  F0 7D 00 01 F7 00\n"), std::string::npos);
}

// Without a place for the lock nothing is recorded or installed, and each is said once.
TEST(CommandLine, WhatCannotBeLockedIsNotDone) {
  const CliHome& home = CliHome::Instance();
  const std::filesystem::path root = home.Path("unlocked");
  std::filesystem::create_directories(root / "elsewhere");
  std::filesystem::create_symlink("elsewhere", root / "run");
  const CliOutput output = RunCli({"--config-root", root.string(), "ports"});
  EXPECT_EQ(output.status, 0);
  const std::string said = "tonalith-cli: The folders in use could not be recorded. Cannot use the folder " +
                           (root / "run").string() + ": it is a link or a file.\n";
  EXPECT_EQ(output.err.substr(0, said.size()), said);
  EXPECT_EQ(output.err.find("recorded", said.size()), std::string::npos) << output.err;
  const CliOutput studio = RunCli({"--config-root", root.string(), "studio", "list"});
  EXPECT_NE(studio.err.find("The instruments were not brought up to date. Cannot use the folder"), std::string::npos)
      << studio.err;
  EXPECT_EQ(studio.out.find("Yamaha"), std::string::npos) << studio.out;
  EXPECT_TRUE(std::filesystem::is_empty(root / "elsewhere"));
  EXPECT_FALSE(std::filesystem::exists(root / "config/Corvane/Registry.ini"));
}

}  // namespace
}  // namespace tonalith
