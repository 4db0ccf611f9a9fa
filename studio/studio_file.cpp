#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr char kStudioMagic[] = "9VRD";
constexpr char kBlocksMark[] = "EXP1";
constexpr char kBadEnding[] = ".bad";
constexpr std::size_t kCutModuleName = 36;  // 39 bytes, less what a cut character may leave out
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

std::string OrUnassigned(const std::string& name) {
  return name.empty() ? "unassigned" : name;
}

}  // namespace

std::vector<std::uint8_t> ZKStudioDoc::WriteStudio() const {
  std::size_t count = 0, written = 0;
  for (; written < instruments_.size(); ++written) {
    const std::size_t nodes = 1 + instruments_[written]->drivers.size();
    if (count + nodes > kMaxStudioRecords) break;
    count += nodes;
  }
  const std::span instruments(instruments_.data(), written);
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
    AppendPortText(&block, instrument->name);
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

// A record holds 39 bytes of the module's file name: a longer one is the only module that begins with them.
std::string ZKStudioDoc::ModuleOfRecord(const std::string& moduleFile) const {
  if (moduleFile.size() < kCutModuleName || FindPath(paths_.instruments.string(), moduleFile, PathTrust::Untrusted))
    return moduleFile;
  std::string found;
  for (const std::string& module : InstalledModules()) {
    if (!AsciiStartsWithNoCase(module, moduleFile)) continue;
    if (!found.empty()) return moduleFile;
    found = module;
  }
  return found.empty() ? moduleFile : found;
}

// The folder a driver's file is in: the stored one, or, since people move, that of its module today.
std::optional<std::string> ZKStudioDoc::FolderOfRecord(const ZKDrvList& driver) const {
  const auto holds = [&](const std::string& folder) {
    const auto file = FindPath(folder, driver.file, PathTrust::Untrusted);
    return file && FileExists(*file);
  };
  if (driver.file.empty()) return {};
  if (!driver.path.empty() && driver.path.front() == '/') {
    if (holds(driver.path)) return driver.path;
  } else if (const auto below = FindPath(paths_.instruments.string(), driver.path, PathTrust::Untrusted)) {
    if (holds(*below)) return below;
  }
  const std::string folder = ModuleFolder(&driver).string();
  if (holds(folder)) return folder;
  return {};
}

// Reads the driver file a record names and gives the node its data; the node keeps its settings.
bool ZKStudioDoc::LoadDriverOfRecord(ZKDrvList* driver, const ZKDrvList& instrument) {
  const auto folder = FolderOfRecord(*driver);
  if (!folder) return false;
  const bool quiet = std::exchange(quietModules_, true);
  auto loaded = DrvLoadDriver(driver->file, *folder, driver->setMember, driver->setMemberCopy);
  quietModules_ = quiet;
  if (!loaded) return false;
  driver->path = *folder;
  driver->dataFile = std::move(loaded->dataFile);
  Synth& s = *driver->dataFile->synth;
  if (driver->versionWord >> 16) s.v40Value = static_cast<std::uint16_t>(driver->versionWord >> 16);
  driver->icon = instrument.icon;
  driver->instance = instrument.instance;
  driver->CopyToDescriptors();
  GetPchInfo(driver);
  driver->sysExMap = BufferDescriptor::LoadBin(paths_, *driver);
  if (dataFolderSink_) dataFolderSink_(FieldText(s.reserved206));
  return true;
}

int ZKStudioDoc::ReadStudio(const std::vector<std::uint8_t>& bytes, std::string* error) {
  error->clear();
  const std::string magic(bytes.begin(),
                          bytes.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(bytes.size(), 4)));
  if (magic != kStudioMagic) {
    const bool old = magic == "5VRD" || magic == "6VRD" || magic == "LVRD" || magic == "NVRD";
    *error = old ? kOldStudioText : kNoStudioText;
    return kDiskNotOurs;
  }
  if (!DeleteAllDrivers()) return kDiskCancelled;
  loading_ = true;
  sysExBase_ = {};
  std::size_t at = kStudioHeader;
  int code = ReadRecords(bytes, &at);
  droppedNodes_ +=
      static_cast<int>(std::erase_if(instruments_, [](const auto& instrument) { return instrument->drivers.empty(); }));
  if (!ReadPortBlocks(bytes, at)) code = kDiskReadError;
  UpdatePortReferences();
  loading_ = false;
  Changed();
  return code;
}

int ZKStudioDoc::ReadRecords(const std::vector<std::uint8_t>& bytes, std::size_t* at) {
  droppedNodes_ = 0;
  if (bytes.size() < kStudioHeader) {
    *at = bytes.size();
    return kDiskReadError;
  }
  const int count = static_cast<std::int16_t>(LoadLe16(bytes.data() + 4));
  for (int i = 0; i < count; ++i, *at += kStudioRecordSize) {
    const std::uint8_t* record = bytes.data() + *at;
    // A record begins with four zero bytes; a count that is too large would read the port names as one.
    if (bytes.size() - *at < kStudioRecordSize || std::memcmp(record, kBlocksMark, 4) == 0) return kDiskReadError;
    auto node = ZKDrvList::FromRecord(record);
    node->SetIniFile(paths_, ModuleOfRecord(node->moduleFile));
    if (node->IsInstrument()) {
      instruments_.push_back(std::move(node));
    } else if (!instruments_.empty() && LoadDriverOfRecord(node.get(), *instruments_.back())) {
      node->instrument = instruments_.back().get();
      instruments_.back()->drivers.push_back(std::move(node));
    } else {
      ++droppedNodes_;
    }
  }
  return kDiskOk;
}

// False when the blocks are not whole, or the file holds something else behind the records.
bool ZKStudioDoc::ReadPortBlocks(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  if (at == bytes.size()) return true;
  if (bytes.size() - at < 8 || std::memcmp(bytes.data() + at, kBlocksMark, 4) != 0) return false;
  const std::uint32_t blocks = LoadLe32(bytes.data() + at + 4);
  at += 8;
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
    const auto match = std::find_if(instruments_.begin(), instruments_.end(), [&](const auto& instrument) {
      return instrument->name == name && instrument->instance == instance;
    });
    if (match == instruments_.end()) continue;
    ZKDrvList& instrument = **match;
    instrument.SetInPort(instrument.midiInPort, in);
    instrument.SetOutPort(instrument.midiOutPort, out);
    instrument.SetPatchBay(instrument.patchBayFlags, instrument.patchBayChannel, instrument.patchBayPort,
                           instrument.patchBayRevertPatch, bay);
  }
  return true;
}

// --- Saving ----------------------------------------------------------------------------------------------------------

// The file that is about to be replaced becomes NAME~; one that is no studio is set aside.
Result ZKStudioDoc::KeepFormerFile(const std::filesystem::path& target, const std::vector<std::uint8_t>& fresh) const {
  if (!FileExists(target.string())) return Result::Success();
  std::vector<std::uint8_t> former;
  const Result read = ReadWholeFile(target.string(), former, kMaxStudioFile);
  if (!read.ok() || former.size() < 4 || std::memcmp(former.data(), kStudioMagic, 4) != 0)
    return former.empty() && read.ok() ? Result::Success() : SetAsideBroken(target.string(), kBadEnding);
  if (former == fresh) return Result::Success();
  return WriteFileAtomically(target.string() + "~", std::span<const std::uint8_t>(former));
}

int ZKStudioDoc::DrvSaveSetup(int mode) {
  if (hosted_) return kDiskOk;
  std::filesystem::path target = paths_.data / kStudioFileName;
  if (mode == 1) {
    FilePrompt prompt{
        "Save Studio As...", paths_.data.string(), studioFile_.filename().string(), {"Studio (*.PV9)"}, true};
    const std::string chosen = prompts_.File(prompt);
    if (chosen.empty()) return kDiskCancelled;
    target = AsciiEqualNoCase(ExtensionOf(chosen), ".PV9") ? chosen : chosen + ".PV9";
  }
  if (mode == 2) {
    MessagePrompt prompt;
    prompt.title = "Studio";
    prompt.text = "Save the changes to the studio?";
    prompt.buttons = PromptButtons::YesNoCancel;
    prompt.icon = PromptIcon::Question;
    const PromptAnswer answer = prompts_.Message(prompt);
    if (answer == PromptAnswer::No) return kDiskOk;
    if (answer != PromptAnswer::Yes) return kDiskCancelled;
  }
  studioFile_ = target;
  const Result result = WriteStudioFile(target);
  if (result.ok()) return kDiskOk;
  prompts_.Say("File Error", result.text);
  return kDiskWriteError;
}

Result ZKStudioDoc::WriteStudioFile(const std::filesystem::path& target) const {
  const std::vector<std::uint8_t> bytes = WriteStudio();
  Result result = MakeFolders(target.parent_path().string());
  if (result.ok()) result = KeepFormerFile(target, bytes);
  if (result.ok()) result = WriteFileAtomically(target.string(), std::span<const std::uint8_t>(bytes));
  if (!result.ok()) return result;
  const Result text = SaveAsTextFile(target.parent_path(), target.filename().string());
  if (!text.ok()) prompts_.Say("Tonalith", text.text);
  return result;
}

// --- Loading ---------------------------------------------------------------------------------------------------------

// What is read of a damaged studio is loaded.  Neither it nor the studio saved before it may be lost by what is saved
// from now on.
int ZKStudioDoc::RecoverStudio() {
  const std::filesystem::path source = paths_.data / kStudioFileName;
  const std::string former = source.string() + "~";
  std::string damaged;
  if (!SetAsideBroken(source.string(), kBadEnding, &damaged).ok()) damaged = source.string();
  const std::string told = "The studio file\n" + source.string() +
                           "\nis damaged.  What could be read of it is loaded.\nThe damaged file is kept as\n" +
                           damaged;
  std::vector<std::uint8_t> bytes;
  std::string error;
  if (!ReadWholeFile(former, bytes, kMaxStudioFile).ok() || !IsWholeStudio(bytes)) {
    prompts_.Say("File Error", told);
  } else if (Ask(told + "\n\nUse the studio as it was saved before that instead?")) {
    if (ReadStudio(bytes, &error) == kDiskOk) return kDiskOk;
  } else {
    WriteFileAtomically((paths_.data / kKeptStudioFile).string(), std::span<const std::uint8_t>(bytes));
  }
  return kDiskReadError;
}

int ZKStudioDoc::LoadDefaultStudio(const std::vector<std::uint8_t>& bytes) {
  const std::string source = (paths_.data / kStudioFileName).string();
  std::string error;
  int code = bytes.empty() ? kDiskOk : ReadStudio(bytes, &error);
  if (code == kDiskCancelled) return code;
  if (code == kDiskNotOurs) {
    prompts_.Say("Tonalith", error);
    SetAsideBroken(source, kBadEnding);
  } else if (code == kDiskReadError) {
    code = RecoverStudio();
    // With nothing left of it, what is installed is a better start than an empty studio.
    if (instruments_.empty()) LoadStudio();
    if (!instruments_.empty()) DrvSaveSetup(0);
  } else if (droppedNodes_ > 0 && !bytes.empty()) {
    WriteFileAtomically((paths_.data / kKeptStudioFile).string(), std::span<const std::uint8_t>(bytes));
    MonitorMsg("Some instruments of the studio could not be loaded; the studio file is kept as %s", kKeptStudioFile);
  }
  // Without a studio of the user's own, everything that is installed is in it.
  if (bytes.empty() || code == kDiskNotOurs || (instruments_.empty() && code == kDiskOk))
    code = LoadStudio() < 0 ? kDiskCancelled : kDiskOk;
  return code;
}

int ZKStudioDoc::DrvLoadSetup(int mode, const std::filesystem::path& folder, const std::string& file) {
  std::filesystem::path source = paths_.data / kStudioFileName;
  const bool plain = mode != 1 && file.empty();
  if (mode == 1) {
    FilePrompt prompt{"Open Studio", paths_.data.string(), {}, {"Studio (*.PV9)"}, false};
    const std::string chosen = prompts_.File(prompt);
    if (chosen.empty()) return kDiskCancelled;
    source = chosen;
  } else if (!plain) {
    const std::filesystem::path place = folder.empty() ? paths_.data : folder;
    if (!FolderExists(place.string())) {
      prompts_.Say("File Error", "Error Setting Path to " + place.string() + "!");
      return kDiskNoDirectory;
    }
    source = place / file;
  }
  std::vector<std::uint8_t> bytes;
  const Result read = tonalith::ReadWholeFile(source.string(), bytes, kMaxStudioFile);
  if (plain) {
    studioFile_ = source;
    return LoadDefaultStudio(bytes);
  }
  if (!read.ok()) {
    prompts_.Say("File Error", read.text);
    return kDiskNotFound;
  }
  std::string error;
  const int code = ReadStudio(bytes, &error);
  if (code == kDiskOk || code == kDiskReadError) studioFile_ = source;
  if (code == kDiskNotOurs) prompts_.Say("Tonalith", error);
  if (code == kDiskReadError)
    prompts_.Say("File Error", "The studio file\n" + source.string() +
                                   "\nis damaged.  What could be read of it is loaded; the file stays as it is.");
  return code;
}

std::string ZKStudioDoc::TextSummary() const {
  const bool patchBay = PatchBaySupport();
  std::string out;
  for (const auto& instrument : instruments_) {
    const Synth* s = instrument->drivers.empty() ? nullptr : instrument->drivers.front()->synth();
    if (!s) continue;
    out += instrument->name + "\n";
    out += "\tMIDI IN Port: " + OrUnassigned(instrument->inPortName) + "\n";
    out += "\tMIDI OUT Port: " + OrUnassigned(instrument->outPortName) + "\n";
    if (s->hasSysExChannel)
      out += "\tSysEx Channel: " + std::to_string(instrument->sysExChannel + (s->sysExChannelZeroBased ? 0 : 1)) + "\n";
    out += "\tMIDI Channel: " + std::to_string(instrument->midiChannel + 1) + "\n";
    if (patchBay && (s->patchBayFlags & kPatchBayOn)) {
      out += "\tPatch Bay Mode: enabled\n\tPatch Bay Port: " + OrUnassigned(instrument->patchBayPortName) + "\n";
      out += "\tPatch Bay MIDI Channel: " + std::to_string(instrument->patchBayChannel + 1) + "\n";
      out += "\tPatch Bay Cntrl #: " + std::to_string(instrument->patchBayController) + "\n";
      out += std::string("\tPatch Bay Manual: ") + (s->patchBayFlags & kPatchBayManual ? "On" : "Off") + "\n";
      if (s->patchBayFlags & kPatchBayRevert)
        out +=
            "\tPatch Bay Revert: On\n\tPatch Bay Revert to: " + std::to_string(instrument->patchBayRevertPatch) + "\n";
    }
    out += "\n\n";
  }
  return out;
}

Result ZKStudioDoc::SaveAsTextFile(const std::filesystem::path& folder, const std::string& file) const {
  const std::string out = TextSummary();
  const std::string stem = file.size() >= 4 ? file.substr(0, file.size() - 4) : file;
  const Result written = WriteFileAtomically((folder / (stem + ".txt")).string(), std::string_view(out));
  return written.ok() ? written : Result::Failure("Error opening Studio text output file", written.code);
}

}  // namespace tonalith
