#pragma once

#include <QMdiArea>
#include <QMdiSubWindow>
#include <optional>
#include <vector>

namespace tonalith {

class WindowPlaces;
class ZKWindow;

// Windows as movable ones inside an area.  The size of a kind is the one the user gave a window of it: neither what
// Cascade, Tile and desktops made nor what is too small to work in is remembered.
class FreeWindows final : public QMdiArea {
  Q_OBJECT

 public:
  // `places` must outlive this.
  explicit FreeWindows(WindowPlaces& places, QWidget* parent = nullptr);

  // At the place of its kind.
  void Add(ZKWindow* window);
  // The window leaves and goes on without the area.
  void Take(ZKWindow* window);
  void Show(ZKWindow* window);
  ZKWindow* Current() const;

  void Cascade();
  void Tile();
  void StorePlace(const ZKWindow* window) const;
  // Where a window stands; none: it fills the area or is a title only.
  std::optional<QRect> PlaceOf(const ZKWindow* window) const;
  void Move(const ZKWindow* window, const QRect& place);

 signals:
  void Shown(ZKWindow* window);

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  QMdiSubWindow* FrameOf(const ZKWindow* window) const;
  void Place(QMdiSubWindow* frame, const ZKWindow* window) const;
  static bool IsArranged(const QMdiSubWindow* frame);
  void BringIntoView(const QMdiSubWindow* frame);
  static void KeepAsArranged(const QList<QMdiSubWindow*>& frames);

  WindowPlaces& places_;
};

}  // namespace tonalith
