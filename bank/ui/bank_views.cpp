#include "bank/ui/bank_views.h"

#include <QCoreApplication>
#include <QCursor>
#include <QMenu>

#include "bank/ui/bank_view.h"
#include "bank/ui/bank_window.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "services/settings.h"
#include "store/patch_exchange.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

QString ViewsText(const char* text) {
  return QCoreApplication::translate("BankViews", text);
}

}  // namespace

bool BankViews::Has(CommandId command) const {
  return command == CommandId::BankViewList || command == CommandId::BankViewGrid || command == CommandId::EditOpen ||
         command == CommandId::EditQuickMenu;
}

QString BankViews::Refusal(CommandId command) const {
  if (command == CommandId::EditOpen) {
    if (const QString reason = window_.EditRefusal(); !reason.isEmpty()) return reason;
    if (window_.document().synth().isBank == 0) return ViewsText("This is a single patch already.");
    if (window_.view()->CurrentPatch() < 0) return ViewsText("No patch is selected.");
  }
  return {};
}

bool BankViews::IsChecked(CommandId command) const {
  return window_.ShowsGrid() == (command == CommandId::BankViewGrid);
}

void BankViews::Run(CommandId command) {
  switch (command) {
    case CommandId::BankViewList:
    case CommandId::BankViewGrid:
      window_.context().settings().Access(SettingId::MainBankViewMode, command == CommandId::BankViewGrid ? 1 : 0);
      window_.ShowGrid(command == CommandId::BankViewGrid);
      return window_.Say(command == CommandId::BankViewGrid ? ViewsText("The patches are shown in chunks.")
                                                            : ViewsText("The patches are shown in columns."));
    case CommandId::EditQuickMenu:
      return window_.ShowQuickMenu(
          window_.view()->viewport()->mapToGlobal(window_.view()->visualRect(window_.view()->currentIndex()).center()));
    default:
      return OpenPatch();
  }
}

bool BankViews::QueryDefined(int patch) {
  ZKBankDoc& bank = window_.document();
  if (bank.IsPatchDefined(patch)) return true;
  const bool alone = bank.PatchesGoAlone();
  MessagePrompt prompt;
  prompt.title = "Bank Editor";
  prompt.text = "The selected " + bank.Title() + " Patch has no SysEx.\nWould you like to initialize " +
                (alone ? "it?" : "the entire bank?") +
                "\n\nINITIALIZE will send newly initialized data to the instrument, overwriting the existing data.\n"
                "Are you sure?";
  prompt.buttons = PromptButtons::OkCancel;
  prompt.icon = PromptIcon::Warning;
  prompt.labels = {"Initialize", "Cancel"};
  if (window_.context().prompts().Message(prompt) != PromptAnswer::Ok) return false;
  const SlotRun run = alone ? SlotRun{patch, patch} : SlotRun{0, bank.PatchCount() - 1};
  const BankOutcome outcome = window_.Commands().Init(run, window_.context().NewData(*bank.dataFile()));
  window_.Show(outcome);
  return outcome.ok();
}

void BankViews::OpenPatch() {
  ZKBankDoc& bank = window_.document();
  const int patch = window_.view()->CurrentPatch();
  if (!QueryDefined(patch)) return;
  const int type = bank.synth().childId;
  DataFilePtr single = type == 0 ? nullptr : window_.context().NewDataOf(type, *bank.dataFile());
  if (!single) {
    window_.context().prompts().Say(
        "Bank Editor", type == 0
                           ? "Bank Copy cancelled - there is no individual driver for the data"
                           : "The associated Patch component for this\nBank Editor must be in\nthe Studio Setup!");
    return;
  }
  const Result taken =
      TakePatch(*bank.dataFile(), patch, single.get(), window_.context().ModuleFolder(*bank.dataFile()));
  if (!taken.ok()) return window_.Say(ShownUtf8(taken.text));
  const std::string origin = bank.path().empty() ? bank.Title() : bank.FileName();
  window_.context().ShowData(std::move(single), Latin1ToUtf8(bank.GetPatchName(patch)) + " (" + origin + ")");
  if (!taken.text.empty()) window_.Say(ShownUtf8(taken.text));
}

std::vector<CommandId> BankViews::EntriesOf(BankMenu menu) const {
  if (menu == BankMenu::Quick) return {CommandId::EditOpen, CommandId::EditRename};
  if (menu == BankMenu::More) return {CommandId::BankViewList, CommandId::BankViewGrid};
  return {};
}

}  // namespace tonalith
