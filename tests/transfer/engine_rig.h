#pragma once

#include <map>
#include <mutex>

#include "simulator/virtual_studio.h"
#include "tests/transfer/transfer_test_tools.h"

namespace tonalith::transfer_test {

// What a window would be told.
class Diary final : public TransferObserver {
 public:
  void opened(const ReceiveWindowView& view, int) override { Note("opened " + view.receiving); }
  void progress(int done, int total) override {
    Note("progress " + std::to_string(done) + "/" + std::to_string(total));
    if (onProgress) onProgress(done);
  }
  void message(const std::string& text) override { Note("message " + text); }
  void closed(const TransferResult& result) override { Note("closed " + std::to_string(result.result)); }

  std::string Lines() const {
    std::lock_guard guard(mutex_);
    return lines_;
  }
  std::function<void(int done)> onProgress;

 private:
  void Note(const std::string& line) {
    std::lock_guard guard(mutex_);
    lines_ += line + "\n";
  }
  mutable std::mutex mutex_;
  std::string lines_;
};

// An instrument made of a function: gets whole messages (also without F7 after a pause is not needed here).
class Peer {
 public:
  using Answer = std::function<std::vector<Bytes>(const Bytes& message, int number)>;
  Peer(std::shared_ptr<VirtualEndpoint> end, Answer answer) : end_(std::move(end)), answer_(std::move(answer)) {
    end_->SetReceiver([this](std::span<const std::uint8_t> bytes, std::int64_t) { Take(bytes); });
  }
  ~Peer() { end_->SetReceiver(nullptr); }
  std::vector<Bytes> Heard() const {
    std::lock_guard guard(mutex_);
    return heard_;
  }
  std::string HeardText() const {
    std::string text;
    for (const Bytes& message : Heard()) text += Text(message) + "\n";
    return text;
  }

 private:
  void Take(std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) {
      if (byte == 0xF0) pending_.clear();  // the one before was cut
      pending_.push_back(byte);
      const bool shortEnd = pending_[0] >= 0xC0 && pending_[0] < 0xE0 && pending_.size() == 2;
      if (byte != 0xF7 && !shortEnd) continue;
      int number = 0;
      {
        std::lock_guard guard(mutex_);
        heard_.push_back(pending_);
        number = static_cast<int>(heard_.size());
      }
      for (const Bytes& reply : answer_(pending_, number)) end_->Send(reply, 5000);
      pending_.clear();
    }
  }
  std::shared_ptr<VirtualEndpoint> end_;
  Answer answer_;
  mutable std::mutex mutex_;
  std::vector<Bytes> heard_;
  Bytes pending_;
};

// The program's MIDI side and a transfer engine, in virtual time, on cables of MIDI speed.
struct EngineRig {
  EngineRig() : here(clock), backend(std::make_shared<VirtualBackend>(clock)), system(clock), prompts({"ok", "ok"}) {
    options.bytesPerSecond = 3125;
    mock = backend->CreateEndpoint("Mock", options);
    studio = std::make_unique<VirtualStudio>(*backend, VirtualStudio::Options{3125});
    system.AddBackend(backend);
  }
  ~EngineRig() {
    engine.reset();
    peer.reset();
    system.Stop();
    studio.reset();
  }
  void Start(TransferEngine::Poster poster = {}) {
    system.Start();
    system.MidiPortInOpenPorts();
    system.MidiPortOutOpenPorts();
    services = std::make_unique<MidiScriptServices>(system.out(), system.in());
    engine = std::make_unique<TransferEngine>(*services, prompts, &system.out(), &preferences, std::move(poster));
    services->SetTransferEngine(engine.get());
  }
  void Answer(Peer::Answer answer) {
    peer.reset();
    peer = std::make_unique<Peer>(mock, std::move(answer));
  }
  void UsePort(DataFile& df, const std::string& name) {
    df.synth->midiInPort = static_cast<std::uint8_t>(system.in().FindPort(name));
    df.synth->midiOutPort = static_cast<std::uint8_t>(system.out().FindPort(name));
  }
  // Runs a receive to its end; windowless unless a diary is given with a window.
  TransferResult Receive(DataFile& df, std::shared_ptr<TransferObserver> observer = std::make_shared<Diary>(),
                         int window = 0) {
    TransferRequest request;
    request.dataFile = &df;
    request.observer = std::move(observer);
    request.showWindow = window;
    std::shared_ptr<Transfer> transfer;
    if (engine->MidiIODataFile(request, &transfer) != 1) return {};
    EXPECT_TRUE(transfer->Wait(3'600'000));
    EXPECT_FALSE(engine->Busy(&df));
    EXPECT_FALSE(engine->portsInUse().Contains(df.synth->midiInPort));
    return transfer->Result();
  }

  VirtualClock clock;
  ClockThread here;
  VirtualCableOptions options;
  std::shared_ptr<VirtualBackend> backend;
  MidiPortSystem system;
  ScriptedPrompts prompts;
  TransferPreferences preferences;
  std::shared_ptr<VirtualEndpoint> mock;
  std::unique_ptr<Peer> peer;
  std::unique_ptr<VirtualStudio> studio;
  std::unique_ptr<MidiScriptServices> services;
  std::unique_ptr<TransferEngine> engine;
};

inline constexpr const char* kPatchReceive = "S 7 { F0 3E 11 00 05 00 F7 } C 3 F X 5 TR 7 R 20 ]";

// A 20-byte dump of one patch of the mock instrument.
inline Bytes MockPatch(int patch, std::uint8_t fill) {
  Bytes bytes(20, fill);
  const Bytes head = Hex("F0 3E 11 00 45");
  std::copy(head.begin(), head.end(), bytes.begin());
  bytes[5] = static_cast<std::uint8_t>(patch);
  bytes[19] = 0xF7;
  return bytes;
}

}  // namespace tonalith::transfer_test
