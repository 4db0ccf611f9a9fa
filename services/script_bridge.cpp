#include "services/script_bridge.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/text.h"

namespace tonalith {

namespace {

// A script never waits longer than this for the thread that owns the ports.
constexpr std::int64_t kOwnerTimeoutMs = 5000;
// Tables that scripts may still run from.
constexpr std::size_t kFormerTables = 64;

bool IsDefaultPort(ScriptSetting setting) {
  return setting == ScriptSetting::DefaultOutPort || setting == ScriptSetting::DefaultInPort;
}

}  // namespace

ScriptBridge::ScriptBridge(MidiPortSystem& midi, const Program& program, ScriptPorts ports)
    : MidiScriptServices(midi.out(), midi.in()),
      midi_(midi),
      settings_(program.settings),
      paths_(program.paths),
      dispatcher_(program.dispatcher),
      changes_(program.changes),
      appState_(program.appState),
      host_(program.host),
      ports_(ports) {}

void ScriptBridge::OnOwner(const std::function<void()>& call) {
  if (ports_ == ScriptPorts::kChosen) return;
  if (!dispatcher_.Call(call, quit_, kOwnerTimeoutMs)) DebugLog("A script's request to the main thread was given up.");
}

void ScriptBridge::SetQuitting() {
  quitting_.store(true);
  quit_.Cancel();
}

// ---- ports

int ScriptBridge::SetOpenAllPorts(MidiDirection direction, int value) {
  int former = 0;
  OnOwner([&] {
    former = direction == MidiDirection::Input ? midi_.MidiPortInOpenAll(value) : midi_.MidiPortOutOpenAll(value);
  });
  return former;
}

void ScriptBridge::OpenPorts(MidiDirection direction) {
  OnOwner([&] {
    if (direction == MidiDirection::Input) {
      midi_.MidiPortInOpenPorts();
    } else {
      midi_.MidiPortOutOpenPorts();
    }
  });
}

void ScriptBridge::ClosePorts(MidiDirection direction) {
  OnOwner([&] {
    if (direction == MidiDirection::Input) {
      midi_.MidiPortInClosePorts();
    } else {
      midi_.MidiPortOutClosePorts();
    }
  });
}

void ScriptBridge::ClosePortsExcept(MidiDirection direction, int port) {
  constexpr int kHostedProgram = 5;
  if (paths_.MainProgramType() != kHostedProgram) return;
  OnOwner([&] {
    if (direction == MidiDirection::Input) {
      midi_.CloseMidiInPortsExcept(port);
    } else {
      midi_.CloseMidiOutPortsExcept(port);
    }
  });
}

void ScriptBridge::OpenPortsFromMap(MidiDirection direction, int variant) {
  OnOwner([&] {
    if (direction == MidiDirection::Input) {
      midi_.MidiPortInOpenPortsFromMap(variant != 0);
    } else {
      midi_.MidiPortOutOpenPortsFromMap(variant != 0);
    }
  });
}

// There is one map a direction, the profile's: every number selects it anew.
void ScriptBridge::SelectPortMap(MidiDirection direction, int map) {
  (void)map;
  OnOwner([&] {
    if (direction == MidiDirection::Input) {
      midi_.SetMidiInPortMap(midi_.GetPortInProfile());
    } else {
      midi_.SetMidiOutPortMap(midi_.GetPortOutProfile());
    }
  });
}

void ScriptBridge::OpenPortDialog(MidiDirection direction) {
  dispatcher_.Post([this, direction] {
    if (TransferWindowsHost* windows = windows_.load()) windows->OpenPortDialog(direction == MidiDirection::Input);
  });
}

// ---- settings and preferences

int ScriptBridge::Setting(ScriptSetting setting) {
  // Numbers of the profile's ports mean nothing among others.
  if (ports_ == ScriptPorts::kChosen && IsDefaultPort(setting)) return 0;
  if (const auto id = SettingOf(setting)) return settings_.Value(*id);
  switch (setting) {
    case ScriptSetting::MidiDelay:
      return static_cast<int>(out().GlobalMidiDelay());
    case ScriptSetting::ProgramType:
      return paths_.MainProgramType();
    case ScriptSetting::Environment:
      return paths_.MainEnvironment(-1);
    case ScriptSetting::DeleteStudioOnExit:
      return deleteStudioOnExit_.load();
    default:
      return 0;
  }
}

void ScriptBridge::SetSetting(ScriptSetting setting, int value) {
  if (value < 0 || (ports_ == ScriptPorts::kChosen && IsDefaultPort(setting))) return;
  if (const auto id = SettingOf(setting)) {
    settings_.Access(*id, value);
  } else if (setting == ScriptSetting::MidiDelay) {
    out().SetGlobalMidiDelay(static_cast<std::uint32_t>(value));
  } else if (setting == ScriptSetting::DeleteStudioOnExit) {
    deleteStudioOnExit_.store(value);
  }
}

void ScriptBridge::SettingChanged(ScriptSetting setting, int before, int after, const Synth& by) {
  const auto id = SettingOf(setting);
  if (id) changes_.Note(Latin1ToUtf8(FieldText(by.shortName) + " " + FieldText(by.typeName)), *id, before, after);
}

int ScriptBridge::PreferencesInt(std::string_view section, std::string_view key, int fallback) {
  return GetPrivateProfileInt(section, key, fallback, paths_.MainGetPreferencesIni());
}

std::string ScriptBridge::PreferencesText(std::string_view section, std::string_view key) {
  return GetPrivateProfileString(section, key, {}, paths_.MainGetPreferencesIni());
}

// ---- macros and disk file

void ScriptBridge::SetEditMacros(std::shared_ptr<const MacroTable> macros) {
  std::lock_guard guard(mutex_);
  if (macros_) formerMacros_.push_back(std::move(macros_));
  if (formerMacros_.size() > kFormerTables) formerMacros_.erase(formerMacros_.begin());
  macros_ = std::move(macros);
}

bool ScriptBridge::HasMacroTable() const {
  std::lock_guard guard(mutex_);
  return macros_ != nullptr;
}

std::span<const std::uint8_t> ScriptBridge::Macro(int index) const {
  std::lock_guard guard(mutex_);
  if (!macros_ || index < 0 || index >= static_cast<int>(macros_->macros.size())) return {};
  return macros_->macros[static_cast<std::size_t>(index)];
}

void ScriptBridge::OpenDiskFile(std::vector<std::uint8_t> bytes) {
  std::lock_guard guard(mutex_);
  diskFile_ = std::move(bytes);
  diskPosition_ = 0;
}

void ScriptBridge::CloseDiskFile() {
  std::lock_guard guard(mutex_);
  diskFile_.reset();
}

bool ScriptBridge::HasDiskFile() const {
  std::lock_guard guard(mutex_);
  return diskFile_.has_value();
}

std::size_t ScriptBridge::DiskRead(std::span<std::uint8_t> destination) {
  std::lock_guard guard(mutex_);
  if (!diskFile_) return 0;
  const std::size_t count = std::min(destination.size(), diskFile_->size() - diskPosition_);
  if (count) std::memcpy(destination.data(), diskFile_->data() + diskPosition_, count);
  diskPosition_ += count;
  return count;
}

void ScriptBridge::DiskSeek(std::int64_t position) {
  std::lock_guard guard(mutex_);
  if (!diskFile_) return;
  diskPosition_ =
      static_cast<std::size_t>(std::clamp<std::int64_t>(position, 0, static_cast<std::int64_t>(diskFile_->size())));
}

std::int64_t ScriptBridge::DiskSize() {
  std::lock_guard guard(mutex_);
  return diskFile_ ? static_cast<std::int64_t>(diskFile_->size()) : 0;
}

// ---- program and windows

void ScriptBridge::QuitApp() {
  dispatcher_.Post([this] {
    if (DocumentsHost* documents = documents_.load()) documents->RequestQuit();
  });
}

void ScriptBridge::OpenUrl(const std::string& url) {
  if (!AsciiStartsWithNoCase(url, "http://") && !AsciiStartsWithNoCase(url, "https://")) {
    MonitorMsg("The address %s is not opened: only web addresses are.", url.c_str());
    return;
  }
  dispatcher_.Post([this, url] {
    if (DocumentsHost* documents = documents_.load()) documents->OpenUrl(url);
  });
}

std::optional<int> ScriptBridge::SelectPatchNumber(const std::string& title, int current, int minimum, int maximum) {
  if (!patchSelector_) return current;
  return patchSelector_(title, current, minimum, maximum);
}

void ScriptBridge::SentDataFile(DataFile* dataFile) {
  if (DocumentsHost* documents = documents_.load()) documents->DataFileSent(dataFile);
}

}  // namespace tonalith
