#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/prompts.h"
#include "studio/module.h"
#include "studio/package_install.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"

namespace tonalith {

// All shipped modules, built from their sources, packed, unpacked and installed into a folder that goes away again.
class InstalledModules {
 public:
  static InstalledModules& Instance() {
    static InstalledModules modules;
    return modules;
  }

  const std::filesystem::path& folder() const { return folder_; }
  const std::string& problem() const { return problem_; }
  ZKStudioDoc& studio() { return *studio_; }
  Recognizer& recognizer() { return *recognizer_; }

 private:
  InstalledModules()
      : folder_(std::filesystem::temp_directory_path() / ("tonalith-modules-" + std::to_string(::getpid()))) {
    for (const auto& entry : std::filesystem::directory_iterator(TONALITH_SOURCE_DIR "/instruments")) {
      if (!entry.is_directory()) continue;
      ModuleSource source;
      ModuleImage image;
      std::vector<std::uint8_t> package;
      PackageFiles files;
      InstallReport report;
      Result result = ReadModuleSource(entry.path(), &source);
      if (result.ok()) result = BuildModule(source, &image);
      if (result.ok()) result = PackFiles(image.files, &package);
      if (result.ok()) result = UnpackFiles(package, &files);
      if (result.ok()) result = InstallPackageFiles(files, folder_, &report);
      if (!result.ok()) problem_ += entry.path().filename().string() + ": " + result.text + "\n";
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
  std::string problem_;
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
