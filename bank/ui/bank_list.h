#pragma once

#include <QAbstractTableModel>
#include <QStyledItemDelegate>
#include <QTreeView>

namespace tonalith {

class ZKBankDoc;

// The patches of a bank as rows: number as on the instrument's panel, and name.  Slots that hold nothing yet are shown
// greyed.
class BankListModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kNumber = 0, kName = 1, kColumns = 2 };

  explicit BankListModel(ZKBankDoc& document, QObject* parent = nullptr);
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
  ZKBankDoc& document_;
  int rows_ = 0;
  int listener_ = 0;
};

// Limits the line edit of a name to the characters the instrument can hold.
class BankNameDelegate final : public QStyledItemDelegate {
  Q_OBJECT

 public:
  BankNameDelegate(ZKBankDoc& document, QObject* parent) : QStyledItemDelegate(parent), document_(document) {}
  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  ZKBankDoc& document_;
};

// The report list of a bank.
class ZKBankListCtrl final : public QTreeView {
  Q_OBJECT

 public:
  explicit ZKBankListCtrl(ZKBankDoc& document, QWidget* parent = nullptr);
  BankListModel* bankModel() const { return model_; }
  // Starts editing the name of the current row.
  void RenameCurrent();
  int CurrentPatch() const;

 private:
  BankListModel* model_;
};

}  // namespace tonalith
