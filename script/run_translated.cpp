#include "script/interpreter.h"
#include "script/macro_statements.h"
#include "script/translated_code.h"

namespace tonalith {

int ZKMacro::RunTranslated(const TranslatedCode& translated, std::int32_t first, LoopFrame* loops, int& depth,
                           const std::uint8_t*& at) {
  const TranslatedOp* const ops = translated.ops();
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
      case TranslatedOp::Kind::Call:
        if (const int stop = CallTranslated(*op->source)) return stop;
        break;
      case TranslatedOp::Kind::Nothing:
        break;
      case TranslatedOp::Kind::End:
        return op->literal;
      case TranslatedOp::Kind::Leave:
        at = op->at;
        return kLeftTranslated;
      default:
        __builtin_unreachable();
    }
  }
}

int ZKMacro::RunCalled(const TranslatedCode& translated) {
  LoopFrame loops[kMaxLoopDepth];
  int depth = 0;
  const std::uint8_t* at = nullptr;
  return RunTranslated(translated, 0, loops, depth, at);
}

// A call out of translated code.  A macro that touches nothing but registers, variables and bytes runs right here, with
// the registers put back behind it; any other one gets an interpreter of its own.
int ZKMacro::CallTranslated(std::int32_t n) {
  MacroSession& session = *s_.session;
  if (n < 0 || n >= 256) return 0;
  if (called_.size() <= static_cast<std::size_t>(n)) called_.resize(static_cast<std::size_t>(n) + 1);
  CalledMacro& called = called_[static_cast<std::size_t>(n)];
  if (!called.known || called.foreignCalls != session.foreignCalls) {
    called.code = session.services.HasMacroTable() ? session.services.Macro(n) : std::span<const std::uint8_t>();
    called.translated.reset();
    constexpr std::size_t kLongestTranslated = 4096;
    if (!called.code.empty() && called.code.size() <= kLongestTranslated) {
      called.translated = std::make_unique<TranslatedCode>(called.code, s_.registers, s_.variables);
    }
    called.foreignCalls = session.foreignCalls;
    called.known = true;
  }
  // The end of a called macro also ends a wait for acknowledgements; its own interpreter sees to that.
  if (!called.translated || !called.translated->complete() || s_.ackWait) return MacroStatements::CallMacro(*this, n);
  if (const int stop = session.Pass()) return stop;
  if (session.macroDepth == kMaxMacroDepth) return MacroStatements::CallMacro(*this, n);  // says why it ends
  ++session.macroDepth;
  const std::array<std::int32_t, 4> registers = s_.registers;
  const std::int32_t returnValue = s_.returnValue;
  const bool returnSet = s_.returnSet;
  session.context.acceptedSizes.clear();
  ClearReceiveFilters(session.context);
  s_.returnValue = s_.registers[1];
  int result = RunCalled(*called.translated);
  if (IsNormalEnd(result)) result = s_.returnValue;
  s_.registers = registers;
  s_.returnValue = returnValue;
  s_.returnSet = returnSet;
  --session.macroDepth;
  s_.registers[1] = result;
  return session.stop;
}

}  // namespace tonalith
