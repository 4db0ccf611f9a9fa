#include "bank/ui/bank_sync_part.h"

#include <utility>

#include "bank/ui/bank_window.h"
#include "services/send_care.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

constexpr int kQuietMs = 300;  // a run of changes is one transfer

}  // namespace

BankSyncPart::BankSyncPart(TZKBank& window) : window_(window) {
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
  if (late_ && !job_ && !window_.document().IsBusy()) SynchronizeSoon();
}

void BankSyncPart::SynchronizeSoon() {
  if (!wait_.isActive()) wait_.start(kQuietMs);
}

void BankSyncPart::SendWaiting() {
  late_ = job_ || window_.document().IsBusy();
  if (!late_) window_.document().sync().Synchronize(true);
}

bool BankSyncPart::SendPatches(const std::vector<std::uint8_t>& patches) {
  WindowContext& context = window_.context();
  std::shared_ptr<DataFile> copy(DupForUser(window_.dataFile()), DataFileDeleter());
  if (!copy) return false;
  context.UpdateFromStudio(copy.get());
  SendCare& care = context.sendCare();
  CarefulSend wishes = care.WishesFor(*copy, patches);
  // Nobody can be asked at each change: what is there is not lost.
  if (care.Keeps(*copy) == KeepBeforeSend::kAskFirst) wishes.keep = CanBeAskedFor(*copy);
  report_ = std::make_shared<CarefulSendReport>();
  patches_ = patches;
  sounds_ = window_.document().Sounds();
  DeskRequest request = MakeCarefulSend(std::move(copy), wishes, care.history(), report_);
  request.showWindow = 0;
  request.interrupts = false;
  request.receiver = &receiver_;
  request.observer = [this](const DeskEvent& event) {
    if (event.job == job_ && event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded)
      Ended(event.result);
  };
  job_ = context.Transfer(std::move(request));
  if (!job_->Ended()) return true;
  window_.Say(tr("Not sent: %1").arg(ShownUtf8(job_->result().sentence)));
  job_.reset();
  return false;
}

void BankSyncPart::Ended(const DeskResult& result) {
  job_.reset();
  ZKBankDoc& bank = window_.document();
  if (report_->kept.number != 0) window_.context().sendCare().HistoryChanged();
  const std::vector<std::uint8_t> taken = TakenPatches(bank.synth(), patches_, *report_, result.ok);
  std::vector<std::uint8_t> left = patches_;
  for (std::size_t i = 0; i < left.size() && i < taken.size(); ++i)
    if (taken[i]) left[i] = 0;
  if (!taken.empty()) bank.WasSent(taken, sounds_);
  bank.NoteLeft(patches_, result);
  bank.sync().NotSent(left);
  if (!result.ok) window_.Say(tr("Not sent: %1").arg(ShownUtf8(result.sentence)));
  if (late_) SynchronizeSoon();
}

}  // namespace tonalith
