#pragma once

#include <vector>

#include "bank/ui/bank_part.h"
#include "platform/jobs.h"

namespace tonalith {

// Parts of the bank to its instrument and from it, what is marked to go, and what goes with every send.
class BankTransmit final : public BankWindowPart {
 public:
  explicit BankTransmit(TZKBank& window) : window_(window) {}

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  bool IsChecked(CommandId command) const override;
  QString Text(CommandId command) const override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;

 private:
  // Those that a command to get or send means.
  std::vector<int> PatchesOf(CommandId command) const;
  QString SendRefusal(CommandId command) const;
  void Mark(bool others);
  void SetKeeping(CommandId command);
  void SetVerifying();
  // What the instrument held before the last send goes back to it.
  void OnUndoSend();

  TZKBank& window_;
  Receiver receiver_;  // of jobs that are not about the window's own data
  bool restoring_ = false;
};

}  // namespace tonalith
