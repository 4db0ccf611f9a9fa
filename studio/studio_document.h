#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "platform/prompts.h"
#include "platform/result.h"
#include "studio/sysex_map.h"

namespace tonalith {

class IniFile;
class Settings;
class WindowCounters;

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
inline constexpr int kMaxModuleDrivers = 500;  // "NumDrivers" of a module counts no further
inline constexpr char kStudioFileName[] = "Default.PV9";
inline constexpr char kKeptStudioFile[] = "Default (previous).PV9";
inline constexpr std::uint8_t kPatchBayOn = 1, kPatchBayManual = 2, kPatchBayRevert = 4;

// Values of a node for a host that runs the program as a plug-in, in the order of the record.
struct ZKDrvParmSync {
  std::string displayName;
  int instance = 0;
  int driverId = 0;  // of an instrument: its first driver
  int reserved = 0;
  int sysExChannel = 0;
  int inPort = 0;
  int outPort = 0;
  int patchBayController = 0;
  int patchBayFlags = 0;
  int patchBayPort = 0;
  int patchBayRevertPatch = 0;
  std::string inPortName;
  std::string outPortName;
  std::string patchBayPortName;
  int end = -1;
};

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
  ZKDrvParmSync GetZKDrvParmSync() const;

  // Copied to the drivers and into their descriptors when this is an instrument.
  void SetSysExChannel(int channel);  // 0-based, kept inside the range each descriptor allows
  void SetMidiChannel(int channel);   // 0..15
  void SetInPort(int port, const std::string& portName);
  void SetOutPort(int port, const std::string& portName);
  void SetPatchBay(int flags, int channel, int port, int revertPatch, const std::string& portName);
  void SetPatchBayController(int controller);  // 0..127
  // Node values into the descriptor of this node and, for an instrument, of its drivers.
  void CopyToDescriptors();

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

// Channels and ports of one plug-in instance; -1 where nothing is stored.
struct PluginSettings {
  bool saved = false;
  int sysExChannel = -1;
  int midiChannel = -1;
  int inPort = -1;
  int outPort = -1;
  std::string inPortName;
  std::string outPortName;
  std::string set;      // the set the instance had open
  std::string setFile;  // its file among the sets of the module; empty when the module has no such set
};

// What SetDriverParmValue changes.
enum class DriverParm { DefaultPatch = 0, SysExChannel = 1, MidiChannel = 2, InPort = 3, OutPort = 4 };

// What the configuration report tells about the program around the studio.
struct StudioReportFacts {
  std::string programPath;
  int kernel[3] = {};                      // version of the system
  const WindowCounters* windows = nullptr;  // null: no windows were created
  // The version of the running kernel.
  static StudioReportFacts OfThisMachine(const std::string& programPath);
};

// A page of the printed listing: lines without line ends.
using StudioListingPage = std::vector<std::string>;

// The instruments the user has connected, in studio order.  Used on the user-interface thread only.
class ZKStudioDoc {
 public:
  // Everything given must outlive the document; ports may be null (no MIDI).
  ZKStudioDoc(StudioPaths paths, Prompts& prompts, StudioPorts* ports = nullptr);
  ~ZKStudioDoc();
  ZKStudioDoc(const ZKStudioDoc&) = delete;
  ZKStudioDoc& operator=(const ZKStudioDoc&) = delete;

  // --- Building -----------------------------------------------------------------------------------------------------

  // Empties the studio and adds every module of the instrument folder.  Returns the instruments added; nothing happens
  // and the answer is -1 when the user keeps a window open that uses an instrument.
  int LoadStudio();
  // Adds one instrument with all its drivers; false when it was not added (the user has been told why).  With `queue`
  // it is not sensed now but waits for TakeQueued, so that several are sensed in one go.
  bool AddDrivers(const std::string& moduleFile, bool queue = false);
  bool AddInstrument(const std::string& moduleFile, bool queue = false) { return AddDrivers(moduleFile, queue); }
  // Instruments that were added with `queue` since the last call and are still there.
  std::vector<ZKDrvList*> TakeQueued();
  // Loads a driver file into a new node; null when it cannot be read (the user has been told).
  std::unique_ptr<ZKDrvList> DrvLoadDriver(const std::string& driverFile, const std::filesystem::path& folder,
                                           int setMember, int setMemberCopy);
  // Removing closes the windows that use the instrument first; false when the user keeps one open or, with `ask`,
  // answers the question with no.  Nothing is removed then.
  bool DeleteInstrument(ZKDrvList* instrument, bool ask = false);
  bool DeleteAllDrivers(bool ask = false);
  bool DrvClearAll(bool ask = false) { return DeleteAllDrivers(ask); }
  // Matches the module file; true when an instrument went away.
  bool RemoveInstrumentUsingFilename(const std::string& moduleFile);
  // Removing that can be taken back: the instrument leaves the studio with its settings and drivers.  Null when the
  // user keeps a window open.  `index` (may be null) receives its place.
  std::unique_ptr<ZKDrvList> TakeInstrument(ZKDrvList* instrument, int* index);
  // Puts it in at `index` (cut to the list).  When its number was given to another copy meanwhile, it takes a free one.
  ZKDrvList* PutBack(std::unique_ptr<ZKDrvList> instrument, int index);
  // Places count from 0; false when one of them does not exist.
  bool MoveInstrument(int from, int to);

  // --- Studio file --------------------------------------------------------------------------------------------------

  // Mode 0 writes the studio file, 1 asks for a name first, 2 asks whether to save and then does as 0.  0, 7 (write
  // error, told) or 9 (cancelled).  The text summary is written beside it.  The file that was there before becomes
  // NAME~.  Nothing is written inside a host.
  int DrvSaveSetup(int mode);
  // Mode 0 reads folder/file or, when they are empty, the studio file; 1 asks.  A missing or empty studio file makes
  // the studio from the instrument folder.  0 or the disk result code (2: damaged, what could be read is loaded; 9: the
  // user cancelled or keeps a window open, nothing changed).
  // No saving after this costs the user anything that was in the file: a studio file that is none, or is damaged, is
  // set aside as NAME.bad, and when instruments of it could not be loaded a copy is kept as kKeptStudioFile.
  int DrvLoadSetup(int mode, const std::filesystem::path& folder = {}, const std::string& file = {});
  Result SaveAsTextFile(const std::filesystem::path& folder, const std::string& file) const;
  std::string TextSummary() const;
  // Writes the studio and its text summary; the file that was there becomes NAME~.
  Result WriteStudioFile(const std::filesystem::path& target) const;
  // The bytes of the studio file and back.  Reading drops drivers whose file is missing and instruments left without
  // drivers.  0, 2 (a record or a port-name block is missing, or bytes are left over; what was read stays) or 3 (not a
  // studio; `error` says what it is and the studio stays as it was).
  std::vector<std::uint8_t> WriteStudio() const;
  int ReadStudio(const std::vector<std::uint8_t>& bytes, std::string* error);

  // --- Reports ------------------------------------------------------------------------------------------------------

  // The configuration report, UTF-8.
  void SetupInformation(std::ostream& out, const StudioReportFacts& facts) const;
  // The printed listing.  A page has `linesPerPage` lines with a margin of three.
  std::vector<StudioListingPage> DrvPrint(int linesPerPage = 66) const;
  // Writes NAME.middev into the folder "MIDI Devices" of the data folder; `written` (may be null) receives its path.
  // An empty name or list is success without a file.  The user is told about a failure.
  Result BuildMIDIDeviceFiles(const std::string& name, const std::vector<const ZKDrvList*>& instruments,
                              std::filesystem::path* written = nullptr) const;
  std::string MidiDeviceXml(const std::vector<const ZKDrvList*>& instruments) const;
  // One line, ended by CR LF, for every driver id that should have a SysEx map and has none, or has an empty one.
  // `entriesOf` gives the number of entries of a map file.
  std::string DriversMissingDescriptor(const std::function<int(const std::filesystem::path& map)>& entriesOf) const;

  // --- Settings of an instrument ------------------------------------------------------------------------------------

  void ReadInstrumentDefaults(ZKDrvList* instrument);
  Result WriteInstrumentDefaults(const ZKDrvList* instrument) const;
  // To be called after every change of an instrument's channels, ports or patch bay: the defaults are written and the
  // change sink is called.  The result is that of writing.
  Result InstrumentChanged(const ZKDrvList* instrument);
  void AssignDefaultMIDIPorts(ZKDrvList* instrument);
  // Port names win over numbers; a missing name is derived from the number.
  void UpdatePortReferences();
  void UpdatePortNames(ZKDrvList* instrument);
  // Called when the list of ports changed: notes the difference in the monitor log and resolves the names again.
  void UpdateMidiPortsStatusChanged();
  void GetMidiPortNames(std::vector<std::string>* inNames, std::vector<std::string>* outNames) const;
  // For hosts: sets one value in node and descriptor of every driver with that id (0: of every driver).
  void SetDriverParmValue(DriverParm which, int value, int driverId);
  // "Plugins.ini" in the folder "Plugins" of the data folder.
  PluginSettings ReadPluginDefaults(const std::string& instrumentName, int instance) const;
  PluginSettings ReadPluginSettings(const ZKDrvList* node) const;
  Result WritePluginSettings(const DataFile* dataFile) const;

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
  ZKDrvList* GetInfoWithID(int id) const { return GetDriverWithID(id); }
  // The node selected in the studio window (an instrument or a driver); null: none.
  void SetSelection(ZKDrvList* node) { selection_ = node; }
  ZKDrvList* selection() const { return selection_; }
  // The data file of the selected driver, or of the first driver of the selected instrument.
  DataFile* GetSelDataFile() const;
  bool SelDataFileHasDeviceInquiry() const;
  std::string GetDataFileDefn(int id) const;
  // Instrument by display key or name, without regard to case; a unique word ("dx7"), else a unique part is enough.
  ZKDrvList* FindInstrument(std::string_view name) const;
  ZKDrvList* FindDriver(std::string_view instrumentName, std::string_view type) const;

  // --- What the module of a node says -------------------------------------------------------------------------------

  int GetNumSetsForInstrument(const ZKDrvList* node) const;
  // Files of the predefined sets, in order; those without a name are empty.
  std::vector<std::string> GetListOfSets(const ZKDrvList* node) const;
  // The same as names to show: without folder and extension.
  std::vector<std::string> GetSetNamesForInstrument(const ZKDrvList* node) const;
  // Marks the drivers of the instrument that belong to predefined set `group`.
  void AssignGroupForInstrument(ZKDrvList* node, int group) const;
  std::string GetInstrumentCustomLayout(const ZKDrvList* node) const;
  // Of the plug-in window; 0 where the module says nothing.
  std::pair<int, int> GetInstrumentWidthHeight(const ZKDrvList* node) const;
  bool GetInstrumentParentChild(const ZKDrvList* node) const;
  bool GetInstrumentNotPV(const ZKDrvList* node) const;
  bool IsLibrarian(const ZKDrvList* node) const;
  double UseScalingWithPlugins(const ZKDrvList* node) const;  // 0: the module says nothing
  int GetRequiredMemory(const ZKDrvList* node) const;
  // The module's picture; for collections its "_ipad.png" and "_ipad.jpg" variants come first.  Nothing when the module
  // names no picture, or the file is not there (the user is told once per file).
  std::optional<std::filesystem::path> InstrumentBitmap(const ZKDrvList* node, bool forCollection = false);
  // The folder of the module's files.
  std::filesystem::path ModuleFolder(const ZKDrvList* node) const;

  // --- New data -----------------------------------------------------------------------------------------------------

  // New data of a driver's type with the settings of its instrument.  The driver's own record stays as it is; the new
  // image is the driver's initial image.  Null when memory is short or there is no such driver.
  DataFilePtr GetNewDataFile(int driverId, const std::string& name = {}) const;
  DataFilePtr GetNewDataFile(const ZKDrvList* driver, const std::string& name = {}) const;
  // Lets data that was read from a file use the ports and channels of its instrument in the studio.  With automatic
  // updating (the setting MainAutoUpdate, or `update` of 0 or 1) also its scripts and its descriptor, except what
  // identifies the data and its number.
  void DrvUpdateDataFile(DataFile* dataFile, int update = -1) const;
  // The driver the data came from: of several instruments of one kind, the one whose name and instance it carries.
  ZKDrvList* DriverOf(const DataFile* dataFile) const;
  // Data of two modules with one driver id stay as they are.
  void DrvCorrectIDForCollisions(DataFile* /*dataFile*/) const {}
  // Whether data of this driver can be used: raw data (id 0), or an instrument in the studio has the driver.
  bool MainConfigDriver(int driverId) const;

  // --- Messages sent without being asked --------------------------------------------------------------------------

  // What the SysEx maps of all instruments have set.
  SysXBase& sysExBase() { return sysExBase_; }
  // Another number whenever instruments came, went or changed: what was made from the nodes before may be stale.
  std::uint64_t generation() const { return generation_; }
  // The text of the check for drivers without a SysEx map; empty: all is well.
  std::string OnDriversMissingDescriptor() const { return DriversMissingDescriptor(SysExMapEntries); }

  // --- The world around ---------------------------------------------------------------------------------------------

  const StudioPaths& paths() const { return paths_; }
  std::filesystem::path studioFile() const { return studioFile_; }
  // Says where the studio that was read with ReadStudio comes from; the next plain save is to the default file again.
  void SetStudioFile(std::filesystem::path file) { studioFile_ = std::move(file); }
  void SetPorts(StudioPorts* ports) { ports_ = ports; }
  // Settings of the program; may be null (defaults).  Must outlive the document.
  void SetSettings(const Settings* settings) { settings_ = settings; }
  // True while the program runs inside a host: the studio file is then not written.
  void SetHosted(bool hosted) { hosted_ = hosted; }
  // Closes all windows that use these instruments, each after its question about unsaved data.  False: the user keeps
  // one open.
  void SetCloseHook(std::function<bool(std::span<ZKDrvList* const>)> hook) { closeHook_ = std::move(hook); }
  // Runs auto-configuration on an instrument that was just added (called only when the user wants that).
  void SetAutoSenseHook(std::function<void(ZKDrvList*)> hook) { autoSenseHook_ = std::move(hook); }
  // Called for the data folder of each driver loaded.
  void SetDataFolderSink(std::function<void(const std::string& folder)> sink) { dataFolderSink_ = std::move(sink); }
  // Called after instruments came, went or changed; may be empty.
  void SetChangeSink(std::function<void()> sink) { changeSink_ = std::move(sink); }

 private:
  bool CloseWindowsOf(std::span<ZKDrvList* const> instruments);
  bool CloseAllWindows();
  void ModuleProblem(const std::string& title, const std::string& text, bool last);
  bool Ask(const std::string& question);
  void Forget(const ZKDrvList* instrument);
  std::unique_ptr<ZKDrvList> AddDriver(ZKDrvList* instrument, const IniFile& ini, const std::string& folder,
                                       int number);
  void Changed();
  void GetPchInfo(ZKDrvList* driver) const;
  int FreeInstance(const std::string& name) const;
  std::string ModuleOfRecord(const std::string& moduleFile) const;
  std::optional<std::string> FolderOfRecord(const ZKDrvList& driver) const;
  bool LoadDriverOfRecord(ZKDrvList* driver, const ZKDrvList& instrument);
  int ReadRecords(const std::vector<std::uint8_t>& bytes, std::size_t* at);
  bool ReadPortBlocks(const std::vector<std::uint8_t>& bytes, std::size_t at);
  Result KeepFormerFile(const std::filesystem::path& target, const std::vector<std::uint8_t>& fresh) const;
  int LoadDefaultStudio(const std::vector<std::uint8_t>& bytes);
  int RecoverStudio();
  bool PatchBaySupport() const;
  std::vector<std::string> InNames() const;
  std::vector<std::string> OutNames() const;
  void ResolvePorts(ZKDrvList* instrument);

  StudioPaths paths_;
  Prompts& prompts_;
  StudioPorts* ports_;
  std::filesystem::path studioFile_;
  std::vector<std::unique_ptr<ZKDrvList>> instruments_;
  const Settings* settings_ = nullptr;
  ZKDrvList* selection_ = nullptr;
  std::vector<ZKDrvList*> queued_;
  int failedModules_ = 0;      // this session
  bool quietModules_ = false;  // the user has seen enough of them
  int droppedNodes_ = 0;       // of the studio file read last
  bool hosted_ = false;
  std::set<std::string> toldPictures_;
  SysXBase sysExBase_;
  std::uint64_t generation_ = 1;
  std::vector<std::string> lastInNames_, lastOutNames_;
  std::function<void(const std::string&)> dataFolderSink_;
  std::function<void()> changeSink_;
  std::function<bool(std::span<ZKDrvList* const>)> closeHook_;
  std::function<void(ZKDrvList*)> autoSenseHook_;
  bool loading_ = false;
};

}  // namespace tonalith
