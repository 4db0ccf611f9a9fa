#include "store/initial_patch.h"

#include <string>

#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "store/bank_slots.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostPatchBytes = 1u << 20;

// A name out of a record as a part of a file name.
fs::path FileIn(const fs::path& folder, const std::string& latin1Name) {
  return folder / Latin1ToUtf8(FixInvalidFilenameCharacters(latin1Name));
}

std::optional<InitialPatch> PatchOfFile(const fs::path& file, const BankSlots& slots) {
  InitialPatch patch;
  std::error_code none;
  if (!fs::is_regular_file(file, none) || !ReadWholeFile(file.string(), patch.raw, kMostPatchBytes).ok()) return {};
  if (patch.raw.size() != slots.RawSize()) return {};
  return patch;
}

bool Set(std::vector<std::uint8_t>* bytes, int index, int value) {
  if (index < 0 || static_cast<std::size_t>(index) >= kMostPatchBytes) return false;
  if (bytes->size() <= static_cast<std::size_t>(index)) bytes->resize(static_cast<std::size_t>(index) + 1);
  (*bytes)[static_cast<std::size_t>(index)] = static_cast<std::uint8_t>(value);
  return true;
}

// "Count" pairs of an index ("0I") and its value ("0V").
std::optional<InitialPatch> PatchOfPairs(const IniFile& ini, const std::string& section) {
  if (ini.GetInt(section, "Enable") != 1) return {};
  InitialPatch patch;
  const int count = ini.GetInt(section, "Count");
  for (int i = 0; i < count && static_cast<std::size_t>(i) < kMostPatchBytes; ++i) {
    const auto index = ini.Find(section, Printf("%dI", i));
    if (!index || !Set(&patch.logical, LeadingInteger(*index), ini.GetInt(section, Printf("%dV", i)))) break;
  }
  return patch;
}

// A key for each byte.
std::optional<InitialPatch> PatchOfBytes(const IniFile& ini, const std::string& section) {
  InitialPatch patch;
  for (const auto& [key, value] : ini.Entries(section))
    if (const auto index = ParseInteger(key); index && *index >= 0 && *index < std::int64_t{kMostPatchBytes})
      Set(&patch.logical, static_cast<int>(*index), LeadingInteger(value));
  if (patch.logical.empty()) return {};
  return patch;
}

}  // namespace

IniFile DataTypeIni(const fs::path& moduleFolder, const Synth& synth) {
  return IniFile(FileIn(moduleFolder, FieldText(synth.typeName) + ".ini").string());
}

std::optional<InitialPatch> FindInitialPatch(const fs::path& moduleFolder, const Synth& synth, const BankSlots& slots) {
  const std::string id = std::to_string(+synth.driverId), key = FieldText(synth.typeKey);
  for (const std::string& name : {"InitForID" + id + "." + key + ".bin", "InitForID" + id + ".bin"})
    if (auto patch = PatchOfFile(FileIn(moduleFolder, name), slots)) return patch;
  const IniFile ini = DataTypeIni(moduleFolder, synth);
  if (auto patch = PatchOfPairs(ini, "Bank Init " + id + " " + Latin1ToUtf8(key))) return patch;
  return PatchOfBytes(ini, "Bank Init");
}

Result WriteInitialPatch(const fs::path& moduleFolder, const Synth& synth, const BankSlots& slots, bool ini,
                         std::string* file) {
  if (std::string reason = slots.Refusal(); !reason.empty()) return Result::Failure(std::move(reason));
  const std::string id = std::to_string(+synth.driverId), key = FieldText(synth.typeKey);
  if (!ini) {
    *file = FileIn(moduleFolder, "InitForID" + id + "." + key + ".bin").string();
    return WriteFileAtomically(*file, slots.Raw(0));
  }
  IniFile types = DataTypeIni(moduleFolder, synth);
  *file = types.path();
  const std::string section = "Bank Init " + id + " " + Latin1ToUtf8(key);
  types.RemoveSection(section);
  types.Set(section, "Enable", "1");
  int count = 0;
  for (std::uint32_t i = 0; i < synth.voiceBytes && i < kMostPatchBytes; ++i) {
    const std::uint8_t value = slots.Logical(0, i);
    if (value == 0) continue;
    types.SetInt(section, Printf("%dI", count), i);
    types.SetInt(section, Printf("%dV", count++), value);
  }
  types.SetInt(section, "Count", count);
  return types.Save();
}

}  // namespace tonalith
