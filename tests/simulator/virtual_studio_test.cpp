#include "simulator/virtual_studio.h"

#include "simulator/wire_codecs.h"
#include "tests/simulator/simulator_test_tools.h"

namespace tonalith::simulator_test {
namespace {

// The program's side of one cable: sends, and waits in the studio's time for so many bytes.
class ProgramEnd {
 public:
  ProgramEnd(VirtualBackend& backend, Clock& clock, const std::string& name) : clock_(clock), arrived_(clock) {
    for (const auto& device : backend.Devices(MidiDirection::Output))
      if (device.name == name) backend.OpenOutput(device.id, output_);
    for (const auto& device : backend.Devices(MidiDirection::Input))
      if (device.name == name)
        backend.OpenInput(
            device.id,
            [this](std::span<const std::uint8_t> bytes, std::int64_t) {
              const std::lock_guard lock(mutex_);
              bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
              arrived_.NotifyAll();
            },
            input_);
  }
  bool Open() const { return output_ != nullptr && input_ != nullptr; }
  void Send(const Bytes& bytes) {
    output_->SendLong(bytes, [](const Result&) {});
  }
  Bytes Wait(std::size_t count, std::int64_t timeoutMs) {
    std::unique_lock lock(mutex_);
    arrived_.WaitUntil(lock, clock_.NowUs() + timeoutMs * 1000, [&] { return bytes_.size() >= count; });
    return std::exchange(bytes_, {});
  }

 private:
  Clock& clock_;
  std::mutex mutex_;
  WaitPoint arrived_;
  Bytes bytes_;
  std::unique_ptr<MidiOutputHandle> output_;
  std::unique_ptr<MidiInputHandle> input_;
};

TEST(VirtualStudioTest, AnswersOnCablesInVirtualTime) {
  VirtualClock clock;
  const ClockThread here(clock);
  VirtualBackend backend(clock);
  ASSERT_EQ(backend.Start().code, 0);
  VirtualStudio studio(backend, {3125});
  std::string problem;
  ASSERT_TRUE(studio.AttachAll(&problem)) << problem;
  const std::size_t dx7 = studio.Find("yamaha-dx7");
  ASSERT_LT(dx7, studio.Count());
  EXPECT_EQ(studio.PortName(dx7), "Simulated Yamaha DX7");
  {
    ProgramEnd end(backend, clock, studio.PortName(dx7));
    ASSERT_TRUE(end.Open());
    Bytes expected;
    studio.With(dx7, [&](SimulatedInstrument& instrument) { expected = instrument.DumpOf("bank"); });
    const std::int64_t before = clock.NowUs();
    end.Send(Hex("F0 43 20 09 F7"));
    EXPECT_TRUE(end.Wait(4104, 5000) == expected);
    EXPECT_GT(clock.NowUs() - before, 1'300'000);  // as long as it takes on a cable
    studio.PanelSend(dx7, "voice");
    EXPECT_EQ(end.Wait(163, 1000).size(), 163U);
    // The plug is pulled in the middle of a dump.
    studio.With(dx7, [&](SimulatedInstrument& instrument) {
      instrument.SetFaults(*FaultPlan::Parse("port-vanishes:at=1000", &problem));
    });
    end.Send(Hex("F0 43 20 09 F7"));
    EXPECT_EQ(end.Wait(4104, 5000).size(), 995U);
  }
  for (const auto& device : backend.Devices(MidiDirection::Output)) EXPECT_NE(device.name, studio.PortName(dx7));
  studio.PlugIn(dx7);
  ProgramEnd again(backend, clock, studio.PortName(dx7));
  ASSERT_TRUE(again.Open());
  again.Send(Hex("F0 43 20 00 F7"));
  EXPECT_EQ(again.Wait(163, 1000).size(), 163U);
}

// Inside the open frame neither side's bytes are whole messages.
TEST(VirtualStudioTest, CasioExchangeOnACable) {
  VirtualClock clock;
  const ClockThread here(clock);
  VirtualBackend backend(clock);
  ASSERT_EQ(backend.Start().code, 0);
  VirtualStudio studio(backend, {3125});
  std::string problem;
  const std::size_t place = studio.Attach(SimulatedInstrument::Create("casio-cz101", &problem));
  ProgramEnd end(backend, clock, "Simulated Casio CZ-101");
  ASSERT_TRUE(end.Open());
  const Bytes ready = Hex("F0 44 00 00 70 30");
  end.Send(Hex("F0 44 00 00 70 10 21"));
  EXPECT_EQ(end.Wait(6, 1000), ready);
  end.Send(Hex("70 31"));
  const Bytes tone = end.Wait(257, 1000);
  ASSERT_EQ(tone.size(), 257U);
  end.Send(Hex("F7"));
  clock.SleepMs(20);
  end.Send(Hex("F0 44 00 00 70 20 22"));
  EXPECT_EQ(end.Wait(6, 1000), ready);
  end.Send(tone);
  clock.SleepMs(200);
  studio.With(place, [&](SimulatedInstrument& cz) { EXPECT_EQ(cz.Item("internal", 2), cz.Item("internal", 1)); });
}

TEST(VirtualStudioTest, ConversationOnACable) {
  VirtualClock clock;
  const ClockThread here(clock);
  VirtualBackend backend(clock);
  ASSERT_EQ(backend.Start().code, 0);
  VirtualStudio studio(backend);
  std::string problem;
  const std::size_t place =
      studio.AttachConversation(*Conversation::Parse("OUT F0 01 F7\nIN F0 02 F7", &problem), "Talk");
  ProgramEnd end(backend, clock, "Talk");
  ASSERT_TRUE(end.Open());
  end.Send(Hex("F0 01 F7"));
  EXPECT_EQ(end.Wait(3, 1000), Hex("F0 02 F7"));
  EXPECT_EQ(studio.TalkVerdict(place), "");
}

}  // namespace
}  // namespace tonalith::simulator_test
