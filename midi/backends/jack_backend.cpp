#include "midi/backends/jack_backend.h"

#include <dlfcn.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <thread>
#include <utility>

#include "midi/backends/jack_caller.h"
#include "midi/backends/jack_session.h"
#include "midi/backends/port_names.h"
#include "midi/backends/shared_backend.h"
#include "midi/bridge_names.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr long kJackLookMs = 100;
constexpr std::int64_t kJackAnswerUs = 1'000'000;     // so long a call may wait for the server
constexpr std::int64_t kJackLinkShowsUs = 2'000'000;  // a new connection shows only after a while
// A server that puts its clients into another order after a connection was made may show a buffer twice.
constexpr std::uint64_t kJackSettlePeriods = 8;
constexpr std::int64_t kJackDrainUs = 1'000'000;
constexpr std::int64_t kJackAskUs = 1'000'000;  // a silent server is asked after so often
constexpr char kJackAskerName[] = " asks";

void QuietJack(const char* message) {
  DebugLog("jack: %s", message);
}

bool IsPipeWire() {
  // Not every JACK has it.
  const auto tell = reinterpret_cast<const char* (*)()>(dlsym(RTLD_DEFAULT, "jack_get_version_string"));
  const char* version = tell ? tell() : nullptr;
  return version && std::string_view(version).find("PipeWire") != std::string_view::npos;
}

Result NoAnswer() {
  return Result::Failure("The JACK server does not answer.", kMidiNoDevice);
}

class JackBackend final : public MidiBackend, public std::enable_shared_from_this<JackBackend> {
 public:
  JackBackend(std::string clientName, Clock& clock)
      : clientName_(std::move(clientName)), clock_(clock), caller_(clock), closer_(clock) {}
  ~JackBackend() override { Close(); }

  std::string Name() const override { return "jack"; }
  Result Start() override;
  void Stop() override { Close(); }
  bool Running() const override;
  std::uint64_t Xruns() const override;
  std::vector<MidiDeviceInfo> Devices(MidiDirection direction) override;
  std::vector<std::string> OtherWriters(const std::string& id) override;
  Result OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) override;
  Result OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) override;
  void SetChangeNotice(std::function<void()> changed) override {
    std::lock_guard guard(mutex_);
    changed_ = std::move(changed);
  }

  Result Queue(JackOutput& output, std::span<const std::uint8_t> piece, MidiSent sent);
  void CloseOutput(const std::shared_ptr<JackOutput>& output);
  void CloseInput(const std::shared_ptr<JackInput>& input);

 private:
  using Session = std::shared_ptr<JackSession>;

  static void PortRegistered(jack_port_id_t id, int comes, void* self);
  static void PortsConnected(jack_port_id_t a, jack_port_id_t b, int connected, void* self);
  static void Renamed(jack_port_id_t, const char*, const char*, void* self) {
    static_cast<JackBackend*>(self)->PortNews();
  }
  static int Xrun(void* session) {
    static_cast<JackSession*>(session)->xruns.fetch_add(1);
    return 0;
  }
  static void ServerGone(jack_status_t, const char*, void* session) {
    static_cast<JackSession*>(session)->serverGone.store(true);
    static_cast<JackSession*>(session)->feed.Post();
  }

  static bool OpenClient(const Session& session, JackBackend* self, const std::string& name);
  static void CloseClient(const Session& session);
  void PortNews();
  void FeedThread(const Session& session);
  void FeedOutputs(const Session& session);
  void InputThread(const Session& session);
  JackLink LookAt(const Session& session, jack_client_t* client, JackEnd& end);
  bool MarkGone(const Session& session);
  void AskAfterOurselves(const Session& session);
  void LookForLoops(const Session& session);
  void Close();
  Result Connect(const Session& session, JackEnd& end, bool output);
  template <typename Port>
  void Retire(const Session& session, std::shared_ptr<Port> port);
  Session Live() const;

  const std::string clientName_;
  Clock& clock_;
  std::mutex startMutex_;
  mutable std::mutex mutex_;  // guards what follows up to the threads
  Session session_;
  std::function<void()> changed_;
  std::vector<std::shared_ptr<JackOutput>> outputs_;
  std::vector<std::shared_ptr<JackInput>> inputs_;
  bool looped_ = false;
  std::uint32_t nextSerial_ = 1;
  unsigned nextPort_ = 0;
  std::atomic<bool> ending_{false};
  std::thread feeder_;
  std::thread reader_;
  JackCaller caller_;
  JackCaller closer_;  // of ports; waits for periods
};

class JackOutputHandle final : public MidiOutputHandle {
 public:
  JackOutputHandle(std::shared_ptr<JackBackend> owner, std::shared_ptr<JackOutput> output)
      : owner_(std::move(owner)), output_(std::move(output)) {}
  ~JackOutputHandle() override { owner_->CloseOutput(output_); }
  Result SendShort(std::span<const std::uint8_t> message, MidiSent sent) override {
    if (message.empty() || message.size() > 3) return Result::Failure("Not a short message.", kMidiFailed);
    return owner_->Queue(*output_, message, std::move(sent));
  }
  Result SendLong(std::span<const std::uint8_t> piece, MidiSent sent) override {
    return owner_->Queue(*output_, piece, std::move(sent));
  }
  void Reset() override { output_->pacing.GiveUp(); }
  void SetMaxRate(std::uint32_t) override {}  // the period budget is the only limit of this backend
  bool Alive() const override { return !output_->end.gone.load(); }
  std::uint64_t Reconnects() const override { return output_->end.reconnects.load(); }

 private:
  std::shared_ptr<JackBackend> owner_;
  std::shared_ptr<JackOutput> output_;
};

class JackInputHandle final : public MidiInputHandle {
 public:
  JackInputHandle(std::shared_ptr<JackBackend> owner, std::shared_ptr<JackInput> input)
      : owner_(std::move(owner)), input_(std::move(input)) {}
  ~JackInputHandle() override { owner_->CloseInput(input_); }
  bool Alive() const override { return !input_->end.gone.load(); }
  std::uint64_t Reconnects() const override { return input_->end.reconnects.load(); }

 private:
  std::shared_ptr<JackBackend> owner_;
  std::shared_ptr<JackInput> input_;
};

// ---- the client

bool JackBackend::OpenClient(const Session& session, JackBackend* self, const std::string& name) {
  jack_set_error_function(QuietJack);
  jack_set_info_function(QuietJack);
  jack_status_t status{};
  jack_client_t* client = jack_client_open(name.c_str(), JackNoStartServer, &status);
  if (!client) return false;
  session->client.store(client);
  jack_set_process_callback(
      client, [](jack_nframes_t frames, void* on) { return static_cast<JackSession*>(on)->Run(frames); },
      session.get());
  jack_set_xrun_callback(client, &JackBackend::Xrun, session.get());
  jack_on_info_shutdown(client, &JackBackend::ServerGone, session.get());
  jack_set_port_registration_callback(client, &JackBackend::PortRegistered, self);
  jack_set_port_connect_callback(client, &JackBackend::PortsConnected, self);
  jack_set_port_rename_callback(client, &JackBackend::Renamed, self);
  if (jack_activate(client) == 0) return true;
  CloseClient(session);
  return false;
}

void JackBackend::CloseClient(const Session& session) {
  jack_client_t* client = session->client.exchange(nullptr);
  if (!client) return;
  jack_deactivate(client);
  jack_client_close(client);
}

Result JackBackend::Start() {
  std::lock_guard starting(startMutex_);
  if (Running()) return Result::Success();
  Close();
  const auto session = std::make_shared<JackSession>(clock_);
  const auto opened = std::make_shared<bool>(false);
  // The object outlives the call, and the client's callbacks with it.
  const auto self = shared_from_this();
  const auto open = [session, opened, self] { *opened = OpenClient(session, self.get(), self->clientName_); };
  if (!caller_.Call(
          open, [session, self] { CloseClient(session); }, kJackAnswerUs))
    return NoAnswer();
  if (!*opened) return Result::Failure("No JACK server is running.", kMidiNoDevice);
  std::lock_guard guard(mutex_);
  session_ = session;
  ending_.store(false);
  feeder_ = std::thread([this, session] { FeedThread(session); });
  reader_ = std::thread([this, session] { InputThread(session); });
  return Result::Success();
}

bool JackBackend::Running() const {
  std::lock_guard guard(mutex_);
  return session_ && !session_->serverGone.load();
}

std::uint64_t JackBackend::Xruns() const {
  std::lock_guard guard(mutex_);
  return session_ ? session_->xruns.load() : 0;
}

// Null when the server is not there or stands still.
JackBackend::Session JackBackend::Live() const {
  std::lock_guard guard(mutex_);
  return session_ && !session_->serverGone.load() && !session_->silent.load() ? session_ : nullptr;
}

void JackBackend::Close() {
  Session session;
  std::vector<std::shared_ptr<JackOutput>> outputs;
  std::vector<std::shared_ptr<JackInput>> inputs;
  {
    std::lock_guard guard(mutex_);
    session = std::exchange(session_, nullptr);
    outputs.swap(outputs_);
    inputs.swap(inputs_);
  }
  if (!session) return;
  for (const auto& input : inputs) input->end.gone.store(true);
  ending_.store(true);
  session->feed.Post();
  session->arrived.Post();
  if (feeder_.joinable()) feeder_.join();
  if (reader_.joinable()) reader_.join();
  for (const auto& output : outputs) {
    output->end.gone.store(true);
    output->pacing.GiveUp();
  }
  // Ports that were open stay until the client is closed: until then its process callback may look at them.
  const auto self = weak_from_this().lock();
  caller_.Call([session, self, outputs, inputs] { CloseClient(session); }, {}, kJackAnswerUs);
}

// ---- what the server tells

void JackBackend::PortNews() {
  std::lock_guard guard(mutex_);
  if (!session_) return;
  session_->portsChanged.store(true);
  session_->feed.Post();
}

// A port that was unregistered is gone, also when another one has its name by now.
void JackBackend::PortRegistered(jack_port_id_t id, int comes, void* self) {
  auto* backend = static_cast<JackBackend*>(self);
  if (const Session session = backend->Live(); session && !comes) {
    jack_client_t* client = session->client.load();
    const jack_port_t* port = client ? jack_port_by_id(client, id) : nullptr;
    std::lock_guard guard(backend->mutex_);
    for (const auto& output : backend->outputs_)
      if (port && output->end.other == port) output->end.gone.store(true);
    for (const auto& input : backend->inputs_)
      if (port && input->end.other == port) input->end.gone.store(true);
  }
  backend->PortNews();
}

void JackBackend::PortsConnected(jack_port_id_t a, jack_port_id_t b, int connected, void* self) {
  auto* backend = static_cast<JackBackend*>(self);
  if (const Session session = backend->Live()) {
    jack_client_t* client = session->client.load();
    const jack_port_t* from = client ? jack_port_by_id(client, a) : nullptr;
    const jack_port_t* to = client ? jack_port_by_id(client, b) : nullptr;
    std::lock_guard guard(backend->mutex_);
    for (const auto& output : backend->outputs_) {
      if (output->end.own != from || output->end.other != to) continue;
      output->end.Linked(connected != 0, backend->clock_.NowUs());
      if (!connected) output->pacing.Cut();
    }
    for (const auto& input : backend->inputs_)
      if (input->end.own == to && input->end.other == from) input->end.Linked(connected != 0, backend->clock_.NowUs());
  }
  backend->PortNews();
}

// ---- threads

JackLink JackBackend::LookAt(const Session& session, jack_client_t* client, JackEnd& end) {
  if (end.gone.load()) return JackLink::kGone;
  if (!jack_port_by_name(client, end.name.c_str())) {
    end.gone.store(true);
    return JackLink::kGone;
  }
  if (jack_port_connected_to(end.own, end.name.c_str())) {
    end.seen.store(true);
    if (!std::exchange(end.linked, true)) end.linkedAt = session->periods();
    return session->periods() - end.linkedAt < kJackSettlePeriods ? JackLink::kNotYet : JackLink::kConnected;
  }
  end.linked = false;
  const bool cut = end.seen.load() || clock_.NowUs() - end.madeUs.load() > kJackLinkShowsUs;
  return cut ? JackLink::kCut : JackLink::kNotYet;
}

void JackBackend::FeedOutputs(const Session& session) {
  std::vector<std::shared_ptr<JackOutput>> outputs;
  {
    std::lock_guard guard(mutex_);
    outputs = outputs_;
  }
  jack_client_t* client = session->client.load();
  for (const auto& output : outputs) {
    JackLink link = JackLink::kGone;
    if (session->silent.load()) {
      link = JackLink::kSilent;
    } else if (client && !session->serverGone.load()) {
      link = LookAt(session, client, output->end);
    }
    output->pacing.Feed(link, session->periods());
  }
}

// With the server.
bool JackBackend::MarkGone(const Session& session) {
  if (!session->serverGone.load() && !session->silent.load()) return false;
  std::lock_guard guard(mutex_);
  for (const auto& output : outputs_) output->end.gone.store(true);
  for (const auto& input : inputs_) input->end.gone.store(true);
  return true;
}

// A PipeWire that dies tells its JACK clients nothing, and they never hear from the next one: when another client does
// not see ours, the server is a new one.
void JackBackend::AskAfterOurselves(const Session& session) {
  caller_.Post([session, name = clientName_ + kJackAskerName] {
    jack_client_t* own = session->client.load();
    if (!own || session->serverGone.load() || !session->silent.load()) return;
    jack_status_t status{};
    jack_client_t* other = jack_client_open(name.c_str(), JackNoStartServer, &status);
    if (!other) return;
    char* found = jack_get_uuid_for_client_name(other, jack_get_client_name(own));
    const bool there = found != nullptr;
    jack_free(found);
    jack_client_close(other);
    if (!there) ServerGone(JackServerError, "", session.get());
  });
}

// What goes out of one of our ports and into another comes back as if an instrument had said it.
void JackBackend::LookForLoops(const Session& session) {
  std::lock_guard guard(mutex_);
  jack_client_t* client = session->client.load();
  bool looped = false;
  for (const auto& output : outputs_) {
    for (const auto& input : inputs_) {
      if (!client || output->end.gone.load() || input->end.gone.load()) continue;
      if (!jack_port_connected_to(output->end.own, jack_port_name(input->end.own))) continue;
      looped = true;
      if (!looped_)
        MonitorMsg("MIDI OUT %s is wired to MIDI IN %s of this program: what is sent comes back",
                   output->end.name.c_str(), input->end.name.c_str());
    }
  }
  looped_ = looped;
}

void JackBackend::FeedThread(const Session& session) {
  std::int64_t lastLook = clock_.NowUs();
  std::int64_t lastAsked = lastLook;
  std::int64_t silenceUs = 0;
  std::uint64_t lastPeriod = session->periods();
  while (!ending_.load()) {
    session->feed.WaitMs(kJackLookMs);
    if (ending_.load()) return;
    const std::int64_t now = clock_.NowUs();
    // Of a time in which this thread did not get to look it knows nothing: it counts for what it would have looked at.
    const std::int64_t lookedUs = std::min(now - lastLook, 2 * kJackLookMs * 1000);
    lastLook = now;
    const bool moved = std::exchange(lastPeriod, session->periods()) != session->periods();
    silenceUs = moved ? 0 : silenceUs + lookedUs;
    const bool silent = silenceUs > session->PatienceUs();
    bool news = session->portsChanged.exchange(false);
    if (session->silent.exchange(silent) != silent) {
      news = true;
      MonitorMsg(silent ? "The JACK server stands still" : "The JACK server goes on");
    }
    if (silent && IsPipeWire() && silenceUs > kJackAskUs && now - lastAsked > kJackAskUs) {
      lastAsked = now;
      AskAfterOurselves(session);
    }
    const bool gone = session->serverGone.load();
    MarkGone(session);
    FeedOutputs(session);
    if (news || gone) {
      std::function<void()> changed;
      {
        std::lock_guard guard(mutex_);
        changed = changed_;
        jack_client_t* client = session->client.load();
        for (const auto& input : inputs_)
          if (client && !gone && !silent) LookAt(session, client, input->end);
      }
      if (!gone && !silent) LookForLoops(session);
      if (changed) changed();
    }
    if (gone) return;
  }
}

void JackBackend::InputThread(const Session& session) {
  JackArrival arrival;
  while (!ending_.load()) {
    session->arrived.WaitMs(1000);
    while (!ending_.load() && session->TakeArrival(arrival)) {
      std::shared_ptr<JackInput> target;
      {
        std::lock_guard guard(mutex_);
        for (const auto& input : inputs_)
          if (input->serial == arrival.serial) target = input;
      }
      if (!target) continue;
      std::lock_guard guard(target->mutex);
      if (target->sink) target->sink(arrival.bytes, arrival.timeUs);
    }
  }
}

// ---- ports

std::vector<MidiDeviceInfo> JackBackend::Devices(MidiDirection direction) {
  std::vector<MidiDeviceInfo> devices;
  const Session session = Live();
  std::lock_guard guard(mutex_);
  jack_client_t* client = session && session == session_ ? session->client.load() : nullptr;
  if (!client) return devices;
  const unsigned long flags = direction == MidiDirection::Output ? JackPortIsInput : JackPortIsOutput;
  const char** names = jack_get_ports(client, nullptr, JACK_DEFAULT_MIDI_TYPE, flags);
  if (!names) return devices;
  for (const char** name = names; *name; ++name) {
    jack_port_t* port = jack_port_by_name(client, *name);
    if (!port || jack_port_is_mine(client, port)) continue;
    std::array<std::array<char, 512>, 2> texts{};
    std::array<char*, 2> aliases{texts[0].data(), texts[1].data()};
    const int count = jack_port_name_size() <= static_cast<int>(texts[0].size())
                          ? std::clamp(jack_port_get_aliases(port, aliases.data()), 0, 2)
                          : 0;
    MidiDeviceInfo device;
    device.id = *name;
    device.name = *name;
    device.bridged = BridgedName(*name);
    for (int i = 0; i < count && device.bridged.empty(); ++i)
      device.bridged = BridgedName(aliases[static_cast<std::size_t>(i)]);
    // Numbers of clients change from day to day; the name is the one the port has where it comes from.
    if (!device.bridged.empty() && device.bridged.back() != ':') device.name = device.bridged;
    device.own = IsOwnClient(device.name, clientName_);
    device.through =
        device.name.find("Midi-Through") != std::string::npos || device.name.find("Midi Through") != std::string::npos;
    devices.push_back(std::move(device));
  }
  jack_free(names);
  TellTwinsApart(devices);
  return devices;
}

std::vector<std::string> JackBackend::OtherWriters(const std::string& id) {
  const Session session = Live();
  const auto found = std::make_shared<std::set<std::string>>();
  const auto work = [session, found, id] {
    jack_client_t* client = session ? session->client.load() : nullptr;
    const jack_port_t* port = client ? jack_port_by_name(client, id.c_str()) : nullptr;
    const char** names = port ? jack_port_get_all_connections(client, port) : nullptr;
    for (const char** name = names; name && *name; ++name) {
      const jack_port_t* writer = jack_port_by_name(client, *name);
      if (!writer || jack_port_is_mine(client, writer)) continue;
      const std::string_view text(*name);
      found->emplace(text.substr(0, text.find(':')));
    }
    if (names) jack_free(names);
  };
  if (!caller_.Call(work, {}, kJackAnswerUs)) return {};
  return {found->begin(), found->end()};
}

Result JackBackend::Connect(const Session& session, JackEnd& end, bool output) {
  struct Made {
    jack_port_t* own = nullptr;
    jack_port_t* other = nullptr;
    bool connected = false;
  };
  const auto made = std::make_shared<Made>();
  std::string own = output ? "out " : "in ";
  {
    std::lock_guard guard(mutex_);
    own += std::to_string(++nextPort_);
  }
  const auto work = [session, made, own, output, other = end.name] {
    jack_client_t* client = session->client.load();
    made->other = client ? jack_port_by_name(client, other.c_str()) : nullptr;
    if (!made->other) return;
    made->own = jack_port_register(client, own.c_str(), JACK_DEFAULT_MIDI_TYPE,
                                   (output ? JackPortIsOutput : JackPortIsInput) | JackPortIsTerminal, 0);
    if (!made->own) return;
    const char* name = jack_port_name(made->own);
    made->connected = jack_connect(client, output ? name : other.c_str(), output ? other.c_str() : name) == 0;
    if (!made->connected) jack_port_unregister(client, made->own);
  };
  const auto undo = [session, made] {
    if (jack_client_t* client = session->client.load(); client && made->connected)
      jack_port_unregister(client, made->own);
  };
  if (!caller_.Call(work, undo, kJackAnswerUs)) return NoAnswer();
  if (!made->other) return Result::Failure("The MIDI port " + end.name + " is not there.", kMidiNoDevice);
  if (!made->own) return Result::Failure("The JACK server has no more ports.", kMidiFailed);
  if (!made->connected) return Result::Failure("The MIDI port " + end.name + " could not be connected.", kMidiBusy);
  end.own = made->own;
  end.other = made->other;
  return Result::Success();
}

// Beside everybody: it takes periods, and an answer of the server.
template <typename Port>
void JackBackend::Retire(const Session& session, std::shared_ptr<Port> port) {
  closer_.Post([self = shared_from_this(), session, port = std::move(port)] {
    session->Remove(port.get());
    self->caller_.Post([session, port] {
      jack_client_t* client = session->client.load();
      if (client && !session->serverGone.load()) jack_port_unregister(client, port->end.own);
    });
  });
}

Result JackBackend::OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) {
  const Session session = Live();
  if (!session) return NoAnswer();
  auto output = std::make_shared<JackOutput>(id, clock_.NowUs());
  if (Result made = Connect(session, output->end, true); !made.ok()) return made;
  std::unique_lock guard(mutex_);
  if (session != session_ || !session->AddOutput(output.get())) {
    guard.unlock();
    Retire(session, output);
    return Result::Failure("There is no room for more MIDI ports.", kMidiFailed);
  }
  outputs_.push_back(output);
  handle = std::make_unique<JackOutputHandle>(shared_from_this(), output);
  return Result::Success();
}

Result JackBackend::OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) {
  const Session session = Live();
  if (!session) return NoAnswer();
  auto input = std::make_shared<JackInput>(id, clock_.NowUs(), std::move(sink));
  if (Result made = Connect(session, input->end, false); !made.ok()) return made;
  std::unique_lock guard(mutex_);
  input->serial = nextSerial_++;
  input->heardFrom = session->periods() + kJackInputSettlePeriods;
  if (session != session_ || !session->AddInput(input.get())) {
    guard.unlock();
    Retire(session, input);
    return Result::Failure("There is no room for more MIDI ports.", kMidiFailed);
  }
  inputs_.push_back(input);
  handle = std::make_unique<JackInputHandle>(shared_from_this(), input);
  return Result::Success();
}

Result JackBackend::Queue(JackOutput& output, std::span<const std::uint8_t> piece, MidiSent sent) {
  const Session session = Live();
  if (!session || output.end.gone.load()) return Result::Failure("The MIDI port is gone.", kMidiNoDevice);
  if (piece.empty()) {
    if (sent) sent(Result::Success());
    return Result::Success();
  }
  output.pacing.Queue(piece, std::move(sent));
  session->feed.Post();
  return Result::Success();
}

void JackBackend::CloseOutput(const std::shared_ptr<JackOutput>& output) {
  const std::int64_t deadline = clock_.NowUs() + kJackDrainUs;
  while (!output->pacing.Idle() && !output->end.gone.load() && Live() && clock_.NowUs() < deadline) clock_.SleepMs(2);
  output->pacing.GiveUp();
  Session session;
  {
    std::lock_guard guard(mutex_);
    if (std::erase(outputs_, output)) session = session_;
  }
  if (session) Retire(session, output);
}

void JackBackend::CloseInput(const std::shared_ptr<JackInput>& input) {
  {
    std::lock_guard guard(input->mutex);
    input->sink = nullptr;
  }
  Session session;
  {
    std::lock_guard guard(mutex_);
    if (std::erase(inputs_, input)) session = session_;
  }
  if (session) Retire(session, input);
}

}  // namespace

std::unique_ptr<MidiBackend> MakeJackBackend(const char* clientName, Clock& clock) {
  return std::make_unique<SharedBackend>(std::make_shared<JackBackend>(clientName, clock));
}

}  // namespace tonalith
