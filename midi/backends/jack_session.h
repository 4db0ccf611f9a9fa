// What one connection to a JACK server shares with its process callback.
#pragma once

#include <jack/jack.h>
#include <jack/midiport.h>
#include <semaphore.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "midi/backends/jack_pacing.h"
#include "platform/clock.h"

namespace tonalith {

inline constexpr int kJackMaxPorts = 256;
// Periods before an input is listened to.
inline constexpr std::uint64_t kJackInputSettlePeriods = 3;

// A semaphore that a process callback may post without blocking.
class RealtimeSignal {
 public:
  RealtimeSignal() { sem_init(&semaphore_, 0, 0); }
  ~RealtimeSignal() { sem_destroy(&semaphore_); }
  RealtimeSignal(const RealtimeSignal&) = delete;
  RealtimeSignal& operator=(const RealtimeSignal&) = delete;
  void Post() { sem_post(&semaphore_); }
  // Also takes back what was posted more than once.
  void WaitMs(long ms);

 private:
  sem_t semaphore_{};
};

// The other end of one of our ports, and how the connection to it stands.
struct JackEnd {
  explicit JackEnd(std::string portName, std::int64_t nowUs) : name(std::move(portName)), madeUs(nowUs) {}

  const std::string name;
  jack_port_t* own = nullptr;
  jack_port_t* other = nullptr;   // as it was when we connected; compared, never used
  std::atomic<bool> seen{false};  // the connection showed since it was made
  bool linked = false;            // it showed when it was looked at last; the feeding thread's, as is the next
  std::uint64_t linkedAt = 0;     // the period that had begun when it showed
  std::atomic<bool> gone{false};
  std::atomic<bool> cut{false};  // by somebody else, and not connected again
  std::atomic<std::uint64_t> reconnects{0};

  std::atomic<std::int64_t> madeUs;  // when the connection was asked for, or made again

  void Linked(bool connected, std::int64_t nowUs) {
    if (!connected) {
      cut.store(true);
    } else if (cut.exchange(false)) {
      seen.store(false);
      madeUs.store(nowUs);
      reconnects.fetch_add(1);
    }
  }
};

struct JackOutput {
  JackOutput(std::string name, std::int64_t nowUs) : end(std::move(name), nowUs) {}
  JackEnd end;
  JackPacing pacing;
};

struct JackInput {
  JackInput(std::string name, std::int64_t nowUs, MidiInputSink to)
      : end(std::move(name), nowUs), sink(std::move(to)) {}
  JackEnd end;
  std::uint32_t serial = 0;
  std::uint64_t heardFrom = 0;  // period; see JackSession::Run
  bool owesLoss = false;        // the process callback's: something was lost and is not told yet
  std::mutex mutex;             // held while the sink runs
  MidiInputSink sink;
};

// An event that came in, or a hole (no bytes).
struct JackArrival {
  std::uint32_t serial = 0;  // of the input
  std::int64_t timeUs = 0;
  std::vector<std::uint8_t> bytes;
};

// The side of a session that the process callback runs on.  Kept until its client is closed, however long that takes.
class JackSession {
 public:
  explicit JackSession(Clock& clock);

  // ---- process callback
  int Run(jack_nframes_t frames);

  // ---- ports.  A port is live from Add until Remove returned; then the process callback has let go of it.  Remove
  // waits for some periods, and for a server that stands still until it goes on.
  bool AddOutput(JackOutput* output);
  bool AddInput(JackInput* input);
  void Remove(const JackOutput* output);
  void Remove(const JackInput* input);

  // ---- one reading thread
  bool TakeArrival(JackArrival& arrival);

  std::uint64_t periods() const { return periods_.load(std::memory_order_acquire); }
  // How long the server may be silent before it counts as standing still.
  std::int64_t PatienceUs() const;

  std::atomic<jack_client_t*> client{nullptr};  // changed on the caller's thread only
  std::atomic<bool> serverGone{false};
  std::atomic<bool> silent{false};
  std::atomic<bool> portsChanged{false};
  std::atomic<std::uint64_t> xruns{0};
  RealtimeSignal feed;
  RealtimeSignal arrived;

 private:
  struct Header {
    std::int64_t timeUs;
    std::uint32_t serial;
    std::uint32_t length;
  };

  void AwaitPeriod();
  bool TakeIn(JackInput& input, jack_nframes_t frames, std::int64_t beginUs, std::int64_t frameNs);
  bool Put(JackInput& input, std::int64_t timeUs, const jack_midi_event_t* event);

  Clock& clock_;
  // A slot is cleared and a period awaited before what it points to may go.
  std::array<std::atomic<JackOutput*>, kJackMaxPorts> outputs_{};
  std::array<std::atomic<JackInput*>, kJackMaxPorts> inputs_{};
  std::atomic<std::uint64_t> periods_{0};
  JackRing input_;
};

}  // namespace tonalith
