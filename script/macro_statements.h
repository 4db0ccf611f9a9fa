#pragma once

#include <bit>
#include <cmath>
#include <limits>

#include "script/interpreter.h"
#include "script/statement_table.h"
#include "script/translated_code.h"

namespace tonalith {

// "T", "B" and "TR".
enum class TransmitKind { T, B, TR };

// The handlers that statements.def names, and what they share.  A handler gets the macro and its translated statement;
// 0 to go on, any other value ends the macro with that code.
struct MacroStatements {
  using State = ZKMacro::State;
  using Cursor = ZKMacro::Cursor;
  using Op = TranslatedOp;

  static constexpr StatementHandler InLoop = nullptr;  // the form of the statement has a body in the engine's loop
  static constexpr std::int32_t kScriptVariables = 8192;
  static constexpr std::size_t kReceiveResultEntry = 10;

  // --- Operands and variables.  Numbers: 4 bytes; variables: one or two bytes, index 0 to 3 = W X Y Z.
  static std::uint32_t Word(const std::uint8_t* at) { return LoadBe32(at); }
  static std::size_t VariableIndex(const std::uint8_t*& at) {  // GetSrcVar
    const std::size_t first = *at++;
    if (!(first & 0x80)) return first;
    return (first & 0x7F) | static_cast<std::size_t>(*at++) << 7;
  }
  static void WriteVariable(State& s, std::size_t index, std::int32_t value) {
    if (index < 4) {
      s.registers[index] = value;
    } else if (index - 4 < s.variables.size()) {
      s.variables[index - 4] = value;
    }
  }
  static std::int32_t Entry(const State& s, std::size_t entry) {
    return entry < s.variables.size() ? s.variables[entry] : 0;
  }
  static void SetEntry(State& s, std::size_t entry, std::int32_t value) {
    if (entry < s.variables.size()) s.variables[entry] = value;
  }
  static void SetX(State& s, std::int32_t value) { s.registers[1] = value; }
  static void SetX(State& s, std::int32_t value, float companion) {
    s.registers[1] = value;
    if (s.floatMode) s.registerFloats[1] = companion;
  }
  // MacroWriteLong: through a reference only, and only with a variable block.
  static void WriteThrough(State& s, std::uint32_t word, std::int32_t value);
  static void WriteFloatThrough(State& s, std::uint32_t word, float value);
  // Number operand i as the float companion of what it refers to; 0 outside float mode.
  static float Float(const State& s, const Op& op, int i) {
    return s.floatMode ? FloatOfWord(s, op.NumberWord(i), op.Number(i)) : 0;
  }
  static float FloatOfWord(const State& s, std::uint32_t word, std::int32_t value);
  static float FloatOfVariable(const State& s, std::size_t index);
  static void SetFloatOfVariable(State& s, std::size_t index, float value);
  static void SetTypeOfVariable(State& s, std::size_t index, std::int32_t type);

  // --- Data
  // "F", "K", "T" and the like work on this.
  static Cursor& Current(State& s) { return s.aFlag ? s.receive : s.transmit; }
  static const Cursor& Current(const State& s) { return s.aFlag ? s.receive : s.transmit; }
  static std::span<std::uint8_t> Whole(const ByteWindow& w) { return {w.base(), static_cast<std::size_t>(w.size())}; }
  static std::int32_t GetPacked(const State& s, const Cursor& c, std::int64_t index);
  static std::span<std::uint8_t> FromCursor(const Cursor& c) { return c.memory.Clamped(c.pos, c.memory.size()); }
  // The bytes of the cursor that are both inside its memory and within its count, at most `limit`.
  static std::span<std::uint8_t> Remaining(const Cursor& c, std::int64_t limit = INT32_MAX);
  static void Advance(Cursor& c, std::int64_t count);
  static void DropTransmit(State& s);

  static int TransmitData(ZKMacro& m, TransmitKind kind, std::int32_t n);
  static void PatchChannel(State& s, std::span<std::uint8_t> bytes, bool keepOpenChannel);
  static int ReceiveReply(ZKMacro& m, std::int64_t skip, std::int32_t n);
  static void TakePattern(State& s, MidiPattern& pattern);
  static void ReleaseWork(ZKMacro& m);

  // --- MIDI and the data of the transfer
  template <TransmitKind kind>
  static int Transmit(ZKMacro& m, const Op& op) {
    return TransmitData(m, kind, op.Number(0));
  }
  static int Receive(ZKMacro& m, const Op& op);
  static int ReceiveSkipping(ZKMacro& m, const Op& op);
  static int ReceiveAndDrop(ZKMacro& m, const Op& op);
  static int SetChannelPosition(ZKMacro& m, const Op& op);
  static int ToggleIdCheck(ZKMacro& m, const Op& op);
  static int AcceptPastEnd(ZKMacro& m, const Op& op);
  static int QueueDelay(ZKMacro& m, const Op& op);
  static int SetMessageDelay(ZKMacro& m, const Op& op);
  static int SetTimeout(ZKMacro& m, const Op& op);
  static int SetTransmitData(ZKMacro& m, const Op& op);
  static int UseBuffer(ZKMacro& m, const Op& op);
  static int CopyInline(ZKMacro& m, const Op& op);
  static int Checksum(ZKMacro& m, const Op& op);
  static int DiskRead(ZKMacro& m, const Op& op);
  static int DiskSeek(ZKMacro& m, const Op& op);
  static int RolandStep(ZKMacro& m, const Op& op);
  static int CheckEffects(ZKMacro& m, const Op& op);
  static int Kurzweil(ZKMacro& m, const Op& op);
  static int InsertBytes(ZKMacro& m, const Op& op);

  // --- Work buffers, cursors, messages in the data
  static int AllocateWork(ZKMacro& m, const Op& op);
  static int FreeWork(ZKMacro& m, const Op& op);
  static int EnterWork(ZKMacro& m, const Op& op);
  static int LeaveWork(ZKMacro& m, const Op& op);
  static int RestartWork(ZKMacro& m, const Op& op);
  static int CopyFromSaved(ZKMacro& m, const Op& op);
  static int SetCursor(ZKMacro& m, const Op& op);
  static int StepForward(ZKMacro& m, const Op& op);
  static int StepBack(ZKMacro& m, const Op& op);
  static int MeasureMessage(ZKMacro& m, const Op& op);
  static int MeasureMessages(ZKMacro& m, const Op& op);
  static int StripEnds(ZKMacro& m, const Op& op);
  static int WriteDecimal(ZKMacro& m, const Op& op);

  // --- Arithmetic
  static int AssignFloat(ZKMacro& m, const Op& op);
  static int Absolute(ZKMacro& m, const Op& op);
  static int Minimum(ZKMacro& m, const Op& op);
  static int Maximum(ZKMacro& m, const Op& op);
  static int Sine(ZKMacro& m, const Op& op);
  static int Cosine(ZKMacro& m, const Op& op);
  static int Tangent(ZKMacro& m, const Op& op);
  static int ArcSine(ZKMacro& m, const Op& op);
  static int ArcCosine(ZKMacro& m, const Op& op);
  static int ArcTangent(ZKMacro& m, const Op& op);
  static int ArcTangent2(ZKMacro& m, const Op& op);
  static int HyperbolicSine(ZKMacro& m, const Op& op);
  static int HyperbolicCosine(ZKMacro& m, const Op& op);
  static int HyperbolicTangent(ZKMacro& m, const Op& op);
  static int MakeInteger(ZKMacro& m, const Op& op);
  static int MakeFloat(ZKMacro& m, const Op& op);
  static int Power(ZKMacro& m, const Op& op);
  static int SquareRoot(ZKMacro& m, const Op& op);
  static int Factorial(ZKMacro& m, const Op& op);
  static int Exponential(ZKMacro& m, const Op& op);
  static int DecimalLogarithm(ZKMacro& m, const Op& op);
  static int Logarithm(ZKMacro& m, const Op& op);
  static int Random(ZKMacro& m, const Op& op);
  static int TenthPower(ZKMacro& m, const Op& op);
  static int InvertBits(ZKMacro& m, const Op& op);

  // --- Filters and the course of the transfer
  static int SetAcceptPattern(ZKMacro& m, const Op& op);
  static int ClearAcceptPattern(ZKMacro& m, const Op& op);
  static int AddDeclinePattern(ZKMacro& m, const Op& op);
  static int ClearDeclinePatterns(ZKMacro& m, const Op& op);
  static int SetEndPattern(ZKMacro& m, const Op& op);
  static int ClearEndPattern(ZKMacro& m, const Op& op);
  static int SetCancelPattern(ZKMacro& m, const Op& op);
  static int ClearCancelPattern(ZKMacro& m, const Op& op);
  static int AddReplySize(ZKMacro& m, const Op& op);
  static int SetContinueOnError(ZKMacro& m, const Op& op);
  static int SetRetries(ZKMacro& m, const Op& op);
  static int SetTimedOut(ZKMacro& m, const Op& op);
  static int SetVerifyReplies(ZKMacro& m, const Op& op);
  static int WaitForAck(ZKMacro& m, const Op& op);
  static int ClearAckWait(ZKMacro& m, const Op& op);
  static int EndAcks(ZKMacro& m);
  static int CollectMessages(ZKMacro& m, const Op& op);
  static int SendCollected(ZKMacro& m, const Op& op);
  static int PressButton(ZKMacro& m, const Op& op);
  static int SetStayOpen(ZKMacro& m, const Op& op);
  static int StopBankLoop(ZKMacro& m, const Op& op);
  static int Sleep(ZKMacro& m, const Op& op);
  static int ReadDropped(ZKMacro& m, const Op& op);
  static int ReadDiskSize(ZKMacro& m, const Op& op);
  static int HydrasynthReceive(ZKMacro& m, const Op& op);
  static int HydrasynthSend(ZKMacro& m, const Op& op);
  static int HydrasynthBurn(ZKMacro& m, const Op& op);
  template <auto member>
  static int FromTransfer(ZKMacro& m, const Op&) {
    SetX(m.s_, m.s_.session->context.*member);
    return 0;
  }

  // --- Settings, ports, the program
  template <ScriptSetting setting>
  static int ReadSetting(ZKMacro& m, const Op&) {
    SetX(m.s_, m.s_.session->services.Setting(setting));
    return 0;
  }
  template <ScriptSetting setting>
  static int WriteSetting(ZKMacro& m, const Op& op) {
    ChangeSetting(m, setting, op.Number(0));
    return 0;
  }
  template <ScriptSetting setting>
  static int ExchangeSetting(ZKMacro& m, const Op& op) {
    return Exchange(m, setting, op.Number(0));
  }
  // Stores a value and tells when it is another one; the former one.
  static int ChangeSetting(ZKMacro& m, ScriptSetting setting, std::int32_t value);
  static int Exchange(ZKMacro& m, ScriptSetting setting, std::int32_t value);
  template <MidiDirection direction>
  static int SetOpenAllPorts(ZKMacro& m, const Op& op) {
    SetX(m.s_, m.s_.session->services.SetOpenAllPorts(direction, op.Number(0)));
    return 0;
  }
  template <MidiDirection direction>
  static int ClosePortsExcept(ZKMacro& m, const Op& op) {
    if (Hosted(m)) m.s_.session->services.ClosePortsExcept(direction, op.Number(0));
    return 0;
  }
  template <MidiDirection direction>
  static int OpenPortsFromMap(ZKMacro& m, const Op& op) {
    m.s_.session->services.OpenPortsFromMap(direction, op.Number(0));
    return 0;
  }
  template <MidiDirection direction>
  static int SelectPortMap(ZKMacro& m, const Op& op) {
    m.s_.session->services.SelectPortMap(direction, op.Number(0));
    return 0;
  }
  template <MidiDirection direction>
  static int OpenPortDialog(ZKMacro& m, const Op&) {
    m.s_.session->services.OpenPortDialog(direction);
    return 0;
  }
  template <MidiDirection direction>
  static int OpenPorts(ZKMacro& m, const Op&) {
    m.s_.session->services.OpenPorts(direction);
    return 0;
  }
  template <MidiDirection direction>
  static int ClosePorts(ZKMacro& m, const Op&) {
    m.s_.session->services.ClosePorts(direction);
    return 0;
  }
  template <MidiDirection direction>
  static int CountPorts(ZKMacro& m, const Op&) {
    // While data is written to a file, nobody is there.
    MacroSession& session = *m.s_.session;
    SetX(m.s_, session.services.CanBeAnswered(session.context) ? session.services.PortCount(direction) : 0);
    return 0;
  }
  static bool Hosted(const ZKMacro& m);
  static int SetForceExit(ZKMacro& m, const Op& op);
  static int SetMaxSpeed(ZKMacro& m, const Op& op);
  static int SetUsbSpeed(ZKMacro& m, const Op& op);
  static int ExchangeDefaultChannel(ZKMacro& m, const Op& op);
  static int ClearManualDumps(ZKMacro& m, const Op& op);
  static int ReadEnvironment(ZKMacro& m, const Op& op);
  static int ReadPlatform(ZKMacro& m, const Op& op);
  static int ReadOsVersion(ZKMacro& m, const Op& op);
  static int ReadVersionInfo(ZKMacro& m, const Op& op);
  static int CompareVersion(ZKMacro& m, const Op& op);
  static int OpenUpdateAddress(ZKMacro& m, const Op& op);
  static int QuitApp(ZKMacro& m, const Op& op);
  static int ReadDriverId(ZKMacro& m, const Op& op);
  static int ReadChildId(ZKMacro& m, const Op& op);
  static int SetChildId(ZKMacro& m, const Op& op);
  static int TakeOneShot(ZKMacro& m, const Op& op);
  static int ReadBasicsVar(ZKMacro& m, const Op& op);
  static int WriteBasicsVar(ZKMacro& m, const Op& op);
  static int SetLocalWord(ZKMacro& m, const Op& op);
  template <std::size_t index>
  static int LocalWordTo(ZKMacro& m, const Op& op) {
    const std::int32_t word = op.Number(0);
    if (word >= 0 && word < kLocalWordCount) m.s_.registers[index] = m.s_.localWords[word];
    return 0;
  }
  static constexpr std::int32_t kLocalWordCount = 256;

  // --- Requests to editors, Sets and windows
  static int Forward(ZKMacro& m, const Op& op);  // as the row says
  static int MessageBox(ZKMacro& m, const Op& op);
};

// Toward zero; NaN gives 0, what is too large the nearest limit.
inline std::int32_t SaturateToInt(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483647.0) return std::numeric_limits<std::int32_t>::max();
  if (value <= -2147483648.0) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

// Arithmetic that wraps at 32 bits.
inline std::int32_t WrapToInt(std::int64_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(value)));
}

// Results after which a run counts as ended in the normal way.
inline bool IsNormalEnd(int result) {
  return result == 0 || result == kMacroNoResponse || result == kMacroNoEnd || result == kMacroEndOfCode;
}

// The end of an interpreter, also of a called macro's, ends the patterns of receives.
inline void ClearReceiveFilters(TransferContext& context) {
  context.acceptPattern.clear();
  context.hasAcceptPattern = false;
  context.declinePatterns.clear();
  context.endPattern.clear();
}

}  // namespace tonalith
