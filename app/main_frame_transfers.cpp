#include <QApplication>
#include <QCloseEvent>
#include <QDateTime>
#include <QDesktopServices>
#include <QEventLoop>
#include <QProgressDialog>
#include <QTimer>
#include <QUrl>
#include <cstring>

#include "app/main_frame.h"
#include "app/midi_panic.h"
#include "app/simulation.h"
#include "data/patch_names.h"
#include "midi/port_system.h"
#include "platform/atomic_file.h"
#include "platform/clock.h"
#include "platform/log.h"
#include "platform/text.h"
#include "script/transfer_engine.h"
#include "services/paths.h"
#include "services/transfer_sentences.h"
#include "services/zkbasics.h"
#include "ui/qt_text.h"
#include "ui/transfer_windows.h"

namespace tonalith {

// Brings the news of one transfer to the frame and to the window that asked.
class FrameTransferObserver final : public TransferObserver {
 public:
  FrameTransferObserver(CMainFrame* frame, TZKBank* window, int number)
      : frame_(frame), window_(window), number_(number) {}
  void progress(int, int) override {
    if (window_) window_->document().PatchesArrived();
  }
  void closed(const TransferResult& result) override {
    if (frame_) frame_->TransferEnded(window_, number_, result);
  }

 private:
  QPointer<CMainFrame> frame_;
  QPointer<TZKBank> window_;
  int number_;
};

namespace {

constexpr int kEndSlices = 100;
constexpr int kEndSliceMs = 20;
constexpr int kPollMs = 100;
constexpr int kPollsBeforeQuestion = 100;
constexpr int kNoteAfterMs = 500;

constexpr const char* kSendingNow =
    "The application is currently sending MIDI data.\n\nCONTINUE or STOP transmitting and quit or\nPress CANCEL to end "
    "the quit request.";
constexpr const char* kStillSending =
    "The application still appears to be sending MIDI data.\n\nCONTINUE transmitting, \nEXIT immediately or\nPress "
    "CANCEL to end the quit request.";
constexpr const char* kBreakOffWarning =
    "WARNING! If your MIDI interface shows that MIDI data is still being sent,\rthis action will terminate the "
    "transmission and possibly corrupt your unit's internal data.\r\rIf data is not being sent, choosing this option "
    "should be safe.\r\rExit the application?";

}  // namespace

// ---- transfers ------------------------------------------------------------------------------------------------------

ZKMidiInStatus* CMainFrame::receiveWindow() {
  if (!receiveWindow_) receiveWindow_ = new ZKMidiInStatus(this);
  return receiveWindow_;
}

bool CMainFrame::RefuseMissingPort(const DataFile& dataFile, bool receive) {
  const std::string text =
      basics_.transfers().MissingPort(dataFile, receive ? TransferOperation::kReceive : TransferOperation::kTransmit);
  if (!text.empty()) prompts().Say("MIDI I/O", text);
  return !text.empty();
}

void CMainFrame::StartGet(TZKBank* window) {
  studio_.DrvUpdateDataFile(window->document().dataFile());
  if (RefuseMissingPort(*window->document().dataFile(), true)) return;
  const int number = window->BankTransferBegins(true);
  TransferRequest request;
  request.operation = TransferOperation::kReceive;
  request.dataFile = window->document().dataFile();
  request.observer = std::make_shared<FrameTransferObserver>(this, window, number);
  request.showWindow = 1;
  std::shared_ptr<Transfer> transfer;
  basics_.transfers().MidiIODataFile(request, &transfer);
  if (!transfer) {
    window->BankTransferEnded(number, tr("Nothing was received."));
    return;
  }
  Status(tr("Receiving %1...").arg(FromLatin1(window->document().Description())));
  if (transfer->Running()) receiveWindow()->Add(transfer);
}

void CMainFrame::StartTransmit(TZKBank* window) {
  studio_.DrvUpdateDataFile(window->document().dataFile());
  if (RefuseMissingPort(*window->document().dataFile(), false)) return;
  const int number = window->BankTransferBegins(false);
  TransferRequest request;
  request.operation = TransferOperation::kTransmit;
  request.dataFile = window->document().dataFile();
  request.observer = std::make_shared<FrameTransferObserver>(this, window, number);
  request.showWindow = 1;
  request.background = true;
  const int port = window->document().synth().midiOutPort;
  sending_.push_back({window, number, port, FailedMessages(port), false, false, {}});
  std::shared_ptr<Transfer> transfer;
  basics_.transfers().MidiIODataFile(request, &transfer);
  if (!transfer) {
    std::erase_if(sending_, [&](const Sending& entry) { return entry.window == window && entry.number == number; });
    window->BankTransferEnded(number, tr("Nothing was sent."));
    return;
  }
  Status(tr("Sending %1...").arg(FromLatin1(window->document().Description())));
}

void CMainFrame::CancelTransfers(TZKBank* window) {
  basics_.transfers().Abandon(window->document().dataFile());
  for (const Sending& entry : sending_) {
    if (entry.window != window) continue;
    std::vector<bool> ports(static_cast<std::size_t>(entry.port) + 1, false);
    ports.back() = true;
    basics_.transfers().StopOutput(ports);
  }
  std::erase_if(sending_, [&](const Sending& entry) { return entry.window == window; });
  window->AbandonTransfer();
}

std::uint64_t CMainFrame::FailedMessages(int port) const {
  const auto open = basics_.midi().out().GetMidiOutPort(port);
  return open ? open->failedMessages() : 0;
}

// A transmission is over when its port has sent what was handed to it.
void CMainFrame::WatchSending() {
  for (std::size_t i = 0; i < sending_.size();) {
    Sending& entry = sending_[i];
    const auto port = basics_.midi().out().GetMidiOutPort(entry.port);
    if (!entry.handedOver || (port && port->Alive() && port->isBusy())) {
      ++i;
      continue;
    }
    const Sending over = entry;
    sending_.erase(sending_.begin() + static_cast<std::ptrdiff_t>(i));
    if (!over.window) continue;
    QString sentence = over.sentence;
    const QString what = FromLatin1(over.window->document().Description());
    if (over.cancelled) {
      sentence = tr("Sending the %1 was cancelled; the instrument may hold a part of it.").arg(what);
    } else if (!port || !port->Alive() || FailedMessages(over.port) != over.failedBefore) {
      sentence = tr("The MIDI connection to the %1 was lost; the instrument may hold a part of it.").arg(what);
    }
    over.window->BankTransferEnded(over.number, sentence);
    Status(sentence);
    if (simulation_) simulation_->Remember();
  }
  if (sending_.empty()) sendingTimer_->stop();
}

void CMainFrame::SendingCancelled(int port) {
  for (Sending& entry : sending_) entry.cancelled = entry.cancelled || entry.port == port;
  StopSendJobs();
}

void CMainFrame::TransferEnded(const QPointer<TZKBank>& window, int number, const TransferResult& result) {
  if (receiveWindow_) receiveWindow_->TransferClosed(result);
  if (simulation_) simulation_->Remember();
  if (!window) return;
  const QString sentence = FromUtf8(EndSentence(FactsOf(result)));
  for (Sending& entry : sending_) {
    if (entry.window != window || entry.number != number) continue;
    entry.handedOver = true;
    entry.sentence = sentence;
    if (result.ok) {
      sendingTimer_->start(50);
      return WatchSending();
    }
  }
  std::erase_if(sending_, [&](const Sending& entry) { return entry.window == window && entry.number == number; });
  window->BankTransferEnded(number, sentence);
  Status(sentence);
  if (result.ok && result.operation == TransferOperation::kReceive) WarnOfDamage(*window->document().dataFile());
}

// The instrument's protocol took the data; whether it came as it left shows in its checksums.
void CMainFrame::WarnOfDamage(const DataFile& dataFile) {
  if (Recognizer(studio_).Verify(dataFile) != ChecksumVerdict::kBad) return;
  const std::string what = Latin1ToUtf8(TransferInstrumentName(dataFile) + " " + FieldText(dataFile.synth->typeName));
  const std::string sentence = what + " was received damaged: its checksum is wrong.";
  Status(FromUtf8(sentence));
  prompts().Say("Get", sentence + "\n\nGet it again, or choose Undo to have the former data back.");
}

bool CMainFrame::TransmitWindowOpen() const {
  return transmitWindow_ != nullptr;
}

void CMainFrame::OpenTransmitWindow(int port, std::uint32_t total) {
  (void)port, (void)total;
  if (transmitWindow_) return;
  auto* window = new ZKMidiOutStatus(basics_.transfers(), this);
  transmitWindow_ = window;
  connect(window, &ZKMidiOutStatus::Cancelled, this, &CMainFrame::SendingCancelled);
  window->show();
}

void CMainFrame::SetTransmitStayOpen(bool stay) {
  basics_.transfers().SetTransmitStayOpen(stay);
}

void CMainFrame::OnCancelTransmit() {
  int count = 0;
  basics_.midi().out().OUTNUMPORTS(&count);
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back(basics_.midi().out().OUTGETPORTNAME(i));
  ZKCancelTransmit dialog(names, this);
  if (dialog.exec() != QDialog::Accepted) return;
  const std::vector<bool> ports = dialog.Selected();
  for (std::size_t i = 0; i < ports.size(); ++i) {
    if (ports[i]) SendingCancelled(static_cast<int>(i));
  }
  basics_.transfers().StopOutput(ports);
}

void CMainFrame::OnMidiPanic() {
  if (line6_) return;
  Status(tr("Switching off every note..."));
  panic_->Start();
}

// ---- end ------------------------------------------------------------------------------------------------------------

void CMainFrame::RequestQuit() {
  QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);
}

void CMainFrame::OpenUrl(const std::string& url) {
  const QUrl address(FromUtf8(url), QUrl::StrictMode);
  if (address.scheme() != QStringLiteral("http") && address.scheme() != QStringLiteral("https")) return;
  QMetaObject::invokeMethod(
      this, [address] { QDesktopServices::openUrl(address); }, Qt::QueuedConnection);
}

bool CMainFrame::OutputBusy() const {
  MidiOut& out = basics_.midi().out();
  for (int i = 0; i < out.MaxOutPorts(); ++i) {
    const auto port = out.Slot(i);
    if (port && port->isBusy()) return true;
  }
  return false;
}

bool CMainFrame::Sends() const {
  return fileSending_ || OutputBusy();
}

void CMainFrame::StopOutputs() {
  StopSendJobs();
  for (Sending& entry : sending_) entry.cancelled = true;
  basics_.transfers().StopOutput(std::vector<bool>(static_cast<std::size_t>(basics_.midi().out().MaxOutPorts()), true));
}

// The end of the session asks nothing and loses nothing.
void CMainFrame::KeepUnsaved() {
  const std::string folder = basics_.paths().MainGetDataPath() + "/Recovered";
  const std::string stamp = ToUtf8(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH.mm.ss")));
  int count = 0;
  for (ZKWindow* child : Children()) {
    auto* bank = qobject_cast<TZKBank*>(child);
    if (!bank || !bank->document().IsModified()) continue;
    if (bank->document().IsBusy()) CancelTransfers(bank);
    const std::string name = Latin1ToUtf8(FixInvalidFilenameCharacters(bank->document().Description()));
    const std::string file = folder + "/" + name + " " + stamp + (count ? " " + std::to_string(count + 1) : "") + "." +
                             FileExtension(bank->document());
    ++count;
    Result kept = MakeFolders(folder);
    if (kept.ok()) kept = bank->document().Save(file);
    MonitorMsg("%s", kept.ok() ? ("Unsaved changes were kept as " + file).c_str() : kept.text.c_str());
  }
}

// Continue, Stop and Cancel while data is on its way.
PromptAnswer CMainFrame::AskWhileSending(const char* text, const char* second) {
  MessagePrompt prompt;
  prompt.title = "Exit";
  prompt.text = text;
  prompt.buttons = PromptButtons::YesNoCancel;
  prompt.labels = {"Continue", second, "Cancel"};
  return prompts().Message(prompt);
}

bool CMainFrame::MayBreakOff() {
  MessagePrompt sure;
  sure.title = "Exit";
  sure.text = kBreakOffWarning;
  sure.buttons = PromptButtons::YesNo;
  return prompts().Message(sure) == PromptAnswer::Yes;
}

// Lets the main loop run until nothing is sent any more; a note says so and can be cancelled.  False: the quit request
// ends.
bool CMainFrame::WaitForOutput() {
  QProgressDialog note(tr("Waiting until the MIDI data is sent..."), tr("Cancel"), 0, 0, this);
  note.setWindowTitle(tr("Exit"));
  note.setWindowModality(Qt::ApplicationModal);
  note.setMinimumDuration(kNoteAfterMs);
  for (int poll = 1; Sends() && !quitting_; ++poll) {
    QEventLoop loop;
    QTimer::singleShot(kPollMs, &loop, &QEventLoop::quit);
    loop.exec();
    note.setValue(0);
    if (note.wasCanceled()) return false;
    if (poll != kPollsBeforeQuestion || !Sends()) continue;
    note.reset();
    const PromptAnswer answer = AskWhileSending(kStillSending, "Exit");
    if (answer == PromptAnswer::Cancel) return false;
    if (answer != PromptAnswer::No || !MayBreakOff()) continue;
    StopOutputs();
    return true;
  }
  return true;
}

bool CMainFrame::OnClose() {
  MidiOut& out = basics_.midi().out();
  panic_->Cancel();
  for (int i = 0; i < out.MaxOutPorts(); ++i) {
    if (const auto port = out.Slot(i)) port->OutputQueue();
  }
  if (Sends()) basics_.clock().SleepMs(300);
  if (Sends()) {
    const PromptAnswer answer = AskWhileSending(kSendingNow, "Stop");
    if (answer == PromptAnswer::Cancel) return false;
    if (answer == PromptAnswer::No) StopOutputs();
    if (!WaitForOutput()) return false;
  }
  // The end of what was just stopped or sent is still on its way to its window.
  for (int slice = 0; slice < kEndSlices && !sending_.empty(); ++slice) {
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    WatchSending();
    if (!sending_.empty()) basics_.clock().SleepMs(kEndSliceMs);
  }
  return VerifyCloseAll();
}

void CMainFrame::closeEvent(QCloseEvent* event) {
  if (closing_) {
    event->ignore();  // a question of the first request is still open
    return;
  }
  const bool asked = !quitting_;
  closing_ = true;
  const bool ends = quitting_ || OnClose();
  closing_ = false;
  if (!ends && !quitting_) {
    event->ignore();
    return;
  }
  if (!asked || !ends) {
    StopOutputs();
    KeepUnsaved();
  }
  quitting_ = true;
  basics_.transfers().CancelAll();
  if (studio_.DrvSaveSetup(0) != 0) Status(tr("The studio could not be saved."));
  StorePlace();
  event->accept();
  QApplication::quit();
}

}  // namespace tonalith
