#pragma once

#include <QTimer>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bank/ui/bank_part.h"
#include "platform/jobs.h"
#include "store/names/disk_midi.h"
#include "store/names/export_choices.h"
#include "store/ui/name_export.h"

namespace tonalith {

// The names of the patches as files for other programs, and on the clipboard; a file that was exported follows the bank
// when the user wants that.
class BankExport final : public BankWindowPart {
 public:
  explicit BankExport(TZKBank& window);

  bool Has(CommandId command) const override;
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  bool IsChecked(CommandId command) const override;
  QString Text(CommandId command) const override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;
  void DocumentChanged() override;
  void SettingsChanged() override;

 private:
  void KeepFollowing();
  void WriteAgain();
  ExportSource Source() const;
  void ExportNames(ExportFormat format);
  void ExportAll();
  void MergeIntoMaster();
  void Preview();

  TZKBank& window_;
  NameExport names_;
  std::optional<AutomaticExport> last_;  // written by this window
  std::optional<ExportFormat> format_;   // of the last export
  // The file that follows the bank.
  std::optional<AutomaticExport> follows_;
  std::string ofPath_;       // the bank's file it was read for
  std::uint64_t state_ = 0;  // of the bank when it was written
  bool writing_ = false;
  QTimer wait_;
  Receiver receiver_;
};

}  // namespace tonalith
