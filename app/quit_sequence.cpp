#include "app/quit_sequence.h"

#include <QApplication>
#include <QEventLoop>
#include <QMainWindow>
#include <QProgressDialog>
#include <QTimer>

#include "app/autosave.h"
#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/midi_commands.h"
#include "app/received_so_far.h"
#include "app/window_transfers.h"
#include "midi/port_system.h"
#include "platform/clock.h"
#include "platform/log.h"
#include "platform/prompts.h"
#include "script/transfer_engine.h"
#include "services/program.h"
#include "studio/studio_document.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

constexpr int kFinishMs = 300;
constexpr int kEndSlices = 200;  // longer than a port takes to close
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

QuitSequence::QuitSequence(const FrameContext& frame, WindowTransfers& transfers, MidiCommands& midi,
                           Autosave& autosave, ReceivedSoFar& received)
    : frame_(frame), transfers_(transfers), midi_(midi), autosave_(autosave), received_(received) {
  frame_.menus.Register(CommandId::FileExit, {[this] { frame_.window.close(); }});
}

bool QuitSequence::Close() {
  if (asking_) return false;  // a question of the first request is still open
  const bool asked = !quitting_;
  asking_ = true;
  const bool ends = quitting_ || OnClose();
  asking_ = false;
  if (!ends && !quitting_) return false;
  // The session may end while a question is open.
  if (!asked || !ends) {
    transfers_.StopOutputs();
    received_.Leave();
    autosave_.LeaveForNextStart();
  }
  quitting_ = true;
  frame_.program.transfers().CancelAll();
  if (frame_.studio.DrvSaveSetup(0) != 0) frame_.Status(tr("The studio could not be saved."));
  return true;
}

// ---- questions ------------------------------------------------------------------------------------------------------

bool QuitSequence::OnClose() {
  MidiOut& out = frame_.program.out();
  midi_.panic().Cancel();
  for (int i = 0; i < out.MaxOutPorts(); ++i) {
    if (const auto port = out.Slot(i)) port->OutputQueue();
  }
  if (transfers_.Sends()) frame_.program.clock().SleepMs(kFinishMs);
  if (transfers_.Sends()) {
    const PromptAnswer answer = AskWhileSending(kSendingNow, "Stop");
    if (answer == PromptAnswer::Cancel) return false;
    if (answer == PromptAnswer::No) transfers_.StopOutputs();
    if (!WaitForOutput()) return false;
  }
  LetTransfersEnd();
  return frame_.children.VerifyCloseAll();
}

// The end of what was just stopped or sent is still on its way to its window.
void QuitSequence::LetTransfersEnd() {
  for (int slice = 0; slice < kEndSlices && transfers_.desk().Sends(); ++slice) {
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    if (transfers_.desk().Sends()) frame_.program.clock().SleepMs(kEndSliceMs);
  }
}

// Continue, Stop and Cancel while data is on its way.
PromptAnswer QuitSequence::AskWhileSending(const char* text, const char* second) {
  MessagePrompt prompt;
  prompt.title = "Exit";
  prompt.text = text;
  prompt.buttons = PromptButtons::YesNoCancel;
  prompt.labels = {"Continue", second, "Cancel"};
  return frame_.prompts().Message(prompt);
}

bool QuitSequence::MayBreakOff() {
  MessagePrompt sure;
  sure.title = "Exit";
  sure.text = kBreakOffWarning;
  sure.buttons = PromptButtons::YesNo;
  return frame_.prompts().Message(sure) == PromptAnswer::Yes;
}

// Lets the main loop run until nothing is sent any more; a note says so and can be cancelled.  False: the quit request
// ends.
bool QuitSequence::WaitForOutput() {
  QProgressDialog note(QString(), tr("Cancel"), 0, 0, &frame_.window);
  SetLabel(note, tr("Waiting until the MIDI data is sent..."));
  SetTitle(&note, tr("Exit"));
  note.setWindowModality(Qt::ApplicationModal);
  note.setMinimumDuration(kNoteAfterMs);
  for (int poll = 1; transfers_.Sends() && !quitting_; ++poll) {
    QEventLoop loop;
    QTimer::singleShot(kPollMs, &loop, &QEventLoop::quit);
    loop.exec();
    note.setValue(0);
    if (note.wasCanceled()) return false;
    if (poll != kPollsBeforeQuestion || !transfers_.Sends()) continue;
    note.reset();
    const PromptAnswer answer = AskWhileSending(kStillSending, "Exit");
    if (answer == PromptAnswer::Cancel) return false;
    if (answer != PromptAnswer::No || !MayBreakOff()) continue;
    transfers_.StopOutputs();
    return true;
  }
  return true;
}

}  // namespace tonalith
