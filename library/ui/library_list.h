#pragma once

#include <QAbstractTableModel>
#include <QTreeView>
#include <functional>
#include <vector>

#include "document/document.h"
#include "store/library/library_view.h"
#include "ui/style/list_delegate.h"

class QDropEvent;
class QMimeData;

namespace tonalith {

class ZKLibListCtrl;

// The listed entries of a Library as rows; what can be typed is edited in place.
class LibraryListModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  LibraryListModel(ZKLibDoc& library, LibraryView& view, QObject* parent = nullptr);

  // Shows what the view lists now.  False: the same rows as before, whose texts may be others.
  bool Follow();
  // Why nothing can be changed now; empty: it can.
  void SetRefusal(std::function<QString()> refusal) { refusal_ = std::move(refusal); }
  EntryId EntryOf(int row) const;

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
  QString Spoken(EntryId entry) const;

  ZKLibDoc& library_;
  LibraryView& view_;
  std::vector<EntryId> shown_;
  std::function<QString()> refusal_;
};

// Edits texts of entries: as long as they may be; Return goes on to the row below.
class LibraryDelegate final : public ListDelegate {
  Q_OBJECT

 public:
  LibraryDelegate(const ZKLibDoc& library, ZKLibListCtrl* list);
  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  const ZKLibDoc& library_;
  ZKLibListCtrl* list_;
};

// What the list asks about drags.
struct LibraryListDrag {
  std::function<bool(const QMimeData& mime)> takes;
  std::function<void(const QMimeData& mime)> drop;
  std::function<void()> start;
};

// The table of a Library.
class ZKLibListCtrl final : public QTreeView {
  Q_OBJECT

 public:
  ZKLibListCtrl(ZKLibDoc& library, LibraryView& view, QWidget* parent = nullptr);

  LibraryListModel* rows() { return rows_; }
  void SetDrag(LibraryListDrag drag) { drag_ = std::move(drag); }
  // The view was made anew: selection and the current row stay on their entries.
  void Follow();
  // 0: none.
  EntryId Current() const;
  void GoTo(EntryId entry);
  // The first selected row is current and can be seen; the selection stays.
  void GoToSelected();
  void ShowColumn(LibraryColumn column, bool shown);
  // The text of the current cell, or the name where that cell has none that can be typed.
  void EditCurrent();
  void EditBelow();
  bool IsTyping() const { return state() == EditingState; }
  // A drag over the list, or over what stands in its place.
  void DragOver(QDropEvent* event);
  void Drop(QDropEvent* event);

 signals:
  // Other entries are selected, or another is current.
  void ShownChanged();
  void OpenWanted();
  void DeleteWanted();
  void SortWanted(int column);
  void AskMenu(const QPoint& at);

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
  void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
  void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
  void startDrag(Qt::DropActions actions) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void AskColumns(const QPoint& at);
  void SelectRows();

  LibraryView& view_;
  LibraryListModel* rows_;
  LibraryListDrag drag_;
  bool following_ = false;
};

}  // namespace tonalith
