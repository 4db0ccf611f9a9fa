#include <QCryptographicHash>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include "ui/style/icons.h"
#include "ui/style/search_field.h"

namespace tonalith {

namespace {

constexpr int kWood = 30;  // degrees

// What a picture shows is taken from the name: relatives look alike, other instruments do not.
struct Drawing {
  enum class Body { Keyboard, Rack, Pads } body = Body::Keyboard;
  int accent = 0;    // degrees around the circle of colours
  int case_ = 0;     // which of the tones of the case
  int display = 0;   // where the display stands
  int controls = 0;  // knobs, sliders or buttons
  int wide = 0;      // how wide the display is
  int sides = 0;     // plain, with cheeks, or with a line of the accent
  bool wheels = false;
  int whiteKeys = 14;
};

QColor Quiet(int alpha) {
  QColor quiet = WhiteKey();
  quiet.setAlpha(alpha);
  return quiet;
}

Drawing DrawingOf(const QString& maker, const QString& name) {
  const QByteArray seed = QCryptographicHash::hash((maker + QLatin1Char(' ') + name).toUtf8(), QCryptographicHash::Md5);
  const auto at = [&seed](int i) { return static_cast<int>(static_cast<unsigned char>(seed[i])); };
  Drawing drawing;
  drawing.accent = (at(0) * 256 + at(1)) % 24 * 15;
  drawing.case_ = at(2);
  drawing.display = at(3) % 3;
  drawing.controls = at(4) % 3;
  drawing.wide = 13 + at(5) % 3 * 5;
  drawing.sides = at(6) % 3;
  drawing.wheels = at(7) % 2 != 0;
  drawing.whiteKeys = 10 + at(8) % 4 * 2;
  for (const char* word : {"drum", "rhythm", "percussion", "tr-", "mpc", "machine"})
    if (name.contains(QLatin1String(word), Qt::CaseInsensitive)) drawing.body = Drawing::Body::Pads;
  for (const char* word : {"rack", "module", "expander", "1000", "1080", "2000", "tx", "-r", "sound canvas", "proteus"})
    if (name.contains(QLatin1String(word), Qt::CaseInsensitive)) drawing.body = Drawing::Body::Rack;
  return drawing;
}

// On a field of 64 x 40.
void DrawControls(QPainter& painter, const Drawing& drawing, const QRectF& place, const QColor& accent) {
  const QColor quiet = Quiet(120);
  painter.setPen(Qt::NoPen);
  const int count = static_cast<int>(place.width() / 5);
  for (int i = 0; i < count; ++i) {
    const QPointF middle(place.left() + 2.5 + i * 5, place.center().y());
    painter.setBrush(i == drawing.accent % std::max(count, 1) ? accent : quiet);
    if (drawing.controls == 0) painter.drawEllipse(middle, 1.7, 1.7);
    if (drawing.controls == 1) painter.drawRect(QRectF(middle.x() - 0.6, place.top(), 1.2, place.height()));
    if (drawing.controls == 1) painter.drawRect(QRectF(middle.x() - 1.5, place.top() + (i * 37) % 5, 3, 1.8));
    if (drawing.controls == 2) painter.drawRoundedRect(QRectF(middle.x() - 1.7, middle.y() - 1.2, 3.4, 2.4), 0.6, 0.6);
  }
}

void DrawKeys(QPainter& painter, const QRectF& place, int whiteKeys) {
  painter.setPen(Qt::NoPen);
  painter.setBrush(WhiteKey());
  painter.drawRect(place);
  painter.setBrush(BlackKey());
  const qreal width = place.width() / whiteKeys;
  for (int i = 1; i < whiteKeys; ++i) {
    painter.drawRect(QRectF(place.left() + i * width - 0.2, place.top(), 0.4, place.height()));
    if (i % 7 == 3 || i % 7 == 0) continue;
    painter.drawRect(QRectF(place.left() + i * width - width * 0.3, place.top(), width * 0.6, place.height() * 0.6));
  }
}

void DrawInstrument(QPainter& painter, const Drawing& drawing) {
  const QColor accent = CaseAccent(drawing.accent);
  const bool rack = drawing.body == Drawing::Body::Rack;
  const QRectF body = rack                                  ? QRectF(0, 9, 64, 22)
                      : drawing.body == Drawing::Body::Pads ? QRectF(8, 0, 48, 40)
                                                            : QRectF(0, 1, 64, 38);
  painter.setPen(Qt::NoPen);
  painter.setBrush(CaseColour(drawing.case_));
  painter.drawRoundedRect(body, 3, 3);
  if (drawing.sides == 1) {
    painter.setBrush(CaseAccent(kWood).darker(150));
    for (const qreal x : {body.left(), body.right() - 3.5})
      painter.drawRoundedRect(QRectF(x, body.top(), 3.5, body.height()), 1, 1);
  }
  const qreal shift = drawing.display * (rack ? 4.0 : 12.0);
  painter.setBrush(accent);
  if (drawing.body == Drawing::Body::Keyboard) {
    // The display stands at the left, in the middle or at the right; the controls have the longer of its sides.
    const qreal left = drawing.display == 0 ? 6 : drawing.display == 1 ? 32 - drawing.wide / 2.0 : 58 - drawing.wide;
    painter.drawRoundedRect(QRectF(left, 5, drawing.wide, 9), 1, 1);
    const qreal right = left + drawing.wide;
    if (drawing.display != 2) DrawControls(painter, drawing, QRectF(right + 3, 5.5, 58 - right - 3, 8), accent);
    if (drawing.display != 0) DrawControls(painter, drawing, QRectF(6, 5.5, left - 9, 8), accent);
    painter.setBrush(accent);
    if (drawing.sides == 2) painter.drawRect(QRectF(4, 16.5, 56, 1.5));
    painter.setBrush(Quiet(90));
    for (int i = 0; drawing.wheels && i < 2; ++i) painter.drawRoundedRect(QRectF(5.5 + i * 4, 23, 2.5, 10), 1, 1);
    DrawKeys(painter, drawing.wheels ? QRectF(15, 20, 45, 16) : QRectF(4.5, 20, 55, 16), drawing.whiteKeys);
  } else if (rack) {
    painter.drawRoundedRect(QRectF(8 + shift, 14, drawing.wide, 10), 1, 1);
    const qreal right = 12 + shift + drawing.wide;
    DrawControls(painter, drawing, QRectF(right, 15, 58 - right, 8), accent);
    painter.setBrush(accent);
    if (drawing.sides == 2) painter.drawRect(QRectF(4, 27, 56, 1.5));
    painter.setBrush(Quiet(70));
    for (const qreal x : {2.5, 60.5})
      for (const qreal y : {13.0, 26.0}) painter.drawEllipse(QPointF(x, y), 1, 1);
  } else {
    painter.drawRoundedRect(QRectF(12 + shift, 4, 16, 7), 1, 1);
    for (int i = 0; i < 12; ++i) {
      painter.setBrush(i == drawing.accent / 15 % 12 ? accent : Quiet(130));
      painter.drawRoundedRect(QRectF(12.5 + i % 4 * 10, 14 + i / 4 * 8, 8, 6), 1, 1);
    }
  }
}

}  // namespace

QPixmap InstrumentPicture(const QString& maker, const QString& name, const QSize& size, qreal devicePixelRatio) {
  QPixmap picture((QSizeF(size) * devicePixelRatio).toSize());
  picture.setDevicePixelRatio(devicePixelRatio);
  picture.fill(Qt::transparent);
  if (size.isEmpty()) return picture;
  QPainter painter(&picture);
  painter.setRenderHint(QPainter::Antialiasing);
  const qreal scale = std::min(size.width() / 64.0, size.height() / 40.0);
  painter.translate((size.width() - 64 * scale) / 2, (size.height() - 40 * scale) / 2);
  painter.scale(scale, scale);
  DrawInstrument(painter, DrawingOf(maker, name));
  return picture;
}

}  // namespace tonalith
