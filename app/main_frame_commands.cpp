#include <QAction>
#include <QDesktopServices>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <QUrl>

#include "app/main_frame.h"
#include "app/simulation.h"
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

constexpr int kManualCommands = 10;

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

void CMainFrame::SayNoWindow(const char* what) {
  prompts().Say("Tonalith", std::string(what) + " is not part of this version of the program yet.");
}

void CMainFrame::OnNewDriverList() {
  ShowStudio();
}

void CMainFrame::OnNewGroup() {
  SayNoWindow("The Set window");
}

void CMainFrame::OnNewEditor() {
  SayNoWindow("The choice of a new editor");
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
  prompt.patterns = {"Banks, patches and SysEx (*.dat *.DAT *.syx *.SYX *.mid *.MID *.smf *.pvz)",
                     "ZK Data (*.DAT *.dat)", "ZK Compressed Module (*.pvz)", "All Files (*)"};
  if (const std::string path = prompts().File(prompt); !path.empty()) OpenFile(path, 0);
}

void CMainFrame::OnFileClose() {
  if (QMdiSubWindow* window = area_->activeSubWindow()) window->close();
}

void CMainFrame::OnDiskToInstr() {}
void CMainFrame::OnDiskDBToInstr() {}
void CMainFrame::OnMidiXToInstr() {}
void CMainFrame::OnSmfToInstr() {}
void CMainFrame::OnLoadDesktop() {}
void CMainFrame::OnSaveDesktop() {}
void CMainFrame::OnClearRecentFiles() {}

void CMainFrame::OnFileExit() {
  close();
}

void CMainFrame::OnOptionsEditorSkings() {
  SayNoWindow("The choice of editor skins");
}

void CMainFrame::OnUpdateKeyList() {}
void CMainFrame::OnOptionsReopenDesktop() {}
void CMainFrame::OnViewControlBar() {}

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

void CMainFrame::PlayNote(int number) {
  (void)number;
}
void CMainFrame::OnPlayChord() {}
void CMainFrame::OnPlaySequence() {}
void CMainFrame::OnPlayLastNote() {}

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

void CMainFrame::OnWindowTabbed() {}

void CMainFrame::OnWindowNext() {
  area_->activateNextSubWindow();
}

void CMainFrame::OnWindowCloseAll() {
  area_->closeAllSubWindows();
}

void CMainFrame::OpenManual(std::size_t number) {
  if (number >= manuals_.size()) return;
  if (!QDesktopServices::openUrl(QUrl::fromLocalFile(FromUtf8(manuals_[number]))))
    Status(tr("%1 could not be opened").arg(FromUtf8(manuals_[number])));
}

void CMainFrame::OnHelpKeys() {}
void CMainFrame::OnHelpOnline() {}
void CMainFrame::OnHelpUpdates() {}

void CMainFrame::OnAppAbout() {
  prompts().Say("About Tonalith",
                "Tonalith " TONALITH_VERSION "\nEditor and librarian for MIDI instruments\n\nInstruments: " +
                    basics_.paths().MainGetInstrPath() + "\nData: " + basics_.paths().MainGetDataPath());
}

void CMainFrame::OnHelpFirstSteps() {
  prompts().Say(
      "First Steps",
      "1. Open the studio (File, Studio) and choose a kind of data of an instrument.\n"
      "2. Get requests it from the instrument; a window shows the progress.\n"
      "3. The bank window lists the patches. F2 renames one in place.\n"
      "4. Send brings the data back into the instrument, Save keeps it as a file.\n\n"
      "The MIDI ports and numbers of an instrument are changed in the studio: click the selected entry once more.");
}

void CMainFrame::SetManuals(const std::vector<std::pair<std::string, std::string>>& manuals, bool show) {
  manuals_.clear();
  for (int i = 0; i < kManualCommands; ++i) {
    QAction* action = ActionOf(static_cast<CommandId>(static_cast<int>(CommandId::HelpManual1) + i));
    const auto number = static_cast<std::size_t>(i);
    action->setVisible(show && number < manuals.size());
    if (number >= manuals.size()) continue;
    manuals_.push_back(manuals[number].second);
    action->setText(QStringLiteral("&%1 %2").arg((i + 1) % 10).arg(FromUtf8(manuals[number].first)));
  }
  submenus_.at("&Help/&Manuals")->menuAction()->setVisible(show && !manuals_.empty());
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
