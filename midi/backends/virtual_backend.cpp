#include "midi/backends/virtual_backend.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <thread>
#include <utility>

namespace tonalith {

namespace {

constexpr std::int64_t kFinishUs = 1'000'000;  // what is queued may take so long when its port closes

Result VirtualGone(const std::string& name) {
  return Result::Failure("The MIDI port " + name + " is not there any more.", kMidiNoDevice);
}

// What waits to go through one direction of a cable.
struct CablePacket {
  std::vector<std::uint8_t> bytes;
  std::size_t offset = 0;
  std::int64_t notBeforeUs = 0;
  MidiSent sent;
};

struct CableLane {
  std::deque<CablePacket> queue;
  std::int64_t freeAtUs = 0;  // when the wire has carried what was sent before
  VirtualFaults faults;
  bool faulty = false;
  std::int64_t position = 0;  // bytes since the faults were set
  std::int64_t sinceRealTime = 0;
  bool inSysEx = false;
  bool delivering = false;
  std::uint64_t carried = 0;
  std::uint32_t maxRate = 0;
};

// A slice that has arrived at the end of the wire.
struct CableSlice {
  std::vector<std::uint8_t> bytes;
  MidiSent sent;
  bool vanish = false;
  bool lost = false;
};

std::uint32_t LowerRate(std::uint32_t a, std::uint32_t b) {
  if (!a || !b) return a ? a : b;
  return std::min(a, b);
}

// Applies the faults of the lane to what it carries.
void ApplyFaults(CableLane& lane, CableSlice& slice) {
  const VirtualFaults& faults = lane.faults;
  std::vector<std::uint8_t> out;
  out.reserve(slice.bytes.size() + 16);
  for (const std::uint8_t original : slice.bytes) {
    if (faults.vanishAfter >= 0 && lane.position >= faults.vanishAfter) break;
    const std::int64_t at = lane.position++;
    if (at == faults.loseByte) continue;
    slice.lost = slice.lost || at == faults.loseEvent;
    const std::uint8_t byte =
        at == faults.corruptByte ? static_cast<std::uint8_t>(original ^ faults.corruptMask) : original;
    if (byte == 0xF0) lane.inSysEx = true;
    if (byte == 0xF7) lane.inSysEx = false;
    out.push_back(byte);
    if (lane.inSysEx && faults.realTimeEvery > 0 && ++lane.sinceRealTime >= faults.realTimeEvery) {
      lane.sinceRealTime = 0;
      out.push_back(faults.realTimeByte);
    }
  }
  slice.bytes = std::move(out);
  slice.vanish = faults.vanishAfter >= 0 && lane.position >= faults.vanishAfter;
}

// Takes what the lane has carried by `now`, if anything; otherwise `dueUs` says when to look again (kNever: when
// something is queued).
bool TakeSlice(CableLane& lane, std::uint32_t rate, std::size_t longest, std::int64_t now, CableSlice& slice,
               std::int64_t& dueUs) {
  dueUs = kNever;
  if (lane.queue.empty()) return false;
  CablePacket& packet = lane.queue.front();
  const std::size_t rest = packet.bytes.size() - packet.offset;
  const std::size_t count = rate ? std::min(rest, std::max<std::size_t>(longest, 1)) : rest;
  dueUs = std::max(packet.notBeforeUs, lane.freeAtUs);
  if (rate) dueUs += static_cast<std::int64_t>(count) * 1'000'000 / rate;
  if (dueUs > now) return false;
  lane.freeAtUs = dueUs;
  const auto begin = packet.bytes.begin() + static_cast<std::ptrdiff_t>(packet.offset);
  if (count == packet.bytes.size()) {
    slice.bytes = std::move(packet.bytes);
  } else {
    slice.bytes.assign(begin, begin + static_cast<std::ptrdiff_t>(count));
  }
  packet.offset += count;
  if (count == rest) {
    slice.sent = std::move(packet.sent);
    lane.queue.pop_front();
  }
  if (lane.faulty) ApplyFaults(lane, slice);
  lane.carried += slice.bytes.size();
  return true;
}

// The sink of an open input, with what its closing has to wait for.
struct OpenCableInput {
  MidiInputSink sink;
  bool calling = false;
  std::thread::id caller;
};

}  // namespace

class VirtualBackend::Core : public std::enable_shared_from_this<VirtualBackend::Core> {
 public:
  class Cable;
  class Output;
  class Input;

  explicit Core(Clock& usedClock) : clock(usedClock), inputWake(usedClock), idle(usedClock) {}

  void InputThread();
  void Notice();
  std::shared_ptr<Cable> Find(const std::string& id);
  std::string FreeName(const std::string& wanted) const;

  Clock& clock;
  std::mutex mutex;
  WaitPoint inputWake;  // the thread that delivers to the program
  WaitPoint idle;       // a delivery ended
  bool inputChanged = false;
  std::size_t turn = 0;
  std::vector<std::shared_ptr<Cable>> cables;
  WorkerThread inputThread;
  bool running = false;
  std::mutex noticeMutex;
  std::function<void()> changed;
};

class VirtualBackend::Core::Cable final : public VirtualEndpoint, public std::enable_shared_from_this<Cable> {
 public:
  Cable(std::shared_ptr<Core> owner, std::string cableName, const VirtualCableOptions& cableOptions)
      : core(std::move(owner)),
        options(cableOptions),
        wake(core->clock),
        life(std::make_shared<std::atomic<bool>>(true)),
        name_(std::move(cableName)) {}

  const std::string& name() const override { return name_; }
  void SetReceiver(Receiver receiver) override;
  void Send(std::span<const std::uint8_t> bytes, std::int64_t delayUs) override;
  bool Flush(std::int64_t timeoutMs) override;
  void SetFaults(CableDirection direction, const VirtualFaults& faults) override;
  void SetRate(std::uint32_t bytesPerSecond) override;
  void Unplug() override;
  void Plug() override;
  bool plugged() const override;
  std::uint64_t Carried(CableDirection direction) const override;

  std::string id() const { return name_ + "/" + std::to_string(generation); }
  CableLane& lane(CableDirection direction) { return direction == CableDirection::ToPeer ? toPeer : toProgram; }
  // With the core's mutex held: empties both directions; the callbacks are to be run without it.
  std::vector<MidiSent> Kill();
  void StartThread();
  void PeerThread();
  void DeliverToProgram(std::unique_lock<std::mutex>& lock, CableSlice slice);
  Result Queue(std::span<const std::uint8_t> bytes, MidiSent sent);

  std::shared_ptr<Core> core;
  VirtualCableOptions options;
  WaitPoint wake;
  bool wakeUp = false;
  bool quit = false;
  bool isPlugged = true;
  int generation = 1;
  std::shared_ptr<std::atomic<bool>> life;
  CableLane toPeer;
  CableLane toProgram;
  bool outputOpen = false;
  std::shared_ptr<OpenCableInput> input;
  WorkerThread thread;

 private:
  void DeliverToPeer(std::unique_lock<std::mutex>& lock, CableSlice slice);

  std::string name_;
  Receiver receiver_;
  bool receiving_ = false;
  std::thread::id receiverThread_;
};

// ---------------------------------------------------------------------------------------------------- the cable

void VirtualBackend::Core::Cable::SetReceiver(Receiver receiver) {
  std::unique_lock lock(core->mutex);
  receiver_ = std::move(receiver);
  if (receiverThread_ == std::this_thread::get_id()) return;
  core->idle.Wait(lock, [this] { return !receiving_; });
}

void VirtualBackend::Core::Cable::Send(std::span<const std::uint8_t> bytes, std::int64_t delayUs) {
  if (bytes.empty()) return;
  std::unique_lock lock(core->mutex);
  if (!isPlugged || !core->running) return;
  CablePacket packet;
  packet.bytes.assign(bytes.begin(), bytes.end());
  packet.notBeforeUs = core->clock.NowUs() + std::max<std::int64_t>(delayUs, 0) + toProgram.faults.delayUs;
  toProgram.queue.push_back(std::move(packet));
  core->inputChanged = true;
  core->inputWake.NotifyAll();
}

bool VirtualBackend::Core::Cable::Flush(std::int64_t timeoutMs) {
  std::unique_lock lock(core->mutex);
  return core->idle.WaitUntil(lock, core->clock.NowUs() + timeoutMs * 1000,
                              [this] { return toProgram.queue.empty() && !toProgram.delivering; });
}

void VirtualBackend::Core::Cable::SetFaults(CableDirection direction, const VirtualFaults& faults) {
  std::lock_guard lock(core->mutex);
  CableLane& target = lane(direction);
  target.faults = faults;
  target.position = 0;
  target.sinceRealTime = 0;
  target.inSysEx = false;
  target.faulty = faults.loseByte >= 0 || faults.loseEvent >= 0 || faults.corruptByte >= 0 ||
                  faults.realTimeEvery > 0 || faults.vanishAfter >= 0;
}

void VirtualBackend::Core::Cable::SetRate(std::uint32_t bytesPerSecond) {
  std::lock_guard lock(core->mutex);
  options.bytesPerSecond = bytesPerSecond;
  wakeUp = true;
  core->inputChanged = true;
  wake.NotifyAll();
  core->inputWake.NotifyAll();
}

std::vector<MidiSent> VirtualBackend::Core::Cable::Kill() {
  std::vector<MidiSent> given;
  for (CablePacket& packet : toPeer.queue)
    if (packet.sent) given.push_back(std::move(packet.sent));
  toPeer.queue.clear();
  toProgram.queue.clear();
  toPeer.inSysEx = toProgram.inSysEx = false;
  toPeer.freeAtUs = toProgram.freeAtUs = 0;
  toPeer.maxRate = 0;
  life->store(false);
  outputOpen = false;
  input = nullptr;
  wakeUp = true;
  core->inputChanged = true;
  wake.NotifyAll();
  core->inputWake.NotifyAll();
  core->idle.NotifyAll();
  return given;
}

void VirtualBackend::Core::Cable::Unplug() {
  std::vector<MidiSent> given;
  {
    std::lock_guard lock(core->mutex);
    if (!isPlugged) return;
    isPlugged = false;
    given = Kill();
  }
  for (MidiSent& sent : given) sent(VirtualGone(name_));
  core->Notice();
}

void VirtualBackend::Core::Cable::Plug() {
  {
    std::lock_guard lock(core->mutex);
    if (isPlugged) return;
    isPlugged = true;
    ++generation;
    life = std::make_shared<std::atomic<bool>>(true);
    toPeer.faults.vanishAfter = toProgram.faults.vanishAfter = -1;
  }
  core->Notice();
}

bool VirtualBackend::Core::Cable::plugged() const {
  std::lock_guard lock(core->mutex);
  return isPlugged;
}

std::uint64_t VirtualBackend::Core::Cable::Carried(CableDirection direction) const {
  std::lock_guard lock(core->mutex);
  return direction == CableDirection::ToPeer ? toPeer.carried : toProgram.carried;
}

void VirtualBackend::Core::Cable::StartThread() {
  quit = false;
  thread = WorkerThread(core->clock, [self = shared_from_this()] { self->PeerThread(); });
}

void VirtualBackend::Core::Cable::PeerThread() {
  std::unique_lock lock(core->mutex);
  while (!quit) {
    CableSlice slice;
    std::int64_t due = kNever;
    const std::uint32_t rate = LowerRate(options.bytesPerSecond, toPeer.maxRate);
    if (TakeSlice(toPeer, rate, options.slice, core->clock.NowUs(), slice, due)) {
      DeliverToPeer(lock, std::move(slice));
      continue;
    }
    wakeUp = false;
    wake.WaitUntil(lock, due, [this] { return wakeUp || quit; });
  }
}

void VirtualBackend::Core::Cable::DeliverToPeer(std::unique_lock<std::mutex>& lock, CableSlice slice) {
  const Receiver receiver = receiver_;
  receiving_ = true;
  receiverThread_ = std::this_thread::get_id();
  lock.unlock();
  if (receiver && !slice.bytes.empty()) receiver(slice.bytes, core->clock.NowUs());
  if (slice.sent) slice.sent(slice.vanish ? VirtualGone(name_) : Result::Success());
  if (slice.vanish) Unplug();
  lock.lock();
  receiving_ = false;
  receiverThread_ = {};
  core->idle.NotifyAll();
}

void VirtualBackend::Core::Cable::DeliverToProgram(std::unique_lock<std::mutex>& lock, CableSlice slice) {
  const std::shared_ptr<OpenCableInput> target = input;
  toProgram.delivering = true;
  if (target) {
    target->calling = true;
    target->caller = std::this_thread::get_id();
  }
  lock.unlock();
  if (slice.lost) slice.bytes.clear();
  if (target && (slice.lost || !slice.bytes.empty())) target->sink(slice.bytes, core->clock.NowUs());
  if (slice.vanish) Unplug();
  lock.lock();
  toProgram.delivering = false;
  if (target) target->calling = false;
  core->idle.NotifyAll();
}

Result VirtualBackend::Core::Cable::Queue(std::span<const std::uint8_t> bytes, MidiSent sent) {
  CablePacket packet;
  packet.bytes.assign(bytes.begin(), bytes.end());
  packet.notBeforeUs = core->clock.NowUs() + toPeer.faults.delayUs;
  packet.sent = std::move(sent);
  toPeer.queue.push_back(std::move(packet));
  wakeUp = true;
  wake.NotifyAll();
  return Result::Success();
}

// ---------------------------------------------------------------------------------------------------- handles

class VirtualBackend::Core::Output final : public MidiOutputHandle {
 public:
  explicit Output(std::shared_ptr<Cable> cable) : cable_(std::move(cable)), life_(cable_->life) {}
  ~Output() override {
    {
      Core& core = *cable_->core;
      std::unique_lock lock(core.mutex);
      core.idle.WaitUntil(lock, core.clock.NowUs() + kFinishUs,
                          [this] { return cable_->toPeer.queue.empty() || !life_->load(); });
    }
    Reset();
    std::lock_guard lock(cable_->core->mutex);
    if (!life_->load()) return;
    cable_->outputOpen = false;
    cable_->toPeer.maxRate = 0;
  }

  Result SendShort(std::span<const std::uint8_t> message, MidiSent sent) override {
    std::lock_guard lock(cable_->core->mutex);
    if (!life_->load()) return VirtualGone(cable_->name());
    return cable_->Queue(message, std::move(sent));
  }

  Result SendLong(std::span<const std::uint8_t> piece, MidiSent sent) override {
    std::lock_guard lock(cable_->core->mutex);
    if (!life_->load()) return VirtualGone(cable_->name());
    int& refusals = cable_->toPeer.faults.notReady;
    if (refusals > 0) {
      --refusals;
      return Result::Failure("The MIDI port " + cable_->name() + " is not ready.", kMidiNotReady);
    }
    return cable_->Queue(piece, std::move(sent));
  }

  void Reset() override {
    std::vector<MidiSent> given;
    {
      std::lock_guard lock(cable_->core->mutex);
      if (!life_->load()) return;
      for (CablePacket& packet : cable_->toPeer.queue)
        if (packet.sent) given.push_back(std::move(packet.sent));
      cable_->toPeer.queue.clear();
      cable_->toPeer.freeAtUs = 0;
      cable_->wakeUp = true;
      cable_->wake.NotifyAll();
    }
    for (MidiSent& sent : given) sent(Result::Failure("The transmission was given up.", kMidiFailed));
  }

  void SetMaxRate(std::uint32_t bytesPerSecond) override {
    std::lock_guard lock(cable_->core->mutex);
    if (!life_->load()) return;
    cable_->toPeer.maxRate = bytesPerSecond;
    cable_->wakeUp = true;
    cable_->wake.NotifyAll();
  }

  bool Alive() const override { return life_->load(); }

 private:
  std::shared_ptr<Cable> cable_;
  std::shared_ptr<std::atomic<bool>> life_;
};

class VirtualBackend::Core::Input final : public MidiInputHandle {
 public:
  Input(std::shared_ptr<Cable> cable, std::shared_ptr<OpenCableInput> open)
      : cable_(std::move(cable)), open_(std::move(open)), life_(cable_->life) {}
  ~Input() override {
    std::unique_lock lock(cable_->core->mutex);
    if (cable_->input == open_) cable_->input = nullptr;
    if (open_->calling && open_->caller == std::this_thread::get_id()) return;
    cable_->core->idle.Wait(lock, [this] { return !open_->calling; });
  }
  bool Alive() const override { return life_->load(); }

 private:
  std::shared_ptr<Cable> cable_;
  std::shared_ptr<OpenCableInput> open_;
  std::shared_ptr<std::atomic<bool>> life_;
};

// ---------------------------------------------------------------------------------------------------- the backend

void VirtualBackend::Core::InputThread() {
  std::unique_lock lock(mutex);
  while (running) {
    inputChanged = false;
    std::int64_t earliest = kNever;
    bool delivered = false;
    // Everybody gets a turn: each look starts behind the cable that was served last.
    const std::size_t first = turn;
    for (std::size_t i = 0; i < cables.size() && !delivered; ++i) {
      const std::size_t index = (first + i) % cables.size();
      const std::shared_ptr<Cable> cable = cables[index];
      CableSlice slice;
      std::int64_t due = kNever;
      delivered =
          TakeSlice(cable->toProgram, cable->options.bytesPerSecond, cable->options.slice, clock.NowUs(), slice, due);
      earliest = std::min(earliest, due);
      if (!delivered) continue;
      turn = index + 1;
      cable->DeliverToProgram(lock, std::move(slice));
    }
    if (!delivered) inputWake.WaitUntil(lock, earliest, [this] { return inputChanged || !running; });
  }
}

void VirtualBackend::Core::Notice() {
  std::lock_guard lock(noticeMutex);
  if (changed) changed();
}

std::shared_ptr<VirtualBackend::Core::Cable> VirtualBackend::Core::Find(const std::string& id) {
  for (const auto& cable : cables)
    if (cable->isPlugged && cable->id() == id) return cable;
  return nullptr;
}

std::string VirtualBackend::Core::FreeName(const std::string& wanted) const {
  std::string name = wanted;
  for (int twin = 2; std::any_of(cables.begin(), cables.end(), [&](const auto& c) { return c->name() == name; });
       ++twin)
    name = wanted + " (" + std::to_string(twin) + ")";
  return name;
}

VirtualBackend::VirtualBackend(Clock& clock) : core_(std::make_shared<Core>(clock)) {}

VirtualBackend::~VirtualBackend() {
  SetChangeNotice({});
  Stop();
  std::lock_guard lock(core_->mutex);
  core_->cables.clear();
}

std::shared_ptr<VirtualEndpoint> VirtualBackend::CreateEndpoint(const std::string& name,
                                                                const VirtualCableOptions& options) {
  std::shared_ptr<Core::Cable> cable;
  {
    std::lock_guard lock(core_->mutex);
    cable = std::make_shared<Core::Cable>(core_, core_->FreeName(name), options);
    core_->cables.push_back(cable);
    if (core_->running) cable->StartThread();
  }
  core_->Notice();
  return cable;
}

void VirtualBackend::RemoveEndpoint(const std::shared_ptr<VirtualEndpoint>& endpoint) {
  if (!endpoint) return;
  endpoint->Unplug();
  std::shared_ptr<Core::Cable> cable;
  {
    std::lock_guard lock(core_->mutex);
    const auto found = std::find(core_->cables.begin(), core_->cables.end(), endpoint);
    if (found == core_->cables.end()) return;
    cable = *found;
    core_->cables.erase(found);
    cable->quit = true;
    cable->wake.NotifyAll();
  }
  cable->thread.Join();
}

Result VirtualBackend::Start() {
  std::lock_guard lock(core_->mutex);
  if (core_->running) return Result::Success();
  core_->running = true;
  for (const auto& cable : core_->cables) {
    if (!cable->life->load() && cable->isPlugged) {
      cable->life = std::make_shared<std::atomic<bool>>(true);
      ++cable->generation;
    }
    cable->StartThread();
  }
  core_->inputThread = WorkerThread(core_->clock, [core = core_.get()] { core->InputThread(); });
  return Result::Success();
}

void VirtualBackend::Stop() {
  std::vector<MidiSent> given;
  std::vector<std::shared_ptr<Core::Cable>> cables;
  {
    std::lock_guard lock(core_->mutex);
    if (!core_->running) return;
    core_->running = false;
    core_->inputChanged = true;  // there may be no cable left whose end would wake the input thread
    core_->inputWake.NotifyAll();
    cables = core_->cables;
    for (const auto& cable : cables) {
      for (MidiSent& sent : cable->Kill()) given.push_back(std::move(sent));
      cable->quit = true;
    }
  }
  for (MidiSent& sent : given) sent(Result::Failure("The virtual MIDI cables were switched off.", kMidiNoDevice));
  for (const auto& cable : cables) cable->thread.Join();
  core_->inputThread.Join();
}

std::vector<MidiDeviceInfo> VirtualBackend::Devices(MidiDirection direction) {
  std::lock_guard lock(core_->mutex);
  std::vector<MidiDeviceInfo> devices;
  if (!core_->running) return devices;
  for (const auto& cable : core_->cables) {
    if (!cable->isPlugged) continue;
    if (direction == MidiDirection::Input ? !cable->options.input : !cable->options.output) continue;
    devices.push_back({cable->id(), cable->name(), false, false, cable->options.bridged});
  }
  return devices;
}

std::vector<std::string> VirtualBackend::OtherWriters(const std::string& id) {
  std::lock_guard lock(core_->mutex);
  const auto cable = core_->running ? core_->Find(id) : nullptr;
  return cable ? cable->options.otherWriters : std::vector<std::string>();
}

Result VirtualBackend::OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) {
  std::lock_guard lock(core_->mutex);
  const auto cable = core_->running ? core_->Find(id) : nullptr;
  if (!cable || !cable->options.output) return VirtualGone(id);
  if (cable->toPeer.faults.busyOpens > 0) {
    --cable->toPeer.faults.busyOpens;
    return Result::Failure(cable->name() + " is in use.", kMidiBusy);
  }
  if (cable->outputOpen) return Result::Failure(cable->name() + " is open already.", kMidiAllocated);
  cable->outputOpen = true;
  handle = std::make_unique<Core::Output>(cable);
  return Result::Success();
}

Result VirtualBackend::OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) {
  std::lock_guard lock(core_->mutex);
  const auto cable = core_->running ? core_->Find(id) : nullptr;
  if (!cable || !cable->options.input) return VirtualGone(id);
  if (cable->toProgram.faults.busyOpens > 0) {
    --cable->toProgram.faults.busyOpens;
    return Result::Failure(cable->name() + " is in use.", kMidiBusy);
  }
  if (cable->input) return Result::Failure(cable->name() + " is open already.", kMidiAllocated);
  cable->input = std::make_shared<OpenCableInput>();
  cable->input->sink = std::move(sink);
  handle = std::make_unique<Core::Input>(cable, cable->input);
  return Result::Success();
}

void VirtualBackend::SetChangeNotice(std::function<void()> changed) {
  std::lock_guard lock(core_->noticeMutex);
  core_->changed = std::move(changed);
}

}  // namespace tonalith
