#include <gtest/gtest.h>

#include <atomic>
#include <random>

#include "midi_rig.h"

namespace tonalith {
namespace {

struct MidiInput : VirtualTime {};

std::int64_t InputMs(std::int64_t us) {
  return us / 1000;
}

// One receive: options, what the instrument sends in answer to the request (pieces separated by '/'), what is stored.
struct ReceiveCase {
  const char* what;
  ReceiveOptions options;
  std::size_t space;
  const char* pieces;
  std::int64_t result;
  const char* stored;
};

std::vector<ReceiveCase> ReceiveCases() {
  ReceiveOptions plain, skip, any, past, accept, decline, blocking, end, sizes;
  skip.skip = 2;
  any.acceptAny = AcceptAny::Everything;
  past.acceptAny = AcceptAny::PastEnd;
  accept.hasAccept = true;
  accept.accept = FromHex("F043FF01");
  decline.decline = {FromHex("F07E"), FromHex("F043FF02")};
  blocking.decline = {{}};
  end.acceptAny = AcceptAny::PastEnd;
  end.end = FromHex("F041FF12");
  sizes.acceptAny = AcceptAny::PastEnd;
  sizes.sizes = {4, 8};
  ReceiveOptions answer, row, maker, pairs, counted;
  answer.answer = {{{FromHex("F0430009"), FromHex("FFFFF0FF"), 6}}};
  answer.echo = FromHex("F0430109AAF7");
  row.acceptAny = AcceptAny::PastEnd;
  row.answer = {{{FromHex("F04301"), FromHex("FFFFFF"), 4}, {FromHex("F04302"), FromHex("FFFFFF"), 4}},
                {{FromHex("F04303"), FromHex("FFFFFF"), 5}}};
  maker = answer;
  maker.answer = {{{FromHex("F043"), FromHex("FFFF"), 0}}};
  maker.answerRepeats = true;
  maker.acceptAny = AcceptAny::PastEnd;
  pairs.answer = {{{FromHex("F04301"), FromHex("FFFFFF"), 0, 6, 2}}};
  counted.answer = {{{FromHex("F04301"), FromHex("FFFFFF"), 0, 0, 1, 3, 1, 2}}};
  return {
      {"strangers before the answer", answer, 20, "F0 7E 00 F7/F0 43 20 09 01 F7/F0 43 05 09 01 F7", 6, "F043050901F7"},
      {"cut, longer and shorter ones are no answer", answer, 20,
       "F0 43 05 09 02/F0 43 05 09 F7/F0 43 05 09 01 02 F7/F0 43 05 09 01 F7", 6, "F043050901F7"},
      {"broken by a note", answer, 20, "F0 43 05 09 90 3C 40/F0 43 05 09 01 F7", 6, "F043050901F7"},
      {"only strangers", answer, 20, "F0 43 05 08 01 F7", kReceivedNothing, ""},
      {"the request itself", answer, 20, "F0 43 01 09 AA F7/F0 43 01 09 AB F7", 6, "F0430109ABF7"},
      {"messages in their order, one twice", row, 9, "F0 43 03 01 F7/F0 43 02 F7/F0 43 02 F7/F0 43 03 01 F7", 9,
       "F04302F7F0430301F7"},
      {"one of two is cut", row, 9, "F0 43 02 F7/F0 43 03 F7", 4, "F04302F7"},
      {"too few, and half a pair", pairs, 20, "F0 43 01 F7/F0 43 01 02 03 02 F7/F0 43 01 02 03 02 03 F7", 8,
       "F0430102030203F7"},
      {"another count than bytes", counted, 20,
       "F0 43 01 01 F7/F0 43 01 01 00 00 02 03 F7/F0 43 01 01 00 00 02 03 04 F7", 10, "F04301010000020304F7"},
      {"all of a maker", maker, 7, "F0 42 F7/F0 43 F7/F0 41 F7/F0 43 05 F7", 7, "F043F7F04305F7"},
      {"complete at F7", plain, 20, "F0 43 01/02 F7/F0 44 F7", 5, "F0430102F7"},
      {"notes and real time stay out", plain, 20, "90 3C 40/F0 43 F8 01/FE/F7", 4, "F04301F7"},
      {"complete when full", plain, 3, "F0 43 01 02 F7", 3, "F04301"},
      {"nothing", plain, 20, "90 3C 40/F8", kReceivedNothing, ""},
      {"data bytes without a start", plain, 20, "01 02 F7", kReceivedNothing, ""},
      {"timeout keeps what came", plain, 20, "F0 43 01 02", 4, "F0430102"},
      {"skip leading bytes", skip, 20, "F0 43 01 02 F7", 3, "0102F7"},
      {"everything until full", any, 10, "90 3C 40/F0 43 F7/01 02 03 04", 10, "903C40F043F701020304"},
      {"everything without F0", any, 4, "01 02/03/04", 4, "01020304"},
      {"an open SysEx is stored as it arrives", any, 6, "F0 44 00 00 70 30", 6, "F04400007030"},
      {"past the end, without notes", past, 8, "F0 43 01 F7/90 3C 40/F0 43 02 F7", 8, "F04301F7F04302F7"},
      {"accept pattern", accept, 20, "F0 42 00 01 F7/F0 43 00 F7/F0 43 05 01 09 F7", 6, "F043050109F7"},
      {"accept pattern over pieces", accept, 20, "F0/43/05/01/F7", 5, "F0430501F7"},
      {"decline patterns", decline, 20, "F0 7E 00 F7/F0 43 11 02 F7/F0 43 11/03 F7", 5, "F0431103F7"},
      {"an empty decline pattern blocks everything", blocking, 20, "F0 43 F7", kReceivedNothing, ""},
      {"end pattern", end, 20, "F0 41 10 11 F7/F0 41 10 12 F7/F0 43 F7", 10, "F0411011F7F0411012F7"},
      {"size list at message ends", sizes, 20, "F0 43 01 02/03 04 05 F7/F0 F7", 8, "F0430102030405F7"},
      {"broken off by a note, then whole", plain, 20, "F0/90 3C 40/F0 43 F7", 3, "F043F7"},
  };
}

TEST_F(MidiInput, ReceivesTakeWhatTheirOptionsSay) {
  for (const ReceiveCase& c : ReceiveCases()) {
    MidiRig rig(clock);
    rig.end().SetReceiver([&](auto, auto) {
      std::string piece;
      for (const char* at = c.pieces;; ++at) {
        if (*at && *at != '/') {
          piece += *at;
          continue;
        }
        rig.Reply(piece);
        piece.clear();
        if (!*at) break;
      }
    });
    MidiBytes buffer(c.space, 0xEE);
    std::atomic<std::int64_t> progress{0};
    ReceiveHooks hooks;
    hooks.sendRequest = [&] { rig.out().SendDataPort(FromHex("F07E7F0601F7"), 0); };
    hooks.received = &progress;
    ReceiveReport report;
    EXPECT_EQ(rig.in().GetDataVector(buffer, 0, c.options, hooks, &report), c.result) << c.what;
    const MidiBytes stored = FromHex(c.stored);
    EXPECT_EQ(MidiBytes(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(stored.size())), stored) << c.what;
    EXPECT_EQ(progress, static_cast<std::int64_t>(stored.size() +
                                                  c.options.echo.size() * static_cast<std::size_t>(report.echoes)))
        << c.what;
    rig.end().SetReceiver({});
    // What is no answer after all may have been there.
    if (!c.options.answer.empty()) continue;
    for (std::size_t i = stored.size(); i < buffer.size(); ++i) ASSERT_EQ(buffer[i], 0xEE) << c.what;
  }
}

TEST_F(MidiInput, TimeCountsFromTheLastByte) {
  MidiRig rig(clock, {"Synth"}, {.bytesPerSecond = 3125});
  const MidiBytes dump = LongSysEx(4104);
  rig.end().Send(dump, 200'000);
  MidiBytes buffer(4104);
  ReceiveOptions options;
  options.timeoutMs = 300;  // shorter than the dump takes
  EXPECT_EQ(rig.in().GetDataVector(buffer, 0, options), 4104);
  EXPECT_EQ(buffer, dump);
  const std::int64_t start = clock.NowUs();
  EXPECT_EQ(rig.in().GetDataVector(buffer, 0, options), kReceivedNothing);
  EXPECT_EQ(InputMs(clock.NowUs() - start), 300);
  EXPECT_EQ(MidiIn::DefaultTimeoutMs(4104), 2352);
  EXPECT_EQ(MidiIn::DefaultTimeoutMs(10), 305);
}

// What ends a receive besides its data, and what it gives then.
TEST_F(MidiInput, ReceivesEndForEveryReason) {
  enum class End { Abort, WakeEmpty, WakeKeep, WakeCancel, Pattern, Unplug, Close, Polled };
  const std::pair<End, std::int64_t> cases[] = {
      {End::Abort, -1},   {End::WakeEmpty, -19}, {End::WakeKeep, 3}, {End::WakeCancel, -1},
      {End::Pattern, -1}, {End::Unplug, -1},     {End::Close, -1},   {End::Polled, 3},
  };
  for (const auto& [end, expected] : cases) {
    MidiRig rig(clock);
    MidiBytes buffer(100);
    ReceiveOptions options;
    options.timeoutMs = 0;  // no limit of its own
    CancelToken cancel, wake;
    std::atomic<int> mode{0};
    ReceiveHooks hooks{{}, nullptr, &wake, &cancel, [&] { return mode.load(); }, end == End::Polled};
    rig.in().GetMidiInPort(0)->SetSysXCancel(FromHex("F0FF45F7"), rig.out().GetMidiOutPort(0));
    std::int64_t endedUs = 0;
    WorkerThread actor(clock, [&, which = end] {
      if (which != End::WakeEmpty) rig.Reply("F0 43 01");
      clock.SleepMs(1000);
      endedUs = clock.NowUs();
      switch (which) {
        case End::Abort:
          cancel.Cancel();
          break;
        case End::WakeKeep:
        case End::WakeCancel:
          mode = which == End::WakeCancel ? 2 : 1;
          [[fallthrough]];
        case End::WakeEmpty:
          wake.Cancel();
          break;
        case End::Pattern:
          rig.Reply("F0");
          rig.Reply("F0 10 45 F7");
          break;
        case End::Unplug:
          rig.end().Unplug();
          break;
        case End::Close:
          rig.in().CloseAllPorts();
          break;
        case End::Polled:
          wake.Cancel();
          break;
      }
    });
    ReceiveReport report;
    EXPECT_EQ(rig.in().GetDataVector(buffer, 0, options, hooks, &report), expected) << static_cast<int>(end);
    EXPECT_LE(InputMs(clock.NowUs() - endedUs), 102) << static_cast<int>(end);
    EXPECT_EQ(report.cancelledByPattern, end == End::Pattern);
    EXPECT_EQ(report.portGone, end == End::Unplug || end == End::Close);
    actor.Join();
  }
}

// Messages that follow each other faster than the receives: nothing falls between two of them; but what came before a
// request is no answer to it.
TEST_F(MidiInput, NothingFallsBetweenTwoReceives) {
  MidiRig rig(clock);
  rig.end().SetReceiver([&](auto, auto) {
    for (int i = 0; i < 32; ++i) {
      MidiBytes message = LongSysEx(163);
      message[5] = static_cast<std::uint8_t>(i);
      rig.end().Send(message);
    }
  });
  MidiBytes buffer(163);
  ReceiveHooks request;
  request.sendRequest = [&] { rig.out().SendDataPort(FromHex("F0F7"), 0); };
  for (int i = 0; i < 32; ++i) {
    ASSERT_EQ(rig.in().GetDataVector(buffer, 0, {}, i == 0 ? request : ReceiveHooks{}), 163) << i;
    ASSERT_EQ(buffer[5], i);
  }
  rig.Reply("F0 01 F7");
  rig.Reply("F0 02 F7");
  rig.end().SetReceiver([&](auto, auto) { rig.Reply("F0 03 F7"); });
  ASSERT_EQ(rig.in().GetDataVector(buffer, 0, {}), 3);
  EXPECT_EQ(buffer[1], 1);
  ASSERT_EQ(rig.in().GetDataVector(buffer, 0, {}, request), 3);
  EXPECT_EQ(buffer[1], 3);
  rig.end().SetReceiver({});
}

// A request that is sent before the receive is armed: the reply may be there first, what came earlier is forgotten.
TEST_F(MidiInput, AReplyMayComeBeforeItsReceive) {
  MidiRig rig(clock);
  rig.end().SetReceiver([&](auto, auto) { rig.Reply("F0 03 F7"); });
  rig.in().GetMidiInPort(0)->ExpectData(true);
  rig.Reply("F0 01 F7");
  clock.SleepMs(5);
  rig.in().ExpectReply(0);
  rig.out().SendDataPort(FromHex("F0F7"), 0);
  clock.SleepMs(5);
  MidiBytes buffer(10);
  ASSERT_EQ(rig.in().GetDataPort(buffer, 0), 3);
  EXPECT_EQ(buffer[1], 3);
  rig.end().SetReceiver({});
}

TEST_F(MidiInput, ASecondReceiveOnAPortEndsTheFirst) {
  MidiRig rig(clock);
  MidiBytes first(10, 0), second(10, 0);
  std::atomic<std::int64_t> result{0};
  WorkerThread other(clock, [&] { result = rig.in().GetDataPort(first, 0); });
  clock.SleepMs(10);
  rig.end().Send(FromHex("F001F7"), 100'000);
  EXPECT_EQ(rig.in().GetDataPort(second, 0), 3);
  other.Join();
  EXPECT_EQ(result, -1);
  EXPECT_EQ(first, MidiBytes(10, 0));
}

// An instrument that keeps one SysEx open over a conversation: each part answers a request.
TEST_F(MidiInput, AnOpenSysExGoesOnOverSeveralReceives) {
  MidiRig rig(clock);
  int step = 0;
  rig.end().SetReceiver([&](auto, auto) { rig.Reply(++step == 1 ? "F0 44 00 00 70 30" : "0A 0B 0C F7"); });
  ReceiveOptions any;
  any.acceptAny = AcceptAny::Everything;
  ReceiveHooks request;
  request.sendRequest = [&] { rig.out().SENDDATAX(0, FromHex("7031")); };
  MidiBytes first(6), second(4);
  EXPECT_EQ(rig.in().GetDataVector(first, 0, any, request), 6);
  EXPECT_EQ(rig.in().GetDataVector(second, 0, any, request), 4);
  EXPECT_EQ(second, FromHex("0A0B0CF7"));
  rig.end().SetReceiver({});
}

TEST_F(MidiInput, EchoModes) {
  struct Case {
    int mode;
    unsigned options;
    const char* in;
    const char* toA;
    const char* toB;
  };
  // Two cables; the messages come in on port 0. EchoPort 0, EchoCh 5, EchoWinPort 1, EchoWinCh 9.
  const Case cases[] = {
      {0, 0, "933C40", "", ""},       {1, 0, "933C40", "933C40", ""}, {3, 0, "933C40", "953C40", ""},
      {2, 0, "933C40", "", "993C40"}, {2, 0, "C307", "", "C907"},     {5, 0, "933C40", "", "993C40"},
      {1, 0, "F8", "", ""},           {1, 1, "F8", "F8", ""},         {1, 1, "F6", "", ""},
  };
  for (const Case& c : cases) {
    MidiRig rig(clock, {"A", "B"});
    Ear b(clock);
    rig.end(1).SetReceiver([&](auto bytes, auto time) { b(bytes, time); });
    rig.in().PortOutSetEcho(c.mode, 0, 0, 5, c.options, 1, 9, 1);
    rig.Reply(c.in);
    clock.SleepMs(10);
    EXPECT_EQ(rig.ear.All(), FromHex(c.toA)) << c.mode << ' ' << c.in;
    EXPECT_EQ(b.All(), FromHex(c.toB)) << c.mode << ' ' << c.in;
    // From the instrument that the window plays: only with local off; mode 5 only from the default input.
    b.Clear();
    rig.end(1).Send(FromHex("903C40"));
    clock.SleepMs(10);
    EXPECT_TRUE(b.All().empty());
    rig.in().PortOutSetEcho(c.mode, 0, 0, 5, kEchoLocalOff, 1, 9, 1);
    rig.end(1).Send(FromHex("903C40"));
    clock.SleepMs(10);
    EXPECT_EQ(b.All().empty(), c.mode != 2 && c.mode != 4) << c.mode;
    rig.end(1).SetReceiver({});
  }
}

// However a stream is cut into pieces, and whether the receive is armed before it or in the middle of its first
// message, the same bytes are stored.
TEST_F(MidiInput, TheCutsBetweenPiecesMakeNoDifference) {
  std::mt19937 random(4711);
  const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  MidiOut out(clock);
  MidiIn in(clock, out);
  for (int round = 0; round < 2000; ++round) {
    std::vector<MidiBytes> messages;
    for (int i = 0; i < 6; ++i) {
      MidiBytes message = {0xF0, static_cast<std::uint8_t>(0x41 + below(3))};
      for (int n = below(8); n > 0; --n) message.push_back(static_cast<std::uint8_t>(below(3)));
      message.push_back(0xF7);
      messages.push_back(message);
    }
    ReceiveOptions options;
    options.acceptAny = static_cast<AcceptAny>(below(3));
    options.skip = below(4) == 0 ? below(6) : 0;
    options.hasAccept = below(3) == 0;
    options.accept = FromHex("F0FF01");
    if (below(3) == 0) options.decline = {FromHex("F04101"), FromHex("F042FF02")};
    if (below(3) == 0) options.end = FromHex("F043");
    if (below(3) == 0) options.sizes = {6, 12};
    const MidiBytes cancel = below(8) == 0 ? FromHex("F042F7") : MidiBytes();
    MidiBytes expected(static_cast<std::size_t>(1 + below(40)), 0xEE);
    MidiBytes actual = expected;
    int states[2];
    std::int64_t stored[2];
    for (const bool cut : {false, true}) {
      MidiInPort port(in, {}, 0);
      port.SetSysXCancel(cancel, nullptr);
      const bool late = cut && below(2);
      if (!late) port.SetReceive(cut ? actual : expected, options);
      bool armed = !late;
      for (const MidiBytes& message : messages) {
        for (std::size_t at = 0; at < message.size();) {
          const std::size_t count = cut ? 1 + static_cast<std::size_t>(below(4)) : message.size();
          const auto piece = std::span(message).subspan(at, std::min(count, message.size() - at));
          port.OnBytes(piece, 0);
          at += piece.size();
          if (!armed && at < message.size()) port.SetReceive(actual, options);
          if (!armed && at >= message.size()) port.SetReceive(actual, options), port.OnBytes(message, 0);
          armed = true;
        }
      }
      states[cut] = port.ReceiveState();
      stored[cut] = port.ClearReceive();
    }
    ASSERT_EQ(actual, expected) << round;
    ASSERT_EQ(stored[0], stored[1]) << round;
    ASSERT_EQ(states[0], states[1]) << round;
  }
}

// ---------------------------------------------------------------------------------------------------- rings

TEST_F(MidiInput, ReadersAreIndependentAndSeeTheOrderOfTime) {
  MidiRig rig(clock);
  MidiInReader one, two;
  rig.in().GetRingPositions(&one);
  rig.in().MidiInStartRecord();
  rig.in().GetRingPositions(&two);
  for (const char* message : {"903C40", "F04301F7", "803C00", "F04302F7"}) {
    rig.Reply(message);
    clock.SleepMs(5);
  }
  for (MidiInReader* reader : {&one, &two}) {
    std::string seen;
    MidiInRecord record;
    while (const int kind = rig.in().MidiInGetMsg(*reader, record))
      seen +=
          kind == 1 ? (record.message == 0x403C90 ? "on " : "off ") : "x" + std::to_string((*record.sysex)[2]) + " ";
    EXPECT_EQ(seen, "on x1 off x2 ");
  }
  rig.in().SetInAMidiStopMaintenance(true);
  rig.Reply("903C40");
  clock.SleepMs(1);
  MidiInRecord record;
  EXPECT_EQ(rig.in().MidiInGetMsg(one, record), 0);
}

TEST_F(MidiInput, AnOvertakenReaderGoesOnWithNow) {
  MidiRig rig(clock);
  rig.in().MidiInStartRecord();
  MidiInReader slow;
  rig.in().GetRingPositions(&slow);
  MidiInRecord record;
  for (int i = 0; i < 512; ++i) rig.Reply("903C40");
  ASSERT_TRUE(rig.end().Flush(1000));
  MidiInReader full = slow;
  int count = 0;
  while (rig.in().MidiInGetMsg(full, record)) ++count;
  EXPECT_EQ(count, 512);
  rig.Reply("903C40");
  ASSERT_TRUE(rig.end().Flush(1000));
  EXPECT_EQ(rig.in().MidiInGetMsg(slow, record), 0);
  rig.Reply("913C40");
  ASSERT_TRUE(rig.end().Flush(1000));
  EXPECT_EQ(rig.in().MidiInGetMsg(slow, record), 1);
  EXPECT_EQ(record.message, 0x403C91u);

  // SysEx: wraps in the middle of a message, truncates what is longer than the ring, laps a reader.
  MidiInReader reader;
  rig.in().GetRingPositions(&reader);
  for (const std::size_t length : {300000u, 300000u, 300000u}) {
    rig.end().Send(LongSysEx(length));
    ASSERT_TRUE(rig.end().Flush(1000));
    ASSERT_EQ(rig.in().MidiInGetMsg(reader, record), 2);
    EXPECT_EQ(*record.sysex, LongSysEx(length));
  }
  rig.end().Send(LongSysEx(800000));
  ASSERT_TRUE(rig.end().Flush(1000));
  EXPECT_EQ(rig.in().MidiInGetMsg(reader, record), 0);
  rig.Reply("F001F7");
  ASSERT_TRUE(rig.end().Flush(1000));
  ASSERT_EQ(rig.in().MidiInGetMsg(reader, record), 2);
  EXPECT_EQ(*record.sysex, FromHex("F001F7"));
  for (int i = 0; i < 101; ++i) rig.Reply("F002F7");
  ASSERT_TRUE(rig.end().Flush(1000));
  EXPECT_EQ(rig.in().MidiInGetMsg(reader, record), 0);
}

TEST_F(MidiInput, RecordingNestsAndCanBeForced) {
  MidiRig rig(clock);
  MidiIn& in = rig.in();
  in.MidiInStartRecord();
  in.MidiInStartRecord();
  in.MidiInStopRecord();
  EXPECT_EQ(in.MidiInGetRecord(), 1);
  in.MidiInStopRecord();
  EXPECT_EQ(in.MidiInGetRecord(), 0);
  EXPECT_EQ(in.InAMidiForceRecordState(1), 0);
  EXPECT_EQ(in.InAMidiForceRecordState(1), 0);
  EXPECT_EQ(in.MidiInGetRecord(), 1);
  EXPECT_EQ(in.InAMidiForceRecordState(-1), 0);
  in.SetMidiInBufferSize(1999);
  EXPECT_EQ(in.GetMidiInBufferSize(), 3000);
}

TEST_F(MidiInput, DistributionReachesEveryFrame) {
  MidiRig rig(clock);
  rig.in().MidiInStartRecord();
  rig.in().OpenDistributeThread();
  std::mutex mutex;
  std::vector<MidiInRecord> first, second;
  const auto collect = [&mutex](std::vector<MidiInRecord>& list) {
    return [&mutex, &list](const MidiInRecord& record) {
      std::lock_guard lock(mutex);
      list.push_back(record);
      return true;
    };
  };
  EXPECT_TRUE(rig.in().InAMidiSetFrame(&first, collect(first)));
  EXPECT_FALSE(rig.in().InAMidiSetFrame(&first, collect(first)));
  EXPECT_TRUE(rig.in().InAMidiSetFrame(&second, collect(second)));
  for (int i = 0; i < 50; ++i) rig.Reply(i % 2 ? "903C40" : "F04301F7");
  clock.SleepMs(50);
  rig.in().InAMidiClearFrame(&first);
  rig.in().InAMidiClearFrame(&second);
  EXPECT_EQ(first.size(), 50u);
  EXPECT_EQ(second.size(), 50u);
  rig.in().CloseDistributeThread();
}

// A port that filters acknowledges keeps them out of the data.
TEST_F(MidiInput, AcknowledgesStayOutOfTheData) {
  MidiRig rig(clock);
  rig.out().MidiOutWaitForAck(0, 0, FromHex("F041FF43F7"), 100);
  ASSERT_TRUE(rig.out().MidiOutWaitIdle(0));
  rig.in().GetMidiInPort(0)->SetFilterAcks(true);
  MidiBytes buffer(20, 0);
  rig.end().Send(FromHex("F0411042F7"), 1000);
  EXPECT_EQ(rig.in().GetDataPort(buffer, 0), 5);
  rig.end().Send(FromHex("F0411043F7"), 1000);
  EXPECT_EQ(rig.in().GetDataPort(buffer, 0), kReceivedNothing);
  EXPECT_EQ(buffer[3], 0x42);
}

}  // namespace
}  // namespace tonalith
