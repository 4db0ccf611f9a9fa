// The receive half of a transfer's work: attempts, checks, and the handing back of what came.

#include <algorithm>
#include <cstring>
#include <ctime>

#include "data/data_size.h"
#include "platform/log.h"
#include "script/interpreter.h"
#include "script/transfer_engine_run.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::int64_t kRetryWaitMs = 300;
constexpr std::size_t kMostReadings = 3;
constexpr std::uint8_t kExactSize = 2;
constexpr std::uint8_t kMayMiss = 8;  // patches that are not there are no failure

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
  const auto now = static_cast<std::uint32_t>(std::time(nullptr));
  dataFile.synth->timeStamp = now;
  if (dataFile.xtra) dataFile.xtra->timeStamp = now;
}

void PutPatch(DataFile& to, const ReceivedPatch& received) {
  const auto voice = static_cast<std::uint32_t>(received.patch);
  SetMapBit(to.emptyMap, to.emptyMapSize, voice, received.empty);
  if (received.empty) return MarkDamaged(to, received.patch, false);
  const std::int64_t offset = std::int64_t{to.synth->voiceSize} * voice;
  ByteWindow(to.body, to.bodySize).Write(offset, received.bytes);
  if (!HasVoiceName(to, voice)) SetVoiceName(to, voice, ReceivedName(to));
  MarkDamaged(to, received.patch, received.damaged);
}

bool IsRefusal(int code) {
  return code <= transfer_code::kUnexpectedAck && code >= transfer_code::kUnknownError;
}

// Asking again cannot help.
bool IsFinal(int code) {
  return code == transfer_code::kNothing || code == transfer_code::kEndOfMacro || code == transfer_code::kBadCommand ||
         code == transfer_code::kTooLarge || code == transfer_code::kNoMemory;
}

}  // namespace

void PutPatches(DataFile& to, const ReceivedPatches& came) {
  for (const ReceivedPatch& patch : came) PutPatch(to, patch);
  if (to.xtra) to.xtra->hasNoSysEx = 0;
  Stamp(to);
}

bool IsSilence(int code) {
  return code == transfer_code::kNoResponse || code == transfer_code::kTimeOut ||
         code == transfer_code::kStillNoResponse || code == transfer_code::kQuiet;
}

void TransferRun::Receive() {
  context_.transferRunning = true;
  context_.endSilence = transfer_->startedAtPanel_;
  engine_.services().ForgetReplies(synth_->midiInPort);
  if (PatchAddressable(*synth_) && UsesCommandSequence(*synth_)) {
    ReceiveBank();
  } else {
    ReceiveWhole();
  }
  engine_.services().SetSysXCancel(synth_->midiInPort, {}, synth_->midiOutPort);
  // Types whose patches may be missing are content with those that are there.
  const bool pressedOk = context_.state.load() == TransferState::Ok;
  const bool mayMiss = (synth_->optionBits & kMayMiss) != 0 &&
                       std::all_of(result_.faults.begin(), result_.faults.end(),
                                   [](const PatchFault& fault) { return IsSilence(fault.code) || fault.kept; });
  const int answered = result_.patchesDone + static_cast<int>(result_.empty.size());
  const bool all = complete_ && (mayMiss || pressedOk || answered == result_.patchesToDo);
  result_.ok = result_.result == 1 && all && !Stopped();
}

void TransferRun::ReceivePatch(int patch) {
  context_.transferRunning = true;
  engine_.services().ForgetReplies(synth_->midiInPort);
  context_.patchByPatch = true;
  context_.currentPatch = patch;
  context_.firstPatch = context_.lastPatch = true;
  if (ReceivePiece(patch)) {
    NoteCame(patch);
    CommitBank();
  }
  engine_.services().SetSysXCancel(synth_->midiInPort, {}, synth_->midiOutPort);
  result_.ok = result_.result == 1 && !Stopped();
}

// --- Patch by patch ---

void TransferRun::ReceiveBank() {
  const std::uint32_t fileSize = synth_->fileSize;
  const std::uint32_t voices = std::min(+synth_->numVoices, kMaxVoices);
  std::vector<int> wanted;
  for (std::uint32_t i = 0; i < voices; ++i)
    if (Selected(i)) wanted.push_back(static_cast<int>(i));
  // Scripts see how much is asked for.
  const auto count = static_cast<int>(wanted.size());
  if (!mask_.empty()) {
    const std::uint64_t asked = static_cast<std::uint64_t>(count) * synth_->voiceSize;
    synth_->fileSize = static_cast<std::uint32_t>(std::min<std::uint64_t>(asked, kMaxFileSize));
  }
  context_.endSilence = true;
  context_.patchByPatch = true;
  context_.patchesToDo = count;
  transfer_->patchesToDo_ = count;
  result_.patchesToDo = count;
  bool goesOn = true;
  for (const int patch : wanted) {
    if (goesOn && context_.stopBankLoop) {
      result_.patchesToDo = result_.patchesDone + static_cast<int>(result_.faults.size() + result_.empty.size());
      break;
    }
    goesOn = goesOn && !Stopped();
    if (!goesOn) {
      result_.faults.push_back({patch});
      continue;
    }
    context_.currentPatch = patch;
    context_.firstPatch = patch == wanted.front();
    context_.lastPatch = patch == wanted.back();
    goesOn = ReceiveOnePatch(patch);
  }
  complete_ = goesOn || context_.state.load() == TransferState::Ok;
  synth_->fileSize = fileSize;
  CommitBank();
}

// True: go on with the next patch.
bool TransferRun::ReceiveOnePatch(int patch) {
  constexpr int kHostedProgram = 5;
  const bool came = ReceivePiece(patch);
  if (!came && piece_.code != transfer_code::kEmpty) {
    result_.faults.push_back({patch, piece_.code});
    if (Stopped() || !context_.scriptStop.empty() || context_.inDoubt) return false;
    const bool goesOn = (synth_->optionBits & kMayMiss) || !IsFinal(piece_.code) ||
                        engine_.services().Setting(ScriptSetting::ProgramType) == kHostedProgram;
    if (goesOn) ReportProgress();
    return goesOn && context_.state.load() != TransferState::Ok;
  }
  if (!came) result_.empty.push_back(patch);
  if (keptDamaged_) result_.faults.push_back({patch, piece_.code, true});
  NoteCame(patch);
  context_.patchesDone.fetch_add(1);
  result_.patchesDone += came;
  context_.hasIoWindow = false;
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
  const bool received = ReceivePiece(-1);
  ReportBytes();
  if (received) {
    if (keptDamaged_) result_.faults.push_back({-1, piece_.code, true});
    CommitWhole();
  } else if (context_.state.load() != TransferState::Cancel &&
             !(context_.state.load() == TransferState::CancelAll && context_.receivedBytes == 0)) {
    CommitNothing();
  }
}

// --- One piece: a patch of a bank (from 0), or the whole image (-1) ---

std::span<std::uint8_t> TransferRun::PieceWindow(int patch) {
  const std::int64_t offset = patch < 0 ? 0 : std::int64_t{patch} * synth_->voiceSize;
  return ByteWindow(copy_->body, copy_->bodySize).Clamped(offset, patch < 0 ? synth_->fileSize : synth_->voiceSize);
}

// Asks until the piece is right or the attempts are used up.  True: it is in the copy, with its size.
bool TransferRun::ReceivePiece(int patch) {
  const std::span<std::uint8_t> window = PieceWindow(patch);
  const Bytes former(window.begin(), window.end());
  std::vector<Bytes> readings;
  Attempt answered;  // the last that was, with what it left
  Bytes left;
  keptDamaged_ = false;
  bool saidEmpty = false;
  // Where requests were lost, what chooses the patch may have been lost with them.
  const bool doubtful =
      patch >= 0 && afterSilence_ && !transfer_->startedAtPanel_ && (synth_->optionBits & kMayMiss) == 0;
  int attempts = 0;
  bool heard = false;
  context_.spentAttempts = 0;
  for (;;) {
    context_.said.clear();
    piece_ = TryPiece(patch, window);
    ++attempts;
    heard = heard || context_.receivedBytes > 0 || !context_.pieceBytes.empty();
    const bool empty = piece_.code == transfer_code::kEmpty;
    // It says no number: one that came twice for the place before is not taken for this one.
    if (empty && std::exchange(saidEmpty, empty)) return EndEmpty(former, window);
    if (!empty && !IsSilence(piece_.code)) {
      answered = piece_;
      left.assign(window.begin(), window.begin() + piece_.size);
    }
    if (IsRefusal(piece_.code)) ++context_.refusedPieces;
    if (piece_.code <= 0) context_.NoteAnswer();
    const bool came = piece_.code > 0;
    if (came) {
      silent_ = false;
      if (!doubtful && (!transfer_->get_.twice || piece_.state != ReceivedState::kUnknown)) break;
      // Nothing in the data tells whether it is right: two readings have to agree.
      readings.push_back(left);
      if (TakeAgreed(readings, patch, window) || readings.size() == kMostReadings) break;
    }
    if (!MayAskAgain() || (!came && !empty && context_.spentAttempts++ >= AttemptsLeft())) break;
    if (!came && !empty) ++context_.retriedPieces;
    // An instrument that has answered does not leave the user waiting for what it owes.
    if (!IsSilence(piece_.code) || !context_.pieceBytes.empty()) context_.hasIoWindow = false;
    if (!empty) engine_.clock().SleepMs(kRetryWaitMs, &context_.wake);
    if (Stopped()) break;
    std::copy(former.begin(), former.end(), window.begin());
  }
  // Readings that were not compared to the end are no better than damaged ones.
  if (!readings.empty() && !TakeAgreed(readings, patch, window)) {
    piece_.code = transfer_code::kNoEnd;
    piece_.state = ReceivedState::kDamaged;
  } else if (IsSilence(piece_.code) && answered.code < 0) {
    piece_ = answered;
    std::copy(left.begin(), left.end(), window.begin());
  }
  if (failure_ == 0) {
    result_.attempts = piece_.code > 0 ? attempts : std::max(attempts, context_.spentAttempts);
    result_.answered = heard;
  }
  return EndPiece(patch, former, window);
}

bool TransferRun::TakeAgreed(const std::vector<Bytes>& readings, int patch, std::span<std::uint8_t> window) {
  const auto agreed = readings.size() > 1 ? AgreedReading(readings, *synth_, patch >= 0) : std::nullopt;
  if (!agreed) return false;
  std::copy(agreed->begin(), agreed->end(), window.begin());
  piece_ = {static_cast<int>(agreed->size()), ReceivedState::kUnknown, static_cast<std::uint32_t>(agreed->size())};
  return true;
}

bool TransferRun::MayAskAgain() const {
  return !IsFinal(piece_.code) && !Stopped() && !context_.inDoubt && context_.scriptStop.empty() &&
         context_.state.load() == TransferState::Running;
}

// How often a failed piece is asked for again.  An instrument that has gone silent is not waited for that often.
int TransferRun::AttemptsLeft() const {
  if (!IsSilence(piece_.code)) return context_.extraAttempts;
  if (transfer_->startedAtPanel_) return 0;
  return std::max(silent_ ? 0 : context_.extraAttempts, context_.retryOnTimeout);
}

// The place holds nothing: what was there before stays, marked as not there.
bool TransferRun::EndEmpty(const Bytes& former, std::span<std::uint8_t> window) {
  std::copy(former.begin(), former.end(), window.begin());
  silent_ = afterSilence_ = false;
  result_.result = 1;
  return false;
}

bool TransferRun::EndPiece(int patch, const Bytes& former, std::span<std::uint8_t> window) {
  const bool damaged = piece_.state == ReceivedState::kDamaged;
  keptDamaged_ = damaged && transfer_->get_.keepDamaged && piece_.size > 0;
  if ((piece_.code > 0 || keptDamaged_) && TakeSize(patch)) {
    piece_.code = std::min(piece_.code, 0);
    afterSilence_ = false;
    result_.result = 1;
    return true;
  }
  std::copy(former.begin(), former.end(), window.begin());
  silent_ = IsSilence(piece_.code) && context_.receivedBytes == 0;
  afterSilence_ = afterSilence_ || IsSilence(piece_.code);
  if (failure_ == 0) damaged_ = damaged;
  ReportError(TransferOperation::kReceive, piece_.code);
  NoteFailure(piece_.code);
  return false;
}

// Gives the image the size that arrived where its type allows that.
bool TransferRun::TakeSize(int patch) {
  if (patch >= 0 || (synth_->optionBits & kExactSize) || piece_.size == synth_->fileSize) return true;
  if (!ResizeBody(copy_.get(), std::max(kMinFileSize, (piece_.size + 1) & ~1u))) {
    piece_.code = failure_ = transfer_code::kNoMemory;
    return false;
  }
  synth_->fileSize = piece_.size;
  return true;
}

// One attempt.  A code above 0: a piece that is right as far as one can tell.
TransferRun::Attempt TransferRun::TryPiece(int patch, std::span<std::uint8_t> window) {
  context_.pieceBytes.clear();
  context_.timedOut = false;
  int r = 0;
  const bool scripted = UsesCommandSequence(*synth_);
  if (BeginExchange()) r = scripted ? RunReceiveScript(patch, window) : RunBuiltIn(TransferOperation::kReceive);
  EndExchange();
  if (Stopped() || !context_.scriptStop.empty() || missingScript_) return {std::min(r, 0)};
  if (patch >= 0 && context_.answers && SaysEmpty(*context_.answers, context_.pieceBytes))
    return {transfer_code::kEmpty};
  const std::size_t came = context_.pieceBytes.size();
  if (r < 0 || (r == 0 && (came == 0 || !scripted))) return {r};
  // A script that keeps nothing of what came has found it wanting.
  const bool dropped = r == 0;
  const std::size_t size = std::min(dropped ? came : static_cast<std::size_t>(r), window.size());
  const auto& sizes = context_.acceptedSizes;
  // Patches of odd size have even places; a maker's own exchange fills the image.
  const bool whole = size == window.size() || (scripted && (size | 1) + 1 == window.size());
  if ((synth_->optionBits & kExactSize) && !whole && std::find(sizes.begin(), sizes.end(), size) == sizes.end())
    return {transfer_code::kWrongCount};
  const ReceivedState state =
      dropped ? ReceivedState::kDamaged
              : CheckReceivedPiece(*transfer_->check_, *synth_, window.first(size), patch >= 0, context_.pieceBytes);
  const bool damaged = state == ReceivedState::kDamaged;
  return {damaged ? transfer_code::kNoEnd : r, state, static_cast<std::uint32_t>(size)};
}

int TransferRun::RunReceiveScript(int patch, std::span<std::uint8_t> window) {
  if (!copy_->receiveScript) {
    missingScript_ = true;
    return 0;
  }
  const std::span<const std::uint8_t> code(copy_->receiveScript, copy_->receiveScriptSize);
  const auto wanted = static_cast<int>(window.size());
  context_.cancelledByPattern = false;
  const int r = MidiMacro(engine_.services(), context_, *synth_, code, MacroBuffer(window), synth_->sysExChannel,
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
  if (context_.timedOut && r != transfer_code::kMissingBytes) return transfer_code::kStillNoResponse;
  return std::min(r, wanted);
}

// --- Handing back ---

void TransferRun::NoteCame(int patch) {
  const auto part =
      ByteWindow(copy_->body, copy_->bodySize).Clamped(std::int64_t{synth_->voiceSize} * patch, synth_->voiceSize);
  const bool empty = piece_.code == transfer_code::kEmpty;
  ReceivedPatch received{patch, {part.begin(), part.end()}, keptDamaged_, empty};
  std::lock_guard guard(transfer_->mutex_);
  transfer_->came_.push_back(std::move(received));
}

DataFilePtr Transfer::SoFar() const {
  std::lock_guard guard(mutex_);
  if (!dataFile_ || !dataFile_->synth || !dataFile_->body || came_.empty()) return nullptr;
  DataFilePtr copy(DupForUser(dataFile_));
  if (copy && copy->synth && copy->body) PutPatches(*copy, came_);
  return copy;
}

// What the user cancelled leaves the former data as it was.
void TransferRun::CommitBank() {
  const TransferState state = context_.state.load();
  const bool cancelled = state == TransferState::Cancel || state == TransferState::CancelAll ||
                         context_.cancel.Cancelled() || engine_.services().Quitting();
  {
    std::lock_guard guard(transfer_->mutex_);
    if (transfer_->came_.empty()) return;
    if (cancelled && !context_.portGone) {
      result_.setAside = std::make_shared<const ReceivedPatches>(transfer_->came_);
      return;
    }
  }
  result_.changed = true;
  Post([transfer = transfer_, copy = copy_] {
    std::lock_guard guard(transfer->mutex_);
    DataFile* df = transfer->dataFile_;
    if (!df || !df->synth || !df->body) return;
    PutPatches(*df, transfer->came_);
    TakeOverDescriptor(*df, *copy->synth);
  });
}

void TransferRun::CommitWhole() {
  result_.changed = true;
  Post([transfer = transfer_, copy = copy_, damaged = keptDamaged_] {
    std::lock_guard guard(transfer->mutex_);
    DataFile* df = transfer->dataFile_;
    if (!df || !df->synth) return;
    const std::uint32_t fileSize = copy->synth->fileSize;
    if (df->bodySize != copy->bodySize && !ResizeBody(df, copy->bodySize)) return;
    std::memcpy(df->body, copy->body, copy->bodySize);
    if (df->synth->fileSize != fileSize && !(df->synth->optionBits & kExactSize)) AdoptSize(df->synth, fileSize);
    df->synth->fileSize = fileSize;
    if (df->xtra) df->xtra->hasNoSysEx = 0;
    if (df->emptyMap) std::memset(df->emptyMap, 0, df->emptyMapSize);
    const std::uint32_t names = df->voiceNames ? df->voiceNamesSize / kVoiceNameSize : 0;
    const std::string name = ReceivedName(*df);
    for (std::uint32_t i = 0; i < std::min(names, +df->synth->numVoices); ++i) SetVoiceName(*df, i, name);
    MarkDamaged(*df, -1, damaged);
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

// --- What is said about it ---

// "3, 7 and 64 are missing, 12 was refused": patches by what became of them.
std::string TransferRun::MissingText() const {
  struct Kind {
    bool (*is)(const PatchFault& fault);
    const char *one, *several;
  };
  static constexpr Kind kKinds[] = {
      {[](const PatchFault& f) { return !f.kept && !IsRefusal(f.code) && f.code != transfer_code::kNoEnd; },
       " is missing", " are missing"},
      {[](const PatchFault& f) { return !f.kept && IsRefusal(f.code); }, " was refused", " were refused"},
      {[](const PatchFault& f) { return !f.kept && f.code == transfer_code::kNoEnd; }, " came damaged and was not kept",
       " came damaged and were not kept"},
      {[](const PatchFault& f) { return f.kept; }, " came damaged and was kept", " came damaged and were kept"},
  };
  static constexpr Kind kSentKinds[] = {
      {[](const PatchFault& f) { return !IsRefusal(f.code); }, " was not taken", " were not taken"},
      {[](const PatchFault& f) { return IsRefusal(f.code); }, " was refused", " were refused"},
  };
  const bool sends = result_.operation == TransferOperation::kTransmit;
  if (!result_.faults.empty() && result_.faults.front().patch < 0) return "it came damaged and was kept";
  std::string text;
  for (const Kind& kind : sends ? std::span<const Kind>(kSentKinds) : std::span<const Kind>(kKinds)) {
    std::vector<int> patches;
    for (const PatchFault& fault : result_.faults)
      if (fault.patch >= 0 && kind.is(fault)) patches.push_back(fault.patch);
    if (patches.empty()) continue;
    if (!text.empty()) text += ", ";
    text += PatchNumbersText(*synth_, patches) + (patches.size() == 1 ? kind.one : kind.several);
  }
  if (result_.empty.empty()) return text;
  if (!text.empty()) text += ", ";
  text += PatchNumbersText(*synth_, result_.empty) + (result_.empty.size() == 1 ? " is empty" : " are empty");
  return text;
}

}  // namespace tonalith
