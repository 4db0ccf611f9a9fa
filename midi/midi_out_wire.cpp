// The side of an output port that faces its backend: handing over, what became of it, and ending what was cut.
#include <algorithm>

#include "midi/midi_out_shared.h"
#include "midi/midi_output.h"

namespace tonalith {

namespace {

constexpr std::int64_t kNotReadyPauseUs = 1'000'000;
constexpr int kNotReadyAttempts = 3;
constexpr std::size_t kPacedSpan = 256;  // bytes handed over at a time while a rate holds
constexpr int kMostPiecesUnderWay = 64;
constexpr std::size_t kMostBytesUnderWay = 16384;
constexpr std::int64_t kCutUs = 200'000;    // longest wait for the F7 behind a SysEx that was cut
constexpr std::int64_t kCutGapUs = 50'000;  // silence behind it

}  // namespace

MidiSent MidiOutPort::Report(std::shared_ptr<LongSend> send, std::size_t length, bool posted) {
  return [shared = shared_, send = std::move(send), length, posted](const Result& result) {
    {
      std::lock_guard guard(shared->mutex);
      --shared->underWay;
      shared->bytesUnderWay -= length;
      if (result) shared->leftBytes += length;
      if (result && posted) shared->postedBytesLeft += length;
      const bool first = !result && (!send || send->result);
      if (send) {
        --send->pieces;
        if (first) send->result = result;
      }
      if (first && !shared->interrupted && (!send || send->unwatched))
        shared->Failed(result, send ? send->length : length);
    }
    shared->changed.NotifyAll();
  };
}

// Null: a short message.
Result MidiOutPort::HandOver(const std::shared_ptr<LongSend>& send, std::span<const std::uint8_t> piece, bool posted) {
  std::lock_guard lock(handleMutex_);
  if (!handle_) return Result::Failure("The MIDI port is closed.", kMidiNoDevice);
  const auto count = [&](int pieces) {
    std::lock_guard guard(mutex_);
    shared_->underWay += pieces;
    shared_->bytesUnderWay += pieces > 0 ? piece.size() : 0 - piece.size();
    if (send) send->pieces += pieces;
    if (!sendingLive_) begun_.store(handled_ + 1);
  };
  count(1);
  MidiSent sent = Report(send, piece.size(), posted);
  Result result = send ? handle_->SendLong(piece, std::move(sent)) : handle_->SendShort(piece, std::move(sent));
  if (!result) count(-1);
  return result;
}

Result MidiOutPort::HandOverWithRetries(const std::shared_ptr<LongSend>& send, std::span<const std::uint8_t> piece,
                                        std::int64_t& startUs) {
  for (int attempt = 1;; ++attempt) {
    startUs = clock_.NowUs();
    Result result = HandOver(send, piece, true);
    if (result.code != kMidiNotReady || attempt == kNotReadyAttempts || Interrupted()) return result;
    PauseUntil(startUs + kNotReadyPauseUs, Cut::Stop);
  }
}

// Hands the bytes over no faster than the rate, so that no buffer on the way to the instrument is overrun, whatever
// the backend does with long messages.
Result MidiOutPort::HandOverPaced(const std::shared_ptr<LongSend>& send, std::span<const std::uint8_t> bytes,
                                  std::uint32_t rate, std::int64_t& startUs) {
  const std::size_t span = rate ? kPacedSpan : bytes.size();
  std::int64_t unused = 0;
  for (std::size_t at = 0; at < bytes.size(); at += span) {
    if (at > 0) {
      PauseUntil(startUs + static_cast<std::int64_t>(at) * 1'000'000 / rate, Cut::StopOrForceExit);
      if (Interrupted()) return Result::Failure("The transmission was stopped.", kMidiFailed);
      std::lock_guard lock(mutex_);
      if (!send->result) return send->result;
    }
    const auto piece = bytes.subspan(at, std::min(span, bytes.size() - at));
    {
      // What is acknowledged before its last piece left is another message.
      std::lock_guard lock(mutex_);
      acknowledged_ = refused_ = false;
    }
    if (Result result = HandOverWithRetries(send, piece, at == 0 ? startUs : unused); !result) return result;
    for (const std::uint8_t byte : piece)
      if (byte == 0xF0 || byte == 0xF7) sysexOpen_ = byte == 0xF0;
    sysexLast_ = true;
  }
  std::lock_guard lock(mutex_);
  send->sealed = true;
  return Result::Success();
}

// What is known of a message by now; from here on its report counts its failure.
Result MidiOutPort::FateOf(LongSend& send) {
  std::lock_guard lock(mutex_);
  if (!send.Done()) send.unwatched = true;
  return send.result;
}

// Messages follow one another while reports of the former are still to come, but not without end.
void MidiOutPort::AwaitRoom() {
  const auto room = [this] {
    return shared_->underWay <= kMostPiecesUnderWay && shared_->bytesUnderWay <= kMostBytesUnderWay;
  };
  std::unique_lock lock(mutex_);
  while (!room() && !Interrupted() && !gone_.load() && !owner_.forceExit()) {
    changed_.WaitUntil(lock, clock_.NowUs() + kOutSliceUs, [&] { return room() || Interrupted(); });
    lock.unlock();
    const bool alive = Alive();
    lock.lock();
    if (!alive) return;
  }
}

// Gives up what the backend still has.  An instrument that was left inside a SysEx would take what comes next for more
// of it: it gets the end it misses, and time to see it.
void MidiOutPort::CutOff() {
  bool underWay = false;
  {
    std::lock_guard lock(mutex_);
    underWay = shared_->underWay > 0;
  }
  if (!Alive() && !closing_.load()) return;
  {
    std::lock_guard lock(handleMutex_);
    if (!handle_ || !handle_->Alive()) return;
    if (underWay) handle_->Reset();
  }
  // Of a message whose end was handed over too, more may have been given up than its end.
  if (sysexOpen_ || (underWay && sysexLast_)) EndSysEx();
}

void MidiOutPort::EndSysEx() {
  sysexOpen_ = sysexLast_ = false;
  static constexpr std::uint8_t kEnd[1] = {0xF7};
  const auto send = std::make_shared<LongSend>();
  if (!HandOver(send, kEnd, false)) return;
  {
    std::unique_lock lock(mutex_);
    send->sealed = true;
    changed_.WaitUntil(lock, clock_.NowUs() + kCutUs, [&] { return send->Done(); });
  }
  silentUntilUs_ = clock_.NowUs() + kCutGapUs;
  owner_.CallMonitors(slot(), kEnd);
}

// True when the backend has reported the fate of the message.
bool MidiOutPort::WaitDone(LongSend& send, std::int64_t deadlineUs) {
  std::unique_lock lock(mutex_);
  while (!send.Done()) {
    const std::int64_t now = clock_.NowUs();
    if (now >= deadlineUs || Interrupted() || owner_.forceExit()) break;
    changed_.WaitUntil(lock, std::min(deadlineUs, now + kOutSliceUs), [&] { return send.Done() || Interrupted(); });
    if (send.Done()) break;
    lock.unlock();
    const bool alive = Alive();
    lock.lock();
    if (!alive && !send.Done()) send.result = Result::Failure("The MIDI port " + name() + " went away.", kMidiNoDevice);
  }
  return send.Done();
}

void MidiOutPort::Failed(const Result& result, std::size_t length) {
  std::lock_guard lock(mutex_);
  shared_->Failed(result, length);
}

}  // namespace tonalith
