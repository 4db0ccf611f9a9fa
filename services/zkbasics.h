#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"
#include "services/settings_table.h"

namespace tonalith {

class Clock;
class DiskAccess;
class Dispatcher;
class DocumentsHost;
class Jobs;
class MidiIn;
class MidiOut;
class MidiPortSystem;
class Paths;
class Program;
class Prompts;
class Registry;
class ScriptBridge;
class Settings;
class SingleInstanceManager;
class StudioHost;
class TransferEngine;
class TransferObserver;
class TransferWindowsHost;
class WindowPlaces;
class ZKAppVars;
enum class TransferOperation : int;
struct Config;
struct DataFile;
struct Event;
struct ListFile;
struct MacroBuffer;
struct MacroTable;
struct Synth;
struct TransferContext;
struct WindowPlace;

// The operations of a program by the names they are described under.  Each is one line that forwards to the component
// that owns the matter; new code takes that component from Program, or better is given it.  Belongs to a Program.
class ZKBasics {
 public:
  explicit ZKBasics(Program& program) : program_(program) {}
  ZKBasics(const ZKBasics&) = delete;
  ZKBasics& operator=(const ZKBasics&) = delete;

  // ---- components
  Program& program() { return program_; }
  Clock& clock();
  Prompts& prompts();
  Dispatcher& dispatcher();
  Registry& registry();
  Paths& paths();
  Settings& settings();
  SingleInstanceManager& singleInstances();
  WindowPlaces& windowPlaces();
  MidiPortSystem& midi();
  MidiOut& out();
  MidiIn& in();
  ScriptBridge& scripts();
  TransferEngine& transfers();
  DiskAccess& disk();
  ZKAppVars& appVars();
  Jobs& jobs();

  // ---- what the rooms above plug in
  void SetDocuments(DocumentsHost* documents);
  void SetStudio(StudioHost* studio);
  void SetTransferWindows(TransferWindowsHost* windows);
  DocumentsHost* documents() const;
  StudioHost* studio() const;

  // ---- start and end
  void ConfigBasics();
  void LoadConfig();
  Result SaveConfig();
  Config* GetConfig();
  void OpenMidiPorts();
  void CloseMidiPorts();
  void StopWork();
  void SetOwnerName(std::string name);
  const std::string& ownerName() const;
  void UpdateMidiPorts();
  int AddPortListener(std::function<void(int changes)> listener);
  void RemovePortListener(int id);

  // ---- settings: a value of 0 or more stores, -1 reads
#define TONALITH_ROW(accessor, ...) int accessor(int value);
  TONALITH_ALL_NUMBER_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, ...) int accessor(int index, int value);
  TONALITH_ARRAY_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, count, field, entries) \
  int count(int value);                               \
  std::string accessor(int index) const;              \
  bool accessor(int index, std::string_view path);
  TONALITH_LIST_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, ...) std::string accessor() const;
  TONALITH_TEXT_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
  std::string MainGetSeqPathFile(int buffer) const;
  int ShowTransmitWindow(int value);
  int MainEnvironment(int value = -1);
  int MainProgramType() const;
  // Capacity of compiled scripts in the authoring tools, bytes; a size of 1 or more stores it.
  int MainGetSynCompileSize(int size);
  Result MainLoadCfg(const std::string& name, void* record, std::size_t size);
  Result MainSaveCfg(const std::string& name, const void* record, std::size_t size);
  void MainLoadConfig(const std::string& cfgName, const std::string& iniName);

  // ---- paths, into a buffer of `length` bytes (cut to length - 1)
  void MainGetProgramPath(char* out, int length) const;
  void MainGetResourcePath(char* out, int length) const;
  void MainGetCodePath(char* out, int length) const;
  void MainGetPreferencesPath(char* out, int length) const;
  void MainGetPreferencesIni(char* out, int length) const;
  void MainGetCompanyName(char* out, int length) const;
  void MainGetApplicationName(char* out, int length) const;
  void MainGetApplicationSupportPath(char* out, int length) const;
  void MainGetApplicationSupportPathSystem(char* out, int length) const;
  void MainGetInstrPath(char* out, int length) const;
  void MainGetDataPath(char* out, int length) const;
  void MainGetInstallPath(char* out, int length) const;
  void GetZKIni(char* out, int length) const;
  void SetZKIni(const std::string& path);
  void MainSetProgramPath(const std::string& path);
  void MainSetInstrPath(const std::string& path);
  void MainSetDataPath(const std::string& path);
  std::string BuildConfigFilename() const;

  // ---- registry and single instances
  bool SetRegistry(std::string_view name, std::string_view value, bool noVersion = false);
  std::string mainGetKey(std::string_view name) const;
  // mode below 0 reads the window's last place (false when there is none), else stores it.
  bool MainGetLeftTop(int mode, int window, WindowPlace& place);
  bool SingleInstanceExists(std::string_view name) const;
  void SingleInstanceAdd(std::string_view name);
  bool SingleInstanceRemove(std::string_view name);

  // ---- memory and records
  void* AllocMem(std::uint32_t size, unsigned flags = 0);
  void FreeMem(void* pointer, std::uint32_t size = 0);
  void FlipLong(std::uint32_t* value);
  void FlipWord(std::uint16_t* value);
  void MacFlipLong(std::uint32_t* value);
  void MacFlipWord(std::uint16_t* value);
  bool MainConfigDriver(std::uint16_t driverId) const;

  // ---- disk
  int DiskRead(int kind, const std::string& dir, const std::string& name, const std::string& find, DataFile* dataFile,
               int mode);
  int DiskWrite(int kind, const std::string& dir, const std::string& name, DataFile* dataFile);
  int DiskDataBaseRead(const std::string& dir, const std::string& name, ListFile* list, int mode);
  int DiskDataBaseWrite(const std::string& dir, const std::string& name, const ListFile& list);

  // ---- names
  void GetPatchName(const DataFile* dataFile, int patch, char* out);
  bool SetPatchName(DataFile* dataFile, int patch, std::string_view name);
  std::vector<std::string> LoadPatchNames(const DataFile& dataFile);
  void BuildName(const Synth* synth, const char* givenName, std::span<const std::uint8_t> image, char* out);
  void FixInvalidFilenameCharacters(char* name);

  // ---- MIDI
  std::int64_t SendData(std::span<const std::uint8_t> data);
  std::int64_t SendDataPort(std::span<const std::uint8_t> data, int port);
  int SendDataX(int port, std::span<const std::uint8_t> data, std::uint32_t chunk = 0);
  std::int64_t GetData(std::span<std::uint8_t> buffer);
  std::int64_t GetDataSkip(std::span<std::uint8_t> buffer, std::int64_t skip);
  std::int64_t GetDataPort(std::span<std::uint8_t> buffer, int port);
  std::int64_t GetDataPort1(std::span<std::uint8_t> buffer, int port);
  std::int64_t GetDataSkipPort(std::span<std::uint8_t> buffer, std::int64_t skip, int port);
  void SetBlockMidi(bool blocked);

  // ---- transfers
  int MidiIODataFile(std::shared_ptr<TransferObserver> requester, TransferOperation operation, DataFile* dataFile,
                     int showWindow, std::function<void()> done = {});
  int MidiIODataFileFn(TransferOperation operation, DataFile* dataFile, int patchIndex = -1);
  int MidiSendDataFileAll(DataFile* dataFile);
  int MidiSendDataFile(DataFile* dataFile, int patchIndex, int flags, std::uint8_t* patchBuffer);
  int MidiIO(TransferOperation operation, std::span<std::uint8_t> buffer, Synth& synth);
  int MidiSend(const Synth& synth, std::span<std::uint8_t> buffer);
  int MidiSendNoMsg(const Synth& synth, std::span<std::uint8_t> buffer);
  int GetNewPchNumber(DataFile* dataFile, TransferOperation operation);
  void ClearPortReceiveState(int port);
  void OpenZKMidiOutStatus(int port, std::uint32_t total);
  void SetFirstEvent(bool record, Event** list);
  Event** GetFirstEvent();
  void CreateDelayEvent(int port, std::uint32_t ms, TransferContext& context);

  // ---- scripts
  int MidiMacroA(TransferContext& context, Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer,
                 std::uint8_t channel, std::int32_t xValue, bool setRegisters, std::span<std::int32_t> variables,
                 bool returnRet);
  int MidiMacroEdit(TransferContext& context, Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer,
                    std::uint8_t channel, std::int32_t xValue, std::span<std::int32_t> variables, bool returnRet,
                    std::int32_t w, std::int32_t y, std::int32_t z);
  int MidiMacro(TransferContext& context, Synth& synth, std::span<const std::uint8_t> code, MacroBuffer buffer,
                std::uint8_t channel, std::int32_t xValue, std::int32_t extra);
  int MidiMacroB(TransferContext& context, std::span<const std::uint8_t> code,
                 std::span<const std::int32_t, 4> registers, std::span<std::int32_t> variables, int channelAndMode);
  void SetEditMacros(std::shared_ptr<const MacroTable> macros);
  void DisplayMessage(const std::string& text, TransferContext& context);
  void MonitorMsg(const std::string& text);
  void ZKBasicsSentDataFile(DataFile* dataFile);

 private:
  Program& program_;
};

}  // namespace tonalith
