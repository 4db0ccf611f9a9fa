#include <unistd.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>

#include "studio/module.h"
#include "studio/new_data.h"
#include "studio/package_install.h"
#include "studio/studio_document.h"

// Bytes as a studio file, with a module whose drivers it may name; what was read must survive being written and read
// again.  The same bytes as a file for new data.

namespace tonalith {
namespace {

class NobodyAnswers final : public Prompts {
 public:
  PromptAnswer Message(const MessagePrompt& prompt) override { return RefusingAnswer(prompt.buttons); }
  std::string File(const FilePrompt&) override { return {}; }
  bool Text(const TextPrompt&, std::string&) override { return false; }
};

struct StudioFolder {
  std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("tonalith-fuzz-studio-" + std::to_string(::getpid()));
  NobodyAnswers prompts;

  StudioFolder() {
    const ModuleSource source = {
        {"module.ini", "[Module]\nName = Synth\nDriverBase = 7\nTypes = patch\nmanufacturerId = 0x3E\n"},
        {"patch.descriptor", "typeName = Patch\nfileSize = 10\nnameLength = 8\n"}};
    ModuleImage image;
    InstallReport report;
    if (!BuildModule(source, &image).ok() || !InstallPackageFiles(image.files, folder, &report).ok()) __builtin_trap();
  }
  ~StudioFolder() {
    std::error_code error;
    std::filesystem::remove_all(folder, error);
  }
};

}  // namespace
}  // namespace tonalith

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tonalith;
  static StudioFolder fuzz;
  const StudioPaths paths{fuzz.folder, fuzz.folder, fuzz.folder, {}};
  ZKStudioDoc studio(paths, fuzz.prompts);
  std::string error;
  studio.ReadStudio({data, data + size}, &error);
  const std::vector<std::uint8_t> written = studio.file().WriteStudio();
  ZKStudioDoc again(paths, fuzz.prompts);
  if (again.ReadStudio(written, &error) != 0 || again.file().WriteStudio() != written) __builtin_trap();
  studio.TextSummary();
  studio.DrvPrint(10);
  std::array<std::uint8_t, 40> image{};
  FillFromSysEx({data, size}, image);
  FillFromMidiFile({data, size}, image);
  return 0;
}
