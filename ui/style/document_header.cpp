#include "ui/style/document_header.h"

#include <QBoxLayout>

#include "ui/style/plain_text.h"
#include "ui/style/space.h"

namespace tonalith {

DocumentHeader::DocumentHeader(QWidget* parent)
    : QWidget(parent),
      picture_(new PlainLabel(this)),
      title_(new PlainLabel(this)),
      secondary_(new PlainLabel(this)),
      marks_(new QHBoxLayout),
      row_(new QHBoxLayout(this)) {
  picture_->hide();
  title_->setFont(TitleFont(font()));
  SetSecondaryText(secondary_);
  SetSpace(marks_, 0, kGap);
  marks_->addWidget(title_);
  marks_->addStretch();
  auto* texts = new QVBoxLayout;
  SetSpace(texts, 0, 0);
  texts->addStretch();
  texts->addLayout(marks_);
  texts->addWidget(secondary_);
  texts->addStretch();
  SetSpace(row_, 0, kWideGap);
  row_->addWidget(picture_);
  row_->addLayout(texts, 1);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void DocumentHeader::SetPicture(const QPixmap& picture) {
  picture_->setPixmap(picture);
  hasPicture_ = !picture.isNull();
  ShowPicture();
}

void DocumentHeader::ShowPicture() {
  int needed = picture_->sizeHint().width() + title_->sizeHint().width();
  for (const auto& [mark, label] : labels_) {
    if (label && !label->isHidden()) needed += label->sizeHint().width() + kGap;
  }
  for (const QWidget* widget : right_) needed += widget->sizeHint().width() + kWideGap;
  picture_->setVisible(hasPicture_ && needed + kWideGap <= width());
}

void DocumentHeader::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  ShowPicture();
}

void DocumentHeader::SetTitle(const QString& title) {
  title_->setText(title);
  ShowPicture();
  SetToolTip(title_, title);  // a narrow window cuts it
}

void DocumentHeader::SetSecondary(const QString& text) {
  secondary_->setText(text);
  SetToolTip(secondary_, text);
}

void DocumentHeader::SetMark(Mark mark, bool on, const QString& words) {
  MarkLabel*& label = labels_[mark];
  if (!label) {
    if (!on) return;
    label = new MarkLabel(this);
    marks_->insertWidget(marks_->count() - 1, label);
  }
  label->SetMark(mark, words);
  label->setVisible(on);
  ShowPicture();
}

QString DocumentHeader::Title() const {
  return title_->text();
}

void DocumentHeader::AddRight(QWidget* widget) {
  row_->addWidget(widget, 0, Qt::AlignVCenter);
  right_.push_back(widget);
}

}  // namespace tonalith
