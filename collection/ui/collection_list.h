#pragma once

#include <QAbstractTableModel>
#include <QTreeView>
#include <functional>
#include <string>
#include <vector>

#include "collection/collection_facts.h"
#include "store/library/library_document.h"

class QDropEvent;
class QMimeData;

namespace tonalith {

class ZKDBaseDoc;

// The entries of a Collection as rows, as far as the words of the search field let them be listed; names, keywords and
// texts are edited in place.
class CollectionListModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  explicit CollectionListModel(ZKDBaseDoc& collection, QObject* parent = nullptr);

  // Shows what is listed now.  False: the same rows as before, whose texts may be others.
  bool Follow();
  void SetFilter(const std::string& words) { filter_ = LibraryFilter(words); }
  bool Filters() const { return !filter_.IsEmpty(); }
  EntryId EntryOf(int row) const;
  int RowOf(EntryId entry) const;  // -1: it is not listed

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;

 signals:
  // Why a text was not taken, or not as it was typed.
  void Explained(const QString& sentence);

 private:
  QString TextOf(EntryId entry, CollectionColumn column) const;

  ZKDBaseDoc& collection_;
  LibraryFilter filter_;
  std::vector<EntryId> shown_;
};

// What the list asks about drags.
struct CollectionListDrag {
  std::function<bool(const QMimeData& mime)> takes;
  std::function<void(const QMimeData& mime)> drop;
  std::function<void()> start;
};

// The table of a Collection.
class ZKDBaseListCtrl final : public QTreeView {
  Q_OBJECT

 public:
  explicit ZKDBaseListCtrl(ZKDBaseDoc& collection, QWidget* parent = nullptr);

  CollectionListModel* rows() { return rows_; }
  void SetDrag(CollectionListDrag drag) { drag_ = std::move(drag); }
  // What is listed is another now: selection and current row stay on their entries.
  void Follow();
  EntryId Current() const;  // 0: none
  // In display order.
  std::vector<EntryId> Selected() const;
  // They alone are selected, the first is current and can be seen.
  void Select(const std::vector<EntryId>& entries);
  // The widths become those that the document keeps.
  void KeepWidths();
  // A drag over the list, or over what stands in its place.
  void DragOver(QDropEvent* event);
  void Drop(QDropEvent* event);

 signals:
  void ShownChanged();
  void OpenWanted();
  void DeleteWanted();
  void SortWanted(int column);
  void AskMenu(const QPoint& at);

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
  void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
  void startDrag(Qt::DropActions actions) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void AskColumns(const QPoint& at);
  void SelectRows(const std::vector<EntryId>& entries, EntryId current);

  ZKDBaseDoc& collection_;
  CollectionListModel* rows_;
  CollectionListDrag drag_;
  bool following_ = false;
};

}  // namespace tonalith
