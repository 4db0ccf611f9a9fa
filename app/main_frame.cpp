#include "app/main_frame.h"

#include <QAction>
#include <QDesktopServices>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <QTimer>
#include <QUrl>
#include <algorithm>

#include "app/simulation.h"
#include "services/zkbasics.h"
#include "ui/midi_activity.h"
#include "ui/qt_text.h"

namespace tonalith {

CMainFrame::CMainFrame(ZKBasics& basics, ZKStudioDoc& studio, StudioPorts& ports, Simulation* simulation)
    : basics_(basics),
      studio_(studio),
      ports_(ports),
      simulation_(simulation),
      jobs_(basics.clock(), 1),
      area_(new QMdiArea(this)),
      sendingTimer_(new QTimer(this)) {
  setObjectName(QStringLiteral("CMainFrame"));
  setCentralWidget(area_);
  setAcceptDrops(true);
  area_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  area_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  activity_ = new MidiActivityDock(basics_.midi().in(), basics_.midi().out(), this);
  addDockWidget(Qt::RightDockWidgetArea, activity_);
  activity_->hide();
  portsLabel_ = new QLabel(this);
  statusBar()->addPermanentWidget(portsLabel_);
  BuildMenus();
  connect(area_, &QMdiArea::subWindowActivated, this, [this] { UpdateCommands(); });
  studio_.SetChangeSink([this] {
    if (studioWindow_) studioWindow_->Refresh();
  });
  connect(sendingTimer_, &QTimer::timeout, this, &CMainFrame::WatchSending);
  portListener_ = basics_.AddPortListener([this](int changes) { PortsChanged(changes); });
  UpdateAppTitleBar();
  ReadPlace();
}

CMainFrame::~CMainFrame() {
  receiver_.Forget();
  sendingTimer_->stop();
  // The windows inside go while there is still somebody to ask; none of their signals must reach a half-gone frame.
  for (ZKWindow* child : Children()) disconnect(child, nullptr, this, nullptr);
  disconnect(area_, nullptr, this, nullptr);
  disconnect(activity_, nullptr, this, nullptr);
  hide();
  delete takeCentralWidget();
  basics_.RemovePortListener(portListener_);
  studio_.SetChangeSink({});
  jobs_.StopAll();
}

Prompts& CMainFrame::prompts() {
  return basics_.prompts();
}

// ---- menus and commands ---------------------------------------------------------------------------------------------

QMenu* CMainFrame::MenuOf(const CommandRow& row) {
  QMenu* menu = menus_[static_cast<std::size_t>(row.menu)];
  if (!*row.submenu) return menu;
  QMenu*& inner = submenus_[MenuTitles()[static_cast<std::size_t>(row.menu)] + std::string("/") + row.submenu];
  if (!inner) inner = menu->addMenu(QString::fromLatin1(row.submenu));
  return inner;
}

void CMainFrame::BuildMenus() {
  for (const char* title : MenuTitles()) menus_.push_back(menuBar()->addMenu(QString::fromLatin1(title)));
  for (const CommandRow& row : CommandTable()) {
    QMenu* menu = MenuOf(row);
    if (row.id == CommandId::None) {
      menu->addSeparator();
      continue;
    }
    if (row.id == CommandId::UtilitiesSimulator) {
      QMenu* cables = menu->addMenu(QString::fromLatin1(row.text));
      cables->menuAction()->setStatusTip(QString::fromLatin1(row.help));
      actions_[row.id] = cables->menuAction();
      BuildSimulatorMenu(cables);
      continue;
    }
    auto* action = new QAction(QString::fromLatin1(row.text), this);
    action->setShortcut(QKeySequence(QString::fromLatin1(row.shortcut), QKeySequence::PortableText));
    action->setStatusTip(QString::fromLatin1(row.help));
    action->setCheckable(row.checkable);
    const CommandId id = row.id;
    connect(action, &QAction::triggered, this, [this, id] { RunCommand(id); });
    actions_[id] = action;
    menu->addAction(action);
    if (id == CommandId::FileSaveAs) recentMenu_ = menu->addMenu(tr("&Recent Files"));
  }
  actions_[CommandId::FileExit]->setMenuRole(QAction::QuitRole);
  actions_[CommandId::ViewStatusBar]->setChecked(true);
  connect(activity_, &QDockWidget::visibilityChanged, this,
          [this] { actions_[CommandId::ViewMidiActivity]->setChecked(!activity_->isHidden()); });
  for (QMenu* menu : menus_) connect(menu, &QMenu::aboutToShow, this, &CMainFrame::UpdateCommands);
  connect(menus_[static_cast<std::size_t>(MenuId::Window)], &QMenu::aboutToShow, this, &CMainFrame::BuildWindowList);
  UpdateRecentFiles();
  UpdateCommands();
}

// The child windows stand at the end of the Window menu.
void CMainFrame::BuildWindowList() {
  QMenu* menu = menus_[static_cast<std::size_t>(MenuId::Window)];
  for (QAction* action : windowList_) delete action;
  windowList_.clear();
  const auto children = Children();
  if (children.empty()) return;
  windowList_.push_back(menu->addSeparator());
  int number = 0;
  for (ZKWindow* child : children) {
    QString title =
        child->windowTitle().remove(QStringLiteral("[*]")).replace(QStringLiteral("&"), QStringLiteral("&&"));
    if (++number <= 9) title.prepend(QStringLiteral("&%1 ").arg(number));
    QAction* action = menu->addAction(title, this, [this, window = QPointer<ZKWindow>(child)] {
      if (window) Activate(window);
    });
    action->setCheckable(true);
    action->setChecked(child == ActiveChild());
    windowList_.push_back(action);
  }
}

void CMainFrame::BuildSimulatorMenu(QMenu* menu) {
  // Without simulated instruments there is nothing to choose.
  menus_[static_cast<std::size_t>(MenuId::Utilities)]->menuAction()->setVisible(simulation_ != nullptr);
  if (!simulation_) return;
  for (std::size_t place = 0; place < simulation_->studio().Count(); ++place) {
    QAction* action =
        menu->addAction(QStringLiteral("&%1 %2").arg(place + 1).arg(FromUtf8(simulation_->studio().PortName(place))));
    action->setCheckable(true);
    action->setChecked(true);
    action->setStatusTip(tr("Pull or plug this virtual cable"));
    connect(action, &QAction::toggled, this, [this, place](bool on) { simulation_->SetPlugged(place, on); });
  }
}

QAction* CMainFrame::ActionOf(CommandId command) const {
  const auto found = actions_.find(command);
  return found == actions_.end() ? nullptr : found->second;
}

void CMainFrame::UpdateCommands() {
  const ZKWindow* child = ActiveChild();
  for (const CommandRow& row : CommandTable()) {
    QAction* action = ActionOf(row.id);
    if (!action) continue;
    if (row.owner == CommandOwner::Child) action->setEnabled(child && child->CommandEnabled(row.id));
  }
  const bool any = !area_->subWindowList().isEmpty();
  for (const auto command : {CommandId::FileClose, CommandId::WindowCascade, CommandId::WindowTile,
                             CommandId::WindowNext, CommandId::WindowCloseAll}) {
    ActionOf(command)->setEnabled(any);
  }
  int outputs = 0;
  basics_.midi().out().OUTNUMPORTS(&outputs);
  ActionOf(CommandId::MidiPanic)->setEnabled(outputs > 0);
  ActionOf(CommandId::MidiCancelTransmit)->setEnabled(outputs > 0);
  portsLabel_->setText(tr("MIDI: %1 in, %2 out").arg(basics_.midi().in().InPorts()).arg(outputs));
}

void CMainFrame::RunCommand(CommandId command) {
  switch (command) {
    case CommandId::FileNewStudio:
      ShowStudio();
      break;
    case CommandId::FileOpen: {
      FilePrompt prompt;
      prompt.title = "Choose File to Open...";
      prompt.folder = basics_.paths().MainGetDataPath();
      prompt.patterns = {"Banks, patches and SysEx (*.dat *.DAT *.syx *.SYX *.mid *.MID *.smf *.pvz)",
                         "ZK Data (*.DAT *.dat)", "ZK Compressed Module (*.pvz)", "All Files (*)"};
      if (const std::string path = prompts().File(prompt); !path.empty()) OpenFile(path, 0);
      break;
    }
    case CommandId::FileClose:
      if (QMdiSubWindow* window = area_->activeSubWindow()) window->close();
      break;
    case CommandId::FileInstallModule:
      InstallModule();
      break;
    case CommandId::FileExit:
      close();
      break;
    case CommandId::ViewStatusBar:
      statusBar()->setVisible(ActionOf(command)->isChecked());
      break;
    case CommandId::ViewMidiActivity:
      activity_->setVisible(ActionOf(command)->isChecked());
      break;
    case CommandId::MidiCancelTransmit:
      ShowCancelTransmit();
      break;
    case CommandId::MidiPanic:
      MidiPanic();
      break;
    case CommandId::WindowCascade:
      area_->cascadeSubWindows();
      break;
    case CommandId::WindowTile:
      area_->tileSubWindows();
      break;
    case CommandId::WindowNext:
      area_->activateNextSubWindow();
      break;
    case CommandId::WindowCloseAll:
      area_->closeAllSubWindows();
      break;
    case CommandId::HelpContents:
      ShowFirstSteps();
      break;
    case CommandId::HelpAbout:
      ShowAbout();
      break;
    default:
      if (ZKWindow* child = ActiveChild()) child->RunCommand(command);
  }
  UpdateCommands();
}

void CMainFrame::ShowAbout() {
  prompts().Say("About Tonalith",
                "Tonalith " TONALITH_VERSION "\nEditor and librarian for MIDI instruments\n\nInstruments: " +
                    basics_.paths().MainGetInstrPath() + "\nData: " + basics_.paths().MainGetDataPath());
}

void CMainFrame::ShowFirstSteps() {
  prompts().Say(
      "First Steps",
      "1. Open the studio (File, Studio) and choose a kind of data of an instrument.\n"
      "2. Get requests it from the instrument; a window shows the progress.\n"
      "3. The bank window lists the patches. F2 renames one in place.\n"
      "4. Send brings the data back into the instrument, Save keeps it as a file.\n\n"
      "The MIDI ports and numbers of an instrument are changed in the studio: click the selected entry once more.");
}

void CMainFrame::SetManuals(const std::vector<std::pair<std::string, std::string>>& manuals, bool show) {
  if (!show) return;
  QMenu* help = menus_.back();
  help->addSeparator();
  for (const auto& [title, file] : manuals) {
    help->addAction(FromUtf8(title), this, [this, path = file] {
      if (!QDesktopServices::openUrl(QUrl::fromLocalFile(FromUtf8(path))))
        Status(tr("%1 could not be opened").arg(FromUtf8(path)));
    });
  }
}

void CMainFrame::RemoveMenuActions(const std::vector<std::string>& names) {
  for (const auto& name : names) {
    for (const auto& [id, action] : actions_) {
      QString text = action->text();
      if (text.remove('&').remove(QStringLiteral("...")) == FromUtf8(name)) action->setVisible(false);
    }
  }
}

void CMainFrame::UpdateAppTitleBar() {
  setWindowTitle(simulation_ ? tr("Simulated instruments - Tonalith") : QStringLiteral("Tonalith"));
}

void CMainFrame::Status(const QString& text) {
  statusBar()->showMessage(text);
}

// ---- child windows --------------------------------------------------------------------------------------------------

ZKWindow* CMainFrame::ActiveChild() const {
  QMdiSubWindow* window = area_->currentSubWindow();
  return window ? qobject_cast<ZKWindow*>(window->widget()) : nullptr;
}

std::vector<ZKWindow*> CMainFrame::Children() const {
  std::vector<ZKWindow*> children;
  for (QMdiSubWindow* window : area_->subWindowList()) {
    if (auto* child = qobject_cast<ZKWindow*>(window->widget())) children.push_back(child);
  }
  return children;
}

QMdiSubWindow* CMainFrame::SubWindowOf(const ZKWindow* window) const {
  for (QMdiSubWindow* sub : area_->subWindowList()) {
    if (sub->widget() == window) return sub;
  }
  return nullptr;
}

void CMainFrame::Activate(ZKWindow* child) {
  QMdiSubWindow* sub = SubWindowOf(child);
  if (!sub) return;
  if (sub->isMinimized()) sub->showNormal();
  area_->setActiveSubWindow(sub);
  child->setFocus();
}

void CMainFrame::AddChild(ZKWindow* window) {
  window->setAttribute(Qt::WA_DeleteOnClose);
  const QSize size = window->size();
  QMdiSubWindow* sub = area_->addSubWindow(window);
  const QSize frame = sub->size() - sub->contentsRect().size();
  sub->resize((size + frame).boundedTo(area_->viewport()->size()));
  PlaceChild(sub, window);
  sub->setAttribute(Qt::WA_DeleteOnClose);
  connect(window, &ZKWindow::StateChanged, this, &CMainFrame::UpdateCommands);
  connect(window, &ZKWindow::StatusMessage, this, &CMainFrame::Status);
  connect(window, &ZKWindow::Closing, this, [this, window] { StoreChildPlace(window); });
  // Its own Close would make the menu's shortcut ambiguous.
  for (QAction* action : sub->actions()) action->setShortcuts(QList<QKeySequence>());
  if (QMenu* own = sub->systemMenu()) {
    for (QAction* action : own->actions()) action->setShortcuts(QList<QKeySequence>());
  }
  sub->show();
  // The free place that was found may lie outside.
  const QSize room = area_->viewport()->size() - sub->size();
  sub->move(std::clamp(sub->x(), 0, std::max(0, room.width())), std::clamp(sub->y(), 0, std::max(0, room.height())));
  window->setFocus();
  UpdateCommands();
}

TZKBank* CMainFrame::OpenBank(DataFilePtr dataFile, const std::string& path) {
  auto document = std::make_unique<ZKBankDoc>(std::move(dataFile));
  document->SetPath(path);
  auto* window = new TZKBank(std::move(document), *this);
  AddChild(window);
  return window;
}

// ---- studio ---------------------------------------------------------------------------------------------------------

void CMainFrame::PortsChanged(int changes) {
  studio_.UpdateMidiPortsStatusChanged();
  if (simulation_) simulation_->RouteInstruments(studio_, ports_);
  for (ZKWindow* child : Children()) {
    auto* bank = qobject_cast<TZKBank*>(child);
    if (bank && !bank->document().IsBusy()) studio_.DrvUpdateDataFile(bank->document().dataFile());
  }
  activity_->Rebuild();
  if (studioWindow_) studioWindow_->Refresh();
  if (changes != 0)
    Status((changes & kPortsRemoved) != 0 ? tr("A MIDI port went away.") : tr("A MIDI port was added."));
  UpdateCommands();
}

}  // namespace tonalith
