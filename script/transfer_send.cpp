// Sending: a whole DataFile, its patches one after the other, one image, and what becomes of the data afterwards.
#include <algorithm>

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
  context_.patchDone = [this] {
    transfer_->patchesToDo_ = result_.patchesToDo = context_.patchesToDo;
    result_.patchesDone = context_.patchesDone;
    ReportProgress();
  };
  result_.result = MidiIODataFileFn(TransferOperation::kTransmit, -1);
  context_.patchDone = {};
  const bool failed = missingScript_ || context_.sendFailed || Stopped() ||
                      (UsesCommandSequence(*synth_) ? result_.result < 0 : result_.result <= 0);
  result_.ok = !failed;
  failure_ = failed ? std::min(result_.result, 0) : 0;
  result_.patch = failed ? context_.failedPatch : -1;
  const bool changed = !std::equal(before.begin(), before.end(), copy_->body);
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
  bool missing = false;
  const int result = SendPart(*dataFile, synth, context, 0, 0, -1, &missing);
  if (missing) SayNoScript();
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
  bool missing = false;
  const int result = SendAll(*dataFile, synth, context, {dataFile->transferMask, dataFile->transferMaskSize}, &missing);
  dataFile->synth->rolandHandshake = synth.rolandHandshake;
  dataFile->synth->childId = synth.childId;
  if (missing) SayNoScript();
  return result;
}

int TransferEngine::MidiSendDataFile(DataFile* dataFile, int patchIndex, int flags, std::uint8_t* patchBuffer) {
  if (!dataFile || !dataFile->synth || !dataFile->body || locks_.Busy(dataFile)) return -1;
  auto routed = RoutedDescriptor(*dataFile);
  if (!routed) return -1;
  Synth& synth = *routed;
  TransferContext context;
  bool missing = false;
  std::int64_t offset = -1;
  if (patchBuffer) {
    if (patchBuffer < dataFile->body || patchBuffer >= dataFile->body + dataFile->bodySize) return -1;
    offset = patchBuffer - dataFile->body;
  }
  const int result = SendPart(*dataFile, synth, context, patchIndex, flags, offset, &missing);
  dataFile->synth->rolandHandshake = synth.rolandHandshake;
  dataFile->synth->childId = synth.childId;
  if (missing) SayNoScript();
  return result;
}

std::optional<Synth> TransferEngine::RoutedDescriptor(const DataFile& dataFile) {
  Synth synth = *dataFile.synth;
  const std::string missing = RoutePorts(dataFile, TransferOperation::kTransmit, synth);
  if (missing.empty()) return synth;
  prompts_.Say(kMidiIoTitle, missing);
  return std::nullopt;
}

int TransferEngine::SendAll(DataFile& dataFile, Synth& synth, TransferContext& context,
                            std::span<const std::uint8_t> mask, bool* missingScript) {
  if (HoldsNothing(dataFile)) return -1;
  if (!PatchAddressable(synth) || !UsesCommandSequence(synth))
    return SendPart(dataFile, synth, context, 0, 0, -1, missingScript);
  std::vector<int> patches;
  const std::uint32_t voices = synth.numVoices;
  for (std::uint32_t i = 0; i < std::min(voices, kMaxVoices); ++i) {
    const bool wanted = !mask.data() || (i < mask.size() && mask[i] != 0);
    if (wanted && !MapBit(dataFile.emptyMap, dataFile.emptyMapSize, i)) patches.push_back(static_cast<int>(i));
  }
  context.patchesToDo = static_cast<int>(patches.size());
  int result = -1;
  for (const int patch : patches) {
    if (context.cancel.Cancelled() || context.state.load() >= TransferState::Cancel || context.portGone ||
        context.stopBankLoop || !context.scriptStop.empty()) {
      break;
    }
    const int flags = (patch == patches.front() ? 1 : 0) | (patch == patches.back() ? 2 : 0);
    result = SendPart(dataFile, synth, context, patch, flags, static_cast<std::int64_t>(patch) * synth.voiceSize,
                      missingScript);
    if (result < 0 && context.failedPatch < 0) context.failedPatch = patch;
    context.patchesDone.fetch_add(1);
    context.progressCount.fetch_add(1);
    if (context.patchDone) context.patchDone();
    if (*missingScript) break;
  }
  return result;
}

// patchOffset: where the patch begins in the body; -1: the whole image.
int TransferEngine::SendPart(DataFile& dataFile, Synth& synth, TransferContext& context, int patchIndex, int flags,
                             std::int64_t patchOffset, bool* missingScript) {
  if (HoldsNothing(dataFile) || !dataFile.body) return -1;
  const ByteWindow body(dataFile.body, dataFile.bodySize);
  const bool looksLikeSysEx = patchOffset >= 0 ? body.At(patchOffset) == 0xF0 : (body.At(0) & 0x80) != 0;
  if (!synth.allowsNonSysEx && !looksLikeSysEx) return -1;
  if (!UsesCommandSequence(synth)) {
    ServicesLine line(services_, context, synth.midiInPort, synth.midiOutPort);
    return BuiltInProtocols(line).MidiSend(synth, body);
  }
  if (!dataFile.transmitScript) {
    *missingScript = true;
    return 0;
  }
  const std::span<const std::uint8_t> code(dataFile.transmitScript, dataFile.transmitScriptSize);
  const std::int64_t from = std::max<std::int64_t>(patchOffset, 0);
  const MacroBuffer buffer(body.Clamped(from, body.size() - from),
                           patchOffset >= 0 && PatchAddressable(synth) ? synth.voiceSize : synth.fileSize);
  const int result = MidiMacro(services_, context, synth, code, buffer, synth.sysExChannel, patchIndex, flags);
  if (context.staged) {
    const auto staged = std::move(*context.staged);
    context.staged.reset();
    MonitorMsg("A transmit script left a request of %zu bytes that no receive sent.", staged.bytes.size());
  }
  return result;
}

void TransferEngine::SayNoScript() {
  prompts_.Say(kMidiIoTitle, "No Command Sequence to Transmit Data");
}

int TransferEngine::MidiIO(TransferOperation operation, std::span<std::uint8_t> buffer, Synth& synth) {
  TransferContext context;
  ServicesLine line(services_, context, synth.midiInPort, synth.midiOutPort);
  return BuiltInProtocols(line).MidiIO(operation, ByteWindow(buffer), synth);
}

int TransferEngine::MidiSend(const Synth& synth, std::span<std::uint8_t> buffer) {
  TransferContext context;
  ServicesLine line(services_, context, synth.midiInPort, synth.midiOutPort);
  return BuiltInProtocols(line).MidiSend(synth, ByteWindow(buffer));
}

int TransferEngine::MidiSendNoMsg(const Synth& synth, std::span<std::uint8_t> buffer) {
  TransferContext context;
  ServicesLine line(services_, context, synth.midiInPort, synth.midiOutPort);
  return BuiltInProtocols(line).MidiSendNoMsg(synth, ByteWindow(buffer));
}

}  // namespace tonalith
