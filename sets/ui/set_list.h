#pragma once

#include <QAbstractTableModel>
#include <cstddef>

#include "document/document.h"

namespace tonalith {

class ZKGrpDoc;

// What models of components say beside the roles of Qt and of lists: the number of the component; none: a heading.
inline constexpr int kComponentRole = Qt::UserRole + 2000;

// The components of a Set as rows.
class SetListModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kName, kState, kSize, kColumns };

  explicit SetListModel(ZKGrpDoc& set, QObject* parent = nullptr);
  ~SetListModel() override;

  // Names as a tile has them: with that of the patch, where there is just one.
  void ShowTiles() { tiles_ = true; }

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

 private:
  void Changed(const DocumentChange& change);
  QString Spoken(int component) const;
  QString Tip(int component) const;

  QString NameOf(int component) const;

  ZKGrpDoc& set_;
  bool tiles_ = false;
  int rows_;
  int listener_;
};

// The kinds of data are in pairs, a single one and a bank of it: patches, multis and so on; the last is for the rest.
inline constexpr std::size_t kComponentGroups = 15;
std::size_t ComponentGroup(const ZKGrpDoc& set, int component);

// What is known of the state of a component, in words: "Active", "Inactive, undefined".
QString ComponentState(const ZKGrpDoc& set, int component);

}  // namespace tonalith
