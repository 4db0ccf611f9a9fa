#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "script/transfer_engine.h"

namespace tonalith {

// What scripts and protocols may change in the descriptor of the data they work on.
void TakeOverDescriptor(DataFile& to, const Synth& from);

// The work of one transfer on its thread: the private copies, the retries, and the handing back of what was received.
class TransferRun {
 public:
  // `direct`: the calling thread owns the DataFile, nothing is posted.
  TransferRun(TransferEngine& engine, std::shared_ptr<Transfer> transfer, bool direct);

  // Copies of the DataFile and its transfer mask.  False when memory is short.
  // `patches`: one value a patch instead of the mask; empty: the mask.
  bool Prepare(const DataFile& dataFile, const std::vector<std::uint8_t>& patches = {});

  void Receive();
  void ReceivePatch(int patch);
  void Transmit();
  void ShortMemory();
  // Frees the DataFile, tells the observer.
  void Finish();

  TransferResult& result() { return result_; }

 private:
  int MidiIODataFileFn(TransferOperation operation, int patch);
  int RunReceiveScript(int patch);
  int ReceiveBuiltIn();
  void ReceiveBank();
  bool ReceiveOnePatch(int patch);
  void ReceiveWhole();
  int CheckReceived(int r, int patch);
  void ReportError(TransferOperation operation, int r);
  std::string ErrorText(int r) const;
  TransferCause CauseOf(TransferOperation operation, int r) const;
  int EntryOf(int patch) const;
  void NoteFailure(int r);
  void CommitPatch(int patch);
  void CommitWhole();
  void CommitNothing();
  void ReportProgress();
  void ReportBytes();
  bool Stopped() const;
  bool Selected(std::uint32_t patch) const { return mask_.empty() || (patch < mask_.size() && mask_[patch] != 0); }
  void Post(std::function<void()> work);

  TransferEngine& engine_;
  std::shared_ptr<Transfer> transfer_;
  TransferContext& context_;
  bool direct_;
  const std::shared_ptr<void> numbers_;  // the ports keep theirs while this runs
  std::shared_ptr<DataFile> copy_;
  Synth* synth_ = nullptr;
  std::vector<std::uint8_t> mask_;
  TransferResult result_;
  bool patchBayAsked_ = false;
  bool missingScript_ = false;
  bool complete_ = true;  // no patch ended the row early
  int failure_ = 0;       // the last result that was no success
};

}  // namespace tonalith
