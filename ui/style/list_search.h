// A search field and the list it searches, tied together the same way in every window.
#pragma once

#include <QObject>
#include <QString>
#include <functional>

class QAbstractItemView;
class QListWidget;

namespace tonalith {

class PlainLabel;
class RowFilter;
class SearchField;

// Words hide the rows that do not hold them; the field counts those that are left, and a list without any says that
// nothing was found.  Down and Return go to the first hit, Escape in the empty field to the list as well.  A row that
// is current stays current while it is shown.  It belongs to the view.
class ListSearch final : public QObject {
  Q_OBJECT

 public:
  // Of a view, which gets `filter` as its model.
  ListSearch(SearchField* field, QAbstractItemView* view, RowFilter* filter);
  // Of a list that keeps its rows itself.  Rows that are hidden keep their check mark and their selection; call Refresh
  // when rows came or went.
  ListSearch(SearchField* field, QListWidget* list);

  // Words stand in the field.
  bool Filters() const;
  int Shown() const;
  int Hidden() const;
  // Looks at every row again.
  void Refresh();
  // A line that says what the search hides and what commands mean now; gone while no words stand in the field.  The
  // caller gives it a place.
  PlainLabel* Summary() const { return summary_; }
  void SetSummary(std::function<QString()> text);
  // What the line says may be another now.
  void ShowSummary();

 signals:
  // Other rows are shown than before.
  void Changed();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Connect();
  void Search();
  void HideItems();
  void Show();
  void GoToList();
  void KeepCurrent();

  SearchField* field_;
  QAbstractItemView* view_;
  RowFilter* filter_ = nullptr;  // of a view
  QListWidget* list_ = nullptr;  // a list with rows of its own
  PlainLabel* nothing_;
  PlainLabel* summary_;
  std::function<QString()> text_;
  int shown_ = 0;  // of a list
  int kept_ = -1;  // row of the source that was current
};

// Rows of a list that are hidden and checked.
int CheckedOutOfSight(const QListWidget& list);

}  // namespace tonalith
