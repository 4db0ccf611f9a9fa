#include "app/file_kinds.h"

#include <string>

#include "platform/text.h"

namespace tonalith {

namespace {

struct ExtensionRow {
  const char* extension;
  FileKind kind;
  bool alsoInDesktop = true;
};

constexpr ExtensionRow kExtensions[] = {
    {".PVS", FileKind::Set},
    {".PVG", FileKind::Set},
    {".PVC", FileKind::Collection},
    {".PVD", FileKind::Collection},
    {".PVL", FileKind::Library},
    {".PV9", FileKind::Studio},
    {".PV5", FileKind::Studio},
    {".PVW", FileKind::Desktop},
    {".SYX", FileKind::SysEx},
    {".ZKR", FileKind::Remote},
    {".L6T", FileKind::ImportedElsewhere},
    {".PVB", FileKind::ImportedElsewhere},
    {".MID", FileKind::MidiFile},
    {".SMF", FileKind::MidiFile},
    {".ZKOSC", FileKind::OscEditor},
    {".FXB", FileKind::PluginBank},
    {".PVZ", FileKind::Module},
    {".LIB", FileKind::ForeignLibrary},
    {".UBK", FileKind::ForeignLibrary, false},
    {".ULB", FileKind::ForeignLibrary},
};

}  // namespace

FileKind KindOfFile(std::string_view name, int hint) {
  const std::string upper = AsciiUpper(name);
  for (const ExtensionRow& row : kExtensions) {
    if (hint == kOpenInDesktop && !row.alsoInDesktop) continue;
    if (upper.find(row.extension) != std::string::npos) return row.kind;
  }
  return FileKind::Data;
}

}  // namespace tonalith
