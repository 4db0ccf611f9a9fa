#include "services/zkbasics.h"

#include <utility>

#include "data/container.h"
#include "data/patch_names.h"
#include "midi/port_system.h"
#include "script/interpreter.h"
#include "script/transfer_engine.h"
#include "services/hosts.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/program_midi.h"
#include "services/registry.h"
#include "services/script_bridge.h"
#include "services/settings.h"
#include "services/single_instance.h"
#include "services/window_places.h"

namespace tonalith {

std::shared_ptr<ZKBasics> Program::MakeBasics(Program& program) {
  return std::make_shared<ZKBasics>(program);
}

// ---- components

Clock& ZKBasics::clock() {
  return program_.clock();
}
Prompts& ZKBasics::prompts() {
  return program_.prompts();
}
Dispatcher& ZKBasics::dispatcher() {
  return program_.dispatcher();
}
Registry& ZKBasics::registry() {
  return program_.registry();
}
Paths& ZKBasics::paths() {
  return program_.paths();
}
Settings& ZKBasics::settings() {
  return program_.settings();
}
SingleInstanceManager& ZKBasics::singleInstances() {
  return program_.singleInstances();
}
WindowPlaces& ZKBasics::windowPlaces() {
  return program_.windowPlaces();
}
MidiPortSystem& ZKBasics::midi() {
  return program_.midi();
}
MidiOut& ZKBasics::out() {
  return program_.out();
}
MidiIn& ZKBasics::in() {
  return program_.in();
}
ScriptBridge& ZKBasics::scripts() {
  return program_.scripts();
}
TransferEngine& ZKBasics::transfers() {
  return program_.transfers();
}
DiskAccess& ZKBasics::disk() {
  return program_.disk();
}
ZKAppVars& ZKBasics::appVars() {
  return program_.appVars();
}
Jobs& ZKBasics::jobs() {
  return program_.jobs();
}

// ---- what the rooms above plug in

void ZKBasics::SetDocuments(DocumentsHost* documents) {
  program_.SetDocuments(documents);
}
void ZKBasics::SetStudio(StudioHost* studio) {
  program_.SetStudio(studio);
}
void ZKBasics::SetTransferWindows(TransferWindowsHost* windows) {
  program_.SetTransferWindows(windows);
}
DocumentsHost* ZKBasics::documents() const {
  return program_.documents();
}
StudioHost* ZKBasics::studio() const {
  return program_.studio();
}

// ---- start and end

void ZKBasics::ConfigBasics() {
  program_.ConfigBasics();
}
void ZKBasics::LoadConfig() {
  program_.LoadConfig();
}
Result ZKBasics::SaveConfig() {
  return program_.SaveConfig();
}
Config* ZKBasics::GetConfig() {
  return program_.settings().GetConfig();
}
void ZKBasics::OpenMidiPorts() {
  program_.OpenMidiPorts();
}
void ZKBasics::CloseMidiPorts() {
  program_.CloseMidiPorts();
}
void ZKBasics::StopWork() {
  program_.StopWork();
}
void ZKBasics::SetOwnerName(std::string name) {
  program_.SetOwnerName(std::move(name));
}
const std::string& ZKBasics::ownerName() const {
  return program_.ownerName();
}
void ZKBasics::UpdateMidiPorts() {
  program_.midiSide().UpdateMidiPorts();
}
int ZKBasics::AddPortListener(std::function<void(int changes)> listener) {
  return program_.midiSide().AddPortListener(std::move(listener));
}
void ZKBasics::RemovePortListener(int id) {
  program_.midiSide().RemovePortListener(id);
}

// ---- settings

#define TONALITH_ROW(accessor, ...)             \
  int ZKBasics::accessor(int value) {           \
    return program_.settings().accessor(value); \
  }
TONALITH_ALL_NUMBER_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, ...)                    \
  int ZKBasics::accessor(int index, int value) {       \
    return program_.settings().accessor(index, value); \
  }
TONALITH_ARRAY_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, count, field, entries)         \
  int ZKBasics::count(int value) {                            \
    return program_.settings().count(value);                  \
  }                                                           \
  std::string ZKBasics::accessor(int index) const {           \
    return program_.settings().accessor(index);               \
  }                                                           \
  bool ZKBasics::accessor(int index, std::string_view path) { \
    return program_.settings().accessor(index, path);         \
  }
TONALITH_LIST_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, ...)        \
  std::string ZKBasics::accessor() const { \
    return program_.settings().accessor(); \
  }
TONALITH_TEXT_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW

// ---- the rest in the order of the header

std::string ZKBasics::MainGetSeqPathFile(int buffer) const {
  return program_.settings().MainGetSeqPathFile(buffer);
}
int ZKBasics::ShowTransmitWindow(int value) {
  return program_.settings().MainShowTransmitWindow(value);
}
int ZKBasics::MainEnvironment(int value) {
  return program_.paths().MainEnvironment(value);
}
int ZKBasics::MainProgramType() const {
  return program_.paths().MainProgramType();
}
Result ZKBasics::MainLoadCfg(const std::string& name, void* record, std::size_t size) {
  return tonalith::MainLoadCfg(name, record, size);
}
Result ZKBasics::MainSaveCfg(const std::string& name, const void* record, std::size_t size) {
  return tonalith::MainSaveCfg(name, record, size);
}
void ZKBasics::MainLoadConfig(const std::string& cfgName, const std::string& iniName) {
  program_.settings().MainLoadConfig(cfgName, iniName, program_.paths().MainGetPreferencesPath());
}
void ZKBasics::MainGetProgramPath(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetProgramPath());
}
void ZKBasics::MainGetResourcePath(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetResourcePath());
}
void ZKBasics::MainGetCodePath(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetCodePath());
}
void ZKBasics::MainGetPreferencesPath(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetPreferencesPath());
}
void ZKBasics::MainGetPreferencesIni(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetPreferencesIni());
}
void ZKBasics::MainGetCompanyName(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetCompanyName());
}
void ZKBasics::MainGetApplicationName(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetApplicationName());
}
void ZKBasics::MainGetApplicationSupportPath(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetApplicationSupportPath());
}
void ZKBasics::MainGetApplicationSupportPathSystem(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetApplicationSupportPathSystem());
}
void ZKBasics::MainGetInstrPath(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetInstrPath());
}
void ZKBasics::MainGetDataPath(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetDataPath());
}
void ZKBasics::MainGetInstallPath(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().MainGetInstallPath());
}
void ZKBasics::GetZKIni(char* out, int length) const {
  CopyPathOut(out, length, program_.paths().GetZKIni());
}
void ZKBasics::SetZKIni(const std::string& path) {
  program_.paths().SetZKIni(path);
}
void ZKBasics::MainSetProgramPath(const std::string& path) {
  program_.paths().MainSetProgramPath(path);
}
void ZKBasics::MainSetInstrPath(const std::string& path) {
  program_.paths().MainSetInstrPath(path);
}
void ZKBasics::MainSetDataPath(const std::string& path) {
  program_.paths().MainSetDataPath(path);
}
std::string ZKBasics::BuildConfigFilename() const {
  return program_.paths().BuildConfigFilename();
}
bool ZKBasics::SetRegistry(std::string_view name, std::string_view value, bool noVersion) {
  return program_.registry().SetRegistry(name, value, noVersion);
}
std::string ZKBasics::mainGetKey(std::string_view name) const {
  return program_.registry().mainGetKey(name);
}
bool ZKBasics::MainGetLeftTop(int mode, int window, WindowPlace& place) {
  return program_.windowPlaces().MainGetLeftTop(mode, window, place);
}
bool ZKBasics::SingleInstanceExists(std::string_view name) const {
  return program_.singleInstances().Exists(name);
}
void ZKBasics::SingleInstanceAdd(std::string_view name) {
  program_.singleInstances().Add(name);
}
bool ZKBasics::SingleInstanceRemove(std::string_view name) {
  return program_.singleInstances().Remove(name);
}
void* ZKBasics::AllocMem(std::uint32_t size, unsigned flags) {
  return (void)flags, tonalith::AllocMem(size);
}
void ZKBasics::FreeMem(void* pointer, std::uint32_t size) {
  tonalith::FreeMem(pointer, size);
}
void ZKBasics::FlipLong(std::uint32_t* value) {
  tonalith::FlipLong(value);
}
void ZKBasics::FlipWord(std::uint16_t* value) {
  tonalith::FlipWord(value);
}
void ZKBasics::MacFlipLong(std::uint32_t* value) {
  tonalith::FlipLong(value);
}
void ZKBasics::MacFlipWord(std::uint16_t* value) {
  tonalith::FlipWord(value);
}
bool ZKBasics::MainConfigDriver(std::uint16_t driverId) const {
  return program_.MainConfigDriver(driverId);
}
int ZKBasics::DiskRead(int kind, const std::string& dir, const std::string& name, const std::string& find,
                       DataFile* dataFile, int mode) {
  return program_.disk().DiskRead(kind, dir, name, find, dataFile, mode);
}
int ZKBasics::DiskWrite(int kind, const std::string& dir, const std::string& name, DataFile* dataFile) {
  return program_.disk().DiskWrite(kind, dir, name, dataFile);
}
int ZKBasics::DiskDataBaseRead(const std::string& dir, const std::string& name, ListFile* list, int mode) {
  return program_.disk().DiskDataBaseRead(dir, name, list, mode);
}
int ZKBasics::DiskDataBaseWrite(const std::string& dir, const std::string& name, const ListFile& list) {
  return program_.disk().DiskDataBaseWrite(dir, name, list);
}
void ZKBasics::GetPatchName(const DataFile* dataFile, int patch, char* out) {
  tonalith::GetPatchName(dataFile, patch, out);
}
bool ZKBasics::SetPatchName(DataFile* dataFile, int patch, std::string_view name) {
  return tonalith::SetPatchName(dataFile, patch, name);
}
std::vector<std::string> ZKBasics::LoadPatchNames(const DataFile& dataFile) {
  return tonalith::LoadPatchNames(dataFile);
}
void ZKBasics::BuildName(const Synth* synth, const char* givenName, std::span<const std::uint8_t> image, char* out) {
  tonalith::BuildName(synth, givenName, image, out);
}
void ZKBasics::FixInvalidFilenameCharacters(char* name) {
  tonalith::FixInvalidFilenameCharacters(name);
}
std::int64_t ZKBasics::SendData(std::span<const std::uint8_t> data) {
  return program_.out().SendData(data);
}
std::int64_t ZKBasics::SendDataPort(std::span<const std::uint8_t> data, int port) {
  return program_.out().SendDataPort(data, port);
}
int ZKBasics::SendDataX(int port, std::span<const std::uint8_t> data, std::uint32_t chunk) {
  return program_.out().SENDDATAX(port, data, chunk);
}
std::int64_t ZKBasics::GetData(std::span<std::uint8_t> buffer) {
  return program_.in().GetData(buffer);
}
std::int64_t ZKBasics::GetDataSkip(std::span<std::uint8_t> buffer, std::int64_t skip) {
  return program_.in().GetDataSkip(buffer, skip);
}
std::int64_t ZKBasics::GetDataPort(std::span<std::uint8_t> buffer, int port) {
  return program_.in().GetDataPort(buffer, port);
}
std::int64_t ZKBasics::GetDataPort1(std::span<std::uint8_t> buffer, int port) {
  return program_.in().GetDataPort1(buffer, port);
}
std::int64_t ZKBasics::GetDataSkipPort(std::span<std::uint8_t> buffer, std::int64_t skip, int port) {
  return program_.in().GetDataSkipPort(buffer, skip, port);
}
void ZKBasics::SetBlockMidi(bool blocked) {
  program_.out().SetBlockMidi(blocked);
}
int ZKBasics::MidiIODataFile(std::shared_ptr<TransferObserver> requester, TransferOperation operation,
                             DataFile* dataFile, int showWindow, std::function<void()> done) {
  return program_.transfers().MidiIODataFile(std::move(requester), operation, dataFile, showWindow, std::move(done));
}
int ZKBasics::MidiIODataFileFn(TransferOperation operation, DataFile* dataFile, int patchIndex) {
  return program_.transfers().MidiIODataFileFn(operation, dataFile, patchIndex);
}
int ZKBasics::MidiSendDataFileAll(DataFile* dataFile) {
  return program_.transfers().MidiSendDataFileAll(dataFile);
}
int ZKBasics::MidiSendDataFile(DataFile* dataFile, int patchIndex, int flags, std::uint8_t* patchBuffer) {
  return program_.transfers().MidiSendDataFile(dataFile, patchIndex, flags, patchBuffer);
}
int ZKBasics::MidiIO(TransferOperation operation, std::span<std::uint8_t> buffer, Synth& synth) {
  return program_.transfers().MidiIO(operation, buffer, synth);
}
int ZKBasics::MidiSend(const Synth& synth, std::span<std::uint8_t> buffer) {
  return program_.transfers().MidiSend(synth, buffer);
}
int ZKBasics::MidiSendNoMsg(const Synth& synth, std::span<std::uint8_t> buffer) {
  return program_.transfers().MidiSendNoMsg(synth, buffer);
}
int ZKBasics::GetNewPchNumber(DataFile* dataFile, TransferOperation operation) {
  return program_.transfers().GetNewPchNumber(dataFile, operation);
}
void ZKBasics::ClearPortReceiveState(int port) {
  program_.transfers().ClearPortReceiveState(port);
}
void ZKBasics::OpenZKMidiOutStatus(int port, std::uint32_t total) {
  program_.transfers().OpenZKMidiOutStatus(port, total);
}
void ZKBasics::SetFirstEvent(bool record, Event** list) {
  program_.scripts().SetFirstEvent(record, list);
}
Event** ZKBasics::GetFirstEvent() {
  return program_.scripts().GetFirstEvent();
}
void ZKBasics::CreateDelayEvent(int port, std::uint32_t ms, TransferContext& context) {
  program_.scripts().CreateDelayEvent(port, ms, context);
}
int ZKBasics::MidiMacroA(TransferContext& context, Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer,
                         std::uint8_t channel, std::int32_t xValue, bool setRegisters,
                         std::span<std::int32_t> variables, bool returnRet) {
  return tonalith::MidiMacroA(program_.scripts(), context, synth, code, buffer, channel, xValue, setRegisters,
                              variables, returnRet);
}
int ZKBasics::MidiMacroEdit(TransferContext& context, Synth& synth, std::span<const std::uint8_t> code,
                            MacroBuffer buffer, std::uint8_t channel, std::int32_t xValue,
                            std::span<std::int32_t> variables, bool returnRet, std::int32_t w, std::int32_t y,
                            std::int32_t z) {
  return tonalith::MidiMacroEdit(program_.scripts(), context, synth, code, buffer, channel, xValue, variables,
                                 returnRet, w, y, z);
}
int ZKBasics::MidiMacro(TransferContext& context, Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer,
                        std::uint8_t channel, std::int32_t xValue, std::int32_t extra) {
  return tonalith::MidiMacro(program_.scripts(), context, synth, code, buffer, channel, xValue, extra);
}
int ZKBasics::MidiMacroB(TransferContext& context, std::span<const std::uint8_t> code,
                         std::span<const std::int32_t, 4> registers, std::span<std::int32_t> variables,
                         int channelAndMode) {
  return tonalith::MidiMacroB(program_.scripts(), context, code, registers, variables, channelAndMode);
}
void ZKBasics::SetEditMacros(std::shared_ptr<const MacroTable> macros) {
  program_.scripts().SetEditMacros(std::move(macros));
}
void ZKBasics::DisplayMessage(const std::string& text, TransferContext& context) {
  program_.scripts().DisplayMessage(text, context);
}
void ZKBasics::MonitorMsg(const std::string& text) {
  program_.scripts().MonitorLine(text);
}
void ZKBasics::ZKBasicsSentDataFile(DataFile* dataFile) {
  program_.scripts().SentDataFile(dataFile);
}
int ZKBasics::MainGetSynCompileSize(int size) {
  return program_.MainGetSynCompileSize(size);
}

}  // namespace tonalith
