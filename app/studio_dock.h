#pragma once

#include <QDockWidget>
#include <QPointer>

#include "ui/window_base.h"

class QStackedWidget;
class QToolButton;
class QVBoxLayout;

namespace tonalith {

class ZKDrvList;
class ZKStudioDoc;

// The dock at the left that holds the studio's window; small, it shows the pictures of the instruments only.  It is
// there while it holds a window.
class StudioDock final : public QDockWidget {
  Q_OBJECT

 public:
  // The studio must outlive this.
  StudioDock(ZKStudioDoc& studio, QWidget* parent);

  // Shows a window, which is the dock's until it is taken or closes.
  void Hold(ZKWindow* window);
  // The window, which goes on without the dock; null: it holds none.
  ZKWindow* Take();
  // The window closes itself.
  void Drop();
  ZKWindow* Held() const { return window_; }
  void ShowWhenUsed();

  void ShowIcons(bool icons);
  bool ShowsIcons() const { return icons_; }
  // Large enough to work in.
  void Reveal();
  // Width of the whole studio in pixels.
  int FullWidth() const { return fullWidth_; }
  void SetFullWidth(int width);
  // Instruments came, went or got other names.
  void Refresh();

 signals:
  void IconsChanged();
  // An instrument was chosen by its picture.
  void Chosen(ZKDrvList* instrument);

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;

 private:
  QWidget* BuildFull();
  QWidget* BuildIcons();
  void ApplyWidth();

  ZKStudioDoc& studio_;
  QPointer<ZKWindow> window_;
  QStackedWidget* pages_;
  QVBoxLayout* column_ = nullptr;  // of the whole studio
  QVBoxLayout* rail_ = nullptr;    // of the pictures
  bool icons_ = false;
  int fullWidth_ = 0;
};

}  // namespace tonalith
