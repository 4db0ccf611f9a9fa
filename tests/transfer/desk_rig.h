#pragma once

#include "services/transfer_desk.h"
#include "services/transfer_files.h"
#include "tests/transfer/engine_rig.h"

namespace tonalith::transfer_test {

// A desk over two cables, "Mock" and "Other", with a mock instrument at each, in virtual time.
struct DeskRig : EngineRig {
  DeskRig() : dispatcher(clock), other(backend->CreateEndpoint("Other", options)) {}
  ~DeskRig() {
    desk.reset();
    engine.reset();
    otherPeer.reset();
  }

  void Begin() {
    Start([this](std::function<void()> call) { dispatcher.Post(std::move(call)); });
    desk = std::make_unique<TransferDesk>(*engine, system, dispatcher);
    Answer(AnswerOne);
    otherPeer = std::make_unique<Peer>(other, AnswerOne);
  }
  // Requests are answered with their patch, everything else is taken without a word.
  static std::vector<Bytes> AnswerOne(const Bytes& message, int) {
    return message.size() == 7 ? std::vector<Bytes>{MockPatch(message[5], 0x11)} : std::vector<Bytes>{};
  }

  // Patches of 20 bytes, got and sent one by one.
  DataFilePtr Bank(const std::string& port, std::uint32_t patches = 4) {
    auto df = MakeData(20 * patches, patches);
    df->synth->patchByPatch = 1;
    SetScript(*df, true, kPatchReceive);
    SetScript(*df, false, "F X 5 T 20 ]");
    for (std::uint32_t i = 0; i < patches; ++i) {
      const Bytes patch = MockPatch(static_cast<int>(i), 0x22);
      std::copy(patch.begin(), patch.end(), df->body + i * 20);
    }
    AllocChunk(&df->voiceNames, &df->voiceNamesSize, kVoiceNameSize * patches);
    UsePort(*df, port);
    return df;
  }
  // One long message.
  DataFilePtr Dump(const std::string& port, std::uint32_t size = 4000) {
    auto df = MakeData(size);
    df->body[size - 1] = 0xF7;
    df->synth->manufacturerId = 0;
    UsePort(*df, port);
    return df;
  }

  // Lines "NAME STATE sentence" and "NAME done/to do"; the milliseconds since the rig began in front of them.
  std::function<void(const DeskEvent&)> Note(const std::string& name) {
    return [this, name](const DeskEvent& event) {
      static constexpr const char* kStates[] = {"queued", "started", "handed", "left", "answered", "ended"};
      std::string line = name + " ";
      switch (event.kind) {
        case DeskEvent::Kind::kState:
          line += kStates[static_cast<int>(event.state)] + (event.text.empty() ? "" : " " + event.text);
          break;
        case DeskEvent::Kind::kProgress:
          line += std::to_string(event.patchesDone) + "/" + std::to_string(event.patchesToDo);
          break;
        case DeskEvent::Kind::kMessage:
          return;
        case DeskEvent::Kind::kStepEnded:
          line += "step " + std::to_string(event.step) + (event.result.ok ? " ok" : " failed");
      }
      diary += line + "\n";
      if (onLine) onLine(line);
    };
  }
  TransferDesk::Job Get(DataFilePtr& df, const std::string& name) { return desk->Get(df.get(), Note(name)); }
  TransferDesk::Job Send(DataFilePtr& df, const std::string& name) { return desk->Send(df.get(), Note(name)); }
  // Until everything has ended and everybody was told.
  void Finish() {
    EXPECT_TRUE(dispatcher.RunUntil([this] { return desk->Idle(); }, clock.NowUs() + 600'000'000));
    dispatcher.RunQueued();
    dispatcher.RunQueued();
  }
  // Lets time pass while the owner's thread works.
  void Pass(std::int64_t ms) {
    dispatcher.RunUntil([] { return false; }, clock.NowUs() + ms * 1000);
  }

  Dispatcher dispatcher;
  std::shared_ptr<VirtualEndpoint> other;
  std::unique_ptr<Peer> otherPeer;
  std::unique_ptr<TransferDesk> desk;
  std::string diary;
  std::function<void(const std::string& line)> onLine;
};

}  // namespace tonalith::transfer_test
