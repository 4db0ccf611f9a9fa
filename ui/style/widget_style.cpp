#include "ui/style/widget_style.h"

#include <QAbstractItemView>
#include <QAbstractScrollArea>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QStyleOption>
#include <QToolButton>
#include <QVariant>
#include <algorithm>

#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/title_bar.h"
#include "ui/style/widget_painting.h"
#include "ui/style/widget_parts.h"

namespace tonalith {

namespace {

constexpr char kPrimary[] = "tonalithPrimary";

// The option of one kind, or none.
template <typename Option>
const Option* As(const QStyleOption* option) {
  return qstyleoption_cast<const Option*>(option);
}

bool IsFlat(const QWidget* widget) {
  const auto* tool = qobject_cast<const QToolButton*>(widget);
  return tool && tool->autoRaise();
}

// Text and icon of a label on the accent.
template <typename Option>
Option OnAccent(const Option& option, const QWidget* widget) {
  Option label = option;
  const QColor colour = ColourOf(Shade::OnAccent);
  label.palette.setColor(QPalette::ButtonText, colour);
  label.palette.setColor(QPalette::WindowText, colour);
  if (!label.icon.isNull()) label.icon = InColour(label.icon, label.iconSize, widget->devicePixelRatioF(), colour);
  return label;
}

// A form puts labels at the top of their rows; beside a field of one line they belong in its middle.
void PlaceFormLabel(QWidget* label) {
  const QWidget* around = label->parentWidget();
  for (const QFormLayout* form : around ? around->findChildren<QFormLayout*>() : QList<QFormLayout*>()) {
    int row = -1;
    QFormLayout::ItemRole role = QFormLayout::FieldRole;
    form->getWidgetPosition(label, &row, &role);
    const QLayoutItem* field = row < 0 ? nullptr : form->itemAt(row, QFormLayout::FieldRole);
    if (role != QFormLayout::LabelRole || !field) continue;
    const bool lines = field->widget() && qobject_cast<const QAbstractScrollArea*>(field->widget());
    if (lines || field->sizeHint().height() < TargetHeight(label->fontMetrics())) continue;
    label->setMinimumHeight(TargetHeight(label->fontMetrics()));
  }
}

// Stays a target of full height where a window is smaller than it asks for.  What edits a row of a list or is a part of
// another field has that one's height.
bool KeepsItsHeight(const QWidget* widget) {
  const QWidget* around = widget->parentWidget();
  if (around && qobject_cast<const QAbstractItemView*>(around->parentWidget())) return false;
  if (qobject_cast<const QLineEdit*>(widget))
    return !qobject_cast<const QComboBox*>(around) && !qobject_cast<const QAbstractSpinBox*>(around);
  return qobject_cast<const QPushButton*>(widget) || qobject_cast<const QComboBox*>(widget) ||
         qobject_cast<const QAbstractSpinBox*>(widget);
}

bool IsOnAccent(const QStyleOption* option, const QWidget* widget) {
  return IsPrimary(widget) && option->state.testFlag(QStyle::State_Enabled);
}

}  // namespace

WidgetStyle::WidgetStyle() : QProxyStyle(QStringLiteral("Fusion")) {}

void WidgetStyle::polish(QWidget* widget) {
  QProxyStyle::polish(widget);
  NameAsShown(widget);
  // What answers to the pointer is drawn again when it comes and goes.
  if (widget->focusPolicy() != Qt::NoFocus && !qobject_cast<QAbstractScrollArea*>(widget))
    widget->setAttribute(Qt::WA_Hover);
  if (widget->inherits("QLabel")) PlaceFormLabel(widget);
  if (KeepsItsHeight(widget) && widget->minimumHeight() == 0) widget->setMinimumHeight(kTarget);
}

QPalette WidgetStyle::standardPalette() const {
  return PaletteOf(IsDark());
}

void WidgetStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                const QWidget* widget) const {
  switch (element) {
    case PE_PanelButtonCommand:
      return PaintButton(painter, *option, IsPrimary(widget), false);
    case PE_PanelButtonTool:
      return PaintButton(painter, *option, IsPrimary(widget), IsFlat(widget));
    case PE_PanelLineEdit:
      // Inside a spin box or a list to choose from the field is drawn already.
      if (const auto* frame = As<QStyleOptionFrame>(option); frame && frame->lineWidth > 0)
        PaintField(painter, *option);
      return;
    case PE_FrameLineEdit:
    case PE_FrameStatusBarItem:
    case PE_PanelItemViewRow:
      if (element == PE_PanelItemViewRow)
        if (const auto* row = As<QStyleOptionViewItem>(option)) PaintRowBehind(painter, *row);
      return;
    case PE_PanelItemViewItem:
      if (const auto* row = As<QStyleOptionViewItem>(option)) PaintRow(painter, *row);
      return;
    case PE_PanelMenuBar:
      return;
    case PE_PanelStatusBar:
      return painter->fillRect(option->rect.x(), option->rect.y(), option->rect.width(), 1, ColourOf(Shade::Line));
    case PE_Frame:
      // Fields of several lines have the edge of those of one.
      if (widget && widget->isEnabled() && (widget->inherits("QPlainTextEdit") || widget->inherits("QTextEdit")))
        return PaintPanel(painter, option->rect, {}, ColourOf(Shade::Edge), 3);
      PaintFrame(element, painter, *option);
      return;
    case PE_PanelScrollAreaCorner:
      return painter->fillRect(option->rect, GroundBehind(widget));
    case PE_IndicatorCheckBox:
    case PE_IndicatorItemViewItemCheck:
      return PaintCheckBox(painter, *option);
    case PE_IndicatorRadioButton:
      return PaintRadioButton(painter, *option);
    case PE_IndicatorBranch:
      return PaintBranch(painter, *option);
    case PE_IndicatorArrowUp:
    case PE_IndicatorSpinUp:
      return PaintArrow(painter, *option, Glyph::Up);
    case PE_IndicatorArrowDown:
    case PE_IndicatorSpinDown:
    case PE_IndicatorButtonDropDown:
      return PaintArrow(painter, *option, Glyph::Down);
    case PE_IndicatorArrowLeft:
      return PaintArrow(painter, *option, Glyph::Left);
    case PE_IndicatorArrowRight:
      return PaintArrow(painter, *option, Glyph::Right);
    default:
      if (!PaintFrame(element, painter, *option)) QProxyStyle::drawPrimitive(element, option, painter, widget);
  }
}

void WidgetStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                              const QWidget* widget) const {
  switch (element) {
    case CE_PushButtonLabel:
      if (const auto* button = As<QStyleOptionButton>(option); button && IsOnAccent(option, widget)) {
        const QStyleOptionButton label = OnAccent(*button, widget);
        return QProxyStyle::drawControl(element, &label, painter, widget);
      }
      break;
    case CE_ToolButtonLabel:
      if (const auto* button = As<QStyleOptionToolButton>(option); button && IsOnAccent(option, widget)) {
        const QStyleOptionToolButton label = OnAccent(*button, widget);
        return QProxyStyle::drawControl(element, &label, painter, widget);
      }
      break;
    case CE_TabBarTabShape:
      if (const auto* tab = As<QStyleOptionTab>(option)) return PaintTab(painter, *tab);
      break;
    case CE_TabBarTabLabel:
      if (const auto* tab = As<QStyleOptionTab>(option)) {
        QStyleOptionTab label = *tab;
        const bool selected = tab->state.testFlag(State_Selected);
        if (!selected) label.palette.setColor(QPalette::WindowText, ColourOf(Shade::Secondary));
        label.state &= ~State_HasFocus;
        painter->save();
        if (selected) painter->setFont(HeadingFont(painter->font()));
        QProxyStyle::drawControl(element, &label, painter, widget);
        return painter->restore();
      }
      break;
    case CE_HeaderSection:
      if (const auto* header = As<QStyleOptionHeader>(option)) return PaintHeader(painter, *header);
      break;
    case CE_HeaderLabel:
      if (const auto* header = As<QStyleOptionHeader>(option)) {
        QStyleOptionHeader label = *header;
        label.palette.setColor(QPalette::ButtonText, ColourOf(Shade::Secondary));
        return QProxyStyle::drawControl(element, &label, painter, widget);
      }
      break;
    case CE_HeaderEmptyArea:
      return painter->fillRect(option->rect, ColourOf(Shade::Surface));
    case CE_ProgressBar:
      if (const auto* bar = As<QStyleOptionProgressBar>(option)) return PaintProgress(painter, *bar);
      break;
    case CE_MenuItem:
      if (const auto* item = As<QStyleOptionMenuItem>(option); item && item->state.testFlag(State_Selected)) {
        if (item->state.testFlag(State_Enabled)) painter->fillRect(item->rect, ColourOf(Shade::Selection));
        QStyleOptionMenuItem plain = *item;
        plain.state &= ~State_Selected;
        return QProxyStyle::drawControl(element, &plain, painter, widget);
      }
      break;
    case CE_MenuBarEmptyArea:
      return PaintLineBelow(painter, option->rect);
    case CE_ToolBar:
      return;
    case CE_MenuBarItem:
      if (const auto* item = As<QStyleOptionMenuItem>(option)) {
        PaintMenuBarItem(painter, *option);
        if (widget) PaintLineBelow(painter, widget->rect());
        return drawItemText(painter, item->rect, Qt::AlignCenter | Qt::TextShowMnemonic | Qt::TextSingleLine,
                            item->palette, item->state.testFlag(State_Enabled), item->text, QPalette::WindowText);
      }
      break;
    case CE_Splitter:
      return PaintSplitter(painter, *option);
    default:
      break;
  }
  QProxyStyle::drawControl(element, option, painter, widget);
}

void WidgetStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                                     const QWidget* widget) const {
  if (const auto* button = As<QStyleOptionToolButton>(option); control == CC_ToolButton && button)
    return PaintToolButton(*this, *button, painter, widget, IsPrimary(widget));
  if (const auto* combo = As<QStyleOptionComboBox>(option); control == CC_ComboBox && combo)
    return PaintCombo(*this, *combo, painter, widget);
  if (const auto* spin = As<QStyleOptionSpinBox>(option); control == CC_SpinBox && spin)
    return PaintSpin(*this, *spin, painter, widget);
  if (const auto* slider = As<QStyleOptionSlider>(option); slider) {
    if (control == CC_ScrollBar) return PaintScrollBar(*this, *slider, painter, widget);
    if (control == CC_Slider && slider->tickPosition == QSlider::NoTicks)
      return PaintSlider(*this, *slider, painter, widget);
  }
  if (const auto* bar = As<QStyleOptionTitleBar>(option); control == CC_TitleBar && bar)
    return PaintTitleBar(*this, *bar, painter, widget);
  painter->save();
  if (control == CC_GroupBox) painter->setFont(HeadingFont(painter->font()));
  QProxyStyle::drawComplexControl(control, option, painter, widget);
  painter->restore();
}

QRect WidgetStyle::subElementRect(SubElement element, const QStyleOption* option, const QWidget* widget) const {
  const QRect place = QProxyStyle::subElementRect(element, option, widget);
  if (element == SE_LineEditContents) return place.adjusted(kSmallGap, 0, -kSmallGap, 0);
  return place;
}

QRect WidgetStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                                  const QWidget* widget) const {
  if (const auto* bar = As<QStyleOptionSlider>(option); control == CC_ScrollBar && bar)
    return ScrollBarPart(*bar, part);
  if (const auto* box = As<QStyleOptionGroupBox>(option); control == CC_GroupBox && box)
    return GroupBoxPart(*this, *box, part, widget);
  const QRect place = QProxyStyle::subControlRect(control, option, part, widget);
  if (control == CC_ComboBox && part == SC_ComboBoxEditField) return place.adjusted(kSmallGap, 0, 0, 0);
  return place;
}

QSize WidgetStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                                    const QWidget* widget) const {
  QSize size = QProxyStyle::sizeFromContents(type, option, contents, widget);
  const QFontMetrics metrics = option ? option->fontMetrics : QFontMetrics(QFont());
  const int target = TargetHeight(metrics);
  switch (type) {
    case CT_PushButton:
      return {std::max(size.width() + kGap, kTarget), std::max(size.height(), target)};
    case CT_ToolButton:
      return SizeOfToolButton(As<QStyleOptionToolButton>(option), size, target);
    case CT_SpinBox:
    case CT_ComboBox:
      // What stands beside the text in the field.
      return {size.width() + 2 * kSmallGap, target};
    case CT_LineEdit:
    case CT_CheckBox:
    case CT_RadioButton:
      return {std::max(size.width(), kTarget), std::max(size.height(), target)};
    case CT_MenuItem:
      if (const auto* item = As<QStyleOptionMenuItem>(option);
          item && item->menuItemType != QStyleOptionMenuItem::Separator)
        return {size.width() + kGap, std::max(size.height(), target)};
      return size;
    case CT_MenuBarItem:
      return {size.width() + kSmallGap, std::max(size.height(), target)};
    case CT_TabBarTab:
      return {size.width() + kGap, std::max(size.height(), target + kSmallGap)};
    case CT_HeaderSection:
    case CT_ItemViewItem:
      return {size.width(), std::max(size.height(), RowHeight(metrics))};
    case CT_GroupBox:
      return {size.width(), size.height() + kSmallGap};
    case CT_ProgressBar:
      return {size.width(), std::max(size.height(), metrics.height())};
    default:
      return size;
  }
}

int WidgetStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
  switch (metric) {
    case PM_SmallIconSize:
    case PM_ListViewIconSize:
    case PM_ButtonIconSize:
    case PM_ToolBarIconSize:
    case PM_TabBarIconSize:
    case PM_LineEditIconSize:
    case PM_IndicatorWidth:
    case PM_IndicatorHeight:
    case PM_ExclusiveIndicatorWidth:
    case PM_ExclusiveIndicatorHeight:
      return kGlyph;
    case PM_LayoutLeftMargin:
    case PM_LayoutTopMargin:
    case PM_LayoutRightMargin:
    case PM_LayoutBottomMargin:
      return widget && widget->isWindow() ? kWideGap : kGap + kSmallGap;
    case PM_LayoutHorizontalSpacing:
    case PM_LayoutVerticalSpacing:
      return kGap;
    case PM_HeaderMargin:
      return kSmallGap;
    case PM_MenuPanelWidth:
      return 1;
    case PM_ScrollBarExtent:
      return 12;
    case PM_ScrollBarSliderMin:
      return kTarget;
    case PM_SplitterWidth:
      return 5;
    case PM_MenuBarPanelWidth:
      return 0;
    case PM_MenuBarItemSpacing:
    case PM_MenuBarHMargin:
      return 2;
    case PM_SliderThickness:
    case PM_SliderControlThickness:
    case PM_SliderLength:
      return kGlyph + 2;
    case PM_TabBarTabShiftVertical:
    case PM_ButtonShiftHorizontal:
    case PM_ButtonShiftVertical:
      return 0;
    default:
      return QProxyStyle::pixelMetric(metric, option, widget);
  }
}

int WidgetStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                           QStyleHintReturn* answer) const {
  switch (hint) {
    case SH_EtchDisabledText:
    case SH_DialogButtonBox_ButtonsHaveIcons:
    case SH_DitherDisabledText:
      return 0;
    case SH_ItemView_ShowDecorationSelected:
    case SH_ItemView_DrawDelegateFrame:
      return 1;
    case SH_ToolTipLabel_Opacity:
      return 255;
    case SH_ComboBox_Popup:
      return 0;
    default:
      return QProxyStyle::styleHint(hint, option, widget, answer);
  }
}

QIcon WidgetStyle::standardIcon(StandardPixmap icon, const QStyleOption* option, const QWidget* widget) const {
  const QIcon own = StandardIconOf(icon);
  return own.isNull() ? QProxyStyle::standardIcon(icon, option, widget) : own;
}

QPixmap WidgetStyle::standardPixmap(StandardPixmap icon, const QStyleOption* option, const QWidget* widget) const {
  const QIcon own = StandardIconOf(icon);
  if (own.isNull()) return QProxyStyle::standardPixmap(icon, option, widget);
  const int side = pixelMetric(PM_SmallIconSize, option, widget);
  return own.pixmap(QSize(side, side), widget ? widget->devicePixelRatioF() : 1);
}

void SetPrimary(QWidget* button, bool primary) {
  button->setProperty(kPrimary, primary);
  button->update();
}

bool IsPrimary(const QWidget* button) {
  return button && button->property(kPrimary).toBool();
}

}  // namespace tonalith
