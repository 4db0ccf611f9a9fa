#include "ui/instrument_history_window.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QPushButton>
#include <QStackedWidget>
#include <QStandardItemModel>
#include <QTableView>
#include <QVBoxLayout>
#include <utility>

#include "platform/prompts.h"
#include "services/send_care.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/restore_kept.h"
#include "ui/style/empty_state.h"
#include "ui/style/list_delegate.h"
#include "ui/style/list_search.h"
#include "ui/style/row_filter.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/window_context.h"

namespace tonalith {

namespace {

constexpr char kHistoryTitle[] = "Instrument History";

QStandardItem* ItemOf(const QString& text) {
  auto* item = new QStandardItem(text);
  item->setEditable(false);
  return item;
}

// "Korg DW-8000 held before 2026-11-23 02:59 (Program Bank)"
std::string HeldText(const HistoryEntry& entry) {
  return entry.instrument + " held before " + ToUtf8(LocalTimeText(entry)) + " (" + entry.What() + ")";
}

}  // namespace

InstrumentHistoryWindow::InstrumentHistoryWindow(WindowContext& context, QWidget* parent)
    : QDialog(parent),
      context_(context),
      rows_(new QStandardItemModel(0, kColumns, this)),
      filter_(new RowFilter(rows_, this)),
      search_(new SearchField(tr("Search the history"), this)),
      table_(new QTableView(this)),
      status_(new PlainLabel(this)) {
  SetTitle(this, tr("Instrument History"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  auto* head = new PlainLabel(tr("Held before something was sent:"), this);
  for (PlainLabel* label : {head, status_}) label->setWordWrap(true);
  column->addWidget(head);
  column->addWidget(search_);
  BuildTable();
  found_ = new ListSearch(search_, table_, filter_);
  search_->ServeDialog(this);
  places_ = new QStackedWidget(this);
  places_->addWidget(new EmptyState(Glyph::History, tr("Nothing is kept yet"),
                                    tr("Bank > Keep Before Sending decides what is got and kept."), places_));
  places_->addWidget(table_);
  column->addWidget(places_, 1);
  SetSecondaryText(status_);
  column->addWidget(status_);
  BuildButtons();
  listener_ = context_.sendCare().AddListener([this](const DataFile*) { Fill(); });
  Fill();
  resize(fontMetrics().averageCharWidth() * 84, fontMetrics().height() * 26);
}

InstrumentHistoryWindow::~InstrumentHistoryWindow() {
  context_.sendCare().RemoveListener(listener_);
}

void InstrumentHistoryWindow::BuildTable() {
  rows_->setHorizontalHeaderLabels({tr("Number"), tr("Date"), tr("Instrument"), tr("What")});
  table_->setAccessibleName(tr("Contents of instruments"));
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  table_->setTabKeyNavigation(false);
  table_->verticalHeader()->hide();
  DressList(table_);
  table_->horizontalHeader()->setStretchLastSection(true);
  connect(table_, &QTableView::activated, this, &InstrumentHistoryWindow::ShowChosen);
}

void InstrumentHistoryWindow::BuildButtons() {
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
  show_ = buttons->addButton(tr("Sh&ow"), QDialogButtonBox::ActionRole);
  restore_ = buttons->addButton(tr("&Restore..."), QDialogButtonBox::ActionRole);
  forget_ = buttons->addButton(tr("&Forget..."), QDialogButtonBox::ActionRole);
  EnableUnless(show_, {}, tr("Open the content in a window of its own"));
  EnableUnless(restore_, {}, tr("Send the content back to its instrument"));
  EnableUnless(forget_, {}, tr("Remove the content from the history"));
  for (QPushButton* button : {show_, restore_, forget_}) button->setAutoDefault(false);
  connect(show_, &QPushButton::clicked, this, &InstrumentHistoryWindow::ShowChosen);
  connect(restore_, &QPushButton::clicked, this, &InstrumentHistoryWindow::RestoreChosen);
  connect(forget_, &QPushButton::clicked, this, &InstrumentHistoryWindow::ForgetChosen);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout()->addWidget(buttons);
  connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, &InstrumentHistoryWindow::Refresh);
}

void InstrumentHistoryWindow::Fill() {
  const HistoryEntry* chosen = Chosen();
  const int number = chosen ? chosen->number : 0;
  entries_ = context_.sendCare().history().List();
  rows_->removeRows(0, rows_->rowCount());
  int row = 0;
  for (const HistoryEntry& entry : entries_) {
    QStandardItem* count = ItemOf(QString::number(entry.number));
    QStandardItem* date = ItemOf(LocalTimeText(entry));
    for (QStandardItem* item : {count, date}) item->setData(true, kNumberRole);
    rows_->appendRow({count, date, ItemOf(ShownUtf8(entry.instrument)), ItemOf(ShownUtf8(entry.What()))});
    if (entry.number == number) row = rows_->rowCount() - 1;
  }
  table_->resizeColumnsToContents();
  if (!entries_.empty()) table_->selectRow(filter_->mapFromSource(rows_->index(row, 0)).row());
  Refresh();
}

const HistoryEntry* InstrumentHistoryWindow::Chosen() const {
  const QModelIndexList rows = table_->selectionModel()->selectedRows();
  if (rows.isEmpty()) return nullptr;
  const auto row = static_cast<std::size_t>(filter_->mapToSource(rows.front()).row());
  return row < entries_.size() ? &entries_[row] : nullptr;
}

void InstrumentHistoryWindow::Refresh() {
  const QString none = entries_.empty() ? tr("Nothing is kept yet.") : Chosen() ? QString() : tr("Nothing is chosen.");
  EnableUnless(show_, none);
  EnableUnless(restore_, restoring_ ? tr("A content is being sent back already.") : none);
  EnableUnless(forget_, none);
  places_->setCurrentIndex(entries_.empty() ? 0 : 1);
}

void InstrumentHistoryWindow::Tell(const QString& text) {
  status_->setText(text);
  emit Said(text);
}

void InstrumentHistoryWindow::ShowChosen() {
  const HistoryEntry* chosen = Chosen();
  if (!chosen) return;
  DataFilePtr content;
  if (const Result loaded = context_.sendCare().history().Load(chosen->number, &content); !loaded.ok()) {
    context_.prompts().Say(kHistoryTitle, loaded.text);
    return context_.sendCare().HistoryChanged();
  }
  context_.ShowData(std::move(content),
                    ToUtf8(tr("%1, %2").arg(ShownUtf8(chosen->instrument), LocalTimeText(*chosen))));
}

bool InstrumentHistoryWindow::Agrees(const std::string& question, const char* verb) {
  MessagePrompt prompt;
  prompt.title = kHistoryTitle;
  prompt.text = question;
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Warning;
  prompt.labels = {verb, "Cancel"};
  return context_.prompts().Message(prompt) == PromptAnswer::Yes;
}

void InstrumentHistoryWindow::RestoreChosen() {
  if (!Chosen() || restoring_) return;
  const HistoryEntry entry = *Chosen();
  if (!Agrees("Send what the " + HeldText(entry) + " back to it?\n\nWhat it holds there now is overwritten.",
              "Restore"))
    return;
  restoring_ = true;
  Refresh();
  RestoreKept(context_, entry, true, receiver_, [this](const RestoreOutcome& outcome) {
    restoring_ = false;
    Refresh();
    if (!outcome.sentence.isEmpty()) Tell(outcome.sentence);
  });
}

void InstrumentHistoryWindow::ForgetChosen() {
  if (!Chosen()) return;
  const HistoryEntry entry = *Chosen();
  if (!Agrees("Forget what the " + HeldText(entry) + "?\n\nIts file is removed and cannot be brought back.", "Forget"))
    return;
  const Result forgotten = context_.sendCare().history().Forget(entry.number);
  context_.sendCare().HistoryChanged();
  if (!forgotten.ok())
    context_.prompts().Say(kHistoryTitle, forgotten.text);
  else
    Tell(tr("Number %1 of the history is forgotten.").arg(entry.number));
}

}  // namespace tonalith
