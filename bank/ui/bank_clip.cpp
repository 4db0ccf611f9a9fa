#include "bank/ui/bank_clip.h"

#include <QCoreApplication>

#include "bank/bank_copy.h"
#include "bank/clip_mark.h"
#include "bank/ui/bank_window.h"
#include "ui/clipboard.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

QString ClipText(const char* text) {
  return QCoreApplication::translate("BankClip", text);
}

}  // namespace

bool BankClip::Has(CommandId command) const {
  return command == CommandId::EditCut || command == CommandId::EditCopy || command == CommandId::EditPaste ||
         command == CommandId::BankSwap;
}

QString BankClip::Refusal(CommandId command) const {
  if (command == CommandId::EditCopy) {
    if (window_.document().IsEmpty()) return ClipText("Nothing was received yet.");
  } else if (const QString reason = window_.EditRefusal(); !reason.isEmpty()) {
    return reason;
  }
  const std::vector<int> selected = window_.SelectedPatches();
  if (command == CommandId::EditPaste)
    return ShownUtf8(MarkRefusal(window_.document(), PlaceToPaste(window_.document(), selected)));
  if (command == CommandId::BankSwap) return ShownUtf8(MarkRefusal(window_.document(), selected));
  return selected.empty() ? ClipText("No patch is selected.") : QString();
}

void BankClip::Take(bool cut) {
  const std::vector<int> selected = window_.SelectedPatches();
  SetClipMark({&window_.document(), selected, cut});
  std::string text;
  for (const std::string& line : window_.document().NameLines(selected)) text += line + "\n";
  // Other programs get the names.
  if (!CopyText(window_.context().prompts(), FromUtf8(text))) return;
  const int count = static_cast<int>(selected.size());
  if (cut)
    window_.Say(count == 1 ? ClipText("1 patch is cut; Paste moves it.")
                           : ClipText("%1 patches are cut; Paste moves them.").arg(count));
  else
    window_.Say(count == 1 ? ClipText("1 patch is copied.") : ClipText("%1 patches are copied.").arg(count));
  emit window_.StateChanged();
}

void BankClip::Run(CommandId command) {
  if (command == CommandId::EditCopy || command == CommandId::EditCut) return Take(command == CommandId::EditCut);
  const bool swap = command == CommandId::BankSwap;
  std::vector<int> places = window_.SelectedPatches();
  if (!swap) places = PlaceToPaste(window_.document(), std::move(places));
  const BankOutcome outcome = BankCopySwap(swap, window_.document(), std::move(places));
  window_.Show(outcome);
}

std::vector<CommandId> BankClip::EntriesOf(BankMenu menu) const {
  if (menu != BankMenu::Quick) return {};
  return {CommandId::EditCut, CommandId::EditCopy, CommandId::EditPaste, CommandId::BankSwap};
}

}  // namespace tonalith
