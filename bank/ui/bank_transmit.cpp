#include "bank/ui/bank_transmit.h"

#include <QCoreApplication>
#include <algorithm>
#include <array>

#include "bank/transmit_marks.h"
#include "bank/ui/bank_window.h"
#include "platform/prompts.h"
#include "script/transfer_engine.h"
#include "services/careful_send.h"
#include "services/send_care.h"
#include "ui/keep_question.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/restore_kept.h"

namespace tonalith {

namespace {

constexpr std::array kTransmitCommands = {
    CommandId::BankGetSelected,
    CommandId::BankSendSelected,
    CommandId::BankSendUnselected,
    CommandId::BankSendMarked,
    CommandId::None,
    CommandId::BankMarkSelected,
    CommandId::BankMarkUnselected,
    CommandId::BankSelectMarked,
    CommandId::None,
    CommandId::BankVerifySend,
    CommandId::BankUndoSend,
    CommandId::BankKeepAlways,
    CommandId::BankKeepAsk,
    CommandId::BankKeepNever,
};

QString TransmitText(const char* text) {
  return QCoreApplication::translate("BankTransmit", text);
}

bool IsKeeping(CommandId command) {
  return command == CommandId::BankKeepAlways || command == CommandId::BankKeepAsk ||
         command == CommandId::BankKeepNever;
}

KeepBeforeSend KeepingOf(CommandId command) {
  return command == CommandId::BankKeepAlways ? KeepBeforeSend::kKeepAlways
         : command == CommandId::BankKeepAsk  ? KeepBeforeSend::kAskFirst
                                              : KeepBeforeSend::kDoNotKeep;
}

}  // namespace

BankTransmit::BankTransmit(TZKBank& window) : window_(window) {
  listener_ = window.context().sendCare().AddListener([this](const DataFile* held) {
    const DataFile& own = *window_.dataFile();
    if (held && held->synth->driverId == own.synth->driverId &&
        TransferInstrumentName(*held) == TransferInstrumentName(own))
      window_.document().InstrumentHolds(*held);
  });
}

BankTransmit::~BankTransmit() {
  window_.context().sendCare().RemoveListener(listener_);
}

bool BankTransmit::Has(CommandId command) const {
  return command != CommandId::None &&
         std::find(kTransmitCommands.begin(), kTransmitCommands.end(), command) != kTransmitCommands.end();
}

std::vector<int> BankTransmit::PatchesOf(CommandId command) const {
  const std::vector<int> selected = window_.SelectedPatches();
  if (command == CommandId::BankSendMarked) return MarkedPatches(window_.document());
  if (command != CommandId::BankSendUnselected) return selected;
  std::vector<int> others;
  for (int patch = 0; patch < window_.document().PatchCount(); ++patch)
    if (!std::binary_search(selected.begin(), selected.end(), patch)) others.push_back(patch);
  return others;
}

QString BankTransmit::SendRefusal(CommandId command) const {
  const ZKBankDoc& bank = window_.document();
  if (bank.IsEmpty()) return TransmitText("There is nothing to send yet.");
  if (!CanBeSent(*window_.dataFile()))
    return TransmitText("The instrument cannot be sent this data: it only gives it.");
  const std::vector<int> patches = PatchesOf(command);
  if (patches.empty()) {
    return command == CommandId::BankSendMarked       ? TransmitText("No patch is marked for sending.")
           : command == CommandId::BankSendUnselected ? TransmitText("Every patch is selected.")
                                                      : TransmitText("No patch is selected.");
  }
  return TransferMaskOf(bank, patches).empty() ? TransmitText("These patches hold nothing that could be sent.")
                                               : QString();
}

QString BankTransmit::Refusal(CommandId command) const {
  const ZKBankDoc& bank = window_.document();
  if (bank.IsBusy()) return ShownUtf8(bank.BusyReason());
  const bool alone = bank.PatchesGoAlone();
  const bool none = window_.SelectedPatches().empty();
  switch (command) {
    case CommandId::BankGetSelected:
      if (!alone) return TransmitText("The instrument gives this data as a whole only.");
      return none ? TransmitText("No patch is selected.") : QString();
    case CommandId::BankSendSelected:
    case CommandId::BankSendUnselected:
    case CommandId::BankSendMarked:
      if (!alone) return TransmitText("The instrument takes this data as a whole only.");
      return SendRefusal(command);
    case CommandId::BankMarkSelected:
    case CommandId::BankMarkUnselected:
    case CommandId::BankSelectMarked:
      if (!alone) return TransmitText("The instrument takes this data as a whole only: marks have no meaning.");
      if (command == CommandId::BankSelectMarked)
        return MarkedPatches(bank).empty() ? TransmitText("No patch is marked for sending.") : QString();
      if (const QString reason = window_.EditRefusal(); !reason.isEmpty()) return reason;
      return none ? TransmitText("No patch is selected.") : QString();
    case CommandId::BankUndoSend: {
      HistoryEntry entry;
      if (restoring_) return TransmitText("What was there is being sent back already.");
      const Result kept = window_.context().sendCare().LastKept(*window_.dataFile(), &entry);
      return kept.ok() ? QString() : ShownUtf8(kept.text);
    }
    default:
      return CanBeAskedFor(*window_.dataFile())
                 ? QString()
                 : TransmitText("The instrument cannot be asked for what it holds of this data.");
  }
}

void BankTransmit::Run(CommandId command) {
  switch (command) {
    case CommandId::BankGetSelected: {
      std::vector<std::uint8_t> mask(static_cast<std::size_t>(window_.document().PatchCount()));
      for (const int patch : window_.SelectedPatches()) mask[static_cast<std::size_t>(patch)] = 1;
      return window_.StartGet(std::move(mask));
    }
    case CommandId::BankSendSelected:
    case CommandId::BankSendUnselected:
    case CommandId::BankSendMarked:
      return window_.StartTransmit(TransferMaskOf(window_.document(), PatchesOf(command)));
    case CommandId::BankMarkSelected:
    case CommandId::BankMarkUnselected:
      return Mark(command == CommandId::BankMarkUnselected);
    case CommandId::BankSelectMarked: {
      const std::vector<int> marked = MarkedPatches(window_.document());
      window_.Select(marked);
      return window_.Say(TransmitText("%1 of %2 patches are marked for sending.")
                             .arg(marked.size())
                             .arg(window_.document().PatchCount()));
    }
    case CommandId::BankVerifySend:
      return SetVerifying();
    case CommandId::BankUndoSend:
      return OnUndoSend();
    default:
      return SetKeeping(command);
  }
}

void BankTransmit::Mark(bool others) {
  BankOutcome outcome = MarkForTransmission(window_.document(), window_.SelectedPatches(), others);
  if (outcome.ok()) outcome.status = window_.document().StatusText();
  window_.Show(outcome);
}

bool BankTransmit::IsChecked(CommandId command) const {
  const SendCare& care = window_.context().sendCare();
  const DataFile& data = *window_.dataFile();
  if (command == CommandId::BankVerifySend) return care.Verifies(data);
  return IsKeeping(command) && care.Keeps(data) == KeepingOf(command);
}

void BankTransmit::SetKeeping(CommandId command) {
  const Result set = window_.context().sendCare().SetKeeps(*window_.dataFile(), KeepingOf(command));
  const QString text =
      command == CommandId::BankKeepAlways
          ? TransmitText("What the %1 holds is kept each time before something is sent to it.")
      : command == CommandId::BankKeepAsk
          ? TransmitText("Before something is sent to the %1 you are asked whether what it holds shall be kept.")
          : TransmitText("What the %1 holds is not kept before something is sent to it.");
  window_.Say(set.ok() ? text.arg(ShownUtf8(window_.document().InstrumentName())) : ShownUtf8(set.text));
  emit window_.StateChanged();
}

void BankTransmit::SetVerifying() {
  SendCare& care = window_.context().sendCare();
  const bool verifies = !care.Verifies(*window_.dataFile());
  const Result set = care.SetVerifies(*window_.dataFile(), verifies);
  const QString text = verifies ? TransmitText("What is sent to the %1 is read back and compared.")
                                : TransmitText("What is sent to the %1 is not read back.");
  window_.Say(set.ok() ? text.arg(ShownUtf8(window_.document().InstrumentName())) : ShownUtf8(set.text));
  emit window_.StateChanged();
}

void BankTransmit::OnUndoSend() {
  WindowContext& context = window_.context();
  HistoryEntry entry;
  if (const Result found = context.sendCare().LastKept(*window_.dataFile(), &entry); !found.ok())
    return window_.Say(ShownUtf8(found.text));
  MessagePrompt prompt;
  prompt.title = "Undo Send";
  prompt.text = "Send back what the " + entry.instrument + " held before " + ToUtf8(LocalTimeText(entry)) + " (" +
                entry.What() + ")?\n\nWhat it holds there now is overwritten.  The bank in this window stays as it is.";
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Warning;
  prompt.labels = {"Send Back", "Cancel"};
  if (context.prompts().Message(prompt) != PromptAnswer::Yes) return;
  restoring_ = true;
  RestoreKept(context, entry, false, receiver_, [this](const RestoreOutcome& outcome) {
    restoring_ = false;
    window_.Say(outcome.sentence);
    emit window_.StateChanged();
  });
}

std::vector<CommandId> BankTransmit::EntriesOf(BankMenu menu) const {
  if (menu == BankMenu::More) return {CommandId::BankSendSelected, CommandId::BankGetSelected, CommandId::BankUndoSend};
  if (menu != BankMenu::Quick) return {};
  return {kTransmitCommands.begin(), kTransmitCommands.end()};
}

QString BankTransmit::Text(CommandId command) const {
  if (command != CommandId::BankGetSelected) return {};
  const ZKBankDoc& bank = window_.document();
  return MenuText(TransmitText("Get the selected %1 elements from %2")
                      .arg(ShownUtf8(bank.TypeName()), ShownUtf8(bank.InstrumentName())));
}

}  // namespace tonalith
