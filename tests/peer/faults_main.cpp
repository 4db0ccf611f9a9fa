// The JACK back end when things go wrong, against a jackd that this program starts, freezes and kills, and a process of
// its own (midi_peer) that counts every byte.
//
//   midi_faults PATH-OF-MIDI_PEER SERVER-NAME PERIOD
//
// Prints a line for each case; exit status 0 when all are right.

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

#include "midi/backends/jack_backend.h"
#include "midi/port_system.h"
#include "tests/peer/pattern.h"
#include "tests/peer/peer_process.h"
#include "tests/peer/side.h"

namespace {

using namespace tonalith;
using peer::Check;
using peer::failures;
using peer::GapMs;
using peer::Pause;
using peer::Peer;

class Server {
 public:
  Server(std::string name, std::string period) : name_(std::move(name)), period_(std::move(period)) { Begin(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() { End(SIGTERM); }
  void Begin() {
    pid_ = fork();
    if (pid_ != 0) return;
    if (!std::freopen("/dev/null", "w", stdout) || !std::freopen("/dev/null", "w", stderr)) _exit(126);
    // Only the second jackd has a synchronous mode, and needs it here.
    std::vector<const char*> words{"jackd", "-r", "-S",    "-n", name_.c_str(),   "-d",
                                   "dummy", "-r", "48000", "-p", period_.c_str(), nullptr};
    if (std::getenv("FIRST_JACKD")) words.erase(words.begin() + 2);
    execvp(words[0], const_cast<char* const*>(words.data()));
    _exit(127);
  }
  void Signal(int number) const { kill(pid_, number); }
  void End(int number) {
    if (pid_ <= 0) return;
    kill(pid_, number);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  std::string name_;
  std::string period_;
  pid_t pid_ = -1;
};

// The program's side of JACK.
struct Side : peer::Side {
  Side() : peer::Side(MakeJackBackend(), ":in", ":out") {}
};

std::unique_ptr<Peer> StartPeer(const char* program, const std::string& name) {
  for (int attempt = 0; attempt < 50; ++attempt) {
    auto other = std::make_unique<Peer>(program, "jack", name);
    if (other->Line() == "ready") return other;
    Pause(100);
  }
  return nullptr;
}

// The longest time the server stood still by itself in a case that also makes it stand still.
long gapsByItselfMs = 0;

// How long this process was kept from going on.
class Standstill {
 public:
  Standstill() : watch_([this] { Watch(); }) {}
  Standstill(const Standstill&) = delete;
  Standstill& operator=(const Standstill&) = delete;
  ~Standstill() {
    over_.store(true);
    watch_.join();
  }
  // The longest since this was asked.
  long LongestMs() { return longest_.exchange(0); }

 private:
  void Watch() {
    while (!over_.load()) {
      const std::int64_t before = SystemClock().NowUs();
      Pause(5);
      const long ms = static_cast<long>((SystemClock().NowUs() - before) / 1000);
      if (ms > longest_.load()) longest_.store(ms);
    }
  }
  std::atomic<bool> over_{false};
  std::atomic<long> longest_{0};
  std::thread watch_;
};

std::string Bytes(const peer::Counted& counted) {
  return std::to_string(counted.bytes) + " bytes arrived";
}

struct CloseCase {
  const char* what;
  int notes;
  std::size_t dump;
};

constexpr CloseCase kCloseCases[] = {{"64 notes, then close", 64, 0},
                                     {"2 bytes, then close", 0, 2},
                                     {"32768 bytes, then close", 0, 32768},
                                     {"3 notes and 4104 bytes, then close", 3, 4104}};

void TryClose(Side& side, Peer& other, const std::string& name, const CloseCase& c) {
  other.Ask("reset");
  const auto port = side.Find(name);
  if (!port) return Check(false, "no port");
  const std::vector<std::uint8_t> note{0x90, 60, 64};
  for (int i = 0; i < c.notes; ++i) side.out().SENDDATAX(port->slot(), note);
  if (c.dump == 2) side.out().SENDDATAX(port->slot(), std::vector<std::uint8_t>{0xC0, 5});
  if (c.dump > 2) side.out().SENDDATAX(port->slot(), peer::Pattern(c.dump, 1));
  const auto all = static_cast<unsigned long long>(c.notes * 3) + c.dump;
  side.midi().MidiPortOutClosePorts();
  Pause(200);
  const auto counted = peer::AskCount(other);
  PortMap map;
  map.SetOpenAll(true);
  side.midi().SetMidiOutPortMap(map);
  side.midi().MidiPortOutOpenPortsFromMap();
  Check(counted.bytes == all, std::string(c.what) + ": " + Bytes(counted));
}

// A cable that somebody pulls in the patch bay: what is under way has failed, what follows too, until it is back.
void DisconnectCase(Side& side, Peer& other, const std::string& name) {
  const auto port = side.Find(name);
  if (!port) return Check(false, "no port");
  side.out().SENDDATAX(port->slot(), peer::Pattern(100'000, 2));
  Pause(200);
  other.Ask("disconnect");
  const bool idle = port->WaitIdle(5000, nullptr);
  Check(idle && port->failedMessages() == 1 && port->Alive(),
        "the cable is pulled in a dump: " + std::to_string(port->failedMessages()) + " failed. " + port->lastFailure());
  side.out().SENDDATAX(port->slot(), std::vector<std::uint8_t>{0xC0, 5});
  port->WaitIdle(5000, nullptr);
  Check(port->failedMessages() == 2, "2 bytes to a port nobody is connected to: " + port->lastFailure());
  other.Ask("connect");
  const bool counted = side.Await([&] { return port->Reconnects() == 1; }, 3000);
  other.Ask("reset");
  side.out().SENDDATAX(port->slot(), peer::Pattern(4104, 10));
  port->WaitIdle(5000, nullptr);
  const auto arrived = peer::AwaitCount(other, 4104, 0);
  Check(counted && arrived.bytes == 4104 && arrived.crc == peer::Crc(peer::Pattern(4104, 10)),
        "the cable is put back: " + Bytes(arrived) + ", reconnected " + std::to_string(port->Reconnects()) + " time");
}

// Another client of the same name has ports of its own; what is sent to one does not reach the other.
void SameNameCase(Side& side, Peer& other, const char* program, const std::string& name) {
  const auto twin = StartPeer(program, name);
  if (!twin) return Check(false, "the second peer did not start");
  const std::string second = name + "-01";
  if (!side.AwaitPorts(second)) return Check(false, "the ports of a second client of that name are not found");
  other.Ask("reset");
  twin->Ask("reset");
  const auto a = side.Find(name);
  const auto b = side.Find(second);
  if (!a || !b) return Check(false, "no port");
  side.out().SENDDATAX(a->slot(), peer::Pattern(4104, 11));
  side.out().SENDDATAX(b->slot(), peer::Pattern(32768, 12));
  a->WaitIdle(5000, nullptr);
  b->WaitIdle(5000, nullptr);
  const auto first = peer::AwaitCount(other, 4104, 0);
  const auto last = peer::AwaitCount(*twin, 32768, 0);
  Check(first.bytes == 4104 && first.crc == peer::Crc(peer::Pattern(4104, 11)) && last.bytes == 32768 &&
            last.crc == peer::Crc(peer::Pattern(32768, 12)),
        "two clients of one name: " + Bytes(first) + " at the first, " + Bytes(last) + " at the second");
  twin->End();
  Check(side.Await([&] { return !b->Alive(); }, 3000), "and the second goes");
}

// A client that is killed in the middle of a dump.  A synchronous server may wait for it for good: then the program
// says that it stands still, and has no ports.
void KilledClientCase(Side& side, Peer& other, const char* program, const std::string& name) {
  const std::string second = name + "-01";
  const auto twin = StartPeer(program, name);
  if (!twin || !side.AwaitPorts(second)) return Check(false, "the second peer did not start");
  const auto port = side.Find(second);
  side.out().SENDDATAX(port->slot(), peer::Pattern(200'000, 13));
  Pause(300);
  gapsByItselfMs = GapMs(other);
  twin->Signal(SIGKILL);
  const bool noticed = side.Await([&] { return !port->Alive() && port->failedMessages() > 0; }, 5000);
  Check(noticed, "a client that is killed in a dump: " + port->lastFailure());
  if (!side.AwaitPorts(name, 10'000)) return Check(!side.Find(name), "the server has no ports any more");
  other.Ask("reset");
  const auto left = side.Find(name);
  side.out().SENDDATAX(left->slot(), peer::Pattern(4104, 14));
  const bool over = side.Await([&] { return left->failedMessages() > 0 || !left->isBusy(); }, 5000);
  const auto counted = peer::AwaitCount(other, 4104, 0);
  Check(over && (counted.bytes == 4104) != (left->failedMessages() > 0),
        "the other one: " + Bytes(counted) + ". " + left->lastFailure());
}

void ReplugCase(Side& side, Peer& other, const std::string& name) {
  const auto before = side.Find(name);
  other.Ask("replug");
  const bool back = side.Await([&] { return side.Find(name) != before; }, 5000) && side.AwaitPorts(name);
  const auto port = side.Find(name);
  other.Ask("reset");
  if (port) side.out().SENDDATAX(port->slot(), peer::Pattern(4104, 3));
  if (port) port->WaitIdle(5000, nullptr);
  const auto counted = peer::AwaitCount(other, 4104, 0);
  Check(back && counted.bytes == 4104, "ports that went and came back: " + Bytes(counted));
}

// Two programs send to one port at the same time: nothing of either is lost.
void TwoProgramsCase(Side& side, Peer& other, const std::string& name) {
  Side second;
  const auto a = side.Find(name);
  const auto b = second.Find(name);
  if (!a || !b) return Check(false, "no port");
  // The first jackd loses what comes much faster than over a cable, and tells only the receiver.
  for (const auto& port : {a, b})
    if (std::getenv("FIRST_JACKD")) port->SetSpeed(kMidiWireRate);
  other.Ask("reset");
  side.out().SENDDATAX(a->slot(), peer::Pattern(10'000, 4));
  second.out().SENDDATAX(b->slot(), peer::Pattern(10'000, 5));
  const bool idle = a->WaitIdle(10'000, nullptr) && b->WaitIdle(10'000, nullptr);
  const auto counted = peer::AwaitCount(other, 20'000, 0);
  Check(idle && counted.bytes == 20'000, "two programs on one port: " + Bytes(counted));
  Check(second.out().FindPort("Tonalith:in 1") < 0, "another copy's ports are not opened");
}

void FreezeCase(Side& side, Server& server, Peer& other, const std::string& name) {
  const auto port = side.Find(name);
  const int in = side.midi().in().FindPort(name + ":out");
  if (!port || in < 0) return Check(false, "no port");
  std::atomic<std::int64_t> received{1};
  std::atomic<std::int64_t> receiveUs{0};
  const std::int64_t begin = SystemClock().NowUs();
  std::thread receiver([&] {
    std::vector<std::uint8_t> buffer(4096);
    ReceiveOptions options;
    options.timeoutMs = 20'000;
    received = side.midi().in().GetDataVector(buffer, in, options);
    receiveUs = SystemClock().NowUs() - begin;
  });
  side.out().SENDDATAX(port->slot(), peer::Pattern(200'000, 6));
  Pause(300);
  gapsByItselfMs = GapMs(other);
  server.Signal(SIGSTOP);
  const std::int64_t frozen = SystemClock().NowUs();
  const bool noticed = side.Await([&] { return !port->Alive(); }, 3000);
  const auto ms = (SystemClock().NowUs() - frozen) / 1000;
  receiver.join();
  side.Await([&] { return port->failedMessages() > 0; }, 100);
  Check(noticed && ms <= 600 && port->failedMessages() > 0,
        "a server that stands still is noticed after " + std::to_string(ms) + " ms: " + port->lastFailure());
  Check(received < 0 && receiveUs / 1000 < 1300, "the receive ended after " + std::to_string(receiveUs / 1000) + " ms");
  std::int64_t longest = 0;
  for (int i = 0; i < 50; ++i) {
    const std::int64_t before = SystemClock().NowUs();
    side.Look();
    longest = std::max(longest, SystemClock().NowUs() - before);
    Pause(10);
  }
  Check(longest < 300'000, "nobody waits for it: " + std::to_string(longest / 1000) + " ms at most");
  server.Signal(SIGCONT);
  Check(side.AwaitPorts(name), "its ports are back when it goes on");
  other.Ask("reset");
  GapMs(other);
  const auto again = side.Find(name);
  if (again) side.out().SENDDATAX(again->slot(), peer::Pattern(4104, 7));
  if (again) again->WaitIdle(5000, nullptr);
  const auto counted = peer::AwaitCount(other, 4104, 0);
  gapsByItselfMs = std::max(gapsByItselfMs, GapMs(other));
  Check(counted.bytes == 4104, "and carry what is sent: " + Bytes(counted));
}

void RestartCase(Side& side, Server& server, std::unique_ptr<Peer>& other, const char* program,
                 const std::string& name) {
  const auto port = side.Find(name);
  if (!port) return Check(false, "no port");
  side.out().SENDDATAX(port->slot(), peer::Pattern(200'000, 8));
  Pause(300);
  gapsByItselfMs = GapMs(*other);
  const std::int64_t begin = SystemClock().NowUs();
  server.End(SIGKILL);
  const bool noticed = side.Await([&] { return !port->Alive(); }, 3000);
  const auto ms = (SystemClock().NowUs() - begin) / 1000;
  side.Await([&] { return port->failedMessages() > 0; }, 100);
  Check(noticed && ms <= 500 && port->failedMessages() > 0,
        "a server that dies is noticed after " + std::to_string(ms) + " ms: " + port->lastFailure());
  other.reset();
  server.Begin();
  other = StartPeer(program, name);
  if (!other) return Check(false, "the server does not come back");
  const bool back = side.AwaitPorts(name, 8000);
  const auto again = side.Find(name);
  if (again) side.out().SENDDATAX(again->slot(), peer::Pattern(4104, 9));
  if (again) again->WaitIdle(5000, nullptr);
  const auto counted = peer::AwaitCount(*other, 4104, 0);
  gapsByItselfMs = std::max(gapsByItselfMs, GapMs(*other));
  Check(back && counted.bytes == 4104, "a new server brings the ports back: " + Bytes(counted));
}

// Runs cases.  On a machine that gives neither the server nor this program its time a server looks as if it were
// frozen, and rightly: a case that fails while nobody but the machine held them up says nothing, and is tried again.
class Trial {
 public:
  Trial(Server& server, Side& side, std::unique_ptr<Peer>& peer, const char* program, const std::string& name)
      : server_(server), side_(side), peer_(peer), program_(program), name_(name) {}

  // `witness`: the case leaves the server alone, so that the peer sees when it stands still.
  void Run(bool witness, const std::function<void()>& body) {
    for (int attempt = 1;; ++attempt) {
      if (!Ready()) return Check(false, "the ports are not there before a case");
      standstill_.LongestMs();
      if (peer_) GapMs(*peer_);
      gapsByItselfMs = 0;
      const auto xrunsBefore = side_.Xruns();
      const auto lines = peer::HoldBack(body);
      const long ms = std::max({standstill_.LongestMs(), gapsByItselfMs, witness && peer_ ? GapMs(*peer_) : 0});
      const auto xruns = side_.Xruns();  // of a new session: from 0 on
      const auto fresh = xruns < xrunsBefore ? xruns : xruns - xrunsBefore;
      if (peer::PrintUnlessHeldUp(lines, ms, attempt, witness ? fresh : 0)) return;
      spoiled_ = true;
    }
  }

 private:
  // A case that was spoiled may have left anything behind: it gets a new server.
  bool Ready() {
    if (spoiled_) {
      peer_.reset();
      server_.End(SIGKILL);
      server_.Begin();
      peer_ = StartPeer(program_, name_);
      spoiled_ = false;
    }
    return peer_ && side_.AwaitPorts(name_, 15'000);
  }

  Server& server_;
  Side& side_;
  std::unique_ptr<Peer>& peer_;
  const char* program_;
  const std::string name_;
  Standstill standstill_;
  bool spoiled_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  signal(SIGPIPE, SIG_IGN);  // of the peer
  setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
  setenv("JACK_DEFAULT_SERVER", argv[2], 1);
  std::printf("period %s\n", argv[3]);
  std::fflush(stdout);
  Server server(argv[2], argv[3]);
  const std::string name = "peer" + std::to_string(getpid());
  auto other = StartPeer(argv[1], name);
  if (!other) {
    std::printf("jackd or the peer did not start\n");
    return 1;
  }
  Side side;
  Check(side.AwaitPorts(name), "the peer's ports are found and open");
  const char* program = argv[1];
  Trial trial(server, side, other, program, name);
  for (const CloseCase& one : kCloseCases) trial.Run(true, [&] { TryClose(side, *other, name, one); });
  trial.Run(true, [&] { DisconnectCase(side, *other, name); });
  trial.Run(true, [&] { ReplugCase(side, *other, name); });
  trial.Run(true, [&] { SameNameCase(side, *other, program, name); });
  trial.Run(true, [&] { TwoProgramsCase(side, *other, name); });
  trial.Run(false, [&] { FreezeCase(side, server, *other, name); });
  trial.Run(false, [&] { RestartCase(side, server, other, program, name); });
  trial.Run(false, [&] { KilledClientCase(side, *other, program, name); });
  std::printf("%d failed\n", failures);
  return failures ? 1 : 0;
}
