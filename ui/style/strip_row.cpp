#include "ui/style/strip_row.h"

#include <QBoxLayout>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QStyleOptionFocusRect>

#include "ui/style/plain_text.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

namespace {

constexpr int kGlyphPlace = kWideGap + kGlyph + kGap;
constexpr int kBarHeight = 6;
// Of the width of the row.
constexpr int kProgressShare = 4;
constexpr int kBarShare = 6;

struct PhaseLook {
  Glyph glyph;
  Shade shade;
};

PhaseLook LookOf(const StripState& state) {
  switch (state.phase) {
    case StripState::Phase::Done:
      return {Glyph::Check, Shade::Ok};
    case StripState::Phase::Failed:
      return {Glyph::Warning, Shade::Danger};
    case StripState::Phase::Cancelled:
      return {Glyph::Cancel, Shade::Secondary};
    case StripState::Phase::Waiting:
      return {state.glyph, Shade::Faint};
    case StripState::Phase::Running:
      break;
  }
  return {state.glyph, Shade::Busy};
}

}  // namespace

StripRow::StripRow(QWidget* parent)
    : QWidget(parent),
      what_(new PlainLabel(this)),
      progress_(new PlainLabel(this)),
      bar_(new QProgressBar(this)),
      timeLeft_(new PlainLabel(this)),
      cancel_(new QPushButton(tr("Cancel"), this)) {
  setFocusPolicy(Qt::StrongFocus);
  SetRole(this, QAccessible::Button);
  setCursor(Qt::PointingHandCursor);
  what_->setFont(HeadingFont(font()));
  for (PlainLabel* label : {progress_, timeLeft_}) {
    SetSecondaryText(label);
    label->setFont(TabularFont(font()));
  }
  bar_->setTextVisible(false);
  bar_->setFixedHeight(kBarHeight);
  cancel_->setCursor(Qt::ArrowCursor);
  connect(cancel_, &QPushButton::clicked, this, &StripRow::CancelPressed);
  auto* row = new QHBoxLayout(this);
  SetSpace(row, 0, kWideGap);
  row->setContentsMargins(kGlyphPlace + kGap, 2, kWideGap, 2);
  // Rows under each other stay in columns.
  QSizePolicy policy = cancel_->sizePolicy();
  policy.setRetainSizeWhenHidden(true);
  cancel_->setSizePolicy(policy);
  row->addWidget(what_, 5);
  row->addWidget(progress_, kProgressShare);
  row->addWidget(bar_, kBarShare);
  row->addWidget(timeLeft_, 2);
  row->addWidget(cancel_);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void StripRow::SetState(const StripState& state) {
  state_ = state;
  what_->setText(state.what);
  progress_->setText(state.progress);
  timeLeft_->setText(state.timeLeft);
  const bool moves = state.phase == StripState::Phase::Waiting || state.phase == StripState::Phase::Running;
  // A bar of unknown length would move for ever, and keep the program awake; it stands empty instead.
  bar_->setRange(0, state.total > 0 ? state.total : 1);
  bar_->setValue(state.total > 0 ? state.done : 0);
  // The sentence at the end has the place of the bar too.
  auto* row = static_cast<QHBoxLayout*>(layout());
  QSizePolicy policy = bar_->sizePolicy();
  policy.setRetainSizeWhenHidden(moves);
  bar_->setSizePolicy(policy);
  row->setStretchFactor(progress_, moves ? kProgressShare : kProgressShare + kBarShare);
  bar_->setVisible(moves);
  bar_->setAccessibleName(tr("Progress"));
  cancel_->setVisible(moves);
  EnableUnless(cancel_, state.canCancel ? QString() : tr("It can no longer be cancelled."));
  SetAccessibleName(cancel_, tr("Cancel %1").arg(state.what));
  QStringList said = {state.what, state.progress, state.timeLeft};
  said.removeAll(QString());
  SetAccessibleName(this, said.join(QStringLiteral(", ")));
  SetToolTip(this, tr("Show the messages of this transfer"));
  update();
}

void StripRow::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), ColourOf(Shade::Raised));
  painter.setPen(ColourOf(Shade::Line));
  painter.drawLine(0, 0, width(), 0);
  const PhaseLook look = LookOf(state_);
  const QRect place(kWideGap, 0, kGlyph, height());
  PaintGlyph(&painter, QStyle::visualRect(layoutDirection(), rect(), place), look.glyph, ColourOf(look.shade));
  if (!hasFocus()) return;
  QStyleOptionFocusRect focus;
  focus.initFrom(this);
  focus.rect = rect().adjusted(0, 1, 0, 0);
  style()->drawPrimitive(QStyle::PE_FrameFocusRect, &focus, &painter, this);
}

void StripRow::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) emit DetailsPressed();
}

void StripRow::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter || event->key() == Qt::Key_Space)
    emit DetailsPressed();
  else
    QWidget::keyPressEvent(event);
}

QString TimeLeftText(int seconds) {
  if (seconds < 1) return {};
  if (seconds < 100) return StripRow::tr("%1 s left").arg(seconds);
  return StripRow::tr("%1 min left").arg((seconds + 30) / 60);
}

}  // namespace tonalith
