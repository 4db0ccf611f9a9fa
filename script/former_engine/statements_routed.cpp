#include <array>

#include "script/former_engine/macro_statements.h"

namespace tonalith::former {

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

}  // namespace

int MacroStatements::Forward(State& s, const StatementInfo& info, std::uint8_t sub, const std::int32_t* operands) {
  const Route& route = info.route;
  MacroSession& session = *s.session;
  ScriptServices& services = session.services;
  const CancelToken& cancel = session.context.cancel;
  std::int32_t n[kMaxOperands] = {};
  for (std::size_t i = 0; i < info.operands.count; ++i) n[i] = operands[i];

  if (route.gate == RouteGate::FirstNotZero && n[0] == 0) {
    // "getVoiceSize" and "getFileSize" of the running data type.
    constexpr std::uint8_t kVoiceSizeMember = 89;
    SetX(s, static_cast<std::int32_t>(sub == kVoiceSizeMember ? s.synth->voiceSize : s.synth->fileSize));
    return 0;
  }

  session.LookSoon();
  ++session.foreignCalls;
  ScriptHost* host = services.Host();
  ResolvedRoute where;
  if (host && GateIsOpen(route, services, *host)) where = ResolveRoute(*host, route, n[0], s.synth->driverId, cancel);

  std::int64_t answer = 0;
  PackedStatement packed;
  if (where.found) {
    if (route.call == RouteCall::Posted) {
      PostRoute(*host, where, route, info.operands.count, n, s.registers, session.Ended());
    } else {
      if (route.call == RouteCall::Request) {
        PackRequest(packed, route, sub, info.operands.count, n, s.registers);
      } else {
        packed.message.number = where.alternate && route.alternateNumber ? route.alternateNumber : route.number;
        const Packing packing = where.alternate && route.alternateNumber ? route.alternatePacking : route.packing;
        PackMessage(packed, packing, route.constant, info.operands.count, n, s.registers);
      }
      packed.message.component = where.component;
      if (IsAwaited(route)) host->ResetTestEvent();
      answer = host->Send(where.receiver, packed.message, cancel);
      if (IsAwaited(route)) host->AwaitTestEvent(cancel);
    }
  }

  const std::int32_t result = WrapToInt(answer);
  switch (route.result) {
    case ResultRule::None:
    case ResultRule::XKept:
      break;
    case ResultRule::X:
      SetX(s, result);
      break;
    case ResultRule::XMinusOne:
      SetX(s, where.found ? result : -1);
      break;
    case ResultRule::XBool:
      SetX(s, answer != 0 ? 1 : 0);
      break;
    case ResultRule::XParameter:
      SetX(s, answer != 0 ? WrapToInt(packed.request.parameter1) : 0);
      break;
    case ResultRule::XRecordYAnswer:
      SetX(s, where.found ? WrapToInt(packed.request.result) : 0);
      s.registers[2] = result;
      break;
    case ResultRule::YMinusOne:
      s.registers[2] = where.found ? result : -1;
      break;
    case ResultRule::XIfLastNotZero:
      if (info.operands.count > 0 && n[info.operands.count - 1] != 0) SetX(s, result);
      break;
    case ResultRule::EndsMacro:
      // Ends every enclosing loop as well; without a receiver the statement does nothing.
      if (where.found) return result == 0 ? kMacroNoResponse : result;
      break;
  }
  return 0;
}

}  // namespace tonalith::former
