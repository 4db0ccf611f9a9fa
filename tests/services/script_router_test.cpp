#include "services/script_router.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/jobs.h"
#include "script/compiler.h"
#include "script/interpreter.h"
#include "script/script_services.h"
#include "services/hosts.h"
#include "services/main_window_messages.h"

namespace tonalith {
namespace {

constexpr auto kEditor = ScriptReceiver::EditorDocument;

// This thread is the user-interface thread of the router; scripts run on others.
class RouterTest : public testing::Test {
 protected:
  // Runs queued calls until the other thread has done its work; true when it did within ten seconds.
  bool Serve(const std::function<void()>& work) {
    std::atomic<bool> done{false};
    std::thread other([&] {
      work();
      done.store(true);
      dispatcher_.Post([] {});
    });
    const bool ended =
        dispatcher_.RunUntil([&] { return done.load(); }, SystemClock().NowUs() + std::int64_t{10'000'000});
    if (!ended) router_.Close();
    other.join();
    return ended;
  }
  std::int64_t Ask(std::uint16_t number, std::int64_t wParam = 0, ScriptReceiver receiver = kEditor) {
    ScriptMessage message;
    message.number = number;
    message.wParam = wParam;
    return router_.Send(receiver, message, cancel_);
  }

  Dispatcher dispatcher_;
  ScriptRouter router_{dispatcher_, SystemClock()};
  CancelToken cancel_;
};

class HostedServices final : public ScriptServices {
 public:
  explicit HostedServices(ScriptHost& host) : host_(host) {}
  ScriptHost* Host() override { return &host_; }

 private:
  ScriptHost& host_;
};

// Statements of every way of calling, from a script on its own thread to receivers on this one.
TEST_F(RouterTest, ScriptsReachTheirReceivers) {
  const auto here = std::this_thread::get_id();
  ZKAppVars vars;
  MainWindowMessages mainWindow(router_, vars);
  int updates = 0;
  mainWindow.SetWindow({[&] { ++updates; }});
  const auto editor = router_.RegisterReceiver(kEditor, [&](const ScriptMessage& message) -> std::int64_t {
    EXPECT_EQ(std::this_thread::get_id(), here);
    if (message.request) {  // what a request brings back lies in its record
      message.request->result = message.request->parameter1 * 100;
      return 7;
    }
    return message.lParam * 10;
  });
  struct Case {
    const char* script;
    std::int32_t x;
  };
  const Case cases[] = {{"SetAppVar 5 42\nGetAppVar 5\n", 42},
                        {"GetAppVar 9\n", -1},
                        {"GetAppVarGUID\n", 1},
                        {"HXCOLLECTIONIDMAP 1 2\n", -1},
                        {"HXGetVersionInfo 1 2\n", -1},
                        {"GETMIN 4\n", 40},
                        {"FRX 3 0 0\n", 300},
                        {"HXOpenUpdateDlg\n", 0},
                        {"GrpIDExists 3\n", 0}};
  for (const Case& c : cases) {
    const CompileResult compiled = CompileScript(c.script);
    ASSERT_TRUE(compiled.ok()) << c.script << compiled.report;
    MacroOutcome outcome;
    std::vector<std::uint8_t> image(16);
    EXPECT_TRUE(Serve([&] {
      HostedServices services(router_);
      TransferContext context;
      Synth synth{};
      outcome = RunTransferMacro(services, context, synth, compiled.code, MacroBuffer(image, image.size()), 0, 0);
    }));
    EXPECT_EQ(outcome.registers[1], c.x) << c.script;
  }
  dispatcher_.RunQueued();
  EXPECT_EQ(updates, 1);
  EXPECT_EQ(vars.GetAppVar(5), 42);
}

// Nobody answers, for every reason; each time the script goes on and nothing is called behind its back.
TEST_F(RouterTest, SilenceIsAnsweredWithZero) {
  int calls = 0;
  const auto count = [&](const ScriptMessage&) -> std::int64_t { return ++calls; };
  std::int64_t answer = -1;
  EXPECT_TRUE(Serve([&] { answer = Ask(1); }));
  EXPECT_EQ(answer, 0) << "nobody registered";

  auto editor = router_.RegisterReceiver(kEditor, count);
  std::thread([&] { cancel_.Cancel(), answer = Ask(3); }).join();
  EXPECT_EQ(answer, 0) << "cancelled before";
  cancel_.Reset();
  {
    std::thread script([&] { answer = Ask(4); });
    SystemClock().SleepMs(5);
    cancel_.Cancel();
    script.join();
    EXPECT_EQ(answer, 0) << "cancelled while waiting";
    cancel_.Reset();
  }
  {
    std::thread script([&] { answer = Ask(6); });
    SystemClock().SleepMs(5);
    editor.End();
    script.join();
    EXPECT_EQ(answer, 0) << "the receiver went away";
  }
  editor = router_.RegisterReceiver(kEditor, count);
  {
    std::thread script([&] { answer = Ask(7); });
    SystemClock().SleepMs(5);
    dispatcher_.Close();
    script.join();
    EXPECT_EQ(answer, 0) << "the queue was dropped";
  }
  router_.Close();
  std::thread([&] { answer = Ask(8); }).join();
  EXPECT_EQ(answer, 0) << "the program ends";
  EXPECT_EQ(calls, 0);
}

// A handler that opened a dialog keeps its own copy when the script does not wait any longer.
TEST_F(RouterTest, ScriptsGiveUpARunningHandler) {
  std::atomic<bool> left{false};
  std::vector<std::int32_t> seen;
  const auto editor = router_.RegisterReceiver(kEditor, [&](const ScriptMessage& message) -> std::int64_t {
    cancel_.Cancel();
    while (!left.load()) SystemClock().SleepMs(1);
    EXPECT_EQ(reinterpret_cast<std::int32_t*>(message.lParam), message.record.data());
    message.record[1] = 99;
    seen.assign(message.record.begin(), message.record.end());
    return 5;
  });
  std::int64_t answer = -1;
  EXPECT_TRUE(Serve([&] {
    auto record = std::make_unique<std::int32_t[]>(2);
    record[0] = 1, record[1] = 2;
    ScriptMessage message;
    message.record = {record.get(), 2};
    message.lParam = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(record.get()));
    answer = router_.Send(kEditor, message, cancel_);
    EXPECT_EQ(record[1], 2);
    record.reset();
    left.store(true);
  }));
  EXPECT_EQ(answer, 0);
  EXPECT_EQ(seen, (std::vector<std::int32_t>{1, 99}));
}

TEST_F(RouterTest, HandlersMayEndThemselvesAndTheCurrentOneIsMeant) {
  ScriptRouter::Registration first, second;
  first = router_.RegisterReceiver(kEditor, [&](const ScriptMessage&) -> std::int64_t { return 1; });
  second = router_.RegisterReceiver(kEditor, [&](const ScriptMessage& message) -> std::int64_t {
    if (message.wParam == 9) second.End();
    return 2;
  });
  std::vector<std::int64_t> answers;
  EXPECT_TRUE(Serve([&] {
    answers.push_back(Ask(1));
    dispatcher_.Call([&] { router_.MakeCurrent(first); });
    answers.push_back(Ask(1));
    dispatcher_.Call([&] { router_.MakeCurrent(second); });
    answers.push_back(Ask(1, 9));
    answers.push_back(Ask(1));
  }));
  EXPECT_EQ(answers, (std::vector<std::int64_t>{1 + 1, 1, 2, 1}));
  EXPECT_EQ(Ask(1), 1) << "on this thread the receiver is called at once";
}

TEST_F(RouterTest, ComponentsAreFoundByTheirNumber) {
  const auto document = router_.RegisterComponent(
      ScriptReceiver::ComponentDocument, [](const ScriptMessage&) -> std::int64_t { return 11; }, true);
  const auto window = router_.RegisterComponent(
      ScriptReceiver::ComponentWindow, [](const ScriptMessage&) -> std::int64_t { return 12; }, false);
  EXPECT_TRUE(router_.IsPatchEditor(document.id()));
  EXPECT_FALSE(router_.IsPatchEditor(window.id()));
  EXPECT_FALSE(router_.IsPatchEditor(0));
  ScriptMessage message;
  message.component = document.id();
  EXPECT_EQ(router_.Send(ScriptReceiver::ComponentDocument, message, cancel_), 11);
  EXPECT_EQ(router_.Send(ScriptReceiver::ComponentWindow, message, cancel_), 0);
}

TEST_F(RouterTest, PostedMessagesKeepTheirOrderAndTheirReceiver) {
  std::vector<std::int64_t> seen;
  auto first = router_.RegisterReceiver(kEditor, [&](const ScriptMessage& message) -> std::int64_t {
    seen.push_back(message.wParam + (message.record.empty() ? 0 : 100 * message.record[4]));
    return 0;
  });
  std::thread([&] {
    for (int i = 0; i < 5; ++i) {
      PostedScriptMessage message;
      message.wParam = i;
      if (i == 3) message.record = {{0, 1, 2, 3, 4}};
      EXPECT_TRUE(router_.Post(kEditor, message));
    }
    EXPECT_FALSE(router_.Post(ScriptReceiver::SetDocument, {}));
  }).join();
  EXPECT_TRUE(seen.empty());
  dispatcher_.RunQueued();
  EXPECT_EQ(seen, (std::vector<std::int64_t>{0, 1, 2, 403, 4}));
  std::thread([&] { router_.Post(kEditor, {}); }).join();
  first.End();
  const auto next = router_.RegisterReceiver(kEditor, [&](const ScriptMessage&) -> std::int64_t {
    ADD_FAILURE() << "meant for another";
    return 0;
  });
  dispatcher_.RunQueued();
  EXPECT_EQ(seen.size(), 5u);
}

TEST_F(RouterTest, TheTestEventIsAwaited) {
  auto editor = router_.RegisterReceiver(kEditor, [](const ScriptMessage&) -> std::int64_t { return 0; });
  EXPECT_FALSE(router_.HasTestEvent());
  router_.SetTestEvent(true);
  const auto awaited = [&](const std::function<void()>& end) {
    router_.ResetTestEvent();
    std::atomic<bool> over{false};
    std::thread script([&] {
      router_.AwaitTestEvent(cancel_);
      over.store(true);
    });
    SystemClock().SleepMs(5);
    EXPECT_FALSE(over.load());
    end();
    script.join();
  };
  EXPECT_TRUE(router_.HasTestEvent());
  awaited([&] { router_.SignalTestEvent(); });
  awaited([&] { cancel_.Cancel(); });
  cancel_.Reset();
  awaited([&] { editor.End(); });
  editor = router_.RegisterReceiver(kEditor, [](const ScriptMessage&) -> std::int64_t { return 0; });
  awaited([&] { router_.SetTestEvent(false); });
}

TEST(ScriptRouterLife, ReceiversMayOutliveTheirRouter) {
  Dispatcher dispatcher;
  auto router = std::make_unique<ScriptRouter>(dispatcher, SystemClock());
  ScriptRouter::Registration kept =
      router->RegisterReceiver(ScriptReceiver::EditorDocument, [](const ScriptMessage&) { return 1; });
  router.reset();
  kept = {};
  EXPECT_EQ(kept.id(), 0);
}

}  // namespace
}  // namespace tonalith
