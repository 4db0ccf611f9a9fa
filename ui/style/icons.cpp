#include "ui/style/icons.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <algorithm>
#include <optional>

#include "ui/style/icon_shapes.h"

namespace tonalith {

namespace {

constexpr qreal kField = 24;
constexpr qreal kStroke = 1.5;

QColor ColourIn(QIcon::Mode mode, const std::optional<Shade>& shade) {
  if (mode == QIcon::Disabled) return ColourOf(Shade::Faint);
  return ColourOf(shade.value_or(Shade::Text));
}

class GlyphEngine final : public QIconEngine {
 public:
  GlyphEngine(Glyph glyph, std::optional<Shade> shade) : glyph_(glyph), shade_(shade) {}

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
    PaintGlyph(painter, rect, glyph_, ColourIn(mode, shade_));
  }

  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
    QPixmap picture(size);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    paint(&painter, QRect(QPoint(), size), mode, state);
    return picture;
  }

  QIconEngine* clone() const override { return new GlyphEngine(*this); }

  bool isNull() override { return glyph_ == Glyph::None; }

 private:
  Glyph glyph_;
  std::optional<Shade> shade_;
};

}  // namespace

QIcon IconOf(Glyph glyph) {
  return glyph == Glyph::None ? QIcon() : QIcon(new GlyphEngine(glyph, std::nullopt));
}

QIcon IconOf(Glyph glyph, Shade shade) {
  return glyph == Glyph::None ? QIcon() : QIcon(new GlyphEngine(glyph, shade));
}

void PaintGlyph(QPainter* painter, const QRectF& place, Glyph glyph, const QColor& colour) {
  if (glyph == Glyph::None) return;
  const qreal side = std::min(place.width(), place.height());
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->translate(place.center() - QPointF(side / 2, side / 2));
  painter->scale(side / kField, side / kField);
  // Large pictures of empty places keep fine lines.
  const qreal width = std::max(kStroke * std::min(1.0, 28 / side), 0.75);
  painter->setPen(QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  painter->setBrush(Qt::NoBrush);
  painter->drawPath(ShapeOf(glyph));
  painter->restore();
}

}  // namespace tonalith
