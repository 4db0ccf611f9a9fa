#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "data/standard_midi_file.h"
#include "platform/result.h"

namespace tonalith {

// The SysEx messages of a file.  Nothing of a raw stream is copied: messages are places in it.

// More messages than this are not looked at: their list would need more memory than any file they fill.
inline constexpr std::size_t kMostFileMessages = std::size_t{1} << 21;

// A message of a file: bytes from F0 to F7 without real-time bytes, and where it stands in the file.
struct FileMessage {
  static constexpr std::uint32_t kNoMessage = 0xFFFFFFFF;

  std::span<const std::uint8_t> bytes;
  std::uint32_t offset = 0;
  std::uint32_t length = 0;
  // The nearest message before it that chooses where data goes (LinkContexts).
  std::uint32_t contextBefore = kNoMessage;
  bool used = false;
  // Put together from coded messages; with a wrong check value in one of them.
  bool coded = false;
  bool bad = false;
};

// Bytes that begin like a message or end like one.
struct TornMessage {
  std::size_t offset = 0;
  std::size_t size = 0;
};

// The messages of a file with the bytes that had to be copied.  The file must outlive it.
struct FileMessages {
  std::vector<FileMessage> list;
  std::deque<std::vector<std::uint8_t>> copies;
  SmfContents smf;
  std::size_t unterminated = 0;     // messages without their F7
  std::size_t headless = 0;         // F7s without a message
  std::size_t outsideBytes = 0;     // of a raw stream, in no message
  std::size_t realTimeBytes = 0;    // of messages, left out
  std::size_t skippedBytes = 0;     // behind the last message that is looked at
  std::vector<TornMessage> damage;  // where messages without end or beginning stand, in order
};

// A list that grows evenly while `done` of `total` is gone through gets room for the rest, so that it is not copied
// again and again as it grows.
template <typename Item>
void ReserveByProgress(std::vector<Item>* list, std::size_t done, std::size_t total) {
  constexpr std::size_t kTelling = 4096;
  if (list->size() != kTelling || done == 0) return;
  const std::size_t expected =
      static_cast<std::size_t>(static_cast<double>(total) / static_cast<double>(done) * static_cast<double>(kTelling));
  list->reserve(std::min(kMostFileMessages, expected + kTelling));
}

// Splits a raw SysEx stream or a Standard MIDI File of at most 4 GiB.  Fails with a sentence when it is a Standard MIDI
// File that cannot be read; a stream without messages is no failure.
Result SplitFileMessages(std::span<const std::uint8_t> file, FileMessages* out);

}  // namespace tonalith
