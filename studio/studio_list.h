#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "document/listeners.h"
#include "studio/studio_node.h"
#include "studio/sysex_map.h"

namespace tonalith {

struct StudioSurroundings;

// The instruments the user has connected, in studio order, with whoever wants to know of changes.  Used on the
// user-interface thread only.
class StudioList {
 public:
  explicit StudioList(const StudioSurroundings& around) : around_(around) {}
  StudioList(const StudioList&) = delete;
  StudioList& operator=(const StudioList&) = delete;

  // --- Who is told ------------------------------------------------------------------------------------------------

  // Listeners are told after instruments came, went, moved or changed.  There may be several; they may come and go
  // while they are told.  The result is the number for RemoveListener.
  int AddListener(std::function<void()> listener) { return listeners_.Add(std::move(listener)); }
  void RemoveListener(int id) { listeners_.Remove(id); }
  void Changed();
  // Another number after every change: what was made from the nodes before may be stale.
  std::uint64_t generation() const { return generation_; }
  // While one of these lives, nobody is told; the last one tells what changed meanwhile.
  class Quiet {
   public:
    explicit Quiet(StudioList& list) : list_(list) { ++list_.quiet_; }
    ~Quiet();
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

   private:
    StudioList& list_;
  };

  // --- Changing -----------------------------------------------------------------------------------------------------

  // Adds an instrument at the end; nobody is told before the caller calls Changed.
  ZKDrvList* Append(std::unique_ptr<ZKDrvList> instrument);
  // Removes instruments without drivers, without asking; how many.  Nobody is told.
  int RemoveEmpty();
  // The smallest number no instrument of this name has; -1 when all are taken.
  int FreeInstance(const std::string& name) const;
  // Removing closes the windows that use the instrument first; false when the user keeps one open or, with `ask`,
  // answers the question with no.  Nothing is removed then.
  bool DeleteInstrument(ZKDrvList* instrument, bool ask = false);
  bool DeleteAllDrivers(bool ask = false);
  // Matches the module file; true when an instrument went away.
  bool RemoveInstrumentUsingFilename(const std::string& moduleFile);
  // Removing that can be taken back: the instrument leaves the studio with its settings and drivers.  Null when the
  // user keeps a window open.  `index` (may be null) receives its place.
  std::unique_ptr<ZKDrvList> TakeInstrument(ZKDrvList* instrument, int* index);
  // Puts it in at `index` (cut to the list).  When its number was given to another copy meanwhile, it takes a free one.
  ZKDrvList* PutBack(std::unique_ptr<ZKDrvList> instrument, int index);
  // Places count from 0; false when one of them does not exist.
  bool MoveInstrument(int from, int to);
  // Instruments that wait to be sensed in one go; TakeQueued gives those that are still there.
  void Queue(ZKDrvList* instrument) { queued_.push_back(instrument); }
  std::vector<ZKDrvList*> TakeQueued();

  // --- Looking up ---------------------------------------------------------------------------------------------------

  const std::vector<std::unique_ptr<ZKDrvList>>& instruments() const { return instruments_; }
  bool IsInstrumentInstalled(const std::string& moduleFile) const;
  int GetInstrumentCount(const std::string& name) const;
  ZKDrvList* GetInstrument(int index) const;
  ZKDrvList* getDrvList(const std::string& moduleFile, int instance) const;
  // The instrument of a node of this list; null for any other pointer.
  ZKDrvList* GetInstrumentDrvList(const ZKDrvList* node) const;
  // Driver by the descriptor's driver id; null when there is none.
  ZKDrvList* GetDriverWithID(int id) const;
  DataFile* GetDFDriverWithID(int id) const;
  std::string GetDataFileDefn(int id) const;
  // Whether data of this driver can be used: raw data (id 0), or an instrument in the studio has the driver.
  bool MainConfigDriver(int driverId) const;
  // The driver the data came from: of several instruments of one kind, the one whose name and instance it carries.
  ZKDrvList* DriverOf(const DataFile* dataFile) const;
  // Instrument by display key or name, without regard to case; a unique word ("dx7"), else a unique part is enough.
  ZKDrvList* FindInstrument(std::string_view name) const;
  ZKDrvList* FindDriver(std::string_view instrumentName, std::string_view type) const;

  // --- Selection ----------------------------------------------------------------------------------------------------

  // The node selected in the studio window (an instrument or a driver); null: none.
  void SetSelection(ZKDrvList* node) { selection_ = node; }
  ZKDrvList* selection() const { return selection_; }
  // The data file of the selected driver, or of the first driver of the selected instrument.
  DataFile* GetSelDataFile() const;

  // What the SysEx maps of all instruments have set.
  SysXBase& sysExBase() { return sysExBase_; }

 private:
  bool CloseWindowsOf(std::span<ZKDrvList* const> instruments);
  bool CloseAllWindows();
  void Forget(const ZKDrvList& instrument);
  void Tell();

  const StudioSurroundings& around_;
  std::vector<std::unique_ptr<ZKDrvList>> instruments_;
  Listeners<> listeners_;
  int quiet_ = 0;
  bool untold_ = false;
  std::uint64_t generation_ = 1;
  ZKDrvList* selection_ = nullptr;
  std::vector<ZKDrvList*> queued_;
  SysXBase sysExBase_;
};

}  // namespace tonalith
