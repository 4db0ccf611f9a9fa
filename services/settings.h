#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ini_file.h"
#include "platform/result.h"
#include "services/settings_table.h"

namespace tonalith {

enum class SettingType : std::uint8_t { U8, U16 };
enum class SettingRule : std::uint8_t {
  Plain,
  Inverted,  // the field holds 1 when the key is 0, else 0
  MinusOne,  // the field holds the key less one; 0 stays 0
};
enum class SettingPage : std::uint8_t {
  None,  // on no page of the preferences
  Patch,
  Bank,
  Set,
  Collection,
  Library,
  Studio,
  Midi,
  Tones,
  Miscellaneous,
  NameServer,
  XmlNameServer,
};

enum class SettingId : std::uint16_t {
#define TONALITH_ROW(accessor, ...) accessor,
  TONALITH_ALL_NUMBER_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
};

inline constexpr char kConfigMagic[4] = {'T', 'Z', 'C', 'F'};
inline constexpr std::uint16_t kConfigVersion = 1;
inline constexpr std::size_t kConfigPathSize = 256;
inline constexpr std::size_t kSequenceFiles = 10;
// Entries of tonesData: eight notes, their velocities, their MIDI channels.
inline constexpr int kToneNotes = 8;

#pragma pack(push, 1)
// The settings as they lie in the configuration file: packed, little-endian.  A field keeps its place for ever, so that
// the record of any program can be read as far as it goes: new fields are added behind the last one only.
struct Config {
  char magic[4];
  std::uint16_t version;
  std::uint16_t size;
  using U8 = std::uint8_t;
  using U16 = std::uint16_t;
#define TONALITH_ROW(accessor, field, type, ...) type field;
  TONALITH_NUMBER_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
  std::uint8_t startUpOption;  // 1 in every configuration
#define TONALITH_ROW(accessor, field, entries, highest) std::uint8_t field[entries];
  TONALITH_ARRAY_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, count, field, entries) \
  std::uint8_t field##Count;                          \
  char field[entries][kConfigPathSize];
  TONALITH_LIST_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
#define TONALITH_ROW(accessor, field, bytes, section, key) char field[bytes];
  TONALITH_TEXT_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
  char seqPathFile[kSequenceFiles][kConfigPathSize];
#define TONALITH_ROW(accessor, field, type, ...) type field;
  TONALITH_LATER_NUMBER_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW
};
#pragma pack(pop)
static_assert(sizeof(Config) < 65536 && offsetof(Config, size) == 6);
inline constexpr std::size_t kConfigHeader = 8;  // magic, version and size
// Rows that are added to or taken out of the tables move everything behind them; the records of users would be misread.
static_assert(offsetof(Config, startUpOption) == 133 && offsetof(Config, seqPathFile) == 17730);

// One row of the number table, for everything that walks it (defaults, dialogs, tests).
struct SettingInfo {
  SettingId id;
  const char* name;  // of the accessor
  std::size_t offset;
  SettingType type;
  const char* section;  // null: not in the preferences file
  const char* key;
  int fallback;  // value of the key when it is missing (before the rule)
  int minimum;   // of the field
  int maximum;
  SettingRule rule;
  SettingPage page;
  const char* label;
};
std::span<const SettingInfo> SettingsTable();
const SettingInfo& Info(SettingId id);
// Null when there is no setting of that name (exact).
const SettingInfo* FindSetting(std::string_view accessor);

// The field of a record, and storing into one (cut to the row's range).
int ReadSetting(const Config& config, SettingId id);
void WriteSetting(Config& config, SettingId id, int value);

// The record that everything starts from when there is neither a preferences file nor a saved configuration.
const Config& GetDfltConfig();
// Fills `config` from the default record and the keys of a preferences file (a missing file leaves the defaults).
// preferencesPath is the folder that the plug-in folder lists are made from; empty: the lists stay empty.
void InitConfig(Config& config, const IniFile& ini, const std::string& preferencesPath);
// Makes a record that was read safe to use: texts end with a terminator, numbers lie in their ranges.
void SanitizeConfig(Config& config);

// "ZK.cfg" -> "ZK_v2.cfg"; a name that ends in "_v2.cfg" stays.
std::string VersionedConfigName(const std::string& name);
// Replaces the fields of `config` that lie whole in a record of this or an earlier version, whatever its size; the
// others stay.  False, with `config` untouched: other magic, a later version or less than a header.
bool ReadConfigRecord(std::span<const std::uint8_t> record, Config* config);
// Reads or writes the record as it is, under the versioned name.  Loading takes the file only when it has exactly
// `size` bytes; otherwise `record` stays untouched and the result is a failure.  Saving is atomic; the file is readable
// by its owner only.
Result MainLoadCfg(const std::string& name, void* record, std::size_t size);
Result MainSaveCfg(const std::string& name, const void* record, std::size_t size);

// The settings of the program.  Accessors may be called from any thread; listeners run on the calling thread.
class Settings {
 public:
  // MidiX Delay, MidiX Space, MidiX Slow, UseMIDITime, MIDI Transfer Rate.
  using PacingSink = std::function<void(const std::int16_t values[5])>;
  using Listener = std::function<void(SettingId id, int value)>;

  Settings();

  // Receives the five pacing values now, when they are loaded and when one of them is stored.
  int AddPacingSink(PacingSink sink);
  void RemovePacingSink(int id);
  void PushPacing() const;
  // Called when a number setting has been stored (also with its former value).
  int AddListener(Listener listener);
  void RemoveListener(int id);

  // Defaults, keys of the preferences file, then the user's saved record; at last the pacing values are handed over.
  // A saved record counts as far as it goes; one that ReadConfigRecord does not take is kept as NAME.broken, which the
  // failure says.
  Result MainLoadConfig(const std::string& cfgName, const std::string& iniName,
                        const std::string& preferencesPath = {});
  Result SaveConfig(const std::string& cfgName) const;
  // "MIDIDelay" of the preferences file: milliseconds between the messages of one send; 200 when missing.
  int MidiDelay() const;

  // The record itself; use it on the user-interface thread only, or take a copy.
  Config* GetConfig() { return &config_; }
  Config Copy() const;
  void Assign(const Config& config);

  // A value of 0 or more is stored (cut to the setting's range); the result is the value afterwards.
  int Access(SettingId id, int value);
  int Value(SettingId id) const;

#define TONALITH_ROW(accessor, ...)            \
  int accessor(int value) {                    \
    return Access(SettingId::accessor, value); \
  }
  TONALITH_ALL_NUMBER_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW

  // The same for one entry of an array; 0 for an index outside.
#define TONALITH_ROW(accessor, field, entries, highest)                \
  int accessor(int index, int value) {                                 \
    return AccessEntry(config_.field, entries, highest, index, value); \
  }
  TONALITH_ARRAY_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW

  // Lists: number of entries, one entry (empty outside), storing (an index equal to the count appends).  Storing a
  // smaller count cuts the list; a larger one is cut to the entries that are there.
#define TONALITH_ROW(accessor, count, field, entries)                                    \
  int count(int value) {                                                                 \
    return AccessCount(config_.field##Count, value);                                     \
  }                                                                                      \
  std::string accessor(int index) const {                                                \
    return ListEntry(config_.field[0], config_.field##Count, index);                     \
  }                                                                                      \
  bool accessor(int index, std::string_view path) {                                      \
    return StoreListEntry(config_.field[0], config_.field##Count, entries, index, path); \
  }
  TONALITH_LIST_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW

#define TONALITH_ROW(accessor, field, bytes, section, key) \
  std::string accessor() const {                           \
    return ReadText(config_.field, bytes);                 \
  }                                                        \
  void accessor(std::string_view text) {                   \
    StoreText(config_.field, bytes, text);                 \
  }
  TONALITH_TEXT_SETTINGS(TONALITH_ROW)
#undef TONALITH_ROW

  // File of a buffer of the sequence player, 0 to 9.
  std::string MainGetSeqPathFile(int buffer) const;
  void MainSetSeqPathFile(int buffer, std::string_view path);

 private:
  int AccessEntry(std::uint8_t* entries, int count, int highest, int index, int value);
  int AccessCount(std::uint8_t& count, int value);
  std::string ListEntry(const char* first, const std::uint8_t& count, int index) const;
  bool StoreListEntry(char* first, std::uint8_t& count, int most, int index, std::string_view path);
  std::string ReadText(const char* field, std::size_t size) const;
  void StoreText(char* field, std::size_t size, std::string_view text);

  mutable std::mutex mutex_;
  Config config_;
  int midiDelay_ = 200;
  std::vector<std::pair<int, PacingSink>> pacing_;
  std::vector<std::pair<int, Listener>> listeners_;
  int nextListener_ = 1;
};

}  // namespace tonalith
