#include "ui/style/title_bar.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOption>

#include "ui/style/colours.h"
#include "ui/style/space.h"
#include "ui/style/widget_painting.h"

namespace tonalith {

namespace {

constexpr qreal kSignStroke = 1.5;
constexpr qreal kHalfSign = 4.5;

bool IsThere(const QStyleOptionTitleBar& bar, QStyle::SubControl part) {
  const bool small = bar.titleBarState & Qt::WindowMinimized;
  const bool large = bar.titleBarState & Qt::WindowMaximized;
  const auto has = [&bar](Qt::WindowType hint) { return bar.titleBarFlags.testFlag(hint); };
  switch (part) {
    case QStyle::SC_TitleBarMinButton:
      return has(Qt::WindowMinimizeButtonHint) && !small;
    case QStyle::SC_TitleBarMaxButton:
      return has(Qt::WindowMaximizeButtonHint) && !large;
    case QStyle::SC_TitleBarNormalButton:
      return (has(Qt::WindowMinimizeButtonHint) && small) || (has(Qt::WindowMaximizeButtonHint) && large);
    default:
      return has(Qt::WindowSystemMenuHint);
  }
}

void PaintSign(QPainter* painter, QStyle::SubControl part, const QPointF& middle) {
  const QRectF sign(middle.x() - kHalfSign, middle.y() - kHalfSign, 2 * kHalfSign, 2 * kHalfSign);
  switch (part) {
    case QStyle::SC_TitleBarMinButton:
      return painter->drawLine(sign.bottomLeft(), sign.bottomRight());
    case QStyle::SC_TitleBarMaxButton:
      return painter->drawRoundedRect(sign, 1, 1);
    case QStyle::SC_TitleBarNormalButton:
      painter->drawRoundedRect(sign.adjusted(0, kHalfSign / 2, -kHalfSign / 2, 0), 1, 1);
      painter->drawLine(sign.topRight(), sign.topLeft() + QPointF(kHalfSign / 2, 0));
      return painter->drawLine(sign.topRight(), sign.bottomRight() - QPointF(0, kHalfSign / 2));
    default:
      painter->drawLine(sign.topLeft(), sign.bottomRight());
      painter->drawLine(sign.topRight(), sign.bottomLeft());
  }
}

}  // namespace

void PaintTitleBar(const QStyle& style, const QStyleOptionTitleBar& bar, QPainter* painter, const QWidget* widget) {
  const auto place = [&](QStyle::SubControl part) {
    return style.subControlRect(QStyle::CC_TitleBar, &bar, part, widget);
  };
  const bool active = bar.titleBarState & QStyle::State_Active;
  const QColor words = ColourOf(active ? Shade::Text : Shade::Secondary);
  painter->save();
  painter->fillRect(bar.rect, ColourOf(active ? Shade::Selection : Shade::Dock));
  PaintLineBelow(painter, bar.rect);
  if (active) painter->setFont(HeadingFont(painter->font()));
  const QRect label = place(QStyle::SC_TitleBarLabel).adjusted(kSmallGap, 0, -kSmallGap, 0);
  painter->setPen(words);
  painter->drawText(label, Qt::AlignCenter | Qt::TextSingleLine,
                    painter->fontMetrics().elidedText(bar.text, Qt::ElideRight, label.width()));
  painter->setRenderHint(QPainter::Antialiasing);
  for (const QStyle::SubControl part : {QStyle::SC_TitleBarMinButton, QStyle::SC_TitleBarMaxButton,
                                        QStyle::SC_TitleBarNormalButton, QStyle::SC_TitleBarCloseButton}) {
    const QRect button = place(part);
    if (!IsThere(bar, part) || button.isEmpty()) continue;
    const bool lit = bar.activeSubControls & part && bar.state & (QStyle::State_MouseOver | QStyle::State_Sunken);
    if (lit) PaintPanel(painter, button, ColourOf(Shade::Hover), ColourOf(Shade::Line));
    painter->setPen(QPen(words, kSignStroke));
    painter->setBrush(Qt::NoBrush);
    PaintSign(painter, part, QRectF(button).center());
  }
  if (IsThere(bar, QStyle::SC_TitleBarSysMenu) && !bar.icon.isNull())
    bar.icon.paint(painter, place(QStyle::SC_TitleBarSysMenu));
  painter->restore();
}

}  // namespace tonalith
