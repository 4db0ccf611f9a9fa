#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "data/data_records.h"
#include "platform/byte_window.h"
#include "script/script_services.h"
#include "script/transfer_context.h"

namespace tonalith {

// Result codes of scripts; -code selects the text of the transfer engine's table.
inline constexpr int kMacroNoResponse = -1;
inline constexpr int kMacroNoEnd = -2;
inline constexpr int kMacroMissingBytes = -3;
inline constexpr int kMacroEndOfCode = -4;
inline constexpr int kMacroBadCommand = -5;
inline constexpr int kMacroNoSysExEnd = -6;
inline constexpr int kMacroWrongId = -7;
inline constexpr int kMacroNoMemory = -15;
inline constexpr int kMacroBroken = -99;  // "BREAK" outside a loop

inline constexpr int kMaxLoopDepth = 256;
inline constexpr int kMaxMacroDepth = 64;
inline constexpr std::int64_t kMaxWorkBuffer = 16 << 20;
inline constexpr std::size_t kScratchBytes = 512;

// The block of 32-bit variables a script works on.  In float mode the block continues, at entry 4096, with 4096 float
// companions and, at entry 8192, with 4096 type words; a block of float scripts has kVariableBlockEntries entries.
using VariableBlock = std::span<std::int32_t>;
inline constexpr std::size_t kVariableBlockEntries = 12288;
inline constexpr std::size_t kMacroBlockEntries = 8192;  // what MidiMacro shows to its script

// Values of type words.
inline constexpr std::int32_t kIntegerType = 0;
inline constexpr std::int32_t kFloatType = 1;

// The data a script works on: `bytes` is the memory it may touch, `size` (at most bytes.size()) what it is told.
struct MacroBuffer {
  std::span<std::uint8_t> bytes;
  std::size_t size = 0;

  MacroBuffer() = default;
  MacroBuffer(std::span<std::uint8_t> all) : bytes(all), size(all.size()) {}  // NOLINT(google-explicit-constructor)
  MacroBuffer(std::span<std::uint8_t> all, std::size_t told)
      : bytes(all), size(told < all.size() ? told : all.size()) {}
};

// What a run of scripts shares: limits, the scratch buffer of "RB", and the reason to stop.  Made by the entry points
// below; the default limits are far beyond what a script of an instrument needs.
struct MacroSession {
  MacroSession(ScriptServices& scriptServices, TransferContext& transferContext)
      : services(scriptServices), context(transferContext) {}

  ScriptServices& services;
  TransferContext& context;
  std::int64_t passesLeft = 2'000'000'000;  // loop passes and macro calls
  int macroDepth = 0;
  int stop = 0;  // nonzero: everything ends with this code
  std::array<std::uint8_t, kScratchBytes> scratch{};
};

// Executes compiled scripts ("macros") against one descriptor and one buffer.  All memory is reached through checked
// windows: what lies outside reads as 0 and is not written.  One thread; lives for one Run.
class ZKMacro {
 public:
  explicit ZKMacro(MacroSession& session);
  // Ends a requested wait for acknowledgements and the collecting of messages, clears the receive filters.
  ~ZKMacro();
  ZKMacro(const ZKMacro&) = delete;
  ZKMacro& operator=(const ZKMacro&) = delete;

  // Runs `code` from its first byte; running past its end is the normal end of a macro.  The number of bytes consumed
  // from the buffer (position of the receive cursor at the end; a script can set it beyond the size), the value of
  // "RET" when returnRet is set, or a negative result code other than -1, -2 and -4. setRegisters: X := xValue, Y :=
  // SysEx channel, Z := patch number; otherwise the registers stay as they are.
  int Run(Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer, std::int32_t xValue, bool setRegisters,
          VariableBlock variables, bool returnRet);
  // Runs code in the present state: the value of "RET", else X at the start; negative codes as above.
  int NoSetupRun(std::span<const std::uint8_t> code);
  // Takes over every field; the buffers are shared, so `other` must outlive this object and not run meanwhile.
  void CopyFrom(const ZKMacro& other);

  std::int32_t Register(int index) const { return registers_[static_cast<std::size_t>(index & 3)]; }
  void SetRegister(int index, std::int32_t value) { registers_[static_cast<std::size_t>(index & 3)] = value; }
  void SetFloatMode(bool on) { floatMode_ = on; }
  float RegisterFloat(int index) const { return registerFloats_[static_cast<std::size_t>(index & 3)]; }

 private:
  friend struct MacroStatements;

  // A pointer into checked memory and the bytes a script believes to be left behind it.
  struct Cursor {
    ByteWindow memory;
    std::int64_t pos = 0;
    std::int32_t space = 0;
  };

  int ExMidiMacro(std::span<const std::uint8_t> code);

  MacroSession* session_;
  Cursor receive_;
  Cursor saved_;
  Cursor alternate_;
  Cursor transmit_;  // space: transmit count
  bool hasTransmit_ = false;
  bool aFlag_ = true;
  bool floatMode_ = false;
  bool returnSet_ = false;
  bool ackWait_ = false;
  bool queueRemembered_ = false;
  bool queueWasCollecting_ = false;
  std::uint8_t channel_ = 0;
  std::uint8_t idCheck_ = 0;
  bool autoTimeout_ = false;
  std::int32_t skipDepth_ = 0;
  std::int32_t channelPosition_ = 0;
  std::int32_t continueOnError_ = 0;
  std::int32_t returnValue_ = 0;
  std::int32_t macroIndex_ = -1;
  std::int32_t size_ = 0;
  std::array<std::int32_t, 4> registers_{};
  std::array<std::int32_t, 4> registerTypes_{};
  std::array<float, 4> registerFloats_{};
  float lastFloat_ = 0;
  VariableBlock variables_;
  Synth* synth_ = nullptr;
  ByteWindow buffer_;
  const std::int32_t* localWords_;
  std::shared_ptr<std::vector<std::uint8_t>> work_;
  std::unique_ptr<std::array<std::int32_t, 256>> ownLocalWords_;
  std::vector<std::uint8_t> ownTransmit_;
};

// --- Entry points
// ------------------------------------------------------------------------------------------------------

// Runs a script with a fresh interpreter; the list of accepted reply sizes is cleared first.  `channel` has no effect.
int MidiMacroA(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
               MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue, bool setRegisters,
               VariableBlock variables, bool returnRet);
// As MidiMacroA for editor controls: all four registers preset, no register rules applied.
int MidiMacroEdit(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
                  MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue, VariableBlock variables,
                  bool returnRet, std::int32_t w, std::int32_t y, std::int32_t z);
// As MidiMacroA with a variable block of its own: V40 the v40Value of the descriptor, V44 its MIDI channel, V999
// `extra`.
int MidiMacro(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
              MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue, std::int32_t extra);
// Runs a script without an instrument: a scratch descriptor on channel `channelAndMode` (its low nibble, and float
// mode, when the high nibble is not 0) and a scratch buffer.  X, Y and Z of `registers` are replaced by the register
// rules.
int MidiMacroB(ScriptServices& services, TransferContext& context, std::span<const std::uint8_t> code,
               std::span<const std::int32_t, 4> registers, VariableBlock variables, int channelAndMode);

// What is left in the registers and the variable block after a run.
struct MacroOutcome {
  int result = 0;
  std::array<std::int32_t, 4> registers{};
  std::vector<std::int32_t> variables;  // kVariableBlockEntries entries
};
// As MidiMacro, telling everything about the end of the run.
MacroOutcome RunTransferMacro(ScriptServices& services, TransferContext& context, Synth& synth,
                              std::span<const std::uint8_t> code, MacroBuffer buffer, std::int32_t xValue,
                              std::int32_t extra);

// A layout rule of layered editor pages: when value < limit, advances *layer by one and sets *position to
// layer * 480 + 719.  Returns value.
int CheckLayer(int value, int limit, int* layer, unsigned* position);

}  // namespace tonalith
