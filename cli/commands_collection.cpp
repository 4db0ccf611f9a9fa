#include "cli/commands_collection.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <utility>

#include "bank/bank_document.h"
#include "cli/arguments.h"
#include "cli/bank_files.h"
#include "cli/session.h"
#include "collection/collection_add.h"
#include "collection/collection_document.h"
#include "collection/collection_listing.h"
#include "collection/collection_sources.h"
#include "platform/atomic_file.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "store/library/library_sources.h"

namespace tonalith {

namespace {

Result OpenCollection(Session& session, const std::string& path, ZKDBaseDoc* collection) {
  if (Result result = collection->Load(path); !result.ok()) return result;
  if (!collection->LoadNotice().empty()) session.environment().err << "Note: " << collection->LoadNotice() << "\n";
  return Result::Success();
}

// "3" as an entry of the Collection, from 0.
Result EntryOf(const ZKDBaseDoc& collection, const std::string& text, EntryId* entry) {
  const auto number = ParseInteger(text);
  const std::size_t count = collection.GetDataFileCount();
  if (number && *number >= 0 && static_cast<std::size_t>(*number) < count) {
    *entry = collection.Order()[static_cast<std::size_t>(*number)];
    return Result::Success();
  }
  if (count == 0) return Result::Failure("The Collection has no entries.");
  return Result::Failure("The Collection has the entries 0 to " + std::to_string(count - 1) + ", not \"" + text +
                         "\".");
}

Result NewCollection(Session& session, const CliArguments& arguments) {
  const std::string& path = arguments.words()[1];
  if (FileExists(path)) return Result::Failure(path + " is there already; a new Collection takes no file's place.");
  ZKDBaseDoc collection;
  Result result = collection.Save(path);
  if (result.ok()) session.environment().out << collection.Title() << " in " << path << "\n";
  return result;
}

Result ListCollection(Session& session, const CliArguments& arguments) {
  ZKDBaseDoc collection;
  if (Result result = OpenCollection(session, arguments.words()[1], &collection); !result.ok()) return result;
  TerminalText out = session.environment().out;
  std::size_t number = 0;
  for (const EntryId entry : collection.Order()) {
    const CollectionFacts& facts = collection.Facts(entry);
    out << number++ << "\t"
        << std::string_view(facts.isSet    ? "set"
                            : facts.isBank ? "bank"
                                           : "data")
        << "\t" << facts.Text(CollectionColumn::Type) << "\t" << ShownEntryName(collection, entry) << "\t"
        << EntryStateText(facts.state) << "\t" << facts.size << "\t" << facts.Text(CollectionColumn::Date) << "\n";
    if (!facts.linkProblem.empty()) session.environment().err << "Note: " << facts.linkProblem << "\n";
  }
  return Result::Success();
}

Result PrintCollectionListing(Session& session, const CliArguments& arguments) {
  ZKDBaseDoc collection;
  if (Result result = OpenCollection(session, arguments.words()[1], &collection); !result.ok()) return result;
  TerminalText out = session.environment().out;
  for (const auto& page : CollectionListing(collection, 0))
    for (const std::string& line : page) out << line << "\n";
  return Result::Success();
}

// Adds what the sources hold, and prints what becomes of it.
class CollectionAdding {
 public:
  CollectionAdding(Session& session, ZKDBaseDoc& collection, CollectionAddOptions options, bool link)
      : session_(session),
        out_(session.environment().out),
        own_(collection.path()),
        link_(link),
        adder_(collection, std::move(options)) {}

  void Source(const std::string& path) {
    std::vector<std::string> files;
    std::error_code none;
    const bool folder = std::filesystem::is_directory(path, none);
    if (Result found = FilesOfSource(path, session_.environment().interrupt, &files); !found.ok()) Problem(found.text);
    for (const std::string& file : files) File(file, folder);
  }

  // What of the sources could not be used; empty: nothing.
  const std::string& problem() const { return problem_; }

  void Finish() {
    adder_.Finish();
    out_ << adder_.Entries().size() << " stored, " << skipped_ << " skipped.\n";
  }

 private:
  void File(const std::string& path, bool inFolder) {
    std::vector<CollectionItem> items;
    std::string note;
    std::error_code none;
    Result read;
    if (std::filesystem::equivalent(path, own_, none))
      read = Result::Failure(path + " is the Collection itself.");
    else if (link_)
      read = MakeLinkItem(path, &items.emplace_back());
    else
      read = ReadCollectionSource(path, session_.recognizer(), &items, &note);
    if (!note.empty()) session_.environment().err << "Note: " << note << "\n";
    if (!read.ok()) {
      // A folder may hold anything.
      if (!inFolder) return Problem(read.text);
      return Skip("-", path, read.text);
    }
    if (items.empty() && !inFolder) Problem(path + " holds no data.");
    for (CollectionItem& item : items) Print(adder_.Store(std::move(item)), path);
  }

  void Print(const CollectionAddOutcome& outcome, const std::string& path) {
    if (outcome.kind == CollectionAddOutcome::Kind::Refused) return Skip(outcome.name, path, outcome.note);
    out_ << std::string_view(outcome.kind == CollectionAddOutcome::Kind::Added ? "added" : "overwritten") << "\t"
         << outcome.name << "\t" << path << "\n";
  }
  void Skip(const std::string& name, const std::string& path, const std::string& why) {
    ++skipped_;
    out_ << "skipped\t" << name << "\t" << path << "\t" << ReplaceAll(why, "\n", " ") << "\n";
  }
  void Problem(const std::string& text) { problem_ += (problem_.empty() ? "" : "  ") + text; }

  Session& session_;
  TerminalText out_;
  std::string own_;
  bool link_;
  CollectionAdder adder_;
  std::string problem_;
  std::size_t skipped_ = 0;
};

Result StoreModeOf(const CliArguments& arguments, ZKDBaseDoc* collection) {
  constexpr std::string_view kModes[] = {"add", "overwrite", "ask"};
  const auto wanted = arguments.Option("same");
  if (!wanted) return Result::Success();
  const auto* found = std::find(std::begin(kModes), std::end(kModes), *wanted);
  if (found == std::end(kModes)) return Result::Failure("--same is add, overwrite or ask, not \"" + *wanted + "\".");
  return collection->SetDBaseStore(static_cast<int>(found - std::begin(kModes)));
}

Result AddToCollection(Session& session, const CliArguments& arguments) {
  ZKDBaseDoc collection;
  if (Result opened = OpenCollection(session, arguments.words()[1], &collection); !opened.ok()) return opened;
  if (Result mode = StoreModeOf(arguments, &collection); !mode.ok()) return mode;
  session.LoadStudio();
  CollectionAddOptions options;
  options.uniqueNames = arguments.Has("unique");
  if (session.environment().canAsk)
    options.ask = [&session](const std::string& question) { return AskStoreQuestion(session.prompts(), question); };
  CollectionAdding adding(session, collection, std::move(options), arguments.Has("link"));
  for (std::size_t i = 2; i < arguments.words().size(); ++i) adding.Source(arguments.words()[i]);
  adding.Finish();
  if (collection.IsModified())
    if (Result saved = collection.Save(); !saved.ok()) return saved;
  return adding.problem().empty() ? Result::Success() : Result::Failure(adding.problem());
}

Result TakeFromCollection(Session& session, const CliArguments& arguments) {
  const std::string &from = arguments.words()[1], &to = arguments.words()[3];
  ZKDBaseDoc collection;
  EntryId entry = 0;
  Result result = OpenCollection(session, from, &collection);
  if (result.ok()) result = EntryOf(collection, arguments.words()[2], &entry);
  if (result.ok()) result = CheckBankOut(from, to);
  if (!result.ok()) return result;
  if (collection.Item(entry).isSet) {
    ZKGrpDoc set;
    result = collection.Open(entry, &set);
    if (result.ok() && KindOfFile(to) != FileKind::Set)
      return Result::Failure("The entry is a Set; the file to write ends in .pvs, not \"" + to + "\".");
    return result.ok() ? set.SaveCopy(to) : result;
  }
  session.LoadStudio();
  DataFilePtr data;
  if (result = collection.TakeData(entry, &data); !result.ok()) return result;
  if (data->synth->driverId == 0 && AsciiEndsWithNoCase(to, ".syx"))
    return WriteFileAtomically(to, std::span<const std::uint8_t>(data->body, data->bodySize));
  ZKBankDoc document(std::move(data));
  return WriteBankFile(session, &document, to, false);
}

struct CollectionVerb {
  const char* name;
  std::size_t least, most;  // words with its own
  Result (*run)(Session& session, const CliArguments& arguments);
  std::vector<std::string> options{}, flags{};
};

const std::vector<CollectionVerb>& CollectionVerbs() {
  static const std::vector<CollectionVerb> kVerbs = {
      {"new", 2, 2, NewCollection},
      {"add", 3, SIZE_MAX, AddToCollection, {"same"}, {"unique", "link"}},
      {"list", 2, 2, ListCollection},
      {"take", 4, 4, TakeFromCollection},
      {"listing", 2, 2, PrintCollectionListing},
  };
  return kVerbs;
}

}  // namespace

std::string CollectionForms() {
  return "collection new OUT.pvc            an empty Collection\n"
         "collection add FILE SOURCE...     adds Sets, data files, SysEx, and what is in folders\n"
         "collection list FILE              its entries\n"
         "collection take FILE N OUT        writes entry N as a file of its own\n"
         "collection listing FILE           the listing that is printed\n";
}

std::string CollectionDetails() {
  return "\"list\" prints for each entry its number from 0, kind (set, bank or data), type, name, state, bytes of "
         "SysEx\n"
         "and date, tab separated.  \"add\" takes Sets as a whole, data files, the entries of other Collections, the\n"
         "patches of Libraries, files called .syx as the raw SysEx that they are, and MIDI files by what is "
         "recognised\n"
         "in them.  It prints \"added\", \"overwritten\" or \"skipped\", the name, the file and why, tab separated.\n"
         "  --same add|overwrite|ask   what becomes of data under the name of an entry of its type: it is added, "
         "takes\n"
         "                             the place of that entry, or the user is asked (without a terminal it is "
         "added);\n"
         "                             the Collection remembers it\n"
         "  --unique                   numbers behind names, so that no two are the same\n"
         "  --link                     data files stay where they are; the Collection keeps the path\n"
         "\"take\" writes a Set as .pvs, other entries as a data file, .syx or .mid.\n\n"
         "  tonalith-cli collection new all.pvc\n"
         "  tonalith-cli collection add all.pvc live.pvs bank.dat dumps\n"
         "  tonalith-cli collection list all.pvc\n"
         "  tonalith-cli collection take all.pvc 0 again.pvs\n";
}

int RunCollection(CliEnvironment& environment, const std::vector<std::string>& args) {
  const std::vector<CollectionVerb>& verbs = CollectionVerbs();
  const auto verb = std::find_if(verbs.begin(), verbs.end(),
                                 [&](const CollectionVerb& one) { return !args.empty() && args.front() == one.name; });
  if (verb == verbs.end()) return CliFailure(environment.err, "collection", "use it like this:", CollectionForms());
  const CliArguments arguments(args, verb->options, verb->flags);
  if (!arguments.state().ok()) return CliFailure(environment.err, "collection", arguments.state().text);
  const std::size_t words = arguments.words().size();
  if (words < verb->least || words > verb->most)
    return CliFailure(environment.err, "collection", "use it like this:", CollectionForms());
  Session session(environment);
  const Result result = verb->run(session, arguments);
  return result.ok() ? 0 : CliFailure(environment.err, "collection", result.text);
}

}  // namespace tonalith
