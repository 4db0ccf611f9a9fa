#include "ui/style/widget_painting.h"

#include <QPainter>
#include <QPainterPath>
#include <QStyleOption>
#include <algorithm>

#include "ui/style/space.h"

namespace tonalith {

namespace {

constexpr int kArrow = 14;
constexpr int kBox = 16;
constexpr qreal kTabRound = 7;

bool Has(const QStyleOption& option, QStyle::StateFlag flag) {
  return option.state.testFlag(flag);
}

QRect MiddleSquare(const QRect& place, int side) {
  return QRect(place.center().x() - side / 2 + 1, place.center().y() - side / 2 + 1, side, side);
}

// The box of a check box or radio button: its fill and its line.
std::pair<QColor, QColor> BoxColours(const QStyleOption& option) {
  const bool on = Has(option, QStyle::State_On) || Has(option, QStyle::State_NoChange);
  if (!Has(option, QStyle::State_Enabled))
    return {ColourOf(on ? Shade::Line : Shade::Window), ColourOf(on ? Shade::Line : Shade::Edge)};
  if (on) return {ColourOf(Shade::Accent), ColourOf(Shade::Accent)};
  const Shade fill = Has(option, QStyle::State_MouseOver) ? Shade::Hover : Shade::Surface;
  return {ColourOf(fill), ColourOf(Shade::Edge)};
}

}  // namespace

void PaintPanel(QPainter* painter, const QRect& place, const QColor& fill, const QColor& line, qreal round) {
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(line.isValid() ? QPen(line, 1) : QPen(Qt::NoPen));
  painter->setBrush(fill.isValid() ? QBrush(fill) : QBrush(Qt::NoBrush));
  painter->drawRoundedRect(QRectF(place).adjusted(0.5, 0.5, -0.5, -0.5), round, round);
  painter->restore();
}

void PaintFocus(QPainter* painter, const QRect& place, const QColor& colour, qreal round) {
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(QPen(colour, 2));
  painter->setBrush(Qt::NoBrush);
  painter->drawRoundedRect(QRectF(place).adjusted(1, 1, -1, -1), round, round);
  painter->restore();
}

void PaintButton(QPainter* painter, const QStyleOption& option, bool primary, bool flat) {
  const bool enabled = Has(option, QStyle::State_Enabled);
  const bool pressed = enabled && Has(option, QStyle::State_Sunken);
  const bool over = enabled && Has(option, QStyle::State_MouseOver);
  const bool on = Has(option, QStyle::State_On);
  QColor fill = flat ? QColor() : ColourOf(enabled ? Shade::Surface : Shade::Window);
  QColor line = flat ? QColor() : ColourOf(Shade::Line);
  if (primary && enabled) {
    fill = line = ColourOf(Shade::Accent);
    if (over) fill = line = Between(fill, ColourOf(Shade::Text), 0.12);
    if (pressed) fill = line = Between(fill, ColourOf(Shade::Text), 0.25);
  } else if (on) {
    fill = ColourOf(Shade::Selection);
    line = ColourOf(enabled ? Shade::Accent : Shade::Line);
    if (flat) line = QColor();
  } else if (pressed) {
    fill = Between(ColourOf(Shade::Hover), ColourOf(Shade::Selection), 0.6);
  } else if (over) {
    fill = ColourOf(Shade::Hover);
  }
  PaintPanel(painter, option.rect, fill, line, kRound - 1);
  if (enabled && Has(option, QStyle::State_HasFocus)) {
    const bool inside = primary;
    PaintFocus(painter, inside ? option.rect.adjusted(2, 2, -2, -2) : option.rect,
               ColourOf(inside ? Shade::OnAccent : Shade::Accent), inside ? kRound - 3 : kRound - 1);
  }
}

void PaintField(QPainter* painter, const QStyleOption& option) {
  const bool enabled = Has(option, QStyle::State_Enabled);
  const bool over = enabled && Has(option, QStyle::State_MouseOver);
  const QColor edge = ColourOf(enabled ? Shade::Edge : Shade::Line);
  PaintPanel(painter, option.rect, ColourOf(enabled ? Shade::Surface : Shade::Window),
             over ? Between(edge, ColourOf(Shade::Text), 0.3) : edge, kRound - 1);
  if (enabled && Has(option, QStyle::State_HasFocus)) PaintFocus(painter, option.rect, ColourOf(Shade::Accent));
}

void PaintCheckBox(QPainter* painter, const QStyleOption& option) {
  const QRect box = MiddleSquare(option.rect, std::min({kBox, option.rect.width(), option.rect.height()}));
  const auto colours = BoxColours(option);
  PaintPanel(painter, box, colours.first, colours.second, 3);
  const QColor sign = ColourOf(Has(option, QStyle::State_Enabled) ? Shade::OnAccent : Shade::Faint);
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->translate(box.topLeft());
  painter->scale(box.width() / 16.0, box.height() / 16.0);
  painter->setPen(QPen(sign, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  if (Has(option, QStyle::State_On)) painter->drawPolyline(QPolygonF({{4.2, 8.4}, {7, 11.2}, {11.8, 5.4}}));
  if (Has(option, QStyle::State_NoChange)) painter->drawLine(QPointF(4.5, 8), QPointF(11.5, 8));
  painter->restore();
}

void PaintRadioButton(QPainter* painter, const QStyleOption& option) {
  const QRect box = MiddleSquare(option.rect, std::min({kBox, option.rect.width(), option.rect.height()}));
  const auto colours = BoxColours(option);
  PaintPanel(painter, box, colours.first, colours.second, box.width() / 2.0);
  if (!Has(option, QStyle::State_On)) return;
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(Qt::NoPen);
  painter->setBrush(ColourOf(Has(option, QStyle::State_Enabled) ? Shade::OnAccent : Shade::Faint));
  painter->drawEllipse(QRectF(box).center(), 3, 3);
  painter->restore();
}

void PaintTab(QPainter* painter, const QStyleOptionTab& tab) {
  const bool selected = Has(tab, QStyle::State_Selected);
  const bool over = Has(tab, QStyle::State_MouseOver) && Has(tab, QStyle::State_Enabled);
  if (!selected && !over) return;
  // Drawn as if it stood on top of its page, then turned.
  const bool across = tab.shape == QTabBar::RoundedWest || tab.shape == QTabBar::RoundedEast ||
                      tab.shape == QTabBar::TriangularWest || tab.shape == QTabBar::TriangularEast;
  const bool below = tab.shape == QTabBar::RoundedSouth || tab.shape == QTabBar::TriangularSouth;
  const QRectF place = QRectF(tab.rect).adjusted(0.5, below ? -0.5 : 0.5, -0.5, below ? -0.5 : 0.5);
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setClipRect(tab.rect);
  painter->setPen(selected ? QPen(ColourOf(Shade::Line), 1) : QPen(Qt::NoPen));
  painter->setBrush(ColourOf(selected ? Shade::Surface : Shade::Hover));
  const QRectF longer = across ? place : place.adjusted(0, below ? -kTabRound - 2 : 0, 0, below ? 0 : kTabRound + 2);
  painter->drawRoundedRect(longer, kTabRound, kTabRound);
  if (Has(tab, QStyle::State_HasFocus)) {
    painter->setPen(QPen(ColourOf(Shade::Accent), 2));
    const qreal y = below ? place.bottom() - 3 : place.top() + 3;
    painter->drawLine(QPointF(place.left() + kGap, y), QPointF(place.right() - kGap, y));
  }
  painter->restore();
}

void PaintHeader(QPainter* painter, const QStyleOptionHeader& header) {
  const bool over = Has(header, QStyle::State_MouseOver) && Has(header, QStyle::State_Enabled);
  painter->fillRect(header.rect, ColourOf(over ? Shade::Hover : Shade::Surface));
  const QColor line = ColourOf(Shade::Line);
  if (header.orientation == Qt::Horizontal)
    painter->fillRect(header.rect.left(), header.rect.bottom(), header.rect.width(), 1, line);
  else
    painter->fillRect(header.rect.right(), header.rect.top(), 1, header.rect.height(), line);
}

// The text stands behind the bar, never on it.
void PaintProgress(QPainter* painter, const QStyleOptionProgressBar& bar) {
  const bool across = Has(bar, QStyle::State_Horizontal);
  const bool texted = bar.textVisible && across;
  const int text = texted ? std::max(bar.fontMetrics.horizontalAdvance(QStringLiteral("100%")),
                                     bar.fontMetrics.horizontalAdvance(bar.text)) +
                                kGap
                          : 0;
  const QRectF place = QStyle::visualRect(bar.direction, bar.rect, bar.rect.adjusted(0, 0, -text, 0));
  const qreal thick = std::min(6.0, across ? place.height() : place.width());
  const QPointF middle = place.center();
  const QRectF groove = across ? QRectF(place.left(), middle.y() - thick / 2, place.width(), thick)
                               : QRectF(middle.x() - thick / 2, place.top(), thick, place.height());
  const double range = static_cast<double>(bar.maximum) - bar.minimum;
  const double part = range > 0 ? std::clamp((static_cast<double>(bar.progress) - bar.minimum) / range, 0.0, 1.0) : 0;
  QRectF done = groove;
  const bool fromEnd = across && (bar.direction == Qt::RightToLeft) != bar.invertedAppearance;
  if (across) done.setWidth(groove.width() * part);
  if (across && fromEnd) done.moveRight(groove.right());
  if (!across) done.setTop(groove.bottom() - groove.height() * part);
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(Qt::NoPen);
  painter->setBrush(ColourOf(Shade::Line));
  painter->drawRoundedRect(groove, thick / 2, thick / 2);
  painter->setBrush(ColourOf(Has(bar, QStyle::State_Enabled) ? Shade::Busy : Shade::Faint));
  if (part > 0) painter->drawRoundedRect(done, thick / 2, thick / 2);
  painter->setPen(ColourOf(Shade::Secondary));
  const auto end = QStyle::visualAlignment(bar.direction, Qt::AlignRight);
  if (texted) painter->drawText(bar.rect, static_cast<int>(Qt::AlignVCenter | end), bar.text);
  painter->restore();
}

void PaintRow(QPainter* painter, const QStyleOptionViewItem& row) {
  const bool selected = Has(row, QStyle::State_Selected);
  const bool over = Has(row, QStyle::State_MouseOver) && Has(row, QStyle::State_Enabled);
  if (row.backgroundBrush.style() != Qt::NoBrush) painter->fillRect(row.rect, row.backgroundBrush);
  if (selected) painter->fillRect(row.rect, ColourOf(Shade::Selection));
  if (over && !selected) painter->fillRect(row.rect, ColourOf(Shade::Hover));
}

void PaintLineBelow(QPainter* painter, const QRect& place) {
  painter->fillRect(place.left(), place.bottom(), place.width(), 1, ColourOf(Shade::Line));
}

void PaintMenuBarItem(QPainter* painter, const QStyleOption& option) {
  const bool open = Has(option, QStyle::State_Sunken);
  const bool over = Has(option, QStyle::State_Selected) && Has(option, QStyle::State_Enabled);
  if (open || over)
    PaintPanel(painter, option.rect.adjusted(0, 2, 0, -2), ColourOf(open ? Shade::Selection : Shade::Hover), {}, 4);
}

void PaintArrow(QPainter* painter, const QStyleOption& option, Glyph glyph) {
  const int side = std::min({kArrow, option.rect.width(), option.rect.height()});
  const QColor colour = ColourOf(Has(option, QStyle::State_Enabled) ? Shade::Secondary : Shade::Faint);
  PaintGlyph(painter, MiddleSquare(option.rect, side), glyph, colour);
}

QIcon InColour(const QIcon& icon, const QSize& size, qreal devicePixelRatio, const QColor& colour) {
  QPixmap picture = icon.pixmap(size, devicePixelRatio);
  if (picture.isNull()) return icon;
  QPainter painter(&picture);
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(QRect(QPoint(), size), colour);
  painter.end();
  return QIcon(picture);
}

}  // namespace tonalith
