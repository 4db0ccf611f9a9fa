#include "chart/chart_reference.h"

#include "chart/chart_keys.h"
#include "chart/message.h"
#include "platform/text.h"
#include "studio/coded_words.h"

namespace tonalith {

namespace {

// A '|' in a table of the page.
std::string Cell(std::string_view text) {
  return ReplaceAll(text, "|", "\\|");
}

std::string Keys(std::string_view section, const std::string& title) {
  std::string text = "### " + title + "\n\n| Key | Value | Meaning | Example |\n|---|---|---|---|\n";
  for (const ChartKey& key : ChartKeys())
    if (section == key.section)
      text += "| `" + Cell(ReplaceAll(key.key, "*", "NAME")) + "` | " + Cell(key.form) + " | " + Cell(key.meaning) +
              " | `" + Cell(key.example) + "` |\n";
  return text + "\n";
}

std::string Items() {
  std::string text = "### Items of a message\n\n| Item | Meaning | Example |\n|---|---|---|\n";
  for (const ChartItemForm& form : ChartItemForms())
    text += "| `" + Cell(form.item) + "` | " + Cell(form.meaning) + " | `" + Cell(form.example) + "` |\n";
  return text + "\n";
}

std::string Words(const char* field, const std::string& title, const std::string& example) {
  std::string text = "### " + title + "\n\nFor example `" + Cell(example) + "`.\n\n| Word | Meaning |\n|---|---|\n";
  for (const CodedWord& word : FindCodedTable(field)->words)
    text += "| `" + Cell(word.word) + "` | " + Cell(word.meaning) + " |\n";
  return text + "\n";
}

}  // namespace

std::string ChartReference() {
  return Keys("instrument", "The first section") + Keys("data", "[data NAME]") +
         Keys("both", "In the first section for all data, in [data] for this one") +
         Keys("flag", "Words that stand alone") + Items() +
         Words("checksumType", "Checksums", "sum = negative sum, and in a message sum:exclusive-or") +
         Words("storageFormat", "Packings", "(134 nibbles low first)") +
         Words("nameFormat", "Name codes", "name = 0 8 capitals from 0") +
         Words("numberFormat", "Ways of numbering, found by their first and last number", "numbers = A11..A88") +
         Words("dataKind", "Kinds of data", "is = multi bank") +
         Words("bankSelectMode", "Bank selects", "bank select = msb and lsb, 80") +
         Words("InstrumentIcon", "Icons", "icon = keyboard");
}

}  // namespace tonalith
