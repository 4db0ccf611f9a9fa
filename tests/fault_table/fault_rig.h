#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/text.h"
#include "services/program.h"
#include "services/program_midi.h"
#include "simulator/virtual_studio.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith::fault_table {

using Bytes = std::vector<std::uint8_t>;

// A fault that is the MIDI system's, not the instrument's: the piece with this byte of the answer is lost, and the
// program is told.
inline const std::string kLostEvent = "lost-event:at=";

// A data type of a shipped module, and how its simulated instrument is asked.
struct TableType {
  std::string module;     // folder of the module's source
  std::string simulated;  // key of the simulated instrument
  const ZKDrvList* driver = nullptr;
  std::string panel;     // messages its dump is started with at the instrument; empty: it can be asked for
  bool byPatch = false;  // got patch by patch
  bool sends = false;
  bool hasChecksum = false;
  std::string Name() const { return module + " | " + Latin1ToUtf8(driver->TypeName()); }
};

// All types whose simulated instrument knows them.
std::vector<TableType> TableTypes();

// The program's MIDI side and one simulated instrument at the other end of a cable of MIDI speed, in virtual time.
class FaultRig {
 public:
  explicit FaultRig(const std::string& simulated);
  FaultRig(const FaultRig&) = delete;
  FaultRig& operator=(const FaultRig&) = delete;
  ~FaultRig();

  void SetFaults(const std::string& plan);
  // One transfer to its end, as window and command line start it; empty patches: all.  The instrument has come to rest
  // when it returns.
  DeskResult Run(DeskStep::Kind kind, DataFile& data, const std::vector<std::uint8_t>& patches);
  // The same with a request of the caller's, on the cable's ports; `during` hears its events.
  DeskResult Run(DeskRequest request, const std::function<void(const DeskEvent&)>& during = {});
  TransferDesk& desk() { return program_->desk(); }
  void Route(DataFile& data);
  void ReadTwice(bool on) { readTwice_ = on; }  // a Get reads data that nothing tells right twice and compares
  bool hung() const { return hung_; }
  // No faults any more, the cable is plugged in, and what was late has come.
  void Recover();

  // What the instrument says when a dump is started at its panel: "KEY", "KEY[1..4]" ...
  Bytes PanelDump(const std::string& messages);
  Bytes Memory();
  void RestoreMemory(const Bytes& memory);
  int Heard();  // messages the instrument has taken in so far
  int Said();
  std::int64_t Carried();  // bytes, both ways

 private:
  VirtualClock clock_;
  ClockThread here_;
  Dispatcher dispatcher_;
  std::shared_ptr<VirtualBackend> backend_;
  std::unique_ptr<VirtualStudio> studio_;
  std::unique_ptr<ProgramMidi> program_;
  std::shared_ptr<VirtualEndpoint> end_;
  bool hung_ = false;
  bool readTwice_ = false;
};

}  // namespace tonalith::fault_table
