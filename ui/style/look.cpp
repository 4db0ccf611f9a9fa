#include "ui/style/look.h"

#include <QApplication>
#include <QStyleFactory>
#include <memory>

#include "ui/style/colours.h"
#include "ui/style/tab_order.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

Look shown_look = Look::System;
Look desktop_look = Look::System;

// What the desktop asks for; where it does not say so, the palette that a style without one of ours would take.
bool SystemIsDark() {
  if (desktop_look != Look::System) return desktop_look == Look::Dark;
  const std::unique_ptr<QStyle> plain(QStyleFactory::create(QStringLiteral("Fusion")));
  return plain && plain->standardPalette().color(QPalette::Window).lightness() < 128;
}

}  // namespace

void SetLook(Look look) {
  shown_look = look;
  const bool dark = look == Look::Dark || (look == Look::System && SystemIsDark());
  if (!qobject_cast<WidgetStyle*>(QApplication::style())) {
    QApplication::setStyle(new WidgetStyle);
    KeepTabsInOrder(qApp);
  }
  QApplication::setPalette(PaletteOf(dark));
}

void SetDesktopLook(Look look) {
  if (look == desktop_look) return;
  desktop_look = look;
  if (shown_look == Look::System) SetLook(shown_look);
}

bool DesktopTellsLook() {
  return desktop_look != Look::System;
}

Look ShownLook() {
  return shown_look;
}

}  // namespace tonalith
