#include <algorithm>
#include <cstring>

#include "midi/midi_input.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr std::size_t kHeadBytes = kMaxAckPattern;       // longest start of a message that a pattern can ask for
constexpr std::size_t kMaxKeptBytes = 8u << 20;          // messages between two receives
constexpr std::int64_t kKeepAfterReceiveUs = 1'000'000;  // how long they are kept
constexpr std::size_t kAssembledRoomKept = 1u << 20;

// True when `pattern` and `bytes` agree as far as both go.
bool AgreesSoFar(std::span<const std::uint8_t> pattern, std::span<const std::uint8_t> bytes) {
  const std::size_t length = std::min(pattern.size(), bytes.size());
  for (std::size_t i = 0; i < length; ++i)
    if (pattern[i] != 0xFF && pattern[i] != bytes[i]) return false;
  return true;
}

}  // namespace

// Brings what the assembler finds to the port's receive service and to the hub.
class MidiInPort::Listener final : public SysExAssembler::Listener {
 public:
  Listener(MidiInPort& port, std::int64_t timeUs) : port_(port), timeUs_(timeUs) {}

  void Short(std::span<const std::uint8_t> message) override {
    port_.owner_.OnShort(port_, message, timeUs_);
    if (message[0] >= 0xF0 || !port_.shortService_.load()) return;
    std::lock_guard lock(port_.mutex_);
    port_.ZKMidiInServiceEvent(message);
  }
  void SysExBegin() override {
    port_.assembled_.clear();
    port_.assembledStartUs_ = timeUs_;
    port_.lastSysExUs_.store(port_.clock_.NowUs());
    std::lock_guard lock(port_.mutex_);
    port_.ServiceBegin();
  }
  void SysExBytes(std::span<const std::uint8_t> bytes) override {
    auto& all = port_.assembled_;
    const auto taken = bytes.first(std::min(bytes.size(), kMaxHeldSysEx - std::min(kMaxHeldSysEx, all.size())));
    all.insert(all.end(), taken.begin(), taken.end());
    port_.lastSysExUs_.store(port_.clock_.NowUs());
    std::lock_guard lock(port_.mutex_);
    port_.ServiceBytes(bytes);
  }
  void SysExEnd(bool complete) override {
    if (complete) port_.owner_.out().MidiOutTestForAck(port_.slot(), port_.assembled_);
    std::shared_ptr<MidiOutPort> stop;
    {
      std::lock_guard lock(port_.mutex_);
      port_.ServiceEnd(complete);
      stop = port_.TakeStop();
    }
    if (stop) stop->StopTransmit();
    port_.owner_.OnLong(port_, port_.assembled_, complete, port_.assembledStartUs_);
    port_.assembled_.clear();
    if (port_.assembled_.capacity() > kAssembledRoomKept) port_.assembled_.shrink_to_fit();
  }
  void Stray(std::span<const std::uint8_t> bytes) override {
    std::lock_guard lock(port_.mutex_);
    port_.ServiceStray(bytes);
  }

 private:
  MidiInPort& port_;
  std::int64_t timeUs_;
};

MidiInPort::MidiInPort(MidiIn& owner, MidiPortDevice device, int slot)
    : owner_(owner), device_(std::move(device)), clock_(owner.clock()), slot_(slot), changed_(owner.clock()) {}

MidiInPort::~MidiInPort() {
  ClosePort();
}

bool MidiInPort::Alive() const {
  if (closed_.load()) return false;
  std::lock_guard lock(handleMutex_);
  return handle_ && handle_->Alive();
}

std::uint64_t MidiInPort::Reconnects() const {
  std::lock_guard lock(handleMutex_);
  return handle_ ? handle_->Reconnects() : 0;
}

void MidiInPort::ClosePort() {
  closed_.store(true);
  std::unique_ptr<MidiInputHandle> handle;
  {
    std::lock_guard lock(handleMutex_);
    handle = std::move(handle_);
  }
  // Closing waits for a delivery that is going on, which needs this port's locks.
  handle.reset();
  {
    std::lock_guard lock(mutex_);
    kept_.clear();
    keptBytes_ = 0;
  }
  changed_.NotifyAll();
}

void MidiInPort::OnBytes(std::span<const std::uint8_t> bytes, std::int64_t timeUs) {
  if (bytes.empty()) {
    lostEvents_.fetch_add(1);
    MonitorMsg("MIDI IN %s: something that came could not be taken in time", name().c_str());
    {
      std::lock_guard lock(mutex_);
      ServiceLost();
    }
    Listener listener(*this, timeUs);
    assembler_.Lost(listener);
    return;
  }
  active_.store(true);
  lastHeardUs_.store(clock_.NowUs());
  bytesReceived_.fetch_add(bytes.size());
  if (owner_.stopped_.load() || closed_.load() || slot() < 0) return;
  Listener listener(*this, timeUs);
  assembler_.Feed(bytes, listener);
}

// ---------------------------------------------------------------------------------------------------- arming

std::uint64_t MidiInPort::SetReceive(std::span<std::uint8_t> destination, const ReceiveOptions& options,
                                     std::atomic<std::int64_t>* progress, bool fresh,
                                     std::function<bool()> requestWaits) {
  std::shared_ptr<MidiOutPort> stop;
  std::uint64_t number = 0;
  {
    std::lock_guard lock(mutex_);
    if (message_.open && message_.verdict == Verdict::Take) message_.consumed = true;
    receive_ = ReceiveContext();
    number = ++receiveNumber_;
    receive_.cursor = destination.data();
    receive_.end = destination.data() + destination.size();
    receive_.remaining = static_cast<std::int64_t>(destination.size());
    receive_.state = 1;
    receive_.options = options;
    receive_.steps = AnswerSteps(options.answer, options.answerRepeats);
    receive_.requestWaits = std::move(requestWaits);
    receive_.progress = progress;
    receive_.lastByteUs = clock_.NowUs();
    ReceiveOptions& used = receive_.options;
    if (used.accept.size() > kMaxMidiPattern) used.accept.resize(kMaxMidiPattern);
    if (used.end.size() > kMaxMidiPattern) used.end.resize(kMaxMidiPattern);
    if (used.decline.size() > kMaxDeclinePatterns) used.decline.resize(kMaxDeclinePatterns);
    for (MidiPattern& pattern : used.decline)
      if (pattern.size() > kMaxMidiPattern) pattern.resize(kMaxMidiPattern);
    if (fresh || !Keeping()) {
      kept_.clear();
      keptBytes_ = 0;
    }
    FeedKept();
    FeedOpenMessage(fresh);
    stop = TakeStop();
  }
  if (stop) stop->StopTransmit();
  return number;
}

std::int64_t MidiInPort::ClearReceive(std::uint64_t receive, ReceiveReport* report) {
  std::lock_guard lock(mutex_);
  if (receive != 0 && receive != receiveNumber_) return -1;
  const std::int64_t stored = receive_.received;
  if (report) {
    if (message_.open && message_.refused && Receiving()) Refuse(false);
    report->refused = receive_.refused;
    report->echoes = receive_.echoes;
  }
  if (message_.open && message_.verdict == Verdict::Take) message_.consumed = true;
  receive_ = ReceiveContext();
  return stored;
}

std::uint8_t* MidiInPort::GetReceivePtr() const {
  std::lock_guard lock(mutex_);
  return receive_.cursor;
}

int MidiInPort::ReceiveState() const {
  std::lock_guard lock(mutex_);
  return receive_.state;
}

void MidiInPort::ExpectData(bool on) {
  std::lock_guard lock(mutex_);
  expectData_ = on;
  if (on) return;
  keepUntilUs_ = 0;
  kept_.clear();
  keptBytes_ = 0;
}

void MidiInPort::ExpectReply() {
  std::lock_guard lock(mutex_);
  kept_.clear();
  keptBytes_ = 0;
  if (message_.open) {
    message_.consumed = true;
    message_.held.clear();
  }
  keepUntilUs_ = clock_.NowUs() + kKeepAfterReceiveUs;
}

void MidiInPort::KeepReplies() {
  std::lock_guard lock(mutex_);
  if (!Keeping()) {
    kept_.clear();
    keptBytes_ = 0;
  }
  keepUntilUs_ = clock_.NowUs() + kKeepAfterReceiveUs;
}

void MidiInPort::ForgetReplies() {
  std::lock_guard lock(mutex_);
  keepUntilUs_ = 0;
  kept_.clear();
  keptBytes_ = 0;
}

void MidiInPort::SetSysXCancel(std::span<const std::uint8_t> pattern, std::shared_ptr<MidiOutPort> stopPort) {
  std::lock_guard lock(mutex_);
  pattern = pattern.first(std::min(pattern.size(), kHeadBytes));
  cancelPattern_.assign(pattern.begin(), pattern.end());
  cancelStops_ = std::move(stopPort);
}

std::shared_ptr<MidiOutPort> MidiInPort::TakeStop() {
  return std::move(pendingStop_);
}

// A request that goes out now cannot be answered by what began before it; but an instrument that keeps one SysEx open
// over a whole conversation goes on inside it.
void MidiInPort::FeedOpenMessage(bool fresh) {
  if (!message_.open) return;
  const bool any = receive_.options.acceptAny != AcceptAny::SysExOnly;
  if (fresh || message_.consumed || message_.lost) {
    if (fresh) message_.held.clear();
    message_.consumed = true;
    message_.verdict = any ? Verdict::Take : Verdict::Ignore;
    const std::vector<std::uint8_t> held = std::move(message_.held);
    message_.held.clear();
    if (any && Receiving()) Store(held);
    return;
  }
  message_.verdict = Verdict::Undecided;
  if (Receiving()) Decide(false, false);
}

void MidiInPort::FeedKept() {
  if (kept_.empty()) return;
  OpenMessage live;
  std::swap(live, message_);
  keepInFront_ = true;
  while (Receiving() && !kept_.empty()) {
    const Kept item = std::move(kept_.front());
    kept_.pop_front();
    keptBytes_ -= item.bytes.size();
    if (item.kind == KeptKind::Short) {
      ZKMidiInServiceEvent(item.bytes);
    } else if (item.kind == KeptKind::Rest) {
      ServiceStray(item.bytes);
    } else {
      ServiceBegin();
      ServiceBytes(item.bytes);
      ServiceEnd(item.complete);
    }
  }
  keepInFront_ = false;
  std::swap(live, message_);
}

bool MidiInPort::Keeping() const {
  return expectData_ || clock_.NowUs() <= keepUntilUs_;
}

void MidiInPort::Keep(std::span<const std::uint8_t> bytes, KeptKind kind, bool complete) {
  if (bytes.empty() || !(keepInFront_ || Keeping())) return;
  if (keptBytes_ + bytes.size() > kMaxKeptBytes) {
    DebugLog("MIDI IN %s: %zu bytes came while nobody received", name().c_str(), bytes.size());
    return;
  }
  Kept item{{bytes.begin(), bytes.end()}, kind, complete};
  keptBytes_ += bytes.size();
  if (keepInFront_) {
    kept_.push_front(std::move(item));
  } else {
    kept_.push_back(std::move(item));
  }
}

// ---------------------------------------------------------------------------------------------------- the service

void MidiInPort::ServiceBegin() {
  message_.open = true;
  message_.consumed = message_.lost = false;
  message_.held.clear();
  message_.head.clear();
  message_.length = 0;
  message_.verdict = Verdict::Undecided;
  message_.refused = false;
  if (!Receiving() || !receive_.requestWaits || !receive_.requestWaits()) return;
  ++receive_.early;
  message_.consumed = true;
  message_.verdict = Verdict::Ignore;
}

// A receive keeps nothing of a message with a hole in it: what comes next would complete it.
void MidiInPort::ServiceLost() {
  if (!message_.open) return;
  TakeOut();
  message_.held.clear();
  message_.verdict = Verdict::Ignore;
}

// The receive stands again where it was before the open message.
void MidiInPort::TakeOut() {
  const Mark& before = message_.before;
  if (Receiving() && message_.verdict == Verdict::Take && before.receive == receiveNumber_) {
    const std::int64_t taken = receive_.received - before.received;
    receive_.cursor = before.cursor;
    receive_.remaining += taken;
    receive_.received = before.received;
    receive_.receivedSized = before.receivedSized;
    receive_.options.skip = before.skip;
    receive_.started = before.started;
    receive_.state = receive_.started ? 2 : 1;
    if (receive_.progress) receive_.progress->fetch_sub(taken);
  }
}

bool MidiInPort::IsEcho() const {
  const auto& echo = receive_.options.echo;
  return !echo.empty() && static_cast<std::size_t>(message_.length) == echo.size() &&
         std::equal(message_.head.begin(), message_.head.end(), echo.begin());
}

// The open message is over and no answer.
void MidiInPort::Refuse(bool complete) {
  if (IsEcho()) {
    ++receive_.echoes;
    if (receive_.progress) receive_.progress->fetch_add(message_.length);
    return;
  }
  if (message_.length < 2) return;
  if (!receive_.refused.any) receive_.refusedUs = clock_.NowUs();
  receive_.refused = {true, message_.length, message_.head[1], complete, false, message_.head};
}

void MidiInPort::Hold(std::span<const std::uint8_t> bytes) {
  if (message_.lost) return;
  if (message_.held.size() + bytes.size() > kMaxHeldSysEx) {
    message_.lost = true;
    message_.held.clear();
    return;
  }
  message_.held.insert(message_.held.end(), bytes.begin(), bytes.end());
}

void MidiInPort::ServiceBytes(std::span<const std::uint8_t> bytes) {
  message_.length += static_cast<std::int64_t>(bytes.size());
  if (message_.head.size() < kHeadBytes) {
    const auto part = bytes.first(std::min(bytes.size(), kHeadBytes - message_.head.size()));
    message_.head.insert(message_.head.end(), part.begin(), part.end());
  }
  if (!Receiving()) {
    Hold(bytes);
  } else if (message_.verdict == Verdict::Take) {
    Store(bytes);
  } else if (message_.verdict == Verdict::Undecided) {
    Hold(bytes);
    Decide(false, false);
  }
}

void MidiInPort::Decide(bool ended, bool complete) {
  message_.verdict = Judge(ended, complete);
  if (message_.verdict == Verdict::Undecided) return;
  const std::vector<std::uint8_t> held = std::move(message_.held);
  message_.held.clear();
  switch (message_.verdict) {
    case Verdict::Take:
      message_.before = {receiveNumber_,    receive_.cursor,        receive_.options.skip,
                         receive_.received, receive_.receivedSized, receive_.started};
      Store(held);
      break;
    case Verdict::Cancel:
      receive_.cancelled = true;
      receive_.started = false;
      receive_.state = 3;
      pendingStop_ = cancelStops_;
      changed_.NotifyAll();
      break;
    case Verdict::Ack:
      receive_.ackSeen = true;
      receive_.started = false;
      receive_.state = 0;
      changed_.NotifyAll();
      break;
    default:
      message_.consumed = true;
      message_.refused = receive_.steps.Judge(message_.head) != AnswerSteps::Fit::Yes || IsEcho();
      break;
  }
}

// What the start of the open message (or all of it, when it has ended) says about storing it.
MidiInPort::Verdict MidiInPort::Judge(bool ended, bool complete) const {
  const auto& head = message_.head;
  const auto length = static_cast<std::size_t>(message_.length);
  bool open = false;
  if (!cancelPattern_.empty() && length <= cancelPattern_.size() && AgreesSoFar(cancelPattern_, head)) {
    if (ended && length == cancelPattern_.size()) return Verdict::Cancel;
    open = true;
  }
  if (filterAcks_.load() && length <= kMaxAckPattern) {
    if (ended && complete && owner_.out().MidiInTestForAck(slot(), head)) return Verdict::Ack;
    open = open || owner_.out().MayBecomeAck(slot(), head);
  }
  for (const MidiPattern& decline : receive_.options.decline) {
    if (decline.empty()) return Verdict::Ignore;
    if (!AgreesSoFar(decline, head)) continue;
    if (decline.size() <= length) return Verdict::Ignore;
    open = true;
  }
  if (receive_.options.hasAccept) {
    const MidiPattern& accept = receive_.options.accept;
    if (!AgreesSoFar(accept, head)) return Verdict::Ignore;
    if (accept.size() > length) {
      if (ended) return Verdict::Ignore;
      open = true;
    }
  }
  const auto& echo = receive_.options.echo;
  if (!echo.empty() && length <= echo.size() && AgreesSoFar(echo, head)) {
    if (ended && IsEcho()) return Verdict::Ignore;
    open = true;
  }
  switch (receive_.steps.Judge(head)) {
    case AnswerSteps::Fit::No:
      return Verdict::Ignore;
    case AnswerSteps::Fit::Open:
      if (ended) return Verdict::Ignore;
      open = true;
      break;
    case AnswerSteps::Fit::Yes:
      break;
  }
  // A lone F0 that another F0 follows is noise.
  if (length < 2) return ended ? Verdict::Ignore : Verdict::Undecided;
  return open && !ended ? Verdict::Undecided : Verdict::Take;
}

void MidiInPort::ServiceEnd(bool complete) {
  if (Receiving() && message_.verdict == Verdict::Undecided) Decide(true, complete);
  if (Receiving()) {
    if (message_.verdict == Verdict::Take && receive_.steps.Whole(message_.head, message_.length, complete)) {
      CheckMessageEnd();
    } else if (message_.verdict == Verdict::Take) {
      TakeOut();
      Refuse(complete);
    } else if (message_.refused) {
      Refuse(complete);
    }
  } else if (!message_.held.empty()) {
    Keep(message_.held, message_.consumed ? KeptKind::Rest : KeptKind::SysEx, complete);
  }
  message_ = OpenMessage();
}

// Rules that hold where a message ends.
void MidiInPort::CheckMessageEnd() {
  const ReceiveOptions& options = receive_.options;
  if (!receive_.started) return;
  if (receive_.steps.Next()) {
    Complete();
    return;
  }
  if (options.acceptAny == AcceptAny::SysExOnly && lastStored_ == 0xF7) {
    Complete();
    return;
  }
  const bool sized = std::any_of(options.sizes.begin(), options.sizes.end(),
                                 [this](std::uint32_t size) { return receive_.receivedSized == size; });
  if (sized) {
    receive_.receivedSized = 0;
    receive_.options.sizes.clear();
    Complete();
    return;
  }
  const bool atEnd = !options.end.empty() && !message_.head.empty() && message_.head[0] == 0xF0 &&
                     static_cast<std::size_t>(message_.length) >= options.end.size() &&
                     AgreesSoFar(options.end, message_.head);
  if (atEnd) Complete();
}

// Bytes outside any message: a continuation of what was accepted before, or anything when anything is accepted.
void MidiInPort::ServiceStray(std::span<const std::uint8_t> bytes) {
  if (!Receiving()) {
    Keep(bytes, KeptKind::Rest, false);
    return;
  }
  if (!receive_.started && receive_.options.acceptAny == AcceptAny::SysExOnly) return;
  if (receive_.steps.Counted()) return;
  const bool ends = bytes.back() == 0xF7;
  Store(bytes);
  if (Receiving() && ends) CheckMessageEnd();
  // What did not fit stays for the next receive.
  const std::vector<std::uint8_t> rest = std::move(message_.held);
  message_.held.clear();
  if (!message_.open) Keep(rest, KeptKind::Rest, false);
}

void MidiInPort::ZKMidiInServiceEvent(std::span<const std::uint8_t> message) {
  const std::uint8_t status = message[0];
  if (status == 0xF8 || status == 0xFE) return;
  const std::size_t length = status >= 0xF0 ? 1 : (status & 0xE0) == 0xC0 ? 2 : 3;
  if (message.size() < length) return;
  for (std::size_t i = 1; i < length; ++i)
    if (message[i] >= 0x80) return;
  if (!Receiving()) {
    Keep(message.first(length), KeptKind::Short, true);
    return;
  }
  if (receive_.options.acceptAny != AcceptAny::Everything) return;
  Store(message.first(length));
  message_.held.clear();
}

// Stores what has room; the rest is held for the next receive.
void MidiInPort::Store(std::span<const std::uint8_t> bytes) {
  std::int64_t& skip = receive_.options.skip;
  receive_.lastByteUs = clock_.NowUs();
  if (skip > 0) {
    const auto dropped = std::min<std::int64_t>(skip, static_cast<std::int64_t>(bytes.size()));
    skip -= dropped;
    bytes = bytes.subspan(static_cast<std::size_t>(dropped));
  }
  if (bytes.empty()) return;
  receive_.started = true;
  receive_.state = 2;
  const auto count = std::min<std::int64_t>(static_cast<std::int64_t>(bytes.size()), receive_.remaining);
  if (count > 0) {
    std::memcpy(receive_.cursor, bytes.data(), static_cast<std::size_t>(count));
    receive_.cursor += count;
    receive_.remaining -= count;
    receive_.received += count;
    receive_.receivedSized += count;
    lastStored_ = bytes[static_cast<std::size_t>(count) - 1];
    if (receive_.progress) receive_.progress->fetch_add(count);
  }
  if (receive_.remaining > 0) return;
  Complete();
  message_.consumed = true;
  Hold(bytes.subspan(static_cast<std::size_t>(count)));
}

void MidiInPort::Complete() {
  receive_.state = 0;
  receive_.started = false;
  keepUntilUs_ = clock_.NowUs() + kKeepAfterReceiveUs;
  changed_.NotifyAll();
}

}  // namespace tonalith
