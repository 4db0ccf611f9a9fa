#include "bank/ui/bank_names.h"

#include <QCoreApplication>

#include "bank/ui/bank_view.h"
#include "bank/ui/bank_window.h"
#include "platform/prompts.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

constexpr char kNamesTitle[] = "Bank Editor";

QString NamesText(const char* text) {
  return QCoreApplication::translate("BankNames", text);
}

}  // namespace

BankNames::BankNames(TZKBank& window) : window_(window), naming_(window.document()) {}

bool BankNames::Has(CommandId command) const {
  switch (command) {
    case CommandId::BankAutoName:
    case CommandId::BankNumber:
    case CommandId::BankFind:
    case CommandId::BankFindAgain:
    case CommandId::BankImportNames:
      return true;
    default:
      return false;
  }
}

QString BankNames::Refusal(CommandId command) const {
  const ZKBankDoc& bank = window_.document();
  if (command == CommandId::BankFind || command == CommandId::BankFindAgain) {
    if (bank.IsEmpty()) return NamesText("Nothing was received yet.");
    if (bank.PatchCount() < 2) return NamesText("There is only one patch.");
    return command == CommandId::BankFindAgain && found_.empty() ? NamesText("Nothing was searched yet.") : QString();
  }
  if (const QString reason = window_.EditRefusal(); !reason.isEmpty()) return reason;
  if (command == CommandId::BankImportNames) return ShownUtf8(naming_.ImportRefusal());
  return bank.NameLength() == 0 ? NamesText("This data has no names.") : QString();
}

bool BankNames::AskBase(const char* label, std::string* base) {
  TextPrompt prompt;
  prompt.title = kNamesTitle;
  prompt.label = label;
  prompt.maxLength = naming_.LongestBase();
  return window_.context().prompts().Text(prompt, *base);
}

void BankNames::Run(CommandId command) {
  std::string base;
  switch (command) {
    case CommandId::BankAutoName:
      if (AskBase("Name before the number:", &base)) window_.Show(naming_.AutoName(window_.SelectedPatches(), base));
      break;
    case CommandId::BankNumber:
      if (AskBase("Name of all patches, before the number:", &base)) window_.Show(naming_.RenameAndNumberAll(base));
      break;
    case CommandId::BankImportNames:
      AskImport();
      break;
    default:
      FindNext(command == CommandId::BankFind);
      break;
  }
}

void BankNames::FindNext(bool ask) {
  std::string text = found_;
  if (ask) {
    TextPrompt prompt;
    prompt.title = kNamesTitle;
    prompt.label = "Find the name:";
    prompt.text = found_;
    if (!window_.context().prompts().Text(prompt, text) || text.empty()) return;
    found_ = text;
  }
  const std::vector<int> selected = window_.SelectedPatches();
  const int patch = naming_.Find(text, selected.empty() ? window_.view()->CurrentPatch() : selected.back());
  if (patch < 0) return window_.Say(NamesText("No patch has \"%1\" in its name.").arg(ShownUtf8(text)));
  window_.Select({patch});
  window_.Say(NamesText("Found \"%1\" in %2.").arg(ShownUtf8(text), ShownLatin1(window_.document().NumberText(patch))));
}

void BankNames::AskImport() {
  const std::string extension = window_.document().Extension();
  FilePrompt prompt;
  prompt.title = "Select the Bank with Names to Load...";
  prompt.folder = window_.context().DataFolder();
  prompt.patterns =
      FilePatterns("ZK Bank (*." + extension + ")|*." + extension + "|ASCII Text (*.txt)|*.txt|All Files (*.*)|*.*|");
  const std::string path = window_.context().prompts().File(prompt);
  if (!path.empty()) ImportFrom(path);
}

void BankNames::ImportFrom(const std::string& path) {
  std::vector<std::string> names;
  if (const Result read = ReadNameList(path, &names); !read.ok()) {
    window_.context().prompts().Say(kNamesTitle, read.text);
    return;
  }
  std::vector<int> which = window_.SelectedPatches();
  if (which.empty()) which = SlotRun{0, window_.document().PatchCount() - 1}.Slots();
  window_.Show(naming_.ImportNames(names, which));
}

std::vector<CommandId> BankNames::EntriesOf(BankMenu menu) const {
  if (menu != BankMenu::Quick) return {};
  return {CommandId::BankFind, CommandId::BankFindAgain, CommandId::BankAutoName, CommandId::BankNumber,
          CommandId::BankImportNames};
}

}  // namespace tonalith
