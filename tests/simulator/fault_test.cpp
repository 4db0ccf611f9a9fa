#include "simulator/conversation.h"
#include "simulator/wire_codecs.h"
#include "tests/simulator/simulator_test_tools.h"

namespace tonalith::simulator_test {
namespace {

Bytes AnswerWith(const char* faults, const char* key = "yamaha-dx7", const char* request = "F0 43 20 00 F7") {
  std::string problem;
  const auto plan = FaultPlan::Parse(faults, &problem);
  EXPECT_TRUE(plan.has_value()) << problem;
  auto instrument = Make(key);
  instrument->SetFaults(plan.value_or(FaultPlan()));
  return Host(*instrument).Ask(request);
}

TEST(Faults, DamageTheAnswerAsTold) {
  const Bytes whole = AnswerWith("");
  ASSERT_EQ(whole.size(), 163U);
  Bytes expected = whole;
  expected.erase(expected.begin() + 81);
  EXPECT_EQ(AnswerWith("lost-byte"), expected);
  expected = whole;
  expected[20] = 0x55;
  EXPECT_EQ(AnswerWith("corrupt-byte:at=20,value=0x55"), expected);
  EXPECT_EQ(AnswerWith("truncated-reply:at=30"), Bytes(whole.begin(), whole.begin() + 30));
  expected = whole;
  expected.insert(expected.begin() + 10, 0xFE);
  EXPECT_EQ(AnswerWith("realtime-inside:at=10,value=0xFE"), expected);
  expected = whole;
  expected[2] = 0x01;
  EXPECT_EQ(AnswerWith("wrong-device"), expected);
  EXPECT_TRUE(AnswerWith("no-reply").empty());
  EXPECT_EQ(AnswerWith("double-reply").size(), 326U);
  EXPECT_EQ(AnswerWith("foreign-first").size(), 169U);
  EXPECT_TRUE(AnswerWith("lost-byte:direction=in,at=3").empty());
  EXPECT_EQ(AnswerWith("lost-byte:reply=2"), whole);
  EXPECT_EQ(AnswerWith("port-vanishes:at=100").size(), 95U);  // five bytes went the other way
}

// Whatever engine speaks for the instrument, its cable can fail, and what is refused leaves memory as it was.
TEST(Faults, StrikeEveryProtocol) {
  struct Case {
    const char* key;
    const char* request;  // empty: it answers nothing
    const char* message;  // data that is refused once
    int item;
  };
  const Case cases[] = {
      {"korg-dw6000", "F0 42 30 04 10 F7", "program", 5},
      {"yamaha-fb01", "F0 43 75 00 20 01 00 F7", "voice", 2},
      {"roland-jx8p", "", "stored_tone", 5},
      {"novation-bassstation2", "F0 00 20 29 00 33 00 40 F7", "program", 5},
      {"behringer-pro800", "F0 00 20 32 00 01 24 00 77 05 00 F7", "program", 5},
      {"roland-jd800", "F0 41 10 3D 11 02 00 00 00 00 19 65 F7", "part_temporary", 2},
      {"emu-proteus2000", "F0 18 0F 00 55 11 04 7F 7F 00 00 F7", "presets", 5},
      {"kawai-k5000", "F0 40 00 00 00 0A 20 00 07 F7", "singles_a", 5},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.key);
    if (*test.request != '\0') {
      const Bytes whole = AnswerWith("", test.key, test.request);
      EXPECT_FALSE(whole.empty());
      EXPECT_NE(AnswerWith("no-reply", test.key, test.request), whole);
      EXPECT_EQ(AnswerWith("lost-byte", test.key, test.request).size() + 1, whole.size());
      EXPECT_TRUE(AnswerWith("lost-byte:direction=in,at=4", test.key, test.request) != whole);
    }
    auto instrument = Make(test.key);
    auto other = Make(test.key);
    ASSERT_TRUE(instrument->RestoreMemory(Bytes(other->Memory().size(), 0)));
    instrument->SetMemoryProtect(false);
    std::string problem;
    instrument->SetFaults(*FaultPlan::Parse("refuse-once", &problem));
    const Bytes before = instrument->Memory();
    Host host(*instrument);
    const auto messages = ScanSysEx(other->DumpOf(test.message, test.item));
    ASSERT_FALSE(messages.empty());
    host.Ask(messages.front());
    EXPECT_TRUE(instrument->Memory() == before);
    for (const int round : {1, 2})
      for (const Bytes& message : messages) EXPECT_LE(host.Ask(message).size(), 11U) << round;
    EXPECT_TRUE(instrument->Memory() != before);
  }
}

TEST(Faults, ServiceFaultsPassAway) {
  std::string problem;
  auto m1 = Make("korg-m1");
  m1->SetFaults(*FaultPlan::Parse("busy-once;refuse-once", &problem));
  Host host(*m1);
  EXPECT_EQ(host.Ask("F0 42 30 19 1C 00 F7"), Hex("F0 42 30 19 24 F7"));
  const Bytes bank = host.Ask("F0 42 30 19 1C 00 F7");
  ASSERT_EQ(bank.size(), 16350U);
  EXPECT_EQ(host.Ask(bank), Hex("F0 42 30 19 24 F7"));
  EXPECT_EQ(host.Ask(bank), Hex("F0 42 30 19 23 F7"));
  auto d50 = Make("roland-d50");
  d50->SetFaults(*FaultPlan::Parse("late-reply:delay=3000;port-vanishes:at=400", &problem));
  Host slow(*d50);
  const auto replies = slow.Talk(Hex("F0 41 00 14 11 00 00 00 00 03 40 3D F7"));
  ASSERT_EQ(replies.size(), 2U);
  EXPECT_GE(replies[0].delayUs, 3'000'000);
  EXPECT_GE(replies[1].delayUs, replies[0].delayUs);
  EXPECT_TRUE(d50->vanished());
  EXPECT_TRUE(slow.Ask("F0 41 00 14 11 00 00 00 00 03 40 3D F7").empty());
  d50->PlugInAgain();
  EXPECT_FALSE(slow.Ask("F0 41 00 14 11 00 00 00 00 03 40 3D F7").empty());
}

TEST(Faults, TextFormNamesWhatIsWrong) {
  std::string problem;
  EXPECT_FALSE(FaultPlan::Parse("smoke", &problem));
  EXPECT_EQ(problem, "There is no fault \"smoke\".");
  EXPECT_FALSE(FaultPlan::Parse("no-reply:colour=3", &problem));
  EXPECT_EQ(problem, "\"colour=3\" is no setting of the fault no-reply.");
  for (const auto name : FaultPlan::Names()) EXPECT_TRUE(FaultPlan::Parse(name, &problem)) << name;
}

TEST(Conversations, PlayTheOtherPart) {
  std::string problem;
  const auto talk =
      Conversation::Parse("# a voice\nOUT F0 43 20 ?? F7\nWAIT 20\nIN F04300F7\nIN FE\nOUT C0 05\n", &problem);
  ASSERT_TRUE(talk) << problem;
  ConversationPlayer player(*talk);
  EXPECT_TRUE(player.Start().empty());
  EXPECT_TRUE(player.OnBytes(Hex("F0 43 20")).empty());
  EXPECT_EQ(player.Verdict(), "Line 2: only 3 of 5 expected bytes were sent.");
  const auto replies = player.OnBytes(Hex("09 F7"));
  ASSERT_EQ(replies.size(), 2U);
  EXPECT_EQ(replies[0].bytes, Hex("F0 43 00 F7"));
  EXPECT_EQ(replies[0].delayUs, 20000);
  EXPECT_FALSE(player.Finished());
  ConversationPlayer wrong = player;
  wrong.OnBytes(Hex("C0 06"));
  EXPECT_EQ(wrong.problem(), "Line 6: expected 05 at byte 2 of 2 but got 06.");
  player.OnBytes(Hex("C0 05"));
  EXPECT_TRUE(player.Finished());
  EXPECT_EQ(player.Verdict(), "");
  player.OnBytes(Hex("C0"));
  EXPECT_EQ(player.Verdict(), "After the last line: C0 was sent although nothing more was expected.");
}

TEST(Conversations, BadLinesAreNamed) {
  const std::pair<const char*, const char*> cases[] = {
      {"IN", "Line 1: no bytes are given."},
      {"OUT F0 4", "Line 1: the hex digits do not come in pairs."},
      {"\nIN F0 ??", "Line 2: \"??\" is no pair of hex digits."},
      {"WAIT -1", "Line 1: WAIT takes 0 to 3600000 milliseconds."},
      {"HELLO", "Line 1: a line begins with OUT, IN or WAIT."},
  };
  for (const auto& [text, expected] : cases) {
    std::string problem;
    EXPECT_FALSE(Conversation::Parse(text, &problem)) << text;
    EXPECT_EQ(problem, expected);
  }
}

}  // namespace
}  // namespace tonalith::simulator_test
