#include "studio/ui/studio_marks.h"

#include <QPainter>
#include <QPixmap>
#include <QWidget>

#include "ui/style/space.h"

namespace tonalith {

QIcon MarkIcon(Mark mark, const QWidget* widget) {
  const qreal scale = widget->devicePixelRatioF();
  QPixmap picture(QSize(kGlyph, kGlyph) * scale);
  picture.setDevicePixelRatio(scale);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  const int edge = (kGlyph - kMarkSize) / 2;
  PaintMark(&painter, QRect(edge, edge, kMarkSize, kMarkSize), mark);
  painter.end();
  return QIcon(picture);
}

}  // namespace tonalith
