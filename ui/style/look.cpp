#include "ui/style/look.h"

#include <QApplication>
#include <QStyleFactory>
#include <memory>

#include "ui/style/colours.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

Look shown_look = Look::System;
DesktopScheme desktop_scheme = DesktopScheme::Unknown;
bool dark_shown = false;
bool desktop_heard = false;

// What the desktop asks for; where it does not say, the palette that a style without one of ours would take.
bool SystemIsDark() {
  if (desktop_scheme != DesktopScheme::Unknown) return desktop_scheme == DesktopScheme::Dark;
  const std::unique_ptr<QStyle> plain(QStyleFactory::create(QStringLiteral("Fusion")));
  return plain && plain->standardPalette().color(QPalette::Window).lightness() < 128;
}

}  // namespace

void SetLook(Look look) {
  shown_look = look;
  dark_shown = look == Look::Dark || (look == Look::System && SystemIsDark());
  if (!qobject_cast<WidgetStyle*>(QApplication::style())) QApplication::setStyle(new WidgetStyle);
  QApplication::setPalette(PaletteOf(dark_shown));
}

void SetDesktopScheme(DesktopScheme scheme) {
  desktop_scheme = scheme;
  desktop_heard = true;
  FollowDesktop();
}

void FollowDesktop() {
  if (shown_look == Look::System && SystemIsDark() != dark_shown) SetLook(Look::System);
}

bool DesktopIsHeard() {
  return desktop_heard;
}

bool IsDarkShown() {
  return dark_shown;
}

Look ShownLook() {
  return shown_look;
}

}  // namespace tonalith
