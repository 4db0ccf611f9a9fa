#include "studio/ui/connected_dialog.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

#include "studio/studio_document.h"
#include "studio/ui/search_rows.h"
#include "ui/plain_text.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

ConnectedDialog::ConnectedDialog(ZKStudioDoc& studio, const AutoConfigServices& services, QWidget* parent)
    : QDialog(parent), studio_(studio) {
  SetTitle(this, tr("What Is Connected?"));
  auto* column = new QVBoxLayout(this);
  SetSpace(column, kWideGap, kGap);
  text_ = new PlainLabel(this);
  text_->setWordWrap(true);
  SetSecondaryText(text_);
  column->addWidget(text_);
  rows_ = new SearchRows(studio, services, this);
  column->addWidget(rows_, 1);
  auto* buttons = new QHBoxLayout;
  mine_ = new QPushButton(tr("Search for the &Studio's Instruments"), this);
  all_ = new QPushButton(tr("Search for &All Installed Instruments"), this);
  auto* close = new QPushButton(tr("C&lose"), this);
  for (QPushButton* button : {mine_, all_}) {
    button->setAutoDefault(false);
    buttons->addWidget(button);
  }
  buttons->addStretch(1);
  buttons->addWidget(close);
  close->setDefault(true);
  column->addLayout(buttons);
  connect(mine_, &QPushButton::clicked, this, [this] { SearchStudio(); });
  connect(all_, &QPushButton::clicked, this, [this] { SearchAll(); });
  connect(close, &QPushButton::clicked, this, &QDialog::accept);
  connect(rows_, &SearchRows::RunningChanged, this, &ConnectedDialog::ShowButtons);
  resize(fontMetrics().averageCharWidth() * 96, fontMetrics().height() * 30);
}

void ConnectedDialog::Begin() {
  if (studio_.instruments().empty())
    SearchAll();
  else
    SearchStudio();
}

void ConnectedDialog::SearchStudio() {
  text_->setText(tr("Each instrument of the studio is searched for on every MIDI port."));
  rows_->search().Clear();
  for (const auto& instrument : studio_.instruments()) rows_->search().AddInstrument(instrument.get());
  rows_->Begin();
  ShowButtons(rows_->search().Running());
}

void ConnectedDialog::SearchAll() {
  text_->setText(
      tr("Everything that is installed is searched for on every MIDI port, which takes a few minutes. What is found "
         "joins the studio."));
  rows_->search().Clear();
  for (const auto& instrument : studio_.instruments()) rows_->search().AddInstrument(instrument.get());
  rows_->search().AddInstalled();
  rows_->Begin();
  ShowButtons(rows_->search().Running());
}

void ConnectedDialog::ShowButtons(bool running) {
  const QString busy = running ? tr("A search is running.") : QString();
  EnableUnless(all_, busy);
  EnableUnless(mine_,
               busy.isEmpty() && studio_.instruments().empty() ? tr("The studio has no instruments yet.") : busy);
}

void ConnectedDialog::done(int result) {
  rows_->search().Stop();
  QDialog::done(result);
}

}  // namespace tonalith
