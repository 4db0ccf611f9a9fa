#include "tools/sysex_entry.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <span>

#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/path_resolver.h"

namespace tonalith {

namespace {

constexpr char kWriteFailure[] = "Write failure!\nCancelling save";
constexpr char kNotRead[] = "The message could not be read back from the data folder.";
constexpr char kRawName[] = "Raw SysEx";

bool IsTokenCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// A name in the folder that no file has.
std::string FreeName(const std::string& folder) {
  std::error_code none;
  for (int number = 1;; ++number) {
    std::string name = "temp-" + std::to_string(number) + ".syx";
    if (!std::filesystem::exists(JoinPath(folder, name), none)) return name;
  }
}

}  // namespace

std::vector<std::uint8_t> ParseSysExText(std::string_view text, SysExNumbers numbers) {
  const int base = numbers == SysExNumbers::Hexadecimal ? 16 : 0;
  std::vector<std::uint8_t> bytes;
  std::string token;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && IsTokenCharacter(text[i])) {
      token += text[i];
      continue;
    }
    if (!token.empty()) bytes.push_back(static_cast<std::uint8_t>(std::strtoul(token.c_str(), nullptr, base)));
    token.clear();
  }
  return bytes;
}

std::string SysExWarning(const std::vector<std::uint8_t>& bytes) {
  if (bytes.empty()) return {};
  if (bytes.front() != 0xF0 || bytes.back() != 0xF7)
    return "These bytes do not begin with F0 and end with F7: they are no whole SysEx message.";
  const auto inside = std::span(bytes).subspan(1, bytes.size() - 2);
  const bool data = std::all_of(inside.begin(), inside.end(), [](std::uint8_t byte) { return byte < 0x80; });
  return data ? std::string() : "There are bytes of 80 and above between F0 and F7: this is more than one message.";
}

Result MakeRawSysEx(const std::vector<std::uint8_t>& bytes, const std::string& folder, DataFilePtr* data) {
  if (!MakeFolders(folder).ok()) return Result::Failure(kWriteFailure);
  const std::string name = FreeName(folder);
  const std::string path = JoinPath(folder, name);
  if (!WriteFileAtomically(path, std::span<const std::uint8_t>(bytes)).ok()) return Result::Failure(kWriteFailure);
  DataFilePtr made = CreateMidiXFile(folder, name);
  std::error_code none;
  std::filesystem::remove(path, none);
  if (!made || !AddDataFileComponents(made.get(), 0, nullptr) || !made->xtra || !made->fileName)
    return Result::Failure(kNotRead);
  made->xtra->hasNoSysEx = 0;
  std::snprintf(made->fileName, made->fileNameSize, "%s", kRawName);
  *data = std::move(made);
  return Result::Success();
}

}  // namespace tonalith
