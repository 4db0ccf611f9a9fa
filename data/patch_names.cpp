#include "data/patch_names.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "data/packed_bytes.h"
#include "platform/text.h"

namespace tonalith {

namespace {

// Removes blanks at the end; the length that is left.
std::size_t TrimEnd(char* text) {
  std::size_t n = std::strlen(text);
  while (n > 0 && text[n - 1] == ' ') text[--n] = 0;
  return n;
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
  PatchNameInImage(s, LayoutOf(*df), BodySpan(*df), patch, out);
}

std::size_t PatchNameInImage(const Synth& s, const VoiceLayout& layout, std::span<const std::uint8_t> image, int patch,
                             char* out) {
  out[0] = 0;
  if (layout.nameLength == 0) return 0;
  BankDispString(&s, FromHeader(image, s.headerSize), out, layout.nameLength, SlotOffset(s, patch), s.nameOffset,
                 s.nameFormat);
  if (layout.nameLength < kNameBuffer) out[layout.nameLength] = 0;
  return TrimEnd(out);
}

std::string GetPatchName(const DataFile& dataFile, int patch) {
  char out[kNameBuffer];
  GetPatchName(&dataFile, patch, out);
  return out;
}

namespace {

// Latin-1 for a code point: itself, the nearest ASCII letter, or 0 when there is none.
unsigned char NearestByte(char32_t code) {
  static constexpr std::string_view kLatinExtendedA =
      "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIiIiJjKkkLlLlLlLlLlNnNnNnnNnOoOoOoOoRrRrRrSsSsSsSsTtTtTtUuUuUuUu"
      "UuUuWwYyYZzZzZzs";
  static_assert(kLatinExtendedA.size() == 0x80);
  if (code < 0x100) return static_cast<unsigned char>(code);
  if (code < 0x180) return static_cast<unsigned char>(kLatinExtendedA[code - 0x100]);
  static constexpr std::string_view kCommaBelow = "SsTt";
  if (code >= 0x218 && code <= 0x21B) return static_cast<unsigned char>(kCommaBelow[code - 0x218]);
  return code == 0x1E9E ? 'S' : 0;
}

bool IsCombiningMark(char32_t code) {
  return code >= 0x300 && code <= 0x36F;
}

std::string ShownCharacter(char32_t code) {
  if (code < ' ' || (code >= 0x7F && code < 0xA0)) return Printf("\\x%02X", static_cast<unsigned>(code));
  std::string text;
  AppendUtf8(text, code);
  return text;
}

}  // namespace

NameFit FitPatchName(const DataFile& df, std::string_view utf8) {
  NameFit fit;
  if (!df.synth) return fit;
  const std::uint32_t longest = PatchNameLength(df);
  for (const char32_t code : Utf8CodePoints(utf8)) {
    const bool isMark = IsCombiningMark(code);
    if (!isMark && fit.name.size() >= longest) {
      fit.cutTo = longest;
      break;
    }
    unsigned char byte = NearestByte(code);
    if (df.synth->namesSeparate) {
      if (byte < ' ' || (byte >= 0x7F && byte < 0xA0)) byte = ' ';
    } else {
      byte = FitCharacter(*df.synth, df.synth->nameFormat, byte);
    }
    if (!isMark) fit.name.push_back(static_cast<char>(byte));
    if (byte == code) continue;
    if (code >= 'a' && code <= 'z' && byte != ' ') {
      fit.capitalsOnly = true;
      continue;
    }
    const std::string shown = ShownCharacter(code);
    if (std::find(fit.missing.begin(), fit.missing.end(), shown) == fit.missing.end()) fit.missing.push_back(shown);
  }
  return fit;
}

std::string NameFit::Sentence() const {
  if (missing.empty() && !capitalsOnly && cutTo == 0) return {};
  std::vector<std::string> lacks = missing;
  if (capitalsOnly) lacks.push_back("small letters");
  std::string reason;
  for (std::size_t i = 0; i < lacks.size(); ++i) {
    if (i > 0) reason += i + 1 == lacks.size() ? " or " : ", ";
    reason += lacks[i];
  }
  if (!reason.empty()) reason = "the instrument has no " + reason;
  if (cutTo > 0) {
    if (!reason.empty()) reason += ", and ";
    reason += Printf("a name has at most %u characters", cutTo);
  }
  const std::string written = name.substr(0, name.find_last_not_of(' ') + 1);
  return "The name was written as \"" + Latin1ToUtf8(written) + "\": " + reason + ".";
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
