#pragma once

#include <string_view>

namespace tonalith {

// Hint of OpenFile for files that a desktop brings back.
inline constexpr int kOpenInDesktop = -1;

// What the main window does with a file.
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

// By the first extension, in a fixed order, that the name contains anywhere, without regard to case.
FileKind KindOfFile(std::string_view name, int hint = 0);

}  // namespace tonalith
