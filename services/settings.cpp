#include "services/settings.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/atomic_file.h"
#include "platform/log.h"
#include "platform/path_resolver.h"
#include "platform/text.h"

namespace tonalith {

static_assert(std::endian::native == std::endian::little, "the configuration record is stored as it lies in memory");

namespace {

constexpr int kDefaultMidiDelay = 200;

constexpr SettingInfo kSettings[] = {
#define TONALITH_ROW(accessor, field, type, section, key, fallback, low, high, rule, page, label) \
  {SettingId::accessor,                                                                           \
   #accessor,                                                                                     \
   offsetof(Config, field),                                                                       \
   SettingType::type,                                                                             \
   section,                                                                                       \
   key,                                                                                           \
   fallback,                                                                                      \
   low,                                                                                           \
   high,                                                                                          \
   SettingRule::rule,                                                                             \
   SettingPage::page,                                                                             \
   label},
    TONALITH_ALL_NUMBER_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
};

struct TextSettingInfo {
  std::size_t offset;
  std::size_t size;
  const char* section;
  const char* key;
};
constexpr TextSettingInfo kTextSettings[] = {
#define TONALITH_ROW(accessor, field, bytes, section, key) {offsetof(Config, field), bytes, section, key},
    TONALITH_TEXT_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
};

int FieldValue(const SettingInfo& row, int keyValue) {
  switch (row.rule) {
    case SettingRule::Inverted:
      return keyValue == 0 ? 1 : 0;
    case SettingRule::MinusOne:
      return std::max(0, keyValue - 1);
    case SettingRule::Plain:
      break;
  }
  return keyValue;
}

bool IsPacing(SettingId id) {
  return id == SettingId::MainDelay || id == SettingId::MainDelayMidi || id == SettingId::MainMidiSlow ||
         id == SettingId::MainUseMidiTime || id == SettingId::MainMidiTransferRate;
}

Config MakeDefaultConfig() {
  Config config{};
  std::memcpy(config.magic, kConfigMagic, sizeof config.magic);
  config.version = kConfigVersion;
  config.size = static_cast<std::uint16_t>(sizeof config);
  for (const SettingInfo& row : kSettings) WriteSetting(config, row.id, FieldValue(row, row.fallback));
  config.startUpOption = 1;
  // A C major chord and its octaves.
  constexpr std::uint8_t kNotes[kToneNotes] = {60, 64, 67, 72, 48, 52, 55, 84};
  for (int i = 0; i < kToneNotes; ++i) {
    config.tonesData[i] = kNotes[i];
    config.tonesData[kToneNotes + i] = 100;
  }
  for (std::uint8_t i = 0; i < 16; ++i) config.seqChannel[i] = i;
  return config;
}

// One entry each: the folder above the preferences folder and the customary place below it.
void FillPluginFolders(Config& config, const std::string& preferencesPath) {
  const std::size_t cut = preferencesPath.find_last_of("/:");
  if (cut == std::string::npos) return;
  const std::string parent = preferencesPath.substr(0, cut + 1);
  const struct {
    std::uint8_t& count;
    char (&first)[kConfigPathSize];
    const char* below;
  } lists[] = {{config.vstPathsCount, config.vstPaths[0], "Audio/Plug-Ins/VST"},
               {config.vst3PathsCount, config.vst3Paths[0], "Audio/Plug-ins/VST3"}};
  for (const auto& list : lists) {
    const std::string folder = parent + list.below;
    if (folder.size() >= kConfigPathSize) continue;
    MakeFolders(folder);
    CopyText(list.first, folder);
    list.count = 1;
  }
}

}  // namespace

std::span<const SettingInfo> SettingsTable() {
  return kSettings;
}

const SettingInfo& Info(SettingId id) {
  return kSettings[static_cast<std::size_t>(id)];
}

const SettingInfo* FindSetting(std::string_view accessor) {
  for (const SettingInfo& row : kSettings) {
    if (accessor == row.name) return &row;
  }
  return nullptr;
}

int ReadSetting(const Config& config, SettingId id) {
  const SettingInfo& row = Info(id);
  const char* place = reinterpret_cast<const char*>(&config) + row.offset;
  if (row.type == SettingType::U8) return static_cast<std::uint8_t>(*place);
  std::uint16_t value = 0;
  std::memcpy(&value, place, sizeof value);
  return value;
}

void WriteSetting(Config& config, SettingId id, int value) {
  const SettingInfo& row = Info(id);
  char* place = reinterpret_cast<char*>(&config) + row.offset;
  const auto stored = static_cast<std::uint16_t>(std::clamp(value, row.minimum, row.maximum));
  if (row.type == SettingType::U8) {
    *place = static_cast<char>(stored);
  } else {
    std::memcpy(place, &stored, sizeof stored);
  }
}

const Config& GetDfltConfig() {
  static const Config config = MakeDefaultConfig();
  return config;
}

void InitConfig(Config& config, const IniFile& ini, const std::string& preferencesPath) {
  if (&config != &GetDfltConfig()) config = GetDfltConfig();
  config.startUpOption = 1;
  config.useSynchronizedEditing = 1;
  FillPluginFolders(config, preferencesPath);
  for (const SettingInfo& row : kSettings) {
    if (row.key) WriteSetting(config, row.id, FieldValue(row, ini.GetInt(row.section, row.key, row.fallback)));
  }
  for (const TextSettingInfo& row : kTextSettings) {
    if (!row.key) continue;
    const std::string text = ini.GetString(row.section, row.key);
    CopyText(reinterpret_cast<char*>(&config) + row.offset, row.size, CutUtf8(text, row.size - 1));
  }
}

void SanitizeConfig(Config& config) {
  for (const SettingInfo& row : kSettings) WriteSetting(config, row.id, ReadSetting(config, row.id));
  config.startUpOption = 1;
  for (const TextSettingInfo& row : kTextSettings) reinterpret_cast<char*>(&config)[row.offset + row.size - 1] = 0;
#define TONALITH_ROW(accessor, field, entries, highest) \
  for (std::uint8_t & entry : config.field) entry = std::min<std::uint8_t>(entry, highest);
  TONALITH_ARRAY_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, counter, field, entries)                       \
  config.field##Count = std::min<std::uint8_t>(config.field##Count, entries); \
  for (auto& entry : config.field) entry[kConfigPathSize - 1] = 0;
  TONALITH_LIST_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
  for (auto& entry : config.seqPathFile) entry[kConfigPathSize - 1] = 0;
}

namespace {

// The end of the last field, or table of fields, that lies whole in the first `size` bytes of a record.
std::size_t WholeFields(std::size_t size) {
  std::size_t end = kConfigHeader;
  const auto take = [&](std::size_t first, std::size_t bytes) {
    if (first == end && first + bytes <= size) end = first + bytes;
  };
  const auto takeNumbers = [&] {
    for (const SettingInfo& row : kSettings) take(row.offset, row.type == SettingType::U8 ? 1 : 2);
  };
  takeNumbers();
  take(offsetof(Config, startUpOption), 1);
#define TONALITH_ROW(accessor, field, entries, highest) take(offsetof(Config, field), sizeof(Config::field));
  TONALITH_ARRAY_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, count, field, entries) \
  take(offsetof(Config, field##Count), sizeof(Config::field##Count) + sizeof(Config::field));
  TONALITH_LIST_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
  for (const TextSettingInfo& row : kTextSettings) take(row.offset, row.size);
  for (std::size_t i = 0; i < kSequenceFiles; ++i)
    take(offsetof(Config, seqPathFile) + i * kConfigPathSize, kConfigPathSize);
  takeNumbers();  // those behind everything else
  return end;
}

}  // namespace

bool ReadConfigRecord(std::span<const std::uint8_t> record, Config* config) {
  Config header;
  if (record.size() < kConfigHeader) return false;
  std::memcpy(static_cast<void*>(&header), record.data(), kConfigHeader);
  if (std::memcmp(header.magic, kConfigMagic, sizeof header.magic) != 0 || header.version > kConfigVersion)
    return false;
  const std::size_t end = WholeFields(std::min<std::size_t>(record.size(), header.size));
  std::memcpy(reinterpret_cast<char*>(config) + kConfigHeader, record.data() + kConfigHeader, end - kConfigHeader);
  SanitizeConfig(*config);
  return true;
}

std::string VersionedConfigName(const std::string& name) {
  constexpr std::string_view kEnding = "_v2.cfg";
  if (name.size() >= kEnding.size() && std::string_view(name).substr(name.size() - kEnding.size()) == kEnding) {
    return name;
  }
  std::string versioned = name;
  return versioned.insert(name.size() < 4 ? 0 : name.size() - 4, "_v2");
}

Result MainLoadCfg(const std::string& name, void* record, std::size_t size) {
  std::vector<std::uint8_t> bytes;
  const std::string path = VersionedConfigName(name);
  if (const Result result = ReadWholeFile(path, bytes, size); !result) return result;
  if (bytes.size() != size) return Result::Failure(path + " is not a configuration file of this version.");
  std::memcpy(record, bytes.data(), size);
  return Result::Success();
}

Result MainSaveCfg(const std::string& name, const void* record, std::size_t size) {
  const std::string path = VersionedConfigName(name);
  if (const Result made = MakeFolders(FolderOf(path)); !made) return made;
  AtomicFile file;
  if (const Result result = file.Open(path, 0600); !result) return result;
  if (const Result result = file.Write(std::span(static_cast<const std::uint8_t*>(record), size)); !result) {
    return result;
  }
  return file.Commit();
}

// --- Settings --------------------------------------------------------------------------------------------------------

Settings::Settings() : config_(GetDfltConfig()) {}

int Settings::AddPacingSink(PacingSink sink) {
  int id = 0;
  {
    std::lock_guard guard(mutex_);
    id = nextListener_++;
    pacing_.emplace_back(id, std::move(sink));
  }
  PushPacing();
  return id;
}

void Settings::RemovePacingSink(int id) {
  std::lock_guard guard(mutex_);
  std::erase_if(pacing_, [id](const auto& entry) { return entry.first == id; });
}

void Settings::PushPacing() const {
  std::vector<std::pair<int, PacingSink>> sinks;
  std::int16_t values[5] = {};
  {
    std::lock_guard guard(mutex_);
    sinks = pacing_;
    values[0] = static_cast<std::int16_t>(config_.delay);
    values[1] = static_cast<std::int16_t>(config_.delayMidi);
    values[2] = static_cast<std::int16_t>(config_.midiSlow);
    values[3] = static_cast<std::int16_t>(config_.useMidiTime);
    values[4] = static_cast<std::int16_t>(config_.midiTransferRate);
  }
  for (const auto& sink : sinks) sink.second(values);
}

int Settings::AddListener(Listener listener) {
  std::lock_guard guard(mutex_);
  listeners_.emplace_back(nextListener_, std::move(listener));
  return nextListener_++;
}

void Settings::RemoveListener(int id) {
  std::lock_guard guard(mutex_);
  std::erase_if(listeners_, [id](const auto& entry) { return entry.first == id; });
}

Result Settings::MainLoadConfig(const std::string& cfgName, const std::string& iniName,
                                const std::string& preferencesPath) {
  const IniFile ini(iniName);
  Config loaded;
  InitConfig(loaded, ini, preferencesPath);
  const std::string path = VersionedConfigName(cfgName);
  std::vector<std::uint8_t> record;
  const Result read = ReadWholeFile(path, record);
  Result result;
  if (read.ok() ? !ReadConfigRecord(record, &loaded) : read.code == kFileTooLarge) {
    std::string aside;
    const Result kept = SetAsideBroken(path, &aside);
    result = Result::Failure("The settings in " + path +
                             " are damaged or of another program, so the usual ones are used.  " +
                             (kept.ok() ? "The file was kept as " + aside + "." : kept.text));
  } else if (!read.ok() && read.code != kFileMissing) {
    result = Result::Failure("The settings could not be read, so the usual ones are used.  " + read.text);
  }
  if (!result.ok()) DebugLog("%s", result.text.c_str());
  {
    std::lock_guard guard(mutex_);
    midiDelay_ = std::max(0, ini.GetInt("Preferences", "MIDIDelay", kDefaultMidiDelay));
  }
  Assign(loaded);
  return result;
}

Result Settings::SaveConfig(const std::string& cfgName) const {
  const Config config = Copy();
  return MainSaveCfg(cfgName, &config, sizeof config);
}

int Settings::MidiDelay() const {
  std::lock_guard guard(mutex_);
  return midiDelay_;
}

Config Settings::Copy() const {
  std::lock_guard guard(mutex_);
  return config_;
}

void Settings::Assign(const Config& config) {
  std::vector<std::pair<int, Listener>> listeners;
  {
    std::lock_guard guard(mutex_);
    config_ = config;
    listeners = listeners_;
  }
  PushPacing();
  for (const auto& entry : listeners) {
    for (const SettingInfo& row : kSettings) entry.second(row.id, ReadSetting(config, row.id));
  }
}

int Settings::Value(SettingId id) const {
  std::lock_guard guard(mutex_);
  return ReadSetting(config_, id);
}

int Settings::Access(SettingId id, int value) {
  if (value < 0) return Value(id);
  std::vector<std::pair<int, Listener>> listeners;
  int stored = 0;
  {
    std::lock_guard guard(mutex_);
    WriteSetting(config_, id, value);
    stored = ReadSetting(config_, id);
    listeners = listeners_;
  }
  if (IsPacing(id)) PushPacing();
  for (const auto& entry : listeners) entry.second(id, stored);
  return stored;
}

int Settings::AccessEntry(std::uint8_t* entries, int count, int highest, int index, int value) {
  if (index < 0 || index >= count) return 0;
  std::lock_guard guard(mutex_);
  if (value >= 0) entries[index] = static_cast<std::uint8_t>(std::min(value, highest));
  return entries[index];
}

int Settings::AccessCount(std::uint8_t& count, int value) {
  std::lock_guard guard(mutex_);
  if (value >= 0) count = static_cast<std::uint8_t>(std::min<int>(count, value));
  return count;
}

std::string Settings::ListEntry(const char* first, const std::uint8_t& count, int index) const {
  std::lock_guard guard(mutex_);
  return index < 0 || index >= count ? std::string()
                                     : std::string(first + kConfigPathSize * static_cast<unsigned>(index));
}

bool Settings::StoreListEntry(char* first, std::uint8_t& count, int most, int index, std::string_view path) {
  std::lock_guard guard(mutex_);
  if (index < 0 || index > count || index >= most || path.size() >= kConfigPathSize) return false;
  CopyText(first + kConfigPathSize * static_cast<unsigned>(index), kConfigPathSize, path);
  if (index == count) ++count;
  return true;
}

std::string Settings::ReadText(const char* field, std::size_t size) const {
  std::lock_guard guard(mutex_);
  return std::string(field, strnlen(field, size));
}

void Settings::StoreText(char* field, std::size_t size, std::string_view text) {
  std::lock_guard guard(mutex_);
  CopyText(field, size, CutUtf8(text, size - 1));
}

std::string Settings::MainGetSeqPathFile(int buffer) const {
  if (buffer < 0 || buffer >= static_cast<int>(kSequenceFiles)) return {};
  return ReadText(config_.seqPathFile[buffer], kConfigPathSize);
}

void Settings::MainSetSeqPathFile(int buffer, std::string_view path) {
  if (buffer < 0 || buffer >= static_cast<int>(kSequenceFiles)) return;
  StoreText(config_.seqPathFile[buffer], kConfigPathSize, path);
}

}  // namespace tonalith
