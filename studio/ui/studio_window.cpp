#include "studio/ui/studio_window.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QVBoxLayout>

#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kNodeRole = Qt::UserRole;

int Shown(const Synth* synth, int channel) {
  return synth && synth->sysExChannelZeroBased ? channel : channel + 1;
}

const Synth* FirstSynth(const ZKDrvList* instrument) {
  return instrument->drivers.empty() ? nullptr : instrument->drivers.front()->synth();
}

// Edits ports and channels of an instrument row with a list to choose from.
class StudioDelegate final : public QStyledItemDelegate {
 public:
  explicit StudioDelegate(ZKStudioTree* tree) : QStyledItemDelegate(tree), tree_(tree) {}

  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&, const QModelIndex& index) const override {
    ZKDrvList* node = Node(index);
    if (!node || !node->IsInstrument() || index.column() == ZKStudioTree::kName) return nullptr;
    auto* box = new QComboBox(parent);
    StudioPorts* ports = tree_->host().ports();
    const Synth* synth = FirstSynth(node);
    switch (index.column()) {
      case ZKStudioTree::kIn:
        if (ports) AddNames(box, ports->InputPortNames());
        break;
      case ZKStudioTree::kOut:
        if (ports) AddNames(box, ports->OutputPortNames());
        break;
      case ZKStudioTree::kDevice:
        for (int i = synth ? synth->sysExChannelMin : 0; i <= (synth ? synth->sysExChannelMax : 15); ++i) {
          box->addItem(QString::number(Shown(synth, i)), i);
        }
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
    box->showPopup();
  }
  void setModelData(QWidget* editor, QAbstractItemModel*, const QModelIndex& index) const override {
    auto* box = static_cast<QComboBox*>(editor);
    ZKDrvList* node = Node(index);
    if (!node || box->currentIndex() < 0) return;
    switch (index.column()) {
      case ZKStudioTree::kIn:
        node->SetInPort(box->currentIndex(), ToUtf8(box->currentText()));
        break;
      case ZKStudioTree::kOut:
        node->SetOutPort(box->currentIndex(), ToUtf8(box->currentText()));
        break;
      case ZKStudioTree::kDevice:
        node->SetSysExChannel(box->currentData().toInt());
        break;
      default:
        node->SetMidiChannel(box->currentData().toInt());
    }
    tree_->studio().WriteInstrumentDefaults(node);
    QMetaObject::invokeMethod(
        tree_, [tree = tree_] { tree->Rebuild(); }, Qt::QueuedConnection);
  }

 private:
  static void AddNames(QComboBox* box, const std::vector<std::string>& names) {
    for (const auto& name : names) box->addItem(FromUtf8(name));
  }
  ZKDrvList* Node(const QModelIndex& index) const {
    return static_cast<ZKDrvList*>(index.sibling(index.row(), 0).data(kNodeRole).value<void*>());
  }

  ZKStudioTree* tree_;
};

}  // namespace

ZKStudioTree::ZKStudioTree(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent)
    : QTreeWidget(parent), studio_(studio), host_(host) {
  setHeaderLabels({tr("Instrument / Data"), tr("MIDI In"), tr("MIDI Out"), tr("Device ID"), tr("Channel")});
  setColumnCount(kColumns);
  setAlternatingRowColors(true);
  setUniformRowHeights(true);
  setAllColumnsShowFocus(true);
  setItemDelegate(new StudioDelegate(this));
  setEditTriggers(SelectedClicked | EditKeyPressed);
  setExpandsOnDoubleClick(false);
  setContextMenuPolicy(Qt::CustomContextMenu);
  header()->setStretchLastSection(false);
  header()->setSectionResizeMode(kName, QHeaderView::Stretch);
  for (int column = kIn; column < kColumns; ++column)
    header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
}

ZKDrvList* ZKStudioTree::NodeOf(const QTreeWidgetItem* item) const {
  return item ? static_cast<ZKDrvList*>(item->data(kName, kNodeRole).value<void*>()) : nullptr;
}

ZKDrvList* ZKStudioTree::CurrentNode() const {
  return NodeOf(currentItem());
}

void ZKStudioTree::AddInstrumentRow(ZKDrvList* instrument) {
  const Synth* synth = FirstSynth(instrument);
  auto* row = new QTreeWidgetItem(this);
  row->setText(kName, FromLatin1(instrument->DisplayKey()));
  row->setText(kIn, FromUtf8(instrument->inPortName));
  row->setText(kOut, FromUtf8(instrument->outPortName));
  row->setText(kDevice, QString::number(Shown(synth, instrument->sysExChannel)));
  row->setText(kChannel, QString::number(instrument->midiChannel + 1));
  row->setData(kName, kNodeRole, QVariant::fromValue(static_cast<void*>(instrument)));
  row->setFlags(row->flags() | Qt::ItemIsEditable);
  QFont bold = font();
  bold.setBold(true);
  row->setFont(kName, bold);
  for (const auto& driver : instrument->drivers) {
    auto* child = new QTreeWidgetItem(row);
    child->setText(kName, FromLatin1(driver->TypeName()));
    child->setData(kName, kNodeRole, QVariant::fromValue(static_cast<void*>(driver.get())));
    child->setToolTip(kName, tr("Double-click to get this data from the instrument"));
  }
  row->setExpanded(true);
}

void ZKStudioTree::Rebuild() {
  const ZKDrvList* current = CurrentNode();
  clear();
  for (const auto& instrument : studio_.instruments()) AddInstrumentRow(instrument.get());
  for (QTreeWidgetItemIterator it(this); *it; ++it) {
    if (NodeOf(*it) == current || !currentItem()) setCurrentItem(*it);
  }
}

TZKDrvLst::TZKDrvLst(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent)
    : ZKWindow(parent), studio_(studio), host_(host), tree_(new ZKStudioTree(studio, host, this)) {
  setWindowTitle(tr("Studio"));
  auto* column = new QVBoxLayout(this);
  hint_ = new QLabel(this);
  hint_->setWordWrap(true);
  column->addWidget(hint_);
  column->addWidget(tree_, 1);
  auto* row = new QHBoxLayout;
  get_ = new QToolButton(this);
  get_->setText(tr("&Get"));
  get_->setToolTip(tr("Request the selected data from the instrument (Ctrl+G)"));
  create_ = new QToolButton(this);
  create_->setText(tr("&New"));
  create_->setToolTip(tr("Open a window on new, empty data of this kind"));
  auto* install = new QToolButton(this);
  install->setText(tr("&Install Module..."));
  for (auto* button : {get_, create_, install}) {
    button->setFocusPolicy(Qt::TabFocus);
    row->addWidget(button);
  }
  row->addStretch(1);
  column->addLayout(row);
  setFocusProxy(tree_);

  connect(get_, &QToolButton::clicked, this, [this] { RunCommand(CommandId::MidiGet); });
  connect(create_, &QToolButton::clicked, this, [this] {
    if (ZKDrvList* node = tree_->CurrentNode(); node && !node->IsInstrument()) host_.OpenDriver(node, false);
  });
  connect(install, &QToolButton::clicked, this, [this] { host_.InstallModule(); });
  connect(tree_, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
    ZKDrvList* node = tree_->NodeOf(item);
    if (!node) return;
    if (node->IsInstrument())
      item->setExpanded(!item->isExpanded());
    else
      host_.OpenDriver(node, true);
  });
  connect(tree_, &QTreeWidget::currentItemChanged, this, [this] { UpdateState(); });
  connect(tree_, &QTreeWidget::customContextMenuRequested, this, &TZKDrvLst::ShowMenu);
  resize(fontMetrics().averageCharWidth() * 96, fontMetrics().height() * 30);
  Refresh();
}

void TZKDrvLst::Refresh() {
  tree_->Rebuild();
  const auto count = studio_.instruments().size();
  hint_->setText(count == 0 ? tr("There are no instruments yet. Choose Install Module to add one.")
                            : tr("Choose a kind of data and Get to request it from its instrument."));
  UpdateState();
}

void TZKDrvLst::UpdateState() {
  const ZKDrvList* node = tree_->CurrentNode();
  const bool driver = node && !node->IsInstrument();
  get_->setEnabled(driver);
  create_->setEnabled(driver);
  emit StateChanged();
}

void TZKDrvLst::ShowMenu(const QPoint& position) {
  ZKDrvList* node = tree_->NodeOf(tree_->itemAt(position));
  if (!node) return;
  QMenu menu(this);
  if (!node->IsInstrument()) {
    menu.addAction(tr("&Get from Instrument"), this, [this, node] { host_.OpenDriver(node, true); });
    menu.addAction(tr("&New"), this, [this, node] { host_.OpenDriver(node, false); });
  } else {
    menu.addAction(tr("&Remove from Studio"), this, [this, node] {
      studio_.DeleteInstrument(node);
      Refresh();
    });
  }
  menu.exec(tree_->viewport()->mapToGlobal(position));
}

bool TZKDrvLst::CommandEnabled(CommandId command) const {
  const ZKDrvList* node = tree_->CurrentNode();
  return command == CommandId::MidiGet && node && !node->IsInstrument();
}

void TZKDrvLst::RunCommand(CommandId command) {
  if (CommandEnabled(command)) host_.OpenDriver(tree_->CurrentNode(), true);
}

}  // namespace tonalith
