// Random programs through two engines: what they leave behind must be the same to the byte.
//   compare_engines COUNT [FIRST SEED]   e.g. compare_engines 100000 1
// Shows the first programs that differ, made as small as they still differ, and ends with 1.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "recording_services.h"
#include "script/former_engine/interpreter.h"
#include "script/former_engine/statement_table.h"
#include "script/interpreter.h"
#include "script/listing.h"

namespace tonalith::test {
namespace {

struct FormerEngine {
  using Session = former::MacroSession;
  using Macro = former::ZKMacro;
  template <typename... Arguments>
  static int RunA(Arguments&&... arguments) {
    return former::MidiMacroA(std::forward<Arguments>(arguments)...);
  }
  template <typename... Arguments>
  static int RunEdit(Arguments&&... arguments) {
    return former::MidiMacroEdit(std::forward<Arguments>(arguments)...);
  }
  template <typename... Arguments>
  static int RunB(Arguments&&... arguments) {
    return former::MidiMacroB(std::forward<Arguments>(arguments)...);
  }
  template <typename... Arguments>
  static auto RunTransfer(Arguments&&... arguments) {
    return former::RunTransferMacro(std::forward<Arguments>(arguments)...);
  }
  static former::MacroBuffer Buffer(std::span<std::uint8_t> bytes, std::size_t told) { return {bytes, told}; }
};

struct CurrentEngine {
  using Session = MacroSession;
  using Macro = ZKMacro;
  template <typename... Arguments>
  static int RunA(Arguments&&... arguments) {
    return MidiMacroA(std::forward<Arguments>(arguments)...);
  }
  template <typename... Arguments>
  static int RunEdit(Arguments&&... arguments) {
    return MidiMacroEdit(std::forward<Arguments>(arguments)...);
  }
  template <typename... Arguments>
  static int RunB(Arguments&&... arguments) {
    return MidiMacroB(std::forward<Arguments>(arguments)...);
  }
  template <typename... Arguments>
  static auto RunTransfer(Arguments&&... arguments) {
    return RunTransferMacro(std::forward<Arguments>(arguments)...);
  }
  static MacroBuffer Buffer(std::span<std::uint8_t> bytes, std::size_t told) { return {bytes, told}; }
};

enum class Entry : std::uint8_t { Run, NoSetupRun, A, Edit, B, Transfer };

// One program and everything its run starts from.
struct Case {
  Entry entry = Entry::Run;
  RandomProgram program;
  World world;
  Synth synth{};
  bool floatMode = false;
  bool returnRet = false;
  bool setRegisters = false;
  std::size_t blockEntries = 0;
  std::size_t imageBytes = 0;
  std::size_t toldBytes = 0;
  std::int32_t passes = 0;
  std::array<std::int32_t, 4> registers{};
  unsigned contextBits = 0;
};

Case MakeCase(std::uint64_t seed) {
  RandomNumbers random(seed);
  Case c;
  const std::uint32_t entry = random.Below(10);
  c.entry = entry < 4 ? Entry::Run : entry < 8 ? Entry::NoSetupRun : static_cast<Entry>(2 + random.Below(4));
  const bool limited = c.entry == Entry::Run || c.entry == Entry::NoSetupRun;
  c.program = MakeProgram(random, limited ? ProgramKind::Any : ProgramKind::Tame);
  c.world.seed = random.Next();
  c.world.receivers = random.Chance(30) ? 0x7F : random.Below(128);
  c.world.testEvent = random.Chance(50);
  c.world.diskFile = random.Chance(50);
  c.world.macroTable = !random.Chance(5);
  c.world.cancelAtCall = random.Chance(4) ? 1 + random.Below(5) : 0;
  c.synth.storageFormat = static_cast<std::uint8_t>(random.Below(26));
  c.synth.manufacturerId = random.Chance(50) ? 0x3E : 0;
  c.synth.optionBits = static_cast<std::uint8_t>(random.Below(16));
  c.synth.sysExChannelOffset = static_cast<std::uint8_t>(random.Below(7));
  c.synth.sysExChannelMax = random.Chance(50) ? 15 : 127;
  c.synth.sysExChannel = static_cast<std::uint8_t>(random.Below(16));
  c.synth.midiChannel = static_cast<std::uint8_t>(random.Below(16));
  c.synth.patchNumber = static_cast<std::uint8_t>(random.Below(100));
  c.synth.driverId = kProgramDriverId;
  c.synth.voiceSize = static_cast<decltype(c.synth.voiceSize)>(20 + random.Below(30));
  c.synth.fileSize = 200;
  c.synth.midiOutPort = static_cast<decltype(c.synth.midiOutPort)>(random.Below(3));
  c.synth.midiInPort = static_cast<decltype(c.synth.midiInPort)>(random.Below(3));
  c.floatMode = random.Chance(25);
  c.returnRet = random.Chance(50);
  c.setRegisters = random.Chance(50);
  const std::size_t blocks[] = {0, 30, kMacroBlockEntries, kVariableBlockEntries};
  c.blockEntries = c.floatMode && random.Chance(70) ? kVariableBlockEntries : blocks[random.Below(4)];
  c.imageBytes = random.Below(random.Chance(80) ? 120 : 2000);
  c.toldBytes = random.Chance(70) ? c.imageBytes : random.Below(static_cast<std::uint32_t>(c.imageBytes) + 1);
  c.passes = static_cast<std::int32_t>(100 + random.Below(1500));
  for (std::int32_t& value : c.registers) {
    value =
        random.Chance(80) ? static_cast<std::int32_t>(random.Below(40)) - 8 : static_cast<std::int32_t>(random.Next());
  }
  c.contextBits = random.Below(256);
  return c;
}

// What a run leaves behind.
struct Remains {
  std::map<std::string, std::int64_t> numbers;
  std::vector<std::int32_t> block;
  std::vector<std::uint8_t> image;
  std::vector<std::uint8_t> synth;
  std::vector<std::string> calls;
  bool operator==(const Remains&) const = default;
};

std::int64_t FloatBits(float value) {
  return std::isnan(value) ? -1 : static_cast<std::int64_t>(std::bit_cast<std::uint32_t>(value));
}

void KeepContext(const TransferContext& context, Remains& remains) {
  auto& n = remains.numbers;
  n["acceptAny"] = static_cast<int>(context.acceptAny);
  n["receiveTimeoutMs"] = context.receiveTimeoutMs;
  n["transmitDelayMs"] = context.transmitDelayMs;
  n["verifyReceivedSysEx"] = context.verifyReceivedSysEx;
  n["hasAcceptPattern"] = context.hasAcceptPattern;
  n["patterns"] = static_cast<std::int64_t>(context.acceptPattern.size() + 100 * context.endPattern.size() +
                                            10000 * context.declinePatterns.size());
  n["acceptedSizes"] = static_cast<std::int64_t>(context.acceptedSizes.size());
  for (const std::uint32_t size : context.acceptedSizes) n["acceptedSizeSum"] += size;
  n["timedOut"] = context.timedOut;
  n["cancelledByPattern"] = context.cancelledByPattern;
  n["retryOnTimeout"] = context.retryOnTimeout;
  n["stopBankLoop"] = context.stopBankLoop;
  n["state"] = static_cast<int>(context.state.load());
  n["staged"] = context.staged.has_value();
  n["inPort"] = context.inPort;
  n["outPort"] = context.outPort;
}

// Everything a script can still reach, sent where it is written down.
std::vector<std::uint8_t> ShowAll() {
  std::vector<std::uint8_t> code;
  const auto add = [&code](const char* name) {
    for (const auto& row : former::StatementTable()) {
      if (!row.name || std::strcmp(row.name, name) != 0) continue;
      code.push_back(row.opcode);
      if (row.IsFamily()) code.push_back(static_cast<std::uint8_t>(row.sub));
      code.insert(code.end(), 4u * row.operands.count, 0);
      return;
    }
    std::abort();
  };
  for (const char* name : {"IFE", "T", "A", "B", "GO", "B", "GN", "B", "GR", "B"}) add(name);
  return code;
}

template <typename Engine>
Remains RunCase(const Case& c) {
  static const std::vector<std::uint8_t> kShowAll = ShowAll();
  Remains remains;
  TransferContext context;
  context.quiet = c.contextBits & 1;
  context.hasIoWindow = c.contextBits & 2;
  context.autoConfiguring = c.contextBits & 4;
  context.suppressChecksums = (c.contextBits & 0x18) == 0x18;
  context.transferRunning = c.contextBits & 32;
  context.patchByPatch = c.contextBits & 64;
  context.patchesToDo = 12;
  context.patchesDone = 5;
  context.currentPatch = 6;
  context.firstPatch = c.contextBits & 128;
  World world = c.world;
  world.macros.clear();
  for (const Statements& macro : c.program.macros) world.macros.push_back(Joined(macro));
  RecordingServices services(world, context);
  context.display = [&services](const std::string& text) { services.log().Add("display %s", text.c_str()); };

  Synth synth = c.synth;
  const std::vector<std::uint8_t> code = Joined(c.program.code);
  RandomNumbers fill(c.world.seed + 1);
  remains.image.resize(c.imageBytes);
  for (std::uint8_t& byte : remains.image) {
    byte = static_cast<std::uint8_t>(fill.Chance(3) ? 0xF0 + fill.Below(8) : fill.Below(128));
  }
  remains.block.resize(c.blockEntries);
  for (std::size_t i = 0; i < remains.block.size() && i < 64; ++i) {
    remains.block[i] = static_cast<std::int32_t>(fill.Below(60)) - 15;
  }
  const auto image = Engine::Buffer(remains.image, c.toldBytes);
  std::int64_t result = 0;
  switch (c.entry) {
    case Entry::Run:
    case Entry::NoSetupRun: {
      typename Engine::Session session(services, context);
      session.passesLeft = c.passes;
      {
        typename Engine::Macro macro(session);
        for (int i = 0; i < 4; ++i) macro.SetRegister(i, c.registers[static_cast<std::size_t>(i)]);
        macro.SetFloatMode(c.floatMode);
        const bool again = c.entry == Entry::NoSetupRun;
        const std::span<const std::uint8_t> first = again ? std::span<const std::uint8_t>() : code;
        result = macro.Run(synth, first, image, c.registers[0], c.setRegisters, remains.block, c.returnRet);
        if (again) {
          remains.numbers["first run"] = result;
          result = macro.NoSetupRun(code);
          services.log().Add("the rest:");
          remains.numbers["rest"] = macro.NoSetupRun(kShowAll);
        }
        for (int i = 0; i < 4; ++i) {
          const char* const names[] = {"W", "X", "Y", "Z"};
          remains.numbers[names[i]] = macro.Register(i);
          remains.numbers[names[i] + std::string(" float")] = FloatBits(macro.RegisterFloat(i));
        }
        services.log().Add("the macro ends");
      }
      remains.numbers["stop"] = session.stop;
      remains.numbers["macroDepth"] = session.macroDepth;
      remains.numbers["buttonPressed"] = session.buttonPressed;
      for (const std::uint8_t byte : session.scratch) {
        remains.numbers["scratch"] = remains.numbers["scratch"] * 31 % 1000003 + byte;
      }
      services.log().Add("the session ends");
      break;
    }
    case Entry::A:
      result = Engine::RunA(services, context, synth, code, image, std::uint8_t{3}, c.registers[0], c.setRegisters,
                            remains.block, c.returnRet);
      break;
    case Entry::Edit:
      result = Engine::RunEdit(services, context, synth, code, image, std::uint8_t{3}, c.registers[0], remains.block,
                               c.returnRet, c.registers[1], c.registers[2], c.registers[3]);
      break;
    case Entry::B:
      result = Engine::RunB(services, context, code, c.registers, remains.block, c.floatMode ? 0x15 : 5);
      break;
    case Entry::Transfer: {
      const auto outcome = Engine::RunTransfer(services, context, synth, code, image, c.registers[0], 2);
      result = outcome.result;
      for (int i = 0; i < 4; ++i)
        remains.numbers[std::string(1, "WXYZ"[i])] = outcome.registers[static_cast<std::size_t>(i)];
      remains.block = outcome.variables;
      break;
    }
  }
  remains.numbers["result"] = result;
  if (remains.block.size() >= kVariableBlockEntries) {
    // Two floats that are none may have different bits.
    for (std::size_t i = 4096; i < 8192; ++i) {
      if (std::isnan(std::bit_cast<float>(remains.block[i]))) remains.block[i] = 0x7FC00000;
    }
  }
  KeepContext(context, remains);
  for (int i = 0; i < ScriptAppState::kBasicsVars; ++i) {
    remains.numbers["basics"] = remains.numbers["basics"] * 31 % 1000003 + services.AppState().BasicsVar(i);
  }
  remains.synth.resize(sizeof synth);
  std::memcpy(remains.synth.data(), &synth, sizeof synth);
  remains.calls = services.log().lines();
  remains.numbers["calls"] = static_cast<std::int64_t>(services.log().calls());
  remains.numbers["call digest"] = static_cast<std::int64_t>(services.log().digest());
  return remains;
}

bool Differs(const Case& c) {
  return RunCase<FormerEngine>(c) != RunCase<CurrentEngine>(c);
}

// Leaves out statements as long as the engines still differ.
void MakeSmaller(Case& c) {
  const auto shrink = [&c](Statements& statements) {
    bool any = false;
    for (std::size_t i = statements.size(); i-- > 0;) {
      const auto kept = statements[i];
      statements.erase(statements.begin() + static_cast<std::ptrdiff_t>(i));
      if (Differs(c)) {
        any = true;
      } else {
        statements.insert(statements.begin() + static_cast<std::ptrdiff_t>(i), kept);
      }
    }
    return any;
  };
  bool any = true;
  for (int round = 0; any && round < 10; ++round) {
    any = shrink(c.program.code);
    for (Statements& macro : c.program.macros) any = shrink(macro) || any;
  }
}

void ShowCode(const char* name, const Statements& statements) {
  const std::vector<std::uint8_t> code = Joined(statements);
  if (code.empty()) return;
  std::printf("%s:", name);
  for (const std::uint8_t byte : code) std::printf(" %02X", byte);
  std::vector<std::uint8_t> closed = code;
  closed.push_back(former::kEndOfScript);
  std::printf("\n  %s\n", ListScript(closed).text.c_str());
}

template <typename Value>
void ShowDifference(const char* what, const std::vector<Value>& former, const std::vector<Value>& current) {
  if (former == current) return;
  std::size_t i = 0;
  while (i < former.size() && i < current.size() && former[i] == current[i]) ++i;
  std::printf("  %s %zu:", what, i);
  if constexpr (std::is_same_v<Value, std::string>) {
    std::printf("\n    former  %s\n    current %s\n", i < former.size() ? former[i].c_str() : "none",
                i < current.size() ? current[i].c_str() : "none");
  } else {
    std::printf(" former %d, current %d\n", static_cast<int>(former[i]), static_cast<int>(current[i]));
  }
}

void Show(std::uint64_t seed, Case c) {
  MakeSmaller(c);
  std::printf("--- seed %llu differs, entry %d, float mode %d, block %zu, image %zu (%zu), registers %d %d %d %d%s\n",
              static_cast<unsigned long long>(seed), static_cast<int>(c.entry), c.floatMode, c.blockEntries,
              c.imageBytes, c.toldBytes, c.registers[0], c.registers[1], c.registers[2], c.registers[3],
              c.setRegisters ? " (set by rule)" : "");
  ShowCode("code", c.program.code);
  for (std::size_t i = 0; i < c.program.macros.size(); ++i) {
    ShowCode(("macro " + std::to_string(i)).c_str(), c.program.macros[i]);
  }
  Remains former = RunCase<FormerEngine>(c);
  Remains current = RunCase<CurrentEngine>(c);
  for (const auto& [name, value] : former.numbers) {
    if (current.numbers[name] == value) continue;
    std::printf("  %s: former %lld, current %lld\n", name.c_str(), static_cast<long long>(value),
                static_cast<long long>(current.numbers[name]));
  }
  ShowDifference("variable", former.block, current.block);
  ShowDifference("image byte", former.image, current.image);
  ShowDifference("descriptor byte", former.synth, current.synth);
  ShowDifference("call", former.calls, current.calls);
}

int Compare(std::uint64_t count, std::uint64_t first) {
  constexpr int kShown = 5;
  std::map<std::int64_t, std::uint64_t> results;
  std::uint64_t calls = 0;
  int differences = 0;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    const Case c = MakeCase(seed);
    Remains former = RunCase<FormerEngine>(c);
    ++results[std::clamp<std::int64_t>(former.numbers["result"], -100, 1)];
    calls += static_cast<std::uint64_t>(former.numbers["calls"]);
    if (former == RunCase<CurrentEngine>(c)) continue;
    Show(seed, c);
    if (++differences == kShown) break;
  }
  std::printf("%llu programs, %llu calls, results (1: any above 0):", static_cast<unsigned long long>(count),
              static_cast<unsigned long long>(calls));
  for (const auto& [result, times] : results) {
    std::printf(" %lld: %llu", static_cast<long long>(result), static_cast<unsigned long long>(times));
  }
  std::printf("\n%s\n", differences ? "The engines differ." : "The engines agree.");
  return differences ? EXIT_FAILURE : EXIT_SUCCESS;
}

}  // namespace
}  // namespace tonalith::test

int main(int argc, char** argv) {
  const std::uint64_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1000;
  const std::uint64_t first = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
  return tonalith::test::Compare(count, first);
}
