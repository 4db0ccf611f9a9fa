#pragma once

#include <string>
#include <string_view>

#include "script/transfer_cause.h"
#include "script/transfer_engine.h"

namespace tonalith {

// What a sentence about a transfer is made from.  Texts are UTF-8.
struct TransferFacts {
  enum class Kind {
    kGet,
    kSend,
    kFile,  // the parts of a file that are sent one after the other
  };
  Kind kind = Kind::kGet;
  std::string what;  // instrument and data ("Yamaha DX7 Voice Bank"), or the name of the file
  TransferCause cause = TransferCause::kNone;
  int code = 0;           // of kCode
  std::string patch;      // that failed, as the instrument numbers it; empty: not one patch
  int attempts = 0;       // at what failed
  bool answered = false;  // bytes came for it
  int patchesDone = 0;
  int patchesToDo = 0;    // 0: the whole image at once
  bool begun = false;     // sends: bytes had been handed to the port
  std::string port;       // of a port cause; may be empty
  std::string detail;     // the sentence of kPortMissing, kPortInUse, kStopped; of kBusy "running" or "waiting", of
                          // kScriptStopped ScriptStopText
  std::string missing;    // of a bank: "3, 7 and 64 are missing"; empty: nothing is
  std::string loopFrom;   // a Get: the output whose requests came back on `port`; empty: none did
  bool atPanel = false;   // a Get waits until the dump is started on the instrument
  int messages = 0;       // of a MIDI file that is sent message by message
  int partsSent = 0;      // files
  int partsInactive = 0;  // files: parts that are switched off and stayed out
};

// The sentences of window and command line about a transfer: one line each, in UTF-8, with a full stop or mark.
// It waits for its ports; it has begun; it is over (whether well or not).
std::string QueuedSentence(const TransferFacts& facts);
std::string StartedSentence(const TransferFacts& facts);
std::string EndSentence(const TransferFacts& facts);

TransferFacts FactsOf(const TransferResult& result);

// "Ardour" and others may send to the port a long dump goes to.
std::string SharedLineSentence(const std::vector<std::string>& others, const std::string& port);

// "Yamaha DX7 Voice Bank": how sentences call a DataFile.
std::string TransferTitle(const DataFile& dataFile);
// A text of several lines as one sentence with its full stop.
std::string OneSentence(std::string_view text);

}  // namespace tonalith
