#include "bank/ui/bank_arrange.h"

#include <QCoreApplication>
#include <algorithm>
#include <array>

#include "bank/bank_commands.h"
#include "bank/ui/bank_window.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "services/settings.h"
#include "store/bank_order.h"
#include "store/initial_patch.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

constexpr std::array kArrangeCommands = {CommandId::BankRotateUp, CommandId::BankRotateDown, CommandId::BankInvert,
                                         CommandId::BankSort,     CommandId::None,           CommandId::BankDelete,
                                         CommandId::BankRestore,  CommandId::BankInit};

QString ArrangeText(const char* text) {
  return QCoreApplication::translate("BankArrange", text);
}

bool NeedsRun(CommandId command) {
  return command == CommandId::BankRotateUp || command == CommandId::BankRotateDown || command == CommandId::BankInvert;
}

}  // namespace

bool BankArrange::Has(CommandId command) const {
  return command != CommandId::None &&
         std::find(kArrangeCommands.begin(), kArrangeCommands.end(), command) != kArrangeCommands.end();
}

QString BankArrange::Refusal(CommandId command) const {
  if (const QString reason = window_.EditRefusal(); !reason.isEmpty()) return reason;
  if (command == CommandId::BankSort)
    return window_.document().PatchCount() < 2 ? ArrangeText("There is only one patch.") : QString();
  const std::vector<int> selected = window_.SelectedPatches();
  if (selected.empty()) return ArrangeText("No patch is selected.");
  if (NeedsRun(command) && selected.back() - selected.front() + 1 != static_cast<int>(selected.size()))
    return ArrangeText("The selected patches do not stand next to each other.");
  if (command == CommandId::BankRestore && !window_.document().original())
    return ArrangeText("There was not enough memory to keep the data as it came.");
  return {};
}

void BankArrange::Run(CommandId command) {
  const std::vector<int> selected = window_.SelectedPatches();
  BankCommands commands = window_.Commands();
  const SlotRun run = selected.empty() ? SlotRun{} : SlotRun{selected.front(), selected.back()};
  switch (command) {
    case CommandId::BankRotateUp:
      return window_.Show(commands.Rotate(run, -1));
    case CommandId::BankRotateDown:
      return window_.Show(commands.Rotate(run, 1));
    case CommandId::BankInvert:
      return window_.Show(commands.Invert(run));
    case CommandId::BankSort:
      return Sort();
    case CommandId::BankDelete: {
      // An instrument that is kept in step has no empty places.
      const bool always = window_.context().settings().Value(SettingId::MainAutoDefinePatchesAndBanks) == 1 ||
                          window_.document().sync().IsOn();
      return window_.Show(commands.DeleteSlots(selected, always, window_.context().NewData(*window_.dataFile())));
    }
    case CommandId::BankRestore:
      return window_.Show(commands.RestoreSlots(selected));
    case CommandId::BankInit:
      return window_.Show(commands.InitSlots(selected, window_.context().NewData(*window_.dataFile())));
    default:
      break;
  }
}

std::vector<std::string> BankArrange::SortNames() const {
  const auto folder = window_.context().ModuleFolder(*window_.dataFile());
  return folder.empty() ? std::vector<std::string>() : ReadSortNames(DataTypeIni(folder, window_.document().synth()));
}

QString BankArrange::Text(CommandId command) const {
  if (command != CommandId::BankSort) return {};
  return SortNames().empty() ? ArrangeText("&Sort Bank by Name") : ArrangeText("&Sort by...");
}

void BankArrange::Sort() {
  BankCommands commands = window_.Commands();
  const SlotRun all{0, window_.document().PatchCount() - 1};
  const std::vector<std::string> names = SortNames();
  int chosen = 0;
  if (!names.empty()) {
    ChoicePrompt prompt;
    prompt.title = "Bank Editor";
    prompt.label = "Sort the bank by:";
    prompt.items = {"Name"};
    prompt.items.insert(prompt.items.end(), names.begin(), names.end());
    prompt.button = "Sort";
    chosen = window_.context().prompts().Choose(prompt);
  }
  if (chosen < 0) return;
  window_.Show(chosen == 0 ? commands.SortByName(all) : commands.SortByNumber(all, chosen - 1));
}

std::vector<CommandId> BankArrange::EntriesOf(BankMenu menu) const {
  if (menu != BankMenu::Quick) return {};
  return {kArrangeCommands.begin(), kArrangeCommands.end()};
}

}  // namespace tonalith
