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

}  // namespace tonalith
