#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "data/container.h"
#include "data/patch_names.h"
#include "midi/port_system.h"
#include "platform/jobs.h"
#include "platform/log.h"
#include "script/interpreter.h"
#include "script/transfer_engine.h"
#include "services/hosts.h"
#include "services/paths.h"
#include "services/registry.h"
#include "services/script_bridge.h"
#include "services/settings.h"
#include "services/single_instance.h"
#include "services/window_places.h"

namespace tonalith {

// The services of the program, one object a process.  It owns the components below and wires them together; its named
// operations only forward to them.  New code takes the component it needs.
//
// Made and destroyed on the user-interface thread, which must be the dispatcher's target thread.  The clock, the
// prompts and the dispatcher outlive it; hosts are plugged in by whoever puts the program together.
class ZKBasics {
 public:
  ZKBasics(Folders folders, Clock& clock, Prompts& prompts, Dispatcher& dispatcher);
  ZKBasics(const ZKBasics&) = delete;
  ZKBasics& operator=(const ZKBasics&) = delete;
  ~ZKBasics();

  // ---- components
  Clock& clock() { return clock_; }
  Prompts& prompts() { return prompts_; }
  Dispatcher& dispatcher() { return dispatcher_; }
  Registry& registry() { return registry_; }
  Paths& paths() { return paths_; }
  Settings& settings() { return settings_; }
  SingleInstanceManager& singleInstances() { return singleInstances_; }
  WindowPlaces& windowPlaces() { return places_; }
  MidiPortSystem& midi() { return midi_; }
  MidiOut& out() { return midi_.out(); }
  MidiIn& in() { return midi_.in(); }
  ScriptBridge& scripts() { return scripts_; }
  TransferEngine& transfers() { return transfers_; }
  DiskAccess& disk() { return disk_; }
  ZKAppVars& appVars() { return appVars_; }
  Jobs& jobs() { return jobs_; }

  // ---- what the rooms above plug in; null takes it away
  void SetDocuments(DocumentsHost* documents);
  void SetStudio(StudioHost* studio) { studio_ = studio; }
  void SetTransferWindows(TransferWindowsHost* windows) { scripts_.SetWindows(windows); }
  void SetScriptHost(ScriptHost* host) { scripts_.SetScriptHost(host); }
  DocumentsHost* documents() const { return documents_; }
  StudioHost* studio() const { return studio_; }
  ScriptHost* scriptHost() { return scripts_.Host(); }

  // ---- start and end
  void ConfigBasics() { paths_.ConfigBasics(); }
  void LoadConfig();
  Result SaveConfig() { return settings_.SaveConfig(paths_.BuildConfigFilename()); }
  Config* GetConfig() { return settings_.GetConfig(); }
  // Starts the backends and the port monitor and opens the ports of the profile.
  void OpenMidiPorts();
  void CloseMidiPorts();
  // Cancels transfers, scripts and jobs; what is received so far is kept or dropped as a cancel does.
  void StopWork();
  void SetOwnerName(std::string name) { ownerName_ = std::move(name); }
  const std::string& ownerName() const { return ownerName_; }

  // Looks which devices came and went, opens and closes ports accordingly and ends transfers on ports that are gone.
  // Runs by itself when the port monitor sees a change.  The listeners are called afterwards.
  void UpdateMidiPorts();
  int AddPortListener(std::function<void(int changes)> listener);
  void RemovePortListener(int id);

  // ---- settings: a value of 0 or more stores, -1 reads
#define TONALITH_ROW(accessor, ...)   \
  int accessor(int value) {           \
    return settings_.accessor(value); \
  }
  TONALITH_NUMBER_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, ...)          \
  int accessor(int index, int value) {       \
    return settings_.accessor(index, value); \
  }
  TONALITH_ARRAY_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, count, field, entries) \
  int count(int value) {                              \
    return settings_.count(value);                    \
  }                                                   \
  std::string accessor(int index) const {             \
    return settings_.accessor(index);                 \
  }                                                   \
  bool accessor(int index, std::string_view path) {   \
    return settings_.accessor(index, path);           \
  }
  TONALITH_LIST_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, ...) \
  std::string accessor() const {    \
    return settings_.accessor();    \
  }
  TONALITH_TEXT_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
  std::string MainGetSeqPathFile(int buffer) const {
    return settings_.MainGetSeqPathFile(buffer);
  }
  int ShowTransmitWindow(int value) {
    return settings_.MainShowTransmitWindow(value);
  }
  int MainEnvironment(int value = -1) {
    return paths_.MainEnvironment(value);
  }
  int MainProgramType() const {
    return paths_.MainProgramType();
  }
  // Capacity of compiled scripts in the authoring tools, bytes; a size of 1 or more stores it.
  int MainGetSynCompileSize(int size);
  Result MainLoadCfg(const std::string& name, void* record, std::size_t size) {
    return tonalith::MainLoadCfg(name, record, size);
  }
  Result MainSaveCfg(const std::string& name, const void* record, std::size_t size) {
    return tonalith::MainSaveCfg(name, record, size);
  }
  void MainLoadConfig(const std::string& cfgName, const std::string& iniName) {
    settings_.MainLoadConfig(cfgName, iniName, paths_.MainGetPreferencesPath());
  }

  // ---- paths, into a buffer of `length` bytes (cut to length - 1)
  void MainGetProgramPath(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetProgramPath());
  }
  void MainGetResourcePath(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetResourcePath());
  }
  void MainGetCodePath(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetCodePath());
  }
  void MainGetPreferencesPath(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetPreferencesPath());
  }
  void MainGetPreferencesIni(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetPreferencesIni());
  }
  void MainGetCompanyName(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetCompanyName());
  }
  void MainGetApplicationName(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetApplicationName());
  }
  void MainGetApplicationSupportPath(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetApplicationSupportPath());
  }
  void MainGetApplicationSupportPathSystem(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetApplicationSupportPathSystem());
  }
  void MainGetInstrPath(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetInstrPath());
  }
  void MainGetDataPath(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetDataPath());
  }
  void MainGetInstallPath(char* out, int length) const {
    CopyPathOut(out, length, paths_.MainGetInstallPath());
  }
  void GetZKIni(char* out, int length) const {
    CopyPathOut(out, length, paths_.GetZKIni());
  }
  void SetZKIni(const std::string& path) {
    paths_.SetZKIni(path);
  }
  void MainSetProgramPath(const std::string& path) {
    paths_.MainSetProgramPath(path);
  }
  void MainSetInstrPath(const std::string& path) {
    paths_.MainSetInstrPath(path);
  }
  void MainSetDataPath(const std::string& path) {
    paths_.MainSetDataPath(path);
  }
  std::string BuildConfigFilename() const {
    return paths_.BuildConfigFilename();
  }

  // ---- registry and single instances
  bool SetRegistry(std::string_view name, std::string_view value, bool noVersion = false) {
    return registry_.SetRegistry(name, value, noVersion);
  }
  std::string mainGetKey(std::string_view name) const {
    return registry_.mainGetKey(name);
  }
  // mode below 0 reads the window's last place (false when there is none), else stores it.
  bool MainGetLeftTop(int mode, int window, WindowPlace& place) {
    return mode < 0 ? places_.Read(window, place) : places_.Store(window, place);
  }
  bool SingleInstanceExists(std::string_view name) const {
    return singleInstances_.Exists(name);
  }
  void SingleInstanceAdd(std::string_view name) {
    singleInstances_.Add(name);
  }
  bool SingleInstanceRemove(std::string_view name) {
    return singleInstances_.Remove(name);
  }

  // ---- memory and records
  void* AllocMem(std::uint32_t size, unsigned flags = 0) {
    return (void)flags, tonalith::AllocMem(size);
  }
  void FreeMem(void* pointer, std::uint32_t size = 0) {
    tonalith::FreeMem(pointer, size);
  }
  void FlipLong(std::uint32_t* value) {
    tonalith::FlipLong(value);
  }
  void FlipWord(std::uint16_t* value) {
    tonalith::FlipWord(value);
  }
  void MacFlipLong(std::uint32_t* value) {
    tonalith::FlipLong(value);
  }
  void MacFlipWord(std::uint16_t* value) {
    tonalith::FlipWord(value);
  }
  bool MainConfigDriver(std::uint16_t driverId) const {
    return !studio_ || studio_->MainConfigDriver(driverId);
  }

  // ---- disk
  int DiskRead(int kind, const std::string& dir, const std::string& name, const std::string& find, DataFile* dataFile,
               int mode) {
    return disk_.DiskRead(kind, dir, name, find, dataFile, mode);
  }
  int DiskWrite(int kind, const std::string& dir, const std::string& name, DataFile* dataFile) {
    return disk_.DiskWrite(kind, dir, name, dataFile);
  }
  int DiskDataBaseRead(const std::string& dir, const std::string& name, ListFile* list, int mode) {
    return disk_.DiskDataBaseRead(dir, name, list, mode);
  }
  int DiskDataBaseWrite(const std::string& dir, const std::string& name, const ListFile& list) {
    return disk_.DiskDataBaseWrite(dir, name, list);
  }

  // ---- names
  void GetPatchName(const DataFile* dataFile, int patch, char* out) {
    tonalith::GetPatchName(dataFile, patch, out);
  }
  bool SetPatchName(DataFile* dataFile, int patch, std::string_view name) {
    return tonalith::SetPatchName(dataFile, patch, name);
  }
  std::vector<std::string> LoadPatchNames(const DataFile& dataFile) {
    return tonalith::LoadPatchNames(dataFile);
  }
  void BuildName(const Synth* synth, const char* givenName, std::span<const std::uint8_t> image, char* out) {
    tonalith::BuildName(synth, givenName, image, out);
  }
  void FixInvalidFilenameCharacters(char* name) {
    tonalith::FixInvalidFilenameCharacters(name);
  }

  // ---- MIDI
  std::int64_t SendData(std::span<const std::uint8_t> data) {
    return out().SendData(data);
  }
  std::int64_t SendDataPort(std::span<const std::uint8_t> data, int port) {
    return out().SendDataPort(data, port);
  }
  int SendDataX(int port, std::span<const std::uint8_t> data, std::uint32_t chunk = 0) {
    return out().SENDDATAX(port, data, chunk);
  }
  std::int64_t GetData(std::span<std::uint8_t> buffer) {
    return in().GetData(buffer);
  }
  std::int64_t GetDataSkip(std::span<std::uint8_t> buffer, std::int64_t skip) {
    return in().GetDataSkip(buffer, skip);
  }
  std::int64_t GetDataPort(std::span<std::uint8_t> buffer, int port) {
    return in().GetDataPort(buffer, port);
  }
  std::int64_t GetDataPort1(std::span<std::uint8_t> buffer, int port) {
    return in().GetDataPort1(buffer, port);
  }
  std::int64_t GetDataSkipPort(std::span<std::uint8_t> buffer, std::int64_t skip, int port) {
    return in().GetDataSkipPort(buffer, skip, port);
  }
  void SetBlockMidi(bool blocked) {
    out().SetBlockMidi(blocked);
  }

  // ---- transfers
  int MidiIODataFile(std::shared_ptr<TransferObserver> requester, TransferOperation operation, DataFile* dataFile,
                     int showWindow, std::function<void()> done = {}) {
    return transfers_.MidiIODataFile(std::move(requester), operation, dataFile, showWindow, std::move(done));
  }
  int MidiIODataFileFn(TransferOperation operation, DataFile* dataFile, int patchIndex = -1) {
    return transfers_.MidiIODataFileFn(operation, dataFile, patchIndex);
  }
  int MidiSendDataFileAll(DataFile* dataFile) {
    return transfers_.MidiSendDataFileAll(dataFile);
  }
  int MidiSendDataFile(DataFile* dataFile, int patchIndex, int flags, std::uint8_t* patchBuffer) {
    return transfers_.MidiSendDataFile(dataFile, patchIndex, flags, patchBuffer);
  }
  int MidiIO(TransferOperation operation, std::span<std::uint8_t> buffer, Synth& synth) {
    return transfers_.MidiIO(operation, buffer, synth);
  }
  int MidiSend(const Synth& synth, std::span<std::uint8_t> buffer) {
    return transfers_.MidiSend(synth, buffer);
  }
  int MidiSendNoMsg(const Synth& synth, std::span<std::uint8_t> buffer) {
    return transfers_.MidiSendNoMsg(synth, buffer);
  }
  int GetNewPchNumber(DataFile* dataFile, TransferOperation operation) {
    return transfers_.GetNewPchNumber(dataFile, operation);
  }
  void ClearPortReceiveState(int port) {
    transfers_.ClearPortReceiveState(port);
  }
  void OpenZKMidiOutStatus(int port, std::uint32_t total) {
    transfers_.OpenZKMidiOutStatus(port, total);
  }
  void SetFirstEvent(bool record, Event** list) {
    tonalith::SetFirstEvent(record, list);
  }
  Event** GetFirstEvent() {
    return tonalith::GetFirstEvent();
  }
  void CreateDelayEvent(int port, std::uint32_t ms, TransferContext& context) {
    scripts_.CreateDelayEvent(port, ms, context);
  }

  // ---- scripts
  int MidiMacroA(TransferContext& context, Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer,
                 std::uint8_t channel, std::int32_t xValue, bool setRegisters, VariableBlock variables,
                 bool returnRet) {
    return tonalith::MidiMacroA(scripts_, context, synth, code, buffer, channel, xValue, setRegisters, variables,
                                returnRet);
  }
  int MidiMacroEdit(TransferContext& context, Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer,
                    std::uint8_t channel, std::int32_t xValue, VariableBlock variables, bool returnRet, std::int32_t w,
                    std::int32_t y, std::int32_t z) {
    return tonalith::MidiMacroEdit(scripts_, context, synth, code, buffer, channel, xValue, variables, returnRet, w, y,
                                   z);
  }
  int MidiMacro(TransferContext& context, Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer,
                std::uint8_t channel, std::int32_t xValue, std::int32_t extra) {
    return tonalith::MidiMacro(scripts_, context, synth, code, buffer, channel, xValue, extra);
  }
  int MidiMacroB(TransferContext& context, std::span<const std::uint8_t> code,
                 std::span<const std::int32_t, 4> registers, VariableBlock variables, int channelAndMode) {
    return tonalith::MidiMacroB(scripts_, context, code, registers, variables, channelAndMode);
  }
  void SetEditMacros(std::shared_ptr<const MacroTable> macros) {
    scripts_.SetEditMacros(std::move(macros));
  }
  void DisplayMessage(const std::string& text, TransferContext& context) {
    scripts_.DisplayMessage(text, context);
  }
  void MonitorMsg(const std::string& text) {
    scripts_.MonitorLine(text);
  }
  void ZKBasicsSentDataFile(DataFile* dataFile) {
    scripts_.SentDataFile(dataFile);
  }

 private:
  // The studio and the prompts as readers of data files see them.
  class DiskBridge final : public DiskHooks {
   public:
    explicit DiskBridge(ZKBasics& basics) : basics_(basics) {}
    bool MainConfigDriver(std::uint16_t driverId) override { return basics_.MainConfigDriver(driverId); }
    void DrvCorrectIDForCollisions(DataFile* dataFile) override;
    void DrvUpdateDataFile(DataFile* dataFile) override;
    void ShowMessage(const std::string& title, const std::string& text) override;

   private:
    ZKBasics& basics_;
  };

  void SettingChanged(SettingId id, int value);
  void PassEcho();
  std::vector<std::string> PortNames(MidiDirection direction);
  void EndTransfersOfMovedPorts(MidiDirection direction, const std::vector<std::string>& before);

  Clock& clock_;
  Prompts& prompts_;
  Dispatcher& dispatcher_;
  Registry registry_;
  Paths paths_;
  Settings settings_;
  SingleInstanceManager singleInstances_;
  WindowPlaces places_;
  ZKAppVars appVars_;
  DiskBridge diskBridge_;
  DiskAccess disk_;
  MidiPortSystem midi_;
  ScriptBridge scripts_;
  TransferEngine transfers_;
  Jobs jobs_;
  Receiver receiver_;
  DocumentsHost* documents_ = nullptr;
  StudioHost* studio_ = nullptr;
  std::string ownerName_;
  int synCompileSize_ = 15000;
  int settingsListener_ = 0;
  int portChangeListener_ = 0;
  std::vector<std::pair<int, std::function<void(int)>>> portListeners_;
  int nextPortListener_ = 1;
};

}  // namespace tonalith
