#pragma once

#include <string>

#include "bank/bank_naming.h"
#include "bank/ui/bank_part.h"

namespace tonalith {

// Names of many patches, and patches by their names.
class BankNames final : public BankWindowPart {
 public:
  explicit BankNames(TZKBank& window);

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;
  // From a file that was chosen, or dropped; for the selected patches, or all.
  void ImportFrom(const std::string& path);

 private:
  bool AskBase(const char* label, std::string* base);
  void FindNext(bool ask);
  void AskImport();

  TZKBank& window_;
  BankNaming naming_;
  std::string found_;  // what was searched last
};

}  // namespace tonalith
