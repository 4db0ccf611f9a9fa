#include "tools/raw_sysex_document.h"

#include <algorithm>
#include <map>
#include <utility>

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

RawSysExDocument::RawSysExDocument() {
  history().SetTarget(this);
}

std::optional<std::vector<SysExName>> RawSysExDocument::TakeNames() {
  return std::exchange(names_, std::nullopt);
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
  changed_.clear();
  listedAnew_ = {0, bytes_.size()};
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

// ---- changed bytes --------------------------------------------------------------------------------------------------

std::string RawSysExDocument::ByteRefusal() const {
  if (std::string reason = ReadOnlyReason(); !reason.empty()) return reason;
  if (IsEmpty()) return "There is no SysEx yet.";
  return unlisted_ > 0 ? "This file holds too many messages for its bytes to be changed here." : "";
}

Result RawSysExDocument::ChangeByte(std::size_t position, std::uint8_t value) {
  if (std::string reason = ByteRefusal(); !reason.empty()) return Result::Failure(std::move(reason));
  if (position >= bytes_.size()) return Result::Failure("There is no such byte.");
  if (bytes_[position] == value) return Result::Success();
  changed_.try_emplace(position, bytes_[position]);
  history().Begin("Change Byte");
  history().Write(BufferId{}, position, {&value, 1});
  if (!history().End()) return Result::Success();
  ListChanged();
  SetStatus("Change Byte");
  Tell(DocumentChange::Kind::Everything);
  return Result::Success();
}

void RawSysExDocument::HistoryApplied() {
  ListChanged();
}

void RawSysExDocument::ListChanged() {
  Range all{bytes_.size(), 0};
  for (auto& [position, listed] : changed_) {
    if (position >= bytes_.size() || bytes_[position] == listed) continue;
    listed = bytes_[position];
    const Range range = ListAround(position);
    all = {std::min(all.begin, range.begin), std::max(all.end, range.end)};
  }
  if (all.begin < all.end) listedAnew_ = all;
}

RawSysExDocument::Range RawSysExDocument::ListAround(std::size_t position) {
  const auto behind = [](std::size_t at, const Message& message) { return at < message.offset; };
  auto from = std::upper_bound(messages_.begin(), messages_.end(), position, behind);
  if (from != messages_.begin()) --from;
  // A message that no longer begins here goes to the one before, which it may have cut.
  if (from != messages_.begin() && from != messages_.end() && from->offset == position) --from;
  const std::size_t begin = from == messages_.end() ? position : std::min<std::size_t>(position, from->offset);
  std::vector<Message> found;
  auto to = from;
  std::size_t end = bytes_.size();
  std::size_t inMessages = 0;
  SysExSplitter splitter(bytes().subspan(begin));
  for (SysExPiece piece; splitter.Next(&piece);) {
    const std::size_t offset = begin + piece.offset;
    while (to != messages_.end() && to->offset < offset) ++to;
    // From a message on that begins where it began, all is as it was.
    if (offset > position && to != messages_.end() && to->offset == offset) {
      end = offset;
      break;
    }
    found.push_back(
        {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(piece.bytes.size()), piece.isTerminated});
    inMessages += piece.bytes.size();
  }
  if (end == bytes_.size()) to = messages_.end();
  for (auto old = from; old != to; ++old) other_ += old->length;
  other_ -= inMessages;
  const auto at = from - messages_.begin();
  messages_.erase(from, to);
  messages_.insert(messages_.begin() + at, found.begin(), found.end());
  return {begin, end};
}

}  // namespace tonalith
