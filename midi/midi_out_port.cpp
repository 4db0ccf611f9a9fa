#include <algorithm>

#include "midi/midi_out_shared.h"
#include "midi/midi_output.h"
#include "midi/sysex_assembler.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr std::int64_t kPaceStepMs = 100;
// When a port closes: what is queued may take so long at the port's rate, and so long in truth, for a server with long
// periods is slower than its port.
constexpr std::int64_t kFinishUs = 1'000'000;
constexpr std::int64_t kFinishWaitUs = 3'000'000;

std::array<std::uint8_t, 3> UnpackShort(std::uint64_t packed) {
  return {static_cast<std::uint8_t>(packed), static_cast<std::uint8_t>(packed >> 8),
          static_cast<std::uint8_t>(packed >> 16)};
}

// Of the three bytes those that are sent.
std::size_t UsedOf(const std::array<std::uint8_t, 3>& message) {
  const int length = ShortMessageLength(message[0]);
  return length > 0 ? static_cast<std::size_t>(length) : message.size();
}

}  // namespace

MidiOutPort::MidiOutPort(MidiOut& owner, MidiPortDevice device, std::unique_ptr<MidiOutputHandle> handle, int slot)
    : owner_(owner),
      device_(std::move(device)),
      clock_(owner.clock()),
      handle_(std::move(handle)),
      slot_(slot),
      shared_(std::make_shared<Shared>(owner.clock(), device_.info.name)),
      mutex_(shared_->mutex),
      changed_(shared_->changed),
      gone_(shared_->gone) {
  handle_->SetMaxRate(EffectiveRate());
}

MidiOutPort::~MidiOutPort() {
  ClosePort();
}

void MidiOutPort::StartThread() {
  if (hasThread_.exchange(true)) return;
  thread_ = WorkerThread(clock_, [this] { Thread(); });
}

// ---------------------------------------------------------------------------------------------------- the queue

bool MidiOutPort::isBusy() const {
  if (busy_.load() || state_.load() == 1 || sleeping_.load()) return true;
  std::lock_guard lock(mutex_);
  return !Idle();
}

bool MidiOutPort::Idle() const {
  return queue_.empty() && !working_ && shared_->underWay == 0;
}

std::uint64_t MidiOutPort::TotalBytes() const {
  std::lock_guard lock(mutex_);
  return shared_->leftBytes;
}

std::uint64_t MidiOutPort::PostedBytes() const {
  std::lock_guard lock(mutex_);
  return postedBytes_;
}

std::uint64_t MidiOutPort::PostedBytesLeft() const {
  std::lock_guard lock(mutex_);
  return shared_->postedBytesLeft;
}

std::uint64_t MidiOutPort::Reconnects() const {
  std::lock_guard lock(handleMutex_);
  return handle_ ? handle_->Reconnects() : 0;
}

std::uint64_t MidiOutPort::failedMessages() const {
  std::lock_guard lock(mutex_);
  return shared_->failed;
}

AckCounts MidiOutPort::Acks() const {
  std::lock_guard lock(mutex_);
  return acks_;
}

std::uint64_t MidiOutPort::cutSends() const {
  std::lock_guard lock(mutex_);
  return cutSends_;
}

std::string MidiOutPort::lastFailure() const {
  std::lock_guard lock(mutex_);
  return shared_->lastFailure;
}

int MidiOutPort::GetActive() {
  busy_.store(false);
  if (state_.load() == 1) return 1;
  int shortSent = 2;
  return state_.compare_exchange_strong(shortSent, 0) ? 1 : 0;
}

bool MidiOutPort::Alive() const {
  if (closing_.load() || gone_.load()) return false;
  std::lock_guard lock(handleMutex_);
  return handle_ && handle_->Alive();
}

bool MidiOutPort::Post(MidiOutMessage message) {
  {
    std::lock_guard lock(mutex_);
    if (closing_.load() || !hasThread_.load()) return false;
    waitingBytes_ += message.bytes.size();
    queue_.push_back(std::move(message));
    ++posted_;
  }
  changed_.NotifyAll();
  return true;
}

bool MidiOutPort::SendMessage(OutputPortMessage number, std::uint64_t wParam, std::uint64_t lParam,
                              std::vector<std::uint8_t> bytes) {
  MidiOutMessage message{number, wParam, lParam, std::move(bytes)};
  if (!writeToQueue_.load()) return Post(std::move(message));
  std::lock_guard lock(mutex_);
  if (closing_.load()) return false;
  collectedBytes_ += message.bytes.size();
  collected_.push_back(std::move(message));
  return true;
}

bool MidiOutPort::OutputQueue() {
  writeToQueue_.store(false);
  return Post({OutputPortMessage::Drain, 0, 0, {}});
}

bool MidiOutPort::PostPieces(std::vector<MidiOutMessage> pieces, bool mayWait, const CancelToken* cancel) {
  std::size_t bytes = 0;
  std::size_t counted = 0;
  for (const MidiOutMessage& piece : pieces) {
    bytes += piece.bytes.size();
    counted += piece.number == OutputPortMessage::Short ? 3 : piece.bytes.size();
  }
  std::unique_lock lock(mutex_);
  const bool collecting = writeToQueue_.load();
  const auto hasRoom = [&] {
    const std::size_t waiting = collecting ? collectedBytes_ : waitingBytes_;
    return waiting == 0 || waiting + bytes <= kMaxQueuedOutput;
  };
  // Collected messages only leave when their collector says so: waiting for room would be for ever.
  if (!hasRoom() && (collecting || !mayWait)) return false;
  const auto over = [&] { return closing_.load() || gone_.load() || (cancel && cancel->Cancelled()); };
  const bool waited = !hasRoom();
  while (!hasRoom() && !over() && !stopping_.load())
    changed_.WaitUntil(lock, clock_.NowUs() + kOutSliceUs, [&] { return hasRoom() || stopping_.load(); });
  if (over() || (waited && stopping_.load())) return false;
  queuedBytes_.fetch_add(static_cast<std::uint32_t>(counted));
  for (const MidiOutMessage& piece : pieces)
    postedBytes_ += piece.number == OutputPortMessage::Short ? UsedOf(UnpackShort(piece.lParam)) : piece.bytes.size();
  (collecting ? collectedBytes_ : waitingBytes_) += bytes;
  for (MidiOutMessage& piece : pieces) {
    if (collecting) {
      collected_.push_back(std::move(piece));
    } else {
      queue_.push_back(std::move(piece));
      ++posted_;
    }
  }
  lock.unlock();
  changed_.NotifyAll();
  return true;
}

bool MidiOutPort::PostLive(std::uint64_t packed) {
  MidiOutMessage message;
  message.number = OutputPortMessage::Short;
  message.lParam = packed;
  message.live = true;
  {
    std::lock_guard lock(mutex_);
    if (closing_.load() || gone_.load() || !hasThread_.load()) return false;
    // Behind what others than the transfer sent before, and behind a stop.
    auto place = queue_.end();
    if (const std::uint64_t lease = lease_.load()) {
      const auto waits = [lease](const MidiOutMessage& queued) {
        if (queued.live || queued.number == OutputPortMessage::Stopped) return true;
        return queued.lease != lease &&
               (queued.number == OutputPortMessage::Short || queued.number == OutputPortMessage::Long);
      };
      place = std::find_if(queue_.rbegin(), queue_.rend(), waits).base();
    }
    queue_.insert(place, std::move(message));
  }
  changed_.NotifyAll();
  return true;
}

void MidiOutPort::StopTransmit() {
  {
    std::lock_guard lock(mutex_);
    if (closing_.load() || !hasThread_.load()) return;
    if (!Idle()) ++cutSends_;
    stopping_.store(true);
    shared_->interrupted = true;
    ++pendingStops_;
    queue_.push_back({OutputPortMessage::Stopped, 0, 0, {}});
    ++posted_;
    // What is played is not stopped with it.
    std::stable_partition(queue_.begin(), queue_.end(), [](const MidiOutMessage& queued) { return !queued.live; });
  }
  changed_.NotifyAll();
}

bool MidiOutPort::WaitIdle(std::int64_t timeoutMs, const CancelToken* cancel) {
  const std::int64_t deadline = timeoutMs < 0 ? kNever : clock_.NowUs() + timeoutMs * 1000;
  std::unique_lock lock(mutex_);
  const auto idle = [this] { return Idle(); };
  while (!idle()) {
    const std::int64_t now = clock_.NowUs();
    if (now >= deadline || closing_.load() || gone_.load() || (cancel && cancel->Cancelled())) return false;
    changed_.WaitUntil(lock, std::min(deadline, now + kOutSliceUs), idle);
  }
  return !closing_.load() && !gone_.load();
}

std::uint64_t MidiOutPort::PostedMessages() const {
  std::lock_guard lock(mutex_);
  return posted_;
}

std::uint64_t MidiOutPort::HandledMessages() const {
  std::lock_guard lock(mutex_);
  return handled_;
}

// ---------------------------------------------------------------------------------------------------- closing

void MidiOutPort::BeginClosing() {
  {
    std::lock_guard lock(mutex_);
    if (closing_.exchange(true)) return;
    stopping_.store(true);
    shared_->interrupted = true;
    queue_.clear();
    collected_.clear();
    waitingBytes_ = collectedBytes_ = 0;
    queue_.push_back({OutputPortMessage::Quit, 0, 0, {}});
    handled_ = posted_;
    begun_.store(handled_);
  }
  changed_.NotifyAll();
}

// A port that has more to send than it can in the time is cut at once.
void MidiOutPort::FinishSending(std::int64_t startUs) {
  if (!Alive()) return;
  std::unique_lock lock(mutex_);
  const std::uint32_t rate = EffectiveRate();
  const std::int64_t bytes = static_cast<std::int64_t>(waitingBytes_) + currentLength_.load();
  if (rate && clock_.NowUs() + bytes * 1'000'000 / rate > startUs + kFinishUs) return;
  changed_.WaitUntil(lock, startUs + kFinishWaitUs, [this] { return Idle() || closing_.load() || gone_.load(); });
}

void MidiOutPort::EndThread() {
  BeginClosing();
  if (!thread_.Running()) CutOff();
  thread_.Join();
  hasThread_.store(false);
  std::unique_ptr<MidiOutputHandle> handle;
  {
    std::lock_guard lock(handleMutex_);
    handle = std::move(handle_);
  }
}

void MidiOutPort::ClosePort() {
  FinishSending(clock_.NowUs());
  EndThread();
}

void MidiOutPort::ShutDownPort() {
  gone_.store(true);
  {
    std::lock_guard lock(mutex_);
    if (!Idle() && !shared_->interrupted)
      shared_->Failed(Result::Failure("The MIDI port " + name() + " went away.", kMidiNoDevice), queuedBytes_.load());
  }
  EndThread();
}

// ---------------------------------------------------------------------------------------------------- the thread

void MidiOutPort::Thread() {
  for (;;) {
    MidiOutMessage message;
    {
      std::unique_lock lock(mutex_);
      changed_.Wait(lock, [this] { return !queue_.empty(); });
      message = TakeNext();
      working_ = true;
    }
    if (message.live) {
      ProcessLive(message);
      {
        std::lock_guard lock(mutex_);
        working_ = false;
      }
      changed_.NotifyAll();
      continue;
    }
    const bool quit = ProcessMsg(std::move(message));
    FinishMessage();
    if (quit) break;
  }
  threadFinished_.store(true);
}

// What is played waits for the end of a SysEx whose other pieces are there.
MidiOutMessage MidiOutPort::TakeNext() {
  auto next = queue_.begin();
  if (next->live && sysexOpen_) {
    next = std::find_if(queue_.begin(), queue_.end(), [](const MidiOutMessage& queued) { return !queued.live; });
    if (next == queue_.end()) next = queue_.begin();
  }
  MidiOutMessage message = std::move(*next);
  queue_.erase(next);
  waitingBytes_ -= message.bytes.size();
  return message;
}

void MidiOutPort::ProcessLive(const MidiOutMessage& message) {
  if (sysexOpen_) EndSysEx();
  PauseUntil(silentUntilUs_, Cut::Stop);
  if (closing_.load()) return;
  const auto bytes = UnpackShort(message.lParam);
  const auto used = std::span(bytes).first(static_cast<std::size_t>(ShortMessageLength(bytes[0])));
  sendingLive_ = true;
  const Result result = SendShortNow(used);
  sendingLive_ = false;
  if (!result) return Failed(result, used.size());
  if (used[0] < 0xF8) sysexLast_ = false;
  UpdateNoteStatus(used);
}

// A pause of what is sent is none for what is played.
void MidiOutPort::ProcessDelay(std::int64_t untilUs) {
  sleeping_.store(true);
  std::unique_lock lock(mutex_);
  const auto played = [this] { return !queue_.empty() && queue_.front().live && !sysexOpen_; };
  while (!Interrupted() && clock_.NowUs() < untilUs) {
    changed_.WaitUntil(lock, std::min(untilUs, clock_.NowUs() + kOutSliceUs),
                       [&] { return Interrupted() || played(); });
    if (Interrupted() || !played()) continue;
    const MidiOutMessage message = TakeNext();
    lock.unlock();
    ProcessLive(message);
    lock.lock();
  }
  lock.unlock();
  sleeping_.store(false);
}

void MidiOutPort::FinishMessage() {
  {
    std::lock_guard lock(mutex_);
    working_ = false;
    begun_.store(++handled_);
    if (sentBytes_.load() >= queuedBytes_.load()) {
      sentBytes_.store(0);
      queuedBytes_.store(0);
    }
  }
  changed_.NotifyAll();
}

bool MidiOutPort::ProcessMsg(MidiOutMessage message) {
  switch (message.number) {
    case OutputPortMessage::Short:
      ProcessShort(message);
      break;
    case OutputPortMessage::Long:
      ProcessLong(std::move(message));
      break;
    case OutputPortMessage::Delay:
      ProcessDelay(clock_.NowUs() + static_cast<std::int64_t>(message.lParam) * 1000);
      break;
    case OutputPortMessage::Stopped: {
      CutOff();
      std::lock_guard lock(mutex_);
      if (--pendingStops_ <= 0 && !closing_.load()) {
        stopping_.store(false);
        shared_->interrupted = false;
      }
      counting_.store(false);
      break;
    }
    case OutputPortMessage::AckOn:
      if (!Interrupted()) ProcessAckOn(std::move(message));
      break;
    case OutputPortMessage::AckOff: {
      std::lock_guard lock(mutex_);
      waitForAck_.store(false);
      ackPattern_.clear();
      break;
    }
    case OutputPortMessage::CountOn:
      countedBytes_.store(0);
      counting_.store(true);
      break;
    case OutputPortMessage::CountOff:
      counting_.store(false);
      break;
    case OutputPortMessage::Drain:
      DrainCollected();
      break;
    case OutputPortMessage::Quit:
      exitCode_ = message.wParam;
      CutOff();
      clock_.SleepUs(silentUntilUs_ - clock_.NowUs());
      return true;
    default:
      break;
  }
  return false;
}

void MidiOutPort::Account(std::size_t length) {
  sentBytes_.fetch_add(static_cast<std::uint32_t>(length));
}

void MidiOutPort::ProcessShort(const MidiOutMessage& message) {
  Account(3);
  PauseUntil(silentUntilUs_, Cut::Stop);
  AwaitRoom();
  if (Interrupted()) return;
  state_.store(2);
  const auto bytes = UnpackShort(message.lParam);
  const auto used = std::span(bytes).first(UsedOf(bytes));
  if (const Result result = SendShortNow(used); !result) {
    Failed(result, used.size());
    return;
  }
  if (used[0] < 0xF8) sysexOpen_ = sysexLast_ = false;
  countedBytes_.fetch_add(3);
  UpdateNoteStatus(used);
}

void MidiOutPort::ProcessLong(MidiOutMessage message) {
  const std::size_t length = message.bytes.size();
  state_.store(1);
  busy_.store(true);
  Account(length);
  PauseUntil(silentUntilUs_, Cut::Stop);
  if (!Interrupted() && length > 0) {
    const bool ack = waitForAck_.load() && !message.more;
    const auto send = std::make_shared<LongSend>();
    send->length = length;
    std::int64_t startUs = 0;
    currentStartUs_.store(clock_.NowUs());
    currentLength_.store(static_cast<std::uint32_t>(length));
    Result result = HandOverPaced(send, message.bytes, EffectiveRate(), startUs);
    if (result) {
      if (ack) {
        WaitForAckOrTimeout();
        WaitDone(*send, kNever);
      } else {
        SysXSleep(length, startUs, EffectiveRate());
      }
      AwaitRoom();
      result = FateOf(*send);
    }
    currentLength_.store(0);
    if (result) {
      countedBytes_.fetch_add(static_cast<std::uint32_t>(length));
      const int slow = Pacing() ? Pacing()->gapMs : owner_.midiXSlow();
      if (message.split && slow > 0) PauseUntil(clock_.NowUs() + std::int64_t{slow} * 1000, Cut::StopOrForceExit);
    } else if (!Interrupted()) {
      Failed(result, length);
      CutOff();
    }
    owner_.SetMidiOutForceExit(false);
  }
  state_.store(0);
  busy_.store(false);
}

void MidiOutPort::WaitForAckOrTimeout() {
  std::unique_lock lock(mutex_);
  DebugLog("Waiting for ACK - %dms", ackTimeoutMs_);
  const std::int64_t deadline = clock_.NowUs() + std::int64_t{ackTimeoutMs_} * 1000;
  ++acks_.asked;
  const auto over = [this] { return acknowledged_ || refused_ || Interrupted() || owner_.forceExit(); };
  while (!over() && clock_.NowUs() < deadline && !gone_.load())
    changed_.WaitUntil(lock, std::min(deadline, clock_.NowUs() + kOutSliceUs), over);
  if (acknowledged_) ++acks_.answered;
  if (refused_ && !acknowledged_) ++acks_.refused;
}

// Lets the wire carry `length` bytes that were started at `startUs`.  Waits of 100 ms and more are whole steps of 100
// ms from the start on, and force-exit can end them.
void MidiOutPort::SysXSleep(std::size_t length, std::int64_t startUs, std::uint32_t rate) {
  const std::int64_t wireMs = rate ? static_cast<std::int64_t>(length) * 1000 / rate : 0;
  if (wireMs == 0) return;
  const std::int64_t waitMs = wireMs + 1;
  if (waitMs < kPaceStepMs) {
    PauseUntil(startUs + waitMs * 1000, Cut::Stop);
    return;
  }
  const std::int64_t steps = (waitMs + kPaceStepMs - 1) / kPaceStepMs;
  PauseUntil(startUs + steps * kPaceStepMs * 1000, Cut::StopOrForceExit);
}

void MidiOutPort::PauseUntil(std::int64_t deadlineUs, Cut cut) {
  std::unique_lock lock(mutex_);
  const auto over = [&] { return Interrupted() || (cut == Cut::StopOrForceExit && owner_.forceExit()); };
  while (!over()) {
    const std::int64_t now = clock_.NowUs();
    if (now >= deadlineUs) return;
    changed_.WaitUntil(lock, std::min(deadlineUs, now + kOutSliceUs), over);
  }
}

void MidiOutPort::ProcessAckOn(MidiOutMessage message) {
  std::lock_guard lock(mutex_);
  if (message.bytes.size() > kMaxAckPattern) message.bytes.resize(kMaxAckPattern);
  ackPattern_ = std::move(message.bytes);
  ackInPort_ = static_cast<int>((message.wParam >> 16) & 0xFFFF);
  ackTimeoutMs_ = static_cast<int>(message.wParam & 0xFFFF);
  ackDevice_ = static_cast<std::size_t>(message.lParam);
  waitForAck_.store(true);
}

void MidiOutPort::DrainCollected() {
  for (;;) {
    MidiOutMessage message;
    {
      std::lock_guard lock(mutex_);
      if (collected_.empty()) return;
      message = std::move(collected_.front());
      collected_.pop_front();
      collectedBytes_ -= message.bytes.size();
    }
    if (message.number != OutputPortMessage::Drain) ProcessMsg(std::move(message));
  }
}

// ---------------------------------------------------------------------------------------------------- direct sending

Result MidiOutPort::SendShortNow(std::span<const std::uint8_t> message) {
  return HandOver(nullptr, message, !sendingLive_);
}

// For a port without a thread: sends on the caller's thread and waits for each piece as long as its bytes may take.
void MidiOutPort::SendSynchronously(std::span<const std::uint8_t> data, std::size_t chunk) {
  while (!data.empty() && data[0] != 0) {
    const auto piece = data.first(chunk ? std::min(chunk, data.size()) : data.size());
    const auto send = std::make_shared<LongSend>();
    send->length = piece.size();
    std::int64_t startUs = 0;
    const std::uint32_t rate = owner_.useMidiTime() ? owner_.midiTransferRate() : 0;
    if (const Result result = HandOverPaced(send, piece, rate, startUs); !result) {
      Failed(result, data.size());
      return;
    }
    const auto length = static_cast<std::int64_t>(piece.size());
    std::int64_t limitMs = std::max<std::int64_t>(length / 2500 * 1000, 5000);
    if (owner_.useMidiTime()) {
      SysXSleep(piece.size(), startUs, owner_.midiTransferRate());
      limitMs = std::max<std::int64_t>(length * 100 / 2500, 200) * 11;
    }
    WaitDone(*send, clock_.NowUs() + limitMs * 1000);
    if (const Result result = FateOf(*send); !result) Failed(result, piece.size());
    const std::int16_t slow = owner_.midiXSlow();
    if (piece.size() < data.size() && slow > 0) PauseUntil(clock_.NowUs() + std::int64_t{slow} * 1000, Cut::Stop);
    data = data.subspan(piece.size());
  }
}

// ---------------------------------------------------------------------------------------------------- small things

void MidiOutPort::SetSpeed(std::uint32_t bytesPerSecond) {
  speed_.store(bytesPerSecond);
  std::lock_guard lock(handleMutex_);
  if (handle_) handle_->SetMaxRate(EffectiveRate());
}

void MidiOutPort::SetPacing(const std::optional<MidiPacing>& pacing) {
  constexpr std::uint64_t kSet = std::uint64_t{1} << 48;
  pacing_.store(
      pacing ? kSet | std::uint64_t{pacing->chunk} << 32 | std::uint64_t{pacing->gapMs} << 16 | pacing->delayMs : 0);
}

std::optional<MidiPacing> MidiOutPort::Pacing() const {
  const std::uint64_t packed = pacing_.load();
  if (packed == 0) return std::nullopt;
  return MidiPacing{static_cast<std::uint16_t>(packed >> 32), static_cast<std::uint16_t>(packed >> 16),
                    static_cast<std::uint16_t>(packed)};
}

void MidiOutPort::SetMaxSysExSpeed(std::uint32_t bytesPerSecond) {
  maxSysExSpeed_.store(bytesPerSecond);
  std::lock_guard lock(handleMutex_);
  if (handle_) handle_->SetMaxRate(EffectiveRate());
}

std::uint32_t MidiOutPort::EffectiveRate() const {
  const std::uint32_t speed = speed_.load();
  const std::uint32_t most = maxSysExSpeed_.load();
  if (!speed || !most) return speed ? speed : most;
  return std::min(speed, most);
}

std::uint32_t MidiOutPort::ProgressBytes() const {
  const std::uint32_t length = currentLength_.load();
  if (!length) return countedBytes_.load();
  const std::int64_t elapsed = std::max<std::int64_t>(clock_.NowUs() - currentStartUs_.load(), 0);
  const std::int64_t gone = elapsed * std::max<std::uint32_t>(EffectiveRate(), 1) / 1'000'000;
  return countedBytes_.load() + static_cast<std::uint32_t>(std::min<std::int64_t>(gone, length));
}

int MidiOutPort::NoteStatus(int channel, int note) const {
  if (channel < 0 || channel > 15 || note < 0 || note > 127) return 0;
  return notes_[static_cast<std::size_t>(channel)][static_cast<std::size_t>(note)].load();
}

void MidiOutPort::UpdateNoteStatus(std::span<const std::uint8_t> message) {
  if (message.size() < 3 || message[0] < 0x80 || message[0] >= 0xA0) return;
  auto& count = notes_[message[0] & 0x0F][message[1] & 0x7F];
  if (message[0] >= 0x90 && message[2] > 0) {
    count.fetch_add(1);
  } else if (count.load() > 0) {
    count.fetch_sub(1);
  }
}

}  // namespace tonalith
