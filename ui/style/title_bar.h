// The title bar of a window inside another one.
#pragma once

class QPainter;
class QStyle;
class QStyleOptionTitleBar;
class QWidget;

namespace tonalith {

void PaintTitleBar(const QStyle& style, const QStyleOptionTitleBar& bar, QPainter* painter, const QWidget* widget);

}  // namespace tonalith
