#include "cli/library_add_command.h"

#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/arguments.h"
#include "cli/session.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "store/library/keyword_file.h"
#include "store/library/library_add.h"
#include "store/library/library_ask.h"
#include "store/library/library_document.h"
#include "store/library/library_sources.h"

namespace tonalith {

namespace {

// What --unique says, else the setting.
Result ModeOf(Session& session, const CliArguments& arguments, LibraryAddMode* mode) {
  constexpr std::pair<const char*, LibraryAddMode> kModes[] = {{"none", LibraryAddMode::Everything},
                                                               {"sound", LibraryAddMode::UniqueSound},
                                                               {"name", LibraryAddMode::UniqueName},
                                                               {"ask", LibraryAddMode::AskIdentical}};
  *mode = static_cast<LibraryAddMode>(session.settings().Value(SettingId::MainLibAddMode));
  const auto wanted = arguments.Option("unique");
  if (!wanted) return Result::Success();
  for (const auto& [name, value] : kModes) {
    if (*wanted != name) continue;
    *mode = value;
    return Result::Success();
  }
  return Result::Failure("--unique is none, sound, name or ask, not \"" + *wanted + "\".");
}

// Adds what the sources hold, and prints what becomes of it.
class Adding {
 public:
  Adding(Session& session, ZKLibDoc& library, LibraryAddOptions options)
      : session_(session), out_(session.environment().out), adder_(library, std::move(options)) {}

  void Source(const std::string& path) {
    std::vector<std::string> files;
    std::error_code none;
    const bool folder = std::filesystem::is_directory(path, none);
    if (Result found = FilesOfSource(path, session_.environment().interrupt, &files); !found.ok()) Problem(found.text);
    for (const std::string& file : files) {
      if (goesOn_) File(file, folder);
    }
  }

  // What of the sources could not be used; empty: nothing.
  const std::string& problem() const { return problem_; }

  void Finish() {
    adder_.Finish();
    if (adder_.unnamed() > 0) out_ << Counted(adder_.unnamed(), "unnamed patch") << " left out.\n";
    out_ << adder_.AddedCount() << " added, " << skipped_ << " skipped.\n";
  }

 private:
  void File(const std::string& path, bool inFolder) {
    std::vector<DataFilePtr> data;
    std::string note;
    const Result read = ReadLibrarySource(path, session_.recognizer(), &data, &note);
    if (!note.empty()) session_.environment().err << "Note: " << note << "\n";
    if (!read.ok()) {
      // A folder may hold anything.
      if (!inFolder) return Problem(read.text);
      ++skipped_;
      out_ << "skipped\t-\t" << path << "\t" << OneLine(read.text) << "\n";
      return;
    }
    const std::size_t before = adder_.AddedCount(), unnamed = adder_.unnamed(), first = adder_.outcomes().size();
    const std::string name = FileNameOf(path);
    for (const DataFilePtr& one : data)
      if (goesOn_) goesOn_ = adder_.AddData(*one, name);
    Print(path, first);
    const bool silent = adder_.outcomes().size() == first && adder_.unnamed() == unnamed;
    if (!inFolder && silent && adder_.AddedCount() == before) Problem(path + " holds no patches.");
  }

  void Print(const std::string& path, std::size_t first) {
    for (std::size_t i = first; i < adder_.outcomes().size(); ++i) {
      const LibraryAddOutcome& outcome = adder_.outcomes()[i];
      skipped_ += outcome.added ? 0 : 1;
      out_ << std::string_view(outcome.added ? "added" : "skipped") << "\t" << outcome.name << "\t" << path;
      if (!outcome.note.empty()) out_ << "\t" << OneLine(outcome.note);
      out_ << "\n";
    }
  }

  void Problem(const std::string& text) { problem_ += (problem_.empty() ? "" : "  ") + text; }
  static std::string OneLine(const std::string& text) { return ReplaceAll(text, "\n", " "); }

  Session& session_;
  TerminalText out_;
  LibraryAdder adder_;
  std::string problem_;
  std::size_t skipped_ = 0;
  bool goesOn_ = true;
};

}  // namespace

Result AddToLibrary(Session& session, const CliArguments& arguments) {
  LibraryAddOptions options;
  if (Result mode = ModeOf(session, arguments, &options.mode); !mode.ok()) return mode;
  ZKLibDoc library;
  if (Result opened = library.Load(arguments.words()[1]); !opened.ok()) return opened;
  if (!library.LoadNotice().empty()) session.environment().err << "Note: " << library.LoadNotice() << "\n";
  session.LoadStudio();
  const Paths& paths = session.paths();
  const std::string folders[] = {paths.MainGetDataPath(), paths.MainGetApplicationSupportPath(),
                                 paths.MainGetResourcePath()};
  const KeywordFile keywords = KeywordFile::In(folders);
  options.keywords = &keywords;
  options.moduleFolder = [&session](int id) {
    const ZKDrvList* driver = session.studio().GetDriverWithID(id);
    return driver ? session.studio().facts().ModuleFolder(driver) : std::filesystem::path();
  };
  if (session.environment().canAsk)
    options.ask = [&session](const LibraryQuestion& question) {
      return AskLibraryQuestion(session.prompts(), question);
    };
  Adding adding(session, library, std::move(options));
  for (std::size_t i = 2; i < arguments.words().size(); ++i) adding.Source(arguments.words()[i]);
  adding.Finish();
  if (library.IsModified())
    if (Result saved = library.Save(); !saved.ok()) return saved;
  return adding.problem().empty() ? Result::Success() : Result::Failure(adding.problem());
}

}  // namespace tonalith
