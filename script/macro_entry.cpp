#include <algorithm>
#include <utility>

#include "script/interpreter.h"

namespace tonalith {

namespace {

constexpr std::size_t kV40Entry = 40;
constexpr std::size_t kMidiChannelOfBlock = 44;
constexpr std::size_t kPatchEntry = 997;
constexpr std::size_t kAttemptsEntry = 998;
constexpr std::size_t kFlagsEntry = 999;
// The scratch buffer of scripts without an instrument.
constexpr std::size_t kScratchBufferBytes = 10000;

struct RunSetup {
  std::array<std::int32_t, 4> registers{};
  bool setRegisters = false;
  bool floatMode = false;
  bool returnRet = false;
  std::int32_t xValue = 0;
};

int RunFresh(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
             MacroBuffer buffer, const RunSetup& setup, VariableBlock variables, MacroOutcome* outcome) {
  MacroSession session(services, context);
  ZKMacro macro(session);
  for (int i = 0; i < 4; ++i) macro.SetRegister(i, setup.registers[static_cast<std::size_t>(i)]);
  macro.SetFloatMode(setup.floatMode);
  context.acceptedSizes.clear();
  const int result = macro.Run(synth, code, buffer, setup.xValue, setup.setRegisters, variables, setup.returnRet);
  // A refusal or a "BREAK" in a called macro is its caller's affair.
  if (result == kMacroNoMemory && session.workBufferRefused) session.stopped = ScriptStop::WorkBuffer;
  if (result == kMacroBroken) session.stopped = ScriptStop::LonelyBreak;
  context.scriptStop = ScriptStopText(session.stopped, session.limitMs);
  if (!context.scriptStop.empty()) services.ScriptStopped(synth, context.scriptStop);
  if (!outcome) return result;
  for (int i = 0; i < 4; ++i) {
    outcome->registers[static_cast<std::size_t>(i)] = macro.Register(i);
    outcome->registerFloats[static_cast<std::size_t>(i)] = macro.RegisterFloat(i);
  }
  outcome->result = result;
  outcome->end = macro.EndCode();
  outcome->returned = macro.Returned();
  outcome->returnValue = macro.ReturnValue();
  outcome->stop = context.scriptStop;
  return result;
}

std::int32_t AttemptsLeft(const TransferContext& context) {
  return std::max(context.extraAttempts - context.spentAttempts, 0);
}

// What a script asked for again itself is not asked for again by the transfer as well.
void TakeAttempts(TransferContext& context, std::int32_t left) {
  context.spentAttempts += std::max(AttemptsLeft(context) - std::max(left, 0), 0);
}

std::vector<std::int32_t> TransferBlock(const Synth& synth, const TransferContext& context, std::int32_t x,
                                        std::int32_t extra) {
  std::vector<std::int32_t> block(kVariableBlockEntries);
  block[kV40Entry] = synth.v40Value;
  block[kMidiChannelOfBlock] = synth.midiChannel;
  block[kPatchEntry] = x;
  block[kAttemptsEntry] = AttemptsLeft(context);
  block[kFlagsEntry] = extra;
  return block;
}

}  // namespace

int MidiMacroA(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
               MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue, bool setRegisters,
               VariableBlock variables, bool returnRet) {
  (void)channel;
  RunSetup setup;
  setup.setRegisters = setRegisters;
  setup.returnRet = returnRet;
  setup.xValue = xValue;
  return RunFresh(services, context, synth, code, buffer, setup, variables, nullptr);
}

int MidiMacroEdit(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
                  MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue, VariableBlock variables,
                  bool returnRet, std::int32_t w, std::int32_t y, std::int32_t z) {
  (void)channel;
  RunSetup setup;
  setup.registers = {w, xValue, y, z};
  setup.returnRet = returnRet;
  setup.xValue = xValue;
  return RunFresh(services, context, synth, code, buffer, setup, variables, nullptr);
}

int MidiMacro(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
              MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue, std::int32_t extra) {
  std::vector<std::int32_t> block = TransferBlock(synth, context, xValue, extra);
  const int result = MidiMacroA(services, context, synth, code, buffer, channel, xValue, true,
                                VariableBlock(block).first(kMacroBlockEntries), false);
  TakeAttempts(context, block[kAttemptsEntry]);
  return result;
}

MacroOutcome RunMacro(ScriptServices& services, TransferContext& context, Synth& synth,
                      std::span<const std::uint8_t> code, MacroBuffer buffer, const MacroStart& start,
                      std::vector<std::int32_t> variables) {
  MacroOutcome outcome;
  outcome.variables = variables.empty() ? TransferBlock(synth, context, start.x, start.extra) : std::move(variables);
  RunSetup setup;
  setup.registers = start.edit.value_or(setup.registers);
  setup.setRegisters = !start.edit;
  setup.floatMode = start.floatMode;
  setup.returnRet = start.returnRet;
  setup.xValue = start.x;
  VariableBlock block(outcome.variables);
  if (!start.floatMode) block = block.first(std::min(block.size(), kMacroBlockEntries));
  RunFresh(services, context, synth, code, buffer, setup, block, &outcome);
  return outcome;
}

MacroOutcome RunTransferMacro(ScriptServices& services, TransferContext& context, Synth& synth,
                              std::span<const std::uint8_t> code, MacroBuffer buffer, std::int32_t xValue,
                              std::int32_t extra) {
  MacroStart start;
  start.x = xValue;
  start.extra = extra;
  MacroOutcome outcome = RunMacro(services, context, synth, code, buffer, start);
  TakeAttempts(context, outcome.variables[kAttemptsEntry]);
  return outcome;
}

int MidiMacroB(ScriptServices& services, TransferContext& context, std::span<const std::uint8_t> code,
               std::span<const std::int32_t, 4> registers, VariableBlock variables, int channelAndMode) {
  Synth synth{};
  RunSetup setup;
  setup.floatMode = (channelAndMode & 0xF0) != 0;
  const auto channel = static_cast<std::uint8_t>(setup.floatMode ? channelAndMode & 15 : channelAndMode);
  synth.midiChannel = channel;
  synth.sysExChannel = channel;
  std::copy(registers.begin(), registers.end(), setup.registers.begin());
  setup.setRegisters = true;
  std::vector<std::uint8_t> scratch(kScratchBufferBytes);
  return RunFresh(services, context, synth, code, std::span<std::uint8_t>(scratch), setup, variables, nullptr);
}

int CheckLayer(int value, int limit, int* layer, unsigned* position) {
  if (value < limit) {
    ++*layer;
    *position = static_cast<unsigned>(*layer) * 480u + 719u;
  }
  return value;
}

}  // namespace tonalith
