#include "services/keep_before_send.h"

#include <array>
#include <cstddef>

#include "platform/ini_file.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr const char* kKeepSection = "Keep Before Send";
constexpr const char* kVerifySection = "Verify After Send";
constexpr std::array<const char*, 3> kKeepWords{"Never", "Ask", "Always"};

// A name as it can stand left of a '='.
std::string KeyOf(const std::string& instrument) {
  std::string key = ReplaceAll(instrument, "=", "-");
  if (!key.empty() && (key.front() == '[' || key.front() == ';')) key.front() = '-';
  return key;
}

Result Choose(const std::string& iniPath, const char* section, const std::string& instrument, const char* word) {
  IniFile ini(iniPath);
  if (!ini.Set(section, KeyOf(instrument), word))
    return Result::Failure("The choice for \"" + instrument + "\" could not be kept.");
  return ini.Save();
}

}  // namespace

KeepBeforeSend KeepBeforeSendOf(const std::string& iniPath, const std::string& instrument) {
  const std::string word = IniFile(iniPath).GetString(kKeepSection, KeyOf(instrument));
  for (std::size_t i = 0; i < kKeepWords.size(); ++i)
    if (AsciiEqualNoCase(word, kKeepWords[i])) return static_cast<KeepBeforeSend>(i);
  return KeepBeforeSend::kDoNotKeep;
}

Result SetKeepBeforeSend(const std::string& iniPath, const std::string& instrument, KeepBeforeSend keep) {
  return Choose(iniPath, kKeepSection, instrument, kKeepWords[static_cast<std::size_t>(keep)]);
}

bool VerifiesAfterSend(const std::string& iniPath, const std::string& instrument) {
  return IniFile(iniPath).GetInt(kVerifySection, KeyOf(instrument)) != 0;
}

Result SetVerifiesAfterSend(const std::string& iniPath, const std::string& instrument, bool verifies) {
  return Choose(iniPath, kVerifySection, instrument, verifies ? "1" : "0");
}

}  // namespace tonalith
