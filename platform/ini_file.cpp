#include "platform/ini_file.h"

#include <algorithm>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::string SectionKey(std::string_view section) {
  return AsciiLower(TrimmedView(section));
}

std::string EntryKey(std::string_view section, std::string_view key) {
  // Line ends occur in no name.
  return '\n' + SectionKey(section) + '\n' + AsciiLower(TrimmedView(key));
}

std::string_view Unquoted(std::string_view value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
    value = value.substr(1, value.size() - 2);
  }
  return value;
}

// What to write so that reading gives `value` again.
std::string Quoted(std::string_view value) {
  std::string text;
  for (const char c : value) {
    if (c == '\0') break;
    text += c == '\r' || c == '\n' ? ' ' : c;
  }
  if (TrimmedView(text).size() != text.size() || Unquoted(text).size() != text.size()) text = '"' + text + '"';
  return text;
}

bool HasControls(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 32; });
}

bool IsSectionName(std::string_view section) {
  return !TrimmedView(section).empty() && !HasControls(section) && section.find(']') == std::string_view::npos;
}

bool IsKeyName(std::string_view key) {
  const std::string_view trimmed = TrimmedView(key);
  return !trimmed.empty() && !HasControls(key) && trimmed.find('=') == std::string_view::npos &&
         trimmed.front() != '[' && trimmed.front() != ';';
}

}  // namespace

IniFile::IniFile(std::string path) {
  Load(path);
  path_ = std::move(path);
}

IniFile IniFile::FromBytes(std::string_view bytes) {
  IniFile file;
  file.Parse(bytes);
  return file;
}

Result IniFile::Load(const std::string& path) {
  path_ = path;
  std::string bytes;
  const Result result = ReadWholeFile(path, bytes);
  Parse(bytes);
  unreadable_ = result || result.code == kFileMissing ? Result::Success() : result;
  return result;
}

Result IniFile::Save() {
  if (!changed_) return Result::Success();
  // What could not be read must not be replaced by the little that was set since.
  if (!unreadable_) return unreadable_;
  return SaveAs(path_);
}

Result IniFile::SaveAs(const std::string& path) {
  if (path.empty()) return Result::Failure("The settings file has no name.");
  if (const Result made = MakeFolders(FolderOf(path)); !made) return made;
  const Result result = WriteFileAtomically(path, ToBytes());
  if (result) {
    path_ = path;
    changed_ = false;
    unreadable_ = Result::Success();
  }
  return result;
}

void IniFile::Parse(std::string_view bytes) {
  lines_.clear();
  changed_ = false;
  byteOrderMark_ = bytes.substr(0, kUtf8Mark.size()) == kUtf8Mark;
  if (byteOrderMark_) bytes.remove_prefix(kUtf8Mark.size());
  cp1252_ = !IsValidUtf8(bytes);
  const std::size_t firstEnd = bytes.find('\n');
  lineEnd_ = firstEnd != std::string_view::npos && firstEnd > 0 && bytes[firstEnd - 1] == '\r' ? "\r\n" : "\n";
  endsWithLineEnd_ = bytes.empty() || bytes.back() == '\n';
  lines_.reserve(static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n')) + 1);
  while (!bytes.empty()) {
    const std::size_t at = bytes.find('\n');
    lines_.push_back(Read(bytes.substr(0, at)));
    if (at == std::string_view::npos) break;
    bytes.remove_prefix(at + 1);
  }
  Reindex();
}

IniFile::Line IniFile::Read(std::string_view text) const {
  Line line;
  line.text = std::string(text);
  const std::string_view body = TrimmedView(text);
  if (body.empty() || body.front() == ';') return line;
  const auto decoded = [this](std::string_view part) { return cp1252_ ? Cp1252ToUtf8(part) : std::string(part); };
  if (body.front() == '[') {
    const std::size_t close = body.find(']');
    if (close == std::string_view::npos) return line;
    line.kind = LineKind::Section;
    line.name = decoded(TrimmedView(body.substr(1, close - 1)));
    return line;
  }
  const std::size_t equals = body.find('=');
  if (equals == std::string_view::npos || equals == 0) return line;
  line.kind = LineKind::Key;
  line.name = decoded(TrimmedView(body.substr(0, equals)));
  line.value = decoded(Unquoted(TrimmedView(body.substr(equals + 1))));
  return line;
}

std::string IniFile::Encode(std::string_view utf8) const {
  return cp1252_ ? Utf8ToCp1252(utf8) : std::string(utf8);
}

void IniFile::Reindex() {
  index_.clear();
  std::string section;
  bool shadowed = true;  // keys above the first section belong to nothing
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    const Line& line = lines_[i];
    if (line.kind == LineKind::Section) {
      section = line.name;
      shadowed = !index_.emplace(SectionKey(section), i).second;
    } else if (line.kind == LineKind::Key && !shadowed) {
      index_.emplace(EntryKey(section, line.name), i);
    }
  }
}

std::string IniFile::ToBytes() const {
  std::string out;
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    out += lines_[i].text;
    if (i + 1 < lines_.size() || endsWithLineEnd_) out += '\n';
  }
  // Changes may have removed what told this file from UTF-8: it must not be taken for that.
  if (cp1252_ && IsValidUtf8(out)) out = Cp1252ToUtf8(out);
  return byteOrderMark_ ? std::string(kUtf8Mark) + out : out;
}

std::optional<std::pair<std::size_t, std::size_t>> IniFile::Range(std::string_view section) const {
  const auto found = index_.find(SectionKey(section));
  if (found == index_.end()) return std::nullopt;
  const std::size_t first = found->second + 1;
  std::size_t last = first;
  while (last < lines_.size() && lines_[last].kind != LineKind::Section) ++last;
  return std::pair(first, last);
}

std::optional<std::size_t> IniFile::LineOf(std::string_view section, std::string_view key) const {
  const auto found = index_.find(EntryKey(section, key));
  return found == index_.end() ? std::nullopt : std::optional(found->second);
}

bool IniFile::HasSection(std::string_view section) const {
  return index_.count(SectionKey(section)) != 0;
}

std::optional<std::string> IniFile::Find(std::string_view section, std::string_view key) const {
  const auto at = LineOf(section, key);
  return at ? std::optional(lines_[*at].value) : std::nullopt;
}

std::string IniFile::GetString(std::string_view section, std::string_view key, std::string_view fallback) const {
  return Find(section, key).value_or(std::string(fallback));
}

int IniFile::GetInt(std::string_view section, std::string_view key, int fallback) const {
  const auto value = Find(section, key);
  return !value || value->empty() ? fallback : LeadingInteger(*value);
}

double IniFile::GetReal(std::string_view section, std::string_view key, double fallback) const {
  const auto value = Find(section, key);
  return value ? ParseReal(*value).value_or(fallback) : fallback;
}

std::vector<std::string> IniFile::Sections() const {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    if (lines_[i].kind != LineKind::Section) continue;
    const auto found = index_.find(SectionKey(lines_[i].name));
    if (found != index_.end() && found->second == i) names.push_back(lines_[i].name);
  }
  return names;
}

std::vector<std::pair<std::string, std::string>> IniFile::Entries(std::string_view section) const {
  std::vector<std::pair<std::string, std::string>> entries;
  const auto range = Range(section);
  for (std::size_t i = range ? range->first : 0; range && i < range->second; ++i) {
    if (lines_[i].kind == LineKind::Key && LineOf(section, lines_[i].name) == i) {
      entries.emplace_back(lines_[i].name, lines_[i].value);
    }
  }
  return entries;
}

std::vector<std::string> IniFile::Keys(std::string_view section) const {
  std::vector<std::string> keys;
  for (auto& entry : Entries(section)) keys.push_back(std::move(entry.first));
  return keys;
}

bool IniFile::Set(std::string_view section, std::string_view key, std::string_view value) {
  if (!IsSectionName(section) || !IsKeyName(key) || !IsValidUtf8(section) || !IsValidUtf8(key)) return false;
  if (!IsValidUtf8(value)) return Set(section, key, Cp1252ToUtf8(value));
  const std::string ending = lineEnd_ == "\r\n" ? "\r" : "";
  const auto at = LineOf(section, key);
  if (at && lines_[*at].value == value) return true;
  const std::string name = at ? lines_[*at].name : std::string(TrimmedView(key));
  // A file of Windows-1252 bytes that gets a character it cannot hold becomes UTF-8 as a whole.
  if (cp1252_ && Cp1252ToUtf8(Utf8ToCp1252(value)) != value) {
    for (Line& line : lines_) line.text = Cp1252ToUtf8(line.text);
    cp1252_ = false;
  }
  if (at) {
    Line& line = lines_[*at];
    const std::string head = line.text.substr(0, line.text.find('=') + 1);
    const std::string tail = !line.text.empty() && line.text.back() == '\r' ? "\r" : "";
    line = Read(head + Encode(Quoted(value)) + tail);
    changed_ = true;
    return true;
  }
  changed_ = true;
  const auto endLastLine = [&] {
    if (endsWithLineEnd_ || lines_.empty()) return;
    lines_.back().text += ending;
    endsWithLineEnd_ = true;
  };
  auto range = Range(section);
  if (!range) {
    endLastLine();
    if (!lines_.empty() && !TrimmedView(lines_.back().text).empty()) lines_.push_back(Read(ending));
    lines_.push_back(Read('[' + Encode(TrimmedView(section)) + ']' + ending));
    range = std::pair(lines_.size(), lines_.size());
    index_.emplace(SectionKey(section), lines_.size() - 1);
  }
  std::size_t place = range->second;
  while (place > range->first && TrimmedView(lines_[place - 1].text).empty()) --place;
  if (place == lines_.size()) endLastLine();
  lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(place),
                Read(Encode(name) + '=' + Encode(Quoted(value)) + ending));
  if (place + 1 == lines_.size()) {
    index_.emplace(EntryKey(section, name), place);
  } else {
    Reindex();
  }
  return true;
}

bool IniFile::SetInt(std::string_view section, std::string_view key, long long value) {
  return Set(section, key, Printf("%lld", value));
}

bool IniFile::RemoveKey(std::string_view section, std::string_view key) {
  const auto at = LineOf(section, key);
  if (!at) return false;
  lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(*at));
  changed_ = true;
  Reindex();
  return true;
}

bool IniFile::RemoveSection(std::string_view section) {
  const auto range = Range(section);
  if (!range) return false;
  lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(range->first) - 1,
               lines_.begin() + static_cast<std::ptrdiff_t>(range->second));
  changed_ = true;
  Reindex();
  return true;
}

std::string GetPrivateProfileString(std::string_view section, std::string_view key, std::string_view fallback,
                                    const std::string& file) {
  return IniFile(file).GetString(section, key, fallback);
}

int GetPrivateProfileInt(std::string_view section, std::string_view key, int fallback, const std::string& file) {
  return IniFile(file).GetInt(section, key, fallback);
}

Result WritePrivateProfileString(std::string_view section, std::string_view key, std::string_view value,
                                 const std::string& file) {
  IniFile ini;
  const Result loaded = ini.Load(file);
  if (!loaded && loaded.code != kFileMissing) return loaded;
  if (!ini.Set(section, key, value)) {
    return Result::Failure("The name " + std::string(key) + " cannot be written to " + file + ".");
  }
  return ini.Save();
}

}  // namespace tonalith
