// No file reaches itself through what it includes.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "tests/house/sources.h"

namespace tonalith::house {

namespace {

using Graph = std::map<std::string, std::set<std::string>>;

std::set<std::string> Reached(const Graph& graph, const std::string& from) {
  std::set<std::string> seen;
  std::vector<std::string> open{from};
  while (!open.empty()) {
    const std::string at = open.back();
    open.pop_back();
    const auto next = graph.find(at);
    if (next == graph.end()) continue;
    for (const std::string& target : next->second)
      if (seen.insert(target).second) open.push_back(target);
  }
  return seen;
}

std::string Joined(const std::set<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::vector<std::string> CyclesOf(const Graph& graph) {
  std::vector<std::string> cycles;
  std::set<std::string> told;
  for (const auto& [name, targets] : graph) {
    if (told.count(name)) continue;
    std::set<std::string> circle;
    const std::set<std::string> reached = Reached(graph, name);
    if (!reached.count(name)) continue;
    for (const std::string& other : reached)
      if (other == name || Reached(graph, other).count(name)) circle.insert(other);
    told.insert(circle.begin(), circle.end());
    cycles.push_back(Joined(circle));
  }
  return cycles;
}

std::string UnitOf(const std::string& path) {
  return path.substr(0, path.rfind('.'));
}

}  // namespace

TEST(Cycles, NoneBetweenHeaders) {
  Graph graph;
  for (const SourceFile& file : SourcesOf(Rooms()))
    for (const Include& include : IncludesOf(file))
      if (file.IsHeader() && include.quoted) graph[file.path].insert(include.target);
  EXPECT_EQ(CyclesOf(graph), std::vector<std::string>());
}

// A header and its implementation are one unit.  An implementation may know what is built on its header (a function
// that makes the right one of several derived classes does); otherwise units do not know each other.
TEST(Cycles, NoneBetweenUnits) {
  Graph headers, units;
  const std::vector<SourceFile> files = SourcesOf(Rooms());
  for (const SourceFile& file : files)
    for (const Include& include : IncludesOf(file))
      if (file.IsHeader() && include.quoted) headers[file.Unit()].insert(UnitOf(include.target));
  for (const SourceFile& file : files)
    for (const Include& include : IncludesOf(file)) {
      const std::string target = UnitOf(include.target);
      if (!include.quoted || target == file.Unit()) continue;
      if (file.IsHeader() || !Reached(headers, target).count(file.Unit())) units[file.Unit()].insert(target);
    }
  EXPECT_EQ(CyclesOf(units), std::vector<std::string>());
}

TEST(Cycles, NoneBetweenFolders) {
  Graph folders;
  for (const SourceFile& file : SourcesOf(Rooms()))
    for (const Include& include : IncludesOf(file)) {
      const std::string from = file.path.substr(0, file.path.rfind('/'));
      const std::string to = include.target.substr(0, include.target.rfind('/'));
      if (include.quoted && from != to) folders[from].insert(to);
    }
  EXPECT_EQ(CyclesOf(folders), std::vector<std::string>());
}

}  // namespace tonalith::house
