#include "ui/instrument_window.h"

#include <QCloseEvent>
#include <algorithm>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "services/careful_send.h"
#include "services/send_care.h"
#include "ui/keep_question.h"
#include "ui/plain_text.h"
#include "ui/qt_text.h"

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
      return !document().IsBusy() && !HoldsNothing() && CanBeSent(*dataFile());
    case CommandId::FileExportSysEx:
    case CommandId::FileExportMidi:
      return !document().IsBusy() && !document().IsEmpty();
    case CommandId::MidiSendChanged:
      return !document().IsBusy() && !document().IsEmpty() && CanBeSent(*dataFile()) && !ChangedPatches().empty();
    default:
      return DocumentWindow::CommandEnabled(command);
  }
}

QString InstrumentWindow::CommandRefusal(CommandId command) const {
  if (!document().IsBusy()) {
    const bool sends = command == CommandId::MidiTransmit || command == CommandId::MidiSendChanged;
    if (sends && !CanBeSent(*dataFile())) return tr("The instrument cannot be sent this data: it only gives it.");
    if (command == CommandId::MidiTransmit) return tr("There is nothing to send yet.");
    if (command == CommandId::FileExportSysEx || command == CommandId::FileExportMidi)
      return tr("There is nothing to export yet.");
    if (command == CommandId::MidiSendChanged)
      return tr("There are no single patches that were changed and can be sent by themselves.");
  }
  return DocumentWindow::CommandRefusal(command);
}

void InstrumentWindow::RunCommand(CommandId command) {
  if (!CommandEnabled(command)) return;
  switch (command) {
    case CommandId::MidiGet:
      return StartGet();
    case CommandId::MidiTransmit:
      return StartTransmit();
    case CommandId::MidiSendChanged:
      return StartTransmit(ChangedPatches());
    case CommandId::FileExportSysEx:
      return Export(false);
    case CommandId::FileExportMidi:
      return Export(true);
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

void InstrumentWindow::StartGet(std::vector<std::uint8_t> patches) {
  if (document().IsBusy() || !AskToReplace(context(), CountUnsent(patches), WindowName()) || document().IsBusy())
    return;
  context().UpdateFromStudio(dataFile());
  patches_ = std::move(patches);
  DeskRequest request = DeskRequest::Of(DeskStep::Kind::kGet, dataFile());
  request.steps.front().patches = patches_;
  BeginReceive(kGetUndoName);
  Start(true, std::move(request));
}

void InstrumentWindow::StartTransmit(std::vector<std::uint8_t> patches) {
  if (document().IsBusy()) return;
  context().UpdateFromStudio(dataFile());
  SendCare& care = context().sendCare();
  CarefulSend wishes = care.WishesFor(*dataFile(), std::move(patches));
  if (!AskToKeep(context(), *dataFile(), WindowName(), &wishes) || document().IsBusy()) return;
  patches_ = wishes.patches;
  report_ = std::make_shared<CarefulSendReport>();
  Start(false, MakeCarefulSend(dataFile(), wishes, care.history(), report_));
}

void InstrumentWindow::Start(bool get, DeskRequest request) {
  receiving_ = get;
  document().SetBusy(true);
  request.observer = [this](const DeskEvent& event) { Happened(event); };
  request.receiver = &receiver_;
  job_ = context().Transfer(std::move(request));
  if (job_->Ended()) TransferOver(ShownUtf8(job_->result().sentence), DeskResult(job_->result()));
}

void InstrumentWindow::Happened(const DeskEvent& event) {
  if (event.job != job_) return;
  if (event.kind == DeskEvent::Kind::kProgress && receiving_) {
    const auto transfer = job_->transfer();
    if (DataFilePtr soFar = transfer ? transfer->SoFar() : nullptr)
      ShowSoFar(std::move(soFar), event.patchesDone, event.patchesToDo);
  }
  if (event.kind == DeskEvent::Kind::kState && event.state == DeskState::kEnded)
    TransferOver(ShownUtf8(event.result.sentence), event.result);
}

void InstrumentWindow::TransferOver(const QString& sentence, const DeskResult& result) {
  job_.reset();
  if (receiving_) {
    ShowSoFar(nullptr, 0, 0);
    EndReceive(result.ok, patches_);
    TransferEnded(true, patches_, result);
    return Say(sentence);
  }
  const std::shared_ptr<CarefulSendReport> report = std::move(report_);
  document().SetBusy(false);
  NoteSent(*report, result.ok);
  TransferEnded(false, patches_, result);
  Say(sentence);
  // The names of what differs must not pass with the status line; what is missing is told by whoever shows the desk's
  // events.
  if (!report->difference.none() && result.faults.empty()) context().prompts().Say(WindowName(), ToUtf8(sentence));
}

void InstrumentWindow::NoteSent(const CarefulSendReport& report, bool ok) {
  if (report.kept.number != 0) context().sendCare().HistoryChanged();
  if (ok) return WasSent(patches_);
  const std::vector<std::uint8_t> taken = TakenPatches(*dataFile()->synth, patches_, report, ok);
  if (!taken.empty()) WasSent(taken);
}

void InstrumentWindow::CancelTransfer() {
  if (!job_) return;
  context().AbandonTransfers(dataFile());
  TransferOver(tr("The transfer was given up."), {});
}

// ---- files for other programs --------------------------------------------------------------------------------------

void InstrumentWindow::Export(bool midiFile) {
  FilePrompt prompt;
  prompt.title = midiFile ? "Export MIDI File..." : "Export SysEx File...";
  prompt.save = true;
  prompt.folder = document().path().empty() ? context().DataFolder() : FolderOf(document().path());
  prompt.name = WithoutExtension(document().path().empty() ? NewFileName() : document().FileName()) +
                (midiFile ? ".mid" : ".syx");
  prompt.patterns = FilePatterns(midiFile ? "MIDI File (*.MID)|*.MID|All Files (*.*)|*.*|"
                                          : "SysEx File (*.SYX)|*.SYX|All Files (*.*)|*.*|");
  const std::string path = context().prompts().File(prompt);
  if (path.empty()) return;
  std::vector<std::uint8_t> bytes;
  std::string note;
  Result result = context().Export(*dataFile(), midiFile, WithoutExtension(FileNameOf(path)), &bytes, &note);
  if (result.ok()) result = WriteFileAtomically(path, std::span<const std::uint8_t>(bytes));
  if (!result.ok()) {
    context().prompts().Say("Export", result.text);
    return;
  }
  const QString done = tr("Exported as %1").arg(ShownUtf8(path));
  Say(note.empty() ? done : done + QStringLiteral(". ") + ShownUtf8(note));
}

void InstrumentWindow::closeEvent(QCloseEvent* event) {
  DocumentWindow::closeEvent(event);
  if (event->isAccepted()) CancelTransfer();
}

}  // namespace tonalith
