#include "ui/style/space.h"

#include <QFontDatabase>
#include <QLayout>
#include <QWidget>
#include <algorithm>

namespace tonalith {

int RowHeight(const QFontMetrics& metrics) {
  return std::max(kRowHeight, metrics.height() + kGap);
}

int TargetHeight(const QFontMetrics& metrics) {
  return std::max(kTarget, metrics.height() + kGap + kSmallGap);
}

QFont HeadingFont(const QFont& font) {
  QFont heading = font;
  heading.setWeight(QFont::DemiBold);
  return heading;
}

QFont TitleFont(const QFont& font) {
  QFont title = HeadingFont(font);
  if (font.pointSizeF() > 0)
    title.setPointSizeF(font.pointSizeF() * 1.25);
  else
    title.setPixelSize(font.pixelSize() * 5 / 4);
  return title;
}

QFont TabularFont(const QFont& font) {
  const QFontMetricsF metrics(font);
  const qreal zero = metrics.horizontalAdvance(QLatin1Char('0'));
  for (char digit = '1'; digit <= '9'; ++digit) {
    if (metrics.horizontalAdvance(QLatin1Char(digit)) == zero) continue;
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    if (font.pointSizeF() > 0)
      fixed.setPointSizeF(font.pointSizeF());
    else
      fixed.setPixelSize(font.pixelSize());
    return fixed;
  }
  return font;
}

void SetSpace(QLayout* layout, int margin, int gap) {
  layout->setContentsMargins(margin, margin, margin, margin);
  layout->setSpacing(gap);
}

void SetSecondaryText(QWidget* label) {
  label->setForegroundRole(QPalette::PlaceholderText);
}

}  // namespace tonalith
