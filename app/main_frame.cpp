#include "app/main_frame.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QMenuBar>
#include <QMimeData>
#include <QScreen>
#include <QStatusBar>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/control_bar.h"
#include "app/frame_parts.h"
#include "app/studio_dock.h"
#include "app/workspace.h"
#include "midi/port_system.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/short_memory.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/program_midi.h"
#include "services/settings.h"
#include "services/transfer_desk.h"
#include "services/window_counters.h"
#include "services/window_places.h"
#include "ui/midi_activity.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr int kFramePlace = 0;
constexpr const char* kPlacesSection = "Windows";
constexpr const char* kMaximizedKey = "Maximized";
constexpr const char* kStatusLineKey = "Status Line";
constexpr const char* kActivityKey = "MIDI Activity";

}  // namespace

CMainFrame::CMainFrame(Program& program, ZKStudioDoc& studio, StudioPorts& ports, Simulation* simulation)
    : program_(program),
      simulation_(simulation),
      workspace_(new Workspace(program, studio, this)),
      windows_(&workspace_->windows()),
      menus_(new CommandMenus(menuBar(), this, [this] { return windows_->Active(); })),
      controlBar_(new ZKControlBar(program.paths().MainGetResourcePath(), this)),
      activity_(new MidiActivityDock(program.midi(), this)) {
  setObjectName(QStringLiteral("CMainFrame"));
  setAcceptDrops(true);
  BuildBars();
  activity_->SetTransferLine([&desk = program.midiSide().desk()] { return desk.totals().Text(); });
  RegisterViewCommands();
  workspace_->Register(*menus_);
  menus_->SetShortMemory([&program] { program.prompts().Say("Tonalith", kShortMemory); });
  parts_ = std::make_unique<FrameParts>(
      FrameContext{*this, program, studio, ports, simulation, *menus_, *windows_, workspace_->strip()});
  connect(windows_, &ChildWindows::Changed, menus_, &CommandMenus::Update);
  connect(windows_, &ChildWindows::StatusMessage, statusBar(),
          [this](const QString& text) { ShowStatus(statusBar(), text); });
  connect(&workspace_->dock(), &StudioDock::Chosen, this,
          [this](const ZKDrvList* instrument) { parts_->studio.Show()->SelectInstrument(instrument); });
  connect(&parts_->studio, &StudioCommands::Edited, &workspace_->dock(), &StudioDock::Refresh);
  connect(menus_, &CommandMenus::Updated, this, &CMainFrame::UpdateBars);
  portListener_ = program_.midiSide().AddPortListener([this](int changes) { PortsChanged(changes); });
  UpdateAppTitleBar();
  ReadPlace();
  menus_->Update();
}

CMainFrame::~CMainFrame() {
  program_.midiSide().RemovePortListener(portListener_);
  // The windows inside go while there is still somebody to ask; none of their signals must reach a half-gone frame.
  disconnect(windows_, nullptr, nullptr, nullptr);
  disconnect(menus_, nullptr, this, nullptr);
  disconnect(activity_, nullptr, this, nullptr);
  hide();
  takeCentralWidget();
  windows_->DeleteAll();
}

// ---- menus and bars -------------------------------------------------------------------------------------------------

void CMainFrame::BuildBars() {
  SetGround(menuBar(), Shade::Surface);
  addDockWidget(Qt::RightDockWidgetArea, activity_);
  activity_->hide();
  connect(controlBar_->icons(), &TZKIconBar2::Command, this,
          [this](int command) { RunCommand(static_cast<CommandId>(command)); });
  connect(activity_, &QDockWidget::visibilityChanged, menus_, &CommandMenus::Update);
}

void CMainFrame::RegisterViewCommands() {
  menus_->Register(
      CommandId::ViewStatusBar,
      {[this] { statusBar()->setVisible(statusBar()->isHidden()); }, {}, [this] { return !statusBar()->isHidden(); }});
  menus_->Register(
      CommandId::ViewMidiActivity,
      {[this] { activity_->setVisible(activity_->isHidden()); }, {}, [this] { return !activity_->isHidden(); }});
}

void CMainFrame::UpdateBars() {
  for (const ControlBarSlot& slot : ControlBarSlots()) {
    const QAction* action = ActionOf(static_cast<CommandId>(slot.command));
    if (action) controlBar_->icons()->EnableButton(slot.command, action->isEnabled());
  }
  workspace_->PortsChanged();
  controlBar_->MoveToCorner(this, program_.settings().MainToolbarCorner(-1));
  controlBar_->setVisible(program_.settings().MainApplicationControlBar(-1) != 0);
}

void CMainFrame::RunCommand(CommandId command) {
  menus_->Run(command);
}

QAction* CMainFrame::ActionOf(CommandId command) const {
  return menus_->ActionOf(command);
}

void CMainFrame::RemoveMenuActions(const std::vector<std::string>& names) {
  menus_->RemoveMenuActions(names);
}

void CMainFrame::SetManuals(const std::vector<std::pair<std::string, std::string>>& manuals, bool show) {
  parts_->help.SetManuals(manuals, show);
}

void CMainFrame::LoadRecentFiles(int entries) {
  parts_->recent.Load(entries);
}

void CMainFrame::UpdateAppTitleBar() {
  SetTitle(this, simulation_ ? tr("Simulated instruments - Tonalith") : QStringLiteral("Tonalith"));
}

// ---- child windows --------------------------------------------------------------------------------------------------

ChildWindows& CMainFrame::windows() {
  return *windows_;
}

ZKWindow* CMainFrame::ActiveChild() const {
  return windows_->Active();
}

std::vector<ZKWindow*> CMainFrame::Children() const {
  return windows_->All();
}

void CMainFrame::dragEnterEvent(QDragEnterEvent* event) {
  // Files that a window of the program offers are for other programs.
  if (event->mimeData()->hasUrls() && !event->source()) event->acceptProposedAction();
}

void CMainFrame::dropEvent(QDropEvent* event) {
  parts_->files.OpenDropped(*event->mimeData());
  event->acceptProposedAction();
}

// ---- ports ----------------------------------------------------------------------------------------------------------

void CMainFrame::AskForPorts() {
  parts_->midi.AskForPorts();
}

void CMainFrame::PortsChanged(int changes) {
  parts_->studio.PortsChanged(changes);
  activity_->Rebuild();
  if (changes != 0) {
    ShowStatus(statusBar(),
               (changes & kPortsRemoved) != 0 ? tr("A MIDI port went away.") : tr("A MIDI port was added."));
  }
  menus_->Update();
}

// ---- its place, and its end -----------------------------------------------------------------------------------------

void CMainFrame::ReadPlace() {
  const QRect available = screen()->availableGeometry();
  const int width = fontMetrics().averageCharWidth() * 182;
  resize(QSize(width, fontMetrics().height() * 46).boundedTo(available.size() * 9 / 10));
  WindowPlace place;
  if (program_.windowPlaces().Read(kFramePlace, place)) {
    const QRect wanted(place.left, place.top, place.width, place.height);
    // A screen that is no longer there must not hide the window.
    if (available.intersects(wanted.adjusted(40, 0, -40, -40))) {
      move(wanted.topLeft());
      resize(wanted.size().boundedTo(available.size()));
    }
  }
  const IniFile ini(program_.paths().GetZKIni());
  if (ini.GetInt(kPlacesSection, kMaximizedKey) != 0) setWindowState(Qt::WindowMaximized);
  statusBar()->setVisible(ini.GetInt(kPlacesSection, kStatusLineKey, 1) != 0);
  activity_->setVisible(ini.GetInt(kPlacesSection, kActivityKey) != 0);
  workspace_->Read(ini);
  parts_->studio.ReadView(ini);
}

void CMainFrame::StorePlace() {
  const QRect place = isMaximized() ? normalGeometry() : QRect(pos(), size());
  program_.windowPlaces().Store(kFramePlace, {place.x(), place.y(), place.width(), place.height()});
  IniFile ini(program_.paths().GetZKIni());
  ini.SetInt(kPlacesSection, kMaximizedKey, isMaximized() ? 1 : 0);
  ini.SetInt(kPlacesSection, kStatusLineKey, statusBar()->isHidden() ? 0 : 1);
  ini.SetInt(kPlacesSection, kActivityKey, activity_->isHidden() ? 0 : 1);
  workspace_->Store(&ini);
  parts_->studio.StoreView(&ini);
  if (const Result saved = ini.Save(); !saved.ok()) DebugLog("%s", saved.text.c_str());
  windows_->StorePlaces();
}

void CMainFrame::SetQuitting() {
  parts_->quit.SetQuitting();
}

void CMainFrame::closeEvent(QCloseEvent* event) {
  if (!parts_->quit.Close()) {
    event->ignore();
    return;
  }
  StorePlace();
  event->accept();
  QApplication::quit();
}

}  // namespace tonalith
