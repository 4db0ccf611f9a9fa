#include "catalogue/patch_block.h"

#include <algorithm>
#include <cstring>

namespace tonalith {

namespace {

constexpr char kLineEnd = '\n', kBetweenTexts = '\x1F';

// One of the numbers that stand in a row, lowest byte first.
template <typename Number>
void AppendNumber(std::string* row, Number number) {
  for (std::size_t i = 0; i < sizeof number; ++i) *row += static_cast<char>(number >> (8 * i) & 0xFF);
}

template <typename Number>
Number NumberAt(std::string_view row, std::size_t place) {
  Number number = 0;
  if ((place + 1) * sizeof number > row.size()) return 0;
  for (std::size_t i = sizeof number; i-- > 0;)
    number = static_cast<Number>(number << 8 | static_cast<unsigned char>(row[place * sizeof number + i]));
  return number;
}

void AppendText(std::string* line, std::string_view text) {
  const std::size_t at = line->size();
  *line += text;
  for (std::size_t i = at; i < line->size(); ++i)
    if (static_cast<unsigned char>((*line)[i]) < ' ') (*line)[i] = ' ';
}

std::string_view TakeUpTo(std::string_view* text, char end) {
  const std::size_t at = text->find(end);
  const std::string_view taken = text->substr(0, at);
  text->remove_prefix(at == std::string_view::npos ? text->size() : at + 1);
  return taken;
}

}  // namespace

void PatchBlock::Add(std::uint32_t slot, std::string_view label, const PatchTexts& patch, std::uint32_t date,
                     std::uint64_t print) {
  if (count == 0) first = slot;
  const std::uint32_t place = count++;
  AppendText(&texts, patch.name);
  if (!patch.keywords.empty() || !patch.comment.empty() || !patch.tags.empty())
    for (const std::string_view text : {patch.keywords, patch.comment, patch.tags}) {
      texts += kBetweenTexts;
      AppendText(&texts, text);
    }
  texts += kLineEnd;
  AppendText(&labels, label);
  labels += kLineEnd;
  // Numbers of those before, which had nothing to say.
  if (slots.empty() && slot != first + place)
    for (std::uint32_t i = 0; i < place; ++i) AppendNumber(&slots, i);
  if (!slots.empty()) AppendNumber(&slots, slot - first);
  if (dates.empty() && date != 0) dates.assign(place * sizeof date, '\0');
  if (!dates.empty() || date != 0) AppendNumber(&dates, date);
  AppendNumber(&prints, print);
}

void PatchBlock::Clear() {
  first = count = 0;
  for (std::string* part : {&texts, &labels, &slots, &dates, &prints}) part->clear();
}

bool PatchBlockReader::Next(PatchRow* row) {
  if (texts_.empty()) return false;
  std::string_view line = TakeUpTo(&texts_, kLineEnd);
  row->all = line;
  row->texts.name = TakeUpTo(&line, kBetweenTexts);
  row->texts.keywords = TakeUpTo(&line, kBetweenTexts);
  row->texts.comment = TakeUpTo(&line, kBetweenTexts);
  row->texts.tags = line;
  row->label = TakeUpTo(&labels_, kLineEnd);
  const auto place = static_cast<std::uint32_t>(place_);
  row->slot = slot_ + (slots_.empty() ? place : NumberAt<std::uint32_t>(slots_, place_));
  row->date = NumberAt<std::uint32_t>(dates_, place_);
  ++place_;
  return true;
}

std::uint64_t PrintAt(std::string_view prints, std::size_t place) {
  return NumberAt<std::uint64_t>(prints, place);
}

}  // namespace tonalith
