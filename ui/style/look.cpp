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

// What the desktop asks for: the palette that a style without one of ours would take.
bool SystemIsDark() {
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

Look ShownLook() {
  return shown_look;
}

}  // namespace tonalith
