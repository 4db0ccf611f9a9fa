#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "midi/midi_output.h"
#include "platform/clock.h"
#include "platform/prompts.h"
#include "script/received_check.h"
#include "script/script_services.h"
#include "script/transfer_engine_lock.h"
#include "script/transfer_engine_observer.h"
#include "script/transfer_view.h"

namespace tonalith {

class TransferEngine;

// Text of a negative result code (-1 to -15); empty for other values.
std::string_view MidiErrorMsg(int code);

// What transfers ask the program's settings and windows.
class TransferPreferences {
 public:
  virtual ~TransferPreferences() = default;
  virtual int PatchBayDelay() const { return 2; }            // tenths of a second
  virtual bool AskPatchNumber() const { return false; }      // MainPchPopupSelect
  virtual bool ShowTransmitWindow() const { return false; }  // initial value of the setting
  // The patch selector; nullopt: cancelled.
  virtual std::optional<int> SelectPatchNumber(const std::string& title, int current, int minimum, int maximum);
  virtual int ExtraAttempts() const { return 2; }   // for a piece that did not come, was refused or is damaged
  virtual bool ReadTwice() const { return false; }  // data without checksums is read twice and compared
  // What is known about received data of this type, on the owner's thread; null: no more than the descriptor says.
  virtual std::shared_ptr<const ReceivedCheck> CheckOf(const DataFile& dataFile) const;
  // A DataFile was sent (ZKBasicsSentDataFile), on the owner's thread.
  virtual void SentDataFile(DataFile* dataFile) { (void)dataFile; }
};

// How a receive is done, beside what the preferences say.
struct GetOptions {
  bool twice = false;        // as ReadTwice
  bool keepDamaged = false;  // damaged data is kept, and marked (MarkDamaged)
};

// How long an instrument is waited for, in both directions.
struct TransferPatience {
  int extraAttempts = -1;     // at a piece that failed; -1: as the preferences say
  std::int64_t answerMs = 0;  // silence before an answer counts as missing; 0: as the data type says
  bool forUser = true;        // what a window shows is waited for until the user gives up, or the first of it came
};

// Another place than the one the DataFile names, for one transfer; the DataFile keeps its own.
struct TransferPlace {
  int device = -1;       // SysEx channel, from 0; -1: that of the DataFile
  int patchNumber = -1;  // of a single patch in the instrument; -1: that of the DataFile
};

// One transfer from its start to its end.  Handles may outlive it.  Any thread.
class Transfer : public std::enable_shared_from_this<Transfer> {
 public:
  int id() const { return id_; }
  TransferOperation operation() const { return operation_; }
  int inPort() const { return synth_.midiInPort; }
  int outPort() const { return synth_.midiOutPort; }

  bool Running() const;
  // Milliseconds; -1: until it is over.  True when it is over.  Not for the thread that the engine's poster serves.
  bool Wait(std::int64_t timeoutMs = -1) const;
  // Meaningful once it is over (Running() is false).
  TransferResult Result() const;

  // A button of the receive window: "Ok" keeps what arrived, "Cancel" ends this transfer, "Cancel All" also a row of
  // them.  Nothing once it is over.
  void Press(TransferState button);
  // As "Cancel", for a vanished owner or the end of the program.
  void Cancel();
  // Bytes had arrived when a button was pressed.
  bool ReceivedSomething() const { return receivedSomething_.load(); }

  // A copy of the data with the patches that came until now put in, as they will be at the end; null while nothing of
  // a bank came, and once it is over.  On the thread that owns the data.
  DataFilePtr SoFar() const;

  ReceiveWindowState WindowState() const;
  ReceiveWindowView View() const { return MakeReceiveView(WindowState()); }

 private:
  friend class TransferEngine;
  friend class TransferRun;
  explicit Transfer(Clock& clock) : clock_(clock), changed_(clock) {}

  Clock& clock_;
  int id_ = 0;
  TransferOperation operation_ = TransferOperation::kReceive;
  std::shared_ptr<TransferObserver> observer_;
  int showWindow_ = 0;
  bool direct_ = false;  // on the owner's thread
  Synth synth_{};        // as it was at the start
  std::string what_;     // instrument and data
  std::string inPortName_;
  std::string outPortName_;
  PortLeases::Handle lease_;  // of the outputs; until the transfer is over
  GetOptions get_;
  bool startedAtPanel_ = false;                 // the instrument is not asked
  std::shared_ptr<const ReceivedCheck> check_;  // receives; never null then
  TransferContext context_;                     // of the transfer's thread, but for its atomics and tokens
  std::atomic<bool> receivedSomething_{false};
  std::atomic<int> patchesToDo_{0};
  std::atomic<bool> finished_{false};  // the work is done; `closed` may still be under way to the owner

  mutable std::mutex mutex_;  // what follows
  mutable WaitPoint changed_;
  DataFile* dataFile_ = nullptr;  // null once the owner released it
  std::vector<std::string> messages_;
  ReceivedPatches came_;  // of a bank, until now
  TransferResult result_;
  bool over_ = false;
  TransferLock lock_;
  WorkerThread thread_;
};

// Open ports by number instead of those the DataFile names; -1: those.
struct PortChoice {
  int in = -1;
  int out = -1;
};

// Numbers of the open ports that a transfer uses; -1: none.
struct TransferPorts {
  int in = -1;
  int out = -1;
  int patchBay = -1;  // when it is switched by the program
};

// Why nothing was started.  The text is a sentence about a busy port, a missing port or busy data; else empty.
struct TransferRefusal {
  TransferCause cause = TransferCause::kNone;
  std::string text;
};

struct TransferRequest {
  TransferOperation operation = TransferOperation::kReceive;
  DataFile* dataFile = nullptr;                // the caller's; busy until `closed`
  std::shared_ptr<TransferObserver> observer;  // who asks; null: nobody is told
  int showWindow = 0;                          // 0: no window; 2: the window's second style
  bool quiet = false;                          // no windows, no messages; on the caller's thread
  bool background = false;                     // transmissions: on a thread of their own
  PortChoice ports{};
  std::vector<std::uint8_t> patches{};  // one value a patch; empty: the transfer mask of the DataFile
  GetOptions get{};
  TransferPatience patience{};
  TransferPlace place{};
  PortLeases::Handle lease{};  // of the outputs, when the asker has them; null: the transfer takes them itself
};

// Gets DataFiles from instruments and sends them.
//
// A receive works on copies: descriptor, image and maps of the DataFile are taken when it starts, and only what was
// received completely is put back, at the end.  Of a bank received patch by patch that is also what came before a
// failure; a cancelled receive, and the failed one of a whole image, leave the former data as it was.  While a transfer
// runs the DataFile is busy (locks()).  When it is freed meanwhile, the transfer ends by itself and puts nothing back.
//
// Threads: MidiIODataFile, MidiSendDataFile and the other starting functions are called on the thread that owns the
// DataFile.  Receives run on a thread of their own.  With a poster, what they put back and what observers see goes
// through it to the owner's thread; without one it happens on the transfer's thread.
class TransferEngine {
 public:
  using Poster = std::function<void(std::function<void()>)>;

  // All references must outlive the engine.  `out` may be null: then nothing is known about the progress of
  // transmissions.
  TransferEngine(ScriptServices& services, Prompts& prompts, MidiOut* out = nullptr,
                 TransferPreferences* preferences = nullptr, Poster poster = {});
  TransferEngine(const TransferEngine&) = delete;
  TransferEngine& operator=(const TransferEngine&) = delete;
  ~TransferEngine();  // cancels and joins every transfer

  // Starts a receive, or transmits, or renders a transmission into dataFile->eventList (operation 2).
  // 0: refused, cancelled in a dialog or failed.  Receives: 1 = started (quiet: what it gave).  Transmissions: the
  // result of MidiIODataFileFn, or 1 when started in the background.  `started` receives the handle, also of a transfer
  // that is over already.  `refusal`: gets why nothing was started; without it the user is told.
  int MidiIODataFile(const TransferRequest& request, std::shared_ptr<Transfer>* started = nullptr,
                     TransferRefusal* refusal = nullptr);
  // The same in the described form.  `done` is called once the transfer is over; empty: not called.
  int MidiIODataFile(std::shared_ptr<TransferObserver> requester, TransferOperation operation, DataFile* dataFile,
                     int showWindow, std::function<void()> done = {});
  // One complete transfer on the calling thread; patchIndex -1: the whole image, else one patch of a patch-by-patch
  // receive.  Receives give 1 or 0.
  int MidiIODataFileFn(TransferOperation operation, DataFile* dataFile, int patchIndex = -1);

  // Transmits all of a DataFile, patch by patch where its type asks for it: the patches of the transfer mask that hold
  // data.  The last result; -1 when there is nothing to send
  // or the DataFile is busy.
  int MidiSendDataFileAll(DataFile* dataFile);
  // Transmits a DataFile or, with a patch buffer inside its body, one patch.  flags: 1 first, 2 last patch.  -1: there
  // is no SysEx to send; 0: no transmit script; else the result of the script or of MidiSend.
  int MidiSendDataFile(DataFile* dataFile, int patchIndex, int flags, std::uint8_t* patchBuffer);
  // The built-in ways, on the ports of the descriptor (see BuiltInProtocols).
  int MidiIO(TransferOperation operation, std::span<std::uint8_t> buffer, Synth& synth);
  int MidiSend(const Synth& synth, std::span<std::uint8_t> buffer);
  int MidiSendNoMsg(const Synth& synth, std::span<std::uint8_t> buffer);

  // Switches an external patch bay to the instrument, and back.  False: the user cancelled.
  bool MidiPatchBay(const Synth& synth, TransferContext& context);
  void MidiPBayRevert(const Synth& synth, TransferContext& context);
  // Asks for the patch number where that is wanted; 0: cancelled.
  int GetNewPchNumber(DataFile* dataFile, TransferOperation operation);

  // Why the DataFile cannot be transferred now: the sentence about its port that is not open; empty: nothing is
  // missing. A DataFile that names its ports is transferred on the ports of those names, whatever their numbers have
  // become; with a named port missing, transfers are refused with this sentence and nothing goes to another port.
  std::string MissingPort(const DataFile& dataFile, TransferOperation operation, const PortChoice& choice = {}) const;
  // The ports a transfer of the DataFile would use now.
  TransferPorts PortsOf(const DataFile& dataFile, TransferOperation operation, const PortChoice& choice = {}) const;

  // --- Who is busy ---
  TransferLocks& locks() { return locks_; }
  bool Busy(const DataFile* dataFile) const { return locks_.Busy(dataFile); }
  PortsInUse& portsInUse() { return portsInUse_; }
  void ClearPortReceiveState(int port) { portsInUse_.ClearPortReceiveState(port); }
  std::vector<std::shared_ptr<Transfer>> Running() const;
  std::shared_ptr<Transfer> TransferOf(const DataFile* dataFile) const;  // null: not in transfer
  bool ReceiveRunning() const;
  // Before an owner closes: cancels the transfer of the DataFile and forgets about it; nothing is put back any more.
  void Abandon(const DataFile* dataFile);
  // A port is no longer there: every transfer on it ends with a sentence.
  void PortGone(MidiDirection direction, int port);
  void CancelAll();

  // --- The transmit window ---
  // Opens it for a port when the setting is on and the port valid, or updates the total of the one that is open.
  void OpenZKMidiOutStatus(int port, std::uint32_t total);
  int ShowTransmitWindow(int show = -1);
  bool TransmitWindowOpen() const;
  void SetTransmitStayOpen(bool stay);
  TransmitWindowState TransmitState() const;
  // The window is gone, or its Cancel was pressed: then the port's output stops too.
  void CloseTransmitWindow();
  void CancelTransmit();
  // Stops the output of the flagged ports (as listed by OUTNUMPORTS) and cancels transmissions on them.
  void StopOutput(const std::vector<bool>& ports);
  // Called when a window is wanted, on the thread the poster serves.  Set on it.
  void SetTransmitWindowOpener(std::function<void()> open) { openTransmitWindow_ = std::move(open); }

  ScriptServices& services() { return services_; }
  Clock& clock() { return clock_; }

 private:
  friend class TransferRun;

  int StartReceive(const TransferRequest& request, std::shared_ptr<Transfer>* started, TransferRefusal* refusal);
  int StartTransmit(const TransferRequest& request, std::shared_ptr<Transfer>* started, TransferRefusal* refusal);
  // The outputs of a transfer for itself alone.  False, with the sentence, when somebody else has one of them.
  bool TakeOutputs(const Synth& synth, PortLeases::Handle* lease, std::string* taken) const;
  // The same for what is sent on the calling thread: the user is told.
  bool TakeOutputs(const Synth& synth, PortLeases::Handle* lease, TransferContext& context);
  // Tells the asker, or else the user.  0.
  int Refuse(const TransferRequest& request, TransferRefusal* refusal, TransferCause cause, const std::string& text);
  int Render(DataFile* dataFile);
  // The number of the open port of that name, 255: none; without a name the number as it is.
  int OpenPortNamed(MidiDirection direction, const std::string& name, int number) const;
  // Puts the numbers of the named ports into the descriptor; a sentence when one that is needed is not open.
  std::string RoutePorts(const DataFile& dataFile, TransferOperation operation, Synth& synth,
                         const PortChoice& choice = {}) const;
  // The descriptor for a transmission on the calling thread; nullopt: refused, and the user was told.
  std::optional<Synth> RoutedDescriptor(const DataFile& dataFile);
  std::shared_ptr<Transfer> Create(const TransferRequest& request, TransferRefusal* refusal = nullptr);
  void ShowMessagesOf(const std::shared_ptr<Transfer>& transfer);
  void Launch(const std::shared_ptr<Transfer>& transfer, std::function<void()> work);
  void Post(std::function<void()> work);
  void Reap();
  // What is sent, and what comes of it.
  struct Sending {
    DataFile& dataFile;
    Synth& synth;
    TransferContext& context;
    bool withModes = false;      // the maker's messages around the data as well
    bool missingScript = false;  // out: there is no transmit script
  };
  // mask: one value a patch; without data: all patches.
  int SendAll(Sending& sending, std::span<const std::uint8_t> mask);
  int SendPiece(Sending& sending, int patchIndex, int flags, std::int64_t patchOffset);
  int SendPart(Sending& sending, int patchIndex, int flags, std::int64_t patchOffset);
  bool SendEnded(const TransferContext& context) const;
  void SayNoScript();

  ScriptServices& services_;
  Prompts& prompts_;
  MidiOut* out_;
  TransferPreferences defaultPreferences_;
  TransferPreferences* preferences_;
  Poster poster_;
  Clock& clock_;
  TransferLocks locks_;
  PortsInUse portsInUse_;

  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<Transfer>> transfers_;
  int nextId_ = 1;
  std::unique_ptr<DataFileWatch> watch_;
  struct PosterGate;
  std::shared_ptr<PosterGate> gate_;  // closed by the destructor: nothing posted runs afterwards

  mutable std::mutex transmitMutex_;
  TransmitWindowState transmit_;
  int showTransmitWindow_ = 0;
  std::function<void()> openTransmitWindow_;
};

// Puts patches into a bank as a receive of them does.
void PutPatches(DataFile& to, const ReceivedPatches& came);
bool HoldsNothing(const DataFile& dataFile);
// What a data type's flags say about its transfers.
bool PatchAddressable(const Synth& synth);  // single patches can be sent and received
bool UsesCommandSequence(const Synth& synth);
// Why nobody else may send there now.
std::string PortTakenText(const std::string& port);
// "%s" of messages: the instrument's name.
std::string TransferInstrumentName(const DataFile& dataFile);

}  // namespace tonalith
