#include "sets/ui/set_editor.h"

#include <QLayout>
#include <memory>
#include <utility>

#include "bank/bank_document.h"
#include "bank/ui/bank_part.h"
#include "bank/ui/bank_window.h"
#include "store/sets/set_document.h"
#include "ui/style/document_header.h"

namespace tonalith {

namespace {

// Commands of the bank's window that are the Set's.
class SetCommandsOfBank final : public BankWindowPart {
 public:
  explicit SetCommandsOfBank(ZKWindow& set) : set_(set) {}

  bool Has(CommandId command) const override {
    switch (command) {
      case CommandId::FileSave:
      case CommandId::FileSaveAs:
      case CommandId::EditUndo:
      case CommandId::EditRedo:
      case CommandId::BankUndoHistory:
        return true;
      default:
        return false;
    }
  }
  QString Refusal(CommandId command) const override {
    if (command == CommandId::BankUndoHistory)
      return ZKWindow::tr("The components of a Set have one history; Undo takes its last change back.");
    return set_.RefusalOf(command);
  }
  void Run(CommandId command) override { set_.RunCommand(command); }

 private:
  ZKWindow& set_;
};

std::unique_ptr<ZKBankDoc> CopyOf(const ZKGrpDoc& set, int component) {
  return std::make_unique<ZKBankDoc>(DataFilePtr(DupForUser(set.GetDataFile(component))));
}

}  // namespace

SetEditor::SetEditor(ZKGrpDoc& set, int component, WindowContext& context, ZKWindow& window, QWidget* parent,
                     std::function<void(const std::string& sentence)> say)
    : set_(set),
      component_(component),
      say_(std::move(say)),
      bank_(new TZKBank(CopyOf(set, component), context, parent)),
      document_(bank_->document()) {
  // Title and distances are the pane's.
  bank_->header()->hide();
  bank_->layout()->setContentsMargins({});
  bank_->AddPart(std::make_unique<SetCommandsOfBank>(window));
  document_.TakeHeldSounds(set.unsent().HeldSounds(component));
  listener_ = document_.AddListener([this](const DocumentChange& change) { Changed(change); });
}

SetEditor::~SetEditor() {
  following_ = true;  // what its end tells is for nobody
  bank_->CancelTransfer();
  document_.RemoveListener(listener_);
  delete bank_;
}

void SetEditor::Changed(const DocumentChange& change) {
  if (following_ || locked_) return;
  if (const bool busy = document_.IsBusy(); busy != busy_) {
    busy_ = busy;
    set_.SetBusy(busy, busy ? document_.BusyReason() : std::string());
  }
  if (busy_ || change.kind == DocumentChange::Kind::State) return;
  Take();
  set_.TakeHeldSounds(component_, document_.HeldSounds());
}

void SetEditor::Take() {
  const std::string& status = document_.StatusText();
  following_ = true;
  const Result taken = set_.EditData(component_, *document_.dataFile(), status.empty() ? "Edit" : status);
  following_ = false;
  if (taken.ok()) return;
  say_(taken.text);
  Follow();
}

void SetEditor::Follow() {
  if (following_ || busy_ || !set_.Has(component_)) return;
  following_ = true;
  FollowContent();
  document_.TakeHeldSounds(set_.unsent().HeldSounds(component_));
  following_ = false;
}

void SetEditor::FollowContent() {
  const DataFile& data = *set_.GetDataFile(component_);
  if (SameContent(*document_.dataFile(), data)) return;
  DataFilePtr copy(DupForUser(&data));
  if (!copy) return;
  document_.CreateBackup(set_.StatusText());
  std::swap(*document_.dataFile(), *copy);
  document_.EndBackup();
  document_.PatchesArrived();
}

void SetEditor::SetLocked(bool locked) {
  if (busy_ || locked == locked_) return;
  locked_ = true;
  document_.SetBusy(locked, locked ? set_.BusyReason() : std::string());
  locked_ = locked;
}

}  // namespace tonalith
