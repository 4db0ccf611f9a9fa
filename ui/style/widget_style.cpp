#include "ui/style/widget_style.h"

#include <QVariant>
#include <QWidget>

#include "ui/style/colours.h"

namespace tonalith {

namespace {

constexpr char kPrimary[] = "tonalithPrimary";

}  // namespace

WidgetStyle::WidgetStyle() : QProxyStyle(QStringLiteral("Fusion")) {}

QPalette WidgetStyle::standardPalette() const {
  return PaletteOf(IsDark());
}

void SetPrimary(QWidget* button, bool primary) {
  button->setProperty(kPrimary, primary);
  button->update();
}

bool IsPrimary(const QWidget* button) {
  return button && button->property(kPrimary).toBool();
}

}  // namespace tonalith
