#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "cli_test_tools.h"

namespace tonalith {

// Shipped charts with one thing wrong in how they talk: the play says which data type, and what went wrong.
TEST(ModulePlay, NamesWhatGoesWrong) {
  struct Case {
    const char* chart;
    const char* from;
    const char* to;
    const char* said;
  };
  const Case cases[] = {
      {"casio-cz101", "10 patch+32 | answer", "10 20 | answer", "Tone Bank, getting: nothing in the request depends"},
      {"casio-cz101", "size 257 | last F7", "size 258 | last F7", "Tone Bank, getting: "},
      {"roland-jx8p", "01 00 patch 02", "01 00 00 02", "Tone Bank, sending: nothing that is sent says which patch"},
      {"asm-hydrasynth", "6F 57 58 55 39", "6F 57 58 55 38", "Patch, sending: F0 00 20 2B 00 6F 57 58 55 38"},
      {"asm-hydrasynth", "set 2: {b byte} patch", "set 2: {b byte} 05", "Patch Bank A, getting: "},
  };
  const CliHome& home = CliHome::Instance();
  for (const Case& one : cases) {
    std::string text = ReadFileText(std::string(TONALITH_SOURCE_DIR "/instruments/") + one.chart + ".chart");
    const std::size_t at = text.find(one.from);
    ASSERT_NE(at, std::string::npos) << one.from;
    text.replace(at, std::string_view(one.from).size(), one.to);
    WriteFileText(home.Path("wrong.chart"), text);
    const CliOutput checked = home.Run({"module", "check", home.Path("wrong.chart")});
    EXPECT_NE(checked.status, 0) << one.to;
    EXPECT_NE(checked.out.find(one.said), std::string::npos) << one.to << "\n" << checked.out << checked.err;
  }
}

// Messages that leave out a part of their parameter; others of the same data are right.
TEST(ModulePlay, ChangesEveryParameter) {
  const CliHome& home = CliHome::Instance();
  const auto check = [&](const std::string& rows) {
    WriteFileText(home.Path("changes.chart"),
                  "[Orrin Turn]\nmaker = 7D   device = n   drivers = 60210   find = Program\n"
                  "[data Program]  name = none\nrequest = F0 7D 3n 05 11 F7\n"
                  "dump = F0 7D 3n 05 40 (26 nibbles low first) F7\n"
                  "[parameters Program]\nchange = F0 7D 3n 05 41 number value F7\n3 | FINE | 0..99 | | 3\n" +
                      rows + "\n");
    return home.Run({"module", "check", home.Path("changes.chart")});
  };
  struct Case {
    const char *row, *said;
  };
  const Case wrong[] = {{"4 | DEPTH | -128..127 | | 4",
                         "9:5: error: Program, changing \"DEPTH\": F0 7D 30 05 41 04 00 F7 for -128 makes "
                         "byte 4 of the instrument 00, not 80."},
                        {"4 7 | SWITCH | 0..1  change = F0 7D 3n 05 42 offset byte F7",
                         "9:7: error: Program, changing \"SWITCH\": F0 7D 30 05 42 04 00 F7 for 1 makes byte 4 of the "
                         "instrument 00, not 80."}};
  for (const Case& one : wrong) {
    const CliOutput checked = check(one.row);
    EXPECT_NE(checked.status, 0) << one.row;
    EXPECT_NE(checked.out.find(one.said), std::string::npos) << checked.out << checked.err;
    EXPECT_NE(checked.out.find("1 parameter changed, 1 change FAILED"), std::string::npos) << checked.out;
  }
  const CliOutput right = check("4 7 & 6 0-1 | SWITCH | 0..7  change = F0 7D 3n 05 42 offset low high F7");
  EXPECT_EQ(right.status, 0) << right.out << right.err;
  EXPECT_NE(right.out.find(", 2 parameters changed\n"), std::string::npos) << right.out;
}

// As many answers get lost as the chart says; the preferences alone would give up before.
TEST(ModulePlay, TriesAsOftenAsTheChartSays) {
  const CliHome& home = CliHome::Instance();
  const auto check = [&](const std::string& head, const std::string& data) {
    WriteFileText(home.Path("retries.chart"),
                  "[Orrin Deaf]\nmaker = 7D   device = n   drivers = 60200   find = Program   " + head +
                      "\n[data Program Bank]  8 x Program   name = none   " + data +
                      "\nrequest = F0 7D 3n 05 10 pp F7\neach = F0 7D 3n 05 41 pp (26) F7\n"
                      "put = each -> F0 7D 3n 05 23 F7\n"
                      "[data Program]  name = none\nrequest = F0 7D 3n 05 11 F7\ndump = F0 7D 3n 05 40 (26) F7\n");
    return home.Run({"module", "check", home.Path("retries.chart")});
  };
  const CliOutput said = check("retries = 6", "");
  EXPECT_EQ(said.status, 0) << said.out << said.err;
  EXPECT_NE(said.out.find("Program Bank: got, sent, silent, sent without an answer, an answer lost, sent again, "),
            std::string::npos)
      << said.out;
  for (const char* wrong : {"retries = 11", "retries = 0", "retries = often"}) {
    const CliOutput refused = check("", wrong);
    EXPECT_NE(refused.status, 0) << wrong;
    EXPECT_NE((refused.out + refused.err).find("\"retries\" needs a number from 1 to 10"), std::string::npos)
        << refused.out << refused.err;
  }
}

}  // namespace tonalith
