// A MIDI program of its own, written directly on libjack and libasound, that stands at the other end of the cable in
// the tests of the backends: it counts every byte that comes in and sends patterns on command.
//
//   midi_peer jack|alsa NAME
//
// Commands on standard input, an answer line each:
//   reset                              -> ok
//   count                              -> bytes N realtime R crc X      (crc and bytes without real-time bytes)
//   send SIZE SEED SPAN CLOCK          -> sent SIZE       a SysEx of SIZE bytes in spans, an F8 after every CLOCK bytes
//   unplug                             -> ok              takes the ports away
//   replug                             -> ok              takes them away and at once brings them back (JACK)
//   disconnect                         -> ok              cuts every cable into it (JACK)
//   connect                            -> ok              puts the cables back that disconnect cut (JACK)
//   echo                               -> ok              from now on what comes in goes out again (JACK)
//   gap                                -> gap MS          the longest time the server did not call, since gap was asked
//   (JACK)

#include <alsa/asoundlib.h>
#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/peer/pattern.h"

namespace {

struct Counter {
  std::mutex mutex;
  std::uint64_t bytes = 0;
  std::uint64_t realtime = 0;
  std::uint32_t crc = 0;

  void Take(const std::uint8_t* data, std::size_t size) {
    std::lock_guard guard(mutex);
    for (std::size_t i = 0; i < size; ++i) {
      if (data[i] >= 0xF8) {
        ++realtime;
        continue;
      }
      ++bytes;
      crc = peer::CrcStep(crc, data[i]);
    }
  }
};

class Wire {
 public:
  virtual ~Wire() = default;
  virtual bool Send(const std::vector<std::uint8_t>& span) = 0;
  virtual void Unplug() = 0;
  virtual void Replug() {}
  virtual void Disconnect() {}
  virtual void Connect() {}
  virtual void Echo() {}
  virtual long LongestGapMs() { return 0; }
};

class JackWire final : public Wire {
 public:
  JackWire(const char* name, Counter& counter) : counter_(counter) {
    client_ = jack_client_open(name, JackNoStartServer, nullptr);
    if (!client_) throw std::string("no JACK server");
    jack_set_process_callback(
        client_, [](jack_nframes_t n, void* self) { return static_cast<JackWire*>(self)->Run(n); }, this);
    Register();
    jack_activate(client_);
  }
  ~JackWire() override { jack_client_close(client_); }
  bool Send(const std::vector<std::uint8_t>& span) override {
    span_ = &span;
    ready_.store(true, std::memory_order_release);
    while (ready_.load(std::memory_order_acquire)) std::this_thread::sleep_for(std::chrono::microseconds(200));
    return true;
  }
  void Unplug() override {
    gone_.store(true);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    jack_port_unregister(client_, in_);
    jack_port_unregister(client_, out_);
  }
  void Replug() override {
    Unplug();
    Register();
    gone_.store(false);
  }
  void Disconnect() override {
    if (const char** names = jack_port_get_all_connections(client_, in_)) {
      for (const char** name = names; *name; ++name) cut_.push_back(*name);
      jack_free(names);
    }
    jack_port_disconnect(client_, in_);
  }
  void Connect() override {
    for (const std::string& name : cut_) jack_connect(client_, name.c_str(), jack_port_name(in_));
    cut_.clear();
  }
  void Echo() override { echo_.store(true); }
  // With the one that lasts.
  long LongestGapMs() override {
    const auto since = NowMs() - last_.load();
    return std::max(gap_.exchange(0), last_.load() ? since : 0);
  }

 private:
  static long NowMs() {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
  }
  void Register() {
    in_ = jack_port_register(client_, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    out_ = jack_port_register(client_, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
  }
  int Run(jack_nframes_t frames) {
    const long now = NowMs();
    const long before = last_.exchange(now);
    if (before && now - before > gap_.load()) gap_.store(now - before);
    if (gone_.load()) return 0;
    void* out = jack_port_get_buffer(out_, frames);
    jack_midi_clear_buffer(out);
    void* in = jack_port_get_buffer(in_, frames);
    for (std::uint32_t i = 0; i < jack_midi_get_event_count(in); ++i) {
      jack_midi_event_t event;
      if (jack_midi_event_get(&event, in, i) != 0) continue;
      counter_.Take(event.buffer, event.size);
      if (!echo_.load()) continue;
      if (jack_midi_data_t* data = jack_midi_event_reserve(out, event.time, event.size))
        std::memcpy(data, event.buffer, event.size);
    }
    if (ready_.load(std::memory_order_acquire)) {
      if (jack_midi_data_t* data = jack_midi_event_reserve(out, 0, span_->size())) {
        std::memcpy(data, span_->data(), span_->size());
        ready_.store(false, std::memory_order_release);
      }
    }
    return 0;
  }

  Counter& counter_;
  jack_client_t* client_;
  jack_port_t* in_ = nullptr;
  jack_port_t* out_ = nullptr;
  const std::vector<std::uint8_t>* span_ = nullptr;
  std::atomic<bool> ready_{false};
  std::atomic<bool> gone_{false};
  std::atomic<bool> echo_{false};
  std::atomic<long> last_{0};  // call, in ms
  std::atomic<long> gap_{0};
  std::vector<std::string> cut_;
};

class AlsaWire final : public Wire {
 public:
  AlsaWire(const char* name, Counter& counter) : counter_(counter) {
    if (snd_seq_open(&in_, "default", SND_SEQ_OPEN_DUPLEX, 0) < 0) throw std::string("no ALSA sequencer");
    snd_seq_set_client_name(in_, name);
    snd_seq_set_client_pool_input(in_, 2000);
    snd_seq_set_input_buffer_size(in_, 1 << 20);
    port_ = snd_seq_create_simple_port(
        in_, "port",
        SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE | SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ,
        SND_SEQ_PORT_TYPE_MIDI_GENERIC);
    reader_ = std::thread([this] { Read(); });
    reader_.detach();
  }
  bool Send(const std::vector<std::uint8_t>& span) override {
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    snd_seq_ev_set_source(&event, static_cast<unsigned char>(port_));
    snd_seq_ev_set_subs(&event);
    snd_seq_ev_set_direct(&event);
    std::vector<std::uint8_t> copy = span;
    snd_seq_ev_set_sysex(&event, static_cast<unsigned int>(copy.size()), copy.data());
    // A reader that falls behind would lose what waits for it: at most a span a millisecond.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return snd_seq_event_output_direct(in_, &event) >= 0;
  }
  void Unplug() override { snd_seq_delete_simple_port(in_, port_); }

 private:
  void Read() {
    while (true) {
      snd_seq_event_t* event = nullptr;
      if (snd_seq_event_input(in_, &event) < 0 || !event) continue;
      if (event->type == SND_SEQ_EVENT_SYSEX) {
        counter_.Take(static_cast<const std::uint8_t*>(event->data.ext.ptr), event->data.ext.len);
      } else if (event->type == SND_SEQ_EVENT_CLOCK) {
        const std::uint8_t clock = 0xF8;
        counter_.Take(&clock, 1);
      }
    }
  }

  Counter& counter_;
  snd_seq_t* in_ = nullptr;
  int port_ = -1;
  std::thread reader_;
};

bool SendPattern(Wire& wire, std::size_t size, unsigned seed, std::size_t span, std::size_t clock) {
  const auto message = peer::Pattern(size, seed);
  std::size_t untilClock = clock;
  for (std::size_t at = 0; at < message.size();) {
    std::size_t length = std::min(span, message.size() - at);
    if (clock) length = std::min(length, untilClock);
    if (!wire.Send({message.begin() + static_cast<std::ptrdiff_t>(at),
                    message.begin() + static_cast<std::ptrdiff_t>(at + length)}))
      return false;
    at += length;
    if (!clock) continue;
    untilClock -= length;
    if (untilClock == 0 && at < message.size()) {
      if (!wire.Send({0xF8})) return false;
      untilClock = clock;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  Counter counter;
  std::unique_ptr<Wire> wire;
  try {
    if (std::string(argv[1]) == "jack") {
      wire = std::make_unique<JackWire>(argv[2], counter);
    } else {
      wire = std::make_unique<AlsaWire>(argv[2], counter);
    }
  } catch (const std::string& reason) {
    std::printf("error %s\n", reason.c_str());
    return 1;
  }
  std::printf("ready\n");
  std::fflush(stdout);
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "reset") {
      std::lock_guard guard(counter.mutex);
      counter.bytes = counter.realtime = 0;
      counter.crc = 0;
      std::printf("ok\n");
    } else if (command == "count") {
      std::lock_guard guard(counter.mutex);
      std::printf("bytes %llu realtime %llu crc %08X\n", static_cast<unsigned long long>(counter.bytes),
                  static_cast<unsigned long long>(counter.realtime), counter.crc);
    } else if (command == "send") {
      std::size_t size = 0, span = 0, clock = 0;
      unsigned seed = 0;
      words >> size >> seed >> span >> clock;
      std::printf("%s\n", SendPattern(*wire, size, seed, span, clock) ? "sent" : "failed");
    } else if (command == "replug") {
      wire->Replug();
      std::printf("ok\n");
    } else if (command == "disconnect") {
      wire->Disconnect();
      std::printf("ok\n");
    } else if (command == "connect") {
      wire->Connect();
      std::printf("ok\n");
    } else if (command == "echo") {
      wire->Echo();
      std::printf("ok\n");
    } else if (command == "gap") {
      std::printf("gap %ld\n", wire->LongestGapMs());
    } else if (command == "unplug") {
      wire->Unplug();
      std::printf("ok\n");
    }
    std::fflush(stdout);
  }
  return 0;
}
