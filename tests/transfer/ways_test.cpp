// Everything that can send to an output while a transfer has it.
#include <algorithm>

#include "tests/transfer/desk_rig.h"

namespace tonalith::transfer_test {
namespace {

struct Ways : DeskRig, testing::Test {
  void SetUp() override {
    Begin();
    peer.reset();
    mock->SetReceiver([this](std::span<const std::uint8_t> bytes, std::int64_t) { Hear(bytes); });
    port = system.out().FindPort("Mock");
    small = Bank("Mock", 1);
    queued = Dump("Mock", 100);
  }
  void TearDown() override { mock->SetReceiver(nullptr); }

  // Raw bytes of the line, as they came; requests are answered.
  void Hear(std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) {
      if (byte == 0xF0) message.clear();
      (byte >= 0x80 && byte < 0xF0 ? played : heard).push_back(byte);
      if (byte >= 0x80 && byte < 0xF0) {
        EXPECT_TRUE(message.empty() || message.back() == 0xF7) << "inside a SysEx";
        playedData = 2;
      } else if (playedData > 0) {
        --playedData;
        played.push_back(byte);
        heard.pop_back();
      } else {
        message.push_back(byte);
      }
      if (byte == 0xF7 && message.size() == 7) mock->Send(MockPatch(message[5], 0x11), 5000);
    }
  }
  // Runs `kind` on the port, with `meanwhile` in its middle; what the line carried for it.
  Bytes Run(const std::string& kind, const std::function<void()>& meanwhile) {
    heard.clear();
    played.clear();
    DataFilePtr data = kind == "one message" ? Dump("Mock", 6000) : Bank("Mock", 120);
    DeskRequest request = DeskRequest::Of(kind == "get" ? DeskStep::Kind::kGet : DeskStep::Kind::kSend, data.get());
    if (kind == "messages with pauses") {
      DeskStep& step = request.steps.front();
      step.kind = DeskStep::Kind::kMessages;
      step.dataFile = nullptr;
      step.outPort = port;
      for (std::uint8_t i = 0; i < 4; ++i) step.messages.push_back({400, {0xF0, 0x7D, i, 0xF7}});
    }
    const auto job = desk->Submit(std::move(request));
    Pass(500);
    EXPECT_FALSE(job->Ended()) << "too short for what is to happen in it";
    meanwhile();
    Pass(200);
    playedInTime = played;
    Finish();
    EXPECT_TRUE(job->result().ok) << job->result().sentence;
    Pass(300);
    return heard;
  }

  int port = -1;
  DataFilePtr small, queued;
  Bytes heard, played, playedInTime, message;
  int playedData = 0;
};

TEST_F(Ways, NobodySendsIntoATransfer) {
  const Bytes sysEx = Hex("F0 7D 55 F7"), note = Hex("90 40 7F");
  enum class Then { kRefused, kWaits, kGoesBetween };
  SendOptions live;
  live.live = true;
  const std::string taken = "The MIDI OUT port \"Mock\" is in use by another transfer.";
  const struct {
    const char* name;
    std::function<std::int64_t()> way;  // 0 and below: refused
    Then then;
    bool says;  // asks the user with the sentence
  } ways[] = {
      {"raw data", [&] { return system.out().SendDataPort(sysEx, port); }, Then::kRefused, false},
      {"one raw message", [&] { return system.out().SENDDATAX(port, sysEx) + std::int64_t{1}; }, Then::kRefused, false},
      {"a note that nobody plays", [&] { return system.out().SendDataPort(note, port); }, Then::kRefused, false},
      {"a script of its own",
       [&] {
         TransferContext own;
         const int sent = services->SendDataPort(sysEx, port, own);
         EXPECT_EQ(own.sendFailed, sent < 0);
         return std::int64_t{sent};
       },
       Then::kRefused, false},
      {"a transfer beside the desk",
       [&] { return std::int64_t{engine->MidiIODataFile(nullptr, TransferOperation::kTransmit, small.get(), 0)}; },
       Then::kRefused, true},
      {"a transfer on the calling thread",
       [&] { return std::int64_t{engine->MidiIODataFileFn(TransferOperation::kTransmit, small.get())}; },
       Then::kRefused, true},
      {"all of a data file", [&] { return std::int64_t{engine->MidiSendDataFileAll(small.get())}; }, Then::kRefused,
       true},
      {"a patch of it", [&] { return std::int64_t{engine->MidiSendDataFile(small.get(), 0, 3, small->body)}; },
       Then::kRefused, true},
      {"the built-in way",
       [&] {
         return std::int64_t{engine->MidiSend(*queued->synth, {queued->body, queued->bodySize})};
       },
       Then::kRefused, true},
      {"a job of the desk",
       [&] { return std::int64_t{desk->Send(queued.get())->state() == DeskState::kQueued ? 1 : -1}; }, Then::kWaits,
       false},
      {"thru", [&] { return system.out().SENDDATAXThru(port, note) + std::int64_t{1}; }, Then::kGoesBetween, false},
      {"a tone, or panic", [&] { return system.out().SendDataPort(note, port, live); }, Then::kGoesBetween, false},
  };
  for (const std::string kind : {"one message", "patches", "get", "messages with pauses"}) {
    const Bytes alone = Run(kind, [] {});
    ASSERT_GT(alone.size(), 15U) << kind;
    for (const auto& way : ways) {
      SCOPED_TRACE(kind + " | " + way.name);
      const std::size_t asked = prompts.Log().size();
      Bytes during = Run(kind, [&] {
        const std::int64_t result = way.way();
        EXPECT_EQ(result > 0, way.then != Then::kRefused) << result;
      });
      ASSERT_GE(during.size(), alone.size());
      EXPECT_EQ(during.size() - alone.size(), way.then == Then::kWaits ? queued->bodySize : 0U);
      EXPECT_TRUE(std::equal(alone.begin(), alone.end(), during.begin())) << "something came between";
      EXPECT_EQ(played, way.then == Then::kGoesBetween ? note : Bytes());
      if (way.then == Then::kGoesBetween && kind != "one message") {
        EXPECT_EQ(playedInTime, note) << "waited for the end";
      }
      ASSERT_EQ(prompts.Log().size(), asked + (way.says ? 1 : 0));
      if (way.says) {
        EXPECT_NE(prompts.Log().back().find(taken), std::string::npos) << prompts.Log().back();
      }
    }
  }
  // And afterwards everybody may.
  for (const auto& way : ways)
    if (way.then == Then::kRefused) {
      EXPECT_GT(way.way(), 0) << way.name;
    }
}

// What others began is waited for, and its end lets the queue go on by itself.
TEST_F(Ways, TheDeskWaitsForOthers) {
  auto lease = system.out().leases().Take({system.out().Slot(port)});
  ASSERT_TRUE(lease);
  EXPECT_FALSE(system.out().leases().Take({system.out().Slot(port)}));
  const auto job = desk->Send(queued.get());
  Pass(1000);
  EXPECT_EQ(job->state(), DeskState::kQueued);
  EXPECT_TRUE(heard.empty());
  lease.reset();
  EXPECT_TRUE(desk->Wait(job, 5000));
  EXPECT_TRUE(job->result().ok) << job->result().sentence;
}

// A stop ends the SysEx first; what is played is not stopped with it.
TEST_F(Ways, PlayedNotesOutliveAStop) {
  auto data = Dump("Mock", 9000);
  const auto job = desk->Send(data.get());
  Pass(500);
  const Bytes off = Hex("90 40 00");
  EXPECT_EQ(system.out().SENDDATAXThru(port, off), 0);
  desk->Cancel(job);
  EXPECT_EQ(system.out().SENDDATAXThru(port, off), 0);
  Finish();
  Pass(300);
  EXPECT_EQ(heard.back(), 0xF7);
  EXPECT_LT(heard.size(), 4000U);
  EXPECT_EQ(played, Hex("90 40 00 90 40 00"));
}

}  // namespace
}  // namespace tonalith::transfer_test
