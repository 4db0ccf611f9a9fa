#include "midi/backends/jack_backend.h"

#include <jack/jack.h>
#include <jack/midiport.h>
#include <jack/ringbuffer.h>
#include <semaphore.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <deque>
#include <mutex>
#include <thread>

#include "midi/backends/jack_pacing.h"
#include "midi/backends/port_names.h"
#include "midi/backends/shared_backend.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr std::size_t kJackInputRing = 4 * 1024 * 1024;
constexpr int kJackMaxPorts = 256;
constexpr auto kJackServerSilent = std::chrono::seconds(3);
constexpr auto kJackLinkShows = std::chrono::seconds(2);

void QuietJack(const char* message) {
  DebugLog("jack: %s", message);
}

// A semaphore that a process callback may post without blocking.
class RealtimeSignal {
 public:
  RealtimeSignal() { sem_init(&semaphore_, 0, 0); }
  ~RealtimeSignal() { sem_destroy(&semaphore_); }
  RealtimeSignal(const RealtimeSignal&) = delete;
  RealtimeSignal& operator=(const RealtimeSignal&) = delete;
  void Post() { sem_post(&semaphore_); }
  void WaitMs(long ms) {
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_nsec += ms % 1000 * 1000000L;
    until.tv_sec += ms / 1000 + until.tv_nsec / 1000000000L;
    until.tv_nsec %= 1000000000L;
    while (sem_timedwait(&semaphore_, &until) != 0 && errno == EINTR) {
    }
    while (sem_trywait(&semaphore_) == 0) {
    }
  }

 private:
  sem_t semaphore_{};
};

// The connection of one of our ports to the other end, as the server tells it.  A new connection shows only after a
// while.
struct JackLink {
  std::chrono::steady_clock::time_point opened = std::chrono::steady_clock::now();
  bool seen = false;
};

// What an open output shares with the process callback and the feeding thread.
struct JackOutput {
  explicit JackOutput(std::string target) : destination(std::move(target)) {}

  const std::string destination;
  jack_port_t* port = nullptr;
  JackPacing pacing;
  std::atomic<bool> gone{false};
  JackLink link;
};

struct JackInput {
  JackInput(std::string from, MidiInputSink to) : source(std::move(from)), sink(std::move(to)) {}
  const std::string source;
  jack_port_t* port = nullptr;
  std::atomic<bool> gone{false};
  JackLink link;
  std::mutex mutex;  // held while the sink runs
  MidiInputSink sink;
};

struct JackInputHeader {
  std::int64_t timeUs;
  std::uint32_t slot;
  std::uint32_t length;
};

class JackBackend final : public MidiBackend, public std::enable_shared_from_this<JackBackend> {
 public:
  explicit JackBackend(std::string clientName) : clientName_(std::move(clientName)), input_(kJackInputRing) {}
  ~JackBackend() override { Close(); }

  std::string Name() const override { return "jack"; }
  Result Start() override;
  void Stop() override { Close(); }
  std::vector<MidiDeviceInfo> Devices(MidiDirection direction) override;
  Result OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) override;
  Result OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) override;
  void SetChangeNotice(std::function<void()> changed) override {
    std::lock_guard guard(mutex_);
    changed_ = std::move(changed);
  }

  Result QueueShort(JackOutput& output, std::span<const std::uint8_t> message, MidiSent sent);
  Result QueueLong(JackOutput& output, std::span<const std::uint8_t> piece, MidiSent sent);
  void CloseOutput(const std::shared_ptr<JackOutput>& output);
  void CloseInput(const std::shared_ptr<JackInput>& input);
  void WakeFeeder() { feed_.Post(); }

 private:
  static int Process(jack_nframes_t frames, void* self) { return static_cast<JackBackend*>(self)->Run(frames); }
  static void PortsChanged(jack_port_id_t, int, void* self) {
    static_cast<JackBackend*>(self)->portsChanged_.store(true);
    static_cast<JackBackend*>(self)->feed_.Post();
  }
  static void Renamed(jack_port_id_t, const char*, const char*, void* self) { PortsChanged(0, 0, self); }
  static void ServerGone(jack_status_t, const char*, void* self) {
    static_cast<JackBackend*>(self)->serverGone_.store(true);
    static_cast<JackBackend*>(self)->feed_.Post();
  }

  int Run(jack_nframes_t frames);
  void FeedThread();
  void InputThread();
  bool LookAtPorts();  // true: a link was found broken
  bool LinkBroken(const jack_port_t* own, const std::string& other, JackLink& link);
  void Close();
  Result Reserve(jack_port_t*& port, const char* kind, unsigned long flags);

  const std::string clientName_;
  std::mutex mutex_;  // guards everything below that is not atomic
  jack_client_t* client_ = nullptr;
  std::function<void()> changed_;
  std::vector<std::shared_ptr<JackOutput>> outputs_;
  std::vector<std::shared_ptr<JackInput>> inputs_;
  // Read by the process callback; a slot is cleared and a period awaited before what it points to may go.
  std::array<std::atomic<JackOutput*>, kJackMaxPorts> liveOutputs_{};
  std::array<std::atomic<JackInput*>, kJackMaxPorts> liveInputs_{};
  std::atomic<std::uint64_t> periods_{0};
  std::atomic<bool> portsChanged_{false};
  bool lookAgain_ = false;  // feeding thread only
  std::atomic<bool> serverGone_{false};
  std::atomic<bool> ending_{false};
  std::atomic<std::uint64_t> lostInput_{0};
  JackRing input_;
  RealtimeSignal feed_;
  RealtimeSignal arrived_;
  std::thread feeder_;
  std::thread reader_;
  unsigned nextPort_ = 0;

  void AwaitPeriod();
};

class JackOutputHandle final : public MidiOutputHandle {
 public:
  JackOutputHandle(std::shared_ptr<JackBackend> owner, std::shared_ptr<JackOutput> output)
      : owner_(std::move(owner)), output_(std::move(output)) {}
  ~JackOutputHandle() override { owner_->CloseOutput(output_); }
  Result SendShort(std::span<const std::uint8_t> message, MidiSent sent) override {
    return owner_->QueueShort(*output_, message, std::move(sent));
  }
  Result SendLong(std::span<const std::uint8_t> piece, MidiSent sent) override {
    return owner_->QueueLong(*output_, piece, std::move(sent));
  }
  void Reset() override { output_->pacing.GiveUp(); }
  void SetMaxRate(std::uint32_t) override {}  // the period budget is the only limit of this backend
  bool Alive() const override { return !output_->gone.load(); }

 private:
  std::shared_ptr<JackBackend> owner_;
  std::shared_ptr<JackOutput> output_;
};

class JackInputHandle final : public MidiInputHandle {
 public:
  JackInputHandle(std::shared_ptr<JackBackend> owner, std::shared_ptr<JackInput> input)
      : owner_(std::move(owner)), input_(std::move(input)) {}
  ~JackInputHandle() override { owner_->CloseInput(input_); }
  bool Alive() const override { return !input_->gone.load(); }

 private:
  std::shared_ptr<JackBackend> owner_;
  std::shared_ptr<JackInput> input_;
};

Result JackBackend::Start() {
  Result result;
  {
    std::lock_guard guard(mutex_);
    if (client_ && !serverGone_.load()) return Result::Success();
  }
  Close();
  std::lock_guard guard(mutex_);
  jack_set_error_function(QuietJack);
  jack_set_info_function(QuietJack);
  jack_status_t status{};
  client_ = jack_client_open(clientName_.c_str(), JackNoStartServer, &status);
  if (!client_) return Result::Failure("No JACK server is running.", kMidiNoDevice);
  serverGone_.store(false);
  ending_.store(false);
  jack_set_process_callback(client_, &JackBackend::Process, this);
  jack_set_port_registration_callback(client_, &JackBackend::PortsChanged, this);
  jack_set_port_rename_callback(client_, &JackBackend::Renamed, this);
  jack_on_info_shutdown(client_, &JackBackend::ServerGone, this);
  if (jack_activate(client_) != 0) {
    jack_client_close(client_);
    client_ = nullptr;
    return Result::Failure("The JACK server refused this program.", kMidiFailed);
  }
  feeder_ = std::thread([this] { FeedThread(); });
  reader_ = std::thread([this] { InputThread(); });
  return Result::Success();
}

void JackBackend::Close() {
  jack_client_t* client = nullptr;
  std::vector<std::shared_ptr<JackOutput>> outputs;
  {
    std::lock_guard guard(mutex_);
    client = std::exchange(client_, nullptr);
    outputs.swap(outputs_);
    for (const auto& input : inputs_) input->gone.store(true);
    inputs_.clear();
  }
  ending_.store(true);
  feed_.Post();
  arrived_.Post();
  if (feeder_.joinable()) feeder_.join();
  if (reader_.joinable()) reader_.join();
  if (client) {
    jack_deactivate(client);
    jack_client_close(client);
  }
  for (auto& slot : liveOutputs_) slot.store(nullptr);
  for (auto& slot : liveInputs_) slot.store(nullptr);
  for (const auto& output : outputs) {
    output->gone.store(true);
    output->pacing.GiveUp();
  }
}

// Waits until the process callback has begun anew twice, so that it no longer holds a pointer it read before.
void JackBackend::AwaitPeriod() {
  const auto begin = periods_.load();
  for (int i = 0; i < 400 && !serverGone_.load() && periods_.load() < begin + 2; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

int JackBackend::Run(jack_nframes_t frames) {
  for (auto& slot : liveOutputs_) {
    JackOutput* output = slot.load(std::memory_order_acquire);
    if (!output) continue;
    void* buffer = jack_port_get_buffer(output->port, frames);
    jack_midi_clear_buffer(buffer);
    if (output->pacing.SendPeriod(buffer)) feed_.Post();
  }
  bool news = false;
  for (std::size_t i = 0; i < liveInputs_.size(); ++i) {
    JackInput* input = liveInputs_[i].load(std::memory_order_acquire);
    if (!input) continue;
    void* buffer = jack_port_get_buffer(input->port, frames);
    const auto count = jack_midi_get_event_count(buffer);
    for (std::uint32_t k = 0; k < count; ++k) {
      jack_midi_event_t event;
      if (jack_midi_event_get(&event, buffer, k) != 0 || event.size == 0) continue;
      const JackInputHeader header{static_cast<std::int64_t>(jack_get_time()), static_cast<std::uint32_t>(i),
                                   static_cast<std::uint32_t>(event.size)};
      if (jack_ringbuffer_write_space(input_.ring) < sizeof header + event.size) {
        lostInput_.fetch_add(event.size);
        continue;
      }
      jack_ringbuffer_write(input_.ring, reinterpret_cast<const char*>(&header), sizeof header);
      jack_ringbuffer_write(input_.ring, reinterpret_cast<const char*>(event.buffer), event.size);
      news = true;
    }
  }
  if (news) arrived_.Post();
  periods_.fetch_add(1, std::memory_order_release);
  return 0;
}

void JackBackend::FeedThread() {
  auto lastMove = std::chrono::steady_clock::now();
  std::uint64_t lastPeriod = periods_.load();
  while (!ending_.load()) {
    feed_.WaitMs(500);
    if (ending_.load()) return;
    const auto now = std::chrono::steady_clock::now();
    if (periods_.load() != lastPeriod) {
      lastPeriod = periods_.load();
      lastMove = now;
    }
    const bool silent = now - lastMove > kJackServerSilent;
    std::vector<std::shared_ptr<JackOutput>> outputs;
    {
      std::lock_guard guard(mutex_);
      outputs = outputs_;
    }
    const bool gone = serverGone_.load();
    for (const auto& output : outputs) {
      // A server that no longer calls cannot be waited for: what is queued fails, the port stays.
      if (gone) output->gone.store(true);
      if (silent && !gone) output->pacing.GiveUp();
      output->pacing.Feed(output->gone.load());
    }
    bool news = portsChanged_.exchange(false) || gone;
    if ((news || lookAgain_) && !gone) news = LookAtPorts() || news;
    if (news) {
      std::function<void()> changed;
      {
        std::lock_guard guard(mutex_);
        for (const auto& input : inputs_)
          if (gone) input->gone.store(true);
        changed = changed_;
      }
      if (changed) changed();
      if (gone) return;
    }
  }
}

// Ports whose other end was unregistered are dead, also when another port has its name by now: what is sent there would
// vanish without a word.
bool JackBackend::LookAtPorts() {
  std::lock_guard guard(mutex_);
  lookAgain_ = false;
  if (!client_) return false;
  bool broken = false;
  for (const auto& output : outputs_) {
    if (!output->gone.load() && LinkBroken(output->port, output->destination, output->link)) {
      output->gone.store(true);
      broken = true;
      feed_.Post();
    }
  }
  for (const auto& input : inputs_) {
    if (!input->gone.load() && LinkBroken(input->port, input->source, input->link)) {
      input->gone.store(true);
      broken = true;
    }
  }
  return broken;
}

bool JackBackend::LinkBroken(const jack_port_t* own, const std::string& other, JackLink& link) {
  if (!jack_port_by_name(client_, other.c_str())) return true;
  if (jack_port_connected_to(own, other.c_str())) {
    link.seen = true;
    return false;
  }
  if (link.seen || std::chrono::steady_clock::now() - link.opened > kJackLinkShows) return true;
  lookAgain_ = true;
  return false;
}

void JackBackend::InputThread() {
  std::vector<std::uint8_t> bytes;
  std::uint64_t lostTold = 0;
  while (!ending_.load()) {
    arrived_.WaitMs(1000);
    JackInputHeader header{};
    while (jack_ringbuffer_read_space(input_.ring) >= sizeof header) {
      jack_ringbuffer_peek(input_.ring, reinterpret_cast<char*>(&header), sizeof header);
      if (jack_ringbuffer_read_space(input_.ring) < sizeof header + header.length) break;
      jack_ringbuffer_read_advance(input_.ring, sizeof header);
      bytes.resize(header.length);
      jack_ringbuffer_read(input_.ring, reinterpret_cast<char*>(bytes.data()), header.length);
      std::shared_ptr<JackInput> target;
      {
        std::lock_guard guard(mutex_);
        JackInput* live = liveInputs_[header.slot].load();
        for (const auto& input : inputs_) {
          if (input.get() == live) target = input;
        }
      }
      if (!target) continue;
      std::lock_guard guard(target->mutex);
      if (target->sink) target->sink(bytes, header.timeUs);
    }
    const auto lost = lostInput_.load();
    if (lost != lostTold) {
      MonitorMsg("MIDI input: %llu bytes could not be taken in time", static_cast<unsigned long long>(lost - lostTold));
      lostTold = lost;
    }
  }
}

std::vector<MidiDeviceInfo> JackBackend::Devices(MidiDirection direction) {
  std::lock_guard guard(mutex_);
  std::vector<MidiDeviceInfo> devices;
  if (!client_ || serverGone_.load()) return devices;
  const unsigned long flags = direction == MidiDirection::Output ? JackPortIsInput : JackPortIsOutput;
  const char** names = jack_get_ports(client_, nullptr, JACK_DEFAULT_MIDI_TYPE, flags);
  if (!names) return devices;
  for (const char** name = names; *name; ++name) {
    const jack_port_t* port = jack_port_by_name(client_, *name);
    if (!port || jack_port_is_mine(client_, port)) continue;
    MidiDeviceInfo device;
    device.id = *name;
    device.name = *name;
    device.through =
        device.name.find("Midi-Through") != std::string::npos || device.name.find("Midi Through") != std::string::npos;
    devices.push_back(std::move(device));
  }
  jack_free(names);
  TellTwinsApart(devices);
  return devices;
}

Result JackBackend::Reserve(jack_port_t*& port, const char* kind, unsigned long flags) {
  if (!client_ || serverGone_.load()) return Result::Failure("The JACK server is gone.", kMidiNoDevice);
  const std::string name = std::string(kind) + " " + std::to_string(++nextPort_);
  port = jack_port_register(client_, name.c_str(), JACK_DEFAULT_MIDI_TYPE, flags | JackPortIsTerminal, 0);
  if (!port) return Result::Failure("The JACK server has no more ports.", kMidiFailed);
  return Result::Success();
}

Result JackBackend::OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) {
  std::lock_guard guard(mutex_);
  auto output = std::make_shared<JackOutput>(id);
  if (client_ && !jack_port_by_name(client_, id.c_str())) {
    return Result::Failure("The MIDI port " + id + " is not there.", kMidiNoDevice);
  }
  if (Result reserved = Reserve(output->port, "out", JackPortIsOutput); !reserved.ok()) return reserved;
  const auto slot = std::find_if(liveOutputs_.begin(), liveOutputs_.end(), [](const auto& s) { return !s.load(); });
  if (slot == liveOutputs_.end() || jack_connect(client_, jack_port_name(output->port), id.c_str()) != 0) {
    jack_port_unregister(client_, output->port);
    return Result::Failure("The MIDI port " + id + " could not be connected.", kMidiBusy);
  }
  slot->store(output.get(), std::memory_order_release);
  outputs_.push_back(output);
  handle = std::make_unique<JackOutputHandle>(shared_from_this(), output);
  return Result::Success();
}

Result JackBackend::OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) {
  std::lock_guard guard(mutex_);
  auto input = std::make_shared<JackInput>(id, std::move(sink));
  if (client_ && !jack_port_by_name(client_, id.c_str())) {
    return Result::Failure("The MIDI port " + id + " is not there.", kMidiNoDevice);
  }
  if (Result reserved = Reserve(input->port, "in", JackPortIsInput); !reserved.ok()) return reserved;
  const auto slot = std::find_if(liveInputs_.begin(), liveInputs_.end(), [](const auto& s) { return !s.load(); });
  if (slot == liveInputs_.end() || jack_connect(client_, id.c_str(), jack_port_name(input->port)) != 0) {
    jack_port_unregister(client_, input->port);
    return Result::Failure("The MIDI port " + id + " could not be connected.", kMidiBusy);
  }
  inputs_.push_back(input);
  slot->store(input.get(), std::memory_order_release);
  handle = std::make_unique<JackInputHandle>(shared_from_this(), input);
  return Result::Success();
}

Result JackBackend::QueueShort(JackOutput& output, std::span<const std::uint8_t> message, MidiSent sent) {
  if (message.empty() || message.size() > 3) return Result::Failure("Not a short message.", kMidiFailed);
  return QueueLong(output, message, std::move(sent));
}

Result JackBackend::QueueLong(JackOutput& output, std::span<const std::uint8_t> piece, MidiSent sent) {
  if (output.gone.load() || serverGone_.load()) return Result::Failure("The MIDI port is gone.", kMidiNoDevice);
  if (piece.empty()) {
    if (sent) sent(Result::Success());
    return Result::Success();
  }
  output.pacing.Queue(piece, std::move(sent));
  feed_.Post();
  return Result::Success();
}

void JackBackend::CloseOutput(const std::shared_ptr<JackOutput>& output) {
  output->pacing.GiveUp();
  std::lock_guard guard(mutex_);
  std::erase(outputs_, output);
  bool live = false;
  for (auto& slot : liveOutputs_) {
    JackOutput* expected = output.get();
    live = slot.compare_exchange_strong(expected, nullptr) || live;
  }
  if (!client_ || !live) return;
  AwaitPeriod();
  if (!serverGone_.load()) jack_port_unregister(client_, output->port);
}

void JackBackend::CloseInput(const std::shared_ptr<JackInput>& input) {
  {
    std::lock_guard guard(input->mutex);
    input->sink = nullptr;
  }
  std::lock_guard guard(mutex_);
  std::erase(inputs_, input);
  bool live = false;
  for (auto& slot : liveInputs_) {
    JackInput* expected = input.get();
    live = slot.compare_exchange_strong(expected, nullptr) || live;
  }
  if (!client_ || !live) return;
  AwaitPeriod();
  if (!serverGone_.load()) jack_port_unregister(client_, input->port);
}

}  // namespace

std::unique_ptr<MidiBackend> MakeJackBackend(const char* clientName) {
  return std::make_unique<SharedBackend>(std::make_shared<JackBackend>(clientName));
}

}  // namespace tonalith
