#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

class BufferDescriptor;
class StudioPorts;
struct StudioPaths;

enum class ZKDrvListKind : std::uint8_t { Instrument, Driver };

inline constexpr std::size_t kStudioRecordSize = 740;
inline constexpr std::uint8_t kPatchBayOn = 1, kPatchBayManual = 2, kPatchBayRevert = 4;

// Values of a node for a host that runs the program as a plug-in, in the order of the record.
struct ZKDrvParmSync {
  std::string displayName;
  int instance = 0;
  int driverId = 0;  // of an instrument: its first driver
  int reserved = 0;
  int sysExChannel = 0;
  int inPort = 0;
  int outPort = 0;
  int patchBayController = 0;
  int patchBayFlags = 0;
  int patchBayPort = 0;
  int patchBayRevertPatch = 0;
  std::string inPortName;
  std::string outPortName;
  std::string patchBayPortName;
  int end = -1;
};

// One node of the studio tree: an instrument with its drivers, or a driver.  An instrument's channels and ports are the
// truth; changing them changes every driver (SetSysExChannel, SetMidiChannel, SetInPort, SetOutPort).
class ZKDrvList {
 public:
  explicit ZKDrvList(ZKDrvListKind kind) : kind_(kind) {}
  virtual ~ZKDrvList() = default;
  ZKDrvList(const ZKDrvList&) = delete;
  ZKDrvList& operator=(const ZKDrvList&) = delete;

  // Stores the module file name; for a driver node also loads its SysEx map, when its data type is known already.
  virtual void SetIniFile(const StudioPaths& paths, const std::string& file);
  // The module INI in the instrument folder.
  std::filesystem::path GetIniPath() const;
  // For an instrument with an output port: applies "MaxSysExSpeed" of its module when that is not 0.
  void SetMaxSysExSpeed(StudioPorts* ports) const;

  bool IsInstrument() const { return kind_ == ZKDrvListKind::Instrument; }
  // Display key: the name, with " %d" and the instance when that is not 0.
  std::string DisplayKey() const;
  // The descriptor of a driver node; null on an instrument node.
  Synth* synth() const { return dataFile ? dataFile->synth : nullptr; }
  // Name of the data type of a driver node.
  std::string TypeName() const;
  // First driver of this instrument whose type name, short name or type key equals `type` without regard to case.
  ZKDrvList* FindDriver(std::string_view type) const;
  ZKDrvParmSync GetZKDrvParmSync() const;

  // Copied to the drivers and into their descriptors when this is an instrument.
  void SetSysExChannel(int channel);  // 0-based, kept inside the range each descriptor allows
  void SetMidiChannel(int channel);   // 0..15
  void SetInPort(int port, const std::string& portName);
  void SetOutPort(int port, const std::string& portName);
  void SetPatchBay(int flags, int channel, int port, int revertPatch, const std::string& portName);
  void SetPatchBayController(int controller);  // 0..127
  // Node values into the descriptor of this node and, for an instrument, of its drivers.
  void CopyToDescriptors();

  // How the messages of a driver node's data are recognised; null: it has no such map.  Read when it is asked for
  // first, since large maps would hold up every start.  Not for several threads at a time.
  const BufferDescriptor* SysExMap() const;

  // Studio record (kStudioRecordSize bytes); the port names are kept apart from it.
  void WriteRecord(std::uint8_t* record) const;
  static std::unique_ptr<ZKDrvList> FromRecord(const std::uint8_t* record);
  // A name as a record holds it, at most 63 bytes.
  static std::string_view RecordName(std::string_view name);

  std::vector<std::unique_ptr<ZKDrvList>> drivers;  // of an instrument node
  ZKDrvList* instrument = nullptr;                  // of a driver node
  DataFilePtr dataFile;                             // of a driver node
  std::uint8_t state = 0;
  std::uint8_t sysExChannel = 0;
  std::uint8_t midiChannel = 0;
  std::uint8_t midiInPort = 0;
  std::uint8_t midiOutPort = 0;
  std::uint8_t reservedFlag = 0;
  std::uint16_t defaultPatch = 0;
  std::uint8_t patchBayController = 0;
  std::uint8_t selected = 0;
  std::uint8_t setMember = 0;
  std::uint8_t setMemberCopy = 0;
  std::string path;  // driver: folder of the driver file; instrument: file of the default set
  std::string file;  // driver: driver file; instrument: picture
  std::uint32_t versionWord = 0;
  std::uint8_t patchBayFlags = 0;
  std::uint8_t patchBayChannel = 0;
  std::uint8_t patchBayPort = 0;
  std::uint8_t patchBayRevertPatch = 0;
  std::uint8_t carried[3] = {};
  std::uint8_t icon = 0;
  std::string moduleFile;
  std::string name;
  std::uint8_t instance = 0;
  std::string pluginCode;
  std::uint8_t multitimbral = 0;
  std::vector<std::string> patchNames;
  std::string inPortName;
  std::string outPortName;
  std::string patchBayPortName;

 private:
  void CopyPorts(ZKDrvList* driver) const;
  void UseSysExChannel(int channel);

  ZKDrvListKind kind_;
  std::filesystem::path iniFolder_;
  mutable std::shared_ptr<const BufferDescriptor> sysExMap_;
  mutable bool mapRead_ = false;
};

}  // namespace tonalith
