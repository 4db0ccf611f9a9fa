#include "ui/transfer_windows.h"

#include <QDialogButtonBox>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/list_delegate.h"
#include "ui/style/spoken.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

constexpr int kRefreshMs = 100;
// An echo of a request looks like a loop for a moment.
constexpr int kLooksOfLoop = 10;

PlainLabel* AddLine(QVBoxLayout* column, QWidget* parent) {
  auto* label = new PlainLabel(parent);
  column->addWidget(label);
  return label;
}

}  // namespace

ReceivePane::ReceivePane(std::shared_ptr<Transfer> transfer, QWidget* parent)
    : QWidget(parent), transfer_(std::move(transfer)) {
  auto* column = new QVBoxLayout(this);
  receiving_ = AddLine(column, this);
  QFont bold = receiving_->font();
  bold.setBold(true);
  receiving_->setFont(bold);
  inPort_ = AddLine(column, this);
  outPort_ = AddLine(column, this);
  channel_ = AddLine(column, this);
  bytes_ = AddLine(column, this);
  hint_ = AddLine(column, this);
  hint_->setFont(bold);
  progress_ = new QProgressBar(this);
  progress_->setRange(0, 100);
  column->addWidget(progress_);
  messages_ = new QPlainTextEdit(this);
  messages_->setReadOnly(true);
  messages_->setTabChangesFocus(true);
  messages_->setAccessibleName(tr("Messages"));
  messages_->setMinimumHeight(messages_->fontMetrics().height() * 8);
  column->addWidget(messages_, 1);
  loop_ = AddLine(column, this);
  loop_->setWordWrap(true);
  loop_->hide();
  Refresh();
}

void ReceivePane::Refresh() {
  const ReceiveWindowState state = transfer_->WindowState();
  const ReceiveWindowView view = MakeReceiveView(state);
  hasMessages_ = !state.messages.empty();
  receiving_->setText(ShownLatin1(view.receiving));
  inPort_->setText(ShownUtf8(view.inPort));
  outPort_->setText(ShownUtf8(view.outPort));
  channel_->setText(ShownLatin1(view.channel));
  bytes_->setText(ShownLatin1(view.bytes));
  hint_->setVisible(!view.hint.empty());
  if (!view.hint.empty()) hint_->setText(ShownLatin1(view.hint));
  progress_->setValue(view.percent);
  const QString text = ShownText(FromLatin1(view.messages));
  if (text != shownMessages_) {
    shownMessages_ = text;
    messages_->setPlainText(text);
    messages_->moveCursor(QTextCursor::End);
  }
  loopLooks_ = view.loopWarning.empty() || Over() ? 0 : loopLooks_ + 1;
  needsSomebody_ = !Over() && (!view.hint.empty() || loopLooks_ >= kLooksOfLoop);
  loop_->setVisible(!view.loopWarning.empty());
  if (!view.loopWarning.empty()) loop_->setText(ShownLatin1(view.loopCounts) + '\n' + ShownLatin1(view.loopWarning));
}

ZKMidiInStatus::ZKMidiInStatus(QWidget* parent)
    : QDialog(parent), pages_(new QTabWidget(this)), timer_(new QTimer(this)) {
  SetTitle(this, tr("MIDI I/O"));
  setModal(false);
  auto* column = new QVBoxLayout(this);
  pages_->setTabBarAutoHide(true);
  pages_->setDocumentMode(true);
  column->addWidget(pages_, 1);
  auto* buttons = new QDialogButtonBox(this);
  ok_ = buttons->addButton(QString::fromLatin1(kOkButton), QDialogButtonBox::AcceptRole);
  cancel_ = buttons->addButton(QString::fromLatin1(kCancelButton), QDialogButtonBox::RejectRole);
  cancelAll_ = buttons->addButton(QString::fromLatin1(kCancelAllButton), QDialogButtonBox::DestructiveRole);
  cancel_->setDefault(true);
  column->addWidget(buttons);
  connect(ok_, &QPushButton::clicked, this, [this] { Press(TransferState::Ok); });
  connect(cancel_, &QPushButton::clicked, this, [this] { Press(TransferState::Cancel); });
  connect(cancelAll_, &QPushButton::clicked, this, [this] { Press(TransferState::CancelAll); });
  connect(timer_, &QTimer::timeout, this, &ZKMidiInStatus::Refresh);
  resize(fontMetrics().averageCharWidth() * 64, fontMetrics().height() * 22);
}

ReceivePane* ZKMidiInStatus::Page(int index) const {
  return static_cast<ReceivePane*>(pages_->widget(index));
}

int ZKMidiInStatus::Pages() const {
  return pages_->count();
}

void ZKMidiInStatus::Add(const std::shared_ptr<Transfer>& transfer) {
  // Pages that only wait to be read make room for the next receive.
  for (int i = pages_->count() - 1; i >= 0; --i) {
    if (Page(i)->Over()) delete Page(i);
  }
  auto* pane = new ReceivePane(transfer, this);
  const auto state = transfer->WindowState();
  pages_->setCurrentIndex(pages_->addTab(pane, MenuText(ShownLatin1(state.shortName + " " + state.typeName))));
  timer_->start(kRefreshMs);
  if (pane->NeedsSomebody()) ShowPage(transfer);
  Refresh();
}

int ZKMidiInStatus::PageOf(const std::shared_ptr<Transfer>& transfer) const {
  for (int i = 0; transfer && i < pages_->count(); ++i) {
    if (Page(i)->transfer() == transfer) return i;
  }
  return -1;
}

bool ZKMidiInStatus::ShowPage(const std::shared_ptr<Transfer>& transfer) {
  const int page = PageOf(transfer);
  if (page < 0) return false;
  pages_->setCurrentIndex(page);
  ShowInFront();
  return true;
}

void ZKMidiInStatus::ShowInFront() {
  show();
  raise();
  activateWindow();
}

// Pages of receives that are over go away by themselves, unless there is something to read that the user has not
// answered with a button.
void ZKMidiInStatus::Refresh() {
  bool running = false;
  std::vector<std::shared_ptr<Transfer>> unread;
  for (int i = pages_->count() - 1; i >= 0; --i) {
    ReceivePane* pane = Page(i);
    const bool needed = pane->NeedsSomebody();
    pane->Refresh();
    if (pane->NeedsSomebody() && !needed) ShowPage(pane->transfer());
    if (!pane->Over()) {
      running = true;
    } else if (!pane->HasMessages() || pane->transfer()->Result().state != TransferState::Running) {
      delete pane;
    } else {
      unread.push_back(pane->transfer());
    }
  }
  if (!running) timer_->stop();
  if (pages_->count() == 0) return Leave();
  if (isHidden()) {
    for (const auto& transfer : unread) emit Unread(transfer);
  }
  cancel_->setVisible(running);
  cancelAll_->setVisible(running);
  QPushButton* first = running ? cancel_ : ok_;
  if (first->isDefault()) return;
  first->setDefault(true);
  first->setFocus();
}

// The transfer counts as running until its observers have been told.
void ZKMidiInStatus::TransferClosed() {
  QTimer::singleShot(0, this, &ZKMidiInStatus::Refresh);
}

void ZKMidiInStatus::Press(TransferState button) {
  ReceivePane* pane = Page(pages_->currentIndex());
  if (pane && pane->Over()) {
    delete pane;
  } else if (pane && button == TransferState::CancelAll) {
    for (int i = 0; i < pages_->count(); ++i) Page(i)->transfer()->Press(button);
  } else if (pane) {
    pane->transfer()->Press(button);
  }
  if (pages_->count() == 0) Leave();
}

// Whoever worked in the window behind goes on there.
void ZKMidiInStatus::Leave() {
  const bool active = isActiveWindow();
  hide();
  if (active && parentWidget()) parentWidget()->activateWindow();
}

// The transfer goes on; what is over has been read.
void ZKMidiInStatus::reject() {
  for (int i = pages_->count() - 1; i >= 0; --i) {
    if (Page(i)->Over()) delete Page(i);
  }
  Leave();
}

ZKMidiOutStatus::ZKMidiOutStatus(TransferEngine& engine, QWidget* parent)
    : QDialog(parent), engine_(engine), timer_(new QTimer(this)) {
  SetTitle(this, ShownLatin1(kTransmittingText));
  auto* column = new QVBoxLayout(this);
  port_ = AddLine(column, this);
  progress_ = new QProgressBar(this);
  progress_->setRange(0, 100);
  column->addWidget(progress_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
  buttons->button(QDialogButtonBox::Cancel)->setText(QString::fromLatin1(kCancelButton));
  connect(buttons, &QDialogButtonBox::rejected, this, &ZKMidiOutStatus::Cancel);
  column->addWidget(buttons);
  connect(timer_, &QTimer::timeout, this, &ZKMidiOutStatus::Refresh);
  timer_->start(kRefreshMs);
  resize(fontMetrics().averageCharWidth() * 48, sizeHint().height());
  Refresh();
}

void ZKMidiOutStatus::Refresh() {
  const TransmitWindowView view = MakeTransmitView(engine_.TransmitState());
  port_->setText(ShownUtf8(view.port));
  progress_->setValue(view.percent);
  if (!view.close) return;
  timer_->stop();
  engine_.CloseTransmitWindow();
  hide();
  deleteLater();
}

void ZKMidiOutStatus::ShowInFront() {
  show();
  raise();
  activateWindow();
}

void ZKMidiOutStatus::Cancel() {
  timer_->stop();
  emit Cancelled(engine_.TransmitState().port);
  engine_.CancelTransmit();
  hide();
  deleteLater();
}

ZKCancelTransmit::ZKCancelTransmit(const std::vector<std::string>& portNames, QWidget* parent)
    : QDialog(parent), list_(new QListWidget(this)) {
  SetTitle(this, tr("Cancel Sending"));
  auto* column = new QVBoxLayout(this);
  auto* head = new PlainLabel(tr("Stop &sending on these MIDI output ports:"), this);
  head->setBuddy(list_);
  column->addWidget(head);
  DressList(list_);
  list_->setSelectionMode(QAbstractItemView::MultiSelection);
  for (const auto& name : portNames) list_->addItem(ShownUtf8(name));
  list_->selectAll();
  column->addWidget(list_, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  column->addWidget(buttons);
  QPushButton* ok = buttons->button(QDialogButtonBox::Ok);
  SetPrimary(ok);
  const auto update = [this, ok] {
    EnableUnless(ok, list_->selectedItems().isEmpty() ? tr("No port is chosen.") : QString());
  };
  connect(list_, &QListWidget::itemSelectionChanged, this, update);
  connect(list_, &QListWidget::itemDoubleClicked, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  update();
}

std::vector<bool> ZKCancelTransmit::Selected() const {
  std::vector<bool> flags;
  for (int i = 0; i < list_->count(); ++i) flags.push_back(list_->item(i)->isSelected());
  return flags;
}

}  // namespace tonalith
