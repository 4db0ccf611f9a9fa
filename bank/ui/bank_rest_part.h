#pragma once

#include "bank/ui/bank_part.h"

namespace tonalith {

// Goes on with a Get or a send that was broken off.
class BankRestPart final : public BankWindowPart {
 public:
  explicit BankRestPart(TZKBank& window) : window_(window) {}

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  QString Text(CommandId command) const override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;

 private:
  TZKBank& window_;
};

}  // namespace tonalith
