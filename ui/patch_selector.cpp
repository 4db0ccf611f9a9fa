#include "ui/patch_selector.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QSpinBox>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/plain_text.h"
#include "ui/qt_text.h"

namespace tonalith {

ZKPatchSelector::ZKPatchSelector(const std::string& question, int current, int minimum, int maximum, QWidget* parent)
    : QDialog(parent), number_(new QSpinBox(this)) {
  SetTitle(this, ShownUtf8(question));
  auto* column = new QVBoxLayout(this);
  auto* text = new PlainLabel(FromUtf8(question), this);
  text->setWordWrap(true);
  text->setMinimumWidth(fontMetrics().averageCharWidth() * 48);
  column->addWidget(text);
  number_->setRange(minimum, std::max(minimum, maximum));
  number_->setValue(current);
  number_->selectAll();
  auto* label = new PlainLabel(tr("&Patch:"), this);
  label->setBuddy(number_);
  auto* row = new QHBoxLayout;
  row->addWidget(label);
  row->addWidget(number_);
  row->addWidget(new PlainLabel(tr("(%1 to %2)").arg(number_->minimum()).arg(number_->maximum()), this));
  row->addStretch(1);
  column->addLayout(row);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  column->addWidget(buttons);
}

int ZKPatchSelector::Selected() const {
  return number_->value();
}

}  // namespace tonalith
