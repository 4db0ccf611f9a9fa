#include "script/former_engine/interpreter.h"

#include <algorithm>

#include "data/packed_bytes.h"
#include "platform/log.h"
#include "script/former_engine/macro_statements.h"
#include "script/former_engine/translated_code.h"

namespace tonalith::former {

namespace {

constexpr std::int32_t kPassesBetweenPolls = 1024;

// Translating costs about as much as running every statement a few times.
bool WorthTranslating(std::int32_t passes, std::size_t codeSize) {
  constexpr std::int64_t kBytesPerPass = 64;
  return passes >= 4 && passes * kBytesPerPass >= static_cast<std::int64_t>(codeSize);
}
constexpr std::array<std::int32_t, 256> kNoLocalWords{};

// How the conditions without a second operand look at their variable.
bool ConditionHolds(std::uint8_t opcode, std::int32_t value) {
  switch (opcode) {
    case 23:
      return value != 0;
    case 24:
      return value == 0;
    case 27:
      return value < 0;
    case 28:
      return value > 0;
    case 42:
      return value <= 0;
    default:
      return value >= 0;
  }
}

// Bytes behind the opcode of a statement that is known to be whole.
std::size_t SkipBytes(const std::uint8_t* statement, const std::uint8_t* end) {
  const auto variable = [statement]() -> std::size_t { return (statement[1] & 0x80) ? 2 : 1; };
  switch (statement[0]) {
    case 14:
      if (statement[variable() + 1] != kCopyOperator) return variable() + 5;
      return variable() + (CopiesWideVariable(statement) ? 3 : 2);
    case 23:
    case 24:
    case 27:
    case 28:
    case 42:
    case 43:
      return variable();
    case 12:
    case 19:
    case 26:
    case 29:
    case 33:
    case 35:
    case 46:
      return variable() + 4;
    default:
      return OperandBytes(statement, static_cast<std::size_t>(end - statement));
  }
}

constexpr std::uint8_t kMathFamily = 40;
constexpr std::uint8_t kIntMember = 13;
constexpr std::uint8_t kFloatMember = 14;

// Steps over one statement inside a false condition: changes the skip depth, returns the bytes behind the opcode.
std::size_t StepOver(const std::uint8_t* statement, const std::uint8_t* end, std::int32_t& depth) {
  switch (statement[0]) {
    case 23:
    case 24:
    case 27:
    case 28:
    case 33:
    case 42:
    case 43:
    case 46:
      ++depth;
      break;
    case kMathFamily:
      if (statement[1] == kIntMember || statement[1] == kFloatMember) ++depth;
      break;
    case 38:
      --depth;
      return 0;
    case 25:
      depth = 0;
      return 0;
    default:
      break;
  }
  return SkipBytes(statement, end);
}

}  // namespace

MacroSession::~MacroSession() {
  if (context.staged) {
    DebugLog("A staged request of %zu bytes was not taken by any receive and is dropped", context.staged->bytes.size());
    context.staged.reset();
  }
  if (collectingPort >= 0) services.OutputQueue(collectingPort);
  if (cancelPatternPort >= 0) services.SetSysXCancel(cancelPatternPort, {}, 0);
}

int MacroSession::Poll() {
  if (stop != 0) return stop;
  const auto granted = static_cast<std::int32_t>(std::min<std::int64_t>(kPassesBetweenPolls, passesLeft));
  if (granted <= 0) {
    DebugLog("A script is ended: too many loop passes");
    stop = kMacroBadCommand;
  } else if (Ended() || (!buttonPressed && context.state.load() >= TransferState::Cancel)) {
    stop = kMacroNoResponse;
  } else {
    passesLeft -= granted;
    untilPoll = granted - 1;  // the pass that led here counts
  }
  return stop;
}

ZKMacro::ZKMacro(MacroSession& session) {
  s_.session = &session;
  s_.localWords = kNoLocalWords.data();
}

ZKMacro::~ZKMacro() {
  if (s_.ackWait && s_.synth) s_.session->services.MidiOutClrWaitForAck(s_.synth->midiOutPort);
  ClearReceiveFilters(s_.session->context);
}

int ZKMacro::Run(Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer, std::int32_t xValue,
                 bool setRegisters, VariableBlock variables, bool returnRet) {
  TransferContext& context = s_.session->context;
  s_.synth = &synth;
  s_.idCheck = 0;
  context.acceptAny = AcceptAny::SysExOnly;
  context.transmitDelayMs = 0;
  context.receiveTimeoutMs = 0;
  if (context.inPortName.empty()) context.inPort = synth.midiInPort;
  s_.timeoutByReceive = false;
  if (setRegisters) {
    s_.registers[1] = xValue;
    s_.registers[2] = synth.sysExChannel;
    s_.registers[3] = synth.patchNumber;
  }
  s_.variables = variables;
  s_.channelPosition = static_cast<std::int32_t>(synth.sysExChannelOffset);
  s_.channel = synth.sysExChannel;
  work_.reset();
  s_.alternate = {};
  s_.transmit = {};
  s_.hasTransmit = false;
  s_.buffer = ByteWindow(buffer.bytes);
  s_.size = static_cast<std::int32_t>(std::min<std::size_t>(buffer.size, INT32_MAX));
  s_.receive = {s_.buffer, 0, s_.size};
  s_.saved = s_.receive;
  s_.aFlag = true;
  s_.skipDepth = 0;
  s_.returnValue = 0;
  s_.returnSet = false;
  const int r = ExMidiMacro(code);
  work_.reset();
  if (IsNormalEnd(r)) {
    if (returnRet && s_.returnSet) return s_.returnValue;
    return WrapToInt(std::int64_t{s_.size} - s_.receive.space);
  }
  return r;
}

int ZKMacro::NoSetupRun(std::span<const std::uint8_t> code) {
  s_.returnValue = s_.registers[1];
  const int r = ExMidiMacro(code);
  return IsNormalEnd(r) ? s_.returnValue : r;
}

void ZKMacro::CopyFrom(const ZKMacro& other) {
  s_ = other.s_;
  work_ = other.work_;
}

// The loop works on statements that are known to lie inside the code: everything before `checked` can be read without
// looking, statements behind it are measured once.
int ZKMacro::ExMidiMacro(std::span<const std::uint8_t> code) {
  using M = MacroStatements;
  constexpr std::ptrdiff_t kLongestOperands = 32;
  State& s = s_;
  MacroSession& session = *s.session;
  const std::uint8_t* at = code.data();
  const std::uint8_t* const end = at + code.size();
  // "S" and "FA" carry any number of bytes; they measure themselves.
  const std::uint8_t* checked = end - at > kLongestOperands ? end - kLongestOperands : at;
  LoopFrame loops[kMaxLoopDepth];
  int depth = 0;
  std::unique_ptr<TranslatedCode> translated;

  for (;;) {
    if (at >= checked) [[unlikely]] {
      if (at >= end) return kMacroEndOfCode;
      if (IsDefinedOpcode(*at) && OperandBytes(at, static_cast<std::size_t>(end - at)) == kBadStatement) {
        return kMacroEndOfCode;
      }
      checked = at + 1;
    }
    if (s.skipDepth > 0) [[unlikely]] {
      if (*at == kEndOfScript) return kMacroEndOfCode;
      if (!IsDefinedOpcode(*at)) return kMacroBadCommand;
      const std::size_t operands = StepOver(at, end, s.skipDepth);
      if (operands == kBadStatement) return kMacroEndOfCode;
      at += 1 + operands;
      continue;
    }
    const std::uint8_t opcode = *at++;
    int result = 0;
    switch (opcode) {
      case 0:
        result = M::Transmit(*this, M::TransmitKind::T, M::Number(s, at));
        break;
      case 1:
        result = M::Receive(*this, 0, M::Number(s, at));
        break;
      case 2:
        s.channelPosition = M::Number(s, at);
        break;
      case 3:
        result = M::Transmit(*this, M::TransmitKind::B, M::Number(s, at));
        break;
      case 4: {
        const std::int32_t count = M::Number(s, at);
        if (count <= 0) break;
        if (depth == kMaxLoopDepth) {
          session.stop = kMacroBadCommand;
          return kMacroBadCommand;
        }
        loops[depth++] = {at, count, -1};
        break;
      }
      case 5:
        s.idCheck = s.idCheck ? 0 : 1;
        session.context.acceptAny = static_cast<AcceptAny>(s.idCheck);
        break;
      case 6:
        session.services.CreateDelayEvent(
            s.synth->midiOutPort, static_cast<std::uint32_t>(std::max(M::Number(s, at) / 100, 0)), session.context);
        break;
      case 7:
        if (depth == 0) return 0;
        if (--loops[depth - 1].left > 0) {
          at = loops[depth - 1].body;
          result = session.Pass();
          if (result != 0) break;
          if (!translated && WorthTranslating(loops[depth - 1].left, code.size()) && !s.floatMode) {
            translated = std::make_unique<TranslatedCode>(code, s.registers, s.variables);
          }
          if (translated && translated->usable()) {
            result = RunTranslated(*translated, translated->Find(at), loops, depth, at);
            if (result == kLeftTranslated) {
              result = 0;
            } else {
              return result;
            }
          }
        } else {
          --depth;
        }
        break;
      case 8:
      case 11: {
        if (OperandBytes(at - 1, static_cast<std::size_t>(end - at + 1)) == kBadStatement) return kMacroEndOfCode;
        const std::size_t count = InlineByteCount(M::Word(at));
        at += 4;
        std::int32_t offset = 0;
        if (opcode == 11) offset = M::Number(s, at);
        const std::span<const std::uint8_t> bytes(at, count);
        if (opcode == 8) {
          M::SetTransmitData(*this, bytes);
        } else {
          M::CopyInline(s, bytes, offset);
        }
        at += count;
        break;
      }
      case 9:
        s.aFlag = true;
        break;
      case 10:
        M::Checksum(s, at);
        at += 14;
        break;
      case 12: {
        const std::int32_t value = M::ReadVariable(s, M::VariableIndex(at));
        const std::int32_t offset = M::Number(s, at);
        const Cursor& data = M::Current(s);
        data.memory.Put(data.pos + offset, static_cast<std::uint8_t>(value));
        break;
      }
      case 14: {
        const std::size_t target = M::VariableIndex(at);
        const std::uint8_t op = *at++;
        std::int32_t value;
        if (op == kCopyOperator) {
          value = M::ReadVariable(s, *at++);
        } else {
          value = M::Number(s, at);
          if (s.floatMode) M::ApplyFloatOperator(s, op, target);
        }
        M::WriteVariable(s, target, ApplyOperator(op, M::ReadVariable(s, target), value));
        break;
      }
      case 15:
        session.context.transmitDelayMs = static_cast<std::uint32_t>(std::max(M::Number(s, at), 0));
        break;
      case 16:
        result = M::Transmit(*this, M::TransmitKind::TR, M::Number(s, at));
        break;
      case 17:
        result = M::ReceiveAndDrop(*this, M::Number(s, at));
        break;
      case 18:
        result = M::Buffers(*this, at);
        at += OperandBytes(at - 1, static_cast<std::size_t>(end - at + 1));
        break;
      case 19: {
        const std::size_t target = M::VariableIndex(at);
        const std::int32_t index = M::Number(s, at);
        M::WriteVariable(s, target, M::GetPacked(s, s.receive, index));
        break;
      }
      case 20:
        s.returnValue = M::ReadVariable(s, M::VariableIndex(at));
        s.returnSet = true;
        break;
      case 21: {
        const std::int32_t count = M::Number(s, at);
        M::DiskRead(s, count, M::Number(s, at));
        break;
      }
      case 22:
        session.services.DiskSeek(std::max(M::Number(s, at), 0));
        break;
      case 23:
      case 24:
      case 27:
      case 28:
      case 42:
      case 43:
        if (!ConditionHolds(opcode, M::ReadVariable(s, M::VariableIndex(at)))) s.skipDepth = 1;
        break;
      case 25:
      case 31:
      case 32:
      case 38:
        break;
      case 26: {
        const std::int32_t value = M::ReadVariable(s, M::VariableIndex(at));
        const std::int32_t index = M::Number(s, at);
        const Cursor& data = M::Current(s);
        ImageView(M::Whole(data.memory), *s.synth).Set(data.pos, index, value);
        break;
      }
      case 29: {
        const std::size_t target = M::VariableIndex(at);
        const std::int32_t offset = M::Number(s, at);
        M::WriteVariable(s, target, s.receive.memory.At(s.receive.pos + offset));
        break;
      }
      case 30: {
        const std::int32_t skip = M::Number(s, at);
        result = M::Receive(*this, skip, M::Number(s, at));
        break;
      }
      case 33: {
        const std::int32_t value = M::ReadVariable(s, M::VariableIndex(at));
        if (value != M::Number(s, at)) s.skipDepth = 1;
        break;
      }
      case 34:
        result = M::CallMacro(*this, M::Number(s, at));
        break;
      case 35: {
        const std::size_t target = M::VariableIndex(at);
        const std::int32_t offset = M::Number(s, at);
        const bool inside = s.hasTransmit && offset >= 0 && offset < s.transmit.space;
        M::WriteVariable(s, target, inside ? s.transmit.memory.At(s.transmit.pos + offset) : 0);
        break;
      }
      case 36:
        if (depth == 0) return kMacroBroken;
        --depth;
        break;
      case 37:
        result = M::Kurzweil(*this);
        break;
      case 39:
        result = M::RolandStep(*this);
        break;
      case 40:
        result = M::Mathematics(*this, at);
        at += OperandBytes(at - 1, static_cast<std::size_t>(end - at + 1));
        break;
      case 41:
        M::TrinEff(s);
        break;
      case 45:
        session.context.receiveTimeoutMs = std::max(M::Number(s, at), 0);
        s.timeoutByReceive = false;
        break;
      case 46: {
        const std::int32_t value = M::ReadVariable(s, M::VariableIndex(at));
        if (value == M::Number(s, at)) s.skipDepth = 1;
        break;
      }
      case 49:
        s.idCheck = 2;
        session.context.acceptAny = AcceptAny::PastEnd;
        break;
      case 50:
        result = M::VariableBlockAccess(s, at);
        at += OperandBytes(at - 1, static_cast<std::size_t>(end - at + 1));
        break;
      case 44:
      case 47:
      case 48:
      case 51:
      case 52:
      case 53:
      case 54:
      case 55:
      case 56:
      case 57:
      case 58:
        result = M::FamilyMember(*this, opcode, at);
        at += OperandBytes(at - 1, static_cast<std::size_t>(end - at + 1));
        break;
      case kEndOfScript:
        return kMacroEndOfCode;
      default:
        return kMacroBadCommand;
    }
    if (result != 0) return result;
  }
}

}  // namespace tonalith::former
