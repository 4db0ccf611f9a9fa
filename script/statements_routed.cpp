#include <array>

#include "script/macro_statements.h"

namespace tonalith {

namespace {

constexpr int kEditorPostTries = 10;
constexpr int kSetPostTries = 11;

// Where a statement goes in the end.
struct ResolvedRoute {
  bool found = false;
  ScriptReceiver receiver = ScriptReceiver::EditorDocument;
  std::int64_t component = 0;
  bool alternate = false;
};

ResolvedRoute DirectRoute(const ScriptHost& host, ScriptReceiver receiver, bool alternate = false) {
  return {host.Has(receiver), receiver, 0, alternate};
}

ResolvedRoute ComponentRoute(ScriptHost& host, ScriptReceiver receiver, std::int32_t driverId,
                             const CancelToken& cancel) {
  if (!host.Has(ScriptReceiver::SetDocument)) return {};
  ScriptMessage ask;
  ask.number = receiver == ScriptReceiver::ComponentWindow ? kSetComponentWindowMessage : kSetComponentDocumentMessage;
  ask.wParam = driverId;
  const std::int64_t component = host.Send(ScriptReceiver::SetDocument, ask, cancel);
  if (component == 0) return {};
  if (receiver == ScriptReceiver::ComponentDocument && !host.IsPatchEditor(component)) return {};
  return {true, receiver, component, true};
}

ResolvedRoute ResolveRoute(ScriptHost& host, const Route& route, std::int32_t a, std::uint16_t driverId,
                           const CancelToken& cancel) {
  using R = ScriptReceiver;
  const bool ownDriver = a == driverId;
  switch (route.target) {
    case RouteTarget::EditorDocument:
      return DirectRoute(host, R::EditorDocument);
    case RouteTarget::SetDocument:
      return DirectRoute(host, R::SetDocument);
    case RouteTarget::EditorWindow:
      return DirectRoute(host, R::EditorWindow);
    case RouteTarget::SetWindow:
      return DirectRoute(host, R::SetWindow);
    case RouteTarget::MainWindow:
      return DirectRoute(host, R::MainWindow);
    case RouteTarget::SetElseEditor:
      return DirectRoute(host, host.Has(R::SetDocument) ? R::SetDocument : R::EditorDocument);
    case RouteTarget::EditorElseSet:
      return DirectRoute(host, host.Has(R::EditorDocument) ? R::EditorDocument : R::SetDocument);
    case RouteTarget::EditorOrSetByDriver:
      if (a == 0 || ownDriver) return DirectRoute(host, R::EditorDocument);
      return DirectRoute(host, R::SetDocument, true);
    case RouteTarget::EditorOrSetByZero:
      if (a == 0) return DirectRoute(host, R::EditorDocument);
      return DirectRoute(host, R::SetDocument, true);
    case RouteTarget::EditorOrComponentByDriver:
      if (ownDriver) return DirectRoute(host, R::EditorDocument);
      return ComponentRoute(host, R::ComponentDocument, a, cancel);
    case RouteTarget::EditorWindowOrSetWindowByDriver:
      if (a == 0 || ownDriver) return DirectRoute(host, R::EditorWindow);
      return DirectRoute(host, R::SetWindow, true);
    case RouteTarget::ComponentWindow:
      return ComponentRoute(host, R::ComponentWindow, a, cancel);
    case RouteTarget::None:
      break;
  }
  return {};
}

bool GateIsOpen(const Route& route, ScriptServices& services, const ScriptHost& host) {
  const auto has = [&host](ScriptReceiver r) { return host.Has(r); };
  switch (route.gate) {
    case RouteGate::EditorExists:
    case RouteGate::EditorAwaited:
      return has(ScriptReceiver::EditorDocument);
    case RouteGate::EditorAndSetExist:
      return has(ScriptReceiver::EditorDocument) && has(ScriptReceiver::SetDocument);
    case RouteGate::TestEventAwaited:
      return host.HasTestEvent();
    case RouteGate::HostedOnly:
      return services.Setting(ScriptSetting::Environment) != 0;
    case RouteGate::StandAloneOnly:
      return services.Setting(ScriptSetting::Environment) == 0;
    default:
      return true;
  }
}

bool IsAwaited(const Route& route) {
  return route.gate == RouteGate::EditorAwaited || route.gate == RouteGate::TestEventAwaited;
}

// The operands of one statement, packed for its receiver.
struct PackedStatement {
  MacroRequest request;
  ScriptMessage message;
  std::array<std::int32_t, kMaxOperands> record{};
  std::size_t recordSize = 0;

  void UseRecord() { message.record = std::span<std::int32_t>(record.data(), recordSize); }
};

void FillRecord(PackedStatement& packed, Packing packing, std::size_t count, const std::int32_t* n,
                const std::array<std::int32_t, 4>& registers) {
  if (packing == Packing::RecordRegistersLast || packing == Packing::RecordRegistersInside) {
    packed.record = {n[0], n[1], registers[0], registers[1], registers[2], registers[3], n[2]};
    packed.recordSize = packing == Packing::RecordRegistersLast ? 6 : 7;
  } else {
    for (std::size_t i = 0; i < count; ++i) packed.record[i] = n[i];
    packed.recordSize = count;
  }
  packed.UseRecord();
}

void PackMessage(PackedStatement& packed, Packing packing, std::int32_t constant, std::size_t count,
                 const std::int32_t* n, const std::array<std::int32_t, 4>& registers) {
  ScriptMessage& message = packed.message;
  switch (packing) {
    case Packing::Nothing:
      message.wParam = constant;
      break;
    case Packing::Words:
      message.wParam = n[0];
      message.lParam = n[1];
      break;
    case Packing::LParamOnly:
      message.lParam = n[0];
      break;
    case Packing::WordConstant:
      message.wParam = n[0];
      message.lParam = constant;
      break;
    case Packing::SecondWord:
      message.wParam = n[1];
      break;
    case Packing::SecondAndThirdWord:
      message.wParam = n[1];
      message.lParam = n[2];
      break;
    case Packing::WordPair:
      message.wParam = n[0];
      message.lParam = MaskedPair(n[1], n[2]);
      break;
    case Packing::PairWord:
      message.wParam = MaskedPair(n[0], n[1]);
      message.lParam = n[2];
      break;
    case Packing::PairInLParam:
      message.lParam = MaskedPair(n[0], n[1]);
      break;
    case Packing::Record:
      message.wParam = constant;
      FillRecord(packed, packing, count, n, registers);
      break;
    case Packing::RecordRegistersLast:
    case Packing::RecordRegistersInside:
      FillRecord(packed, packing, count, n, registers);
      break;
    default:
      break;
  }
  if (!message.record.empty())
    message.lParam = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(message.record.data()));
}

void PackRequest(PackedStatement& packed, const Route& route, std::uint8_t sub, std::size_t count,
                 const std::int32_t* n, const std::array<std::int32_t, 4>& registers) {
  MacroRequest& request = packed.request;
  request.command = static_cast<std::uint8_t>(route.number);
  const auto params = [&request](std::int64_t p1, std::int64_t p2, std::int64_t p3) {
    request.parameter1 = p1;
    request.parameter2 = p2;
    request.parameter3 = p3;
  };
  switch (route.packing) {
    case Packing::Params:
      params(n[0], n[1], n[2]);
      break;
    case Packing::ParamsWithX:
      params(n[0], n[1], n[2]);
      request.result = registers[1];
      break;
    case Packing::FirstConstant:
      params(route.constant, 0, 0);
      break;
    case Packing::FirstConstantThird:
      params(route.constant, 0, n[0]);
      break;
    case Packing::FirstAndThird:
      params(n[0], 0, n[1]);
      break;
    case Packing::Third:
      params(0, 0, n[0]);
      break;
    case Packing::ParamsThirdConstant:
      params(n[0], n[1], route.constant);
      break;
    case Packing::SubCodeInTheMiddle:
      params(n[0], sub, n[1]);
      break;
    case Packing::CommandValueId:
      params(route.constant, n[1], n[0]);
      break;
    case Packing::CommandIdValue:
      params(route.constant, n[0], n[1]);
      break;
    case Packing::CommandPairId:
      params(route.constant, SignedPair(n[1], n[2]), n[0]);
      break;
    case Packing::ThirdRecord:
      FillRecord(packed, route.packing, count, n, registers);
      params(0, 0, static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(packed.record.data())));
      break;
    default:
      break;
  }
  packed.message.number = kMacroRequestMessage;
  packed.message.lParam = static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(&request));
  packed.message.request = &request;
}

void PostRoute(ScriptHost& host, const ResolvedRoute& where, const Route& route, std::size_t count,
               const std::int32_t* n, const std::array<std::int32_t, 4>& registers, bool ended) {
  const Packing packing = where.alternate ? route.alternatePacking : route.packing;
  PostedScriptMessage posted;
  posted.number = where.alternate ? route.alternateNumber : route.number;
  int tries = 1;
  if (packing == Packing::PostedRegisters) {
    posted.wParam = n[1];
    posted.record =
        std::array<std::int32_t, 5>{where.alternate ? n[0] : 0, registers[0], registers[1], registers[2], registers[3]};
    tries = where.alternate ? kSetPostTries : kEditorPostTries;
  } else {
    PackedStatement packed;
    PackMessage(packed, packing, route.constant, count, n, registers);
    posted.wParam = packed.message.wParam;
    posted.lParam = packed.message.lParam;
  }
  while (tries-- > 0 && !ended && !host.Post(where.receiver, posted)) {
  }
}

// The answer of the receiver, 0 without one.  What came back in a request is left in `packed`.
std::int64_t Deliver(MacroStatements::State& s, const StatementInfo& info, std::uint8_t sub, const std::int32_t* n,
                     const ResolvedRoute& where, PackedStatement& packed) {
  const Route& route = info.route;
  const std::size_t count = info.operands.count;
  if (!where.found) return 0;
  ScriptHost& host = *s.session->services.Host();
  if (route.call == RouteCall::Posted) {
    PostRoute(host, where, route, count, n, s.registers, s.session->Ended());
    return 0;
  }
  if (route.call == RouteCall::Request) {
    PackRequest(packed, route, sub, count, n, s.registers);
  } else {
    const bool other = where.alternate && route.alternateNumber;
    packed.message.number = other ? route.alternateNumber : route.number;
    PackMessage(packed, other ? route.alternatePacking : route.packing, route.constant, count, n, s.registers);
  }
  packed.message.component = where.component;
  const CancelToken& cancel = s.session->context.cancel;
  if (IsAwaited(route)) host.ResetTestEvent();
  const std::int64_t answer = host.Send(where.receiver, packed.message, cancel);
  if (IsAwaited(route)) host.AwaitTestEvent(cancel);
  return answer;
}

// What the answer changes; how the macro goes on.
int TakeAnswer(MacroStatements::State& s, ResultRule rule, std::int64_t answer, bool found, const MacroRequest& request,
               std::int32_t lastOperand) {
  using M = MacroStatements;
  const std::int32_t result = WrapToInt(answer);
  switch (rule) {
    case ResultRule::None:
    case ResultRule::XKept:
      break;
    case ResultRule::X:
      M::SetX(s, result);
      break;
    case ResultRule::XMinusOne:
      M::SetX(s, found ? result : -1);
      break;
    case ResultRule::XBool:
      M::SetX(s, answer != 0 ? 1 : 0);
      break;
    case ResultRule::XParameter:
      M::SetX(s, answer != 0 ? WrapToInt(request.parameter1) : 0);
      break;
    case ResultRule::XRecordYAnswer:
      M::SetX(s, found ? WrapToInt(request.result) : 0);
      s.registers[2] = result;
      break;
    case ResultRule::YMinusOne:
      s.registers[2] = found ? result : -1;
      break;
    case ResultRule::XIfLastNotZero:
      if (lastOperand != 0) M::SetX(s, result);
      break;
    case ResultRule::EndsMacro:
      // Ends every enclosing loop as well; without a receiver the statement does nothing.
      if (found) return result == 0 ? kMacroNoResponse : result;
      break;
  }
  return 0;
}

}  // namespace

int MacroStatements::Forward(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  MacroSession& session = *s.session;
  const std::uint8_t sub = op.at[1];
  const StatementInfo& info = *FindStatement(op.at[0], sub);
  const Route& route = info.route;
  std::int32_t n[kMaxOperands] = {};
  for (std::size_t i = 0; i < info.operands.count; ++i) n[i] = op.Number(static_cast<int>(i));

  if (route.gate == RouteGate::FirstNotZero && n[0] == 0) {
    SetX(s, static_cast<std::int32_t>(info.id == Statement::getVoiceSize ? s.synth->voiceSize : s.synth->fileSize));
    return 0;
  }

  const ScriptWait wait(session);
  ScriptHost* host = session.services.Host();
  ResolvedRoute where;
  if (host && GateIsOpen(route, session.services, *host)) {
    where = ResolveRoute(*host, route, n[0], s.synth->driverId, session.context.cancel);
  }
  PackedStatement packed;
  const std::int64_t answer = Deliver(s, info, sub, n, where, packed);
  const std::int32_t last = info.operands.count > 0 ? n[info.operands.count - 1] : 0;
  return TakeAnswer(s, route.result, answer, where.found, packed.request, last);
}

}  // namespace tonalith
