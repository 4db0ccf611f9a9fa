#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "platform/byte_window.h"
#include "script/macro_session.h"
#include "script/script_services.h"
#include "script/transfer_context.h"

namespace tonalith {

class TranslatedCode;

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

  std::int32_t Register(int index) const { return s_.registers[static_cast<std::size_t>(index & 3)]; }
  void SetRegister(int index, std::int32_t value) { s_.registers[static_cast<std::size_t>(index & 3)] = value; }
  // How the code of the last Run ended (0, or a negative result code), and whether it said "RET".
  int EndCode() const { return endCode_; }
  bool Returned() const { return s_.returnSet; }
  std::int32_t ReturnValue() const { return s_.returnValue; }
  float RegisterFloat(int index) const { return s_.registerFloats[static_cast<std::size_t>(index & 3)]; }
  // Before a run.
  void SetFloatMode(bool on) { s_.floatMode = on; }

 private:
  friend struct MacroStatements;
  friend struct EngineForms;

  // A pointer into checked memory and the bytes a script believes to be left behind it.
  struct Cursor {
    ByteWindow memory;
    std::int64_t pos = 0;
    std::int32_t space = 0;
  };

  // Everything a called macro starts with a copy of.
  struct State {
    MacroSession* session = nullptr;
    Synth* synth = nullptr;
    Cursor receive;
    Cursor saved;
    Cursor alternate;
    Cursor transmit;  // space: the transmit count
    ByteWindow buffer;
    VariableBlock variables;
    const std::int32_t* localWords = nullptr;
    std::array<std::int32_t, 4> registers{};
    std::array<std::int32_t, 4> registerTypes{};
    std::array<float, 4> registerFloats{};
    std::int32_t size = 0;
    std::int32_t channelPosition = 0;
    std::int32_t continueOnError = 0;
    std::int32_t returnValue = 0;
    std::uint8_t channel = 0;
    std::uint8_t idCheck = 0;  // 0: replies must carry the manufacturer id
    bool hasTransmit = false;
    bool aFlag = true;
    bool floatMode = false;
    bool returnSet = false;
    bool ackWait = false;
    bool queueWasCollecting = false;
    bool timeoutByReceive = false;  // the receive timeout was set by a receive, not by the script
  };

  // A macro of the table as it was when it was called.
  struct CalledMacro {
    std::vector<std::uint8_t> bytes;
    std::unique_ptr<TranslatedCode> code;  // null: there is no such macro
    unsigned foreignCalls = 0;
    bool known = false;
  };

  // Runs code to its end; a result code.
  int Execute(std::span<const std::uint8_t> code);
  int Execute(TranslatedCode& code);
  // The macro of that number, translated; null when there is none.
  TranslatedCode* FindCalled(std::int32_t n) {
    const auto index = static_cast<std::size_t>(static_cast<std::uint32_t>(n));
    if (index < called_.size() && called_[index].known && called_[index].foreignCalls == s_.session->foreignCalls) {
      return called_[index].code.get();
    }
    return LookUpCalled(n);
  }
  TranslatedCode* LookUpCalled(std::int32_t n);
  // Runs a called macro on copies of everything a macro may change; X := its result.  The reason to stop, or 0.
  int CallOnCopies(TranslatedCode& code);
  // What the end of every macro puts an end to: waits for acknowledgements and the patterns of receives.
  void EndOfMacro();
  void ForgetCalled();

  State s_;
  std::shared_ptr<std::vector<std::uint8_t>> work_;
  std::unique_ptr<std::array<std::int32_t, 256>> ownLocalWords_;  // made when the first one is written
  std::vector<std::uint8_t> ownTransmit_;
  std::vector<CalledMacro> called_;
  std::vector<CalledMacro> replaced_;  // macros that were replaced in the table while they ran
  int endCode_ = 0;
  std::int32_t zero_ = 0;  // what is read outside the variable block
  std::int32_t sink_ = 0;  // what is written there
};

// --- Entry points

// Runs a script with a fresh interpreter; the list of accepted reply sizes is cleared first.  `channel` has no effect.
int MidiMacroA(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
               MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue, bool setRegisters,
               VariableBlock variables, bool returnRet);
// As MidiMacroA for editor controls: all four registers preset, no register rules applied.
int MidiMacroEdit(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
                  MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue, VariableBlock variables,
                  bool returnRet, std::int32_t w, std::int32_t y, std::int32_t z);
// As MidiMacroA with a variable block of its own: V40 the v40Value of the descriptor, V44 its MIDI channel, V997
// xValue, which statements that answer in X leave alone, V998 the attempts that are left, V999 `extra`.
int MidiMacro(ScriptServices& services, TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
              MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue, std::int32_t extra);
// Runs a script without an instrument: a scratch descriptor on channel `channelAndMode` (its low nibble, and float
// mode, when the high nibble is not 0) and a scratch buffer.  X, Y and Z of `registers` are replaced by the register
// rules.
int MidiMacroB(ScriptServices& services, TransferContext& context, std::span<const std::uint8_t> code,
               std::span<const std::int32_t, 4> registers, VariableBlock variables, int channelAndMode);

// How a script is started apart from a transfer.
struct MacroStart {
  std::int32_t x = 0;      // X, when `edit` does not say; Y and Z are then SysEx channel and patch number
  std::int32_t extra = 0;  // V999
  std::optional<std::array<std::int32_t, 4>> edit{};  // W X Y Z, as the control of an editor gives them
  bool returnRet = false;                             // the result is the value of "RET" where there is one
  bool floatMode = false;
};

// What is left in the registers and the variable block after a run.
struct MacroOutcome {
  int result = 0;
  std::array<std::int32_t, 4> registers{};
  std::array<float, 4> registerFloats{};
  std::vector<std::int32_t> variables;  // kVariableBlockEntries entries
  std::string stop;                     // ScriptStopText of what ended it before its own end
  int end = 0;                          // 0, or the code that ended it, also one that `result` passes over
  bool returned = false;                // it said "RET"
  std::int32_t returnValue = 0;         // the value it said
};
// Runs a script as MidiMacro or MidiMacroEdit do, telling everything about the end of the run.  `variables` is the
// block it begins with; empty: the one of MidiMacro.
MacroOutcome RunMacro(ScriptServices& services, TransferContext& context, Synth& synth,
                      std::span<const std::uint8_t> code, MacroBuffer buffer, const MacroStart& start,
                      std::vector<std::int32_t> variables = {});
// As MidiMacro, telling everything about the end of the run.
MacroOutcome RunTransferMacro(ScriptServices& services, TransferContext& context, Synth& synth,
                              std::span<const std::uint8_t> code, MacroBuffer buffer, std::int32_t xValue,
                              std::int32_t extra);

// A layout rule of layered editor pages: when value < limit, advances *layer by one and sets *position to
// layer * 480 + 719.  Returns value.
int CheckLayer(int value, int limit, int* layer, unsigned* position);

}  // namespace tonalith
