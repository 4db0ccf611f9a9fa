#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <new>
#include <thread>

#include "platform/clock.h"
#include "platform/jobs.h"
#include "platform/log.h"
#include "platform/prompts.h"
#include "platform/text.h"

namespace tonalith {
namespace {

TEST(Text, EveryByteSurvivesBothCodings) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  EXPECT_EQ(Utf8ToLatin1(Latin1ToUtf8(all)), all);
  EXPECT_EQ(Utf8ToCp1252(Cp1252ToUtf8(all)), all);
  EXPECT_TRUE(IsValidUtf8(Cp1252ToUtf8(all)));
  EXPECT_EQ(Cp1252ToUtf8("\x80\x9F"), "\xE2\x82\xAC\xC5\xB8");
  EXPECT_EQ(Utf8ToLatin1("a\xE2\x82\xAC\xFFz", '_'), "a__z");
}

TEST(Text, InvalidUtf8IsSeen) {
  for (const char* bad : {"\x80", "\xC0\xAF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC3", "\xF8\x88"}) {
    EXPECT_FALSE(IsValidUtf8(bad));
  }
  EXPECT_EQ(CutUtf8("ab\xC3\xA9", 3), "ab");
  EXPECT_EQ(CutUtf8("\xF0\x9F\x8E\xB9z", 3), "");
  EXPECT_EQ(CutUtf8("\x80\x80\x80\x80\x80\x80", 5).size(), 5u);
}

TEST(Text, WholeWords) {
  EXPECT_TRUE(AsciiHasWordNoCase("Yamaha DX7", "dx7"));
  EXPECT_TRUE(AsciiHasWordNoCase("dx7ii and DX7", "dx7"));
  EXPECT_TRUE(AsciiHasWordNoCase("Roland JV-1080", "jv"));
  for (const char* none : {"Yamaha DX7II", "XDX7", "", "dx"}) EXPECT_FALSE(AsciiHasWordNoCase(none, "dx7")) << none;
  EXPECT_FALSE(AsciiHasWordNoCase("anything", ""));
}

TEST(Text, Numbers) {
  const struct {
    const char* text;
    int leading;
    std::optional<std::int64_t> whole;
  } rows[] = {{" 12 ", 12, 12},
              {"-0x10", -16, -16},
              {"0x", 0, std::nullopt},
              {"+7z", 7, std::nullopt},
              {"", 0, std::nullopt},
              {"--1", 0, std::nullopt},
              {"99999999999", 2147483647, 99999999999},
              {"-99999999999", INT32_MIN, -99999999999},
              {"1.5", 1, std::nullopt}};
  for (const auto& row : rows) {
    EXPECT_EQ(LeadingInteger(row.text), row.leading) << row.text;
    EXPECT_EQ(ParseInteger(row.text), row.whole) << row.text;
  }
  EXPECT_EQ(ParseReal(" +2.5 "), 2.5);
  EXPECT_EQ(ParseReal("2,5"), std::nullopt);
  EXPECT_EQ(FormatReal(0.1), "0.1");
  EXPECT_EQ(FormatFixed(2.0 / 3, 2), "0.67");
  EXPECT_EQ(Printf("%s-%0300d", "x", 7).size(), 302u);
  char small[4];
  EXPECT_FALSE(CopyText(small, "abcd"));
  EXPECT_STREQ(small, "abc");
}

TEST(Dispatcher, CallsArriveInOrderOnTheTargetAndOnlyForLivingReceivers) {
  int wakeUps = 0;
  Dispatcher dispatcher;
  dispatcher.SetWakeUp([&] { ++wakeUps; });
  std::string order;
  auto gone = std::make_unique<Receiver>();
  Receiver alive;
  auto owned = std::make_unique<int>(5);
  dispatcher.Post([&order, value = std::move(owned)] { order += std::to_string(*value); });
  dispatcher.PostTo(*gone, [&] { order += "X"; });
  dispatcher.PostTo(alive, [&] {
    order += "a";
    dispatcher.Post([&] { order += "later"; });
  });
  gone.reset();
  EXPECT_EQ(wakeUps, 1);
  dispatcher.RunQueued();
  EXPECT_EQ(order, "5a");
  EXPECT_GE(wakeUps, 2);
  dispatcher.RunQueued();
  EXPECT_EQ(order, "5alater");
}

TEST(Dispatcher, ACallThatRunsTheLoopDoesNotHoldUpThoseBehindIt) {
  Dispatcher dispatcher;
  int wakeUps = 0;
  dispatcher.SetWakeUp([&] { ++wakeUps; });
  std::string order;
  // A main loop runs the queue when it was woken, and not before.
  const auto loop = [&] {
    while (wakeUps > 0) {
      --wakeUps;
      dispatcher.RunQueued();
    }
  };
  dispatcher.Post([&] { order += "1"; });
  dispatcher.Post([&] {
    order += "(";
    loop();
    dispatcher.Post([&] { order += "4"; });
    loop();
    order += ")";
  });
  for (const char* text : {"2", "3"}) dispatcher.Post([&order, text] { order += text; });
  loop();
  EXPECT_EQ(order, "1(234)");
}

TEST(Dispatcher, WaitingCallsEndWithTheirResultOrWithoutHavingRun) {
  Dispatcher dispatcher;
  std::atomic<int> ran{0};
  std::atomic<int> finished{0};
  CancelToken given;
  std::thread patient([&] {
    EXPECT_TRUE(dispatcher.Call([&] { ++ran; }));
    ++finished;
  });
  EXPECT_TRUE(dispatcher.RunUntil([&] { return finished == 1; }, SystemClock().NowUs() + 5'000'000));
  std::thread impatient([&] {
    EXPECT_FALSE(dispatcher.Call([&] { ran += 100; }, given));
    ++finished;
  });
  given.Cancel();
  impatient.join();
  dispatcher.RunQueued();
  std::thread late([&] { EXPECT_FALSE(dispatcher.Call([&] { ran += 100; })); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  dispatcher.Close();
  late.join();
  patient.join();
  EXPECT_EQ(ran, 1);
  EXPECT_FALSE(dispatcher.Post([] {}));
}

TEST(Jobs, ResultsComeBackAndCancelledOnesDoNot) {
  Dispatcher dispatcher;
  Jobs jobs(SystemClock(), 2);
  Receiver receiver;
  int sum = 0;
  for (int i = 1; i <= 20; ++i) {
    jobs.Start(
        dispatcher, receiver, [i](const CancelToken&) { return std::make_unique<int>(i); },
        [&](std::unique_ptr<int> value) { sum += *value; });
  }
  EXPECT_TRUE(dispatcher.RunUntil([&] { return sum == 210; }, SystemClock().NowUs() + 5'000'000));
  bool told = false;
  jobs.Start(
      dispatcher, receiver,
      [](const CancelToken& cancel) {
        while (!cancel.Cancelled()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return 1;
      },
      [&](int) { told = true; });
  jobs.StopAll();
  dispatcher.RunQueued();
  EXPECT_FALSE(told);
  EXPECT_TRUE(jobs.Start([&](const CancelToken&) { told = true; }).Cancelled());
  EXPECT_FALSE(told);
}

// What runs out of memory ends; the loop, the pool and whoever waits go on.
TEST(Jobs, ShortMemoryEndsTheWorkAlone) {
  const auto exhaust = [] { throw std::bad_alloc(); };
  Dispatcher dispatcher;
  int told = 0;
  int ran = 0;
  dispatcher.SetShortMemory([&told] { ++told; });
  dispatcher.Post(exhaust);
  dispatcher.Post([&ran] { ++ran; });
  dispatcher.RunQueued();
  EXPECT_EQ(told, 1);
  EXPECT_EQ(ran, 1);
  bool whole = true;
  WorkerThread waits(SystemClock(), [&] {
    whole = dispatcher.Call(exhaust);
    exhaust();
  });
  EXPECT_TRUE(dispatcher.RunUntil([&told] { return told == 2; }, SystemClock().NowUs() + 5'000'000));
  waits.Join();
  EXPECT_FALSE(whole);
  Jobs jobs(SystemClock(), 1);
  std::atomic<int> done{0};
  jobs.Start([&](const CancelToken&) { exhaust(); });
  jobs.Start([&](const CancelToken&) { ++done; });
  EXPECT_TRUE(jobs.WaitIdle(5'000));
  EXPECT_EQ(done, 1);
}

TEST(Jobs, RunInVirtualTime) {
  VirtualClock clock;
  ClockThread here(clock);
  Jobs jobs(clock, 3);
  const std::int64_t start = clock.NowUs();
  for (int i = 0; i < 3; ++i) jobs.Start([&](const CancelToken& cancel) { clock.SleepMs(60'000, &cancel); });
  EXPECT_TRUE(jobs.WaitIdle(120'000));
  EXPECT_EQ(clock.NowUs() - start, 60'000'000);
}

TEST(Prompts, ScriptAnswersByOrderAndTitleAndIsLogged) {
  ScriptedPrompts prompts({"Save: no", "yes", "file /tmp/a b", "Rename: text Caf\xC3\xA9", "maybe: file"});
  MessagePrompt question;
  question.title = "Bank";
  question.text = "Sure?\nReally?";
  question.buttons = PromptButtons::YesNo;
  EXPECT_EQ(prompts.Message(question), PromptAnswer::Yes);
  question.title = "Save File";
  EXPECT_EQ(prompts.Message(question), PromptAnswer::No);
  EXPECT_EQ(prompts.File({"Open", "", "x", {}, false}), "/tmp/a b");
  std::string text = "old";
  TextPrompt name{"Rename Patch", "Name", "", 4};
  EXPECT_TRUE(prompts.Text(name, text));
  EXPECT_EQ(text, "Caf");
  EXPECT_FALSE(prompts.Text(name, text));
  question.buttons = PromptButtons::AbortRetryIgnore;
  EXPECT_EQ(prompts.Message(question), PromptAnswer::Abort);
  EXPECT_EQ(prompts.Log().front(), "Bank | Sure?\\nReally? | yes no -> yes");
  EXPECT_EQ(prompts.Log().size(), 6u);
}

TEST(Log, KeepsTheLastThousandLinesAndTellsSinks) {
  Log& log = Log::Instance();
  int heard = 0;
  const int id = log.AddSink([&](LogChannel channel, std::string_view) { heard += channel == LogChannel::Monitor; });
  for (int i = 0; i < 2500; ++i) MonitorMsg("line %d\n", i);
  log.RemoveSink(id);
  MonitorMsg("unheard");
  EXPECT_EQ(heard, 2500);
  const auto lines = log.Lines(LogChannel::Monitor);
  ASSERT_EQ(lines.size(), 1000u);
  EXPECT_EQ(lines.back(), "unheard");
  EXPECT_EQ(lines.front(), "line 1501");
}

}  // namespace
}  // namespace tonalith
