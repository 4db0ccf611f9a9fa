#include <QCryptographicHash>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include "ui/style/icons.h"
#include "ui/style/search_field.h"

namespace tonalith {

namespace {

// What a picture shows is taken from the name: relatives look alike, other instruments do not.
struct Drawing {
  enum class Body { Keyboard, Rack, Pads } body = Body::Keyboard;
  int accent = 0;    // degrees around the circle of colours
  int case_ = 0;     // which of the tones of the case
  int display = 0;   // where the display stands
  int controls = 0;  // knobs, sliders or buttons
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

void DrawKeys(QPainter& painter, const QRectF& place) {
  painter.setPen(Qt::NoPen);
  painter.setBrush(WhiteKey());
  painter.drawRect(place);
  painter.setBrush(BlackKey());
  constexpr int kWhiteKeys = 14;
  const qreal width = place.width() / kWhiteKeys;
  for (int i = 1; i < kWhiteKeys; ++i) {
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
  const qreal shift = drawing.display * (rack ? 4.0 : 12.0);
  painter.setBrush(accent);
  if (drawing.body == Drawing::Body::Keyboard) {
    painter.drawRoundedRect(QRectF(6 + shift, 6, 20, 7), 1, 1);
    DrawControls(painter, drawing,
                 drawing.display == 0 ? QRectF(31, 5.5, 28, 8) : QRectF(31 + shift, 5.5, 28 - shift, 8), accent);
    DrawKeys(painter, QRectF(4, 20, 56, 16));
  } else if (rack) {
    painter.drawRoundedRect(QRectF(8 + shift, 14, 20, 10), 1, 1);
    DrawControls(painter, drawing, QRectF(32 + shift, 15, 26 - shift, 8), accent);
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
