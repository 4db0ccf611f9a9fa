#include <QAction>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <algorithm>

#include "app/audition_tones.h"
#include "app/control_bar.h"
#include "app/main_frame.h"
#include "app/simulation.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "midi/port_system.h"
#include "services/paths.h"
#include "services/zkbasics.h"
#include "ui/midi_activity.h"
#include "ui/qt_text.h"

namespace tonalith {

// Which handler of the frame carries a command out.  Commands that are not here belong to the active child window.
struct FrameCommands {
  struct Row {
    CommandId id;
    void (CMainFrame::*handler)();
  };
  static constexpr Row kRows[] = {
      {CommandId::FileNewStudio, &CMainFrame::OnNewDriverList},
      {CommandId::FileNewSet, &CMainFrame::OnNewGroup},
      {CommandId::FileNewEditor, &CMainFrame::OnNewEditor},
      {CommandId::FileNewLibrary, &CMainFrame::OnNewLibrary},
      {CommandId::FileNewCollection, &CMainFrame::OnNewDBase},
      {CommandId::FileNewSysExMessage, &CMainFrame::OnNewSysXMessage},
      {CommandId::FileOpen, &CMainFrame::OnFileOpen},
      {CommandId::FileClose, &CMainFrame::OnFileClose},
      {CommandId::SendDataFile, &CMainFrame::OnDiskToInstr},
      {CommandId::SendCollection, &CMainFrame::OnDiskDBToInstr},
      {CommandId::SendSysEx, &CMainFrame::OnMidiXToInstr},
      {CommandId::SendMidiFile, &CMainFrame::OnSmfToInstr},
      {CommandId::FileInstallModule, &CMainFrame::InstallModule},
      {CommandId::FileLoadDesktop, &CMainFrame::OnLoadDesktop},
      {CommandId::FileSaveDesktop, &CMainFrame::OnSaveDesktop},
      {CommandId::FileClearRecent, &CMainFrame::OnClearRecentFiles},
      {CommandId::FileExit, &CMainFrame::OnFileExit},
      {CommandId::OptionsPreferences, &CMainFrame::OnOptionsPreferences},
      {CommandId::OptionsAudition, &CMainFrame::OnOptionsAudition},
      {CommandId::OptionsEditorSkins, &CMainFrame::OnOptionsEditorSkings},
      {CommandId::OptionsSavePreferences, &CMainFrame::OnOptionsSavePreferences},
      {CommandId::OptionsUpdateKeyList, &CMainFrame::OnUpdateKeyList},
      {CommandId::OptionsReopenDesktop, &CMainFrame::OnOptionsReopenDesktop},
      {CommandId::ViewControlBar, &CMainFrame::OnViewControlBar},
      {CommandId::ViewStatusBar, &CMainFrame::OnViewStatusBar},
      {CommandId::ViewMidiActivity, &CMainFrame::OnViewMidiActivity},
      {CommandId::ViewSetList, &CMainFrame::OnSetList},
      {CommandId::ViewFileList, &CMainFrame::OnSetfilelist},
      {CommandId::MidiCancelTransmit, &CMainFrame::OnCancelTransmit},
      {CommandId::MidiInPorts, &CMainFrame::OnMidiInPorts},
      {CommandId::MidiOutPorts, &CMainFrame::OnMidiOutPorts},
      {CommandId::MidiPanic, &CMainFrame::OnMidiPanic},
      {CommandId::PlayNote1, &CMainFrame::OnPlayNote1},
      {CommandId::PlayNote2, &CMainFrame::OnPlayNote2},
      {CommandId::PlayNote3, &CMainFrame::OnPlayNote3},
      {CommandId::PlayNote4, &CMainFrame::OnPlayNote4},
      {CommandId::PlayNote5, &CMainFrame::OnPlayNote5},
      {CommandId::PlayNote6, &CMainFrame::OnPlayNote6},
      {CommandId::PlayNote7, &CMainFrame::OnPlayNote7},
      {CommandId::PlayNote8, &CMainFrame::OnPlayNote8},
      {CommandId::PlayChord, &CMainFrame::OnPlayChord},
      {CommandId::PlaySequence, &CMainFrame::OnPlaySequence},
      {CommandId::PlayLastNote, &CMainFrame::OnPlayLastNote},
      {CommandId::UtilitiesCreator, &CMainFrame::OnUtilitiesDriverCreatorWindow},
      {CommandId::UtilitiesFileConversion, &CMainFrame::OnUtilitiesFileConversionWindow},
      {CommandId::UtilitiesController, &CMainFrame::OnUtilitiesMidiControllerWindow},
      {CommandId::UtilitiesSequencer, &CMainFrame::OnUtilitiesSequencerWindow},
      {CommandId::UtilitiesMidiMonitor, &CMainFrame::OnUtilitiesMidiMonitorWindow},
      {CommandId::UtilitiesGraphicMonitor, &CMainFrame::OnMidiMonitorGraphic},
      {CommandId::UtilitiesRemote, &CMainFrame::OnUtilitiesRemote},
      {CommandId::UtilitiesOscEditor, &CMainFrame::OnUtilitiesOsceditor},
      {CommandId::WindowCascade, &CMainFrame::OnWindowCascade},
      {CommandId::WindowTile, &CMainFrame::OnWindowTile},
      {CommandId::WindowTabbed, &CMainFrame::OnWindowTabbed},
      {CommandId::WindowNext, &CMainFrame::OnWindowNext},
      {CommandId::WindowCloseAll, &CMainFrame::OnWindowCloseAll},
      {CommandId::HelpContents, &CMainFrame::OnHelpFirstSteps},
      {CommandId::HelpManual1, &CMainFrame::OnHelpOpenmanual},
      {CommandId::HelpManual2, &CMainFrame::OnHelpOpenmanual2},
      {CommandId::HelpManual3, &CMainFrame::OnHelpOpenmanual3},
      {CommandId::HelpManual4, &CMainFrame::OnHelpOpenmanual4},
      {CommandId::HelpManual5, &CMainFrame::OnHelpOpenmanual5},
      {CommandId::HelpManual6, &CMainFrame::OnHelpOpenmanual6},
      {CommandId::HelpManual7, &CMainFrame::OnHelpOpenmanual7},
      {CommandId::HelpManual8, &CMainFrame::OnHelpOpenmanual8},
      {CommandId::HelpManual9, &CMainFrame::OnHelpOpenmanual9},
      {CommandId::HelpManual10, &CMainFrame::OnHelpOpenmanual10},
      {CommandId::HelpShortcuts, &CMainFrame::OnHelpKeys},
      {CommandId::HelpOnline, &CMainFrame::OnHelpOnline},
      {CommandId::HelpUpdates, &CMainFrame::OnHelpUpdates},
      {CommandId::HelpAbout, &CMainFrame::OnAppAbout},
  };
};

namespace {

constexpr int kToneCommands = 11;  // eight notes, chord, sequence, last note
constexpr const char* kOpenFilter =
    "Files of this program|*.DAT;*.PVS;*.PVG;*.PVC;*.PVD;*.PVL;*.PV9;*.PVW;*.PVZ;*.SYX;*.MID;*.SMF|ZK Data "
    "(*.DAT)|*.DAT|ZK Set (*.PVS)|*.PVS;*.PVG|ZK Compressed Module (.pvz)|*.pvz|All Files (*.*)|*.*|";
constexpr const char* kOpenFilterLine6 =
    "ZK Set (*.PVS)|*.PVS;*.PVG|Line6 L6T Files (*.L6T)|*.L6T|All Files (*.*)|*.*|";
constexpr const char* kKeyFile = "ZKKeys.ini";
constexpr int kMostCategories = 32;

// An entry of a long list, reached by 1 to 9 and A to Z.
QString WithLetter(std::size_t place, const QString& text) {
  if (place >= 35) return text;
  const char letter = static_cast<char>(place < 9 ? '1' + place : 'A' + (place - 9));
  return QStringLiteral("&%1 %2").arg(QLatin1Char(letter)).arg(text);
}

}  // namespace

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
    if (id == CommandId::FileClearRecent) {
      recentMenu_ = menu;
      recentEnd_ = menu->insertSeparator(action);
    }
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
  menu->menuAction()->setVisible(simulation_ != nullptr);
  if (!simulation_) return;
  for (std::size_t place = 0; place < simulation_->studio().Count(); ++place) {
    QAction* action = menu->addAction(WithLetter(place, FromUtf8(simulation_->studio().PortName(place))));
    action->setCheckable(true);
    action->setChecked(true);
    action->setStatusTip(tr("Pull or plug this virtual cable"));
    connect(action, &QAction::toggled, this, [this, place](bool on) { simulation_->SetPlugged(place, on); });
  }
  menu->addSeparator();
  BuildPanelMenu(menu->addMenu(tr("&0 Send from the Panel")));
}

// What somebody at the instrument can have it send.
void CMainFrame::BuildPanelMenu(QMenu* menu) {
  for (std::size_t place = 0; place < simulation_->studio().Count(); ++place) {
    QMenu* panel = menu->addMenu(WithLetter(place, FromUtf8(simulation_->studio().PortName(place))));
    std::vector<std::string> keys;
    simulation_->studio().With(place, [&keys](SimulatedInstrument& instrument) {
      for (const MessageInfo& message : instrument.description().messages) keys.push_back(message.key);
      if (!instrument.description().roland) return;
      for (const AreaInfo& area : instrument.description().areas) keys.push_back(area.key);
    });
    keys.emplace_back("everything");
    std::size_t number = 0;
    for (const std::string& key : keys)
      panel->addAction(WithLetter(number++, FromUtf8(key)), this,
                       [this, place, key] { simulation_->studio().PanelSend(place, key); });
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
  for (int i = 0; i < kToneCommands; ++i)
    ActionOf(static_cast<CommandId>(static_cast<int>(CommandId::PlayNote1) + i))->setEnabled(outputs > 0);
  const bool tabs = area_->viewMode() == QMdiArea::TabbedView;
  ActionOf(CommandId::WindowCascade)->setEnabled(any && !tabs);
  ActionOf(CommandId::WindowTile)->setEnabled(any && !tabs);
  ActionOf(CommandId::HelpOnline)->setEnabled(!onlineUrl_.empty());
  ActionOf(CommandId::HelpUpdates)->setEnabled(!updatesUrl_.empty());
  ActionOf(CommandId::OptionsAudition)->setChecked(basics_.MainAudition(-1) != 0);
  ActionOf(CommandId::OptionsReopenDesktop)->setChecked(basics_.MainAutoSaveLoadDesktop(-1) != 0);
  ActionOf(CommandId::ViewControlBar)->setChecked(basics_.MainApplicationControlBar(-1) != 0);
  UpdateControlBar();
  portsLabel_->setText(tr("MIDI: %1 in, %2 out").arg(basics_.midi().in().InPorts()).arg(outputs));
}

void CMainFrame::UpdateControlBar() {
  for (const ControlBarSlot& slot : ControlBarSlots()) {
    const QAction* action = ActionOf(static_cast<CommandId>(slot.command));
    if (action) controlBar_->icons()->EnableButton(slot.command, action->isEnabled());
  }
  controlBar_->setVisible(basics_.MainApplicationControlBar(-1) != 0);
}

void CMainFrame::RunCommand(CommandId command) {
  for (const auto& row : FrameCommands::kRows) {
    if (row.id != command) continue;
    (this->*row.handler)();
    UpdateCommands();
    return;
  }
  if (ZKWindow* child = ActiveChild()) child->RunCommand(command);
  UpdateCommands();
}

// ---- small handlers -------------------------------------------------------------------------------------------------

void CMainFrame::SayNoWindow(const std::string& what) {
  prompts().Say("Tonalith", what + " is not part of this version of the program yet.");
}

void CMainFrame::OnNewDriverList() {
  ShowStudio();
}

void CMainFrame::OnNewGroup() {
  SayNoWindow("The Set window");
}

void CMainFrame::OnNewEditor() {
  std::vector<ZKDrvList*> drivers;
  ChoicePrompt prompt{"New Editor", "Kind of data:", {}};
  for (const auto& instrument : studio_.instruments()) {
    for (const auto& driver : instrument->drivers) {
      drivers.push_back(driver.get());
      prompt.items.push_back(Latin1ToUtf8(instrument->DisplayKey() + ", " + driver->TypeName()));
    }
  }
  if (drivers.empty()) {
    prompts().Say("New Editor", "There are no instruments in the studio yet.");
    return;
  }
  const int chosen = prompts().Choose(prompt);
  if (chosen >= 0) OpenDriver(drivers[static_cast<std::size_t>(chosen)], false);
}

void CMainFrame::OnNewLibrary() {
  SayNoWindow("The Library window");
}

void CMainFrame::OnNewDBase() {
  SayNoWindow("The Collection window");
}

void CMainFrame::OnNewSysXMessage() {
  SayNoWindow("The SysEx message window");
}

void CMainFrame::OnFileOpen() {
  FilePrompt prompt;
  prompt.title = "Choose File to Open...";
  prompt.folder = basics_.paths().MainGetDataPath();
  prompt.patterns = FilePatterns(line6_ ? kOpenFilterLine6 : kOpenFilter);
  if (const std::string path = prompts().File(prompt); !path.empty()) OpenFile(path, 0);
}

void CMainFrame::OnFileClose() {
  if (QMdiSubWindow* window = area_->activeSubWindow()) window->close();
}

void CMainFrame::OnFileExit() {
  close();
}

void CMainFrame::OnOptionsEditorSkings() {
  SayNoWindow("The choice of editor skins");
}

// The user's list stands in the data folder and begins as a copy of the one that came with the program.
void CMainFrame::OnUpdateKeyList() {
  const std::string own = JoinPath(basics_.paths().MainGetDataPath(), kKeyFile);
  if (!FileExists(own)) {
    const std::string first = JoinPath(basics_.paths().MainGetApplicationSupportPath(), kKeyFile);
    if (const Result copied = CopyFileAtomically(first, own); !copied.ok()) {
      prompts().Say("Keywords", copied.text);
      return;
    }
  }
  const IniFile list(own);
  const int categories = std::max(0, list.GetInt("Categories", "Number"));
  int keywords = 0;
  for (int i = 0; i < std::min(categories, kMostCategories); ++i)
    keywords += std::max(0, list.GetInt(list.GetString("Categories", "Cat" + std::to_string(i)), "Number"));
  Status(tr("The list of keywords was read: %1 keywords in %2 categories.").arg(keywords).arg(categories));
}

void CMainFrame::OnOptionsReopenDesktop() {
  basics_.MainAutoSaveLoadDesktop(ActionOf(CommandId::OptionsReopenDesktop)->isChecked() ? 1 : 0);
}

void CMainFrame::OnViewControlBar() {
  const bool shown = ActionOf(CommandId::ViewControlBar)->isChecked();
  basics_.MainApplicationControlBar(shown ? 1 : 0);
  controlBar_->setVisible(shown);
}

void CMainFrame::OnViewStatusBar() {
  statusBar()->setVisible(ActionOf(CommandId::ViewStatusBar)->isChecked());
}

void CMainFrame::OnViewMidiActivity() {
  activity_->setVisible(ActionOf(CommandId::ViewMidiActivity)->isChecked());
}

void CMainFrame::OnSetList() {
  SayNoWindow("The list of Sets");
}

void CMainFrame::OnSetfilelist() {
  SayNoWindow("The list of files");
}

// The instrument of the active window, else the program's own output port and the channels of the preferences.
ToneTarget CMainFrame::TonesGoTo() const {
  if (auto* bank = qobject_cast<TZKBank*>(ActiveChild()))
    return {bank->document().synth().midiOutPort, bank->document().synth().midiChannel};
  return {std::max(0, basics_.midi().out().MainPortOut()), -1};
}

void CMainFrame::PlayNote(int number) {
  tones_->PlayNote(number, TonesGoTo());
}

void CMainFrame::OnPlayChord() {
  tones_->PlayChord(TonesGoTo());
}

void CMainFrame::OnPlaySequence() {
  tones_->PlaySequence(TonesGoTo());
}

void CMainFrame::OnPlayLastNote() {
  tones_->PlayLastNote(TonesGoTo());
}

void CMainFrame::OnUtilitiesDriverCreatorWindow() {
  SayNoWindow("The Instrument Creator");
}

void CMainFrame::OnUtilitiesFileConversionWindow() {
  SayNoWindow("The file conversion window");
}

void CMainFrame::OnUtilitiesMidiControllerWindow() {
  SayNoWindow("The MIDI controller window");
}

void CMainFrame::OnUtilitiesSequencerWindow() {
  SayNoWindow("The sequencer window");
}

void CMainFrame::OnUtilitiesRemote() {
  SayNoWindow("The remote window");
}

void CMainFrame::OnUtilitiesOsceditor() {
  SayNoWindow("The OSC editor");
}

void CMainFrame::OnWindowCascade() {
  area_->cascadeSubWindows();
}

void CMainFrame::OnWindowTile() {
  area_->tileSubWindows();
}

void CMainFrame::OnWindowTabbed() {
  ShowChildrenAsTabs(ActionOf(CommandId::WindowTabbed)->isChecked());
}

void CMainFrame::ShowChildrenAsTabs(bool tabs) {
  area_->setViewMode(tabs ? QMdiArea::TabbedView : QMdiArea::SubWindowView);
  area_->setTabsClosable(true);
  area_->setTabsMovable(true);
  area_->setDocumentMode(true);
  ActionOf(CommandId::WindowTabbed)->setChecked(tabs);
}

void CMainFrame::OnWindowNext() {
  area_->activateNextSubWindow();
}

void CMainFrame::OnWindowCloseAll() {
  area_->closeAllSubWindows();
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

}  // namespace tonalith
