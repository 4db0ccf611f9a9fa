#include "bank/ui/bank_initial.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include "bank/ui/bank_model.h"
#include "bank/ui/bank_view.h"
#include "bank/ui/bank_window.h"
#include "platform/prompts.h"
#include "store/bank_slots.h"
#include "store/initial_patch.h"
#include "ui/clipboard.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr char kInitialTitle[] = "Bank Editor";

QString InitialText(const char* text) {
  return QCoreApplication::translate("BankInitial", text);
}

}  // namespace

bool BankInitial::Has(CommandId command) const {
  return command == CommandId::BankWriteInit || command == CommandId::BankWriteInitIni ||
         command == CommandId::BankInitToClip || command == CommandId::BankOriginalOrder;
}

QString BankInitial::Refusal(CommandId command) const {
  const ZKBankDoc& bank = window_.document();
  if (const QString reason = window_.EditRefusal(); !reason.isEmpty()) return reason;
  if (command == CommandId::BankOriginalOrder)
    return bank.original() ? QString() : InitialText("There was not enough memory to keep the data as it came.");
  if (!bank.IsPatchDefined(0)) return InitialText("The first patch holds nothing yet.");
  if (command != CommandId::BankInitToClip && window_.context().ModuleFolder(*bank.dataFile()).empty())
    return InitialText("The instrument of this bank is not in the studio.");
  return {};
}

void BankInitial::Run(CommandId command) {
  switch (command) {
    case CommandId::BankWriteInit:
      // With Shift the menu entry writes the other form.
      return OnWriteBankInit(QGuiApplication::keyboardModifiers() & Qt::ShiftModifier);
    case CommandId::BankWriteInitIni:
      return OnWriteBankInit(true);
    case CommandId::BankInitToClip:
      return OnPatchInitToClip();
    default:
      return OrigOrder();
  }
}

void BankInitial::OnWriteBankInit(bool ini) {
  MessagePrompt prompt;
  prompt.title = kInitialTitle;
  prompt.text =
      "This function will write the FIRST PATCH IN THE BANK into the ini file as the PatchInit Data.\n\nAre you sure?";
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  if (window_.context().prompts().Message(prompt) != PromptAnswer::Yes) return;
  const DataFile& data = *window_.dataFile();
  std::string file;
  const Result written =
      WriteInitialPatch(window_.context().ModuleFolder(data), *data.synth, BankSlots(*window_.dataFile()), ini, &file);
  if (written.ok())
    window_.Say(InitialText("The first patch is written to %1.").arg(ShownUtf8(file)));
  else
    window_.context().prompts().Say(kInitialTitle, written.text);
}

void BankInitial::OnPatchInitToClip() {
  std::string text;
  for (const std::uint8_t byte : BankSlots(*window_.dataFile()).Raw(0)) text += std::to_string(byte) + ", ";
  if (CopyText(window_.context().prompts(), FromUtf8(text), kInitialTitle))
    window_.Say(InitialText("The bytes of the first patch are copied."));
}

void BankInitial::OrigOrder() {
  // The rows show the original while the box is open; the data itself stays as it is.
  BankListModel* model = window_.view()->bankModel();
  const QString title = window_.windowTitle();
  SetTitle(&window_, InitialText("Original Bank"));
  model->ShowSoFar(DataFilePtr(DupForUser(window_.document().original())));
  window_.context().prompts().Say(kInitialTitle, "Original Contents of Bank displayed");
  model->ShowSoFar(nullptr);
  window_.RenewTitle();
}

std::vector<CommandId> BankInitial::EntriesOf(BankMenu menu) const {
  if (menu != BankMenu::Quick) return {};
  return {CommandId::BankOriginalOrder, CommandId::BankWriteInit, CommandId::BankWriteInitIni,
          CommandId::BankInitToClip};
}

}  // namespace tonalith
