#include "data/data_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "data/checksums.h"
#include "data/hex_text.h"
#include "data/patch_names.h"
#include "data/synth_fields.h"

namespace tonalith {

namespace {

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
