#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/log.h"
#include "script/former_engine/macro_statements.h"
#include "script/hydrasynth.h"

namespace tonalith::former {

namespace {

constexpr int kHostedProgram = 5;
constexpr std::int32_t kScriptVariables = 8192;
constexpr std::int32_t kLocalWordCount = 256;
constexpr std::size_t kMaxAcceptedSizes = 65536;
constexpr std::int64_t kLongestPauseMs = 600'000;

constexpr const char* kVersionKeys[] = {"Major", "Minor", "Year", "Month", "Day", "Hour", "DayOverRev", "IsBeta"};

std::int32_t MaskedStore(std::int32_t a, std::int32_t mask, std::int32_t old) {
  const auto bits = static_cast<std::uint32_t>(mask);
  if (bits == 0) return a;
  const int shift = std::countr_zero(bits);
  return static_cast<std::int32_t>(((static_cast<std::uint32_t>(a) << shift) & bits) |
                                   (static_cast<std::uint32_t>(old) & ~bits));
}

std::int32_t MaskedRead(std::int32_t a, std::int32_t mask) {
  if (mask == 0) return a;
  return (a & mask) >> std::countr_zero(static_cast<std::uint32_t>(mask));
}

// Length of the run of complete SysEx messages at the start.
std::int32_t SysExRun(std::span<const std::uint8_t> data) {
  std::size_t end = 0;
  while (end < data.size() && data[end] == 0xF0) {
    const auto found = std::find(data.begin() + static_cast<std::ptrdiff_t>(end), data.end(), std::uint8_t{0xF7});
    if (found == data.end()) break;
    end = static_cast<std::size_t>(found - data.begin()) + 1;
  }
  return static_cast<std::int32_t>(end);
}

bool IsWebAddress(const std::string& url) {
  return url.rfind("http://", 0) == 0 || url.rfind("https://", 0) == 0;
}

}  // namespace

void MacroStatements::TakePattern(State& s, MidiPattern& pattern) {
  const std::span<const std::uint8_t> bytes = Remaining(s.transmit, kMaxMidiPattern);
  pattern.assign(bytes.begin(), bytes.end());
  DropTransmit(s);
}

void MacroStatements::SetErrorMessage(ZKMacro& m) {
  State& s = m.s_;
  const std::span<std::uint8_t> bytes = Remaining(Current(s));
  PatchChannel(s, bytes, true);
  const int port = s.synth->midiInPort;
  s.session->services.SetSysXCancel(port, bytes, s.synth->midiOutPort);
  s.session->cancelPatternPort = bytes.empty() ? -1 : port;
  if (!s.aFlag) DropTransmit(s);
}

int MacroStatements::Pause(State& s, std::int64_t ms) {
  MacroSession& session = *s.session;
  Clock& clock = session.services.clock();
  const std::int64_t until = clock.NowUs() + std::clamp<std::int64_t>(ms, 0, kLongestPauseMs) * 1000;
  constexpr std::int64_t kSliceUs = 50'000;
  while (!session.Ended() && clock.NowUs() < until) {
    clock.SleepUs(std::min(kSliceUs, until - clock.NowUs()), &session.context.cancel);
  }
  session.LookSoon();
  return session.Ended() ? session.Poll() : 0;
}

void MacroStatements::MessageBox(State& s, std::int32_t a, std::int32_t b) {
  (void)a;
  const std::string name = FieldText(s.synth->shortName);
  const std::string type = FieldText(s.synth->typeName);
  std::string text;
  if (b == 0 || b == 1) {
    text = ">>>> If necessary, go to your " + name + " and manually dump the " + type +
           " SysEx.\n>>>> For more information on transferring SysEx, see device Fast Tips.";
  } else if (b == 2) {
    text = ">>>> The " + name +
           " doesn't support SysEx dump request messages.\n"
           ">>>> SysEx must be manually transmitted from the instrument.\n\n"
           "For information on transferring SysEx, see device Fast Tips.";
  } else if (b == 3) {
    text = ">>>> To receive bulk SysEx messages, the " + name + " must be in Librarian mode.\nIf the " + name +
           " is not in Librarian mode...\n"
           "Cancel transmission, configure the instrument, and resend the SysEx\n\n"
           "For information on transferring SysEx, see device Fast Tips.";
  }
  if (!text.empty()) s.session->services.DisplayMessage(text, s.session->context);
}

int MacroStatements::FamilyMember(ZKMacro& m, std::uint8_t opcode, const std::uint8_t* at) {
  State& s = m.s_;
  const std::uint8_t sub = IsFamilyOpcode(opcode) ? *at++ : std::uint8_t{0};
  std::int32_t operands[kMaxOperands] = {};
  const OperandList& list = StatementOperands(opcode, sub);
  for (std::size_t i = 0; i < list.count; ++i) operands[i] = Number(s, at);
  const StatementInfo* info = FindStatement(opcode, sub);
  if (!info) return 0;
  if (info->handler == Handler::Routed) return Forward(s, *info, sub, operands);
  switch (opcode) {
    case 47:
      // The only member that is not always forwarded.
      if (operands[1] >= 100) return Forward(s, *info, sub, operands);
      MessageBox(s, operands[0], operands[1]);
      return 0;
    case 51:
      return ThreeOperands(m, sub, operands);
    case 52:
      return OneOperand(m, sub, operands[0]);
    case 53:
      return NoOperand(m, sub);
    case 55:
      return TwoOperands(m, sub, operands);
    case 56:
      return InsertBytes(s, operands);
    default:
      return 0;
  }
}

int MacroStatements::ThreeOperands(ZKMacro& m, std::uint8_t sub, const std::int32_t* n) {
  State& s = m.s_;
  switch (sub) {
    case 13:
      SetX(s, MaskedStore(n[0], n[1], n[2]));
      return 0;
    case 30:
      SetX(s, n[1] <= n[0] && n[0] <= n[2] ? 1 : 0);
      return 0;
    case 32:  // isZKVersion
      s.registers[0] = 0;
      if (n[0] >= 14 || (n[0] == 13 && (n[1] >= 1 || (n[1] == 0 && n[2] <= 0)))) SetX(s, 1);
      return 0;
    default:
      return 0;
  }
}

int MacroStatements::PortStatement(ZKMacro& m, std::uint8_t sub, std::int32_t n) {
  State& s = m.s_;
  ScriptServices& services = s.session->services;
  const int outPort = s.synth->midiOutPort;
  const bool hosted = services.Setting(ScriptSetting::ProgramType) == kHostedProgram;
  switch (sub) {
    case 50:
      SetX(s, services.SetOpenAllPorts(MidiDirection::Input, n));
      break;
    case 51:
      SetX(s, services.SetOpenAllPorts(MidiDirection::Output, n));
      break;
    case 52:
      services.SetMidiOutForceExit(n != 0);
      break;
    case 104: {
      const auto pattern = Remaining(s.transmit);
      services.MidiOutWaitForAck(outPort, s.synth->midiInPort, pattern, n);
      DropTransmit(s);
      s.ackWait = true;
      break;
    }
    case 110:
      if (hosted) services.ClosePortsExcept(MidiDirection::Input, n);
      break;
    case 111:
      if (hosted) services.ClosePortsExcept(MidiDirection::Output, n);
      break;
    case 117:
      services.OpenPortsFromMap(MidiDirection::Input, n);
      break;
    case 118:
      services.OpenPortsFromMap(MidiDirection::Output, n);
      break;
    case 119:
      services.SelectPortMap(MidiDirection::Input, n);
      break;
    case 120:
      services.SelectPortMap(MidiDirection::Output, n);
      break;
    case 145:
      services.MidiOutSetMaxSysExSpeed(outPort, std::max(n, 0));
      break;
    case 147:
      services.MidiOutSetUSBPortSpeed(outPort, std::max(n, 0));
      break;
    default:
      break;
  }
  return 0;
}

int MacroStatements::OneOperand(ZKMacro& m, std::uint8_t sub, std::int32_t n) {
  State& s = m.s_;
  MacroSession& session = *s.session;
  ScriptServices& services = session.services;
  TransferContext& context = session.context;
  const auto exchange = [&](ScriptSetting setting, std::int32_t value) {
    SetX(s, services.Setting(setting));
    services.SetSetting(setting, value);
  };
  switch (sub) {
    case 12:  // RBR
      SetX(s,
           n >= 0 && n < static_cast<std::int32_t>(kScratchBytes) ? session.scratch[static_cast<std::size_t>(n)] : 0);
      return 0;
    case 23:  // SLEEP
      return Pause(s, std::int64_t{n} + services.Setting(ScriptSetting::Delay));
    case 27:
      services.SetSetting(ScriptSetting::BankRespondToPatchChange, n);
      return 0;
    case 44:
      exchange(ScriptSetting::DefaultOutPort, n);
      return 0;
    case 45:
      exchange(ScriptSetting::DefaultInPort, n);
      return 0;
    case 46:
      exchange(ScriptSetting::DefaultMidiChannel, n & 15);
      return 0;
    case 47:
      services.SetSetting(ScriptSetting::EchoMode, n);
      return 0;
    case 48:
      services.SetSetting(ScriptSetting::IncludeRealTimeEvents, n);
      return 0;
    case 49:
      services.SetSetting(ScriptSetting::DeleteStudioOnExit, n);
      return 0;
    case 61:
      s.continueOnError = n;
      return 0;
    case 65:
      services.SetSetting(ScriptSetting::UpdatePatch, n);
      return 0;
    case 81:
      SetX(s, services.AppState().BasicsVar(n));
      return 0;
    case 94:
    case 95:
    case 96:
    case 97:
      if (n >= 0 && n < kLocalWordCount) s.registers[sub - 94u] = s.localWords[n];
      return 0;
    case 98:
      SetX(s, services.AppState().TakeOneShot(n) ? 1 : 0);
      return 0;
    case 102:
      if (context.acceptedSizes.size() < kMaxAcceptedSizes) {
        context.acceptedSizes.push_back(static_cast<std::uint32_t>(n));
      }
      return 0;
    case 109:
      services.SetSetting(ScriptSetting::ShowTransmitWindow, n);
      return 0;
    case 112:
      context.retryOnTimeout = n;
      return 0;
    case 116:
      services.SetSetting(ScriptSetting::AutoSenseOnProgramExecution, n);
      return 0;
    case 124: {  // StripF7
      const auto bytes = Remaining(Current(s), n);
      std::replace(bytes.begin(), bytes.end(), std::uint8_t{0xF7}, std::uint8_t{0});
      return session.Work(static_cast<std::int64_t>(bytes.size()));
    }
    case 127:
      session.buttonPressed = true;
      services.PressTransferButton(n, context);
      return 0;
    case 128:
      context.timedOut = n != 0;
      return 0;
    case 133:
      s.synth->childId = static_cast<std::uint16_t>(n);
      return 0;
    case 146:
      SetX(s, SysExRun(Remaining(Current(s), n)));
      return session.Work(s.registers[1]);
    case 148:
      services.SetSetting(ScriptSetting::MidiDelay, n);
      return 0;
    case 149:
      context.verifyReceivedSysEx = n != 0;
      return 0;
    case 150:
      services.SetTransmitStayOpen(n != 0);
      return 0;
    default:
      return PortStatement(m, sub, n);
  }
}

namespace {

std::int32_t TransferValue(const TransferContext& context, std::uint8_t sub) {
  switch (sub) {
    case 51:
      return context.transferRunning;
    case 52:
      return context.patchByPatch;
    case 53:
      return context.patchesToDo;
    case 54:
      return context.patchesDone.load();
    case 55:
      return context.firstPatch;
    case 56:
      return context.lastPatch;
    default:
      return context.currentPatch.load();
  }
}

// The statements without operands that only touch the port system.
void PortSystemStatement(ScriptServices& services, std::uint8_t sub) {
  switch (sub) {
    case 36:
      return services.OpenPortDialog(MidiDirection::Input);
    case 37:
      return services.OpenPortDialog(MidiDirection::Output);
    case 38:
      return services.ClosePorts(MidiDirection::Input);
    case 39:
      return services.ClosePorts(MidiDirection::Output);
    case 40:
      return services.OpenPorts(MidiDirection::Input);
    default:
      return services.OpenPorts(MidiDirection::Output);
  }
}

void OpenUpdateAddress(ScriptServices& services) {
  const std::string url = services.PreferencesText("Version", "UpdateURL");
  if (url.empty()) return;
  if (IsWebAddress(url)) {
    services.OpenUrl(url);
  } else {
    DebugLog("The update address is not a web address and is not opened");
  }
}

}  // namespace

int MacroStatements::NoOperand(ZKMacro& m, std::uint8_t sub) {
  State& s = m.s_;
  MacroSession& session = *s.session;
  ScriptServices& services = session.services;
  TransferContext& context = session.context;
  switch (sub) {
    case 0: {
      ScriptHost* host = services.Host();
      const bool editor = host && host->Has(ScriptReceiver::EditorDocument);
      SetX(s, editor ? services.Setting(ScriptSetting::Environment) : 0);
      return 0;
    }
    case 11:
      SetErrorMessage(m);
      return 0;
    case 12:
      services.SetSysXCancel(s.synth->midiInPort, {}, 0);
      session.cancelPatternPort = -1;
      return 0;
    case 15:
      SetX(s, s.synth->driverId);
      return 0;
    case 16:
    case 32:
      SetX(s, services.Setting(ScriptSetting::ProgramType));
      return 0;
    case 17:
      if (s.receive.pos < s.receive.memory.size()) Advance(s.receive, 1);
      return 0;
    case 18:
      if (s.receive.pos > 0) Advance(s.receive, -1);
      return 0;
    case 29:
      if (s.hasTransmit && s.transmit.space > 0) {
        TakePattern(s, context.acceptPattern);
        context.hasAcceptPattern = true;
      }
      return 0;
    case 30:
      context.acceptPattern.clear();
      context.hasAcceptPattern = false;
      return 0;
    case 33:
      SetX(s, 1);
      return 0;
    case 34:
      SetX(s, services.OsVersion());
      return 0;
    case 35:
      services.QuitApp();
      return 0;
    case 36:
    case 37:
    case 38:
    case 39:
    case 40:
    case 41:
      PortSystemStatement(services, sub);
      return 0;
    case 42:
      SetX(s, services.Setting(ScriptSetting::UseSynchronizedEditing));
      return 0;
    case 50:
      SetX(s, services.Setting(ScriptSetting::UpdatePatch));
      return 0;
    case 51:
    case 52:
    case 53:
    case 54:
    case 55:
    case 56:
    case 57:
      SetX(s, TransferValue(context, sub));
      return 0;
    case 58:
      OpenUpdateAddress(services);
      return 0;
    case 67:
      services.MidiOutClrWaitForAck(s.synth->midiOutPort);
      s.ackWait = false;
      return 0;
    case 69:
      SetX(s, services.HasDiskFile() ? WrapToInt(services.DiskSize()) : 0);
      return 0;
    case 71:
      context.stopBankLoop = true;
      return 0;
    case 74:
      SetX(s, services.PortCount(MidiDirection::Input));
      return 0;
    case 75:
      SetX(s, services.PortCount(MidiDirection::Output));
      return 0;
    case 76:
      SetX(s, services.Setting(ScriptSetting::AutoSenseOnProgramExecution));
      return 0;
    case 81:
      SetX(s, s.synth->childId);
      return 0;
    case 82:
      services.SetSetting(ScriptSetting::ReceiveManualBulkDumps, 0);
      return 0;
    case 86:
      if (s.hasTransmit) {
        MidiPattern pattern;
        TakePattern(s, pattern);
        if (context.declinePatterns.size() < kMaxDeclinePatterns) context.declinePatterns.push_back(std::move(pattern));
      }
      return 0;
    case 87:
      context.declinePatterns.clear();
      return 0;
    case 88:
      TakePattern(s, context.endPattern);
      return 0;
    case 89:
      context.endPattern.clear();
      return 0;
    case 90: {  // SetWriteToQueue
      const int port = s.synth->midiOutPort;
      s.queueWasCollecting = services.GetWriteToQueue(port);
      services.SetWriteToQueue(port, true);
      if (!s.queueWasCollecting) session.collectingPort = port;
      return 0;
    }
    case 91:  // OutputQueue
      if (!s.queueWasCollecting) {
        services.OutputQueue(s.synth->midiOutPort);
        session.collectingPort = -1;
      }
      s.queueWasCollecting = false;
      return 0;
    case 92:
      SetX(s, services.Setting(ScriptSetting::ActivateOnMouseOver));
      return 0;
    default:
      return 0;
  }
}

int MacroStatements::TwoOperands(ZKMacro& m, std::uint8_t sub, const std::int32_t* n) {
  State& s = m.s_;
  ScriptServices& services = s.session->services;
  switch (sub) {
    case 11:
      SetX(s, MaskedRead(n[0], n[1]));
      return 0;
    case 26:
      services.AppState().SetBasicsVar(n[0], n[1]);
      return 0;
    case 36: {  // HXGetVersionInfo
      if (n[1] < 0 || n[1] > 7) {
        SetX(s, -1);
      } else if (n[0] == 0) {
        SetX(s, services.PreferencesInt("Version", kVersionKeys[n[1]], -1));
      } else {
        return Forward(s, *FindStatement(55, sub), sub, n);
      }
      return 0;
    }
    case 38:
      if (n[0] >= 0 && n[0] < kLocalWordCount) {
        if (!m.ownLocalWords_) {
          m.ownLocalWords_ = std::make_unique<std::array<std::int32_t, 256>>();
          std::copy_n(s.localWords, kLocalWordCount, m.ownLocalWords_->begin());
          s.localWords = m.ownLocalWords_->data();
        }
        (*m.ownLocalWords_)[static_cast<std::size_t>(n[0])] = n[1];
      }
      return 0;
    case 62:
      if (n[0] >= 0 && n[0] < kScriptVariables) SetEntry(s, static_cast<std::size_t>(n[0]), n[1]);
      return 0;
    case 74:
    case 75:
    case 76:
      return Hydrasynth(m, sub, n[0], n[1]);
    default:
      return 0;
  }
}

}  // namespace tonalith::former
