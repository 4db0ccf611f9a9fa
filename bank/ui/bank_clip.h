#pragma once

#include "bank/ui/bank_part.h"

namespace tonalith {

// Cut, copy, paste and exchange with the mark (bank/clip_mark.h).
class BankClip final : public BankWindowPart {
 public:
  explicit BankClip(TZKBank& window) : window_(window) {}

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;

 private:
  void Take(bool cut);

  TZKBank& window_;
};

}  // namespace tonalith
