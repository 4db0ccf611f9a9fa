#include <algorithm>
#include <cstring>

#include "midi/midi_input.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr int kSinkTries = 20;
constexpr std::size_t kBatch = 256;

// True when a is not later than b, on a clock that wraps.
bool NotLater(std::uint32_t a, std::uint32_t b) {
  return static_cast<std::int32_t>(a - b) <= 0;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------- recording

void MidiIn::MidiInStartRecord() {
  std::lock_guard lock(ringMutex_);
  if (recordStatus_++ == 0) record_ = true;
}

void MidiIn::MidiInStopRecord() {
  std::lock_guard lock(ringMutex_);
  if (recordStatus_ == 0) return;
  if (--recordStatus_ == 0) record_ = false;
}

int MidiIn::MidiInGetRecord() const {
  std::lock_guard lock(ringMutex_);
  return record_ ? 1 : 0;
}

int MidiIn::InAMidiForceRecordState(int state) {
  std::lock_guard lock(ringMutex_);
  if (state >= 0) {
    if (!forced_) {
      beforeForce_ = record_;
      record_ = state != 0;
      forced_ = true;
    }
    return beforeForce_ ? 1 : 0;
  }
  if (forced_) {
    record_ = beforeForce_;
    forced_ = false;
  }
  return record_ ? 1 : 0;
}

void MidiIn::RecordShort(std::uint32_t message, int port, std::uint32_t time) {
  std::function<void(std::uint32_t, int, std::uint32_t)> raw;
  std::function<bool()> tick;
  {
    std::lock_guard lock(hookMutex_);
    raw = raw_;
    tick = clockTick_;
  }
  if (!MidiInGetRecord()) return;
  if (raw) {
    raw(message, port, time);
    return;
  }
  if ((message & 0xFF) == 0xF8 && tick && tick()) return;
  {
    std::lock_guard lock(ringMutex_);
    if (shortRing_.empty()) return;
    shortRing_[inBot_ % kShortRing] = {message, time, port};
    ++inBot_;
  }
  NotifyDistribution();
}

void MidiIn::RecordLong(std::span<const std::uint8_t> message, bool complete, int port, std::uint32_t time) {
  {
    std::lock_guard lock(ringMutex_);
    if (!record_ || sysexRing_.empty() || message.empty()) return;
    const std::size_t length = std::min(message.size(), kSysExRing);
    starts_[inSysXWrite_ % kSysExStarts] = {inSysXTop_, static_cast<std::uint32_t>(length),
                                            complete && length == message.size(), time, port};
    ++inSysXWrite_;
    const std::size_t at = inSysXTop_ % kSysExRing;
    const std::size_t first = std::min(length, kSysExRing - at);
    std::memcpy(sysexRing_.data() + at, message.data(), first);
    std::memcpy(sysexRing_.data(), message.data() + first, length - first);
    inSysXTop_ += length;
    if (length < message.size()) DebugLog("MIDI IN: a SysEx of %zu bytes is too long for the ring", message.size());
  }
  NotifyDistribution();
}

// ---------------------------------------------------------------------------------------------------- reading

void MidiIn::GetRingPositions(MidiInReader* reader) const {
  if (!reader) return;
  std::lock_guard lock(ringMutex_);
  *reader = {inBot_, inSysXTop_, inSysXWrite_};
}

// Moves a reader that was overtaken (or never stood here) to "now"; true when it was.
bool MidiIn::CatchUp(MidiInReader& reader) const {
  bool moved = false;
  if (reader.shortRead > inBot_ || inBot_ - reader.shortRead > kShortRing) {
    reader.shortRead = inBot_;
    moved = true;
  }
  const bool metaLapped = reader.sysexMetaRead > inSysXWrite_ || inSysXWrite_ - reader.sysexMetaRead > kSysExStarts;
  const bool bytesLapped = reader.sysexRead > inSysXTop_ || inSysXTop_ - reader.sysexRead > kSysExRing;
  if (metaLapped || bytesLapped) {
    reader.sysexRead = inSysXTop_;
    reader.sysexMetaRead = inSysXWrite_;
    moved = true;
  }
  if (moved) DebugLog("MIDI IN: a reader was overtaken and goes on with what comes now");
  return moved;
}

int MidiIn::ReadSysEx(MidiInReader& reader, MidiInRecord& record) const {
  const SysExStart& start = starts_[reader.sysexMetaRead % kSysExStarts];
  const std::size_t at = start.position % kSysExRing;
  const std::size_t first = std::min<std::size_t>(start.length, kSysExRing - at);
  auto bytes = std::make_shared<std::vector<std::uint8_t>>(start.length);
  std::memcpy(bytes->data(), sysexRing_.data() + at, first);
  std::memcpy(bytes->data() + first, sysexRing_.data(), start.length - first);
  record.kind = 2;
  record.time = start.time;
  record.port = start.port;
  record.message = 0;
  record.sysex = std::move(bytes);
  ++reader.sysexMetaRead;
  reader.sysexRead = start.position + start.length;
  record.position = reader;
  return 2;
}

int MidiIn::MidiInGetMsg(MidiInReader& reader, MidiInRecord& record) {
  record = MidiInRecord();
  if (stopMaintenance_.load()) return 0;
  std::lock_guard lock(ringMutex_);
  if (shortRing_.empty()) return 0;
  CatchUp(reader);
  // Messages that broke off or did not fit are passed over.
  while (reader.sysexMetaRead < inSysXWrite_ && !starts_[reader.sysexMetaRead % kSysExStarts].complete) {
    const SysExStart& broken = starts_[reader.sysexMetaRead++ % kSysExStarts];
    reader.sysexRead = broken.position + broken.length;
  }
  const bool hasSysEx = reader.sysexMetaRead < inSysXWrite_;
  if (reader.shortRead < inBot_) {
    const ShortEntry& entry = shortRing_[reader.shortRead % kShortRing];
    if (!hasSysEx || NotLater(entry.time, starts_[reader.sysexMetaRead % kSysExStarts].time)) {
      ++reader.shortRead;
      record = {1, entry.time, entry.message, entry.port, nullptr, reader};
      return 1;
    }
  }
  return hasSysEx ? ReadSysEx(reader, record) : 0;
}

int MidiIn::MidiInGetMsgMidi() {
  if (prompts_) prompts_->Say("Tonalith", "InAMidi - PVRecord - MidiInGetMsgMidi\nneeds to be repaired for CQ!");
  return 0;
}

int MidiIn::MidiInGetMsgSysX() {
  if (prompts_) prompts_->Say("Tonalith", "InAMidi - PVRecord - MidiInGetMsgSysX\nneeds to be repaired for CQ!");
  return 0;
}

// ---------------------------------------------------------------------------------------------------- distribution

void MidiIn::SetNotifyCallback(std::function<void()> notify) {
  std::lock_guard lock(hookMutex_);
  notify_ = std::move(notify);
}

void MidiIn::SetRawCallback(std::function<void(std::uint32_t, int, std::uint32_t)> raw) {
  std::lock_guard lock(hookMutex_);
  raw_ = std::move(raw);
}

void MidiIn::NotifyDistribution() {
  std::function<void()> notify;
  {
    std::lock_guard lock(hookMutex_);
    notify = notify_;
  }
  if (notify) notify();
  {
    std::lock_guard lock(distributeMutex_);
    distributePending_ = true;
  }
  distributeWake_.NotifyAll();
}

bool MidiIn::InAMidiSetFrame(const void* frame, MidiInSink sink) {
  std::lock_guard lock(frameMutex_);
  if (std::any_of(frames_.begin(), frames_.end(), [frame](const Frame& entry) { return entry.frame == frame; })) {
    DebugLog("InAMidiSetFrame - error! frame already in list");
    return false;
  }
  frames_.push_back({frame, std::move(sink)});
  return true;
}

void MidiIn::InAMidiClearFrame(const void* frame) {
  std::lock_guard lock(frameMutex_);
  std::erase_if(frames_, [frame](const Frame& entry) { return entry.frame == frame; });
}

void MidiIn::OpenDistributeThread() {
  std::lock_guard lock(distributeMutex_);
  if (distributeUsers_++ > 0) return;
  distributeQuit_ = false;
  distributePending_ = false;
  MidiInReader start;
  GetRingPositions(&start);
  distributeThread_ = WorkerThread(clock_, [this, start] { DistributeThread(start); });
}

void MidiIn::CloseDistributeThread() {
  {
    std::lock_guard lock(distributeMutex_);
    if (distributeUsers_ == 0 || --distributeUsers_ > 0) return;
    distributeQuit_ = true;
  }
  distributeWake_.NotifyAll();
  distributeThread_.Join();
}

void MidiIn::DistributeThread(MidiInReader reader) {
  for (;;) {
    {
      std::unique_lock lock(distributeMutex_);
      distributeWake_.Wait(lock, [this] { return distributePending_ || distributeQuit_; });
      if (distributeQuit_) return;
      distributePending_ = false;
    }
    std::vector<MidiInRecord> batch;
    do {
      batch.clear();
      MidiInRecord record;
      while (batch.size() < kBatch && MidiInGetMsg(reader, record)) batch.push_back(std::move(record));
      Distribute(batch);
    } while (!batch.empty());
  }
}

void MidiIn::Distribute(const std::vector<MidiInRecord>& batch) {
  for (const MidiInRecord& record : batch) {
    std::lock_guard lock(frameMutex_);
    for (const Frame& frame : frames_) {
      bool taken = false;
      for (int i = 0; i < kSinkTries && !taken; ++i) taken = frame.sink(record);
      if (!taken) DebugLog("MIDI IN: a message could not be handed on");
    }
  }
}

}  // namespace tonalith
