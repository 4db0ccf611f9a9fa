#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "simulator/instrument.h"

namespace tonalith::simulator_test {

using Bytes = std::vector<std::uint8_t>;

inline std::filesystem::path SysExFolder() {
  if (const char* folder = std::getenv("TONALITH_SYSEX_DIR"); folder != nullptr && *folder != '\0') return folder;
  return std::filesystem::path(TONALITH_SOURCE_DIR) / "../shared/sysex";
}

inline Bytes ReadWhole(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline Bytes Hex(std::string_view text) {
  Bytes bytes;
  std::string digits;
  for (const char c : text)
    if (c != ' ') digits.push_back(c);
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  return bytes;
}

inline std::unique_ptr<SimulatedInstrument> Make(std::string_view key) {
  std::string problem;
  auto instrument = SimulatedInstrument::Create(key, &problem);
  EXPECT_NE(instrument, nullptr) << problem;
  return instrument;
}

// A plain conversation partner: keeps time, so that nothing comes too fast, and joins what comes back.
class Host {
 public:
  explicit Host(SimulatedInstrument& instrument) : instrument_(instrument) {}

  std::vector<Reply> Talk(const Bytes& bytes, std::int64_t afterMs = 500) {
    nowUs_ += afterMs * 1000;
    auto replies = instrument_.OnBytes(bytes, nowUs_);
    if (!replies.empty()) nowUs_ += replies.back().delayUs;
    return replies;
  }
  Bytes Ask(std::string_view hex, std::int64_t afterMs = 500) { return Ask(Hex(hex), afterMs); }
  Bytes Ask(const Bytes& bytes, std::int64_t afterMs = 500) {
    Bytes all;
    for (const Reply& reply : Talk(bytes, afterMs)) all.insert(all.end(), reply.bytes.begin(), reply.bytes.end());
    return all;
  }

 private:
  SimulatedInstrument& instrument_;
  std::int64_t nowUs_ = 1'000'000;
};

}  // namespace tonalith::simulator_test
