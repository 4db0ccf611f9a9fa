#include "bank/ui/bank_model.h"

#include "bank/bank_document.h"
#include "data/patch_names.h"
#include "platform/text.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/list_delegate.h"

namespace tonalith {

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

void BankListModel::ShowSoFar(DataFilePtr data) {
  soFar_ = std::move(data);
  if (rows_ > 0) emit dataChanged(index(0, 0), index(rows_ - 1, kColumns - 1));
}

bool BankListModel::IsDefined(int patch) const {
  if (!soFar_) return document_.IsPatchDefined(patch);
  return !MapBit(soFar_->emptyMap, soFar_->emptyMapSize, static_cast<std::uint32_t>(patch));
}

QString BankListModel::NameOf(int patch) const {
  if (!IsDefined(patch)) return QStringLiteral("---");
  return ShownLatin1(soFar_ ? TrimmedView(tonalith::GetPatchName(*soFar_, patch)) : document_.GetPatchName(patch));
}

QVariant BankListModel::Marks(int patch) const {
  if (soFar_) return {};
  std::vector<Mark> marks;
  if (document_.DiffersFromFile(patch)) marks.push_back(Mark::Changed);
  if (document_.IsPatchDefined(patch) && document_.DiffersFromInstrument(patch)) marks.push_back(Mark::Unsent);
  if (document_.IsAwaited(patch)) marks.push_back(Mark::Awaited);
  if (document_.IsDamaged(patch)) marks.push_back(Mark::Damaged);
  return MarksOf(marks);
}

// What a sighted user sees of the row.
QString BankListModel::Spoken(int patch) const {
  const QString name = IsDefined(patch) ? index(patch, kName).data().toString() : tr("holds nothing yet");
  const QString text = ShownLatin1(document_.NumberText(patch)) + QLatin1Char(' ') + name;
  QStringList parts{text};
  for (const QString& more : {MarksText(MarksIn(Marks(patch))), Note(patch)})
    if (!more.isEmpty()) parts << more;
  return parts.join(QStringLiteral(", "));
}

bool BankListModel::HasNotes() const {
  for (int patch = 0; notes_ && patch < rows_; ++patch)
    if (!Note(patch).isEmpty()) return true;
  return false;
}

QVariant BankListModel::data(const QModelIndex& index, int role) const {
  const int patch = index.row();
  switch (role) {
    case Qt::DisplayRole:
      if (index.column() == kNumber) return ShownLatin1(document_.NumberText(patch));
      return NameOf(patch);
    case Qt::EditRole:
      return FromLatin1(index.column() == kNumber ? document_.NumberText(patch) : document_.GetPatchName(patch));
    case Qt::TextAlignmentRole:
      return index.column() == kNumber ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case Qt::ToolTipRole: {
      QStringList parts{MarksText(MarksIn(Marks(patch))), Note(patch)};
      parts.removeAll(QString());
      return parts.isEmpty() ? QVariant() : ToolTipText(parts.join(QLatin1Char('\n')));
    }
    case Qt::AccessibleTextRole:
      return Spoken(patch);
    case kNumberRole:
      return index.column() == kNumber;
    case kQuietRole:
      return !IsDefined(patch);
    case kAsideRole:
      return index.column() == kName ? QVariant(Note(patch)) : QVariant();
    case kMarksRole:
      return index.column() == kName ? Marks(patch) : QVariant();
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
  if (document_.IsPatchDefined(index.row())) flags |= Qt::ItemIsDragEnabled;
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

}  // namespace tonalith
