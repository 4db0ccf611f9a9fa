#include "tools/data_listing.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "data/container.h"
#include "data/hex_text.h"
#include "data/packed_bytes.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kStatusOfLine = 0xF0;  // bytes from here on never match

// Packings whose logical places are counted in bits.
bool CountsInBits(int packing) {
  return packing == 12 || packing == 13;
}

// Packings that are no packing: a logical byte is a byte of the image.
bool IsPlain(int packing) {
  return packing == 0;
}

}  // namespace

// ---- the listing ----------------------------------------------------------------------------------------------------

DataListing::DataListing(const DataFile& dataFile) {
  if (!dataFile.synth || !dataFile.body) return;
  synth_ = dataFile.synth;
  const std::uint32_t size = synth_->fileSize;
  image_ = BodySpan(dataFile).first(std::min<std::size_t>(size ? size : dataFile.bodySize, dataFile.bodySize));
  layout_ = LayoutOf(dataFile);
  if (!layout_.editable || layout_.voiceBytes == 0) return;
  // Single data is listed from its head on, its voice lies at voiceOffset of it.
  formattedSize_ = synth_->isBank ? std::size_t{layout_.numVoices} * layout_.voiceBytes
                                  : std::size_t{layout_.voiceOffset} + layout_.voiceBytes;
}

bool DataListing::SetMode(ListingMode mode) {
  if (mode == mode_) return true;
  if (comparing_ || (mode == ListingMode::Formatted && !FormattedRefusal().empty())) return false;
  mode_ = mode;
  return true;
}

std::string DataListing::FormattedRefusal() const {
  if (!synth_) return "These bytes are no data file: nothing says how they are packed.";
  if (formattedSize_ > 0) return {};
  return layout_.editable ? "This data has no patch bytes of its own." : "This data is damaged: " + layout_.problem;
}

std::int64_t DataListing::SlotOf(std::size_t position, std::size_t* index) const {
  *index = position;
  if (!synth_->isBank) return 0;
  const std::size_t patch = position / layout_.voiceBytes;
  *index = position % layout_.voiceBytes;
  return BankRealOfs(
      synth_, std::int64_t{layout_.voiceOffset} + std::int64_t{layout_.voiceSize} * static_cast<std::int64_t>(patch));
}

std::uint8_t DataListing::ByteAt(std::size_t position) const {
  if (mode_ == ListingMode::Raw) return position < image_.size() ? image_[position] : 0;
  if (position >= formattedSize_) return 0;
  const ConstImageView view(image_, *synth_);
  std::size_t index = 0;
  const std::int64_t slot = SlotOf(position, &index);
  const std::int64_t place = static_cast<std::int64_t>(index) * (CountsInBits(synth_->storageFormat) ? 8 : 1);
  const std::int64_t header = layout_.headerSize;
  return static_cast<std::uint8_t>(synth_->isBank ? view.BankGet(header, slot, place) : view.Get(header, place));
}

std::optional<std::size_t> DataListing::ImagePosition(std::size_t position) const {
  if (mode_ == ListingMode::Raw) return position;
  if (position >= formattedSize_ || !IsPlain(synth_->storageFormat)) return std::nullopt;
  std::size_t index = 0;
  const auto slot = static_cast<std::size_t>(SlotOf(position, &index));
  return layout_.headerSize + slot + index;
}

void DataListing::Compare(std::span<const std::uint8_t> other) {
  mode_ = ListingMode::Raw;
  other_ = other;
  comparing_ = !other.empty();
}

bool DataListing::Differs(std::size_t position) const {
  if (!comparing_) return false;
  const bool here = position < image_.size();
  const bool there = position < other_.size();
  return here != there || (here && image_[position] != other_[position]);
}

ListingLine DataListing::LineAt(std::size_t line, std::size_t selected) const {
  ListingLine built;
  built.offset = line * kListingLine;
  const std::size_t end = std::min(built.offset + kListingLine, Size());
  built.matches = comparing_;
  for (std::size_t i = built.offset; i < end; ++i) {
    built.bytes.push_back(ByteAt(i));
    built.differs.push_back(Differs(i));
    if (built.differs.back() || built.bytes.back() >= kStatusOfLine || i == selected) built.matches = false;
  }
  return built;
}

std::string DataListing::StatusText(std::size_t position) const {
  const auto actual = static_cast<std::int64_t>(position);
  const std::int64_t edit = actual - (synth_ ? std::int64_t{synth_->headerSize} : 0);
  const std::int64_t formatted = edit % 8 + edit / 8 * 7 - 1;
  std::string text = "Actual Offset: " + std::to_string(actual) + ", Edit Offset: " + std::to_string(edit) +
                     ", Formatted Edit Offset: " + std::to_string(formatted);
  if (position >= image_.size()) return text;
  const std::uint8_t value = image_[position];
  char values[80];
  std::snprintf(values, sizeof values, ", Hex value: %X, Dec value: %d, ASCII value: %c", value, value,
                ListingCharacter(value));
  return text + values;
}

// ---- lines ----------------------------------------------------------------------------------------------------------

std::string ViewBuildLine(std::size_t line, std::span<const std::uint8_t> bytes, std::size_t start, std::size_t end) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  char head[32];
  const int length = std::snprintf(head, sizeof head, "%5.5lX:  ", static_cast<unsigned long>(line * kListingLine));
  std::string text(head, static_cast<std::size_t>(length));
  end = std::min({end, bytes.size(), start + kListingLine});
  for (std::size_t i = start; i < end; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
    text += ' ';
  }
  return text;
}

char ListingCharacter(std::uint8_t byte) {
  return byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
}

std::string ListingText(const ListingLine& line) {
  constexpr std::size_t kPerByte = 3;
  std::string text = ViewBuildLine(line.offset / kListingLine, line.bytes, 0, line.bytes.size());
  text.append((kListingLine - line.bytes.size()) * kPerByte + 1, ' ');
  for (const std::uint8_t byte : line.bytes) text += ListingCharacter(byte);
  return text;
}

std::vector<std::string> ListingHead(const DataFile* dataFile, const std::string& fileName) {
  std::vector<std::string> lines = {"VIEW DATA LISTING", "Filename: " + fileName};
  if (!dataFile || !dataFile->synth) return lines;
  const Synth& synth = *dataFile->synth;
  const auto text = [](const void* bytes, std::size_t size) {
    const auto* first = static_cast<const char*>(bytes);
    return first ? Latin1ToUtf8(std::string(first, strnlen(first, size))) : std::string();
  };
  std::string instrument = dataFile->xtra ? FieldText(dataFile->xtra->instrumentName) : std::string();
  if (instrument.empty()) instrument = FieldText(synth.shortName);
  lines.push_back("Make: " + Latin1ToUtf8(instrument));
  lines.push_back("Model: " + Latin1ToUtf8(FieldText(synth.typeName)));
  lines.push_back("SysEx Ch: " + std::to_string(synth.sysExChannel + 1));
  lines.push_back("Port In: " + text(dataFile->midiInPortName, dataFile->midiInPortNameSize));
  lines.push_back("Port Out: " + text(dataFile->midiOutPortName, dataFile->midiOutPortNameSize));
  lines.push_back("Notes: " + text(dataFile->comment, dataFile->commentSize));
  std::string tags;
  for (std::uint32_t at = 0; dataFile->findText && at + kKeywordSize <= std::min(dataFile->findTextSize, kFindTextSize);
       at += kKeywordSize) {
    const std::string tag = text(dataFile->findText + at, kKeywordSize);
    if (!tag.empty()) tags += (tags.empty() ? "" : ", ") + tag;
  }
  lines.push_back("Tags: " + tags);
  for (std::string& line : lines)
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return lines;
}

// ---- comparing ------------------------------------------------------------------------------------------------------

Mismatches FindMismatches(std::span<const std::uint8_t> image, std::span<const std::uint8_t> other, std::size_t most) {
  Mismatches found;
  found.otherSize = image.size() != other.size();
  for (std::size_t i = 0; i < other.size(); ++i) {
    if (i < image.size() && image[i] == other[i]) continue;
    if (++found.count <= most) found.first.push_back(i);
  }
  return found;
}

std::string MismatchText(const Mismatches& mismatches) {
  if (mismatches.count == 0) return "There are no mismatches!";
  std::string text = "The first 10 mismatched byte offsets are:\n\n";
  for (const std::size_t offset : mismatches.first) {
    char line[48];
    std::snprintf(line, sizeof line, "%d (0x%.4x)\n", static_cast<int>(offset), static_cast<unsigned>(offset));
    text += line;
  }
  return text;
}

// ---- searching ------------------------------------------------------------------------------------------------------

SearchBytes SearchForText(std::string_view utf8) {
  const std::string bytes = Utf8ToLatin1(std::string(utf8));
  return {{bytes.begin(), bytes.end()}, true, std::string(utf8)};
}

std::optional<SearchBytes> ReadSearch(std::string_view typed) {
  if (typed.size() >= 2 && typed.front() == '"' && typed.back() == '"') {
    typed = typed.substr(1, typed.size() - 2);
  } else if (const auto bytes = ParseHex(typed); bytes && !bytes->empty()) {
    return SearchBytes{*bytes, false, std::string(typed)};
  }
  if (typed.empty()) return std::nullopt;
  return SearchForText(typed);
}

bool ListingSearch::Step(std::size_t bytes) {
  if (found_ || wanted_.bytes.empty()) return true;
  const std::size_t length = wanted_.bytes.size();
  // One behind the last place where it may begin.
  const std::size_t size = listing_.Size();
  const std::size_t begins = size < length ? 0 : size - length + (wanted_.text ? 0 : 1);
  if (at_ >= begins) return true;
  const std::size_t last = std::min(begins, at_ + std::max<std::size_t>(bytes, 1));
  const std::size_t end = last + length - 1;
  std::vector<std::uint8_t> decoded;
  std::span<const std::uint8_t> part;
  if (listing_.mode() == ListingMode::Raw) {
    part = listing_.image().subspan(at_, end - at_);
  } else {
    decoded.reserve(end - at_);
    for (std::size_t i = at_; i < end; ++i) decoded.push_back(listing_.ByteAt(i));
    part = decoded;
  }
  if (const void* hit = memmem(part.data(), part.size(), wanted_.bytes.data(), length)) {
    found_ = at_ + static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - part.data());
    return true;
  }
  at_ = last;
  return at_ >= begins;
}

std::optional<std::size_t> ListingSearch::Run() {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  while (!Step(kPiece)) continue;
  return found_;
}

std::string NotFoundText(const SearchBytes& wanted) {
  return wanted.shown + " was not found in the SysEx.";
}

// ---- files ----------------------------------------------------------------------------------------------------------

ViewedFile ViewedFileOf(std::vector<std::uint8_t> bytes) {
  ViewedFile file;
  DataFilePtr read(AllocDataFile());
  FormReadOptions options;
  options.mode = 1;
  if (read && LooksLikeDataFile(bytes) && ContainerReader(bytes).DiskReadForm(read.get(), options) == kDiskOk &&
      read->synth && read->body) {
    file.data = std::move(read);
  } else {
    file.bytes = std::move(bytes);
  }
  return file;
}

}  // namespace tonalith
