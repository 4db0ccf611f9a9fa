// What holds for every script, shown with random ones.

#include "random_programs.h"

#include <gtest/gtest.h>

#include <bit>

#include "recording_services.h"
#include "script/interpreter.h"
#include "script/listing.h"
#include "script/statement_table.h"

namespace tonalith::test {
namespace {

constexpr std::uint64_t kPrograms = 1500;
constexpr std::size_t kFence = 64;  // bytes around the buffer that no script may reach
constexpr std::uint8_t kFenceByte = 0xA5;
constexpr std::size_t kZeroVariable = 2000;  // a variable that programs do not write

// What a program starts from.
struct Start {
  RandomProgram program;
  World world;
  Synth synth{};
  bool floatMode = false;
  bool returnRet = false;
  std::size_t blockEntries = 0;
  std::size_t imageBytes = 0;
  std::size_t toldBytes = 0;
  std::int64_t passes = 0;
};

Start MakeStart(std::uint64_t seed, ProgramKind kind) {
  RandomNumbers random(seed);
  Start s;
  s.program = MakeProgram(random, kind);
  s.world.seed = random.Next();
  s.world.receivers = random.Chance(30) ? 0x7F : random.Below(128);
  s.world.testEvent = random.Chance(50);
  s.world.diskFile = random.Chance(50);
  s.world.macros = s.program.macros;
  s.synth.storageFormat = static_cast<std::uint8_t>(random.Below(26));
  s.synth.manufacturerId = random.Chance(50) ? 0x3E : 0;
  s.synth.optionBits = static_cast<std::uint8_t>(random.Below(16));
  s.synth.sysExChannelOffset = static_cast<std::uint8_t>(random.Below(7));
  s.synth.sysExChannelMax = 15;
  s.synth.sysExChannel = 4;
  s.synth.driverId = kProgramDriverId;
  s.synth.voiceSize = 30;
  s.synth.fileSize = 200;
  s.floatMode = random.Chance(25);
  s.returnRet = random.Chance(50);
  const std::size_t blocks[] = {0, 30, kMacroBlockEntries, kVariableBlockEntries};
  s.blockEntries = random.Of(blocks);
  s.imageBytes = random.Below(200);
  s.toldBytes = random.Chance(70) ? s.imageBytes : random.Below(static_cast<std::uint32_t>(s.imageBytes) + 1);
  s.passes = kind == ProgramKind::Any ? 100 + random.Below(1500) : 1'000'000;
  return s;
}

// What it leaves behind.
struct Remains {
  int result = 0;
  std::array<std::int32_t, 4> registers{};
  std::array<std::uint32_t, 4> registerFloats{};
  std::vector<std::int32_t> block;
  std::vector<std::uint8_t> memory;  // the buffer between its fences
  std::vector<std::string> calls;
  bool operator==(const Remains&) const = default;
};

Remains After(const Start& start, const Code& code) {
  Remains remains;
  TransferContext context;
  RecordingServices services(start.world);
  context.display = [&services](const std::string& text) { services.Note("display " + text, {}); };
  RandomNumbers fill(start.world.seed + 1);
  remains.memory.assign(start.imageBytes + 2 * kFence, kFenceByte);
  const auto image = std::span<std::uint8_t>(remains.memory).subspan(kFence, start.imageBytes);
  for (std::uint8_t& byte : image) byte = static_cast<std::uint8_t>(fill.Below(fill.Chance(3) ? 256 : 128));
  remains.block.resize(start.blockEntries);
  for (std::size_t i = 0; i < remains.block.size() && i < 64; ++i) {
    remains.block[i] = static_cast<std::int32_t>(fill.Below(60)) - 15;
  }
  Synth synth = start.synth;
  MacroSession session(services, context);
  session.workLimit = start.passes;
  ZKMacro macro(session);
  macro.SetFloatMode(start.floatMode);
  remains.result = macro.Run(synth, code, MacroBuffer(image, start.toldBytes), 5, true, remains.block, start.returnRet);
  for (std::size_t i = 0; i < 4; ++i) {
    remains.registers[i] = macro.Register(static_cast<int>(i));
    remains.registerFloats[i] = std::bit_cast<std::uint32_t>(macro.RegisterFloat(static_cast<int>(i)));
  }
  remains.calls = services.log();
  return remains;
}

bool FencesStand(const Remains& remains) {
  const auto whole = [](std::span<const std::uint8_t> fence) {
    return std::all_of(fence.begin(), fence.end(), [](std::uint8_t byte) { return byte == kFenceByte; });
  };
  const std::span<const std::uint8_t> memory(remains.memory);
  return whole(memory.first(kFence)) && whole(memory.last(kFence));
}

void Append(Code& code, Statement statement, std::initializer_list<std::uint8_t> operands) {
  code.push_back(OpcodeOf(statement));
  code.insert(code.end(), operands);
}

std::string Text(const Code& code) {
  Code closed = code;
  closed.push_back(kEndOfScript);
  return ListScript(closed).text;
}

// Also that every run ends, whatever its code is.
TEST(RandomPrograms, DoTheSameEveryTimeAndStayInTheirBuffer) {
  int normalEnds = 0;
  for (std::uint64_t seed = 1; seed <= kPrograms; ++seed) {
    const Start start = MakeStart(seed, ProgramKind::Any);
    const Remains first = After(start, start.program.code);
    ASSERT_TRUE(first == After(start, start.program.code)) << seed << "\n" << Text(start.program.code);
    ASSERT_TRUE(FencesStand(first)) << seed << "\n" << Text(start.program.code);
    normalEnds += first.result >= 0;
  }
  EXPECT_GT(normalEnds, static_cast<int>(kPrograms / 3));
}

Code Loop(std::uint8_t passes, const Code& body) {
  Code loop;
  Append(loop, Statement::L, {0, 0, 0, passes});
  loop.insert(loop.end(), body.begin(), body.end());
  Append(loop, Statement::EndBlock, {});
  return loop;
}

TEST(RandomPrograms, ALoopIsItsBodySeveralTimes) {
  for (std::uint64_t seed = 1; seed <= kPrograms; ++seed) {
    const Start start = MakeStart(seed, ProgramKind::Whole);
    const auto passes = static_cast<std::uint8_t>(1 + seed % 9);
    const Code loop = Loop(passes, start.program.code);
    Code straight;
    for (int i = 0; i < passes; ++i) {
      straight.insert(straight.end(), start.program.code.begin(), start.program.code.end());
    }
    const Remains looped = After(start, loop);
    const Remains unrolled = After(start, straight);
    ASSERT_EQ(looped.result, unrolled.result) << seed << "\n" << Text(loop);
    ASSERT_EQ(looped.calls, unrolled.calls) << seed << "\n" << Text(loop);
    ASSERT_TRUE(looped == unrolled) << seed << "\n" << Text(loop);
  }
}

// Float companions are kept beside the integers; only "INT" goes from one to the other, and variables that lie among
// the companions.
TEST(RandomPrograms, IntegersDoNotNoticeFloatMode) {
  for (std::uint64_t seed = 1; seed <= kPrograms; ++seed) {
    Start start = MakeStart(seed, ProgramKind::Whole);
    start.blockEntries = kMacroBlockEntries;
    const Code code = Loop(5, start.program.code);
    start.floatMode = false;
    Remains plain = After(start, code);
    start.floatMode = true;
    Remains withFloats = After(start, code);
    plain.registerFloats = withFloats.registerFloats = {};
    ASSERT_TRUE(plain == withFloats) << seed << "\n" << Text(code);
  }
}

TEST(RandomPrograms, WhatStandsBehindAFalseConditionIsNotThere) {
  for (std::uint64_t seed = 1; seed <= kPrograms; ++seed) {
    const Start start = MakeStart(seed, ProgramKind::Whole);
    const Code skipped = MakeStart(seed + kPrograms, ProgramKind::Whole).program.code;
    constexpr std::size_t kIndex = kZeroVariable + 4;
    Code code;
    Append(code, Statement::IF, {0x80 | (kIndex & 0x7F), kIndex >> 7});
    code.insert(code.end(), skipped.begin(), skipped.end());
    Append(code, Statement::IFX, {});
    code.insert(code.end(), start.program.code.begin(), start.program.code.end());
    ASSERT_TRUE(After(start, code) == After(start, start.program.code)) << seed << "\n" << Text(code);
  }
}

}  // namespace
}  // namespace tonalith::test
