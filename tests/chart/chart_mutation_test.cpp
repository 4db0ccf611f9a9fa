// Charts with one mistake in them: the reader names it where it stands.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "chart/module_of_chart.h"

namespace tonalith {

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr int kMutations = 150;  // slow
#else
constexpr int kMutations = 1000;
#endif
constexpr std::string_view kCharacters = "ABEFZaepqz01789 |.,=()[]{}<>-+*#\"?";

// A chart has mistakes of its own, so that what is found in one does not depend on which others there are.
struct Sample {
  std::string name, text;
  std::mt19937 random;
};

std::vector<Sample> Charts() {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(TONALITH_SOURCE_DIR "/instruments"))
    if (entry.path().extension() == ".chart") paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  std::vector<Sample> charts;
  for (const auto& path : paths) {
    std::ifstream in(path, std::ios::binary);
    Sample& chart = charts.emplace_back();
    chart.name = path.filename();
    chart.text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    std::seed_seq seed(chart.name.begin(), chart.name.end());
    chart.random.seed(seed);
  }
  return charts;
}

std::string LineOf(const std::string& text, int line) {
  std::istringstream lines(text);
  std::string one;
  while (line-- > 0) std::getline(lines, one);
  return one;
}

// What a tired author does: a character more, less or another one, two in the wrong order, a word lost, a line lost or
// twice.  The line of the mistake, from 1.
int Mutate(std::string* text, std::mt19937* random) {
  const auto any = [&](std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(*random); };
  const std::size_t at = any(text->size() - 1);
  const int line =
      1 + static_cast<int>(std::count(text->begin(), text->begin() + static_cast<std::ptrdiff_t>(at), '\n'));
  const char letter = kCharacters[any(kCharacters.size())];
  const std::size_t wordEnd = std::min(text->find_first_of(" \n", at), text->size());
  switch (any(5)) {
    case 0:
      text->insert(at, 1, letter);
      break;
    case 1:
      text->erase(at, 1);
      break;
    case 2:
      (*text)[at] = letter;
      break;
    case 3:
      std::swap((*text)[at], (*text)[at + 1]);
      break;
    default:
      text->erase(at, std::max<std::size_t>(1, wordEnd - at));
  }
  return line;
}

}  // namespace

TEST(ChartMutation, MistakesAreNamedWhereTheyStand) {
  std::vector<Sample> charts = Charts();
  ASSERT_FALSE(charts.empty());
  int named = 0, near = 0, first = 0;
  for (int tries = 0; named < kMutations && tries < 20 * kMutations; ++tries) {
    Sample& chart = charts[static_cast<std::size_t>(tries) % charts.size()];
    std::string text = chart.text;
    const int line = Mutate(&text, &chart.random);
    ChartProblems problems("x.chart");
    const Result result = FindChartMistakes(text, &problems);
    ASSERT_EQ(result.ok(), !problems.any()) << text.substr(0, 40) << " line " << line << ": " << result.text;
    if (!problems.any()) continue;
    ++named;
    const auto close = [&](const ChartProblem& problem) { return std::abs(problem.line - line) <= 1; };
    const bool here = std::any_of(problems.all().begin(), problems.all().end(), close);
    near += here;
    first += close(problems.all().front());
    if (!here && std::getenv("TONALITH_SHOW_MISSES"))
      std::cout << chart.name << ":" << line << ": was " << LineOf(chart.text, line) << "\n  is " << LineOf(text, line)
                << "\n  named " << problems.First().text << "\n";
  }
  EXPECT_EQ(named, kMutations);
  RecordProperty("near", near);
  RecordProperty("first", first);
  EXPECT_GE(near * 100, named * 98);
}

}  // namespace tonalith
