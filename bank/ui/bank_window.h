#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "bank/bank_document.h"
#include "ui/instrument_window.h"
#include "ui/plain_text.h"

class QBoxLayout;
class QToolButton;

namespace tonalith {

class ZKBankListCtrl;

// The bank editor's window.
class TZKBank final : public InstrumentWindow {
  Q_OBJECT

 public:
  TZKBank(std::unique_ptr<ZKBankDoc> document, WindowContext& context, QWidget* parent = nullptr);
  ~TZKBank() override;

  ZKBankDoc& document() { return bank_; }
  const ZKBankDoc& document() const { return bank_; }
  ZKBankListCtrl* list() { return list_; }

  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;
  InspectorContent Inspect() override;

  DataFile* dataFile() const override { return bank_.dataFile(); }
  void BeginReceive(const std::string& undoName) override { bank_.BeginReceive(undoName); }
  void PatchesArrived() override { bank_.PatchesArrived(); }
  void EndReceive() override { bank_.EndReceive(); }

 protected:
  void Say(const QString& text) override;
  void DocumentChanged(const DocumentChange& change) override;
  std::string WindowName() const override { return "Bank Editor"; }
  std::string SaveTitle() const override { return "Save Data As ?"; }

 private:
  void BuildHeading(QBoxLayout* column);
  void BuildTools(QBoxLayout* column);
  void AddButton(QBoxLayout* row, CommandId command, const QString& text, const QString& tip);
  void Refresh();

  ZKBankDoc& bank_;  // the window's document
  ZKBankListCtrl* list_ = nullptr;
  PlainLabel* heading_ = nullptr;
  PlainLabel* detail_ = nullptr;
  PlainLabel* status_ = nullptr;
  std::vector<std::pair<CommandId, QToolButton*>> buttons_;
};

}  // namespace tonalith
