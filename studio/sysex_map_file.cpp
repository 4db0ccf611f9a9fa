#include <algorithm>
#include <filesystem>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/studio_node.h"
#include "studio/studio_surroundings.h"
#include "studio/sysex_map.h"

namespace tonalith {

namespace {

constexpr std::size_t kMapHead = 24;
constexpr std::size_t kChunkHead = 8;
constexpr std::size_t kStandardHead = 22;  // up to the pair offsets
constexpr std::size_t kBaseFields = 6;
constexpr std::size_t kRolandSize = 18;
constexpr std::uint8_t kStandardKind = 0, kRolandKind = 1;

class MapWriter {
 public:
  explicit MapWriter(std::vector<std::uint8_t>* out) : out_(out) {}
  void Byte(std::uint8_t value) { out_->push_back(value); }
  void Long(std::uint32_t value) {
    std::uint8_t bytes[4];
    StoreBe32(bytes, value);
    out_->insert(out_->end(), bytes, bytes + 4);
  }
  void Text(std::string_view text) { out_->insert(out_->end(), text.begin(), text.end()); }

 private:
  std::vector<std::uint8_t>* out_;
};

std::vector<std::uint8_t> StandardBytes(const StdSysXDescriptor& d) {
  std::vector<std::uint8_t> bytes;
  MapWriter out(&bytes);
  const auto count = static_cast<std::uint32_t>(d.pairs.size());
  out.Byte(kStandardKind);
  out.Long(d.size);
  out.Long(static_cast<std::uint32_t>(d.copyBytes));
  out.Long(d.sourceOffset);
  out.Long(d.destinationOffset);
  out.Byte(d.variable);
  out.Long(count);
  for (const SysXPair& pair : d.pairs) out.Long(static_cast<std::uint32_t>(pair.offset));
  out.Long(count);
  for (const SysXPair& pair : d.pairs) out.Byte(pair.value);
  out.Byte(d.useBase);
  out.Byte(d.setBase);
  out.Long(d.newBaseValue);
  if (bytes.size() % 2) out.Byte(0);
  return bytes;
}

std::vector<std::uint8_t> RolandBytes(const RolandSysXDescriptor& d) {
  std::vector<std::uint8_t> bytes;
  MapWriter out(&bytes);
  out.Byte(kRolandKind);
  out.Long(d.baseAddress);
  out.Long(d.destinationOffset);
  out.Long(d.size);
  out.Long(d.addressBytes);
  out.Byte(d.instrumentId);
  return bytes;
}

// Reads one descriptor; the text says what is wrong with it, empty: nothing.
std::string ReadStandard(std::span<const std::uint8_t> bytes, StdSysXDescriptor* d) {
  if (bytes.size() < kStandardHead + 4) return "is too short";
  const std::uint8_t* p = bytes.data();
  d->size = LoadBe32(p + 1);
  d->copyBytes = static_cast<std::int32_t>(LoadBe32(p + 5));
  d->sourceOffset = LoadBe32(p + 9);
  d->destinationOffset = LoadBe32(p + 13);
  d->variable = p[17];
  const std::uint64_t count = LoadBe32(p + 18);
  if (kStandardHead + 5 * count + 4 > bytes.size()) return "has fewer pairs than it says";
  const std::uint8_t* offsets = p + kStandardHead;
  const std::uint8_t* values = offsets + 4 * count + 4;
  if (LoadBe32(offsets + 4 * count) != count) return "gives two numbers of pairs";
  for (std::size_t i = 0; i < count; ++i)
    d->pairs.push_back({static_cast<std::int32_t>(LoadBe32(offsets + 4 * i)), values[i]});
  const std::uint8_t* rest = values + count;
  if (static_cast<std::size_t>(p + bytes.size() - rest) < kBaseFields) return {};
  d->useBase = rest[0];
  d->setBase = rest[1];
  d->newBaseValue = LoadBe32(rest + 2);
  return {};
}

std::string ReadRoland(std::span<const std::uint8_t> bytes, RolandSysXDescriptor* d) {
  if (bytes.size() < kRolandSize) return "is too short";
  const std::uint8_t* p = bytes.data();
  *d = {LoadBe32(p + 1), LoadBe32(p + 5), LoadBe32(p + 9), LoadBe32(p + 13), p[17]};
  return d->addressBytes < 1 || d->addressBytes > 4 ? "does not have 1 to 4 address bytes" : "";
}

std::string ReadDescriptor(std::span<const std::uint8_t> bytes, SysXDescriptor* out) {
  if (bytes.empty()) return "is empty";
  if (bytes[0] == kStandardKind) return ReadStandard(bytes, &out->emplace<StdSysXDescriptor>());
  if (bytes[0] == kRolandKind) return ReadRoland(bytes, &out->emplace<RolandSysXDescriptor>());
  return "is of the unknown kind " + std::to_string(bytes[0]);
}

// The descriptors of a map in its text form.
class MapIni {
 public:
  MapIni(const IniFile& ini, int driverId) : ini_(ini), driverId_(driverId) {}

  Result Read(std::vector<SysXDescriptor>* out) {
    section_ = "ID Descriptor " + std::to_string(driverId_);
    if (!ini_.HasSection(section_)) return Result::Failure("there is no section [" + section_ + "]");
    const int count = ini_.GetInt(section_, "Count"), type = ini_.GetInt(section_, "Type");
    if (type != kStandardKind && type != kRolandKind) return Result::Success();
    const std::string first = section_;
    // Every descriptor is a section, so a larger count is no count.
    if (count < 0 || static_cast<std::size_t>(count) > ini_.Sections().size())
      return Result::Failure("[" + first + "] gives a wrong \"Count\"");
    for (int i = 0; i < count; ++i) {
      section_ = first + " - Msg " + std::to_string(i);
      if (!ini_.HasSection(section_)) return Result::Failure("there is no section [" + section_ + "]");
      if (type == kStandardKind)
        out->emplace_back(Standard());
      else
        out->emplace_back(Roland());
      if (!problem_.empty()) return Result::Failure("[" + section_ + "] " + problem_);
    }
    return Result::Success();
  }

 private:
  std::int64_t Number(const std::string& key, std::int64_t low, std::int64_t high) {
    const auto text = ini_.Find(section_, key);
    if (!text || TrimmedView(*text).empty()) return 0;
    const auto value = ParseInteger(*text);
    if (value && *value >= low && *value <= high) return *value;
    problem_ = "has no good value for \"" + key + "\"";
    return 0;
  }
  std::uint32_t Long(const std::string& key) { return static_cast<std::uint32_t>(Number(key, INT32_MIN, UINT32_MAX)); }
  std::uint8_t Byte(const std::string& key) { return static_cast<std::uint8_t>(Number(key, 0, 255)); }

  StdSysXDescriptor Standard() {
    StdSysXDescriptor d;
    d.size = Long("Size");
    d.variable = Byte("isVariable");
    d.copyBytes = static_cast<std::int32_t>(Long("CopyBytes"));
    d.sourceOffset = Long("SrcOffset");
    d.destinationOffset = Long("DstOffset");
    d.useBase = Byte("UseBase");
    d.setBase = Byte("SetBase");
    d.newBaseValue = Long("NewBaseVal");
    const std::int64_t count = Number("Count", 0, INT32_MAX);
    if (static_cast<std::uint64_t>(count) > ini_.Keys(section_).size()) problem_ = "gives a wrong \"Count\"";
    for (std::int64_t i = 0; i < count && problem_.empty(); ++i) {
      const std::string number = std::to_string(i);
      d.pairs.push_back({static_cast<std::int32_t>(Long("Ofs" + number)), Byte("Val" + number)});
    }
    return d;
  }
  RolandSysXDescriptor Roland() {
    RolandSysXDescriptor d;
    d.baseAddress = Long("RolandBaseAddress");
    d.destinationOffset = Long("RolandOffset");
    d.size = Long("RolandSize");
    d.addressBytes = Long("RolandAddressBytes");
    d.instrumentId = Byte("RolandInstrumentID");
    if (d.addressBytes < 1 || d.addressBytes > 4) problem_ = "needs 1 to 4 \"RolandAddressBytes\"";
    return d;
  }

  const IniFile& ini_;
  int driverId_;
  std::string section_, problem_;
};

std::shared_ptr<BufferDescriptor> FromModuleIni(const StudioPaths& paths, const ZKDrvList& driver, bool roland) {
  const std::string folder = ModuleFolderOf(paths, driver);
  if (folder.empty() || !driver.synth()) return nullptr;
  const int id = driver.synth()->driverId;
  const auto file = FindPath(folder, "SysX Descriptors/ID" + std::to_string(id) + ".ini", PathTrust::Untrusted);
  auto map = std::make_shared<BufferDescriptor>();
  if (!file) return nullptr;
  if (const Result result = map->LoadIni(*file, id); !result.ok()) {
    MonitorMsg("%s", result.text.c_str());
    return nullptr;
  }
  if (map->descriptors.empty() || std::holds_alternative<RolandSysXDescriptor>(map->descriptors[0]) != roland)
    return nullptr;
  return map;
}

std::shared_ptr<BufferDescriptor> BinOrIni(const StudioPaths& paths, const ZKDrvList& driver, bool roland) {
  if (auto map = BufferDescriptor::LoadBin(paths, driver)) return map;
  auto map = FromModuleIni(paths, driver, roland);
  if (!map) return nullptr;
  if (const Result saved = map->SaveBin(paths, driver); !saved.ok()) MonitorMsg("%s", saved.text.c_str());
  return map;
}

}  // namespace

std::string SysExMapName(int driverId) {
  return "SysXMap.ID" + std::to_string(driverId) + ".bin";
}

std::string ModuleFolderOf(const StudioPaths& paths, const ZKDrvList& driver) {
  std::string name = driver.path;
  // The folder a driver file was found in is the module's, as long as it lies in the instrument folder.
  const std::string root = paths.instruments.string() + '/';
  if (!driver.IsInstrument() && name.compare(0, root.size(), root) == 0) name.erase(0, root.size());
  if (driver.IsInstrument() || name.empty() || std::filesystem::path(name).is_absolute())
    name = IniFile(driver.GetIniPath().string()).GetString("Instrument", "Dir");
  std::string folder;
  return SafeJoin(paths.instruments.string(), name, folder).ok() ? folder : std::string();
}

std::vector<std::uint8_t> BufferDescriptor::ToBytes() const {
  std::vector<std::uint8_t> bytes;
  MapWriter out(&bytes);
  out.Text("FORM");
  out.Long(0);
  out.Text("SYSXDESC");
  out.Long(4);
  out.Long(static_cast<std::uint32_t>(descriptors.size()));
  for (const SysXDescriptor& descriptor : descriptors) {
    const auto* standard = std::get_if<StdSysXDescriptor>(&descriptor);
    const auto one = standard ? StandardBytes(*standard) : RolandBytes(std::get<RolandSysXDescriptor>(descriptor));
    out.Text("DATA");
    out.Long(static_cast<std::uint32_t>(one.size()));
    bytes.insert(bytes.end(), one.begin(), one.end());
  }
  StoreBe32(bytes.data() + 4, static_cast<std::uint32_t>(bytes.size() - kChunkHead));
  return bytes;
}

Result BufferDescriptor::FromBytes(std::span<const std::uint8_t> bytes, BufferDescriptor* out) {
  static constexpr std::uint8_t kType[] = {'S', 'Y', 'S', 'X', 'D', 'E', 'S', 'C', 0, 0, 0, 4};
  const std::uint8_t* p = bytes.data();
  if (bytes.size() < kMapHead || LoadBe32(p) != ChunkId("FORM") || !std::equal(kType, kType + sizeof kType, p + 8))
    return Result::Failure("This is no SysEx map.");
  const std::uint64_t end = kChunkHead + std::uint64_t{LoadBe32(p + 4)};
  if (end > bytes.size()) return Result::Failure("The SysEx map is shorter than it says.");
  const std::uint64_t count = LoadBe32(p + 20);
  BufferDescriptor map;
  std::size_t at = kMapHead;
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::string name = "Descriptor " + std::to_string(i) + " of the SysEx map, at byte " + std::to_string(at);
    if (at + kChunkHead > end)
      return Result::Failure(name + ", is missing; the map says it has " + std::to_string(count) + ".");
    const std::uint64_t length = LoadBe32(p + at + 4);
    if (LoadBe32(p + at) != ChunkId("DATA")) return Result::Failure(name + ", does not begin with \"DATA\".");
    if (at + kChunkHead + length > end) return Result::Failure(name + ", is longer than the file.");
    SysXDescriptor descriptor;
    const std::string problem =
        ReadDescriptor(bytes.subspan(at + kChunkHead, static_cast<std::size_t>(length)), &descriptor);
    if (!problem.empty()) return Result::Failure(name + ", " + problem + ".");
    map.descriptors.push_back(std::move(descriptor));
    at += kChunkHead + static_cast<std::size_t>(length);
  }
  if (at != end) return Result::Failure("The length of the SysEx map does not agree with its descriptors.");
  map.loaded = true;
  *out = std::move(map);
  return Result::Success();
}

std::shared_ptr<BufferDescriptor> BufferDescriptor::LoadBin(const StudioPaths& paths, const ZKDrvList& driver) {
  const std::string folder = driver.synth() ? ModuleFolderOf(paths, driver) : std::string();
  if (folder.empty()) return nullptr;
  const auto file = FindPath(folder, SysExMapName(driver.synth()->driverId), PathTrust::Untrusted);
  if (!file) return nullptr;
  std::vector<std::uint8_t> bytes;
  auto map = std::make_shared<BufferDescriptor>();
  Result result = ReadWholeFile(*file, bytes, kMaxSysExMapFile);
  if (result.ok()) result = FromBytes(bytes, map.get());
  if (result.ok()) return map;
  MonitorMsg("%s: %s", file->c_str(), result.text.c_str());
  return nullptr;
}

Result BufferDescriptor::SaveBin(const StudioPaths& paths, const ZKDrvList& driver) const {
  const std::string folder = driver.synth() ? ModuleFolderOf(paths, driver) : std::string();
  std::string file;
  if (folder.empty()) return Result::Failure("The module has no folder for a SysEx map.");
  const Result result = SafeJoin(folder, SysExMapName(driver.synth()->driverId), file);
  return result.ok() ? WriteFileAtomically(file, ToBytes()) : result;
}

Result BufferDescriptor::LoadIni(const std::string& file, int driverId) {
  IniFile ini;
  if (const Result result = ini.Load(file); !result.ok()) return result;
  std::vector<SysXDescriptor> list;
  const Result result = MapIni(ini, driverId).Read(&list);
  if (!result.ok()) return Result::Failure(file + ": " + result.text + ".");
  descriptors = std::move(list);
  loaded = !descriptors.empty();
  return Result::Success();
}

std::shared_ptr<BufferDescriptor> CreateIniDescriptor(const StudioPaths& paths, const ZKDrvList& driver) {
  return FromModuleIni(paths, driver, false);
}

std::shared_ptr<BufferDescriptor> CreateRolandAddressIniDescriptor(const StudioPaths& paths, const ZKDrvList& driver) {
  return FromModuleIni(paths, driver, true);
}

std::shared_ptr<BufferDescriptor> CreateBinDescriptor(const StudioPaths& paths, const ZKDrvList& driver) {
  return BinOrIni(paths, driver, false);
}

std::shared_ptr<BufferDescriptor> CreateRolandAddressBinDescriptor(const StudioPaths& paths, const ZKDrvList& driver) {
  return BinOrIni(paths, driver, true);
}

int SysExMapEntries(const std::filesystem::path& map) {
  std::vector<std::uint8_t> bytes;
  BufferDescriptor read;
  if (!ReadWholeFile(map.string(), bytes, kMaxSysExMapFile).ok() || !BufferDescriptor::FromBytes(bytes, &read).ok())
    return 0;
  return static_cast<int>(read.descriptors.size());
}

}  // namespace tonalith
