#include "studio/studio_node.h"

#include <algorithm>
#include <cstring>

#include "platform/byte_window.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/studio_surroundings.h"
#include "studio/sysex_map.h"

namespace tonalith {

namespace {

constexpr std::size_t kRecordPath = 24, kRecordPathSize = 256;
constexpr std::size_t kRecordFile = 280, kRecordFileSize = 260;
constexpr std::size_t kRecordModule = 556, kRecordModuleSize = 40;
constexpr std::size_t kRecordName = 596, kRecordNameSize = 64;
constexpr std::size_t kRecordCode = 661, kRecordCodeSize = 7;

void PutRecordText(std::uint8_t* record, std::size_t at, std::size_t size, const std::string& text) {
  const std::string_view cut = CutUtf8(text, size - 1);
  std::memcpy(record + at, cut.data(), cut.size());
}

std::string RecordText(const std::uint8_t* record, std::size_t at, std::size_t size) {
  const char* text = reinterpret_cast<const char*>(record + at);
  return std::string(text, strnlen(text, size));
}

// Of a text that ends with a zero byte even when it fills its field; a file may hold one that does not.
std::string RecordTextCut(const std::uint8_t* record, std::size_t at, std::size_t size) {
  return std::string(CutUtf8(RecordText(record, at, size), size - 1));
}

}  // namespace

void ZKDrvList::SetIniFile(const StudioPaths& paths, const std::string& moduleName) {
  moduleFile = moduleName;
  iniFolder_ = paths.instruments;
  mapRead_ = false;
}

const BufferDescriptor* ZKDrvList::SysExMap() const {
  if (!mapRead_ && synth()) {
    mapRead_ = true;
    StudioPaths paths;
    paths.instruments = iniFolder_;
    sysExMap_ = BufferDescriptor::LoadBin(paths, *this);
  }
  return sysExMap_.get();
}

std::filesystem::path ZKDrvList::GetIniPath() const {
  if (moduleFile.empty()) return {};
  const auto found = FindPath(iniFolder_.string(), moduleFile, PathTrust::Untrusted);
  return found ? std::filesystem::path(*found) : iniFolder_ / moduleFile;
}

void ZKDrvList::SetMaxSysExSpeed(StudioPorts* ports) const {
  if (!ports || !IsInstrument() || moduleFile.empty()) return;
  const auto names = ports->OutputPortNames();
  // The number of a port that is not open belongs to another one.
  if (midiOutPort >= names.size() || (!outPortName.empty() && !AsciiEqualNoCase(names[midiOutPort], outPortName)))
    return;
  const int speed = IniFile(GetIniPath().string()).GetInt("Instrument", "MaxSysExSpeed");
  if (speed > 0) ports->SetMaxSysExSpeed(midiOutPort, speed);
}

std::string ZKDrvList::DisplayKey() const {
  const ZKDrvList* owner = instrument ? instrument : this;
  return owner->instance ? owner->name + " " + std::to_string(owner->instance) : owner->name;
}

std::string ZKDrvList::TypeName() const {
  return synth() ? FieldText(synth()->typeName) : std::string();
}

ZKDrvList* ZKDrvList::FindDriver(std::string_view type) const {
  for (const auto& driver : drivers)
    if (AsciiEqualNoCase(driver->TypeName(), type)) return driver.get();
  for (const auto& driver : drivers) {
    const Synth* s = driver->synth();
    if (s && (AsciiEqualNoCase(FieldText(s->typeKey), type) || std::to_string(s->driverId) == type))
      return driver.get();
  }
  return nullptr;
}

void ZKDrvList::CopyPorts(ZKDrvList* driver) const {
  driver->midiInPort = midiInPort;
  driver->midiOutPort = midiOutPort;
  driver->inPortName = inPortName;
  driver->outPortName = outPortName;
  driver->patchBayController = patchBayController;
  driver->patchBayFlags = patchBayFlags;
  driver->patchBayChannel = patchBayChannel;
  driver->patchBayPort = patchBayPort;
  driver->patchBayRevertPatch = patchBayRevertPatch;
  driver->patchBayPortName = patchBayPortName;
  Synth* s = driver->synth();
  if (!s) return;
  s->midiInPort = midiInPort;
  s->midiOutPort = midiOutPort;
  s->patchBayFlags = patchBayFlags;
  s->patchBayChannel = patchBayChannel;
  s->patchBayPort = patchBayPort;
  s->patchBayRevertPatch = patchBayRevertPatch;
  s->patchBayPatch = patchBayController;
}

// Gives a driver node a channel inside the range that its data type allows.
void ZKDrvList::UseSysExChannel(int channel) {
  sysExChannel = static_cast<std::uint8_t>(channel);
  Synth* s = synth();
  if (!s) return;
  const int low = std::max<int>(s->sysExChannelMin, 0);
  sysExChannel = s->sysExChannel =
      static_cast<std::uint8_t>(std::clamp(channel, low, std::max<int>(s->sysExChannelMax, low)));
  if (s->midiChannelFollowsSysEx) midiChannel = s->midiChannel = sysExChannel & 15;
}

void ZKDrvList::SetSysExChannel(int channel) {
  UseSysExChannel(std::clamp(channel, 0, 127));
  for (const auto& driver : drivers) driver->UseSysExChannel(sysExChannel);
}

void ZKDrvList::SetMidiChannel(int channel) {
  midiChannel = static_cast<std::uint8_t>(channel & 15);
  if (synth()) synth()->midiChannel = midiChannel;
  for (const auto& driver : drivers) driver->SetMidiChannel(midiChannel);
}

void ZKDrvList::SetInPort(int port, const std::string& portName) {
  midiInPort = static_cast<std::uint8_t>(std::clamp(port, 0, 255));
  inPortName = portName;
  for (const auto& driver : drivers) CopyPorts(driver.get());
}

void ZKDrvList::SetOutPort(int port, const std::string& portName) {
  midiOutPort = static_cast<std::uint8_t>(std::clamp(port, 0, 255));
  outPortName = portName;
  for (const auto& driver : drivers) CopyPorts(driver.get());
}

void ZKDrvList::SetPatchBay(int flags, int channel, int port, int revertPatch, const std::string& portName) {
  patchBayFlags = static_cast<std::uint8_t>(flags & (kPatchBayOn | kPatchBayManual | kPatchBayRevert));
  patchBayChannel = static_cast<std::uint8_t>(channel & 15);
  patchBayPort = static_cast<std::uint8_t>(std::clamp(port, 0, 255));
  patchBayRevertPatch = static_cast<std::uint8_t>(std::clamp(revertPatch, 0, 127));
  patchBayPortName = portName;
  for (const auto& driver : drivers) CopyPorts(driver.get());
}

void ZKDrvList::SetPatchBayController(int controller) {
  patchBayController = static_cast<std::uint8_t>(std::clamp(controller, 0, 127));
  for (const auto& driver : drivers) CopyPorts(driver.get());
}

void ZKDrvList::CopyToDescriptors() {
  if (Synth* s = synth()) {
    CopyPorts(this);
    s->midiChannel = midiChannel;
    UseSysExChannel(sysExChannel);
    s->imageIndex = icon;
    if (defaultPatch >= PatchMin(*s) && defaultPatch <= PatchMax(*s)) s->patchNumber = defaultPatch;
  }
  for (const auto& driver : drivers) driver->CopyToDescriptors();
}

ZKDrvParmSync ZKDrvList::GetZKDrvParmSync() const {
  ZKDrvParmSync sync;
  const Synth* s = IsInstrument() && !drivers.empty() ? drivers.front()->synth() : synth();
  sync.displayName = DisplayKey();
  sync.instance = instance;
  sync.driverId = s ? s->driverId : 0;
  sync.sysExChannel = sysExChannel;
  sync.inPort = midiInPort;
  sync.outPort = midiOutPort;
  sync.patchBayController = patchBayController;
  sync.patchBayFlags = patchBayFlags;
  sync.patchBayPort = patchBayPort;
  sync.patchBayRevertPatch = patchBayRevertPatch;
  sync.inPortName = inPortName;
  sync.outPortName = outPortName;
  sync.patchBayPortName = patchBayPortName;
  return sync;
}

void ZKDrvList::WriteRecord(std::uint8_t* record) const {
  std::memset(record, 0, kStudioRecordSize);
  StoreLe32(record + 4, IsInstrument() ? 1 : 0);
  const std::uint8_t communication[6] = {state, sysExChannel, midiChannel, midiInPort, midiOutPort, reservedFlag};
  std::memcpy(record + 12, communication, sizeof communication);
  StoreLe16(record + 18, defaultPatch);
  const std::uint8_t flags[4] = {patchBayController, selected, setMember, setMemberCopy};
  std::memcpy(record + 20, flags, sizeof flags);
  PutRecordText(record, kRecordPath, kRecordPathSize, path);
  PutRecordText(record, kRecordFile, kRecordFileSize, file);
  StoreLe32(record + 540, versionWord);
  const std::uint8_t patchBay[8] = {patchBayFlags, patchBayChannel, patchBayPort, patchBayRevertPatch,
                                    carried[0],    carried[1],      carried[2],   icon};
  std::memcpy(record + 548, patchBay, sizeof patchBay);
  PutRecordText(record, kRecordModule, kRecordModuleSize, moduleFile);
  PutRecordText(record, kRecordName, kRecordNameSize, name);
  record[660] = instance;
  std::memcpy(record + kRecordCode, pluginCode.data(), std::min(pluginCode.size(), kRecordCodeSize));
  record[669] = multitimbral;
}

std::string_view ZKDrvList::RecordName(std::string_view name) {
  return CutUtf8(name, kRecordNameSize - 1);
}

std::unique_ptr<ZKDrvList> ZKDrvList::FromRecord(const std::uint8_t* record) {
  auto node = std::make_unique<ZKDrvList>(LoadLe32(record + 4) ? ZKDrvListKind::Instrument : ZKDrvListKind::Driver);
  node->state = record[12];
  node->sysExChannel = record[13];
  node->midiChannel = record[14] & 15;
  node->midiInPort = record[15];
  node->midiOutPort = record[16];
  node->reservedFlag = record[17];
  node->defaultPatch = LoadLe16(record + 18);
  node->patchBayController = record[20];
  node->setMember = record[22];
  node->setMemberCopy = record[23];
  node->path = RecordTextCut(record, kRecordPath, kRecordPathSize);
  node->file = RecordTextCut(record, kRecordFile, kRecordFileSize);
  node->versionWord = LoadLe32(record + 540);
  node->patchBayFlags = record[548];
  node->patchBayChannel = record[549] & 15;
  node->patchBayPort = record[550];
  node->patchBayRevertPatch = record[551] & 127;
  std::memcpy(node->carried, record + 552, sizeof node->carried);
  node->icon = record[555];
  node->moduleFile = RecordTextCut(record, kRecordModule, kRecordModuleSize);
  node->name = RecordTextCut(record, kRecordName, kRecordNameSize);
  node->instance = record[660];
  node->pluginCode = RecordText(record, kRecordCode, kRecordCodeSize);
  node->multitimbral = record[669];
  return node;
}

}  // namespace tonalith
