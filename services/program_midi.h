#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "midi/port_system.h"
#include "platform/jobs.h"
#include "script/transfer_engine.h"
#include "services/main_window_messages.h"
#include "services/pacing_profile.h"
#include "services/script_bridge.h"
#include "services/script_router.h"
#include "services/transfer_desk.h"
#include "services/transfer_files.h"

namespace tonalith {

// What everything on ports shares with its program; all of it outlives it.
struct ProgramShared {
  Settings& settings;
  Paths& paths;
  ScriptChanges& scriptChanges;
  ScriptAppState& scriptState;
  ZKAppVars& appVars;
  Prompts& prompts;
  DiskAccess& disk;
};

// Ports, scripts and transfers on one clock, put together.  A program has one; who needs a clock or cables of its own
// beside it (virtual cables in virtual time) makes another with the same settings and script variables.
//
// Made and destroyed on the dispatcher's target thread, which runs what is queued there while scripts and transfers
// work.
class ProgramMidi {
 public:
  ProgramMidi(const ProgramShared& shared, Clock& clock, Dispatcher& dispatcher, ScriptPorts ports);
  ProgramMidi(const ProgramMidi&) = delete;
  ProgramMidi& operator=(const ProgramMidi&) = delete;
  ~ProgramMidi();

  Clock& clock() { return clock_; }
  MidiPortSystem& midi() { return midi_; }
  Dispatcher& dispatcher() { return dispatcher_; }
  ScriptRouter& router() { return router_; }
  MainWindowMessages& mainWindow() { return mainWindow_; }
  ScriptBridge& scripts() { return scripts_; }
  TransferEngine& transfers() { return transfers_; }
  TransferDesk& desk() { return desk_; }
  TransferFiles& files() { return files_; }
  const PacingProfile& pacing() const { return pacing_; }

  // Takes over the settings that were just loaded.
  void LoadConfig();
  // Starts the backends and the port monitor and opens the ports of the profile.
  void OpenMidiPorts();
  void CloseMidiPorts();
  // Cancels scripts and transfers; what is received so far is kept or dropped as a cancel does.
  void StopWork();

  // Looks which devices came and went, opens and closes ports accordingly and ends transfers on ports that are gone.
  // Runs by itself when the port monitor sees a change.  The listeners are called afterwards.
  void UpdateMidiPorts();
  int AddPortListener(std::function<void(int changes)> listener);
  void RemovePortListener(int id);

 private:
  void SettingChanged(SettingId id, int value);
  void PassDefaultPorts();
  void PassEcho();
  void EndTransfersOfGonePorts();

  Clock& clock_;
  Settings& settings_;
  Paths& paths_;
  Dispatcher& dispatcher_;
  ScriptPorts ports_;
  MidiPortSystem midi_;
  ScriptRouter router_;
  MainWindowMessages mainWindow_;
  ScriptBridge scripts_;
  TransferEngine transfers_;
  PacingProfile pacing_;
  TransferDesk desk_;
  TransferFiles files_;
  Receiver receiver_;
  int pacingSink_ = 0;
  int settingsListener_ = 0;
  int portChangeListener_ = 0;
  std::vector<std::pair<int, std::function<void(int)>>> portListeners_;
  int nextPortListener_ = 1;
};

}  // namespace tonalith
