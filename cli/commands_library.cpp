#include "cli/commands_library.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>
#include <variant>

#include "cli/arguments.h"
#include "cli/library_add_command.h"
#include "cli/session.h"
#include "platform/atomic_file.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "store/library/library_automation.h"
#include "store/library/library_document.h"
#include "store/library/library_search.h"
#include "store/library/library_sort.h"
#include "store/library/library_view.h"

namespace tonalith {

namespace {

Result OpenLibrary(Session& session, const std::string& path, ZKLibDoc* library) {
  if (Result result = library->Load(path); !result.ok()) return result;
  if (!library->LoadNotice().empty()) session.environment().err << "Note: " << library->LoadNotice() << "\n";
  return Result::Success();
}

Result NewLibrary(Session& session, const CliArguments& arguments) {
  const std::string& path = arguments.words()[3];
  if (FileExists(path)) return Result::Failure(path + " is there already; a new Library takes no file's place.");
  session.LoadStudio();
  ZKDrvList *instrument = nullptr, *driver = nullptr;
  Result result = session.FindInstrument(arguments.words()[1], &instrument);
  if (result.ok()) result = session.FindType(instrument, arguments.words()[2], &driver);
  if (!result.ok()) return result;
  ZKLibDoc library;
  result = library.SetDataFile(session.studio().GetNewDataFile(driver));
  if (result.ok()) result = library.Save(path);
  if (result.ok()) session.environment().out << library.Title() << " in " << path << "\n";
  return result;
}

Result ListLibrary(Session& session, const CliArguments& arguments) {
  ZKLibDoc library;
  if (Result result = OpenLibrary(session, arguments.words()[1], &library); !result.ok()) return result;
  std::vector<EntryId> entries = library.LibBuildDataList(!arguments.Has("hidden"));
  const LibraryFilter filter(arguments.Option("filter").value_or(std::string()));
  if (!filter.IsEmpty())
    std::erase_if(entries, [&](EntryId entry) { return !filter.Match(library.FilterText(entry)); });
  if (const auto sort = arguments.Option("sort")) {
    const auto key = LibrarySortKeyNamed(*sort);
    if (!key)
      return Result::Failure("There is no sort key \"" + *sort +
                             "\": name, keys, key1 to key8, comment, date, author, copyright, song, musician, band or "
                             "longname, with - in front descending.");
    entries = SortedEntries(library, std::move(entries), *key);
  }
  TerminalText out = session.environment().out;
  for (const EntryId entry : entries) {
    std::string keywords;
    for (const std::string& word : library.Keywords(entry)) keywords += (keywords.empty() ? "" : ",") + word;
    const std::string comment =
        ReplaceAll(ReplaceAll(library.Text(entry, LibraryColumn::Comment), "\n", " "), "\t", " ");
    out << library.Text(entry, LibraryColumn::Name) << "\t" << keywords << "\t" << comment << "\t"
        << library.Text(entry, LibraryColumn::Date) << "\n";
  }
  return Result::Success();
}

// One command and its arguments, as they were typed.
Result RunOne(LibraryAutomation* automation, const std::vector<std::string>& words, TerminalText out) {
  const std::string command = LibraryAutomation::CommandNamed(words.front());
  std::vector<LibraryArgument> arguments;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const auto number = ParseInteger(words[i]);
    // The second word of these is a text.
    const bool text = LibraryAutomation::TakesTexts(command) || (i == 2 && (command == "Keyword" || command == "Tag"));
    if (number && !text)
      arguments.emplace_back(*number);
    else
      arguments.emplace_back(words[i]);
  }
  const int code = automation->CQAutomation(words.front(), arguments);
  if (code != 0) return Result::Failure((code == -1 ? std::string() : words.front() + ": ") + automation->problem());
  for (const LibraryArgument& result : automation->results()) {
    if (const auto* number = std::get_if<std::int64_t>(&result)) out << *number << "\n";
    if (const auto* text = std::get_if<std::string>(&result)) out << *text << "\n";
  }
  return Result::Success();
}

// Commands that are told apart by commas work on one selection.
Result RunInLibrary(Session& session, const CliArguments& arguments) {
  ZKLibDoc library;
  if (Result result = OpenLibrary(session, arguments.words()[1], &library); !result.ok()) return result;
  LibraryView view(library);
  LibraryAutomation automation(library, view);
  std::vector<std::vector<std::string>> commands(1);
  for (std::size_t i = 2; i < arguments.words().size(); ++i) {
    const std::string& word = arguments.words()[i];
    if (word == ",")
      commands.emplace_back();
    else
      commands.back().push_back(word);
  }
  for (const std::vector<std::string>& command : commands) {
    if (command.empty()) return Result::Failure("A command is missing beside a comma.");
    if (Result result = RunOne(&automation, command, session.environment().out); !result.ok()) return result;
    if (LibraryAutomation::CommandNamed(command.front()) != "Choose") continue;
    if (automation.found().found.empty()) session.environment().err << "Note: " << automation.problem() << "\n";
    for (const EntryId entry : automation.found().found)
      session.environment().out << library.Text(entry, LibraryColumn::Name) << "\n";
  }
  return library.IsModified() ? library.Save() : Result::Success();
}

Result PrintSearch(Session& session, const ZKLibDoc& library, const LibraryCriteria& criteria,
                   const std::vector<EntryId>& references) {
  LibrarySearchResult found;
  const CancelToken& interrupt = session.environment().interrupt;
  const Result result = LibProcessRequest(
      SnapshotOf(library, criteria, references), criteria,
      [&](std::size_t, std::size_t) { return !interrupt.Cancelled(); }, &found);
  if (!result.ok()) return result;
  for (const LibrarySearchResult::Line& line : found.lines)
    session.environment().out << TrimmedView(DuplicateLine(library, line)) << "\n";
  return found.cancelled ? Result::Failure("Cancelled.") : Result::Success();
}

Result LibraryDuplicates(Session& session, const CliArguments& arguments) {
  ZKLibDoc library;
  if (Result result = OpenLibrary(session, arguments.words()[1], &library); !result.ok()) return result;
  LibraryCriteria criteria;
  criteria.duplicates = true;
  criteria.includeHidden = true;
  criteria.includeNames = arguments.Has("names");
  return PrintSearch(session, library, criteria, {});
}

Result SimilarInLibrary(Session& session, const CliArguments& arguments) {
  ZKLibDoc library;
  if (Result result = OpenLibrary(session, arguments.words()[1], &library); !result.ok()) return result;
  const std::string &name = arguments.words()[2], &percent = arguments.words()[3];
  const auto similarity = ParseInteger(percent);
  if (!similarity || *similarity < 0 || *similarity > 100)
    return Result::Failure("The similarity is a percentage from 0 to 100, not \"" + percent + "\".");
  std::vector<EntryId> references;
  for (const EntryId entry : library.Order())
    if (references.empty() &&
        AsciiEqualNoCase(TrimmedView(library.Text(entry, LibraryColumn::Name)), TrimmedView(name)))
      references.push_back(entry);
  if (references.empty()) return Result::Failure("There is no patch \"" + name + "\" in the Library.");
  LibraryCriteria criteria;
  criteria.similar = true;
  criteria.similarity = static_cast<int>(*similarity);
  criteria.useFirstSelected = true;
  criteria.includeHidden = true;
  criteria.includeNames = arguments.Has("names");
  return PrintSearch(session, library, criteria, references);
}

struct LibraryVerb {
  const char* name;
  std::size_t least, most;  // words with its own
  Result (*run)(Session& session, const CliArguments& arguments);
  std::vector<std::string> options{}, flags{};
};

const std::vector<LibraryVerb>& LibraryVerbs() {
  static const std::vector<LibraryVerb> kVerbs = {
      {"new", 4, 4, NewLibrary},
      {"add", 3, SIZE_MAX, AddToLibrary, {"unique"}},
      {"list", 2, 2, ListLibrary, {"sort", "filter"}, {"hidden"}},
      {"run", 3, SIZE_MAX, RunInLibrary},
      {"duplicates", 2, 2, LibraryDuplicates, {}, {"names"}},
      {"similar", 4, 4, SimilarInLibrary, {}, {"names"}},
  };
  return kVerbs;
}

}  // namespace

std::string LibraryForms() {
  return "library new INSTRUMENT TYPE OUT.pvl        an empty Library for patches of the type\n"
         "library add FILE SOURCE...                 adds the patches of files and folders\n"
         "library list FILE [--sort KEY] [--filter TEXT]   name, keywords, comment and date of the patches\n"
         "library run FILE COMMAND ARGUMENTS...      automation commands, told apart by \",\"\n"
         "library duplicates FILE                    patches that sound like one before them\n"
         "library similar FILE NAME PERCENT          patches that are like one of them\n";
}

std::string LibraryDetails() {
  std::string commands = "Commands of \"run\":";
  std::string line;
  for (const std::string& name : LibraryAutomation::CommandNames()) {
    if (line.size() + name.size() > 90) commands += line + "\n ", line.clear();
    line += " " + name;
  }
  return "\"add\" takes data files, Sets, Libraries, Collections, SysEx and MIDI files, and all of those below a\n"
         "folder; banks are taken apart.  It prints for each patch \"added\" or \"skipped\", its name, the file and "
         "why,\n"
         "tab separated.\n"
         "  --unique none|sound|name|ask   what is left out: nothing, patches whose bytes are there already, patches\n"
         "                          whose name is, or what the user says of a name that is; without a terminal "
         "\"ask\"\n"
         "                          leaves out what is the same in name and bytes and gives others of the same name a\n"
         "                          new one.  Otherwise the setting \"Adding patches\" holds.\n"
         "\"list\" prints name, keywords joined by commas, comment and date, tab separated.\n"
         "  --sort KEY              name, keys, key1 to key8, comment, date, author, copyright, song, musician, band\n"
         "                          or longname; - in front: descending\n"
         "  --filter TEXT           those in whose texts every word occurs\n"
         "  --hidden                hidden patches, too\n"
         "\"duplicates\" and \"similar\" print a line for each patch that was found, with the one it is like and how "
         "many\n"
         "bytes differ; bytes of names count with --names.\n"
         "\"run\" saves what was changed.  Selected patches are those of \"Select\" in the same call; \"Choose\" "
         "prints\n"
         "the names that it finds.\n" +
         commands + line +
         "\n\n"
         "  tonalith-cli library new dx7 voice mine.pvl\n"
         "  tonalith-cli library add mine.pvl rom1a.syx dumps --unique sound\n"
         "  tonalith-cli library list mine.pvl --sort name --filter bass\n"
         "  tonalith-cli library run mine.pvl Select 3 , Keyword 1 Lead , ViewHideSelected\n"
         "  tonalith-cli library duplicates mine.pvl\n"
         "  tonalith-cli library similar mine.pvl \"E.PIANO 1\" 95\n";
}

int RunLibrary(CliEnvironment& environment, const std::vector<std::string>& args) {
  const std::vector<LibraryVerb>& verbs = LibraryVerbs();
  const auto verb = std::find_if(verbs.begin(), verbs.end(),
                                 [&](const LibraryVerb& one) { return !args.empty() && args.front() == one.name; });
  if (verb == verbs.end()) return CliFailure(environment.err, "library", "use it like this:", LibraryForms());
  const CliArguments arguments(args, verb->options, verb->flags);
  if (!arguments.state().ok()) return CliFailure(environment.err, "library", arguments.state().text);
  const std::size_t words = arguments.words().size();
  if (words < verb->least || words > verb->most)
    return CliFailure(environment.err, "library", "use it like this:", LibraryForms());
  Session session(environment);
  const Result result = verb->run(session, arguments);
  return result.ok() ? 0 : CliFailure(environment.err, "library", result.text);
}

}  // namespace tonalith
