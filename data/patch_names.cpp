#include "data/patch_names.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "data/packed_bytes.h"

namespace tonalith {

const char* const kNumberFormatNames[kNumberFormats] = {"Use VName",
                                                        "Rol 8x3",
                                                        "Rol 8x2",
                                                        "Rol A64",
                                                        "Line6 ABCD",
                                                        "n/4-n%4",
                                                        "S80 A01",
                                                        "16-16",
                                                        "Chroma Polaris",
                                                        "Roland A88 (D-50)",
                                                        "TC-Electronic GSystem",
                                                        "1A-01 (Kiwi-3P)",
                                                        "Leading Zeros",
                                                        "Octal N-NN",
                                                        "Jup50",
                                                        "Jup80",
                                                        "Rol A/J16",
                                                        "Rol A/P-D4",
                                                        "Rol A/P-A4",
                                                        "16.16",
                                                        "8:8:8",
                                                        "1:9:9:9",
                                                        "3:8:8:8",
                                                        "x:5:8",
                                                        "x-99",
                                                        "A:8:8",
                                                        "AXXX",
                                                        "OB-SX / n:8"};

namespace {

void PutPlainNumber(char* out, int n, bool isShort) {
  std::snprintf(out, kNameBuffer, isShort ? "%2d" : "%3d", n);
}

// Number format 0 follows the name format.
void NumberByNameFormat(const Synth& s, char* out, int n) {
  switch (s.nameFormat) {
    case 2:
    case 3:
      std::snprintf(out, kNameBuffer, "%c-%d%d", n < 64 ? 'A' : 'B', n % 64 / 8 + 1, n % 8 + 1);
      return;
    case 1:
    case 5:
    case 9:
    case 14:
    case 22:
      return PutPlainNumber(out, n, s.numVoices <= 100);
    default:
      if (s.numVoices == 100) return PutPlainNumber(out, n, true);
      return PutPlainNumber(out, n + 1, s.numVoices < 100);
  }
}

// Removes blanks and zero bytes at the end.
void TrimEnd(char* text) {
  std::size_t n = std::strlen(text);
  while (n > 0 && text[n - 1] == ' ') text[--n] = 0;
}

std::span<const std::uint8_t> FromHeader(std::span<const std::uint8_t> image, std::uint32_t headerSize) {
  return headerSize < image.size() ? image.subspan(headerSize) : std::span<const std::uint8_t>();
}

std::int64_t SlotOffset(const Synth& s, int patch) {
  return BankRealOfs(&s, std::int64_t{s.voiceOffset} + std::int64_t{s.voiceSize} * patch);
}

// The stored name of a voice, or null when the buffer does not reach it.
const char* StoredName(const DataFile& df, std::uint32_t patch) {
  const std::uint64_t at = std::uint64_t{patch} * kVoiceNameSize;
  return df.voiceNames && at + kVoiceNameSize <= df.voiceNamesSize ? df.voiceNames + at : nullptr;
}

bool KeepsNames(const DataFile& df, const Synth& s) {
  return s.namesSeparate && df.voiceNames && df.voiceNamesSize > 0;
}

void CopyStored(char* out, const char* entry) {
  const std::size_t n = entry ? strnlen(entry, kVoiceNameSize - 1) : 0;
  if (n) std::memcpy(out, entry, n);
  out[n] = 0;
}

}  // namespace

void MakeNumberStr(const Synth* synth, char* out, int patch) {
  const Synth& s = *synth;
  const int n = static_cast<std::int16_t>(s.bankNumberOffset + patch);
  const auto put = [out](const char* format, auto... values) {
    std::snprintf(out, kNameBuffer, format, values...);
    return void();
  };
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  switch (s.numberFormat) {
    case 0:
      return NumberByNameFormat(s, out, n);
    case 1:
      if (s.numVoices > 64) return put("%c%d%d%d", 'A' + n / 64, n % 64 / 16 + 1, n % 16 / 4 + 1, n % 4 + 1);
      return put("%d%d%d", n / 16 + 1, n % 16 / 4 + 1, n % 4 + 1);
    case 2:
      return put("%d%d", n % 64 / 8 + 1, n % 8 + 1);
    case 3:
      return put("%c%2.2d", 'A' + n / 64, n % 64 + 1);
    case 4:
      return put("%d%c", n / 4 + 1, 'A' + n % 4);
    case 5:
      return put("%2.2d-%d", n / 4 + 1, n % 4 + 1);
    case 6:
      return put("%c%2.2d", 'A' + n / 16, n % 16 + 1);
    case 7:
      return put("%2.2d-%2.2d", n / 16 + 1, n % 16 + 1);
    case 8:
      return put("%c%2.2d", 'A' + n / 12, n % 12 + 1);
    case 9:
      return put("%c-%d%d", 'A' + n / 64, n % 64 / 8 + 1, n % 8 + 1);
    case 10:
      return put("%2.2d-%d", n / 5 + 1, n % 5 + 1);
    case 11:
      return put("%d%c-%2.2d", n / 64 + 1, 'A' + n / 16 % 4, n % 16 + 1);
    case 12:
      return put(s.bankNumberOffset + static_cast<std::int64_t>(s.numVoices) - 1 < 100 ? "%2.2d" : "%3.3d", n + 1);
    case 13:
      return put("%d-%d%d", n / 64 + 1, n % 64 / 8 + 1, n % 8 + 1);
    case 14:
      return put("[%.2d] %d-%d", n / 16 + 1, n % 16 / 4 + 1, n % 4 + 1);
    case 15:
      return put("[%.2d] %c-%d", n / 32 + 1, 'A' + n % 32 / 8, n % 8 + 1);
    case 16:
      return put("%c%.2d", 'A' + n / 16, n % 16 + 1);
    case 17:
    case 18:
      return put("%c%.2d-%c%d", 'A' + n / 64, n % 64 / 4 + 1, s.numberFormat == 17 ? 'D' : 'A', n % 4 + 1);
    case 19:
      return put("%.2d.%.2d", n / 16 + 1, n % 16 + 1);
    case 20:
      return put("%.1d:%.1d:%.1d", n / 64 + 1, n % 64 / 8 + 1, n % 8 + 1);
    case 21:
      return put("%.1d:%.1d:%.1d:%.1d", n / 1000, n % 1000 / 100, n % 100 / 10, n % 10);
    case 22:
      return put("%.1d:%.1d:%.1d:%.1d", n / 512 + 1, n % 512 / 64 + 1, n % 64 / 8 + 1, n % 8 + 1);
    case 23:
      return put("%.1d:%.1d:%.1d", n / 40 + 1, n % 40 / 8 + 1, n % 8 + 1);
    case 24:
      return put("%.1d-%.2d", n / 100, n % 100);
    case 25:
      return put("%c:%.1d:%.1d", 'A' + n / 64, n % 64 / 8 + 1, n % 8 + 1);
    case 26:
      return put("%c%.3d", 'A' + n / 128, n % 128 + 1);
    case 27:
      return put("%2d:%d", n / 8 + 1, n % 8 + 1);
    case kNumberFormatGroups:
      return put("%c%d%d", 'A' + n / 64, n % 64 / 8 + 1, n % 8 + 1);
    case kNumberFormatLetters:
      return put("%c%d", 'A' + n / 128, n % 128);
    case kNumberFormatUserFactory:
      return put("%c%d P%d", n < 512 ? 'U' : 'F', n / 128 % 4 + 1, n % 128 + 1);
    case kNumberFormatBanks:
      return put("%d-%d", n / 128 + 1, n % 128 + 1);
    case kNumberFormatSixteens:
      return put("%c-%d", 'A' + n / 16, n % 16 + 1);
    case kNumberFormatInternal:
      return put("I%2.2d", n);
    case kNumberFormatPerformance:
      return put("PF%d", n + 1);
    case kNumberFormatThreeDigits:
      return put("%3.3d", n);
    case kNumberFormatMemories:
      return put("%c%c-%d", "IiEe"[(n & 0x7F) / 32], 'A' + n % 32 / 8, n % 8 + 1);
    default:
      return PutPlainNumber(out, n + 1, s.numVoices < 100);
  }
#pragma GCC diagnostic pop
}

std::string MakeNumberStr(const Synth& synth, int patch) {
  char out[kNameBuffer];
  MakeNumberStr(&synth, out, patch);
  return out;
}

void DFGetName(char* out, const DataFile* df, int /*index*/, const Synth* synth) {
  out[0] = 0;
  if (!df) return;
  if (!synth) synth = df->synth;
  if (!synth) return;
  if (KeepsNames(*df, *synth)) return CopyStored(out, StoredName(*df, 0));
  BuildName(synth, nullptr, BodySpan(*df), out);
}

std::string DFGetName(const DataFile& dataFile) {
  char out[kNameBuffer];
  DFGetName(out, &dataFile);
  return out;
}

void BuildName(const Synth* synth, const char* givenName, std::span<const std::uint8_t> image, char* out) {
  out[0] = 0;
  if (givenName) {
    std::snprintf(out, kNameBuffer, "%s", givenName);
    return;
  }
  if (!synth || synth->nameLength == 0 || synth->nameLength > kMaxNameLength) return;
  BankDispString(synth, FromHeader(image, synth->headerSize), out, synth->nameLength, 0, synth->nameOffset,
                 synth->nameFormat);
  TrimEnd(out);
}

void GetPatchName(const DataFile* df, int patch, char* out) {
  out[0] = 0;
  if (!df || !df->synth || patch < 0) return;
  const Synth& s = *df->synth;
  if (s.namesSeparate) {
    if (patch >= 2 && static_cast<std::uint32_t>(patch) >= s.numVoices) return;
    return CopyStored(out, StoredName(*df, static_cast<std::uint32_t>(patch)));
  }
  const VoiceLayout layout = LayoutOf(*df);
  if (layout.nameLength == 0) return;
  BankDispString(&s, FromHeader(BodySpan(*df), s.headerSize), out, layout.nameLength, SlotOffset(s, patch),
                 s.nameOffset, s.nameFormat);
  if (layout.nameLength < kNameBuffer) out[layout.nameLength] = 0;
  TrimEnd(out);
}

std::string GetPatchName(const DataFile& dataFile, int patch) {
  char out[kNameBuffer];
  GetPatchName(&dataFile, patch, out);
  return out;
}

bool SetPatchName(DataFile* df, int patch, std::string_view name) {
  if (!df || !df->synth || patch < 0) return false;
  const Synth& s = *df->synth;
  const auto voice = static_cast<std::uint32_t>(patch);
  if (s.namesSeparate) {
    if (voice >= 2 && voice >= s.numVoices) return false;
    char* entry = const_cast<char*>(StoredName(*df, voice));
    if (!entry) return false;
    std::memset(entry, 0, kVoiceNameSize);
    std::memcpy(entry, name.data(), std::min<std::size_t>(name.size(), kVoiceNameSize - 1));
    return true;
  }
  const VoiceLayout layout = LayoutOf(*df);
  if (!layout.editable || layout.nameLength == 0 || voice >= layout.numVoices) return false;
  if (s.headerSize >= BodySpan(*df).size()) return false;
  BankWriteString(&s, BodySpan(*df).subspan(s.headerSize), name, layout.nameLength, SlotOffset(s, patch), s.nameOffset,
                  s.nameFormat);
  return true;
}

std::vector<std::string> LoadPatchNames(const DataFile& df) {
  const std::uint32_t voices = LayoutOf(df).numVoices;
  std::vector<std::string> names;
  names.reserve(voices);
  for (std::uint32_t i = 0; i < voices; ++i) names.push_back(GetPatchName(df, static_cast<int>(i)));
  return names;
}

std::uint32_t PatchNameLength(const DataFile& df) {
  if (!df.synth) return 0;
  if (KeepsNames(df, *df.synth)) return kVoiceNameSize - 1;
  const std::uint32_t length = LayoutOf(df).nameLength;
  const bool isFixed = df.synth->nameFormat == 20 || df.synth->nameFormat == 34;
  return std::min(length, isFixed ? 8u : kMaxNameText);
}

void NameAlign(char* name) {
  const std::size_t n = std::strlen(name);
  const std::size_t blanks = std::strspn(name, " ");
  if (blanks == 0 || blanks == n) return;
  std::memmove(name, name + blanks, n - blanks + 1);
}

std::string NameAlign(std::string name) {
  const std::size_t first = name.find_first_not_of(' ');
  if (first != std::string::npos) name.erase(0, first);
  return name;
}

namespace {

thread_local std::string diskSafeName;

}  // namespace

const char* MakeDiskSafe(const char* name) {
  std::string& safe = diskSafeName;
  safe = name ? name : "";
  std::replace(safe.begin(), safe.end(), '\\', '_');
  std::replace(safe.begin(), safe.end(), '/', '_');
  return safe.c_str();
}

void FixInvalidFilenameCharacters(char* name) {
  if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) std::memset(name, '_', std::strlen(name));
  for (char* c = name; *c; ++c) {
    if (static_cast<unsigned char>(*c) < ' ' || std::strchr("\"*/:<>?[\\]|", *c)) *c = '_';
  }
}

std::string FixInvalidFilenameCharacters(std::string name) {
  // A zero byte inside is a control character like any other.
  std::replace(name.begin(), name.end(), '\0', '_');
  FixInvalidFilenameCharacters(name.data());
  return name;
}

}  // namespace tonalith
