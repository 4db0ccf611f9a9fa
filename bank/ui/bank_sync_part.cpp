#include "bank/ui/bank_sync_part.h"

#include "bank/ui/bank_window.h"
#include "services/careful_send.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

constexpr int kQuietMs = 300;  // a run of changes is one transfer

}  // namespace

BankSyncPart::BankSyncPart(TZKBank& window) : window_(window), send_(window.context()) {
  wait_.setSingleShot(true);
  connect(&wait_, &QTimer::timeout, this, &BankSyncPart::SendWaiting);
  window.document().sync().SetSender(this);
}

BankSyncPart::~BankSyncPart() {
  window_.document().sync().SetSender(nullptr);
}

QString BankSyncPart::Refusal(CommandId) const {
  if (!window_.document().PatchesGoAlone())
    return tr("The instrument takes this data as a whole only: send it when it is complete.");
  return CanBeSent(*window_.dataFile()) ? QString() : tr("The instrument cannot be sent this data: it only gives it.");
}

bool BankSyncPart::IsChecked(CommandId) const {
  return window_.document().sync().IsOn();
}

std::vector<CommandId> BankSyncPart::EntriesOf(BankMenu menu) const {
  if (menu == BankMenu::Export) return {};
  return {CommandId::BankSendAtOnce};
}

void BankSyncPart::Run(CommandId) {
  ZKBankDoc& bank = window_.document();
  const QString instrument = ShownUtf8(bank.InstrumentName());
  if (bank.sync().GetLocalSync()) {
    bank.sync().ClearLocalSync();
    window_.Say(tr("Changes go to the %1 when they are sent.").arg(instrument));
  } else {
    bank.sync().SetLocalSync();
    const int before = bank.IsEmpty() ? 0 : bank.CountDifferent(true);
    const QString said = tr("Patches go to the %1 as soon as they are changed.").arg(instrument);
    window_.Say(before == 0 ? said : tr("%1  What was changed before (%2) goes with Send.").arg(said).arg(before));
  }
  window_.RenewHeader();
  emit window_.StateChanged();
}

void BankSyncPart::DocumentChanged() {
  if (late_ && !send_.IsRunning() && !window_.document().IsBusy()) SynchronizeSoon();
}

void BankSyncPart::SynchronizeSoon() {
  if (!wait_.isActive()) wait_.start(kQuietMs);
}

void BankSyncPart::SendWaiting() {
  late_ = send_.IsRunning() || window_.document().IsBusy();
  if (!late_) window_.document().sync().Synchronize(true);
}

bool BankSyncPart::SendPatches(const std::vector<std::uint8_t>& patches) {
  patches_ = patches;
  sounds_ = window_.document().Sounds();
  const Result started = send_.Start(*window_.dataFile(), patches, [this](const QuietSend::End& end) { Ended(end); });
  if (!started.ok()) window_.Say(tr("Not sent: %1").arg(ShownUtf8(started.text)));
  return started.ok();
}

void BankSyncPart::Ended(const QuietSend::End& end) {
  ZKBankDoc& bank = window_.document();
  std::vector<std::uint8_t> left = patches_;
  for (std::size_t i = 0; i < left.size() && i < end.taken.size(); ++i)
    if (end.taken[i]) left[i] = 0;
  if (!end.taken.empty()) bank.WasSent(end.taken, sounds_);
  bank.NoteLeft(patches_, end.result);
  bank.sync().NotSent(left);
  if (!end.result.ok) window_.Say(tr("Not sent: %1").arg(ShownUtf8(end.result.sentence)));
  if (late_) SynchronizeSoon();
}

}  // namespace tonalith
