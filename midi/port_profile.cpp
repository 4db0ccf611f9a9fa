#include <algorithm>
#include <string>

#include "midi/port_system.h"
#include "platform/ini_file.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr int kMaxProfilePorts = 1024;
constexpr const char* kSpeedSection = "Midi Out Port Speeds";

const char* ProfileSection(MidiDirection direction) {
  return direction == MidiDirection::Input ? "Midi In Ports" : "Midi Out Ports";
}

std::string ProfilePortKey(int index) {
  return "PortName" + std::to_string(index);
}

}  // namespace

PortMap MidiPortSystem::ReadMap(MidiDirection direction, const std::string& profile) {
  std::string& path = direction == MidiDirection::Input ? inProfile_ : outProfile_;
  if (path.empty()) path = profile;
  IniFile ini;
  if (!path.empty()) ini = IniFile(path);
  const char* section = ProfileSection(direction);
  PortMap map;
  map.SetOpenAll(ini.GetInt(section, "OpenAll", 1) != 0);
  if (map.openAll()) {
    Refresh(direction);
    for (const MidiPortDevice& device : Devices(direction))
      if (!device.info.own && !device.info.through) map.AddPortName(device.info.name);
  } else {
    const int count = std::min(ini.GetInt(section, "PortCount", 0), kMaxProfilePorts);
    for (int i = 0; i < count; ++i) {
      const std::string name = ini.GetString(section, ProfilePortKey(i));
      if (!name.empty()) map.AddPortName(name);
    }
  }
  if (direction == MidiDirection::Input) {
    const PortProfileSettings settings = ProfileSettings(direction);
    in_->LoadBufferSettings(settings.numSysXBuffers, settings.sysXBufferSize);
  }
  return map;
}

PortMap MidiPortSystem::GetPortInProfile(const std::string& profile) {
  return ReadMap(MidiDirection::Input, profile);
}

PortMap MidiPortSystem::GetPortOutProfile(const std::string& profile) {
  return ReadMap(MidiDirection::Output, profile);
}

PortProfileSettings MidiPortSystem::ProfileSettings(MidiDirection direction) const {
  const std::string& path = direction == MidiDirection::Input ? inProfile_ : outProfile_;
  PortProfileSettings settings;
  if (path.empty()) return settings;
  const IniFile ini(path);
  const char* section = ProfileSection(direction);
  settings.numSysXBuffers = ini.GetInt(section, "NumSysXBuffers", settings.numSysXBuffers);
  settings.sysXBufferSize = ini.GetInt(section, "SysXBufferSize", settings.sysXBufferSize);
  settings.hideBufferInfo = ini.GetInt(section, "HideBufferInfo", 0) != 0;
  settings.hideOpenAllPorts = ini.GetInt(section, "HideOpenAllPorts", 0) != 0;
  return settings;
}

Result MidiPortSystem::WriteMap(MidiDirection direction, const PortMap& map) {
  const std::string& path = direction == MidiDirection::Input ? inProfile_ : outProfile_;
  if (path.empty()) return Result::Success();
  IniFile ini(path);
  const char* section = ProfileSection(direction);
  if (direction == MidiDirection::Input) {
    ini.SetInt(section, "NumSysXBuffers", in_->NumSysXBuffers());
    ini.SetInt(section, "SysXBufferSize", in_->GetMidiInBufferSize());
  }
  ini.SetInt(section, "OpenAll", map.openAll() ? 1 : 0);
  if (!map.openAll()) {
    const int count = static_cast<int>(map.names().size());
    const int before = std::min(ini.GetInt(section, "PortCount", 0), kMaxProfilePorts);
    ini.SetInt(section, "PortCount", count);
    for (int i = 0; i < count; ++i) ini.Set(section, ProfilePortKey(i), *map.GetPortNameForOpenPort(i));
    for (int i = count; i < before; ++i) ini.RemoveKey(section, ProfilePortKey(i));
  }
  return ini.Save();
}

Result MidiPortSystem::SetPortInProfile(const PortMap& map) {
  return WriteMap(MidiDirection::Input, map);
}

Result MidiPortSystem::SetPortOutProfile(const PortMap& map) {
  return WriteMap(MidiDirection::Output, map);
}

Result MidiPortSystem::WriteBufferSize(int size) {
  if (inProfile_.empty()) return Result::Success();
  IniFile ini(inProfile_);
  ini.SetInt(ProfileSection(MidiDirection::Input), "SysXBufferSize", size);
  return ini.Save();
}

std::uint32_t MidiPortSystem::PortSpeed(const std::string& name) const {
  if (outProfile_.empty()) return 0;
  const IniFile ini(outProfile_);
  const int count = std::min(ini.GetInt(kSpeedSection, "SpeedCount", 0), kMaxProfilePorts);
  for (int i = 0; i < count; ++i)
    if (ini.GetString(kSpeedSection, "SpeedName" + std::to_string(i)) == name)
      return static_cast<std::uint32_t>(
          std::clamp(ini.GetInt(kSpeedSection, "Speed" + std::to_string(i), 0), 0, kMostPortSpeed));
  return 0;
}

Result MidiPortSystem::SetPortSpeed(const std::string& name, std::uint32_t bytesPerSecond) {
  if (bytesPerSecond > static_cast<std::uint32_t>(kMostPortSpeed))
    return Result::Failure("A MIDI port takes at most " + std::to_string(kMostPortSpeed) + " bytes a second.");
  if (const auto port = out_->Slot(out_->FindPort(name)))
    port->SetSpeed(bytesPerSecond ? bytesPerSecond : kMidiWireRate);
  if (outProfile_.empty()) return Result::Success();
  IniFile ini(outProfile_);
  const int count = std::min(ini.GetInt(kSpeedSection, "SpeedCount", 0), kMaxProfilePorts);
  int place = 0;
  while (place < count && ini.GetString(kSpeedSection, "SpeedName" + std::to_string(place)) != name) ++place;
  if (place == kMaxProfilePorts) return Result::Failure("There are too many MIDI ports with a speed of their own.");
  ini.SetInt(kSpeedSection, "SpeedCount", std::max(count, place + 1));
  ini.Set(kSpeedSection, "SpeedName" + std::to_string(place), name);
  ini.SetInt(kSpeedSection, "Speed" + std::to_string(place), static_cast<int>(bytesPerSecond));
  return ini.Save();
}

// Only the flag is saved: the map of the session may lack ports that could not be opened, and the user's selection must
// not lose them.
int MidiPortSystem::OpenAllFlag(MidiDirection direction, int flag) {
  PortMap& map = Map(direction);
  const int before = map.openAll() ? 1 : 0;
  if (flag < 0) return before;
  map.SetOpenAll(flag != 0);
  PublishMaps();
  const std::string& path = direction == MidiDirection::Input ? inProfile_ : outProfile_;
  if (path.empty()) return before;
  IniFile ini(path);
  ini.SetInt(ProfileSection(direction), "OpenAll", flag != 0 ? 1 : 0);
  if (const Result saved = ini.Save(); !saved)
    MonitorMsg("The MIDI port profile was not saved. %s", saved.text.c_str());
  return before;
}

int MidiPortSystem::MidiPortInOpenAll(int flag) {
  return OpenAllFlag(MidiDirection::Input, flag);
}

int MidiPortSystem::MidiPortOutOpenAll(int flag) {
  return OpenAllFlag(MidiDirection::Output, flag);
}

}  // namespace tonalith
