#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "studio/instrument_defaults.h"
#include "studio/instrument_loader.h"
#include "studio/module_facts.h"
#include "studio/plugin_settings.h"
#include "studio/port_references.h"
#include "studio/studio_data.h"
#include "studio/studio_device_xml.h"
#include "studio/studio_file.h"
#include "studio/studio_list.h"
#include "studio/studio_report.h"
#include "studio/studio_surroundings.h"

namespace tonalith {

// The studio put together from its parts, on the user-interface thread only.  What needs one part should take that
// part; the operations here that only name one forward to it.
class ZKStudioDoc final {
 public:
  // Everything given must outlive the document; ports may be null (no MIDI).
  ZKStudioDoc(StudioPaths paths, Prompts& prompts, StudioPorts* ports = nullptr);
  ZKStudioDoc(const ZKStudioDoc&) = delete;
  ZKStudioDoc& operator=(const ZKStudioDoc&) = delete;

  // --- Parts --------------------------------------------------------------------------------------------------------

  StudioList& list() { return list_; }
  const StudioList& list() const { return list_; }
  StudioFile& file() { return file_; }
  const StudioFile& file() const { return file_; }
  ModuleFacts& facts() { return facts_; }
  const ModuleFacts& facts() const { return facts_; }
  const InstrumentDefaults& defaults() const { return defaults_; }
  const StudioReports& reports() const { return reports_; }
  const StudioData& data() const { return data_; }
  PluginInstances& plugins() { return plugins_; }

  // --- Operations over several parts --------------------------------------------------------------------------------

  // Empties the studio and adds every module of the instrument folder.  Returns the instruments added; nothing happens
  // and the answer is -1 when the user keeps a window open that uses an instrument.
  int LoadStudio();
  // Adds one instrument with all its drivers; false when it was not added (the user has been told why).  With `queue`
  // it is not sensed now but waits for TakeQueued, so that several are sensed in one go.
  bool AddDrivers(const std::string& moduleFile, bool queue = false);
  bool AddInstrument(const std::string& moduleFile, bool queue = false) { return AddDrivers(moduleFile, queue); }
  // As StudioList::PutBack, with the ports of today.
  ZKDrvList* PutBack(std::unique_ptr<ZKDrvList> instrument, int index);
  // To be called after every change of an instrument's channels, ports or patch bay: the defaults are written and the
  // listeners are told.  The result is that of writing.
  Result InstrumentChanged(const ZKDrvList* instrument);
  void GetMidiPortNames(std::vector<std::string>* inNames, std::vector<std::string>* outNames) const;
  bool SelDataFileHasDeviceInquiry() const;
  // The text of the check for drivers without a SysEx map; empty: all is well.
  std::string OnDriversMissingDescriptor() const { return reports_.DriversMissingDescriptor(SysExMapEntries); }
  // Data of two modules with one driver id stay as they are.
  void DrvCorrectIDForCollisions(DataFile* /*dataFile*/) const {}

  // --- The list -----------------------------------------------------------------------------------------------------

  const std::vector<std::unique_ptr<ZKDrvList>>& instruments() const { return list_.instruments(); }
  bool DeleteInstrument(ZKDrvList* node, bool ask = false) { return list_.DeleteInstrument(node, ask); }
  bool DeleteAllDrivers(bool ask = false) { return list_.DeleteAllDrivers(ask); }
  bool DrvClearAll(bool ask = false) { return list_.DeleteAllDrivers(ask); }
  bool RemoveInstrumentUsingFilename(const std::string& file) { return list_.RemoveInstrumentUsingFilename(file); }
  std::unique_ptr<ZKDrvList> TakeInstrument(ZKDrvList* node, int* index) { return list_.TakeInstrument(node, index); }
  std::vector<ZKDrvList*> TakeQueued() { return list_.TakeQueued(); }
  int GetInstrumentCount(const std::string& name) const { return list_.GetInstrumentCount(name); }
  ZKDrvList* GetInstrument(int index) const { return list_.GetInstrument(index); }
  ZKDrvList* getDrvList(const std::string& file, int instance) const { return list_.getDrvList(file, instance); }
  ZKDrvList* GetInstrumentDrvList(const ZKDrvList* node) const { return list_.GetInstrumentDrvList(node); }
  std::string GetInstrumentName(const ZKDrvList* node) const { return node ? node->DisplayKey() : std::string(); }
  ZKDrvList* GetDriverWithID(int id) const { return list_.GetDriverWithID(id); }
  DataFile* GetDFDriverWithID(int id) const { return list_.GetDFDriverWithID(id); }
  ZKDrvList* GetInfoWithID(int id) const { return list_.GetDriverWithID(id); }
  DataFile* GetSelDataFile() const { return list_.GetSelDataFile(); }
  std::string GetDataFileDefn(int id) const { return list_.GetDataFileDefn(id); }
  bool MainConfigDriver(int driverId) const { return list_.MainConfigDriver(driverId); }
  ZKDrvList* DriverOf(const DataFile* dataFile) const { return list_.DriverOf(dataFile); }
  ZKDrvList* FindInstrument(std::string_view name) const { return list_.FindInstrument(name); }
  ZKDrvList* FindDriver(std::string_view name, std::string_view type) const { return list_.FindDriver(name, type); }

  // --- The file -----------------------------------------------------------------------------------------------------

  int DrvSaveSetup(int mode) { return file_.DrvSaveSetup(mode); }
  int DrvLoadSetup(int mode, const std::filesystem::path& folder = {}, const std::string& name = {}) {
    return file_.DrvLoadSetup(mode, folder, name);
  }
  Result SaveAsTextFile(const std::filesystem::path& folder, const std::string& name) const {
    return file_.SaveAsTextFile(folder, name);
  }
  Result WriteStudioFile(const std::filesystem::path& target) const { return file_.WriteStudioFile(target); }
  int ReadStudio(const std::vector<std::uint8_t>& bytes, std::string* error) { return file_.ReadStudio(bytes, error); }
  std::filesystem::path studioFile() const { return file_.studioFile(); }
  void SetStudioFile(std::filesystem::path path) { file_.SetStudioFile(std::move(path)); }

  // --- Reports ------------------------------------------------------------------------------------------------------

  void SetupInformation(std::ostream& out, const StudioReportFacts& facts) const {
    reports_.SetupInformation(out, facts);
  }
  std::vector<StudioListingPage> DrvPrint(int linesPerPage = 66) const {
    return reports_.DrvPrint(studioFile(), linesPerPage);
  }
  std::string TextSummary() const { return reports_.TextSummary(); }
  std::string MidiDeviceXml(const std::vector<const ZKDrvList*>& instruments) const {
    return tonalith::MidiDeviceXml(list_, instruments);
  }
  Result BuildMIDIDeviceFiles(const std::string& name, const std::vector<const ZKDrvList*>& instruments,
                              std::filesystem::path* written = nullptr) const {
    return tonalith::BuildMIDIDeviceFiles(around_, list_, name, instruments, written);
  }

  // --- Settings of an instrument, facts of its module
  // -----------------------------------------------------------------

  void ReadInstrumentDefaults(ZKDrvList* instrument) const { defaults_.ReadInstrumentDefaults(instrument); }
  Result WriteInstrumentDefaults(const ZKDrvList* node) const { return defaults_.WriteInstrumentDefaults(node); }
  void AssignDefaultMIDIPorts(ZKDrvList* instrument) const { defaults_.AssignDefaultMIDIPorts(instrument); }
  void UpdatePortReferences() { portReferences_.UpdatePortReferences(); }
  void UpdatePortNames(ZKDrvList* instrument) { portReferences_.UpdatePortNames(instrument); }
  void UpdateMidiPortsStatusChanged() { portReferences_.UpdateMidiPortsStatusChanged(); }
  void SetDriverParmValue(DriverParm which, int value, int id) { plugins_.SetDriverParmValue(which, value, id); }
  PluginSettings ReadPluginDefaults(const std::string& instrumentName, int instance) const {
    return plugins_.ReadPluginDefaults(instrumentName, instance);
  }
  PluginSettings ReadPluginSettings(const ZKDrvList* node) const { return plugins_.ReadPluginSettings(node); }
  Result WritePluginSettings(const DataFile* dataFile) const { return plugins_.WritePluginSettings(dataFile); }
  std::vector<std::string> InstalledModules() const { return facts_.InstalledModules(); }
  int GetNumSetsForInstrument(const ZKDrvList* node) const { return facts_.GetNumSetsForInstrument(node); }
  std::vector<std::string> GetListOfSets(const ZKDrvList* node) const { return facts_.GetListOfSets(node); }
  std::vector<std::string> GetSetNamesForInstrument(const ZKDrvList* node) const {
    return facts_.GetSetNamesForInstrument(node);
  }
  void AssignGroupForInstrument(ZKDrvList* node, int group) const { facts_.AssignGroupForInstrument(node, group); }

  // --- Data ---------------------------------------------------------------------------------------------------------

  std::unique_ptr<ZKDrvList> DrvLoadDriver(const std::string& driverFile, const std::filesystem::path& folder,
                                           int setMember, int setMemberCopy) {
    return loader_.DrvLoadDriver(driverFile, folder, setMember, setMemberCopy);
  }
  DataFilePtr GetNewDataFile(int driverId, const std::string& name = {}) const {
    return data_.GetNewDataFile(driverId, name);
  }
  DataFilePtr GetNewDataFile(const ZKDrvList* driver, const std::string& name = {}) const {
    return data_.GetNewDataFile(driver, name);
  }
  void DrvUpdateDataFile(DataFile* dataFile, int update = -1) const { data_.DrvUpdateDataFile(dataFile, update); }
  void UpdateScripts(DataFile* dataFile) const { data_.UpdateScripts(dataFile); }
  std::string ScriptsSentence(const DataFile& dataFile) const { return data_.ScriptsSentence(dataFile); }
  std::string RefusalSentence(int driverId, std::span<const std::uint8_t> message) const {
    return data_.RefusalSentence(driverId, message);
  }

  // --- The world around (StudioSurroundings says what each is for)
  // -----------------------------------------------------

  const StudioPaths& paths() const { return around_.paths; }
  void SetPorts(StudioPorts* ports) { around_.ports = ports; }
  void SetSettings(const Settings* settings) { around_.settings = settings; }
  void SetHosted(bool hosted) { around_.hosted = hosted; }
  void SetCloseHook(std::function<bool(std::span<ZKDrvList* const>)> hook) { around_.closeWindows = std::move(hook); }
  void SetAutoSenseHook(std::function<void(ZKDrvList*)> hook) { around_.autoSense = std::move(hook); }
  void SetDataFolderSink(std::function<void(const std::string&)> sink) { around_.dataFolder = std::move(sink); }
  // Called after instruments came, went or changed, as one listener of the list; may be empty.
  void SetChangeSink(std::function<void()> sink);

 private:
  StudioSurroundings around_;
  StudioList list_;
  ModuleFacts facts_;
  InstrumentLoader loader_;
  InstrumentDefaults defaults_;
  PortReferences portReferences_;
  PluginInstances plugins_;
  StudioReports reports_;
  StudioData data_;
  StudioFile file_;
  int changeSink_ = 0;  // its number among the listeners
};

}  // namespace tonalith
