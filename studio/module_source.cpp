#include "studio/module_source.h"

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "script/compiler.h"
#include "script/lint.h"

namespace tonalith {

namespace {

constexpr std::size_t kMaxSourceFile = 1u << 20;
constexpr std::size_t kMaxSourceFiles = 1000;
constexpr std::size_t kMaxSourceLines = 20000;  // of one data type, includes counted
constexpr int kMaxIncludes = 16;

bool IsComment(std::string_view line) {
  return line.empty() || line.front() == ';' || line.front() == '#';
}

// Reads one descriptor file; included ones come in at the place of their line.
class DescriptorReader {
 public:
  DescriptorReader(const ModuleSource& source, SourceLets* lets, std::vector<SourceLine>* lines,
                   const SourceMistakes& mistakes)
      : source_(source), lets_(lets), lines_(lines), mistakes_(mistakes) {}

  Result Read(const std::string& name, const SourceLine* from, int depth) {
    const std::string file = name + ".descriptor";
    const auto text = source_.find(file);
    if (text == source_.end()) {
      const std::string sentence = "there is no file \"" + file + "\" in the source folder";
      return from ? SourceFailure(*from, sentence) : SourceFailure("module.ini", 1, sentence);
    }
    if (depth > kMaxIncludes) return SourceFailure(*from, "the files include each other");
    int number = 0;
    for (const std::string& raw : SplitText(text->second, '\n')) {
      ++number;
      Result result = Line({file, number, {}, {}, {}, {}}, TrimmedView(raw), depth);
      if (!result.ok()) result = mistakes_(result);
      if (!result.ok()) return result;
    }
    return Result::Success();
  }

 private:
  Result Line(SourceLine at, std::string_view text, int depth) {
    if (IsComment(text)) return Result::Success();
    if (lines_->size() >= kMaxSourceLines) return SourceFailure(at, "the descriptor has too many lines");
    if (AsciiEqualNoCase(text, "or")) {
      at.key = "or";
      lines_->push_back(std::move(at));
      return Result::Success();
    }
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0) return SourceFailure(at, "a line reads `key = value`");
    at.key = std::string(TrimmedView(text.substr(0, equals)));
    std::string error;
    if (!ReplaceLets(TrimmedView(text.substr(equals + 1)), *lets_, &at.value, &error)) return SourceFailure(at, error);
    if (AsciiEqualNoCase(at.key, "include")) return Read(at.value, &at, depth + 1);
    if (AsciiStartsWithNoCase(at.key, "let ")) {
      const std::string name(TrimmedView(std::string_view(at.key).substr(4)));
      if (name.empty()) return SourceFailure(at, "`let` needs a name");
      (*lets_)[name] = at.value;
      return Result::Success();
    }
    if (IsScriptKey(at.key)) at.lets = *lets_;
    lines_->push_back(std::move(at));
    return Result::Success();
  }

  const ModuleSource& source_;
  SourceLets* lets_;
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

bool ReplaceLets(std::string_view text, const SourceLets& lets, std::string* out, std::string* error) {
  out->clear();
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t begin = text.find('$', at);
    if (begin == std::string_view::npos) break;
    out->append(text.substr(at, begin - at));
    const std::size_t end = text.find('$', begin + 1);
    const std::string name(end == std::string_view::npos ? std::string_view()
                                                         : text.substr(begin + 1, end - begin - 1));
    const auto value = lets.find(name);
    if (value == lets.end()) {
      *error = name.empty() ? "a '$' stands alone" : "nothing is known by the name \"" + name + "\"";
      return false;
    }
    out->append(value->second);
    if (out->size() > kMaxSourceFile) {
      *error = "the text becomes too long";
      return false;
    }
    at = end + 1;
  }
  out->append(text.substr(std::min(at, text.size())));
  return true;
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

Result ReadDescriptorSource(const ModuleSource& source, const std::string& name, SourceLets* lets,
                            std::vector<SourceLine>* lines, const SourceMistakes& mistakes) {
  return DescriptorReader(source, lets, lines, mistakes).Read(name, nullptr, 0);
}

bool IsScriptKey(std::string_view key) {
  return AsciiEqualNoCase(key, "receive") || AsciiEqualNoCase(key, "transmit") || AsciiEqualNoCase(key, "audition");
}

Result CompileScriptSource(const ModuleSource& source, const SourceLine& at, std::vector<std::uint8_t>* code,
                           const SourceMistakes& mistakes) {
  const std::string file = at.value + ".script";
  const auto found = source.find(file);
  if (found == source.end()) return SourceFailure(at, "there is no file \"" + file + "\" in the source folder");
  std::string text;
  int number = 0;
  for (const std::string& raw : SplitText(found->second, '\n')) {
    ++number;
    std::string line, error;
    // A comment is none of the compiler's business and may hold a '$'.
    const std::string_view trimmed = TrimmedView(raw);
    if (!trimmed.empty() && trimmed.front() == ';')
      line.clear();
    else if (!ReplaceLets(raw, at.lets, &line, &error))
      return SourceFailure(file, number, error);
    text += line + "\n";
  }
  const CompileResult compiled = CompileScript(text);
  if (!compiled.ok()) return SourceFailure(file, compiled.line + 1, compiled.report);
  for (const LintWarning& warning : Lint(text)) {
    Result result = mistakes(SourceFailure(file, warning.line, warning.text));
    if (!result.ok()) return result;
  }
  *code = compiled.code;
  return Result::Success();
}

Result ReadModuleSource(const std::filesystem::path& folder, ModuleSource* out) {
  if (!FolderExists(folder.string()))
    return Result::Failure("There is no folder \"" + folder.string() + "\".", kFileMissing);
  ModuleSource source;
  for (const std::string& name : ListFolder(folder.string(), "*.ini;*.descriptor;*.script")) {
    if (source.size() >= kMaxSourceFiles) return Result::Failure("The source folder holds too many files.");
    const Result read = ReadWholeFile((folder / name).string(), source[name], kMaxSourceFile);
    if (!read.ok()) return read;
  }
  *out = std::move(source);
  return Result::Success();
}

}  // namespace tonalith
