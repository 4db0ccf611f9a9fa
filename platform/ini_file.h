#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// An INI file with the behaviour of Windows private profiles: section and key names without regard to ASCII case, the
// first section and the first key of a name win, values are trimmed and lose one pair of quotes, a missing value is the
// default.  Lines that start with ';' are comments.
//
// Values are UTF-8 on this side.  A file whose bytes are not valid UTF-8 is read and written as Windows-1252.  Changing
// a value changes its line and nothing else: comments, order, unknown lines, line ends and coding stay as they are.
class IniFile {
 public:
  IniFile() = default;
  // Load(path); a file that cannot be read counts as empty (path() is set all the same).
  explicit IniFile(std::string path);

  static IniFile FromBytes(std::string_view bytes);

  // Replaces the contents.  A missing file is a failure with code kFileMissing; the object is then empty.
  Result Load(const std::string& path);
  // Replaces the file as a whole or not at all; creates its folder when that is missing.  Does nothing when unchanged.
  Result Save();
  Result SaveAs(const std::string& path);
  std::string ToBytes() const;
  const std::string& path() const { return path_; }
  bool Changed() const { return changed_; }

  bool HasSection(std::string_view section) const;
  std::optional<std::string> Find(std::string_view section, std::string_view key) const;
  // The value, or the fallback when there is no such key.
  std::string GetString(std::string_view section, std::string_view key, std::string_view fallback = {}) const;
  // The number the value begins with (see LeadingInteger); the fallback when the key is missing or its value empty.
  int GetInt(std::string_view section, std::string_view key, int fallback = 0) const;
  double GetReal(std::string_view section, std::string_view key, double fallback = 0) const;

  // In the order of the file.
  std::vector<std::string> Sections() const;
  std::vector<std::string> Keys(std::string_view section) const;
  std::vector<std::pair<std::string, std::string>> Entries(std::string_view section) const;

  // Replaces the first value of that name, or adds it at the end of the section (which is added at the end of the file
  // when missing).  Line ends inside a value become blanks; values that would lose blanks or quotes when read back get
  // a pair of quotes.  False when a name is empty or cannot stand in such a file ('=' or a line end in a key, a leading
  // '[' or ';', ']' in a section, bytes that are no UTF-8).  A value that is no UTF-8 is taken as Windows-1252.
  bool Set(std::string_view section, std::string_view key, std::string_view value);
  bool SetInt(std::string_view section, std::string_view key, long long value);
  // False when there was none.
  bool RemoveKey(std::string_view section, std::string_view key);
  bool RemoveSection(std::string_view section);

 private:
  enum class LineKind { Other, Section, Key };
  struct Line {
    LineKind kind = LineKind::Other;
    std::string text;  // without its line end, in the file's own coding
    std::string name;  // of the section or key, UTF-8
    std::string value;
  };
  void Parse(std::string_view bytes);
  Line Read(std::string_view text) const;
  std::string Encode(std::string_view utf8) const;
  void Reindex();
  // Lines [first, last) behind the section's header; nullopt when there is none.
  std::optional<std::pair<std::size_t, std::size_t>> Range(std::string_view section) const;
  std::optional<std::size_t> LineOf(std::string_view section, std::string_view key) const;

  std::string path_;
  std::vector<Line> lines_;
  std::unordered_map<std::string, std::size_t> index_;  // lower-case names of sections and of keys in sections -> line
  std::string lineEnd_ = "\n";
  bool endsWithLineEnd_ = true;
  bool cp1252_ = false;
  bool byteOrderMark_ = false;
  bool changed_ = false;
  Result unreadable_;
};

// The classic one-shot calls; `file` is read at every call.
std::string GetPrivateProfileString(std::string_view section, std::string_view key, std::string_view fallback,
                                    const std::string& file);
int GetPrivateProfileInt(std::string_view section, std::string_view key, int fallback, const std::string& file);
Result WritePrivateProfileString(std::string_view section, std::string_view key, std::string_view value,
                                 const std::string& file);

}  // namespace tonalith
