#pragma once

#include "data/data_records.h"
#include "document/history_target.h"

namespace tonalith {

// Buffers of a DataFile that a history knows.
enum class DataBuffer : std::uint32_t {
  Reference,   // refDirectory to refReserved
  ChunkModes,  // both are part of the record and keep their size
  Synth,
  Body,
  VoiceNames,
  EmptyMap,
  TagMap,
  Xtra,
  Comment,
  FindText,
  Authors,
  RightsNotices,
  Songs,
  Musicians,
  Bands,
  LongNames,
  MidiInPortName,
  MidiOutPortName,
  PatchBayPortName,
  TransmitScript,
  ReceiveScript,
  AuditionScript,
};
inline constexpr std::uint32_t kDataBuffers = static_cast<std::uint32_t>(DataBuffer::AuditionScript) + 1;

inline BufferId IdOf(DataBuffer buffer, std::uint32_t item = 0) {
  return {item, static_cast<std::uint32_t>(buffer)};
}

// The bytes of a buffer, empty when the record has none; and its size changed.  Rules as HistoryTarget has them.  The
// name of the record's file is not among the buffers: it follows the file, not the history.
std::span<std::uint8_t> DataBufferBytes(DataFile& dataFile, DataBuffer buffer);
bool ResizeDataBuffer(DataFile& dataFile, DataBuffer buffer, std::size_t size);

// One DataFile as the target of a history.
class DataFileTarget : public HistoryTarget {
 public:
  // Not owned; null is a record without buffers.
  explicit DataFileTarget(DataFile* dataFile = nullptr) : dataFile_(dataFile) {}
  void SetDataFile(DataFile* dataFile) { dataFile_ = dataFile; }

  std::vector<BufferId> HistoryBuffers() const override;
  std::span<std::uint8_t> HistoryBytes(BufferId id) override;
  bool ResizeHistoryBuffer(BufferId id, std::size_t size) override;

 private:
  DataFile* dataFile_;
};

}  // namespace tonalith
