#pragma once

#include "bank/ui/bank_part.h"

namespace tonalith {

// Which view the patches are shown in, the menu of the selection, and the patch on its own.
class BankViews final : public BankWindowPart {
 public:
  explicit BankViews(TZKBank& window) : window_(window) {}

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  bool IsChecked(CommandId command) const override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;

 private:
  void OpenPatch();
  // True: the slot holds something now.
  bool QueryDefined(int patch);

  TZKBank& window_;
};

}  // namespace tonalith
