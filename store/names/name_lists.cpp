#include "store/names/name_lists.h"

#include <algorithm>

#include "data/patch_names.h"
#include "data/patch_texts.h"
#include "platform/ini_file.h"
#include "platform/text.h"

namespace tonalith {

namespace {

using TableRow = std::vector<std::string>;

// A page with a table for every bank.
class HtmlPage {
 public:
  explicit HtmlPage(const std::string& title) {
    const std::string shown = EscapeXml(title);
    text_ =
        "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n<title>" + shown + "</title>\n</head>\n<body>\n";
  }
  void Begin(const std::string& heading, const TableRow& head) {
    text_ += "<h2>" + EscapeXml(heading) + "</h2>\n<table>\n";
    Row(head, "th");
  }
  void Row(const TableRow& cells, const char* cell = "td") {
    text_ += "<tr>";
    for (const std::string& text : cells) {
      text_ += std::string("<") + cell + ">";
      text_ += EscapeXml(text) + "</" + cell + ">";
    }
    text_ += "</tr>\n";
  }
  void End() { text_ += "</table>\n"; }
  std::string Text() const { return text_ + "</body>\n</html>\n"; }

 private:
  std::string text_;
};

std::string TitleOf(const BankSelectNames& names) {
  if (names.banks().size() == 1) return names.banks().front().name;
  std::string title;
  for (const std::string& instrument : names.Instruments()) title += (title.empty() ? "" : ", ") + instrument;
  return title;
}

constexpr PatchText kTexts[] = {PatchText::Author,   PatchText::Copyright, PatchText::Song,
                                PatchText::Musician, PatchText::Band,      PatchText::LongName};

TableRow PropertyHead() {
  TableRow head{"Number", "Name", PatchTextLabel(PatchText::Comment), "Keywords"};
  for (const PatchText text : kTexts) head.emplace_back(PatchTextLabel(text));
  return head;
}

std::vector<TableRow> PropertyRows(const DataFile& data) {
  std::vector<TableRow> rows;
  if (data.xtra && data.xtra->hasNoSysEx) return rows;
  const std::uint32_t voices = LayoutOf(data).numVoices;
  for (std::uint32_t slot = 0; slot < voices; ++slot) {
    if (data.synth->isBank && MapBit(data.emptyMap, data.emptyMapSize, slot)) continue;
    const int patch = static_cast<int>(slot);
    TableRow row{ExportLine(MakeNumberStr(*data.synth, patch)), ExportLine(GetPatchName(data, patch)),
                 ExportLine(GetPatchText(data, PatchText::Comment, patch))};
    std::string words;
    for (const std::string& word : GetPatchKeywords(data, patch))
      words += (words.empty() ? "" : ", ") + ExportLine(word);
    row.push_back(std::move(words));
    for (const PatchText text : kTexts) row.push_back(ExportLine(GetPatchText(data, text, patch)));
    rows.push_back(std::move(row));
  }
  return rows;
}

struct PropertyTable {
  const DataFile* of;  // whose title is above it
  std::vector<TableRow> rows;
};

// One for each piece of data, or one for all.
std::vector<PropertyTable> PropertyTables(const std::vector<const DataFile*>& data, bool oneList) {
  std::vector<PropertyTable> tables;
  for (std::size_t place = 0; place < data.size(); ++place) {
    if (!oneList || tables.empty()) tables.push_back({data[place], {}});
    for (TableRow& row : PropertyRows(*data[place])) {
      if (oneList) row.front() = std::to_string(place + 1);
      tables.back().rows.push_back(std::move(row));
    }
  }
  return tables;
}

std::string TitleOf(const DataFile& data) {
  return ExportLine(GetUnitMake(data)) + " " + ExportLine(GetUnitModel(*data.synth));
}

std::string TabbedLine(const TableRow& row) {
  std::string line;
  for (const std::string& cell : row) line += (&cell == &row.front() ? "" : "\t") + cell;
  return line + "\n";
}

}  // namespace

std::string DiskMidiBankNames(const BankSelectNames& names) {
  std::string text;
  for (const NameBank& bank : names.banks())
    for (const NamedPatch& patch : bank.patches) text += patch.name + "\n";
  return text;
}

std::string DiskMidiWriteAscii(const BankSelectNames& names) {
  std::string text;
  for (const NameBank& bank : names.banks()) {
    if (!text.empty()) text += "\n";
    if (names.banks().size() > 1) text += bank.name + "\n";
    for (const NamedPatch& patch : bank.patches) text += patch.number + "\t" + patch.name + "\n";
  }
  return text;
}

std::string DiskMidiBankNamesHTML(const BankSelectNames& names) {
  HtmlPage page(TitleOf(names));
  for (const NameBank& bank : names.banks()) {
    page.Begin(bank.name, {"Number", "Name"});
    for (const NamedPatch& patch : bank.patches) page.Row({patch.number, patch.name});
    page.End();
  }
  return page.Text();
}

std::string DiskMidiTonalithBankNames(const BankSelectNames& names) {
  IniFile ini;
  int number = 0;
  for (const NameBank& bank : names.banks()) {
    const std::string section = ++number == 1 ? "Bank" : "Bank " + std::to_string(number);
    ini.SetInt(section, "Count", static_cast<long long>(bank.patches.size()));
    for (const NamedPatch& patch : bank.patches) ini.Set(section, std::to_string(patch.program), patch.name);
  }
  return ini.ToBytes();
}

std::string DiskMidiBankNamesAndProperties(const std::vector<const DataFile*>& data, bool oneList) {
  std::string text;
  const std::vector<PropertyTable> tables = PropertyTables(data, oneList);
  for (const PropertyTable& table : tables) {
    if (!text.empty()) text += "\n";
    if (tables.size() > 1) text += TitleOf(*table.of) + "\n";
    text += TabbedLine(PropertyHead());
    for (const TableRow& row : table.rows) text += TabbedLine(row);
  }
  return text;
}

std::string DiskMidiBankNamesAndPropertiesHTML(const std::vector<const DataFile*>& data, bool oneList) {
  HtmlPage page(data.empty() ? std::string() : TitleOf(*data.front()));
  for (const PropertyTable& table : PropertyTables(data, oneList)) {
    page.Begin(TitleOf(*table.of), PropertyHead());
    for (const TableRow& row : table.rows) page.Row(row);
    page.End();
  }
  return page.Text();
}

}  // namespace tonalith
