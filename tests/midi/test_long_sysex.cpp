#include <gtest/gtest.h>

#include <atomic>

#include "midi_rig.h"

namespace tonalith {
namespace {

constexpr std::size_t kSizes[] = {4104, 32768, 524288, 2097152};

// Both directions at once, in spans, real-time bytes in between, every byte compared and counted at both ends.
void PassLongSysEx(Clock& clock, std::size_t size, std::size_t span, std::uint32_t rate, bool realTime) {
  SCOPED_TRACE(std::to_string(size) + "/" + std::to_string(span) + "@" + std::to_string(rate));
  MidiRig rig(clock, {"Synth"}, {.bytesPerSecond = rate});
  rig.out().MidiOutSetUSBPortSpeed(0, rate);
  const MidiBytes dump = LongSysEx(size);
  if (realTime) {
    rig.end().SetFaults(CableDirection::ToProgram, {.realTimeEvery = 100});
    rig.end().SetFaults(CableDirection::ToPeer, {.realTimeEvery = 1000});
  }
  std::atomic<std::uint64_t> monitoredIn{0}, monitoredOut{0}, clocks{0};
  rig.in().AddMidiInMonitor([&](int, auto message) { (message[0] == 0xF8 ? clocks : monitoredIn) += message.size(); });
  rig.out().AddMonitor([&](int, auto message) { monitoredOut += message.size(); });
  // A thread that watches the counters all the while.
  std::atomic<bool> over{false};
  std::uint64_t watchedIn = 0;
  WorkerThread watch(clock, [&] {
    for (bool last = false; !last; clock.SleepMs(rate ? 50 : 1)) {
      last = over;
      const std::uint64_t now = rig.in().GetMidiInPort(0)->BytesReceived();
      EXPECT_GE(now, watchedIn);
      watchedIn = now;
    }
  });
  MidiBytes buffer(size, 0);
  ReceiveHooks hooks;
  hooks.sendRequest = [&] {
    EXPECT_EQ(rig.out().SendDataPort(dump, 0, {.oneShotChunk = static_cast<std::uint32_t>(span)}),
              static_cast<std::int64_t>(size));
    for (std::size_t at = 0; at < size; at += span)
      rig.end().Send(std::span(dump).subspan(at, std::min(span, size - at)));
  };
  EXPECT_EQ(rig.in().GetDataVector(buffer, 0, {}, hooks), static_cast<std::int64_t>(size));
  EXPECT_TRUE(buffer == dump);
  EXPECT_TRUE(rig.out().MidiOutWaitIdle(0, 3'600'000));
  EXPECT_TRUE(rig.end().Flush(1000));
  over = true;
  watch.Join();
  MidiBytes arrived = rig.ear.All();
  EXPECT_EQ(rig.end().Carried(CableDirection::ToPeer), arrived.size());
  if (realTime) {
    EXPECT_EQ(arrived.size(), size + (size - 1) / 1000);
    std::erase(arrived, std::uint8_t{0xF8});
    EXPECT_EQ(clocks, (size - 1) / 100);
  }
  EXPECT_TRUE(arrived == dump);
  EXPECT_EQ(monitoredIn, size);
  EXPECT_EQ(monitoredOut, size);
  EXPECT_EQ(watchedIn, size + (realTime ? (size - 1) / 100 : 0));
}

TEST(LongSysEx, ArrivesWholeOnRealThreads) {
  for (const std::size_t size : kSizes) {
    PassLongSysEx(SystemClock(), size, 256, 0, false);
    PassLongSysEx(SystemClock(), size, 4096, 0, true);
    PassLongSysEx(SystemClock(), size, 65535, 0, true);
  }
}

TEST(LongSysEx, ArrivesWholeAtTheRateOfTheWire) {
  VirtualClock clock;
  ClockThread here(clock);
  PassLongSysEx(clock, 4104, 17, 3125, true);
  for (const std::size_t size : kSizes) PassLongSysEx(clock, size, 4096, 3125, true);
  PassLongSysEx(clock, 2097152, 256, 31250, false);
}

// A dump over a cable takes the time of its bytes, within 2 %.
TEST(LongSysEx, TakesTheTimeOfItsBytes) {
  VirtualClock clock;
  ClockThread here(clock);
  for (const std::size_t size : kSizes) {
    MidiRig rig(clock, {"Synth"}, {.bytesPerSecond = 3125});
    MidiBytes buffer(size);
    const MidiBytes dump = LongSysEx(size);
    const std::int64_t start = clock.NowUs();
    rig.end().Send(dump);
    ASSERT_EQ(rig.in().GetDataVector(buffer, 0, {}), static_cast<std::int64_t>(size));
    const double wire = static_cast<double>(size) * 1e6 / 3125;
    EXPECT_NEAR(static_cast<double>(clock.NowUs() - start), wire, wire * 0.02);
  }
}

TEST(LongSysEx, FaultsOfTheCableShow) {
  VirtualClock clock;
  ClockThread here(clock);
  MidiRig rig(clock);
  const MidiBytes dump = LongSysEx(1000);
  MidiBytes buffer(1000);
  rig.end().SetFaults(CableDirection::ToProgram, {.loseByte = 500});
  rig.end().Send(dump, 1000);
  EXPECT_EQ(rig.in().GetDataPort(buffer, 0), 999);
  rig.end().SetFaults(CableDirection::ToProgram, {.corruptByte = 500, .corruptMask = 0x10});
  rig.end().Send(dump, 1000);
  EXPECT_EQ(rig.in().GetDataPort(buffer, 0), 1000);
  EXPECT_EQ(buffer[500] ^ dump[500], 0x10);
  // A hole that the MIDI system tells of: nothing of the message stays, and the next one is whole.
  rig.end().SetFaults(CableDirection::ToProgram, {.loseEvent = 500});
  for (const std::size_t at : {0U, 256U, 512U, 768U})
    rig.end().Send(std::span(dump).subspan(at, std::min<std::size_t>(256, 1000 - at)), 1000);
  rig.end().Send(FromHex("F043017FF7"), 2000);
  ReceiveReport report;
  EXPECT_EQ(rig.in().GetDataVector(buffer, 0, {}, {}, &report), 5);
  EXPECT_TRUE(report.damaged);
  EXPECT_EQ(buffer[3], 0x7F);
  EXPECT_EQ(rig.in().GetMidiInPort(0)->LostEvents(), 1u);
  rig.end().SetFaults(CableDirection::ToProgram, {.delayUs = 100'000});
  const std::int64_t start = clock.NowUs();
  rig.end().Send(dump, 1000);
  EXPECT_EQ(rig.in().GetDataPort(buffer, 0), 1000);
  EXPECT_GE(clock.NowUs() - start, 100'000);
  rig.end().SetFaults(CableDirection::ToProgram, {.vanishAfter = 500});
  rig.end().Send(dump, 1000);
  EXPECT_EQ(rig.in().GetDataPort(buffer, 0), -1);
  EXPECT_FALSE(rig.end().plugged());
  EXPECT_EQ(rig.out().SendDataPort(dump, 0), -1);
}

}  // namespace
}  // namespace tonalith
