// The exports of banks, patches and lists of them for other programs: one table of formats for windows and command
// line.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

// In the order of menus; numbers are kept in settings, new formats come at the end.
enum class ExportFormat {
  Reaper,
  Cakewalk,
  Cubase,
  NameDocument,
  Html,
  HtmlProperties,
  Text,
  TextProperties,
  Names,
  Ini,
  MidiFile,
  SysEx,
  Acid,
  Jammer,
  Logic,
};

struct ExportKind {
  ExportFormat format;
  const char* key;        // on the command line: "reaper"
  const char* title;      // in menus: "Reaper Bank Names"
  const char* extension;  // of its files, without the dot
  const char* what;       // one sentence of what is written
  bool isText;            // UTF-8 that can be shown; else SysEx
  bool forPeople;         // numbers and names to read; else what it writes chooses patches by program changes
};
std::span<const ExportKind> ExportKinds();
const ExportKind& KindOf(ExportFormat format);
std::optional<ExportFormat> ExportFormatOf(std::string_view key);

// SysEx of all the data as a Standard MIDI File or as it is: what a file of the data holds.
using ExportSysEx = std::function<Result(bool midiFile, std::vector<std::uint8_t>* bytes)>;

// What one export writes; the data belongs to the caller and is not changed.
struct ExportSource {
  std::vector<const DataFile*> data;
  ExportSysEx sysEx;  // empty: formats with SysEx are refused
  // Single patches of one type, as a Library has them: numbered in their order from 1.  No program change chooses
  // them: only formats for people are written.
  bool oneList = false;
  std::string note;  // set by an export: what the user should know; empty: nothing
};

// The bytes of an export.  Fails with a sentence when there is nothing to write.
Result RenderExport(ExportFormat format, ExportSource* source, std::string* bytes);
// Writes them to a file, which is replaced as a whole or not at all.
Result DiskMidi(ExportFormat format, ExportSource* source, const std::string& path);
// Writes what was rendered, unless the file holds it already: for exports that nobody asked for just now.  May run on
// any thread.
Result DiskMidiAuto(const std::string& path, std::string_view bytes);
// Every format that is for the data, as FOLDER/NAME with the extension of the format, with the key before it where two
// formats share one. The first failure ends it; `paths` (may be null) are the files written.
Result DiskMidiAll(ExportSource* source, const std::string& folder, const std::string& name,
                   std::vector<std::string>* paths = nullptr);
std::string ExportFileName(ExportFormat format, const std::string& name);
// Puts the names into a user's file of instrument definitions; `backup` (may be null) is what the file was before.
Result DiskMidiCakewalkV3(ExportSource* source, const std::string& path, std::string* backup = nullptr);

}  // namespace tonalith
