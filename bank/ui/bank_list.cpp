#include "bank/ui/bank_list.h"

#include <QGuiApplication>
#include <QHeaderView>
#include <QLineEdit>
#include <QPalette>

#include "bank/bank_document.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

// Half-way between text and background, so that it can be read on light and dark; the palette's disabled text cannot.
QBrush FadedText() {
  const QPalette palette = QGuiApplication::palette();
  const QColor text = palette.color(QPalette::Text);
  const QColor base = palette.color(QPalette::Base);
  return QColor((text.red() + base.red()) / 2, (text.green() + base.green()) / 2, (text.blue() + base.blue()) / 2);
}

}  // namespace

BankListModel::BankListModel(ZKBankDoc& document, QObject* parent)
    : QAbstractTableModel(parent), document_(document), rows_(document.PatchCount()) {
  listener_ = document_.AddListener([this](const DocumentChange& change) {
    if (change.kind == DocumentChange::Kind::Item) {
      emit dataChanged(index(change.item, 0), index(change.item, kColumns - 1));
      return;
    }
    if (change.kind == DocumentChange::Kind::State && document_.PatchCount() == rows_) return;
    if (document_.PatchCount() == rows_) {
      emit dataChanged(index(0, 0), index(rows_ - 1, kColumns - 1));
      return;
    }
    beginResetModel();
    rows_ = document_.PatchCount();
    endResetModel();
  });
}

BankListModel::~BankListModel() {
  document_.RemoveListener(listener_);
}

int BankListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : rows_;
}

int BankListModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumns;
}

QVariant BankListModel::data(const QModelIndex& index, int role) const {
  const int patch = index.row();
  const bool defined = document_.IsPatchDefined(patch);
  switch (role) {
    case Qt::DisplayRole:
      if (index.column() == kNumber) return ShownLatin1(document_.NumberText(patch));
      return defined ? ShownLatin1(document_.GetPatchName(patch)) : tr("(not received yet)");
    case Qt::EditRole:
      return FromLatin1(index.column() == kNumber ? document_.NumberText(patch) : document_.GetPatchName(patch));
    case Qt::TextAlignmentRole:
      return index.column() == kNumber ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case Qt::ForegroundRole:
      if (!defined) return FadedText();
      return {};
    case Qt::AccessibleTextRole:
      return ShownLatin1(document_.NumberText(patch) + " " + document_.GetPatchName(patch));
    default:
      return {};
  }
}

QVariant BankListModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal) return {};
  if (role == Qt::TextAlignmentRole && section == kNumber) return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  if (role != Qt::DisplayRole) return {};
  return section == kNumber ? tr("Number") : tr("Name");
}

Qt::ItemFlags BankListModel::flags(const QModelIndex& index) const {
  Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
  const bool named = document_.NameLength() > 0 && document_.IsPatchDefined(index.row());
  if (index.column() == kName && named && document_.ReadOnlyReason().empty()) flags |= Qt::ItemIsEditable;
  return flags;
}

bool BankListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (role != Qt::EditRole || index.column() != kName) return false;
  const RenameResult result = document_.Rename(index.row(), ToUtf8(value.toString()));
  const std::string sentence = result.ok() ? result.fit.Sentence() : result.text;
  if (!sentence.empty()) emit Explained(ShownUtf8(sentence));
  return result.ok();
}

QWidget* BankNameDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                        const QModelIndex& index) const {
  QWidget* editor = QStyledItemDelegate::createEditor(parent, option, index);
  if (auto* line = qobject_cast<QLineEdit*>(editor)) line->setMaxLength(static_cast<int>(document_.NameLength()));
  return editor;
}

ZKBankListCtrl::ZKBankListCtrl(ZKBankDoc& document, QWidget* parent)
    : QTreeView(parent), model_(new BankListModel(document, this)) {
  setModel(model_);
  setItemDelegate(new BankNameDelegate(document, this));
  setRootIsDecorated(false);
  setUniformRowHeights(true);
  setAlternatingRowColors(true);
  setAllColumnsShowFocus(true);
  setSelectionMode(ExtendedSelection);
  setEditTriggers(EditKeyPressed | SelectedClicked);
  header()->setStretchLastSection(true);
  header()->setSectionsMovable(false);
  int widest = header()->sectionSizeHint(BankListModel::kNumber);
  for (int row = 0; row < model_->rowCount(); ++row) {
    const auto text = model_->index(row, BankListModel::kNumber).data().toString();
    widest = std::max(widest, fontMetrics().horizontalAdvance(text) + 4 * fontMetrics().averageCharWidth());
  }
  header()->resizeSection(BankListModel::kNumber, widest);
  setCurrentIndex(model_->index(0, BankListModel::kName));
}

void ZKBankListCtrl::RenameCurrent() {
  const QModelIndex current = currentIndex();
  if (!current.isValid()) return;
  const QModelIndex name = model_->index(current.row(), BankListModel::kName);
  setCurrentIndex(name);
  if (model_->flags(name) & Qt::ItemIsEditable) edit(name);
}

int ZKBankListCtrl::CurrentPatch() const {
  return currentIndex().isValid() ? currentIndex().row() : -1;
}

}  // namespace tonalith
