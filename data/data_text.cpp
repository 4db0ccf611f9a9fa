#include "data/data_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "data/checksums.h"
#include "data/patch_names.h"
#include "data/synth_fields.h"

namespace tonalith {

namespace {

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool IsSeparator(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ',';
}

std::string PrintableText(const char* text, std::size_t size) {
  std::string out;
  for (std::size_t i = 0; i < size && text[i] != 0; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < ' ' || c == '"' || c == '\\') {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02X", c);
      out += escape;
    } else {
      out += text[i];
    }
  }
  return out;
}

void AppendBuffer(std::string* out, const char* name, const void* data, std::uint32_t size, bool isText) {
  if (!data) return;
  *out += std::string(name) + " " + std::to_string(size) + " bytes";
  if (isText) *out += " \"" + PrintableText(static_cast<const char*>(data), size) + "\"";
  *out += '\n';
}

void AppendHexLines(std::string* out, std::span<const std::uint8_t> bytes) {
  for (std::size_t at = 0; at < bytes.size(); at += 16) {
    char offset[24];
    std::snprintf(offset, sizeof offset, "%06zX  ", at);
    *out += offset + HexText(bytes.subspan(at, std::min<std::size_t>(16, bytes.size() - at))) + '\n';
  }
}

bool IsDefaultField(const Synth& synth, const SynthField& field) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&synth) + field.offset;
  return std::all_of(bytes, bytes + field.size, [](std::uint8_t b) { return b == 0; });
}

// patchMin, patchMax and definition are shown whole with their first part.
bool IsSecondPart(const SynthField& field) {
  return field.offset == offsetof(Synth, patchMinHigh) || field.offset == offsetof(Synth, patchMaxHigh) ||
         field.offset == offsetof(Synth, definition2);
}
bool HasValue(const Synth& synth, const SynthField& field) {
  if (field.offset == offsetof(Synth, patchMin)) return PatchMin(synth) != 0;
  if (field.offset == offsetof(Synth, patchMax)) return PatchMax(synth) != 0;
  return !IsDefaultField(synth, field);
}

void AppendDescriptor(std::string* out, const Synth& synth) {
  for (const SynthField& field : SynthFields()) {
    if (IsSecondPart(field) || !HasValue(synth, field)) continue;
    *out += std::string(field.name) + "=";
    if (field.type == FieldType::kText) {
      const std::string text = SynthFieldText(synth, field);
      *out += PrintableText(text.data(), text.size());
    } else {
      *out += SynthFieldText(synth, field);
    }
    *out += '\n';
  }
}

void AppendXtra(std::string* out, const DFXtra& x, std::uint32_t size) {
  *out += "xtra " + std::to_string(size) + " bytes\n";
  if (size < kXtraSize) return;
  const auto number = [out](const char* name, std::uint32_t value) {
    if (value) *out += std::string("xtra.") + name + "=" + std::to_string(value) + "\n";
  };
  number("timeStamp", x.timeStamp);
  number("windowX", x.windowX);
  number("windowY", x.windowY);
  number("windowWidth", x.windowWidth);
  number("windowHeight", x.windowHeight);
  number("isInactive", x.isInactive);
  number("hiddenInLibrary", x.hiddenInLibrary);
  number("windowExtra", x.windowExtra);
  number("isNewRecord", x.isNewRecord);
  if (x.instrumentName[0]) {
    *out += "xtra.instrumentName=" + PrintableText(x.instrumentName, sizeof x.instrumentName) + "\n";
  }
  number("hasNoSysEx", x.hasNoSysEx);
  number("foreignSlot", x.foreignSlot);
  number("driverNumber", x.driverNumber);
  number("foreignMark", x.foreignMark);
  number("instrumentIndex", x.instrumentIndex);
}

void AppendNames(std::string* out, const DataFile& df) {
  const VoiceLayout layout = LayoutOf(df);
  if (!layout.editable) {
    *out += "problem: " + layout.problem + "\n";
    return;
  }
  if (PatchNameLength(df) == 0) return;
  const std::vector<std::string> names = LoadPatchNames(df);
  for (std::size_t i = 0; i < names.size(); ++i) {
    *out += "voice " + std::to_string(i) + " " + MakeNumberStr(*df.synth, static_cast<int>(i)) + " \"" +
            PrintableText(names[i].data(), names[i].size()) + "\"\n";
  }
}

}  // namespace

std::string HexText(std::span<const std::uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(bytes.size() * 3);
  for (const std::uint8_t b : bytes) {
    if (!out.empty()) out += ' ';
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

std::optional<std::vector<std::uint8_t>> ParseHex(std::string_view text, std::string* error) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 2);
  std::size_t i = 0;
  while (i < text.size()) {
    if (IsSeparator(text[i])) {
      ++i;
      continue;
    }
    const int high = HexValue(text[i]);
    const int low = i + 1 < text.size() ? HexValue(text[i + 1]) : -1;
    if (high < 0 || low < 0) {
      if (error) *error = "There is no pair of hex digits at character " + std::to_string(i + 1) + ".";
      return std::nullopt;
    }
    bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
    i += 2;
  }
  return bytes;
}

std::optional<std::int64_t> ParseNumber(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  std::int64_t base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty() || text.size() > 15) return std::nullopt;
  std::int64_t value = 0;
  for (const char c : text) {
    const int digit = HexValue(c);
    if (digit < 0 || digit >= base) return std::nullopt;
    value = value * base + digit;
  }
  return negative ? -value : value;
}

std::string DataFileText(const DataFile& df, bool withBody) {
  std::string out;
  if (df.synth) AppendDescriptor(&out, *df.synth);
  const auto body = BodySpan(df);
  out += "body " + std::to_string(body.size()) + " bytes\n";
  if (df.synth && df.synth->checksumLength) {
    out += std::string("checksum ") + ChecksumVerdictText(VerifyChecksum(*df.synth, body)) + "\n";
  }
  AppendBuffer(&out, "comment", df.comment, df.commentSize, true);
  if (df.findText) {
    out += "findText " + std::to_string(df.findTextSize) + " bytes";
    for (std::uint32_t at = 0; at + kKeywordSize <= df.findTextSize; at += kKeywordSize) {
      if (df.findText[at]) out += " \"" + PrintableText(df.findText + at, kKeywordSize) + "\"";
    }
    out += '\n';
  }
  AppendBuffer(&out, "fileName", df.fileName, df.fileNameSize, true);
  AppendBuffer(&out, "transmitScript", df.transmitScript, df.transmitScriptSize, false);
  AppendBuffer(&out, "receiveScript", df.receiveScript, df.receiveScriptSize, false);
  AppendBuffer(&out, "auditionScript", df.auditionScript, df.auditionScriptSize, false);
  if (df.xtra) AppendXtra(&out, *df.xtra, df.xtraSize);
  AppendBuffer(&out, "voiceNames", df.voiceNames, df.voiceNamesSize, false);
  AppendBuffer(&out, "emptyMap", df.emptyMap, df.emptyMapSize, false);
  AppendBuffer(&out, "tagMap", df.tagMap, df.tagMapSize, false);
  AppendBuffer(&out, "authors", df.authors, df.authorsSize, true);
  AppendBuffer(&out, "rightsNotices", df.rightsNotices, df.rightsNoticesSize, true);
  AppendBuffer(&out, "songs", df.songs, df.songsSize, true);
  AppendBuffer(&out, "musicians", df.musicians, df.musiciansSize, true);
  AppendBuffer(&out, "bands", df.bands, df.bandsSize, true);
  AppendBuffer(&out, "longNames", df.longNames, df.longNamesSize, true);
  AppendBuffer(&out, "midiInPortName", df.midiInPortName, df.midiInPortNameSize, true);
  AppendBuffer(&out, "midiOutPortName", df.midiOutPortName, df.midiOutPortNameSize, true);
  AppendBuffer(&out, "patchBayPortName", df.patchBayPortName, df.patchBayPortNameSize, true);
  out += "chunkModes " + HexText(df.chunkModes) + "\n";
  if (df.isReference) {
    out += "refBankNumber=" + std::to_string(df.refBankNumber) + "\n";
    out += "refFileName=" + PrintableText(df.refFileName, sizeof df.refFileName) + "\n";
    out += "refDirectory=" + PrintableText(df.refDirectory, sizeof df.refDirectory) + "\n";
  }
  AppendNames(&out, df);
  if (withBody) AppendHexLines(&out, body);
  return out;
}

}  // namespace tonalith
