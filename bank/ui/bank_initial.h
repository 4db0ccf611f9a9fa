#pragma once

#include "bank/ui/bank_part.h"

namespace tonalith {

// What the patches of a data type begin with, made from the first patch of the bank, and the bank as it came.
class BankInitial final : public BankWindowPart {
 public:
  explicit BankInitial(TZKBank& window) : window_(window) {}

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;

 private:
  void OnWriteBankInit(bool ini);
  void OnPatchInitToClip();
  void OrigOrder();

  TZKBank& window_;
};

}  // namespace tonalith
