#include "ui/style/list_search.h"

#include <QKeyEvent>
#include <QListWidget>
#include <QVBoxLayout>

#include "ui/style/plain_text.h"
#include "ui/style/row_filter.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"

namespace tonalith {

ListSearch::ListSearch(SearchField* field, QAbstractItemView* view, RowFilter* filter)
    : QObject(view),
      field_(field),
      view_(view),
      filter_(filter),
      nothing_(new PlainLabel(view->viewport())),
      summary_(new PlainLabel(view->parentWidget())) {
  view->setModel(filter);
  connect(filter, &RowFilter::Searched, this, &ListSearch::Show);
  connect(view->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& now) {
    if (now.isValid()) kept_ = filter_->mapToSource(now).row();
  });
  Connect();
}

ListSearch::ListSearch(SearchField* field, QListWidget* list)
    : QObject(list),
      field_(field),
      view_(list),
      list_(list),
      nothing_(new PlainLabel(list->viewport())),
      summary_(new PlainLabel(list->parentWidget())) {
  shown_ = list->count();
  Connect();
}

void ListSearch::Connect() {
  auto* place = new QVBoxLayout(view_->viewport());
  SetSpace(place, kWideGap, 0);
  nothing_->setAlignment(Qt::AlignCenter);
  nothing_->setWordWrap(true);
  nothing_->setAttribute(Qt::WA_TransparentForMouseEvents);
  SetSecondaryText(nothing_);
  nothing_->hide();
  place->addWidget(nothing_);
  summary_->setWordWrap(true);
  SetSecondaryText(summary_);
  summary_->hide();
  field_->installEventFilter(this);
  connect(field_, &SearchField::WordsChanged, this, &ListSearch::Search);
  connect(field_, &SearchField::GoToList, this, &ListSearch::GoToList);
  connect(field_, &SearchField::Left, this, [this] { view_->setFocus(Qt::OtherFocusReason); });
}

bool ListSearch::Filters() const {
  return !field_->Words().IsEmpty();
}

int ListSearch::Shown() const {
  return filter_ ? filter_->rowCount() : shown_;
}

int ListSearch::Hidden() const {
  return filter_ ? filter_->Hidden() : list_->count() - shown_;
}

void ListSearch::SetSummary(std::function<QString()> text) {
  text_ = std::move(text);
  Show();
}

void ListSearch::Refresh() {
  Search();
}

void ListSearch::Search() {
  if (filter_) {
    const int kept = kept_;
    filter_->SetWords(field_->Words());  // says Searched when rows were looked at
    kept_ = kept;
    KeepCurrent();
  } else {
    HideItems();
  }
  Show();
}

void ListSearch::KeepCurrent() {
  if (kept_ < 0) return;
  const QModelIndex kept = filter_->mapFromSource(filter_->sourceModel()->index(kept_, 0));
  if (!kept.isValid() || kept.row() >= filter_->rowCount()) return;
  view_->selectionModel()->setCurrentIndex(kept, QItemSelectionModel::NoUpdate);
  view_->scrollTo(kept);
}

void ListSearch::HideItems() {
  shown_ = 0;
  int first = -1;
  for (int row = 0; row < list_->count(); ++row) {
    const bool hit = field_->Words().Match(list_->item(row)->text());
    list_->item(row)->setHidden(!hit);
    shown_ += hit ? 1 : 0;
    if (hit && first < 0) first = row;
  }
  if (first >= 0 && (!list_->currentItem() || list_->currentItem()->isHidden()))
    list_->setCurrentRow(first, QItemSelectionModel::NoUpdate);
}

void ListSearch::Show() {
  const bool searching = filter_ && filter_->Searching();
  field_->SetHits(Filters() ? Shown() : -1);
  nothing_->setText(Filters() && !searching ? field_->NothingFound() : QString());
  nothing_->setVisible(Filters() && Shown() == 0 && !searching);
  ShowSummary();
  emit Changed();
}

void ListSearch::ShowSummary() {
  const QString text = Filters() && text_ ? text_() : QString();
  summary_->setText(text);
  summary_->setVisible(!text.isEmpty());
}

// Return is for what was found, not for the main button of the dialog around.
bool ListSearch::eventFilter(QObject* watched, QEvent* event) {
  if (watched == field_ && event->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
      GoToList();
      return true;
    }
  }
  return QObject::eventFilter(watched, event);
}

void ListSearch::GoToList() {
  if (Shown() == 0) return;
  view_->setFocus(Qt::OtherFocusReason);
  const QModelIndex current = view_->currentIndex();
  if (current.isValid() && !(list_ && list_->item(current.row())->isHidden())) return;
  int row = 0;
  while (list_ && row < list_->count() && list_->item(row)->isHidden()) ++row;
  view_->selectionModel()->setCurrentIndex(view_->model()->index(row, 0), QItemSelectionModel::NoUpdate);
}

int CheckedOutOfSight(const QListWidget& list) {
  int hidden = 0;
  for (int row = 0; row < list.count(); ++row)
    hidden += list.item(row)->isHidden() && list.item(row)->checkState() == Qt::Checked ? 1 : 0;
  return hidden;
}

}  // namespace tonalith
