#include "store/roland_tone.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "data/checksums.h"
#include "parameters/tabbed_lines.h"
#include "platform/atomic_file.h"
#include "platform/log.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::int64_t kBlock = 143, kBlockHead = 13, kWordsOfBlock = 64;
constexpr std::size_t kSumFrom = 8, kSumAt = 141, kEndAt = 142;  // of a block
constexpr std::size_t kIdentified = 31;                          // bytes that say of which kind a tone is
constexpr std::size_t kEditorHead = 12;
constexpr std::size_t kTrailAt = 2659, kTrailSize = 4;
constexpr std::uint8_t kTrail[] = {0x02, 0x20, 0x01, 0x00};
constexpr std::uint8_t kTypes = 0x50;

constexpr std::size_t kMostMap = 1u << 20;
constexpr std::size_t kMostValues = 16384;
constexpr char kMapKind[] = "tone map";

constexpr const char* kKindNames[] = {"PCMTone", "SynthMd", "Jpitr-X", "RDPiano", "N-Zyme", "Juno-X"};
constexpr const char* kPrimitiveNames[] = {"WtoB", "WtoSB", "WtoW", "LtoL"};

const char* KindName(ToneKind kind) {
  return kKindNames[static_cast<std::size_t>(kind)];
}

struct Width {
  std::size_t editor;
  std::int64_t words;
};
Width WidthOf(TonePrimitive primitive) {
  switch (primitive) {
    case TonePrimitive::WtoW:
      return {2, 1};
    case TonePrimitive::LtoL:
      return {4, 2};
    case TonePrimitive::WtoB:
    case TonePrimitive::WtoSB:
      break;
  }
  return {1, 1};
}

// What a tone begins with, from the first data byte of its first block on; the rest is 0.
struct Record {
  ToneKind kind;
  std::uint8_t at11, at13, at16, at17;
  std::int64_t words;  // of the whole tone; 0: as the map reaches
};
constexpr std::size_t kRecordSize = 32;
constexpr Record kZenCore = {ToneKind::PCMTone, 1, 1, 0, 6, 1536};
constexpr Record kRdPiano = {ToneKind::RDPiano, 1, 3, 0, 12, 3072};
constexpr Record kJuno106 = {ToneKind::SynthMd, 2, 2, 0, 9, 0};
constexpr Record kJuno60 = {ToneKind::SynthMd, 2, 2, 1, 0, 0};

std::array<std::uint8_t, kRecordSize> BytesOf(const Record& record) {
  std::array<std::uint8_t, kRecordSize> bytes{};
  bytes[9] = 1;
  bytes[11] = record.at11;
  bytes[13] = record.at13;
  bytes[16] = record.at16;
  bytes[17] = record.at17;
  return bytes;
}

std::int64_t BlocksOf(std::int64_t words) {
  return (words + kWordsOfBlock - 1) / kWordsOfBlock;
}

// Checksum and end of the blocks that hold these words.
void CloseBlocks(std::span<std::uint8_t> tone, std::int64_t words) {
  for (std::int64_t i = 0; i < BlocksOf(words); ++i) {
    const auto block = tone.subspan(static_cast<std::size_t>(i * kBlock), static_cast<std::size_t>(kBlock));
    block[kSumAt] = RolandCheckSum(&block[kSumFrom], static_cast<std::int64_t>(kSumAt - kSumFrom));
    block[kEndAt] = 0xF7;
  }
}

bool Holds(std::span<const std::uint8_t> tone, std::size_t at, std::initializer_list<std::uint8_t> bytes) {
  return std::equal(bytes.begin(), bytes.end(), tone.begin() + static_cast<std::ptrdiff_t>(at));
}

// The kind of a tone with the head that its editor data gets.
struct Detected {
  ToneKind kind = ToneKind::PCMTone;
  std::uint8_t model = 0;
  std::uint8_t type = 0;
};
bool Detect(std::span<const std::uint8_t> tone, const Synth& editor, Detected* found) {
  constexpr std::uint8_t k5B = 0x5B, k65 = 0x65;
  if (tone.size() < kIdentified) return false;
  const int id = editor.driverId;
  const bool of5B = id >= 11100 && id <= 11115, of65 = id >= 11292 && id <= 11295;
  const bool plain = Holds(tone, 22, {0x01, 0x00, 0x01, 0x00}), model = Holds(tone, 22, {0x01, 0x00, 0x02, 0x00});
  if (plain && tone[26] == 1) {
    *found = {ToneKind::PCMTone, 0, 0};
  } else if (plain && tone[26] == 7) {
    *found = {ToneKind::JpitrX, k65, kTypes};
  } else if (plain && tone[26] == 3) {
    *found = {ToneKind::RDPiano, 0, 0};
  } else if (plain && Holds(tone, 26, {0x06, 0x00, 0x00, 0x01}) && tone[30] == 0) {
    *found = {ToneKind::NZyme, k5B, static_cast<std::uint8_t>(of5B ? ((id - 92) & 0xFF) | 0x40 : 0x40)};
  } else if (plain && Holds(tone, 26, {0x06, 0x00, 0x00, 0x01}) && tone[30] == 1) {
    *found = {ToneKind::JunoX, 0, 0x40};
  } else if (model && tone[26] == 2) {
    constexpr std::uint8_t kModelType = 0x10;
    *found = {ToneKind::SynthMd, 0, kModelType};
    if (of5B)
      *found = {ToneKind::SynthMd, k5B, static_cast<std::uint8_t>(editor.numberFormat & 0x7F)};
    else if (of65)
      found->model = k65;
    else if (id != 0)
      found->type = static_cast<std::uint8_t>(((id + 43) & 0x7F) | kModelType);
  } else {
    return false;
  }
  return true;
}

void PutToneHead(std::span<std::uint8_t> editor, const Detected& found) {
  const std::uint8_t head[] = {0xF0, kRolandId, 0x10, 0x00, 0x00, 0x00, found.model, 0x12};
  std::copy(std::begin(head), std::end(head), editor.begin());
  editor[BankConvertJunoX::kTypeByte] = found.type;
}

// The kind an editor's data says, and the record its tone begins with.
const Record* RecordOf(std::span<const std::uint8_t> editor, std::span<const std::uint8_t> tone) {
  constexpr std::size_t kModelAt = kEditorHead + 39;
  constexpr std::uint8_t kJuno60Model = 5, kJuno106Model = 3;
  constexpr std::uint8_t kDeviceBit = 0x10;
  if (editor.size() <= kModelAt) return nullptr;
  std::array<std::uint8_t, kEditorHead> head{};
  std::copy_n(editor.begin(), kEditorHead, head.begin());
  head[2] &= kDeviceBit;
  if (!Holds(head, 0, {0xF0, kRolandId, kDeviceBit, 0x00, 0x00, 0x00, 0x00, 0x12, 0x12, 0x02})) return nullptr;
  const std::uint8_t type = head[BankConvertJunoX::kTypeByte];
  if (type <= 3) {
    const bool trail = editor.size() >= kTrailAt + kTrailSize &&
                       std::equal(std::begin(kTrail), std::end(kTrail), editor.begin() + kTrailAt);
    // The trailing word of a piano is that of the other tones, too: the place it came from tells them apart.
    const bool overPiano = tone.size() >= kIdentified && Holds(tone, 22, {0x01, 0x00, 0x01, 0x00, 0x03});
    return trail && !overPiano ? &kZenCore : &kRdPiano;
  }
  if (type < 16 || type > 19) return nullptr;
  const std::uint8_t model = editor[kModelAt];
  return model == kJuno60Model ? &kJuno60 : model == kJuno106Model ? &kJuno106 : nullptr;
}

bool IsJunoXModel(std::span<const std::uint8_t> editor) {
  if (editor.size() < kEditorHead) return false;
  const std::uint8_t type = editor[BankConvertJunoX::kTypeByte];
  return type >= 64 && type <= 67 && Holds(editor, 3, {0x00, 0x00, 0x00, 0x00, 0x12, 0x12, 0x02}) &&
         editor[0] == 0xF0 && editor[1] == kRolandId;
}

int ValuesToTone(const ToneMap& map, std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone) {
  for (const ToneMap::Value& value : map.values) {
    std::int64_t word = value.word;
    std::size_t at = value.editor;
    switch (value.primitive) {
      case TonePrimitive::WtoB:
        BankConvertJunoX::EtoT_BtoW(editor, tone, at, word, value.offset);
        break;
      case TonePrimitive::WtoSB:
        BankConvertJunoX::EtoT_SBtoW(editor, tone, at, word, value.offset);
        break;
      case TonePrimitive::WtoW:
        BankConvertJunoX::EtoT_WtoW(editor, tone, at, word, value.offset);
        break;
      case TonePrimitive::LtoL:
        BankConvertJunoX::EtoT_LtoL(editor, tone, at, word, value.offset);
        break;
    }
  }
  return 1;
}

int ValuesToEditor(const ToneMap& map, std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor) {
  for (const ToneMap::Value& value : map.values) {
    std::int64_t word = value.word;
    std::size_t at = value.editor;
    switch (value.primitive) {
      case TonePrimitive::WtoB:
        BankConvertJunoX::TtoE_WtoB(tone, editor, word, at, value.offset);
        break;
      case TonePrimitive::WtoSB:
        BankConvertJunoX::TtoE_WtoSB(tone, editor, word, at, value.offset);
        break;
      case TonePrimitive::WtoW:
        BankConvertJunoX::TtoE_WtoW(tone, editor, word, at, value.offset);
        break;
      case TonePrimitive::LtoL:
        BankConvertJunoX::TtoE_LtoL(tone, editor, word, at, value.offset);
        break;
    }
  }
  return 1;
}

std::int64_t WordsOf(const ToneMap& map) {
  std::int64_t words = 0;
  for (const ToneMap::Value& value : map.values) words = std::max(words, value.word + WidthOf(value.primitive).words);
  return words;
}

std::size_t RawOf(std::int64_t word) {
  return static_cast<std::size_t>(BankConvertJunoX::ConvertFormattedToRawOfs(word));
}

// Both halves of a word as one number; `mask` is that of the high one.
int Word(std::span<const std::uint8_t> tone, std::int64_t word, int mask) {
  const std::size_t at = RawOf(word);
  return (tone[at] & mask) << 4 | (tone[at + 1] & 0x0F);
}

void SetWord(std::span<std::uint8_t> tone, std::int64_t word, int value) {
  const std::size_t at = RawOf(word);
  tone[at] = static_cast<std::uint8_t>(value >> 4 & 0x0F);
  tone[at + 1] = static_cast<std::uint8_t>(value & 0x0F);
}

bool PrimitiveOf(const std::string& name, TonePrimitive* primitive) {
  for (std::size_t i = 0; i < std::size(kPrimitiveNames); ++i)
    if (name == kPrimitiveNames[i]) {
      *primitive = static_cast<TonePrimitive>(i);
      return true;
    }
  return false;
}

}  // namespace

std::size_t ToneMap::ToneSize() const {
  return static_cast<std::size_t>(BlocksOf(WordsOf(*this)) * kBlock);
}

std::size_t ToneMap::EditorSize() const {
  std::size_t size = kEditorHead;
  for (const Value& value : values) size = std::max(size, value.editor + WidthOf(value.primitive).editor);
  return size;
}

std::string ToneMapName(ToneKind kind) {
  return std::string("ToneMap.") + KindName(kind) + ".tsv";
}

Result ReadToneMap(std::string_view text, ToneMap* map) {
  constexpr std::int64_t kMostWord = 1 << 16, kMostEditor = 1 << 20, kMostOffset = 1 << 16;
  ToneMap read;
  std::size_t editor = kEditorHead;
  const auto number = [](const std::string& cell, std::int64_t low, std::int64_t most, std::int64_t* out) {
    const auto value = ParseInteger(cell);
    if (!value || *value < low || *value >= most) return false;
    *out = *value;
    return true;
  };
  const auto take = [&](const std::vector<std::string>& cells) -> std::string {
    std::int64_t first = 0, second = 0;
    if (cells.size() == 2 && (cells[0] == "editor" || cells[0] == "skip")) {
      if (!number(cells[1], 0, kMostEditor, &first)) return "no number of bytes.";
      editor = cells[0] == "skip" ? editor + static_cast<std::size_t>(first) : static_cast<std::size_t>(first);
      if (editor < kEditorHead) return "values stand behind the head of 12 bytes.";
      return editor < kMostEditor ? "" : "too far behind the head.";
    }
    ToneMap::Value value;
    if (cells.size() != 4 || cells[0] != "value" || !PrimitiveOf(cells[1], &value.primitive)) return "no value.";
    if (!number(cells[2], 0, kMostWord, &first) || !number(cells[3], -kMostOffset, kMostOffset, &second))
      return "no word, or no offset.";
    if (read.values.size() >= kMostValues) return "there are too many values.";
    value.word = static_cast<std::int32_t>(first);
    value.offset = static_cast<std::int32_t>(second);
    value.editor = editor;
    editor += WidthOf(value.primitive).editor;
    read.values.push_back(value);
    return {};
  };
  Result result = ReadTabbedLines(text, kMapKind, take);
  if (result.ok() && read.values.empty()) result = Result::Failure("There are no values.");
  if (result.ok()) *map = std::move(read);
  return result;
}

bool FolderToneMaps::Find(ToneKind kind, ToneMap* map) const {
  std::string text;
  if (folder_.empty() || !ReadWholeFile((folder_ / ToneMapName(kind)).string(), text, kMostMap).ok()) return false;
  const Result read = ReadToneMap(text, map);
  if (!read.ok()) MonitorMsg("%s: %s", ToneMapName(kind).c_str(), read.text.c_str());
  return read.ok();
}

std::int64_t BankConvertJunoX::ConvertFormattedToRawOfs(std::int64_t word) {
  return word / kWordsOfBlock * kBlock + word % kWordsOfBlock * 2 + kBlockHead;
}

int BankConvertJunoX::ConvertValuesToEditor(ToneKind kind, std::span<const std::uint8_t> tone,
                                            std::span<std::uint8_t> editor, const ToneMaps& maps) {
  ToneMap map;
  if (!maps.Find(kind, &map) || tone.size() < map.ToneSize() || editor.size() < map.EditorSize()) return 0;
  return ValuesToEditor(map, tone, editor);
}

int BankConvertJunoX::ConvertValuesToTone(ToneKind kind, std::span<const std::uint8_t> editor,
                                          std::span<std::uint8_t> tone, const ToneMaps& maps) {
  ToneMap map;
  if (!maps.Find(kind, &map) || tone.size() < map.ToneSize() || editor.size() < map.EditorSize()) return 0;
  ValuesToTone(map, editor, tone);
  CloseBlocks(tone, WordsOf(map));
  return 1;
}

int BankConvertJunoX::ConvertToneToEditorFormat(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor,
                                                Synth* editorType, const ToneMaps& maps) {
  Detected found;
  if (!Detect(tone, *editorType, &found)) return 0;
  if (found.kind == ToneKind::RDPiano && editor.size() < kTrailAt + kTrailSize) return 0;
  if (ConvertValuesToEditor(found.kind, tone, editor, maps) != 1) return 0;
  PutToneHead(editor, found);
  if (found.kind == ToneKind::RDPiano) std::copy(std::begin(kTrail), std::end(kTrail), editor.begin() + kTrailAt);
  const std::string_view name = KindName(found.kind);
  std::fill(std::begin(editorType->typeKey), std::end(editorType->typeKey), char{0});
  std::copy(name.begin(), name.end(), editorType->typeKey);
  return 1;
}

int BankConvertJunoX::ConvertJunoXEditorToToneFormat(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone,
                                                     const Synth* toneType, const ToneMaps& maps) {
  if (toneType && toneType->voiceSize != 0 && tone.size() > toneType->voiceSize) tone = tone.first(toneType->voiceSize);
  if (IsJunoXModel(editor)) return ConvertValuesToTone(ToneKind::JunoX, editor, tone, maps);
  const Record* record = RecordOf(editor, tone);
  ToneMap map;
  if (!record || !maps.Find(record->kind, &map)) return 0;
  const std::int64_t words = std::max(record->words, WordsOf(map));
  if (tone.size() < static_cast<std::size_t>(BlocksOf(words) * kBlock) || editor.size() < map.EditorSize()) return 0;
  const auto bytes = BytesOf(*record);
  std::copy(bytes.begin(), bytes.end(), tone.begin() + kBlockHead);
  ValuesToTone(map, editor, tone);
  CloseBlocks(tone, words);
  return 1;
}

void BankConvertJunoX::TtoE_WtoB(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor, std::int64_t& word,
                                 std::size_t& editorPos, int d) {
  editor[editorPos++] = static_cast<std::uint8_t>((Word(tone, word++, 0x07) + d) & 0xFF);
}

void BankConvertJunoX::TtoE_WtoSB(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor,
                                  std::int64_t& word, std::size_t& editorPos, int d) {
  editor[editorPos++] = static_cast<std::uint8_t>((Word(tone, word++, 0xFF) + d) & 0x7F);
}

void BankConvertJunoX::TtoE_WtoW(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor, std::int64_t& word,
                                 std::size_t& editorPos, int d) {
  const std::size_t at = RawOf(word++);
  if (d == 0) {
    editor[editorPos] = tone[at];
    editor[editorPos + 1] = tone[at + 1];
  } else {
    const int value = tone[at] * 16 + tone[at + 1] + d;
    editor[editorPos] = static_cast<std::uint8_t>(value >> 4 & 0x0F);
    editor[editorPos + 1] = static_cast<std::uint8_t>(value & 0x0F);
  }
  editorPos += 2;
}

void BankConvertJunoX::TtoE_LtoL(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor, std::int64_t& word,
                                 std::size_t& editorPos, int d) {
  const std::size_t low = RawOf(word), high = RawOf(word + 1);
  const std::uint8_t raw[] = {tone[high], tone[high + 1], tone[low], tone[low + 1]};
  if (d == 0) {
    std::copy(std::begin(raw), std::end(raw), editor.begin() + static_cast<std::ptrdiff_t>(editorPos));
  } else {
    const int value = (raw[0] & 0x0F) * 0x1000 + raw[1] * 0x100 + raw[2] * 0x10 + raw[3] + d;
    for (std::size_t i = 0; i < 4; ++i) editor[editorPos + i] = static_cast<std::uint8_t>(value >> (12 - 4 * i) & 0x0F);
  }
  word += 2;
  editorPos += 4;
}

void BankConvertJunoX::EtoT_BtoW(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone,
                                 std::size_t& editorPos, std::int64_t& word, int d) {
  SetWord(tone, word++, (editor[editorPos++] - d) & 0x7F);
}

void BankConvertJunoX::EtoT_SBtoW(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone,
                                  std::size_t& editorPos, std::int64_t& word, int d) {
  SetWord(tone, word++, (editor[editorPos++] - d) & 0x7F);
}

void BankConvertJunoX::EtoT_WtoW(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone,
                                 std::size_t& editorPos, std::int64_t& word, int d) {
  const std::size_t at = RawOf(word);
  if (d == 0) {
    tone[at] = editor[editorPos];
    tone[at + 1] = editor[editorPos + 1];
  } else {
    SetWord(tone, word, editor[editorPos] * 16 + editor[editorPos + 1] - d);
  }
  ++word;
  editorPos += 2;
}

void BankConvertJunoX::EtoT_LtoL(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone,
                                 std::size_t& editorPos, std::int64_t& word, int d) {
  const std::size_t low = RawOf(word), high = RawOf(word + 1);
  const auto quarter = [&](std::size_t i) { return editor[editorPos + i]; };
  if (d == 0) {
    tone[high] = quarter(0);
    tone[high + 1] = quarter(1);
    tone[low] = quarter(2);
    tone[low + 1] = quarter(3);
  } else {
    const int value = quarter(0) * 0x1000 + quarter(1) * 0x100 + quarter(2) * 0x10 + quarter(3) - d;
    SetWord(tone, word + 1, value >> 8);
    SetWord(tone, word, value);
  }
  word += 2;
  editorPos += 4;
}

}  // namespace tonalith
