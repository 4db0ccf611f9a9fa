#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/ini_file.h"

namespace tonalith {

// A question "who are you" of a maker's own, with its answer, for instruments that know no identity request.  Kept in
// section "Own Inquiry" of the module INI:
//
//   Request=F0 42 4n F7     n: a digit with the device ID; nn: a byte with it, 28+n: with that much more
//   Reply=F0 42 3n 04 F7    ? for a digit that may be any
struct OwnInquiry {
  enum class Device { kNone, kDigit, kByte };
  struct Byte {
    std::uint8_t value = 0, mask = 0xFF;  // bits that must agree
    Device device = Device::kNone;        // that goes on top
    std::uint8_t With(int id) const {
      const int part = device == Device::kDigit ? id & 0x0F : device == Device::kByte ? id : 0;
      return static_cast<std::uint8_t>(value + part);
    }
  };
  std::vector<Byte> request, reply;

  bool empty() const { return request.empty(); }
  std::vector<std::uint8_t> RequestOf(int device) const;
  // The device ID (from `low` to `high`) whose answer this is: `asked` where the answer says none.  Nothing when it is
  // no answer.
  std::optional<int> DeviceOf(std::span<const std::uint8_t> message, int low, int high, int asked) const;
};

// Nothing in it when the module has no such section, or, with a sentence in *problem (may be null), a wrong one.
OwnInquiry ReadOwnInquiry(const IniFile& module, std::string* problem = nullptr);

}  // namespace tonalith
