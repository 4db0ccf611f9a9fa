#include "studio/new_data.h"

#include <algorithm>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"
#include "services/settings.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kSysExStart = 0xF0, kSysExEnd = 0xF7;
constexpr char kTitle[] = "Tonalith";
constexpr std::size_t kLongestCount = 4;  // bytes of a variable-length number

// Position behind the variable-length number at `at`; nullopt when it does not end in time.  `value` receives it.
std::optional<std::size_t> SkipCount(std::span<const std::uint8_t> file, std::size_t at, std::uint32_t* value) {
  *value = 0;
  for (std::size_t i = 0; i < kLongestCount && at + i < file.size(); ++i) {
    *value = *value << 7 | (file[at + i] & 0x7Fu);
    if (!(file[at + i] & 0x80)) return at + i + 1;
  }
  return {};
}

std::string DriverTitle(const ZKDrvList& driver) {
  return driver.DisplayKey() + " " + Latin1ToUtf8(driver.TypeName());
}

FilePrompt PromptFor(NewDataKind kind, const std::string& folder) {
  FilePrompt prompt;
  prompt.folder = folder;
  const auto use = [&prompt](const char* title, const char* filter) {
    prompt.title = title;
    prompt.patterns = FilePatterns(filter);
  };
  if (kind == NewDataKind::SysEx)
    use("Choose MIDIX File to Load...", "MidiX File (*.SYX)|*.SYX|All Files (*.*)|*.*|");
  else if (kind == NewDataKind::MidiFile)
    use("Choose MIDI (SMF) File to Load...", "MIDI (SMF) File (*.MID)|*.MID|All Files (*.*)|*.*|");
  else
    use("Choose the headerless/XOR/Unisyn file to load...", "Headerless File (*.*)|*.*|");
  return prompt;
}

bool ReadFile(Prompts& prompts, const std::string& path, std::vector<std::uint8_t>* bytes) {
  const Result read = ReadWholeFile(path, *bytes);
  if (read.ok() && !bytes->empty()) return true;
  const bool isMemory = read.code == kFileTooLarge || read.code == kFileNoMemory;
  const bool isClosed = read.code == kFileMissing || read.code == kFileDenied;
  prompts.Say(kTitle, read.code == kFileNotRegular ? read.text
                      : isMemory                   ? "Memory Allocation Failed!"
                      : isClosed                   ? "Error opening file!"
                                                   : "Error Loading File");
  return false;
}

// Asked for a SysEx file that holds no dump of the size.
std::string IncompatibleText(const ZKDrvList& driver, std::size_t fileSize, std::size_t wanted) {
  return "MIDIX SysEx is incompatible with " + driver.DisplayKey() + " " + Latin1ToUtf8(driver.TypeName()) +
         ".\nThe MIDIX file is " + std::to_string(fileSize) + " bytes\nwhile the expected SysEx is " +
         std::to_string(wanted) + " bytes!\n\nUse only the first " + std::to_string(wanted) + " bytes?";
}

// True when the image was filled; otherwise the user has been told.
bool Fill(Prompts& prompts, NewDataKind kind, const ZKDrvList& driver, std::span<const std::uint8_t> file,
          std::span<std::uint8_t> image) {
  if (kind == NewDataKind::Headerless) {
    FillHeaderless(file, image, driver.synth()->headerSize);
    return true;
  }
  if (kind == NewDataKind::MidiFile) {
    if (FillFromMidiFile(file, image) == FillOutcome::Filled) return true;
    prompts.Say(kTitle, "Matching data was not found in the MIDI file.");
    return false;
  }
  switch (FillFromSysEx(file, image)) {
    case FillOutcome::Filled:
      return true;
    case FillOutcome::NotSysEx:
      prompts.Say(kTitle, "This is not a MIDIX SysEx file!");
      return false;
    default:
      break;
  }
  MessagePrompt prompt;
  prompt.title = kTitle;
  prompt.text = IncompatibleText(driver, file.size(), image.size());
  prompt.buttons = PromptButtons::YesNo;
  // A file that is too short gives no data whatever the answer.
  const bool tooShort = file.size() < image.size();
  prompt.icon = tooShort ? PromptIcon::Information : PromptIcon::Question;
  const bool yes = prompts.Message(prompt) == PromptAnswer::Yes;
  if (tooShort || !yes) return false;
  std::copy_n(file.begin(), image.size(), image.begin());
  return true;
}

// What came from a file counts as received.
void MarkAsReceived(DataFile* dataFile) {
  if (dataFile->xtra) dataFile->xtra->hasNoSysEx = 0;
  if (dataFile->emptyMap) std::fill_n(dataFile->emptyMap, dataFile->emptyMapSize, std::uint8_t{0});
}

// Patch data that goes to the instrument at once overwrites what is there.
bool AgreesToOverwrite(Prompts& prompts, const ZKDrvList& driver) {
  MessagePrompt prompt;
  prompt.title = kTitle;
  prompt.text = "This new " + DriverTitle(driver) +
                " will automatically\nbe sent to the instrument and will automatically\noverwrite the existing data\n\n"
                "Are you sure you want to overwrite?";
  prompt.buttons = PromptButtons::OkCancel;
  prompt.icon = PromptIcon::Warning;
  prompt.labels = {"Overwrite", "Cancel"};
  return prompts.Message(prompt) == PromptAnswer::Ok;
}

}  // namespace

FillOutcome FillFromSysEx(std::span<const std::uint8_t> file, std::span<std::uint8_t> image) {
  if (image.empty() || file.size() < image.size()) return FillOutcome::WrongSize;
  if (file.size() == image.size()) {
    if (file.front() != kSysExStart) return FillOutcome::NotSysEx;
    std::copy(file.begin(), file.end(), image.begin());
    return FillOutcome::Filled;
  }
  for (std::size_t at = file.size() - image.size() + 1; at-- > 0;) {
    if (file[at] != kSysExStart || file[at + image.size() - 1] != kSysExEnd) continue;
    std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(at), image.size(), image.begin());
    return FillOutcome::Filled;
  }
  return FillOutcome::WrongSize;
}

FillOutcome FillFromMidiFile(std::span<const std::uint8_t> file, std::span<std::uint8_t> image) {
  if (image.size() < 2) return FillOutcome::NotMatched;
  const std::size_t data = image.size() - 1;  // behind the F0
  // An event that says its length comes before bytes that only look like one.
  for (const bool exact : {true, false}) {
    for (std::size_t at = 0; at < file.size(); ++at) {
      if (file[at] != kSysExStart) continue;
      std::uint32_t count = 0;
      const auto begin = SkipCount(file, at + 1, &count);
      if (!begin || file.size() - *begin < data || file[*begin + data - 1] != kSysExEnd) continue;
      if (exact && count != data) continue;
      image[0] = kSysExStart;
      std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(*begin), data, image.begin() + 1);
      return FillOutcome::Filled;
    }
  }
  return FillOutcome::NotMatched;
}

FillOutcome FillHeaderless(std::span<const std::uint8_t> file, std::span<std::uint8_t> image,
                           std::uint32_t headerSize) {
  const std::size_t header = std::min<std::size_t>(headerSize, image.size());
  const std::size_t count = std::min(file.size(), image.size() - header);
  std::copy_n(file.begin(), count, image.begin() + static_cast<std::ptrdiff_t>(header));
  return FillOutcome::Filled;
}

NewData DrvAddNewDataFile(const ZKStudioDoc& studio, Prompts& prompts, const Settings* settings, NewDataKind kind,
                          ZKDrvList* driver, const std::string& path) {
  NewData made;
  made.path = path.empty() ? prompts.File(PromptFor(kind, studio.paths().data.string())) : path;
  if (made.path.empty()) return made;
  made.state = NewData::State::Failed;
  std::vector<std::uint8_t> file;
  if (!ReadFile(prompts, made.path, &file)) return made;
  // The question ran the event loop: the studio may have changed.
  if (!driver || !studio.GetInstrumentDrvList(driver) || !driver->synth()) return made;
  DataFilePtr data = studio.GetNewDataFile(driver);
  if (!data || !data->body || data->bodySize < data->synth->fileSize) {
    prompts.Say(kTitle, "Driver Memory Allocation Failure");
    return made;
  }
  if (!Fill(prompts, kind, *driver, file, {data->body, data->synth->fileSize})) return made;
  MarkAsReceived(data.get());
  const Synth& s = *driver->synth();
  if (!s.isBank && s.reserved287) {
    if (!AgreesToOverwrite(prompts, *driver)) {
      made.state = NewData::State::Cancelled;
      return made;
    }
    made.sendNow = true;
  }
  if (s.isBank && s.reserved298) {
    const int wish = settings ? settings->Value(SettingId::MainAutoDefinePatchesAndBanks) : 0;
    made.autoDefine = wish != 0;
    if (made.autoDefine) MonitorMsg("Automatically Define Patches and Banks: %s", DriverTitle(*driver).c_str());
  }
  made.driver = driver;
  made.dataFile = std::move(data);
  made.state = NewData::State::Made;
  return made;
}

std::string AutoDefineBankLabel(const ZKStudioDoc& studio, const ZKDrvList* driver, int msb, int lsb) {
  if (!driver || !driver->synth()) return {};
  const std::string definition = GetDefn(*driver->synth());
  const std::string folder = definition.substr(0, definition.find_first_of("/:\\"));
  if (folder.empty()) return {};
  const auto file = FindPath(studio.paths().instruments.string(), folder + "/" + folder + ".ini", PathTrust::Untrusted);
  if (!file) return {};
  const std::string key = msb < 0 ? std::to_string(lsb) : Printf("MSB%d:LSB%d", msb, lsb);
  return IniFile(*file).GetString("Banks", key);
}

}  // namespace tonalith
