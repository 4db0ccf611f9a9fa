#include "script/former_engine/interpreter.h"
#include "script/former_engine/macro_statements.h"
#include "script/former_engine/translated_code.h"

namespace tonalith::former {

namespace {

// A called macro that runs in the loop of its caller, and what is put back behind it.
struct CallFrame {
  TranslatedCode* code;
  const TranslatedOp* callerOps;
  const TranslatedOp* call;
  std::int32_t w, y, z;
  std::int32_t returnValue;
  bool returnSet;
};

}  // namespace

inline TranslatedCode* ZKMacro::FindCalled(std::int32_t n) {
  // The end of a called macro also ends a wait for acknowledgements; its own interpreter sees to that.
  if (s_.ackWait) return nullptr;
  const auto index = static_cast<std::size_t>(static_cast<std::uint32_t>(n));
  if (index < called_.size() && called_[index].known && called_[index].foreignCalls == s_.session->foreignCalls) {
    return called_[index].translated.get();
  }
  return TranslateCalled(n);
}

int ZKMacro::RunTranslated(const TranslatedCode& translated, std::int32_t first, LoopFrame* loops, int& depth,
                           const std::uint8_t*& at) {
  const TranslatedOp* ops = translated.ops();
  MacroSession& session = *s_.session;
  // None of these changes while translated code runs.
  const Cursor& data = MacroStatements::Current(s_);
  std::uint8_t* const dataBytes = data.memory.base();
  const auto dataSize = static_cast<std::uint64_t>(data.memory.size());
  const std::int64_t dataPos = data.pos;
  const std::uint8_t* const received = s_.receive.memory.base();
  const auto receivedSize = static_cast<std::uint64_t>(s_.receive.memory.size());
  const std::int64_t receivedPos = s_.receive.pos;
  for (int i = 0; i < depth; ++i) loops[i].op = translated.Find(loops[i].body);

  CallFrame calls[kMaxMacroDepth];
  int callDepth = 0;
  bool filtersClear = false;  // nothing that is translated sets them
  // Registers are put back one by one, and only when the macro wrote them: reading all of them at once would wait for
  // the write of the one that was changed last.
  const auto endCall = [&](int code) {
    const CallFrame& frame = calls[--callDepth];
    const std::int32_t result = IsNormalEnd(code) ? s_.returnValue : code;
    if (frame.code->Writes(0)) s_.registers[0] = frame.w;
    if (frame.code->Writes(2)) s_.registers[2] = frame.y;
    if (frame.code->Writes(3)) s_.registers[3] = frame.z;
    s_.registers[1] = result;
    s_.returnValue = frame.returnValue;
    s_.returnSet = frame.returnSet;
    --frame.code->running;
    --session.macroDepth;
    ops = frame.callerOps;
    return frame.call;
  };

  for (const TranslatedOp* op = ops + first;; ++op) {
    switch (op->kind) {
      case TranslatedOp::Kind::Add:
        *op->target = ApplyOperator(0, *op->target, *op->source);
        break;
      case TranslatedOp::Kind::AddLiteral:
        *op->target = ApplyOperator(0, *op->target, op->literal);
        break;
      case TranslatedOp::Kind::Subtract:
        *op->target = ApplyOperator(1, *op->target, *op->source);
        break;
      case TranslatedOp::Kind::Modulo:
        *op->target = ApplyOperator(2, *op->target, *op->source);
        break;
      case TranslatedOp::Kind::Divide:
        *op->target = ApplyOperator(3, *op->target, *op->source);
        break;
      case TranslatedOp::Kind::ShiftRight:
        *op->target = ApplyOperator(4, *op->target, *op->source);
        break;
      case TranslatedOp::Kind::ShiftLeft:
        *op->target = ApplyOperator(5, *op->target, *op->source);
        break;
      case TranslatedOp::Kind::Multiply:
        *op->target = ApplyOperator(6, *op->target, *op->source);
        break;
      case TranslatedOp::Kind::Set:
        *op->target = *op->source;
        break;
      case TranslatedOp::Kind::Or:
        *op->target |= *op->source;
        break;
      case TranslatedOp::Kind::And:
        *op->target &= *op->source;
        break;
      case TranslatedOp::Kind::IfNotZero:
        if (!(*op->target != 0)) op = ops + op->jump - 1;
        break;
      case TranslatedOp::Kind::IfZero:
        if (!(*op->target == 0)) op = ops + op->jump - 1;
        break;
      case TranslatedOp::Kind::IfNegative:
        if (!(*op->target < 0)) op = ops + op->jump - 1;
        break;
      case TranslatedOp::Kind::IfPositive:
        if (!(*op->target > 0)) op = ops + op->jump - 1;
        break;
      case TranslatedOp::Kind::IfNotPositive:
        if (!(*op->target <= 0)) op = ops + op->jump - 1;
        break;
      case TranslatedOp::Kind::IfNotNegative:
        if (!(*op->target >= 0)) op = ops + op->jump - 1;
        break;
      case TranslatedOp::Kind::IfEqual:
        if (!(*op->target == *op->source)) op = ops + op->jump - 1;
        break;
      case TranslatedOp::Kind::IfNotEqual:
        if (!(*op->target != *op->source)) op = ops + op->jump - 1;
        break;
      case TranslatedOp::Kind::Loop: {
        const std::int32_t count = *op->source;
        if (count <= 0) break;
        if (depth == kMaxLoopDepth) {
          session.stop = kMacroBadCommand;
          return kMacroBadCommand;
        }
        loops[depth++] = {op[1].at, count, static_cast<std::int32_t>(op + 1 - ops)};
        break;
      }
      case TranslatedOp::Kind::EndBlock:
        if (depth == 0) return 0;
        if (--loops[depth - 1].left <= 0) {
          --depth;
          break;
        }
        op = ops + loops[depth - 1].op - 1;
        if (const int stop = session.Pass()) return stop;
        break;
      case TranslatedOp::Kind::Break:
        if (depth == 0) return kMacroBroken;
        --depth;
        break;
      case TranslatedOp::Kind::GetByte: {
        const auto position = static_cast<std::uint64_t>(receivedPos + *op->source);
        *op->target = position < receivedSize ? received[position] : 0;
        break;
      }
      case TranslatedOp::Kind::PutByte: {
        const auto position = static_cast<std::uint64_t>(dataPos + *op->source);
        if (position < dataSize) dataBytes[position] = static_cast<std::uint8_t>(*op->target);
        break;
      }
      case TranslatedOp::Kind::Return:
        s_.returnValue = *op->target;
        s_.returnSet = true;
        break;
      case TranslatedOp::Kind::Call: {
        const std::int32_t n = *op->source;
        TranslatedCode* const called = FindCalled(n);
        if (called && called->flat() && session.macroDepth < kMaxMacroDepth) {
          if (const int stop = session.Pass()) {
            while (callDepth > 0) endCall(stop);
            return stop;
          }
          if (!filtersClear) {
            session.context.acceptedSizes.clear();
            ClearReceiveFilters(session.context);
            filtersClear = true;
          }
          ++called->running;
          ++session.macroDepth;
          CallFrame& frame = calls[callDepth++];
          frame = {called, ops, op, 0, 0, 0, s_.returnValue, s_.returnSet};
          if (called->Writes(0)) frame.w = s_.registers[0];
          if (called->Writes(2)) frame.y = s_.registers[2];
          if (called->Writes(3)) frame.z = s_.registers[3];
          s_.returnValue = s_.registers[1];
          ops = called->ops();
          op = ops - 1;
          break;
        }
        const int stop = called ? CallTranslated(*called, n) : MacroStatements::CallMacro(*this, n);
        filtersClear = false;
        if (stop != 0) {
          while (callDepth > 0) endCall(stop);
          return stop;
        }
        break;
      }
      case TranslatedOp::Kind::Nothing:
        break;
      case TranslatedOp::Kind::End:
        if (callDepth == 0) return op->literal;
        op = endCall(op->literal);
        break;
      case TranslatedOp::Kind::Leave:
        at = op->at;
        return kLeftTranslated;
      default:
        __builtin_unreachable();
    }
  }
}

TranslatedCode* ZKMacro::TranslateCalled(std::int32_t n) {
  if (n < 0 || n >= 256) return nullptr;
  MacroSession& session = *s_.session;
  if (called_.size() <= static_cast<std::size_t>(n)) called_.resize(static_cast<std::size_t>(n) + 1);
  CalledMacro& called = called_[static_cast<std::size_t>(n)];
  if (called.translated && called.translated->running > 0) return nullptr;
  called.code = session.services.HasMacroTable() ? session.services.Macro(n) : std::span<const std::uint8_t>();
  called.translated.reset();
  constexpr std::size_t kLongestTranslated = 4096;
  if (!called.code.empty() && called.code.size() <= kLongestTranslated) {
    called.translated = std::make_unique<TranslatedCode>(called.code, s_.registers, s_.variables);
    if (!called.translated->complete()) called.translated.reset();
  }
  called.foreignCalls = session.foreignCalls;
  called.known = true;
  return called.translated.get();
}

// A call of a macro with loops of its own.
int ZKMacro::CallTranslated(TranslatedCode& translated, std::int32_t n) {
  MacroSession& session = *s_.session;
  if (session.macroDepth == kMaxMacroDepth) return MacroStatements::CallMacro(*this, n);  // says why it ends
  if (const int stop = session.Pass()) return stop;
  ++session.macroDepth;
  ++translated.running;
  const std::array<std::int32_t, 4> registers = s_.registers;
  const std::int32_t returnValue = s_.returnValue;
  const bool returnSet = s_.returnSet;
  session.context.acceptedSizes.clear();
  ClearReceiveFilters(session.context);
  s_.returnValue = s_.registers[1];
  LoopFrame loops[kMaxLoopDepth];
  int depth = 0;
  const std::uint8_t* at = nullptr;
  int result = RunTranslated(translated, 0, loops, depth, at);
  if (IsNormalEnd(result)) result = s_.returnValue;
  s_.registers = registers;
  s_.returnValue = returnValue;
  s_.returnSet = returnSet;
  --translated.running;
  --session.macroDepth;
  s_.registers[1] = result;
  return session.stop;
}

}  // namespace tonalith::former
