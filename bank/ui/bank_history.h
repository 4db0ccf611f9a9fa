#pragma once

#include <QDialog>
#include <cstddef>
#include <functional>

#include "bank/ui/bank_part.h"
#include "platform/result.h"

class QListWidget;
class QPushButton;

namespace tonalith {

class ZKBankDoc;

// Every state of the bank in this session by what was done to reach it; any of them can be gone to.  Follows the bank
// while it is open.
class ZKBankUndo final : public QDialog {
  Q_OBJECT

 public:
  // Plays a patch as it was at a position of the history; what went wrong, or success.
  using Play = std::function<Result(std::size_t position)>;

  // The document must outlive the dialog.
  ZKBankUndo(ZKBankDoc& document, QWidget* parent, Play play = {});
  ~ZKBankUndo() override;
  QListWidget* list() { return list_; }
  // Goes to the state of the chosen row.
  void GoToChosen();
  void OnUndoAudition();

 signals:
  void Said(const QString& text);

 private:
  void Fill();
  void Refresh();

  ZKBankDoc& document_;
  QListWidget* list_;
  QPushButton *go_, *audition_;
  Play play_;
  int listener_ = 0;
};

class BankHistory final : public BankWindowPart {
 public:
  explicit BankHistory(TZKBank& window) : window_(window) {}

  bool Has(CommandId command) const override { return command == CommandId::BankUndoHistory; }
  QString Refusal(CommandId command) const override;
  void Run(CommandId command) override;
  std::vector<CommandId> EntriesOf(BankMenu menu) const override;

 private:
  TZKBank& window_;
};

}  // namespace tonalith
