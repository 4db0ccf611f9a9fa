#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "script/transfer_engine.h"

namespace tonalith {

inline constexpr const char* kMidiIoTitle = "MIDI I/O";  // of boxes about transfers

// Result codes that say that nothing more came.
bool IsSilence(int code);

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
  // Receiving.
  void ReceiveBank();
  bool ReceiveOnePatch(int patch);
  void ReceiveWhole();
  std::span<std::uint8_t> PieceWindow(int patch);
  bool ReceivePiece(int patch);
  // What an attempt to receive a piece gave.
  struct Attempt {
    int code = 0;  // transfer_code, or above 0: it came
    ReceivedState state = ReceivedState::kUnknown;
    std::uint32_t size = 0;
  };
  Attempt TryPiece(int patch, std::span<std::uint8_t> window);
  bool TakeAgreed(const std::vector<std::vector<std::uint8_t>>& readings, int patch, std::span<std::uint8_t> window);
  bool MayAskAgain() const;
  int AttemptsLeft() const;
  bool EndEmpty(const std::vector<std::uint8_t>& former, std::span<std::uint8_t> window);
  bool EndPiece(int patch, const std::vector<std::uint8_t>& former, std::span<std::uint8_t> window);
  bool TakeSize(int patch);
  int RunReceiveScript(int patch, std::span<std::uint8_t> window);
  void NoteCame(int patch);
  void CommitBank();
  void CommitWhole();
  void CommitNothing();
  std::string MissingText() const;

  bool BeginExchange();
  void EndExchange();
  int RunBuiltIn(TransferOperation operation);
  int SendExchange();
  void ReportError(TransferOperation operation, int r);
  std::string ErrorText(int r) const;
  TransferCause CauseOf(TransferOperation operation, int r) const;
  int EntryOf(int patch) const;
  void NoteFailure(int r);
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
  int failure_ = 0;       // the first result that was no success

  // Of the piece that is asked for, or was asked for last.
  Attempt piece_;
  bool keptDamaged_ = false;
  bool silent_ = false;        // the piece before was asked for in vain, and not a byte came
  bool afterSilence_ = false;  // no patch came since one was not answered
  bool damaged_ = false;       // the first failure was a piece that came damaged
};

}  // namespace tonalith
