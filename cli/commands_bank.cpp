#include "cli/commands_bank.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "bank/bank_commands.h"
#include "bank/bank_document.h"
#include "cli/arguments.h"
#include "cli/bank_files.h"
#include "cli/session.h"
#include "platform/text.h"

namespace tonalith {

namespace {

// The parts of a COMMAND: its words, and what stands behind a number of them as it is.
class CommandWords {
 public:
  explicit CommandWords(const std::string& command) : rest_(TrimmedView(command)) {}

  std::string Next() {
    const std::size_t end = rest_.find(' ');
    std::string word = rest_.substr(0, end);
    rest_ = end == std::string::npos ? std::string() : std::string(TrimmedView(rest_.substr(end)));
    return word;
  }
  const std::string& rest() const { return rest_; }

 private:
  std::string rest_;
};

std::optional<std::int64_t> NumberOf(const std::string& word) {
  const auto number = ParseInteger(word);
  constexpr std::int64_t kMost = 1'000'000'000;
  return number && *number >= -kMost && *number <= kMost ? number : std::nullopt;
}

std::optional<int> SlotOf(const std::string& word) {
  const auto number = NumberOf(word);
  return number && *number >= 0 ? std::optional<int>(static_cast<int>(*number)) : std::nullopt;
}

// "3" or "3-7".
std::optional<SlotRun> RunOf(const std::string& word) {
  const std::size_t dash = word.find('-');
  const auto first = SlotOf(word.substr(0, dash));
  const auto last = dash == std::string::npos ? first : SlotOf(word.substr(dash + 1));
  if (!first || !last) return std::nullopt;
  return SlotRun{*first, *last};
}

// What a command works with beside the document.
struct EditContext {
  ZKBankDoc& document;
  BankCommands commands;
  const DataFile* newData = nullptr;
  bool definesAlways = false;
};

// `words` stands behind the verb; nullopt: they are not as the form says.
using EditFunction = std::optional<BankOutcome> (*)(EditContext& context, CommandWords& words);

template <BankOutcome (BankCommands::*command)(int, int)>
std::optional<BankOutcome> TwoSlots(EditContext& context, CommandWords& words) {
  const auto a = SlotOf(words.Next()), b = SlotOf(words.Next());
  if (!a || !b || !words.rest().empty()) return std::nullopt;
  return (context.commands.*command)(*a, *b);
}

template <BankOutcome (BankCommands::*command)(SlotRun)>
std::optional<BankOutcome> OneRun(EditContext& context, CommandWords& words) {
  const auto run = RunOf(words.Next());
  if (!run || !words.rest().empty()) return std::nullopt;
  return (context.commands.*command)(*run);
}

std::optional<BankOutcome> MoveRun(EditContext& context, CommandWords& words) {
  const auto run = RunOf(words.Next());
  const auto before = SlotOf(words.Next());
  if (!run || !before || !words.rest().empty()) return std::nullopt;
  return context.commands.Move(*run, *before);
}

std::optional<BankOutcome> RotateRun(EditContext& context, CommandWords& words) {
  const auto run = RunOf(words.Next());
  const auto steps = NumberOf(words.Next());
  if (!run || !steps || !words.rest().empty()) return std::nullopt;
  return context.commands.Rotate(*run, *steps);
}

std::optional<BankOutcome> SortRun(EditContext& context, CommandWords& words) {
  const auto run = RunOf(words.Next());
  const std::string key = words.Next();
  if (!run || (key != "name" && key != "number") || !words.rest().empty()) return std::nullopt;
  return key == "name" ? context.commands.SortByName(*run) : context.commands.SortByNumber(*run);
}

std::optional<BankOutcome> RenameSlot(EditContext& context, CommandWords& words) {
  const auto slot = SlotOf(words.Next());
  if (!slot) return std::nullopt;
  return context.commands.Rename(*slot, words.rest());
}

std::optional<BankOutcome> AutoNameRun(EditContext& context, CommandWords& words) {
  const auto run = RunOf(words.Next());
  const auto first = NumberOf(words.Next());
  if (!run || !first) return std::nullopt;
  return context.commands.AutoName(*run, *first, words.rest());
}

std::optional<BankOutcome> DeleteRun(EditContext& context, CommandWords& words) {
  const auto run = RunOf(words.Next());
  if (!run || !words.rest().empty()) return std::nullopt;
  return context.commands.Delete(*run, context.definesAlways, context.newData);
}

std::optional<BankOutcome> InitRun(EditContext& context, CommandWords& words) {
  const auto run = RunOf(words.Next());
  if (!run || !words.rest().empty()) return std::nullopt;
  return context.commands.Init(*run, context.newData);
}

template <Result (Document::*step)()>
std::optional<BankOutcome> HistoryStep(EditContext& context, CommandWords& words) {
  if (!words.rest().empty()) return std::nullopt;
  BankOutcome outcome((context.document.*step)());
  outcome.status = context.document.StatusText();
  return outcome;
}

struct EditVerb {
  const char* name;
  const char* form;
  EditFunction run;
};
constexpr EditVerb kEditVerbs[] = {
    {"swap", "swap A B", TwoSlots<&BankCommands::Swap>},
    {"copy", "copy A B", TwoSlots<&BankCommands::Copy>},
    {"move", "move A-B C", MoveRun},
    {"rotate", "rotate A-B STEPS", RotateRun},
    {"invert", "invert A-B", OneRun<&BankCommands::Invert>},
    {"sort", "sort A-B name|number", SortRun},
    {"rename", "rename A TEXT", RenameSlot},
    {"autoname", "autoname A-B FIRST BASE", AutoNameRun},
    {"delete", "delete A-B", DeleteRun},
    {"restore", "restore A-B", OneRun<&BankCommands::Restore>},
    {"init", "init A-B", InitRun},
    {"undo", "undo", HistoryStep<&Document::Undo>},
    {"redo", "redo", HistoryStep<&Document::Redo>},
};

BankOutcome RunEdit(EditContext& context, const std::string& command) {
  CommandWords words(command);
  const std::string name = words.Next();
  for (const EditVerb& verb : kEditVerbs) {
    if (name != verb.name) continue;
    if (auto outcome = verb.run(context, words)) return *std::move(outcome);
    return Result::Failure("Write it as \"" + std::string(verb.form) + "\".");
  }
  return Result::Failure("There is no such command.");
}

Result Edit(Session& session, const std::vector<std::string>& words) {
  TerminalText err = session.environment().err;
  std::unique_ptr<ZKBankDoc> document;
  if (Result result = OpenBankFile(session, words[0], &document); !result.ok()) return result;
  if (Result result = CheckBankOut(words[0], words[1]); !result.ok()) return result;
  const ZKDrvList* driver = session.studio().DriverOf(document->dataFile());
  const std::filesystem::path folder = driver ? session.studio().facts().ModuleFolder(driver) : std::filesystem::path();
  EditContext context{*document, BankCommands(*document, folder), driver ? driver->dataFile.get() : nullptr,
                      session.settings().Value(SettingId::MainAutoDefinePatchesAndBanks) == 1};
  std::vector<std::string> done;
  for (std::size_t i = 2; i < words.size(); ++i) {
    const BankOutcome outcome = RunEdit(context, words[i]);
    if (!outcome.ok())
      return Result::Failure("\"" + words[i] + "\": " + outcome.text + "  " + words[1] + " was not written.");
    if (!outcome.note.empty()) err << "tonalith-cli bank: \"" << words[i] << "\": " << outcome.note << "\n";
    done.push_back(outcome.status);
  }
  if (Result result = WriteBankFile(session, document.get(), words[1], document->history().Position() > 0);
      !result.ok())
    return result;
  for (const std::string& status : done) session.environment().out << status << "\n";
  return Result::Success();
}

Result State(Session& session, const std::string& file) {
  std::unique_ptr<ZKBankDoc> document;
  if (Result result = OpenBankFile(session, file, &document); !result.ok()) return result;
  if (std::string reason = document->ReadOnlyReason(); !reason.empty())
    session.environment().err << "tonalith-cli bank: " << reason << "\n";
  TerminalBlocks out(session.environment().out);
  for (int slot = 0; slot < document->PatchCount(); ++slot) {
    out << slot << "\t" << Latin1ToUtf8(document->NumberText(slot));
    out << (document->IsPatchDefined(slot) ? OwnText("\tdefined") : OwnText("\tundefined"));
    out << (document->DiffersFromInstrument(slot) ? OwnText("\tchanged") : OwnText("\tsent"));
    out << (document->IsDamaged(slot) ? OwnText("\tdamaged\t") : OwnText("\tok\t"));
    out << Latin1ToUtf8(document->GetPatchName(slot)) << "\n";
  }
  return Result::Success();
}

}  // namespace

std::string BankForms() {
  return "bank edit FILE OUT COMMAND...  rearranges the patches of a bank; the result is OUT, FILE stays as it is\n"
         "bank state FILE                what every slot of a bank holds\n";
}

std::string BankDetails() {
  std::string text =
      "FILE is a data file, raw SysEx or a Standard MIDI File with one bank.  OUT is a data file, or what \"export\" "
      "writes\nwhen it ends in .syx or .mid (texts, keywords and marks are only in data files).  Every COMMAND is one "
      "argument;\nslots count from 0, A-B is a run of slots:\n\n";
  for (const EditVerb& verb : kEditVerbs) text += "  " + std::string(verb.form) + "\n";
  return text +
         "\n\"copy\" to the slot behind the last one adds a patch, where a bank holds as many as there are.\n"
         "\"move\" inserts before slot C; \"rotate\" goes down the list, with negative STEPS up; \"restore\" takes "
         "the "
         "patches\nas FILE has them.  What was done is printed, a line a command.  When one is refused, OUT is not "
         "written.\n\n"
         "\"state\" prints a line for each slot: slot, number as the instrument shows it, defined or undefined, sent "
         "or\nchanged (since it came from the instrument or its file, or was sent), ok or damaged, name; tab "
         "separated.\n\n"
         "  tonalith-cli bank edit bank.dat sorted.dat \"sort 0-31 name\" \"rename 0 FIRST\"\n"
         "  tonalith-cli bank state sorted.dat\n";
}

int RunBank(CliEnvironment& environment, const std::vector<std::string>& args) {
  const bool edits = args.size() >= 4 && args[0] == "edit";
  const bool tells = args.size() == 2 && args[0] == "state";
  if (!edits && !tells) return CliFailure(environment.err, "bank", "use it like this:", BankForms());
  Session session(environment);
  session.LoadStudio();
  const Result result = edits ? Edit(session, {args.begin() + 1, args.end()}) : State(session, args[1]);
  return result.ok() ? 0 : CliFailure(environment.err, "bank", result.text);
}

}  // namespace tonalith
