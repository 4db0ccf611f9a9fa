#include "chart/inner_sum.h"

#include <vector>

#include "chart/instrument.h"
#include "platform/text.h"

namespace tonalith {

std::optional<ChartInnerSum> ReadInnerSum(const ChartEntry& entry, ChartProblems* problems) {
  std::vector<std::string> words;
  for (const std::string& word : SplitText(entry.value, ' '))
    if (!word.empty()) words.push_back(word);
  // The kind may have digits in its words: the places are the first three numbers that follow each other.
  const auto number = [&](std::size_t i) { return i < words.size() ? ParseInteger(words[i]) : std::nullopt; };
  std::size_t first = 0;
  while (first < words.size() && !(number(first) && number(first + 1) && number(first + 2))) ++first;
  ChartInnerSum sum;
  std::string kind;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool option = i > first && !number(i) && words[i] != "any";
    std::string& text = i < first ? kind : sum.numbers;
    text += (text.empty() ? "" : option ? " | " : " ") + words[i];
    if (!option) continue;
    sum.fixed = sum.fixed && (words[i] == "times" || words[i] == "step") && number(i + 1);
    if (words[i] == "times") sum.times = number(i + 1).value_or(1);
    if (words[i] == "step") sum.step = number(i + 1).value_or(0);
  }
  if (first + 2 >= words.size()) {
    problems->Add(entry.valueAt, entry.value, "the places of the checksum are missing",
                  "inner sum = vector voice 16 574 588");
    return std::nullopt;
  }
  sum.start = number(first).value_or(0);
  sum.count = number(first + 1).value_or(0);
  sum.offset = number(first + 2).value_or(0);
  ChartEntry word = entry;
  word.cell = SplitChartCell(entry.cell.Part(0, kind.size()), '\0').front();
  word.value = word.cell.text;
  const std::size_t known = problems->all().size();
  sum.kind = ChartSumKind(&word, problems);
  if (problems->all().size() != known) return std::nullopt;
  return sum;
}

}  // namespace tonalith
