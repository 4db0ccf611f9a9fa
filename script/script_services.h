#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "midi/backend.h"
#include "platform/clock.h"
#include "script/script_host.h"
#include "script/transfer_context.h"

namespace tonalith {

class HydrasynthSendQueue;

// Results of receives beside the byte count.
inline constexpr int kReceiveCancelled = -1;
inline constexpr int kReceiveNothing = -19;

inline constexpr std::int64_t kDefaultScriptLimitMs = 5000;

// Preferences that scripts read and change.
enum class ScriptSetting : std::uint8_t {
  DefaultOutPort,               // MainPortOut
  DefaultInPort,                // MainPortIn
  DefaultMidiChannel,           // MainMidiChannel
  EchoMode,                     // MainEchoMode
  IncludeRealTimeEvents,        // MainIncludeRealTimeEvents
  BankRespondToPatchChange,     // MainBankRespondToPatchChange
  UpdatePatch,                  // MainUpdatePatch
  AutoSenseOnProgramExecution,  // MainAutoSenseOnProgramExecution
  UseSynchronizedEditing,       // MainUseSynchronizedEditing
  ActivateOnMouseOver,          // MainActivateOnMouseOver
  ReceiveManualBulkDumps,       // MainReceiveManualBulkDumps
  Delay,                        // MainDelay: added to every SLEEP, milliseconds
  MidiDelay,                    // MainDelayMidi
  ProgramType,                  // MainProgramType; read only
  Environment,                  // MainEnvironment; read only
  DeleteStudioOnExit,           // process-wide, not saved
  ShowTransmitWindow,           // process-wide, not saved
};

// Variables that all scripts of a program share.  Any thread.
class ScriptAppState {
 public:
  ScriptAppState() { oneShots_.fill(0x0000FFFFu); }

  static constexpr int kBasicsVars = 256;
  // Outside 0 to 255: reads give -1, writes are dropped.
  int BasicsVar(int index) const;
  void SetBasicsVar(int index, int value);
  // True once for every index of 0 to 1023 whose remainder modulo 32 is below 16; false otherwise.
  bool TakeOneShot(int index);

 private:
  mutable std::mutex mutex_;
  std::array<std::int32_t, kBasicsVars> basicsVars_{};
  std::array<std::uint32_t, 32> oneShots_{};
};

// What the interpreter, the transfer engine and the manufacturer protocols need from the program around them.  The
// services room implements it on the real ports, settings and windows; tests and the command line tool implement the
// part they need: every operation has a plain default that does nothing.
// Ports are indices of the output or input port table.  Times are milliseconds.  Called on the thread that runs the
// transfer; the context is the transfer's own.
class ScriptServices {
 public:
  ScriptServices();
  virtual ~ScriptServices();

  // --- MIDI of a transfer

  // While what this returns lives, port numbers stay with their ports.
  virtual std::shared_ptr<void> HoldPortNumbers() { return nullptr; }
  // Sends one message or a SysEx stream, with the context's delay between messages; while the context records, it is
  // appended to the event list instead.  The number of bytes; 0 when MIDI is blocked; -1 when no port is open or the
  // send failed.
  virtual int SendDataPort(std::span<const std::uint8_t> bytes, int port, TransferContext& context) {
    (void)bytes, (void)port, (void)context;
    return -1;
  }
  // The same for one piece of data that continues an exchange: it need not begin with a status byte and may begin with
  // 0.
  virtual int SendBare(std::span<const std::uint8_t> bytes, int port, TransferContext& context) {
    return SendDataPort(bytes, port, context);
  }
  // Arms the port's receive with the context's filters and `destination`, sends the staged request if there is one (and
  // clears it), then waits: the bytes stored; kReceiveNothing when none arrived in time; kReceiveCancelled when the
  // cancel pattern came, a button was pressed or the transfer was cancelled.
  virtual int GetDataPort(std::span<std::uint8_t> destination, int port, TransferContext& context) {
    return GetDataSkipPort(destination, port, 0, context);
  }
  // The same, dropping `skip` leading bytes of what comes in.
  virtual int GetDataSkipPort(std::span<std::uint8_t> destination, int port, std::int64_t skip,
                              TransferContext& context) {
    (void)destination, (void)port, (void)skip, (void)context;
    return kReceiveNothing;
  }
  // True, and the context knows, when a transfer has the output port for itself that this context is no part of: then
  // nothing is sent there.
  virtual bool OutputTaken(int port, TransferContext& context) {
    (void)port, (void)context;
    return false;
  }
  // Queues a pause on an output port; while the context records, appends a delay event.
  virtual void CreateDelayEvent(int port, std::uint32_t ms, TransferContext& context) {
    (void)port, (void)ms, (void)context;
  }
  // A transfer begins on this input port: what came before is not meant for it.
  virtual void ForgetReplies(int inPort) { (void)inPort; }
  // "SetBlockMidi": while set, nothing is sent and no transfer starts.
  virtual bool MidiBlocked() const { return false; }
  virtual void SetBlockMidi(bool blocked) { (void)blocked; }

  // --- Ports

  // After this every message the output port sends waits for a message equal to `pattern` on inPort, at most timeoutMs.
  // `device`: where the pattern has the device number, 0: nowhere.
  virtual void MidiOutWaitForAck(int port, int inPort, std::span<const std::uint8_t> pattern, int timeoutMs,
                                 int device) {
    (void)port, (void)inPort, (void)pattern, (void)timeoutMs, (void)device;
  }
  virtual void MidiOutClrWaitForAck(int port) { (void)port; }
  // False: what is sent is written down and goes to no instrument, so that nobody answers.
  virtual bool CanBeAnswered(const TransferContext& context) {
    (void)context;
    return true;
  }
  // Before the first of them: false when there is nobody to wait for (messages are recorded, the input is not open).
  virtual bool BeginAcks(int port, int inPort, TransferContext& context) {
    (void)port, (void)inPort, (void)context;
    return true;
  }
  // Behind the last: waits until the port has sent everything.  0: all were answered; else kMacroNoResponse, or the
  // code of a refusal, which the context keeps as well.
  virtual int EndAcks(int port, TransferContext& context) {
    (void)port, (void)context;
    return 0;
  }
  // A message equal to `pattern` on inPort cancels the running receive and stops outPort; an empty pattern clears it.
  virtual void SetSysXCancel(int inPort, std::span<const std::uint8_t> pattern, int outPort) {
    (void)inPort, (void)pattern, (void)outPort;
  }
  virtual void MidiOutSetMaxSysExSpeed(int port, int bytesPerSecond) { (void)port, (void)bytesPerSecond; }
  virtual void MidiOutSetUSBPortSpeed(int port, int bytesPerSecond) { (void)port, (void)bytesPerSecond; }
  virtual void SetMidiOutForceExit(bool force) { (void)force; }
  // Collecting of messages in an output port's queue, and sending what was collected.
  virtual bool GetWriteToQueue(int port) {
    (void)port;
    return false;
  }
  virtual void SetWriteToQueue(int port, bool collect) { (void)port, (void)collect; }
  virtual void OutputQueue(int port) { (void)port; }

  // True when the port numbers are those of real port tables, so that port names mean something.
  virtual bool HasPortTables() const { return false; }
  virtual int PortCount(MidiDirection direction) {
    (void)direction;
    return 0;
  }
  // Name of an open port; empty when there is none.
  virtual std::string PortName(MidiDirection direction, int port) {
    (void)direction, (void)port;
    return {};
  }
  virtual int SetOpenAllPorts(MidiDirection direction, int value) {  // MidiPortInOpenAll, MidiPortOutOpenAll
    (void)direction, (void)value;
    return 0;
  }
  virtual void OpenPorts(MidiDirection direction) { (void)direction; }
  virtual void ClosePorts(MidiDirection direction) { (void)direction; }
  virtual void ClosePortsExcept(MidiDirection direction, int port) { (void)direction, (void)port; }
  virtual void OpenPortsFromMap(MidiDirection direction, int variant) { (void)direction, (void)variant; }
  virtual void SelectPortMap(MidiDirection direction, int map) { (void)direction, (void)map; }
  virtual void OpenPortDialog(MidiDirection direction) { (void)direction; }

  // --- Settings and shared variables

  virtual int Setting(ScriptSetting setting) {
    (void)setting;
    return 0;
  }
  // Negative values leave a setting as it is.
  virtual void SetSetting(ScriptSetting setting, int value) { (void)setting, (void)value; }
  // A script of that data changed a setting: the values before and afterwards, which differ.
  virtual void SettingChanged(ScriptSetting setting, int before, int after, const Synth& by) {
    (void)setting, (void)before, (void)after, (void)by;
  }
  // Those of this object, unless the program around it has its own.
  virtual ScriptAppState& AppState() { return ownAppState_; }
  // Entries of the preferences INI file.
  virtual int PreferencesInt(std::string_view section, std::string_view key, int fallback) {
    (void)section, (void)key;
    return fallback;
  }
  virtual std::string PreferencesText(std::string_view section, std::string_view key) {
    (void)section, (void)key;
    return {};
  }

  // The current table of up to 256 compiled macros, set with SetEditMacros.  An entry that is not there is empty.  The
  // bytes stay valid while a script runs.
  virtual bool HasMacroTable() const { return false; }
  virtual std::span<const std::uint8_t> Macro(int index) const {
    (void)index;
    return {};
  }

  // --- Disk file that scripts may read

  virtual bool HasDiskFile() const { return false; }
  // Bytes read into the start of `destination`.
  virtual std::size_t DiskRead(std::span<std::uint8_t> destination) {
    (void)destination;
    return 0;
  }
  virtual void DiskSeek(std::int64_t position) { (void)position; }
  virtual std::int64_t DiskSize() { return 0; }  // keeps the position

  // --- Manufacturer protocols

  // One step of a Roland exchange on `buffer` (from the receive cursor on); the bytes to advance, or a negative code.
  virtual int MacroRoland(Synth& synth, std::span<std::uint8_t> buffer, int parameter3, int parameter0, int parameter1,
                          int parameter2, TransferContext& context) {
    (void)synth, (void)buffer, (void)parameter3, (void)parameter0, (void)parameter1, (void)parameter2, (void)context;
    return 0;
  }
  // The list of patches handed over by ASMHydrasynthSend; emptied before this object is gone.
  HydrasynthSendQueue& HydrasynthQueue() { return *hydrasynthQueue_; }

  // --- Windows and program

  virtual ScriptHost* Host() { return nullptr; }
  // Shows a line in the transfer's message area.
  virtual void DisplayMessage(const std::string& text, TransferContext& context) {
    if (!context.quiet && context.display) context.display(text);
  }
  // Writes a line to the monitor log.
  virtual void MonitorLine(const std::string& text);
  // Presses a button of the receive window: 1 "Ok", 2 "Cancel", 3 "Cancel All".
  virtual void PressTransferButton(int button, TransferContext& context);
  // Opens the transmit window for a port or, when one is open, updates its total.
  virtual bool TransmitWindowOpen() const { return false; }
  virtual void OpenTransmitWindow(int port, std::uint32_t total) { (void)port, (void)total; }
  virtual void SetTransmitStayOpen(bool stay) { (void)stay; }
  virtual void QuitApp() {}
  // Opens an http or https address in the user's browser.
  virtual void OpenUrl(const std::string& url) { (void)url; }
  // Major << 16 | (minor & 255) << 8 | (build & 255) of the running system.
  virtual int OsVersion();

  virtual Clock& clock() { return SystemClock(); }
  // How many milliseconds a script may compute between two waits.
  virtual std::int64_t ScriptLimitMs() { return kDefaultScriptLimitMs; }
  // A script of that data was ended before its own end: ScriptStopText.  Written to the log.
  virtual void ScriptStopped(const Synth& synth, const std::string& text);
  // True when the program ends: scripts stop at the next look.
  virtual bool Quitting() const { return false; }

 private:
  ScriptAppState ownAppState_;
  std::unique_ptr<HydrasynthSendQueue> hydrasynthQueue_;
};

}  // namespace tonalith
