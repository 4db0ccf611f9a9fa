#pragma once

#include <QAbstractTableModel>
#include <QTreeView>
#include <vector>

#include "document/document.h"

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

// The list of components beside the pane.
class ZKGroupListCtl final : public QTreeView {
  Q_OBJECT

 public:
  explicit ZKGroupListCtl(ZKGrpDoc& set, QWidget* parent = nullptr);

  // -1: none.
  int GetCurSel() const;
  void SetCurSel(int component);
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
};

}  // namespace tonalith
