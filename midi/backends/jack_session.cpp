#include "midi/backends/jack_session.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace tonalith {

namespace {

constexpr std::size_t kJackInputRing = 4 * 1024 * 1024;
constexpr std::int64_t kJackPatienceUs = 350'000;
constexpr std::int64_t kJackPatiencePeriods = 4;

class PortBuffer final : public JackEventBuffer {
 public:
  explicit PortBuffer(void* buffer) : buffer_(buffer) { jack_midi_clear_buffer(buffer_); }
  std::size_t Room() override { return jack_midi_max_event_size(buffer_); }
  std::uint8_t* Reserve(std::size_t size) override { return jack_midi_event_reserve(buffer_, 0, size); }

 private:
  void* buffer_;
};

template <typename Port>
bool Add(std::array<std::atomic<Port*>, kJackMaxPorts>& slots, Port* port) {
  for (auto& slot : slots) {
    Port* free = nullptr;
    if (slot.compare_exchange_strong(free, port, std::memory_order_release)) return true;
  }
  return false;
}

template <typename Port>
bool TakeOut(std::array<std::atomic<Port*>, kJackMaxPorts>& slots, const Port* port) {
  for (auto& slot : slots) {
    if (slot.load() != port) continue;
    slot.store(nullptr);
    return true;
  }
  return false;
}

}  // namespace

void RealtimeSignal::WaitMs(long ms) {
  const std::int64_t untilUs = SystemClock().NowUs() + ms * 1000;
  timespec until{};
  until.tv_sec = static_cast<std::time_t>(untilUs / 1'000'000);
  until.tv_nsec = static_cast<long>(untilUs % 1'000'000 * 1000);
  while (sem_clockwait(&semaphore_, CLOCK_MONOTONIC, &until) != 0 && errno == EINTR) {
  }
  while (sem_trywait(&semaphore_) == 0) {
  }
}

JackSession::JackSession(Clock& clock) : clock_(clock), input_(kJackInputRing) {}

std::int64_t JackSession::PatienceUs() const {
  jack_client_t* open = client.load();
  if (!open) return kJackPatienceUs;
  const std::int64_t period =
      std::int64_t{1'000'000} * jack_get_buffer_size(open) / std::max<jack_nframes_t>(jack_get_sample_rate(open), 1);
  return std::max(kJackPatienceUs, kJackPatiencePeriods * period);
}

// ---- process callback

int JackSession::Run(jack_nframes_t frames) {
  for (auto& slot : outputs_) {
    JackOutput* output = slot.load(std::memory_order_acquire);
    if (!output) continue;
    PortBuffer buffer(jack_port_get_buffer(output->end.own, frames));
    if (output->pacing.SendPeriod(buffer)) feed.Post();
  }
  // Events stand at their place in the period that has just passed.
  jack_client_t* open = client.load(std::memory_order_acquire);
  const jack_nframes_t rate = open ? jack_get_sample_rate(open) : 48000;
  const std::int64_t frameNs = 1'000'000'000 / std::max<jack_nframes_t>(rate, 1);
  const std::int64_t sinceNs = open ? frameNs * jack_frames_since_cycle_start(open) : 0;
  const std::int64_t beginUs = clock_.NowUs() - (sinceNs + frameNs * frames) / 1000;
  bool news = false;
  // The server gives the place of a port that went to the next one, and its connections stay with it until a period
  // begins: an input that is new, or whose other end went, may lead from connection to connection in a circle, and the
  // library follows that until the stack is full.
  for (auto& slot : inputs_) {
    JackInput* input = slot.load(std::memory_order_acquire);
    if (!input || input->end.gone.load(std::memory_order_acquire) || periods() < input->heardFrom) continue;
    news = TakeIn(*input, frames, beginUs, frameNs) || news;
  }
  if (news) arrived.Post();
  periods_.fetch_add(1, std::memory_order_release);
  return 0;
}

bool JackSession::TakeIn(JackInput& input, jack_nframes_t frames, std::int64_t beginUs, std::int64_t frameNs) {
  void* buffer = jack_port_get_buffer(input.end.own, frames);
  const auto count = jack_midi_get_event_count(buffer);
  bool news = input.owesLoss && Put(input, beginUs, nullptr);
  for (std::uint32_t k = 0; k < count; ++k) {
    jack_midi_event_t event;
    if (jack_midi_event_get(&event, buffer, k) != 0 || event.size == 0) continue;
    news = Put(input, beginUs + frameNs * event.time / 1000, &event) || news;
  }
  // What did not fit into the server's buffer came last.
  if (jack_midi_get_lost_event_count(buffer) > 0) news = Put(input, beginUs, nullptr) || news;
  return news;
}

// Null: a hole.  Behind a hole nothing is taken before it was told.
bool JackSession::Put(JackInput& input, std::int64_t timeUs, const jack_midi_event_t* event) {
  const std::size_t size = event ? event->size : 0;
  if (event && input.owesLoss && !Put(input, timeUs, nullptr)) return false;
  const Header header{timeUs, input.serial, static_cast<std::uint32_t>(size)};
  input.owesLoss = jack_ringbuffer_write_space(input_.ring) < sizeof header + size;
  if (input.owesLoss) return false;
  jack_ringbuffer_write(input_.ring, reinterpret_cast<const char*>(&header), sizeof header);
  if (event) jack_ringbuffer_write(input_.ring, reinterpret_cast<const char*>(event->buffer), size);
  return true;
}

bool JackSession::TakeArrival(JackArrival& arrival) {
  Header header{};
  if (jack_ringbuffer_peek(input_.ring, reinterpret_cast<char*>(&header), sizeof header) < sizeof header) return false;
  if (jack_ringbuffer_read_space(input_.ring) < sizeof header + header.length) return false;
  jack_ringbuffer_read_advance(input_.ring, sizeof header);
  arrival.bytes.resize(header.length);
  jack_ringbuffer_read(input_.ring, reinterpret_cast<char*>(arrival.bytes.data()), header.length);
  arrival.serial = header.serial;
  arrival.timeUs = header.timeUs;
  return true;
}

// ---- ports

bool JackSession::AddOutput(JackOutput* output) {
  return Add(outputs_, output);
}

bool JackSession::AddInput(JackInput* input) {
  return Add(inputs_, input);
}

// The buffer of a port that nobody clears is sent again and again: the last period it lives in is an empty one.
void JackSession::Remove(const JackOutput* output) {
  AwaitPeriod();
  if (TakeOut(outputs_, output)) AwaitPeriod();
}

void JackSession::Remove(const JackInput* input) {
  if (TakeOut(inputs_, input)) AwaitPeriod();
}

// Waits until the process callback has begun anew twice, so that it no longer holds a pointer it read before.
void JackSession::AwaitPeriod() {
  const auto begin = periods();
  for (int i = 0; i < 400 && client.load() && !serverGone.load() && periods() < begin + 2; i += silent.load() ? 0 : 1)
    clock_.SleepMs(1);
}

}  // namespace tonalith
