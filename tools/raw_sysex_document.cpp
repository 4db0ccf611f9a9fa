#include "tools/raw_sysex_document.h"

#include <map>

#include "data/container.h"
#include "data/sysex_split.h"
#include "studio/recognize.h"

namespace tonalith {

std::vector<SysExName> NameSysEx(const Recognizer& recognizer, std::span<const std::uint8_t> bytes) {
  FoundFile found;
  recognizer.Find(bytes, &found);
  return NamesOf(found);
}

std::vector<SysExName> NamesOf(const FoundFile& found) {
  std::vector<SysExName> names;
  std::map<const FoundType*, std::shared_ptr<const std::string>> texts;
  for (const FoundPiece& piece : found.pieces) {
    auto& text = texts[piece.type];
    if (!text) text = std::make_shared<const std::string>(piece.type->instrument + " " + piece.type->dataType);
    names.push_back({piece.offset, piece.length, text, piece.checksum == ChecksumVerdict::kBad});
  }
  return names;
}

Result RawSysExDocument::WriteBytes(const std::string&, std::vector<std::uint8_t>* bytes) {
  bytes->assign(bytes_.begin(), bytes_.end());
  return Result::Success();
}

Result RawSysExDocument::ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) {
  return ReadOwnBytes({bytes.begin(), bytes.end()}, path);
}

Result RawSysExDocument::ReadOwnBytes(FileBytes&& bytes, const std::string& path) {
  if (bytes.empty()) return Result::Failure(path + "\n\nThe file is empty.", kDiskReadError);
  TakeBytes(std::move(bytes));
  return Result::Success();
}

void RawSysExDocument::TakeBytes(FileBytes bytes) {
  bytes_ = std::move(bytes);
  names_.reset();
  messages_.clear();
  other_ = 0;
  unlisted_ = 0;
  std::size_t end = 0;
  SysExSplitter splitter(bytes_);
  for (SysExPiece piece; splitter.Next(&piece);) {
    if (messages_.size() == kMostMessages) {
      unlisted_ = bytes_.size() - end;
      return;
    }
    other_ += piece.offset - end;
    end = piece.offset + piece.bytes.size();
    messages_.push_back(
        {static_cast<std::uint32_t>(piece.offset), static_cast<std::uint32_t>(piece.bytes.size()), piece.isTerminated});
  }
  other_ += bytes_.size() - end;
}

}  // namespace tonalith
