#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "midi/port_system.h"
#include "platform/jobs.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_services.h"
#include "services/hosts.h"
#include "services/paths.h"
#include "services/script_settings.h"
#include "services/settings.h"

namespace tonalith {

// Compiled macros that "MACRO n" runs: up to 256, some absent.  Shared, so that a script that runs keeps the table it
// started with.
struct MacroTable {
  std::array<std::vector<std::uint8_t>, 256> macros;
};

// Whose ports a program's scripts and transfers use.
enum class ScriptPorts {
  kOfProfile,  // those the user selected: scripts open and close them and read and set the default ports
  kChosen,  // those that somebody opened for this one purpose: scripts leave them as they are, the default is the first
};

// What scripts and transfers see of the program: the real ports, the settings, the preferences file, the router to
// editors and windows, and the windows that upper rooms plug in.  Any thread; what concerns ports and windows is
// brought to the dispatcher's thread.
class ScriptBridge final : public MidiScriptServices, public TransferPreferences {
 public:
  // Everything that is given outlives the bridge.
  struct Program {
    Settings& settings;
    Paths& paths;
    Dispatcher& dispatcher;
    ScriptChanges& changes;
    ScriptAppState& appState;
    ScriptHost& host;
  };
  ScriptBridge(MidiPortSystem& midi, const Program& program, ScriptPorts ports);

  // Not owned; null takes it away again.  Set on the user-interface thread before scripts run.
  void SetDocuments(DocumentsHost* documents) { documents_.store(documents); }
  void SetWindows(TransferWindowsHost* windows) { windows_.store(windows); }
  using PatchSelector = std::function<std::optional<int>(const std::string& title, int current, int low, int high)>;
  // What knows data types better than their descriptors; empty takes it away again.  Called on the owner's thread.
  void SetReceivedChecks(ReceivedCheckOf checks) { receivedChecks_ = std::move(checks); }
  void SetPatchSelector(PatchSelector selector) { patchSelector_ = std::move(selector); }

  // The macros of the editor that is active now; null: none.
  void SetEditMacros(std::shared_ptr<const MacroTable> macros);
  // The disk file that "DR", "DS" and "DZ" read: its bytes, or none.
  void OpenDiskFile(std::vector<std::uint8_t> bytes);
  void CloseDiskFile();
  // From now on scripts and transfers end when the token is set, as at the end of the program.  Before scripts run.
  void EndScriptsWith(const CancelToken& interrupt) { interrupt_ = interrupt; }
  // The program ends: scripts stop at their next look.
  void SetQuitting();
  int DeleteStudioOnExit() const { return deleteStudioOnExit_.load(); }

  // ScriptServices
  int SetOpenAllPorts(MidiDirection direction, int value) override;
  void OpenPorts(MidiDirection direction) override;
  void ClosePorts(MidiDirection direction) override;
  void ClosePortsExcept(MidiDirection direction, int port) override;
  void OpenPortsFromMap(MidiDirection direction, int variant) override;
  void SelectPortMap(MidiDirection direction, int map) override;
  void OpenPortDialog(MidiDirection direction) override;
  int Setting(ScriptSetting setting) override;
  void SetSetting(ScriptSetting setting, int value) override;
  void SettingChanged(ScriptSetting setting, int before, int after, const Synth& by) override;
  int PreferencesInt(std::string_view section, std::string_view key, int fallback) override;
  std::string PreferencesText(std::string_view section, std::string_view key) override;
  bool HasMacroTable() const override;
  std::span<const std::uint8_t> Macro(int index) const override;
  bool HasDiskFile() const override;
  std::size_t DiskRead(std::span<std::uint8_t> destination) override;
  void DiskSeek(std::int64_t position) override;
  std::int64_t DiskSize() override;
  ScriptAppState& AppState() override { return appState_; }
  ScriptHost* Host() override { return &host_; }
  void QuitApp() override;
  void OpenUrl(const std::string& url) override;
  std::int64_t ScriptLimitMs() override { return settings_.Value(SettingId::MainScriptSeconds) * std::int64_t{1000}; }
  bool Quitting() const override { return quitting_.load() || interrupt_.Cancelled(); }

  // TransferPreferences
  int PatchBayDelay() const override { return settings_.Value(SettingId::MainPatchBayDelay); }
  bool AskPatchNumber() const override { return settings_.Value(SettingId::MainPchPopupSelect) != 0; }
  bool ShowTransmitWindow() const override {
    return ports_ == ScriptPorts::kOfProfile && settings_.Value(SettingId::MainShowTransmitWindow) != 0;
  }
  int ExtraAttempts() const override { return settings_.Value(SettingId::MainExtraAttempts); }
  bool ReadTwice() const override { return settings_.Value(SettingId::MainReadTwice) != 0; }
  std::shared_ptr<const ReceivedCheck> CheckOf(const DataFile& dataFile) const override {
    return receivedChecks_ ? receivedChecks_(dataFile) : nullptr;
  }
  std::optional<int> SelectPatchNumber(const std::string& title, int current, int minimum, int maximum) override;
  void SentDataFile(DataFile* dataFile) override;

 private:
  // Runs a call on the thread that owns the ports and waits for it; nothing when they are not the scripts' to change.
  void OnOwner(const std::function<void()>& call);

  MidiPortSystem& midi_;
  Settings& settings_;
  Paths& paths_;
  Dispatcher& dispatcher_;
  ScriptChanges& changes_;
  ScriptAppState& appState_;
  ScriptHost& host_;
  ScriptPorts ports_;
  CancelToken quit_;
  CancelToken interrupt_;
  std::atomic<DocumentsHost*> documents_{nullptr};
  std::atomic<TransferWindowsHost*> windows_{nullptr};
  PatchSelector patchSelector_;
  ReceivedCheckOf receivedChecks_;
  std::atomic<bool> quitting_{false};
  std::atomic<int> deleteStudioOnExit_{0};

  mutable std::mutex mutex_;  // what follows
  std::shared_ptr<const MacroTable> macros_;
  std::vector<std::shared_ptr<const MacroTable>> formerMacros_;
  std::optional<std::vector<std::uint8_t>> diskFile_;
  std::size_t diskPosition_ = 0;
};

}  // namespace tonalith
