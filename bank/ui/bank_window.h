#pragma once

#include <memory>

#include "bank/bank_document.h"
#include "platform/prompts.h"
#include "ui/window_base.h"

class QLabel;
class QToolButton;

namespace tonalith {

class ZKBankListCtrl;
class TZKBank;

// What a bank window asks of the program.
class BankWindowHost {
 public:
  virtual ~BankWindowHost() = default;
  // Starts a receive into the window's document; `BankTransferEnded` is called when it is over.
  virtual void StartGet(TZKBank* window) = 0;
  virtual void StartTransmit(TZKBank* window) = 0;
  virtual void CancelTransfers(TZKBank* window) = 0;
  virtual Prompts& prompts() = 0;
  // Folder (UTF-8) for files of this data; exists.
  virtual std::string DataFolder(const ZKBankDoc& document) = 0;
  virtual std::string FileExtension(const ZKBankDoc& document) = 0;
  virtual void FileUsed(const std::string& path) = 0;
};

// The bank editor's window.
class TZKBank final : public ZKWindow {
  Q_OBJECT

 public:
  TZKBank(std::unique_ptr<ZKBankDoc> document, BankWindowHost& host, QWidget* parent = nullptr);
  ~TZKBank() override;

  ZKBankDoc& document() { return *document_; }
  ZKBankListCtrl* list() { return list_; }

  WindowType TypeCode() const override { return WindowType::BankEditor; }
  bool VerifyClose() override;
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  std::string FilePath() const override { return document_->path(); }

  // A transfer of this window's data begins; the number tells its end from that of an earlier one.
  int BankTransferBegins(bool receive);
  // That transfer is over; `sentence` goes to the status line.  Nothing for a transfer that was abandoned.
  void BankTransferEnded(int number, const QString& sentence);
  // The data is free again; what a transfer on its way still brings is dropped.
  void AbandonTransfer();
  bool Save(bool askName);

 private:
  QToolButton* AddButton(class QLayout* row, CommandId command, const QString& text, const QString& tip);
  void Refresh();
  void Say(const QString& text);

  std::unique_ptr<ZKBankDoc> document_;
  BankWindowHost& host_;
  ZKBankListCtrl* list_ = nullptr;
  QLabel* heading_ = nullptr;
  QLabel* detail_ = nullptr;
  QLabel* status_ = nullptr;
  std::vector<std::pair<CommandId, QToolButton*>> buttons_;
  int listener_ = 0;
  int transfers_ = 0;
  bool receiving_ = false;
};

}  // namespace tonalith
