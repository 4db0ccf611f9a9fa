#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "platform/prompts.h"
#include "platform/result.h"
#include "studio/sysex_map.h"

namespace tonalith {

// The folders the studio works with.
struct StudioPaths {
  std::filesystem::path instruments;     // modules
  std::filesystem::path data;            // studio file
  std::filesystem::path preferences;     // InstrumentDefaults.v13.ini
  std::filesystem::path applicationIni;  // "Port In Names" / "Port Out Names"; may be empty
};

// What the studio needs of the MIDI ports.  Numbers are positions in the lists of the moment.
class StudioPorts {
 public:
  virtual ~StudioPorts() = default;
  virtual std::vector<std::string> InputPortNames() const = 0;
  virtual std::vector<std::string> OutputPortNames() const = 0;
  // Bytes per second for an output port, above 0.
  virtual void SetMaxSysExSpeed(int /*outPort*/, int /*bytesPerSecond*/) {}
};

enum class ZKDrvListKind : std::uint8_t { Instrument, Driver };

inline constexpr std::size_t kStudioRecordSize = 740;
inline constexpr std::uint8_t kPatchBayOn = 1, kPatchBayManual = 2, kPatchBayRevert = 4;

// One node of the studio tree: an instrument with its drivers, or a driver.  An instrument's channels and ports are the
// truth; changing them changes every driver (SetSysExChannel, SetMidiChannel, SetInPort, SetOutPort).
class ZKDrvList {
 public:
  explicit ZKDrvList(ZKDrvListKind kind) : kind_(kind) {}
  virtual ~ZKDrvList() = default;
  ZKDrvList(const ZKDrvList&) = delete;
  ZKDrvList& operator=(const ZKDrvList&) = delete;

  // Stores the module file name; for a driver node also loads its SysEx map, when its data type is known already.
  virtual void SetIniFile(const StudioPaths& paths, const std::string& file);
  // The module INI in the instrument folder.
  std::filesystem::path GetIniPath() const;
  // For an instrument with an output port: applies "MaxSysExSpeed" of its module when that is not 0.
  void SetMaxSysExSpeed(StudioPorts* ports) const;

  bool IsInstrument() const { return kind_ == ZKDrvListKind::Instrument; }
  // Display key: the name, with " %d" and the instance when that is not 0.
  std::string DisplayKey() const;
  // The descriptor of a driver node; null on an instrument node.
  Synth* synth() const { return dataFile ? dataFile->synth : nullptr; }
  // Name of the data type of a driver node.
  std::string TypeName() const;
  // First driver of this instrument whose type name, short name or type key equals `type` without regard to case.
  ZKDrvList* FindDriver(std::string_view type) const;

  // Copied to the drivers and into their descriptors when this is an instrument.
  void SetSysExChannel(int channel);  // 0-based, kept inside the range each descriptor allows
  void SetMidiChannel(int channel);   // 0..15
  void SetInPort(int port, const std::string& portName);
  void SetOutPort(int port, const std::string& portName);
  void SetPatchBay(int flags, int channel, int port, int revertPatch, const std::string& portName);

  // Studio record (kStudioRecordSize bytes); the port names are kept apart from it.
  void WriteRecord(std::uint8_t* record) const;
  static std::unique_ptr<ZKDrvList> FromRecord(const std::uint8_t* record);

  std::vector<std::unique_ptr<ZKDrvList>> drivers;  // of an instrument node
  ZKDrvList* instrument = nullptr;                  // of a driver node
  DataFilePtr dataFile;                             // of a driver node
  std::shared_ptr<BufferDescriptor> sysExMap;       // of a driver node; null: it has none
  std::uint8_t state = 0;
  std::uint8_t sysExChannel = 0;
  std::uint8_t midiChannel = 0;
  std::uint8_t midiInPort = 0;
  std::uint8_t midiOutPort = 0;
  std::uint8_t reservedFlag = 0;
  std::uint16_t defaultPatch = 0;
  std::uint8_t patchBayController = 0;
  std::uint8_t selected = 0;
  std::uint8_t setMember = 0;
  std::uint8_t setMemberCopy = 0;
  std::string path;  // driver: folder of the driver file; instrument: file of the default set
  std::string file;  // driver: driver file; instrument: picture
  std::uint32_t versionWord = 0;
  std::uint8_t patchBayFlags = 0;
  std::uint8_t patchBayChannel = 0;
  std::uint8_t patchBayPort = 0;
  std::uint8_t patchBayRevertPatch = 0;
  std::uint8_t carried[3] = {};
  std::uint8_t icon = 0;
  std::string moduleFile;
  std::string name;
  std::uint8_t instance = 0;
  std::string pluginCode;
  std::uint8_t multitimbral = 0;
  std::vector<std::string> patchNames;
  std::string inPortName;
  std::string outPortName;
  std::string patchBayPortName;

 private:
  void CopyPorts(ZKDrvList* driver) const;
  void UseSysExChannel(int channel);

  ZKDrvListKind kind_;
  std::filesystem::path iniFolder_;
};

// The instruments the user has connected, in studio order.  Used on the user-interface thread only.
class ZKStudioDoc {
 public:
  // Everything given must outlive the document; ports may be null (no MIDI).
  ZKStudioDoc(StudioPaths paths, Prompts& prompts, StudioPorts* ports = nullptr);
  ~ZKStudioDoc();
  ZKStudioDoc(const ZKStudioDoc&) = delete;
  ZKStudioDoc& operator=(const ZKStudioDoc&) = delete;

  // --- Building -----------------------------------------------------------------------------------------------------

  // Empties the studio and adds every module of the instrument folder.  Returns the instruments added.
  int LoadStudio();
  // Adds one instrument with all its drivers; false when it was not added (the user has been told why).
  bool AddDrivers(const std::string& moduleFile);
  bool AddInstrument(const std::string& moduleFile) { return AddDrivers(moduleFile); }
  // Loads a driver file into a new node; null when it cannot be read (the user has been told).
  std::unique_ptr<ZKDrvList> DrvLoadDriver(const std::string& driverFile, const std::filesystem::path& folder,
                                           int setMember, int setMemberCopy);
  void DeleteInstrument(ZKDrvList* instrument);
  // Matches the module file; true when an instrument went away.
  bool RemoveInstrumentUsingFilename(const std::string& moduleFile);
  void DeleteAllDrivers();
  void DrvClearAll() { DeleteAllDrivers(); }

  // --- Studio file --------------------------------------------------------------------------------------------------

  // Mode 0 writes the studio file, 1 asks for a name first, 2 as 0 after a check of the nodes.  0, 7 (write error,
  // told) or 9 (cancelled).  The text summary is written beside it.
  int DrvSaveSetup(int mode);
  // Mode 0 reads folder/file or, when they are empty, the studio file; 1 asks.  A missing or empty studio file makes
  // the studio from the instrument folder.  0 or the disk result code.
  int DrvLoadSetup(int mode, const std::filesystem::path& folder = {}, const std::string& file = {});
  Result SaveAsTextFile(const std::filesystem::path& folder, const std::string& file) const;
  // The bytes of the studio file and back.  Reading drops drivers whose file is missing and instruments left without
  // drivers.  0, 2 (record missing; what was read stays) or 3 (not a studio; `error` says what it is).
  std::vector<std::uint8_t> WriteStudio() const;
  int ReadStudio(const std::vector<std::uint8_t>& bytes, std::string* error);

  // --- Settings of an instrument ------------------------------------------------------------------------------------

  void ReadInstrumentDefaults(ZKDrvList* instrument);
  Result WriteInstrumentDefaults(const ZKDrvList* instrument) const;
  void AssignDefaultMIDIPorts(ZKDrvList* instrument);
  // Port names win over numbers; a missing name is derived from the number.
  void UpdatePortReferences();
  void UpdatePortNames(ZKDrvList* instrument);
  // Called when the list of ports changed: notes the difference in the monitor log and resolves the names again.
  void UpdateMidiPortsStatusChanged();

  // --- Looking up ---------------------------------------------------------------------------------------------------

  const std::vector<std::unique_ptr<ZKDrvList>>& instruments() const { return instruments_; }
  int NumInstalledInstruments() const;  // module INIs in the instrument folder
  std::vector<std::string> InstalledModules() const;
  bool IsInstrumentInstalled(const std::string& moduleFile) const;
  int GetInstrumentCount(const std::string& name) const;
  ZKDrvList* GetInstrument(int index) const;
  ZKDrvList* getDrvList(const std::string& moduleFile, int instance) const;
  ZKDrvList* GetInstrumentDrvList(const ZKDrvList* node) const;
  std::string GetInstrumentName(const ZKDrvList* node) const;
  void ApplyInstrumentName(const ZKDrvList* node, DataFile* dataFile) const;
  // Driver by the descriptor's driver id; null when there is none.
  ZKDrvList* GetDriverWithID(int id) const;
  DataFile* GetDFDriverWithID(int id) const;
  std::string GetDataFileDefn(int id) const;
  // Instrument by display key or name, without regard to case; a unique part of the name is enough ("dx7").
  ZKDrvList* FindInstrument(std::string_view name) const;
  ZKDrvList* FindDriver(std::string_view instrumentName, std::string_view type) const;

  // --- New data -----------------------------------------------------------------------------------------------------

  // New data of a driver's type with the settings of its instrument.  The driver's own record stays as it is; the new
  // image is the driver's initial image.  Null when memory is short or there is no such driver.
  DataFilePtr GetNewDataFile(int driverId, const std::string& name = {}) const;
  DataFilePtr GetNewDataFile(const ZKDrvList* driver, const std::string& name = {}) const;
  // Lets data that was read from a file use the ports and channels of its instrument in the studio.
  void DrvUpdateDataFile(DataFile* dataFile) const;

  // --- Messages sent without being asked --------------------------------------------------------------------------

  // What the SysEx maps of all instruments have set.
  SysXBase& sysExBase() { return sysExBase_; }

  // --- The world around ---------------------------------------------------------------------------------------------

  const StudioPaths& paths() const { return paths_; }
  std::filesystem::path studioFile() const { return studioFile_; }
  void SetPorts(StudioPorts* ports) { ports_ = ports; }
  // Called for the data folder of each driver loaded.
  void SetDataFolderSink(std::function<void(const std::string& folder)> sink) { dataFolderSink_ = std::move(sink); }
  // Called after instruments came, went or changed; may be empty.
  void SetChangeSink(std::function<void()> sink) { changeSink_ = std::move(sink); }

 private:
  void Changed();
  void GetPchInfo(ZKDrvList* driver) const;
  int FreeInstance(const std::string& name) const;
  bool LoadDriverOfRecord(ZKDrvList* driver);
  void ReadPortBlocks(const std::vector<std::uint8_t>& bytes, std::size_t at);
  std::vector<std::string> InNames() const;
  std::vector<std::string> OutNames() const;
  void ResolvePorts(ZKDrvList* instrument);

  StudioPaths paths_;
  Prompts& prompts_;
  StudioPorts* ports_;
  std::filesystem::path studioFile_;
  std::vector<std::unique_ptr<ZKDrvList>> instruments_;
  SysXBase sysExBase_;
  std::vector<std::string> lastInNames_, lastOutNames_;
  std::function<void(const std::string&)> dataFolderSink_;
  std::function<void()> changeSink_;
  bool loading_ = false;
};

}  // namespace tonalith
