#include "catalogue/file_patches.h"

#include <algorithm>
#include <string_view>

#include "data/container.h"
#include "data/packed_bytes.h"
#include "data/patch_texts.h"
#include "platform/text.h"
#include "store/entry_state.h"
#include "store/library/library_columns.h"
#include "studio/recognize.h"

namespace tonalith {

namespace {

void AddSentence(std::string* sentences, const std::string& sentence) {
  if (!sentence.empty()) *sentences += (sentences->empty() ? "" : " ") + sentence;
}

std::string CountOf(std::size_t count, const char* one, const char* many) {
  return count == 0 ? std::string() : std::to_string(count) + " " + (count == 1 ? one : many) + ".";
}

// What of it is lost, and what is only left out.
FileReading JudgeFile(const FoundFile& found, std::string missing) {
  FileReading reading;
  std::size_t bad = 0;
  // In files of this program checksums are brought up to date when the data is sent.
  for (const FoundPiece& piece : found.pieces)
    if (found.messages && (piece.checksum == ChecksumVerdict::kBad || piece.badMessages)) ++bad;
  AddSentence(&missing,
              CountOf(bad, "piece of data is damaged or not whole", "pieces of data are damaged or not whole"));
  AddSentence(&missing, CountOf(found.unterminated, "message has no end", "messages have no end"));
  AddSentence(&missing, CountOf(found.headless, "message has no beginning", "messages have no beginning"));
  if (found.skippedBytes) AddSentence(&missing, "There are too many messages; the last ones are left out.");
  if (!missing.empty()) reading.state = FileState::kDamaged;
  reading.reason = std::move(missing);
  AddSentence(&reading.reason, CountOf(found.unknownMessages, "message is of no data that is known",
                                       "messages are of no data that is known"));
  AddSentence(&reading.reason, CountOf(found.outsideBytes, "byte belongs to no message", "bytes belong to no message"));
  return reading;
}

// Where nothing was found.
FileReading JudgeNothing(std::span<const std::uint8_t> bytes, const FoundFile& found, const Result& result) {
  const bool isOurs = LooksLikeDataFile(bytes) || IsListFile(bytes);
  const bool isBroken = isOurs ? result.code > 1 : found.unterminated != 0 && found.messages == 0;
  return {isBroken ? FileState::kUnreadable : FileState::kNoData, result.text};
}

// Where a file ends early the images of its records are filled up with zeros.
bool IsLost(const PatchView& patch) {
  const DataFile* record = patch.source->record;
  if (!record) return false;
  const RawRange range = VoiceRange(*record, static_cast<std::uint32_t>(patch.slot));
  const auto bytes = patch.source->image.subspan(range.first, range.size);
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

void JoinInto(std::string* joined, const std::string& text) {
  if (!text.empty()) *joined += (joined->empty() ? "" : ",") + text;
}

}  // namespace

FileReading FilePatches::Visit(std::span<const std::uint8_t> bytes,
                               const std::function<void(const FoundPiece& piece)>& pieceBegins,
                               const PatchTaker& take) {
  FoundFile found;
  const Result result = recognizer_.Find(bytes, &found);
  if (!result.ok()) return JudgeNothing(bytes, found, result);
  const bool isCut = MissingBytes(bytes) != 0;
  FileReading reading = JudgeFile(found, isCut ? "The file is shorter than it says." : "");
  std::uint32_t first = 0;
  for (const FoundPiece& piece : found.pieces) {
    pieceBegins(piece);
    std::uint32_t voices = 1;
    int defined = -1;
    const bool done = recognizer_.VisitPatches(found, piece, [&](const PatchView& patch) {
      voices = patch.source->layout.numVoices;
      if (defined < 0)
        defined = !patch.source->record || StateOfEntry(*patch.source->record).content == EntryContent::kDefined;
      if (defined && !(isCut && IsLost(patch))) take(first + static_cast<std::uint32_t>(patch.slot), patch);
    });
    if (!done) return {FileState::kUnreadable, "There is not enough memory for all the data of the file."};
    first += voices;
  }
  return reading;
}

FileReading FilePatches::Read(std::span<const std::uint8_t> bytes, const BlockTaker& take) {
  FoundType type;  // of the block; those of the file are gone when the last block is handed over
  block_.Clear();
  const auto handOver = [&] {
    if (block_.count) take(type.instrument, type.dataType, block_);
    block_.Clear();
  };
  const auto begin = [&](const FoundPiece& piece) {
    const FoundType& next = *piece.type;
    if (next.driverId == type.driverId && next.instrument == type.instrument && next.dataType == type.dataType) return;
    handOver();
    type = next;
  };
  const FileReading reading = Visit(bytes, begin, [&](std::uint32_t slot, const PatchView& patch) {
    Add(slot, patch);
    if (block_.count == kMostInBlock) handOver();
  });
  handOver();
  return reading;
}

void FilePatches::Add(std::uint32_t slot, const PatchView& patch) {
  const PatchSource& source = *patch.source;
  PatchTexts texts{patch.name, {}, {}, {}};
  std::uint32_t date = 0;
  if (source.record) {
    for (std::string* text : {&keywords_, &tags_, &comment_}) text->clear();
    for (const std::string& word : GetPatchKeywords(*source.record, patch.slot)) JoinInto(&keywords_, word);
    comment_ = GetPatchText(*source.record, PatchText::Comment, patch.slot);
    for (std::size_t i = 1; i < kPatchTextKinds; ++i)
      JoinInto(&tags_, GetPatchText(*source.record, static_cast<PatchText>(i), patch.slot));
    texts = {patch.name, keywords_, comment_, tags_};
    date = static_cast<std::uint32_t>(std::clamp<std::int64_t>(EntryTime(*source.record), 0, UINT32_MAX));
  }
  const auto voice = static_cast<std::uint32_t>(patch.slot);
  block_.Add(slot, patch.number, texts, date, printer_.Print(source.synth, source.layout, source.image, voice));
}

}  // namespace tonalith
