#include <QMdiArea>
#include <QMdiSubWindow>
#include <QScreen>
#include <QStatusBar>
#include <algorithm>

#include "app/main_frame.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "services/paths.h"
#include "services/window_places.h"
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
constexpr const char* kTabsKey = "Tabs";
// How much of the studio stays inside when its place lies outside.
constexpr int kInsideX = 300;
constexpr int kInsideY = 200;

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
  ShowChildrenAsTabs(ini.GetInt(kPlacesSection, kTabsKey) != 0);
}

void CMainFrame::StorePlace() {
  const QRect place = isMaximized() ? normalGeometry() : QRect(pos(), size());
  basics_.windowPlaces().Store(kFramePlace, {place.x(), place.y(), place.width(), place.height()});
  IniFile ini(basics_.paths().GetZKIni());
  ini.SetInt(kPlacesSection, kMaximizedKey, isMaximized() ? 1 : 0);
  ini.SetInt(kPlacesSection, kStatusLineKey, statusBar()->isHidden() ? 0 : 1);
  ini.SetInt(kPlacesSection, kActivityKey, activity_->isHidden() ? 0 : 1);
  ini.SetInt(kPlacesSection, kTabsKey, area_->viewMode() == QMdiArea::TabbedView ? 1 : 0);
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

}  // namespace tonalith
