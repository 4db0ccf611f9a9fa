// What scripts may use up, how often they look whether they shall end, and what is said when they are ended.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "macro_test_support.h"
#include "platform/text.h"
#include "script/macro_session.h"

namespace tonalith::test {
namespace {

// Notes how much is worked between two looks.
struct WatchedServices : ScriptedServices {
  bool Quitting() const override {
    if (session) {
      longest = std::max(longest, session->work() - last);
      last = session->work();
      if (last >= endAfter) return true;
    }
    return false;
  }
  int SendDataPort(std::span<const std::uint8_t> bytes, int, TransferContext& context) override {
    context.staged.reset();
    return static_cast<int>(bytes.size());
  }
  int GetDataSkipPort(std::span<std::uint8_t> destination, int, std::int64_t, TransferContext&) override {
    return static_cast<int>(destination.size());
  }
  bool HasDiskFile() const override { return true; }
  std::size_t DiskRead(std::span<std::uint8_t> destination) override { return destination.size(); }
  std::int64_t ScriptLimitMs() override { return limitMs; }

  const MacroSession* session = nullptr;
  std::int64_t endAfter = INT64_MAX;
  std::int64_t limitMs = 600'000;
  mutable std::int64_t last = 0;
  mutable std::int64_t longest = 0;
};

struct Worked {
  int result = 0;
  std::int64_t work = 0;
  std::int64_t longest = 0;
  ScriptStop stopped = ScriptStop::None;
};

Worked RunWatched(const std::string& source, std::size_t imageBytes, std::int64_t endAfter) {
  WatchedServices services;
  TransferContext context;
  Synth synth{};
  synth.storageFormat = 6;
  Bytes image(imageBytes, 0x01);
  image.front() = 0xF0;
  std::vector<std::int32_t> block(kMacroBlockEntries);
  MacroSession session(services, context);
  services.session = &session;
  services.endAfter = endAfter;
  Worked worked;
  {
    ZKMacro macro(session);
    worked.result = macro.Run(synth, MacroRun::Compile(source), MacroBuffer(image), 0, true, block, false);
  }
  worked.work = session.work();
  worked.longest = services.longest;
  worked.stopped = session.stopped;
  return worked;
}

std::string Hexes(std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += " 05";
  return text;
}

// Every statement that goes over bytes counts them, however many, and none keeps a script from looking around.
TEST(ScriptBudget, EveryByteCountsAndNoStatementHoldsUp) {
  const struct {
    std::string statement;
    std::size_t most = 1 << 24;  // what it can go over
    std::string before{};
  } rows[] = {
      {"StripF7 $n"},
      {"GM", 1 << 24, "MX = 0"},
      {"GetSysExBytes $n"},
      {"K 00 00 0 $n 0"},
      {"K 08 00 0 $n 0"},
      {"DR $n 0"},
      {"GC 0 0 $n"},
      {"GA $n"},
      {"T $n GP 0"},
      {"B $n GP 0"},
      {"TR $n GP 0"},
      {"GP 0 R $n", 1 << 24, "N"},
      {"SETERRORMSG"},
      {"SysXInsertBytes 0 $n 1 1 1", 65535},
      {"SysXInsertBytes 0 $n 9 9 1"},
      {"MY = $n MZ = 1 KURZ"},
      {"S $n {$b }", 4096},
      {"FA $n 0 {$b }", 4096},
      {"S $n {$b } SetWaitForACK 5 ClrWaitForAck", 4096},
      {"MX = 4096 MY = 0 MZ = 0 MW = 0 TrinEff", 4096},
  };
  for (const auto& row : rows) {
    for (const std::size_t bytes : {std::size_t{2000}, std::size_t{4096}, std::size_t{65535}, std::size_t{1} << 24}) {
      if (bytes > row.most) continue;
      std::string statement = ReplaceAll(row.statement, "$n", std::to_string(bytes));
      statement = ReplaceAll(statement, "$b", Hexes(statement.find("$b") == std::string::npos ? 0 : bytes));
      SCOPED_TRACE(row.statement + " of " + std::to_string(bytes));
      const Worked once = RunWatched(row.before + " " + statement + " ]", bytes, INT64_MAX);
      EXPECT_GE(once.work + 1, static_cast<std::int64_t>(bytes));  // the last one has no neighbour
      const auto end = static_cast<std::int64_t>(bytes) * 3 + 100'000;
      const Worked ended = RunWatched(row.before + " L 1000000000 [ " + statement + " ] ]", bytes, end);
      EXPECT_EQ(ended.stopped, ScriptStop::Cancelled);
      // Half a megabyte is far less than a tenth of a second; one statement of the library goes through in one go.
      EXPECT_LE(ended.longest, std::max<std::int64_t>(1 << 19, static_cast<std::int64_t>(bytes) + 70'000));
      EXPECT_LE(ended.work, end + std::max<std::int64_t>(1 << 19, 2 * static_cast<std::int64_t>(bytes) + 140'000));
    }
  }
}

// Long code between two passes, statements with much arithmetic, calls of absent macros, code without any loop.
TEST(ScriptBudget, PassesThroughLongCodeLookOftener) {
  const auto times = [](int count, const std::string& text) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
  };
  for (const std::string& body : {times(4000, "MV1 + 1 "), times(5000, "SIN V2 "), times(4000, "MACRO 9 "),
                                  times(1200, "IF V5 IF V5 IFX IFX "), std::string("MV1 + 1 ")}) {
    const Worked ended = RunWatched("L 1000000000 [ " + body + "] ]", 64, 20'000);
    EXPECT_EQ(ended.stopped, ScriptStop::Cancelled) << body.substr(0, 20);
    // A pass of a handler counts as much as a pass of the loop; plain statements are some nanoseconds each.
    EXPECT_LE(ended.longest, body.size() < 1000 ? 2100 : 30'000) << body.substr(0, 20);
  }
}

TEST(ScriptBudget, CancelEndsAtOnceWhateverTheScriptDid) {
  for (const char* source :
       {"L 1000000000 [ L 1000000000 [ MX + 1 ] ] ]", "PressCancel 2 L 1000000000 [ StripF7 65536 ] ]",
        "PressCancel 3 L 1000000000 [ MX + 1 ] ]", "L 1000000000 [ SysXInsertBytes 0 65536 0 0 0 ] ]",
        "SLEEP 600000 L 1000000000 [ GM ] ]", "ManageMidiErrors 1 L 1000000000 [ R 5 GP 0 ] ]"}) {
    MacroRun run;
    run.image.assign(65536, 0);
    run.context.quiet = true;
    const CancelToken cancel = run.context.cancel;
    std::thread user([cancel] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      cancel.Cancel();
    });
    run.Text(source);
    EXPECT_EQ(run.outcome.stop, "") << source << ": who cancelled says so";
    user.join();
  }
}

// The reason is said in words, and an unknown command is none of these.
TEST(ScriptBudget, ReasonsOfAStop) {
  std::string loops;
  for (int i = 0; i < 300; ++i) loops += "L 2 [ ";
  const struct {
    std::string source;
    int result;
    const char* stop;
  } rows[] = {
      {"L 1000000000 [ L 1000000000 [ MX + 1 ] ] ]", kMacroBadCommand, "stopped after 0.05 s of computing"},
      {"L 1000000000 [ StripF7 65536 ] ]", kMacroBadCommand, "stopped after 0.05 s of computing"},
      {loops + "]", kMacroBadCommand, "stopped: loops deeper than 256"},
      {"MACRO 0 ]", kMacroBadCommand, "stopped: macros deeper than 64"},
      {"GA 20000000 ]", kMacroNoMemory, "stopped: a work buffer of more than 16 MiB"},
      {"BREAK ]", kMacroBroken, "stopped: BREAK outside a loop"},
      {"MACRO 1 ]", 0, ""},  // the caller's affair
      {"L 200 [ L 1000 [ MX + 1 ] SLEEP 5 ] ]", 0, ""},
  };
  for (const auto& row : rows) {
    MacroRun run;
    WatchedServices services;
    services.limitMs = 50;
    services.macros = {MacroRun::Compile("MACRO 0 ]"), MacroRun::Compile("BREAK ]")};
    run.image.assign(65536, 0);
    run.outcome =
        RunTransferMacro(services, run.context, run.synth, MacroRun::Compile(row.source), MacroBuffer(run.image), 0, 0);
    EXPECT_EQ(run.outcome.result, row.result) << row.source.substr(0, 40);
    EXPECT_EQ(run.outcome.stop, row.stop) << row.source.substr(0, 40);
    EXPECT_EQ(run.context.scriptStop, row.stop);
  }
  MacroRun unknown;
  EXPECT_EQ(unknown.Code(Hex("0D FF")), kMacroBadCommand);
  EXPECT_EQ(unknown.outcome.stop, "");
}

TEST(ScriptBudget, AScriptThatTalksFloodsNobody) {
  MacroRun run;
  run.Text("L 100000 [ MESSAGEBOX 0 2 ] ]");
  EXPECT_GT(run.services.shown.size(), 10u);
  EXPECT_LT(run.services.shown.size(), 1000u);
}

}  // namespace
}  // namespace tonalith::test
