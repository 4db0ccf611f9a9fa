#include <gtest/gtest.h>

#include "midi/port_system.h"
#include "platform/clock.h"
#include "platform/log.h"
#include "tools/held_notes.h"
#include "tools/monitor_document.h"
#include "tools/sysex_words.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Monitor : ::testing::Test {
  Monitor() : here(clock), midi(clock), registry(midi.in(), midi.out(), clock), document(registry) {}

  void In(const Bytes& message, int port = 0) { registry.MidiInMonitor(port, message); }
  void Out(const Bytes& message, int port = 0) { registry.ZKMonMidiOutMonitor(port, message); }
  std::vector<std::string> Texts() {
    std::vector<std::string> texts;
    for (const auto& line : document.lines()) {
      std::string text;
      line->AppendString(text);
      texts.push_back(text);
    }
    return texts;
  }

  VirtualClock clock;
  ClockThread here;
  MidiPortSystem midi;
  MonitorRegistry registry;
  MonitorDocument document;
};

}  // namespace

TEST(MonitorLines, WordsOfMessages) {
  struct Row {
    Bytes message;
    const char* text;
  };
  Bytes bank(4104, 0);
  bank[0] = 0xF0;
  Bytes large(65536, 0);
  large[0] = 0xF0;
  const Row rows[] = {
      {{0x90, 0x3C, 0x40}, "90 3C 40 Note On=C 4 Vel=64 Ch=1"},
      {{0x81, 0x00, 0x00}, "81 00 00 Note Off=C -1 Vel=0 Ch=2"},
      {{0xAF, 0x7F, 0x7F}, "AF 7F 7F P. Atch Note=G 9 Amt=127 Ch=16"},
      {{0xB0, 0x07, 0x64}, "B0 07 64 Controller #7 Amt=100 Ch=1"},
      {{0xC3, 0x05}, "C3 05 Patch Change #5 Ch=4"},
      {{0xD0, 0x7F}, "D0 7F Aftertouch Amt=127 Ch=1"},
      {{0xE0, 0x00, 0x40}, "E0 00 40 PWheel Amt=0 Ch=1"},
      {{0xE0, 0x00, 0x00}, "E0 00 00 PWheel Amt=-8192 Ch=1"},
      {{0xF1, 0x71}, "F1 71 Midi Time Code (Val = 113)"},
      {{0xF2, 0x01, 0x02}, "F2 01 02 Song Position Pointer (Val:257)"},
      {{0xF3, 0x09}, "F3 09 Song Select (Song: 9)"},
      {{0xF6}, "F6 Tune Request"},
      {{0xF8}, "F8"},
      {{0xF4}, "F4"},
      {{0xFA}, "FA Sequence Start"},
      {{0xFB}, "FB Sequence Continue"},
      {{0xFC}, "FC Sequence Stop"},
      {{0xFE}, "FE Active Sensing"},
      {{0xFF}, "FF System Reset"},
      {{0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7}, "F0 7E 7F 06 01 F7   0006H (6)"},
      {bank, "F0 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00   1008H (>> 4104)"},
      {large, "F0 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00   10000H (>> LARGE)"},
  };
  for (const Row& row : rows) EXPECT_EQ(MonitorText(row.message), row.text);
}

TEST_F(Monitor, PortLinesStandBeforeMessagesOfAnotherPort) {
  In({0x90, 60, 64}, 0);
  clock.SleepMs(1500);
  In({0x80, 60, 64}, 0);
  Out({0xF8}, 1);
  document.Process();
  EXPECT_EQ(Texts(),
            (std::vector<std::string>{"0.000\t0\tMIDI IN: unassigned", "0.000\t0\t90 3C 40 Note On=C 4 Vel=64 Ch=1",
                                      "1.500\t1500\t80 3C 40 Note Off=C 4 Vel=64 Ch=1",
                                      "1.500\t0\tMIDI OUT: unassigned", "1.500\t0\tF8"}));
  EXPECT_TRUE(document.PortLit(1));
  clock.SleepMs(101);
  EXPECT_FALSE(document.PortLit(1));
}

TEST_F(Monitor, WhatIsLeftOutIsNeitherShownNorSaved) {
  document.Show(MonitorKind::SysX, false);
  document.Show(MonitorKind::NoteOff, false);
  for (const Bytes& message : {Bytes{0xF0, 1, 0xF7}, Bytes{0x80, 1, 2}, Bytes{0x90, 1, 2}, Bytes{0xC0, 9}, Bytes{0xFE}})
    In(message);
  document.Process();
  std::size_t shortened = 0;
  EXPECT_EQ(document.FileBytes(&shortened), (Bytes{0x90, 1, 2, 0xC0, 9}));
  EXPECT_EQ(shortened, 0U);
  EXPECT_EQ(document.MidiData(true, false), (Bytes{0x90, 1, 2, 0xC0, 9, 0xFE}));
  document.Show(MonitorKind::SysX, true);
  document.Process();
  EXPECT_EQ(document.lines().size(), 4U) << "a filter that is taken away brings nothing back";
  document.ShowInput(false);
  In({0x90, 1, 2});
  Out({0x91, 1, 2});
  document.Process();
  EXPECT_EQ(document.MidiData(true, true).size(), 9U);
  EXPECT_EQ(document.MidiData(false, true), (Bytes{0x91, 1, 2}));
}

TEST_F(Monitor, LongSysExIsKeptWholeOnlyWhenAsked) {
  Bytes message(100, 0x11);
  message.front() = 0xF0;
  message.back() = 0xF7;
  In(message);
  document.Process();
  std::size_t shortened = 0;
  EXPECT_EQ(document.FileBytes(&shortened), Bytes(message.begin(), message.begin() + 16));
  EXPECT_EQ(shortened, 1U);
  document.OnEditClear();
  document.KeepComplete(true);
  In(message);
  document.Process();
  EXPECT_EQ(document.FileBytes(&shortened), message);
  EXPECT_EQ(shortened, 0U);
}

TEST_F(Monitor, AFloodIsTakenInPassesAndTheOldestLinesGo) {
  for (int i = 0; i < 5000; ++i) In({0x90, 1, 2});
  document.Process();
  EXPECT_EQ(document.lines().size(), 2001U);
  document.ClearQueue();
  document.Process();
  EXPECT_EQ(document.lines().size(), 2001U);
  for (int pass = 0; pass < 501; ++pass) {
    for (int i = 0; i < 2000; ++i) In({0x90, 1, 2});
    document.Process();
  }
  EXPECT_LE(document.lines().size(), kMonitorMaxLines);
  EXPECT_EQ(document.dropped() % kMonitorDrop, 0U);
  EXPECT_GT(document.dropped(), 0U);
}

TEST_F(Monitor, MessagesThatFindNoRoomAreCounted) {
  const Bytes big(1 << 20, 0x01);
  for (int i = 0; i < 70; ++i) In(big);
  document.Process();
  EXPECT_NE(Texts().back().find("6 messages came too fast"), std::string::npos) << Texts().back();
}

TEST_F(Monitor, TextsOfTheProgramAreShownAndThoseFromBeforeWhenAskedFor) {
  MonitorMsg("before the monitor %d", 1);
  MonitorDocument late(registry);
  MonitorMsg("while it is open\n");
  late.Process();
  EXPECT_EQ(late.lines().size(), 1u) << late.Text();
  EXPECT_NE(late.Text().find("\twhile it is open\r\n"), std::string::npos);
  EXPECT_GE(late.Earlier(), 1u);
  late.ShowEarlier();
  late.Process();
  EXPECT_EQ(late.Earlier(), 0u);
  EXPECT_NE(late.Text().find("\tbefore the monitor 1\r\n"), std::string::npos);
  late.AddStatus("STATUS", "port(s) added");
  EXPECT_NE(late.Text().find("\tSTATUS: port(s) added\r\n"), std::string::npos);
}

TEST(HeldNotesTest, NotesGoUpByAnyMessageThatEndsThem) {
  HeldNotes held;
  EXPECT_TRUE(held.MonEvent(Bytes{0x90, 60, 100}, 0));
  EXPECT_TRUE(held.MonEvent(Bytes{0x95, 60, 100}, 1));
  EXPECT_FALSE(held.MonEvent(Bytes{0x90, 60, 90}, 0));
  EXPECT_EQ(held.Channels(60), 0x21);
  EXPECT_TRUE(held.MonEvent(Bytes{0x90, 60, 0}, 0));
  EXPECT_EQ(held.Channels(60), 0x20);
  EXPECT_FALSE(held.MonEvent(Bytes{0xB0, 123, 0}, 1)) << "another channel";
  EXPECT_TRUE(held.MonEvent(Bytes{0xB5, 123, 0}, 1));
  held.MonEvent(Bytes{0x90, 1, 1}, 3);
  held.MonClearNotes(3);
  EXPECT_EQ(held.Channels(1), 0);
}

TEST(SysExWordsTest, UniversalMessages) {
  EXPECT_EQ(UniversalSysExWords(Bytes{0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7}), "Identity Request");
  EXPECT_EQ(UniversalSysExWords(Bytes{0xF0, 0x7E, 0, 6, 2, 0x41, 0x14, 0, 0, 1, 1, 2, 3, 4, 0xF7}),
            "Identity Reply: maker 41, family 14 00, member 00 01, version 1.2.3.4");
  EXPECT_EQ(UniversalSysExWords(Bytes{0xF0, 0x7E, 0, 6, 2, 0, 0x20, 0x2B, 1, 2, 0xF7}), "Identity Reply");
  EXPECT_EQ(UniversalSysExWords(Bytes{0xF0, 0x41, 0, 6, 2, 0xF7}), "");
}

}  // namespace tonalith
