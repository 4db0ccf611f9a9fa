#include "bank/ui/bank_window.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QToolButton>
#include <QVBoxLayout>

#include "bank/ui/bank_inspector.h"
#include "bank/ui/bank_list.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

ZKBankDoc& BankOf(Document& document) {
  return static_cast<ZKBankDoc&>(document);
}

}  // namespace

TZKBank::TZKBank(std::unique_ptr<ZKBankDoc> document, WindowContext& context, QWidget* parent)
    : InstrumentWindow(std::move(document), context, parent), bank_(BankOf(DocumentWindow::document())) {
  context.UpdateFromStudio(dataFile());
  auto* column = new QVBoxLayout(this);
  BuildHeading(column);
  BuildTools(column);
  list_ = new ZKBankListCtrl(bank_, this);
  list_->setAccessibleName(tr("Patches"));
  column->addWidget(list_, 1);
  status_ = new PlainLabel(this);
  status_->setWordWrap(true);
  column->addWidget(status_);
  setFocusProxy(list_);

  connect(list_->bankModel(), &BankListModel::Explained, this, &TZKBank::Say);
  connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
    emit StateChanged();
    emit InspectChanged();
  });
  UpdateTitle();
  Refresh();
  resize(fontMetrics().averageCharWidth() * 60, fontMetrics().height() * 28);
}

TZKBank::~TZKBank() {
  // The rows listen to the document, which goes before the children of this window would.
  delete list_;
  list_ = nullptr;
}

void TZKBank::BuildHeading(QBoxLayout* column) {
  heading_ = new PlainLabel(this);
  QFont bold = heading_->font();
  bold.setBold(true);
  bold.setPointSizeF(bold.pointSizeF() * 1.15);
  heading_->setFont(bold);
  detail_ = new PlainLabel(this);
  column->addWidget(heading_);
  column->addWidget(detail_);
}

void TZKBank::BuildTools(QBoxLayout* column) {
  auto* row = new QHBoxLayout;
  AddButton(row, CommandId::MidiGet, tr("&Get"), tr("Request this data from the instrument (Ctrl+G)"));
  AddButton(row, CommandId::MidiTransmit, tr("&Send"), tr("Send this data to the instrument (Ctrl+T)"));
  AddButton(row, CommandId::FileSave, tr("S&ave"), tr("Save this data as a file (Ctrl+S)"));
  AddButton(row, CommandId::EditRename, tr("&Rename"), tr("Change the selected name in place (F2)"));
  AddButton(row, CommandId::EditUndo, tr("Und&o"), tr("Take the last change back (Ctrl+Z)"));
  AddButton(row, CommandId::EditRedo, tr("Re&do"), tr("Make the change again that was taken back (Ctrl+Shift+Z)"));
  row->addStretch(1);
  column->addLayout(row);
}

void TZKBank::AddButton(QBoxLayout* row, CommandId command, const QString& text, const QString& tip) {
  auto* button = new QToolButton(this);
  button->setText(text);
  SetToolTip(button, tip);
  button->setFocusPolicy(Qt::TabFocus);
  connect(button, &QToolButton::clicked, this, [this, command] { RunCommand(command); });
  row->addWidget(button);
  buttons_.emplace_back(command, button);
}

void TZKBank::DocumentChanged(const DocumentChange&) {
  Refresh();
}

void TZKBank::Refresh() {
  heading_->setText(ShownUtf8(bank_.Title()));
  const int count = bank_.PatchCount();
  QString detail = count == 1 ? tr("1 patch") : tr("%1 patches").arg(count);
  int defined = 0;
  for (int patch = 0; patch < count; ++patch) defined += bank_.IsPatchDefined(patch);
  if (!bank_.IsEmpty() && defined < count) detail = tr("%1 of %2 patches").arg(defined).arg(count);
  if (const auto stamp = bank_.synth().timeStamp; stamp && !bank_.IsEmpty()) {
    const QDateTime when = QDateTime::fromSecsSinceEpoch(stamp);
    detail += tr(", received %1").arg(when.toString(QStringLiteral("yyyy-MM-dd HH:mm")));
  }
  detail_->setText(detail);
  for (const auto& [command, button] : buttons_) button->setEnabled(CommandEnabled(command));
  if (bank_.IsBusy()) {
    status_->setText(tr("Transferring..."));
  } else if (bank_.IsEmpty()) {
    status_->setText(tr("Nothing received yet. Choose Get to request this data from the instrument."));
  } else if (status_->text().isEmpty() || status_->text() == tr("Transferring...")) {
    status_->setText(ShownLatin1(bank_.StatusText()));
  }
}

void TZKBank::Say(const QString& text) {
  status_->setText(text);
  InstrumentWindow::Say(text);
}

bool TZKBank::CommandEnabled(CommandId command) const {
  switch (command) {
    case CommandId::EditRename:
      return !bank_.IsBusy() && bank_.NameLength() > 0 && !bank_.IsEmpty() && list_ && list_->CurrentPatch() >= 0;
    case CommandId::EditSelectAll:
      return true;
    default:
      return InstrumentWindow::CommandEnabled(command);
  }
}

QString TZKBank::CommandRefusal(CommandId command) const {
  if (command == CommandId::EditRename && !bank_.IsBusy())
    return bank_.NameLength() == 0 ? tr("This data has no names.") : tr("There is no patch to rename yet.");
  return InstrumentWindow::CommandRefusal(command);
}

InspectorContent TZKBank::Inspect() {
  return InspectBank(bank_, list_ ? list_->CurrentPatch() : -1);
}

void TZKBank::RunCommand(CommandId command) {
  if (!CommandEnabled(command)) return;
  switch (command) {
    case CommandId::EditRename:
      list_->setFocus();
      list_->RenameCurrent();
      break;
    case CommandId::EditSelectAll:
      list_->selectAll();
      break;
    default:
      InstrumentWindow::RunCommand(command);
      break;
  }
}

}  // namespace tonalith
