// The page that tells a newcomer where to change what keeps its word.

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

#include "tests/house/sources.h"

namespace tonalith::house {

TEST(Where, EveryPlaceIsThere) {
  std::istringstream page(TextOf("docs/where.md"));
  const std::regex row("\\| ([^|]+) \\| `([^`]+)` \\| `([^`]+)` \\|.*");
  std::set<std::string> things, places;
  for (std::string line; std::getline(page, line);) {
    std::smatch found;
    if (!std::regex_match(line, found, row)) continue;
    const std::string thing = found[1], file = found[2], symbol = found[3];
    EXPECT_TRUE(things.insert(thing).second && places.insert(file).second) << thing << ": there is more than one place";
    EXPECT_NE(TextOf(file).find(symbol), std::string::npos) << thing << ": no " << symbol << " in " << file;
  }
  EXPECT_EQ(things.size(), 10u);
  EXPECT_NE(TextOf("docs/index.md").find("(where.md)"), std::string::npos);
}

}  // namespace tonalith::house
