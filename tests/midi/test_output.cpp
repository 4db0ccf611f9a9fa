#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "midi_rig.h"

namespace tonalith {
namespace {

struct MidiOutput : VirtualTime {};

std::int64_t Ms(std::int64_t us) {
  return us / 1000;
}

TEST_F(MidiOutput, PortNumbersWrapAroundTheOpenPorts) {
  MidiRig rig(clock, {"A", "B"});
  Ear b(clock);
  rig.end(1).SetReceiver([&](auto bytes, auto time) { b(bytes, time); });
  EXPECT_EQ(rig.out().SENDDATAX(5, FromHex("903C40")), 0);
  ASSERT_TRUE(b.WaitFor(3));
  EXPECT_EQ(rig.out().OUTGETPORTNAME(5), "B");
  EXPECT_EQ(rig.out().Reduce(-1), 1);
  rig.end(1).SetReceiver({});
  rig.system.MidiPortOutClosePorts();
  EXPECT_EQ(rig.out().SendDataPort(FromHex("F0F7"), 0), -1);
  EXPECT_EQ(rig.out().SENDDATAX(0, FromHex("903C40")), -1);
}

TEST_F(MidiOutput, LongMessagesLeaveInChunks) {
  struct Case {
    std::int16_t space;
    std::uint32_t chunk;
    std::size_t pieces;
  };
  for (const Case& c : {Case{0, 0, 1}, Case{1000, 0, 10}, Case{1000, 500, 20}, Case{-5, 0, 1}, Case{0, 65536, 1}}) {
    MidiRig rig(clock);
    const std::int16_t parms[5] = {0, c.space, 0, 1, 3125};
    rig.out().OtAMidiSetPreferencesParms(parms);
    rig.out().MidiOutSetUSBPortSpeed(0, 0);
    const MidiBytes data = LongSysEx(10000);
    ASSERT_EQ(rig.out().SENDDATAX(0, data, c.chunk), 0);
    ASSERT_TRUE(rig.ear.WaitFor(data.size()));
    EXPECT_EQ(rig.ear.Pieces().size(), c.pieces) << c.space << ' ' << c.chunk;
    EXPECT_EQ(rig.ear.All(), data);
  }
}

// The port is busy for as long as the pacing rules say: wire time + 1 ms, rounded up to 100 ms from 100 ms on.
TEST_F(MidiOutput, SendingTakesTheTimeOfTheWire) {
  struct Case {
    std::size_t length;
    std::uint32_t speed;
    std::int16_t space, slow, delay;
    std::int64_t ms;
  };
  const Case cases[] = {
      {300, 3125, 0, 0, 0, 97},       {306, 3125, 0, 0, 0, 98},    {778, 3125, 0, 0, 0, 300},
      {4104, 3125, 0, 0, 0, 1400},    {4104, 31250, 0, 0, 0, 200}, {4104, 0, 0, 0, 0, 0},
      {4104, 3125, 1000, 0, 0, 1635},  // 4 x 400 + 35 (104 bytes: 33 ms)
      {2000, 3125, 1000, 50, 0, 900}, {300, 3125, 0, 0, 40, 137},  {524288, 3125, 0, 0, 0, 167800},
  };
  for (const Case& c : cases) {
    MidiRig rig(clock);
    const std::int16_t parms[5] = {c.delay, c.space, c.slow, 1, 3125};
    rig.out().OtAMidiSetPreferencesParms(parms);
    rig.out().MidiOutSetUSBPortSpeed(0, c.speed);
    const std::int64_t start = clock.NowUs();
    rig.out().SENDDATAX(0, LongSysEx(c.length));
    ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
    const std::int64_t took = Ms(clock.NowUs() - start);
    EXPECT_NEAR(static_cast<double>(took), static_cast<double>(c.ms), static_cast<double>(c.ms) * 0.02 + 1)
        << c.length << '@' << c.speed;
    EXPECT_EQ(rig.ear.All().size(), c.length);
  }
}

TEST_F(MidiOutput, ForceExitCutsLongWaits) {
  MidiRig rig(clock, {"Synth"}, {.bytesPerSecond = 0});
  rig.out().SENDDATAX(0, LongSysEx(100000));
  clock.SleepMs(200);
  EXPECT_EQ(rig.out().GetMidiOutPort(0)->state(), 1);
  rig.out().SetMidiOutForceExit(true);
  clock.SleepMs(100);
  EXPECT_EQ(rig.out().GetMidiOutPort(0)->state(), 0);
  EXPECT_FALSE(rig.out().forceExit());
  EXPECT_FALSE(rig.out().MidiOutWaitIdle(0, 100));  // what was handed over has not left
}

// A backend that takes everything at once is not overrun: never more under way than the wire has room for.
TEST_F(MidiOutput, LongMessagesAreHandedOverInTime) {
  MidiRig rig(clock);
  rig.out().SENDDATAX(0, LongSysEx(20000));
  ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
  const auto pieces = rig.ear.Pieces();
  std::size_t sent = 0;
  for (const auto& piece : pieces) {
    const double wire = static_cast<double>(piece.timeUs - pieces[0].timeUs) * 3125 / 1e6;
    EXPECT_LE(static_cast<double>(sent), wire + 256);
    sent += piece.bytes.size();
  }
  EXPECT_EQ(sent, 20000u);
}

TEST_F(MidiOutput, MaxSysExSpeedIsALimitOfThePort) {
  MidiRig rig(clock);
  rig.out().MidiOutSetMaxSysExSpeed(0, 1000);
  const std::int64_t start = clock.NowUs();
  rig.out().SENDDATAX(0, LongSysEx(2000));
  ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
  EXPECT_EQ(Ms(clock.NowUs() - start), 2100);
}

TEST_F(MidiOutput, AcknowledgeEndsTheWaitAtOnce) {
  struct Case {
    const char* pattern;
    const char* reply;
    bool matches;
  };
  const Case cases[] = {
      {"F041FF12F7", "F0411012F7", true}, {"F041FF12F7", "F0421012F7", false}, {"F041FF12", "F0411012F7", false},
      {"F041FF12F7", "F04110F7", false},  {"F0FFFFFFF7", "F0010203F7", true},
  };
  for (const Case& c : cases) {
    MidiRig rig(clock);
    rig.out().MidiOutSetUSBPortSpeed(0, 0);
    // The answer is there before the sender could begin to wait for it.
    rig.end().SetReceiver([&](auto bytes, auto) {
      if (bytes.size() > 5) rig.Reply(c.reply);
    });
    rig.out().MidiOutWaitForAck(0, 0, FromHex(c.pattern), 500);
    const std::int64_t start = clock.NowUs();
    for (int i = 0; i < 4; ++i) rig.out().SENDDATAX(0, LongSysEx(100));
    ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
    EXPECT_EQ(Ms(clock.NowUs() - start), c.matches ? 0 : 2000) << c.pattern << ' ' << c.reply;
    EXPECT_EQ(rig.out().MidiInTestForAck(0, FromHex(c.reply)), c.matches ? 1 : 0);
    rig.out().MidiOutClrWaitForAck(0);
    rig.out().SENDDATAX(0, LongSysEx(100));
    ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
    EXPECT_EQ(rig.out().MidiInTestForAck(0, FromHex(c.reply)), 0);
    rig.end().SetReceiver({});
  }
}

TEST_F(MidiOutput, BuffersAreWalkedMessageByMessage) {
  struct Case {
    const char* data;
    const char* sent;
    std::int64_t result;
    int monitored;
  };
  const Case cases[] = {
      {"F001F7F002F700", "F001F7F002F7", 7, 2},
      {"F001F7903C7F", "F001F7", 6, 1},
      {"00F001F7", "", 0, 0},
      {"F00102", "F00102", 3, 1},
      {"903C40", "903C40", 3, 1},
      {"F83C40", "F83C40", 3, 1},
      {"", "", 0, 0},
  };
  for (const Case& c : cases) {
    MidiRig rig(clock);
    int monitored = 0;
    rig.out().AddMonitor([&](int, auto) { ++monitored; });
    EXPECT_EQ(rig.out().SendDataPort(FromHex(c.data), 0), c.result) << c.data;
    ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
    clock.SleepMs(1);
    EXPECT_EQ(rig.ear.All(), FromHex(c.sent)) << c.data;
    EXPECT_EQ(monitored, c.monitored) << c.data;
    EXPECT_EQ(rig.out().TotalBytesSent(), static_cast<std::uint64_t>(c.result));
  }
  MidiRig rig(clock);
  const std::int64_t start = clock.NowUs();
  rig.out().SendDataPort(FromHex("F001F7F002F7F003F7"), 0, {.delayBetweenMs = 50});
  ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
  EXPECT_NEAR(static_cast<double>(Ms(clock.NowUs() - start)), 100, 5);
  rig.out().SetBlockMidi(true);
  EXPECT_EQ(rig.out().SendDataPort(FromHex("F0F7"), 0), 0);
  rig.out().SetBlockMidi(false);
  rig.out().SuppressOutput(true);
  EXPECT_EQ(rig.out().SendDataPort(FromHex("F0F7"), 0), 0);
}

int g_monitorCalls = 0;
void CountingMonitor(int, const unsigned char*, unsigned) {
  ++g_monitorCalls;
}

TEST_F(MidiOutput, AMonitorAddedTwiceIsCalledTwiceAndRemovedWhole) {
  MidiRig rig(clock);
  g_monitorCalls = 0;
  rig.out().AddMidiOutMonitor(&CountingMonitor);
  rig.out().AddMidiOutMonitor(&CountingMonitor);
  rig.out().SendDataPort(FromHex("F0F7"), 0);
  EXPECT_EQ(g_monitorCalls, 2);
  rig.out().RemoveMidiOutMonitor(&CountingMonitor);
  rig.out().SendDataPort(FromHex("F0F7"), 0);
  EXPECT_EQ(g_monitorCalls, 2);
}

TEST_F(MidiOutput, CaptureWritesWhatWouldBeSent) {
  MidiRig rig(clock, {});
  const MidiBytes data = FromHex("F00102F7B0070F");
  MidiBytes bytes;
  std::string text;
  EXPECT_EQ(rig.out().SendDataPort(data, 0, {.captureBytes = &bytes}), 7);
  EXPECT_EQ(bytes, data);
  bytes.clear();
  rig.out().SendDataPort(data, 0, {.captureBytes = &bytes, .captureMode = CaptureMode::MidiFile});
  EXPECT_EQ(bytes, FromHex("06F0030102F706B0070F"));
  bytes.clear();
  MidiBytes longData(201, 0x11);
  longData[0] = 0xF0;
  longData[200] = 0xF7;
  rig.out().SendDataPort(longData, 0, {.captureBytes = &bytes, .captureMode = CaptureMode::MidiFile});
  EXPECT_EQ(MidiBytes(bytes.begin(), bytes.begin() + 4), FromHex("06F08148"));
  rig.out().SendDataPort(data, 0, {.captureText = &text, .captureMode = CaptureMode::Text});
  EXPECT_EQ(text, "F0 01 02 F7 B0 07 0F ");
}

TEST_F(MidiOutput, QueueModeCollectsUntilItIsToldToSend) {
  MidiRig rig(clock);
  const auto port = rig.out().GetMidiOutPort(0);
  port->SetWriteToQueue(true);
  rig.out().SENDDATAX(0, FromHex("903C40"));
  rig.out().SENDDATAX(0, FromHex("F001F7"));
  clock.SleepMs(500);
  EXPECT_TRUE(rig.ear.All().empty());
  port->OutputQueue();
  ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
  EXPECT_EQ(rig.ear.All(), FromHex("903C40F001F7"));
  EXPECT_EQ(port->NoteStatus(0, 0x3C), 1);
}

TEST_F(MidiOutput, ADeviceThatIsNotReadyGetsThreeChances) {
  for (const int refusals : {2, 3}) {
    MidiRig rig(clock);
    rig.end().SetFaults(CableDirection::ToPeer, {.notReady = refusals});
    const std::int64_t start = clock.NowUs();
    rig.out().SENDDATAX(0, FromHex("F001F7"));
    ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
    EXPECT_NEAR(static_cast<double>(Ms(clock.NowUs() - start)), 2000, 5);
    EXPECT_EQ(rig.ear.All().size(), refusals == 2 ? 3u : 0u);
    EXPECT_EQ(rig.out().GetMidiOutPort(0)->failedMessages(), refusals == 2 ? 0u : 1u);
  }
}

TEST_F(MidiOutput, StopDropsWhatIsQueuedAndGoesOnWithWhatFollows) {
  MidiRig rig(clock);
  const auto port = rig.out().GetMidiOutPort(0);
  rig.out().MidiOutStartModal(0);
  rig.out().SENDDATAX(0, FromHex("F001F7"));
  ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
  std::uint8_t counting = 0;
  std::uint32_t count = 0;
  rig.out().MidiOutGetModalInfo(0, &counting, &count);
  EXPECT_EQ(counting, 1);
  EXPECT_EQ(count, 3u);
  for (int i = 0; i < 10; ++i) rig.out().SENDDATAX(0, LongSysEx(10000));
  clock.SleepMs(300);
  EXPECT_TRUE(port->isBusy());
  EXPECT_EQ(port->queuedBytes(), 100000u);
  const std::int64_t start = clock.NowUs();
  port->StopTransmit();
  rig.out().SENDDATAX(0, FromHex("F07FF7"));
  ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
  EXPECT_LE(Ms(clock.NowUs() - start), 60);
  const MidiBytes all = rig.ear.All();
  EXPECT_LT(all.size(), 2000u);
  // The message that was cut ends, and the instrument has time to see it.
  EXPECT_EQ(MidiBytes(all.end() - 4, all.end()), FromHex("F7F07FF7"));
  const auto pieces = rig.ear.Pieces();
  EXPECT_GE(pieces.back().timeUs - pieces[pieces.size() - 2].timeUs, 40'000);
  EXPECT_EQ(port->queuedBytes(), 0u);
  EXPECT_FALSE(port->counting());
}

TEST_F(MidiOutput, ClosingWhileSendingIsQuick) {
  MidiRig rig(clock, {"A", "B", "C"});
  for (int port = 0; port < 3; ++port)
    for (int i = 0; i < 20; ++i) rig.out().SENDDATAX(port, LongSysEx(50000));
  rig.out().MidiOutWaitForAck(0, 0, FromHex("F0F7"), 60000);
  clock.SleepMs(1000);
  const std::int64_t start = clock.NowUs();
  rig.system.MidiPortOutClosePorts();
  EXPECT_LE(Ms(clock.NowUs() - start), 2000);
  EXPECT_EQ(rig.out().MaxOutPorts(), 0);
}

// Whatever ends a long message in its middle, the last byte the instrument sees is an F7; what was whole stays alone.
TEST_F(MidiOutput, NoInstrumentIsLeftInsideASysEx) {
  struct Case {
    const char* name;
    std::size_t length;
    std::uint32_t chunk;
    std::int64_t afterMs;
    bool close;
  };
  for (const Case& c : {Case{"stop", 10000, 0, 500, false},
                        {"stop between pieces", 10000, 100, 90, false},
                        {"close", 10000, 0, 500, true},
                        {"stop when all is said", 100, 0, 500, false},
                        {"close when all is said", 100, 0, 500, true}}) {
    SCOPED_TRACE(c.name);
    MidiRig rig(clock, {"Synth"}, {.bytesPerSecond = 3125});
    rig.out().SENDDATAX(0, LongSysEx(c.length), c.chunk);
    clock.SleepMs(c.afterMs);
    if (c.close) {
      rig.system.MidiPortOutClosePorts();
    } else {
      rig.out().GetMidiOutPort(0)->StopTransmit();
      ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
    }
    const MidiBytes all = rig.ear.All();
    ASSERT_FALSE(all.empty());
    EXPECT_EQ(all.back(), 0xF7);
    EXPECT_EQ(std::count(all.begin(), all.end(), 0xF7), 1);
    EXPECT_EQ(all.size() == c.length, c.length == 100);
  }
}

// What was taken leaves before the port closes, once.
TEST_F(MidiOutput, ClosingLosesNothingThatHasTime) {
  MidiRig rig(clock, {"Synth"}, {.bytesPerSecond = 3125});
  for (int i = 0; i < 64; ++i) rig.out().SENDDATAX(0, FromHex("903C40"));
  rig.out().SENDDATAX(0, LongSysEx(1000));
  rig.out().SENDDATAX(0, FromHex("C005"));
  rig.system.MidiPortOutClosePorts();
  EXPECT_EQ(rig.ear.All().size(), 64u * 3 + 1000 + 2);
}

// A short message that does not arrive is a failure as a long one is.
TEST_F(MidiOutput, ShortMessagesAreReportedToo) {
  MidiRig rig(clock, {"Synth"}, {.bytesPerSecond = 3125});
  const auto port = rig.out().GetMidiOutPort(0);
  rig.end().SetFaults(CableDirection::ToPeer, {.vanishAfter = 30});
  for (int i = 0; i < 20; ++i) rig.out().SENDDATAX(0, FromHex("903C40"));
  EXPECT_FALSE(rig.out().MidiOutWaitIdle(0, 5000));
  EXPECT_EQ(port->failedMessages(), 11u);
  EXPECT_FALSE(port->lastFailure().empty());
}

TEST_F(MidiOutput, AFullQueueHoldsTheCallerBack) {
  MidiRig rig(clock);
  const MidiBytes block = LongSysEx(16u << 20);
  for (int i = 0; i < 5; ++i) ASSERT_EQ(rig.out().SENDDATAX(0, block), 0);  // one is under way, four wait
  EXPECT_EQ(rig.out().SENDDATAX(0, block, 0, false), -1);
  CancelToken cancel;
  cancel.Cancel();
  EXPECT_EQ(rig.out().SENDDATAX(0, block, 0, true, &cancel), -1);
  std::atomic<int> result{7};
  WorkerThread caller(clock, [&] { result = rig.out().SENDDATAX(0, block); });
  clock.SleepMs(500);
  EXPECT_EQ(result, 7);
  rig.out().GetMidiOutPort(0)->StopTransmit();
  caller.Join();
  EXPECT_NE(result, 7);
}

TEST_F(MidiOutput, APortWithoutThreadSendsOnTheCallersTime) {
  MidiRig rig(clock, {"Synth"}, {.bytesPerSecond = 3125});
  rig.system.MidiPortOutClosePorts();
  MidiPortDevice device;
  ASSERT_TRUE(rig.system.GetDevCaps(MidiDirection::Output, 0, device));
  ASSERT_EQ(rig.out().MidiOutOpenOnePort(device, 0, false, nullptr, false), 0);
  rig.out().SetMaxOutPorts(1);
  const std::int64_t start = clock.NowUs();
  rig.out().SENDDATAX(0, LongSysEx(3000), 1000);
  EXPECT_NEAR(static_cast<double>(Ms(clock.NowUs() - start)), 1200, 5);
  EXPECT_EQ(rig.ear.All(), LongSysEx(3000));
  EXPECT_EQ(rig.out().SENDDATAX(0, FromHex("903C")), 0);
  ASSERT_TRUE(rig.ear.WaitFor(3003));
}

TEST_F(MidiOutput, TheSectionKeepsASequenceTogether) {
  MidiRig rig(clock);
  rig.out().EnterCritical();  // before it exists: nothing
  rig.out().InitCritical();
  rig.out().EnterCritical();
  rig.out().EnterCritical();
  std::atomic<bool> inside{false};
  WorkerThread other(clock, [&] {
    rig.out().EnterCritical();
    inside = true;
    rig.out().LeaveCritical();
  });
  clock.SleepMs(20);
  rig.out().LeaveCritical();
  clock.SleepMs(20);
  EXPECT_FALSE(inside);
  rig.out().LeaveCritical();
  other.Join();
  EXPECT_TRUE(inside);
}

}  // namespace
}  // namespace tonalith
