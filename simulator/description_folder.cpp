#include <algorithm>
#include <cstdlib>

#include "platform/atomic_file.h"
#include "simulator/description.h"

#ifndef TONALITH_SIMULATOR_DIR
#define TONALITH_SIMULATOR_DIR ""
#endif

namespace tonalith {

namespace {
constexpr std::size_t kMaxDescriptionFile = std::size_t{4} << 20;
}

DescriptionResult LoadDescription(const std::filesystem::path& file) {
  std::string text;
  if (const Result read = ReadWholeFile(file.string(), text, kMaxDescriptionFile); !read.ok())
    return {std::nullopt, "The instrument description cannot be read.  " + read.text, {}, {}};
  return ParseDescription(text, file.filename().string());
}

std::filesystem::path SimulatorFolder() {
  std::error_code error;
  std::vector<std::filesystem::path> candidates;
  if (const char* resources = std::getenv("TONALITH_RESOURCES"); resources != nullptr && *resources != '\0')
    candidates.push_back(std::filesystem::path(resources) / "simulator");
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) candidates.push_back(program.parent_path().parent_path() / "share/tonalith/simulator");
  const std::string_view built = TONALITH_SIMULATOR_DIR;
  if (!built.empty()) candidates.emplace_back(built);
  for (const auto& candidate : candidates)
    if (std::filesystem::is_directory(candidate, error)) return candidate;
  return {};
}

std::vector<std::string> SimulatedInstrumentKeys() {
  std::vector<std::string> keys;
  std::error_code error;
  const std::filesystem::path folder = SimulatorFolder();
  if (folder.empty()) return keys;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error))
    if (entry.path().extension() == ".sim") keys.push_back(entry.path().stem().string());
  std::sort(keys.begin(), keys.end());
  return keys;
}

DescriptionResult LoadDescriptionByKey(std::string_view key) {
  const std::filesystem::path folder = SimulatorFolder();
  if (folder.empty()) return {std::nullopt, "The descriptions of the simulated instruments were not found.", {}, {}};
  const auto keys = SimulatedInstrumentKeys();
  if (std::find(keys.begin(), keys.end(), key) == keys.end())
    return {std::nullopt, "There is no simulated instrument \"" + std::string(key) + "\".", {}, {}};
  return LoadDescription(folder / (std::string(key) + ".sim"));
}

}  // namespace tonalith
