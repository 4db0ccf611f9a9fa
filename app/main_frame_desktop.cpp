#include <QContextMenuEvent>
#include <QFileInfo>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <algorithm>

#include "app/main_frame.h"
#include "document/file_kinds.h"
#include "platform/atomic_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "services/zkbasics.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr const char* kDesktopFilter = "ZK Desktop (*.PVW)|*.PVW|";

bool IsStudio(const DesktopWindow& window) {
  return window.type == static_cast<int>(WindowType::Studio);
}

}  // namespace

// ---- saving ---------------------------------------------------------------------------------------------------------

void CMainFrame::OnSaveDesktop() {
  FilePrompt prompt;
  prompt.title = "Save Desktop As ?";
  prompt.folder = basics_.paths().MainGetDataPath();
  prompt.name = "Desktop.PVW";
  prompt.patterns = FilePatterns(kDesktopFilter);
  prompt.save = true;
  const std::string path = prompts().File(prompt);
  if (path.empty()) return;
  if (SaveWorkspace(path)) {
    Status(tr("The desktop was saved as %1.").arg(FromUtf8(path)));
  } else {
    prompts().Say("Desktop", "The desktop could not be saved as " + path + ".");
  }
}

bool CMainFrame::SaveWorkspace(const std::string& path) {
  const auto bytes = WriteDesktop(SaveDeskTopWindow());
  const Result saved = WriteFileAtomically(path, std::span<const std::uint8_t>(bytes));
  if (!saved.ok()) DebugLog("%s", saved.text.c_str());
  return saved.ok();
}

std::vector<DesktopWindow> CMainFrame::SaveDeskTopWindow() {
  std::vector<DesktopWindow> windows;
  for (const ZKWindow* child : Children()) {
    DesktopWindow window;
    if (SaveEachWindow(child, &window)) windows.push_back(std::move(window));
  }
  return windows;
}

bool CMainFrame::SaveEachWindow(const ZKWindow* child, DesktopWindow* window) {
  std::string file = child->FilePath();
  if (child == studioWindow_) {
    file = studio_.studioFile().string();
    if (!FileExists(file)) studio_.DrvSaveSetup(0);
  }
  window->type = static_cast<int>(child->TypeCode());
  if (!file.empty()) {
    const QFileInfo info(FromUtf8(file));
    window->directory = ToUtf8(info.absolutePath());
    window->name = ToUtf8(info.fileName());
    if (window->directory.empty() != window->name.empty() || !info.exists()) return false;
  }
  if (!FitsDesktop(*window)) return false;
  const QMdiSubWindow* sub = SubWindowOf(child);
  if (!sub || sub->isMaximized() || sub->isMinimized()) return true;
  const QRect place = sub->geometry();
  window->x = DesktopUnits(place.x(), logicalDpiX());
  window->y = DesktopUnits(place.y(), logicalDpiY());
  window->width = DesktopUnits(place.width(), logicalDpiX());
  window->height = DesktopUnits(place.height(), logicalDpiY());
  return true;
}

// ---- loading --------------------------------------------------------------------------------------------------------

void CMainFrame::OnLoadDesktop() {
  FilePrompt prompt;
  prompt.title = "Choose File to Open...";
  prompt.folder = basics_.paths().MainGetDataPath();
  prompt.patterns = FilePatterns(kDesktopFilter);
  if (const std::string path = prompts().File(prompt); !path.empty()) OpenFile(path, 0);
}

bool CMainFrame::VerifyCloseAll() {
  const auto children = Children();
  return std::all_of(children.begin(), children.end(), [](ZKWindow* child) { return child->VerifyClose(); });
}

// A desktop may come from anywhere: it only opens windows, and a file only in the window of its kind.
bool CMainFrame::LoadWorkspace(const std::string& path) {
  std::vector<DesktopWindow> windows;
  if (const Result read = ReadDesktopFile(path, &windows); !read.ok()) {
    prompts().Say("File Error", read.text);
    return false;
  }
  if (!VerifyCloseAll()) return false;
  const bool keepStudio = std::any_of(windows.begin(), windows.end(), IsStudio);
  for (ZKWindow* child : Children()) {
    if (child != studioWindow_ || !keepStudio) child->CloseVerified();
  }
  int left = 0;
  // The studio comes first: the data refers to its instruments.
  for (const bool studio : {true, false}) {
    for (const DesktopWindow& window : windows) {
      if (IsStudio(window) != studio) continue;
      if (ZKWindow* child = OpenDesktopWindow(window)) {
        PlaceDesktopWindow(child, window);
      } else if (!OpensItsFile(window.type) || !window.FilePath().empty()) {
        ++left;  // data that was never saved is not missed
      }
    }
  }
  if (left > 0) Status(tr("Windows of the desktop that could not be opened: %1.").arg(left));
  return true;
}

ZKWindow* CMainFrame::OpenDesktopWindow(const DesktopWindow& window) {
  const std::string file = window.FilePath();
  if (OpensItsFile(window.type)) {
    const auto found = FindPath("/", file, PathTrust::Trusted);
    if (file.empty() || !found) return nullptr;
    const FileKind kind = KindOfFile(FileNameOf(*found));
    if (IsStudio(window)) {
      WindowPlace place{DesktopPixels(window.x, logicalDpiX()), DesktopPixels(window.y, logicalDpiY()),
                        DesktopPixels(window.width, logicalDpiX()), DesktopPixels(window.height, logicalDpiY())};
      basics_.MainGetLeftTop(0, window.type, place);
      return kind == FileKind::Studio && OpenFile(*found, kOpenInDesktop) ? studioWindow_.data() : nullptr;
    }
    const bool isData = kind == FileKind::Set || kind == FileKind::Collection || kind == FileKind::Library ||
                        kind == FileKind::Data || kind == FileKind::SysEx;
    return isData && OpenFile(*found, kOpenInDesktop) ? ActiveChild() : nullptr;
  }
  switch (static_cast<WindowType>(window.type)) {
    case WindowType::Monitor:
      OnUtilitiesMidiMonitorWindow();
      break;
    case WindowType::GraphicMonitor:
      OnMidiMonitorGraphic();
      break;
    default:
      return nullptr;  // no such window in this version
  }
  ZKWindow* child = ActiveChild();
  return child && static_cast<int>(child->TypeCode()) == window.type ? child : nullptr;
}

void CMainFrame::PlaceDesktopWindow(ZKWindow* child, const DesktopWindow& window) {
  QMdiSubWindow* sub = SubWindowOf(child);
  if (!sub) return;
  const QSize area = area_->viewport()->size();
  const DesktopRect place =
      ClampedToArea({DesktopPixels(window.x, logicalDpiX()), DesktopPixels(window.y, logicalDpiY()),
                     DesktopPixels(window.width, logicalDpiX()), DesktopPixels(window.height, logicalDpiY())},
                    area.width(), area.height());
  if (window.width < 1 || window.height < 1) return;
  sub->resize(place.width, place.height);
  sub->move(place.x, place.y);
}

// ---- the menu on the background -------------------------------------------------------------------------------------

void CMainFrame::ShowDesktopMenu(const QPoint& at) {
  if (area_->viewport()->childAt(at)) return;
  QMenu menu(this);
  desktops_.Build();
  BuildSubMenu(&menu, desktops_.root());
  if (menu.isEmpty()) menu.addAction(tr("No saved desktops"))->setEnabled(false);
  menu.addSeparator();
  menu.addAction(ActionOf(CommandId::FileSaveDesktop));
  const QAction* chosen = menu.exec(area_->viewport()->mapToGlobal(at));
  if (chosen && chosen->data().isValid()) RunDesktopCommand(chosen->data().toInt());
}

void CMainFrame::RunDesktopCommand(int number) {
  if (number < kFirstDesktopCommand || number > kLastDesktopCommand) return;
  const DiskStructure::Node* node = desktops_.FindId(number);
  if (node && !node->isFolder) OpenFile(node->path, 0);
}

}  // namespace tonalith
