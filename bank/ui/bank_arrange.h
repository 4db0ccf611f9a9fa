#pragma once

#include <string>
#include <vector>

#include "bank/ui/bank_part.h"

namespace tonalith {

// The order of the patches, and what they are put back to.
class BankArrange final : public BankWindowPart {
 public:
  explicit BankArrange(TZKBank& window) : window_(window) {}

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  QString Text(CommandId command) const override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;

 private:
  void Sort();
  // What the data type offers to sort by beside the name.
  std::vector<std::string> SortNames() const;

  TZKBank& window_;
};

}  // namespace tonalith
