#include "script/interpreter.h"

#include <algorithm>

#include "platform/log.h"
#include "script/macro_statements.h"
#include "script/translated_code.h"

namespace tonalith {

namespace {

constexpr std::int32_t kMacroTableSize = 256;
// Longer macros are translated as far as they run, and called on copies of everything.
constexpr std::size_t kLongestLight = 512;
constexpr std::array<std::int32_t, 256> kNoLocalWords{};

}  // namespace

ZKMacro::ZKMacro(MacroSession& session) {
  s_.session = &session;
  s_.localWords = kNoLocalWords.data();
}

ZKMacro::~ZKMacro() {
  EndOfMacro();
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
  s_.returnValue = 0;
  s_.returnSet = false;
  const int r = endCode_ = Execute(code);
  work_.reset();
  if (IsNormalEnd(r)) {
    if (returnRet && s_.returnSet) return s_.returnValue;
    return WrapToInt(std::int64_t{s_.size} - s_.receive.space);
  }
  return r;
}

int ZKMacro::NoSetupRun(std::span<const std::uint8_t> code) {
  s_.returnValue = s_.registers[1];
  const int r = Execute(code);
  return IsNormalEnd(r) ? s_.returnValue : r;
}

void ZKMacro::CopyFrom(const ZKMacro& other) {
  s_ = other.s_;
  work_ = other.work_;
}

int ZKMacro::Execute(std::span<const std::uint8_t> code) {
  ForgetCalled();
  s_.session->NoteCode(code.size());
  TranslatedCode translated(code, {s_.registers.data(), s_.variables, &zero_, &sink_, s_.floatMode});
  return Execute(translated);
}

TranslatedCode* ZKMacro::LookUpCalled(std::int32_t n) {
  if (n < 0 || n >= kMacroTableSize) return nullptr;
  MacroSession& session = *s_.session;
  if (called_.size() <= static_cast<std::size_t>(n)) called_.resize(static_cast<std::size_t>(n) + 1);
  CalledMacro& called = called_[static_cast<std::size_t>(n)];
  const std::span<const std::uint8_t> code =
      session.services.HasMacroTable() ? session.services.Macro(n) : std::span<const std::uint8_t>();
  called.foreignCalls = session.foreignCalls;
  if (session.Work(static_cast<std::int64_t>(code.size())) != 0) return nullptr;
  if (called.known && std::equal(code.begin(), code.end(), called.bytes.begin(), called.bytes.end())) {
    return called.code.get();
  }
  if (called.code && called.code->running > 0) replaced_.push_back(std::move(called));
  called = {{code.begin(), code.end()}, nullptr, session.foreignCalls, true};
  if (code.empty()) return nullptr;
  session.NoteCode(code.size());
  called.code = std::make_unique<TranslatedCode>(
      called.bytes, TranslationTarget{s_.registers.data(), s_.variables, &zero_, &sink_, s_.floatMode});
  if (code.size() <= kLongestLight) called.code->Complete();
  return called.code.get();
}

int ZKMacro::CallOnCopies(TranslatedCode& code) {
  MacroSession& session = *s_.session;
  const State state = s_;
  std::shared_ptr<std::vector<std::uint8_t>> work = work_;
  std::vector<std::uint8_t> transmit;
  transmit.swap(ownTransmit_);
  std::unique_ptr<std::array<std::int32_t, 256>> localWords = std::move(ownLocalWords_);
  session.context.acceptedSizes.clear();
  s_.returnValue = s_.registers[1];
  ++session.macroDepth;
  ++code.running;
  int result = Execute(code);
  if (IsNormalEnd(result)) result = s_.returnValue;
  --code.running;
  --session.macroDepth;
  EndOfMacro();
  s_ = state;
  work_ = std::move(work);
  ownTransmit_.swap(transmit);
  ownLocalWords_ = std::move(localWords);
  s_.registers[1] = result;
  return session.stop;
}

void ZKMacro::EndOfMacro() {
  if (s_.ackWait && s_.synth) {
    const ScriptWait wait(*s_.session);
    s_.session->services.MidiOutClrWaitForAck(s_.synth->midiOutPort);
    s_.session->services.EndAcks(s_.synth->midiOutPort, s_.session->context);
  }
  ClearReceiveFilters(s_.session->context);
}

void ZKMacro::ForgetCalled() {
  called_.clear();
  replaced_.clear();
}

}  // namespace tonalith
