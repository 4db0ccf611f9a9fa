#include <QFileInfo>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QScreen>
#include <QStatusBar>
#include <algorithm>

#include "app/desktop_file.h"
#include "app/main_frame.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "services/zkbasics.h"
#include "ui/midi_activity.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr int kFramePlace = 0;
constexpr const char* kPlacesSection = "Windows";
constexpr const char* kMaximizedKey = "Maximized";
constexpr const char* kStatusLineKey = "Status Line";
constexpr const char* kActivityKey = "MIDI Activity";
// How far a window of a desktop that begins outside is moved in.
constexpr int kInsideX = 300;
constexpr int kInsideY = 200;

int ToUnits(int pixels, int dpi) {
  return dpi > 0 ? pixels * 96 / dpi : pixels;
}

int ToPixels(int units, int dpi) {
  return dpi > 0 ? units * dpi / 96 : units;
}

}  // namespace

// ---- places of windows ----------------------------------------------------------------------------------------------

void CMainFrame::ReadPlace() {
  const QRect available = screen()->availableGeometry();
  const int width = fontMetrics().averageCharWidth() * 182;
  resize(QSize(width, fontMetrics().height() * 46).boundedTo(available.size() * 9 / 10));
  WindowPlace place;
  if (basics_.windowPlaces().Read(kFramePlace, place)) {
    const QRect wanted(place.left, place.top, place.width, place.height);
    // A screen that is no longer there must not hide the window.
    if (available.intersects(wanted.adjusted(40, 0, -40, -40))) {
      move(wanted.topLeft());
      resize(wanted.size().boundedTo(available.size()));
    }
  }
  const IniFile ini(basics_.paths().GetZKIni());
  if (ini.GetInt(kPlacesSection, kMaximizedKey) != 0) setWindowState(Qt::WindowMaximized);
  const bool status = ini.GetInt(kPlacesSection, kStatusLineKey, 1) != 0;
  statusBar()->setVisible(status);
  ActionOf(CommandId::ViewStatusBar)->setChecked(status);
  activity_->setVisible(ini.GetInt(kPlacesSection, kActivityKey) != 0);
}

void CMainFrame::StorePlace() {
  const QRect place = isMaximized() ? normalGeometry() : QRect(pos(), size());
  basics_.windowPlaces().Store(kFramePlace, {place.x(), place.y(), place.width(), place.height()});
  IniFile ini(basics_.paths().GetZKIni());
  ini.SetInt(kPlacesSection, kMaximizedKey, isMaximized() ? 1 : 0);
  ini.SetInt(kPlacesSection, kStatusLineKey, statusBar()->isHidden() ? 0 : 1);
  ini.SetInt(kPlacesSection, kActivityKey, activity_->isHidden() ? 0 : 1);
  if (const Result saved = ini.Save(); !saved.ok()) DebugLog("%s", saved.text.c_str());
  for (const ZKWindow* child : Children()) StoreChildPlace(child);
}

void CMainFrame::StoreChildPlace(const ZKWindow* window) {
  const QMdiSubWindow* sub = SubWindowOf(window);
  if (!sub || sub->isMaximized() || sub->isMinimized()) return;
  const QRect place = sub->geometry();
  basics_.windowPlaces().Store(static_cast<int>(window->TypeCode()),
                               {std::max(0, place.x()), std::max(0, place.y()), place.width(), place.height()});
}

// There is one studio: it comes back where it was.  Of the others the size is kept.
void CMainFrame::PlaceChild(QMdiSubWindow* sub, ZKWindow* window) {
  WindowPlace place;
  if (!basics_.windowPlaces().Read(static_cast<int>(window->TypeCode()), place)) return;
  const QSize area = area_->viewport()->size();
  sub->resize(QSize(place.width, place.height).expandedTo(sub->minimumSizeHint()).boundedTo(area));
  if (window->TypeCode() != WindowType::Studio) return;
  sub->move(std::clamp(place.left, 0, std::max(0, area.width() - kInsideX)),
            std::clamp(place.top, 0, std::max(0, area.height() - kInsideY)));
}

// ---- desktops -------------------------------------------------------------------------------------------------------

bool CMainFrame::SaveWorkspace(const std::string& path) {
  std::vector<DesktopWindow> windows;
  for (ZKWindow* child : Children()) {
    const QMdiSubWindow* sub = SubWindowOf(child);
    std::string file;
    if (const auto* bank = qobject_cast<TZKBank*>(child)) file = const_cast<TZKBank*>(bank)->document().path();
    if (child == studioWindow_) {
      file = studio_.studioFile().string();
      if (!FileExists(file)) studio_.DrvSaveSetup(0);
    }
    const QFileInfo info(FromUtf8(file));
    if (!file.empty() && !info.exists()) continue;
    const bool normal = !sub->isMaximized() && !sub->isMinimized();
    const QRect place = sub->geometry();
    DesktopWindow window;
    window.type = static_cast<int>(child->TypeCode());
    if (!file.empty()) {
      window.directory = ToUtf8(info.path());
      window.name = ToUtf8(info.fileName());
    }
    if (normal) {
      window.x = ToUnits(place.x(), logicalDpiX());
      window.y = ToUnits(place.y(), logicalDpiY());
      window.width = ToUnits(place.width(), logicalDpiX());
      window.height = ToUnits(place.height(), logicalDpiY());
    }
    windows.push_back(std::move(window));
  }
  const auto bytes = WriteDesktop(windows);
  const Result saved = WriteFileAtomically(path, std::span<const std::uint8_t>(bytes));
  if (!saved.ok()) DebugLog("%s", saved.text.c_str());
  return saved.ok();
}

bool CMainFrame::LoadWorkspace(const std::string& path) {
  std::vector<std::uint8_t> bytes;
  if (const Result read = ReadWholeFile(path, bytes); !read.ok()) {
    prompts().Say("File Error", read.text);
    return false;
  }
  const auto windows = ReadDesktop(bytes);
  if (!windows) {
    prompts().Say("File Error", path + "\n\nThis file is not a desktop of this program.");
    return false;
  }
  const auto isStudio = [](const DesktopWindow& window) { return window.type == static_cast<int>(WindowType::Studio); };
  const bool keepStudio = std::any_of(windows->begin(), windows->end(), isStudio);
  for (ZKWindow* child : Children()) {
    if (child == studioWindow_ && keepStudio) continue;
    QMdiSubWindow* sub = SubWindowOf(child);
    if (sub && !sub->close()) return false;
  }
  // The studio comes first: the data refers to its instruments.
  for (const bool studio : {true, false}) {
    for (const DesktopWindow& window : *windows) {
      if (isStudio(window) != studio || window.name.empty()) continue;
      const std::string file = window.directory + "/" + window.name;
      if (!QFileInfo::exists(FromUtf8(file))) continue;
      const bool bank = window.type == static_cast<int>(WindowType::BankEditor) ||
                        window.type == static_cast<int>(WindowType::PatchEditor);
      if (studio ? !OpenStudioFile(file) : !(bank && OpenDataFile(file))) continue;
      QMdiSubWindow* sub = area_->currentSubWindow();
      if (!sub || window.width < 1 || window.height < 1) continue;
      const QSize area = area_->viewport()->size();
      const int x = ToPixels(window.x, logicalDpiX());
      const int y = ToPixels(window.y, logicalDpiY());
      sub->resize(QSize(ToPixels(window.width, logicalDpiX()), ToPixels(window.height, logicalDpiY())).boundedTo(area));
      sub->move(x >= area.width() ? std::max(0, area.width() - kInsideX) : x,
                y >= area.height() ? std::max(0, area.height() - kInsideY) : y);
    }
  }
  return true;
}

}  // namespace tonalith
