#include "ui/icon_bar.h"
#include "ui/plain_text.h"
#include "ui/style/spoken.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOption>
#include <QToolTip>
#include <algorithm>

namespace tonalith {

namespace {

constexpr int kFirstX = 1;
constexpr int kSeparatorWidth = 8;
constexpr int kGap = 1;
constexpr int kFrameWidth = 4;  // between picture and edge of a button

}  // namespace

QString TooltipOf(const QString& commandText) {
  const auto at = commandText.indexOf(QLatin1Char('\n'));
  return at < 0 ? commandText : commandText.mid(at + 1);
}

TZKIconBar2::TZKIconBar2(QWidget* parent) : QWidget(parent) {
  setMouseTracking(true);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  SetRole(this, QAccessible::ToolBar);
  setAccessibleName(tr("Control bar"));
}

void TZKIconBar2::SetBackground(const QString& file) {
  background_ = QImage(file);
  update();
}

void TZKIconBar2::AddSeparator() {
  slots_.emplace_back();
  Layout();
}

void TZKIconBar2::AddButton(int command, const QString& pictureFile, const QString& commandText) {
  Slot slot;
  slot.command = command;
  slot.picture = QImage(pictureFile).convertToFormat(QImage::Format_ARGB32);
  slot.tooltip = TooltipOf(commandText);
  slots_.push_back(std::move(slot));
  Layout();
}

void TZKIconBar2::EnableButton(int command, bool enabled) {
  for (Slot& slot : slots_) {
    if (slot.command != command || command == kSeparatorCommand || slot.enabled == enabled) continue;
    slot.enabled = enabled;
    update(slot.place);
  }
}

void TZKIconBar2::ShowButton(int command, bool visible) {
  for (Slot& slot : slots_) {
    if (slot.command == command && command != kSeparatorCommand) slot.visible = visible;
  }
  Layout();
}

bool TZKIconBar2::IsEnabled(int command) const {
  return std::any_of(slots_.begin(), slots_.end(), [command](const Slot& slot) {
    return slot.command == command && command != kSeparatorCommand && slot.enabled;
  });
}

void TZKIconBar2::SetFixedButtonSize(int width, int height) {
  fixed_ = QSize(std::max(0, width), std::max(0, height));
  Layout();
}

QSize TZKIconBar2::ButtonSize() const {
  const int own = fontMetrics().height() * 3 / 2 + 2 * kFrameWidth;
  return {fixed_.width() > 0 ? fixed_.width() : own, fixed_.height() > 0 ? fixed_.height() : own};
}

void TZKIconBar2::Layout() {
  const QSize size = ButtonSize();
  int x = kFirstX;
  for (Slot& slot : slots_) {
    slot.place = QRect();
    if (slot.command == kSeparatorCommand) {
      x += kSeparatorWidth;
    } else if (slot.visible) {
      slot.place = QRect(QPoint(x, (height() - size.height()) / 2), size);
      x += size.width() + kGap;
    }
  }
  if (width_ != x) {
    width_ = x;
    updateGeometry();
  }
  update();
}

QSize TZKIconBar2::sizeHint() const {
  return {width_, ButtonSize().height() + 2 * kGap};
}

void TZKIconBar2::resizeEvent(QResizeEvent*) {
  Layout();
}

void TZKIconBar2::changeEvent(QEvent* event) {
  if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
    Layout();
    updateGeometry();
  }
  QWidget::changeEvent(event);
}

// ---- drawing --------------------------------------------------------------------------------------------------------

QPixmap TZKIconBar2::Picture(const Slot& slot, const QSize& size) const {
  const qreal ratio = devicePixelRatioF();
  QImage image = slot.picture.scaled(size * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation)
                     .convertToFormat(QImage::Format_ARGB32);
  const QRgb text = palette().color(slot.enabled ? QPalette::Active : QPalette::Disabled, QPalette::ButtonText).rgb();
  for (int y = 0; y < image.height(); ++y) {
    auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
    for (int x = 0; x < image.width(); ++x) {
      const QRgb pixel = line[x];
      const int spread =
          std::max({qRed(pixel), qGreen(pixel), qBlue(pixel)}) - std::min({qRed(pixel), qGreen(pixel), qBlue(pixel)});
      if (slot.enabled && spread > 24) continue;
      line[x] = qRgba(qRed(text), qGreen(text), qBlue(text), qAlpha(pixel));
    }
  }
  QPixmap pixmap = QPixmap::fromImage(image);
  pixmap.setDevicePixelRatio(ratio);
  return pixmap;
}

void TZKIconBar2::DrawSlot(QPainter& painter, int index) const {
  const Slot& slot = slots_[static_cast<std::size_t>(index)];
  if (slot.place.isEmpty()) return;
  const bool pressed = IsPressed(index);
  if (slot.enabled && (pressed || hovered_ == index)) {
    QStyleOption option;
    option.initFrom(this);
    option.rect = slot.place;
    option.state = QStyle::State_Enabled | QStyle::State_MouseOver | QStyle::State_AutoRaise |
                   (pressed ? QStyle::State_Sunken : QStyle::State_Raised);
    style()->drawPrimitive(QStyle::PE_PanelButtonTool, &option, &painter, this);
  }
  QRect inner = slot.place.adjusted(kFrameWidth, kFrameWidth, -kFrameWidth, -kFrameWidth);
  if (pressed) inner.translate(1, 1);
  if (slot.picture.isNull()) {
    painter.setPen(palette().color(slot.enabled ? QPalette::Active : QPalette::Disabled, QPalette::ButtonText));
    painter.drawText(inner, Qt::AlignCenter, slot.tooltip.left(1));
    return;
  }
  const QPixmap pixmap = Picture(slot, inner.size());
  const QSizeF size = pixmap.deviceIndependentSize();
  painter.drawPixmap(
      QPointF(inner.x() + (inner.width() - size.width()) / 2, inner.y() + (inner.height() - size.height()) / 2),
      pixmap);
}

void TZKIconBar2::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  if (!background_.isNull()) painter.fillRect(rect(), QBrush(background_.scaledToHeight(std::max(1, height()))));
  for (int i = 0; i < Slots(); ++i) DrawSlot(painter, i);
}

// ---- mouse ----------------------------------------------------------------------------------------------------------

int TZKIconBar2::SlotAt(const QPoint& at) const {
  for (int i = 0; i < Slots(); ++i) {
    if (slots_[static_cast<std::size_t>(i)].place.contains(at)) return i;
  }
  return -1;
}

void TZKIconBar2::mousePressEvent(QMouseEvent* event) {
  const int slot = SlotAt(event->position().toPoint());
  if (event->button() != Qt::LeftButton || slot < 0 || !slots_[static_cast<std::size_t>(slot)].enabled) return;
  window()->raise();
  window()->activateWindow();
  pressed_ = slot;
  inside_ = true;
  update(RectOf(slot));
}

void TZKIconBar2::mouseMoveEvent(QMouseEvent* event) {
  const int slot = SlotAt(event->position().toPoint());
  if (pressed_ >= 0) inside_ = slot == pressed_;
  hovered_ = slot;
  update();
}

void TZKIconBar2::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton || pressed_ < 0) return;
  const int slot = pressed_;
  pressed_ = -1;
  update();
  if (SlotAt(event->position().toPoint()) == slot && slots_[static_cast<std::size_t>(slot)].enabled)
    emit Command(CommandAt(slot));
}

void TZKIconBar2::leaveEvent(QEvent*) {
  hovered_ = -1;
  update();
}

bool TZKIconBar2::event(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return QWidget::event(event);
  const auto* help = static_cast<QHelpEvent*>(event);
  const int slot = SlotAt(help->pos());
  if (slot >= 0) {
    ShowToolTip(help->globalPos(), slots_[static_cast<std::size_t>(slot)].tooltip, this, RectOf(slot));
  } else {
    QToolTip::hideText();
  }
  return true;
}

}  // namespace tonalith
