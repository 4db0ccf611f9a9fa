#include "ui/midi_activity.h"

#include <QGridLayout>
#include <QPainter>
#include <QScrollArea>
#include <QTimer>

#include "midi/port_report.h"
#include "ui/plain_text.h"
#include "ui/style/colours.h"
#include "ui/style/space.h"
#include "ui/style/spoken.h"

namespace tonalith {

namespace {

constexpr int kLookMs = 50;
constexpr int kLooksOfReport = 10;  // texts change twice a second

}  // namespace

ActivityLight::ActivityLight(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void ActivityLight::SetOn(bool on) {
  if (on == on_) return;
  on_ = on;
  update();
}

QSize ActivityLight::sizeHint() const {
  const int side = fontMetrics().height() * 3 / 4;
  return {side, side};
}

void ActivityLight::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(ColourOf(Shade::Edge));
  painter.setBrush(ColourOf(on_ ? Shade::Ok : Shade::Line));
  painter.drawEllipse(rect().adjusted(1, 1, -2, -2));
}

MidiActivityDock::MidiActivityDock(MidiPortSystem& midi, QWidget* parent)
    : QDockWidget(tr("MIDI Activity"), parent), midi_(midi), timer_(new QTimer(this)) {
  setObjectName(QStringLiteral("MidiActivity"));
  connect(timer_, &QTimer::timeout, this, &MidiActivityDock::Look);
  Rebuild();
}

void MidiActivityDock::AddRow(QGridLayout* grid, const QString& name, ActivityLight* light) {
  const int row = grid->rowCount();
  grid->addWidget(light, row, 0);
  grid->addWidget(new PlainLabel(name), row, 1);
  auto* summary = new PlainLabel;
  summary->setForegroundRole(QPalette::PlaceholderText);
  grid->addWidget(summary, row + 1, 1);
  summaries_.push_back(summary);
}

void MidiActivityDock::Rebuild() {
  auto* content = new QWidget;
  auto* grid = new QGridLayout(content);
  SetSpace(grid, kGap, kSmallGap);
  grid->setHorizontalSpacing(kGap);
  grid->setColumnStretch(1, 1);
  inputs_.clear();
  outputs_.clear();
  summaries_.clear();
  MidiIn& in = midi_.in();
  auto* inHead = new PlainLabel(in.InPorts() ? tr("MIDI IN") : tr("No MIDI IN port is open."), content);
  grid->addWidget(inHead, 0, 0, 1, 2);
  for (int i = 0; i < in.InPorts(); ++i) {
    inputs_.push_back(new ActivityLight(content));
    AddRow(grid, ShownUtf8(in.INGETPORTNAME(i)), inputs_.back());
  }
  int count = 0;
  midi_.out().OUTNUMPORTS(&count);
  grid->addWidget(new PlainLabel(count ? tr("MIDI OUT") : tr("No MIDI OUT port is open."), content), grid->rowCount(),
                  0, 1, 2);
  for (int i = 0; i < count; ++i) {
    outputs_.push_back(new ActivityLight(content));
    AddRow(grid, ShownUtf8(midi_.out().OUTGETPORTNAME(i)), outputs_.back());
  }
  transfers_ = new PlainLabel(content);
  transfers_->setForegroundRole(QPalette::PlaceholderText);
  grid->addWidget(transfers_, grid->rowCount(), 0, 1, 2);
  grid->setRowStretch(grid->rowCount(), 1);
  auto* scroll = new QScrollArea;
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  SetRole(scroll, QAccessible::Pane);
  SetAccessibleName(scroll, tr("Activity of the MIDI ports"));
  scroll->setWidget(content);
  delete widget();
  setWidget(scroll);
  ShowReports();
}

void MidiActivityDock::SetTransferLine(std::function<std::string()> line) {
  transferLine_ = std::move(line);
  ShowReports();
}

void MidiActivityDock::ShowReports() {
  if (transferLine_) transfers_->setText(ShownUtf8(transferLine_()));
  const std::vector<PortReport> reports = ReportPorts(midi_);
  if (reports.size() != summaries_.size()) return;  // ports came or went: Rebuild follows
  for (std::size_t i = 0; i < reports.size(); ++i) {
    const QString text = ShownUtf8(PortSummary(reports[i]));
    if (summaries_[i]->text() == text) continue;
    summaries_[i]->setText(text);
    SetToolTip(summaries_[i], text);
  }
}

// Ports that are opened at the start are announced to nobody.
bool MidiActivityDock::ShowsOpenPorts() const {
  int outputs = 0;
  midi_.out().OUTNUMPORTS(&outputs);
  return static_cast<int>(inputs_.size()) == midi_.in().InPorts() && static_cast<int>(outputs_.size()) == outputs;
}

void MidiActivityDock::Look() {
  if (!ShowsOpenPorts()) Rebuild();
  if (++looks_ % kLooksOfReport == 0) ShowReports();
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    const auto port = midi_.in().GetMidiInPort(static_cast<int>(i));
    inputs_[i]->SetOn(port && port->GetActive() != 0);
  }
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    const auto port = midi_.out().Slot(static_cast<int>(i));
    outputs_[i]->SetOn(port && port->GetActive() != 0);
  }
}

void MidiActivityDock::showEvent(QShowEvent* event) {
  Rebuild();
  QDockWidget::showEvent(event);
  timer_->start(kLookMs);
}

void MidiActivityDock::hideEvent(QHideEvent* event) {
  timer_->stop();
  QDockWidget::hideEvent(event);
}

}  // namespace tonalith
