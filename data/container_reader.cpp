#include <algorithm>
#include <cstring>

#include "data/container.h"
#include "platform/byte_window.h"
#include "platform/log.h"

namespace tonalith {

namespace {

constexpr std::uint32_t kForm = ChunkId("FORM");
constexpr std::uint32_t kProp = ChunkId("PROP");
constexpr std::uint32_t kList = ChunkId("LIST");
constexpr std::uint32_t kInfo = ChunkId("INFO");
constexpr std::uint32_t kLegacyForm = ChunkId("MROF");
constexpr std::uint32_t kDescriptorChunk = ChunkId("SHDR");
constexpr std::uint32_t kBodyChunk = ChunkId("BODY");

constexpr std::int64_t kReadFailed = -2;
constexpr std::int64_t kNoMemory = -6;
constexpr std::int64_t kKeywordAbsent = -100;

// Nested lists deeper than this are left out.
constexpr int kMaxListDepth = 8;
// A body shorter than its descriptor says is completed with zeros up to this much beyond its own size; a descriptor
// that claims more is not believed.
constexpr std::uint32_t kMaxBodyGrowth = 65536;
// A descriptor shorter than this holds no whole record; buffers are not made for it.
constexpr std::uint32_t kMinLegacySynthSize = 141;
// Window coordinates from here on are damaged.
constexpr std::uint16_t kFirstBadCoordinate = 2001;

bool IsDataFormType(std::uint32_t type) {
  if (type == ChunkId("BANK") || type == ChunkId("SYTH")) return true;
  const std::uint32_t last = type & 0xFF;
  return (type & 0xFFFFFF00) == (ChunkId("SYN1") & 0xFFFFFF00) &&
         ((last >= '1' && last <= '9') || last == 'A' || last == 'B');
}

std::uint16_t RepairedCoordinate(std::uint16_t value, std::uint16_t usual) {
  return value >= kFirstBadCoordinate ? usual : value;
}

void RepairWindow(DFXtra* x) {
  x->windowX = RepairedCoordinate(x->windowX, 20);
  x->windowY = RepairedCoordinate(x->windowY, 20);
  x->windowWidth = RepairedCoordinate(x->windowWidth, 400);
  x->windowHeight = RepairedCoordinate(x->windowHeight, 400);
  x->windowExtra = RepairedCoordinate(x->windowExtra, 40);
}

// Chunks that are neither plain nor text, in kPlainChunks' and kTextChunks' stead.
constexpr std::uint32_t kOtherChunks[] = {ChunkId("SHDR"), ChunkId("NAME"), ChunkId("FIND"), ChunkId("XTRA"),
                                          ChunkId("CHNL"), ChunkId("XBNK"), ChunkId("XFIL"), ChunkId("XDIR")};

// Buffers that are filled as they stand in the file.
struct PlainChunk {
  std::uint32_t id;
  std::uint8_t* DataFile::*pointer;
  std::uint32_t DataFile::*size;
};
constexpr PlainChunk kPlainChunks[] = {{ChunkId("BODY"), &DataFile::body, &DataFile::bodySize},
                                       {ChunkId("TRAN"), &DataFile::transmitScript, &DataFile::transmitScriptSize},
                                       {ChunkId("RECV"), &DataFile::receiveScript, &DataFile::receiveScriptSize},
                                       {ChunkId("AUDI"), &DataFile::auditionScript, &DataFile::auditionScriptSize},
                                       {ChunkId("BDEF"), &DataFile::emptyMap, &DataFile::emptyMapSize},
                                       {ChunkId("TDEF"), &DataFile::tagMap, &DataFile::tagMapSize},
                                       {ChunkId("AUTH"), &DataFile::authors, &DataFile::authorsSize},
                                       {ChunkId("CPRT"), &DataFile::rightsNotices, &DataFile::rightsNoticesSize},
                                       {ChunkId("SONG"), &DataFile::songs, &DataFile::songsSize},
                                       {ChunkId("MSCN"), &DataFile::musicians, &DataFile::musiciansSize},
                                       {ChunkId("BAND"), &DataFile::bands, &DataFile::bandsSize},
                                       {ChunkId("LNAM"), &DataFile::longNames, &DataFile::longNamesSize}};

// Texts, with the least buffer they get.
struct TextChunk {
  std::uint32_t id;
  char* DataFile::*pointer;
  std::uint32_t DataFile::*size;
  std::uint32_t minAlloc;
};
constexpr TextChunk kTextChunks[] = {
    {ChunkId("COMM"), &DataFile::comment, &DataFile::commentSize, kCommentSize},
    {ChunkId("FILE"), &DataFile::fileName, &DataFile::fileNameSize, kFileNameSize},
    {ChunkId("MPIN"), &DataFile::midiInPortName, &DataFile::midiInPortNameSize, kPortNameSize},
    {ChunkId("MPOT"), &DataFile::midiOutPortName, &DataFile::midiOutPortNameSize, kPortNameSize},
    {ChunkId("MPBY"), &DataFile::patchBayPortName, &DataFile::patchBayPortNameSize, kPortNameSize}};

bool IsKnownChunk(std::uint32_t id) {
  const auto has = [id](const auto& chunk) { return chunk.id == id; };
  return std::any_of(std::begin(kPlainChunks), std::end(kPlainChunks), has) ||
         std::any_of(std::begin(kTextChunks), std::end(kTextChunks), has) ||
         std::find(std::begin(kOtherChunks), std::end(kOtherChunks), id) != std::end(kOtherChunks);
}

// Steps over the chunks of a FORM without reading them.
class ChunkSteps {
 public:
  // `at`: behind the form type; `formSize` counts from it on, the type included.
  ChunkSteps(std::span<const std::uint8_t> bytes, std::size_t at, std::uint32_t formSize, bool littleEndian)
      : bytes_(bytes), at_(at), formSize_(formSize), littleEndian_(littleEndian) {}

  bool Next() {
    if (counter_ >= formSize_ || bytes_.size() - at_ < 8) return false;
    id = Number(at_);
    lengthAt = at_ + 4;
    length = Number(lengthAt);
    at_ += 8;
    const auto there = static_cast<std::uint32_t>(std::min<std::uint64_t>(length, bytes_.size() - at_));
    missing = length - there;
    length = there;
    at_ += there;
    counter_ += std::uint64_t{there} + 8;
    // Odd chunks stand without a pad byte; other writers add one, and no identifier begins with zero.
    if ((there & 1) && at_ < bytes_.size() && (bytes_[at_] == 0 || !IsKnownChunk(id))) {
      ++at_;
      ++counter_;
    }
    return true;
  }
  std::size_t at() const { return at_; }

  // The chunk that Next stepped over.
  std::uint32_t id = 0;
  std::uint32_t length = 0;   // of what is there
  std::uint32_t missing = 0;  // of what it announces beyond that
  std::size_t lengthAt = 0;   // where its length stands

 private:
  std::uint32_t Number(std::size_t at) const {
    return littleEndian_ ? LoadLe32(bytes_.data() + at) : LoadBe32(bytes_.data() + at);
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t at_;
  std::uint64_t counter_ = 4;
  std::uint32_t formSize_;
  bool littleEndian_;
};

}  // namespace

std::string ChunkIdText(std::uint32_t id) {
  std::string text(4, '?');
  for (std::size_t i = 0; i < 4; ++i) {
    const auto c = static_cast<char>(id >> (24 - 8 * i) & 0xFF);
    if (c >= ' ' && c < 0x7F) text[i] = c;
  }
  return text;
}

bool ContainerReader::ReadId(std::uint32_t* id) {
  if (left() < 4) return false;
  const std::uint8_t* p = bytes_.data() + position_;
  *id = littleEndian_ ? LoadLe32(p) : LoadBe32(p);
  position_ += 4;
  return true;
}

bool ContainerReader::ReadLength(std::uint32_t* n) {
  return ReadId(n);
}

const std::uint8_t* ContainerReader::TakeChunk(std::uint32_t* length) {
  if (!ReadLength(length) || (*length > 0 && left() == 0)) {
    position_ = bytes_.size();
    return nullptr;
  }
  announced_ = *length;
  *length = static_cast<std::uint32_t>(std::min<std::uint64_t>(*length, left()));
  const std::uint8_t* data = bytes_.data() + position_;
  position_ += *length;
  return data;
}

template <class T>
bool ContainerReader::Alloc(T** pointer, std::uint32_t* size, std::uint32_t wanted) {
  return (!budget_ || budget_->Take(wanted + kBufferSlack)) && AllocChunk(pointer, size, wanted) != 0;
}

std::int64_t ContainerReader::ReadIff(std::uint8_t** pointer, std::uint32_t* size, std::uint32_t minAlloc) {
  std::uint32_t length = 0;
  const std::uint8_t* data = TakeChunk(&length);
  if (!data) return kReadFailed;
  if (length == 0) return 0;
  std::uint8_t* fresh = nullptr;
  std::uint32_t freshSize = 0;
  if (!Alloc(&fresh, &freshSize, std::max(length, minAlloc))) return kNoMemory;
  std::memcpy(fresh, data, length);
  FreeChunk(*pointer, *size);
  *pointer = fresh;
  *size = freshSize;
  return length;
}

std::int64_t ContainerReader::ReadText(char** pointer, std::uint32_t* size, std::uint32_t minAlloc) {
  std::uint8_t* fresh = nullptr;
  std::uint32_t freshSize = 0;
  const std::int64_t length = ReadIff(&fresh, &freshSize, minAlloc);
  if (length <= 0) return length;
  fresh[freshSize - 1] = 0;
  FreeChunk(*pointer, *size);
  *pointer = reinterpret_cast<char*>(fresh);
  *size = freshSize;
  return length;
}

std::int64_t ContainerReader::ReadDescriptor(DataFile* df) {
  std::uint32_t length = 0;
  const std::uint8_t* data = TakeChunk(&length);
  if (!data) return kReadFailed;
  if (length == 0) return 0;
  FreeChunk(df->synth, df->synthSize);
  if (!Alloc(&df->synth, &df->synthSize, kSynthSize)) return kNoMemory;
  std::memcpy(df->synth, data, std::min(length, kSynthSize));
  if (littleEndian_) {
    const int result = DiskMSFixSynth(df);
    if (result != 0) return result;
    DiskSynthFix(df->synth);
  } else {
    FlipSynth(df->synth, length);
  }
  if (df->synth->voiceBytes == 0) df->synth->voiceBytes = df->synth->voiceSize;
  if (length < kSynthSize) DiskSynthFix(df->synth);
  descriptorLength_ = length;
  return length;
}

namespace {

// Lays names out with their full size.  `announced` is how many bytes of them there were before the file was cut.
void SpreadNames(std::span<const std::uint8_t> names, std::uint32_t announced, std::uint32_t voices,
                 std::uint8_t* wide) {
  const std::size_t each = std::min(announced / voices, kVoiceNameSize);
  const std::size_t step = announced / voices;
  for (std::size_t i = 0; i < voices && i * step < names.size(); ++i) {
    const auto* from = reinterpret_cast<const char*>(names.data()) + i * step;
    const std::size_t n = strnlen(from, std::min({each, names.size() - i * step, std::size_t{kVoiceNameSize - 1}}));
    std::memcpy(wide + i * kVoiceNameSize, from, n);
  }
}

}  // namespace

std::int64_t ContainerReader::ReadNames(DataFile* df) {
  std::uint8_t* names = nullptr;
  std::uint32_t size = 0;
  const std::int64_t length = ReadIff(&names, &size, 0);
  if (length <= 0) return length;
  const std::uint32_t voices = df->synth && df->synth->numVoices <= kMaxVoices ? df->synth->numVoices : 0;
  const std::uint32_t wanted = kVoiceNameSize * voices;
  if (voices > 0 && length < wanted) {
    std::uint8_t* wide = nullptr;
    std::uint32_t wideSize = 0;
    const bool enough = Alloc(&wide, &wideSize, wanted);
    if (enough) SpreadNames({names, static_cast<std::size_t>(length)}, announced_, voices, wide);
    FreeChunk(names, size);
    if (!enough) return kNoMemory;
    names = wide;
    size = wideSize;
  }
  FreeChunk(df->voiceNames, df->voiceNamesSize);
  df->voiceNames = reinterpret_cast<char*>(names);
  df->voiceNamesSize = size;
  return length;
}

std::int64_t ContainerReader::ReadFind(DataFile* df, const std::string& find) {
  std::uint8_t* entries = nullptr;
  std::uint32_t size = 0;
  const std::int64_t length = ReadIff(&entries, &size, kFindTextSize);
  if (length <= 0) return length;
  if (length < kFindTextSize) entries[kKeywordSize - 1] = 0;
  FreeChunk(df->findText, df->findTextSize);
  df->findText = reinterpret_cast<char*>(entries);
  df->findTextSize = size;
  if (find.empty()) return length;
  const std::string_view first(df->findText, strnlen(df->findText, kKeywordSize));
  return first.find(find) == std::string_view::npos ? kKeywordAbsent : length;
}

std::int64_t ContainerReader::ReadXtra(DataFile* df) {
  std::uint32_t length = 0;
  const std::uint8_t* data = TakeChunk(&length);
  if (!data) return kReadFailed;
  if (length == 0) return 0;
  FreeChunk(df->xtra, df->xtraSize);
  if (!Alloc(&df->xtra, &df->xtraSize, kXtraSize)) return kNoMemory;
  std::memcpy(df->xtra, data, std::min(length, kXtraSize));
  FlipDFXtra(df->xtra, length);
  RepairWindow(df->xtra);
  return length;
}

std::int64_t ContainerReader::ReadReference(std::uint32_t id, DataFile* df) {
  std::uint32_t length = 0;
  const std::uint8_t* data = TakeChunk(&length);
  if (!data) return kReadFailed;
  if (length == 0) return 0;
  df->isReference = 1;
  if (id == ChunkId("XBNK")) {
    df->refBankNumber = length >= 2 ? LoadBe16(data) : static_cast<std::uint16_t>(data[0] << 8);
    return length;
  }
  auto& field = id == ChunkId("XFIL") ? df->refFileName : df->refDirectory;
  std::memset(field, 0, sizeof field);
  const std::size_t n = strnlen(reinterpret_cast<const char*>(data), std::min<std::size_t>(length, sizeof field - 1));
  std::memcpy(field, data, n);
  return length;
}

std::int64_t ContainerReader::ReadChunk(std::uint32_t id, DataFile* df, const FormReadOptions& options) {
  for (const PlainChunk& chunk : kPlainChunks) {
    if (chunk.id == id) return ReadIff(&(df->*chunk.pointer), &(df->*chunk.size), 0);
  }
  for (const TextChunk& chunk : kTextChunks) {
    if (chunk.id == id) return ReadText(&(df->*chunk.pointer), &(df->*chunk.size), chunk.minAlloc);
  }
  switch (id) {
    case kDescriptorChunk:
      return ReadDescriptor(df);
    case ChunkId("NAME"):
      return ReadNames(df);
    case ChunkId("FIND"):
      return ReadFind(df, options.find);
    case ChunkId("XTRA"):
      return ReadXtra(df);
    case ChunkId("XBNK"):
    case ChunkId("XFIL"):
    case ChunkId("XDIR"):
      return ReadReference(id, df);
    case ChunkId("CHNL"): {
      std::uint32_t length = 0;
      const std::uint8_t* data = TakeChunk(&length);
      if (!data) return kReadFailed;
      std::memcpy(df->chunkModes, data, std::min<std::size_t>(length, sizeof df->chunkModes));
      return length;
    }
    default:
      return 0;
  }
}

// Where what a chunk kind comes with several times, the last one counts: nothing is read for the others.
int ContainerReader::ReadChunks(DataFile* df, const FormReadOptions& options, std::uint32_t formSize) {
  std::vector<std::pair<std::uint32_t, std::size_t>> last;  // identifier, place of the length
  ChunkSteps chunk(bytes_, position_, formSize, littleEndian_);
  while (chunk.Next()) {
    const bool isVital = chunk.id == kDescriptorChunk || chunk.id == kBodyChunk;
    cut_ = cut_ || chunk.missing > 0;
    if (isVital && chunk.length == 0 && chunk.missing == 0) return kDiskReadError;
    // Half a descriptor says nothing that can be relied on.
    if (chunk.missing > 0 && chunk.id == kDescriptorChunk) return kDiskReadError;
    if (chunk.length == 0 || !IsKnownChunk(chunk.id)) continue;
    std::erase_if(last, [&](const auto& former) { return former.first == chunk.id; });
    last.emplace_back(chunk.id, chunk.lengthAt);
  }
  for (const auto& [id, lengthAt] : last) {
    position_ = lengthAt;
    const std::int64_t length = ReadChunk(id, df, options);
    if (length == kKeywordAbsent) return kDiskKeywordAbsent;
    // What is left out for want of memory would be lost by the next save.
    if (length < 0) return static_cast<int>(-length);
    if (id == kBodyChunk) bodyRead_ = static_cast<std::uint32_t>(length);
  }
  position_ = chunk.at();
  return kDiskOk;
}

int ContainerReader::CompleteBody(DataFile* df, const FormReadOptions& options) {
  if (!df->synth || df->synth->fileSize > kMaxFileSize) return kDiskOk;
  const std::uint32_t wanted = df->synth->fileSize;
  // Of a file that was cut off before its image, the rest is shown all the same.
  if (!df->body && (!cut_ || options.mode == 0 || wanted < kMinFileSize)) return kDiskOk;
  if (wanted <= df->bodySize) return kDiskOk;
  const bool wholeOfCut = cut_ && options.mode != 0;
  if (!wholeOfCut && wanted - df->bodySize > df->bodySize + kMaxBodyGrowth) return kDiskOk;
  if (!budget_->Take(wanted + kBufferSlack)) return cut_ ? kDiskOk : kDiskNoMemory;
  DebugLog("image of %u bytes completed to %u", df->bodySize, wanted);
  return ResizeBody(df, wanted) ? kDiskOk : kDiskNoMemory;
}

// Voices that are not there hold nothing.
void ContainerReader::MarkLost(DataFile* df) {
  if (bodyRead_ == 0) df->xtra->hasNoSysEx = 1;
  const VoiceLayout layout = LayoutOf(*df);
  if (!df->synth->isBank || !layout.editable) return;
  for (std::uint32_t i = 0; i < layout.numVoices; ++i) {
    const std::uint64_t end = layout.headerSize + (std::uint64_t{i} + 1) * layout.voiceSize;
    if (end <= bodyRead_) continue;
    SetMapBit(df->emptyMap, df->emptyMapSize, i, true);
    ++lostVoices_;
  }
}

int ContainerReader::Finish(DataFile* df, const FormReadOptions& options) {
  if (const int completed = CompleteBody(df, options); completed != kDiskOk) return completed;
  const std::uint32_t leastDescriptor = littleEndian_ ? kMinLegacySynthSize : kMinSynthSize;
  if (options.mode == 0 || (df->synth && descriptorLength_ < leastDescriptor)) return kDiskOk;
  if (!budget_->Take(ComponentsSize(*df))) return kDiskNoMemory;
  if (!df->xtra) {
    if (!AllocChunk(&df->xtra, &df->xtraSize, kXtraSize)) return kDiskNoMemory;
    df->xtra->isNewRecord = 1;
  }
  if (df->synth && options.hooks) {
    options.hooks->UpdateDataFile(df);
    options.hooks->DrvCorrectIDForCollisions(df);
    options.hooks->DrvUpdateDataFile(df);
  }
  const VoiceLayout layout = LayoutOf(*df);
  if (df->synth && !layout.editable) DebugLog("data is kept but cannot be edited: %s", layout.problem.c_str());
  if (!AddDataFileComponents(df, options.mode)) return kDiskNoMemory;
  if (df->synth && df->body && bodyRead_ < df->bodySize) MarkLost(df);
  return kDiskOk;
}

int ContainerReader::DiskReadForm(DataFile* df, const FormReadOptions& options, std::uint32_t firstId) {
  ReadBudget ownBudget(bytes_.size());
  budget_ = options.budget ? options.budget : &ownBudget;
  const int result = ReadForm(df, options, firstId);
  budget_ = nullptr;
  if (result == kDiskReadError || result == kDiskNoMemory) FreeData(df);
  return result;
}

int ContainerReader::ReadForm(DataFile* df, const FormReadOptions& options, std::uint32_t firstId) {
  std::uint32_t id = firstId;
  descriptorLength_ = 0;
  bodyRead_ = lostVoices_ = 0;
  cut_ = false;
  if (id == 0) {
    littleEndian_ = false;
    if (!ReadId(&id)) return kDiskReadError;
  }
  if (id == kLegacyForm) {
    littleEndian_ = true;
    id = kForm;
  }
  fileId_ = id;
  if (id == kList) return kDiskNotSingle;
  if (id != kForm && id != kProp) return kDiskNotOurs;
  std::uint32_t type = 0;
  if (!ReadLength(&df->formSize) || !ReadId(&type)) return kDiskReadError;
  if (options.kind != 0) return kDiskNotSingle;
  if (!IsDataFormType(type)) return kDiskNotDriver;
  cut_ = df->formSize > left() + 4;
  if (df->formSize >= 5) {
    const int result = ReadChunks(df, options, df->formSize);
    if (result != kDiskOk) return result;
  }
  return Finish(df, options);
}

// --- LIST files ------------------------------------------------------------------------------------------------------

namespace {

int ReadListAt(std::span<const std::uint8_t> bytes, const FormReadOptions& options, int depth, ListFile* list);

bool IsListPart(std::uint32_t id) {
  return id == kForm || id == kProp || id == kList || id == kInfo;
}

// The place behind a member whose length is `length`: padded to even unless the next member follows at once.
std::size_t MemberEnd(std::span<const std::uint8_t> bytes, std::size_t start, std::uint32_t length) {
  const std::size_t left = bytes.size() - start - 8;
  if (length >= left) return bytes.size();
  const std::size_t end = start + 8 + length;
  if ((length & 1) == 0) return end;
  const bool unpadded = bytes.size() - end >= 4 && IsListPart(LoadBe32(bytes.data() + end));
  return unpadded ? end : end + 1;
}

// Keeps a part that is whole.  Those of odd length have no certain end.
bool KeepUnread(std::span<const std::uint8_t> bytes, bool isMember, const FormReadOptions& options, ListFile* list) {
  if (!ListPart{0, bytes}.IsWhole()) return true;
  if (!options.budget->Take(sizeof(ListFile::Unread) + bytes.size())) return false;
  list->unread.push_back({list->members.size(), isMember, {bytes.begin(), bytes.end()}});
  return true;
}

// A DiskCode: what ends the whole reading (no memory), or why a member is left out.
int ReadMember(std::span<const std::uint8_t> bytes, std::uint32_t id, const FormReadOptions& options, int depth,
               ListFile* list) {
  if (!options.budget->Take(sizeof(ListMember) + sizeof(ListFile) + sizeof(DataFile))) return kDiskNoMemory;
  if (id == kList) {
    if (depth >= kMaxListDepth) return kDiskReadError;
    auto nested = std::make_unique<ListFile>();
    if (const int code = ReadListAt(bytes, options, depth + 1, nested.get()); code != kDiskOk) return code;
    list->skippedMembers += nested->skippedMembers;
    list->members.push_back({nullptr, std::move(nested)});
    return kDiskOk;
  }
  if (id == kInfo) {
    list->info.assign(bytes.begin() + 8, bytes.end());
    return kDiskOk;
  }
  if (id != kForm && id != kProp) return KeepUnread(bytes, false, options, list) ? kDiskOk : kDiskNoMemory;
  DataFilePtr data(AllocDataFile());
  if (!data) return kDiskNoMemory;
  ContainerReader reader(bytes);
  const int result = reader.DiskReadForm(data.get(), options);
  if (result == kDiskKeywordAbsent) return kDiskOk;
  if (result != kDiskOk) return result;
  if (!data->synth) return kDiskReadError;
  if (id == kProp && !list->header) {
    list->header = std::move(data);
  } else {
    list->members.push_back({std::move(data), nullptr});
  }
  return kDiskOk;
}

// Goes through the parts of a list while `visit` gives 0.
template <typename Visit>
int ForEachPart(std::span<const std::uint8_t> bytes, std::uint32_t* type, const Visit& visit) {
  if (bytes.size() < 4 || LoadBe32(bytes.data()) != kList) return kDiskNotOurs;
  if (bytes.size() < 12) return kDiskReadError;
  const std::uint32_t length = LoadBe32(bytes.data() + 4);
  *type = LoadBe32(bytes.data() + 8);
  const auto inside = bytes.first(std::min<std::size_t>(bytes.size(), std::size_t{8} + length));
  std::size_t at = 12;
  while (inside.size() >= at + 8) {
    const std::uint32_t id = LoadBe32(inside.data() + at);
    const std::size_t end = MemberEnd(inside, at, LoadBe32(inside.data() + at + 4));
    if (const int code = visit(ListPart{id, inside.subspan(at, end - at)}); code != kDiskOk) return code;
    at = end;
  }
  return kDiskOk;
}

int ReadListAt(std::span<const std::uint8_t> bytes, const FormReadOptions& options, int depth, ListFile* list) {
  return ForEachPart(bytes, &list->type, [&](const ListPart& part) {
    const int code = ReadMember(part.bytes, part.id, options, depth, list);
    if (code == kDiskNoMemory || code == kDiskOk) return code;
    ++list->skippedMembers;
    return KeepUnread(part.bytes, true, options, list) ? static_cast<int>(kDiskOk) : static_cast<int>(kDiskNoMemory);
  });
}

// How many bytes a group or something in it announces beyond the end of `bytes`.
std::uint64_t MissingOf(std::span<const std::uint8_t> bytes, int depth) {
  if (bytes.size() < 8) return 0;
  const std::uint32_t id = LoadBe32(bytes.data());
  const bool little = id == kLegacyForm;
  const std::uint32_t length = little ? LoadLe32(bytes.data() + 4) : LoadBe32(bytes.data() + 4);
  const bool isForm = little || id == kForm || id == kProp;
  if (depth == 0 && !isForm && id != kList) return 0;
  std::uint64_t missing = 8 + std::uint64_t{length} > bytes.size() ? 8 + std::uint64_t{length} - bytes.size() : 0;
  if (bytes.size() < 12) return missing;
  if (isForm) {
    for (ChunkSteps chunk(bytes, 12, length, little); chunk.Next();)
      missing = std::max<std::uint64_t>(missing, chunk.missing);
  } else if (id == kList && depth < kMaxListDepth) {
    const auto inside = bytes.first(std::min<std::size_t>(bytes.size(), std::size_t{8} + length));
    for (std::size_t at = 12; inside.size() >= at + 8;) {
      const std::size_t end = MemberEnd(inside, at, LoadBe32(inside.data() + at + 4));
      missing = std::max(missing, MissingOf(inside.subspan(at, end - at), depth + 1));
      at = end;
    }
  }
  return missing;
}

}  // namespace

std::uint64_t MissingBytes(std::span<const std::uint8_t> bytes) {
  return MissingOf(bytes, 0);
}

std::string MissingSentence(const std::string& path, std::span<const std::uint8_t> bytes) {
  if (MissingBytes(bytes) == 0) return {};
  return "The file " + path + " is shorter than it says; what is there was read.  A save over it keeps it, with a ~ " +
         "behind its name.";
}

bool ListPart::IsWhole() const {
  const std::uint32_t length = LoadBe32(bytes.data() + 4);
  return (length & 1) == 0 && bytes.size() == std::size_t{8} + length;
}

int SplitList(std::span<const std::uint8_t> bytes, std::uint32_t* type, std::vector<ListPart>* parts) {
  return ForEachPart(bytes, type, [parts](const ListPart& part) {
    parts->push_back(part);
    return static_cast<int>(kDiskOk);
  });
}

bool IsListFile(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 4 && LoadBe32(bytes.data()) == kList;
}

int ReadList(std::span<const std::uint8_t> bytes, const FormReadOptions& options, ListFile* list) {
  ReadBudget budget(bytes.size());
  FormReadOptions counted = options;
  if (!counted.budget) counted.budget = &budget;
  const int result = ReadListAt(bytes, counted, 0, list);
  if (list->skippedMembers > 0) MonitorMsg("%d parts of the file could not be read", list->skippedMembers);
  return result;
}

int ReadListOrForm(std::span<const std::uint8_t> bytes, const FormReadOptions& options, ListFile* list) {
  if (IsListFile(bytes)) return ReadList(bytes, options, list);
  DataFilePtr data(AllocDataFile());
  if (!data) return kDiskNoMemory;
  ContainerReader reader(bytes);
  const int result = reader.DiskReadForm(data.get(), options);
  if (result != kDiskOk) return result;
  if (!data->synth) return kDiskReadError;
  list->members.push_back({std::move(data), nullptr});
  return kDiskOk;
}

bool LooksLikeDataFile(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 16 && LoadBe32(bytes.data()) == kForm && LoadBe32(bytes.data() + 8) == ChunkId("BANK") &&
         LoadBe32(bytes.data() + 12) == kDescriptorChunk;
}

}  // namespace tonalith
