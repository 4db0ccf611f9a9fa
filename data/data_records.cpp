#include "data/data_records.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "data/packed_bytes.h"
#include "platform/log.h"

namespace tonalith {

const char* const kDataKindNames[31] = {
    "Not Assigned", "Patch",     "Patch Bank", "Multi",          "Multi Bank", "Global",        "Global Bank",
    "MIDI",         "MIDI Bank", "PCT",        "PCT Bank",       "Effect",     "Effect Bank",   "Sequence",
    "Sequence All", "Drums",     "Drum Bank",  "Chord",          "Chord Bank", "Sample",        "Sample Bank",
    "EQ",           "EQ Bank",   "Microtune",  "Microtune Bank", "Frac Scale", " Frac Sc Bank", "PBay Patch",
    "PBay Bank",    "All",       "Misc"};

const char* const kBankSelectModeNames[8] = {"None",  "Std",    "MSB",        "LSB", "Patch (Bnk Sel)",
                                             "No PC", "Micron", "No PC/Notes"};

namespace {

// The per-voice texts of a bank are made in advance only where they stay in proportion to its data; other banks get one
// text of each kind.
bool HasTextPerVoice(const VoiceLayout& layout) {
  const std::uint32_t n = layout.numVoices;
  return n > 1 && (n <= 1024 || (n <= 10000 && layout.voiceSize >= 8));
}

std::uint32_t EvenSize(std::uint32_t n) {
  return n + (n & 1);
}

template <class T>
int AllocPair(T** pointer, std::uint32_t* size, std::uint32_t newSize, const void* src) {
  if (newSize == 0) return 0;
  if (*pointer && *size == newSize) return 1;
  void* fresh = AllocMem(newSize);
  if (!fresh) return 0;
  const std::uint32_t rounded = EvenSize(newSize);
  if (*pointer) {
    std::memcpy(fresh, *pointer, std::min(rounded, *size));
    FreeMem(*pointer, *size);
  }
  *pointer = static_cast<T*>(fresh);
  *size = rounded;
  if (src) std::memcpy(fresh, src, newSize);
  return 1;
}

template <class T>
void FreePair(T*& pointer, std::uint32_t& size) {
  FreeMem(pointer, size);
  pointer = nullptr;
  size = 0;
}

// How AllocDataDup1 treats the contents of a side buffer.
enum class DupContents { kWhole, kLow16, kNone };

template <class T>
bool DupPair(T** dst, std::uint32_t* dstSize, const T* src, std::uint32_t srcSize, DupContents contents) {
  if (!src || srcSize == 0) return true;
  void* fresh = AllocMem(srcSize);
  if (!fresh) return false;
  *dst = static_cast<T*>(fresh);
  *dstSize = srcSize;
  std::uint32_t n = srcSize;
  if (contents == DupContents::kLow16) {
    n &= 0xFFFF;
    if (n != srcSize) DebugLog("record buffer of %u bytes: only %u were copied", srcSize, n);
  }
  if (contents != DupContents::kNone) std::memcpy(fresh, src, n);
  return true;
}

struct TextPair {
  std::uint8_t* DataFile::*pointer;
  std::uint32_t DataFile::*size;
};
constexpr TextPair kPatchTexts[6] = {
    {&DataFile::authors, &DataFile::authorsSize}, {&DataFile::rightsNotices, &DataFile::rightsNoticesSize},
    {&DataFile::songs, &DataFile::songsSize},     {&DataFile::musicians, &DataFile::musiciansSize},
    {&DataFile::bands, &DataFile::bandsSize},     {&DataFile::longNames, &DataFile::longNamesSize}};
struct PortPair {
  char* DataFile::*pointer;
  std::uint32_t DataFile::*size;
};
constexpr PortPair kPortNames[3] = {{&DataFile::midiInPortName, &DataFile::midiInPortNameSize},
                                    {&DataFile::midiOutPortName, &DataFile::midiOutPortNameSize},
                                    {&DataFile::patchBayPortName, &DataFile::patchBayPortNameSize}};

void CopyReference(DataFile* dst, const DataFile* src) {
  std::memcpy(dst->refDirectory, src->refDirectory, sizeof dst->refDirectory);
  std::memcpy(dst->refFileName, src->refFileName, sizeof dst->refFileName);
  dst->refDirectory[255] = 0;
  dst->refFileName[255] = 0;
  dst->refBankNumber = src->refBankNumber;
  dst->isReference = src->isReference;
  dst->refReserved = src->refReserved;
}

void CopyTexts(DataFile* dst, const DataFile* src) {
  for (const TextPair& text : kPatchTexts) {
    if (src->*text.pointer) AllocChunk(&(dst->*text.pointer), &(dst->*text.size), src->*text.size, src->*text.pointer);
  }
  for (const PortPair& port : kPortNames) {
    if (src->*port.pointer) AllocChunk(&(dst->*port.pointer), &(dst->*port.size), src->*port.size, src->*port.pointer);
  }
}

// The buffers of AllocDataDup1 step by step: `always` for structure, `contents` for what the user put in.
bool CopyBuffers(DataFile* dst, const DataFile* src, DupContents always, DupContents contents) {
  const bool withBody = contents != DupContents::kNone;
  const bool isBank = src->synth && src->synth->isBank;
  bool ok = DupPair(&dst->synth, &dst->synthSize, src->synth, src->synthSize, always) &&
            DupPair(&dst->comment, &dst->commentSize, src->comment, src->commentSize, contents) &&
            DupPair(&dst->findText, &dst->findTextSize, src->findText, src->findTextSize, contents);
  if (ok && src->bodySize != 0) {
    dst->body = static_cast<std::uint8_t*>(AllocMem(src->bodySize));
    ok = dst->body != nullptr;
    if (ok) dst->bodySize = src->bodySize;
    if (ok && withBody && src->body) MemMov(dst->body, src->body, src->bodySize);
  }
  ok = ok && DupPair(&dst->voiceNames, &dst->voiceNamesSize, src->voiceNames, src->voiceNamesSize, contents) &&
       DupPair(&dst->fileName, &dst->fileNameSize, src->fileName, src->fileNameSize, contents) &&
       DupPair(&dst->transmitScript, &dst->transmitScriptSize, src->transmitScript, src->transmitScriptSize, always) &&
       DupPair(&dst->receiveScript, &dst->receiveScriptSize, src->receiveScript, src->receiveScriptSize, always) &&
       DupPair(&dst->auditionScript, &dst->auditionScriptSize, src->auditionScript, src->auditionScriptSize, always) &&
       DupPair(&dst->xtra, &dst->xtraSize, src->xtra, src->xtraSize, always);
  if (ok && isBank) {
    ok = DupPair(&dst->emptyMap, &dst->emptyMapSize, src->emptyMap, src->emptyMapSize, always) &&
         DupPair(&dst->tagMap, &dst->tagMapSize, src->tagMap, src->tagMapSize, always);
  }
  return ok;
}

std::uint32_t MapSize(std::uint32_t voices) {
  return EvenSize((voices + 7) / 8);
}

template <class Byte>
bool GrowTo(Byte** pointer, std::uint32_t* size, std::uint32_t wanted) {
  return (*pointer && *size >= wanted) || AllocChunk(pointer, size, wanted) != 0;
}

bool DescriptorFitsRecord(const Synth& s) {
  return s.numVoices <= kMaxVoices && s.fileSize <= kMaxFileSize;
}

}  // namespace

void* AllocMem(std::uint32_t size) {
  if (size == 0 || size > 0x7FFFFFFE) return nullptr;
  return std::calloc(1, std::size_t{EvenSize(size)} + kBufferSlack);
}

void FreeMem(void* pointer, std::uint32_t /*size*/) {
  std::free(pointer);
}

int AllocChunk(std::uint8_t** pointer, std::uint32_t* size, std::uint32_t newSize, const void* src) {
  return AllocPair(pointer, size, newSize, src);
}
int AllocChunk(char** pointer, std::uint32_t* size, std::uint32_t newSize, const void* src) {
  return AllocPair(pointer, size, newSize, src);
}
int AllocChunk(DFXtra** pointer, std::uint32_t* size, std::uint32_t newSize, const void* src) {
  return AllocPair(pointer, size, newSize, src);
}
int AllocChunk(Synth** pointer, std::uint32_t* size, std::uint32_t newSize, const void* src) {
  return AllocPair(pointer, size, newSize, src);
}

void FreeChunk(char*& pointer, std::uint32_t& size) {
  FreePair(pointer, size);
}
void FreeChunk(std::uint8_t*& pointer, std::uint32_t& size) {
  FreePair(pointer, size);
}
void FreeChunk(DFXtra*& pointer, std::uint32_t& size) {
  FreePair(pointer, size);
}
void FreeChunk(Synth*& pointer, std::uint32_t& size) {
  FreePair(pointer, size);
}

DataFile* AllocDataFile() {
  return static_cast<DataFile*>(std::calloc(1, sizeof(DataFile)));
}

DataFile* AllocDataDup(DataFile* source) {
  return AllocDataDup1(source, 1);
}

DataFile* AllocDataDup1(DataFile* source, int withContents) {
  if (!source) return nullptr;
  DataFile* copy = AllocDataFile();
  if (!copy) return nullptr;
  if (withContents) CopyReference(copy, source);
  const bool ok =
      CopyBuffers(copy, source, DupContents::kLow16, withContents ? DupContents::kLow16 : DupContents::kNone);
  if (ok && !withContents && source->voiceNames) std::memset(source->voiceNames, 0, source->voiceNamesSize);
  if (!ok) {
    FreeDataFile(copy);
    return nullptr;
  }
  if (withContents) CopyTexts(copy, source);
  return copy;
}

DataFile* DupForUser(const DataFile* source) {
  if (!source) return nullptr;
  DataFile* copy = AllocDataFile();
  if (!copy) return nullptr;
  CopyReference(copy, source);
  if (!CopyBuffers(copy, source, DupContents::kWhole, DupContents::kWhole)) {
    FreeDataFile(copy);
    return nullptr;
  }
  // A record that is no bank may still carry maps that its file brought.
  DupPair(&copy->emptyMap, &copy->emptyMapSize, copy->emptyMap ? nullptr : source->emptyMap, source->emptyMapSize,
          DupContents::kWhole);
  DupPair(&copy->tagMap, &copy->tagMapSize, copy->tagMap ? nullptr : source->tagMap, source->tagMapSize,
          DupContents::kWhole);
  CopyTexts(copy, source);
  std::memcpy(copy->chunkModes, source->chunkModes, sizeof copy->chunkModes);
  return copy;
}

DataFile* AllocDataNew(DataFile* tmpl) {
  if (!tmpl) return nullptr;
  if (tmpl->synth && !DescriptorFitsRecord(*tmpl->synth)) return nullptr;
  DataFilePtr copy(AllocDataDup1(tmpl, 0));
  if (!copy) return nullptr;
  const Synth empty{};
  const Synth& s = copy->synth ? *copy->synth : empty;
  const std::uint32_t voices = s.numVoices;

  if (!copy->body && s.fileSize != 0 && !ResizeBody(copy.get(), s.fileSize)) return nullptr;
  if (!copy->voiceNames && s.namesSeparate && voices > 0) {
    AllocChunk(&copy->voiceNames, &copy->voiceNamesSize, kVoiceNameSize * voices);
  }
  if (!copy->xtra) {
    if (!AllocChunk(&copy->xtra, &copy->xtraSize, kXtraSize)) return nullptr;
    if (s.startsEmpty && !(s.isBank && s.patchByPatch)) copy->xtra->hasNoSysEx = 1;
  }
  if (s.isBank && voices > 0) {
    if (!copy->emptyMap && AllocChunk(&copy->emptyMap, &copy->emptyMapSize, MapSize(voices))) {
      std::memset(copy->emptyMap, s.startsEmpty ? 0xFF : 0, copy->emptyMapSize);
    }
    if (!copy->tagMap) AllocChunk(&copy->tagMap, &copy->tagMapSize, MapSize(voices));
  }
  const std::uint32_t perVoice = kPatchTextSize * (voices > 1 ? voices : 1);
  for (const TextPair& text : kPatchTexts) AllocChunk(&((*copy).*text.pointer), &((*copy).*text.size), perVoice);
  AllocChunk(&copy->midiInPortName, &copy->midiInPortNameSize, kPortNameSize);
  AllocChunk(&copy->midiOutPortName, &copy->midiOutPortNameSize, kPortNameSize);
  return copy.release();
}

void FreeData(DataFile* df) {
  if (!df) return;
  FreeMem(df->transferMask);
  df->transferMask = nullptr;
  df->transferMaskSize = 0;
  FreeEventList(df->eventList);
  df->eventList = nullptr;
  FreePair(df->spare, df->formSize);
  FreePair(df->body, df->bodySize);
  FreePair(df->findText, df->findTextSize);
  FreePair(df->comment, df->commentSize);
  FreePair(df->synth, df->synthSize);
  FreePair(df->voiceNames, df->voiceNamesSize);
  FreePair(df->fileName, df->fileNameSize);
  FreePair(df->receiveScript, df->receiveScriptSize);
  FreePair(df->transmitScript, df->transmitScriptSize);
  FreePair(df->auditionScript, df->auditionScriptSize);
  FreePair(df->xtra, df->xtraSize);
  FreePair(df->emptyMap, df->emptyMapSize);
  FreePair(df->tagMap, df->tagMapSize);
  for (const TextPair& text : kPatchTexts) FreePair(df->*text.pointer, df->*text.size);
  for (const PortPair& port : kPortNames) FreePair(df->*port.pointer, df->*port.size);
}

void FreeDataFile(DataFile* dataFile) {
  DataFileObservers::Announce(dataFile);
  if (!dataFile) return;
  FreeData(dataFile);
  std::free(dataFile);
}

bool ResizeBody(DataFile* df, std::uint32_t newSize) {
  return AllocChunk(&df->body, &df->bodySize, newSize) != 0;
}

namespace {

// Sizes of what a completed record has.
struct Components {
  std::uint32_t map = 0;
  std::uint32_t names = 0;
  std::uint32_t text = 0;
};

Components ComponentsOf(const DataFile& df) {
  const VoiceLayout layout = LayoutOf(df);
  Components sizes;
  if (df.synth && df.synth->isBank && layout.editable) sizes.map = MapSize(layout.numVoices);
  if (df.synth && df.synth->namesSeparate && layout.editable) sizes.names = kVoiceNameSize * layout.numVoices;
  sizes.text = kPatchTextSize * (HasTextPerVoice(layout) ? layout.numVoices : 1);
  return sizes;
}

}  // namespace

int AddDataFileComponents(DataFile* df, int /*mode*/, const void* /*unused*/) {
  if (!df) return 0;
  const Components sizes = ComponentsOf(*df);
  bool ok = GrowTo(&df->comment, &df->commentSize, kCommentSize) &&
            GrowTo(&df->findText, &df->findTextSize, kFindTextSize) &&
            GrowTo(&df->fileName, &df->fileNameSize, kFileNameSize);
  if (ok && (!df->xtra || df->xtraSize < kXtraSize)) ok = AllocChunk(&df->xtra, &df->xtraSize, kXtraSize) != 0;
  if (ok && sizes.map > 0) {
    ok = GrowTo(&df->emptyMap, &df->emptyMapSize, sizes.map) && GrowTo(&df->tagMap, &df->tagMapSize, sizes.map);
  }
  if (ok && sizes.names > 0) ok = GrowTo(&df->voiceNames, &df->voiceNamesSize, sizes.names);
  for (const TextPair& text : kPatchTexts) ok = ok && GrowTo(&(df->*text.pointer), &(df->*text.size), sizes.text);
  for (const PortPair& port : kPortNames) ok = ok && GrowTo(&(df->*port.pointer), &(df->*port.size), kPortNameSize);
  return ok ? 1 : 0;
}

std::uint64_t ComponentsSize(const DataFile& df) {
  constexpr std::uint64_t kBuffers = 16;
  const Components sizes = ComponentsOf(df);
  return kCommentSize + kFindTextSize + kFileNameSize + kXtraSize + 2ull * sizes.map + sizes.names +
         std::size(kPatchTexts) * std::uint64_t{sizes.text} + std::size(kPortNames) * kPortNameSize +
         kBuffers * kBufferSlack;
}

int MemCmp(const DataFile* a, const DataFile* b) {
  if (!a || !b || !a->synth || !b->synth) return -1;
  if (a->synth->driverId != b->synth->driverId || a->synth->fileSize != b->synth->fileSize) return -1;
  const auto whole = std::min({BodySpan(*a).size(), BodySpan(*b).size(), std::size_t{a->synth->fileSize}});
  if (whole == 0 || std::memcmp(a->body, b->body, whole) == 0) return 0;
  const std::size_t aStart = std::min<std::size_t>(a->synth->headerSize, BodySpan(*a).size());
  const std::size_t bStart = std::min<std::size_t>(b->synth->headerSize, BodySpan(*b).size());
  const auto voice = static_cast<std::size_t>(GetBytesFromVoiceBytes(a->synth));
  const std::size_t n = std::min({voice, BodySpan(*a).size() - aStart, BodySpan(*b).size() - bStart});
  return n == 0 ? 0 : std::memcmp(a->body + aStart, b->body + bStart, n);
}

void FreeDataList(ZKDataList* head) {
  // The tail goes first, as nodes may look at the ones before them while they are destroyed.
  ZKDataList* reversed = nullptr;
  while (head) {
    ZKDataList* next = head->next;
    head->next = reversed;
    reversed = head;
    head = next;
  }
  while (reversed) {
    std::unique_ptr<ZKDataList> node(reversed);
    reversed = reversed->next;
  }
}

void FreeDataListAndFiles(ZKDataList* head) {
  for (ZKDataList* node = head; node; node = node->next) {
    if (node->dataFile) FreeDataFile(node->dataFile);
    node->dataFile = nullptr;
  }
  FreeDataList(head);
}

ZKDataList* DupDataList(const ZKDataList* head) {
  std::unique_ptr<ZKDataList> first;
  ZKDataList* last = nullptr;
  for (const ZKDataList* node = head; node; node = node->next) {
    auto copy = std::make_unique<ZKDataList>(node->dataFile ? AllocDataDup(node->dataFile) : nullptr);
    if (node->dataFile && !copy->dataFile) {
      FreeDataListAndFiles(first.release());
      return nullptr;
    }
    ZKDataList* fresh = copy.release();
    if (last) {
      last->next = fresh;
    } else {
      first.reset(fresh);
    }
    last = fresh;
  }
  return first.release();
}

bool MapBit(const std::uint8_t* map, std::uint32_t size, std::uint32_t voice) {
  return map && voice / 8 < size && (map[voice / 8] >> (voice & 7) & 1) != 0;
}

void SetMapBit(std::uint8_t* map, std::uint32_t size, std::uint32_t voice, bool on) {
  if (!map || voice / 8 >= size) return;
  const auto bit = static_cast<std::uint8_t>(1u << (voice & 7));
  map[voice / 8] = static_cast<std::uint8_t>(on ? map[voice / 8] | bit : map[voice / 8] & ~bit);
}

// --- Validation ------------------------------------------------------------------------------------------------------

namespace {

std::string LayoutProblem(const Synth& s, std::size_t bodySize) {
  char text[160];
  const std::uint64_t voices = std::uint64_t{s.numVoices} * s.voiceSize;
  text[0] = 0;
  if (s.fileSize < kMinFileSize || s.fileSize > kMaxFileSize) {
    std::snprintf(text, sizeof text, "the image size %u is outside 2 to %u", s.fileSize, kMaxFileSize);
  } else if (s.numVoices > kMaxVoices) {
    std::snprintf(text, sizeof text, "%u voices are more than %u", s.numVoices, kMaxVoices);
  } else if (s.headerSize + voices > bodySize) {
    std::snprintf(text, sizeof text, "header and %u voices of %u bytes need %llu bytes, the image has %zu", s.numVoices,
                  s.voiceSize, static_cast<unsigned long long>(s.headerSize + voices), bodySize);
  } else if (s.numVoices > 1 && s.voiceSize == 0) {
    std::snprintf(text, sizeof text, "%u voices of no bytes", s.numVoices);
  } else if (std::uint64_t{s.voiceOffset} + s.voiceBytes > s.voiceSize && s.voiceSize != 0) {
    std::snprintf(text, sizeof text, "%u data bytes at %u do not fit a voice of %u bytes", s.voiceBytes, s.voiceOffset,
                  s.voiceSize);
  } else if (s.nameLength > kMaxNameLength) {
    std::snprintf(text, sizeof text, "a name of %u characters is longer than %u", s.nameLength, kMaxNameLength);
  }
  return text;
}

}  // namespace

VoiceLayout ValidateSynth(const Synth& s, std::size_t bodySize) {
  VoiceLayout layout;
  layout.problem = LayoutProblem(s, bodySize);
  layout.editable = layout.problem.empty();
  if (layout.editable) {
    layout.headerSize = s.headerSize;
    layout.numVoices = s.numVoices == 0 ? 1 : s.numVoices;
    layout.voiceSize = s.voiceSize;
    layout.voiceBytes = s.voiceBytes;
    layout.voiceOffset = s.voiceOffset;
    layout.nameLength = s.nameLength;
  } else {
    const auto whole = static_cast<std::uint32_t>(std::min<std::size_t>(bodySize, kMaxFileSize));
    layout.voiceSize = whole;
    layout.voiceBytes = whole;
  }
  return layout;
}

VoiceLayout LayoutOf(const DataFile& df) {
  if (df.synth) return ValidateSynth(*df.synth, BodySpan(df).size());
  VoiceLayout layout;
  layout.problem = "the data has no descriptor";
  return layout;
}

}  // namespace tonalith
