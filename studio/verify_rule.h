#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace tonalith {

// A checksum inside an image as a module says it (studio/recognize_rules.h, "Verify0="), in the terms of CSum.
struct VerifyRule {
  std::uint32_t type = 0, start = 0, count = 0, offset = 0;
  std::uint32_t times = 1, step = 0;  // times 0: as often as it fits
  int always = -1;                    // value that is right whatever the sum; -1: none
  // Of data that has no one size: a byte of the image says how much more is counted (`more`) or how much further on the
  // sum and its bytes stand (`behind`), `each` for each; `size` is the shortest image, longer ones have more to count.
  struct Byte {
    std::uint32_t at = 0, each = 0;
  };
  Byte more, behind;
  std::uint32_t size = 0;

  // Its places depend on the image.
  bool Varies() const { return times == 0 || more.each || behind.each || size; }
};

// "TYPE START COUNT OFFSET | times N | step S | or BYTE | more AT EACH | behind AT EACH | size N"; empty or what is
// wrong.
std::string ParseVerifyRule(std::string_view text, VerifyRule* out);

// Where a checksum stands in one image.
struct VerifyPlace {
  std::uint32_t turn = 0;  // of `times`
  std::int64_t start = 0, count = 0, offset = 0;
};
// Every place of the rule in the image, in order, until `visit` says false.  Of a rule that varies: none in bytes that
// are no whole message, and none that do not fit.
void VisitVerifyPlaces(const VerifyRule& rule, std::span<const std::uint8_t> image,
                       const std::function<bool(const VerifyPlace&)>& visit);

}  // namespace tonalith
