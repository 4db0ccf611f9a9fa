// How the program's buttons, fields, tabs, bars and lists are drawn: flat, one line wide, from the named colours, and
// large enough to be hit.
#pragma once

#include <QProxyStyle>

namespace tonalith {

class WidgetStyle final : public QProxyStyle {
  Q_OBJECT

 public:
  WidgetStyle();

  using QProxyStyle::polish;
  void polish(QWidget* widget) override;
  QPalette standardPalette() const override;
  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override;
  void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                          const QWidget* widget) const override;
  QRect subElementRect(SubElement element, const QStyleOption* option, const QWidget* widget) const override;
  QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                       const QWidget* widget) const override;
  QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                         const QWidget* widget) const override;
  int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* answer) const override;
  QIcon standardIcon(StandardPixmap icon, const QStyleOption* option, const QWidget* widget) const override;
  QPixmap standardPixmap(StandardPixmap icon, const QStyleOption* option, const QWidget* widget) const override;
};

// A button that carries the one main action of its place; drawn in the accent.
void SetPrimary(QWidget* button, bool primary = true);
bool IsPrimary(const QWidget* button);

}  // namespace tonalith
