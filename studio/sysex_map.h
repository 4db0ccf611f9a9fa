#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

class ZKDrvList;
struct StudioPaths;

// SysEx maps: which messages an instrument sends on its own belong to a data type, and where their bytes go in its
// image.  A map is a list of descriptors of two kinds; it lies in the module folder as "SysXMap.ID%d.bin" (%d = driver
// id).  Messages are complete, from F0 to F7.

inline constexpr std::uint8_t kAnySysExByte = 255;
inline constexpr std::size_t kMaxSysExMapFile = std::size_t{16} << 20;

// What a match of one descriptor lets others add to their places (bank select messages).  There is one for the whole
// program, kept by the studio.
struct SysXBase {
  std::uint32_t value = 0;
  std::uint16_t driverId = kNoDriver;  // who set it

  // To be called before an instrument goes away.
  void Forget(int driver);
};

// Bytes on their way from a message into an image.  Nothing lies outside the message.
struct SysXRange {
  std::size_t source = 0;
  std::size_t count = 0;
  std::uint64_t destination = 0;
};

struct SysXPair {
  std::int32_t offset = 0;  // negative: behind the end, where only kAnySysExByte matches
  std::uint8_t value = kAnySysExByte;

  bool operator==(const SysXPair&) const = default;
};

// Recognised by its length and by fixed bytes.
struct StdSysXDescriptor {
  std::uint32_t size = 0;      // length that matches; not looked at when variable
  std::int32_t copyBytes = 0;  // 0: the whole message; negative: that many less than the message has
  std::uint32_t sourceOffset = 0;
  std::uint32_t destinationOffset = 0;
  std::uint8_t variable = 0;
  std::vector<SysXPair> pairs;  // without any, nothing matches
  std::uint8_t useBase = 0;     // matches only while the base is this driver's, and moves the destination by it
  std::uint8_t setBase = 0;     // a match sets the base
  std::uint32_t newBaseValue = 0;

  bool Validate(const DataFile& dataFile, std::span<const std::uint8_t> message, SysXBase& base) const;
  // What Copy copies of a message that matched, before the image's end cuts it; nothing: the message is dropped.
  std::optional<SysXRange> Range(std::span<const std::uint8_t> message, const SysXBase& base) const;

  bool operator==(const StdSysXDescriptor&) const = default;
};

// Recognised by the address of a Roland data set message.
struct RolandSysXDescriptor {
  std::uint32_t baseAddress = 0;  // 7-bit groups put together
  std::uint32_t destinationOffset = 0;
  std::uint32_t size = 0;          // addresses covered
  std::uint32_t addressBytes = 3;  // 1 to 4
  std::uint8_t instrumentId = 0;   // model

  bool Validate(std::span<const std::uint8_t> message) const;
  std::optional<SysXRange> Range(std::span<const std::uint8_t> message) const;

  bool operator==(const RolandSysXDescriptor&) const = default;
};

using SysXDescriptor = std::variant<StdSysXDescriptor, RolandSysXDescriptor>;

// Messages of one maker carry a text at byte 13 that instruments cut short: it is brought to 16 characters.  Nothing:
// the text has no end or is too long, and the message is dropped.  Other messages come back as they are.
std::optional<std::vector<std::uint8_t>> PadSysExText(std::span<const std::uint8_t> message);

class BufferDescriptor {
 public:
  static constexpr std::size_t kNoMatch = static_cast<std::size_t>(-1);

  std::vector<SysXDescriptor> descriptors;
  bool loaded = false;

  // Position of the first descriptor that matches, kNoMatch: none.  A match may set the base.
  std::size_t Validate(const DataFile& dataFile, std::span<const std::uint8_t> message, SysXBase& base) const;
  // Copies the bytes of a message that descriptor `index` matched into the image, cut at its end, and clears the marks
  // that say the data holds nothing yet (one patch's on types that move patch by patch).  Returns the bytes copied; 0
  // leaves everything as it is.
  std::size_t Copy(std::size_t index, DataFile* dataFile, std::span<const std::uint8_t> message,
                   const SysXBase& base) const;
  // What Copy does, without an image.
  std::optional<SysXRange> Range(std::size_t index, std::span<const std::uint8_t> message, const SysXBase& base) const;

  // The map file and back.  A failure says what is wrong and where; `out` is then left alone.
  std::vector<std::uint8_t> ToBytes() const;
  static Result FromBytes(std::span<const std::uint8_t> bytes, BufferDescriptor* out);

  // The map of a driver; null when there is none or it is damaged (noted in the monitor log).
  static std::shared_ptr<BufferDescriptor> LoadBin(const StudioPaths& paths, const ZKDrvList& driver);
  Result SaveBin(const StudioPaths& paths, const ZKDrvList& driver) const;
  // Replaces the list from the text form of a map.
  Result LoadIni(const std::string& file, int driverId);
};

// "SysXMap.ID1000.bin"
std::string SysExMapName(int driverId);
// Module folder of a driver; empty when the module does not say a good one.
std::string ModuleFolderOf(const StudioPaths& paths, const ZKDrvList& driver);

// From "SysX Descriptors/ID%d.ini" in the module folder; null when it is missing, damaged or holds the other kind.
std::shared_ptr<BufferDescriptor> CreateIniDescriptor(const StudioPaths& paths, const ZKDrvList& driver);
std::shared_ptr<BufferDescriptor> CreateRolandAddressIniDescriptor(const StudioPaths& paths, const ZKDrvList& driver);
// The map file of the driver; when it is missing the text form, which is then kept as the map file.
std::shared_ptr<BufferDescriptor> CreateBinDescriptor(const StudioPaths& paths, const ZKDrvList& driver);
std::shared_ptr<BufferDescriptor> CreateRolandAddressBinDescriptor(const StudioPaths& paths, const ZKDrvList& driver);

// Descriptors in a map file; 0 also for one that is missing or damaged.
int SysExMapEntries(const std::filesystem::path& map);

}  // namespace tonalith
