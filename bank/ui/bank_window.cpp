#include "bank/ui/bank_window.h"

#include <QDateTime>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

#include "bank/ui/bank_list.h"
#include "services/window_counters.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr const char* kBankTitle = "Bank Editor";

}  // namespace

TZKBank::TZKBank(std::unique_ptr<ZKBankDoc> document, BankWindowHost& host, QWidget* parent)
    : ZKWindow(parent), document_(std::move(document)), host_(host) {
  WindowCounters::Instance().Count("Bank Editor");
  auto* column = new QVBoxLayout(this);
  heading_ = new QLabel(this);
  QFont bold = heading_->font();
  bold.setBold(true);
  bold.setPointSizeF(bold.pointSizeF() * 1.15);
  heading_->setFont(bold);
  detail_ = new QLabel(this);
  column->addWidget(heading_);
  column->addWidget(detail_);

  auto* row = new QHBoxLayout;
  AddButton(row, CommandId::MidiGet, tr("&Get"), tr("Request this data from the instrument (Ctrl+G)"));
  AddButton(row, CommandId::MidiTransmit, tr("&Send"), tr("Send this data to the instrument (Ctrl+T)"));
  AddButton(row, CommandId::FileSave, tr("S&ave"), tr("Save this data as a file (Ctrl+S)"));
  AddButton(row, CommandId::EditRename, tr("&Rename"), tr("Change the selected name in place (F2)"));
  AddButton(row, CommandId::EditUndo, tr("Und&o"), tr("Take the last change back (Ctrl+Z)"));
  row->addStretch(1);
  column->addLayout(row);

  list_ = new ZKBankListCtrl(*document_, this);
  list_->setAccessibleName(tr("Patches"));
  column->addWidget(list_, 1);
  status_ = new QLabel(this);
  status_->setWordWrap(true);
  column->addWidget(status_);
  setFocusProxy(list_);

  connect(list_->bankModel(), &BankListModel::Refused, this, &TZKBank::Say);
  connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] { emit StateChanged(); });
  listener_ = document_->AddListener([this](const DocumentChange&) { Refresh(); });
  Refresh();
  const int width = fontMetrics().averageCharWidth();
  resize(width * 60, fontMetrics().height() * 28);
}

TZKBank::~TZKBank() {
  // The rows listen to the document, which goes before the children of this window would.
  delete list_;
  list_ = nullptr;
  document_->RemoveListener(listener_);
}

QToolButton* TZKBank::AddButton(QLayout* row, CommandId command, const QString& text, const QString& tip) {
  auto* button = new QToolButton(this);
  button->setText(text);
  button->setToolTip(tip);
  button->setFocusPolicy(Qt::TabFocus);
  connect(button, &QToolButton::clicked, this, [this, command] { RunCommand(command); });
  row->addWidget(button);
  buttons_.emplace_back(command, button);
  return button;
}

void TZKBank::Refresh() {
  const QString name = FromLatin1(document_->Description());
  heading_->setText(name);
  const QString file =
      document_->path().empty() ? tr("not saved yet") : QFileInfo(FromUtf8(document_->path())).fileName();
  const int count = document_->PatchCount();
  QString detail = count == 1 ? tr("1 patch") : tr("%1 patches").arg(count);
  if (const auto stamp = document_->synth().timeStamp; stamp && !document_->IsEmpty()) {
    const QDateTime when = QDateTime::fromSecsSinceEpoch(stamp);
    detail += tr(", received %1").arg(when.toString(QStringLiteral("yyyy-MM-dd HH:mm")));
  }
  detail_->setText(detail);
  setWindowTitle(QStringLiteral("%1: %2[*]").arg(name, file));
  setWindowModified(document_->IsModified());
  for (const auto& [command, button] : buttons_) button->setEnabled(CommandEnabled(command));
  if (document_->IsBusy()) {
    status_->setText(tr("Transferring..."));
  } else if (document_->IsEmpty()) {
    status_->setText(tr("Nothing received yet. Choose Get to request this data from the instrument."));
  } else if (status_->text().isEmpty() || status_->text() == tr("Transferring...")) {
    status_->setText(FromLatin1(document_->StatusText()));
  }
  emit StateChanged();
}

void TZKBank::Say(const QString& text) {
  status_->setText(text);
  emit StatusMessage(text);
}

bool TZKBank::CommandEnabled(CommandId command) const {
  const bool busy = document_->IsBusy();
  switch (command) {
    case CommandId::MidiGet:
      return !busy;
    case CommandId::MidiTransmit:
    case CommandId::FileSave:
    case CommandId::FileSaveAs:
      return !busy && !document_->IsEmpty();
    case CommandId::EditUndo:
      return !busy && document_->CanUndo();
    case CommandId::EditRename:
      return !busy && document_->NameLength() > 0 && !document_->IsEmpty() && list_ && list_->CurrentPatch() >= 0;
    case CommandId::EditSelectAll:
      return true;
    default:
      return false;
  }
}

void TZKBank::RunCommand(CommandId command) {
  if (!CommandEnabled(command)) return;
  switch (command) {
    case CommandId::MidiGet:
      host_.StartGet(this);
      break;
    case CommandId::MidiTransmit:
      host_.StartTransmit(this);
      break;
    case CommandId::FileSave:
      Save(false);
      break;
    case CommandId::FileSaveAs:
      Save(true);
      break;
    case CommandId::EditUndo:
      Say(tr("Undone: %1").arg(FromLatin1(document_->UndoText())));
      document_->CmEditUndo();
      break;
    case CommandId::EditRename:
      list_->setFocus();
      list_->RenameCurrent();
      break;
    case CommandId::EditSelectAll:
      list_->selectAll();
      break;
    default:
      break;
  }
}

int TZKBank::BankTransferBegins(bool receive) {
  receiving_ = receive;
  if (receive)
    document_->BeginReceive();
  else
    document_->SetBusy(true);
  return ++transfers_;
}

void TZKBank::BankTransferEnded(int number, const QString& sentence) {
  if (number != transfers_ || !document_->IsBusy()) return;
  if (receiving_)
    document_->EndReceive();
  else
    document_->SetBusy(false);
  Say(sentence);
}

void TZKBank::AbandonTransfer() {
  BankTransferEnded(transfers_, tr("The transfer was given up."));
  ++transfers_;
}

bool TZKBank::Save(bool askName) {
  std::string path = document_->path();
  if (askName || path.empty()) {
    FilePrompt prompt;
    prompt.title = "Save Data As ?";
    prompt.folder = path.empty() ? host_.DataFolder(*document_) : ToUtf8(QFileInfo(FromUtf8(path)).path());
    const std::string extension = host_.FileExtension(*document_);
    prompt.name = path.empty() ? ToUtf8(FromLatin1(document_->Description())) + "." + extension
                               : ToUtf8(QFileInfo(FromUtf8(path)).fileName());
    prompt.patterns = {"ZK Data (*." + extension + ")", "All Files (*)"};
    prompt.save = true;
    path = host_.prompts().File(prompt);
    if (path.empty()) return false;
  }
  const Result result = document_->Save(path);
  if (!result.ok()) {
    host_.prompts().Say(kBankTitle, result.text);
    return false;
  }
  host_.FileUsed(path);
  Say(tr("Saved as %1").arg(FromUtf8(path)));
  return true;
}

bool TZKBank::VerifyClose() {
  if (document_->IsBusy()) {
    MessagePrompt prompt;
    prompt.title = kBankTitle;
    prompt.text = "This data is being transferred.\nCancel the transfer and close the window?";
    prompt.buttons = PromptButtons::YesNo;
    prompt.icon = PromptIcon::Question;
    if (host_.prompts().Message(prompt) != PromptAnswer::Yes) return false;
    host_.CancelTransfers(this);
  }
  if (!document_->IsModified()) return true;
  MessagePrompt prompt;
  prompt.title = kBankTitle;
  prompt.text = ToUtf8(tr("Save the changes to %1?").arg(FromLatin1(document_->Description())));
  prompt.buttons = PromptButtons::YesNoCancel;
  prompt.icon = PromptIcon::Question;
  switch (host_.prompts().Message(prompt)) {
    case PromptAnswer::Yes:
      return Save(false);
    case PromptAnswer::No:
      return true;
    default:
      return false;
  }
}

}  // namespace tonalith
