#include "script/transfer_engine_run.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "data/number_format.h"
#include "platform/log.h"
#include "platform/text.h"
#include "script/interpreter.h"
#include "script/services_line.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kManualPatchBay = 2;
constexpr std::string_view kDamagedText = "ERROR! SysX data came damaged!";

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
  synth_->sysExChannel = transfer_->synth_.sysExChannel;
  synth_->patchNumber = transfer_->synth_.patchNumber;
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

// What every exchange begins and ends with; false: it cannot begin.
bool TransferRun::BeginExchange() {
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
  return !Stopped();
}

void TransferRun::EndExchange() {
  engine_.MidiPBayRevert(*synth_, context_);
  context_.acceptAny = AcceptAny::SysExOnly;
}

int TransferRun::RunBuiltIn(TransferOperation operation) {
  ServicesLine line(engine_.services(), context_, synth_->midiInPort, synth_->midiOutPort);
  const int r = BuiltInProtocols(line).MidiIO(operation, ByteWindow(copy_->body, copy_->bodySize), *synth_);
  return Stopped() ? std::min(r, 0) : r;
}

int TransferRun::SendExchange() {
  int r = 0;
  const bool scripted = UsesCommandSequence(*synth_);
  if (BeginExchange()) {
    TransferEngine::Sending sending{*copy_, *synth_, context_, true};
    r = engine_.SendAll(sending, mask_);
    missingScript_ = sending.missingScript;
    if (!scripted && Stopped()) r = std::min(r, 0);
  }
  if (scripted) ReportError(TransferOperation::kTransmit, r);
  EndExchange();
  return r;
}

std::string TransferRun::ErrorText(int r) const {
  std::string text(piece_.state == ReceivedState::kDamaged ? kDamagedText : MidiErrorMsg(r));
  if (!context_.scriptStop.empty()) text = "The script was " + context_.scriptStop + "!";
  if (text.empty()) return text;
  text += result_.operation == TransferOperation::kReceive ? "\r\nwhen receiving a " : "\r\nwhen sending a ";
  text += FieldText(synth_->shortName) + " " + FieldText(synth_->typeName);
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
  if (receive && result_.patchesDone > 0) return TransferCause::kIncomplete;
  if (receive && transfer_->startedAtPanel_ && IsSilence(r)) return TransferCause::kNotStarted;
  if (receive && damaged_) return TransferCause::kDamaged;
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
  if (synth_) result_.missing = MissingText();
  result_.refusedPieces = context_.refusedPieces;
  result_.retriedPieces = context_.retriedPieces;
  if (!result_.ok) result_.scriptStop = context_.scriptStop;
  if (!result_.ok) result_.answers = context_.noted;
  result_.port = result_.operation == TransferOperation::kReceive ? transfer_->inPortName_ : transfer_->outPortName_;
  if (context_.loops > 0 && !result_.ok) result_.loopFrom = transfer_->outPortName_;
  if (result_.ok) result_.patch = -1;
  if (result_.patch >= 0 && synth_) result_.number = TrimmedView(MakeNumberStr(*synth_, result_.patch));
  context_.transferRunning = false;
  context_.patchByPatch = false;
  Post([transfer = transfer_, result = result_, copy = std::move(copy_)]() mutable {
    copy.reset();
    {
      std::lock_guard guard(transfer->mutex_);
      transfer->dataFile_ = nullptr;
      transfer->result_ = result;
      transfer->lock_.Release();
      transfer->lease_.reset();
    }
    if (transfer->observer_) transfer->observer_->closed(result);
    std::lock_guard guard(transfer->mutex_);
    transfer->over_ = true;
    transfer->changed_.NotifyAll();
  });
}

}  // namespace tonalith
