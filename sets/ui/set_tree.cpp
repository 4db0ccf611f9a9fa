#include "sets/ui/set_tree.h"

#include <algorithm>
#include <array>

#include "sets/ui/set_list.h"
#include "store/sets/set_document.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/icons.h"

namespace tonalith {

namespace {

constexpr std::array<const char*, kComponentGroups> kFolderNames = {
    "Patches", "Multis",  "Global", "MIDI",         "Patch Change Table",  "Effects",    "Sequences", "Drums",
    "Chords",  "Samples", "EQs",    "Microtunings", "Fractional Scalings", "Patch Bays", "Misc"};
constexpr int kFewest = 4;  // components that stand in a folder

QStandardItem* Heading(const QString& text, Glyph glyph) {
  auto* item = new QStandardItem(IconOf(glyph), text);
  item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
  return item;
}

}  // namespace

SetTreeModel::SetTreeModel(ZKGrpDoc& set, QObject* parent)
    : QStandardItemModel(parent), set_(set), rows_(new SetListModel(set, this)) {
  Build();
  connect(rows_, &QAbstractItemModel::modelReset, this, [this] {
    clear();
    Build();
  });
  connect(rows_, &QAbstractItemModel::dataChanged, this, [this](const QModelIndex& first, const QModelIndex& last) {
    for (int i = first.row(); i <= last.row(); ++i) emit dataChanged(IndexOf(i), IndexOf(i));
  });
}

void SetTreeModel::Build() {
  items_.assign(static_cast<std::size_t>(set_.GetDataFileCount()), nullptr);
  for (int first = 0; first < set_.GetDataFileCount();) {
    int last = first + 1;
    while (last < set_.GetDataFileCount() && set_.InstrumentOf(last) == set_.InstrumentOf(first)) ++last;
    AddRun(first, last);
    first = last;
  }
}

// The components from `first` up to `last`, which are of one instrument.
void SetTreeModel::AddRun(int first, int last) {
  QStandardItem* instrument = Heading(ShownUtf8(set_.InstrumentOf(first)), Glyph::Keyboard);
  std::array<int, kFolderNames.size()> counts{};
  for (int i = first; i < last; ++i) ++counts[ComponentGroup(set_, i)];
  std::array<QStandardItem*, kFolderNames.size()> folders{};
  for (std::size_t folder = 0; folder < folders.size(); ++folder) {
    if (counts[folder] < kFewest) continue;
    folders[folder] = Heading(tr(kFolderNames[folder]), Glyph::Folder);
    instrument->appendRow(folders[folder]);
  }
  for (int i = first; i < last; ++i) {
    auto* item = new QStandardItem;
    item->setData(i, kComponentRole);
    QStandardItem* folder = folders[ComponentGroup(set_, i)];
    (folder ? folder : instrument)->appendRow(item);
    items_[static_cast<std::size_t>(i)] = item;
  }
  appendRow(instrument);
}

QModelIndex SetTreeModel::IndexOf(int component) const {
  const bool there = component >= 0 && static_cast<std::size_t>(component) < items_.size();
  return there ? indexFromItem(items_[static_cast<std::size_t>(component)]) : QModelIndex();
}

QVariant SetTreeModel::data(const QModelIndex& index, int role) const {
  const QVariant component = QStandardItemModel::data(index, kComponentRole);
  if (!component.isValid() || role == kComponentRole) return QStandardItemModel::data(index, role);
  return rows_->data(rows_->index(component.toInt(), 0), role);
}

}  // namespace tonalith
