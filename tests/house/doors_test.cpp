// Doors that everything takes: text for the terminal.

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "tests/house/sources.h"

namespace tonalith::house {
namespace {

struct Door {
  const char* file;  // where it may stand
  const char* what;  // regular expression
  const char* instead;
};

void ExpectOnlyDoors(const std::vector<std::string>& folders, const std::vector<Door>& doors) {
  for (const SourceFile& file : SourcesOf(folders)) {
    const std::string code = CodeOf(file.path);
    for (const Door& door : doors) {
      if (file.path == door.file) continue;
      for (const std::string& found : Matches(code, {}, std::regex(door.what), file.path))
        ADD_FAILURE() << found << " : use " << door.instead;
    }
  }
}

TEST(House, TerminalHasOneDoor) {
  constexpr char kDoor[] = "TerminalText or WriteErrorLine of platform/terminal_text.h";
  ExpectOnlyDoors(Rooms(),
                  {{"platform/terminal_text.cpp", "\\b(stdout|stderr)\\b", kDoor},
                   {"cli/main.cpp", "\\bstd::(cout|cerr)\\b(?!\\))", kDoor},  // TerminalText(std::cout) is fine
                   {"", "\\bstd::(clog|wcout|wcerr)\\b", kDoor},
                   {"", "\\b(std::)?(printf|puts|putchar|perror|wprintf)\\(", kDoor},
                   {"", "\\b(qDebug|qInfo|qWarning|qCritical)\\(", kDoor}});
  // The streams of a command are behind the door already.
  ExpectOnlyDoors({"cli"}, {{"", "\\bstd::ostream\\b", kDoor}});
}

}  // namespace
}  // namespace tonalith::house
