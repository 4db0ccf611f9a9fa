#pragma once

#include <QAbstractTableModel>
#include <functional>
#include <utility>

#include "data/data_records.h"

namespace tonalith {

class ZKBankDoc;

// The patches of a bank as rows: number as on the instrument's panel, and name, with the marks of their state
// (ui/style/list_delegate.h).
class BankListModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kNumber = 0, kName = 1, kColumns = 2 };

  explicit BankListModel(ZKBankDoc& document, QObject* parent = nullptr);
  // Names are those of this data, which is about to become the document's; null: the document's own.
  void ShowSoFar(DataFilePtr data);
  // What is said of a patch beside its name; empty: nothing.
  void SetNotes(std::function<QString(int patch)> notes) { notes_ = std::move(notes); }
  // Something is said of a patch.
  bool HasNotes() const;
  ~BankListModel() override;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;

 signals:
  // Why a name was not taken, or not taken as it was typed.
  void Explained(const QString& sentence);

 private:
  QString NameOf(int patch) const;
  bool IsDefined(int patch) const;
  QVariant Marks(int patch) const;
  QString Spoken(int patch) const;
  QString Note(int patch) const { return notes_ ? notes_(patch) : QString(); }

  ZKBankDoc& document_;
  DataFilePtr soFar_;
  std::function<QString(int patch)> notes_;
  int rows_ = 0;
  int listener_ = 0;
};

}  // namespace tonalith
