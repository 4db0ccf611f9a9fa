#include "studio/ui/studio_window.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

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
    QTimer::singleShot(0, box, &QComboBox::showPopup);
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
    tree_->host().StudioEdited();
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
  header()->setSectionsMovable(false);
  for (const int column : {kName, kDevice, kChannel})
    header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
  for (const int column : {kIn, kOut}) header()->setSectionResizeMode(column, QHeaderView::Stretch);
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
  row->setText(kName, FromUtf8(instrument->DisplayKey()));
  row->setText(kIn, FromUtf8(instrument->inPortName));
  row->setText(kOut, FromUtf8(instrument->outPortName));
  row->setToolTip(kIn, row->text(kIn));
  row->setToolTip(kOut, row->text(kOut));
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

void ZKStudioTree::SetCurrentNode(const ZKDrvList* node) {
  for (QTreeWidgetItemIterator it(this); *it; ++it) {
    if (NodeOf(*it) == node) return setCurrentItem(*it);
  }
}

void ZKStudioTree::Rebuild() {
  // Rows that the user closed stay closed; the nodes may be gone, so they are only compared.
  const ZKDrvList* current = CurrentNode();
  std::vector<const ZKDrvList*> closed;
  for (int i = 0; i < topLevelItemCount(); ++i) {
    if (!topLevelItem(i)->isExpanded()) closed.push_back(NodeOf(topLevelItem(i)));
  }
  const int place = topLevelItemCount() > 0 && currentItem()
                        ? indexOfTopLevelItem(currentItem()->parent() ? currentItem()->parent() : currentItem())
                        : 0;
  const QSignalBlocker quiet(this);
  setUpdatesEnabled(false);
  clear();
  for (const auto& instrument : studio_.instruments()) {
    AddInstrumentRow(instrument.get());
    QTreeWidgetItem* row = topLevelItem(topLevelItemCount() - 1);
    row->setExpanded(std::find(closed.begin(), closed.end(), instrument.get()) == closed.end());
  }
  SetCurrentNode(current);
  if (!currentItem()) setCurrentItem(topLevelItem(std::clamp(place, 0, std::max(0, topLevelItemCount() - 1))));
  setUpdatesEnabled(true);
}

TZKDrvLst::TZKDrvLst(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent)
    : ZKWindow(parent), studio_(studio), host_(host), tree_(new ZKStudioTree(studio, host, this)) {
  setWindowTitle(tr("Studio"));
  auto* column = new QVBoxLayout(this);
  hint_ = new QLabel(this);
  hint_->setWordWrap(true);
  column->addWidget(hint_);
  column->addWidget(tree_, 1);
  tree_->setAccessibleName(tr("Instruments"));
  auto* row = new QHBoxLayout;
  const auto button = [&](const QString& text, const QString& tip) {
    auto* made = new QToolButton(this);
    made->setText(text);
    made->setToolTip(tip);
    made->setFocusPolicy(Qt::TabFocus);
    row->addWidget(made);
    return made;
  };
  get_ = button(tr("&Get"), tr("Request the selected data from the instrument (Ctrl+G)"));
  create_ = button(tr("&New"), tr("Open a window on new, empty data of this kind"));
  settings_ = button(tr("&Settings"), tr("MIDI ports, device number and channel of the selected instrument"));
  add_ = button(tr("&Add"), tr("Add an installed instrument to the studio"));
  auto* install = button(tr("&Install Module..."), tr("Install an instrument from a module package"));
  row->addStretch(1);
  column->addLayout(row);
  setFocusProxy(tree_);
  for (QToolButton* menuButton : {settings_, add_}) {
    menuButton->setPopupMode(QToolButton::InstantPopup);
    menuButton->setMenu(new QMenu(menuButton));
  }
  connect(settings_->menu(), &QMenu::aboutToShow, this, [this] {
    settings_->menu()->clear();
    ZKDrvList* node = tree_->CurrentNode();
    if (node) AddSettings(settings_->menu(), node->instrument ? node->instrument : node);
  });
  connect(add_->menu(), &QMenu::aboutToShow, this, [this] { BuildAddMenu(add_->menu()); });

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
  connect(tree_, &QTreeWidget::customContextMenuRequested, this, [this](const QPoint& position) {
    const QTreeWidgetItem* item = tree_->itemAt(position);
    // The menu key asks at a place of its own; the menu belongs to the current row.
    const bool keyboard = !item || item != tree_->currentItem();
    const QPoint at = keyboard ? tree_->visualItemRect(tree_->currentItem()).center() : position;
    if (tree_->currentItem()) ShowMenu(tree_->viewport()->mapToGlobal(at));
  });
  resize(fontMetrics().averageCharWidth() * 108, fontMetrics().height() * 30);
  Refresh();
}

void TZKDrvLst::Refresh() {
  tree_->Rebuild();
  const StudioPorts* ports = host_.ports();
  const bool noPorts = ports && ports->InputPortNames().empty() && ports->OutputPortNames().empty();
  if (studio_.instruments().empty()) {
    hint_->setText(tr("There are no instruments yet. Choose Install Module to add one."));
  } else if (noPorts) {
    hint_->setText(tr(
        "No MIDI ports were found. Connect a MIDI interface or start JACK: new ports are noticed at once. To try the "
        "program without hardware, start it with --simulated."));
  } else {
    hint_->setText(tr("Choose a kind of data and Get to request it from its instrument."));
  }
  UpdateState();
}

void TZKDrvLst::Select(const std::string& moduleFile) {
  for (auto it = studio_.instruments().rbegin(); it != studio_.instruments().rend(); ++it) {
    if ((*it)->moduleFile == moduleFile) return tree_->SetCurrentNode(it->get());
  }
}

void TZKDrvLst::UpdateState() {
  const ZKDrvList* node = tree_->CurrentNode();
  const bool driver = node && !node->IsInstrument();
  get_->setEnabled(driver);
  create_->setEnabled(driver);
  settings_->setEnabled(node != nullptr);
  emit StateChanged();
}

void TZKDrvLst::ShowMenu(const QPoint& at) {
  QMenu menu(this);
  BuildMenu(&menu);
  if (!menu.isEmpty()) menu.exec(at);
}

void TZKDrvLst::BuildMenu(QMenu* menu) {
  ZKDrvList* node = tree_->CurrentNode();
  if (!node) return;
  if (!node->IsInstrument()) {
    menu->addAction(tr("&Get from Instrument"), this, [this, node] {
      if (studio_.GetInstrumentDrvList(node)) host_.OpenDriver(node, true);
    });
    menu->addAction(tr("&New"), this, [this, node] {
      if (studio_.GetInstrumentDrvList(node)) host_.OpenDriver(node, false);
    });
    menu->addSeparator();
  }
  AddSettings(menu, node->instrument ? node->instrument : node);
}

// Menus stay open while the studio may change: nodes are looked up again before they are used.
void TZKDrvLst::Edit(ZKDrvList* node, const std::function<void(ZKDrvList*)>& change) {
  if (!studio_.GetInstrumentDrvList(node)) return;
  change(node);
  studio_.WriteInstrumentDefaults(node);
  host_.StudioEdited();
  Refresh();
}

void TZKDrvLst::AddPorts(QMenu* menu, ZKDrvList* instrument, bool input) {
  StudioPorts* ports = host_.ports();
  const auto names = !ports ? std::vector<std::string>() : input ? ports->InputPortNames() : ports->OutputPortNames();
  QMenu* list = menu->addMenu(input ? tr("MIDI &In Port") : tr("MIDI &Out Port"));
  list->setEnabled(!names.empty());
  const std::string& current = input ? instrument->inPortName : instrument->outPortName;
  for (std::size_t i = 0; i < names.size(); ++i) {
    QAction* action = list->addAction(FromUtf8(names[i]).replace('&', QStringLiteral("&&")), this, [=, this] {
      Edit(instrument, [&](ZKDrvList* node) {
        const int port = static_cast<int>(i);
        if (input)
          node->SetInPort(port, names[i]);
        else
          node->SetOutPort(port, names[i]);
      });
    });
    action->setCheckable(true);
    action->setChecked(names[i] == current);
  }
}

void TZKDrvLst::AddChannels(QMenu* menu, ZKDrvList* instrument, bool device) {
  const Synth* synth = FirstSynth(instrument);
  const int first = device && synth ? std::max<int>(0, synth->sysExChannelMin) : 0;
  const int last = device && synth ? synth->sysExChannelMax : 15;
  QMenu* list = menu->addMenu(device ? tr("&Device ID") : tr("MIDI &Channel"));
  for (int i = first; i <= last; ++i) {
    QAction* action = list->addAction(QString::number(device ? Shown(synth, i) : i + 1), this, [=, this] {
      Edit(instrument, [&](ZKDrvList* node) {
        if (device)
          node->SetSysExChannel(i);
        else
          node->SetMidiChannel(i);
      });
    });
    action->setCheckable(true);
    action->setChecked(i == (device ? instrument->sysExChannel : instrument->midiChannel));
  }
}

void TZKDrvLst::AddSettings(QMenu* menu, ZKDrvList* instrument) {
  AddPorts(menu, instrument, true);
  AddPorts(menu, instrument, false);
  AddChannels(menu, instrument, true);
  AddChannels(menu, instrument, false);
  menu->addSeparator();
  menu->addAction(tr("&Remove from Studio..."), this, [this, instrument] { Remove(instrument); });
}

void TZKDrvLst::Remove(ZKDrvList* node) {
  if (!studio_.GetInstrumentDrvList(node)) return;
  MessagePrompt prompt;
  prompt.title = "Studio";
  prompt.text = "Remove " + node->DisplayKey() + " from the studio?\nIts module stays installed.";
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  if (host_.prompts().Message(prompt) != PromptAnswer::Yes || !studio_.GetInstrumentDrvList(node)) return;
  studio_.DeleteInstrument(node);
  host_.StudioEdited();
  Refresh();
}

void TZKDrvLst::BuildAddMenu(QMenu* menu) {
  menu->clear();
  for (const std::string& module : studio_.InstalledModules()) {
    QString name = FromUtf8(module.substr(0, module.rfind('.'))).replace('&', QStringLiteral("&&"));
    menu->addAction(name, this, [this, module] {
      if (!studio_.AddDrivers(module)) return;
      studio_.UpdatePortReferences();
      host_.StudioEdited();
      Refresh();
      Select(module);
    });
  }
  if (menu->isEmpty()) menu->addAction(tr("No module is installed."))->setEnabled(false);
}

bool TZKDrvLst::CommandEnabled(CommandId command) const {
  const ZKDrvList* node = tree_->CurrentNode();
  return command == CommandId::MidiGet && node && !node->IsInstrument();
}

void TZKDrvLst::RunCommand(CommandId command) {
  if (CommandEnabled(command)) host_.OpenDriver(tree_->CurrentNode(), true);
}

}  // namespace tonalith
