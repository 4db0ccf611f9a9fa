// Widgets of several parts as the style draws them.
#pragma once

#include <QIcon>
#include <QStyle>

class QPainter;
class QStyleOption;
class QStyleOptionComboBox;
class QStyleOptionGroupBox;
class QStyleOptionSlider;
class QStyleOptionSpinBox;
class QStyleOptionToolButton;
class QStyleOptionViewItem;
class QWidget;

namespace tonalith {

void PaintToolButton(const QStyle& style, const QStyleOptionToolButton& button, QPainter* painter,
                     const QWidget* widget, bool primary);
QSize SizeOfToolButton(const QStyleOptionToolButton* button, const QSize& size, int target);
void PaintCombo(const QStyle& style, const QStyleOptionComboBox& combo, QPainter* painter, const QWidget* widget);
void PaintSpin(const QStyle& style, const QStyleOptionSpinBox& spin, QPainter* painter, const QWidget* widget);
void PaintSlider(const QStyle& style, const QStyleOptionSlider& slider, QPainter* painter, const QWidget* widget);
void PaintScrollBar(const QStyle& style, const QStyleOptionSlider& bar, QPainter* painter, const QWidget* widget);
// Scroll bars have no buttons at their ends.
// The ground of the list or page that a bar or corner belongs to.
QColor GroundBehind(const QWidget* widget);
QRect ScrollBarPart(const QStyleOptionSlider& bar, QStyle::SubControl part);
// The title of a group stands inside its frame.
QRect GroupBoxPart(const QStyle& style, const QStyleOptionGroupBox& box, QStyle::SubControl part,
                   const QWidget* widget);

// The arrow before a row of a tree that has rows below it.
void PaintBranch(QPainter* painter, const QStyleOption& option);
// Behind the whole row of a tree or table.
void PaintRowBehind(QPainter* painter, const QStyleOptionViewItem& row);
void PaintSplitter(QPainter* painter, const QStyleOption& option);
// Frames around groups, pages of tabs, menus, tool tips and lists; false: not one of these.
bool PaintFrame(QStyle::PrimitiveElement element, QPainter* painter, const QStyleOption& option);
// Icons that Qt's own dialogs ask for; a null icon: none of ours.
QIcon StandardIconOf(QStyle::StandardPixmap icon);

}  // namespace tonalith
