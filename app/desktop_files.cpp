#include "app/desktop_files.h"

#include <QFileInfo>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <algorithm>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/file_opening.h"
#include "document/file_kinds.h"
#include "platform/atomic_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/window_places.h"
#include "studio/studio_document.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

constexpr const char* kDesktopFilter = "ZK Desktop (*.PVW)|*.PVW|";

bool IsStudio(const DesktopWindow& window) {
  return window.type == static_cast<int>(WindowType::Studio);
}

}  // namespace

DesktopFiles::DesktopFiles(const FrameContext& frame, FileOpening& files)
    : frame_(frame), files_(files), desktops_(frame.program.paths().MainGetDataPath(), kFirstDesktopCommand) {
  frame_.menus.Register(CommandId::FileLoadDesktop, {[this] { OnLoadDesktop(); }});
  frame_.menus.Register(CommandId::FileSaveDesktop, {[this] { OnSaveDesktop(); }});
  QMdiArea* area = frame_.children.area();
  area->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(area, &QMdiArea::customContextMenuRequested, this, &DesktopFiles::ShowDesktopMenu);
}

// ---- saving ---------------------------------------------------------------------------------------------------------

void DesktopFiles::OnSaveDesktop() {
  FilePrompt prompt;
  prompt.title = "Save Desktop As ?";
  prompt.folder = frame_.program.paths().MainGetDataPath();
  prompt.name = "Desktop.PVW";
  prompt.patterns = FilePatterns(kDesktopFilter);
  prompt.save = true;
  const std::string path = frame_.prompts().File(prompt);
  if (path.empty()) return;
  if (SaveWorkspace(path)) {
    frame_.Status(tr("The desktop was saved as %1.").arg(ShownUtf8(path)));
  } else {
    frame_.prompts().Say("Desktop", "The desktop could not be saved as " + path + ".");
  }
}

bool DesktopFiles::SaveWorkspace(const std::string& path) {
  const auto bytes = WriteDesktop(SaveDeskTopWindow());
  const Result saved = WriteFileAtomically(path, std::span<const std::uint8_t>(bytes));
  if (!saved.ok()) DebugLog("%s", saved.text.c_str());
  return saved.ok();
}

std::vector<DesktopWindow> DesktopFiles::SaveDeskTopWindow() {
  std::vector<DesktopWindow> windows;
  for (const ZKWindow* child : frame_.children.All()) {
    DesktopWindow window;
    if (SaveEachWindow(child, &window)) windows.push_back(std::move(window));
  }
  return windows;
}

bool DesktopFiles::SaveEachWindow(const ZKWindow* child, DesktopWindow* window) {
  std::string file = child->FilePath();
  if (child->TypeCode() == WindowType::Studio) {
    file = frame_.studio.studioFile().string();
    if (!FileExists(file)) frame_.studio.DrvSaveSetup(0);
  }
  window->type = static_cast<int>(child->TypeCode());
  if (!file.empty()) {
    const QFileInfo info(FromUtf8(file));
    window->directory = ToUtf8(info.absolutePath());
    window->name = ToUtf8(info.fileName());
    if (window->directory.empty() != window->name.empty() || !info.exists()) return false;
  }
  if (!FitsDesktop(*window)) return false;
  const QMdiSubWindow* sub = frame_.children.SubWindowOf(child);
  if (!sub || sub->isMaximized() || sub->isMinimized()) return true;
  const QRect place = sub->geometry();
  window->x = DesktopUnits(place.x(), frame_.window.logicalDpiX());
  window->y = DesktopUnits(place.y(), frame_.window.logicalDpiY());
  window->width = DesktopUnits(place.width(), frame_.window.logicalDpiX());
  window->height = DesktopUnits(place.height(), frame_.window.logicalDpiY());
  return true;
}

// ---- loading --------------------------------------------------------------------------------------------------------

void DesktopFiles::OnLoadDesktop() {
  FilePrompt prompt;
  prompt.title = "Choose File to Open...";
  prompt.folder = frame_.program.paths().MainGetDataPath();
  prompt.patterns = FilePatterns(kDesktopFilter);
  if (const std::string path = frame_.prompts().File(prompt); !path.empty()) files_.OpenFile(path, 0);
}

// `studio`: its window stays.
bool DesktopFiles::CloseAllBut(bool studio) {
  if (!frame_.children.VerifyCloseAll()) return false;
  frame_.children.ForEach([studio](ZKWindow& child) {
    if (!studio || child.TypeCode() != WindowType::Studio) child.CloseVerified();
  });
  return true;
}

// A desktop may come from anywhere: it only opens windows, and a file only in the window of its kind.
bool DesktopFiles::LoadWorkspace(const std::string& path) {
  std::vector<DesktopWindow> windows;
  if (const Result read = ReadDesktopFile(path, &windows); !read.ok()) {
    frame_.prompts().Say("File Error", read.text);
    return false;
  }
  if (!CloseAllBut(std::any_of(windows.begin(), windows.end(), IsStudio))) return false;
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
  if (left > 0) frame_.Status(tr("Windows of the desktop that could not be opened: %1.").arg(left));
  return true;
}

ZKWindow* DesktopFiles::OpenDesktopWindow(const DesktopWindow& window) {
  const auto type = static_cast<WindowType>(window.type);
  if (!OpensItsFile(window.type)) {
    const auto open = openers_.find(type);
    return open == openers_.end() ? nullptr : open->second();
  }
  const std::string file = window.FilePath();
  const auto found = FindPath("/", file, PathTrust::Trusted);
  if (file.empty() || !found) return nullptr;
  if (IsStudio(window)) return OpenStudio(window, *found);
  return files_.IsDocument(*found) && files_.OpenFile(*found, kOpenInDesktop) ? frame_.children.Active() : nullptr;
}

ZKWindow* DesktopFiles::OpenStudio(const DesktopWindow& window, const std::string& path) {
  const DesktopRect pixels = Pixels(window);
  WindowPlace place{pixels.x, pixels.y, pixels.width, pixels.height};
  frame_.program.windowPlaces().MainGetLeftTop(0, window.type, place);
  if (KindOfFile(FileNameOf(path)) != FileKind::Studio || !files_.OpenFile(path, kOpenInDesktop)) return nullptr;
  return frame_.children.FirstThat([](ZKWindow& child) { return child.TypeCode() == WindowType::Studio; });
}

DesktopRect DesktopFiles::Pixels(const DesktopWindow& window) const {
  const int dpiX = frame_.window.logicalDpiX();
  const int dpiY = frame_.window.logicalDpiY();
  return {DesktopPixels(window.x, dpiX), DesktopPixels(window.y, dpiY), DesktopPixels(window.width, dpiX),
          DesktopPixels(window.height, dpiY)};
}

void DesktopFiles::PlaceDesktopWindow(ZKWindow* child, const DesktopWindow& window) {
  QMdiSubWindow* sub = frame_.children.SubWindowOf(child);
  if (!sub || window.width < 1 || window.height < 1) return;
  const QSize area = frame_.children.area()->viewport()->size();
  const DesktopRect place = ClampedToArea(Pixels(window), area.width(), area.height());
  sub->resize(place.width, place.height);
  sub->move(place.x, place.y);
}

// ---- the menu on the background -------------------------------------------------------------------------------------

void DesktopFiles::ShowDesktopMenu(const QPoint& at) {
  QWidget* background = frame_.children.area()->viewport();
  if (background->childAt(at)) return;
  QMenu menu(&frame_.window);
  desktops_.Build();
  BuildSubMenu(&menu, desktops_.root());
  if (menu.isEmpty()) menu.addAction(tr("No saved desktops"))->setEnabled(false);
  menu.addSeparator();
  menu.addAction(frame_.menus.ActionOf(CommandId::FileSaveDesktop));
  const QAction* chosen = menu.exec(background->mapToGlobal(at));
  if (chosen && chosen->data().isValid()) RunDesktopCommand(chosen->data().toInt());
}

void DesktopFiles::RunDesktopCommand(int number) {
  if (number < kFirstDesktopCommand || number > kLastDesktopCommand) return;
  const DiskStructure::Node* node = desktops_.FindId(number);
  if (node && !node->isFolder) files_.OpenFile(node->path, 0);
}

}  // namespace tonalith
