// Long SysEx through a real MIDI system, to and from a process of its own (midi_peer), every byte counted at both ends.
//
//   midi_matrix jack|alsa PATH-OF-MIDI_PEER [PID]
//
// With PID (the JACK server), the last step ends that process in the middle of a receive.  Prints a line for each case;
// exit status 0 when all are right.

#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "midi/backends/alsa_backend.h"
#include "midi/backends/jack_backend.h"
#include "midi/port_system.h"
#include "tests/peer/pattern.h"
#include "tests/peer/peer_process.h"

namespace {

using namespace tonalith;
using peer::AwaitCount;
using peer::Check;
using peer::Counted;
using peer::failures;
using peer::Peer;

void SendCase(MidiPortSystem& midi, int port, Peer& peer, std::size_t size, std::uint32_t chunk, bool clocks) {
  peer.Ask("reset");
  const auto message = peer::Pattern(size, static_cast<unsigned>(size + chunk));
  // Clocks stand inside the message, as a merging cable puts them there.
  std::vector<std::uint8_t> stream;
  std::size_t ticks = 0;
  for (std::size_t i = 0; i < message.size(); ++i) {
    stream.push_back(message[i]);
    if (!clocks || (i + 1) % (message.size() / 5 + 1) != 0 || i + 1 == message.size()) continue;
    stream.push_back(0xF8);
    ++ticks;
  }
  const bool taken = midi.out().SENDDATAX(port, stream, chunk) == 0;
  const bool idle = midi.out().MidiOutWaitIdle(port, 120000);
  const Counted counted = AwaitCount(peer, size, ticks);
  const bool right =
      taken && idle && counted.bytes == size && counted.crc == peer::Crc(message) && counted.realtime == ticks;
  Check(right, "out " + std::to_string(size) + " bytes, spans of " + std::to_string(chunk) +
                   (clocks ? ", clocks between" : "") + ": " + std::to_string(counted.bytes) + " bytes and " +
                   std::to_string(counted.realtime) + " clocks arrived");
}

void ReceiveCase(MidiPortSystem& midi, int port, Peer& peer, std::size_t size, std::size_t span, std::size_t clock) {
  std::vector<std::uint8_t> buffer(size + 64);
  std::atomic<std::int64_t> seen{0};
  const int monitor = midi.in().AddMidiInMonitor([&](int, std::span<const std::uint8_t> message) {
    for (const auto byte : message) seen += byte < 0xF8 ? 1 : 0;
  });
  ReceiveOptions options;
  options.timeoutMs = 60000;
  std::thread sender([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    peer.Tell("send " + std::to_string(size) + " " + std::to_string(size) + " " + std::to_string(span) + " " +
              std::to_string(clock));
  });
  const auto got = midi.in().GetDataVector(buffer, port, options);
  sender.join();
  const bool sent = peer.Line() == "sent";
  const auto expected = peer::Pattern(size, static_cast<unsigned>(size));
  const bool same =
      got == static_cast<std::int64_t>(size) && std::equal(expected.begin(), expected.end(), buffer.begin());
  for (int waited = 0; waited < 50 && seen.load() < static_cast<std::int64_t>(size); ++waited)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  midi.in().RemoveMidiInMonitor(monitor);
  Check(sent && same && seen.load() == static_cast<std::int64_t>(size),
        "in  " + std::to_string(size) + " bytes, spans of " + std::to_string(span) + (clock ? ", clocks between" : "") +
            ": " + std::to_string(got) + " received, " + std::to_string(seen.load()) + " seen by the monitor");
}

void LookAtPorts(MidiPortSystem& midi, int times) {
  for (int i = 0; i < times; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    midi.MidiInPortsChanged();
    midi.MidiOutPortsChanged();
  }
}

int FindPort(MidiPortSystem& midi, MidiDirection direction, const std::string& part) {
  int count = 0;
  if (direction == MidiDirection::Output) {
    midi.out().OUTNUMPORTS(&count);
  } else {
    midi.in().INNUMPORTS(&count);
  }
  for (int i = 0; i < count; ++i) {
    const auto name = direction == MidiDirection::Output ? midi.out().OUTGETPORTNAME(i) : midi.in().INGETPORTNAME(i);
    if (name.find(part) != std::string::npos) return i;
  }
  return -1;
}

// The peer's ports, and the cases over them.
struct Ends {
  Ends(MidiPortSystem& system, const std::string& client) : midi(system), name(client) {}
  bool Find() {
    out = FindPort(midi, MidiDirection::Output, name);
    in = FindPort(midi, MidiDirection::Input, name);
    if (Found()) midi.out().MidiOutSetUSBPortSpeed(out, 1'000'000);
    return Found();
  }
  bool Found() const { return out >= 0 && in >= 0; }
  // Once more when the machine held the server up.
  void Run(Peer& peer, const std::function<void()>& body) {
    for (int attempt = 1;; ++attempt) {
      peer::GapMs(peer);
      const auto lines = peer::HoldBack(body);
      if (peer::PrintUnlessHeldUp(lines, peer::GapMs(peer), attempt)) return;
      LookAtPorts(midi, 50);
      Find();
    }
  }

  MidiPortSystem& midi;
  std::string name;
  int out = -1;
  int in = -1;
};

// The cable is pulled in the middle of a receive: a quick end, no hang.  server: process to end instead of the cable,
// or null.
void UnplugCase(MidiPortSystem& midi, int in, Peer& peer, const char* server) {
  const auto begin = std::chrono::steady_clock::now();
  std::vector<std::uint8_t> buffer(4096);
  midi.AddPortChangeListener([] {});
  midi.CreatePortMonitorThread();
  std::thread puller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    if (server) {
      kill(static_cast<pid_t>(std::atoi(server)), SIGKILL);
    } else {
      peer.Ask("unplug");
    }
  });
  std::atomic<bool> done{false};
  std::thread owner([&] {
    while (!done.load()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      midi.MidiInPortsChanged();
      midi.MidiOutPortsChanged();
    }
  });
  ReceiveOptions options;
  options.timeoutMs = 20000;
  const auto got = midi.in().GetDataVector(buffer, in, options);
  puller.join();
  done.store(true);
  owner.join();
  const auto took =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin).count();
  Check(got < 0 && took < 15000,
        "the port went away in a receive: result " + std::to_string(got) + " after " + std::to_string(took) + " ms");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const std::string kind = argv[1];
  const std::string name = "peer" + std::to_string(getpid());
  Peer peer(argv[2], kind, name);
  if (const auto ready = peer.Line(); ready != "ready") {
    std::printf("the peer says: %s\n", ready.c_str());
    return 1;
  }
  MidiPortSystem midi(SystemClock());
  midi.AddBackend(kind == "jack" ? std::shared_ptr<MidiBackend>(MakeJackBackend())
                                 : std::shared_ptr<MidiBackend>(MakeAlsaBackend()));
  midi.Start();
  for (const auto& [backend, state] : midi.BackendStates()) {
    if (!state.ok()) {
      std::printf("%s: %s\n", backend.c_str(), state.text.c_str());
      return 1;
    }
  }
  midi.MidiPortInOpenPorts();
  midi.MidiPortOutOpenPorts();
  Ends ends(midi, name);
  Check(ends.Find(), "the peer's ports are found and open");
  if (!ends.Found()) return 1;

  const bool jack = kind == "jack";
  for (const std::size_t size :
       {std::size_t{10}, std::size_t{4104}, std::size_t{32768}, std::size_t{524288}, std::size_t{2097152}}) {
    ends.Run(peer, [&] { SendCase(midi, ends.out, peer, size, 0, true); });
    if (size <= 32768) ends.Run(peer, [&] { SendCase(midi, ends.out, peer, size, 1000, true); });
    const std::size_t span = jack ? (size > 100000 ? 16384 : 1000) : 256;
    ends.Run(peer, [&] { ReceiveCase(midi, ends.in, peer, size, span, size > 100000 ? 65536 : 1000); });
  }
  ends.Run(peer, [&] { SendCase(midi, ends.out, peer, 65536, 4096, true); });

  // Other ports stand under the names of the former ones before anybody looked.
  if (jack) {
    peer.Ask("replug");
    LookAtPorts(midi, 20);
    Check(ends.Find(), "ports that came back are open");
    if (!ends.Found()) return 1;
    ends.Run(peer, [&] { SendCase(midi, ends.out, peer, 4104, 0, false); });
    ends.Run(peer, [&] { ReceiveCase(midi, ends.in, peer, 4104, 1000, 0); });
  }

  UnplugCase(midi, ends.in, peer, argc > 3 ? argv[3] : nullptr);
  midi.Stop();
  std::printf("%d failed\n", failures);
  return failures ? 1 : 0;
}
