#include "sets/ui/set_editor.h"

#include <QLayout>
#include <memory>
#include <utility>

#include "bank/bank_document.h"
#include "bank/ui/bank_list.h"
#include "bank/ui/bank_model.h"
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
      case CommandId::BankSendAtOnce:
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
  bool IsChecked(CommandId command) const override { return set_.CommandChecked(command); }

 private:
  ZKWindow& set_;
};

std::unique_ptr<ZKBankDoc> CopyOf(const ZKGrpDoc& set, int component) {
  return std::make_unique<ZKBankDoc>(DataFilePtr(DupForUser(set.GetDataFile(component))));
}

}  // namespace

SetEditor::SetEditor(ZKGrpDoc& set, int component, WindowContext& context, ZKWindow& window, QWidget* parent,
                     const Host& host)
    : set_(set),
      component_(component),
      host_(host),
      bank_(new TZKBank(CopyOf(set, component), context, parent)),
      document_(bank_->document()) {
  // Title and distances are the pane's.
  bank_->header()->hide();
  bank_->layout()->setContentsMargins({});
  bank_->AddPart(std::make_unique<SetCommandsOfBank>(window));
  document_.TakeHeldSounds(set.unsent().HeldSounds(component));
  bank_->list()->bankModel()->SetNotes([this](int patch) { return host_.note(component_, patch); });
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
    if (!busy) Take(true);
  }
  if (busy_ || change.kind == DocumentChange::Kind::State) return;
  Take(false);
  set_.TakeHeldSounds(component_, document_.HeldSounds());
}

void SetEditor::Take(bool arrived) {
  if (SameContent(*set_.GetDataFile(component_), *document_.dataFile())) return;
  const std::string name = document_.StatusText().empty() ? "Edit" : document_.StatusText();
  following_ = true;
  Result taken;
  if (arrived) {
    taken = set_.EditData(component_, *document_.dataFile(), name);
  } else if (DataFilePtr copy{DupForUser(document_.dataFile())}) {
    taken = host_.put(component_, std::move(copy), name);
  } else {
    taken = Result::Failure("There is not enough memory.");
  }
  // What the Set has is what counts: references may have followed, or the user took something back.
  FollowContent();
  following_ = false;
  if (!taken.ok()) host_.say(taken.text);
}

void SetEditor::RenewNotes() {
  bank_->list()->doItemsLayout();  // notes want room
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
