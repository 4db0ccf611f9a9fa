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
  if (!ReadLength(length) || *length > left()) {
    position_ = bytes_.size();
    return nullptr;
  }
  const std::uint8_t* data = bytes_.data() + position_;
  position_ += *length;
  return data;
}

std::int64_t ContainerReader::ReadIff(std::uint8_t** pointer, std::uint32_t* size, std::uint32_t minAlloc) {
  std::uint32_t length = 0;
  const std::uint8_t* data = TakeChunk(&length);
  if (!data) return kReadFailed;
  if (length == 0) return 0;
  std::uint8_t* fresh = nullptr;
  std::uint32_t freshSize = 0;
  if (!AllocChunk(&fresh, &freshSize, std::max(length, minAlloc))) return kNoMemory;
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
  if (!AllocChunk(&df->synth, &df->synthSize, kSynthSize)) return kNoMemory;
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
    if (AllocChunk(&wide, &wideSize, wanted)) {
      const auto each = static_cast<std::uint32_t>(length) / voices;
      for (std::uint32_t i = 0; i < voices; ++i) {
        const auto* from = reinterpret_cast<const char*>(names) + std::size_t{i} * each;
        const std::size_t n = strnlen(from, std::min(each, kVoiceNameSize - 1));
        std::memcpy(wide + std::size_t{i} * kVoiceNameSize, from, n);
      }
    }
    FreeChunk(names, size);
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
  if (!AllocChunk(&df->xtra, &df->xtraSize, kXtraSize)) return kNoMemory;
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

std::int64_t ContainerReader::SkipChunk() {
  std::uint32_t length = 0;
  if (!TakeChunk(&length)) return kReadFailed;
  if ((length & 1) && left() > 0) ++position_;
  return std::int64_t{length} + (length & 1);
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
      return SkipChunk();
  }
}

int ContainerReader::ReadChunks(DataFile* df, const FormReadOptions& options, std::uint32_t formSize) {
  std::uint64_t counter = 4;
  std::uint32_t id = 0;
  while (counter < formSize && left() >= 8 && ReadId(&id)) {
    const std::int64_t length = ReadChunk(id, df, options);
    if (length == kKeywordAbsent) return kDiskKeywordAbsent;
    if (length <= 0 && (id == kDescriptorChunk || id == kBodyChunk)) {
      FreeData(df);
      return length == 0 ? kDiskReadError : static_cast<int>(-length);
    }
    if (length >= 0) counter += static_cast<std::uint64_t>(length) + 8;
    // Odd chunks stand without a pad byte; other writers add one, and no identifier begins with zero.
    if ((length & 1) && left() > 0 && bytes_[position_] == 0) {
      ++position_;
      ++counter;
    }
  }
  return kDiskOk;
}

int ContainerReader::Finish(DataFile* df, const FormReadOptions& options) {
  if (df->synth && df->body && df->synth->fileSize > df->bodySize && df->synth->fileSize <= kMaxFileSize &&
      df->synth->fileSize - df->bodySize <= df->bodySize + kMaxBodyGrowth) {
    DebugLog("image of %u bytes completed to %u", df->bodySize, df->synth->fileSize);
    if (!ResizeBody(df, df->synth->fileSize)) return kDiskNoMemory;
  }
  const std::uint32_t leastDescriptor = littleEndian_ ? kMinLegacySynthSize : kMinSynthSize;
  if (options.mode == 0 || (df->synth && descriptorLength_ < leastDescriptor)) return kDiskOk;
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
  return AddDataFileComponents(df, options.mode) ? kDiskOk : kDiskNoMemory;
}

int ContainerReader::DiskReadForm(DataFile* df, const FormReadOptions& options, std::uint32_t firstId) {
  std::uint32_t id = firstId;
  descriptorLength_ = 0;
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

bool ReadMember(std::span<const std::uint8_t> bytes, std::uint32_t id, const FormReadOptions& options, int depth,
                ListFile* list) {
  if (id == kList) {
    if (depth >= kMaxListDepth) return false;
    auto nested = std::make_unique<ListFile>();
    if (ReadListAt(bytes, options, depth + 1, nested.get()) != kDiskOk) return false;
    list->skippedMembers += nested->skippedMembers;
    list->members.push_back({nullptr, std::move(nested)});
    return true;
  }
  if (id == kInfo) {
    list->info.assign(bytes.begin() + 8, bytes.end());
    return true;
  }
  if (id != kForm && id != kProp) return true;
  DataFilePtr data(AllocDataFile());
  if (!data) return false;
  ContainerReader reader(bytes);
  const int result = reader.DiskReadForm(data.get(), options);
  if (result == kDiskKeywordAbsent) return true;
  if (result != kDiskOk || !data->synth) return false;
  if (id == kProp && !list->header) {
    list->header = std::move(data);
  } else {
    list->members.push_back({std::move(data), nullptr});
  }
  return true;
}

int ReadListAt(std::span<const std::uint8_t> bytes, const FormReadOptions& options, int depth, ListFile* list) {
  if (bytes.size() < 4 || LoadBe32(bytes.data()) != kList) return kDiskNotOurs;
  if (bytes.size() < 12) return kDiskReadError;
  const std::uint32_t length = LoadBe32(bytes.data() + 4);
  list->type = LoadBe32(bytes.data() + 8);
  const auto inside = bytes.first(std::min<std::size_t>(bytes.size(), std::size_t{8} + length));
  std::size_t at = 12;
  while (inside.size() >= at + 8) {
    const std::uint32_t id = LoadBe32(inside.data() + at);
    const std::size_t end = MemberEnd(inside, at, LoadBe32(inside.data() + at + 4));
    if (!ReadMember(inside.subspan(at, end - at), id, options, depth, list)) ++list->skippedMembers;
    at = end;
  }
  return kDiskOk;
}

}  // namespace

bool IsListFile(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 4 && LoadBe32(bytes.data()) == kList;
}

int ReadList(std::span<const std::uint8_t> bytes, const FormReadOptions& options, ListFile* list) {
  const int result = ReadListAt(bytes, options, 0, list);
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
