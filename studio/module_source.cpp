#include "studio/module_source.h"

#include <algorithm>
#include <array>
#include <set>

#include "data/hex_text.h"
#include "platform/atomic_file.h"
#include "platform/folders.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "script/compiler.h"
#include "script/lint.h"

namespace tonalith {

namespace {

constexpr std::int64_t kAcknowledgedWithinMs = 5000;

constexpr std::size_t kMaxSourceFile = 1u << 20;
constexpr std::size_t kMaxSourceFiles = 1000;
constexpr std::size_t kMaxSourceLines = 20000;  // of one data type, includes counted
constexpr int kMaxIncludes = 16;
constexpr const char* kCommonFolder = "../common/";

// What the modules of the program share, for those that lie anywhere.
std::string SharedFolder() {
  return JoinPath(FindResourceFolder(ExecutablePath()), "common") + "/";
}

// A file of the folder, else the one that all modules beside it share, else the program's own.
ModuleSource::const_iterator FindSource(const ModuleSource& source, const std::string& file) {
  for (const std::string& folder : {std::string(), std::string(kCommonFolder), SharedFolder()})
    if (const auto found = source.find(folder + file); found != source.end()) return found;
  return source.end();
}

// The first byte of a range `00..0F` in a byte pattern and how many bytes it has; false when it is not one.
bool ByteRange(std::string_view text, std::size_t dots, int* first, int* count) {
  if (dots < 2 || dots + 4 > text.size()) return false;
  const auto low = ParseHex(text.substr(dots - 2, 2)), high = ParseHex(text.substr(dots + 2, 2));
  if (!low || !high || low->size() != 1 || high->size() != 1 || low->front() > high->front()) return false;
  *first = low->front();
  *count = high->front() - low->front() + 1;
  return true;
}

bool IsComment(std::string_view line) {
  return line.empty() || line.front() == ';' || line.front() == '#';
}

// A key that says several fields at once: numbers with blanks between, perhaps a text behind '|'.
struct ShortForm {
  const char* key;
  std::array<const char*, 4> fields;
  std::size_t least;  // so many numbers are needed
  const char* text;
  const char* problem;
};

const ShortForm* FindShortForm(const std::string& key) {
  static constexpr ShortForm kForms[] = {{"voices",
                                          {"numVoices", "voiceSize", "voiceBytes", "voiceOffset"},
                                          2,
                                          nullptr,
                                          "`voices` reads NUMBER SIZE BYTES OFFSET"},
                                         {"name",
                                          {"nameOffset", "nameLength", "nameFormat", nullptr},
                                          2,
                                          "initName",
                                          "`name` reads OFFSET LENGTH FORMAT | INITIAL NAME"},
                                         {"checksum",
                                          {"checksumType", "checksumStart", "checksumLength", "checksumOffset"},
                                          4,
                                          nullptr,
                                          "`checksum` reads TYPE START COUNT OFFSET"}};
  for (const ShortForm& form : kForms)
    if (AsciiEqualNoCase(form.key, key)) return &form;
  return nullptr;
}

// Reads one descriptor file; included ones come in at the place of their line.
class DescriptorReader {
 public:
  DescriptorReader(const ModuleSource& source, SourceLets* lets, std::vector<SourceLine>* lines,
                   const SourceMistakes& mistakes)
      : source_(source), lets_(lets), lines_(lines), mistakes_(mistakes) {}

  // Lines that another file holds; those of a row (with `fixed`) stand whatever the descriptor says.
  Result Add(const std::vector<SourceLine>& lines, bool fixed) {
    for (const SourceLine& line : lines) {
      const std::size_t added = lines_->size();
      Result result = Entry({line.file, line.line, {}, line.key, {}, {}}, line.value, 0);
      // What a row includes is the descriptor's like any other.
      const bool stands = fixed && !AsciiEqualNoCase(line.key, "include");
      if (stands) fixed_.insert(AsciiLower(line.key));
      for (std::size_t i = added; stands && i < lines_->size(); ++i) fixed_.insert(AsciiLower((*lines_)[i].key));
      if (!result.ok()) result = mistakes_(result);
      if (!result.ok()) return result;
    }
    return Result::Success();
  }

  Result Read(const std::string& name, const SourceLine* from, int depth) {
    const std::string file = name + ".descriptor";
    const auto text = FindSource(source_, file);
    if (text == source_.end()) {
      const std::string sentence = "there is no file \"" + file + "\" in the source folder";
      return from ? SourceFailure(*from, sentence) : SourceFailure("module.ini", 1, sentence);
    }
    if (depth > kMaxIncludes) return SourceFailure(*from, "the files include each other");
    int number = 0;
    for (const std::string& raw : SplitText(text->second, '\n')) {
      ++number;
      Result result = Line({text->first, number, {}, {}, {}, {}}, TrimmedView(raw), depth);
      if (!result.ok()) result = mistakes_(result);
      if (!result.ok()) return result;
    }
    return Result::Success();
  }

 private:
  Result Line(SourceLine at, std::string_view text, int depth) {
    if (IsComment(text)) return Result::Success();
    if (AsciiEqualNoCase(text, "or")) {
      at.key = "or";
      lines_->push_back(std::move(at));
      return Result::Success();
    }
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0) return SourceFailure(at, "a line reads `key = value`");
    at.key = std::string(TrimmedView(text.substr(0, equals)));
    return Entry(std::move(at), TrimmedView(text.substr(equals + 1)), depth);
  }

  Result Entry(SourceLine at, std::string_view value, int depth) {
    std::string error;
    if (fixed_.count(AsciiLower(at.key))) return Result::Success();
    if (lines_->size() >= kMaxSourceLines) return SourceFailure(at, "the descriptor has too many lines");
    if (!ReplaceLets(value, *lets_, &at.value, &error)) return SourceFailure(at, error);
    at.value = std::string(TrimmedView(at.value));
    if (AsciiEqualNoCase(at.key, "include")) return Read(at.value, &at, depth + 1);
    if (AsciiStartsWithNoCase(at.key, "let ")) {
      const std::string name(TrimmedView(std::string_view(at.key).substr(4)));
      if (name.empty()) return SourceFailure(at, "`let` needs a name");
      (*lets_)[name] = at.value;
      return Result::Success();
    }
    if (AsciiEqualNoCase(at.key, "acknowledged")) return Acknowledged(at);
    if (const ShortForm* form = FindShortForm(at.key)) return Fields(at, *form, depth);
    if (IsScriptKey(at.key)) at.lets = *lets_;
    if (IsNamedKey(at.key)) (*lets_)[at.key] = at.value;
    const std::size_t dots = AsciiEqualNoCase(at.key, "message") ? at.value.find("..") : std::string::npos;
    if (dots != std::string::npos) return Messages(at, dots);
    lines_->push_back(std::move(at));
    return Result::Success();
  }

  // The fields of a line that says several.
  Result Fields(const SourceLine& at, const ShortForm& form, int depth) {
    const std::size_t bar = at.value.find('|');
    const std::string numbers(TrimmedView(std::string_view(at.value).substr(0, bar)));
    std::size_t count = 0;
    for (const std::string& number : SplitText(numbers, ' ')) {
      if (number.empty()) continue;
      const char* field = count < form.fields.size() ? form.fields[count] : nullptr;
      if (!field || !ParseInteger(number)) return SourceFailure(at, form.problem);
      const Result result = Entry({at.file, at.line, {}, field, {}, {}}, number, depth);
      if (!result.ok()) return result;
      ++count;
    }
    if (count < form.least || (bar != std::string::npos && !form.text)) return SourceFailure(at, form.problem);
    if (bar == std::string::npos) return Result::Success();
    return Entry({at.file, at.line, {}, form.text, {}, {}}, TrimmedView(std::string_view(at.value).substr(bar + 1)),
                 depth);
  }

  // What the instrument says when it has taken data: scripts that send find the wait for it in `listen`.
  Result Acknowledged(const SourceLine& at) {
    const std::size_t bar = at.value.find('|');
    const std::string pattern(TrimmedView(std::string_view(at.value).substr(0, bar)));
    const auto bytes = ParseHex(pattern);
    const auto wait = bar == std::string::npos ? std::optional<std::int64_t>(kAcknowledgedWithinMs)
                                               : ParseInteger(TrimmedView(std::string_view(at.value).substr(bar + 1)));
    if (!bytes || bytes->size() < 3 || bytes->front() != 0xF0 || bytes->back() != 0xF7 || !wait || *wait < 1 ||
        *wait > 65535)
      return SourceFailure(at, "`acknowledged` is one SysEx message, then perhaps | and milliseconds");
    (*lets_)["listen"] =
        "S " + std::to_string(bytes->size()) + " { " + pattern + " } SetWaitForACK " + std::to_string(*wait);
    return Result::Success();
  }

  // The messages of a range of bytes.
  Result Messages(const SourceLine& at, std::size_t dots) {
    int first = 0, count = 0;
    if (!ByteRange(at.value, dots, &first, &count) || at.value.find("..", dots + 2) != std::string::npos)
      return SourceFailure(at, "one range of bytes reads 00..0F");
    for (int i = 0; i < count; ++i) {
      SourceLine line = at;
      const std::uint8_t byte = static_cast<std::uint8_t>(first + i);
      line.value.replace(dots - 2, 6, HexText({&byte, 1}));
      lines_->push_back(std::move(line));
    }
    return Result::Success();
  }

  const ModuleSource& source_;
  SourceLets* lets_;
  std::set<std::string> fixed_;  // keys, lower case
  std::vector<SourceLine>* lines_;
  const SourceMistakes& mistakes_;
};

}  // namespace

Result SourceFailure(const std::string& file, int line, const std::string& text) {
  return Result::Failure(file + ":" + std::to_string(line) + ": " + text);
}

Result SourceFailure(const SourceLine& at, const std::string& text) {
  return SourceFailure(at.file, at.line, text);
}

Result ReadIniSource(const ModuleSource& source, const std::string& file, std::vector<SourceLine>* lines,
                     const SourceMistakes& mistakes) {
  const auto text = source.find(file);
  if (text == source.end()) return Result::Failure(file + ": the source folder holds no such file");
  std::string section;
  int number = 0;
  for (const std::string& raw : SplitText(text->second, '\n')) {
    ++number;
    const std::string_view line = TrimmedView(raw);
    if (IsComment(line)) continue;
    if (line.front() == '[') {
      const bool named = line.back() == ']' && line.size() >= 3;
      Result result = named ? Result::Success() : mistakes(SourceFailure(file, number, "a section reads [Name]"));
      if (!result.ok()) return result;
      if (named) section = std::string(TrimmedView(line.substr(1, line.size() - 2)));
      continue;
    }
    const std::size_t equals = line.find('=');
    const char* problem = equals == std::string_view::npos || equals == 0 ? "a line reads `key = value`"
                          : section.empty()                               ? "the line stands before the first section"
                                                                          : nullptr;
    if (problem) {
      Result result = mistakes(SourceFailure(file, number, problem));
      if (!result.ok()) return result;
      continue;
    }
    lines->push_back({file,
                      number,
                      section,
                      std::string(TrimmedView(line.substr(0, equals))),
                      std::string(TrimmedView(line.substr(equals + 1))),
                      {}});
  }
  return Result::Success();
}

Result ReadDescriptorSource(const ModuleSource& source, const std::string& name, const SourceLead& lead,
                            SourceLets* lets, std::vector<SourceLine>* lines, const SourceMistakes& mistakes) {
  DescriptorReader reader(source, lets, lines, mistakes);
  Result result = reader.Add(lead.defaults, false);
  if (result.ok()) result = reader.Add(lead.row, true);
  return result.ok() ? reader.Read(name, nullptr, 0) : result;
}

bool IsFormKey(const std::string& key) {
  static const char* const kKeys[] = {"message",  "slots",     "context",  "address",     "area",   "block",
                                      "complete", "patchbyte", "numberas", "emptyanswer", "verify", "volatile"};
  return std::any_of(std::begin(kKeys), std::end(kKeys), [&](const char* k) { return AsciiEqualNoCase(k, key); });
}

bool IsNamedKey(const std::string& key) {
  return !IsFormKey(key) && !IsExchangeKey(key) && !AsciiEqualNoCase(key, "init") && !AsciiEqualNoCase(key, "map") &&
         key != "or";
}

bool IsExchangeKey(std::string_view key) {
  return AsciiEqualNoCase(key, "get") || AsciiEqualNoCase(key, "put");
}

bool IsScriptKey(std::string_view key) {
  return AsciiEqualNoCase(key, "receive") || AsciiEqualNoCase(key, "transmit") || AsciiEqualNoCase(key, "audition");
}

Result CompileScriptSource(const ModuleSource& source, const SourceLine& at, const SourceLets& lets,
                           std::vector<std::uint8_t>* code, const SourceMistakes& mistakes) {
  const std::string file = at.value + ".script";
  const auto found = FindSource(source, file);
  if (found == source.end()) return SourceFailure(at, "there is no file \"" + file + "\" in the source folder");
  std::string text;
  std::vector<int> numbers;  // of the source, by line of the text: what stands for a name may have several
  int number = 0;
  for (const std::string& raw : SplitText(found->second, '\n')) {
    ++number;
    std::string line, error;
    // A comment is none of the compiler's business and may hold a '$'.
    const std::string_view trimmed = TrimmedView(raw);
    if (!trimmed.empty() && trimmed.front() == ';')
      line.clear();
    else if (!ReplaceLets(raw, lets, &line, &error))
      return SourceFailure(found->first, number, error);
    text += line + "\n";
    if (text.size() > kMaxSourceFile) return SourceFailure(found->first, number, "the text becomes too long");
    numbers.resize(numbers.size() + 1 + static_cast<std::size_t>(std::count(line.begin(), line.end(), '\n')), number);
  }
  const auto place = [&](int line) {
    return numbers[static_cast<std::size_t>(std::clamp(line, 1, static_cast<int>(numbers.size())) - 1)];
  };
  const CompileResult compiled = CompileScript(text);
  // The lint names everything that keeps the script from compiling, and more.
  const std::vector<LintWarning> warnings = Lint(text);
  for (const LintWarning& warning : warnings) {
    const std::string where = "character " + std::to_string(warning.character) + ": ";
    Result result = mistakes(SourceFailure(found->first, place(warning.line), where + warning.text));
    if (!result.ok()) return result;
  }
  if (!compiled.ok() && warnings.empty()) return SourceFailure(found->first, place(compiled.line + 1), compiled.report);
  *code = compiled.code;
  return Result::Success();
}

namespace {

Result ReadSourceFiles(const std::filesystem::path& folder, const char* patterns, const std::string& prefix,
                       ModuleSource* source) {
  for (const std::string& name : ListFolder(folder.string(), patterns)) {
    if (source->size() >= kMaxSourceFiles) return Result::Failure("The source folder holds too many files.");
    const Result read = ReadWholeFile((folder / name).string(), (*source)[prefix + name], kMaxSourceFile);
    if (!read.ok()) return read;
  }
  return Result::Success();
}

}  // namespace

Result ReadModuleSource(const std::filesystem::path& folder, ModuleSource* out) {
  if (!FolderExists(folder.string()))
    return Result::Failure("There is no folder \"" + folder.string() + "\".", kFileMissing);
  ModuleSource source;
  Result result = ReadSourceFiles(folder, "*.ini;*.descriptor;*.script", {}, &source);
  const std::filesystem::path common = folder / kCommonFolder;
  if (result.ok() && FolderExists(common.string()))
    result = ReadSourceFiles(common, "*.descriptor;*.script", kCommonFolder, &source);
  if (const std::string shared = SharedFolder(); result.ok() && FolderExists(shared))
    result = ReadSourceFiles(shared, "*.descriptor;*.script", shared, &source);
  if (result.ok()) *out = std::move(source);
  return result;
}

}  // namespace tonalith
