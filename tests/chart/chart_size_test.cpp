// The shipped charts stay short: what is not parameters fits on two pages, a relative on half of one.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "platform/text.h"

namespace tonalith {

namespace {

// Lines by the section they stand in, [parameters] left out: no blank ones, no comments, and no lists, which are the
// texts of parameters.  A relative begins at its [variant NAME] and ends with the file or the next one.
struct Lines {
  std::size_t all = 0;
  std::map<std::string, std::size_t> ofVariant;
};

Lines Count(std::istream& chart) {
  Lines lines;
  std::string line, variant;
  bool parameters = false, list = false;
  while (std::getline(chart, line)) {
    const std::string_view text = TrimmedView(line);
    if (line.starts_with('[')) {
      parameters = line.starts_with("[parameters ");
      if (line.starts_with("[variant ")) variant = line.substr(0, line.find(']'));
    }
    const bool goesOn = line.starts_with("        ") || line.starts_with('\t');
    list = goesOn ? list : line.starts_with("list ");
    if (parameters || list || text.empty() || text.starts_with('#')) continue;
    ++lines.all;
    if (!variant.empty()) ++lines.ofVariant[variant];
  }
  return lines;
}

}  // namespace

TEST(ChartSize, WhatIsNotParametersIsShort) {
  constexpr std::size_t kMostLines = 120, kMostOfRelative = 30;
  std::size_t charts = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TONALITH_SOURCE_DIR "/instruments")) {
    if (entry.path().extension() != ".chart") continue;
    ++charts;
    std::ifstream in(entry.path());
    const Lines lines = Count(in);
    EXPECT_GT(lines.all, 10u) << entry.path();
    EXPECT_LE(lines.all, kMostLines) << entry.path();
    for (const auto& [variant, count] : lines.ofVariant)
      EXPECT_LE(count, kMostOfRelative) << entry.path() << " " << variant;
  }
  EXPECT_GE(charts, 30u);
}

}  // namespace tonalith
