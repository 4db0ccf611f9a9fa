#include <gtest/gtest.h>

#include "midi/backends/jack_pacing.h"
#include "midi/bridge_names.h"
#include "midi_rig.h"

namespace tonalith {
namespace {

// A port's buffer of so many bytes.
class FakeBuffer final : public JackEventBuffer {
 public:
  FakeBuffer(MidiBytes& wire, std::size_t room) : wire_(wire), room_(room) {}
  std::size_t Room() override { return room_; }
  std::uint8_t* Reserve(std::size_t size) override {
    if (size > room_) return nullptr;
    room_ -= size;
    sizes.push_back(size);
    wire_.resize(wire_.size() + size);
    return wire_.data() + (wire_.size() - size);
  }
  std::vector<std::size_t> sizes;

 private:
  MidiBytes& wire_;
  std::size_t room_;
};

struct Pacing : ::testing::Test {
  MidiSent Note() {
    return [this](const Result& result) { reports.push_back(result.ok() ? "sent" : result.text); };
  }
  void Period(JackLink link = JackLink::kConnected, std::size_t room = 4096) {
    FakeBuffer buffer(wire, room);
    pacing.SendPeriod(buffer);
    pacing.Feed(link, ++period);
  }
  JackPacing pacing;
  MidiBytes wire;
  std::vector<std::string> reports;
  std::uint64_t period = 0;
};

TEST_F(Pacing, BuffersOfAnySizeCarryEverythingOnce) {
  for (const std::size_t room : {4U, 57U, 228U, 4096U, 100'000U}) {
    wire.clear();
    reports.clear();
    const MidiBytes dump = LongSysEx(5000);
    pacing.Queue(FromHex("903C40"), Note());
    pacing.Queue(dump, Note());
    pacing.Queue(FromHex("C005"), Note());
    for (int i = 0; i < 6000 && reports.size() < 3; ++i) Period(JackLink::kConnected, room);
    MidiBytes all = FromHex("903C40");
    all.insert(all.end(), dump.begin(), dump.end());
    all.insert(all.end(), {0xC0, 0x05});
    EXPECT_EQ(wire, all) << room;
    EXPECT_EQ(reports, (std::vector<std::string>(3, "sent"))) << room;
  }
}

TEST_F(Pacing, NothingIsCalledSentBeforeTwoPeriodsPassed) {
  pacing.Queue(FromHex("F001F7"), Note());
  pacing.Feed(JackLink::kNotYet, period);
  Period(JackLink::kNotYet);
  EXPECT_TRUE(wire.empty());
  Period();  // into the ring
  Period();  // into the buffer
  EXPECT_EQ(wire.size(), 3u);
  Period();
  EXPECT_TRUE(reports.empty());
  Period();
  EXPECT_EQ(reports, std::vector<std::string>{"sent"});
}

TEST_F(Pacing, WhatALinkDoesToWhatIsUnderWay) {
  struct Case {
    JackLink link;
    bool cutBehindOurBack;
    const char* report;
  };
  for (const Case& c : {Case{JackLink::kCut, false, "The MIDI port is not connected."},
                        Case{JackLink::kConnected, true, "The MIDI port is not connected."},
                        Case{JackLink::kGone, false, "The MIDI port is gone."},
                        Case{JackLink::kSilent, false, "The JACK server does not go on."}}) {
    reports.clear();
    pacing.Queue(LongSysEx(20'000), Note());
    Period();
    Period();
    if (c.cutBehindOurBack) pacing.Cut();
    Period(c.link);
    EXPECT_EQ(reports, std::vector<std::string>{c.report});
    EXPECT_TRUE(pacing.Idle());
    Period();
    wire.clear();
    Period();
    EXPECT_TRUE(wire.empty()) << "given up, and sent all the same";
  }
}

TEST(BridgeNames, AreThoseOfThePortsBehindThem) {
  const struct {
    const char* jack;
    const char* bridged;
  } cases[] = {
      {"a2j:Virtual Raw MIDI 1-0 [20] (playback): VirMIDI 1-0", "Virtual Raw MIDI 1-0:VirMIDI 1-0"},
      {"a2j:Midi Through [14] (capture): Midi Through Port-0", "Midi Through:Midi Through Port-0"},
      {"Midi-Bridge:Juno 24:0 (playback): Juno MIDI 1", "Juno:Juno MIDI 1"},
      {"Midi-Bridge:Juno:(playback_0) Juno MIDI 1", "Juno:Juno MIDI 1"},
      {"a2j:Tonalith [129] (capture): out 1", "Tonalith:out 1"},
      {"alsa_pcm:UM-ONE/midi_playback_1", "UM-ONE:"},
      {"system:midi_playback_1", ""},
      {"fluidsynth:midi", ""},
      {"a2j:odd", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(BridgedName(c.jack), c.bridged) << c.jack;
  EXPECT_TRUE(IsOwnClient("Tonalith:out 1", "Tonalith"));
  EXPECT_TRUE(IsOwnClient("Tonalith-01:in 1", "Tonalith"));
  EXPECT_FALSE(IsOwnClient("Tonalith synth:in", "Tonalith"));
  EXPECT_FALSE(IsOwnClient("Other:in", "Tonalith"));
}

}  // namespace
}  // namespace tonalith
