#include "document/data_file_target.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace tonalith {

namespace {

// A buffer of a record, whatever type its pointer has.
struct Row {
  std::uint8_t* (*get)(DataFile&);
  std::uint32_t DataFile::*size;
  bool (*allocate)(DataFile&, std::uint32_t);
  void (*release)(DataFile&);
};

template <auto Pointer, auto Size>
constexpr Row MakeRow() {
  return {[](DataFile& d) { return reinterpret_cast<std::uint8_t*>(d.*Pointer); }, Size,
          [](DataFile& d, std::uint32_t size) { return AllocChunk(&(d.*Pointer), &(d.*Size), size) != 0; },
          [](DataFile& d) { FreeChunk(d.*Pointer, d.*Size); }};
}

// From DataBuffer::Synth on, in the order of the enumeration.
constexpr Row kRows[] = {
    MakeRow<&DataFile::synth, &DataFile::synthSize>(),
    MakeRow<&DataFile::body, &DataFile::bodySize>(),
    MakeRow<&DataFile::voiceNames, &DataFile::voiceNamesSize>(),
    MakeRow<&DataFile::emptyMap, &DataFile::emptyMapSize>(),
    MakeRow<&DataFile::tagMap, &DataFile::tagMapSize>(),
    MakeRow<&DataFile::xtra, &DataFile::xtraSize>(),
    MakeRow<&DataFile::comment, &DataFile::commentSize>(),
    MakeRow<&DataFile::findText, &DataFile::findTextSize>(),
    MakeRow<&DataFile::authors, &DataFile::authorsSize>(),
    MakeRow<&DataFile::rightsNotices, &DataFile::rightsNoticesSize>(),
    MakeRow<&DataFile::songs, &DataFile::songsSize>(),
    MakeRow<&DataFile::musicians, &DataFile::musiciansSize>(),
    MakeRow<&DataFile::bands, &DataFile::bandsSize>(),
    MakeRow<&DataFile::longNames, &DataFile::longNamesSize>(),
    MakeRow<&DataFile::midiInPortName, &DataFile::midiInPortNameSize>(),
    MakeRow<&DataFile::midiOutPortName, &DataFile::midiOutPortNameSize>(),
    MakeRow<&DataFile::patchBayPortName, &DataFile::patchBayPortNameSize>(),
    MakeRow<&DataFile::transmitScript, &DataFile::transmitScriptSize>(),
    MakeRow<&DataFile::receiveScript, &DataFile::receiveScriptSize>(),
    MakeRow<&DataFile::auditionScript, &DataFile::auditionScriptSize>(),
};
constexpr std::uint32_t kFirstRow = static_cast<std::uint32_t>(DataBuffer::Synth);
static_assert(std::size(kRows) + kFirstRow == kDataBuffers);

constexpr std::size_t kReferenceSize = offsetof(DataFile, refReserved) + 1 - offsetof(DataFile, refDirectory);

const Row* RowOf(DataBuffer buffer) {
  const auto number = static_cast<std::uint32_t>(buffer);
  return number < kFirstRow || number >= kDataBuffers ? nullptr : &kRows[number - kFirstRow];
}

}  // namespace

std::span<std::uint8_t> DataBufferBytes(DataFile& dataFile, DataBuffer buffer) {
  if (buffer == DataBuffer::Reference) {
    return {reinterpret_cast<std::uint8_t*>(&dataFile) + offsetof(DataFile, refDirectory), kReferenceSize};
  }
  if (buffer == DataBuffer::ChunkModes) return dataFile.chunkModes;
  const Row* row = RowOf(buffer);
  std::uint8_t* bytes = row ? row->get(dataFile) : nullptr;
  return {bytes, bytes ? dataFile.*row->size : 0};
}

bool ResizeDataBuffer(DataFile& dataFile, DataBuffer buffer, std::size_t size) {
  const std::span<std::uint8_t> bytes = DataBufferBytes(dataFile, buffer);
  if (bytes.size() == size) return true;
  const Row* row = RowOf(buffer);
  if (!row || size > kMaxFileSize) return false;
  const auto wanted = static_cast<std::uint32_t>(size);
  if (wanted == 0) {
    row->release(dataFile);
  } else if (wanted < bytes.size()) {
    // In place, so that it cannot fail; what lies behind the recorded size of a buffer is zero.
    std::memset(bytes.data() + wanted, 0, bytes.size() - wanted);
    dataFile.*row->size = wanted;
  } else {
    if (!row->allocate(dataFile, wanted)) return false;
    dataFile.*row->size = wanted;
  }
  return true;
}

std::vector<BufferId> DataFileTarget::HistoryBuffers() const {
  std::vector<BufferId> ids;
  for (std::uint32_t i = 0; dataFile_ && i < kDataBuffers; ++i) ids.push_back({0, i});
  return ids;
}

std::span<std::uint8_t> DataFileTarget::HistoryBytes(BufferId id) {
  if (!dataFile_ || id.item != 0) return {};
  return DataBufferBytes(*dataFile_, static_cast<DataBuffer>(id.buffer));
}

bool DataFileTarget::ResizeHistoryBuffer(BufferId id, std::size_t size) {
  if (!dataFile_ || id.item != 0) return size == 0;
  return ResizeDataBuffer(*dataFile_, static_cast<DataBuffer>(id.buffer), size);
}

}  // namespace tonalith
