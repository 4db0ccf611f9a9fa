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

// One row of the table of file kinds.
struct FileKindRow {
  FileKind kind;
  std::string_view name;                       // for sentences: "Set"
  std::vector<std::string_view> extensions;    // upper case, with their dot, in the order they are looked for
  std::vector<std::string_view> notInDesktop;  // those of them that do not count for files a desktop brings back
  std::string_view filter;                     // of file dialogs: "ZK Set (*.PVS)|*.PVS;*.PVG|"; empty: none
  std::string_view mimeType;                   // empty: the desktop environment is not told about it
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
