#include "midi/backends/alsa_backend.h"

#include <alsa/asoundlib.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <map>
#include <mutex>

#include "midi/backends/alsa_arrival.h"
#include "midi/backends/port_names.h"
#include "midi/backends/shared_backend.h"
#include "midi/bridge_names.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr std::size_t kAlsaSpan = 256;
constexpr std::size_t kAlsaPoolCells = 2000;
constexpr std::size_t kAlsaInputBuffer = 1024 * 1024;
constexpr std::uint32_t kAlsaWireRate = 3125;
// A program that falls behind loses everything that waits for it, and nobody is told: its pool holds about 46 KiB.
constexpr std::uint32_t kAlsaProgramRate = 131072;
constexpr std::int64_t kAlsaGiveUpUs = 10'000'000;  // a port that takes nothing for that long is treated as gone
constexpr std::int64_t kAlsaRetryUs = 2'000;
constexpr std::int64_t kAlsaFinishUs = 1'000'000;  // what is queued may take so long when its port closes

void QuietAlsa(const char*, int, const char*, int, const char*, ...) {}

std::string AddressText(snd_seq_addr_t address) {
  return std::to_string(address.client) + ":" + std::to_string(address.port);
}

bool ParseAddress(const std::string& id, snd_seq_addr_t& address) {
  const auto colon = id.find(':');
  if (colon == std::string::npos) return false;
  address.client = static_cast<unsigned char>(std::atoi(id.c_str()));
  address.port = static_cast<unsigned char>(std::atoi(id.c_str() + colon + 1));
  return true;
}

class AlsaBackend;

// An open output: its own thread feeds the destination at the rate it can take.
class AlsaOutput {
 public:
  AlsaOutput(AlsaBackend& backend, Clock& clock, snd_seq_addr_t destination, int ownPort, bool hardware);
  ~AlsaOutput() { Close(); }
  AlsaOutput(const AlsaOutput&) = delete;
  AlsaOutput& operator=(const AlsaOutput&) = delete;

  Result Queue(std::span<const std::uint8_t> bytes, bool isShort, MidiSent sent);
  void Reset();
  void Close();
  void MarkGone();
  void SetRate(std::uint32_t rate);
  bool Gone() {
    std::lock_guard guard(mutex_);
    return gone_ || ending_;
  }
  snd_seq_addr_t destination() const { return destination_; }
  int ownPort() const { return ownPort_; }

 private:
  struct Piece {
    std::vector<std::uint8_t> bytes;
    bool isShort = false;
    MidiSent sent;
  };

  void Run();
  Result SendPiece(const Piece& piece, std::uint64_t generation);
  void Pace(std::size_t bytes);

  AlsaBackend& backend_;
  Clock& clock_;
  const snd_seq_addr_t destination_;
  const int ownPort_;
  const bool hardware_;
  std::mutex mutex_;
  WaitPoint work_;
  std::deque<Piece> pieces_;
  bool sending_ = false;
  bool ending_ = false;
  bool gone_ = false;
  std::uint64_t generation_ = 0;  // counts resets
  std::uint32_t rate_ = 0;
  std::int64_t freeAtUs_ = 0;
  std::int64_t refusedSinceUs_ = 0;  // the sending thread's: nothing was taken since; 0: the last piece was
  WorkerThread thread_;
};

struct AlsaInput {
  snd_seq_addr_t source{};
  std::atomic<bool> gone{false};
  int ownPort = -1;
  std::mutex mutex;
  MidiInputSink sink;
};

class AlsaBackend final : public MidiBackend, public std::enable_shared_from_this<AlsaBackend> {
 public:
  AlsaBackend(std::string clientName, Clock& clock) : clientName_(std::move(clientName)), clock_(clock) {}
  ~AlsaBackend() override { Stop(); }

  std::string Name() const override { return "alsa"; }
  bool Running() const override { return !gone_.load(); }
  Result Start() override;
  void Stop() override;
  std::vector<MidiDeviceInfo> Devices(MidiDirection direction) override;
  Result OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) override;
  Result OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) override;
  void SetChangeNotice(std::function<void()> changed) override {
    std::lock_guard guard(mutex_);
    changed_ = std::move(changed);
  }

  // 0, or a negative error of libasound.
  int Deliver(int ownPort, snd_seq_addr_t destination, std::span<const std::uint8_t> bytes, bool isShort);
  void CloseOutput(const std::shared_ptr<AlsaOutput>& output);
  void CloseInput(const std::shared_ptr<AlsaInput>& input);

 private:
  void ReadThread();
  void Take(const snd_seq_event_t& event);
  void TellLoss();
  void SequencerGone();
  void TakeAnnouncement(const snd_seq_event_t& event);
  int NewPort(const char* kind, unsigned int capabilities);

  const std::string clientName_;
  Clock& clock_;
  std::mutex mutex_;
  std::mutex sending_;  // libasound's output side is one
  snd_seq_t* seq_ = nullptr;
  snd_midi_event_t* coder_ = nullptr;
  snd_midi_event_t* decoder_ = nullptr;
  int wake_ = -1;
  std::atomic<bool> ending_{false};
  std::atomic<bool> gone_{false};  // the sequencer; Start opens it again
  std::function<void()> changed_;
  std::vector<std::shared_ptr<AlsaOutput>> outputs_;
  std::map<int, std::shared_ptr<AlsaInput>> inputs_;
  AlsaArrival arrival_{clock_};
  int announcePort_ = -1;
  int nextPort_ = 0;
  std::thread reader_;
};

AlsaOutput::AlsaOutput(AlsaBackend& backend, Clock& clock, snd_seq_addr_t destination, int ownPort, bool hardware)
    : backend_(backend),
      clock_(clock),
      destination_(destination),
      ownPort_(ownPort),
      hardware_(hardware),
      work_(clock) {
  thread_ = WorkerThread(clock, [this] { Run(); });
}

Result AlsaOutput::Queue(std::span<const std::uint8_t> bytes, bool isShort, MidiSent sent) {
  {
    std::lock_guard guard(mutex_);
    if (gone_ || ending_) return Result::Failure("The MIDI port is gone.", kMidiNoDevice);
    pieces_.push_back({{bytes.begin(), bytes.end()}, isShort, std::move(sent)});
  }
  work_.NotifyOne();
  return Result::Success();
}

void AlsaOutput::Run() {
  while (true) {
    Piece piece;
    std::uint64_t generation = 0;
    bool gone = false;
    {
      std::unique_lock lock(mutex_);
      work_.Wait(lock, [this] { return ending_ || !pieces_.empty(); });
      if (ending_) return;
      piece = std::move(pieces_.front());
      pieces_.pop_front();
      generation = generation_;
      gone = gone_;
      sending_ = true;
    }
    const Result result =
        gone ? Result::Failure("The MIDI port is gone.", kMidiNoDevice) : SendPiece(piece, generation);
    if (piece.sent) piece.sent(result);
    {
      std::lock_guard guard(mutex_);
      sending_ = false;
    }
    work_.NotifyAll();
  }
}

Result AlsaOutput::SendPiece(const Piece& piece, std::uint64_t generation) {
  for (std::size_t at = 0; at < piece.bytes.size();) {
    const std::size_t length = std::min(kAlsaSpan, piece.bytes.size() - at);
    Pace(length);
    while (true) {
      {
        std::lock_guard guard(mutex_);
        if (generation != generation_ || ending_) return Result::Failure("Sending was stopped.", kMidiFailed);
        if (gone_) return Result::Failure("The MIDI port is gone.", kMidiNoDevice);
      }
      const int error = backend_.Deliver(ownPort_, destination_, {piece.bytes.data() + at, length}, piece.isShort);
      if (error >= 0) {
        refusedSinceUs_ = 0;
        break;
      }
      if (error != -EAGAIN && error != -ENOMEM && error != -ENOSPC && error != -EINTR) {
        return Result::Failure(std::string("The MIDI port refused data: ") + snd_strerror(error), kMidiNoDevice);
      }
      // What waits behind a piece that was given up does not wait as long again.
      if (refusedSinceUs_ == 0) refusedSinceUs_ = clock_.NowUs();
      if (clock_.NowUs() - refusedSinceUs_ > kAlsaGiveUpUs)
        return Result::Failure("The MIDI port takes no data.", kMidiNotReady);
      clock_.SleepUs(kAlsaRetryUs);
    }
    at += length;
  }
  return Result::Success();
}

// A raw MIDI port is fed no faster than its wire, a program no faster than it can be expected to read: the buffers in
// the kernel overflow silently.
void AlsaOutput::Pace(std::size_t bytes) {
  std::unique_lock lock(mutex_);
  std::uint32_t rate = rate_ ? rate_ : kAlsaWireRate;
  if (!hardware_) rate = rate_ ? std::min(rate_, kAlsaProgramRate) : kAlsaProgramRate;
  const auto generation = generation_;
  work_.WaitUntil(lock, freeAtUs_, [this, generation] { return ending_ || gone_ || generation != generation_; });
  freeAtUs_ = std::max(freeAtUs_, clock_.NowUs()) + static_cast<std::int64_t>(bytes) * 1'000'000 / rate;
}

void AlsaOutput::Reset() {
  std::deque<Piece> pieces;
  {
    std::lock_guard guard(mutex_);
    pieces.swap(pieces_);
    ++generation_;
    freeAtUs_ = 0;
  }
  work_.NotifyAll();
  for (auto& piece : pieces) {
    if (piece.sent) piece.sent(Result::Failure("Sending was stopped.", kMidiFailed));
  }
}

void AlsaOutput::MarkGone() {
  {
    std::lock_guard guard(mutex_);
    gone_ = true;
  }
  work_.NotifyAll();
  Reset();
}

void AlsaOutput::SetRate(std::uint32_t rate) {
  std::lock_guard guard(mutex_);
  rate_ = rate;
}

void AlsaOutput::Close() {
  {
    std::unique_lock lock(mutex_);
    work_.WaitUntil(lock, clock_.NowUs() + kAlsaFinishUs,
                    [this] { return (pieces_.empty() && !sending_) || gone_ || ending_; });
    ending_ = true;
  }
  work_.NotifyAll();
  Reset();
  thread_.Join();
}

class AlsaOutputHandle final : public MidiOutputHandle {
 public:
  AlsaOutputHandle(std::shared_ptr<AlsaBackend> owner, std::shared_ptr<AlsaOutput> output)
      : owner_(std::move(owner)), output_(std::move(output)) {}
  ~AlsaOutputHandle() override { owner_->CloseOutput(output_); }
  Result SendShort(std::span<const std::uint8_t> message, MidiSent sent) override {
    return output_->Queue(message, true, std::move(sent));
  }
  Result SendLong(std::span<const std::uint8_t> piece, MidiSent sent) override {
    return output_->Queue(piece, false, std::move(sent));
  }
  void Reset() override { output_->Reset(); }
  void SetMaxRate(std::uint32_t bytesPerSecond) override { output_->SetRate(bytesPerSecond); }
  bool Alive() const override { return !output_->Gone(); }

 private:
  std::shared_ptr<AlsaBackend> owner_;
  std::shared_ptr<AlsaOutput> output_;
};

class AlsaInputHandle final : public MidiInputHandle {
 public:
  AlsaInputHandle(std::shared_ptr<AlsaBackend> owner, std::shared_ptr<AlsaInput> input)
      : owner_(std::move(owner)), input_(std::move(input)) {}
  ~AlsaInputHandle() override { owner_->CloseInput(input_); }
  bool Alive() const override { return !input_->gone.load(); }

 private:
  std::shared_ptr<AlsaBackend> owner_;
  std::shared_ptr<AlsaInput> input_;
};

Result AlsaBackend::Start() {
  if (gone_.load()) Stop();
  std::lock_guard guard(mutex_);
  if (seq_) return Result::Success();
  snd_lib_error_set_handler(QuietAlsa);
  if (const int error = snd_seq_open(&seq_, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK); error < 0) {
    seq_ = nullptr;
    return Result::Failure(std::string("The kernel's MIDI sequencer is not there: ") + snd_strerror(error),
                           kMidiNoDevice);
  }
  snd_seq_set_client_name(seq_, clientName_.c_str());
  snd_seq_set_client_pool_output(seq_, kAlsaPoolCells);
  snd_seq_set_client_pool_input(seq_, kAlsaPoolCells);
  snd_seq_set_input_buffer_size(seq_, kAlsaInputBuffer);
  snd_midi_event_new(kAlsaSpan, &coder_);
  snd_midi_event_new(kAlsaSpan, &decoder_);
  snd_midi_event_no_status(decoder_, 1);
  arrival_.Start(seq_);
  wake_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  announcePort_ = snd_seq_create_simple_port(seq_, "announce", SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_NO_EXPORT,
                                             SND_SEQ_PORT_TYPE_APPLICATION);
  snd_seq_connect_from(seq_, announcePort_, SND_SEQ_CLIENT_SYSTEM, SND_SEQ_PORT_SYSTEM_ANNOUNCE);
  ending_.store(false);
  gone_.store(false);
  reader_ = std::thread([this] { ReadThread(); });
  return Result::Success();
}

void AlsaBackend::Stop() {
  std::vector<std::shared_ptr<AlsaOutput>> outputs;
  {
    std::lock_guard guard(mutex_);
    if (!seq_) return;
    outputs.swap(outputs_);
    for (const auto& entry : inputs_) entry.second->gone.store(true);
    inputs_.clear();
  }
  for (const auto& output : outputs) output->MarkGone();
  ending_.store(true);
  const std::uint64_t one = 1;
  if (write(wake_, &one, sizeof one) < 0) DebugLog("alsa: the reader could not be woken");
  if (reader_.joinable()) reader_.join();
  std::lock_guard sending(sending_);
  std::lock_guard guard(mutex_);
  snd_seq_close(seq_);
  seq_ = nullptr;
  snd_midi_event_free(coder_);
  snd_midi_event_free(decoder_);
  close(wake_);
}

std::vector<MidiDeviceInfo> AlsaBackend::Devices(MidiDirection direction) {
  std::lock_guard guard(mutex_);
  std::vector<MidiDeviceInfo> devices;
  if (!seq_ || gone_.load()) return devices;
  const unsigned int wanted = direction == MidiDirection::Output ? SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE
                                                                 : SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
  snd_seq_client_info_t* client = nullptr;
  snd_seq_port_info_t* port = nullptr;
  snd_seq_client_info_malloc(&client);
  snd_seq_port_info_malloc(&port);
  snd_seq_client_info_set_client(client, -1);
  while (snd_seq_query_next_client(seq_, client) >= 0) {
    const int number = snd_seq_client_info_get_client(client);
    if (number == SND_SEQ_CLIENT_SYSTEM || number == snd_seq_client_id(seq_)) continue;
    snd_seq_port_info_set_client(port, number);
    snd_seq_port_info_set_port(port, -1);
    while (snd_seq_query_next_port(seq_, port) >= 0) {
      const unsigned int capabilities = snd_seq_port_info_get_capability(port);
      if ((capabilities & wanted) != wanted || (capabilities & SND_SEQ_PORT_CAP_NO_EXPORT)) continue;
      MidiDeviceInfo device;
      device.id = AddressText(*snd_seq_port_info_get_addr(port));
      device.name = std::string(snd_seq_client_info_get_name(client)) + ":" + snd_seq_port_info_get_name(port);
      device.own = IsOwnClient(device.name, clientName_);
      device.through = device.name.rfind("Midi Through", 0) == 0;
      devices.push_back(std::move(device));
    }
  }
  snd_seq_port_info_free(port);
  snd_seq_client_info_free(client);
  TellTwinsApart(devices);
  return devices;
}

int AlsaBackend::NewPort(const char* kind, unsigned int capabilities) {
  const std::string name = std::string(kind) + " " + std::to_string(++nextPort_);
  snd_seq_port_info_t* port = nullptr;
  if (const int error = snd_seq_port_info_malloc(&port); error < 0) return error;
  snd_seq_port_info_set_name(port, name.c_str());
  snd_seq_port_info_set_capability(port, capabilities);
  snd_seq_port_info_set_type(port, SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
  snd_seq_port_info_set_midi_channels(port, 16);
  if (capabilities & SND_SEQ_PORT_CAP_WRITE) arrival_.Stamp(port);
  const int error = snd_seq_create_port(seq_, port);
  const int number = error < 0 ? error : snd_seq_port_info_get_port(port);
  snd_seq_port_info_free(port);
  return number;
}

Result AlsaBackend::OpenOutput(const std::string& id, std::unique_ptr<MidiOutputHandle>& handle) {
  std::lock_guard guard(mutex_);
  snd_seq_addr_t address{};
  if (!seq_ || !ParseAddress(id, address)) return Result::Failure("The MIDI port is not there.", kMidiNoDevice);
  const int port = NewPort("out", SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ);
  if (port < 0) return Result::Failure("The sequencer has no more ports.", kMidiFailed);
  if (const int error = snd_seq_connect_to(seq_, port, address.client, address.port); error < 0) {
    snd_seq_delete_simple_port(seq_, port);
    const bool busy = error == -EBUSY || error == -EPERM;
    return Result::Failure(std::string("The MIDI port could not be opened: ") + snd_strerror(error),
                           busy ? kMidiBusy : kMidiNoDevice);
  }
  snd_seq_client_info_t* client = nullptr;
  snd_seq_client_info_malloc(&client);
  const bool hardware = snd_seq_get_any_client_info(seq_, address.client, client) >= 0 &&
                        snd_seq_client_info_get_type(client) == SND_SEQ_KERNEL_CLIENT;
  snd_seq_client_info_free(client);
  auto output = std::make_shared<AlsaOutput>(*this, clock_, address, port, hardware);
  outputs_.push_back(output);
  handle = std::make_unique<AlsaOutputHandle>(shared_from_this(), output);
  return Result::Success();
}

Result AlsaBackend::OpenInput(const std::string& id, MidiInputSink sink, std::unique_ptr<MidiInputHandle>& handle) {
  std::lock_guard guard(mutex_);
  auto input = std::make_shared<AlsaInput>();
  if (!seq_ || !ParseAddress(id, input->source)) return Result::Failure("The MIDI port is not there.", kMidiNoDevice);
  input->sink = std::move(sink);
  input->ownPort = NewPort("in", SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE);
  if (input->ownPort < 0) return Result::Failure("The sequencer has no more ports.", kMidiFailed);
  if (const int error = snd_seq_connect_from(seq_, input->ownPort, input->source.client, input->source.port);
      error < 0) {
    snd_seq_delete_simple_port(seq_, input->ownPort);
    const bool busy = error == -EBUSY || error == -EPERM;
    return Result::Failure(std::string("The MIDI port could not be opened: ") + snd_strerror(error),
                           busy ? kMidiBusy : kMidiNoDevice);
  }
  inputs_[input->ownPort] = input;
  handle = std::make_unique<AlsaInputHandle>(shared_from_this(), input);
  return Result::Success();
}

int AlsaBackend::Deliver(int ownPort, snd_seq_addr_t destination, std::span<const std::uint8_t> bytes, bool isShort) {
  std::lock_guard guard(sending_);
  if (!seq_) return -ENODEV;
  snd_seq_event_t event;
  snd_seq_ev_clear(&event);
  std::vector<std::uint8_t> copy;
  // Only complete channel messages have events of their own; everything else travels as bytes, as it is.
  if (isShort && bytes[0] < 0xF0) {
    snd_midi_event_reset_encode(coder_);
    if (snd_midi_event_encode(coder_, bytes.data(), static_cast<long>(bytes.size()), &event) < 0 ||
        event.type == SND_SEQ_EVENT_NONE) {
      return 0;
    }
  } else {
    copy.assign(bytes.begin(), bytes.end());
    snd_seq_ev_set_sysex(&event, static_cast<unsigned int>(copy.size()), copy.data());
  }
  snd_seq_ev_set_source(&event, static_cast<unsigned char>(ownPort));
  snd_seq_ev_set_dest(&event, destination.client, destination.port);
  snd_seq_ev_set_direct(&event);
  return snd_seq_event_output_direct(seq_, &event);
}

void AlsaBackend::CloseOutput(const std::shared_ptr<AlsaOutput>& output) {
  output->Close();
  std::lock_guard guard(mutex_);
  if (!std::erase(outputs_, output) || !seq_) return;
  snd_seq_delete_simple_port(seq_, output->ownPort());
}

void AlsaBackend::CloseInput(const std::shared_ptr<AlsaInput>& input) {
  {
    std::lock_guard guard(input->mutex);
    input->sink = nullptr;
  }
  std::lock_guard guard(mutex_);
  if (!inputs_.erase(input->ownPort) || !seq_) return;
  snd_seq_delete_simple_port(seq_, input->ownPort);
}

void AlsaBackend::ReadThread() {
  std::vector<pollfd> descriptors(static_cast<std::size_t>(snd_seq_poll_descriptors_count(seq_, POLLIN)) + 1);
  descriptors[0] = {wake_, POLLIN, 0};
  snd_seq_poll_descriptors(seq_, descriptors.data() + 1, static_cast<unsigned int>(descriptors.size() - 1), POLLIN);
  while (!ending_.load()) {
    poll(descriptors.data(), descriptors.size(), -1);
    const bool broken = std::any_of(descriptors.begin() + 1, descriptors.end(), [](const pollfd& descriptor) {
      return (descriptor.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
    });
    if (broken) {
      SequencerGone();
      return;
    }
    while (!ending_.load()) {
      snd_seq_event_t* event = nullptr;
      const int left = snd_seq_event_input(seq_, &event);
      if (left == -ENOSPC) {
        TellLoss();
        continue;
      }
      if (left < 0) break;
      if (event) Take(*event);
    }
  }
}

void AlsaBackend::SequencerGone() {
  MonitorMsg("The kernel's MIDI sequencer went away");
  std::vector<std::shared_ptr<AlsaOutput>> gone;
  std::function<void()> changed;
  {
    std::lock_guard guard(mutex_);
    gone_.store(true);
    gone = outputs_;
    for (const auto& entry : inputs_) entry.second->gone.store(true);
    changed = changed_;
  }
  for (const auto& output : gone) output->MarkGone();
  if (changed) changed();
}

// The queue is one for all ports: any of them may have lost something.
void AlsaBackend::TellLoss() {
  std::vector<std::shared_ptr<AlsaInput>> inputs;
  {
    std::lock_guard guard(mutex_);
    for (const auto& entry : inputs_) inputs.push_back(entry.second);
  }
  const std::int64_t now = clock_.NowUs();
  for (const auto& input : inputs) {
    std::lock_guard guard(input->mutex);
    if (input->sink) input->sink({}, now);
  }
}

void AlsaBackend::Take(const snd_seq_event_t& event) {
  if (event.dest.port == announcePort_) {
    TakeAnnouncement(event);
    return;
  }
  std::shared_ptr<AlsaInput> input;
  {
    std::lock_guard guard(mutex_);
    const auto found = inputs_.find(event.dest.port);
    if (found != inputs_.end()) input = found->second;
  }
  if (!input) return;
  const std::int64_t cameUs = arrival_.TimeOf(event);
  std::lock_guard guard(input->mutex);
  if (!input->sink) return;
  if (event.type == SND_SEQ_EVENT_SYSEX) {
    input->sink({static_cast<const std::uint8_t*>(event.data.ext.ptr), event.data.ext.len}, cameUs);
    return;
  }
  std::uint8_t bytes[16];
  const long length = snd_midi_event_decode(decoder_, bytes, sizeof bytes, &event);
  if (length > 0) input->sink({bytes, static_cast<std::size_t>(length)}, cameUs);
}

void AlsaBackend::TakeAnnouncement(const snd_seq_event_t& event) {
  if (event.type == SND_SEQ_EVENT_PORT_SUBSCRIBED &&
      event.data.connect.sender.client == event.data.connect.dest.client &&
      event.data.connect.dest.client == snd_seq_client_id(seq_)) {
    MonitorMsg("A MIDI OUT port is wired to a MIDI IN port of this program: what is sent comes back");
    return;
  }
  if (event.type < SND_SEQ_EVENT_CLIENT_START || event.type > SND_SEQ_EVENT_PORT_CHANGE) return;
  std::vector<std::shared_ptr<AlsaOutput>> gone;
  std::function<void()> changed;
  {
    std::lock_guard guard(mutex_);
    if (seq_ && event.data.addr.client == snd_seq_client_id(seq_)) return;
    const auto hit = [&event](const snd_seq_addr_t& address) {
      return address.client == event.data.addr.client &&
             (event.type == SND_SEQ_EVENT_CLIENT_EXIT ||
              (event.type == SND_SEQ_EVENT_PORT_EXIT && address.port == event.data.addr.port));
    };
    for (const auto& output : outputs_)
      if (hit(output->destination())) gone.push_back(output);
    for (const auto& entry : inputs_)
      if (hit(entry.second->source)) entry.second->gone.store(true);
    changed = changed_;
  }
  for (const auto& output : gone) output->MarkGone();
  if (changed) changed();
}

}  // namespace

std::unique_ptr<MidiBackend> MakeAlsaBackend(const char* clientName, Clock& clock) {
  return std::make_unique<SharedBackend>(std::make_shared<AlsaBackend>(clientName, clock));
}

}  // namespace tonalith
