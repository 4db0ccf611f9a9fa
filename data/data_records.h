#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "data/event.h"

namespace tonalith {

inline constexpr std::uint32_t kSynthSize = 370;
inline constexpr std::uint32_t kMinSynthSize = 206;
inline constexpr std::uint32_t kXtraSize = 4704;
inline constexpr std::uint32_t kMinFileSize = 2;
inline constexpr std::uint32_t kMaxFileSize = 0x3FFFFFFF;
inline constexpr std::uint32_t kMaxVoices = 65535;
inline constexpr std::uint32_t kMaxNameLength = 256;
inline constexpr std::uint32_t kVoiceNameSize = 33;   // one stored voice name: 32 characters and a terminator
inline constexpr std::uint32_t kPatchTextSize = 256;  // one per-voice text
inline constexpr std::uint32_t kCommentSize = 256;
inline constexpr std::uint32_t kFindTextSize = 128;  // eight keyword entries
inline constexpr std::uint32_t kKeywordSize = 16;
inline constexpr std::uint32_t kFileNameSize = 256;
inline constexpr std::uint32_t kPortNameSize = 256;
// Zero bytes behind the recorded size of every buffer: codecs that look one group ahead stay inside.
inline constexpr std::size_t kBufferSlack = 64;
inline constexpr std::uint32_t kNoDriver = 65535;
inline constexpr std::uint8_t kRolandId = 0x41;

#pragma pack(push, 2)

// The descriptor of one data type: a file format, byte for byte (in files the numbers are big-endian, FlipSynth).
// 32-bit fields stand on even offsets only: read and write them by value, never bind a reference or take their address.
// "reservedN" are bytes that are kept and copied unchanged; some have a role for scripts or for the windows above.
struct Synth {
  char shortName[16];
  char typeName[26];
  std::uint32_t fileSize;    // bytes of the image, kMinFileSize to kMaxFileSize
  std::uint32_t headerSize;  // image offset of the first voice
  std::uint32_t numVoices;
  std::uint32_t voiceSize;  // bytes per voice slot
  std::uint32_t nameLength;
  std::int32_t nameOffset;  // negative: counted from the end of the voice
  std::uint8_t hasSysExChannel;
  std::uint8_t sysExChannel;  // 0-based
  std::uint32_t sysExChannelOffset;
  std::uint8_t sysExChannelShift;
  std::uint8_t dumpRequestSize;
  std::uint8_t dumpRequest[20];
  std::uint8_t dumpRequestHasChannel;
  std::uint8_t dumpRequestChannelOffset;
  std::uint8_t dumpRequestChannelShift;
  std::uint8_t reserved97;
  std::uint32_t checksumStart;
  std::uint32_t checksumLength;  // 0: no checksum
  std::uint32_t checksumOffset;
  std::uint16_t patchNumber;  // never byte-swapped: in files low byte first
  std::uint32_t patchNumberOffset;
  std::uint8_t isBank;
  std::uint8_t optionBits;
  std::uint8_t checksumType;
  char protocolLetter;
  std::uint32_t reserved120;
  std::uint8_t manufacturerId;
  std::uint8_t protocolMode;
  std::uint8_t rolandAddress[3];
  std::uint8_t rolandSize[3];
  std::uint8_t namesSeparate;
  std::uint8_t noChecksumOnFormat;  // also: the data type uses command sequences
  std::uint8_t reserved134;
  std::uint8_t storageFormat;
  char definition[30];
  std::uint16_t v40Value;
  std::uint16_t voiceAdjust;
  std::uint16_t voiceAdvance;
  std::uint8_t nameFormat;
  std::uint8_t midiInPort;
  std::uint8_t midiOutPort;
  std::uint8_t rolandHandshake;
  std::uint8_t patchMin;  // low byte, see PatchMin()
  std::uint8_t patchMax;  // low byte, see PatchMax()
  std::uint8_t patchNumberInImage;
  std::uint8_t storageFormatCopy;  // storageFormat when that is 2, 17 or 22, else 0
  std::uint32_t voiceBytes;
  std::uint32_t voiceOffset;
  std::uint8_t patchBayPatch;
  std::uint8_t midiChannel;  // 0-based
  std::int8_t sysExChannelMin;
  std::int8_t sysExChannelMax;
  std::uint8_t dumpRequestPatchOffset;
  std::uint8_t allowsNonSysEx;
  std::uint32_t timeStamp;  // seconds since 1970, 0: none
  std::uint16_t driverId;
  std::uint16_t linkId;
  std::uint16_t childId;
  std::int16_t bankNumberOffset;
  char reserved206[31];  // data folder
  std::uint8_t reserved237;
  char reserved238[4];  // file extension
  std::uint16_t editorRect96[4];
  std::uint8_t patchMinHigh;
  std::uint8_t patchMaxHigh;
  std::uint8_t reserved252;  // has fixed patch names
  std::uint8_t reserved253;  // auto-sense driver
  std::uint8_t reserved254[24];
  std::uint8_t numberFormat;
  std::uint8_t dataKind;
  std::uint8_t patchBayFlags;
  std::uint8_t patchBayChannel;
  std::uint8_t patchBayPort;
  std::uint8_t patchBayRevertPatch;
  std::uint8_t midiChannelDefault;
  std::uint8_t sysExChannelDefault;
  std::uint8_t setResident;
  std::uint8_t reserved287;  // send new data at once
  std::uint8_t bankSelectMode;
  std::int8_t bankSelectLsbDefault;
  std::int8_t bankSelectMsbDefault;
  std::uint8_t chunkSize;
  std::uint8_t bankSelectBase;
  std::uint8_t imageIndex;
  std::uint16_t multiBankBase;
  std::uint8_t reserved296;  // no SysEx map needed
  std::uint8_t sysExChannelZeroBased;
  std::uint8_t reserved298;  // defines patches and banks automatically
  std::uint8_t patchByPatch;
  std::uint16_t localId;
  std::int8_t chunkTrimWin;
  std::int8_t chunkTrimMac;
  std::uint8_t midiChannelFollowsSysEx;
  std::uint8_t reserved305;
  std::uint8_t bankSelectStep;
  std::uint8_t startsEmpty;  // also: synchronizable
  char definition2[34];      // a definition text of 63 characters ends on typeKey[0]
  char typeKey[8];
  std::uint8_t hidden;
  std::uint8_t reserved351;
  std::uint8_t reserved352[2];
  char variantText[8];
  std::uint16_t zoneId;
  std::uint8_t bankSelectMax;
  std::uint8_t reserved365[5];
};

// The extension record of a DataFile: stored raw, big-endian in files (FlipDFXtra).
struct DFXtra {
  std::uint32_t timeStamp;
  std::uint16_t windowX;
  std::uint16_t windowY;
  std::uint16_t windowWidth;
  std::uint16_t windowHeight;
  std::uint8_t isInactive;       // kept in its Set but neither sent nor received
  std::uint8_t hiddenInLibrary;  // hidden flag of a Library row
  std::uint16_t windowExtra;
  std::uint8_t isNewRecord;  // made by the reader because a file had none
  std::uint8_t reserved17[3];
  char instrumentName[32];
  std::uint8_t hasNoSysEx;  // nothing received yet
  std::uint8_t reserved53;
  std::uint16_t foreignSlot;   // placement of an imported patch, valid with kForeignPlacementMark
  std::uint32_t driverNumber;  // copy of Synth.driverId, kNoDriver: none
  std::uint32_t foreignMark;
  std::uint8_t reserved64[24];
  std::uint8_t instrumentIndex;  // 0-based instance number
  std::uint8_t reserved89[7];
  char categories[32][32];
  std::uint32_t table[128];
  char keywords[96][32];
};

#pragma pack(pop)

inline constexpr std::uint32_t kForeignPlacementMark = 0x53444C42;

static_assert(sizeof(Synth) == kSynthSize);
static_assert(sizeof(DFXtra) == kXtraSize);
static_assert(offsetof(DFXtra, windowX) == 4 && offsetof(DFXtra, isInactive) == 12 &&
              offsetof(DFXtra, windowExtra) == 14);
static_assert(offsetof(DFXtra, isNewRecord) == 16 && offsetof(DFXtra, instrumentName) == 20);
static_assert(offsetof(DFXtra, hasNoSysEx) == 52 && offsetof(DFXtra, foreignSlot) == 54);
static_assert(offsetof(DFXtra, driverNumber) == 56 && offsetof(DFXtra, foreignMark) == 60);
static_assert(offsetof(DFXtra, instrumentIndex) == 88 && offsetof(DFXtra, categories) == 96);
static_assert(offsetof(DFXtra, table) == 1120 && offsetof(DFXtra, keywords) == 1632);

// One unit of instrument data.  A plain record of (pointer, size) pairs; every buffer belongs to the record alone,
// comes from AllocMem (or AllocChunk) and carries kBufferSlack zero bytes behind its recorded size.  All zero is a
// valid, empty record.  Use DataFilePtr to own one.
struct DataFile {
  // In memory only, not duplicated: one value (0 or 1) per patch while a selective transfer runs, and the event list of
  // a rendered transmission.
  std::uint8_t* transferMask;
  std::uintptr_t transferMaskSize;
  Event* eventList;

  std::uint32_t formSize;  // length field of the FORM last read, or the size of `spare`
  std::uint8_t* spare;
  std::uint32_t synthSize;
  Synth* synth;
  std::uint32_t commentSize;
  char* comment;
  std::uint32_t findTextSize;
  char* findText;
  std::uint32_t bodySize;
  std::uint8_t* body;
  std::uint32_t voiceNamesSize;
  char* voiceNames;
  std::uint32_t fileNameSize;
  char* fileName;
  std::uint32_t transmitScriptSize;
  std::uint8_t* transmitScript;
  std::uint32_t receiveScriptSize;
  std::uint8_t* receiveScript;
  std::uint32_t auditionScriptSize;
  std::uint8_t* auditionScript;
  DFXtra* xtra;
  std::uint32_t xtraSize;
  char refDirectory[256];
  char refFileName[256];
  std::uint16_t refBankNumber;
  std::uint8_t isReference;
  std::uint8_t refReserved;
  std::uint8_t* emptyMap;  // bit i: voice i holds no SysEx yet
  std::uint32_t emptyMapSize;
  std::uint8_t* tagMap;  // bit i: voice i is not to be transmitted
  std::uint32_t tagMapSize;
  std::uint8_t* authors;
  std::uint32_t authorsSize;
  std::uint8_t* rightsNotices;
  std::uint32_t rightsNoticesSize;
  std::uint8_t* songs;
  std::uint32_t songsSize;
  std::uint8_t* musicians;
  std::uint32_t musiciansSize;
  std::uint8_t* bands;
  std::uint32_t bandsSize;
  std::uint8_t* longNames;
  std::uint32_t longNamesSize;
  char* midiInPortName;
  std::uint32_t midiInPortNameSize;
  char* midiOutPortName;
  std::uint32_t midiOutPortNameSize;
  char* patchBayPortName;
  std::uint32_t patchBayPortNameSize;
  std::uint8_t chunkModes[4];
};

// --- Memory of records -----------------------------------------------------------------------------------------------

// Zeroed memory of size bytes plus kBufferSlack; null when size is 0, above 0x7FFFFFFE or memory is short.
void* AllocMem(std::uint32_t size);
// Releases what AllocMem gave; the size is informational, null is allowed.
void FreeMem(void* pointer, std::uint32_t size = 0);

// (Re)allocates a pair to newSize rounded up to even, keeping the old contents as far as they fit; new bytes are zero.
// With src, newSize bytes are copied from it.  Same size as recorded: the buffer is kept and src ignored.
// 1 = ok; 0 = newSize is 0 or memory is short (the pair is then unchanged).
int AllocChunk(std::uint8_t** pointer, std::uint32_t* size, std::uint32_t newSize, const void* src = nullptr);
int AllocChunk(char** pointer, std::uint32_t* size, std::uint32_t newSize, const void* src = nullptr);
int AllocChunk(DFXtra** pointer, std::uint32_t* size, std::uint32_t newSize, const void* src = nullptr);
int AllocChunk(Synth** pointer, std::uint32_t* size, std::uint32_t newSize, const void* src = nullptr);

// Frees and clears a pair.
void FreeChunk(char*& pointer, std::uint32_t& size);
void FreeChunk(std::uint8_t*& pointer, std::uint32_t& size);
void FreeChunk(DFXtra*& pointer, std::uint32_t& size);
void FreeChunk(Synth*& pointer, std::uint32_t& size);

// --- Life of a DataFile ----------------------------------------------------------------------------------------------

// A zeroed record, or null.
DataFile* AllocDataFile();

// A structural copy of a driver record without contents, completed with body, names, maps and texts.  Clears
// tmpl->voiceNames (see AllocDataDup1): use it on driver records only.  Null when memory is short or the descriptor
// asks for more than a record can hold.
DataFile* AllocDataNew(DataFile* tmpl);

// AllocDataDup1(source, 1).
DataFile* AllocDataDup(DataFile* source);

// Deep copy.  Side buffers are copied by the low 16 bits of their size (the rest stays zero); the body whole.  Without
// contents, comment, keywords, body, names and file name are allocated but not copied, and the voice names of the
// SOURCE are cleared.  transferMask, eventList and chunkModes are not copied.  Null when memory is short.
DataFile* AllocDataDup1(DataFile* source, int withContents);

// What user data is duplicated with: everything, whole, chunkModes included; the source stays untouched.
DataFile* DupForUser(const DataFile* source);

// Releases every buffer and clears every pair; the record and its fixed fields stay.
void FreeData(DataFile* dataFile);

// Tells DataFileObservers (also for null), then frees everything.
void FreeDataFile(DataFile* dataFile);

struct DataFileDeleter {
  void operator()(DataFile* dataFile) const { FreeDataFile(dataFile); }
};
using DataFilePtr = std::unique_ptr<DataFile, DataFileDeleter>;

// Gives body exactly newSize bytes (rounded up to even), keeping the contents as far as they fit.  false: no memory.
bool ResizeBody(DataFile* dataFile, std::uint32_t newSize);

// Makes sure that comment, findText, xtra, fileName, the bitmaps of a bank, separate names, the six texts and the port
// names exist at full size (existing contents are kept, new bytes are zero).  `mode` and `unused` are kept for callers
// that pass them through.  1 = ok, 0 = memory is short.
int AddDataFileComponents(DataFile* dataFile, int mode, const void* unused = nullptr);
// How many bytes that may allocate at most.
std::uint64_t ComponentsSize(const DataFile& dataFile);

// 0 = same, nonzero = different, -1 = not comparable (other driver or other image size).  Data that differ only outside
// the data bytes of their first voice count as same.
int MemCmp(const DataFile* a, const DataFile* b);

// --- Lists -----------------------------------------------------------------------------------------------------------

struct ListRect {
  std::int32_t left, top, right, bottom;
};

// A list node; does not own its DataFile.  The display state belongs to the window that shows the list.
class ZKDataList {
 public:
  ZKDataList() = default;
  explicit ZKDataList(DataFile* data) : dataFile(data) {}
  virtual ~ZKDataList() = default;
  ZKDataList(const ZKDataList&) = delete;
  ZKDataList& operator=(const ZKDataList&) = delete;

  ZKDataList* next = nullptr;
  DataFile* dataFile = nullptr;
  std::int32_t isSelected = 0;
  std::int32_t isOpen = 0;
  std::int32_t row = -1;
  std::int32_t column = -1;
  ListRect anchor{0, 0, 96, 0};
  ListRect icon{0, 96, 0, 0};
  ListRect label{96, 0, 0, 96};
  ListRect rect{0, 0, 0, 0};
};

// Destroys every node, not the DataFiles.
void FreeDataList(ZKDataList* head);
// Frees every node and every DataFile.
void FreeDataListAndFiles(ZKDataList* head);
// A new list whose nodes hold AllocDataDup copies; null when the list is empty or memory is short.
ZKDataList* DupDataList(const ZKDataList* head);

// --- Descriptor ------------------------------------------------------------------------------------------------------

// The definition text: up to 63 characters in two pieces.  SetDefn cuts longer texts; exactly 63 characters put the
// terminator on typeKey[0], so write the definition before typeKey.  `out` takes at least 64 bytes.
void GetDefn(const Synth* synth, char* out);
std::string GetDefn(const Synth& synth);
void SetDefn(Synth* synth, const char* text);

// Converts between file and native order in place (same operation both ways).  The record must be a full, zero-filled
// kSynthSize buffer; `size` is the size that was read and decides which of the later 16-bit fields are converted.
void FlipSynth(Synth* synth, std::uint32_t size);
// Likewise for a full kXtraSize record.
void FlipDFXtra(DFXtra* xtra, std::uint32_t size);

// Converts a synth read from a legacy little-endian file into the current layout.  0, or -6 (no synth, no memory).
int DiskMSFixSynth(DataFile* dataFile);
// sysExChannelMax 0 becomes 15.
void DiskSynthFix(Synth* synth);

inline int PatchMin(const Synth& s) {
  return s.patchMin | s.patchMinHigh << 8;
}
inline int PatchMax(const Synth& s) {
  return s.patchMax | s.patchMaxHigh << 8;
}
void SetPatchMin(Synth* synth, int value);
void SetPatchMax(Synth* synth, int value);
// Sets storageFormat and its copy.
void SetStorageFormat(Synth* synth, int format);

// Text of a fixed field, up to its terminator or its end.
template <std::size_t N>
std::string FieldText(const char (&field)[N]) {
  std::size_t n = 0;
  while (n < N && field[n] != 0) ++n;
  return std::string(field, n);
}

extern const char* const kDataKindNames[31];
extern const char* const kBankSelectModeNames[8];

// --- Validation ------------------------------------------------------------------------------------------------------

// The geometry of a DataFile that is safe to work with.  When the descriptor does not fit its body the record is kept
// as it is (saving writes it back unchanged), but is shown as one voice without a name and cannot be edited.
struct VoiceLayout {
  bool editable = false;
  std::uint32_t headerSize = 0;
  std::uint32_t numVoices = 1;
  std::uint32_t voiceSize = 0;
  std::uint32_t voiceBytes = 0;
  std::uint32_t voiceOffset = 0;
  std::uint32_t nameLength = 0;
  std::string problem;  // why it is not editable; empty when it is
};

// Checks a descriptor against a body of bodySize bytes, in 64-bit arithmetic.
VoiceLayout ValidateSynth(const Synth& synth, std::size_t bodySize);
// The same for a whole record (no synth or no body: not editable).
VoiceLayout LayoutOf(const DataFile& dataFile);

// The body as bytes; empty when there is none.
inline std::span<std::uint8_t> BodySpan(DataFile& df) {
  return {df.body, df.body ? df.bodySize : 0};
}
inline std::span<const std::uint8_t> BodySpan(const DataFile& df) {
  return {df.body, df.body ? df.bodySize : 0};
}

// Bits of emptyMap and tagMap; outside the map: reads false, writes are dropped.
bool MapBit(const std::uint8_t* map, std::uint32_t size, std::uint32_t voice);
void SetMapBit(std::uint8_t* map, std::uint32_t size, std::uint32_t voice, bool on);

// --- Released data ---------------------------------------------------------------------------------------------------

// Whoever keeps DataFile pointers registers here and drops them when told.  The pointer is a token: it must only be
// compared, never followed.
//
// A program has one of these, with its own user-interface thread; what needs no program makes its own.  A record does
// not know whose it is, so FreeDataFile tells every one that lives in the process, from their construction to their
// destruction; an address means the same record to all of them.
class DataFileObservers {
 public:
  using Callback = std::function<void(const DataFile* released)>;
  using Poster = std::function<void(std::function<void()>)>;

  DataFileObservers();
  DataFileObservers(const DataFileObservers&) = delete;
  DataFileObservers& operator=(const DataFileObservers&) = delete;
  // What is still queued for the user-interface thread is dropped.
  ~DataFileObservers();

  // Returns an id for Remove.  Callbacks run on the user-interface thread when a poster is set, else on the caller's.
  int Add(Callback callback);
  // After Remove returns, the callback is not started again.
  void Remove(int id);

  // Names the user-interface thread and how to queue a call there; an empty poster switches queueing off.  The poster
  // must not block; it is not used after this object is gone.
  void SetUiThread(std::thread::id thread, Poster poster);

  // Called by FreeDataFile before anything is freed.
  static void Announce(const DataFile* released);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

// Registration for the life of an object: in the registry of a program, or on its own (told on the thread that frees).
class DataFileWatch {
 public:
  explicit DataFileWatch(DataFileObservers::Callback callback);
  DataFileWatch(DataFileObservers& observers, DataFileObservers::Callback callback);
  ~DataFileWatch();
  DataFileWatch(const DataFileWatch&) = delete;
  DataFileWatch& operator=(const DataFileWatch&) = delete;

 private:
  std::unique_ptr<DataFileObservers> own_;
  DataFileObservers& observers_;
  int id_;
};

}  // namespace tonalith
