#include "studio/studio_file.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <span>
#include <utility>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/prompts.h"
#include "platform/text.h"
#include "studio/instrument_loader.h"
#include "studio/port_references.h"
#include "studio/studio_generations.h"
#include "studio/studio_list.h"
#include "studio/studio_report.h"
#include "studio/studio_surroundings.h"

namespace tonalith {

namespace {

constexpr char kStudioMagic[] = "9VRD";
constexpr char kBlocksMark[] = "EXP1";
constexpr std::size_t kStudioHeader = 6;
constexpr std::size_t kMaxStudioRecords = 32767;  // the count is a signed 16-bit number
constexpr std::size_t kMaxStudioFile = 64u << 20;
constexpr char kOldStudioText[] =
    "This is an old Driver List! Please select\nBuild Studio from the Studio Menu to build a new Studio.";
constexpr char kNoStudioText[] = "Error! This file does not contain a Studio";

void AppendLe32(std::vector<std::uint8_t>* out, std::uint32_t value) {
  std::uint8_t bytes[4];
  StoreLe32(bytes, value);
  out->insert(out->end(), bytes, bytes + 4);
}

void AppendPortText(std::vector<std::uint8_t>* out, const std::string& text) {
  const std::string_view cut = text.size() > 255 ? CutUtf8(text, text.size() % 256) : std::string_view(text);
  out->push_back(static_cast<std::uint8_t>(cut.size()));
  out->insert(out->end(), cut.begin(), cut.end());
}

// A length-prefixed text inside a block; empty and at the end when the block is too short.
std::string TakePortText(const std::vector<std::uint8_t>& bytes, std::size_t* at, std::size_t end) {
  if (*at >= end) return {};
  const std::size_t length = std::min<std::size_t>(bytes[*at], end - *at - 1);
  const std::string text(bytes.begin() + static_cast<std::ptrdiff_t>(*at + 1),
                         bytes.begin() + static_cast<std::ptrdiff_t>(*at + 1 + length));
  *at += 1 + length;
  return text;
}

// Whether all records and blocks that the file announces are there.
bool IsWholeStudio(const std::vector<std::uint8_t>& bytes) {
  if (bytes.size() < kStudioHeader || std::memcmp(bytes.data(), kStudioMagic, 4) != 0) return false;
  const int count = std::max<int>(static_cast<std::int16_t>(LoadLe16(bytes.data() + 4)), 0);
  const std::size_t records = kStudioRecordSize * static_cast<std::size_t>(count);
  if (bytes.size() - kStudioHeader < records) return false;
  std::size_t at = kStudioHeader + records;
  if (at == bytes.size()) return true;
  if (bytes.size() - at < 8 || std::memcmp(bytes.data() + at, kBlocksMark, 4) != 0) return false;
  std::uint32_t blocks = LoadLe32(bytes.data() + at + 4);
  for (at += 8; blocks > 0 && bytes.size() - at >= 8; --blocks) {
    const std::uint32_t length = LoadLe32(bytes.data() + at + 4);
    at += 8;
    if (length > bytes.size() - at) return false;
    at += length;
  }
  return blocks == 0;
}

}  // namespace

StudioFile::StudioFile(Parts parts)
    : parts_(std::move(parts)), studioFile_(parts_.around.paths.data / kStudioFileName) {}

std::vector<std::uint8_t> StudioFile::WriteStudio() const {
  const auto& all = parts_.list.instruments();
  std::size_t count = 0, written = 0;
  for (; written < all.size(); ++written) {
    const std::size_t nodes = 1 + all[written]->drivers.size();
    if (count + nodes > kMaxStudioRecords) break;
    count += nodes;
  }
  const std::span instruments(all.data(), written);
  std::vector<std::uint8_t> out(kStudioMagic, kStudioMagic + 4);
  out.resize(kStudioHeader + kStudioRecordSize * count);
  StoreLe16(out.data() + 4, static_cast<std::uint16_t>(count));
  std::uint8_t* record = out.data() + kStudioHeader;
  for (const auto& instrument : instruments) {
    instrument->WriteRecord(record);
    record += kStudioRecordSize;
    for (const auto& driver : instrument->drivers) {
      driver->WriteRecord(record);
      record += kStudioRecordSize;
    }
  }
  out.insert(out.end(), {'E', 'X', 'P', '1'});
  AppendLe32(&out, static_cast<std::uint32_t>(instruments.size()));
  for (const auto& instrument : instruments) {
    std::vector<std::uint8_t> block;
    AppendPortText(&block, std::string(ZKDrvList::RecordName(instrument->name)));
    block.push_back(instrument->instance);
    AppendPortText(&block, instrument->inPortName);
    AppendPortText(&block, instrument->outPortName);
    AppendPortText(&block, instrument->patchBayPortName);
    out.insert(out.end(), {'E', 'X', 'P', 'D'});
    AppendLe32(&out, static_cast<std::uint32_t>(block.size()));
    out.insert(out.end(), block.begin(), block.end());
  }
  return out;
}

int StudioFile::ReadStudio(const std::vector<std::uint8_t>& bytes, std::string* error) {
  error->clear();
  const std::string magic(bytes.begin(),
                          bytes.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(bytes.size(), 4)));
  if (magic != kStudioMagic) {
    const bool old = magic == "5VRD" || magic == "6VRD" || magic == "LVRD" || magic == "NVRD";
    *error = old ? kOldStudioText : kNoStudioText;
    return kDiskNotOurs;
  }
  if (!parts_.list.DeleteAllDrivers()) return kDiskCancelled;
  const StudioList::Quiet quiet(parts_.list);
  parts_.list.sysExBase() = {};
  std::size_t at = kStudioHeader;
  int code = ReadRecords(bytes, &at);
  droppedNodes_ += parts_.list.RemoveEmpty();
  if (!ReadPortBlocks(bytes, at)) code = kDiskReadError;
  parts_.ports.UpdatePortReferences();
  parts_.list.Changed();
  return code;
}

int StudioFile::ReadRecords(const std::vector<std::uint8_t>& bytes, std::size_t* at) {
  droppedNodes_ = 0;
  if (bytes.size() < kStudioHeader) {
    *at = bytes.size();
    return kDiskReadError;
  }
  const int count = static_cast<std::int16_t>(LoadLe16(bytes.data() + 4));
  std::vector<InstrumentLoader::DriverOfRecord> drivers;
  int code = kDiskOk;
  for (int i = 0; i < count; ++i, *at += kStudioRecordSize) {
    const std::uint8_t* record = bytes.data() + *at;
    // A record begins with four zero bytes; a count that is too large would read the port names as one.
    if (bytes.size() - *at < kStudioRecordSize || std::memcmp(record, kBlocksMark, 4) == 0) {
      code = kDiskReadError;
      break;
    }
    auto node = ZKDrvList::FromRecord(record);
    node->SetIniFile(parts_.around.paths, parts_.loader.ModuleOfRecord(node->moduleFile));
    if (node->IsInstrument()) {
      parts_.list.Append(std::move(node));
    } else if (!parts_.list.instruments().empty()) {
      drivers.push_back({std::move(node), parts_.list.instruments().back().get()});
    } else {
      ++droppedNodes_;
    }
  }
  parts_.loader.LoadDriversOfRecords(&drivers);
  for (auto& [driver, instrument, loaded] : drivers) {
    if (!loaded) {
      ++droppedNodes_;
      continue;
    }
    driver->instrument = instrument;
    instrument->drivers.push_back(std::move(driver));
  }
  return code;
}

// False when the blocks are not whole, or the file holds something else behind the records.
bool StudioFile::ReadPortBlocks(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  if (at == bytes.size()) return true;
  if (bytes.size() - at < 8 || std::memcmp(bytes.data() + at, kBlocksMark, 4) != 0) return false;
  const std::uint32_t blocks = LoadLe32(bytes.data() + at + 4);
  at += 8;
  std::set<const ZKDrvList*> given;  // of two that are named alike, each takes its own
  for (std::uint32_t i = 0; i < blocks && blocks <= INT32_MAX; ++i) {
    if (bytes.size() - at < 8 || std::memcmp(bytes.data() + at, "EXPD", 4) != 0) return false;
    const std::uint32_t length = LoadLe32(bytes.data() + at + 4);
    at += 8;
    if (length > bytes.size() - at) return false;
    const std::size_t end = at + length;
    const std::string name = TakePortText(bytes, &at, end);
    const int instance = at < end ? bytes[at++] : 0;
    const std::string in = TakePortText(bytes, &at, end);
    const std::string out = TakePortText(bytes, &at, end);
    const std::string bay = TakePortText(bytes, &at, end);
    at = end;
    const auto& all = parts_.list.instruments();
    const auto match = std::find_if(all.begin(), all.end(), [&](const auto& instrument) {
      return ZKDrvList::RecordName(instrument->name) == ZKDrvList::RecordName(name) &&
             instrument->instance == instance && !given.contains(instrument.get());
    });
    if (match == all.end()) continue;
    given.insert(match->get());
    ZKDrvList& instrument = **match;
    instrument.SetInPort(instrument.midiInPort, in);
    instrument.SetOutPort(instrument.midiOutPort, out);
    instrument.SetPatchBay(instrument.patchBayFlags, instrument.patchBayChannel, instrument.patchBayPort,
                           instrument.patchBayRevertPatch, bay);
  }
  return true;
}

// --- Saving ----------------------------------------------------------------------------------------------------------

// The file that is about to be replaced becomes the newest of its generations; one that is no studio is set aside.
Result StudioFile::KeepFormerFile(const std::filesystem::path& target, const std::vector<std::uint8_t>& fresh) const {
  if (!FileExists(target.string())) return Result::Success();
  std::vector<std::uint8_t> former;
  const Result read = ReadWholeFile(target.string(), former, kMaxStudioFile);
  if (!read.ok() || former.size() < 4 || std::memcmp(former.data(), kStudioMagic, 4) != 0)
    return former.empty() && read.ok() ? Result::Success() : SetAsideBroken(target.string());
  if (former == fresh) return Result::Success();
  return KeepStudioGeneration(target, former);
}

int StudioFile::DrvSaveSetup(int mode) {
  if (parts_.around.hosted) return kDiskOk;
  std::filesystem::path target = parts_.around.paths.data / kStudioFileName;
  if (mode == 1) {
    FilePrompt prompt{"Save Studio As...",
                      parts_.around.paths.data.string(),
                      studioFile_.filename().string(),
                      {"Studio (*.PV9)"},
                      true};
    const std::string chosen = parts_.around.prompts.File(prompt);
    if (chosen.empty()) return kDiskCancelled;
    target = AsciiEqualNoCase(ExtensionOf(chosen), ".PV9") ? chosen : chosen + ".PV9";
  }
  if (mode == 2) {
    MessagePrompt prompt;
    prompt.title = "Studio";
    prompt.text = "Save the changes to the studio?";
    prompt.buttons = PromptButtons::YesNoCancel;
    prompt.icon = PromptIcon::Question;
    const PromptAnswer answer = parts_.around.prompts.Message(prompt);
    if (answer == PromptAnswer::No) return kDiskOk;
    if (answer != PromptAnswer::Yes) return kDiskCancelled;
  }
  studioFile_ = target;
  const Result result = WriteStudioFile(target);
  if (result.ok()) return kDiskOk;
  parts_.around.prompts.Say("File Error", result.text);
  return kDiskWriteError;
}

Result StudioFile::WriteStudioFile(const std::filesystem::path& target) const {
  const std::vector<std::uint8_t> bytes = WriteStudio();
  Result result = MakeFolders(target.parent_path().string());
  if (result.ok()) result = KeepFormerFile(target, bytes);
  if (result.ok()) result = WriteFileAtomically(target.string(), std::span<const std::uint8_t>(bytes));
  if (!result.ok()) return result;
  const Result text = SaveAsTextFile(target.parent_path(), target.filename().string());
  if (!text.ok()) parts_.around.prompts.Say("Tonalith", text.text);
  return result;
}

// --- Loading ---------------------------------------------------------------------------------------------------------

// `told` says what is wrong with the studio file.  Without a whole studio that was saved before it that is all; else
// the user is asked, and a former studio that is not used now stays whatever is saved later.
bool StudioFile::UseFormerStudio(const char* title, const std::string& told) {
  const std::filesystem::path file = parts_.around.paths.data / kStudioFileName;
  const auto former = NewestStudioGeneration(file, IsWholeStudio);
  if (!former) {
    parts_.around.prompts.Say(title, told);
    return false;
  }
  const bool newest = former->file == StudioGeneration(file, 1);
  const std::string which = newest ? "" : " (" + former->file.filename().string() + ")";
  std::string error;
  if (parts_.around.Ask(told + "\n\nUse the studio as it was saved before that" + which + " instead?"))
    return ReadStudio(former->bytes, &error) == kDiskOk;
  WriteFileAtomically((parts_.around.paths.data / kKeptStudioFile).string(),
                      std::span<const std::uint8_t>(former->bytes));
  return false;
}

// What is read of a damaged studio is loaded.  Neither it nor the studio saved before it may be lost by what is saved
// from now on.
int StudioFile::RecoverStudio() {
  const std::string source = (parts_.around.paths.data / kStudioFileName).string();
  std::string damaged;
  if (!SetAsideBroken(source, &damaged).ok()) damaged = source;
  const std::string told = "The studio file\n" + source +
                           "\nis damaged.  What could be read of it is loaded.\nThe damaged file is kept as\n" +
                           damaged;
  return UseFormerStudio("File Error", told) ? kDiskOk : kDiskReadError;
}

// A file that holds no studio, or cannot be read at all.  True: the former studio is used.
bool StudioFile::ReplaceStudio(const char* title, const std::string& reason) {
  SetAsideBroken((parts_.around.paths.data / kStudioFileName).string());
  if (!UseFormerStudio(title, reason)) return false;
  DrvSaveSetup(0);
  return true;
}

int StudioFile::LoadDefaultStudio(const std::vector<std::uint8_t>& bytes, const Result& read) {
  const std::filesystem::path source = parts_.around.paths.data / kStudioFileName;
  std::error_code none;
  if (!read.ok() && std::filesystem::exists(std::filesystem::symlink_status(source, none))) {
    if (ReplaceStudio("File Error", read.text)) return kDiskOk;
  } else if (read.ok() && bytes.empty()) {
    if (ReplaceStudio("File Error", "The studio file\n" + source.string() + "\nis empty.")) return kDiskOk;
  }
  std::string error;
  int code = bytes.empty() ? kDiskOk : ReadStudio(bytes, &error);
  if (code == kDiskCancelled) return code;
  if (code == kDiskNotOurs) {
    if (ReplaceStudio("Tonalith", error)) return kDiskOk;
  } else if (code == kDiskReadError) {
    code = RecoverStudio();
    // With nothing left of it, what is installed is a better start than an empty studio.
    if (parts_.list.instruments().empty()) parts_.build();
    if (!parts_.list.instruments().empty()) DrvSaveSetup(0);
  } else if (droppedNodes_ > 0 && !bytes.empty()) {
    WriteFileAtomically((parts_.around.paths.data / kKeptStudioFile).string(), std::span<const std::uint8_t>(bytes));
    MonitorMsg("Some instruments of the studio could not be loaded; the studio file is kept as %s", kKeptStudioFile);
  }
  // Without a studio of the user's own, everything that is installed is in it; so it is when nothing of it could be
  // loaded.  One that was saved without instruments stays so.
  const bool lost = parts_.list.instruments().empty() && code == kDiskOk && droppedNodes_ > 0;
  if (bytes.empty() || code == kDiskNotOurs || lost) code = parts_.build() < 0 ? kDiskCancelled : kDiskOk;
  return code;
}

int StudioFile::DrvLoadSetup(int mode, const std::filesystem::path& folder, const std::string& file) {
  std::filesystem::path source = parts_.around.paths.data / kStudioFileName;
  const bool plain = mode != 1 && file.empty();
  if (mode == 1) {
    FilePrompt prompt{"Open Studio", parts_.around.paths.data.string(), {}, {"Studio (*.PV9)"}, false};
    const std::string chosen = parts_.around.prompts.File(prompt);
    if (chosen.empty()) return kDiskCancelled;
    source = chosen;
  } else if (!plain) {
    const std::filesystem::path place = folder.empty() ? parts_.around.paths.data : folder;
    if (!FolderExists(place.string())) {
      parts_.around.prompts.Say("File Error", "Error Setting Path to " + place.string() + "!");
      return kDiskNoDirectory;
    }
    source = place / file;
  }
  std::vector<std::uint8_t> bytes;
  const Result read = ReadWholeFile(source.string(), bytes, kMaxStudioFile);
  if (plain) {
    studioFile_ = source;
    return LoadDefaultStudio(bytes, read);
  }
  if (!read.ok()) {
    parts_.around.prompts.Say("File Error", read.text);
    return kDiskNotFound;
  }
  std::string error;
  const int code = ReadStudio(bytes, &error);
  if (code == kDiskOk || code == kDiskReadError) studioFile_ = source;
  if (code == kDiskNotOurs) parts_.around.prompts.Say("Tonalith", error);
  if (code == kDiskReadError)
    parts_.around.prompts.Say("File Error",
                              "The studio file\n" + source.string() +
                                  "\nis damaged.  What could be read of it is loaded; the file stays as it is.");
  return code;
}

Result StudioFile::SaveAsTextFile(const std::filesystem::path& folder, const std::string& file) const {
  const std::string out = parts_.reports.TextSummary();
  const std::string stem = file.size() >= 4 ? file.substr(0, file.size() - 4) : file;
  const Result written = WriteFileAtomically((folder / (stem + ".txt")).string(), std::string_view(out));
  return written.ok() ? written : Result::Failure("Error opening Studio text output file", written.code);
}

}  // namespace tonalith
