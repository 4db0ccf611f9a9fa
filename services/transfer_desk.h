#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"
#include "midi/midi_output.h"
#include "midi/midi_pacing.h"
#include "midi/port_system.h"
#include "platform/jobs.h"
#include "platform/result.h"
#include "script/transfer_engine.h"
#include "services/transfer_sentences.h"

namespace tonalith {

// Where a job of the desk is.  A Get goes from kStarted over kAnswered to kEnded; a send over kHandedOver and
// kLeftPort, and over kAnswered when the instrument said something to it.
enum class DeskState {
  kQueued,      // waits until its ports are free
  kStarted,     // of this step
  kHandedOver,  // the output port has all bytes in its queue
  kLeftPort,    // the output port has sent them
  kAnswered,    // bytes came from the instrument
  kEnded,
};

// How a job, or one step of it, ended.
struct DeskResult {
  TransferFacts::Kind kind = TransferFacts::Kind::kGet;
  bool ok = false;
  TransferCause cause = TransferCause::kNone;
  int code = 0;    // transfer_code of the failure; 0: none
  int patch = -1;  // that failed, from 0; -1: not one patch
  int patchesDone = 0;
  int patchesToDo = 0;   // 0: the whole image at once
  bool changed = false;  // the DataFile holds something new
  int step = 0;          // of a sequence: the last that was begun
  // Of all steps: answers of the instrument that were no; pieces (patches or images) asked for, or sent, again.
  int refusedPieces = 0;
  int retriedPieces = 0;
  std::vector<PatchFault> faults{};  // what of a bank did not come, or was not taken
  // A send patch by patch: the patches that left the port and were not refused, also of one that was ended; when the
  // port went away, without the last that left it.  Of one whose port gave messages up nothing is known.
  std::vector<int> sent{};
  // A Get of a bank that was cancelled: what had come, and was not put into the data (PutPatches does).
  std::shared_ptr<const ReceivedPatches> setAside{};
  std::string sentence;  // UTF-8, one line; also of a success
};

// Of all jobs that have ended.
struct DeskTotals {
  int jobs = 0;
  int failed = 0;
  int refusedPieces = 0;  // that instruments refused
  int retriedPieces = 0;  // that were asked for, or sent, again
  // "12 transfers, 1 of them failed, pieces: 3 refused, 2 repeated"
  std::string Text() const;
};

class DeskJob;

// What happened to a job.
struct DeskEvent {
  enum class Kind { kState, kProgress, kMessage, kStepEnded };
  Kind kind = Kind::kState;
  DeskState state = DeskState::kQueued;
  std::shared_ptr<DeskJob> job;
  std::size_t step = 0;
  int patchesDone = 0;     // of the step, in both directions
  int patchesToDo = 0;     // 0: the whole image at once
  std::int64_t bytes = 0;  // received (a Get) or handed over (a send)
  std::int64_t expected = 0;
  std::string text;   // a line for the message area (single bytes), or the sentence of a state
  DeskResult result;  // kStepEnded and the state kEnded
};

// One message of a file with times.
struct DeskMessage {
  std::uint32_t waitMs = 0;  // the port is silent so long before it
  std::vector<std::uint8_t> bytes;
};

// One transfer of a sequence.  The DataFile stays the caller's (then it, or Abandon, must tell of its end: freeing it
// does) or belongs to the step.
struct DeskStep {
  enum class Kind {
    kGet,
    kSend,
    kMessages,
    kTask,  // work of the caller's on a thread of the desk, while nobody else may use the ports
  };
  Kind kind = Kind::kGet;
  DataFile* dataFile = nullptr;
  std::shared_ptr<DataFile> owned{};    // instead of dataFile
  std::vector<std::uint8_t> patches{};  // one value a patch; empty: the transfer mask of the DataFile, else all
  std::vector<DeskMessage> messages{};  // kMessages
  GetOptions get{};                     // kGet
  TransferPatience patience{};          // kGet, kSend
  TransferPlace place{};                // kGet, kSend
  // kTask: runs until it is done, or soon after the token was cancelled.
  using TaskProgress = std::function<void(int done, int total)>;
  std::function<void(const CancelToken& stop, const TaskProgress& progress)> task{};
  std::optional<MidiPacing> pacing{};  // kSend: instead of the one that is kept for the instrument
  int inPort = -1;                     // slots of open ports; -1: as the DataFile says
  int outPort = -1;                    // kMessages, kTask: needed
  std::string title{};                 // what sentences call it, UTF-8; empty: instrument and data
  std::string note{};                  // a sentence that stands behind that of its end, UTF-8
  // After the step went well, on the owner's thread: a failure ends the sequence with its text.
  std::function<Result(const DeskResult&)> after{};
};

struct DeskRequest {
  std::vector<DeskStep> steps;  // at least one
  int showWindow = 1;           // 0: no window; 2: the second style of the receive window
  bool interrupts = true;       // false: how it ends is told in the status line only, never in a box
  std::string file;             // the parts of this file are sent: name for the sentences
  int inactive = 0;             // parts of it that stayed out
  // When set: asked whenever a step has ended, well or not, on the owner's thread.  Gives a step that follows on the
  // same ports before anybody else; a cancel counts for the step it ended.  Nothing: the job has ended like that step.
  std::function<std::optional<DeskStep>(const DeskResult&)> next{};
  // When set: looks at the result of the whole job before anybody hears of it, on the owner's thread, and may change
  // what its sentence says.
  std::function<void(DeskResult*)> conclude{};
  // Events, in order, on the owner's thread, never from inside a call to the desk.  With a receiver they end with it.
  std::function<void(const DeskEvent&)> observer;
  const Receiver* receiver = nullptr;
  std::string title{};  // what all steps together are; empty: each stands for itself

  static DeskRequest Of(DeskStep::Kind kind, DataFile* dataFile);
};

// A request on its way.  Owner's thread, unless said otherwise.  Handles may outlive the desk.
class DeskJob : public std::enable_shared_from_this<DeskJob> {
 public:
  DeskState state() const { return state_; }
  bool Ended() const { return state_ == DeskState::kEnded; }
  // Of the whole job; meaningful once it has ended.
  const DeskResult& result() const { return result_; }
  std::size_t step() const { return step_; }
  // Its DataFile pointers are null once the data is gone, and after the last event.
  const DeskRequest& request() const { return request_; }
  // The engine's handle of the running step, for windows that show it and press its buttons; null while there is none.
  const std::shared_ptr<Transfer>& transfer() const { return transfer_; }
  bool Sends() const;  // the step is a send

 private:
  friend class TransferDesk;
  class Observer;
  // What a transfer occupies.
  struct Ports {
    std::vector<std::shared_ptr<MidiInPort>> in;
    std::vector<std::shared_ptr<MidiOutPort>> out;
    bool Shares(const Ports& other) const;
    void Add(const Ports& other);
  };

  DeskRequest request_;
  std::optional<Receiver::Token> receiver_;
  PortNumbers::Hold numbers_;  // until it has ended: its steps may name ports by number
  bool silent_ = false;        // nobody is told of it any more
  DeskState state_ = DeskState::kQueued;
  std::size_t step_ = 0;
  int sent_ = 0;  // steps that went well
  int refusedPieces_ = 0;
  int retriedPieces_ = 0;
  Ports ports_;               // while it runs
  PortLeases::Handle lease_;  // of its outputs, as long
  bool cancelled_ = false;
  DeskResult result_;

  // Of the running step.
  std::shared_ptr<Transfer> transfer_;
  std::shared_ptr<MidiOutPort> out_;
  std::uint64_t failedBefore_ = 0;
  std::uint64_t cutBefore_ = 0;
  std::uint64_t postedBefore_ = 0;  // bytes
  std::uint64_t leftBefore_ = 0;
  bool lineAsked_ = false;
  bool begun_ = false;     // bytes were handed to the port
  bool cut_ = false;       // output was stopped before the port had sent it
  bool answered_ = false;  // bytes came
  bool told_ = false;      // (a Get) and the observer was told of them
  TransferResult outcome_;
  CancelToken stop_;     // of the thread
  WorkerThread thread_;  // hands messages over, waits until the port has sent
};

// Where transfers are asked for.
//
// A job is one transfer or a sequence of them.  Its ports (input, output, an automatic patch bay's) are its own from
// its first byte to its end, through all steps; a job whose ports are taken waits, first come, first served, while jobs
// on other ports go on.  Others than jobs who have an output (PortLeases) are waited for too, and refused what they
// send while a job has it.  A send has ended when its port has sent the last byte, and failed when the port went away
// or gave messages up meanwhile.
//
// Threads: everything is called on the thread the dispatcher serves (the owner's), which is also the one the engine
// posts to; events come on it, from the dispatcher's queue.  No call waits for an instrument, except Wait.
class TransferDesk {
 public:
  struct Options {
    // So long the last bytes need from the port's end of sending to the cable's (and instruments to take them in).
    std::int64_t settleMs = 30;
  };

  // What an instrument means by a message with which it refuses data of this type, UTF-8; empty: it is none.
  using RefusalText = std::function<std::string(int driverId, std::span<const std::uint8_t> message)>;
  // Results of jobs say it behind their sentence.
  void SetRefusalText(RefusalText text) { refusalText_ = std::move(text); }

  // All references must outlive the desk.
  TransferDesk(TransferEngine& engine, MidiPortSystem& midi, Dispatcher& dispatcher);
  TransferDesk(const TransferDesk&) = delete;
  TransferDesk& operator=(const TransferDesk&) = delete;
  // Cancels everything, stops what is being sent and joins its threads.  Nobody is told any more.
  ~TransferDesk();

  void SetOptions(const Options& options) { options_ = options; }
  // How long messages are given to an instrument on an output (names in UTF-8).
  using PacingOf = std::function<std::optional<MidiPacing>(const std::string& instrument, const std::string& port)>;
  void SetPacing(PacingOf pacing) { pacingOf_ = std::move(pacing); }
  // Asked before a long send to a port that other programs may send to as well, with a sentence that says so.  False:
  // nothing is sent.  Empty: nobody is asked.
  void SetLineQuestion(std::function<bool(const std::string& warning)> ask) { askLine_ = std::move(ask); }

  using Job = std::shared_ptr<DeskJob>;
  // Never null.  A request that is refused at once (a port is missing, the data is busy, there is nothing to send) has
  // ended when this returns, with its sentence, and its observer hears nothing.
  Job Submit(DeskRequest request);
  Job Get(DataFile* dataFile, std::function<void(const DeskEvent&)> observer = {}, const Receiver* receiver = nullptr);
  Job Send(DataFile* dataFile, std::function<void(const DeskEvent&)> observer = {}, const Receiver* receiver = nullptr);

  // Takes a job out of its queue, or ends it as soon as the transfer and the port let go; `all`: as "Cancel All".
  // A send whose last byte has left the port ends as sent.
  void Cancel(const Job& job, bool all = false);
  void CancelAll();
  // Every job that sends to this output port, running or waiting.
  void CancelSends(int outPort);
  // Before an owner closes: as Cancel, but nothing is put back and nobody told.
  void Abandon(const DataFile* dataFile);

  // For programs without a main loop: runs the dispatcher until the job has ended or the time (ms, -1: none) is over.
  bool Wait(const Job& job, std::int64_t timeoutMs = -1);

  // The ports that data of this kind goes over.
  TransferPorts PortsFor(const DataFile& dataFile, DeskStep::Kind kind) const;
  bool Busy(const DataFile* dataFile) const;  // in a job, also a waiting one
  Job JobOf(const DataFile* dataFile) const;  // null: none
  std::vector<Job> Jobs() const;              // that have not ended, in the order they came
  bool Idle() const { return jobs_.empty(); }
  const DeskTotals& totals() const { return totals_; }
  bool Sends() const;  // a job sends or waits to send

 private:
  friend class DeskJob;
  DeskJob::Ports PortsOf(const DeskStep& step) const;
  DeskJob::Ports PortsOf(const DeskRequest& request) const;
  // Why a step cannot begin; kNone: it can.
  TransferRefusal RefusalOf(const DeskStep& step) const;
  void Pump();
  void BeginStep(const Job& job);
  bool LineIsFree(const Job& job, const DeskStep& step);
  bool BeginTransfer(const Job& job, const DeskStep& step, TransferRefusal* refusal);
  bool BeginMessages(const Job& job, const DeskStep& step, TransferRefusal* refusal);
  bool BeginTask(const Job& job, const DeskStep& step, TransferRefusal* refusal);
  void WatchPort(const Job& job, std::shared_ptr<const std::vector<DeskMessage>> messages);
  void HandedOver(const Job& job, int messages, int total, bool enoughMemory);
  void Answered(const Job& job);
  void Progress(const Job& job, int done, int total);
  void TransferClosed(const Job& job, const TransferResult& result);
  void PortDone(const Job& job);
  void EndStep(const Job& job);
  bool GoOn(const Job& job, const DeskResult& result);
  void EndJob(const Job& job, const TransferFacts& facts, DeskResult result);
  void StopWork(const Job& job, bool all);
  DeskResult ResultOf(const DeskJob& job, const TransferFacts& facts) const;
  static std::vector<int> SentPatches(const DeskJob& job);
  std::string SaidText(const DeskStep& step, const std::vector<std::vector<std::uint8_t>>& answers) const;
  TransferFacts FactsOf(const DeskJob& job) const;
  void Tell(const Job& job, DeskEvent event);
  void TellState(const Job& job, DeskState state, std::string text = {});
  void Post(std::function<void()> call) { dispatcher_.PostTo(receiver_, std::move(call)); }

  TransferEngine& engine_;
  MidiPortSystem& midi_;
  Dispatcher& dispatcher_;
  Options options_;
  PacingOf pacingOf_;
  std::function<bool(const std::string& warning)> askLine_;
  Receiver receiver_;
  std::list<Job> jobs_;  // that have not ended, in the order they came
  DeskTotals totals_;
  RefusalText refusalText_;
  std::list<Job> leaving_;  // that have, until the last event was told
  bool pumping_ = false;
  bool pumpAgain_ = false;
  std::unique_ptr<DataFileWatch> watch_;
};

}  // namespace tonalith
