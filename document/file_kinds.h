#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tonalith {

// Hint of opening for files that a desktop brings back.
inline constexpr int kOpenInDesktop = -1;

// What the program does with a file.
enum class FileKind {
  Set,
  Collection,
  Library,
  Studio,
  Desktop,
  SysEx,
  Remote,
  ImportedElsewhere,  // only windows that import it can use it
  MidiFile,
  OscEditor,
  PluginBank,
  Module,
  ForeignLibrary,
  Data,  // one bank or patch
};

// How the bytes of a file of some kind begin.
struct FileMagic {
  std::string_view atStart;  // empty: the kind is not told by its bytes
  std::string_view atEight;  // at offset 8; empty: anything
};

struct FileExtension {
  std::string_view text;  // upper case, with its dot
  bool inDesktop = true;  // counts for files that a desktop brings back, too
  bool offered = true;    // File > Open offers it among the files of this program
  bool claimed = true;    // the desktop environment is told that such files are of this kind
};

// One row of the table of file kinds.
struct FileKindRow {
  FileKind kind;
  std::string_view name;  // for sentences and autosave files: "Set"
  std::vector<FileExtension> extensions;
  std::string_view filter;    // row of a file dialog: "ZK Set (*.PVS)|*.PVS;*.PVG|"; empty: none
  std::string_view mimeType;  // empty: the desktop environment is not told about this kind
  bool ownMimeType = false;   // the type is defined by this program's MIME file
  FileMagic magic;
};

// All kinds, in the order their extensions are looked for; Data is the last.
const std::vector<FileKindRow>& FileKinds();
const FileKindRow& FileKindRowOf(FileKind kind);

// By the first extension, in a fixed order, that the name contains anywhere, without regard to case.
FileKind KindOfFile(std::string_view name, int hint = 0);
// By the first bytes (12 are enough); false when they tell nothing.
bool KindOfContent(std::span<const std::uint8_t> bytes, FileKind* kind);

// The filter text of File > Open ("ZK Data (*.DAT)|*.DAT|ZK Set ..."), with or without files of the Line 6 editors.
std::string OpenFilter(bool line6);

}  // namespace tonalith
