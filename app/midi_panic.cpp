#include "app/midi_panic.h"

#include <QProgressDialog>
#include <algorithm>
#include <array>

#include "midi/midi_output.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

constexpr int kChannels = 16;
constexpr int kNotes = 128;
constexpr int kSteps = kChannels * (1 + kNotes);  // messages a port gets
constexpr int kMessageMs = 2;
// After a pause of the main loop, what is late is not sent in one go.
constexpr int kMostAtOnce = 10;
constexpr int kTickMs = 2;

std::array<std::uint8_t, 3> MessageOf(int step) {
  const bool controller = step < kChannels;
  const int note = step - kChannels;
  const int channel = controller ? step : note / kNotes;
  return {
      static_cast<std::uint8_t>((controller ? 0xB0 : 0x90) | channel),
      static_cast<std::uint8_t>(controller ? 123 : note % kNotes),
      0,
  };
}

}  // namespace

MidiPanic::MidiPanic(MidiOut& out, QWidget* window) : QObject(window), out_(out), window_(window) {
  timer_.setTimerType(Qt::PreciseTimer);
  connect(&timer_, &QTimer::timeout, this, &MidiPanic::Tick);
}

MidiPanic::~MidiPanic() {
  delete note_;
}

void MidiPanic::Start() {
  if (Running()) return;
  emit Began();
  out_.OUTNUMPORTS(&ports_);
  sent_ = 0;
  note_ = new QProgressDialog(QString(), tr("Cancel"), 0, kSteps, window_);
  SetLabel(*note_, tr("Switching off every note..."));
  SetTitle(note_, tr("MIDI Panic"));
  note_->setAttribute(Qt::WA_DeleteOnClose);
  note_->setAutoClose(false);
  note_->setAutoReset(false);
  note_->setMinimumDuration(0);
  connect(note_, &QProgressDialog::canceled, this, &MidiPanic::Cancel);
  note_->show();
  beganUs_ = out_.clock().NowUs();
  timer_.start(kTickMs);
}

void MidiPanic::Cancel() {
  if (Running()) End(false);
}

// One message to every port: each cable has room for it, so many ports take no longer than one.
void MidiPanic::SendNext() {
  const auto message = MessageOf(sent_++);
  SendOptions options;
  options.live = true;
  for (int port = 0; port < ports_; ++port)
    if (out_.Slot(port)) out_.SendDataPort(message, port, options);  // else it went away meanwhile
}

void MidiPanic::Tick() {
  const qint64 elapsedMs = (out_.clock().NowUs() - beganUs_) / 1000;
  const auto due = static_cast<int>(std::min<qint64>(elapsedMs / kMessageMs + 1, kSteps));
  for (int n = 0; n < kMostAtOnce && sent_ < due; ++n) SendNext();
  // Redrawing for every message would cost more than sending them.
  if (note_ && (sent_ % kNotes == 0 || sent_ == kSteps)) note_->setValue(sent_);
  if (sent_ >= kSteps) End(true);
}

void MidiPanic::End(bool complete) {
  timer_.stop();
  if (note_) {
    note_->disconnect(this);
    note_->close();
  }
  emit Ended(complete);
}

}  // namespace tonalith
