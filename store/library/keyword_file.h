#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// Puts a keyword into the first free of the eight slots.  1: it did; 0: it is there already (in any ASCII case, as far
// as a slot holds it), there is no room, or it is empty.
int AddKeyToDataFile(DataFile* data, std::string_view key);

// The user's keywords by categories, and the rules that find keywords in names ("ZKKeys.ini").
class KeywordFile {
 public:
  struct Category {
    std::string name;
    std::vector<std::string> keys;
  };
  struct Rule {
    std::string keyword;
    std::string text;  // in a name; or the path of a MIDI file
  };

  KeywordFile() = default;
  explicit KeywordFile(const std::string& path);
  // The first "ZKKeys.ini" in these folders, else one without keywords.
  static KeywordFile In(std::span<const std::string> folders);

  const std::string& path() const { return path_; }
  // All texts are Latin-1.
  const std::vector<Category>& categories() const { return categories_; }
  const std::vector<Rule>& rules() const { return rules_; }

  // Gives the data the keywords that its name stands for: those of every category but "Rating" that the name has in it,
  // then those of the rules whose text it has, in any ASCII case.  How many were new.
  int ZKLibAnalyseName(DataFile* data, std::string_view name) const;
  // The MIDI file of the first sequence whose keyword the data has.  False: there is none.
  bool ZKLibFindSequence(const DataFile& data, std::string* path) const;

 private:
  std::string path_;
  std::vector<Category> categories_;
  std::vector<Rule> rules_, sequences_;
  std::vector<Rule> inNames_;  // what is looked for in names, in capitals
};

}  // namespace tonalith
