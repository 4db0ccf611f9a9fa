#pragma once

#include <QStandardItemModel>
#include <vector>

namespace tonalith {

class SetListModel;
class ZKGrpDoc;

// The components of a Set below their instruments; more than three of one kind of data in a folder of their own.
class SetTreeModel final : public QStandardItemModel {
  Q_OBJECT

 public:
  explicit SetTreeModel(ZKGrpDoc& set, QObject* parent = nullptr);

  QModelIndex IndexOf(int component) const;
  // Of components: as the list has it.
  QVariant data(const QModelIndex& index, int role) const override;

 private:
  void Build();
  void AddRun(int first, int last);

  ZKGrpDoc& set_;
  SetListModel* rows_;
  std::vector<QStandardItem*> items_;  // by component
};

}  // namespace tonalith
