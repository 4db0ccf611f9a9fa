#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "midi/backend.h"
#include "midi/midi_input.h"
#include "midi/midi_output.h"
#include "midi/port_map.h"
#include "midi/port_returns.h"
#include "platform/clock.h"
#include "platform/prompts.h"

namespace tonalith {

// What the port profile says besides the names.
struct PortProfileSettings {
  int numSysXBuffers = 40;
  int sysXBufferSize = 3000;
  bool hideBufferInfo = false;
  bool hideOpenAllPorts = false;
};

inline constexpr int kPortsRemoved = 1;
inline constexpr int kPortsAdded = 2;

inline constexpr int kMostPortSpeed = 1'000'000;  // bytes a second

// All MIDI of the program: the backends (all open at the same time), the lists of devices, which of them are open, and
// the notice when devices come and go.  Ports are opened, closed and changed from one thread (the user-interface
// thread); everything else may be called from any thread.
class MidiPortSystem {
 public:
  explicit MidiPortSystem(Clock& clock, Prompts* prompts = nullptr);
  MidiPortSystem(const MidiPortSystem&) = delete;
  MidiPortSystem& operator=(const MidiPortSystem&) = delete;
  ~MidiPortSystem();  // Stop

  Clock& clock() const { return clock_; }
  MidiOut& out() { return *out_; }
  MidiIn& in() { return *in_; }
  void SetPrompts(Prompts* prompts);

  // Adds a backend; started by Start (or at once when already started).  One that cannot start is tried again by the
  // monitor.
  void AddBackend(std::shared_ptr<MidiBackend> backend);
  void Start();
  // Ends the monitor, closes all ports, stops the backends.
  void Stop();
  // Names of the backends and, for those that do not run, why.
  std::vector<std::pair<std::string, Result>> BackendStates() const;

  // ---- devices.  Counting takes a new snapshot: known devices keep their order, new ones follow.
  int midiInGetNumDevs();
  int midiOutGetNumDevs();
  std::vector<MidiPortDevice> Devices(MidiDirection direction) const;  // the snapshot
  // The device of the snapshot; fails with kMidiNoDevice.
  Result GetDevCaps(MidiDirection direction, int index, MidiPortDevice& device) const;
  std::vector<std::string> DeviceNames(MidiDirection direction);  // of a new snapshot

  // ---- profile.  The path is kept on first use; without one nothing is read or saved and every port is wanted.
  void SetInAMidiIniPath(const std::string& path) { inProfile_ = path; }
  void SetOtAMidiIniPath(const std::string& path) { outProfile_ = path; }
  PortMap GetPortInProfile(const std::string& profile = {});
  PortMap GetPortOutProfile(const std::string& profile = {});
  Result SetPortInProfile(const PortMap& map);
  Result SetPortOutProfile(const PortMap& map);
  PortProfileSettings ProfileSettings(MidiDirection direction) const;
  Result WriteBufferSize(int size);
  // Bytes a second that a USB port may be fed with, by name; 0: as a MIDI cable (3125).  Holds from then on for the
  // open port too, and is kept with the output profile.
  std::uint32_t PortSpeed(const std::string& name) const;
  Result SetPortSpeed(const std::string& name, std::uint32_t bytesPerSecond);
  // How often a port of that name went away while it was open and was opened again.
  std::uint64_t Reconnects(MidiDirection direction, const std::string& name) const {
    return returns_.Count(direction, name);
  }

  // ---- open ports
  PortMap inMap() const { return inMap_; }  // of this session: without the ports that could not be opened
  PortMap outMap() const { return outMap_; }
  void SetMidiInPortMap(const PortMap& map);
  void SetMidiOutPortMap(const PortMap& map);
  int MidiPortInOpenPorts(const std::string& profile = {}, bool showErrors = false);  // number of open ports
  int MidiPortOutOpenPorts(const std::string& profile = {}, bool showErrors = false);
  int MidiPortInOpenPortsFromMap(bool showErrors = false);
  int MidiPortOutOpenPortsFromMap(bool showErrors = false);
  void MidiPortInClosePorts();
  void MidiPortOutClosePorts();
  void MidiPortInShutDown();
  void MidiPortInShutDownPort(int slot);
  void MidiPortOutShutDown();
  std::string CloseMidiInPortsExcept(int port);  // the name of that port, also kept in keptInPort()
  std::string CloseMidiOutPortsExcept(int port);
  const std::string& keptInPort() const { return keptIn_; }
  const std::string& keptOutPort() const { return keptOut_; }
  // Sets the flag and saves it (a negative argument only reads); returns the previous value.
  int MidiPortInOpenAll(int flag);
  int MidiPortOutOpenAll(int flag);
  int MidiOutOpenOnePort(int device, int slot, bool showErrors, PortMap* map);
  int MidiInOpenOnePort(int device, int slot, bool showErrors, PortMap* map);

  // ---- devices that come and go.  While the monitor runs, it opens what came on its own thread, and these only give
  // it a place: they never wait for a MIDI system.  Both return kPortsRemoved | kPortsAdded as it applies.  While port
  // numbers are held (MidiOut::numbers), a port that went keeps its place, dead; when they are free the change is told
  // again.
  int MidiInPortsChanged();
  int MidiOutPortsChanged();
  // Starts the thread that calls the listeners when devices changed: at once on a backend's notice, within about two
  // seconds without one.
  void CreatePortMonitorThread();
  void StopPortMonitorThread();
  void NotifyMidiPortChange();
  // Listeners run on the monitor thread and bring the matter to the thread that owns the ports.
  int AddPortChangeListener(std::function<void()> changed);
  void RemovePortChangeListener(int id);

  // ---- instances in a host: while any is registered, they are told of changes instead of the listeners.
  void InAMidiAddPlugin(const void* instance);
  void InAMidiRemovePlugin(const void* instance);
  void InAMidiSetPluginCallback(std::function<void(int kind, int index)> callback);

 private:
  struct Backend {
    std::shared_ptr<MidiBackend> backend;
    bool running = false;
    Result state;
  };

  // A port that the monitor has opened and that has no slot yet.
  struct PreparedPort {
    MidiDirection direction;
    MidiPortDevice device;
    std::unique_ptr<MidiOutputHandle> output;
    std::shared_ptr<MidiInPort> input;
    bool Alive() const { return output ? output->Alive() : input && input->Alive(); }
  };

  static MidiPortDevice* FindDevice(std::vector<MidiPortDevice>& devices, const MidiBackend* backend,
                                    const std::string& id);
  std::vector<std::shared_ptr<MidiBackend>> Running() const;
  int Refresh(MidiDirection direction);
  int OpenFromMap(MidiDirection direction, bool showErrors);
  int OpenDevice(MidiDirection direction, const MidiPortDevice& device, bool showErrors, PortMap* map);
  int OpenPorts(MidiDirection direction) const;
  bool StillThere(MidiDirection direction, int slot, std::vector<MidiPortDevice>& devices) const;
  int Changed(MidiDirection direction);
  static bool Wanted(const PortMap& map, const MidiPortDevice& device);
  PortMap ReadMap(MidiDirection direction, const std::string& profile);
  Result WriteMap(MidiDirection direction, const PortMap& map);
  int OpenAllFlag(MidiDirection direction, int flag);
  PortMap& Map(MidiDirection direction) { return direction == MidiDirection::Input ? inMap_ : outMap_; }
  void ReportCapsError(MidiDirection direction, int index, int code);
  void MonitorThread(std::string keys);
  void StartBackends();
  void Notice();
  int PreparePorts(MidiDirection direction);
  bool AnyPortDead() const;
  bool TakePrepared(MidiDirection direction, const MidiPortDevice& device, PreparedPort* port);
  void PublishMaps();
  bool Open(MidiDirection direction, const std::string& name) const;
  std::string DeviceKeys() const;

  Clock& clock_;
  Prompts* prompts_;
  std::unique_ptr<MidiOut> out_;
  std::unique_ptr<MidiIn> in_;

  mutable std::mutex backendMutex_;
  std::vector<Backend> backends_;
  bool started_ = false;

  mutable std::mutex deviceMutex_;
  std::vector<MidiPortDevice> inDevices_;
  std::vector<MidiPortDevice> outDevices_;
  std::vector<PreparedPort> prepared_;
  PortMap wantedIn_;  // copies of the maps for the monitor
  PortMap wantedOut_;
  bool freshIn_ = false;  // the monitor has just taken the snapshot
  bool freshOut_ = false;

  PortReturns returns_;
  PortMap inMap_;
  PortMap outMap_;
  std::string inProfile_;
  std::string outProfile_;
  std::string keptIn_;
  std::string keptOut_;

  std::mutex monitorMutex_;
  WaitPoint monitorWake_;
  bool noticed_ = false;
  bool monitorQuit_ = false;
  WorkerThread monitor_;
  std::mutex listenerMutex_;
  std::vector<std::pair<int, std::function<void()>>> listeners_;
  int nextListener_ = 1;
  std::vector<const void*> plugins_;
  std::function<void(int, int)> pluginCallback_;
};

}  // namespace tonalith
