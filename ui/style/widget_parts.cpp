#include "ui/style/widget_parts.h"

#include <QAbstractScrollArea>
#include <QComboBox>
#include <QPainter>
#include <QSlider>
#include <QStyleOption>
#include <algorithm>

#include "ui/style/space.h"
#include "ui/style/widget_painting.h"

namespace tonalith {

namespace {

constexpr int kMenuArrow = 14;
constexpr int kHandle = 6;
constexpr int kGroove = 4;

bool HasArrow(const QStyleOptionToolButton& button) {
  return button.features & QStyleOptionToolButton::HasMenu && button.toolButtonStyle != Qt::ToolButtonIconOnly;
}

bool IsLit(const QStyleOptionSlider& slider, QStyle::SubControl part) {
  return slider.state & QStyle::State_Enabled && slider.activeSubControls & part &&
         slider.state & (QStyle::State_MouseOver | QStyle::State_Sunken);
}

struct IconRow {
  QStyle::StandardPixmap icon;
  Glyph glyph;
  Shade shade;
};

constexpr IconRow kIcons[] = {
    {QStyle::SP_LineEditClearButton, Glyph::Close, Shade::Secondary},
    {QStyle::SP_TitleBarCloseButton, Glyph::Close, Shade::Secondary},
    {QStyle::SP_DockWidgetCloseButton, Glyph::Close, Shade::Secondary},
    {QStyle::SP_TabCloseButton, Glyph::Close, Shade::Secondary},
    {QStyle::SP_TitleBarNormalButton, Glyph::Windows, Shade::Secondary},
    {QStyle::SP_MessageBoxInformation, Glyph::Info, Shade::Accent},
    {QStyle::SP_MessageBoxWarning, Glyph::Warning, Shade::Warning},
    {QStyle::SP_MessageBoxCritical, Glyph::Panic, Shade::Danger},
    {QStyle::SP_MessageBoxQuestion, Glyph::Question, Shade::Accent},
    {QStyle::SP_DirIcon, Glyph::Folder, Shade::Secondary},
    {QStyle::SP_DirClosedIcon, Glyph::Folder, Shade::Secondary},
    {QStyle::SP_DirOpenIcon, Glyph::Open, Shade::Secondary},
    {QStyle::SP_FileIcon, Glyph::Document, Shade::Secondary},
    {QStyle::SP_FileDialogNewFolder, Glyph::Add, Shade::Text},
    {QStyle::SP_FileDialogToParent, Glyph::Up, Shade::Text},
    {QStyle::SP_FileDialogBack, Glyph::Left, Shade::Text},
    {QStyle::SP_ArrowBack, Glyph::Left, Shade::Text},
    {QStyle::SP_ArrowForward, Glyph::Right, Shade::Text},
    {QStyle::SP_ToolBarHorizontalExtensionButton, Glyph::More, Shade::Text},
};

}  // namespace

void PaintToolButton(const QStyle& style, const QStyleOptionToolButton& button, QPainter* painter,
                     const QWidget* widget, bool primary) {
  QStyleOption body = button;
  if (button.activeSubControls & QStyle::SC_ToolButtonMenu) body.state |= QStyle::State_Sunken;
  PaintButton(painter, body, primary, button.state & QStyle::State_AutoRaise);
  QStyleOptionToolButton label = button;
  label.state &= ~(QStyle::State_HasFocus | QStyle::State_AutoRaise);
  if (button.toolButtonStyle != Qt::ToolButtonIconOnly) {
    const int arrow = HasArrow(button) ? kMenuArrow : 0;
    label.rect = QStyle::visualRect(button.direction, button.rect, button.rect.adjusted(kGap, 0, -kGap - arrow, 0));
    if (arrow) {
      QStyleOption place = button;
      const int right = button.rect.right() + 1 - kSmallGap - kMenuArrow;
      place.rect = QStyle::visualRect(button.direction, button.rect,
                                      QRect(right, button.rect.top(), kMenuArrow, button.rect.height()));
      PaintArrow(painter, place, Glyph::Down);
    }
  }
  style.drawControl(QStyle::CE_ToolButtonLabel, &label, painter, widget);
}

QSize SizeOfToolButton(const QStyleOptionToolButton* button, const QSize& size, int target) {
  int width = size.width();
  if (button && button->toolButtonStyle != Qt::ToolButtonIconOnly) {
    width += kGap;
    if (HasArrow(*button)) width += kMenuArrow;
  }
  return {std::max(width, kTarget), std::max(size.height(), target)};
}

void PaintCombo(const QStyle& style, const QStyleOptionComboBox& combo, QPainter* painter, const QWidget* widget) {
  if (combo.frame) PaintField(painter, combo);
  QStyleOption arrow = combo;
  arrow.rect = style.subControlRect(QStyle::CC_ComboBox, &combo, QStyle::SC_ComboBoxArrow, widget);
  PaintArrow(painter, arrow, Glyph::Down);
}

void PaintSpin(const QStyle& style, const QStyleOptionSpinBox& spin, QPainter* painter, const QWidget* widget) {
  if (spin.frame) PaintField(painter, spin);
  if (spin.buttonSymbols == QAbstractSpinBox::NoButtons) return;
  const struct {
    QStyle::SubControl part;
    QAbstractSpinBox::StepEnabledFlag step;
    Glyph glyph;
  } arrows[] = {{QStyle::SC_SpinBoxUp, QAbstractSpinBox::StepUpEnabled, Glyph::Up},
                {QStyle::SC_SpinBoxDown, QAbstractSpinBox::StepDownEnabled, Glyph::Down}};
  for (const auto& one : arrows) {
    QStyleOption arrow = spin;
    arrow.rect = style.subControlRect(QStyle::CC_SpinBox, &spin, one.part, widget);
    if (!(spin.stepEnabled & one.step)) arrow.state &= ~QStyle::State_Enabled;
    const bool lit = spin.activeSubControls == one.part && arrow.state & QStyle::State_Enabled;
    if (lit) PaintPanel(painter, arrow.rect.adjusted(0, 1, -1, -1), ColourOf(Shade::Hover), {}, 2);
    PaintArrow(painter, arrow, one.glyph);
  }
}

void PaintSlider(const QStyle& style, const QStyleOptionSlider& slider, QPainter* painter, const QWidget* widget) {
  const QRect handle = style.subControlRect(QStyle::CC_Slider, &slider, QStyle::SC_SliderHandle, widget);
  const bool across = slider.orientation == Qt::Horizontal;
  const QRectF place = slider.rect;
  const QRectF groove = across ? QRectF(place.left(), place.center().y() - kGroove / 2.0, place.width(), kGroove)
                               : QRectF(place.center().x() - kGroove / 2.0, place.top(), kGroove, place.height());
  const bool enabled = slider.state & QStyle::State_Enabled;
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(Qt::NoPen);
  painter->setBrush(ColourOf(Shade::Edge));
  painter->drawRoundedRect(groove, kGroove / 2.0, kGroove / 2.0);
  painter->setBrush(ColourOf(enabled ? Shade::Surface : Shade::Window));
  painter->setPen(
      QPen(ColourOf(enabled ? Shade::Accent : Shade::Faint), IsLit(slider, QStyle::SC_SliderHandle) ? 3 : 2));
  painter->drawEllipse(QRectF(handle).center(), kGap - 1, kGap - 1);
  painter->restore();
  if (slider.state & QStyle::State_HasFocus) PaintFocus(painter, slider.rect, ColourOf(Shade::Accent));
}

QColor GroundBehind(const QWidget* widget) {
  for (const QWidget* around = widget; around; around = around->parentWidget())
    if (const auto* area = qobject_cast<const QAbstractScrollArea*>(around))
      return area->viewport()->palette().color(area->viewport()->backgroundRole());
  return ColourOf(Shade::Surface);
}

void PaintScrollBar(const QStyle& style, const QStyleOptionSlider& bar, QPainter* painter, const QWidget* widget) {
  painter->fillRect(bar.rect, GroundBehind(widget));
  if (bar.maximum <= bar.minimum) return;
  QRectF handle = style.subControlRect(QStyle::CC_ScrollBar, &bar, QStyle::SC_ScrollBarSlider, widget);
  const bool lit = IsLit(bar, QStyle::SC_ScrollBarSlider);
  const qreal thick = lit ? kHandle + 2 : kHandle;
  if (bar.orientation == Qt::Horizontal)
    handle = QRectF(handle.left() + 2, handle.center().y() - thick / 2, handle.width() - 4, thick);
  else
    handle = QRectF(handle.center().x() - thick / 2, handle.top() + 2, thick, handle.height() - 4);
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(Qt::NoPen);
  painter->setBrush(ColourOf(lit ? Shade::Secondary : Shade::Edge));
  painter->drawRoundedRect(handle, thick / 2, thick / 2);
  painter->restore();
}

QRect ScrollBarPart(const QStyleOptionSlider& bar, QStyle::SubControl part) {
  const bool across = bar.orientation == Qt::Horizontal;
  const int length = across ? bar.rect.width() : bar.rect.height();
  const auto range = static_cast<qint64>(bar.maximum) - bar.minimum;
  int handle = length;
  if (range > 0) handle = static_cast<int>(static_cast<qint64>(bar.pageStep) * length / (range + bar.pageStep));
  handle = std::clamp(handle, std::min(kTarget, length), length);
  const int start =
      QStyle::sliderPositionFromValue(bar.minimum, bar.maximum, bar.sliderPosition, length - handle, bar.upsideDown);
  const auto stretch = [&](int from, int size) {
    const QRect place = across ? QRect(bar.rect.left() + from, bar.rect.top(), size, bar.rect.height())
                               : QRect(bar.rect.left(), bar.rect.top() + from, bar.rect.width(), size);
    return QStyle::visualRect(bar.direction, bar.rect, place);
  };
  switch (part) {
    case QStyle::SC_ScrollBarGroove:
      return bar.rect;
    case QStyle::SC_ScrollBarSlider:
      return stretch(start, handle);
    case QStyle::SC_ScrollBarSubPage:
      return stretch(0, start);
    case QStyle::SC_ScrollBarAddPage:
      return stretch(start + handle, length - start - handle);
    default:
      return {};
  }
}

QRect GroupBoxPart(const QStyle& style, const QStyleOptionGroupBox& box, QStyle::SubControl part,
                   const QWidget* widget) {
  const QFontMetrics metrics(HeadingFont(widget ? widget->font() : QFont()));
  const bool checkable = box.subControls & QStyle::SC_GroupBoxCheckBox;
  const bool titled = checkable || !box.text.isEmpty();
  const int line = std::max(metrics.height(), checkable ? kGlyph : 0);
  const auto visual = [&](int x, int width) {
    return QStyle::visualRect(box.direction, box.rect, QRect(box.rect.left() + x, box.rect.top() + kGap, width, line));
  };
  const int text = kGap + kSmallGap + (checkable ? kGlyph + kGap : 0);
  switch (part) {
    case QStyle::SC_GroupBoxFrame:
      return box.rect;
    case QStyle::SC_GroupBoxCheckBox:
      return visual(kGap + kSmallGap, kGlyph);
    case QStyle::SC_GroupBoxLabel:
      return visual(text, metrics.horizontalAdvance(box.text) + kSmallGap);
    case QStyle::SC_GroupBoxContents: {
      const int frame = style.pixelMetric(QStyle::PM_DefaultFrameWidth, &box, widget);
      return box.rect.adjusted(frame, titled ? line + kGap : frame, -frame, -frame);
    }
    default:
      return {};
  }
}

void PaintBranch(QPainter* painter, const QStyleOption& option) {
  if (!(option.state & QStyle::State_Children)) return;
  const bool open = option.state & QStyle::State_Open;
  const Glyph closed = option.direction == Qt::LeftToRight ? Glyph::Right : Glyph::Left;
  PaintArrow(painter, option, open ? Glyph::Down : closed);
}

// The part before the first column belongs to the row that is selected.
void PaintRowBehind(QPainter* painter, const QStyleOptionViewItem& row) {
  if (row.features & QStyleOptionViewItem::Alternate)
    painter->fillRect(row.rect, row.palette.brush(QPalette::AlternateBase));
  QStyleOptionViewItem behind = row;
  behind.backgroundBrush = Qt::NoBrush;
  PaintRow(painter, behind);
}

void PaintSplitter(QPainter* painter, const QStyleOption& option) {
  const bool over = option.state & QStyle::State_MouseOver && option.state & QStyle::State_Enabled;
  const QColor line = ColourOf(over ? Shade::Accent : Shade::Line);
  const QRect& place = option.rect;
  if (place.width() < place.height())
    painter->fillRect(place.center().x(), place.top(), 1, place.height(), line);
  else
    painter->fillRect(place.left(), place.center().y(), place.width(), 1, line);
}

bool PaintFrame(QStyle::PrimitiveElement element, QPainter* painter, const QStyleOption& option) {
  const QColor line = ColourOf(Shade::Line);
  switch (element) {
    case QStyle::PE_FrameFocusRect:
      PaintPanel(painter, option.rect, {}, ColourOf(Shade::Accent), 3);
      return true;
    case QStyle::PE_Frame:
      PaintPanel(painter, option.rect, {}, line, 3);
      return true;
    case QStyle::PE_FrameGroupBox:
      PaintPanel(painter, option.rect, ColourOf(Shade::Raised), line, kRound);
      return true;
    case QStyle::PE_FrameTabWidget:
      PaintPanel(painter, option.rect, ColourOf(Shade::Surface), line, 0);
      return true;
    case QStyle::PE_FrameTabBarBase:
      PaintLineBelow(painter, option.rect);
      return true;
    case QStyle::PE_FrameMenu:
      PaintPanel(painter, option.rect, {}, line, 0);
      return true;
    case QStyle::PE_PanelMenu:
      painter->fillRect(option.rect, ColourOf(Shade::Raised));
      return true;
    case QStyle::PE_PanelTipLabel:
      painter->fillRect(option.rect, ColourOf(Shade::Raised));
      PaintPanel(painter, option.rect, {}, ColourOf(Shade::Edge), 0);
      return true;
    default:
      return false;
  }
}

QIcon StandardIconOf(QStyle::StandardPixmap icon) {
  for (const IconRow& row : kIcons)
    if (row.icon == icon) return IconOf(row.glyph, row.shade);
  return {};
}

}  // namespace tonalith
