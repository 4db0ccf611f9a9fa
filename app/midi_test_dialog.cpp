#include "app/midi_test_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedLayout>
#include <QTableWidget>
#include <QVBoxLayout>

#include "midi/port_report.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"
#include "ui/style/empty_state.h"
#include "ui/style/list_delegate.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

enum Column { kWhat, kSent, kBack, kLost, kChanged, kLate, kColumns };

QString Number(std::uint64_t number) {
  return ShownUtf8(GroupedNumber(number));
}

}  // namespace

MidiTestDialog::MidiTestDialog(MidiPortSystem& midi, TransferDesk& desk, QWidget* parent)
    : QDialog(parent),
      midi_(midi),
      desk_(desk),
      output_(new QComboBox(this)),
      input_(new QComboBox(this)),
      table_(new QTableWidget(0, kColumns, this)),
      sentence_(new PlainLabel(this)),
      progress_(new QProgressBar(this)),
      start_(new QPushButton(tr("&Start"), this)) {
  SetTitle(this, tr("Test MIDI Cable"));
  auto* layout = new QVBoxLayout(this);
  SetSpace(layout, kWideGap, kGap);
  auto* head = new PlainLabel(tr("Connect the MIDI OUT port to the MIDI IN port with a cable. What is sent has to come "
                                 "back, byte for byte."),
                              this);
  head->setWordWrap(true);
  layout->addWidget(head);
  auto* form = new QFormLayout;
  form->addRow(tr("MIDI &OUT port:"), output_);
  form->addRow(tr("MIDI &IN port:"), input_);
  layout->addLayout(form);
  table_->setHorizontalHeaderLabels(
      {tr("Pattern"), tr("Sent"), tr("Back"), tr("Lost"), tr("Changed"), tr("Late (ms)")});
  table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  table_->horizontalHeader()->setSectionResizeMode(kWhat, QHeaderView::Stretch);
  for (int column = kSent; column < kColumns; ++column)
    table_->horizontalHeaderItem(column)->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
  DressList(table_);
  table_->setWordWrap(false);
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setTabKeyNavigation(false);
  table_->setAccessibleName(tr("Patterns and what came back"));
  table_->setMinimumSize(fontMetrics().averageCharWidth() * 80, fontMetrics().height() * 12);
  results_ = new QStackedLayout;
  results_->addWidget(
      new EmptyState(Glyph::Cable, tr("Nothing was sent yet"), tr("Choose both ends of the cable and press Start.")));
  results_->addWidget(table_);
  layout->addLayout(results_, 1);
  sentence_->setWordWrap(true);
  layout->addWidget(sentence_);
  layout->addWidget(progress_);
  auto* buttons = new QDialogButtonBox(this);
  buttons->addButton(start_, QDialogButtonBox::ActionRole);
  SetPrimary(start_);
  close_ = buttons->addButton(QDialogButtonBox::Close);
  connect(start_, &QPushButton::clicked, this, &MidiTestDialog::Start);
  connect(buttons, &QDialogButtonBox::rejected, this, &MidiTestDialog::reject);
  layout->addWidget(buttons);
  FillPorts();
  ShowRunning(false);
}

MidiTestDialog::~MidiTestDialog() {
  if (Running()) desk_.Cancel(job_);
}

void MidiTestDialog::FillPorts() {
  for (int slot = 0; slot < midi_.out().MaxOutPorts(); ++slot)
    output_->addItem(ShownUtf8(midi_.out().OUTGETPORTNAME(slot)), slot);
  for (int slot = 0; slot < midi_.in().InPorts(); ++slot)
    input_->addItem(ShownUtf8(midi_.in().INGETPORTNAME(slot)), slot);
  if (const int same = input_->findText(output_->currentText()); same >= 0) input_->setCurrentIndex(same);
  if (output_->count() == 0) sentence_->setText(tr("No MIDI OUT port is open."));
  if (input_->count() == 0) sentence_->setText(tr("No MIDI IN port is open."));
}

void MidiTestDialog::ShowRunning(bool running) {
  const bool ports = output_->count() > 0 && input_->count() > 0;
  EnableUnless(start_, running  ? tr("The test is running.")
                       : !ports ? tr("Open a MIDI IN and a MIDI OUT port first.")
                                : QString());
  output_->setEnabled(!running);
  input_->setEnabled(!running);
  progress_->setVisible(running);
  close_->setText(running ? tr("&Cancel") : tr("&Close"));
}

void MidiTestDialog::Start() {
  SelfTestRequest request{midi_.out().Slot(output_->currentData().toInt()),
                          midi_.in().GetMidiInPort(input_->currentData().toInt())};
  if (!request.out || !request.in) {
    sentence_->setText(tr("The port is no longer open."));
    return;
  }
  table_->setRowCount(0);
  sentence_->setText({});
  report_ = std::make_shared<SelfTestReport>();
  progress_->setRange(0, static_cast<int>(request.sizes.size()) + 1);
  progress_->setValue(0);
  DeskRequest job = SelfTestJob(midi_, request, report_);
  job.receiver = &receiver_;
  job.observer = [this](const DeskEvent& event) {
    if (event.kind == DeskEvent::Kind::kProgress) progress_->setValue(event.patchesDone);
    if (event.kind != DeskEvent::Kind::kState) return;
    if (event.state == DeskState::kQueued) sentence_->setText(ShownUtf8(event.text));
    if (event.state == DeskState::kStarted) sentence_->setText(tr("Sending patterns..."));
    if (event.state == DeskState::kEnded) Ended(event.result);
  };
  ShowRunning(true);
  job_ = desk_.Submit(std::move(job));
  if (job_->Ended()) Ended(job_->result());  // refused: its observer hears nothing
}

void MidiTestDialog::Ended(const DeskResult& result) {
  for (const SelfTestRow& row : report_->rows) {
    const int at = table_->rowCount();
    table_->insertRow(at);
    const auto cell = [&](int column, const QString& text) {
      auto* item = new QTableWidgetItem(text);
      item->setData(kNumberRole, column != kWhat);
      table_->setItem(at, column, item);
    };
    cell(kWhat, ShownUtf8(row.what));
    cell(kSent, Number(row.sent));
    cell(kBack, Number(row.back));
    cell(kLost, Number(row.lost));
    cell(kChanged, Number(row.changed + row.extra));
    cell(kLate, row.back ? Number(static_cast<std::uint64_t>(row.slowestMs)) : QString());
  }
  if (!report_->rows.empty()) results_->setCurrentWidget(table_);
  if (report_->rows.empty()) report_->notBegun = result.sentence;
  sentence_->setText(ShownUtf8(report_->Sentence()));
  ShowRunning(false);
}

QString MidiTestDialog::Sentence() const {
  return sentence_->text();
}

void MidiTestDialog::reject() {
  if (!Running()) return QDialog::reject();
  desk_.Cancel(job_);
}

}  // namespace tonalith
