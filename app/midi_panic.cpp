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
constexpr int kMessageMs = 2;
// After a pause of the main loop, what is late is not sent in one go.
constexpr int kMostAtOnce = 25;
constexpr int kTickMs = 2;

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
  out_.OUTNUMPORTS(&ports_);
  sent_ = 0;
  total_ = ports_ * kChannels * (1 + kNotes);
  note_ = new QProgressDialog(QString(), tr("Cancel"), 0, std::max(1, total_), window_);
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

void MidiPanic::SendNext() {
  const int controllers = ports_ * kChannels;
  const bool first = sent_ < controllers;
  const int at = first ? sent_ : sent_ - controllers;
  const int place = first ? at : at / kNotes;  // port and channel
  const int port = place / kChannels;
  const int channel = place % kChannels;
  ++sent_;
  if (!out_.Slot(port)) return;  // the port went away meanwhile
  const std::array<std::uint8_t, 3> message = {
      static_cast<std::uint8_t>((first ? 0xB0 : 0x90) | channel),
      static_cast<std::uint8_t>(first ? 123 : at % kNotes),
      0,
  };
  SendOptions options;
  options.live = true;
  out_.SendDataPort(message, port, options);
}

void MidiPanic::Tick() {
  const qint64 elapsedMs = (out_.clock().NowUs() - beganUs_) / 1000;
  const auto due = static_cast<int>(std::min<qint64>(elapsedMs / kMessageMs + 1, total_));
  for (int n = 0; n < kMostAtOnce && sent_ < due; ++n) SendNext();
  // Redrawing for every message would cost more than sending them.
  if (note_ && (sent_ % kNotes == 0 || sent_ == total_)) note_->setValue(sent_);
  if (sent_ >= total_) End(true);
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
