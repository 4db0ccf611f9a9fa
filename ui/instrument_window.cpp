#include "ui/instrument_window.h"

#include <QCloseEvent>

#include "ui/plain_text.h"

namespace tonalith {

namespace {

constexpr char kGetUndoName[] = "Get from Instrument";

}  // namespace

// ---- commands -------------------------------------------------------------------------------------------------------

bool InstrumentWindow::CommandEnabled(CommandId command) const {
  switch (command) {
    case CommandId::MidiGet:
      return !document().IsBusy();
    case CommandId::MidiTransmit:
      return !document().IsBusy() && !document().IsEmpty();
    default:
      return DocumentWindow::CommandEnabled(command);
  }
}

QString InstrumentWindow::CommandRefusal(CommandId command) const {
  if (command == CommandId::MidiTransmit && !document().IsBusy()) return tr("There is nothing to send yet.");
  return DocumentWindow::CommandRefusal(command);
}

void InstrumentWindow::RunCommand(CommandId command) {
  if (!CommandEnabled(command)) return;
  switch (command) {
    case CommandId::MidiGet:
      return StartGet();
    case CommandId::MidiTransmit:
      return StartTransmit();
    default:
      return DocumentWindow::RunCommand(command);
  }
}

std::optional<MidiRoute> InstrumentWindow::AuditionRoute() const {
  const Synth& synth = *dataFile()->synth;
  return MidiRoute{synth.midiOutPort, synth.midiChannel};
}

void InstrumentWindow::PortsChanged(int) {
  StudioChanged();
}

void InstrumentWindow::StudioChanged() {
  if (!document().IsBusy()) context().UpdateFromStudio(dataFile());
}

// ---- transfers ------------------------------------------------------------------------------------------------------

void InstrumentWindow::StartGet() {
  Start(true);
}

void InstrumentWindow::StartTransmit() {
  Start(false);
}

void InstrumentWindow::Start(bool get) {
  if (document().IsBusy()) return;
  context().UpdateFromStudio(dataFile());
  receiving_ = get;
  if (get) {
    BeginReceive(kGetUndoName);
  }
  document().SetBusy(true);
  DeskRequest request = DeskRequest::Of(get ? DeskStep::Kind::kGet : DeskStep::Kind::kSend, dataFile());
  request.observer = [this](const DeskEvent& event) { Happened(event); };
  request.receiver = &receiver_;
  job_ = context().Transfer(std::move(request));
  if (job_->Ended()) TransferOver(ShownUtf8(job_->result().sentence));
}

void InstrumentWindow::Happened(const DeskEvent& event) {
  if (event.job != job_) return;
  if (event.kind == DeskEvent::Kind::kProgress && receiving_) PatchesArrived();
  if (event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded)
    TransferOver(ShownUtf8(event.result.sentence));
}

void InstrumentWindow::TransferOver(const QString& sentence) {
  job_.reset();
  if (receiving_)
    EndReceive();
  else
    document().SetBusy(false);
  Say(sentence);
}

void InstrumentWindow::CancelTransfer() {
  if (!job_) return;
  context().AbandonTransfers(dataFile());
  TransferOver(tr("The transfer was given up."));
}

void InstrumentWindow::closeEvent(QCloseEvent* event) {
  DocumentWindow::closeEvent(event);
  if (event->isAccepted()) CancelTransfer();
}

}  // namespace tonalith
