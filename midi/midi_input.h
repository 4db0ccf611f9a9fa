#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "midi/answer_steps.h"
#include "midi/backend.h"
#include "midi/midi_output.h"
#include "midi/receive_options.h"
#include "midi/sysex_assembler.h"
#include "platform/clock.h"
#include "platform/prompts.h"

namespace tonalith {

class MidiIn;
class PortMap;
struct ReceiveReport;

inline constexpr std::size_t kShortRing = 512;           // messages
inline constexpr std::size_t kSysExRing = 700000;        // bytes
inline constexpr std::size_t kSysExStarts = 100;         // messages
inline constexpr std::size_t kMaxHeldSysEx = 16u << 20;  // longest message handed to monitors; longer ones are cut
inline constexpr std::int64_t kReceiveAborted = -1;      // cancel pattern, user abort, port gone
inline constexpr std::int64_t kReceivedNothing = -19;

// A completed SysEx, shared by everybody who reads it.
using SharedSysEx = std::shared_ptr<const std::vector<std::uint8_t>>;

// Where one reader of the rings stands.  Counted from the start of the program, so that a reader that was overtaken
// notices it.
struct MidiInReader {
  std::uint64_t shortRead = 0;
  std::uint64_t sysexRead = 0;
  std::uint64_t sysexMetaRead = 0;
};

// One message read from the rings, and what registered sinks get.
struct MidiInRecord {
  int kind = 0;               // 0 none, 1 short message, 2 SysEx
  std::uint32_t time = 0;     // milliseconds
  std::uint32_t message = 0;  // packed short message, status in the low byte
  int port = 0;
  SharedSysEx sysex;
  MidiInReader position;  // of the reader behind this message
};

// Takes a record; must only queue it.  False: no room, try again.
using MidiInSink = std::function<bool(const MidiInRecord&)>;
// Sees every short message and every SysEx that arrives, on the input thread.
using MidiInMonitor = std::function<void(int port, std::span<const std::uint8_t> message)>;

// The receive service of one port: what GetDataVector arms.  States: 0 idle or complete, 1 armed, 2 receiving,
// 3 cancelled.
struct ReceiveContext {
  std::uint8_t* cursor = nullptr;
  std::uint8_t* end = nullptr;
  std::int64_t remaining = 0;
  int state = 0;
  bool started = false;
  bool cancelled = false;
  bool ackSeen = false;
  ReceiveOptions options;
  AnswerSteps steps;
  std::function<bool()> requestWaits;  // while true, nothing can be the answer yet
  RefusedMessage refused;
  std::int64_t refusedUs = 0;      // when the first message was refused
  int echoes = 0;                  // of the request
  int early = 0;                   // messages that began before the request had left
  std::int64_t received = 0;       // for progress
  std::int64_t receivedSized = 0;  // compared with the size list
  std::int64_t lastByteUs = 0;
  std::atomic<std::int64_t>* progress = nullptr;
};

// One open input: assembler and receive service.
class MidiInPort {
 public:
  MidiInPort(MidiIn& owner, MidiPortDevice device, int slot);
  MidiInPort(const MidiInPort&) = delete;
  MidiInPort& operator=(const MidiInPort&) = delete;
  virtual ~MidiInPort();

  const std::string& name() const { return device_.info.name; }
  const MidiPortDevice& device() const { return device_; }
  int slot() const { return slot_.load(); }
  void SetSlot(int slot) { slot_.store(slot); }
  bool Alive() const;

  // Arms the receive service, in place of a receive that is armed already; returns the number of this receive.
  // `destination` must stay until ClearReceive returned.  Bytes of a message that is just
  // arriving, and messages kept since the last receive (see ExpectData), are taken at once unless `fresh`.
  // `requestWaits` (may be empty) is asked when a message begins; while it is true the message is passed over.
  virtual std::uint64_t SetReceive(std::span<std::uint8_t> destination, const ReceiveOptions& options,
                                   std::atomic<std::int64_t>* progress = nullptr, bool fresh = false,
                                   std::function<bool()> requestWaits = {});
  // Nothing is written to the destination after this returned.  Returns the bytes stored; -1 when another receive has
  // taken the place of receive number `receive` (0: whichever is armed).  `report` (may be null) is told what was
  // passed over.
  virtual std::int64_t ClearReceive(std::uint64_t receive = 0, ReceiveReport* report = nullptr);
  virtual std::uint8_t* GetReceivePtr() const;
  int ReceiveState() const;
  // While on, messages that arrive between two receives are kept for the next one.
  void ExpectData(bool on);
  // To be called before a request is sent that is not staged with the receive: what came before is forgotten, and what
  // comes before the receive is armed (within a second) is kept for it.
  void ExpectReply();
  // The same without forgetting: for messages in the middle of an exchange, when an instrument may be ahead.
  void KeepReplies();
  // What was kept belongs to an exchange that is over.
  void ForgetReplies();

  // A message of exactly this pattern ends the receive and stops `stopPort` (null: none).  Empty: no pattern.
  void SetSysXCancel(std::span<const std::uint8_t> pattern, std::shared_ptr<MidiOutPort> stopPort);
  void SetFilterAcks(bool on) { filterAcks_.store(on); }
  void SetShortService(bool on) { shortService_.store(on); }

  // 1 once after something arrived (for activity lights).
  int GetActive() { return active_.exchange(false) ? 1 : 0; }
  std::uint64_t BytesReceived() const { return bytesReceived_.load(); }
  // When the last byte of a SysEx came, on the clock's time; 0: none yet.
  std::int64_t LastSysExUs() const { return lastSysExUs_.load(); }
  // When the last byte came (active sensing counts), on the clock's time; 0: none yet.
  std::int64_t LastHeardUs() const { return lastHeardUs_.load(); }
  // How often something that arrived could not be taken; the message it belonged to is damaged.
  std::uint64_t LostEvents() const { return lostEvents_.load(); }
  std::uint64_t Reconnects() const;  // of its connection, where the MIDI system lets others cut it

  void ClosePort();

  // The bytes of the backend (none: something was lost); called by its input thread.
  void OnBytes(std::span<const std::uint8_t> bytes, std::int64_t timeUs);

 private:
  friend class MidiIn;
  class Listener;
  enum class KeptKind { Short, SysEx, Rest };
  struct Kept {
    std::vector<std::uint8_t> bytes;
    KeptKind kind = KeptKind::SysEx;
    bool complete = false;
  };
  enum class Verdict { Undecided, Take, Ignore, Cancel, Ack };
  // Where a receive stood before the open message, so that it can be taken out again.
  struct Mark {
    std::uint64_t receive = 0;  // number of the receive; 0: none
    std::uint8_t* cursor = nullptr;
    std::int64_t skip = 0;
    std::int64_t received = 0;
    std::int64_t receivedSized = 0;
    bool started = false;
  };
  // A SysEx that has begun and not ended, as the receive service sees it.
  struct OpenMessage {
    bool open = false;
    bool consumed = false;           // a receive has taken its beginning
    bool lost = false;               // more bytes than can be held came while nobody received
    std::vector<std::uint8_t> held;  // bytes no receive has taken or refused yet
    std::vector<std::uint8_t> head;  // its first bytes, for the patterns
    std::int64_t length = 0;
    Verdict verdict = Verdict::Undecided;
    bool refused = false;  // it is not the answer that is awaited
    Mark before;
  };

  // All with mutex_ held.
  void ServiceBegin();
  void ServiceBytes(std::span<const std::uint8_t> bytes);
  void ServiceEnd(bool complete);
  void ServiceStray(std::span<const std::uint8_t> bytes);
  void ServiceLost();
  void TakeOut();
  void Refuse(bool complete);
  bool IsEcho() const;
  void ZKMidiInServiceEvent(std::span<const std::uint8_t> message);
  Verdict Judge(bool ended, bool complete) const;
  void Decide(bool ended, bool complete);
  void CheckMessageEnd();
  void Hold(std::span<const std::uint8_t> bytes);
  void Store(std::span<const std::uint8_t> bytes);
  void Complete();
  void Keep(std::span<const std::uint8_t> bytes, KeptKind kind, bool complete);
  bool Keeping() const;
  bool Receiving() const { return receive_.state == 1 || receive_.state == 2; }
  void FeedKept();
  void FeedOpenMessage(bool fresh);
  std::shared_ptr<MidiOutPort> TakeStop();

  MidiIn& owner_;
  MidiPortDevice device_;
  Clock& clock_;
  std::atomic<int> slot_;
  std::unique_ptr<MidiInputHandle> handle_;
  mutable std::mutex handleMutex_;
  std::atomic<bool> closed_{false};
  std::atomic<bool> filterAcks_{false};
  std::atomic<bool> shortService_{true};
  std::atomic<bool> active_{false};
  std::atomic<std::uint64_t> bytesReceived_{0};
  std::atomic<std::uint64_t> lostEvents_{0};
  std::atomic<std::int64_t> lastHeardUs_{0};
  std::atomic<std::int64_t> lastSysExUs_{0};

  // Input thread only.
  SysExAssembler assembler_;
  std::vector<std::uint8_t> assembled_;
  std::int64_t assembledStartUs_ = 0;

  mutable std::mutex mutex_;  // receive service
  WaitPoint changed_;
  ReceiveContext receive_;
  std::uint64_t receiveNumber_ = 0;
  std::vector<std::uint8_t> cancelPattern_;
  std::shared_ptr<MidiOutPort> cancelStops_;
  std::shared_ptr<MidiOutPort> pendingStop_;
  OpenMessage message_;
  std::uint8_t lastStored_ = 0;
  bool expectData_ = false;
  std::int64_t keepUntilUs_ = 0;
  bool keepInFront_ = false;
  std::deque<Kept> kept_;
  std::size_t keptBytes_ = 0;
};

// What a blocking receive needs from the transfer that runs it.  All optional.
struct ReceiveHooks {
  std::function<void()> sendRequest{};            // called once, when the receive is armed
  std::atomic<std::int64_t>* received = nullptr;  // advanced as bytes are stored (added to, not set)
  const CancelToken* wake = nullptr;              // a button of the receive window: ends the wait at once
  const CancelToken* cancel = nullptr;            // user abort, quit: the receive gives -1
  std::function<int()> transferMode{};            // 0 running, 1 keep what arrived, 2 cancel, 3 cancel all
  bool polling = false;                           // look at the result only every 100 ms
  std::function<bool()> requestUnderWay{};        // while true (something sent before has not left), no timeout runs
  std::function<bool()> requestWaits{};           // the request has not begun to leave; any thread, takes no lock
};

// Why a blocking receive ended.
struct ReceiveReport {
  std::int64_t stored = 0;
  bool timedOut = false;
  bool cancelledByPattern = false;
  bool aborted = false;
  bool portGone = false;
  bool damaged = false;  // something that arrived meanwhile was lost
  RefusedMessage refused;
  int echoes = 0;  // times the request itself came
};

enum MidiEchoOptions : unsigned { kEchoRealTime = 1, kEchoLocalOff = 2 };

// The input side: open ports, rings, distribution, echo and receives.  Any thread, except where a function says
// otherwise; opening and closing from one thread at a time.
class MidiIn {
 public:
  MidiIn(Clock& clock, MidiOut& out, Prompts* prompts = nullptr);
  MidiIn(const MidiIn&) = delete;
  MidiIn& operator=(const MidiIn&) = delete;
  ~MidiIn();

  Clock& clock() const { return clock_; }
  MidiOut& out() const { return out_; }
  void SetPrompts(Prompts* prompts) { prompts_ = prompts; }

  // ---- ports
  void InAMidiInitialize();
  void InAMidiCleanup();
  void INNUMPORTS(int* count) const;
  int InPorts() const { return openPorts_.load(); }
  std::string INGETPORTNAME(int port) const;
  std::shared_ptr<MidiInPort> GetMidiInPort(int port) const;  // null when not open
  int FindPort(const std::string& name) const;                // slot, -1: not open (any more)
  int MidiInOpenOnePort(const MidiPortDevice& device, int slot, bool showErrors, PortMap* map);
  // Opens a device without giving it a slot yet (nothing it brings is taken); any thread.
  Result OpenPort(const MidiPortDevice& device, std::shared_ptr<MidiInPort>& port);
  void AdoptPort(std::shared_ptr<MidiInPort> port, int slot);
  int MidiInInitOnePort(int slot, bool showErrors);
  void SetInPorts(int count) { openPorts_.store(count); }
  void CloseAllPorts();
  void RemovePort(int slot);  // the following ports move down by one; receives on it end with -1
  // While stopped, everything that arrives is ignored.
  void SetInputStopped(bool stopped) { stopped_.store(stopped); }

  void SetMidiInBufferSize(int size);  // 2000 or more
  int GetMidiInBufferSize() const { return bufferSize_.load(); }
  void SetBufferSizeSaver(std::function<void(int)> save);  // WriteBufferSize: keeps an accepted size in the profile
  void SetNumSysXBuffers(int count);
  int NumSysXBuffers() const { return bufferCount_.load(); }
  void LoadBufferSettings(int count, int size);  // values of the profile, brought into 1..1000 and 256..1048576

  // ---- recording into the rings
  void MidiInStartRecord();
  void MidiInStopRecord();
  int MidiInGetRecord() const;
  int InAMidiForceRecordState(int state);
  void GetRingPositions(MidiInReader* reader) const;  // "now"
  // The next message for one reader: 0 none, 1 short, 2 SysEx.  A reader that was overtaken is moved to "now".
  int MidiInGetMsg(MidiInReader& reader, MidiInRecord& record);
  // Superseded by MidiInGetMsg: both show an error box and return 0.
  int MidiInGetMsgMidi();
  int MidiInGetMsgSysX();
  bool GetInAMidiStopMaintenance() const { return stopMaintenance_.load(); }
  void SetInAMidiStopMaintenance(bool stop) { stopMaintenance_.store(stop); }
  std::recursive_mutex& GetInAMidiCS() const { return ringMutex_; }
  std::mutex& GetInAMidiMDI_CS() const { return frameMutex_; }

  // ---- distribution.  `frame` identifies the receiver; after InAMidiClearFrame returned its sink is not called.
  bool InAMidiSetFrame(const void* frame, MidiInSink sink);
  void InAMidiClearFrame(const void* frame);
  void OpenDistributeThread();
  void CloseDistributeThread();
  void SetNotifyCallback(std::function<void()> notify);
  // Gets (message, port, time) instead of the rings while set.
  void SetRawCallback(std::function<void(std::uint32_t message, int port, std::uint32_t time)> raw);
  // Sequencer: a running delta counter (0: not running) that replaces the clock in time stamps, and the taker of
  // clock messages (true: it follows external clock and used the message up).
  void SetSequencer(std::function<std::uint32_t()> deltaCounter, std::function<bool()> clockTick);
  int AddMidiInMonitor(MidiInMonitor monitor);
  void RemoveMidiInMonitor(int id);

  // ---- echo
  void PortOutSetEcho(int mode, int defaultInPort, int port, int channel, unsigned options, int winPort, int winChannel,
                      int inPort);

  // ---- receiving
  // Blocks until the receive is complete, at most as long as the options say; looks at the tokens every 50 ms.
  // Returns the bytes stored, -1 on cancel, abort or a port that is (or goes) away, -19 when nothing arrived.
  std::int64_t GetDataVector(std::span<std::uint8_t> buffer, int port, const ReceiveOptions& options,
                             const ReceiveHooks& hooks = {}, ReceiveReport* report = nullptr);
  std::int64_t GetData(std::span<std::uint8_t> buffer) { return GetDataPort(buffer, mainPortIn_.load()); }
  std::int64_t GetDataSkip(std::span<std::uint8_t> buffer, std::int64_t skip) {
    return GetDataSkipPort(buffer, skip, mainPortIn_.load());
  }
  std::int64_t GetDataPort(std::span<std::uint8_t> buffer, int port);
  std::int64_t GetDataPort1(std::span<std::uint8_t> buffer, int port) { return GetDataPort(buffer, port); }
  std::int64_t GetDataSkipPort(std::span<std::uint8_t> buffer, std::int64_t skip, int port);
  // Arms a receive without waiting; false when there is no such port.
  bool ZKMidiInSetReceive(std::span<std::uint8_t> destination, int port, const ReceiveOptions& options);
  // See MidiInPort; nothing when the port is not open.
  void ExpectReply(int port);
  void KeepReplies(int port);
  void ForgetReplies(int port);
  void SetMainPortIn(int port) { mainPortIn_.store(port); }
  int MainPortIn() const { return mainPortIn_.load(); }
  // The wait of a receive that names none: milliseconds, counted from the last byte once data flows.
  static std::int64_t DefaultTimeoutMs(std::int64_t length);

 private:
  friend class MidiInPort;
  struct Frame {
    const void* frame;
    MidiInSink sink;
  };
  struct ShortEntry {
    std::uint32_t message = 0;
    std::uint32_t time = 0;
    int port = 0;
  };
  struct SysExStart {
    std::uint64_t position = 0;
    std::uint32_t length = 0;
    bool complete = false;
    std::uint32_t time = 0;
    int port = 0;
  };

  // Called by ports on the backend's input thread.
  void OnShort(MidiInPort& port, std::span<const std::uint8_t> message, std::int64_t timeUs);
  void OnLong(MidiInPort& port, const std::vector<std::uint8_t>& message, bool complete, std::int64_t startUs);
  std::uint32_t TimeStamp(std::int64_t timeUs) const;
  void Echo(int port, std::span<const std::uint8_t> message);
  void RecordShort(std::uint32_t message, int port, std::uint32_t time);
  void RecordLong(std::span<const std::uint8_t> message, bool complete, int port, std::uint32_t time);
  void NotifyDistribution();
  void DistributeThread(MidiInReader reader);
  void Distribute(const std::vector<MidiInRecord>& batch);
  bool CatchUp(MidiInReader& reader) const;
  int ReadSysEx(MidiInReader& reader, MidiInRecord& record) const;
  void CallMonitors(int port, std::span<const std::uint8_t> message);
  void ShowOpenError(const std::string& name, const Result& result);
  static bool EndsEarly(const MidiInPort& port, const ReceiveHooks& hooks, ReceiveReport& report);
  void WaitForData(MidiInPort& port, std::uint64_t receive, std::int64_t timeoutMs, const ReceiveHooks& hooks,
                   ReceiveReport& report);

  Clock& clock_;
  MidiOut& out_;
  Prompts* prompts_;
  mutable std::mutex tableMutex_;
  std::array<std::shared_ptr<MidiInPort>, kMaxMidiPorts> slots_;
  std::atomic<int> openPorts_{0};
  std::atomic<bool> stopped_{false};
  std::atomic<int> bufferCount_{40};
  std::atomic<int> bufferSize_{3000};
  std::atomic<int> mainPortIn_{0};

  // Rings and record state.
  mutable std::recursive_mutex ringMutex_;
  bool record_ = false;
  int recordStatus_ = 0;
  bool forced_ = false;
  bool beforeForce_ = false;
  std::vector<ShortEntry> shortRing_;
  std::vector<std::uint8_t> sysexRing_;
  std::vector<SysExStart> starts_;
  std::uint64_t inBot_ = 0;
  std::uint64_t inSysXTop_ = 0;
  std::uint64_t inSysXWrite_ = 0;
  std::atomic<bool> stopMaintenance_{false};

  // Distribution.
  mutable std::mutex frameMutex_;
  std::vector<Frame> frames_;
  std::mutex distributeMutex_;
  WaitPoint distributeWake_;
  bool distributePending_ = false;
  bool distributeQuit_ = false;
  int distributeUsers_ = 0;
  WorkerThread distributeThread_;

  mutable std::mutex hookMutex_;  // callbacks
  std::function<void()> notify_;
  std::function<void(std::uint32_t, int, std::uint32_t)> raw_;
  std::function<std::uint32_t()> deltaCounter_;
  std::function<bool()> clockTick_;
  std::function<void(int)> saveBufferSize_;
  std::vector<std::pair<int, MidiInMonitor>> monitors_;
  int nextMonitor_ = 1;

  // Echo.
  struct EchoSettings {
    int mode = 0;
    int dfltInPort = 0;
    int port = 0;
    int channel = 0;
    bool includeRealTime = false;
    bool localOff = false;
    int winPort = 0;
    int winChannel = 0;
    int inPort = 0;
  };
  mutable std::mutex echoMutex_;
  EchoSettings echo_;
};

}  // namespace tonalith
