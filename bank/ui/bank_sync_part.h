#pragma once

#include <QObject>
#include <QTimer>
#include <cstdint>
#include <vector>

#include "bank/bank_sync.h"
#include "bank/ui/bank_part.h"
#include "ui/quiet_send.h"

namespace tonalith {

// Sends what is changed in the bank to the instrument at once, while the user wants that.  What is sent is a copy: the
// bank can be worked on meanwhile, and nobody is interrupted when it fails.
class BankSyncPart final : public QObject, public BankWindowPart, public BankSender {
  Q_OBJECT

 public:
  explicit BankSyncPart(TZKBank& window);
  ~BankSyncPart() override;

  bool Has(CommandId command) const override { return command == CommandId::BankSendAtOnce; }
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  bool IsChecked(CommandId command) const override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;
  void DocumentChanged() override;

  void SynchronizeSoon() override;
  bool SendPatches(const std::vector<std::uint8_t>& patches) override;

 private:
  void SendWaiting();
  void Ended(const QuietSend::End& end);

  TZKBank& window_;
  QTimer wait_;        // from a change to the transfer
  bool late_ = false;  // it was over while nothing could be sent
  // Of the transfer.
  std::vector<std::uint8_t> patches_;
  std::vector<std::uint64_t> sounds_;
  QuietSend send_;
};

}  // namespace tonalith
