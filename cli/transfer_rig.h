#pragma once

#include <csignal>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/session.h"
#include "midi/backends/virtual_backend.h"
#include "midi/port_system.h"
#include "platform/clock.h"
#include "script/transfer_engine.h"
#include "services/program_midi.h"
#include "services/transfer_desk.h"
#include "simulator/virtual_studio.h"

namespace tonalith {

// MIDI ports, and transfers over them.  Either the ports of the machine in real time, or a virtual cable in virtual
// time, on which a transfer takes no longer than the computer needs to work it out.  The thread that makes a virtual
// rig is the one that uses and destroys it.
class TransferRig {
 public:
  enum class Kind { Real, Virtual, VirtualLive };  // VirtualLive: virtual cables in real time

  TransferRig(Session& session, Kind kind);
  TransferRig(const TransferRig&) = delete;
  TransferRig& operator=(const TransferRig&) = delete;
  ~TransferRig();

  // --- virtual cables.  The place of what was plugged in.
  std::size_t PlugInstrument(std::unique_ptr<SimulatedInstrument> instrument);
  std::size_t PlugConversation(Conversation conversation);
  VirtualStudio& cables() { return *studio_; }
  VirtualBackend& backend() { return *backend_; }

  // --- ports
  MidiPortSystem& midi() { return midiSide_->midi(); }
  std::vector<std::string> PortNames(MidiDirection direction) { return midi().DeviceNames(direction); }
  // Opens exactly one input and one output, as slot 0 of their tables.
  Result OpenPorts(const std::string& inName, const std::string& outName);
  // Opens every port there is; true when there is an input and an output.
  bool OpenAllPorts();
  // Lets an instrument of the studio and data of it use the open ports.
  void RoutePorts(ZKDrvList* instrument);
  void RoutePorts(DataFile* dataFile);

  // --- transfers
  TransferEngine& transfers() { return midiSide_->transfers(); }
  TransferDesk& desk() { return midiSide_->desk(); }
  const PacingProfile& pacing() const { return midiSide_->pacing(); }
  void RunQueued() { dispatcher_->RunQueued(); }
  ScriptBridge& services() { return midiSide_->scripts(); }
  Clock& clock() { return *clock_; }
  // Looked at every 50 ms while a transfer runs; may press its buttons.
  using Watcher = std::function<void(Transfer&)>;
  // Of every transfer from now on.
  void SetPatience(const TransferPatience& patience) { patience_ = patience; }
  // Stands before the progress of every transfer from now on.
  void SetProgressHead(std::function<std::string()> head) { progressHead_ = std::move(head); }
  // Runs one transfer to its end, with progress on standard error; an interrupt cancels it.  A transmission has left
  // the ports when this returns.  Failure: one sentence.
  Result Run(TransferOperation operation, DataFile* dataFile, const Watcher& watcher = {}, const GetOptions& get = {});
  // The same with a request of the caller's.
  Result Run(DeskRequest request, const Watcher& watcher = {});
  // How the last Run ended.
  const DeskResult& LastResult() const { return lastResult_; }
  // What had come of a bank when the last Run was interrupted; null: it was not, or nothing had.
  DataFilePtr TakeInterrupted() { return std::move(interrupted_); }
  // The SysEx messages that came in during the last Run.
  std::vector<std::uint8_t> Received();
  // Everything that was sent and received since the rig was made, as a conversation (lines OUT, IN, WAIT).
  std::string Exchange();

 private:
  void ShowProgress(const DeskJob& job);
  void ClearProgress();

  Session& session_;
  std::unique_ptr<VirtualClock> virtualClock_;
  Clock* clock_;
  std::optional<ClockThread> here_;
  std::unique_ptr<Dispatcher> dispatcher_;
  std::shared_ptr<VirtualBackend> backend_;
  std::unique_ptr<VirtualStudio> studio_;
  std::unique_ptr<ProgramMidi> midiSide_;
  void Note(const char* direction, std::span<const std::uint8_t> message);

  std::mutex receivedMutex_;  // what follows
  std::vector<std::uint8_t> received_;
  std::string exchange_;
  std::int64_t exchangeUs_ = 0;  // of its last line
  int inMonitor_ = 0;
  int outMonitor_ = 0;
  std::size_t progressWidth_ = 0;
  std::function<std::string()> progressHead_;
  DeskResult lastResult_;
  DataFilePtr interrupted_;
  TransferPatience patience_;
};

// While one lives, an interrupt (Ctrl-C) or a request to end sets the token of the environment instead of ending the
// process.  Nests.
class InterruptGuard {
 public:
  explicit InterruptGuard(CliEnvironment& environment);
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  ~InterruptGuard();
  bool Interrupted() const;

 private:
  CliEnvironment& environment_;
  bool installed_;
  const CancelToken* formerToken_ = nullptr;
  struct sigaction formerInterrupt_ {};
  struct sigaction formerTerminate_ {};
};

}  // namespace tonalith
