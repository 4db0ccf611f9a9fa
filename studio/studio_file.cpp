#include <algorithm>
#include <cstring>
#include <optional>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr char kStudioMagic[] = "9VRD";
constexpr std::size_t kStudioHeader = 6;
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
  const std::string cut = text.size() > 255 ? text.substr(0, text.size() % 256) : text;
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

std::string OrUnassigned(const std::string& name) {
  return name.empty() ? "unassigned" : name;
}

}  // namespace

std::vector<std::uint8_t> ZKStudioDoc::WriteStudio() const {
  std::size_t count = 0;
  for (const auto& instrument : instruments_) count += 1 + instrument->drivers.size();
  std::vector<std::uint8_t> out(kStudioMagic, kStudioMagic + 4);
  out.resize(kStudioHeader + kStudioRecordSize * count);
  StoreLe16(out.data() + 4, static_cast<std::uint16_t>(std::min<std::size_t>(count, 32767)));
  std::uint8_t* record = out.data() + kStudioHeader;
  for (const auto& instrument : instruments_) {
    instrument->WriteRecord(record);
    record += kStudioRecordSize;
    for (const auto& driver : instrument->drivers) {
      driver->WriteRecord(record);
      record += kStudioRecordSize;
    }
  }
  out.insert(out.end(), {'E', 'X', 'P', '1'});
  AppendLe32(&out, static_cast<std::uint32_t>(instruments_.size()));
  for (const auto& instrument : instruments_) {
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

// Reads the driver file a record names and gives the node its data; the node keeps its settings.
bool ZKStudioDoc::LoadDriverOfRecord(ZKDrvList* driver) {
  std::optional<std::string> folder;
  if (!driver->path.empty() && driver->path.front() == '/')
    folder = driver->path;
  else
    folder = FindPath(paths_.instruments.string(), driver->path, PathTrust::Untrusted);
  if (!folder || !FindPath(*folder, driver->file, PathTrust::Untrusted)) return false;
  auto loaded = DrvLoadDriver(driver->file, *folder, driver->setMember, driver->setMemberCopy);
  if (!loaded) return false;
  driver->dataFile = std::move(loaded->dataFile);
  Synth& s = *driver->dataFile->synth;
  if (driver->versionWord >> 16) s.v40Value = static_cast<std::uint16_t>(driver->versionWord >> 16);
  s.imageIndex = driver->icon;
  s.midiChannel = driver->midiChannel;
  driver->SetSysExChannel(driver->sysExChannel);
  const int patch = driver->defaultPatch;
  if (patch >= PatchMin(s) && patch <= PatchMax(s)) s.patchNumber = driver->defaultPatch;
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
  loading_ = true;
  sysExBase_ = {};
  instruments_.clear();
  int code = bytes.size() < kStudioHeader ? kDiskReadError : kDiskOk;
  const int count = code ? 0 : std::max<int>(static_cast<std::int16_t>(LoadLe16(bytes.data() + 4)), 0);
  std::size_t at = kStudioHeader;
  for (int i = 0; i < count; ++i, at += kStudioRecordSize) {
    if (bytes.size() - at < kStudioRecordSize) {
      code = kDiskReadError;
      break;
    }
    auto node = ZKDrvList::FromRecord(bytes.data() + at);
    node->SetIniFile(paths_, node->moduleFile);
    if (node->IsInstrument()) {
      instruments_.push_back(std::move(node));
    } else if (!instruments_.empty() && LoadDriverOfRecord(node.get())) {
      node->instrument = instruments_.back().get();
      instruments_.back()->drivers.push_back(std::move(node));
    }
  }
  std::erase_if(instruments_, [](const auto& instrument) { return instrument->drivers.empty(); });
  if (code == kDiskOk) ReadPortBlocks(bytes, at);
  UpdatePortReferences();
  loading_ = false;
  Changed();
  return code;
}

void ZKStudioDoc::ReadPortBlocks(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  if (bytes.size() - at < 8 || std::memcmp(bytes.data() + at, "EXP1", 4) != 0) return;
  const std::uint32_t blocks = LoadLe32(bytes.data() + at + 4);
  at += 8;
  for (std::uint32_t i = 0; i < blocks; ++i) {
    if (bytes.size() - at < 8 || std::memcmp(bytes.data() + at, "EXPD", 4) != 0) return;
    const std::uint32_t length = LoadLe32(bytes.data() + at + 4);
    at += 8;
    if (length > bytes.size() - at) return;
    const std::size_t end = at + length;
    const std::string name = TakePortText(bytes, &at, end);
    const int instance = at < end ? bytes[at++] : 0;
    const std::string in = TakePortText(bytes, &at, end);
    const std::string out = TakePortText(bytes, &at, end);
    const std::string bay = TakePortText(bytes, &at, end);
    at = end;
    for (const auto& instrument : instruments_) {
      if (instrument->name != name || instrument->instance != instance) continue;
      instrument->SetInPort(instrument->midiInPort, in);
      instrument->SetOutPort(instrument->midiOutPort, out);
      instrument->SetPatchBay(instrument->patchBayFlags, instrument->patchBayChannel, instrument->patchBayPort,
                              instrument->patchBayRevertPatch, bay);
      break;
    }
  }
}

int ZKStudioDoc::DrvSaveSetup(int mode) {
  std::filesystem::path target = paths_.data / "Default.PV9";
  if (mode == 1) {
    FilePrompt prompt{
        "Save Studio As...", paths_.data.string(), studioFile_.filename().string(), {"Studio (*.PV9)"}, true};
    const std::string chosen = prompts_.File(prompt);
    if (chosen.empty()) return kDiskCancelled;
    target = AsciiEqualNoCase(ExtensionOf(chosen), ".PV9") ? chosen : chosen + ".PV9";
  }
  if (mode == 2) std::erase_if(instruments_, [](const auto& instrument) { return instrument->drivers.empty(); });
  studioFile_ = target;
  Result result = MakeFolders(target.parent_path().string());
  const std::vector<std::uint8_t> bytes = WriteStudio();
  if (result.ok()) result = WriteFileAtomically(target.string(), std::span<const std::uint8_t>(bytes));
  if (!result.ok()) {
    prompts_.Say("File Error", result.text);
    return kDiskWriteError;
  }
  const Result text = SaveAsTextFile(target.parent_path(), target.filename().string());
  if (!text.ok()) prompts_.Say("Tonalith", text.text);
  return kDiskOk;
}

int ZKStudioDoc::DrvLoadSetup(int mode, const std::filesystem::path& folder, const std::string& file) {
  std::filesystem::path source = paths_.data / "Default.PV9";
  const bool plain = mode == 0 && file.empty();
  if (mode == 1) {
    FilePrompt prompt{"Open Studio", paths_.data.string(), {}, {"Studio (*.PV9)"}, false};
    const std::string chosen = prompts_.File(prompt);
    if (chosen.empty()) return kDiskCancelled;
    source = chosen;
  } else if (!file.empty()) {
    source = (folder.empty() ? paths_.data : folder) / file;
  }
  studioFile_ = source;
  std::vector<std::uint8_t> bytes;
  const Result read = tonalith::ReadWholeFile(source.string(), bytes, kMaxStudioFile);
  if (!read.ok() && !plain) {
    prompts_.Say("File Error", read.text);
    return kDiskNotFound;
  }
  std::string error;
  int code = kDiskOk;
  if (!bytes.empty()) code = ReadStudio(bytes, &error);
  if (!error.empty()) {
    prompts_.Say("Tonalith", error);
    if (plain) SetAsideBroken(source.string());
  }
  // Without a studio of the user's own, everything that is installed is in it.
  if (plain && (bytes.empty() || !error.empty() || (instruments_.empty() && code == kDiskOk))) {
    LoadStudio();
    code = kDiskOk;
  }
  return code;
}

Result ZKStudioDoc::SaveAsTextFile(const std::filesystem::path& folder, const std::string& file) const {
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
    if (s->patchBayFlags & kPatchBayOn) {
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
  const std::string stem = file.size() >= 4 ? file.substr(0, file.size() - 4) : file;
  const Result written = WriteFileAtomically((folder / (stem + ".txt")).string(), std::string_view(out));
  return written.ok() ? written : Result::Failure("Error opening Studio text output file", written.code);
}

}  // namespace tonalith
