#include "cli/commands_history.h"

#include <memory>
#include <utility>

#include "bank/bank_document.h"
#include "cli/commands_transfer.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::int64_t kMostEntryNumber = 999'999;

// The name of an instrument that the history knows, whether its module is installed or not, or of one of the studio.
Result NameInHistory(Session& session, const InstrumentHistory& history, const std::string& wanted, std::string* name) {
  const std::vector<std::string> kept = history.Instruments();
  std::size_t chosen = 0;
  if (!kept.empty() && ChooseByName(kept, wanted, "instrument of the history", &chosen).ok()) {
    *name = kept[chosen];
    return Result::Success();
  }
  session.LoadStudio();
  ZKDrvList* instrument = nullptr;
  if (Result found = session.FindInstrument(wanted, &instrument); !found.ok())
    return Result::Failure("Nothing is kept of an instrument called \"" + wanted + "\".  " + found.text);
  *name = Latin1ToUtf8(instrument->name);
  return Result::Success();
}

void PrintEntry(TerminalBlocks& out, const HistoryEntry& entry) {
  out << entry.number << "\t" << entry.when << "\t" << entry.instrument << "\t" << entry.What() << "\n";
}

Result ListHistory(Session& session, const std::string& wanted) {
  const InstrumentHistory history = HistoryOf(session);
  std::string name;
  if (Result found = NameInHistory(session, history, wanted, &name); !found.ok()) return found;
  TerminalBlocks out(session.environment().out);
  for (const HistoryEntry& entry : history.List(name)) PrintEntry(out, entry);
  return Result::Success();
}

Result ShowHistory(Session& session, int number) {
  const InstrumentHistory history = HistoryOf(session);
  HistoryEntry entry;
  DataFilePtr data;
  Result result = history.Find(number, &entry);
  if (result.ok()) result = history.Load(number, &data);
  if (!result.ok()) return result;
  TerminalBlocks out(session.environment().out);
  PrintEntry(out, entry);
  out << entry.path << "\n";
  const ZKBankDoc document(std::move(data));
  for (int slot = 0; slot < document.PatchCount(); ++slot) {
    if (!document.IsPatchDefined(slot)) continue;
    out << slot << "\t" << Latin1ToUtf8(document.NumberText(slot)) << "\t" << Latin1ToUtf8(document.GetPatchName(slot))
        << "\n";
  }
  return Result::Success();
}

Result RestoreHistory(Session& session, int number, const TransferOptions& options, const SendWishes& wishes) {
  std::vector<DataFilePtr> pieces(1);
  if (Result loaded = HistoryOf(session).Load(number, &pieces.front()); !loaded.ok()) return loaded;
  return SendPieces(session, "Number " + std::to_string(number) + " of the history", pieces, options, wishes);
}

}  // namespace

std::string HistoryForms() {
  return "history list INSTRUMENT      what the instrument held before something was sent to it, the newest first\n"
         "history show N               what number N of the history holds\n"
         "history restore N [OPTIONS]  sends it back to its instrument\n";
}

std::string HistoryDetails() {
  return std::string(
             "\"send --keep\" keeps what the instrument held.  \"list\" prints number, date (UTC), instrument and "
             "data; "
             "\"show\" the same,\nits file, and slot, number as the instrument shows it and name of each patch; tab "
             "separated.  Nothing is removed\nfrom the history by itself.\n\n") +
         kTransferOptions + "sending:\n" + kSendWishes +
         "\n  tonalith-cli history list dx7\n"
         "  tonalith-cli history restore 12 --out UM-ONE\n";
}

int RunHistory(CliEnvironment& environment, const std::vector<std::string>& args) {
  std::vector<std::string> names = TransferOptionNames();
  names.push_back("slots");
  const CliArguments arguments(args, names, {"keep", "verify"});
  TransferOptions options;
  SendWishes wishes;
  Result result = ReadOptions(arguments, &options);
  if (result.ok()) result = ReadSendWishes(arguments, options, &wishes);
  if (!result.ok()) return CliFailure(environment.err, "history", result.text);
  const std::vector<std::string>& words = arguments.words();
  const std::string verb = words.empty() ? std::string() : words[0];
  if (words.size() != 2 || (verb != "list" && verb != "show" && verb != "restore"))
    return CliFailure(environment.err, "history", "use it like this:", HistoryForms());
  const auto number = ParseInteger(words[1]);
  if (verb != "list" && (!number || *number < 1 || *number > kMostEntryNumber))
    return CliFailure(environment.err, "history", "\"" + words[1] + "\" is no number of the history.");
  if (verb != "restore" && args.size() != words.size())
    return CliFailure(environment.err, "history", "only \"restore\" takes options.");
  Session session(environment);
  // What is kept tells of instruments that are not installed, too.
  if (verb == "restore") session.LoadStudio();
  if (verb == "list")
    result = ListHistory(session, words[1]);
  else if (verb == "show")
    result = ShowHistory(session, static_cast<int>(*number));
  else
    result = RestoreHistory(session, static_cast<int>(*number), options, wishes);
  return result.ok() ? 0 : CliFailure(environment.err, "history", result.text);
}

}  // namespace tonalith
