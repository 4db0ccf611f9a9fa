#include "store/names/export_choices.h"

#include "platform/ini_file.h"

namespace tonalith {

namespace {

constexpr const char* kLast = "Export";
constexpr const char* kFolder = "Folder";
constexpr const char* kFormat = "Format";
constexpr const char* kAutomatic = "Automatic Export";

Result Kept(bool set, IniFile* ini) {
  return set ? ini->Save()
             : Result::Failure(
                   "The choice cannot be kept: the name of the file has characters that "
                   "cannot stand in the program's settings.");
}

}  // namespace

std::string ExportChoices::Folder() const {
  return IniFile(iniPath_).GetString(kLast, kFolder);
}

std::optional<ExportFormat> ExportChoices::Format() const {
  return ExportFormatOf(IniFile(iniPath_).GetString(kLast, kFormat));
}

Result ExportChoices::SetLast(const std::string& folder, std::optional<ExportFormat> format) {
  IniFile ini(iniPath_);
  const bool set = ini.Set(kLast, kFolder, folder) && (!format || ini.Set(kLast, kFormat, KindOf(*format).key));
  return Kept(set, &ini);
}

// "reaper|/home/me/names.reabank"
std::optional<AutomaticExport> ExportChoices::AutomaticOf(const std::string& bankPath) const {
  const std::string value = bankPath.empty() ? std::string() : IniFile(iniPath_).GetString(kAutomatic, bankPath);
  const std::size_t bar = value.find('|');
  if (bar == std::string::npos || bar + 1 == value.size()) return std::nullopt;
  const auto format = ExportFormatOf(value.substr(0, bar));
  if (!format) return std::nullopt;
  return AutomaticExport{*format, value.substr(bar + 1)};
}

Result ExportChoices::SetAutomatic(const std::string& bankPath, const std::optional<AutomaticExport>& exports) {
  IniFile ini(iniPath_);
  if (!exports) {
    ini.RemoveKey(kAutomatic, bankPath);
    return ini.Save();
  }
  return Kept(ini.Set(kAutomatic, bankPath, KindOf(exports->format).key + ("|" + exports->path)), &ini);
}

}  // namespace tonalith
