#pragma once

#include <string>
#include <vector>

#include "bank/ui/bank_part.h"
#include "store/names/disk_midi.h"

namespace tonalith {

// The names of the patches as files for other programs, and on the clipboard.
class BankExport final : public BankWindowPart {
 public:
  explicit BankExport(TZKBank& window) : window_(window) {}

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;

 private:
  ExportSource Source() const;
  // Of the file to be written, without extension.
  std::string SuggestedName() const;
  // Empty: the user cancelled.
  std::string AskFile(const std::string& title, const std::string& what, const std::string& name,
                      const std::string& extension);
  void ExportNames(ExportFormat format);
  void ExportAll();
  void MergeIntoMaster();
  void CopyNames(ExportFormat format);
  void Tell(const Result& result, const QString& done);

  TZKBank& window_;
  std::string folder_;  // of the last export; empty: none yet
};

}  // namespace tonalith
