#include "app/workspace.h"

#include <QAction>
#include <QApplication>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <QToolBar>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/find_field.h"
#include "app/inspector_dock.h"
#include "app/midi_lights.h"
#include "app/studio_dock.h"
#include "app/transfer_strip.h"
#include "midi/port_system.h"
#include "platform/ini_file.h"
#include "services/program.h"
#include "ui/inspector_pane.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/empty_state.h"
#include "ui/style/search_field.h"

namespace tonalith {

namespace {

constexpr const char* kSection = "Windows";
constexpr const char* kFreeKey = "Free Windows";
constexpr const char* kStudioIconsKey = "Studio as Icons";
constexpr const char* kStudioWidthKey = "Studio Width";
constexpr const char* kInspectorKey = "Inspector";
constexpr const char* kInspectorWidthKey = "Inspector Width";
constexpr const char* kInspectorHiddenKey = "Inspector Hidden Sections";
constexpr QLatin1Char kBetweenTitles('|');

}  // namespace

Workspace::Workspace(Program& program, ZKStudioDoc& studio, QMainWindow* frame)
    : QObject(frame),
      frame_(frame),
      dock_(new StudioDock(studio, frame)),
      windows_(new ChildWindows(program.windowPlaces(), program.windowCounters(), *dock_, frame)),
      inspector_(new InspectorDock(frame)),
      strip_(new TransferStrip(program.clock(), frame)),
      lights_(new MidiLights(program.midi(), frame)) {
  frame->setCentralWidget(windows_->centre());
  frame->addDockWidget(Qt::LeftDockWidgetArea, dock_);
  frame->addDockWidget(Qt::RightDockWidgetArea, inspector_);
  frame->setDockOptions(QMainWindow::AnimatedDocks);
  BuildStrip();
  frame->statusBar()->addPermanentWidget(lights_);
  frame->statusBar()->setSizeGripEnabled(false);
}

Workspace::~Workspace() = default;

// A bar at the bottom lies below the docks, over the whole width.
void Workspace::BuildStrip() {
  auto* bar = new QToolBar(tr("Transfers"), frame_);
  bar->setFloatable(false);
  bar->setObjectName(QStringLiteral("TransferBar"));
  bar->setMovable(false);
  bar->setContentsMargins(0, 0, 0, 0);
  bar->toggleViewAction()->setVisible(false);
  strip_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  bar->addWidget(strip_);
  frame_->addToolBar(Qt::BottomToolBarArea, bar);
  bar->hide();
  connect(strip_, &TransferStrip::Shown, bar, &QWidget::setVisible);
}

void Workspace::Register(CommandMenus& menus) {
  BuildEmptyPage(menus);
  BuildFindField(menus);
  BuildInspector(menus);
  RegisterWindowCommands(menus);
  menus.Register(CommandId::ViewStudioIcons,
                 {[this] { dock_->ShowIcons(!dock_->ShowsIcons()); },
                  [this] { return dock_->Held() ? QString() : tr("The studio is not open."); },
                  [this] { return dock_->ShowsIcons(); }});
  menus.Register(CommandId::ViewFreeWindows,
                 {[this] { windows_->ShowFree(!windows_->AreFree()); }, {}, [this] { return windows_->AreFree(); }});
  connect(dock_, &StudioDock::IconsChanged, &menus, &CommandMenus::Update);
}

void Workspace::RegisterWindowCommands(CommandMenus& menus) {
  const auto any = [this] { return windows_->Empty() ? tr("No window is open.") : QString(); };
  const auto free = [this, any] { return windows_->AreFree() ? any() : tr("The windows are shown as tabs."); };
  const auto split = [this] {
    if (windows_->AreFree()) return tr("The windows are shown as free windows.");
    return windows_->CanSplit() ? QString() : tr("There is only one tab here, or no room for another pane.");
  };
  const auto search = [this] {
    const ZKWindow* window = windows_->Active();
    SearchField* field = window ? window->Search() : nullptr;
    return field && field->isEnabled() ? field : nullptr;
  };
  menus.Register(CommandId::EditFind,
                 {[this, search] {
                    if (SearchField* field = search()) field->Begin();
                  },
                  [this, search] { return search() ? QString() : tr("There is nothing to search here."); }});
  menus.Register(CommandId::WindowCascade, {[this] { windows_->Cascade(); }, free});
  menus.Register(CommandId::WindowTile, {[this] { windows_->Tile(); }, free});
  menus.Register(CommandId::WindowSplitRight, {[this] { windows_->Split(true); }, split});
  menus.Register(CommandId::WindowSplitDown, {[this] { windows_->Split(false); }, split});
  menus.Register(CommandId::WindowNext, {[this] { windows_->Next(); }, any});
  menus.Register(CommandId::WindowCloseAll, {[this] { windows_->CloseAll(); }, any});
  QMenu* menu = menus.Menu(MenuId::Window);
  connect(menu, &QMenu::aboutToShow, windows_, [this, menu] { windows_->ListIn(menu); });
}

void Workspace::BuildEmptyPage(CommandMenus& menus) {
  auto* page = new EmptyState(Glyph::Bank, tr("Nothing is open"),
                              tr("Get the sounds of an instrument: choose a kind of data in the studio and press Get. "
                                 "Or open a file you have."),
                              windows_->centre());
  page->AddButton(tr("Open a File..."), [&menus] { menus.Run(CommandId::FileOpen); });
  page->AddButton(tr("Show the Studio"), [&menus] { menus.Run(CommandId::FileNewStudio); });
  windows_->SetEmptyPage(page);
}

void Workspace::BuildInspector(CommandMenus& menus) {
  const auto toggle = [this] {
    const bool had = inspector_->isAncestorOf(QApplication::focusWidget());
    inspector_->setVisible(inspector_->isHidden());
    if (had && inspector_->isHidden() && windows_->Active()) windows_->Activate(windows_->Active());
  };
  menus.Register(CommandId::ViewInspector, {toggle, {}, [this] { return !inspector_->isHidden(); }});
  connect(inspector_, &InspectorDock::CloseWanted, this, [&menus] { menus.Run(CommandId::ViewInspector); });
  connect(inspector_, &InspectorDock::StatusMessage, windows_, &ChildWindows::StatusMessage);
  connect(windows_, &ChildWindows::Changed, inspector_, [this] { inspector_->SetWindow(windows_->Active()); });
}

void Workspace::BuildFindField(CommandMenus& menus) {
  if (QAction* find = menus.ActionOf(CommandId::ViewFind))
    frame_->menuBar()->setCornerWidget(new FindField(find, frame_->menuBar()));
}

void Workspace::PortsChanged() {
  lights_->Refresh();
}

// ---- how it was left ------------------------------------------------------------------------------------------------

void Workspace::Read(const IniFile& ini) {
  if (const int width = ini.GetInt(kSection, kStudioWidthKey); width > 0) dock_->SetFullWidth(width);
  dock_->ShowIcons(ini.GetInt(kSection, kStudioIconsKey) != 0);
  if (const int width = ini.GetInt(kSection, kInspectorWidthKey); width > 0) inspector_->SetFullWidth(width);
  const QString hidden = ShownUtf8(ini.GetString(kSection, kInspectorHiddenKey));
  if (!hidden.isEmpty()) inspector_->pane()->SetHiddenSections(hidden.split(kBetweenTitles));
  inspector_->setVisible(ini.GetInt(kSection, kInspectorKey) != 0);
  windows_->ShowFree(ini.GetInt(kSection, kFreeKey) != 0);
}

void Workspace::Store(IniFile* ini) const {
  ini->SetInt(kSection, kStudioWidthKey, dock_->FullWidth());
  ini->SetInt(kSection, kStudioIconsKey, dock_->ShowsIcons() ? 1 : 0);
  ini->SetInt(kSection, kInspectorKey, inspector_->isHidden() ? 0 : 1);
  ini->SetInt(kSection, kInspectorWidthKey, inspector_->FullWidth());
  ini->Set(kSection, kInspectorHiddenKey, ToUtf8(inspector_->pane()->HiddenSections().join(kBetweenTitles)));
  ini->SetInt(kSection, kFreeKey, windows_->AreFree() ? 1 : 0);
}

}  // namespace tonalith
