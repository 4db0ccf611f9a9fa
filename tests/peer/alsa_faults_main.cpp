// The ALSA back end when things go wrong, on the kernel's sequencer, beside processes of their own (midi_peer) that
// count every byte.
//
//   midi_alsa_faults PATH-OF-MIDI_PEER [UNLOAD LOAD]
//
// UNLOAD and LOAD are commands that take the kernel's virtual ports away and bring them back.  Prints a line for each
// case; exit status 0 when all are right.

#include <dirent.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "midi/backends/alsa_backend.h"
#include "midi/port_system.h"
#include "tests/peer/pattern.h"
#include "tests/peer/peer_process.h"
#include "tests/peer/side.h"

namespace {

using namespace tonalith;
using peer::Check;
using peer::failures;
using peer::Pause;
using peer::Peer;

struct Side : peer::Side {
  Side() : peer::Side(MakeAlsaBackend(), ":port", ":port") {}
};

std::string Bytes(const peer::Counted& counted) {
  return std::to_string(counted.bytes) + " bytes arrived";
}

bool SendsWhole(Side& side, Peer& other, const std::string& name, unsigned seed) {
  const auto port = side.Find(name);
  other.Ask("reset");
  if (!port) return false;
  side.out().SENDDATAX(port->slot(), peer::Pattern(32768, seed));
  if (!port->WaitIdle(20'000, nullptr)) return false;
  return peer::AwaitCount(other, 32768, 0).crc == peer::Crc(peer::Pattern(32768, seed));
}

// Whoever else is connected to the port is named, as long as he is.
void OthersCase(Side& side, const std::string& name) {
  const auto port = side.Find(name);
  if (!port) return Check(false, "no port");
  const auto others = [&] { return port->device().backend->OtherWriters(port->device().info.id); };
  const auto before = others();
  std::vector<std::string> beside;
  {
    Side second;
    if (second.Find(name)) beside = others();
  }
  const auto after = others();
  Check(before.empty() && beside.size() == 1 && !beside[0].empty() && after.empty(),
        "another client on the line is named: " + (beside.empty() ? std::string("nobody") : beside[0]));
}

// Somebody else writes to the port in the middle of a dump: nothing of either is lost.
void BetweenCase(Side& side, Peer& other, const std::string& name) {
  Side second;
  const auto a = side.Find(name);
  const auto b = second.Find(name);
  if (!a || !b) return Check(false, "no port");
  other.Ask("reset");
  side.out().SENDDATAX(a->slot(), peer::Pattern(20'000, 4));
  for (int i = 0; i < 200; ++i) second.out().SENDDATAX(b->slot(), std::vector<std::uint8_t>{0xF0, 0x7D, 0xF7});
  const bool idle = a->WaitIdle(20'000, nullptr) && b->WaitIdle(20'000, nullptr);
  const auto counted = peer::AwaitCount(other, 20'600, 0);
  Check(idle && counted.bytes == 20'600 && a->failedMessages() + b->failedMessages() == 0,
        "another client writes in between: " + Bytes(counted));
}

// A reader that stands still: its pool runs full.  What could not be given to it is told, and nobody waits for ever.
void FullPoolCase(Side& side, Peer& other, const std::string& name) {
  const auto port = side.Find(name);
  if (!port) return Check(false, "no port");
  other.Ask("reset");
  port->SetSpeed(1'000'000);
  other.Signal(SIGSTOP);
  const std::int64_t begin = SystemClock().NowUs();
  side.out().SENDDATAX(port->slot(), peer::Pattern(1'000'000, 5));
  const bool idle = port->WaitIdle(40'000, nullptr);
  const auto ms = (SystemClock().NowUs() - begin) / 1000;
  other.Signal(SIGCONT);
  Pause(500);
  const auto counted = peer::AskCount(other);
  Check(idle && (port->failedMessages() > 0) == (counted.bytes < 1'000'000),
        std::string("a reader that stands still: ") + (idle ? "" : "still busy, ") + Bytes(counted) + ", " +
            std::to_string(port->failedMessages()) + " messages given up after " + std::to_string(ms) + " ms. " +
            port->lastFailure());
  Check(SendsWhole(side, other, name, 6), "and it gets the next dump whole when it goes on");
}

// Somebody on the program's own input thread stands still while data pours in: what was lost is told.
void FullInputCase(Side& side, Peer& other, const std::string& name) {
  const auto in = side.FindInput(name);
  if (!in) return Check(false, "no port");
  const std::uint64_t before = in->BytesReceived(), lost = in->LostEvents();
  std::atomic<bool> held{true};
  const int monitor = side.midi().in().AddMidiInMonitor([&](int, std::span<const std::uint8_t>) {
    for (int i = 0; held.load() && i < 1000; ++i) Pause(10);
  });
  other.Ask("send 10 1 256 0");
  std::thread release([&] {
    Pause(8000);
    held.store(false);
  });
  other.Ask("send 1500000 2 256 0");
  release.join();
  Pause(1000);
  side.midi().in().RemoveMidiInMonitor(monitor);
  const std::uint64_t came = in->BytesReceived() - before;
  Check((came < 1'500'010) == (in->LostEvents() > lost), "an input that stands still: " + std::to_string(came) +
                                                             " of 1500010 bytes came, losses told " +
                                                             std::to_string(in->LostEvents() - lost) + " times");
  const std::uint64_t then = in->BytesReceived(), lostThen = in->LostEvents();
  other.Ask("send 32768 3 256 0");
  Pause(1000);
  Check(in->BytesReceived() - then == 32768 && in->LostEvents() == lostThen, "and the next message comes whole");
}

// When events came to the kernel, not when the program got to them.
void ArrivalCase(Side& side, Peer& other, const std::string& name) {
  const auto in = side.FindInput(name);
  if (!in) return Check(false, "no port");
  std::vector<std::uint32_t> times;
  std::mutex mutex;
  MidiInReader reader;
  side.midi().in().MidiInStartRecord();
  side.midi().in().GetRingPositions(&reader);
  std::atomic<bool> slow{true};
  const int monitor = side.midi().in().AddMidiInMonitor([&](int, std::span<const std::uint8_t>) {
    if (slow.exchange(false)) Pause(500);
  });
  for (int i = 0; i < 3; ++i) {
    other.Ask("send 10 1 256 0");
    Pause(100);
  }
  Pause(1000);
  side.midi().in().RemoveMidiInMonitor(monitor);
  MidiInRecord record;
  while (side.midi().in().MidiInGetMsg(reader, record) != 0) times.push_back(record.time);
  const bool right = times.size() == 3 && times[1] - times[0] >= 80 && times[1] - times[0] <= 300 &&
                     times[2] - times[1] >= 80 && times[2] - times[1] <= 300;
  std::string text;
  for (const std::uint32_t time : times) text += " " + std::to_string(time - times.front());
  Check(right, "messages 100 ms apart, read late, have the times" + text);
}

// The kernel's own virtual ports go and come.
void ModuleCase(Side& side, const char* unload, const char* load) {
  const auto ports = [&] {
    int count = 0;
    for (const std::string& name : side.midi().DeviceNames(MidiDirection::Output))
      count += name.find("Virtual Raw MIDI") != std::string::npos || name.find("VirMIDI") != std::string::npos;
    return count;
  };
  const int before = ports();
  const bool out = std::system(unload) == 0 && side.Await([&] { return ports() == 0; }, 5000);
  const bool back = std::system(load) == 0 && side.Await([&] { return ports() > 0; }, 10'000);
  bool open = false;
  if (back)
    open = side.Await(
        [&] {
          for (int slot = 0; slot < side.out().MaxOutPorts(); ++slot)
            if (side.out().OUTGETPORTNAME(slot).find("irtual") != std::string::npos ||
                side.out().OUTGETPORTNAME(slot).find("VirMIDI") != std::string::npos)
              return true;
          return false;
        },
        5000);
  Check(before > 0 && out && back && open,
        "the kernel's ports go and come: " + std::to_string(before) + " before, " + std::to_string(ports()) + " after");
}

// The sequencer device of this process dies: everything is gone, and comes back by itself.
void DeathCase(Side& side, Peer& other, const std::string& name) {
  const auto port = side.Find(name);
  if (!port) return Check(false, "no port");
  side.out().SENDDATAX(port->slot(), peer::Pattern(200'000, 7));
  Pause(300);
  int ends[2];
  if (pipe(ends) != 0) return;
  close(ends[1]);
  int replaced = 0;
  if (DIR* folder = opendir("/proc/self/fd")) {
    while (const dirent* entry = readdir(folder)) {
      char target[64] = {};
      const std::string link = std::string("/proc/self/fd/") + entry->d_name;
      if (readlink(link.c_str(), target, sizeof target - 1) > 0 && std::string(target) == "/dev/snd/seq")
        replaced += dup2(ends[0], std::atoi(entry->d_name)) >= 0;
    }
    closedir(folder);
  }
  close(ends[0]);
  const bool noticed = side.Await([&] { return !port->Alive() && port->failedMessages() > 0; }, 5000);
  Check(replaced > 0 && noticed, "a sequencer that dies in a dump: " + port->lastFailure());
  Check(side.AwaitPorts(name, 15'000), "its ports come back by themselves");
  Check(SendsWhole(side, other, name, 8), "and carry what is sent");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  signal(SIGPIPE, SIG_IGN);  // of the peer
  const std::string name = "peer" + std::to_string(getpid());
  Peer other(argv[1], "alsa", name);
  if (const auto ready = other.Line(); ready != "ready") {
    std::printf("the peer says: %s\n", ready.c_str());
    return 1;
  }
  Side side;
  Check(side.AwaitPorts(name), "the peer's ports are found and open");
  OthersCase(side, name);
  BetweenCase(side, other, name);
  FullPoolCase(side, other, name);
  FullInputCase(side, other, name);
  ArrivalCase(side, other, name);
  if (argc > 3) ModuleCase(side, argv[2], argv[3]);
  DeathCase(side, other, name);
  std::printf("%d failed\n", failures);
  return failures ? 1 : 0;
}
