#include "app/find_field.h"

#include <QAction>
#include <QPainter>
#include <QStyle>

#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/icons.h"
#include "ui/style/space.h"

namespace tonalith {

FindField::FindField(QAction* find, QWidget* parent) : QToolButton(parent), find_(find) {
  setFocusPolicy(Qt::TabFocus);
  setText(tr("Find a command, instrument, patch"));
  SetAccessibleName(this, text());
  connect(this, &QToolButton::clicked, find_, &QAction::trigger);
  const auto follow = [this] { setVisible(find_->isVisible()); };
  connect(find_, &QAction::changed, this, follow);
  follow();
}

QSize FindField::sizeHint() const {
  const QString key = find_->shortcut().toString(QKeySequence::NativeText);
  const int width = fontMetrics().horizontalAdvance(text() + key) + kGlyph + 4 * kGap + kWideGap;
  return {width, TargetHeight(fontMetrics())};
}

QSize FindField::minimumSizeHint() const {
  return {kGlyph + 10 * kGap, TargetHeight(fontMetrics())};
}

void FindField::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(ColourOf(hasFocus() ? Shade::Accent : Shade::Line), hasFocus() ? 2 : 1));
  painter.setBrush(ColourOf(underMouse() ? Shade::Hover : Shade::Raised));
  painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 2.5, -kGap + 0.5, -2.5), kRound, kRound);
  QRect inside = rect().adjusted(kGap, 0, -kGap - kGap, 0);
  const QRect glyph(inside.left(), inside.top(), kGlyph, inside.height());
  PaintGlyph(&painter, QStyle::visualRect(layoutDirection(), rect(), glyph), Glyph::Search, ColourOf(Shade::Secondary));
  inside.setLeft(inside.left() + kGlyph + kSmallGap);
  const QString key = find_->shortcut().toString(QKeySequence::NativeText);
  painter.setPen(ColourOf(Shade::Secondary));
  const auto draw = [&](const QRect& place, Qt::Alignment side, const QString& words) {
    painter.drawText(QStyle::visualRect(layoutDirection(), rect(), place),
                     static_cast<int>(QStyle::visualAlignment(layoutDirection(), side | Qt::AlignVCenter)), words);
  };
  const int keyWidth = fontMetrics().horizontalAdvance(key);
  draw(inside, Qt::AlignRight, key);
  inside.setRight(inside.right() - keyWidth - kGap);
  draw(inside, Qt::AlignLeft, fontMetrics().elidedText(text(), Qt::ElideRight, inside.width()));
}

}  // namespace tonalith
