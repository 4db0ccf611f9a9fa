#include "studio/ui/studio_window.h"

#include <QAction>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QListWidget>
#include <QMenu>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "services/settings.h"
#include "studio/device_ids.h"
#include "studio/instrument_change.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/colours.h"
#include "ui/style/empty_state.h"
#include "ui/style/flow_layout.h"
#include "ui/style/list_delegate.h"
#include "ui/style/search_field.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

namespace {

constexpr int kDriverRole = Qt::UserRole;
// Values of the setting "display style": 0 as chosen in the window, 1 panels without pictures, 2 panels, 3 tree.
constexpr int kStylePanels = 1, kStyleTree = 3;
constexpr int kSideBySideCharacters = 64;  // room for panels and data side by side

}  // namespace

TZKDrvLst::TZKDrvLst(ZKStudioDoc& studio, StudioWindowHost& host, QWidget* parent)
    : ZKWindow(parent),
      studio_(studio),
      host_(host),
      pictures_(StudioPictures::doInitBitmap(host.ResourceFolder(), host.prompts())) {
  SetTitle(this, tr("Studio"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kGap, kGap);
  BuildSearch();
  hint_ = new PlainLabel(this);
  hint_->setWordWrap(true);
  SetSecondaryText(hint_);
  column->addWidget(hint_);
  BuildViews();
  column->addWidget(views_, 1);
  BuildButtons();
  BuildShortcuts();
  ConnectViews();
  styleListener_ = host_.settings().AddListener([this](SettingId id, int) {
    if (id == SettingId::MainDrvOldDisplayStyle) ApplyStyle();
  });
  resize(fontMetrics().averageCharWidth() * 132, fontMetrics().height() * 34);
  ApplyStyle();
  SetEdited(search_, host_.view().search);
}

TZKDrvLst::~TZKDrvLst() {
  host_.settings().RemoveListener(styleListener_);
  for (QObject* view : {static_cast<QObject*>(tree_), static_cast<QObject*>(list_), static_cast<QObject*>(drivers_)})
    disconnect(view, nullptr, this, nullptr);
}

// ---- building -------------------------------------------------------------------------------------------------------

// The rarer commands stand in the menu beside the search.
QAction* TZKDrvLst::AddCommand(QMenu* menu, Glyph glyph, const QString& text, const QString& tip,
                               const std::function<void()>& run) {
  auto* action = new QAction(IconOf(glyph), text, this);
  SetToolTip(action, tip);
  if (run) connect(action, &QAction::triggered, this, run);
  menu->addAction(action);
  return action;
}

QToolButton* TZKDrvLst::AddButton(QLayout* row, Glyph glyph, const QString& text, const QString& tip) {
  auto* button = new QToolButton(this);
  button->setIcon(IconOf(glyph));
  button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  button->setText(text);
  button->setMinimumHeight(TargetHeight(fontMetrics()));
  SetToolTip(button, tip);
  button->setFocusPolicy(Qt::TabFocus);
  row->addWidget(button);
  return button;
}

void TZKDrvLst::BuildSearch() {
  auto* row = new QHBoxLayout;
  search_ = new SearchField(tr("Search instruments"), this);
  SetToolTip(search_, tr("Any words of instrument, kind of data or open document (Ctrl+F)"));
  row->addWidget(search_, 1);
  more_ = new QToolButton(this);
  more_->setIcon(IconOf(Glyph::More));
  more_->setPopupMode(QToolButton::InstantPopup);
  more_->setFocusPolicy(Qt::TabFocus);
  more_->setMinimumSize(kTarget, TargetHeight(fontMetrics()));
  SetToolTip(more_, tr("More that can be done with the studio"));
  SetAccessibleName(more_, tr("More"));
  more_->setMenu(new QMenu(this));
  row->addWidget(more_);
  static_cast<QVBoxLayout*>(layout())->addLayout(row);
  QMenu* menu = more_->menu();
  settings_ = AddCommand(menu, Glyph::Settings, tr("Se&ttings..."),
                         tr("Ports, channels and patch bay of the instrument (Alt+Return)"), [this] { OnSettings(); });
  remove_ = AddCommand(menu, Glyph::Remove, tr("&Remove from Studio..."),
                       tr("Take the selected instruments out of the studio (Del)"), [this] { RemoveSelected(); });
  undo_ = AddCommand(menu, Glyph::Undo, tr("&Undo Remove"),
                     tr("Put the instrument that was removed last back (Ctrl+Z)"), [this] { UndoRemove(); });
  menu->addSeparator();
  connected_ = AddCommand(menu, Glyph::Connected, tr("&What Is Connected?..."),
                          tr("Search every MIDI port for all instruments"), [this] { host_.ShowConnected(); });
  AddInstallMenu(AddCommand(menu, Glyph::Import, tr("&Install"), tr("Install instruments from module packages"), {}));
  menu->addSeparator();
  AddReportMenu(AddCommand(menu, Glyph::Info, tr("Rep&ort"), tr("What is set up, as a text"), {}));
  AddCommand(menu, Glyph::Print, tr("&Print..."), tr("Print the list of instruments (Ctrl+P)"),
             [this] { RunCommand(CommandId::FilePrint); });
  panelsAction_ = AddCommand(menu, Glyph::Keyboard, tr("Pane&ls"), tr("Show instruments as panels or as a tree"),
                             [this] { ShowPanels(!ShowsPanels()); });
  panelsAction_->setCheckable(true);
}

void TZKDrvLst::BuildShortcuts() {
  const auto shortcut = [this](const QKeySequence& keys, const std::function<void()>& run) {
    auto* action = new QAction(this);
    action->setShortcut(keys);
    action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    connect(action, &QAction::triggered, this, run);
    addAction(action);
  };
  shortcut(QKeySequence::Delete, [this] {
    if (!search_->hasFocus()) RemoveSelected();
  });
  shortcut(QKeySequence(Qt::ALT | Qt::Key_Return), [this] { OnSettings(); });
  shortcut(QKeySequence(Qt::ALT | Qt::Key_Up), [this] { MoveCurrent(-1); });
  shortcut(QKeySequence(Qt::ALT | Qt::Key_Down), [this] { MoveCurrent(1); });
}

void TZKDrvLst::AddInstallMenu(QAction* tool) {
  auto* menu = new QMenu(this);
  menu->addAction(tr("From &Disk..."), this, [this] { OnInstallFrom(false); });
  menu->addAction(tr("From a &Folder..."), this, [this] { OnInstallFrom(true); });
  menu->addAction(tr("From &Web..."), this, [this] { OnInstallFromWeb(); });
  tool->setMenu(menu);
}

void TZKDrvLst::AddReportMenu(QAction* tool) {
  auto* menu = new QMenu(this);
  menu->addAction(tr("&Configuration Report..."), this, [this] { OnSetupInformation(); });
  menu->addAction(tr("&MIDI Device File..."), this, [this] { OnMidiDeviceFile(); });
  menu->addAction(tr("Check &SysEx Maps"), this, [this] { OnDriversMissingDescriptor(); });
  tool->setMenu(menu);
}

void TZKDrvLst::BuildViews() {
  views_ = new QStackedWidget(this);
  tree_ = new ZKStudioTree(studio_, host_, views_);
  tree_->setAccessibleName(tr("Instruments"));
  SetGround(tree_->viewport(), Shade::Dock);
  views_->addWidget(tree_);
  panels_ = new QSplitter(views_);
  list_ = new ZKStudioList(studio_, host_, pictures_, panels_);
  list_->setAccessibleName(tr("Instruments"));
  drivers_ = new QListWidget(panels_);
  drivers_->setAccessibleName(tr("Data of the instrument"));
  DressList(drivers_);
  panels_->setChildrenCollapsible(false);
  panels_->setStretchFactor(0, 3);
  panels_->setStretchFactor(1, 1);
  views_->addWidget(panels_);
  empty_ = new EmptyState(Glyph::Studio, tr("No instruments yet"), tr("Add, or let AutoSense look for them."), views_);
  empty_->AddButton(tr("&Add Instrument"), [this] { OfferInstruments(); });
  empty_->AddButton(tr("Auto&Sense"), [this] { host_.ShowConnected(); });
  views_->addWidget(empty_);
  nothing_ = new EmptyState(Glyph::Search, {}, {}, views_);
  nothing_->AddButton(tr("Clear the Search"), [this] {
    search_->clear();
    search_->setFocus();
  });
  views_->addWidget(nothing_);
  shown_ = tree_;
}

void TZKDrvLst::BuildButtons() {
  auto* grid = new FlowLayout(nullptr, kGap);
  get_ = AddButton(grid, Glyph::Get, tr("&Get"), tr("Request the selected data from the instrument (Ctrl+G)"));
  create_ = AddButton(grid, Glyph::New, tr("&New"), tr("Open a window on new, empty data of this kind"));
  add_ = AddButton(grid, Glyph::Add, tr("&Add instrument"), tr("Add an installed instrument to the studio"));
  add_->setPopupMode(QToolButton::InstantPopup);
  add_->setMenu(new QMenu(this));
  connect(add_->menu(), &QMenu::aboutToShow, this, [this] { BuildAddMenu(add_->menu()); });
  sense_ =
      AddButton(grid, Glyph::AutoSense, tr("Auto&Sense"),
                tr("Search all MIDI ports for the selected instruments; without any for everything that is installed"));
  static_cast<QVBoxLayout*>(layout())->addLayout(grid);
  connect(sense_, &QToolButton::clicked, this, [this] { OnAutoSense(); });
  connect(get_, &QToolButton::clicked, this, [this] { RunCommand(CommandId::MidiGet); });
  connect(create_, &QToolButton::clicked, this, [this] {
    if (ZKDrvList* node = CurrentNode(); node && !node->IsInstrument()) host_.OpenDriver(node, false);
  });
}

void TZKDrvLst::ConnectViews() {
  connect(tree_, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) { ActivateDocument(item); });
  connect(tree_, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
    if (ActivateDocument(item)) return;
    ZKDrvList* node = tree_->NodeOf(item);
    if (!node) return;
    if (node->IsInstrument())
      item->setExpanded(!item->isExpanded());
    else
      host_.OpenDriver(node, true);
  });
  connect(tree_, &QTreeWidget::itemSelectionChanged, this, [this] { SelectionChanged(); });
  connect(tree_, &QTreeWidget::currentItemChanged, this, [this] { SelectionChanged(); });
  connect(tree_, &QTreeWidget::customContextMenuRequested, this, [this](const QPoint& position) {
    const QTreeWidgetItem* item = tree_->itemAt(position);
    // The menu key asks at a place of its own; the menu belongs to the current row.
    const bool keyboard = !item || item != tree_->currentItem();
    const QPoint at = keyboard ? tree_->visualItemRect(tree_->currentItem()).center() : position;
    if (tree_->currentItem()) ShowMenu(tree_->viewport()->mapToGlobal(at));
  });
  connect(list_, &QListWidget::currentItemChanged, this, [this] {
    FillDrivers();
    SelectionChanged();
  });
  connect(list_, &QListWidget::itemSelectionChanged, this, [this] { SelectionChanged(); });
  connect(list_, &QListWidget::itemActivated, this, [this] { drivers_->setFocus(); });
  connect(list_, &QListWidget::customContextMenuRequested, this, [this](const QPoint& position) {
    if (list_->currentItem()) ShowMenu(list_->viewport()->mapToGlobal(position));
  });
  connect(drivers_, &QListWidget::currentItemChanged, this, [this] { SelectionChanged(); });
  connect(drivers_, &QListWidget::itemActivated, this, [this] { RunCommand(CommandId::MidiGet); });
  connect(tree_, &ZKStudioTree::Moved, this, [this](int from, int to) { Moved(from, to); });
  connect(list_, &ZKStudioList::Moved, this, [this](int from, int to) { Moved(from, to); });
  connect(search_, &SearchField::WordsChanged, this, [this] {
    host_.view().search = ToUtf8(search_->text());
    Filter();
    SelectionChanged();
  });
  connect(search_, &QLineEdit::returnPressed, this, [this] { shown_->setFocus(); });
  connect(search_, &SearchField::GoToList, this, [this] { shown_->setFocus(); });
  connect(search_, &SearchField::Left, this, [this] { shown_->setFocus(); });
  panels_->setFocusProxy(list_);
}

// The row may be gone once the document is in front.
bool TZKDrvLst::ActivateDocument(QTreeWidgetItem* item) {
  const OpenDocument* document = tree_->DocumentOf(item);
  if (!document || !document->activate) return false;
  const auto activate = document->activate;
  activate();
  return true;
}

// ---- what is shown --------------------------------------------------------------------------------------------------

// In a narrow dock the data stands below the panels.
void TZKDrvLst::resizeEvent(QResizeEvent* event) {
  ZKWindow::resizeEvent(event);
  const bool narrow = width() < fontMetrics().averageCharWidth() * kSideBySideCharacters;
  panels_->setOrientation(narrow ? Qt::Vertical : Qt::Horizontal);
}

bool TZKDrvLst::ShowsPanels() const {
  return shown_ == panels_;
}

void TZKDrvLst::ApplyStyle() {
  const int style = host_.settings().Value(SettingId::MainDrvOldDisplayStyle);
  list_->SetCompact(style == kStylePanels);
  ShowPanels(style == 0 ? host_.settings().Value(SettingId::MainDrvDisplayMode) != 0 : style != kStyleTree);
}

void TZKDrvLst::ShowPanels(bool panels) {
  ZKDrvList* node = CurrentNode();
  shown_ = panels ? static_cast<QWidget*>(panels_) : tree_;
  panelsAction_->setChecked(panels);
  host_.settings().MainDrvDisplayMode(panels ? 1 : 0);
  setFocusProxy(panels ? static_cast<QWidget*>(list_) : tree_);
  Refresh();
  if (!node) return;
  tree_->SetCurrentNode(node);
  list_->SetCurrentInstrument(node->instrument ? node->instrument : node);
}

void TZKDrvLst::Refresh() {
  if (ShowsPanels()) {
    list_->Rebuild();
    FillDrivers();
  } else {
    tree_->Rebuild();
  }
  const StudioPorts* ports = host_.ports();
  const bool noPorts = ports && ports->InputPortNames().empty() && ports->OutputPortNames().empty();
  hint_->setVisible(noPorts);
  if (noPorts)
    hint_->setText(tr(
        "No MIDI ports were found. Connect a MIDI interface or start JACK: new ports are noticed at once. To try the "
        "program without hardware, start it with --simulated."));
  Filter();
  SelectionChanged();
}

void TZKDrvLst::ShowDocuments() {
  if (!ShowsPanels()) tree_->ShowDocuments();
}

// The kinds of data of the current panel.
void TZKDrvLst::FillDrivers() {
  const int row = std::max(0, drivers_->currentRow());
  const QSignalBlocker quiet(drivers_);
  drivers_->clear();
  const ZKDrvList* instrument = list_->CurrentInstrument();
  if (!instrument || !studio_.GetInstrumentDrvList(instrument)) return;
  for (const auto& driver : instrument->drivers) {
    auto* item =
        new QListWidgetItem(DriverIcon(driver.get(), palette(), kGlyph), ShownLatin1(driver->TypeName()), drivers_);
    item->setData(kDriverRole, QVariant::fromValue(static_cast<void*>(driver.get())));
    SetToolTip(item, tr("Double-click to get this data from the instrument"));
  }
  drivers_->setCurrentRow(std::min(row, drivers_->count() - 1));
}

void TZKDrvLst::Filter() {
  const SearchWords& words = search_->Words();
  const int inTree = tree_->Filter(words), inList = list_->Filter(words);
  const int hits = ShowsPanels() ? inList : inTree;
  search_->SetHits(words.IsEmpty() ? -1 : hits);
  QWidget* view = shown_;
  if (studio_.instruments().empty()) {
    view = empty_;
  } else if (hits == 0) {
    // What was not found, and what to try.
    const QString said = search_->NothingFound();
    const qsizetype end = said.lastIndexOf(QStringLiteral(". "));
    nothing_->SetTexts(said.left(end), end < 0 ? QString() : said.mid(end + 2));
    view = nothing_;
  }
  // What is hidden gives the focus away, and the user is typing.
  const bool typing = search_->hasFocus();
  views_->setCurrentWidget(view);
  if (typing) search_->setFocus();
}

void TZKDrvLst::Select(const std::string& moduleFile) {
  for (auto it = studio_.instruments().rbegin(); it != studio_.instruments().rend(); ++it) {
    if ((*it)->moduleFile == moduleFile) return SelectInstrument(it->get());
  }
}

void TZKDrvLst::SelectInstrument(const ZKDrvList* instrument) {
  tree_->SetCurrentNode(instrument);
  list_->SetCurrentInstrument(instrument);
}

ZKDrvList* TZKDrvLst::CurrentNode() const {
  ZKDrvList* node = nullptr;
  if (!ShowsPanels())
    node = tree_->CurrentNode();
  else if (const QListWidgetItem* item = drivers_->currentItem())
    node = static_cast<ZKDrvList*>(item->data(kDriverRole).value<void*>());
  else
    node = list_->CurrentInstrument();
  // Until a view is built anew its rows may still name what is gone.
  return node && studio_.GetInstrumentDrvList(node) ? node : nullptr;
}

ZKDrvList* TZKDrvLst::CurrentInstrument() const {
  ZKDrvList* node = CurrentNode();
  return node && node->instrument ? node->instrument : node;
}

std::vector<ZKDrvList*> TZKDrvLst::SelectedInstruments() const {
  auto selected = ShowsPanels() ? list_->SelectedInstruments() : tree_->SelectedInstruments();
  std::erase_if(selected, [this](const ZKDrvList* node) { return !studio_.GetInstrumentDrvList(node); });
  if (ZKDrvList* current = CurrentInstrument(); selected.empty() && current) selected.push_back(current);
  return selected;
}

void TZKDrvLst::SelectionChanged() {
  studio_.list().SetSelection(CurrentNode());
  const auto selected = SelectedInstruments();
  for (const auto& instrument : studio_.instruments())
    instrument->selected = std::find(selected.begin(), selected.end(), instrument.get()) != selected.end() ? 1 : 0;
  UpdateState();
}

void TZKDrvLst::UpdateState() {
  const ZKDrvList* node = CurrentNode();
  const bool driver = node && !node->IsInstrument();
  const QString none = driver ? QString() : tr("Choose a kind of data below an instrument first.");
  for (QToolButton* button : {get_, create_}) EnableUnless(button, none);
  settings_->setEnabled(node != nullptr);
  remove_->setEnabled(node != nullptr);
  EnableUnless(sense_, host_.autoConfig() ? QString() : tr("MIDI is not running."));
  connected_->setEnabled(host_.autoConfig() != nullptr);
  undo_->setEnabled(!removed_.empty());
  emit StateChanged();
}

// ---- menus ----------------------------------------------------------------------------------------------------------

void TZKDrvLst::ShowMenu(const QPoint& at) {
  QMenu menu(this);
  BuildMenu(&menu);
  if (!menu.isEmpty()) menu.exec(at);
}

void TZKDrvLst::BuildMenu(QMenu* menu) {
  ZKDrvList* node = CurrentNode();
  if (!node) return;
  if (!node->IsInstrument()) {
    menu->addAction(tr("&Get from Instrument"), this, [this, node] {
      if (studio_.GetInstrumentDrvList(node)) host_.OpenDriver(node, true);
    });
    menu->addAction(tr("&New"), this, [this, node] {
      if (studio_.GetInstrumentDrvList(node)) host_.OpenDriver(node, false);
    });
    AddFromFile(menu, node);
    menu->addSeparator();
  }
  AddSettings(menu, node->instrument ? node->instrument : node);
}

void TZKDrvLst::AddFromFile(QMenu* menu, ZKDrvList* driver) {
  const std::pair<QString, NewDataKind> rows[] = {{tr("Fr&om SysEx File..."), NewDataKind::SysEx},
                                                  {tr("From &MIDI File..."), NewDataKind::MidiFile},
                                                  {tr("From &Headerless File..."), NewDataKind::Headerless}};
  QMenu* files = menu->addMenu(tr("New &from File"));
  for (const auto& [text, kind] : rows)
    files->addAction(text, this, [this, driver, kind = kind] {
      if (studio_.GetInstrumentDrvList(driver)) host_.OpenDriverFromFile(driver, kind);
    });
}

// Menus stay open while the studio may change: nodes are looked up again before they are used.
void TZKDrvLst::Change(ZKDrvList* node, const InstrumentChange& change) {
  if (!studio_.GetInstrumentDrvList(node)) return;
  if (const Result written = ChangeInstrument(studio_, node, change); !written.ok())
    host_.prompts().Say("Studio", written.text);
  host_.StudioEdited();
  Refresh();
}

void TZKDrvLst::AddPorts(QMenu* menu, ZKDrvList* instrument, bool input) {
  StudioPorts* ports = host_.ports();
  const auto names = !ports ? std::vector<std::string>() : input ? ports->InputPortNames() : ports->OutputPortNames();
  QMenu* list = menu->addMenu(input ? tr("MIDI &In Port") : tr("MIDI &Out Port"));
  list->setEnabled(!names.empty());
  const std::string& current = input ? instrument->inPortName : instrument->outPortName;
  for (const std::string& name : names) {
    QAction* action = AddEntry(list, FromUtf8(name));
    connect(action, &QAction::triggered, this, [=, this] {
      InstrumentChange change;
      (input ? change.inPort : change.outPort) = name;
      Change(instrument, change);
    });
    action->setCheckable(true);
    action->setChecked(name == current);
  }
}

void TZKDrvLst::AddChannels(QMenu* menu, ZKDrvList* instrument, bool device) {
  const Synth* synth = device ? DeviceIdSynth(*instrument) : nullptr;
  QMenu* list = menu->addMenu(device ? tr("&Device ID") : tr("MIDI &Channel"));
  list->setEnabled(!device || synth);
  const DeviceIdRange range = synth ? DeviceIdsOf(*synth) : DeviceIdRange{0, device ? -1 : 15};
  for (int i = range.low; i <= range.high; ++i) {
    QAction* action = list->addAction(QString::number(device ? ShownDeviceId(synth, i) : i + 1), this, [=, this] {
      InstrumentChange change;
      (device ? change.device : change.channel) = i;
      Change(instrument, change);
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
  menu->addAction(tr("&Settings..."), this, [this] { OnSettings(); });
  if (sense_->isEnabled()) menu->addAction(tr("&AutoSense"), this, [this] { OnAutoSense(); });
  menu->addSeparator();
  menu->addAction(tr("Move &Up\tAlt+Up"), this, [this] { MoveCurrent(-1); });
  menu->addAction(tr("Move &Down\tAlt+Down"), this, [this] { MoveCurrent(1); });
  menu->addAction(tr("Open Module &Folder"), this, [this] { OpenModuleFolder(); });
  menu->addSeparator();
  menu->addAction(tr("&Remove from Studio..."), this, [this] { RemoveSelected(); });
  menu->addAction(tr("Remov&e All Instruments..."), this, [this] { DrvRemoveAllDrivers(this); });
  menu->addAction(tr("De&lete Module Files..."), this, [this] { DeleteModuleOfCurrent(); });
}

void TZKDrvLst::BuildAddMenu(QMenu* menu) {
  menu->clear();
  for (const std::string& module : studio_.InstalledModules()) {
    QAction* action = AddEntry(menu, ShownUtf8(module.substr(0, module.rfind('.'))));
    connect(action, &QAction::triggered, this, [this, module] {
      if (!studio_.AddDrivers(module)) return;
      studio_.UpdatePortReferences();
      host_.StudioEdited();
      Refresh();
      Select(module);
    });
  }
  if (menu->isEmpty()) {
    menu->addAction(tr("No module is installed."))->setEnabled(false);
    return;
  }
  menu->addSeparator();
  menu->addAction(tr("&Build Studio of All Modules..."), this, [this] { BuildStudio(); });
}

void TZKDrvLst::OfferInstruments() {
  add_->setFocus();
  add_->menu()->popup(add_->mapToGlobal(QPoint(0, -add_->menu()->sizeHint().height())));
}

bool TZKDrvLst::CommandEnabled(CommandId command) const {
  const ZKDrvList* node = CurrentNode();
  switch (command) {
    case CommandId::MidiGet:
      return node && !node->IsInstrument();
    case CommandId::FilePrint:
    case CommandId::FileSave:
    case CommandId::FileSaveAs:
      return true;
    case CommandId::EditUndo:
      return !removed_.empty();
    default:
      return false;
  }
}

}  // namespace tonalith
