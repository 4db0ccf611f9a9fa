#include "store/names/disk_midi.h"

#include <algorithm>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "store/names/master_ins.h"
#include "store/names/name_banks.h"
#include "store/names/name_document.h"
#include "store/names/name_lists.h"
#include "store/names/sequencer_names.h"

namespace tonalith {

namespace {

constexpr char kListNote[] = "as a tab separated list: its own format is not published";

constexpr ExportKind kKinds[] = {
    {ExportFormat::Reaper, "reaper", "Reaper Bank Names", "reabank", "bank and patch names for Reaper", true, false},
    {ExportFormat::Cakewalk, "cakewalk", "Cakewalk Instrument Definition", "ins",
     "an instrument definition for Cakewalk and Sonar", true, false},
    {ExportFormat::Cubase, "cubase", "Cubase Patch Script", "txt", "a patch script for Cubase", true, false},
    {ExportFormat::NameDocument, "midnam", "MIDI Name Document", "midnam", "an XML description of the patch names",
     true, false},
    {ExportFormat::Html, "html", "HTML", "html", "a page with a table of numbers and names", true, true},
    {ExportFormat::HtmlProperties, "html-properties", "HTML with Properties", "html",
     "the same with comments, keywords and tags", true, true},
    {ExportFormat::Text, "text", "Text", "txt", "number and name, tab separated", true, true},
    {ExportFormat::TextProperties, "text-properties", "Text with Properties", "txt",
     "the same with comments, keywords and tags", true, true},
    {ExportFormat::Names, "names", "Names Only", "txt", "one name a line", true, true},
    {ExportFormat::Ini, "ini", "Tonalith Bank Names", "ini", "names by program number as an INI file", true, false},
    {ExportFormat::MidiFile, "smf", "Standard MIDI File", "mid", "the data as SysEx in a Standard MIDI File", false,
     false},
    {ExportFormat::SysEx, "syx", "SysEx File", "syx", "the data as raw SysEx", false, false},
    {ExportFormat::Acid, "acid", "ACID Bank Names", "txt", kListNote, true, false},
    {ExportFormat::Jammer, "jammer", "Jammer Bank Names", "txt", kListNote, true, false},
    {ExportFormat::Logic, "logic", "Logic Bank Names", "txt", kListNote, true, false},
};

std::string NamesIn(ExportFormat format, const BankSelectNames& names, ExportSource* source) {
  std::string manufacturer, model;
  GetManufacturerAndModel(*source->data.front(), &manufacturer, &model);
  switch (format) {
    case ExportFormat::Reaper: {
      ReaBank banks;
      for (const NameBank& bank : names.banks()) banks.AddNameBank(bank);
      return banks.WriteBankNames();
    }
    case ExportFormat::Cakewalk:
      return DiskMidiCakewalk(names);
    case ExportFormat::Cubase:
      return CubasePatchScript(names, manufacturer, model);
    case ExportFormat::NameDocument:
      return XMLOutput(names, manufacturer, model).Write();
    case ExportFormat::Html:
      return DiskMidiBankNamesHTML(names);
    case ExportFormat::HtmlProperties:
      return DiskMidiBankNamesAndPropertiesHTML(source->data, source->oneList);
    case ExportFormat::Text:
      return DiskMidiWriteAscii(names);
    case ExportFormat::TextProperties:
      return DiskMidiBankNamesAndProperties(source->data, source->oneList);
    case ExportFormat::Names:
      return DiskMidiBankNames(names);
    case ExportFormat::Ini:
      return DiskMidiTonalithBankNames(names);
    case ExportFormat::Acid:
    case ExportFormat::Jammer:
      return BankNameList(names);
    case ExportFormat::Logic: {
      const LogicBank banks(names);
      if (banks.leftOut())
        source->note = std::to_string(banks.leftOut()) + " patches are not in the list: it takes " +
                       std::to_string(LogicBank::kBlocks) + " banks of " + std::to_string(LogicBank::kBlockSize) +
                       " bytes.";
      return banks.Process();
    }
    case ExportFormat::MidiFile:
    case ExportFormat::SysEx:
      break;
  }
  return {};
}

bool IsFor(const ExportSource& source, const ExportKind& kind) {
  return !source.oneList || kind.forPeople || !kind.isText;
}

Result NamesOf(ExportSource* source, BankSelectNames* names) {
  std::erase_if(source->data, [](const DataFile* data) { return !data || !data->synth || !data->body; });
  if (source->oneList)
    names->AddSingles(source->data);
  else
    for (const DataFile* data : source->data) names->AddDataFile(*data);
  return names->empty() ? Result::Failure("There are no patches whose names could be written.") : Result::Success();
}

}  // namespace

std::span<const ExportKind> ExportKinds() {
  return kKinds;
}

const ExportKind& KindOf(ExportFormat format) {
  return kKinds[static_cast<std::size_t>(format)];
}

std::optional<ExportFormat> ExportFormatOf(std::string_view key) {
  for (const ExportKind& kind : kKinds)
    if (AsciiEqualNoCase(kind.key, key)) return kind.format;
  return std::nullopt;
}

Result RenderExport(ExportFormat format, ExportSource* source, std::string* bytes) {
  bytes->clear();
  source->note.clear();
  if (!IsFor(*source, KindOf(format)))
    return Result::Failure(
        "No program change chooses the patches of a Library. Make a bank of them, and export its names.");
  if (!KindOf(format).isText) {
    if (!source->sysEx) return Result::Failure("This data cannot be written as SysEx here.");
    std::vector<std::uint8_t> written;
    Result result = source->sysEx(format == ExportFormat::MidiFile, &written);
    if (result.ok()) bytes->assign(written.begin(), written.end());
    return result;
  }
  BankSelectNames names;
  if (Result result = NamesOf(source, &names); !result.ok()) return result;
  *bytes = NamesIn(format, names, source);
  return Result::Success();
}

Result DiskMidi(ExportFormat format, ExportSource* source, const std::string& path) {
  std::string bytes;
  Result result = RenderExport(format, source, &bytes);
  return result.ok() ? WriteFileAtomically(path, std::string_view(bytes)) : result;
}

Result DiskMidiAuto(const std::string& path, std::string_view bytes) {
  std::string there;
  if (FileExists(path) && ReadWholeFile(path, there).ok() && there == bytes) return Result::Success();
  return WriteFileAtomically(path, bytes);
}

std::string ExportFileName(ExportFormat format, const std::string& name) {
  const ExportKind& kind = KindOf(format);
  const auto sharesExtension = [&](const ExportKind& other) {
    return other.format != kind.format && std::string_view(other.extension) == kind.extension;
  };
  const bool shared = std::any_of(std::begin(kKinds), std::end(kKinds), sharesExtension);
  return name + (shared && std::string_view(kind.key) != kind.extension ? std::string(".") + kind.key : std::string()) +
         "." + kind.extension;
}

Result DiskMidiAll(ExportSource* source, const std::string& folder, const std::string& name,
                   std::vector<std::string>* paths) {
  for (const ExportKind& kind : kKinds) {
    if (!IsFor(*source, kind)) continue;
    const std::string path = folder + "/" + ExportFileName(kind.format, name);
    Result result = DiskMidi(kind.format, source, path);
    if (!result.ok()) {
      result.text = std::string(kind.title) + ": " + result.text;
      return result;
    }
    if (paths) paths->push_back(path);
  }
  return Result::Success();
}

Result DiskMidiCakewalkV3(ExportSource* source, const std::string& path, std::string* backup) {
  if (std::string bytes; source->oneList) return RenderExport(ExportFormat::Cakewalk, source, &bytes);
  BankSelectNames names;
  if (Result result = NamesOf(source, &names); !result.ok()) return result;
  MasterIns file;
  if (FileExists(path))
    if (Result result = file.LoadIns(path); !result.ok()) return result;
  file.Merge(names);
  return file.SaveIns(path, backup);
}

}  // namespace tonalith
