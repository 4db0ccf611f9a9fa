#include "ui/style/empty_state.h"

#include <QBoxLayout>
#include <QPainter>
#include <QPushButton>

#include "ui/style/plain_text.h"
#include "ui/style/space.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

constexpr int kPicture = 48;

}  // namespace

EmptyState::EmptyState(Glyph glyph, const QString& title, const QString& hint, QWidget* parent)
    : QWidget(parent),
      glyph_(glyph),
      picture_(new QWidget(this)),
      title_(new PlainLabel(this)),
      hint_(new PlainLabel(this)),
      row_(new QWidget(this)),
      buttons_(new QHBoxLayout(row_)) {
  picture_->setFixedSize(kPicture, kPicture);
  title_->setFont(HeadingFont(font()));
  for (PlainLabel* label : {title_, hint_}) {
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
  }
  SetSecondaryText(hint_);
  SetTexts(title, hint);
  SetSpace(buttons_, 0, kGap);
  buttons_->addStretch();
  buttons_->addStretch();
  row_->hide();
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  column->addStretch(2);
  column->addWidget(picture_, 0, Qt::AlignHCenter);
  column->addWidget(title_);
  column->addWidget(hint_);
  column->addSpacing(kSmallGap);
  column->addWidget(row_);
  column->addStretch(3);
}

void EmptyState::SetTexts(const QString& title, const QString& hint) {
  title_->setText(title);
  hint_->setText(hint);
  hint_->setVisible(!hint.isEmpty());
}

QPushButton* EmptyState::AddButton(const QString& text, std::function<void()> run) {
  auto* button = new QPushButton(text, row_);
  if (buttons_->count() == 2) SetPrimary(button);
  connect(button, &QPushButton::clicked, this, [run = std::move(run)] {
    if (run) run();
  });
  buttons_->insertWidget(buttons_->count() - 1, button);
  row_->show();
  return button;
}

void EmptyState::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  PaintGlyph(&painter, picture_->geometry(), glyph_, ColourOf(Shade::Edge));
}

}  // namespace tonalith
