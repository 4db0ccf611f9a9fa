#include "sets/ui/set_list.h"

#include <QLocale>
#include <array>

#include "data/patch_names.h"
#include "platform/text.h"
#include "store/sets/set_document.h"
#include "ui/plain_text.h"
#include "ui/style/icons.h"
#include "ui/style/list_delegate.h"

namespace tonalith {

namespace {

constexpr qsizetype kMostTileText = 24;

QVariant ComponentMarks(const ZKGrpDoc& set, int component) {
  const EntryState state = set.StateOf(component);
  if (state.busy) return MarksOf({Mark::Busy});
  std::vector<Mark> marks;
  if (set.IsChanged(component)) marks.push_back(Mark::Changed);
  if (!set.LinkProblem(component).empty())
    marks.push_back(Mark::Missing);
  else if (state.content == EntryContent::kUndefined)
    marks.push_back(Mark::Undefined);
  else if (set.unsent().Count(component) > 0)
    marks.push_back(Mark::Unsent);
  return MarksOf(marks);
}

// Of the groups, in their order; None: banks and patches have their own.
constexpr std::array<Glyph, kComponentGroups> kGroupGlyphs = {
    Glyph::None,   Glyph::Multi,    Glyph::Settings, Glyph::Cable, Glyph::List,
    Glyph::Effect, Glyph::Sequence, Glyph::Drum,     Glyph::None,  Glyph::Sample,
    Glyph::Effect, Glyph::Tuning,   Glyph::Tuning,   Glyph::Cable, Glyph::Document};

Glyph GlyphOfComponent(const ZKGrpDoc& set, int component) {
  if (set.StateOf(component).linked) return Glyph::Link;
  const Glyph glyph = kGroupGlyphs[ComponentGroup(set, component)];
  if (glyph != Glyph::None) return glyph;
  return set.GetDataFile(component)->synth->isBank ? Glyph::Bank : Glyph::Patch;
}

QString SizeText(std::uint32_t bytes) {
  return bytes == 0 ? QString() : SetListModel::tr("%1 bytes").arg(QLocale().toString(bytes));
}

}  // namespace

std::size_t ComponentGroup(const ZKGrpDoc& set, int component) {
  const int kind = set.GetDataFile(component)->synth->dataKind;
  return kind >= 1 && kind <= 30 ? static_cast<std::size_t>((kind - 1) / 2) : kComponentGroups - 1;
}

QString ComponentState(const ZKGrpDoc& set, int component) {
  const EntryState state = set.StateOf(component);
  if (state.busy) return SetListModel::tr("Being transferred");
  QStringList words;
  if (state.inactive) words << SetListModel::tr("inactive");
  if (state.linked) words << SetListModel::tr("linked");
  if (!set.LinkProblem(component).empty())
    words << SetListModel::tr("file missing");
  else if (state.content == EntryContent::kUndefined)
    words << SetListModel::tr("undefined");
  else if (state.content == EntryContent::kEmpty)
    words << SetListModel::tr("empty");
  if (words.isEmpty()) words << SetListModel::tr("active");
  words.front().replace(0, 1, words.front().at(0).toUpper());
  return words.join(QStringLiteral(", "));
}

// ---- the rows -------------------------------------------------------------------------------------------------------

SetListModel::SetListModel(ZKGrpDoc& set, QObject* parent)
    : QAbstractTableModel(parent), set_(set), rows_(set.GetDataFileCount()) {
  listener_ = set_.AddListener([this](const DocumentChange& change) { Changed(change); });
}

SetListModel::~SetListModel() {
  set_.RemoveListener(listener_);
}

void SetListModel::Changed(const DocumentChange& change) {
  if (set_.GetDataFileCount() != rows_) {
    beginResetModel();
    rows_ = set_.GetDataFileCount();
    endResetModel();
  } else if (change.kind == DocumentChange::Kind::Item) {
    emit dataChanged(index(change.item, 0), index(change.item, kColumns - 1));
  } else if (rows_ > 0) {
    emit dataChanged(index(0, 0), index(rows_ - 1, kColumns - 1));
  }
}

int SetListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : rows_;
}

int SetListModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumns;
}

QString SetListModel::NameOf(int component) const {
  const QString type = ShownUtf8(set_.TypeName(component));
  const DataFile& held = *set_.GetDataFile(component);
  const bool one = !held.synth->isBank && held.synth->numVoices == 1 && PatchNameLength(held) > 0;
  if (!tiles_ || !one || set_.StateOf(component).content != EntryContent::kDefined) return type;
  const QString name = ShownLatin1(TrimmedView(GetPatchName(held, 0)));
  if (name.isEmpty()) return type;
  const QString text = QStringLiteral("%1 (%2)").arg(type, name);
  return text.size() > kMostTileText ? text.left(kMostTileText) + QStringLiteral("...") : text;
}

QString SetListModel::Spoken(int component) const {
  QStringList parts{ShownUtf8(set_.TypeName(component)), ComponentState(set_, component)};
  if (const QString size = SizeText(set_.SysExBytes(component)); !size.isEmpty()) parts << size;
  if (set_.IsChanged(component)) parts << MarkText(Mark::Changed);
  if (set_.unsent().Count(component) > 0) parts << MarkText(Mark::Unsent);
  return parts.join(QStringLiteral(", "));
}

QString SetListModel::Tip(int component) const {
  QString text = ShownUtf8(set_.TitleOf(component)) + QStringLiteral("\n") + Spoken(component);
  if (set_.StateOf(component).linked) text += QStringLiteral("\n") + ShownUtf8(set_.LinkPath(component));
  if (!set_.LinkProblem(component).empty()) text += QStringLiteral("\n") + ShownUtf8(set_.LinkProblem(component));
  return ToolTipText(text);
}

QVariant SetListModel::data(const QModelIndex& index, int role) const {
  const int component = index.row();
  if (!set_.Has(component)) return {};
  switch (role) {
    case Qt::DisplayRole:
      if (index.column() == kName) return NameOf(component);
      return index.column() == kState ? ComponentState(set_, component) : SizeText(set_.SysExBytes(component));
    case Qt::DecorationRole:
      return index.column() == kName ? QVariant(IconOf(GlyphOfComponent(set_, component))) : QVariant();
    case Qt::TextAlignmentRole:
      return index.column() == kSize ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case Qt::ToolTipRole:
      return Tip(component);
    case Qt::AccessibleTextRole:
      return index.column() == kName ? QVariant(Spoken(component)) : this->data(index, Qt::DisplayRole);
    case kComponentRole:
      return component;
    case kNumberRole:
      return index.column() == kSize;
    case kQuietRole:
      return set_.StateOf(component).inactive || set_.StateOf(component).content == EntryContent::kUndefined;
    case kMarksRole:
      return index.column() == kName ? ComponentMarks(set_, component) : QVariant();
    default:
      return {};
  }
}

QVariant SetListModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal) return {};
  if (role == Qt::TextAlignmentRole && section == kSize) return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  if (role != Qt::DisplayRole) return {};
  return section == kName ? tr("Component") : section == kState ? tr("State") : tr("Size");
}

Qt::ItemFlags SetListModel::flags(const QModelIndex& index) const {
  Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren | Qt::ItemIsDropEnabled;
  if (set_.StateOf(index.row()).content == EntryContent::kDefined) flags |= Qt::ItemIsDragEnabled;
  return flags;
}

}  // namespace tonalith
