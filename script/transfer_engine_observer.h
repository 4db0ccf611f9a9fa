#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "script/protocols/built_in_protocols.h"
#include "script/transfer_cause.h"
#include "script/transfer_context.h"
#include "script/transfer_view.h"

namespace tonalith {

// A patch that did not come as it should, or was not taken.
struct PatchFault {
  int patch = -1;     // from 0
  int code = 0;       // transfer_code of the last attempt; 0: it was not asked for, or sent, any more
  bool kept = false;  // damaged, and kept all the same
};

// A patch of a bank as it came.
struct ReceivedPatch {
  int patch = 0;
  std::vector<std::uint8_t> bytes;
  bool damaged = false;
  bool empty = false;  // the instrument holds nothing in this place
};
using ReceivedPatches = std::vector<ReceivedPatch>;

// A patch of a transmission that the output port has taken, and was not refused.
struct HandedPatch {
  int patch = -1;           // from 0
  std::uint64_t bytes = 0;  // PostedBytes of the port behind it
};

// How a transfer ended.
struct TransferResult {
  TransferOperation operation = TransferOperation::kReceive;
  // Receives: 1 data was received (patch by patch: at least one patch), 0 none.  Transmissions: the result of the last
  // message or script (0 or negative: failed, see ok).
  int result = 0;
  int code = 0;  // the transfer_code of the first failure; 0: none
  bool ok = false;
  TransferState state = TransferState::Running;  // the button that ended it
  int patchesDone = 0;
  int patchesToDo = 0;                         // 0: the whole image at once
  bool changed = false;                        // the DataFile holds something new
  TransferCause cause = TransferCause::kNone;  // kNone when ok
  int patch = -1;                              // the first that failed, from 0; -1: none, or not one patch
  std::string number;                          // the same as the instrument numbers it, single bytes
  // Of the first piece (patch or image) that failed: how often it was tried, and whether anything came for it.
  int attempts = 0;
  bool answered = false;
  int refusedPieces = 0;            // answers of the instrument that were no
  int retriedPieces = 0;            // pieces asked for, or sent, again
  std::vector<PatchFault> faults;   // what of a bank did not come, or was not taken, in order
  std::vector<HandedPatch> handed;  // a transmission patch by patch, in order
  // Of a bank whose receive was cancelled: what had come, and was not put into the data; null: nothing.
  std::shared_ptr<const ReceivedPatches> setAside{};
  std::vector<int> empty;  // patches whose places in the instrument hold nothing: no faults
  std::string missing;     // both in words, single bytes: "64 is missing"; empty: nothing is
  // For sentences, single bytes: instrument and data.
  std::string what;
  std::vector<std::vector<std::uint8_t>> answers;  // what the instrument said where an answer was due; ok: none
  std::string scriptStop;                          // ScriptStopText of the script that was stopped; empty: none was
  std::string port;                                // UTF-8: the port of a port cause; empty: it has none
  // UTF-8: of a receive that failed, the output whose requests came back on the input; empty: none did.
  std::string loopFrom;
};

// What a window or the command line sees of one transfer.  Calls come, one at a time and in order, on the thread that
// the engine's poster brings them to, or on the transfer's own thread when there is no poster.  Texts are single bytes
// (instrument names are Latin-1).
class TransferObserver {
 public:
  virtual ~TransferObserver() = default;
  // First call, on the thread that starts the transfer.  showWindow as requested (0: none, 2: the second style).
  virtual void opened(const ReceiveWindowView& view, int showWindow) { (void)view, (void)showWindow; }
  virtual void progress(int done, int total) { (void)done, (void)total; }
  virtual void bytes(std::int64_t received, std::int64_t expected) { (void)received, (void)expected; }
  // A line for the message area.
  virtual void message(const std::string& text) { (void)text; }
  // Last call: the DataFile is free again and holds what was received.
  virtual void closed(const TransferResult& result) { (void)result; }
};

}  // namespace tonalith
