#include "cli/commands_catalogue.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "catalogue/catalogue.h"
#include "catalogue/catalogue_scan.h"
#include "catalogue/near_sounds.h"
#include "cli/arguments.h"
#include "cli/session.h"
#include "platform/folders.h"
#include "platform/lock_file.h"
#include "platform/path_resolver.h"
#include "platform/plain_text.h"
#include "platform/text.h"

namespace tonalith {

namespace {

// The file as the scan calls it.
std::string ScannedPath(const std::string& operand) {
  const std::string whole = AbsolutePath(operand), folder = FolderOf(whole);
  return JoinPath(RealPath(folder).value_or(folder), FileNameOf(whole));
}

// The catalogue of a session, beside its settings.
class CatalogueOfSession {
 public:
  explicit CatalogueOfSession(Session& session)
      : session_(session), file_(session.paths().MainGetPreferencesPath() + "/Catalogue") {}

  Session& session() { return session_; }
  Catalogue& catalogue() { return catalogue_; }
  std::vector<std::string> Folders() const { return CatalogueFolders(file_ + ".ini"); }

  Result Open() {
    Result opened = catalogue_.Open(file_ + ".db", Locks());
    return opened.ok() && catalogue_.WasMadeAnew() ? Refill() : opened;
  }
  // In the place of a damaged one.
  Result MakeAnew() {
    Result made = catalogue_.MakeAnew(Locks());
    return made.ok() ? Refill() : made;
  }
  Result Follow(const std::string& folder) { return FollowFolder(file_ + ".ini", folder); }

  Result Scan(const std::vector<std::string>& folders) {
    LockFile lock;
    if (Result taken = LockCatalogue(&lock, Locks(), catalogue_.path()); !taken.ok()) return taken;
    if (!session_.HasStudio()) session_.LoadStudio();
    CliEnvironment& environment = session_.environment();
    CatalogueScan scan(catalogue_, session_.recognizer(), ReaderOf(session_.studio()), environment.interrupt);
    Result result;
    std::string problems;
    for (const std::string& folder : folders) {
      if (result = scan.Scan(folder); !result.ok() && result.code != 1) return result;
      if (!result.ok()) problems += (problems.empty() ? "" : "  ") + result.text;
      if (environment.interrupt.Cancelled()) break;
    }
    const ScanCounts& counts = scan.counts();
    environment.err << Counted(counts.files, "file") << ", " << counts.read << " of them read with " << counts.patches
                    << " patches; " << counts.gone << " no longer there.\n";
    if (counts.damaged)
      environment.err << "Note: " << Counted(counts.damaged, "file")
                      << " not whole or not to be read; \"catalogue status\" says why.\n";
    for (const std::string& problem : scan.problems()) problems += (problems.empty() ? "" : "  ") + problem;
    return problems.empty() ? Result::Success() : Result::Failure(problems);
  }

 private:
  std::string Locks() const { return session_.paths().folders().runtime; }

  Result Refill() {
    session_.environment().err << "Note: The catalogue was damaged or of another version; it is made anew.\n";
    // What cannot be scanned is said, and the rest is there all the same.
    if (Result scanned = Scan(Folders()); !scanned.ok()) session_.environment().err << "Note: " << scanned.text << "\n";
    return Result::Success();
  }

  Session& session_;
  Catalogue catalogue_;
  std::string file_;
};

// Lines of columns, written when all are there: what is begun again must not be there twice.
class HitLines {
 public:
  bool Add(const CatalogueHit& hit) {
    const std::string slot = std::to_string(hit.slot);
    for (const std::string_view text : {hit.instrument, hit.type, std::string_view(hit.name),
                                        std::string_view(hit.number), hit.path, std::string_view(slot)}) {
      if (!lines_.empty() && lines_.back() != '\n') lines_ += '\t';
      AppendPlainLine(lines_, text);
    }
    lines_ += '\n';
    return true;
  }
  // To the last line.
  void AddNumber(std::uint32_t number) { lines_.insert(lines_.size() - 1, "\t" + std::to_string(number)); }
  void Write(TerminalText out) const { out.Lines(lines_); }

 private:
  std::string lines_;
};

Result ScanFolders(CatalogueOfSession& own, const CliArguments& arguments) {
  std::vector<std::string> folders;
  for (std::size_t i = 1; i < arguments.words().size(); ++i) {
    const std::string& operand = arguments.words()[i];
    const auto real = RealPath(operand);
    if (!real) return Result::Failure("There is no folder " + operand + ".");
    folders.push_back(*real);
  }
  if (folders.empty() && (folders = own.Folders()).empty())
    return Result::Failure("No folders were named yet: \"catalogue scan DIR\".");
  Result scanned = own.Scan(folders);
  for (const std::string& folder : folders)
    if (Result followed = own.Follow(folder); scanned.ok() && !followed.ok()) scanned = followed;
  return scanned;
}

Result FindInCatalogue(CatalogueOfSession& own, const CliArguments& arguments) {
  CatalogueQuery query;
  for (std::size_t i = 1; i < arguments.words().size(); ++i)
    query.text += (query.text.empty() ? "" : " ") + arguments.words()[i];
  query.instrument = arguments.Option("instrument").value_or(std::string());
  query.tag = arguments.Option("tag").value_or(std::string());
  std::int64_t limit = 0;
  if (Result number = arguments.Number("limit", 1, INT32_MAX, 0, &limit); !number.ok()) return number;
  query.limit = static_cast<std::size_t>(limit);
  const CliEnvironment& environment = own.session().environment();
  HitLines lines;
  Result result =
      own.catalogue().Find(query, environment.interrupt, [&lines](const CatalogueHit& hit) { return lines.Add(hit); });
  if (result.ok() || result.code == 1) lines.Write(environment.out);
  return result;
}

Result SlotOf(const CliArguments& arguments, std::uint32_t* slot) {
  const std::string& word = arguments.words()[2];
  const auto number = ParseInteger(word);
  if (!number || *number < 0 || *number > UINT32_MAX)
    return Result::Failure("SLOT is the last column of \"catalogue find\", not \"" + word + "\".");
  *slot = static_cast<std::uint32_t>(*number);
  return Result::Success();
}

Result SameInCatalogue(CatalogueOfSession& own, const CliArguments& arguments) {
  std::uint32_t slot = 0;
  if (Result number = SlotOf(arguments, &slot); !number.ok()) return number;
  HitLines lines;
  Result result = own.catalogue().Same(ScannedPath(arguments.words()[1]), slot,
                                       [&lines](const CatalogueHit& hit) { return lines.Add(hit); });
  if (result.ok()) lines.Write(own.session().environment().out);
  return result;
}

Result NearInCatalogue(CatalogueOfSession& own, const CliArguments& arguments) {
  std::uint32_t slot = 0;
  if (Result number = SlotOf(arguments, &slot); !number.ok()) return number;
  const auto most = ParseInteger(arguments.words()[3]);
  if (!most || *most < 0 || *most > INT32_MAX)
    return Result::Failure("BYTES is how many bytes may differ, not \"" + arguments.words()[3] + "\".");
  Session& session = own.session();
  if (!session.HasStudio()) session.LoadStudio();
  HitLines lines;
  Result result = FindNear(own.catalogue(), session.recognizer(), ScannedPath(arguments.words()[1]), slot,
                           static_cast<std::uint32_t>(*most), session.environment().interrupt,
                           [&lines](const CatalogueHit& hit, std::uint32_t different) {
                             lines.Add(hit);
                             lines.AddNumber(different);
                             return true;
                           });
  if (result.ok()) lines.Write(session.environment().out);
  return result;
}

Result CatalogueStatusLines(CatalogueOfSession& own, const CliArguments&) {
  CatalogueStatus status;
  if (Result result = own.catalogue().Status(&status); !result.ok()) return result;
  TerminalText out = own.session().environment().out;
  for (const std::string& folder : own.Folders()) out << "folder\t" << folder << "\n";
  out << "files\t" << status.files << "\npatches\t" << status.patches << "\nwithout data\t" << status.withoutData
      << "\ndamaged\t" << status.damaged.size() << "\n";
  for (const CatalogueStatus::Damaged& file : status.damaged) out << file.path << "\t" << file.reason << "\n";
  return Result::Success();
}

struct CatalogueVerb {
  const char* name;
  std::size_t least, most;  // words with its own
  Result (*run)(CatalogueOfSession& own, const CliArguments& arguments);
  std::vector<std::string> options{};
};

const std::vector<CatalogueVerb>& CatalogueVerbs() {
  static const std::vector<CatalogueVerb> kVerbs = {
      {"scan", 1, SIZE_MAX, ScanFolders},     {"find", 1, SIZE_MAX, FindInCatalogue, {"instrument", "tag", "limit"}},
      {"same", 3, 3, SameInCatalogue},        {"near", 4, 4, NearInCatalogue},
      {"status", 1, 1, CatalogueStatusLines},
  };
  return kVerbs;
}

}  // namespace

std::string CatalogueForms() {
  return "catalogue scan [DIR...]             takes in what is new below the folders and forgets what is gone\n"
         "catalogue find TEXT [--instrument NAME] [--tag TEXT] [--limit N]   the patches with every word in their "
         "texts\n"
         "catalogue same FILE SLOT            where else the sound of a patch is, and under which names\n"
         "catalogue near FILE SLOT BYTES      patches that differ from it in no more bytes than that\n"
         "catalogue status                    folders, files, patches, damaged files with reasons\n";
}

std::string CatalogueDetails() {
  return "The catalogue holds every patch of data files, Sets, Libraries, Collections, SysEx and MIDI files below the\n"
         "folders; it only reads them.  \"scan\" without folders takes those that were named before.  Only files that\n"
         "are new or were changed are read, and an interrupted scan goes on where it was.  Damaged files are in\n"
         "nobody's way: what is whole of them is there, and \"status\" says what is wrong.\n"
         "\"find\" prints instrument, type, name, number, file and slot, tab separated.  Words are found in name,\n"
         "keywords, comment and tags and in the names of instrument and type, also as a part of a word; case and\n"
         "accents do not count.\n"
         "  --instrument NAME       of the instrument with this name, or of those that have it as a part of theirs\n"
         "  --tag TEXT              with these words in keywords or tags\n"
         "  --limit N               no more than that\n"
         "SLOT is the number of a patch among those of its file, from 0; in a file with one bank that of its slot.\n"
         "\"same\" and \"near\" print the same columns, \"near\" how many bytes differ behind them.  Bytes of names do "
         "not\n"
         "count.  \"near\" reads the files of the instrument again.\n"
         "The catalogue lies beside the settings and can be deleted: \"scan\" makes it anew.\n\n"
         "  tonalith-cli catalogue scan ~/Music/SysEx ~/Documents\n"
         "  tonalith-cli catalogue find warm pad --instrument dx7 --limit 20\n"
         "  tonalith-cli catalogue same rom1a.syx 4\n"
         "  tonalith-cli catalogue near rom1a.syx 4 3\n";
}

int RunCatalogue(CliEnvironment& environment, const std::vector<std::string>& args) {
  const std::vector<CatalogueVerb>& verbs = CatalogueVerbs();
  const auto verb = std::find_if(verbs.begin(), verbs.end(),
                                 [&](const CatalogueVerb& one) { return !args.empty() && args.front() == one.name; });
  if (verb == verbs.end()) return CliFailure(environment.err, "catalogue", "use it like this:", CatalogueForms());
  const CliArguments arguments(args, verb->options);
  if (!arguments.state().ok()) return CliFailure(environment.err, "catalogue", arguments.state().text);
  const std::size_t words = arguments.words().size();
  if (words < verb->least || words > verb->most)
    return CliFailure(environment.err, "catalogue", "use it like this:", CatalogueForms());
  Session session(environment);
  CatalogueOfSession own(session);
  Result result = own.Open();
  if (result.ok()) result = verb->run(own, arguments);
  if (result.code == kDatabaseDamaged) {
    result = own.MakeAnew();
    if (result.ok()) result = verb->run(own, arguments);
  }
  return result.ok() ? 0 : CliFailure(environment.err, "catalogue", result.text);
}

}  // namespace tonalith
