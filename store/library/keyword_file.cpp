#include "store/library/keyword_file.h"

#include <algorithm>
#include <optional>

#include "data/patch_texts.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "store/library/library_columns.h"

namespace tonalith {

namespace {

constexpr int kMostRows = 10000;
constexpr char kFile[] = "ZKKeys.ini";

// "keyword,text" entries; those without one of them are none.
std::vector<KeywordFile::Rule> ReadRules(const IniFile& ini, const std::string& section) {
  std::vector<KeywordFile::Rule> rules;
  const int count = std::min(ini.GetInt(section, "Count"), kMostRows);
  for (int i = 0; i < count; ++i) {
    const std::string entry = Utf8ToLatin1(ini.GetString(section, std::to_string(i)));
    const std::size_t comma = entry.find(',');
    if (comma == std::string::npos) continue;
    KeywordFile::Rule rule{std::string(TrimmedView(entry.substr(0, comma))),
                           std::string(TrimmedView(entry.substr(comma + 1)))};
    if (!rule.keyword.empty() && !rule.text.empty()) rules.push_back(std::move(rule));
  }
  return rules;
}

std::vector<std::string> ReadKeys(const IniFile& ini, const std::string& section) {
  std::vector<std::string> keys;
  const int count = std::min(ini.GetInt(section, "Number"), kMostRows);
  for (int i = 0; i < count; ++i) {
    std::string key = Utf8ToLatin1(ini.GetString(section, "Key" + std::to_string(i)));
    if (!key.empty()) keys.push_back(std::move(key));
  }
  return keys;
}

}  // namespace

int AddKeyToDataFile(DataFile* data, std::string_view key) {
  const std::string word(key.substr(0, kKeywordSize - 1));
  if (word.empty()) return 0;
  std::optional<int> room;
  for (int slot = kKeywordSlots - 1; slot >= 0; --slot) {
    const std::string there = EntryText(*data, KeywordColumn(slot));
    if (AsciiEqualNoCase(there, word)) return 0;
    if (there.empty()) room = slot;
  }
  return room && SetEntryText(data, KeywordColumn(*room), word) ? 1 : 0;
}

KeywordFile::KeywordFile(const std::string& path) : path_(path) {
  const IniFile ini(path);
  const int count = std::min(ini.GetInt("Categories", "Number"), kMostRows);
  for (int i = 0; i < count; ++i) {
    const std::string name = ini.GetString("Categories", "Cat" + std::to_string(i));
    if (!name.empty()) categories_.push_back({Utf8ToLatin1(name), ReadKeys(ini, name)});
  }
  rules_ = ReadRules(ini, "Auto Key List");
  sequences_ = ReadRules(ini, "Seq List");
  for (const Category& category : categories_) {
    if (AsciiEqualNoCase(category.name, "Rating")) continue;
    for (const std::string& key : category.keys) inNames_.push_back({key, AsciiUpper(key)});
  }
  for (const Rule& rule : rules_) inNames_.push_back({rule.keyword, AsciiUpper(rule.text)});
}

KeywordFile KeywordFile::In(std::span<const std::string> folders) {
  for (const std::string& folder : folders)
    if (!folder.empty() && FileExists(JoinPath(folder, kFile))) return KeywordFile(JoinPath(folder, kFile));
  return {};
}

int KeywordFile::ZKLibAnalyseName(DataFile* data, std::string_view name) const {
  const std::string upper = AsciiUpper(name);
  int added = 0;
  for (const Rule& rule : inNames_)
    if (upper.find(rule.text) != std::string::npos) added += AddKeyToDataFile(data, rule.keyword);
  return added;
}

bool KeywordFile::ZKLibFindSequence(const DataFile& data, std::string* path) const {
  const std::vector<std::string> words = GetPatchKeywords(data, 0);
  for (const Rule& sequence : sequences_) {
    const std::string key = sequence.keyword.substr(0, kKeywordSize - 1);
    if (std::none_of(words.begin(), words.end(), [&](const std::string& word) { return AsciiEqualNoCase(word, key); }))
      continue;
    *path = Latin1ToUtf8(sequence.text);
    return true;
  }
  return false;
}

}  // namespace tonalith
