#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "chart/module_of_chart.h"
#include "platform/prompts.h"
#include "studio/module.h"
#include "studio/package_install.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"

namespace tonalith {

inline bool IsModuleSource(const std::filesystem::path& path) {
  return path.extension() == ".chart" || std::filesystem::exists(path / "module.ini");
}

// Names of the charts and source folders of the shipped modules, in order.
inline std::vector<std::string> ModuleFolders() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(TONALITH_SOURCE_DIR "/instruments"))
    if (IsModuleSource(entry.path())) names.push_back(entry.path().stem().string());
  std::sort(names.begin(), names.end());
  return names;
}

// All shipped modules, built from their sources, packed, unpacked and installed into a folder that goes away again.
class InstalledModules {
 public:
  static InstalledModules& Instance() {
    static InstalledModules modules;
    return modules;
  }

  const std::filesystem::path& folder() const { return folder_; }
  // Sources that do not become modules: folder and what is wrong.
  const std::map<std::string, std::string>& problems() const { return problems_; }
  ZKStudioDoc& studio() { return *studio_; }
  Recognizer& recognizer() { return *recognizer_; }
  // Name of a module's chart or source folder ("yamaha-dx7"), which is also the key of its simulated instrument, by
  // instrument name.
  const std::map<std::string, std::string>& keys() const { return keys_; }
  const std::map<int, std::string>& simulated() const { return simulated_; }
  // What a data type's source says about the simulated instrument; empty: nothing.
  std::string Simulated(int driverId) const {
    const auto found = simulated_.find(driverId);
    return found == simulated_.end() ? std::string() : found->second;
  }

 private:
  InstalledModules()
      : folder_(std::filesystem::temp_directory_path() / ("tonalith-modules-" + std::to_string(::getpid()))) {
    for (const auto& entry : std::filesystem::directory_iterator(TONALITH_SOURCE_DIR "/instruments")) {
      if (!IsModuleSource(entry.path())) continue;
      ModuleImage image;
      std::vector<std::uint8_t> package;
      PackageFiles files;
      InstallReport report;
      Result result = BuildModuleAt(entry.path(), &image);
      if (result.ok()) result = PackFiles(image.files, &package);
      if (result.ok()) result = UnpackFiles(package, &files);
      if (result.ok()) result = InstallPackageFiles(files, folder_, &report);
      if (!image.name.empty()) keys_[image.name] = entry.path().stem().string();
      simulated_.insert(image.simulated.begin(), image.simulated.end());
      if (!result.ok()) problems_[entry.path().stem().string()] = result.text;
    }
    studio_ =
        std::make_unique<ZKStudioDoc>(StudioPaths{folder_, folder_ / "data", folder_ / "preferences", {}}, prompts_);
    studio_->LoadStudio();
    recognizer_ = std::make_unique<Recognizer>(*studio_);
  }
  ~InstalledModules() {
    std::error_code error;
    std::filesystem::remove_all(folder_, error);
  }

  std::filesystem::path folder_;
  std::map<std::string, std::string> problems_;
  std::map<std::string, std::string> keys_;
  std::map<int, std::string> simulated_;
  ScriptedPrompts prompts_{{}};
  std::unique_ptr<ZKStudioDoc> studio_;
  std::unique_ptr<Recognizer> recognizer_;
};

// The folder of real dumps; empty when it is not there.
inline std::filesystem::path RealDumps() {
  const char* variable = std::getenv("TONALITH_SYSEX_DIR");
  const std::filesystem::path folder = variable ? variable : TONALITH_SOURCE_DIR "/../shared/sysex";
  return std::filesystem::is_directory(folder) ? folder : std::filesystem::path();
}

}  // namespace tonalith
