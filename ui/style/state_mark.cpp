#include "ui/style/state_mark.h"

#include <QCoreApplication>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <array>

#include "ui/style/plain_text.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

namespace {

struct MarkRow {
  Mark mark;
  Shade shade;
  const char* words;
};

// In the order of Mark.
constexpr std::array<MarkRow, kMarks> kRows = {{
    {Mark::Changed, Shade::Changed, QT_TRANSLATE_NOOP("Mark", "changed since saved")},
    {Mark::Unsent, Shade::Unsent, QT_TRANSLATE_NOOP("Mark", "not sent to the instrument")},
    {Mark::Damaged, Shade::Danger, QT_TRANSLATE_NOOP("Mark", "damaged")},
    {Mark::Undefined, Shade::Faint, QT_TRANSLATE_NOOP("Mark", "empty")},
    {Mark::Locked, Shade::Secondary, QT_TRANSLATE_NOOP("Mark", "locked")},
    {Mark::Found, Shade::Ok, QT_TRANSLATE_NOOP("Mark", "found")},
    {Mark::Missing, Shade::Faint, QT_TRANSLATE_NOOP("Mark", "not found")},
    {Mark::Busy, Shade::Busy, QT_TRANSLATE_NOOP("Mark", "busy")},
    {Mark::Awaited, Shade::Unsent, QT_TRANSLATE_NOOP("Mark", "not received from the instrument")},
}};

// On a field of 10 x 10 around the middle.
void DrawShape(QPainter& painter, Mark mark, const QColor& colour) {
  const QPen line(colour, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
  painter.setPen(Qt::NoPen);
  painter.setBrush(colour);
  switch (mark) {
    case Mark::Changed:
    case Mark::Found:
      painter.drawEllipse(QPointF(0, 0), 4, 4);
      if (mark == Mark::Changed) return;
      painter.setPen(QPen(ColourOf(Shade::Surface), 1.3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
      painter.setBrush(Qt::NoBrush);
      painter.drawPolyline(QPolygonF({{-1.8, 0.1}, {-0.5, 1.4}, {1.9, -1.3}}));
      return;
    case Mark::Unsent:
      painter.drawPolygon(QPolygonF({{0, -4.4}, {4.6, 3.8}, {-4.6, 3.8}}));
      return;
    case Mark::Awaited:
      painter.setPen(line);
      painter.setBrush(Qt::NoBrush);
      painter.drawPolygon(QPolygonF({{0, 4}, {4.2, -3.4}, {-4.2, -3.4}}));
      return;
    case Mark::Damaged:
      painter.setPen(QPen(colour, 2.2, Qt::SolidLine, Qt::RoundCap));
      painter.drawLine(QPointF(-3.2, -3.2), QPointF(3.2, 3.2));
      painter.drawLine(QPointF(-3.2, 3.2), QPointF(3.2, -3.2));
      return;
    case Mark::Locked:
      painter.drawRoundedRect(QRectF(-3.8, -0.8, 7.6, 5.4), 1, 1);
      painter.setPen(line);
      painter.setBrush(Qt::NoBrush);
      painter.drawArc(QRectF(-2.4, -4.4, 4.8, 6.4), 0, 180 * 16);
      return;
    case Mark::Undefined:
    case Mark::Missing:
      painter.setPen(line);
      painter.setBrush(Qt::NoBrush);
      painter.drawEllipse(QPointF(0, 0), 3.6, 3.6);
      if (mark == Mark::Missing) painter.drawLine(QPointF(-2.5, 2.5), QPointF(2.5, -2.5));
      return;
    case Mark::Busy:
      painter.setPen(QPen(colour, 2, Qt::SolidLine, Qt::RoundCap));
      painter.setBrush(Qt::NoBrush);
      painter.drawArc(QRectF(-3.6, -3.6, 7.2, 7.2), 90 * 16, -250 * 16);
      return;
  }
}

}  // namespace

QString MarkText(Mark mark) {
  return QCoreApplication::translate("Mark", kRows[static_cast<std::size_t>(mark)].words);
}

Shade MarkShade(Mark mark) {
  return kRows[static_cast<std::size_t>(mark)].shade;
}

void PaintMark(QPainter* painter, const QRect& place, Mark mark) {
  const qreal side = std::min(place.width(), place.height());
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->translate(QRectF(place).center());
  painter->scale(side / kMarkSize, side / kMarkSize);
  DrawShape(*painter, mark, ColourOf(MarkShade(mark)));
  painter->restore();
}

MarkLabel::MarkLabel(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  SetRole(this, QAccessible::StaticText);
}

MarkLabel::MarkLabel(Mark mark, bool withWords, QWidget* parent) : MarkLabel(parent) {
  showWords_ = withWords;
  SetMark(mark);
}

void MarkLabel::SetMark(std::optional<Mark> mark, const QString& words) {
  mark_ = mark;
  words_ = !words.isEmpty() ? words : mark ? MarkText(*mark) : QString();
  SetToolTip(this, words_);
  SetAccessibleName(this, words_);
  updateGeometry();
  update();
}

void MarkLabel::ShowWords(bool show) {
  showWords_ = show;
  updateGeometry();
  update();
}

QSize MarkLabel::sizeHint() const {
  const int words = showWords_ && !words_.isEmpty() ? kSmallGap + fontMetrics().horizontalAdvance(words_) : 0;
  return {kMarkSize + words, std::max(kMarkSize, fontMetrics().height())};
}

void MarkLabel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const bool leftToRight = layoutDirection() == Qt::LeftToRight;
  QRect shape(leftToRight ? 0 : width() - kMarkSize, 0, kMarkSize, height());
  if (mark_) PaintMark(&painter, shape, *mark_);
  if (!showWords_) return;
  painter.setPen(ColourOf(Shade::Secondary));
  const int gap = kMarkSize + kSmallGap;
  painter.drawText(rect().adjusted(leftToRight ? gap : 0, 0, leftToRight ? 0 : -gap, 0),
                   static_cast<int>(Qt::AlignVCenter | Qt::AlignLeading) | Qt::TextSingleLine, words_);
}

}  // namespace tonalith
