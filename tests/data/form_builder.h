// Data files made by hand.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

using Bytes = std::vector<std::uint8_t>;

// Builds files by hand, with any lengths.
class Chunks {
 public:
  Chunks& Add(const char (&id)[5], const Bytes& data, bool pad = true) {
    Put(id, data.size());
    bytes_.insert(bytes_.end(), data.begin(), data.end());
    if (pad && (data.size() & 1)) bytes_.push_back(0);
    return *this;
  }
  Chunks& Add(const char (&id)[5], const std::string& text) { return Add(id, Bytes(text.begin(), text.end())); }
  Bytes Form(const char (&id)[5] = "FORM", const char (&type)[5] = "BANK") const {
    Chunks out;
    out.Put(id, bytes_.size() + 4);
    out.bytes_.insert(out.bytes_.end(), type, type + 4);
    out.bytes_.insert(out.bytes_.end(), bytes_.begin(), bytes_.end());
    return out.bytes_;
  }
  Chunks& Raw(const Bytes& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }

 private:
  void Put(const char (&id)[5], std::size_t n) {
    bytes_.insert(bytes_.end(), id, id + 4);
    for (int shift = 24; shift >= 0; shift -= 8) bytes_.push_back(static_cast<std::uint8_t>(n >> shift));
  }
  Bytes bytes_;
};

inline Synth BankSynth() {
  Synth s{};
  std::strcpy(s.shortName, "DX7");
  s.fileSize = 2 + 2 * 16;
  s.headerSize = 2;
  s.numVoices = 2;
  s.voiceSize = 16;
  s.nameLength = 10;
  s.isBank = 1;
  return s;
}

inline Bytes OnDisk(Synth s, std::uint32_t size = kSynthSize) {
  FlipSynth(&s, size);
  const auto* p = reinterpret_cast<const std::uint8_t*>(&s);
  return Bytes(p, p + size);
}

inline Bytes Body() {
  return Bytes(34, 0x41);
}

}  // namespace tonalith
