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
#include "services/settings.h"

namespace tonalith {

// Compiled macros that "MACRO n" runs: up to 256, some absent.  Shared, so that a script that runs keeps the table it
// started with.
struct MacroTable {
  std::array<std::vector<std::uint8_t>, 256> macros;
};

// What scripts and transfers see of the program: the real ports, the settings, the preferences file, and the windows
// that upper rooms plug in.  Any thread; what concerns ports and windows is brought to the dispatcher's thread.
class ScriptBridge final : public MidiScriptServices, public TransferPreferences {
 public:
  ScriptBridge(MidiPortSystem& midi, Settings& settings, Paths& paths, Dispatcher& dispatcher);

  // Not owned; null takes it away again.  Set on the user-interface thread before scripts run.
  void SetScriptHost(ScriptHost* host) { host_.store(host); }
  void SetDocuments(DocumentsHost* documents) { documents_.store(documents); }
  void SetWindows(TransferWindowsHost* windows) { windows_.store(windows); }
  using PatchSelector = std::function<std::optional<int>(const std::string& title, int current, int low, int high)>;
  void SetPatchSelector(PatchSelector selector) { patchSelector_ = std::move(selector); }

  // The macros of the editor that is active now; null: none.
  void SetEditMacros(std::shared_ptr<const MacroTable> macros);
  // The disk file that "DR", "DS" and "DZ" read: its bytes, or none.
  void OpenDiskFile(std::vector<std::uint8_t> bytes);
  void CloseDiskFile();
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
  int PreferencesInt(std::string_view section, std::string_view key, int fallback) override;
  std::string PreferencesText(std::string_view section, std::string_view key) override;
  bool HasMacroTable() const override;
  std::span<const std::uint8_t> Macro(int index) const override;
  bool HasDiskFile() const override;
  std::size_t DiskRead(std::span<std::uint8_t> destination) override;
  void DiskSeek(std::int64_t position) override;
  std::int64_t DiskSize() override;
  ScriptHost* Host() override { return host_.load(); }
  void QuitApp() override;
  void OpenUrl(const std::string& url) override;
  bool Quitting() const override { return quitting_.load(); }

  // TransferPreferences
  int PatchBayDelay() const override { return settings_.Value(SettingId::MainPatchBayDelay); }
  bool AskPatchNumber() const override { return settings_.Value(SettingId::MainPchPopupSelect) != 0; }
  bool ShowTransmitWindow() const override { return settings_.Value(SettingId::MainShowTransmitWindow) != 0; }
  std::optional<int> SelectPatchNumber(const std::string& title, int current, int minimum, int maximum) override;
  void SentDataFile(DataFile* dataFile) override;

 private:
  // Runs a call on the thread that owns ports and windows and waits for it.
  void OnOwner(const std::function<void()>& call);

  MidiPortSystem& midi_;
  Settings& settings_;
  Paths& paths_;
  Dispatcher& dispatcher_;
  CancelToken quit_;
  std::atomic<ScriptHost*> host_{nullptr};
  std::atomic<DocumentsHost*> documents_{nullptr};
  std::atomic<TransferWindowsHost*> windows_{nullptr};
  PatchSelector patchSelector_;
  std::atomic<bool> quitting_{false};
  std::atomic<int> deleteStudioOnExit_{0};

  mutable std::mutex mutex_;  // what follows
  std::shared_ptr<const MacroTable> macros_;
  std::vector<std::shared_ptr<const MacroTable>> formerMacros_;
  std::optional<std::vector<std::uint8_t>> diskFile_;
  std::size_t diskPosition_ = 0;
};

}  // namespace tonalith
