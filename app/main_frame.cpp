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

#include "app/audition_tones.h"
#include "app/control_bar.h"
#include "app/manual_dump_receiver.h"
#include "app/midi_panic.h"
#include "app/simulation.h"
#include "midi/port_system.h"
#include "platform/clock.h"
#include "platform/prompts.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/settings.h"
#include "services/window_counters.h"
#include "services/zkbasics.h"
#include "tools/monitor_registry.h"
#include "ui/midi_activity.h"
#include "ui/qt_text.h"

namespace tonalith {

CMainFrame::CMainFrame(ZKBasics& basics, ZKStudioDoc& studio, StudioPorts& ports, Simulation* simulation)
    : basics_(basics),
      studio_(studio),
      ports_(ports),
      simulation_(simulation),
      monitors_(ZKMonInitialize(basics.in(), basics.out(), basics.clock())),
      jobs_(basics.clock(), 1),
      area_(new QMdiArea(this)),
      sendingTimer_(new QTimer(this)),
      desktops_(basics.paths().MainGetDataPath(), kFirstDesktopCommand),
      panic_(new MidiPanic(basics.midi().out(), this)),
      tones_(new AuditionTones(basics.midi().out(), basics.settings(), this)),
      controlBar_(new ZKControlBar(basics.paths().MainGetResourcePath(), this)) {
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
  controlBar_->MoveToCorner(this, basics_.MainToolbarCorner(-1));
  SetupURLs();
  BuildMenus();
  connect(controlBar_->icons(), &TZKIconBar2::Command, this,
          [this](int command) { RunCommand(static_cast<CommandId>(command)); });
  connect(panic_, &MidiPanic::Ended, this, [this](bool complete) {
    Status(complete ? tr("Every note was switched off.") : tr("Switching off every note was cancelled."));
  });
  area_->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(area_, &QMdiArea::customContextMenuRequested, this, &CMainFrame::ShowDesktopMenu);
  connect(area_, &QMdiArea::subWindowActivated, this, [this] { UpdateCommands(); });
  ConnectStudio();
  studio_.SetChangeSink([this] {
    if (studioWindow_) studioWindow_->Refresh();
    TellMonitorsOfStudio();
  });
  connect(sendingTimer_, &QTimer::timeout, this, &CMainFrame::WatchSending);
  portListener_ = basics_.AddPortListener([this](int changes) { PortsChanged(changes); });
  UpdateAppTitleBar();
  manualDumps_ = new ManualDumpReceiver(*this, basics_, studio_);
  ReadPlace();
}

CMainFrame::~CMainFrame() {
  receiver_.Forget();
  delete manualDumps_;
  sendingTimer_->stop();
  panic_->Cancel();
  tones_->Stop();
  // The windows inside go while there is still somebody to ask; none of their signals must reach a half-gone frame.
  for (ZKWindow* child : Children()) disconnect(child, nullptr, this, nullptr);
  disconnect(area_, nullptr, this, nullptr);
  disconnect(activity_, nullptr, this, nullptr);
  hide();
  delete takeCentralWidget();
  basics_.RemovePortListener(portListener_);
  studio_.SetChangeSink({});
  studio_.SetCloseHook({});
  studio_.SetAutoSenseHook({});
  jobs_.StopAll();
}

Prompts& CMainFrame::prompts() {
  return basics_.prompts();
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
  basics_.program().windowCounters().Count(window->TypeCode());
  window->setAttribute(Qt::WA_DeleteOnClose);
  const QSize size = window->size();
  QMdiSubWindow* sub = area_->addSubWindow(window);
  const QSize frame = sub->size() - sub->contentsRect().size();
  sub->resize((size + frame).boundedTo(area_->viewport()->size()));
  PlaceChild(sub, window);
  sub->setAttribute(Qt::WA_DeleteOnClose);
  connect(window, &ZKWindow::StateChanged, this, &CMainFrame::UpdateCommands);
  connect(window, &ZKWindow::StatusMessage, this, &CMainFrame::Status);
  connect(window, &ZKWindow::Closing, this, [this, window] {
    StoreChildPlace(window);
    if (window == studioWindow_) studioWindow_.clear();
  });
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
  TellMonitorsOfPorts(changes);
  if (studioWindow_) studioWindow_->Refresh();
  if (changes != 0)
    Status((changes & kPortsRemoved) != 0 ? tr("A MIDI port went away.") : tr("A MIDI port was added."));
  UpdateCommands();
}

}  // namespace tonalith
