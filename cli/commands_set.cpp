#include "cli/commands_set.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

#include "bank/bank_document.h"
#include "cli/arguments.h"
#include "cli/bank_files.h"
#include "cli/input_files.h"
#include "cli/session.h"
#include "cli/set_files.h"
#include "cli/set_links.h"
#include "cli/set_transfers.h"
#include "cli/transfer_command.h"
#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/terminal_text.h"
#include "platform/text.h"
#include "store/entry_state.h"
#include "store/sets/new_set.h"
#include "store/sets/set_document.h"
#include "store/sets/set_listing.h"
#include "studio/recognize.h"

namespace tonalith {

namespace {

Result NewSet(Session& session, const CliArguments& arguments) {
  const std::string& path = arguments.words()[2];
  if (FileExists(path)) return Result::Failure(path + " is there already; a new Set takes no file's place.");
  session.LoadStudio();
  ZKDrvList* instrument = nullptr;
  if (Result result = session.FindInstrument(arguments.words()[1], &instrument); !result.ok()) return result;
  const bool withRom = session.settings().Value(SettingId::MainAutoAddRomBanks) != 0;
  ZKGrpDoc set;
  Result result = MakeNewSet(session.studio(), *instrument, withRom, &set);
  if (result.ok()) result = set.Save(path);
  if (result.ok())
    session.environment().out << set.GetSetName() << ": "
                              << Counted(static_cast<std::size_t>(set.GetDataFileCount()), "component") << " in "
                              << path << "\n";
  return result;
}

Result ListSet(Session& session, const CliArguments& arguments) {
  ZKGrpDoc set;
  if (Result result = OpenSet(session, arguments.words()[1], &set); !result.ok()) return result;
  TerminalText out = session.environment().out;
  for (int i = 0; i < set.GetDataFileCount(); ++i) {
    const std::string file = FileOfComponent(set, i);
    out << i << "\t" << set.TypeName(i) << "\t" << EntryStateText(set.StateOf(i)) << "\t" << set.SysExBytes(i) << "\t";
    if (file.empty())
      out << "-\n";
    else
      out << file << "\n";
  }
  return Result::Success();
}

Result PrintSetListing(Session& session, const CliArguments& arguments) {
  ZKGrpDoc set;
  if (Result result = OpenSet(session, arguments.words()[1], &set); !result.ok()) return result;
  TerminalText out = session.environment().out;
  for (const auto& page : SetListing(set, 0))
    for (const std::string& line : page) out << line << "\n";
  return Result::Success();
}

Result PrintSetText(Session& session, const CliArguments& arguments) {
  ZKGrpDoc set;
  if (Result result = OpenSet(session, arguments.words()[1], &set); !result.ok()) return result;
  std::vector<int> chosen;
  for (const std::string& word : arguments.Options("component"))
    if (Result result = ComponentOf(set, word, &chosen.emplace_back()); !result.ok()) return result;
  for (int i = 0; arguments.Options("component").empty() && i < set.GetDataFileCount(); ++i) chosen.push_back(i);
  std::string text;
  if (Result result = ComponentsAsText(set, chosen, &text); !result.ok()) return result;
  TerminalText out = session.environment().out;
  out.Lines(text);  // the export has made each name one line
  return Result::Success();
}

// The one piece of the component's type in a file.
Result ReadPiece(Session& session, const std::string& path, const DataFile& component, DataFilePtr* data) {
  FileBytes bytes;
  if (Result read = ReadCliFile(session.environment(), path, &bytes); !read.ok()) return read;
  if (LooksLikeDataFile(bytes)) {
    ZKBankDoc document(nullptr);
    if (Result result = document.Load(path, std::move(bytes), {}); !result.ok()) return result;
    if (!document.LoadNotice().empty()) session.environment().err << "Note: " << document.LoadNotice() << "\n";
    data->reset(DupForUser(document.dataFile()));
    return *data ? Result::Success() : Result::Failure("There is not enough memory.");
  }
  NoteShortFile(path, bytes, session.environment().err);
  if (!session.HasStudio()) session.LoadStudio();
  Recognition found;
  if (Result result = session.recognizer().Recognize(bytes, &found); !result.ok())
    return Result::Failure(path + ": " + result.text);
  int fitting = 0;
  for (RecognizedPiece& piece : found.pieces) {
    if (!OtherTypeSentence(component, *piece.data).empty()) continue;
    if (++fitting == 1) *data = std::move(piece.data);
  }
  if (fitting == 1) return Result::Success();
  if (fitting > 1)
    return Result::Failure(path + " holds the data several times; \"import\" with --piece makes a data file of one.");
  return Result::Failure(path + ": " + OtherTypeSentence(component, *found.pieces.front().data));
}

// A change of one component, which is saved.
Result Changed(Session& session, const CliArguments& arguments,
               const std::function<Result(ZKGrpDoc& set, int component)>& change) {
  ZKGrpDoc set;
  int component = 0;
  if (Result result = OpenSet(session, arguments.words()[1], &set); !result.ok()) return result;
  if (Result result = ComponentOf(set, arguments.words()[2], &component); !result.ok()) return result;
  Result result = change(set, component);
  return result.ok() && set.IsModified() ? set.Save() : result;
}

Result PutIntoSet(Session& session, const CliArguments& arguments) {
  return Changed(session, arguments, [&](ZKGrpDoc& set, int component) {
    DataFilePtr data;
    Result result = ReadPiece(session, arguments.words()[3], *set.GetDataFile(component), &data);
    return result.ok() ? set.PutData(component, std::move(data)) : result;
  });
}

Result LinkInSet(Session& session, const CliArguments& arguments) {
  return Changed(session, arguments,
                 [&](ZKGrpDoc& set, int component) { return set.SetLink(component, arguments.words()[3]); });
}

Result ActivateInSet(Session& session, const CliArguments& arguments) {
  const bool active = arguments.words()[0] == "activate";
  return Changed(session, arguments,
                 [active](ZKGrpDoc& set, int component) { return set.SetActive(component, active); });
}

Result TakeFromSet(Session& session, const CliArguments& arguments) {
  session.LoadStudio();
  const std::string &from = arguments.words()[1], &to = arguments.words()[3];
  ZKGrpDoc set;
  int component = 0;
  Result result = OpenSet(session, from, &set);
  if (result.ok()) result = ComponentOf(set, arguments.words()[2], &component);
  if (result.ok()) result = CheckBankOut(from, to);
  DataFilePtr data;
  if (result.ok()) result = set.TakeData(component, &data);
  if (!result.ok()) return result;
  ZKBankDoc document(std::move(data));
  return WriteBankFile(session, &document, to, false);
}

Result ResolveInSet(Session& session, const CliArguments& arguments) {
  ZKGrpDoc set;
  if (Result result = OpenSet(session, arguments.words()[1], &set); !result.ok()) return result;
  if (!set.IsResolvable()) return Result::Failure("The Set has no links.");
  std::vector<int> left;
  Result result = set.ResolveLinks(&left);
  if (result.ok()) result = set.Save();
  if (!result.ok() || left.empty()) return result;
  std::string text = "Links that stay, as there is no data for them: ";
  for (const int component : left)
    text += (component == left.front() ? "" : ", ") + std::to_string(component) + " " + set.TypeName(component);
  return Result::Failure(text + ".");
}

constexpr char kSetOptions[] =
    "  --component N           only this one; may be given several times\n"
    "  --in NAME, --out NAME   MIDI ports, by name or a part of it that only one has; without them those that the\n"
    "                          studio remembers for the instrument, else the only ones there are\n"
    "  --device N, --channel N, --timeout MS, --record FILE, --conversation FILE   as for \"receive\" and \"send\"\n"
    "  --virtual [DUMP]        instead of real ports a simulated instrument, in virtual time, loaded with DUMP, or "
    "with\n"
    "                          contents of its own; --fault, --press and --state as for \"receive\"\n"
    "getting:\n"
    "  --any-checksum, --twice as for \"receive\"\n"
    "sending:\n"
    "  --verify, --keep        as for \"send\"\n";

struct SetVerb {
  const char* name;
  std::size_t words;  // with its own
  Result (*run)(Session& session, const CliArguments& arguments);
  bool transfers;
};
constexpr SetVerb kVerbs[] = {
    {"new", 3, NewSet, false},
    {"list", 2, ListSet, false},
    {"put", 4, PutIntoSet, false},
    {"take", 4, TakeFromSet, false},
    {"get", 2, GetSet, true},
    {"send", 2, SendSet, true},
    {"listing", 2, PrintSetListing, false},
    {"text", 2, PrintSetText, false},
    {"links", 2, ListSetLinks, false},
    {"link", 4, LinkInSet, false},
    {"resolve", 2, ResolveInSet, false},
    {"activate", 3, ActivateInSet, false},
    {"deactivate", 3, ActivateInSet, false},
};

CliArguments ArgumentsOf(const SetVerb& verb, const std::vector<std::string>& args) {
  if (verb.run == ListSetLinks) return CliArguments(args, {"report"});
  if (verb.run == PrintSetText) return CliArguments(args, {"component"});
  if (!verb.transfers) return CliArguments(args, {});
  std::vector<std::string> names = TransferOptionNames();
  std::erase_if(names, [](const std::string& name) { return name == "patch" || name == "type"; });
  names.emplace_back("component");
  const bool gets = verb.run == GetSet;
  return CliArguments(
      WithVirtualDump(args), names,
      gets ? std::vector<std::string>{"any-checksum", "twice"} : std::vector<std::string>{"keep", "verify"});
}

}  // namespace

std::string SetForms() {
  return "set new INSTRUMENT OUT.pvs      a Set with a component for each data type of the instrument\n"
         "set list FILE                   its components\n"
         "set get FILE [OPTIONS]          gets the components from the instrument into the file\n"
         "set send FILE [OPTIONS]         sends them to the instrument\n"
         "set put FILE N DATA             the data of a file becomes that of component N\n"
         "set take FILE N OUT             writes component N as a file of its own\n"
         "set listing FILE                the listing that is printed\n"
         "set text FILE [--component N]...  numbers and names of the patches of all components, or of these\n"
         "set links FILE [--report OUT]   which patches play which others; as a page (HTML) with --report\n"
         "set link FILE N DATA            component N becomes a link to a data file\n"
         "set resolve FILE                the data of all links comes into the file\n"
         "set activate FILE N             switches component N on\n"
         "set deactivate FILE N           switches it off: it is neither got nor sent\n";
}

std::string SetDetails() {
  return std::string(
             "\"list\" prints for each component its number, data type, state, bytes of SysEx and file (or -), tab\n"
             "separated.  States are undefined (nothing came yet), empty and defined, with inactive and linked behind\n"
             "commas.  \"get\" and \"send\" print number, data type and what became of it.\n"
             "\"links\" prints for each patch that plays another the type, number and name of both, tab separated.\n"
             "\"get\" saves what came, also when some of it did not, or it was interrupted; the status is 1 then.  "
             "What\n"
             "is started on the instrument is got when --component names it.  \"send\" sends multis behind the "
             "patches\n"
             "that they play.\n\n") +
         kSetOptions +
         "\n  tonalith-cli set new dx7 all.pvs\n"
         "  tonalith-cli set get all.pvs --virtual\n"
         "  tonalith-cli set list all.pvs\n"
         "  tonalith-cli set take all.pvs 0 bank.dat\n"
         "  tonalith-cli set send all.pvs --component 0 --virtual\n";
}

int RunSet(CliEnvironment& environment, const std::vector<std::string>& args) {
  const auto verb = std::find_if(std::begin(kVerbs), std::end(kVerbs),
                                 [&](const SetVerb& one) { return !args.empty() && args.front() == one.name; });
  if (verb == std::end(kVerbs)) return CliFailure(environment.err, "set", "use it like this:", SetForms());
  const CliArguments arguments = ArgumentsOf(*verb, args);
  if (!arguments.state().ok()) return CliFailure(environment.err, "set", arguments.state().text);
  if (arguments.words().size() != verb->words)
    return CliFailure(environment.err, "set", "use it like this:", SetForms());
  Session session(environment);
  const Result result = verb->run(session, arguments);
  return result.ok() ? 0 : CliFailure(environment.err, "set", result.text);
}

}  // namespace tonalith
