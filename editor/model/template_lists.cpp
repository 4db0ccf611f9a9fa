// The compiled lists of a template: numbers low byte first.

#include <algorithm>
#include <string_view>

#include "editor/model/template_file.h"

namespace tonalith {

namespace {

constexpr std::string_view kMagic = "PVZKCINI";
constexpr std::uint8_t kEnd = 0, kTexts = 1, kTable = 2;
constexpr std::size_t kLongestText = 255;
constexpr std::uint32_t kNegative = 0x80000000u;

class Lists {
 public:
  explicit Lists(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool Byte(std::uint8_t* value) {
    if (bytes_.empty()) return false;
    *value = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return true;
  }
  bool Number(std::uint32_t* value) {
    *value = 0;
    for (int shift = 0; shift < 32; shift += 8) {
      std::uint8_t byte = 0;
      if (!Byte(&byte)) return false;
      *value |= std::uint32_t{byte} << shift;
    }
    return true;
  }
  bool Text(std::string* text) {
    std::uint8_t length = 0;
    if (!Byte(&length) || length > bytes_.size()) return false;
    text->assign(bytes_.begin(), bytes_.begin() + length);
    bytes_ = bytes_.subspan(length);
    return true;
  }
  std::size_t left() const { return bytes_.size(); }

 private:
  std::span<const std::uint8_t> bytes_;
};

bool ReadTexts(Lists* in, TemplateLists* lists) {
  std::uint32_t number = 0, count = 0;
  if (!in->Number(&number) || !in->Number(&count) || number >= kNegative || count > in->left()) return false;
  std::vector<std::string> texts(count);
  for (std::string& text : texts)
    if (!in->Text(&text)) return false;
  lists->texts[number] = std::move(texts);
  return true;
}

bool ReadTable(Lists* in, TemplateLists* lists) {
  std::uint32_t number = 0, count = 0;
  TemplateLists::Table table;
  if (!in->Number(&number) || !in->Number(&table.word) || !in->Number(&count)) return false;
  if (number >= kNegative || count > in->left() / 4) return false;
  table.entries.resize(count);
  for (std::uint32_t& entry : table.entries) in->Number(&entry);
  lists->tables[number] = std::move(table);
  return true;
}

}  // namespace

TemplateLists ReadTemplateLists(std::span<const std::uint8_t> bytes) {
  TemplateLists lists;
  if (bytes.size() < kMagic.size() || !std::equal(kMagic.begin(), kMagic.end(), bytes.begin())) return lists;
  Lists in(bytes.subspan(kMagic.size()));
  for (std::uint8_t type = kEnd; in.Byte(&type) && type != kEnd;) {
    const bool read = type == kTexts ? ReadTexts(&in, &lists) : type == kTable && ReadTable(&in, &lists);
    if (!read) break;
  }
  return lists;
}

std::vector<std::uint8_t> WriteTemplateLists(const TemplateLists& lists) {
  std::vector<std::uint8_t> out(kMagic.begin(), kMagic.end());
  const auto number = [&](std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<std::uint8_t>(value >> shift));
  };
  for (const auto& [list, texts] : lists.texts) {
    out.push_back(kTexts);
    number(list);
    number(static_cast<std::uint32_t>(texts.size()));
    for (const std::string& text : texts) {
      const std::size_t size = std::min(text.size(), kLongestText);
      out.push_back(static_cast<std::uint8_t>(size));
      out.insert(out.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size));
    }
  }
  for (const auto& [list, table] : lists.tables) {
    out.push_back(kTable);
    number(list);
    number(table.word);
    number(static_cast<std::uint32_t>(table.entries.size()));
    for (const std::uint32_t entry : table.entries) number(entry);
  }
  out.push_back(kEnd);
  return out;
}

}  // namespace tonalith
