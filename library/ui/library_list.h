#pragma once

#include <QAbstractTableModel>
#include <QTreeView>
#include <functional>
#include <vector>

#include "document/document.h"
#include "store/library/library_view.h"

class QMimeData;

namespace tonalith {

// The listed entries of a Library as rows; what can be typed is edited in place.
class LibraryListModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  LibraryListModel(ZKLibDoc& library, LibraryView& view, QObject* parent = nullptr);

  // The view was made anew.
  void Reset();
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
  std::function<QString()> refusal_;
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
  void ShowColumn(LibraryColumn column, bool shown);

 signals:
  // Other entries are selected, or another is current.
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
  void SelectRows();

  LibraryView& view_;
  LibraryListModel* rows_;
  LibraryListDrag drag_;
  bool following_ = false;
};

}  // namespace tonalith
