#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "midi/backend.h"
#include "midi/midi_pacing.h"
#include "midi/port_lease.h"
#include "midi/port_numbers.h"
#include "midi/receive_options.h"
#include "platform/clock.h"
#include "platform/message_numbers.h"
#include "platform/prompts.h"

namespace tonalith {

class MidiOut;
class PortMap;

inline constexpr int kMaxMidiPorts = 256;
inline constexpr std::uint32_t kMidiWireRate = 3125;  // bytes a second on a MIDI cable
inline constexpr std::size_t kMaxAckPattern = 256;
inline constexpr std::size_t kMaxQueuedOutput = 64u << 20;  // bytes that may wait for one port

// One message to a port's thread.
struct MidiOutMessage {
  OutputPortMessage number = OutputPortMessage::None;
  std::uint64_t wParam = 0;
  std::uint64_t lParam = 0;
  std::vector<std::uint8_t> bytes;
  bool more = false;        // further pieces of the same message follow
  bool split = false;       // one of several pieces
  bool live = false;        // goes before what waits of a transfer, but not into a SysEx
  std::uint64_t lease = 0;  // in which it was sent; 0: in none
};

// A device to open: the backend that has it and what it says of it.  The backend outlives every open port.
struct MidiPortDevice {
  std::shared_ptr<MidiBackend> backend;
  MidiDeviceInfo info;
};

// What became of the messages that were sent with a wait for their acknowledgement, since the port was opened.
struct AckCounts {
  std::uint64_t asked = 0;
  std::uint64_t answered = 0;
  std::uint64_t refused = 0;       // the rest: nothing came in time
  std::vector<std::uint8_t> last;  // the answer that came last, whether yes or no
};

// True when `message` matches an acknowledge pattern: byte by byte from the start, 0xFF in the pattern fits any byte,
// until an equal 0xF7 is reached.  A pattern or message that ends before that does not match.
bool MatchesAck(std::span<const std::uint8_t> pattern, std::span<const std::uint8_t> message);
// True for the other word of the same sign: a message as long as the pattern that differs from it in one byte, which is
// neither the maker's nor the one at `device`.  Families say "taken" and "not taken" so.
bool RefusesAck(std::span<const std::uint8_t> pattern, std::span<const std::uint8_t> message, std::size_t device);

// One open output with its sending thread.  Counters and flags may be read by any thread.
class MidiOutPort {
 public:
  MidiOutPort(MidiOut& owner, MidiPortDevice device, std::unique_ptr<MidiOutputHandle> handle, int slot);
  MidiOutPort(const MidiOutPort&) = delete;
  MidiOutPort& operator=(const MidiOutPort&) = delete;
  virtual ~MidiOutPort();

  const std::string& name() const { return device_.info.name; }
  const MidiPortDevice& device() const { return device_; }
  int slot() const { return slot_.load(); }
  void SetSlot(int slot) { slot_.store(slot); }

  void StartThread();
  bool HasThread() const { return hasThread_.load(); }

  // True while a long message is on its way, messages wait, or a delay runs.
  virtual bool isBusy() const;
  // Drops what is queued, gives up the message that is being sent and lets the port go on with what is posted after
  // this call.  A SysEx that is cut in its middle is ended with F7, and the port is silent for a moment after it.
  virtual void StopTransmit();
  // Queues one message, or collects it in queue mode.  False when the port is closed.
  virtual bool SendMessage(OutputPortMessage message, std::uint64_t wParam, std::uint64_t lParam,
                           std::vector<std::uint8_t> bytes = {});
  // Ends queue mode and sends what was collected.
  virtual bool OutputQueue();

  // Queues the pieces of one message so that nothing comes between them.  When more than kMaxQueuedOutput bytes wait:
  // waits for room when `mayWait`, ended by stop, close or `cancel`.  False when the message was not taken.
  bool PostPieces(std::vector<MidiOutMessage> pieces, bool mayWait, const CancelToken* cancel);
  // A short message that somebody plays: never waits, and is not counted as posted.  While a transfer has the port it
  // goes out as soon as the SysEx that is being sent has ended, else behind what was sent before.
  bool PostLive(std::uint64_t packed);

  // The transfer that alone may send data here; 0: everybody may.  PortLeases sets it.
  std::uint64_t lease() const { return lease_.load(); }
  void SetLease(std::uint64_t id) { lease_.store(id); }

  void SetWriteToQueue(bool on) { writeToQueue_.store(on); }
  bool GetWriteToQueue() const { return writeToQueue_.load(); }

  // Clears `busy`; 1 while a long message is sent and once after a short message, else 0.
  int GetActive();
  // What is queued is sent first when that takes less than about a second.
  void ClosePort();
  // Ends the thread and forgets the handle of a device that is gone.
  void ShutDownPort();

  // False once the device went away or the port was closed.
  bool Alive() const;

  void SetSpeed(std::uint32_t bytesPerSecond);
  std::uint32_t speed() const { return speed_.load(); }
  void SetMaxSysExSpeed(std::uint32_t bytesPerSecond);  // 0: no limit of its own
  std::uint32_t EffectiveRate() const;                  // 0: not paced
  // In place of the settings of the program, for everything that is sent from now on; none: these again.
  void SetPacing(const std::optional<MidiPacing>& pacing);
  std::optional<MidiPacing> Pacing() const;

  std::uint32_t queuedBytes() const { return queuedBytes_.load(); }
  std::uint32_t sentBytes() const { return sentBytes_.load(); }
  std::uint32_t countedBytes() const { return countedBytes_.load(); }
  bool counting() const { return counting_.load(); }
  bool stopping() const { return stopping_.load(); }
  bool sleeping() const { return sleeping_.load(); }
  int state() const { return state_.load(); }
  bool waitForAck() const { return waitForAck_.load(); }
  AckCounts Acks() const;
  std::uint64_t cutSends() const;        // how often StopTransmit found something to stop
  std::uint64_t failedMessages() const;  // given up since the port was opened
  std::string lastFailure() const;       // why the last of them was; a sentence
  std::uint64_t TotalBytes() const;      // that left since the port was opened
  // Bytes of messages that were ever queued, and how many of these have left; neither counts what is played, nor what
  // the port adds by itself.
  std::uint64_t PostedBytes() const;
  std::uint64_t PostedBytesLeft() const;
  std::uint64_t Reconnects() const;  // of its connection, where the MIDI system lets others cut it
  // Bytes of the modal count including an estimate for the message that is being sent.
  std::uint32_t ProgressBytes() const;

  // Times a note of a channel was switched on and not off again.
  int NoteStatus(int channel, int note) const;
  void UpdateNoteStatus(std::span<const std::uint8_t> message);

  // Waits until nothing is queued and the last byte has left; false on timeout (ms, -1: none), cancel, or a port that
  // is gone.
  bool WaitIdle(std::int64_t timeoutMs, const CancelToken* cancel);
  // Messages (delays included) that were ever queued, and how many of them are done with.
  std::uint64_t PostedMessages() const;
  std::uint64_t HandledMessages() const;
  // The same of messages whose bytes begin to leave; takes no lock.
  std::uint64_t BegunMessages() const { return begun_.load(); }

 private:
  friend class MidiOut;
  struct Shared;
  struct LongSend;

  // What the thread may wait for besides time.
  enum class Cut { Stop, StopOrForceExit };

  void Thread();
  bool ProcessMsg(MidiOutMessage message);
  void ProcessDelay(std::int64_t untilUs);
  void ProcessLive(const MidiOutMessage& message);
  void ProcessShort(const MidiOutMessage& message);
  void ProcessLong(MidiOutMessage message);
  void ProcessAckOn(MidiOutMessage message);
  void DrainCollected();
  void FinishMessage();
  bool Post(MidiOutMessage message);
  MidiSent Report(std::shared_ptr<LongSend> send, std::size_t length, bool posted);
  // `posted`: the bytes are of a message of the queue.
  Result HandOver(const std::shared_ptr<LongSend>& send, std::span<const std::uint8_t> piece, bool posted);
  Result HandOverWithRetries(const std::shared_ptr<LongSend>& send, std::span<const std::uint8_t> piece,
                             std::int64_t& startUs);
  Result HandOverPaced(const std::shared_ptr<LongSend>& send, std::span<const std::uint8_t> bytes, std::uint32_t rate,
                       std::int64_t& startUs);
  void WaitForAckOrTimeout();
  bool WaitDone(LongSend& send, std::int64_t deadlineUs);
  Result FateOf(LongSend& send);
  void AwaitRoom();
  void CutOff();
  void FinishSending(std::int64_t startUs);
  bool Idle() const;          // mutex_ held
  MidiOutMessage TakeNext();  // mutex_ held
  void EndSysEx();
  void BeginClosing();
  void Account(std::size_t length);
  void SysXSleep(std::size_t length, std::int64_t startUs, std::uint32_t rate);
  bool Interrupted() const { return stopping_.load() || closing_.load(); }
  // Sleeps; ends early on stop and close, and on force-exit when asked.
  void PauseUntil(std::int64_t deadlineUs, Cut cut);
  Result SendShortNow(std::span<const std::uint8_t> message);
  void SendSynchronously(std::span<const std::uint8_t> data, std::size_t chunk);
  void EndThread();
  void Failed(const Result& result, std::size_t length);

  MidiOut& owner_;
  MidiPortDevice device_;
  Clock& clock_;
  mutable std::mutex handleMutex_;  // the handle takes one thread at a time
  std::unique_ptr<MidiOutputHandle> handle_;
  std::atomic<int> slot_;
  std::array<std::array<std::atomic<std::uint16_t>, 128>, 16> notes_{};

  const std::shared_ptr<Shared> shared_;
  std::mutex& mutex_;  // queue, acknowledge, what is under way
  WaitPoint& changed_;
  std::deque<MidiOutMessage> queue_;
  std::deque<MidiOutMessage> collected_;
  std::uint64_t posted_ = 0;
  std::uint64_t postedBytes_ = 0;
  std::uint64_t handled_ = 0;
  std::atomic<std::uint64_t> begun_{0};
  std::size_t waitingBytes_ = 0;    // in queue_
  std::size_t collectedBytes_ = 0;  // in collected_
  int pendingStops_ = 0;
  bool working_ = false;
  WorkerThread thread_;
  std::uint64_t exitCode_ = 0;

  std::atomic<bool> hasThread_{false};
  std::atomic<bool> threadFinished_{false};
  std::atomic<bool> closing_{false};
  std::atomic<bool>& gone_;
  std::atomic<int> state_{0};
  std::atomic<std::uint32_t> queuedBytes_{0};
  std::atomic<std::uint32_t> sentBytes_{0};
  std::atomic<bool> busy_{false};
  std::atomic<bool> stopping_{false};
  std::atomic<bool> sleeping_{false};
  std::atomic<bool> counting_{false};
  std::atomic<std::uint32_t> countedBytes_{0};
  std::atomic<bool> writeToQueue_{false};
  std::atomic<std::uint32_t> speed_{kMidiWireRate};
  std::atomic<std::uint32_t> maxSysExSpeed_{0};
  std::atomic<std::uint64_t> pacing_{0};  // packed; 0: none
  std::atomic<std::uint32_t> currentLength_{0};
  std::atomic<std::int64_t> currentStartUs_{0};

  // The sending thread's, or the caller's of a port without one.
  bool sysexOpen_ = false;  // what was handed over so far ends inside a SysEx
  bool sysexLast_ = false;  // what was handed over last is of a long message
  bool sendingLive_ = false;
  std::int64_t silentUntilUs_ = 0;  // after a SysEx that was cut

  std::atomic<bool> waitForAck_{false};
  std::vector<std::uint8_t> ackPattern_;
  int ackInPort_ = 0;
  std::size_t ackDevice_ = 0;
  int ackTimeoutMs_ = 0;
  bool acknowledged_ = false;
  bool refused_ = false;
  AckCounts acks_;
  std::uint64_t cutSends_ = 0;
  std::atomic<std::uint64_t> lease_{0};
};

// Where sent messages go instead of the wire.
enum class CaptureMode : int {
  Raw = 0,       // the message bytes
  MidiFile = 1,  // a track event with delta time 6
  Text = 2,      // "%2.2X " a byte
};

// How one buffer is sent.
struct SendOptions {
  std::uint32_t oneShotChunk = 0;    // chunk size of the first message; 0: the MidiX Space setting
  std::uint32_t delayBetweenMs = 0;  // between the messages of the buffer; 0: the global MIDI delay
  // Recording: called instead of sending (and, for delays, instead of waiting).
  std::function<void(int port, std::span<const std::uint8_t> message)> recordMessage{};
  std::function<void(int port, std::uint32_t ms)> recordDelay{};
  // Capture: appended to instead of sending.  Ignored while null.
  std::vector<std::uint8_t>* captureBytes = nullptr;  // modes Raw and MidiFile
  std::string* captureText = nullptr;                 // mode Text
  CaptureMode captureMode = CaptureMode::Raw;
  bool doNotCount = false;  // leave the total of bytes sent alone
  bool mayWait = true;      // wait for room when the port's queue is full; else the send fails
  const CancelToken* cancel = nullptr;
  std::uint64_t lease = 0;  // of the transfer that sends
  bool live = false;        // played: one short message, which may go between the messages of somebody's transfer
};

using MidiOutMonitorFn = void (*)(int port, const unsigned char* message, unsigned int length);
using MidiOutMonitor = std::function<void(int port, std::span<const std::uint8_t> message)>;

// The output side: the table of open ports and everything that is sent through it.
// Port numbers are reduced modulo the number of open ports where nothing else is said, so that any number addresses an
// open port.  All functions may be called from any thread; opening and closing from one thread at a time.
class MidiOut {
 public:
  explicit MidiOut(Clock& clock, Prompts* prompts = nullptr);
  MidiOut(const MidiOut&) = delete;
  MidiOut& operator=(const MidiOut&) = delete;
  ~MidiOut();

  Clock& clock() const { return clock_; }
  void SetPrompts(Prompts* prompts) { prompts_ = prompts; }

  // ---- ports
  int MaxOutPorts() const { return maxOutPorts_.load(); }
  void OUTNUMPORTS(int* count) const;
  std::string OUTGETPORTNAME(int port) const;
  std::shared_ptr<MidiOutPort> GetMidiOutPort(int port) const;
  std::shared_ptr<MidiOutPort> Slot(int slot) const;  // not reduced; null when the slot is closed
  int Reduce(int port) const;                         // -1 when no port is open
  int FindPort(const std::string& name) const;        // slot, -1: not open (any more)
  PortNumbers& numbers() { return numbers_; }         // of outputs and inputs
  PortLeases& leases() { return leases_; }

  // 0: the device is open in `slot` with its thread running.  1: it is not, the reason was shown when `showErrors`, and
  // the name was taken out of `map` (null allowed).
  int MidiOutOpenOnePort(const MidiPortDevice& device, int slot, bool showErrors, PortMap* map, bool withThread = true);
  // A handle that was opened elsewhere becomes the port of a slot that is free.
  void AdoptPort(const MidiPortDevice& device, std::unique_ptr<MidiOutputHandle> handle, int slot,
                 bool withThread = true);
  void SetMaxOutPorts(int count) { maxOutPorts_.store(count); }
  // Closes every open port.  At most about two seconds in all, however much is queued.
  void CloseAllPorts();
  // Drops every port of devices that are already gone.
  void ShutDownAllPorts();
  // Closes one slot; the following ports move down by one.
  void RemovePort(int slot);

  // ---- sending
  // One message or a stream of SysEx; copied before the call returns.  0, or -1 when no port is open, a transfer has
  // the port, or the message was not taken.
  int SENDDATAX(int port, std::span<const std::uint8_t> data, std::uint32_t chunk = 0, bool mayWait = true,
                const CancelToken* cancel = nullptr);
  // The same with all that can be said about it; `delayBetweenMs` and the records have no meaning here.
  int SendPacked(int port, std::span<const std::uint8_t> data, const SendOptions& options);
  // The first up to four bytes as one live message (SendOptions::live).
  int SENDDATAXThru(int port, std::span<const std::uint8_t> data, std::uint32_t chunk = 0);
  // A buffer of one or more messages.  Returns its length; 0 while output is blocked or suppressed, for an empty buffer
  // or one that begins with 0; -1 when no port is open, a transfer has the port, or the send failed.
  std::int64_t SendDataPort(std::span<const std::uint8_t> data, int port, const SendOptions& options = {});
  std::int64_t SendData(std::span<const std::uint8_t> data, const SendOptions& options = {}) {
    return SendDataPort(data, mainPortOut_.load(), options);
  }
  void MidiOutDelay(int port, std::uint32_t ms);
  // Waits until the port has sent everything; false on timeout (ms, -1: none), cancel, or a port that is gone.
  bool MidiOutWaitIdle(int port, std::int64_t timeoutMs = -1, const CancelToken* cancel = nullptr);

  // ---- settings
  void OtAMidiSetPreferencesParms(const std::int16_t values[5]);
  std::int16_t midiXDelay() const { return midiXDelay_.load(); }
  std::int16_t midiXSpace() const { return midiXSpace_.load(); }
  std::int16_t midiXSlow() const { return midiXSlow_.load(); }
  bool useMidiTime() const { return useMidiTime_.load() != 0; }
  std::uint16_t midiTransferRate() const { return transferRate_.load(); }
  void MidiOutSetMaxSysExSpeed(int port, std::uint32_t bytesPerSecond);
  void MidiOutSetUSBPortSpeed(int port, std::uint32_t bytesPerSecond);
  void SetMidiOutForceExit(bool flag) { forceExit_.store(flag); }
  bool forceExit() const { return forceExit_.load(); }
  void SetMainPortOut(int port) { mainPortOut_.store(port); }
  int MainPortOut() const { return mainPortOut_.load(); }
  void SetGlobalMidiDelay(std::uint32_t ms) { globalDelayMs_.store(ms); }  // between messages; 200 at first
  std::uint32_t GlobalMidiDelay() const { return globalDelayMs_.load(); }
  void SetBlockMidi(bool blocked) { blocked_.store(blocked); }
  bool BlockMidi() const { return blocked_.load(); }
  void SuppressOutput(bool on) { suppressed_.fetch_add(on ? 1 : -1); }  // nested
  bool Suppressed() const { return suppressed_.load() != 0; }
  std::uint64_t TotalBytesSent() const { return totalBytesSent_.load(); }
  bool InTransmission() const { return inTransmission_.load() != 0; }

  // ---- acknowledge
  // `device`: where the pattern has the device number; what differs there is somebody else's.  0: nowhere.
  void MidiOutWaitForAck(int port, int inPort, std::span<const std::uint8_t> pattern, int timeoutMs, int device = 0);
  AckCounts Acks(int port) const;
  void MidiOutClrWaitForAck(int port);
  void MidiOutTestForAck(int inPort, std::span<const std::uint8_t> message);
  int MidiInTestForAck(int inPort, std::span<const std::uint8_t> message) const;
  // True when `start` may still become an acknowledge that a port waits for on `inPort`.
  bool MayBecomeAck(int inPort, std::span<const std::uint8_t> start) const;

  // ---- counting
  void MidiOutStartModal(int port);
  void MidiOutEndModal(int port);
  void MidiOutGetModalInfo(int port, std::uint8_t* counting, std::uint32_t* count) const;

  // ---- the process-wide section that keeps a sequence of messages together.  Recursive.  Never hold it while waiting
  // for a reply.
  void InitCritical();
  void EnterCritical();
  void LeaveCritical();
  void DeleteCritical();

  // ---- monitors: see every message that SendDataPort sends, on the sending thread.
  void AddMidiOutMonitor(MidiOutMonitorFn monitor);
  void RemoveMidiOutMonitor(MidiOutMonitorFn monitor);  // every occurrence
  int AddMonitor(MidiOutMonitor monitor);               // returns an id to remove it by
  void RemoveMonitor(int id);

 private:
  friend class MidiOutPort;
  struct Monitor {
    MidiOutMonitorFn function = nullptr;
    MidiOutMonitor callable;
    int id = 0;
  };

  int SendWalk(std::span<const std::uint8_t> data, int port, const SendOptions& options);
  int SendOneMessage(std::span<const std::uint8_t> message, int port, std::uint32_t chunk, const SendOptions& options);
  int SendLive(MidiOutPort& port, std::span<const std::uint8_t> message);
  void Capture(std::span<const std::uint8_t> message, const SendOptions& options) const;
  void CallMonitors(int port, std::span<const std::uint8_t> message);
  std::vector<std::shared_ptr<MidiOutPort>> OpenPorts() const;
  void ShowOpenError(const std::string& name);

  Clock& clock_;
  Prompts* prompts_;
  PortNumbers numbers_;
  PortLeases leases_;
  mutable std::mutex tableMutex_;
  std::array<std::shared_ptr<MidiOutPort>, kMaxMidiPorts> slots_;
  std::atomic<int> maxOutPorts_{0};

  std::atomic<std::int16_t> midiXDelay_{0};
  std::atomic<std::int16_t> midiXSpace_{0};
  std::atomic<std::int16_t> midiXSlow_{0};
  std::atomic<std::int16_t> useMidiTime_{1};
  std::atomic<std::uint16_t> transferRate_{3125};
  std::atomic<bool> forceExit_{false};
  std::atomic<int> mainPortOut_{0};
  std::atomic<std::uint32_t> globalDelayMs_{200};
  std::atomic<bool> blocked_{false};
  std::atomic<int> suppressed_{0};
  std::atomic<std::uint64_t> totalBytesSent_{0};
  std::atomic<int> inTransmission_{0};

  std::mutex criticalMutex_;
  WaitPoint criticalFree_;
  bool criticalActive_ = false;
  std::thread::id criticalOwner_;
  int criticalDepth_ = 0;

  std::mutex monitorMutex_;
  std::vector<Monitor> monitors_;
  int nextMonitor_ = 1;
};

}  // namespace tonalith
