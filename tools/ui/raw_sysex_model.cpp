#include "tools/ui/raw_sysex_model.h"

#include <QFontDatabase>
#include <algorithm>
#include <iterator>
#include <utility>

#include "data/maker_names.h"
#include "studio/recognize.h"
#include "ui/plain_text.h"
#include "ui/style/list_delegate.h"

namespace tonalith {

namespace {

// Bytes of a message that its row shows.
constexpr std::size_t kShownBytes = 24;

QString FirstBytes(std::span<const std::uint8_t> bytes) {
  QString text;
  for (const std::uint8_t b : bytes.first(std::min(bytes.size(), kShownBytes))) {
    if (!text.isEmpty()) text += QLatin1Char(' ');
    text += QStringLiteral("%1").arg(b, 2, 16, QLatin1Char('0')).toUpper();
  }
  if (bytes.size() > kShownBytes) text += QStringLiteral(" ...");
  return text;
}

// Of unknown messages before and behind changed ones.
constexpr std::size_t kLookedAround = std::size_t{1} << 16;

}  // namespace

RawSysExModel::RawSysExModel(RawSysExDocument& document, const ZKStudioDoc& studio, QObject* parent)
    : QAbstractTableModel(parent), document_(document), studio_(studio), words_(&studio) {
  if (auto known = document.TakeNames())
    names_ = std::move(*known);
  else
    names_ = NameSysEx(Recognizer(studio), document.bytes());
  rows_ = static_cast<int>(document.messages().size());
}

void RawSysExModel::StudioChanged() {
  words_.StudioChanged();
  if (rowCount() > 0) emit dataChanged(index(0, kHolds), index(rowCount() - 1, kHolds));
}

int RawSysExModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : rows_;
}

Qt::ItemFlags RawSysExModel::flags(const QModelIndex& index) const {
  return QAbstractTableModel::flags(index) | Qt::ItemIsDragEnabled;
}

void RawSysExModel::BytesChanged() {
  NameAnew(document_.listedAnew());
  const auto rows = static_cast<int>(document_.messages().size());
  if (rows == rows_) {
    if (rows > 0) emit dataChanged(index(0, 0), index(rows - 1, kColumns - 1));
    return;
  }
  beginResetModel();
  rows_ = rows;
  endResetModel();
}

void RawSysExModel::NameAnew(RawSysExDocument::Range range) {
  const auto endOf = [](const SysExName& name) { return name.offset + name.length; };
  const auto begins = [](const SysExName& name, std::size_t at) { return name.offset < at; };
  auto from = std::lower_bound(names_.begin(), names_.end(), range.begin, begins);
  while (from != names_.begin() && endOf(*std::prev(from)) > range.begin) --from;
  const auto to = std::lower_bound(from, names_.end(), range.end, begins);
  if (from != to) range = {std::min(range.begin, from->offset), std::max(range.end, endOf(*std::prev(to)))};
  // What was cut may be whole again with the unknown messages beside it.
  const std::size_t before = from == names_.begin() ? 0 : endOf(*std::prev(from));
  const std::size_t behind = to == names_.end() ? document_.bytes().size() : to->offset;
  const auto starts = [](const RawSysExDocument::Message& message, std::size_t at) { return message.offset < at; };
  const auto& all = document_.messages();
  auto first = std::lower_bound(all.begin(), all.end(), range.begin, starts);
  while (first != all.begin() && std::prev(first)->offset >= before &&
         range.begin - std::prev(first)->offset <= kLookedAround)
    --first;
  auto last = std::lower_bound(all.begin(), all.end(), range.end, starts);
  const std::size_t end = range.end;
  for (;
       last != all.end() && last->offset + last->length <= behind && last->offset + last->length - end <= kLookedAround;
       ++last)
    range.end = last->offset + last->length;
  if (first != all.end()) range.begin = std::min<std::size_t>(range.begin, first->offset);
  std::vector<SysExName> found =
      NameSysEx(Recognizer(studio_), document_.bytes().subspan(range.begin, range.end - range.begin));
  for (SysExName& name : found) name.offset += range.begin;
  const auto at = names_.erase(from, to);
  names_.insert(at, std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
}

int RawSysExModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumns;
}

const SysExName* RawSysExModel::PieceOf(const RawSysExDocument::Message& message) const {
  auto after = std::upper_bound(names_.begin(), names_.end(), message.offset,
                                [](std::size_t at, const SysExName& name) { return at < name.offset; });
  if (after == names_.begin()) return nullptr;
  const SysExName& name = *std::prev(after);
  return message.offset < name.offset + name.length ? &name : nullptr;
}

const SysExName* RawSysExModel::PieceAt(int row) const {
  return PieceOf(RowAt(row));
}

QString RawSysExModel::NameOf(const RawSysExDocument::Message& message) const {
  if (const SysExName* name = PieceOf(message)) {
    // With the name of a single patch, to tell them apart; of a part of a large dump that is not known.
    const std::string words = words_.Words(document_.bytes().subspan(name->offset, name->length));
    if (!words.empty()) return ShownUtf8(words);
    return name->damaged ? tr("%1, wrong checksum").arg(ShownUtf8(*name->text)) : ShownUtf8(*name->text);
  }
  if (const std::string words = UniversalSysExWords(document_.BytesOf(message)); !words.empty())
    return ShownUtf8(words);
  const auto bytes = document_.BytesOf(message);
  return bytes.size() < 2 ? QString() : ShownUtf8(MakerName(bytes.subspan(1)));
}

QString RawSysExModel::TextOf(int row) const {
  return index(row, kHolds).data().toString() + QLatin1Char(' ') + FirstBytes(document_.BytesOf(RowAt(row)));
}

QVariant RawSysExModel::data(const QModelIndex& index, int role) const {
  const auto& row = RowAt(index.row());
  const bool number = index.column() < kHolds;
  if (role == Qt::TextAlignmentRole && number) return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  if (role == Qt::FontRole && index.column() == kBytes) return QFontDatabase::systemFont(QFontDatabase::FixedFont);
  if (role == kNumberRole) return number;
  if (role == kMarksRole && index.column() == kHolds) {
    const SysExName* name = PieceOf(row);
    return !row.complete || (name && name->damaged) ? MarksOf({Mark::Damaged}) : QVariant();
  }
  if (role == Qt::AccessibleTextRole && index.column() == kHolds) {
    const QString marks = MarksText(MarksIn(data(index, kMarksRole)));
    const QString holds = data(index, Qt::DisplayRole).toString();
    return marks.isEmpty() ? holds : tr("%1, %2").arg(holds, marks);
  }
  if (role != Qt::DisplayRole) return {};
  switch (index.column()) {
    case kNumber:
      return index.row() + 1;
    case kOffset:
      return static_cast<qulonglong>(row.offset);
    case kLength:
      return static_cast<qulonglong>(row.length);
    case kHolds:
      return row.complete ? NameOf(row) : tr("incomplete");
    default:
      return FirstBytes(document_.BytesOf(row));
  }
}

QVariant RawSysExModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  const QString titles[] = {tr("Message"), tr("Offset"), tr("Length"), tr("Holds"), tr("Bytes")};
  return section < kColumns ? titles[section] : QString();
}

}  // namespace tonalith
