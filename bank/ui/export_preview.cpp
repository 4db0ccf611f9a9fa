#include "bank/ui/export_preview.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/widget_style.h"

namespace tonalith {

ExportPreview::ExportPreview(std::optional<ExportFormat> first, Render render, Write write, QWidget* parent)
    : QDialog(parent),
      render_(std::move(render)),
      formats_(new QComboBox(this)),
      said_(new PlainLabel(this)),
      text_(new QPlainTextEdit(this)) {
  SetTitle(this, tr("Export Preview"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  auto* head = new PlainLabel(tr("&Format:"), this);
  head->setBuddy(formats_);
  column->addWidget(head);
  for (const ExportKind& kind : ExportKinds()) {
    if (!kind.isText) continue;
    formats_->addItem(QString::fromLatin1(kind.title), static_cast<int>(kind.format));
    if (first == kind.format) formats_->setCurrentIndex(formats_->count() - 1);
  }
  column->addWidget(formats_);
  SetSecondaryText(said_);
  said_->setWordWrap(true);
  column->addWidget(said_);
  text_->setReadOnly(true);
  text_->setLineWrapMode(QPlainTextEdit::NoWrap);
  text_->setTabChangesFocus(true);
  text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  text_->setAccessibleName(tr("How the file begins"));
  column->addWidget(text_, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
  write_ = buttons->addButton(tr("&Export..."), QDialogButtonBox::ActionRole);
  SetPrimary(write_);
  column->addWidget(buttons);
  connect(formats_, &QComboBox::currentIndexChanged, this, &ExportPreview::Show);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(write_, &QPushButton::clicked, this, [this, write = std::move(write)] {
    if (const auto format = Chosen(); format && write) write(*format);
  });
  resize(fontMetrics().averageCharWidth() * 80, fontMetrics().height() * 28);
  Show();
}

std::optional<ExportFormat> ExportPreview::Chosen() const {
  const QVariant chosen = formats_->currentData();
  return chosen.isValid() ? std::optional<ExportFormat>(static_cast<ExportFormat>(chosen.toInt())) : std::nullopt;
}

void ExportPreview::Show() {
  const auto format = Chosen();
  if (!format) return;
  std::string text;
  const Result made = render_ ? render_(*format, &text) : Result::Failure("There is nothing to export yet.");
  const auto lines = std::count(text.begin(), text.end(), '\n');
  const QString counted = lines == 1 ? tr("1 line") : tr("%1 lines").arg(lines);
  said_->setText(made.ok() ? tr("What is written (%2): %1").arg(ShownUtf8(KindOf(*format).what), counted)
                           : ShownUtf8(made.text));
  text_->setPlainText(ShownLines(FromUtf8(text)));
  EnableUnless(write_, made.ok() ? QString() : ShownUtf8(made.text));
}

}  // namespace tonalith
