#include "app/pacing_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedLayout>
#include <QTableWidget>
#include <QVBoxLayout>

#include "platform/prompts.h"
#include "platform/text.h"
#include "services/program_midi.h"
#include "studio/studio_document.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/empty_state.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/widget_style.h"

namespace tonalith {

PacingDialog::PacingDialog(ProgramMidi& midi, const ZKStudioDoc& studio, Prompts& prompts, const std::string& folder,
                           QWidget* parent)
    : QDialog(parent),
      midi_(midi),
      studio_(studio),
      prompts_(prompts),
      folder_(folder),
      table_(new QTableWidget(0, 3, this)),
      types_(new QComboBox(this)),
      lines_(new QPlainTextEdit(this)),
      sentence_(new PlainLabel(this)),
      calibrate_(new QPushButton(tr("C&alibrate"), this)),
      remove_(new QPushButton(tr("&Remove"), this)) {
  SetTitle(this, tr("Sending Pace"));
  auto* layout = new QVBoxLayout(this);
  SetSpace(layout, kWideGap, kGap);
  auto* head = new PlainLabel(tr("&Instruments that are sent to with pauses:"), this);
  head->setBuddy(table_);
  layout->addWidget(head);
  table_->setHorizontalHeaderLabels({tr("Instrument"), tr("MIDI OUT port"), tr("Pace")});
  table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  table_->horizontalHeader()->setStretchLastSection(true);
  DressList(table_);
  table_->setWordWrap(false);
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  table_->setTabKeyNavigation(false);
  table_->setMinimumSize(fontMetrics().averageCharWidth() * 80, fontMetrics().height() * 7);
  paces_ = new QStackedLayout;
  paces_->addWidget(new EmptyState(Glyph::Send, tr("Every instrument is sent to without pauses"),
                                   tr("When one loses data, let the calibration below find what it takes.")));
  paces_->addWidget(table_);
  layout->addLayout(paces_, 1);
  auto* removeRow = new QHBoxLayout;
  removeRow->addStretch();
  removeRow->addWidget(remove_);
  layout->addLayout(removeRow);
  auto* row = new QHBoxLayout;
  auto* label = new PlainLabel(tr("&Find it out with:"), this);
  label->setBuddy(types_);
  row->addWidget(label);
  types_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  row->addWidget(types_, 1);
  row->addWidget(calibrate_);
  SetPrimary(calibrate_);
  layout->addLayout(row);
  lines_->setReadOnly(true);
  lines_->setTabChangesFocus(true);
  lines_->setPlaceholderText(
      tr("The data is got from the instrument, sent at different speeds with other names and compared; at the end the "
         "instrument is given back what it held. The smaller the data, the quicker."));
  lines_->setAccessibleName(tr("What the calibration does"));
  layout->addWidget(lines_, 1);
  sentence_->setWordWrap(true);
  layout->addWidget(sentence_);
  auto* buttons = new QDialogButtonBox(this);
  close_ = buttons->addButton(QDialogButtonBox::Close);
  connect(buttons, &QDialogButtonBox::rejected, this, &PacingDialog::reject);
  connect(calibrate_, &QPushButton::clicked, this, &PacingDialog::Calibrate);
  connect(remove_, &QPushButton::clicked, this, &PacingDialog::Remove);
  connect(table_, &QTableWidget::itemSelectionChanged, this, [this] { ShowRunning(running_); });
  layout->addWidget(buttons);
  FillTable();
  FillTypes();
  ShowRunning(false);
}

// Nobody is left to be told.
PacingDialog::~PacingDialog() {
  if (job_ && !job_->Ended()) midi_.desk().Wait((midi_.desk().Cancel(job_), job_), 60'000);
}

void PacingDialog::FillTable() {
  table_->setRowCount(0);
  for (const PacingProfile::Entry& entry : midi_.pacing().All()) {
    const int at = table_->rowCount();
    table_->insertRow(at);
    table_->setItem(at, 0, new QTableWidgetItem(ShownUtf8(entry.instrument)));
    table_->setItem(at, 1, new QTableWidgetItem(ShownUtf8(entry.port)));
    table_->setItem(at, 2, new QTableWidgetItem(ShownUtf8(PacingText(entry.pacing))));
  }
  paces_->setCurrentIndex(table_->rowCount() > 0 ? 1 : 0);
}

// Data with names that can be got and sent: only that can be compared.
void PacingDialog::FillTypes() {
  for (const auto& instrument : studio_.instruments()) {
    for (const auto& driver : instrument->drivers) {
      const DataFilePtr type = studio_.GetNewDataFile(driver.get());
      if (!type || !PacingCalibration::Suits(*type)) continue;
      types_->addItem(ShownLatin1(instrument->name + " " + driver->TypeName()),
                      QVariant::fromValue<void*>(driver.get()));
    }
  }
}

void PacingDialog::ShowRunning(bool running) {
  running_ = running;
  const QString busy = running ? tr("The calibration is running.") : QString();
  const QString none = tr("No instrument of the studio has data that can be compared.");
  EnableUnless(calibrate_, busy.isEmpty() && types_->count() == 0 ? none : busy);
  types_->setEnabled(!running && types_->count() > 0);
  const bool chosen = !table_->selectedItems().isEmpty();
  EnableUnless(remove_, busy.isEmpty() && !chosen ? tr("No instrument is chosen in the list.") : busy);
  close_->setText(running ? tr("&Cancel") : tr("&Close"));
}

void PacingDialog::Calibrate() {
  MessagePrompt prompt;
  prompt.title = "Sending Pace";
  prompt.text = "The " + ToUtf8(types_->currentText()) +
                " of the instrument is overwritten several times and then given back.\nCalibrate now?";
  prompt.buttons = PromptButtons::YesNo;
  prompt.icon = PromptIcon::Question;
  if (prompts_.Message(prompt) != PromptAnswer::Yes) return;
  const DataFilePtr type = studio_.GetNewDataFile(static_cast<ZKDrvList*>(types_->currentData().value<void*>()));
  if (!type) return;
  lines_->clear();
  sentence_->setText({});
  PacingCalibration::Options options;
  options.keepIn = folder_;
  options.tell = [this](const std::string& line) { lines_->appendPlainText(ShownUtf8(line)); };
  calibration_ = std::make_unique<PacingCalibration>(midi_.desk(), midi_.midi(), midi_.pacing(), std::move(options));
  ShowRunning(true);
  job_ = calibration_->Begin(*type, [this](const PacingCalibration::Report& report) { Ended(report); });
}

void PacingDialog::Ended(const PacingCalibration::Report& report) {
  sentence_->setText(ShownUtf8(report.sentence));
  FillTable();
  ShowRunning(false);
}

void PacingDialog::Remove() {
  const auto entries = midi_.pacing().All();
  const auto row = static_cast<std::size_t>(table_->currentRow());
  if (row >= entries.size()) return;
  const Result removed = midi_.pacing().Remove(entries[row].instrument, entries[row].port);
  sentence_->setText(
      ShownUtf8(removed.ok() ? "Sends to the " + entries[row].instrument + " have no pauses any more." : removed.text));
  FillTable();
  ShowRunning(false);
}

QString PacingDialog::Sentence() const {
  return sentence_->text();
}

void PacingDialog::reject() {
  if (!running_) return QDialog::reject();
  sentence_->setText(tr("Cancelled: the instrument is given back what it held..."));
  midi_.desk().Cancel(job_);
}

}  // namespace tonalith
