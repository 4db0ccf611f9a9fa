#include "document/file_kinds.h"

#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::string_view kLine6Filter = "Line6 L6T Files (*.L6T)|*.L6T|";
constexpr std::string_view kAllFiles = "All Files (*.*)|*.*|";

bool Begins(std::span<const std::uint8_t> bytes, std::size_t offset, std::string_view text) {
  if (text.empty()) return true;
  if (bytes.size() < offset + text.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (bytes[offset + i] != static_cast<std::uint8_t>(text[i])) return false;
  }
  return true;
}

}  // namespace

const std::vector<FileKindRow>& FileKinds() {
  static const std::vector<FileKindRow> kRows = {
      {FileKind::Set,
       "Set",
       {{".PVS"}, {".PVG"}},
       "ZK Set (*.PVS)|*.PVS;*.PVG|",
       "application/x-tonalith-set",
       true,
       {"LIST", "ZSET"}},
      {FileKind::Collection,
       "Collection",
       {{".PVC"}, {".PVD"}},
       "ZK Collection (*.PVC)|*.PVC;*.PVD|",
       "application/x-tonalith-collection",
       true,
       {"LIST", "ZCOL"}},
      {FileKind::Library, "Library", {{".PVL"}}, {}, "application/x-tonalith-library", true, {"LIST", "ZLIB"}},
      {FileKind::Studio,
       "Studio",
       {{".PV9"}, {".PV5", true, false, false}},
       {},
       "application/x-tonalith-studio",
       true,
       {"9VRD", {}}},
      {FileKind::Desktop, "Desktop", {{".PVW"}}, "ZK Desktop (*.PVW)|*.PVW|", {}, false, {"PVDT", {}}},
      {FileKind::SysEx,
       "SysEx",
       {{".SYX"}},
       "ZK MidiX File (*.SYX)|*.SYX|",
       "application/x-midi-sysex",
       true,
       {"\xF0", {}}},
      {FileKind::Remote, "Remote", {{".ZKR", true, false, false}}, {}, {}, false, {}},
      {FileKind::ImportedElsewhere,
       "Import",
       {{".L6T", true, false, false}, {".PVB", true, false, false}},
       {},
       {},
       false,
       {}},
      {FileKind::MidiFile,
       "MIDI file",
       {{".MID"}, {".SMF"}},
       "MIDI File (*.MID)|*.MID|",
       "audio/midi",
       false,
       {"MThd", {}}},
      {FileKind::OscEditor, "OSC editor", {{".ZKOSC", true, false, false}}, {}, {}, false, {}},
      {FileKind::PluginBank, "Plug-in bank", {{".FXB", true, false, false}}, {}, {}, false, {}},
      {FileKind::Module,
       "Module",
       {{".PVZ"}},
       "ZK Compressed Module (.pvz)|*.pvz|",
       "application/x-tonalith-module",
       true,
       {"PVZ ", {}}},
      {FileKind::ForeignLibrary,
       "Foreign library",
       {{".LIB", true, false, false}, {".UBK", false, false, false}, {".ULB", true, false, false}},
       {},
       {},
       false,
       {}},
      {FileKind::Data,
       "Data",
       {{".DAT", true, true, false}},
       "ZK Data (*.DAT)|*.DAT|",
       "application/x-tonalith-data",
       true,
       {"FORM", "BANKSHDR"}},
  };
  return kRows;
}

const FileKindRow& FileKindRowOf(FileKind kind) {
  for (const FileKindRow& row : FileKinds()) {
    if (row.kind == kind) return row;
  }
  return FileKinds().back();
}

FileKind KindOfFile(std::string_view name, int hint) {
  const std::string upper = AsciiUpper(name);
  for (const FileKindRow& row : FileKinds()) {
    for (const FileExtension& extension : row.extensions) {
      if (hint == kOpenInDesktop && !extension.inDesktop) continue;
      if (upper.find(extension.text) != std::string::npos) return row.kind;
    }
  }
  return FileKind::Data;
}

bool KindOfContent(std::span<const std::uint8_t> bytes, FileKind* kind) {
  for (const FileKindRow& row : FileKinds()) {
    if (row.magic.atStart.empty()) continue;
    if (!Begins(bytes, 0, row.magic.atStart) || !Begins(bytes, 8, row.magic.atEight)) continue;
    *kind = row.kind;
    return true;
  }
  return false;
}

std::string OpenFilter(bool line6) {
  const std::string set(FileKindRowOf(FileKind::Set).filter);
  if (line6) return set + std::string(kLine6Filter) + std::string(kAllFiles);
  std::string all;
  const auto add = [&all](const FileKindRow& row) {
    for (const FileExtension& extension : row.extensions) {
      if (extension.offered) all += (all.empty() ? "*" : ";*") + std::string(extension.text);
    }
  };
  const FileKindRow& data = FileKindRowOf(FileKind::Data);
  add(data);
  for (const FileKindRow& row : FileKinds()) {
    if (row.kind != FileKind::Data) add(row);
  }
  return "Files of this program|" + all + "|" + std::string(data.filter) + set +
         std::string(FileKindRowOf(FileKind::Module).filter) + std::string(kAllFiles);
}

}  // namespace tonalith
