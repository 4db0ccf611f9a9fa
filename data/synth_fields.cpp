#include "data/synth_fields.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "data/hex_text.h"
#include "data/number_format.h"

namespace tonalith {

namespace {

constexpr auto U8 = FieldType::kU8;
constexpr auto I8 = FieldType::kI8;
constexpr auto U16 = FieldType::kU16;
constexpr auto I16 = FieldType::kI16;
constexpr auto U32 = FieldType::kU32;
constexpr auto I32 = FieldType::kI32;
constexpr auto Char = FieldType::kChar;
constexpr auto Text = FieldType::kText;
constexpr auto Bytes = FieldType::kBytes;
constexpr auto Never = FieldSwap::kNone;
constexpr auto Always = FieldSwap::kAlways;
constexpr auto Reached = FieldSwap::kWhenReached;

constexpr std::int64_t kU32Max = 0xFFFFFFFF;
constexpr std::int64_t kI32Min = -2147483647 - 1;

#define FIELD(name, type, swap, label, low, high)                                                                   \
  SynthField {                                                                                                      \
    static_cast<std::uint16_t>(offsetof(Synth, name)), static_cast<std::uint16_t>(sizeof(Synth::name)), type, swap, \
        #name, label, low, high                                                                                     \
  }

constexpr SynthField kFields[] = {
    FIELD(shortName, Text, Never, "Short name", 0, 15),
    FIELD(typeName, Text, Never, "Name", 0, 25),
    FIELD(fileSize, U32, Always, "File size", kMinFileSize, kMaxFileSize),
    FIELD(headerSize, U32, Always, "Header size", 0, kMaxFileSize),
    FIELD(numVoices, U32, Always, "Number of voices", 0, kMaxVoices),
    FIELD(voiceSize, U32, Always, "Voice size", 0, kMaxFileSize),
    FIELD(nameLength, U32, Always, "Name length", 0, kMaxNameLength),
    FIELD(nameOffset, I32, Always, "Name offset", kI32Min, 0x7FFFFFFF),
    FIELD(hasSysExChannel, U8, Never, "Has SysEx channel", 0, 1),
    FIELD(sysExChannel, U8, Never, "SysEx channel", 0, 127),
    FIELD(sysExChannelOffset, U32, Always, "Channel offset", 0, kMaxFileSize),
    FIELD(sysExChannelShift, U8, Never, "Channel shift", 0, 7),
    FIELD(dumpRequestSize, U8, Never, "Dump request size", 0, 20),
    FIELD(dumpRequest, Bytes, Never, "Dump request", 0, 255),
    FIELD(dumpRequestHasChannel, U8, Never, "Request has channel", 0, 1),
    FIELD(dumpRequestChannelOffset, U8, Never, "Request channel offset", 0, 20),
    FIELD(dumpRequestChannelShift, U8, Never, "Request channel shift", 0, 7),
    FIELD(reserved97, U8, Never, "", 0, 255),
    FIELD(checksumStart, U32, Always, "Checksum start", 0, kMaxFileSize),
    FIELD(checksumLength, U32, Always, "Checksum length", 0, kMaxFileSize),
    FIELD(checksumOffset, U32, Always, "Checksum offset", 0, kMaxFileSize),
    FIELD(patchNumber, U16, Never, "Patch number", 0, 65535),
    FIELD(patchNumberOffset, U32, Always, "Patch number offset", 0, kMaxFileSize),
    FIELD(isBank, U8, Never, "Bank", 0, 1),
    FIELD(optionBits, U8, Never, "Options", 0, 31),
    FIELD(checksumType, U8, Never, "Checksum type", 0, 19),
    FIELD(protocolLetter, Char, Never, "Protocol", 0, 127),
    FIELD(reserved120, U32, Always, "", 0, kU32Max),
    FIELD(manufacturerId, U8, Never, "Manufacturer", 0, 127),
    FIELD(protocolMode, U8, Never, "Protocol mode", 0, 255),
    FIELD(rolandAddress, Bytes, Never, "Roland address", 0, 127),
    FIELD(rolandSize, Bytes, Never, "Roland size", 0, 255),
    FIELD(namesSeparate, U8, Never, "Separate names", 0, 1),
    FIELD(noChecksumOnFormat, U8, Never, "Command sequences", 0, 1),
    FIELD(reserved134, U8, Never, "", 0, 255),
    FIELD(storageFormat, U8, Never, "Storage format", 0, 25),
    FIELD(definition, Text, Never, "Definition", 0, 63),
    FIELD(v40Value, U16, Always, "V40", 0, 65535),
    FIELD(voiceAdjust, U16, Always, "Voice adjust", 0, 65535),
    FIELD(voiceAdvance, U16, Always, "Voice advance", 0, 65535),
    FIELD(nameFormat, U8, Never, "Name format", 0, 34),
    FIELD(midiInPort, U8, Never, "MIDI in port", 0, 255),
    FIELD(midiOutPort, U8, Never, "MIDI out port", 0, 255),
    FIELD(rolandHandshake, U8, Never, "Roland handshake", 0, 1),
    FIELD(patchMin, U8, Never, "Lowest patch", 0, 999),
    FIELD(patchMax, U8, Never, "Highest patch", 0, 65535),
    FIELD(patchNumberInImage, U8, Never, "Patch number in image", 0, 1),
    FIELD(storageFormatCopy, U8, Never, "Storage format copy", 0, 22),
    FIELD(voiceBytes, U32, Always, "Voice bytes", 0, kMaxFileSize),
    FIELD(voiceOffset, U32, Always, "Voice offset", 0, kMaxFileSize),
    FIELD(patchBayPatch, U8, Never, "Patch bay patch", 0, 127),
    FIELD(midiChannel, U8, Never, "MIDI channel", 0, 15),
    FIELD(sysExChannelMin, I8, Never, "Lowest SysEx channel", 0, 127),
    FIELD(sysExChannelMax, I8, Never, "Highest SysEx channel", 0, 127),
    FIELD(dumpRequestPatchOffset, U8, Never, "Request patch offset", 0, 20),
    FIELD(allowsNonSysEx, U8, Never, "Allows other messages", 0, 1),
    FIELD(timeStamp, U32, Always, "Time stamp", 0, kU32Max),
    FIELD(driverId, U16, Always, "Driver", 0, 65535),
    FIELD(linkId, U16, Always, "Link", 0, 65535),
    FIELD(childId, U16, Always, "Child", 0, 65535),
    FIELD(bankNumberOffset, I16, Always, "Bank number offset", -32768, 32767),
    FIELD(reserved206, Text, Never, "Data folder", 0, 30),
    FIELD(reserved237, U8, Never, "", 0, 255),
    FIELD(reserved238, Text, Never, "File extension", 0, 3),
    FIELD(editorRect96, FieldType::kU16Array, Reached, "Editor window", 0, 65535),
    FIELD(patchMinHigh, U8, Never, "", 0, 255),
    FIELD(patchMaxHigh, U8, Never, "", 0, 255),
    FIELD(reserved252, U8, Never, "Fixed patch names", 0, 255),
    FIELD(reserved253, U8, Never, "Auto-sense driver", 0, 255),
    FIELD(reserved254, Bytes, Never, "", 0, 255),
    FIELD(numberFormat, U8, Never, "Number format", 0, kLastNumberFormat),
    FIELD(dataKind, U8, Never, "Kind of data", 0, 30),
    FIELD(patchBayFlags, U8, Never, "Patch bay", 0, 7),
    FIELD(patchBayChannel, U8, Never, "Patch bay channel", 0, 15),
    FIELD(patchBayPort, U8, Never, "Patch bay port", 0, 255),
    FIELD(patchBayRevertPatch, U8, Never, "Patch bay revert patch", 0, 127),
    FIELD(midiChannelDefault, U8, Never, "Default MIDI channel", 0, 15),
    FIELD(sysExChannelDefault, U8, Never, "Default SysEx channel", 0, 127),
    FIELD(setResident, U8, Never, "Kept in its Set", 0, 2),
    FIELD(reserved287, U8, Never, "Send new data at once", 0, 255),
    FIELD(bankSelectMode, U8, Never, "Bank select", 0, 7),
    FIELD(bankSelectLsbDefault, I8, Never, "Bank select LSB", -5, 127),
    FIELD(bankSelectMsbDefault, I8, Never, "Bank select MSB", -5, 127),
    FIELD(chunkSize, U8, Never, "ChunkSize", 0, 255),
    FIELD(bankSelectBase, U8, Never, "Bank select base", 0, 127),
    FIELD(imageIndex, U8, Never, "Image", 0, 255),
    FIELD(multiBankBase, U16, Reached, "Multi bank base", 0, 65535),
    FIELD(reserved296, U8, Never, "No SysEx map needed", 0, 255),
    FIELD(sysExChannelZeroBased, U8, Never, "Channels from 0", 0, 1),
    FIELD(reserved298, U8, Never, "Defines patches and banks", 0, 255),
    FIELD(patchByPatch, U8, Never, "Patch by patch", 0, 1),
    FIELD(localId, U16, Reached, "Local", 0, 65535),
    FIELD(chunkTrimWin, I8, Never, "Chunk trim 1", -128, 127),
    FIELD(chunkTrimMac, I8, Never, "Chunk trim 2", -128, 127),
    FIELD(midiChannelFollowsSysEx, U8, Never, "MIDI channel follows", 0, 1),
    FIELD(reserved305, U8, Never, "", 0, 255),
    FIELD(bankSelectStep, U8, Never, "Bank select step", 0, 255),
    FIELD(startsEmpty, U8, Never, "Starts empty", 0, 1),
    FIELD(definition2, Text, Never, "", 0, 34),
    FIELD(typeKey, Text, Never, "Type key", 0, 7),
    FIELD(hidden, U8, Never, "Hidden", 0, 1),
    FIELD(reserved351, U8, Never, "", 0, 255),
    FIELD(reserved352, Bytes, Never, "", 0, 255),
    FIELD(variantText, Text, Never, "Variant", 0, 7),
    FIELD(zoneId, U16, Reached, "Zone", 0, 65535),
    FIELD(bankSelectMax, U8, Never, "Bank select maximum", 0, 127),
    FIELD(reserved365, Bytes, Never, "", 0, 255),
};
#undef FIELD

constexpr bool TableCoversRecord() {
  std::size_t at = 0;
  for (const SynthField& field : kFields) {
    if (field.offset != at) return false;
    at += field.size;
  }
  return at == kSynthSize;
}
static_assert(TableCoversRecord());

// The places that files depend on, checked apart from the table.
static_assert(offsetof(Synth, typeName) == 16 && offsetof(Synth, fileSize) == 42 && offsetof(Synth, headerSize) == 46);
static_assert(offsetof(Synth, numVoices) == 50 && offsetof(Synth, voiceSize) == 54);
static_assert(offsetof(Synth, nameLength) == 58 && offsetof(Synth, nameOffset) == 62);
static_assert(offsetof(Synth, hasSysExChannel) == 66 && offsetof(Synth, sysExChannel) == 67);
static_assert(offsetof(Synth, sysExChannelOffset) == 68 && offsetof(Synth, sysExChannelShift) == 72);
static_assert(offsetof(Synth, dumpRequestSize) == 73 && offsetof(Synth, dumpRequest) == 74);
static_assert(offsetof(Synth, dumpRequestHasChannel) == 94 && offsetof(Synth, dumpRequestChannelOffset) == 95);
static_assert(offsetof(Synth, dumpRequestChannelShift) == 96 && offsetof(Synth, checksumStart) == 98);
static_assert(offsetof(Synth, checksumLength) == 102 && offsetof(Synth, checksumOffset) == 106);
static_assert(offsetof(Synth, patchNumber) == 110 && offsetof(Synth, patchNumberOffset) == 112);
static_assert(offsetof(Synth, isBank) == 116 && offsetof(Synth, optionBits) == 117);
static_assert(offsetof(Synth, checksumType) == 118 && offsetof(Synth, protocolLetter) == 119);
static_assert(offsetof(Synth, reserved120) == 120 && offsetof(Synth, manufacturerId) == 124);
static_assert(offsetof(Synth, protocolMode) == 125 && offsetof(Synth, rolandAddress) == 126);
static_assert(offsetof(Synth, rolandSize) == 129 && offsetof(Synth, namesSeparate) == 132);
static_assert(offsetof(Synth, noChecksumOnFormat) == 133 && offsetof(Synth, storageFormat) == 135);
static_assert(offsetof(Synth, definition) == 136 && offsetof(Synth, v40Value) == 166);
static_assert(offsetof(Synth, voiceAdjust) == 168 && offsetof(Synth, voiceAdvance) == 170);
static_assert(offsetof(Synth, nameFormat) == 172 && offsetof(Synth, midiInPort) == 173);
static_assert(offsetof(Synth, midiOutPort) == 174 && offsetof(Synth, rolandHandshake) == 175);
static_assert(offsetof(Synth, patchMin) == 176 && offsetof(Synth, patchMax) == 177);
static_assert(offsetof(Synth, patchNumberInImage) == 178 && offsetof(Synth, storageFormatCopy) == 179);
static_assert(offsetof(Synth, voiceBytes) == 180 && offsetof(Synth, voiceOffset) == 184);
static_assert(offsetof(Synth, patchBayPatch) == 188 && offsetof(Synth, midiChannel) == 189);
static_assert(offsetof(Synth, sysExChannelMin) == 190 && offsetof(Synth, sysExChannelMax) == 191);
static_assert(offsetof(Synth, dumpRequestPatchOffset) == 192 && offsetof(Synth, allowsNonSysEx) == 193);
static_assert(offsetof(Synth, timeStamp) == 194 && offsetof(Synth, driverId) == 198 && offsetof(Synth, linkId) == 200);
static_assert(offsetof(Synth, childId) == 202 && offsetof(Synth, bankNumberOffset) == 204);
static_assert(offsetof(Synth, reserved206) == 206 && offsetof(Synth, reserved238) == 238);
static_assert(offsetof(Synth, editorRect96) == 242 && offsetof(Synth, patchMinHigh) == 250);
static_assert(offsetof(Synth, patchMaxHigh) == 251 && offsetof(Synth, reserved252) == 252);
static_assert(offsetof(Synth, numberFormat) == 278 && offsetof(Synth, dataKind) == 279);
static_assert(offsetof(Synth, patchBayFlags) == 280 && offsetof(Synth, patchBayChannel) == 281);
static_assert(offsetof(Synth, patchBayPort) == 282 && offsetof(Synth, patchBayRevertPatch) == 283);
static_assert(offsetof(Synth, midiChannelDefault) == 284 && offsetof(Synth, sysExChannelDefault) == 285);
static_assert(offsetof(Synth, setResident) == 286 && offsetof(Synth, bankSelectMode) == 288);
static_assert(offsetof(Synth, bankSelectLsbDefault) == 289 && offsetof(Synth, bankSelectMsbDefault) == 290);
static_assert(offsetof(Synth, chunkSize) == 291 && offsetof(Synth, bankSelectBase) == 292);
static_assert(offsetof(Synth, imageIndex) == 293 && offsetof(Synth, multiBankBase) == 294);
static_assert(offsetof(Synth, sysExChannelZeroBased) == 297 && offsetof(Synth, patchByPatch) == 299);
static_assert(offsetof(Synth, localId) == 300 && offsetof(Synth, chunkTrimWin) == 302);
static_assert(offsetof(Synth, chunkTrimMac) == 303 && offsetof(Synth, midiChannelFollowsSysEx) == 304);
static_assert(offsetof(Synth, bankSelectStep) == 306 && offsetof(Synth, startsEmpty) == 307);
static_assert(offsetof(Synth, definition2) == 308 && offsetof(Synth, typeKey) == 342);
static_assert(offsetof(Synth, hidden) == 350 && offsetof(Synth, variantText) == 354);
static_assert(offsetof(Synth, zoneId) == 362 && offsetof(Synth, bankSelectMax) == 364);

// Range of the stored type; patchMin and patchMax are set whole, over their two bytes.
struct NumberRange {
  std::int64_t low;
  std::int64_t high;
};
NumberRange TypeRange(const SynthField& field) {
  if (field.offset == offsetof(Synth, patchMin) || field.offset == offsetof(Synth, patchMax)) return {0, 65535};
  switch (field.type) {
    case FieldType::kI8:
      return {-128, 127};
    case FieldType::kU16:
      return {0, 65535};
    case FieldType::kI16:
      return {-32768, 32767};
    case FieldType::kU32:
      return {0, kU32Max};
    case FieldType::kI32:
      return {kI32Min, 0x7FFFFFFF};
    default:
      return {0, 255};
  }
}

template <class T>
T LoadField(const Synth& synth, const SynthField& field) {
  T value;
  std::memcpy(&value, reinterpret_cast<const std::uint8_t*>(&synth) + field.offset, sizeof value);
  return value;
}
template <class T>
void StoreField(Synth* synth, const SynthField& field, std::int64_t number) {
  const T value = static_cast<T>(number);
  std::memcpy(reinterpret_cast<std::uint8_t*>(synth) + field.offset, &value, sizeof value);
}

bool Fail(std::string* error, const SynthField& field, const char* what) {
  if (error) *error = std::string("The value of ") + field.name + " " + what + ".";
  return false;
}

std::string_view Unquoted(std::string_view value) {
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') return value.substr(1, value.size() - 2);
  return value;
}

bool SetText(Synth* synth, const SynthField& field, std::string_view value, std::string* error) {
  value = Unquoted(value);
  if (value.size() > static_cast<std::size_t>(field.high)) return Fail(error, field, "is too long");
  if (field.offset == offsetof(Synth, definition)) {
    SetDefn(synth, std::string(value).c_str());
    return true;
  }
  auto* bytes = reinterpret_cast<std::uint8_t*>(synth) + field.offset;
  std::memset(bytes, 0, field.size);
  std::memcpy(bytes, value.data(), value.size());
  return true;
}

// Hex pairs, or decimal numbers between commas.
std::optional<std::vector<std::uint8_t>> ParseByteList(std::string_view value) {
  if (value.find(',') == std::string_view::npos) return ParseHex(value);
  std::vector<std::uint8_t> bytes;
  while (!value.empty()) {
    const std::size_t comma = value.find(',');
    const auto number = ParseNumber(value.substr(0, comma));
    if (!number || *number < 0 || *number > 255) return std::nullopt;
    bytes.push_back(static_cast<std::uint8_t>(*number));
    value = comma == std::string_view::npos ? std::string_view() : value.substr(comma + 1);
  }
  return bytes;
}

bool SetBytes(Synth* synth, const SynthField& field, std::string_view value, std::string* error) {
  const auto bytes = ParseByteList(Unquoted(value));
  if (!bytes) return Fail(error, field, "is not a list of bytes");
  if (bytes->size() > field.size) return Fail(error, field, "has too many bytes");
  auto* record = reinterpret_cast<std::uint8_t*>(synth) + field.offset;
  std::memset(record, 0, field.size);
  std::copy(bytes->begin(), bytes->end(), record);
  return true;
}

bool SetWordArray(Synth* synth, const SynthField& field, std::string_view value, std::string* error) {
  std::array<std::uint16_t, 4> words{};
  for (std::size_t i = 0; !value.empty(); ++i) {
    const std::size_t comma = value.find(',');
    const auto number = ParseNumber(value.substr(0, comma));
    if (i >= words.size() || !number || *number < 0 || *number > 65535) {
      return Fail(error, field, "is not a list of at most four numbers");
    }
    words[i] = static_cast<std::uint16_t>(*number);
    value = comma == std::string_view::npos ? std::string_view() : value.substr(comma + 1);
  }
  std::memcpy(reinterpret_cast<std::uint8_t*>(synth) + field.offset, words.data(), field.size);
  return true;
}

bool SetNumber(Synth* synth, const SynthField& field, std::string_view value, std::string* error) {
  if (field.type == FieldType::kChar) {
    const std::string_view text = Unquoted(value);
    if (text.size() == 1 && !(text[0] >= '0' && text[0] <= '9')) {
      synth->protocolLetter = text[0];
      return true;
    }
    if (text.empty()) {
      synth->protocolLetter = 0;
      return true;
    }
  }
  const auto number = ParseNumber(value);
  if (!number) return Fail(error, field, "is not a number");
  const NumberRange range = TypeRange(field);
  if (*number < range.low || *number > range.high) return Fail(error, field, "is out of range");
  if (field.offset == offsetof(Synth, patchMin)) {
    SetPatchMin(synth, static_cast<int>(*number));
  } else if (field.offset == offsetof(Synth, patchMax)) {
    SetPatchMax(synth, static_cast<int>(*number));
  } else {
    SetSynthNumber(synth, field, *number);
  }
  return true;
}

}  // namespace

std::span<const SynthField> SynthFields() {
  return kFields;
}

const SynthField* FindSynthField(std::string_view name) {
  if (!name.empty() && name[0] == '@') {
    const auto offset = ParseNumber(name.substr(1));
    for (const SynthField& field : kFields) {
      if (offset && *offset == field.offset) return &field;
    }
    return nullptr;
  }
  for (const SynthField& field : kFields) {
    if (name == field.name) return &field;
  }
  return nullptr;
}

std::int64_t SynthNumber(const Synth& synth, const SynthField& field) {
  switch (field.type) {
    case FieldType::kU8:
    case FieldType::kChar:
      return LoadField<std::uint8_t>(synth, field);
    case FieldType::kI8:
      return LoadField<std::int8_t>(synth, field);
    case FieldType::kU16:
      return LoadField<std::uint16_t>(synth, field);
    case FieldType::kI16:
      return LoadField<std::int16_t>(synth, field);
    case FieldType::kU32:
      return LoadField<std::uint32_t>(synth, field);
    case FieldType::kI32:
      return LoadField<std::int32_t>(synth, field);
    default:
      return 0;
  }
}

void SetSynthNumber(Synth* synth, const SynthField& field, std::int64_t value) {
  switch (field.type) {
    case FieldType::kU8:
    case FieldType::kI8:
    case FieldType::kChar:
      return StoreField<std::uint8_t>(synth, field, value);
    case FieldType::kU16:
    case FieldType::kI16:
      return StoreField<std::uint16_t>(synth, field, value);
    case FieldType::kU32:
    case FieldType::kI32:
      return StoreField<std::uint32_t>(synth, field, value);
    default:
      return;
  }
}

std::string SynthFieldText(const Synth& synth, const SynthField& field) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&synth) + field.offset;
  switch (field.type) {
    case FieldType::kText: {
      if (field.offset == offsetof(Synth, definition)) return GetDefn(synth);
      const auto* text = reinterpret_cast<const char*>(bytes);
      return std::string(text, strnlen(text, field.size));
    }
    case FieldType::kBytes:
      return HexText({bytes, field.size});
    case FieldType::kU16Array: {
      std::string out;
      for (std::size_t at = 0; at < field.size; at += 2) {
        std::uint16_t word;
        std::memcpy(&word, bytes + at, 2);
        out += (at ? "," : "") + std::to_string(word);
      }
      return out;
    }
    case FieldType::kChar:
      if (*bytes > ' ' && *bytes < 0x7F) return std::string(1, static_cast<char>(*bytes));
      return std::to_string(*bytes);
    default:
      if (field.offset == offsetof(Synth, patchMin)) return std::to_string(PatchMin(synth));
      if (field.offset == offsetof(Synth, patchMax)) return std::to_string(PatchMax(synth));
      return std::to_string(SynthNumber(synth, field));
  }
}

bool SetSynthField(Synth* synth, std::string_view name, std::string_view value, std::string* error) {
  const SynthField* field = FindSynthField(name);
  if (!field) {
    if (error) *error = "There is no descriptor field named \"" + std::string(name) + "\".";
    return false;
  }
  switch (field->type) {
    case FieldType::kText:
      return SetText(synth, *field, value, error);
    case FieldType::kBytes:
      return SetBytes(synth, *field, value, error);
    case FieldType::kU16Array:
      return SetWordArray(synth, *field, value, error);
    default:
      return SetNumber(synth, *field, value, error);
  }
}

bool SetSynthField(Synth* synth, std::string_view assignment, std::string* error) {
  const std::size_t equals = assignment.find('=');
  if (equals == std::string_view::npos) {
    if (error) *error = "\"" + std::string(assignment) + "\" is not FIELD=VALUE.";
    return false;
  }
  const auto trim = [](std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return text;
  };
  return SetSynthField(synth, trim(assignment.substr(0, equals)), trim(assignment.substr(equals + 1)), error);
}

Synth BlankSynth() {
  Synth synth{};
  synth.numVoices = 1;
  return synth;
}

void CompleteSynth(Synth* synth, std::uint32_t bodySize) {
  if (synth->fileSize == 0) synth->fileSize = bodySize;
  if (synth->voiceSize == 0 && synth->fileSize >= synth->headerSize) {
    synth->voiceSize = (synth->fileSize - synth->headerSize) / std::max(1U, +synth->numVoices);
  }
  if (synth->voiceBytes == 0 && synth->voiceSize > synth->voiceOffset) {
    synth->voiceBytes = synth->voiceSize - synth->voiceOffset;
  }
  if (synth->storageFormatCopy == 0) SetStorageFormat(synth, synth->storageFormat);
  DiskSynthFix(synth);
}

}  // namespace tonalith
