#include "studio/ui/studio_tree.h"

#include <QComboBox>
#include <QDropEvent>
#include <QHeaderView>
#include <QPainter>
#include <QResizeEvent>
#include <QSignalBlocker>
#include <QTimer>
#include <algorithm>

#include "studio/device_ids.h"
#include "studio/instrument_change.h"
#include "studio/ui/studio_pictures.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/icons.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr int kNodeRole = Qt::UserRole;
constexpr int kDocumentRole = Qt::UserRole + 1;  // place of an open document
constexpr int kSearchRole = Qt::UserRole + 2;    // what the row is found by
// With more instruments than this the drivers are not shown at first.
constexpr int kMostOpenAtFirst = 8;
constexpr int kNameCharacters = 44;
// Narrower than this there is place for the names alone.
constexpr int kWideCharacters = 84;
constexpr QSize kRowPicture(30, 20);

// Edits ports and channels of an instrument row with a list to choose from.
class StudioDelegate final : public ListDelegate {
 public:
  explicit StudioDelegate(ZKStudioTree* tree) : ListDelegate(tree), tree_(tree) {}

  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&, const QModelIndex& index) const override {
    ZKDrvList* node = Node(index);
    if (!node || !node->IsInstrument() || index.column() == ZKStudioTree::kName) return nullptr;
    auto* box = new QComboBox(parent);
    StudioPorts* ports = tree_->host().ports();
    switch (index.column()) {
      case ZKStudioTree::kIn:
        if (ports) AddNames(box, ports->InputPortNames());
        break;
      case ZKStudioTree::kOut:
        if (ports) AddNames(box, ports->OutputPortNames());
        break;
      case ZKStudioTree::kDevice:
        AddDeviceIds(box, *node);
        break;
      default:
        for (int i = 0; i < 16; ++i) box->addItem(QString::number(i + 1), i);
    }
    connect(box, &QComboBox::activated, this, [this, box] {
      auto* self = const_cast<StudioDelegate*>(this);
      emit self->commitData(box);
      emit self->closeEditor(box);
    });
    return box;
  }
  void setEditorData(QWidget* editor, const QModelIndex& index) const override {
    auto* box = static_cast<QComboBox*>(editor);
    box->setCurrentIndex(box->findText(index.data().toString()));
    QTimer::singleShot(0, box, &QComboBox::showPopup);
  }
  void setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const override {
    auto* box = static_cast<QComboBox*>(editor);
    ZKDrvList* node = Node(index);
    if (!node || box->currentIndex() < 0) return;
    // Changing the studio builds the rows anew, which must not happen under the editor.
    QMetaObject::invokeMethod(
        tree_,
        [tree = tree_, node, column = index.column(), number = box->currentData().toInt(),
         name = ToUtf8(box->currentData().toString())] { Change(tree, node, column, number, name); },
        Qt::QueuedConnection);
  }

 private:
  static void Change(ZKStudioTree* tree, ZKDrvList* node, int column, int number, const std::string& name) {
    if (!tree->studio().GetInstrumentDrvList(node)) return;
    InstrumentChange change;
    if (column == ZKStudioTree::kIn) change.inPort = name;
    if (column == ZKStudioTree::kOut) change.outPort = name;
    if (column == ZKStudioTree::kDevice) change.device = number;
    if (column == ZKStudioTree::kChannel) change.channel = number;
    if (const Result written = ChangeInstrument(tree->studio(), node, change); !written.ok())
      tree->host().prompts().Say("Studio", written.text);
    tree->host().StudioEdited();
    tree->Rebuild();
  }
  static void AddNames(QComboBox* box, const std::vector<std::string>& names) {
    for (const auto& name : names) {
      box->addItem(ShownUtf8(name));
      box->setItemData(box->count() - 1, FromUtf8(name));
    }
  }
  ZKDrvList* Node(const QModelIndex& index) const {
    return static_cast<ZKDrvList*>(index.sibling(index.row(), 0).data(kNodeRole).value<void*>());
  }

  ZKStudioTree* tree_;
};

}  // namespace

void AddDeviceIds(QComboBox* box, const ZKDrvList& instrument) {
  const Synth* synth = DeviceIdSynth(instrument);
  if (!synth) return;
  const DeviceIdRange range = DeviceIdsOf(*synth);
  for (int id = range.low; id <= range.high; ++id) box->addItem(QString::number(ShownDeviceId(synth, id)), id);
  box->setCurrentIndex(box->findData(int{instrument.sysExChannel}));
}

PortState StateOfPort(StudioPorts* ports, const std::string& name, bool input) {
  if (name.empty()) return PortState::None;
  if (!ports) return PortState::Gone;
  const auto names = input ? ports->InputPortNames() : ports->OutputPortNames();
  return std::find(names.begin(), names.end(), name) != names.end() ? PortState::There : PortState::Gone;
}

PortState StateOfInstrument(StudioPorts* ports, const ZKDrvList* instrument) {
  const PortState in = StateOfPort(ports, instrument->inPortName, true);
  const PortState out = StateOfPort(ports, instrument->outPortName, false);
  if (in == PortState::Gone || out == PortState::Gone) return PortState::Gone;
  return in == PortState::None || out == PortState::None ? PortState::None : PortState::There;
}

QString PortStateText(PortState state) {
  switch (state) {
    case PortState::There:
      return ZKStudioTree::tr("connected");
    case PortState::Gone:
      return ZKStudioTree::tr("no cable: the MIDI port is not there");
    default:
      return ZKStudioTree::tr("no MIDI port is chosen");
  }
}

QString PortStateWord(PortState state) {
  if (state == PortState::There) return {};
  return state == PortState::Gone ? ZKStudioTree::tr("no cable") : ZKStudioTree::tr("no port");
}

Mark PortStateMark(PortState state) {
  return state == PortState::There ? Mark::Found : Mark::Missing;
}

ZKStudioTree::ZKStudioTree(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent)
    : QTreeWidget(parent), studio_(studio), host_(host) {
  setHeaderLabels({tr("Instrument / Data"), tr("MIDI In"), tr("MIDI Out"), tr("Device ID"), tr("Channel")});
  setColumnCount(kColumns);
  DressList(this);
  setItemDelegate(new StudioDelegate(this));
  setAllColumnsShowFocus(true);
  setSelectionMode(ExtendedSelection);
  setIconSize(kRowPicture);
  setEditTriggers(SelectedClicked | EditKeyPressed);
  setExpandsOnDoubleClick(false);
  setContextMenuPolicy(Qt::CustomContextMenu);
  setDragEnabled(true);
  setAcceptDrops(true);
  setDropIndicatorShown(true);
  setDragDropMode(DragDrop);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  header()->setStretchLastSection(false);
  header()->setSectionsMovable(false);
  header()->setMinimumSectionSize(kTarget);
  for (const int column : {kDevice, kChannel}) header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
  for (const int column : {kIn, kOut}) header()->setSectionResizeMode(column, QHeaderView::Stretch);
  connect(this, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem* row) {
    KeepOpen(row, true);
    FitNames();
  });
  connect(this, &QTreeWidget::itemCollapsed, this, [this](QTreeWidgetItem* row) { KeepOpen(row, false); });
  FitColumns();
}

ZKDrvList* ZKStudioTree::NodeOf(const QTreeWidgetItem* item) const {
  return item ? static_cast<ZKDrvList*>(item->data(kName, kNodeRole).value<void*>()) : nullptr;
}

ZKDrvList* ZKStudioTree::CurrentNode() const {
  const QTreeWidgetItem* item = currentItem();
  return NodeOf(item && item->data(kName, kDocumentRole).isValid() ? item->parent() : item);
}

const OpenDocument* ZKStudioTree::DocumentOf(const QTreeWidgetItem* item) const {
  const QVariant place = item ? item->data(kName, kDocumentRole) : QVariant();
  return place.isValid() && place.toUInt() < documents_.size() ? &documents_[place.toUInt()] : nullptr;
}

int ZKStudioTree::PlaceOf(const QTreeWidgetItem* item) const {
  while (item && item->parent()) item = item->parent();
  return indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(item));
}

std::vector<ZKDrvList*> ZKStudioTree::SelectedInstruments() const {
  std::vector<int> places;
  for (const QTreeWidgetItem* item : selectedItems()) places.push_back(PlaceOf(item));
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  std::vector<ZKDrvList*> instruments;
  for (const int place : places) instruments.push_back(NodeOf(topLevelItem(place)));
  return instruments;
}

// ---- rows -----------------------------------------------------------------------------------------------------------

void ZKStudioTree::AddInstrumentRow(ZKDrvList* instrument) {
  auto* row = new QTreeWidgetItem(this);
  const QString name = ShownUtf8(instrument->DisplayKey());
  row->setText(kName, name);
  row->setData(kName, kSearchRole, name);
  row->setIcon(kName, PictureOf(instrument));
  for (const bool input : {true, false}) {
    const std::string& port = input ? instrument->inPortName : instrument->outPortName;
    const PortState state = StateOfPort(host_.ports(), port, input);
    const int column = input ? kIn : kOut;
    row->setText(column, ShownUtf8(port));
    row->setData(column, kMarksRole, MarksOf({PortStateMark(state)}));
    row->setData(column, Qt::AccessibleTextRole,
                 port.empty() ? PortStateText(state) : ShownUtf8(port) + ", " + PortStateText(state));
    SetToolTip(row, column, port.empty() ? PortStateText(state) : ShownUtf8(port) + '\n' + PortStateText(state));
  }
  if (const Synth* synth = DeviceIdSynth(*instrument))
    row->setText(kDevice, QString::number(ShownDeviceId(synth, instrument->sysExChannel)));
  row->setText(kChannel, QString::number(instrument->midiChannel + 1));
  for (const int column : {kDevice, kChannel}) row->setData(column, kNumberRole, true);
  row->setData(kName, kNodeRole, QVariant::fromValue(static_cast<void*>(instrument)));
  row->setFlags(row->flags() | Qt::ItemIsEditable | Qt::ItemIsDragEnabled);
  row->setFont(kName, HeadingFont(font()));
  ShowInstrumentState(row, instrument);
  for (const auto& driver : instrument->drivers) {
    auto* child = new QTreeWidgetItem(row);
    child->setText(kName, ShownLatin1(driver->TypeName()));
    child->setData(kName, kSearchRole, name + ' ' + child->text(kName));
    child->setData(kName, kNodeRole, QVariant::fromValue(static_cast<void*>(driver.get())));
    SetToolTip(child, kName, tr("Double-click to get this data from the instrument"));
    child->setFlags(child->flags() & ~Qt::ItemIsDragEnabled);
  }
}

// Where there are columns for the ports, the state stands there.
void ZKStudioTree::ShowInstrumentState(QTreeWidgetItem* row, const ZKDrvList* instrument) {
  const PortState state = StateOfInstrument(host_.ports(), instrument);
  row->setData(kName, kAsideRole, wide_ ? QString() : PortStateWord(state));
  row->setData(kName, kAsideMarksRole, wide_ ? QVariant() : MarksOf({PortStateMark(state)}));
  const QString text = row->text(kName) + ", " + PortStateText(state);
  row->setData(kName, Qt::AccessibleTextRole, text);
  QString ports;
  for (const int column : {kIn, kOut})
    if (!row->text(column).isEmpty()) ports += '\n' + tr("%1: %2").arg(headerItem()->text(column), row->text(column));
  SetToolTip(row, kName, text + ports);
}

QIcon ZKStudioTree::PictureOf(const ZKDrvList* instrument) {
  const auto known = pictures_.find(instrument->moduleFile);
  if (known != pictures_.end()) return known->second;
  return pictures_[instrument->moduleFile] =
             QIcon(InstrumentPicture(studio_, instrument, kRowPicture, devicePixelRatioF()));
}

void ZKStudioTree::FitColumns() {
  const bool wide = width() > kWideCharacters * fontMetrics().averageCharWidth();
  if (wide == wide_ && header()->isHidden() == !wide) return;
  wide_ = wide;
  header()->setVisible(wide);
  for (const int column : {kIn, kOut, kDevice, kChannel}) setColumnHidden(column, !wide);
  header()->setSectionResizeMode(kName, wide ? QHeaderView::Interactive : QHeaderView::Stretch);
  for (int i = 0; i < topLevelItemCount(); ++i) {
    if (const ZKDrvList* instrument = NodeOf(topLevelItem(i)); studio_.GetInstrumentDrvList(instrument))
      ShowInstrumentState(topLevelItem(i), instrument);
  }
  FitNames();
}

// A long name must not push the other columns out of the window.
void ZKStudioTree::FitNames() {
  if (!wide_) return;
  const int wanted = std::max(sizeHintForColumn(kName), header()->sectionSizeHint(kName));
  header()->resizeSection(kName, std::min(wanted, kNameCharacters * fontMetrics().averageCharWidth()));
}

void ZKStudioTree::SetCurrentNode(const ZKDrvList* node) {
  if (!node) return;
  for (QTreeWidgetItemIterator it(this); *it; ++it) {
    if (NodeOf(*it) == node) return setCurrentItem(*it);
  }
}

void ZKStudioTree::Rebuild() {
  // The nodes may be gone, so they are only compared.
  const ZKDrvList* current = CurrentNode();
  const QString document = DocumentOf(currentItem()) ? currentItem()->text(kName) : QString();
  const int place = topLevelItemCount() > 0 && currentItem() ? PlaceOf(currentItem()) : 0;
  const QSignalBlocker quiet(this);
  setUpdatesEnabled(false);
  rebuilding_ = true;
  clear();
  for (const auto& instrument : studio_.instruments()) AddInstrumentRow(instrument.get());
  ShowDocuments();
  rebuilding_ = false;
  SetCurrentNode(current);
  for (int i = 0; !document.isNull() && currentItem() && i < currentItem()->childCount(); ++i)
    if (QTreeWidgetItem* child = currentItem()->child(i); child->text(kName) == document) setCurrentItem(child);
  if (!currentItem()) setCurrentItem(topLevelItem(std::clamp(place, 0, std::max(0, topLevelItemCount() - 1))));
  Filter(filter_);
  setUpdatesEnabled(true);
  FitNames();
}

std::string ZKStudioTree::RowKey(const QTreeWidgetItem* row) const {
  const std::string own = ToUtf8(row->text(kName));
  return row->parent() ? ToUtf8(row->parent()->text(kName)) + " / " + own : own;
}

bool ZKStudioTree::IsOpen(const QTreeWidgetItem* row, bool unknown) const {
  const auto& rows = host_.view().rows;
  const auto known = rows.find(RowKey(row));
  return known == rows.end() ? unknown : known->second;
}

void ZKStudioTree::KeepOpen(const QTreeWidgetItem* row, bool open) {
  host_.view().rows[RowKey(row)] = open;
}

// ---- open documents -------------------------------------------------------------------------------------------------

void ZKStudioTree::ShowDocuments() {
  documents_ = host_.OpenDocuments();
  std::map<const ZKDrvList*, std::vector<std::size_t>> places;
  for (std::size_t i = 0; i < documents_.size(); ++i) places[documents_[i].driver].push_back(i);
  const bool selecting = currentItem() && currentItem()->data(kName, kDocumentRole).isValid();
  QTreeWidgetItem* home = selecting ? currentItem()->parent() : nullptr;
  for (int i = 0; i < topLevelItemCount(); ++i) {
    QTreeWidgetItem* instrument = topLevelItem(i);
    const int kinds = KindsIn(instrument);
    for (int k = 0; k < kinds; ++k) ShowDocumentsOf(instrument->child(k), places[NodeOf(instrument->child(k))]);
    ShowDocumentsOf(instrument, places[NodeOf(instrument)]);
  }
  if (home && !currentItem()) setCurrentItem(home);
}

// An instrument's rows begin with its kinds of data; documents on several of them follow.
int ZKStudioTree::KindsIn(const QTreeWidgetItem* row) const {
  int kinds = 0;
  while (kinds < row->childCount() && NodeOf(row->child(kinds))) ++kinds;
  return kinds;
}

void ZKStudioTree::ShowDocumentsOf(QTreeWidgetItem* row, const std::vector<std::size_t>& places) {
  const int first = KindsIn(row), count = first + static_cast<int>(places.size());
  while (row->childCount() > count) {
    const QTreeWidgetItem* last = row->child(row->childCount() - 1);
    if (last == currentItem()) setCurrentItem(row);
    delete last;
  }
  const bool fresh = row->childCount() < count;
  while (row->childCount() < count) {
    auto* child = new QTreeWidgetItem(row);
    child->setFlags(child->flags() & ~Qt::ItemIsDragEnabled);
  }
  for (int i = first; i < count; ++i) ShowDocument(row->child(i), places[static_cast<std::size_t>(i - first)]);
  if (!fresh) return;
  if (rebuilding_) return row->parent() ? row->setExpanded(IsOpen(row, true)) : void();
  // A document that was opened just now is to be seen.
  if (filter_.IsEmpty()) {
    row->setExpanded(true);
    if (row->parent()) row->parent()->setExpanded(true);
  }
}

void ZKStudioTree::ShowDocument(QTreeWidgetItem* child, std::size_t place) {
  const OpenDocument& document = documents_[place];
  std::vector<Mark> marks;
  if (document.changed) marks.push_back(Mark::Changed);
  if (document.unsent) marks.push_back(Mark::Unsent);
  const QString title = ShownUtf8(document.title);
  child->setText(kName, title);
  child->setData(kName, kDocumentRole, static_cast<uint>(place));
  // Between kinds of data and other instruments.
  if (!child->parent()->parent()) child->setIcon(kName, IconOf(Glyph::Folder));
  child->setData(kName, kSearchRole, child->parent()->data(kName, kSearchRole).toString() + ' ' + title);
  child->setData(kName, kAsideMarksRole, MarksOf(marks));
  child->setData(kName, kAsideRole, document.percent < 0 ? QString() : tr("%1 %").arg(document.percent));
  child->setData(kName, kProgressRole, document.percent < 0 ? QVariant() : QVariant(document.percent));
  QString words = title;
  if (!marks.empty()) words += ", " + MarksText(marks);
  if (document.percent >= 0) words += ", " + tr("%1 % of a transfer").arg(document.percent);
  child->setData(kName, Qt::AccessibleTextRole, words);
  SetToolTip(child, kName, words);
}

// ---- searching ------------------------------------------------------------------------------------------------------

int ZKStudioTree::Filter(const SearchWords& words) {
  filter_ = words;
  // What is opened to show a find is not the user's choice.
  const QSignalBlocker quiet(this);
  const bool few = topLevelItemCount() <= kMostOpenAtFirst;
  int hits = 0;
  QTreeWidgetItem* first = nullptr;
  for (int i = 0; i < topLevelItemCount(); ++i) {
    QTreeWidgetItem* row = topLevelItem(i);
    const bool whole = words.Match(row->data(kName, kSearchRole).toString());
    int inside = 0;
    for (int k = 0; k < row->childCount(); ++k) {
      const int found = FilterType(row->child(k), whole);
      inside += found;
      if (!whole && found > 0 && !first) first = row->child(k);
    }
    if (whole && !first) first = row;
    hits += whole ? 1 : inside;
    row->setHidden(!whole && inside == 0);
    row->setExpanded(IsOpen(row, few) || (inside > 0 && !whole));
  }
  if (!words.IsEmpty() && first && (!currentItem() || !Matches(currentItem()))) setCurrentItem(first);
  return hits;
}

// How many of a kind of data and the documents under it fit.
int ZKStudioTree::FilterType(QTreeWidgetItem* row, bool whole) {
  const bool fits = whole || filter_.Match(row->data(kName, kSearchRole).toString());
  int found = fits ? 1 : 0;
  for (int i = 0; i < row->childCount(); ++i) {
    const bool shown = fits || Matches(row->child(i));
    row->child(i)->setHidden(!shown);
    found += !fits && shown ? 1 : 0;
  }
  row->setHidden(found == 0);
  return found;
}

bool ZKStudioTree::Matches(const QTreeWidgetItem* item) const {
  return !item->isHidden() && filter_.Match(item->data(kName, kSearchRole).toString());
}

void ZKStudioTree::dropEvent(QDropEvent* event) {
  // Only rows of this tree; the document moves, and the rows follow it.
  if (event->source() != this || !currentItem()) return event->ignore();
  const int from = PlaceOf(currentItem());
  const QTreeWidgetItem* under = itemAt(event->position().toPoint());
  int to = under ? PlaceOf(under) : topLevelItemCount() - 1;
  if (under && !under->parent() && dropIndicatorPosition() == AboveItem && to > from) --to;
  if (under && (under->parent() || dropIndicatorPosition() == BelowItem) && to < from) ++to;
  event->setDropAction(Qt::CopyAction);
  event->accept();
  if (from >= 0 && to >= 0 && from != to) emit Moved(from, to);
}

void ZKStudioTree::resizeEvent(QResizeEvent* event) {
  FitColumns();
  QTreeWidget::resizeEvent(event);
}

void ZKStudioTree::changeEvent(QEvent* event) {
  QTreeWidget::changeEvent(event);
  // Fonts and colours of the rows are their own.
  if ((event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) && topLevelItemCount() > 0)
    QMetaObject::invokeMethod(
        this, [this] { Rebuild(); }, Qt::QueuedConnection);
}

}  // namespace tonalith
