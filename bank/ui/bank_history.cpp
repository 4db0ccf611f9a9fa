#include "bank/ui/bank_history.h"

#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <utility>

#include "bank/bank_document.h"
#include "bank/ui/bank_audition_part.h"
#include "bank/ui/bank_window.h"
#include "ui/plain_text.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

ZKBankUndo::ZKBankUndo(ZKBankDoc& document, QWidget* parent, Play play)
    : QDialog(parent), document_(document), list_(new QListWidget(this)), play_(std::move(play)) {
  SetTitle(this, tr("Undo History"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  column->addWidget(new PlainLabel(tr("What was done, the newest first:"), this));
  list_->setAccessibleName(tr("States of the bank"));
  DressList(list_);
  column->addWidget(list_, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
  audition_ = buttons->addButton(tr("&Play the Selected Patch"), QDialogButtonBox::ActionRole);
  SetToolTip(audition_, tr("Let the instrument play the patch that is selected in the bank as it was in this state"));
  go_ = buttons->addButton(tr("&Go to This State"), QDialogButtonBox::ActionRole);
  column->addWidget(buttons);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(go_, &QPushButton::clicked, this, &ZKBankUndo::GoToChosen);
  connect(audition_, &QPushButton::clicked, this, &ZKBankUndo::OnUndoAudition);
  connect(list_, &QListWidget::itemActivated, this, &ZKBankUndo::GoToChosen);
  connect(list_, &QListWidget::currentRowChanged, this, &ZKBankUndo::Refresh);
  listener_ = document_.AddListener([this](const DocumentChange&) { Fill(); });
  Fill();
  resize(fontMetrics().averageCharWidth() * 64, fontMetrics().height() * 22);
}

ZKBankUndo::~ZKBankUndo() {
  document_.RemoveListener(listener_);
}

// Row r stands for the state after entry Count() - 1 - r; the last row for the oldest state.
void ZKBankUndo::Fill() {
  const History& history = document_.history();
  const QSignalBlocker quiet(list_);
  list_->clear();
  for (std::size_t i = history.Count() + 1; i > 0; --i) {
    const std::size_t position = i - 1;
    const QString name = position == 0 ? tr("As the history begins") : ShownUtf8(history.Name(position - 1));
    const bool undone = position > history.Position();
    auto* item = new QListWidgetItem(position == history.Position() ? tr("%1 - now").arg(name)
                                     : undone                       ? tr("%1 (undone)").arg(name)
                                                                    : name,
                                     list_);
    item->setData(kQuietRole, undone);
  }
  list_->setCurrentRow(static_cast<int>(history.Count() - history.Position()));
  Refresh();
}

void ZKBankUndo::Refresh() {
  const History& history = document_.history();
  const int now = static_cast<int>(history.Count() - history.Position());
  EnableUnless(go_, document_.IsBusy()           ? ShownUtf8(document_.BusyReason())
                    : list_->currentRow() == now ? tr("The bank is in this state.")
                    : list_->currentRow() < 0    ? tr("No state is chosen.")
                                                 : QString());
  EnableUnless(audition_, document_.IsBusy()        ? ShownUtf8(document_.BusyReason())
                          : !play_                  ? tr("There is no instrument to play it.")
                          : list_->currentRow() < 0 ? tr("No state is chosen.")
                                                    : QString());
}

void ZKBankUndo::OnUndoAudition() {
  const int row = list_->currentRow();
  const std::size_t count = document_.history().Count();
  if (!play_ || row < 0 || static_cast<std::size_t>(row) > count) return;
  const Result played = play_(count - static_cast<std::size_t>(row));
  if (!played.ok()) emit Said(ShownUtf8(played.text));
}

void ZKBankUndo::GoToChosen() {
  const History& history = document_.history();
  const int row = list_->currentRow();
  if (row < 0 || static_cast<std::size_t>(row) > history.Count()) return;
  const Result gone = document_.GoTo(history.Count() - static_cast<std::size_t>(row));
  if (!gone.ok()) emit Said(ShownUtf8(gone.text));
}

namespace {

// Data that is no bank is played by its own window's commands.
ZKBankUndo::Play PlayOf(TZKBank& window) {
  if (window.document().synth().isBank == 0) return {};
  for (const auto& part : window.parts())
    if (auto* audition = dynamic_cast<BankAudition*>(part.get()))
      return [audition](std::size_t position) { return audition->PlayState(position); };
  return {};
}

}  // namespace

QString BankHistory::Refusal(CommandId) const {
  return window_.document().history().Count() == 0
             ? QCoreApplication::translate("BankHistory", "Nothing was changed yet.")
             : QString();
}

void BankHistory::Run(CommandId) {
  auto* dialog = window_.findChild<ZKBankUndo*>();
  if (!dialog) {
    dialog = new ZKBankUndo(window_.document(), &window_, PlayOf(window_));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(dialog, &ZKBankUndo::Said, &window_, &TZKBank::Say);
  }
  dialog->show();
  dialog->raise();
  dialog->activateWindow();
}

std::vector<CommandId> BankHistory::EntriesOf(BankMenu menu) const {
  return menu == BankMenu::More ? std::vector<CommandId>{CommandId::BankUndoHistory} : std::vector<CommandId>();
}

}  // namespace tonalith
