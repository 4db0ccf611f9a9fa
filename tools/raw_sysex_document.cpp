#include "tools/raw_sysex_document.h"

#include <algorithm>

#include "data/container.h"
#include "data/sysex_split.h"
#include "platform/text.h"
#include "studio/recognize.h"

namespace tonalith {

std::vector<SysExName> NameSysEx(const ZKStudioDoc& studio, std::span<const std::uint8_t> bytes) {
  Recognition recognition;
  std::vector<SysExName> names;
  if (!Recognizer(studio).Recognize(bytes, &recognition).ok()) return names;
  for (const auto& piece : recognition.pieces) {
    names.push_back(
        {piece.offset, piece.length, piece.instrument + " " + piece.dataType, piece.checksum == ChecksumVerdict::kBad});
  }
  std::sort(names.begin(), names.end(), [](const SysExName& a, const SysExName& b) { return a.offset < b.offset; });
  return names;
}

Result RawSysExDocument::WriteBytes(const std::string&, std::vector<std::uint8_t>* bytes) {
  *bytes = bytes_;
  return Result::Success();
}

Result RawSysExDocument::ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) {
  if (bytes.empty()) return Result::Failure(path + "\n\nThe file is empty.", kDiskReadError);
  bytes_.assign(bytes.begin(), bytes.end());
  messages_.clear();
  other_ = bytes_.size();
  for (const SysExPiece& piece : SplitSysEx(bytes_, true)) {
    messages_.push_back({piece.offset, piece.bytes.size(), piece.isTerminated});
    other_ -= piece.bytes.size();
  }
  return Result::Success();
}

}  // namespace tonalith
