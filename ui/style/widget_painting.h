// The shapes that the style draws Qt's widgets with.
#pragma once

#include <QIcon>
#include <QRectF>

#include "ui/style/icons.h"

class QPainter;
class QStyleOption;
class QStyleOptionButton;
class QStyleOptionHeader;
class QStyleOptionProgressBar;
class QStyleOptionTab;
class QStyleOptionViewItem;
class QWidget;

namespace tonalith {

// A rounded field with a line of one pixel inside its edge.
void PaintPanel(QPainter* painter, const QRect& place, const QColor& fill, const QColor& line, qreal round = 4);
// The ring around what has the keyboard, inside `place`.
void PaintFocus(QPainter* painter, const QRect& place, const QColor& colour, qreal round = 4);

// The body of a push button or tool button: plain, checked, pressed, primary, switched off.  `flat`: no body at rest.
void PaintButton(QPainter* painter, const QStyleOption& option, bool primary, bool flat);
// The body of a text field, a spin box or a list to choose from.
void PaintField(QPainter* painter, const QStyleOption& option);
void PaintCheckBox(QPainter* painter, const QStyleOption& option);
void PaintRadioButton(QPainter* painter, const QStyleOption& option);
void PaintTab(QPainter* painter, const QStyleOptionTab& tab);
void PaintHeader(QPainter* painter, const QStyleOptionHeader& header);
void PaintProgress(QPainter* painter, const QStyleOptionProgressBar& bar);
void PaintRow(QPainter* painter, const QStyleOptionViewItem& row);
// A quiet line at the lower edge.
void PaintLineBelow(QPainter* painter, const QRect& place);
void PaintMenuBarItem(QPainter* painter, const QStyleOption& option);
// An arrow in the middle of the option's place.
void PaintArrow(QPainter* painter, const QStyleOption& option, Glyph glyph);

// The icon in another colour.
QIcon InColour(const QIcon& icon, const QSize& size, qreal devicePixelRatio, const QColor& colour);

}  // namespace tonalith
