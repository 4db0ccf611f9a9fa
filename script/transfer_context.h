#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "data/event.h"
#include "midi/receive_options.h"
#include "platform/cancel_token.h"
#include "script/answer_rules.h"
#include "script/transfer_cause.h"

namespace tonalith {

class EventList;

// State of a transfer as the buttons of the receive window set it.
enum class TransferState : int { Running = 0, Ok = 1, Cancel = 2, CancelAll = 3 };

// Everything one transfer (or one script run outside a transfer) keeps while it runs.  Each transfer has its own, so
// that receives on different ports never disturb each other.  The thread that runs the transfer owns it; fields marked
// atomic may be read (progress, buttons) by any thread.
struct TransferContext {
  // Receive filters and sizes, set by statements, used by the receive primitives.
  MidiPattern acceptPattern;
  bool hasAcceptPattern = false;
  std::vector<MidiPattern> declinePatterns;
  MidiPattern endPattern;
  std::vector<std::uint32_t> acceptedSizes;
  AcceptAny acceptAny = AcceptAny::SysExOnly;  // "SerialMidiInAll"
  std::int64_t receiveTimeoutMs = 0;           // 0: each receive computes its own
  std::uint32_t transmitDelayMs = 0;  // "SerialTransmitDelay": between the messages of one send; 0: the global delay
  bool verifyReceivedSysEx = false;
  bool suppressChecksums = false;
  bool autoConfiguring = false;

  // A request that the next receive sends once it is armed.
  struct Staged {
    std::vector<std::uint8_t> bytes;
    int port = 0;
    bool bare = false;  // data that need not begin with a status byte
  };
  std::optional<Staged> staged;
  bool stagedLost = false;  // one was never sent, because no receive followed

  // How the data of the transfer comes; null: its module does not say.
  std::shared_ptr<const AnswerRules> answers;
  // Taken by the next receive, as the staged request is.
  AwaitedAnswer awaited;
  AnswerHistory history;
  bool endSilence = false;  // with a receive window: an answer that stops in the middle is not waited for without end
  // What the last receive passed over.
  RefusedMessage passedOver;

  int lastOutPort = -1;  // where the last message went; -1: nothing was sent

  std::uint64_t lease = 0;      // of the outputs that the transfer has for itself; 0: none
  std::int64_t patienceMs = 0;  // every receive may be silent so long, whatever its data type says; 0: as that says

  // The ports the transfer began on; when another name is found at their number, they are gone.  Empty: not looked at.
  int inPort = -1;
  int outPort = -1;
  std::string inPortName;
  std::string outPortName;

  // Progress and result of the running transfer.
  std::atomic<std::int64_t> expectedBytes{0};
  std::atomic<std::int64_t> receivedBytes{0};
  std::atomic<std::int64_t> sentBytes{0};
  std::atomic<int> loops{0};  // answers that were the request itself
  std::atomic<int> progressCount{0};
  std::atomic<TransferState> state{TransferState::Running};
  CancelToken wake;    // signalled by the buttons of the receive window: a waiting receive returns at once
  CancelToken cancel;  // quit, window closed, device gone
  bool timedOut = false;
  bool cancelledByPattern = false;
  std::atomic<bool> portGone{false};  // a port of the transfer is not open (any more)
  bool sendFailed = false;            // a message (also a staged one) was not taken by its port
  // What the instrument said to the piece that is being sent: a receive in it ended without an answer, or the answer
  // was no.
  bool unanswered = false;
  bool refused = false;
  int refusedPieces = 0;  // answers that were no
  // The short message that came last where an answer was due, and those that pieces ended with which were not taken,
  // or did not come: what the instrument says, each once.
  std::vector<std::uint8_t> said;
  std::vector<std::vector<std::uint8_t>> noted;
  void NoteAnswer() {
    constexpr std::size_t kMostAnswers = 8;
    if (said.empty() || noted.size() >= kMostAnswers) return;
    if (std::find(noted.begin(), noted.end(), said) == noted.end()) noted.push_back(said);
  }
  int retriedPieces = 0;  // pieces sent again
  // Counts of the output port before the messages that are to be acknowledged; none: not waited for.
  struct Acks {
    std::uint64_t asked = 0, answered = 0, refused = 0;
  };
  std::optional<Acks> acksBefore;
  int retryOnTimeout = 0;  // extra attempts that the script wants at least where nothing is answered
  int attempts = 0;        // a send: how often the first piece that failed went out
  int extraAttempts = 2;   // how often a piece that did not come, was refused or came damaged is asked for again
  int spentAttempts = 0;   // of these, for the piece: by exchanges that failed and by what exchanges asked for again
  bool inDoubt = false;  // what comes from here on may belong to another request: nothing more of the bank is asked for
  std::vector<std::uint8_t> pieceBytes;  // everything that receives stored for the piece that is asked for
  bool receivedSomething = false;
  bool quiet = false;        // no windows, no messages
  bool hasIoWindow = false;  // a receive window shows this transfer

  // Patch-by-patch counters ("getRecv..." statements).
  bool transferRunning = false;
  bool patchByPatch = false;
  int patchesToDo = 0;
  std::atomic<int> patchesDone{0};
  std::atomic<int> currentPatch{0};
  bool firstPatch = false;
  bool lastPatch = false;
  bool stopBankLoop = false;
  TransferCause sendCause = TransferCause::kNone;  // of the first piece that was not taken
  // Patches of a transmission that failed, with the code, or were not begun (0), in order.
  std::vector<std::pair<int, int>> notTaken;
  std::string scriptStop;

  // Called on the transfer's thread after every patch of a transmission, from 0; may be empty.
  std::function<void(int patch)> patchDone;

  // While set, messages and delays are appended here instead of being performed.
  EventList* recording = nullptr;  // script/transfer_engine_events.h

  // Texts for the receive window's message area; may be empty.
  std::function<void(const std::string& text)> display;
};

}  // namespace tonalith
