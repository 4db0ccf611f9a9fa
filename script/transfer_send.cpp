// Sending: a whole DataFile, its patches one after the other, one image, and what becomes of the data afterwards.
#include <algorithm>
#include <utility>

#include "platform/log.h"
#include "script/interpreter.h"
#include "script/services_line.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_events.h"
#include "script/transfer_engine_run.h"

namespace tonalith {

void TakeOverDescriptor(DataFile& to, const Synth& from) {
  to.synth->childId = from.childId;
  to.synth->rolandHandshake = from.rolandHandshake;
}

void TransferRun::Transmit() {
  const std::vector<std::uint8_t> before(copy_->body, copy_->body + copy_->bodySize);
  engine_.services().ForgetReplies(synth_->midiInPort);
  const std::shared_ptr<MidiOutPort> out = engine_.out_ ? engine_.out_->GetMidiOutPort(synth_->midiOutPort) : nullptr;
  context_.patchDone = [this, out](int patch) {
    transfer_->patchesToDo_ = result_.patchesToDo = context_.patchesToDo;
    result_.patchesDone = context_.patchesDone;
    result_.handed.push_back({patch, out ? out->PostedBytes() : 0});
    ReportProgress();
  };
  result_.result = SendExchange();
  context_.patchDone = {};
  const bool failed = missingScript_ || context_.sendFailed || Stopped() ||
                      (UsesCommandSequence(*synth_) ? result_.result < 0 : result_.result <= 0);
  result_.ok = !failed;
  result_.attempts = context_.attempts;
  result_.patchesToDo = context_.patchesToDo;
  result_.patchesDone = context_.patchesDone;
  failure_ = failed ? std::min(result_.result, 0) : 0;
  if (failed && !context_.notTaken.empty()) result_.patch = context_.notTaken.front().first;
  for (const auto& [patch, code] : context_.notTaken) result_.faults.push_back({patch, code});
  result_.refusedPieces = context_.refusedPieces;
  result_.retriedPieces = context_.retriedPieces;
  // A script that was broken off may have left things in the image that only the wire should have seen.
  const bool changed = !failed && !std::equal(before.begin(), before.end(), copy_->body);
  result_.changed = changed;
  Post([transfer = transfer_, copy = copy_, changed, failed, preferences = engine_.preferences_] {
    std::unique_lock lock(transfer->mutex_);
    DataFile* df = transfer->dataFile_;
    if (!df || !df->synth) return;
    // Channel, number and checksum as they were sent.
    if (changed && df->bodySize == copy->bodySize) std::memcpy(df->body, copy->body, copy->bodySize);
    TakeOverDescriptor(*df, *copy->synth);
    lock.unlock();
    if (!failed) preferences->SentDataFile(df);
  });
}

int TransferEngine::Render(DataFile* dataFile) {
  EventList events;
  TransferContext context;
  context.recording = &events;
  Synth synth = *dataFile->synth;
  RoutePorts(*dataFile, TransferOperation::kRender, synth);
  Sending sending{*dataFile, synth, context};
  const int result = SendPart(sending, 0, 0, -1);
  if (sending.missingScript) SayNoScript();
  FreeEventList(dataFile->eventList);
  dataFile->eventList = events.Release();
  return result;
}

// --- Transmitting ---

int TransferEngine::MidiSendDataFileAll(DataFile* dataFile) {
  if (!dataFile || !dataFile->synth || locks_.Busy(dataFile)) return -1;
  auto routed = RoutedDescriptor(*dataFile);
  if (!routed) return -1;
  Synth& synth = *routed;
  TransferContext context;
  PortLeases::Handle lease;
  if (!TakeOutputs(synth, &lease, context)) return -1;
  Sending sending{*dataFile, synth, context};
  const int result = SendAll(sending, {dataFile->transferMask, dataFile->transferMaskSize});
  dataFile->synth->rolandHandshake = synth.rolandHandshake;
  dataFile->synth->childId = synth.childId;
  if (sending.missingScript) SayNoScript();
  return result;
}

int TransferEngine::MidiSendDataFile(DataFile* dataFile, int patchIndex, int flags, std::uint8_t* patchBuffer) {
  if (!dataFile || !dataFile->synth || !dataFile->body || locks_.Busy(dataFile)) return -1;
  auto routed = RoutedDescriptor(*dataFile);
  if (!routed) return -1;
  Synth& synth = *routed;
  TransferContext context;
  PortLeases::Handle lease;
  if (!TakeOutputs(synth, &lease, context)) return -1;
  std::int64_t offset = -1;
  if (patchBuffer) {
    if (patchBuffer < dataFile->body || patchBuffer >= dataFile->body + dataFile->bodySize) return -1;
    offset = patchBuffer - dataFile->body;
  }
  Sending sending{*dataFile, synth, context};
  const int result = SendPiece(sending, patchIndex, flags, offset);
  dataFile->synth->rolandHandshake = synth.rolandHandshake;
  dataFile->synth->childId = synth.childId;
  if (sending.missingScript) SayNoScript();
  return result;
}

std::optional<Synth> TransferEngine::RoutedDescriptor(const DataFile& dataFile) {
  Synth synth = *dataFile.synth;
  const std::string missing = RoutePorts(dataFile, TransferOperation::kTransmit, synth);
  if (missing.empty()) return synth;
  prompts_.Say(kMidiIoTitle, missing);
  return std::nullopt;
}

int TransferEngine::SendAll(Sending& sending, std::span<const std::uint8_t> mask) {
  const DataFile& dataFile = sending.dataFile;
  const Synth& synth = sending.synth;
  TransferContext& context = sending.context;
  if (HoldsNothing(dataFile)) return -1;
  if (!PatchAddressable(synth) || !UsesCommandSequence(synth)) return SendPiece(sending, 0, 0, -1);
  std::vector<int> patches;
  const std::uint32_t voices = synth.numVoices;
  for (std::uint32_t i = 0; i < std::min(voices, kMaxVoices); ++i) {
    const bool wanted = !mask.data() || (i < mask.size() && mask[i] != 0);
    if (wanted && !MapBit(dataFile.emptyMap, dataFile.emptyMapSize, i)) patches.push_back(static_cast<int>(i));
  }
  context.patchesToDo = static_cast<int>(patches.size());
  int result = -1;
  int failure = 0;
  bool ended = false;  // nothing more is sent
  for (const int patch : patches) {
    if (ended || SendEnded(context) || context.stopBankLoop) {
      context.notTaken.emplace_back(patch, 0);
      continue;
    }
    const int flags = (patch == patches.front() ? 1 : 0) | (patch == patches.back() ? 2 : 0);
    result = SendPiece(sending, patch, flags, static_cast<std::int64_t>(patch) * synth.voiceSize);
    if (result < 0 || SendEnded(context) || sending.missingScript) {
      if (failure == 0) failure = std::min(result, 0);
      context.notTaken.emplace_back(patch, std::min(result, 0));
      // An instrument that refuses one patch may take the others; one that is silent takes none.
      ended = !context.refused;
      continue;
    }
    context.patchesDone.fetch_add(1);
    context.progressCount.fetch_add(1);
    if (context.patchDone) context.patchDone(patch);
  }
  return failure < 0 ? failure : result;
}

namespace {

constexpr std::int64_t kSendAgainWaitMs = 300;

// What a script that sent something tells by its end.
int SendCode(const MacroOutcome& script, TransferContext& context) {
  if (script.returned && script.end == 0) {
    // The script looked after its answers itself.
    context.unanswered = script.returnValue < 0 && context.unanswered;
    context.refused = script.returnValue < 0 && !context.unanswered;
    return script.returnValue < 0 ? script.returnValue : script.result;
  }
  if (script.end == kMacroNoResponse || script.end == kMacroNoEnd) return script.end;
  if (script.result < 0) return script.result;
  if (context.refused) return transfer_code::kRejected;
  return context.unanswered ? transfer_code::kNoResponse : script.result;
}

// An answer came, but not the one that says that all is well.
bool IsNoToSent(int code) {
  return code == transfer_code::kMissingBytes || (code <= transfer_code::kNoEnd && code >= transfer_code::kTooLarge);
}

}  // namespace

bool TransferEngine::SendEnded(const TransferContext& context) const {
  return context.cancel.Cancelled() || context.state.load() >= TransferState::Cancel || context.portGone ||
         context.sendFailed || !context.scriptStop.empty() || services_.Quitting();
}

// A piece that is refused or not answered goes out again, as often as one that does not come is asked for; what is not
// answered perhaps more often, as its script says.
int TransferEngine::SendPiece(Sending& sending, int patchIndex, int flags, std::int64_t patchOffset) {
  TransferContext& context = sending.context;
  context.spentAttempts = 0;
  for (;;) {
    context.unanswered = context.refused = false;
    context.said.clear();
    const int result = SendPart(sending, patchIndex, flags, patchOffset);
    if (result >= 0 || SendEnded(context) || !(context.unanswered || context.refused)) return result;
    const int extra =
        context.unanswered ? std::max(context.extraAttempts, context.retryOnTimeout) : context.extraAttempts;
    const bool again = context.spentAttempts++ < extra;
    if (again) clock_.SleepMs(kSendAgainWaitMs, &context.wake);
    if (SendEnded(context)) return result;
    if (!again) {
      if (context.attempts == 0) context.attempts = context.spentAttempts;
      if (context.refused) ++context.refusedPieces;
      context.NoteAnswer();
      if (context.sendCause == TransferCause::kNone)
        context.sendCause = context.refused ? TransferCause::kNotTaken : TransferCause::kNoAnswer;
      return result;
    }
    services_.ForgetReplies(sending.synth.midiInPort);
    ++context.retriedPieces;
  }
}

// patchOffset: where the patch begins in the body; -1: the whole image.
int TransferEngine::SendPart(Sending& sending, int patchIndex, int flags, std::int64_t patchOffset) {
  const DataFile& dataFile = sending.dataFile;
  Synth& synth = sending.synth;
  TransferContext& context = sending.context;
  if (HoldsNothing(dataFile) || !dataFile.body) return -1;
  const ByteWindow body(dataFile.body, dataFile.bodySize);
  const bool anyBytes = synth.allowsNonSysEx || (sending.withModes && !UsesCommandSequence(synth));
  const bool looksLikeSysEx = patchOffset >= 0 ? body.At(patchOffset) == 0xF0 : (body.At(0) & 0x80) != 0;
  if (!anyBytes && !looksLikeSysEx) return -1;
  int result = 0;
  if (!UsesCommandSequence(synth)) {
    ServicesLine line(services_, context, synth.midiInPort, synth.midiOutPort);
    BuiltInProtocols protocols(line);
    result = sending.withModes ? protocols.MidiIO(TransferOperation::kTransmit, body, synth)
                               : protocols.MidiSend(synth, body);
    if (result >= 0 && context.refused) result = transfer_code::kRejected;
    if (result >= 0 && context.unanswered && services_.CanBeAnswered(context)) result = transfer_code::kNoResponse;
  } else if (!dataFile.transmitScript) {
    sending.missingScript = true;
    return 0;
  } else {
    const std::span<const std::uint8_t> code(dataFile.transmitScript, dataFile.transmitScriptSize);
    const std::int64_t from = std::max<std::int64_t>(patchOffset, 0);
    const MacroBuffer buffer(body.Clamped(from, body.size() - from),
                             patchOffset >= 0 && PatchAddressable(synth) ? synth.voiceSize : synth.fileSize);
    const MacroOutcome script = RunTransferMacro(services_, context, synth, code, buffer, patchIndex, flags);
    result = services_.CanBeAnswered(context) ? SendCode(script, context) : script.result;
    if (std::exchange(context.stagedLost, false) && result >= 0) {
      MonitorMsg("A transmit script handed over data that no receive sent.");
      result = transfer_code::kBadCommand;
    }
  }
  if (!services_.CanBeAnswered(context)) {
    context.unanswered = context.refused = false;
    return result;
  }
  if (!context.unanswered && IsNoToSent(result)) context.refused = true;
  if (result == transfer_code::kTimeOut || result == transfer_code::kQuiet || result == transfer_code::kStillNoResponse)
    context.unanswered = true;
  return result;
}

void TransferEngine::SayNoScript() {
  prompts_.Say(kMidiIoTitle, "No Command Sequence to Transmit Data");
}

int TransferEngine::MidiIO(TransferOperation operation, std::span<std::uint8_t> buffer, Synth& synth) {
  TransferContext context;
  PortLeases::Handle lease;
  if (!TakeOutputs(synth, &lease, context)) return -1;
  ServicesLine line(services_, context, synth.midiInPort, synth.midiOutPort);
  return BuiltInProtocols(line).MidiIO(operation, ByteWindow(buffer), synth);
}

int TransferEngine::MidiSend(const Synth& synth, std::span<std::uint8_t> buffer) {
  TransferContext context;
  PortLeases::Handle lease;
  if (!TakeOutputs(synth, &lease, context)) return -1;
  ServicesLine line(services_, context, synth.midiInPort, synth.midiOutPort);
  return BuiltInProtocols(line).MidiSend(synth, ByteWindow(buffer));
}

int TransferEngine::MidiSendNoMsg(const Synth& synth, std::span<std::uint8_t> buffer) {
  TransferContext context;
  PortLeases::Handle lease;
  if (!TakeOutputs(synth, &lease, context)) return -1;
  ServicesLine line(services_, context, synth.midiInPort, synth.midiOutPort);
  return BuiltInProtocols(line).MidiSendNoMsg(synth, ByteWindow(buffer));
}

}  // namespace tonalith
