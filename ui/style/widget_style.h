// How the program's buttons, fields, tabs, bars and lists are drawn: flat, one line wide, from the named colours.
#pragma once

#include <QProxyStyle>

namespace tonalith {

class WidgetStyle final : public QProxyStyle {
  Q_OBJECT

 public:
  WidgetStyle();

  QPalette standardPalette() const override;
};

// A button that carries the one main action of its place; drawn in the accent.
void SetPrimary(QWidget* button, bool primary = true);
bool IsPrimary(const QWidget* button);

}  // namespace tonalith
