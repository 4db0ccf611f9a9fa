#pragma once

#include <QAbstractTableModel>
#include <QTreeView>
#include <functional>
#include <utility>
#include <vector>

#include "document/document.h"

class QMimeData;

namespace tonalith {

class ZKGrpDoc;

// The components of a Set as rows.
class SetListModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kName, kState, kSize, kColumns };

  explicit SetListModel(ZKGrpDoc& set, QObject* parent = nullptr);
  ~SetListModel() override;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

 private:
  void Changed(const DocumentChange& change);
  QString Spoken(int component) const;
  QString Tip(int component) const;

  ZKGrpDoc& set_;
  int rows_;
  int listener_;
};

// What is known of the state of a component, in words: "Active", "Inactive, undefined".
QString ComponentState(const ZKGrpDoc& set, int component);

// What the list asks when something is dragged over a component, or from it.
struct SetListDrag {
  // Whether what is dragged can be dropped on a component.
  std::function<bool(const QMimeData& mime, int component)> takes;
  std::function<void(const QMimeData& mime, int component)> drop;
  // The component is dragged; returns when that is over.
  std::function<void(int component)> start;
};

// The list of components beside the pane.
class ZKGroupListCtl final : public QTreeView {
  Q_OBJECT

 public:
  explicit ZKGroupListCtl(ZKGrpDoc& set, QWidget* parent = nullptr);

  // -1: none.
  int GetCurSel() const;
  void SetCurSel(int component);
  void SetDrag(SetListDrag drag) { drag_ = std::move(drag); }
  // From the first, in order.
  std::vector<int> Selected() const;

 signals:
  // Return or a double click.
  void OpenWanted();
  void AskMenu(const QPoint& at);
  void ShownChanged();

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
  void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
  void startDrag(Qt::DropActions actions) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  SetListDrag drag_;
};

}  // namespace tonalith
