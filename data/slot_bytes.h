#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// The data bytes of the voices of one image, a voice at a time, whatever their packing: `voiceBytes` logical bytes at
// `voiceOffset` of each slot.  Voices never share a byte here, so that any order of reading and writing is safe; frame
// bytes around and between the data (heads, interleaved bytes) stay where they are.
//
// A view: the record is not owned and must not change its size meanwhile.
class SlotBytes {
 public:
  explicit SlotBytes(const DataFile& dataFile);

  // Why the voices cannot be told apart byte by byte; empty: they can.  Nothing else may be called then.
  const std::string& problem() const { return problem_; }
  std::uint32_t Count() const { return count_; }

  // What a voice holds, as bytes that mean something only to Put and the functions below; two records of the same
  // packing and size understand each other.
  std::vector<std::uint8_t> Take(const DataFile& dataFile, std::uint32_t voice) const;
  // `bytes` as Take gave them.
  void Put(DataFile& dataFile, std::uint32_t voice, const std::vector<std::uint8_t>& bytes) const;
  // The raw bytes of one voice as they stand in an image that begins with it.  False, and nothing changed, when they
  // are not as many as a voice has.
  bool PutRaw(DataFile& dataFile, std::uint32_t voice, std::span<const std::uint8_t> raw) const;
  // The inverse.
  std::vector<std::uint8_t> GetRaw(const DataFile& dataFile, std::uint32_t voice) const;
  // How many those are.
  std::uint64_t RawBytes() const;
  bool SameForm(const SlotBytes& other) const;

  // Logical bytes of what Take gave; outside: 0, and dropped.
  std::uint8_t Logical(const std::vector<std::uint8_t>& bytes, std::uint32_t index) const;
  void SetLogical(std::vector<std::uint8_t>* bytes, std::uint32_t index, std::uint8_t value) const;
  // Every logical byte 0; what the packing adds to them stays legal.
  void Clear(std::vector<std::uint8_t>* bytes) const;

 private:
  // Raw bytes a voice takes; 0: they do not fit its slot.
  std::uint64_t RawSize(std::uint64_t space) const;
  std::size_t PlaceOf(std::uint32_t voice, std::uint64_t raw) const;

  Synth synth_{};
  std::uint32_t count_ = 0;
  std::uint64_t size_ = 0;  // raw bytes of a voice; of the continuous 7/8 stream: logical bytes
  std::string problem_;
};

}  // namespace tonalith
