#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/ini_file.h"
#include "platform/text.h"

// Whatever the bytes are: unchanged files are written back byte for byte, a value that was set is read back after
// writing, and nothing else is lost by setting it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tonalith::IniFile;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  IniFile ini = IniFile::FromBytes(bytes);
  if (ini.ToBytes() != bytes) std::abort();
  std::string section = "Section";
  std::string key = "Key";
  std::size_t entries = 0;
  for (const std::string& name : ini.Sections()) {
    for (const auto& entry : ini.Entries(name)) {
      if (ini.Find(name, entry.first) != entry.second) std::abort();
      (void)ini.GetInt(name, entry.first, 1);
      section = name;
      key = entry.first;
      ++entries;
    }
  }
  const std::string value = tonalith::Latin1ToUtf8(bytes.substr(0, 40));
  if (!ini.Set(section, key, value)) return 0;
  const auto stored = ini.Find(section, key);
  const IniFile again = IniFile::FromBytes(ini.ToBytes());
  if (!stored || again.Find(section, key) != stored) std::abort();
  std::size_t after = 0;
  for (const std::string& name : again.Sections()) after += again.Keys(name).size();
  if (after < entries) std::abort();
  ini.RemoveKey(section, key);
  ini.RemoveSection(section);
  return 0;
}
