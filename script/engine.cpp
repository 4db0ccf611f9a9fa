#include <algorithm>
#include <bit>

#include "data/packed_bytes.h"
#include "script/macro_statements.h"
#include "script/translated_code.h"

// The loop that runs translated statements.  Each form of statement has a body in EngineForms, which is expanded into
// the loop; a body returns the operation to go on with.

namespace tonalith {

namespace {

// One running loop of a script.
struct LoopFrame {
  TranslatedOp* body;
  std::int32_t left;
};

// A light macro that runs in the loop of its caller, and what is put back behind it.
struct CallFrame {
  TranslatedCode* caller;
  TranslatedOp* next;
  LoopFrame* base;
  std::int32_t w, y, z;
  std::int32_t returnValue;
  bool returnSet;
};

// The state of one run beside the macro's own.
struct Engine {
  ZKMacro& macro;
  MacroSession& session;
  TranslatedCode* code;
  LoopFrame* base;  // where the loops of the running code begin
  LoopFrame* top;   // behind the innermost one
  CallFrame* firstCall;
  CallFrame* call;            // behind the innermost one
  bool filtersClear = false;  // no statement since a call can have set receive filters
  TranslatedOp* leave;        // what a run that is over goes on with
  int result = 0;
};

}  // namespace

#define TONALITH_FORM [[gnu::always_inline]] static inline TranslatedOp*

struct EngineForms {
  using M = MacroStatements;
  using State = ZKMacro::State;
  using Op = TranslatedOp;

  static State& S(const Engine& e) { return e.macro.s_; }

  // --- Assignments
  TONALITH_FORM Add(Op* op, Engine&) {
    *op->target = WrapToInt(std::int64_t{*op->target} + *op->source);
    return op + 1;
  }
  TONALITH_FORM AddLiteral(Op* op, Engine&) {
    *op->target = WrapToInt(std::int64_t{*op->target} + op->word);
    return op + 1;
  }
  TONALITH_FORM Subtract(Op* op, Engine&) {
    *op->target = WrapToInt(std::int64_t{*op->target} - *op->source);
    return op + 1;
  }
  // By 0: no change.
  TONALITH_FORM Modulo(Op* op, Engine&) {
    const std::int32_t divisor = *op->source;
    if (divisor != 0) *op->target = divisor == -1 ? 0 : *op->target % divisor;
    return op + 1;
  }
  TONALITH_FORM Divide(Op* op, Engine&) {
    const std::int32_t divisor = *op->source;
    if (divisor != 0) *op->target = divisor == -1 ? WrapToInt(-std::int64_t{*op->target}) : *op->target / divisor;
    return op + 1;
  }
  TONALITH_FORM ShiftRight(Op* op, Engine&) {
    *op->target >>= *op->source & 31;
    return op + 1;
  }
  TONALITH_FORM ShiftLeft(Op* op, Engine&) {
    *op->target = static_cast<std::int32_t>(static_cast<std::uint32_t>(*op->target) << (*op->source & 31));
    return op + 1;
  }
  TONALITH_FORM Multiply(Op* op, Engine&) {
    *op->target = WrapToInt(std::int64_t{*op->target} * *op->source);
    return op + 1;
  }
  TONALITH_FORM Set(Op* op, Engine&) {
    *op->target = *op->source;
    return op + 1;
  }
  TONALITH_FORM Or(Op* op, Engine&) {
    *op->target |= *op->source;
    return op + 1;
  }
  TONALITH_FORM And(Op* op, Engine&) {
    *op->target &= *op->source;
    return op + 1;
  }
  TONALITH_FORM Assign(Op* op, Engine&) { return op + 1; }  // every operator has a form
  TONALITH_FORM Nothing(Op* op, Engine&) { return op + op->slots; }

  // --- Conditions
  TONALITH_FORM If(bool holds, Op* op, Engine& e) {
    if (holds) return op + 1;
    return op->jump ? op->jump : e.code->StepOver(op);
  }
  TONALITH_FORM IfNotZero(Op* op, Engine& e) { return If(*op->target != 0, op, e); }
  TONALITH_FORM IfZero(Op* op, Engine& e) { return If(*op->target == 0, op, e); }
  TONALITH_FORM IfNegative(Op* op, Engine& e) { return If(*op->target < 0, op, e); }
  TONALITH_FORM IfPositive(Op* op, Engine& e) { return If(*op->target > 0, op, e); }
  TONALITH_FORM IfNotPositive(Op* op, Engine& e) { return If(*op->target <= 0, op, e); }
  TONALITH_FORM IfNotNegative(Op* op, Engine& e) { return If(*op->target >= 0, op, e); }
  TONALITH_FORM IfEqual(Op* op, Engine& e) { return If(*op->target == *op->source, op, e); }
  TONALITH_FORM IfNotEqual(Op* op, Engine& e) { return If(*op->target != *op->source, op, e); }

  // --- Bytes of the data
  TONALITH_FORM GetByte(Op* op, Engine& e) {
    const ZKMacro::Cursor& c = S(e).receive;
    const std::int64_t position = c.pos + *op->source;
    const bool inside = static_cast<std::uint64_t>(position) < static_cast<std::uint64_t>(c.memory.size());
    *op->target = inside ? c.memory.base()[position] : 0;
    return op + 1;
  }
  TONALITH_FORM PutByte(Op* op, Engine& e) {
    const ZKMacro::Cursor& c = M::Current(S(e));
    const std::int64_t position = c.pos + *op->source;
    const bool inside = static_cast<std::uint64_t>(position) < static_cast<std::uint64_t>(c.memory.size());
    if (inside) c.memory.base()[position] = static_cast<std::uint8_t>(*op->target);
    return op + 1;
  }
  TONALITH_FORM GetPacked(Op* op, Engine& e) {
    *op->target = M::GetPacked(S(e), S(e).receive, *op->source);
    return op + 1;
  }
  TONALITH_FORM PutPacked(Op* op, Engine& e) {
    const ZKMacro::Cursor& c = M::Current(S(e));
    ImageView(M::Whole(c.memory), *S(e).synth).Set(c.pos, *op->source, *op->target);
    return op + 1;
  }
  TONALITH_FORM GetTransmitted(Op* op, Engine& e) {
    const State& s = S(e);
    const std::int32_t offset = *op->source;
    const bool inside = s.hasTransmit && offset >= 0 && offset < s.transmit.space;
    *op->target = inside ? s.transmit.memory.At(s.transmit.pos + offset) : 0;
    return op + 1;
  }

  // --- Values: the result goes to X
  TONALITH_FORM Absolute(Op* op, Engine& e) {
    const std::int32_t a = *op->source;
    S(e).registers[1] = a == INT32_MIN ? INT32_MAX : std::abs(a);
    return op + 1;
  }
  TONALITH_FORM Minimum(Op* op, Engine& e) {
    S(e).registers[1] = std::min(op->Number(0), op->Number(1));
    return op + 2;
  }
  TONALITH_FORM Maximum(Op* op, Engine& e) {
    S(e).registers[1] = std::max(op->Number(0), op->Number(1));
    return op + 2;
  }
  TONALITH_FORM MaskRead(Op* op, Engine& e) {
    const std::int32_t a = op->Number(0);
    const std::int32_t mask = op->Number(1);
    S(e).registers[1] = mask == 0 ? a : (a & mask) >> std::countr_zero(static_cast<std::uint32_t>(mask));
    return op + 2;
  }
  TONALITH_FORM MaskStore(Op* op, Engine& e) {
    const std::int32_t a = op->Number(0);
    const auto mask = static_cast<std::uint32_t>(op->Number(1));
    const auto old = static_cast<std::uint32_t>(op->Number(2));
    const int shift = std::countr_zero(mask) & 31;
    S(e).registers[1] =
        mask == 0 ? a : static_cast<std::int32_t>(((static_cast<std::uint32_t>(a) << shift) & mask) | (old & ~mask));
    return op + 3;
  }
  TONALITH_FORM Within(Op* op, Engine& e) {
    const std::int32_t a = op->Number(0);
    S(e).registers[1] = op->Number(1) <= a && a <= op->Number(2) ? 1 : 0;
    return op + 3;
  }

  // --- The variable block
  static constexpr std::int32_t kEntryMask = 4095;
  TONALITH_FORM ReadEntry(Op* op, Engine& e) {
    *op->target = M::Entry(S(e), static_cast<std::size_t>(*op->source & kEntryMask));
    return op + 1;
  }
  TONALITH_FORM WriteEntry(Op* op, Engine& e) {
    M::SetEntry(S(e), static_cast<std::size_t>(*op->source & kEntryMask), *op->target);
    return op + 1;
  }
  TONALITH_FORM SetEntry(Op* op, Engine& e) {
    const std::int32_t entry = op->Number(0);
    if (entry >= 0 && entry < M::kScriptVariables) M::SetEntry(S(e), static_cast<std::size_t>(entry), op->Number(1));
    return op + 2;
  }
  TONALITH_FORM Return(Op* op, Engine& e) {
    S(e).returnValue = *op->target;
    S(e).returnSet = true;
    return op + 1;
  }

  // --- Loops
  TONALITH_FORM Loop(Op* op, Engine& e) {
    const std::int32_t count = *op->source;
    if (count <= 0) return op + 1;
    if (e.top - e.base == kMaxLoopDepth) return Stop(e, e.session.Stop(ScriptStop::LoopDepth, kMacroBadCommand));
    *e.top++ = {op + 1, count};
    return op + 1;
  }
  TONALITH_FORM EndBlock(Op* op, Engine& e) {
    if (e.top == e.base) return Finish(e, 0);
    if (--e.top[-1].left <= 0) {
      --e.top;
      return op + 1;
    }
    if (const int stop = e.session.Pass()) return Stop(e, stop);
    return e.top[-1].body;
  }
  TONALITH_FORM Break(Op* op, Engine& e) {
    if (e.top == e.base) return Finish(e, kMacroBroken);
    --e.top;
    return op + 1;
  }

  // --- Calls
  TONALITH_FORM CallMacro(Op* op, Engine& e) {
    TranslatedCode* const called = e.macro.FindCalled(*op->source);
    if (const int stop = e.session.Pass()) return Stop(e, stop);
    if (!called) return op + 1;
    if (e.session.macroDepth == kMaxMacroDepth) [[unlikely]] {
      return Stop(e, e.session.Stop(ScriptStop::MacroDepth, kMacroBadCommand));
    }
    // The end of a called macro also ends a wait for acknowledgements.
    if (called->light() && !S(e).ackWait) return BeginCall(op, e, called);
    e.filtersClear = false;
    if (const int stop = e.macro.CallOnCopies(*called)) return Stop(e, stop);
    return op + 1;
  }
  // Registers are kept and put back one by one, and only when the macro writes them: reading all of them at once would
  // wait for the write of the one that was changed last.
  TONALITH_FORM BeginCall(Op* op, Engine& e, TranslatedCode* called) {
    State& s = S(e);
    if (!e.filtersClear) {
      e.session.context.acceptedSizes.clear();
      ClearReceiveFilters(e.session.context);
      e.filtersClear = true;
    }
    ++called->running;
    ++e.session.macroDepth;
    CallFrame& frame = *e.call++;
    frame = {e.code, op + 1, e.base, 0, 0, 0, s.returnValue, s.returnSet};
    if (called->Writes(0)) frame.w = s.registers[0];
    if (called->Writes(2)) frame.y = s.registers[2];
    if (called->Writes(3)) frame.z = s.registers[3];
    s.returnValue = s.registers[1];
    e.code = called;
    e.base = e.top;
    return called->start();
  }
  TONALITH_FORM EndCall(Engine& e, int code) {
    State& s = S(e);
    const CallFrame& frame = *--e.call;
    const std::int32_t result = IsNormalEnd(code) ? s.returnValue : code;
    if (e.code->Writes(0)) s.registers[0] = frame.w;
    if (e.code->Writes(2)) s.registers[2] = frame.y;
    if (e.code->Writes(3)) s.registers[3] = frame.z;
    s.registers[1] = result;
    s.returnValue = frame.returnValue;
    s.returnSet = frame.returnSet;
    --e.code->running;
    --e.session.macroDepth;
    e.code = frame.caller;
    e.base = frame.base;
    return frame.next;
  }
  // The running code is over.
  TONALITH_FORM Finish(Engine& e, int code) {
    if (e.call != e.firstCall) return EndCall(e, code);
    e.result = code;
    return e.leave;
  }
  // Everything is over.
  TONALITH_FORM Stop(Engine& e, int code) {
    while (e.call != e.firstCall) EndCall(e, code);
    e.result = code;
    return e.leave;
  }

  // --- Everything else
  TONALITH_FORM Carry(Op* op, Engine& e) {
    --e.session.untilPoll;
    if (const int result = op->handler(e.macro, *op)) [[unlikely]] {
      return e.session.stop != 0 ? Stop(e, e.session.stop) : Finish(e, result);
    }
    return op + op->slots;
  }
  TONALITH_FORM Pure(Op* op, Engine& e) { return Carry(op, e); }
  TONALITH_FORM Handler(Op* op, Engine& e) {
    e.filtersClear = false;
    ++e.session.foreignCalls;
    return Carry(op, e);
  }
  TONALITH_FORM Jump(Op* op, Engine&) { return op->jump; }
  TONALITH_FORM Continue(Op* op, Engine& e) {
    constexpr std::int64_t kTranslated = 1024;  // about the bytes of code that are translated at a time
    if (const int stop = e.session.Work(kTranslated)) return Stop(e, stop);
    return e.code->Continue(op);
  }
  TONALITH_FORM End(Op* op, Engine& e) { return Finish(e, op->result); }
};

#undef TONALITH_FORM

int ZKMacro::Execute(TranslatedCode& code) {
  static const void* const kBodies[] = {
#define FORM(name) &&name,
#include "script/forms.def"
  };
  TranslatedOp leave;
  leave.form = Form::Leave;
  LoopFrame loops[kMaxLoopDepth];
  CallFrame calls[kMaxMacroDepth];
  Engine engine{*this, *s_.session, &code, loops, loops, calls, calls, false, &leave};
  TranslatedOp* op = code.start();
  goto* kBodies[static_cast<std::size_t>(op->form)];
#define FORM(name)                    \
  name:                               \
  op = EngineForms::name(op, engine); \
  goto* kBodies[static_cast<std::size_t>(op->form)];
#define LEAVING_FORM(name) \
  name:                    \
  return engine.result;
#include "script/forms.def"
}

}  // namespace tonalith
