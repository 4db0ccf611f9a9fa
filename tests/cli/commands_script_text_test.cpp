#include "cli/commands_script_text.h"

#include <gtest/gtest.h>

#include <sstream>

namespace tonalith {
namespace {

struct ScriptTextCase {
  bool compile;
  std::vector<std::string> args;
  std::string input;
  int status;
  std::string out;
  std::string err;  // beginning
};

TEST(ScriptTextCommands, CompileAndList) {
  const std::string binary("\x08\0\0\0\x01\xF7\xFF", 7);
  const ScriptTextCase cases[] = {
      {true, {"-"}, "S 3 { F0 7E F7 }\n]", 0, "08 00 00 00 03 F0 7E F7 07 FF\n", ""},
      {true, {"-"}, "", 0, "FF\n", ""},
      {true, {"--lint", "-"}, "END", 0, "07 1F FF\n", "1:1: unknown word"},
      {true, {"-"}, "A\nT", 1, "", "Error at Line 2, Character 2\nError #0: \n"},
      {true, {"--capacity", "1", "-"}, "A", 1, "", "Error at Line 2, Character 1\nError #2: Unknown Character\n"},
      {true, {"/nowhere/at/all"}, "", 1, "", "Cannot open"},
      {true, {}, "", 1, "", "compile needs a file"},
      {true, {"--frob", "-"}, "", 1, "", "compile does not know"},
      {false, {"-"}, "08 00 00 00 03 F0 7E F7 07 FF\n", 0, "S 3 { F0 7E F7 } \r\n] \r\n", ""},
      {false, {"-"}, "0900000000 05 ff", 0, "A \r\nT 5 \r\n", ""},
      {false, {"-"}, binary, 0, "S 1 { F7 } \r\n", ""},
      {false, {"-"}, "FF", 0, "\n", ""},
      {false,
       {"-"},
       "09 0D FF",
       1,
       "A \r\n",
       "Error Uncompiling Control String\nError: \nNo complete statement at byte 1 (0D)"},
      {false, {"-"}, "09", 1, "A \r\n", "Error Uncompiling Control String\nError: \nThe code ends without"},
      {false, {"-"}, "", 1, "\n", "Error Uncompiling Control String"},
  };
  for (const ScriptTextCase& c : cases) {
    std::istringstream in(c.input);
    std::ostringstream out, err;
    EXPECT_EQ((c.compile ? RunCompile : RunList)(c.args, in, out, err), c.status) << c.input;
    EXPECT_EQ(out.str(), c.out) << c.input;
    EXPECT_EQ(err.str().substr(0, c.err.size()), c.err) << c.input;
    EXPECT_EQ(err.str().empty(), c.err.empty()) << err.str();
  }
}

}  // namespace
}  // namespace tonalith
