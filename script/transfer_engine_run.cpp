#include "script/transfer_engine_run.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/log.h"
#include "script/interpreter.h"
#include "script/services_line.h"

namespace tonalith {

namespace {

constexpr std::int64_t kRetryWaitMs = 300;
constexpr int kMissingAttempts = 3;
constexpr std::uint8_t kManualPatchBay = 2;

std::uint32_t GetTime32() {
  return static_cast<std::uint32_t>(std::time(nullptr));
}

// What the name of a patch without a name of its own is made of.
std::string ReceivedName(const DataFile& dataFile) {
  const std::string key = FieldText(dataFile.synth->typeKey);
  return (key.empty() ? std::string("SysEx") : key) + " from " + TransferInstrumentName(dataFile);
}

void SetVoiceName(DataFile& dataFile, std::uint32_t voice, const std::string& name) {
  const std::uint64_t at = static_cast<std::uint64_t>(voice) * kVoiceNameSize;
  if (!dataFile.voiceNames || at + kVoiceNameSize > dataFile.voiceNamesSize) return;
  char* entry = dataFile.voiceNames + at;
  std::memset(entry, 0, kVoiceNameSize);
  name.copy(entry, kVoiceNameSize - 1);
}

bool HasVoiceName(const DataFile& dataFile, std::uint32_t voice) {
  const std::uint64_t at = static_cast<std::uint64_t>(voice) * kVoiceNameSize;
  return !dataFile.voiceNames || at >= dataFile.voiceNamesSize || dataFile.voiceNames[at] != 0;
}

void Stamp(DataFile& dataFile) {
  const std::uint32_t now = GetTime32();
  dataFile.synth->timeStamp = now;
  if (dataFile.xtra) dataFile.xtra->timeStamp = now;
}

}  // namespace

TransferRun::TransferRun(TransferEngine& engine, std::shared_ptr<Transfer> transfer, bool direct)
    : engine_(engine),
      transfer_(std::move(transfer)),
      context_(transfer_->context_),
      direct_(direct),
      numbers_(engine.services().HoldPortNumbers()) {
  result_.operation = transfer_->operation_;
  transfer_->direct_ = direct;
}

bool TransferRun::Prepare(const DataFile& dataFile, const std::vector<std::uint8_t>& patches) {
  copy_ = std::shared_ptr<DataFile>(DupForUser(&dataFile), DataFileDeleter());
  if (!copy_ || !copy_->synth) return false;
  synth_ = copy_->synth;
  synth_->midiInPort = transfer_->synth_.midiInPort;
  synth_->midiOutPort = transfer_->synth_.midiOutPort;
  synth_->patchBayPort = transfer_->synth_.patchBayPort;
  if (!patches.empty()) {
    mask_ = patches;
  } else if (dataFile.transferMask) {
    mask_.assign(dataFile.transferMask, dataFile.transferMask + dataFile.transferMaskSize);
  }
  // Scripts work on as many bytes as the descriptor says.
  if (synth_->fileSize >= kMinFileSize && synth_->fileSize <= kMaxFileSize && copy_->bodySize < synth_->fileSize) {
    return ResizeBody(copy_.get(), synth_->fileSize);
  }
  return copy_->body != nullptr;
}

void TransferRun::Post(std::function<void()> work) {
  if (direct_) {
    work();
  } else {
    engine_.Post(std::move(work));
  }
}

bool TransferRun::Stopped() const {
  const TransferState state = context_.state.load();
  return state == TransferState::Cancel || state == TransferState::CancelAll || context_.cancel.Cancelled() ||
         context_.portGone || engine_.services().Quitting();
}

void TransferRun::Receive() {
  context_.transferRunning = true;
  engine_.services().ForgetReplies(synth_->midiInPort);
  if (PatchAddressable(*synth_) && UsesCommandSequence(*synth_)) {
    ReceiveBank();
  } else {
    ReceiveWhole();
  }
  engine_.services().SetSysXCancel(synth_->midiInPort, {}, synth_->midiOutPort);
  // Types whose patches may be missing are content with those that are there.
  const bool mayMiss = (synth_->optionBits & 8) != 0 || context_.state.load() == TransferState::Ok;
  const bool all = complete_ && (mayMiss || result_.patchesDone == result_.patchesToDo);
  result_.ok = result_.result == 1 && all && !Stopped();
}

void TransferRun::ReceivePatch(int patch) {
  context_.transferRunning = true;
  engine_.services().ForgetReplies(synth_->midiInPort);
  context_.patchByPatch = true;
  context_.currentPatch = patch;
  context_.firstPatch = context_.lastPatch = true;
  ReceiveOnePatch(patch);
  engine_.services().SetSysXCancel(synth_->midiInPort, {}, synth_->midiOutPort);
  result_.ok = result_.result == 1 && !Stopped();
}

// --- Patch by patch ---

void TransferRun::ReceiveBank() {
  const std::uint32_t fileSize = synth_->fileSize;
  const std::uint32_t voices = std::min(+synth_->numVoices, kMaxVoices);
  std::uint32_t count = 0;
  std::uint32_t first = voices;
  std::uint32_t last = 0;
  for (std::uint32_t i = 0; i < voices; ++i) {
    if (!Selected(i)) continue;
    if (count++ == 0) first = i;
    last = i;
  }
  // Scripts see how much is asked for.
  if (!mask_.empty()) {
    const std::uint64_t asked = static_cast<std::uint64_t>(count) * synth_->voiceSize;
    synth_->fileSize = static_cast<std::uint32_t>(std::min<std::uint64_t>(asked, kMaxFileSize));
  }
  context_.patchByPatch = true;
  context_.patchesToDo = static_cast<int>(count);
  transfer_->patchesToDo_ = static_cast<int>(count);
  result_.patchesToDo = static_cast<int>(count);
  for (std::uint32_t i = 0; i < voices; ++i) {
    context_.currentPatch = static_cast<int>(i);
    context_.firstPatch = i == first;
    context_.lastPatch = i == last;
    if (Stopped()) break;
    if (context_.stopBankLoop) {
      result_.patchesToDo = result_.patchesDone;
      break;
    }
    if (!Selected(i)) continue;
    if (!ReceiveOnePatch(static_cast<int>(i))) {
      complete_ = context_.state.load() == TransferState::Ok;
      break;
    }
  }
  synth_->fileSize = fileSize;
}

// True: go on with the next patch.
bool TransferRun::ReceiveOnePatch(int patch) {
  constexpr int kHostedProgram = 5;
  context_.timedOut = false;
  const bool received = MidiIODataFileFn(TransferOperation::kReceive, patch) != 0;
  if (!received) {
    if (Stopped() || !context_.scriptStop.empty()) return false;
    const bool goesOn = (synth_->optionBits & 8) || context_.timedOut ||
                        engine_.services().Setting(ScriptSetting::ProgramType) == kHostedProgram;
    if (goesOn) ReportProgress();
    return goesOn;
  }
  if (!context_.timedOut) CommitPatch(patch);
  context_.patchesDone.fetch_add(1);
  result_.patchesDone = context_.patchesDone;
  ReportProgress();
  context_.progressCount.fetch_add(1);
  return context_.state.load() != TransferState::Ok;
}

void TransferRun::ReportProgress() {
  const int done = context_.patchesDone;
  const int total = context_.patchesToDo;
  if (!transfer_->observer_) return;
  Post([observer = transfer_->observer_, done, total] { observer->progress(done, total); });
  ReportBytes();
}

void TransferRun::ReportBytes() {
  if (!transfer_->observer_) return;
  Post([observer = transfer_->observer_, received = context_.receivedBytes.load(),
        expected = context_.expectedBytes.load()] { observer->bytes(received, expected); });
}

// --- Whole images ---

void TransferRun::ReceiveWhole() {
  const bool received = MidiIODataFileFn(TransferOperation::kReceive, -1) == 1;
  ReportBytes();
  if (received) {
    CommitWhole();
  } else if (context_.state.load() != TransferState::Cancel &&
             !(context_.state.load() == TransferState::CancelAll && context_.receivedBytes == 0)) {
    CommitNothing();
  }
}

int TransferRun::MidiIODataFileFn(TransferOperation operation, int patch) {
  context_.transmitDelayMs = 0;
  const bool byHand = (synth_->patchBayFlags & kManualPatchBay) != 0;
  if (!(byHand && patchBayAsked_) && !engine_.MidiPatchBay(*synth_, context_)) {
    context_.state = TransferState::Cancel;
  }
  patchBayAsked_ = true;
  context_.acceptAny = (synth_->optionBits & 1) ? AcceptAny::SysExOnly : AcceptAny::Everything;
  context_.expectedBytes = synth_->fileSize;
  context_.receivedBytes = 0;
  context_.sentBytes = 0;

  int r = 0;
  if (!Stopped()) {
    if (!UsesCommandSequence(*synth_)) {
      ServicesLine line(engine_.services(), context_, synth_->midiInPort, synth_->midiOutPort);
      r = BuiltInProtocols(line).MidiIO(operation, ByteWindow(copy_->body, copy_->bodySize), *synth_);
      if (Stopped()) r = std::min(r, 0);
    } else if (operation == TransferOperation::kReceive) {
      r = RunReceiveScript(patch);
    } else {
      r = engine_.SendAll(*copy_, *synth_, context_, mask_, &missingScript_);
    }
  }
  ReportError(operation, r);
  if (operation == TransferOperation::kReceive) {
    if (r <= 0) NoteFailure(r);
    r = CheckReceived(r, patch);
    if (r > 0) result_.result = 1;
  }
  engine_.MidiPBayRevert(*synth_, context_);
  context_.acceptAny = AcceptAny::SysExOnly;
  return r;
}

int TransferRun::RunReceiveScript(int patch) {
  if (!copy_->receiveScript) {
    missingScript_ = true;
    return 0;
  }
  const std::span<const std::uint8_t> code(copy_->receiveScript, copy_->receiveScriptSize);
  const std::size_t offset = patch < 0 ? 0 : static_cast<std::size_t>(patch) * synth_->voiceSize;
  const auto window = ByteWindow(copy_->body, copy_->bodySize)
                          .Clamped(static_cast<std::int64_t>(offset), patch < 0 ? synth_->fileSize : synth_->voiceSize);
  const auto wanted = static_cast<int>(window.size());
  int missing = 0;
  int timeouts = 0;
  for (;;) {
    context_.timedOut = false;
    context_.cancelledByPattern = false;
    int r = MidiMacro(engine_.services(), context_, *synth_, code, MacroBuffer(window), synth_->sysExChannel,
                      std::max(patch, 0), 0);
    if (context_.staged) {
      MonitorMsg("A script left a request of %zu bytes that no receive sent.", context_.staged->bytes.size());
      context_.staged.reset();
    }
    if (context_.portGone) return transfer_code::kNoResponse;
    if (Stopped()) return transfer_code::kNothing;
    if (!context_.scriptStop.empty()) return r;
    // The instrument's error message in the middle of the data is no success.
    if (context_.cancelledByPattern && r >= 0 && r < wanted) return transfer_code::kRejected;
    const bool mayRetry = context_.state.load() == TransferState::Running;
    if (r == transfer_code::kMissingBytes) {
      if (!mayRetry || ++missing >= kMissingAttempts) return r;
    } else if (context_.timedOut) {
      if (!mayRetry || timeouts++ >= context_.retryOnTimeout) return transfer_code::kStillNoResponse;
      context_.timedOut = false;
    } else {
      return std::min(r, wanted);
    }
    engine_.clock().SleepMs(kRetryWaitMs, &context_.wake);
    if (Stopped()) return transfer_code::kNothing;
  }
}

// Decides whether a receive was one, and gives the image the size that arrived where its type allows that.
int TransferRun::CheckReceived(int r, int patch) {
  if (r <= 0) return 0;
  const bool exact = (synth_->optionBits & 2) != 0;
  const auto size = static_cast<std::uint32_t>(r);
  if (patch < 0 && !exact && size != synth_->fileSize) {
    const std::uint32_t even = std::max(kMinFileSize, (size + 1) & ~1u);
    if (!ResizeBody(copy_.get(), even)) {
      failure_ = transfer_code::kNoMemory;
      return 0;
    }
    synth_->fileSize = size;
  }
  return 1;
}

std::string TransferRun::ErrorText(int r) const {
  std::string text(MidiErrorMsg(r));
  if (!context_.scriptStop.empty()) text = "The script was " + context_.scriptStop + "!";
  if (text.empty()) return text;
  text += "\r\nwhen receiving a " + FieldText(synth_->shortName) + " " + FieldText(synth_->typeName);
  if (context_.patchByPatch && copy_->emptyMap) {
    text += " (entry " + std::to_string(EntryOf(context_.currentPatch)) + ")";
  }
  return text;
}

int TransferRun::EntryOf(int patch) const {
  return patch + (synth_ && synth_->numberFormat == 1 ? 0 : 1);
}

// The first failure is the result's.
void TransferRun::NoteFailure(int r) {
  if (failure_ != 0) return;
  failure_ = r;
  if (context_.patchByPatch && copy_->emptyMap) result_.patch = context_.currentPatch;
}

void TransferRun::ReportError(TransferOperation operation, int r) {
  if (r > transfer_code::kTimeOut) return;
  if (operation != TransferOperation::kReceive && !UsesCommandSequence(*synth_)) return;
  NoteFailure(r);
  if (result_.code == 0) result_.code = r;
  if (context_.quiet || !context_.display) return;
  const bool silent = r == transfer_code::kStillNoResponse && context_.scriptStop.empty();
  if ((synth_->optionBits & 8) && silent) return;
  context_.display(ErrorText(r));
}

// --- Handing back ---

void TransferRun::CommitPatch(int patch) {
  const std::size_t offset = static_cast<std::size_t>(patch) * synth_->voiceSize;
  const auto part =
      ByteWindow(copy_->body, copy_->bodySize).Clamped(static_cast<std::int64_t>(offset), synth_->voiceSize);
  result_.changed = true;
  Post([transfer = transfer_, bytes = std::vector<std::uint8_t>(part.begin(), part.end()), offset, patch,
        descriptor = *synth_] {
    std::lock_guard guard(transfer->mutex_);
    DataFile* df = transfer->dataFile_;
    if (!df || !df->synth || !df->body) return;
    ByteWindow(df->body, df->bodySize).Write(static_cast<std::int64_t>(offset), bytes);
    const auto voice = static_cast<std::uint32_t>(patch);
    if (df->xtra) df->xtra->hasNoSysEx = 0;
    SetMapBit(df->emptyMap, df->emptyMapSize, voice, false);
    if (!HasVoiceName(*df, voice)) SetVoiceName(*df, voice, ReceivedName(*df));
    TakeOverDescriptor(*df, descriptor);
    Stamp(*df);
  });
}

void TransferRun::CommitWhole() {
  result_.changed = true;
  Post([transfer = transfer_, copy = copy_] {
    std::lock_guard guard(transfer->mutex_);
    DataFile* df = transfer->dataFile_;
    if (!df || !df->synth) return;
    const std::uint32_t fileSize = copy->synth->fileSize;
    if (df->bodySize != copy->bodySize && !ResizeBody(df, copy->bodySize)) return;
    std::memcpy(df->body, copy->body, copy->bodySize);
    df->synth->fileSize = fileSize;
    if (df->xtra) df->xtra->hasNoSysEx = 0;
    if (df->emptyMap) std::memset(df->emptyMap, 0, df->emptyMapSize);
    const std::uint32_t names = df->voiceNames ? df->voiceNamesSize / kVoiceNameSize : 0;
    const std::string name = ReceivedName(*df);
    for (std::uint32_t i = 0; i < std::min(names, +df->synth->numVoices); ++i) SetVoiceName(*df, i, name);
    TakeOverDescriptor(*df, *copy->synth);
    Stamp(*df);
  });
}

// Data that never held anything is marked as such throughout; data from before stays as it was.
void TransferRun::CommitNothing() {
  Post([transfer = transfer_] {
    std::lock_guard guard(transfer->mutex_);
    DataFile* df = transfer->dataFile_;
    if (!df || !df->xtra || !df->xtra->hasNoSysEx) return;
    if (df->emptyMap) std::memset(df->emptyMap, 0xFF, df->emptyMapSize);
  });
}

// The transfer ends where it is, for want of memory.
void TransferRun::ShortMemory() {
  context_.patchDone = {};
  if (synth_) engine_.services().SetSysXCancel(synth_->midiInPort, {}, synth_->midiOutPort);
  result_.ok = false;
  result_.result = 0;
  result_.code = failure_ = transfer_code::kNoMemory;
}

TransferCause TransferRun::CauseOf(TransferOperation operation, int r) const {
  if (r == transfer_code::kNoMemory) return TransferCause::kCode;
  const bool receive = operation == TransferOperation::kReceive;
  if (context_.portGone) {
    const bool wasThere = receive ? !transfer_->inPortName_.empty() : !transfer_->outPortName_.empty();
    return wasThere ? TransferCause::kPortLost : TransferCause::kPortNeverOpen;
  }
  const TransferState state = context_.state.load();
  if (state == TransferState::Cancel || state == TransferState::CancelAll || context_.cancel.Cancelled() ||
      engine_.services().Quitting())
    return TransferCause::kCancelled;
  if (missingScript_) return TransferCause::kNoScript;
  if (!context_.scriptStop.empty()) return TransferCause::kScriptStopped;
  if (context_.sendFailed) return TransferCause::kPortRefused;
  if (receive) return MidiErrorMsg(r).empty() ? TransferCause::kNothingReceived : TransferCause::kCode;
  if (context_.sendCause != TransferCause::kNone) return context_.sendCause;
  if (r < 0 && synth_ && !UsesCommandSequence(*synth_)) return TransferCause::kNotTaken;
  if (r == transfer_code::kNoResponse) return TransferCause::kNothingToSend;
  if (r == 0) return TransferCause::kSendFailed;
  return TransferCause::kCode;
}

void TransferRun::Finish() {
  result_.state = context_.state.load();
  if (!result_.ok) {
    if (result_.code == 0) result_.code = failure_;
    result_.cause = CauseOf(result_.operation, result_.code);
  }
  result_.what = transfer_->what_;
  if (!result_.ok) result_.scriptStop = context_.scriptStop;
  result_.port = result_.operation == TransferOperation::kReceive ? transfer_->inPortName_ : transfer_->outPortName_;
  if (result_.ok) result_.patch = -1;
  if (result_.patch >= 0) result_.entry = EntryOf(result_.patch);
  context_.transferRunning = false;
  context_.patchByPatch = false;
  Post([transfer = transfer_, result = result_, copy = std::move(copy_)]() mutable {
    copy.reset();
    {
      std::lock_guard guard(transfer->mutex_);
      transfer->dataFile_ = nullptr;
      transfer->result_ = result;
      transfer->lock_.Release();
    }
    if (transfer->observer_) transfer->observer_->closed(result);
    std::lock_guard guard(transfer->mutex_);
    transfer->over_ = true;
    transfer->changed_.NotifyAll();
  });
}

}  // namespace tonalith
