// The house rules that a compiler does not check: which room may include which, and that no room reaches itself.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/house/sources.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

// Rooms from the bottom up.  A room may include itself and what is listed for it.
const std::map<std::string, std::set<std::string>> kArrows = {
    {"platform", {}},
    {"data", {"platform"}},
    {"parameters", {"platform", "data"}},
    {"midi", {"platform", "data"}},
    {"script", {"platform", "data", "midi"}},
    {"services", {"platform", "data", "midi", "script"}},
    {"document", {"platform", "data", "midi", "script", "services"}},
    {"simulator", {"platform", "data", "midi"}},
    {"studio", {"platform", "data", "parameters", "midi", "script", "services", "document"}},
    {"chart", {"platform", "data", "parameters", "midi", "script", "services", "document", "studio", "editor"}},
    {"store", {"platform", "data", "parameters", "midi", "script", "services", "document", "studio"}},
    {"catalogue", {"platform", "data", "parameters", "script", "services", "document", "studio", "store"}},
    {"bank", {"platform", "data", "parameters", "midi", "script", "services", "document", "studio", "store"}},
    {"editor", {"platform", "data", "parameters", "midi", "script", "services", "document", "studio", "bank", "store"}},
    {"tools",
     {"platform", "data", "parameters", "midi", "script", "services", "document", "studio", "bank", "store", "editor"}},
    {"sets", {"platform", "data", "midi", "script", "services", "document", "studio", "bank", "store", "ui"}},
    {"library", {"platform", "data", "midi", "script", "services", "document", "studio", "store", "ui"}},
    {"collection",
     {"platform", "data", "midi", "script", "services", "document", "studio", "bank", "store", "sets", "ui"}},
    {"ui", {"platform", "data", "midi", "script", "services", "document"}},
    {"cli",
     {"platform", "data", "parameters", "midi", "script", "services", "document", "studio", "chart", "store", "bank",
      "catalogue", "collection", "tools", "simulator"}},
    {"app",
     {"platform", "data", "midi", "script", "services", "document", "studio", "bank", "store", "editor", "tools", "ui",
      "simulator", "sets", "library", "collection"}},
};
const std::set<std::string> kWithoutQt = {"platform", "data",      "parameters", "midi", "script",   "services",
                                          "document", "simulator", "chart",      "cli",  "catalogue"};

bool IsWindowFolder(const std::string& path) {
  return path.find("/ui/") != std::string::npos;
}

struct RoomInclude {
  std::string file;
  std::string target;
  bool quoted;
};

std::vector<RoomInclude> IncludesOfRoom(const std::string& room) {
  std::vector<RoomInclude> includes;
  for (const house::SourceFile& file : house::SourcesOf({room}))
    for (const house::Include& include : house::IncludesOf(file))
      includes.push_back({file.path, include.target, include.quoted});
  return includes;
}

}  // namespace

TEST(House, WhatWindowsAreMadeOfKnowsNoWindow) {
  for (const auto& include : IncludesOfRoom("ui/style")) {
    if (!include.quoted) continue;
    EXPECT_TRUE(include.target.starts_with("ui/style/") || include.target.starts_with("platform/"))
        << include.file << " includes " << include.target;
  }
}

TEST(House, EveryIncludeFollowsAnArrow) {
  for (const auto& [room, allowed] : kArrows) {
    for (const auto& include : IncludesOfRoom(room)) {
      if (!include.quoted) continue;
      const std::string target = include.target.substr(0, include.target.find('/'));
      if (!kArrows.count(target)) continue;
      const bool windows = IsWindowFolder("/" + include.file);
      const bool fine =
          target == room || allowed.count(target) || (windows && (target == "ui" || allowed.count(target)));
      EXPECT_TRUE(fine) << include.file << " includes " << include.target;
      if (!windows && room != "app" && room != "ui") {
        EXPECT_FALSE(IsWindowFolder(include.target)) << include.file << " includes a window: " << include.target;
      }
    }
  }
}

TEST(House, LowerRoomsKnowNoQtAndDocumentsKnowNoWidgets) {
  const std::set<std::string> core = {"QObject", "QString",  "QTimer",   "QByteArray",
                                      "QVector", "QPointer", "QVariant", "QCoreApplication"};
  for (const auto& [room, allowed] : kArrows) {
    for (const auto& include : IncludesOfRoom(room)) {
      const bool qt = include.target.size() > 1 && include.target[0] == 'Q' &&
                      std::isupper(static_cast<unsigned char>(include.target[1]));
      if (!qt || room == "ui" || room == "app" || IsWindowFolder("/" + include.file)) continue;
      EXPECT_FALSE(kWithoutQt.count(room)) << include.file << " includes " << include.target;
      EXPECT_TRUE(core.count(include.target)) << include.file << " includes " << include.target;
    }
  }
}

TEST(House, TheLinkGraphHasNoCycleAndMatchesTheArrows) {
  std::ifstream file(fs::path(TONALITH_SOURCE_DIR) / "CMakeLists.txt");
  std::set<std::string> seen;
  for (std::string line; std::getline(file, line);) {
    const auto start = line.find("tonalith_room(");
    if (start == std::string::npos) continue;
    const auto nameEnd = line.find_first_of(" )", start + 14);
    const std::string name = line.substr(start + 14, nameEnd - start - 14);
    const auto uses = line.find("USES ");
    if (uses != std::string::npos) {
      std::string word;
      for (std::size_t i = uses + 5; i <= line.size(); ++i) {
        if (i < line.size() && line[i] != ' ' && line[i] != ')') {
          word += line[i];
          continue;
        }
        if (word == "EXTRA_DIRS" || word == "LINK" || word == "QT") break;
        if (!word.empty()) {
          EXPECT_TRUE(seen.count(word)) << name << " uses " << word << ", which stands above it";
          if (kArrows.count(name) && kArrows.count(word)) {
            EXPECT_TRUE(kArrows.at(name).count(word)) << name << " uses " << word;
          }
        }
        word.clear();
      }
    }
    seen.insert(name);
  }
  EXPECT_GE(seen.size(), 8U);
}

}  // namespace tonalith
