// How long transfers take beside what the pacing rules say: `rule_s` and the deviation in per cent.  The time shown is
// the time of the clock the transfer ran on; in virtual time hours of sending take a moment, the cases on the system
// clock take as long as they say.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "data/container.h"
#include "data/data_records.h"
#include "midi/backends/virtual_backend.h"
#include "midi/port_system.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_services.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct SendCase {
  const char* name;
  std::size_t messages;
  std::size_t length;  // of each
  std::int16_t space;  // MidiX Space: bytes of a piece, 0: whole messages
  std::int16_t slow;   // MidiX Slow: milliseconds behind each piece
  std::int16_t delay;  // MidiX Delay: milliseconds behind each message
  std::uint32_t gap;   // milliseconds between the messages of a buffer
};

const SendCase kSends[] = {
    {"OneBank", 1, 4104, 0, 0, 0, 0},         {"ShortMessages", 32, 7, 0, 0, 0, 20},
    {"D50Bulk", 136, 266, 0, 0, 0, 20},       {"Pieces", 1, 32768, 256, 20, 0, 0},
    {"DelayBehind", 10, 1000, 0, 0, 50, 200}, {"TwoMegabytes", 1, 2 << 20, 0, 0, 0, 0},
};

// What a message of `length` bytes takes: the wire, from 100 ms on in whole steps of 100 ms.
std::int64_t WireMs(std::size_t length) {
  const std::int64_t wire = static_cast<std::int64_t>(length) * 1000 / kMidiWireRate + 1;
  return wire < 100 ? wire : (wire + 99) / 100 * 100;
}

std::int64_t RuleMs(const SendCase& c) {
  std::int64_t message = 0;
  const std::size_t piece = c.space > 0 ? static_cast<std::size_t>(c.space) : c.length;
  for (std::size_t at = 0; at < c.length; at += piece) message += WireMs(std::min(piece, c.length - at)) + c.slow;
  const auto n = static_cast<std::int64_t>(c.messages);
  return n * (message + c.delay) + (n - 1) * std::int64_t{c.gap};
}

Bytes Message(std::size_t length) {
  Bytes bytes(length, 0x15);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

// The program's ports on one virtual cable.
struct Line {
  explicit Line(Clock& clock) : here(clock), backend(std::make_shared<VirtualBackend>(clock)), ports(clock) {
    VirtualCableOptions options;
    options.bytesPerSecond = kMidiWireRate;
    end = backend->CreateEndpoint("Instrument", options);
    ports.AddBackend(backend);
    ports.Start();
    ports.MidiPortInOpenPorts();
    ports.MidiPortOutOpenPorts();
  }
  ~Line() {
    end->SetReceiver(nullptr);
    ports.Stop();
  }
  ClockThread here;
  std::shared_ptr<VirtualBackend> backend;
  MidiPortSystem ports;
  std::shared_ptr<VirtualEndpoint> end;
};

void Report(benchmark::State& state, std::int64_t tookUs, double ruleMs) {
  state.SetIterationTime(static_cast<double>(tookUs) / 1e6);
  state.counters["rule_s"] = ruleMs / 1000;
  state.counters["deviation_%"] = (static_cast<double>(tookUs) / 1000 - ruleMs) * 100 / ruleMs;
}

void Send(benchmark::State& state, const SendCase& c, bool virtualTime) {
  VirtualClock virtualClock;
  Clock& clock = virtualTime ? static_cast<Clock&>(virtualClock) : SystemClock();
  Line line(clock);
  const int port = line.ports.out().FindPort("Instrument");
  const std::int16_t settings[5] = {c.delay, c.space, c.slow, 1, static_cast<std::int16_t>(kMidiWireRate)};
  line.ports.out().OtAMidiSetPreferencesParms(settings);
  const Bytes one = Message(c.length);
  Bytes all;
  for (std::size_t i = 0; i < c.messages; ++i) all.insert(all.end(), one.begin(), one.end());
  SendOptions options;
  options.delayBetweenMs = c.gap;
  for (auto _ : state) {
    const std::uint64_t before = line.end->Carried(CableDirection::ToPeer);
    const std::int64_t start = clock.NowUs();
    const std::int64_t sent = line.ports.out().SendDataPort(all, port, options);
    const bool idle = line.ports.out().MidiOutWaitIdle(port);
    const std::int64_t took = clock.NowUs() - start;
    clock.SleepMs(200);  // the cable itself is done a moment later
    if (sent < 0 || !idle || line.end->Carried(CableDirection::ToPeer) - before != all.size())
      state.SkipWithError("bytes are missing");
    Report(state, took, static_cast<double>(RuleMs(c)));
  }
}

// A bank from an instrument that answers at once: the bytes of the request and of the answer on the wire.
void Receive(benchmark::State& state, std::size_t length, bool virtualTime) {
  VirtualClock virtualClock;
  Clock& clock = virtualTime ? static_cast<Clock&>(virtualClock) : SystemClock();
  Line line(clock);
  const Bytes request = {0xF0, 0x3E, 0x20, 0x09, 0xF7};
  const Bytes dump = Message(length);
  std::size_t heard = 0;
  line.end->SetReceiver([&](std::span<const std::uint8_t> bytes, std::int64_t) {
    heard += bytes.size();
    if (heard >= request.size()) line.end->Send(dump);
  });
  ScriptedPrompts prompts{{}};
  MidiScriptServices services(line.ports.out(), line.ports.in());
  TransferEngine engine(services, prompts, &line.ports.out());
  services.SetTransferEngine(&engine);
  DataFilePtr data(AllocDataFile());
  AllocChunk(&data->synth, &data->synthSize, kSynthSize);
  Synth& s = *data->synth;
  s.fileSize = static_cast<std::uint32_t>(length);
  s.numVoices = 1;
  s.voiceSize = s.voiceBytes = s.fileSize;
  s.manufacturerId = 0x15;
  s.optionBits = 3;
  s.dumpRequestSize = static_cast<std::uint8_t>(request.size());
  std::copy(request.begin(), request.end(), s.dumpRequest);
  s.midiInPort = static_cast<std::uint8_t>(line.ports.in().FindPort("Instrument"));
  s.midiOutPort = static_cast<std::uint8_t>(line.ports.out().FindPort("Instrument"));
  AllocChunk(&data->body, &data->bodySize, s.fileSize);
  AddDataFileComponents(data.get(), 1);
  for (auto _ : state) {
    heard = 0;
    TransferRequest transferRequest;
    transferRequest.dataFile = data.get();
    transferRequest.observer = std::make_shared<TransferObserver>();
    transferRequest.background = true;
    const std::int64_t start = clock.NowUs();
    std::shared_ptr<Transfer> transfer;
    if (engine.MidiIODataFile(transferRequest, &transfer) != 1 || !transfer->Wait(3'600'000) || !transfer->Result().ok)
      state.SkipWithError("the transfer failed");
    const double bytes = static_cast<double>(request.size() + length);
    Report(state, clock.NowUs() - start, bytes * 1000 / kMidiWireRate);
  }
}

void Add(const std::string& name, int iterations, std::function<void(benchmark::State&)> run) {
  benchmark::RegisterBenchmark(name.c_str(), std::move(run))
      ->UseManualTime()
      ->Iterations(iterations)
      ->Unit(benchmark::kSecond);
}

}  // namespace
}  // namespace tonalith

int main(int argc, char** argv) {
  using namespace tonalith;
  benchmark::Initialize(&argc, argv);
  for (const SendCase& c : kSends)
    Add(std::string("VirtualTime/Send/") + c.name, 1, [&c](benchmark::State& state) { Send(state, c, true); });
  for (const std::size_t length : {4104u, 34688u, 524288u})
    Add("VirtualTime/Receive/" + std::to_string(length), 1,
        [length](benchmark::State& state) { Receive(state, length, true); });
  for (const std::size_t i : {0u, 1u, 4u})
    Add(std::string("SystemClock/Send/") + kSends[i].name, 3,
        [c = kSends[i]](benchmark::State& state) { Send(state, c, false); });
  Add("SystemClock/Receive/4104", 3, [](benchmark::State& state) { Receive(state, 4104, false); });
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
