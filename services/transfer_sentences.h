#pragma once

#include <string>
#include <string_view>

#include "script/transfer_cause.h"
#include "script/transfer_engine.h"

namespace tonalith {

// What a sentence about a transfer is made from.  Texts are UTF-8.
struct TransferFacts {
  // Get, send, the parts of a file that are sent one after the other.
  enum class Kind { kGet, kSend, kFile };
  Kind kind = Kind::kGet;
  std::string what;  // instrument and data ("Yamaha DX7 Voice Bank"), or the name of the file
  TransferCause cause = TransferCause::kNone;
  int code = 0;    // of kCode
  int entry = -1;  // number of the patch that failed, as the user counts; -1: not one patch
  int patchesDone = 0;
  int patchesToDo = 0;       // 0: the whole image at once
  bool begun = false;        // sends: bytes had been handed to the port
  bool portIsInput = false;  // of the port causes: which one
  std::string port;          // name of that port; may be empty
  std::string detail;        // kBusy, kPortMissing, kStopped: the sentence itself
  int partsSent = 0;         // files
  int partsInactive = 0;     // files: parts that are switched off and stayed out
};

// The sentences of window and command line about a transfer, one line each, in UTF-8.
// Before it is over: it waits for its ports, it has begun.
std::string QueuedSentence(const TransferFacts& facts);
std::string StartedSentence(const TransferFacts& facts);
// How it ended; success too.
std::string EndSentence(const TransferFacts& facts);

// "Yamaha DX7 Voice Bank": how sentences call a DataFile.
std::string TransferTitle(const DataFile& dataFile);
// A text of several lines as one sentence with its full stop.
std::string OneSentence(std::string_view text);

}  // namespace tonalith
