// The rows of a flat list or table that hold the words of a search.
#pragma once

#include <QAbstractProxyModel>
#include <functional>
#include <vector>

#include "ui/style/search_field.h"

namespace tonalith {

// Stands between a flat model and its view.  Without words it costs nothing: every row is shown under its own number.
// With words the rows are looked through in short slices, so that a million of them stops nobody; what is found is
// shown at once.  Columns stay as they are, and so does the order of the rows.
class RowFilter final : public QAbstractProxyModel {
  Q_OBJECT

 public:
  // What a row of the source is searched by.
  using RowText = std::function<QString(int row)>;

  // Searched by the shown texts of all columns when `text` is empty.  The filter does not own the source.
  explicit RowFilter(QAbstractItemModel* source, QObject* parent = nullptr, RowText text = {});

  void SetWords(const SearchWords& words);
  // Words hide rows now, or may.
  bool Filters() const { return !words_.IsEmpty(); }
  // Rows are still to be looked at.
  bool Searching() const { return Filters() && next_ < SourceRows(); }
  int Hidden() const { return Filters() ? SourceRows() - rowCount() : 0; }
  // Numbers of the rows that are shown, in their order.
  std::vector<int> ShownRows() const;

  QModelIndex mapToSource(const QModelIndex& index) const override;
  QModelIndex mapFromSource(const QModelIndex& index) const override;
  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& index) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 signals:
  // Rows were found or went, or everything was looked at.
  void Searched();

 protected:
  void timerEvent(QTimerEvent* event) override;

 private:
  int SourceRows() const { return sourceModel()->rowCount(); }
  bool Fits(int row) const;
  void Follow();
  void StartAgain();
  void Look();
  void RowsCome(int first, int last);
  void RowsCame(int first, int last);
  void RowsGo(int first, int last);
  void RowsWent(int first, int last);

  RowText text_;
  SearchWords words_;
  std::vector<int> found_;  // rows of the source, ascending; with words only
  int next_ = 0;            // the first row that was not looked at
  int timer_ = 0;
};

}  // namespace tonalith
