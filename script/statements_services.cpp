#include <algorithm>
#include <iterator>

#include "platform/log.h"
#include "script/macro_statements.h"

namespace tonalith {

namespace {

constexpr int kHostedProgram = 5;
constexpr std::size_t kMaxAcceptedSizes = 65536;
constexpr std::int64_t kLongestPauseMs = 600'000;

constexpr const char* kVersionKeys[] = {"Major", "Minor", "Year", "Month", "Day", "Hour", "DayOverRev", "IsBeta"};

bool IsWebAddress(const std::string& url) {
  return url.rfind("http://", 0) == 0 || url.rfind("https://", 0) == 0;
}

}  // namespace

void MacroStatements::TakePattern(State& s, MidiPattern& pattern) {
  const std::span<const std::uint8_t> bytes = Remaining(s.transmit, kMaxMidiPattern);
  pattern.assign(bytes.begin(), bytes.end());
  DropTransmit(s);
}

int MacroStatements::SetAcceptPattern(ZKMacro& m, const Op&) {
  State& s = m.s_;
  if (!s.hasTransmit || s.transmit.space <= 0) return 0;
  TakePattern(s, s.session->context.acceptPattern);
  s.session->context.hasAcceptPattern = true;
  return 0;
}

int MacroStatements::ClearAcceptPattern(ZKMacro& m, const Op&) {
  m.s_.session->context.acceptPattern.clear();
  m.s_.session->context.hasAcceptPattern = false;
  return 0;
}

int MacroStatements::AddDeclinePattern(ZKMacro& m, const Op&) {
  if (!m.s_.hasTransmit) return 0;
  MidiPattern pattern;
  TakePattern(m.s_, pattern);
  auto& patterns = m.s_.session->context.declinePatterns;
  if (patterns.size() < kMaxDeclinePatterns) patterns.push_back(std::move(pattern));
  return 0;
}

int MacroStatements::ClearDeclinePatterns(ZKMacro& m, const Op&) {
  m.s_.session->context.declinePatterns.clear();
  return 0;
}

int MacroStatements::SetEndPattern(ZKMacro& m, const Op&) {
  TakePattern(m.s_, m.s_.session->context.endPattern);
  return 0;
}

int MacroStatements::ClearEndPattern(ZKMacro& m, const Op&) {
  m.s_.session->context.endPattern.clear();
  return 0;
}

int MacroStatements::SetCancelPattern(ZKMacro& m, const Op&) {
  State& s = m.s_;
  const std::span<std::uint8_t> bytes = Remaining(Current(s));
  if (const int stop = s.session->Work(static_cast<std::int64_t>(bytes.size()))) return stop;
  PatchChannel(s, bytes, true);
  const int port = s.synth->midiInPort;
  s.session->services.SetSysXCancel(port, bytes, s.synth->midiOutPort);
  s.session->cancelPatternPort = bytes.empty() ? -1 : port;
  if (!s.aFlag) DropTransmit(s);
  return 0;
}

int MacroStatements::ClearCancelPattern(ZKMacro& m, const Op&) {
  m.s_.session->services.SetSysXCancel(m.s_.synth->midiInPort, {}, 0);
  m.s_.session->cancelPatternPort = -1;
  return 0;
}

int MacroStatements::AddReplySize(ZKMacro& m, const Op& op) {
  auto& sizes = m.s_.session->context.acceptedSizes;
  if (sizes.size() < kMaxAcceptedSizes) sizes.push_back(static_cast<std::uint32_t>(op.Number(0)));
  return 0;
}

int MacroStatements::SetContinueOnError(ZKMacro& m, const Op& op) {
  m.s_.continueOnError = op.Number(0);
  return 0;
}

int MacroStatements::SetRetries(ZKMacro& m, const Op& op) {
  m.s_.session->context.retryOnTimeout = op.Number(0);
  return 0;
}

int MacroStatements::SetTimedOut(ZKMacro& m, const Op& op) {
  TransferContext& context = m.s_.session->context;
  context.timedOut = context.unanswered = op.Number(0) != 0;
  return 0;
}

int MacroStatements::SetVerifyReplies(ZKMacro& m, const Op& op) {
  m.s_.session->context.verifyReceivedSysEx = op.Number(0) != 0;
  return 0;
}

int MacroStatements::WaitForAck(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const std::span<std::uint8_t> pattern = Remaining(s.transmit);
  if (const int stop = s.session->Work(static_cast<std::int64_t>(pattern.size()))) return stop;
  const int port = s.synth->midiOutPort;
  const int former = s.ackWait ? EndAcks(m) : 0;
  if (s.session->services.BeginAcks(port, s.synth->midiInPort, s.session->context)) {
    PatchChannel(s, pattern, true);
    s.session->services.MidiOutWaitForAck(port, s.synth->midiInPort, pattern, op.Number(0),
                                          std::max(s.channelPosition, 0));
    s.ackWait = true;
  }
  DropTransmit(s);
  return former;
}

// What came of the messages that were to be acknowledged: like the result of a receive.
int MacroStatements::EndAcks(ZKMacro& m) {
  State& s = m.s_;
  const ScriptWait wait(*s.session);
  s.ackWait = false;
  s.session->services.MidiOutClrWaitForAck(s.synth->midiOutPort);
  const int r = s.session->services.EndAcks(s.synth->midiOutPort, s.session->context);
  SetEntry(s, kReceiveResultEntry, r);
  return s.continueOnError && !s.session->Ended() ? 0 : r;
}

int MacroStatements::ClearAckWait(ZKMacro& m, const Op&) {
  if (m.s_.ackWait) return EndAcks(m);
  m.s_.session->services.MidiOutClrWaitForAck(m.s_.synth->midiOutPort);
  return 0;
}

int MacroStatements::CollectMessages(ZKMacro& m, const Op&) {
  State& s = m.s_;
  ScriptServices& services = s.session->services;
  const int port = s.synth->midiOutPort;
  if (services.OutputTaken(port, s.session->context)) return kMacroNoResponse;
  s.queueWasCollecting = services.GetWriteToQueue(port);
  services.SetWriteToQueue(port, true);
  if (!s.queueWasCollecting) s.session->collectingPort = port;
  return 0;
}

int MacroStatements::SendCollected(ZKMacro& m, const Op&) {
  State& s = m.s_;
  if (!s.queueWasCollecting) {
    s.session->services.OutputQueue(s.synth->midiOutPort);
    s.session->collectingPort = -1;
  }
  s.queueWasCollecting = false;
  return 0;
}

int MacroStatements::PressButton(ZKMacro& m, const Op& op) {
  MacroSession& session = *m.s_.session;
  session.buttonPressed = true;
  session.services.PressTransferButton(op.Number(0), session.context);
  return 0;
}

int MacroStatements::SetStayOpen(ZKMacro& m, const Op& op) {
  m.s_.session->services.SetTransmitStayOpen(op.Number(0) != 0);
  return 0;
}

int MacroStatements::StopBankLoop(ZKMacro& m, const Op&) {
  m.s_.session->context.stopBankLoop = true;
  return 0;
}

int MacroStatements::Sleep(ZKMacro& m, const Op& op) {
  MacroSession& session = *m.s_.session;
  const std::int64_t ms = std::int64_t{op.Number(0)} + session.services.Setting(ScriptSetting::Delay);
  const ScriptWait wait(session);
  Clock& clock = session.services.clock();
  const std::int64_t until = clock.NowUs() + std::clamp<std::int64_t>(ms, 0, kLongestPauseMs) * 1000;
  constexpr std::int64_t kSliceUs = 50'000;
  while (!session.Ended() && clock.NowUs() < until) {
    clock.SleepUs(std::min(kSliceUs, until - clock.NowUs()), &session.context.cancel);
  }
  return session.Ended() ? session.Poll() : 0;
}

int MacroStatements::ReadDropped(ZKMacro& m, const Op& op) {
  const std::int32_t n = op.Number(0);
  const bool inside = n >= 0 && n < static_cast<std::int32_t>(kScratchBytes);
  SetX(m.s_, inside ? m.s_.session->scratch[static_cast<std::size_t>(n)] : 0);
  return 0;
}

int MacroStatements::ReadDiskSize(ZKMacro& m, const Op&) {
  ScriptServices& services = m.s_.session->services;
  SetX(m.s_, services.HasDiskFile() ? WrapToInt(services.DiskSize()) : 0);
  return 0;
}

// --- Settings, ports, the program

int MacroStatements::ChangeSetting(ZKMacro& m, ScriptSetting setting, std::int32_t value) {
  ScriptServices& services = m.s_.session->services;
  const int before = services.Setting(setting);
  services.SetSetting(setting, value);
  const int after = services.Setting(setting);
  if (after != before) services.SettingChanged(setting, before, after, *m.s_.synth);
  return before;
}

int MacroStatements::Exchange(ZKMacro& m, ScriptSetting setting, std::int32_t value) {
  SetX(m.s_, ChangeSetting(m, setting, value));
  return 0;
}

int MacroStatements::ExchangeDefaultChannel(ZKMacro& m, const Op& op) {
  return Exchange(m, ScriptSetting::DefaultMidiChannel, op.Number(0) & 15);
}

int MacroStatements::ClearManualDumps(ZKMacro& m, const Op&) {
  ChangeSetting(m, ScriptSetting::ReceiveManualBulkDumps, 0);
  return 0;
}

bool MacroStatements::Hosted(const ZKMacro& m) {
  return m.s_.session->services.Setting(ScriptSetting::ProgramType) == kHostedProgram;
}

int MacroStatements::SetForceExit(ZKMacro& m, const Op& op) {
  m.s_.session->services.SetMidiOutForceExit(op.Number(0) != 0);
  return 0;
}

int MacroStatements::SetMaxSpeed(ZKMacro& m, const Op& op) {
  m.s_.session->services.MidiOutSetMaxSysExSpeed(m.s_.synth->midiOutPort, std::max(op.Number(0), 0));
  return 0;
}

int MacroStatements::SetUsbSpeed(ZKMacro& m, const Op& op) {
  m.s_.session->services.MidiOutSetUSBPortSpeed(m.s_.synth->midiOutPort, std::max(op.Number(0), 0));
  return 0;
}

int MacroStatements::ReadEnvironment(ZKMacro& m, const Op&) {
  ScriptServices& services = m.s_.session->services;
  ScriptHost* host = services.Host();
  const bool editor = host && host->Has(ScriptReceiver::EditorDocument);
  SetX(m.s_, editor ? services.Setting(ScriptSetting::Environment) : 0);
  return 0;
}

int MacroStatements::ReadPlatform(ZKMacro& m, const Op&) {
  SetX(m.s_, 1);
  return 0;
}

int MacroStatements::ReadOsVersion(ZKMacro& m, const Op&) {
  SetX(m.s_, m.s_.session->services.OsVersion());
  return 0;
}

int MacroStatements::ReadVersionInfo(ZKMacro& m, const Op& op) {
  const std::int32_t product = op.Number(0);
  const std::int32_t key = op.Number(1);
  if (key < 0 || key >= static_cast<std::int32_t>(std::size(kVersionKeys))) {
    SetX(m.s_, -1);
    return 0;
  }
  if (product != 0) return Forward(m, op);
  SetX(m.s_, m.s_.session->services.PreferencesInt("Version", kVersionKeys[key], -1));
  return 0;
}

int MacroStatements::CompareVersion(ZKMacro& m, const Op& op) {
  const std::int32_t major = op.Number(0);
  const std::int32_t minor = op.Number(1);
  const std::int32_t revision = op.Number(2);
  m.s_.registers[0] = 0;
  if (major >= 14 || (major == 13 && (minor >= 1 || (minor == 0 && revision <= 0)))) SetX(m.s_, 1);
  return 0;
}

int MacroStatements::OpenUpdateAddress(ZKMacro& m, const Op&) {
  ScriptServices& services = m.s_.session->services;
  const std::string url = services.PreferencesText("Version", "UpdateURL");
  if (url.empty()) return 0;
  if (IsWebAddress(url)) {
    services.OpenUrl(url);
  } else {
    DebugLog("The update address is not a web address and is not opened");
  }
  return 0;
}

int MacroStatements::QuitApp(ZKMacro& m, const Op&) {
  m.s_.session->services.QuitApp();
  return 0;
}

int MacroStatements::ReadDriverId(ZKMacro& m, const Op&) {
  SetX(m.s_, m.s_.synth->driverId);
  return 0;
}

int MacroStatements::ReadChildId(ZKMacro& m, const Op&) {
  SetX(m.s_, m.s_.synth->childId);
  return 0;
}

int MacroStatements::SetChildId(ZKMacro& m, const Op& op) {
  m.s_.synth->childId = static_cast<std::uint16_t>(op.Number(0));
  return 0;
}

int MacroStatements::TakeOneShot(ZKMacro& m, const Op& op) {
  SetX(m.s_, m.s_.session->services.AppState().TakeOneShot(op.Number(0)) ? 1 : 0);
  return 0;
}

int MacroStatements::ReadBasicsVar(ZKMacro& m, const Op& op) {
  SetX(m.s_, m.s_.session->services.AppState().BasicsVar(op.Number(0)));
  return 0;
}

int MacroStatements::WriteBasicsVar(ZKMacro& m, const Op& op) {
  m.s_.session->services.AppState().SetBasicsVar(op.Number(0), op.Number(1));
  return 0;
}

int MacroStatements::SetLocalWord(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const std::int32_t word = op.Number(0);
  if (word < 0 || word >= kLocalWordCount) return 0;
  if (!m.ownLocalWords_) {
    m.ownLocalWords_ = std::make_unique<std::array<std::int32_t, kLocalWordCount>>();
    std::copy_n(s.localWords, kLocalWordCount, m.ownLocalWords_->begin());
    s.localWords = m.ownLocalWords_->data();
  }
  (*m.ownLocalWords_)[static_cast<std::size_t>(word)] = op.Number(1);
  return 0;
}

int MacroStatements::MessageBox(ZKMacro& m, const Op& op) {
  State& s = m.s_;
  const std::int32_t hint = op.Number(1);
  if (hint >= 100) return Forward(m, op);
  const std::string name = FieldText(s.synth->shortName);
  const std::string type = FieldText(s.synth->typeName);
  std::string text;
  if (hint == 0 || hint == 1) {
    text = ">>>> If necessary, go to your " + name + " and manually dump the " + type +
           " SysEx.\n>>>> For more information on transferring SysEx, see device Fast Tips.";
  } else if (hint == 2) {
    text = ">>>> The " + name +
           " doesn't support SysEx dump request messages.\n"
           ">>>> SysEx must be manually transmitted from the instrument.\n\n"
           "For information on transferring SysEx, see device Fast Tips.";
  } else if (hint == 3) {
    text = ">>>> To receive bulk SysEx messages, the " + name + " must be in Librarian mode.\nIf the " + name +
           " is not in Librarian mode...\n"
           "Cancel transmission, configure the instrument, and resend the SysEx\n\n"
           "For information on transferring SysEx, see device Fast Tips.";
  }
  if (!text.empty()) s.session->Show(text);
  return 0;
}

}  // namespace tonalith
