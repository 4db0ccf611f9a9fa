#include "studio/file_messages.h"

#include <algorithm>

#include "data/sysex_split.h"

namespace tonalith {

namespace {

// A shorter message cannot name its maker.
constexpr std::size_t kShortestMessage = 3;

void SplitRawStream(std::span<const std::uint8_t> file, FileMessages* out) {
  SysExSplitter splitter(file);
  SysExPiece piece;
  std::size_t at = 0;
  const auto skipTo = [&](std::size_t next) {
    const auto gap = file.subspan(at, next - at);
    out->outsideBytes += gap.size();
    const auto end = std::adjacent_find(
        gap.begin(), gap.end(), [](std::uint8_t byte, std::uint8_t after) { return byte < 0x80 && after == 0xF7; });
    if (end == gap.end()) return;
    ++out->headless;
    if (out->damage.size() < kMostFileMessages) out->damage.push_back({at, gap.size()});
  };
  while (out->list.size() < kMostFileMessages && splitter.Next(&piece)) {
    skipTo(piece.offset);
    at = piece.offset + piece.bytes.size();
    if (!piece.isTerminated) {
      ++out->unterminated;
      if (out->damage.size() < kMostFileMessages) out->damage.push_back({piece.offset, piece.bytes.size()});
      continue;
    }
    ReserveByProgress(&out->list, at, file.size());
    FileMessage message;
    message.bytes = piece.bytes;
    message.offset = static_cast<std::uint32_t>(piece.offset);
    message.length = static_cast<std::uint32_t>(piece.bytes.size());
    if (piece.hasRealTime) {
      out->copies.push_back(CleanSysEx(piece));
      message.bytes = out->copies.back();
      out->realTimeBytes += piece.bytes.size() - message.bytes.size();
    }
    if (message.bytes.size() >= kShortestMessage) out->list.push_back(message);
  }
  if (out->list.size() < kMostFileMessages)
    skipTo(file.size());
  else
    out->skippedBytes = file.size() - at;
}

Result SplitSmf(std::span<const std::uint8_t> file, FileMessages* out) {
  std::string error;
  if (!ReadSmfSysEx(file, &out->smf, &error)) return Result::Failure(error);
  for (const SmfSysEx& event : out->smf.messages) {
    if (!event.isTerminated) {
      ++out->unterminated;
      continue;
    }
    if (event.bytes.size() < kShortestMessage) continue;
    if (out->list.size() == kMostFileMessages) {
      out->skippedBytes = file.size() - event.fileOffset;
      break;
    }
    FileMessage message;
    message.bytes = event.bytes;
    message.offset = static_cast<std::uint32_t>(event.fileOffset);
    message.length = static_cast<std::uint32_t>(event.bytes.size());
    out->list.push_back(message);
  }
  return Result::Success();
}

}  // namespace

Result SplitFileMessages(std::span<const std::uint8_t> file, FileMessages* out) {
  if (file.size() > 0xFFFFFFFFu) return Result::Failure("The file is too large.");
  if (IsStandardMidiFile(file)) return SplitSmf(file, out);
  SplitRawStream(file, out);
  return Result::Success();
}

}  // namespace tonalith
