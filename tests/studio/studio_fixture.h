#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/prompts.h"
#include "studio/module.h"
#include "studio/package_install.h"
#include "studio/studio_document.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {

// Ports whose lists the test sets.
class TestPorts final : public StudioPorts {
 public:
  std::vector<std::string> in{"In A", "In B"}, out{"Out A", "Out B"};
  std::vector<std::pair<int, int>> speeds;
  std::vector<std::string> InputPortNames() const override { return in; }
  std::vector<std::string> OutputPortNames() const override { return out; }
  void SetMaxSysExSpeed(int port, int speed) override { speeds.emplace_back(port, speed); }
};

// A folder with one installed module: "Synth" with a bank (id 7) and a patch (id 8).
class StudioTest : public ::testing::Test {
 protected:
  StudioTest() {
    const ModuleSource source = {
        {"module.ini",
         "[Module]\nName = Synth\nDriverBase = 7\nTypes = bank patch\nmanufacturerId = 0x3E\nhasSysExChannel = 1\n"
         "[Instrument]\nMaxSysExSpeed = 5000\nV40_1 = 3\nPch0 = 1\n[Device Inquiry]\nMacDefaultMidiInPort = in "
         "b\nMacDefaultMidiOutPort = OUT B\n"},
        {"bank.descriptor",
         "typeName = Bank\nfileSize = 40\nnumVoices = 4\nvoiceSize = 10\nnameLength = 8\ninitName = Init\npatchByPatch "
         "= 1\npatchType = patch\n"},
        {"patch.descriptor",
         "typeName = Patch\ntypeKey = PCH\nfileSize = 10\nnameLength = 8\nmidiChannelDefault = 2\nsysExChannelDefault "
         "= 4\nsysExChannelMin = 3\n"}};
    ModuleImage image;
    InstallReport report;
    Result result = BuildModule(source, &image);
    if (result.ok()) result = InstallPackageFiles(image.files, paths().instruments, &report);
    EXPECT_TRUE(result.ok()) << result.text;
  }
  StudioPaths paths() const { return {root_ / "Instruments", root_ / "Data", root_ / "Preferences", root_ / "ZK.ini"}; }

  const TestFolder folder_;
  const std::filesystem::path root_ = folder_.path();
  ScriptedPrompts prompts_{{}};
  TestPorts ports_;
};

}  // namespace tonalith
