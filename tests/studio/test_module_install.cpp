#include "platform/atomic_file.h"
#include "studio/module_install.h"
#include "studio_fixture.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

class ModuleInstallTest : public StudioTest {
 protected:
  // The installed module as a package, in another version.
  PackageData Package(const char* name) {
    PackageFiles files;
    for (const char* file : {"Synth.ini", "Synth/bank.PV6", "Synth/patch.PV6"}) {
      std::vector<std::uint8_t> bytes;
      EXPECT_TRUE(ReadWholeFile((paths().instruments / file).string(), bytes).ok());
      files.push_back({file, bytes});
    }
    return Packed(name, files);
  }
  static PackageData Packed(const char* name, const PackageFiles& files) {
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(PackFiles(files, &bytes).ok());
    return PackageData::Of(name, std::move(bytes));
  }
  void PutDefinition() {
    ASSERT_TRUE(EnsureInstrumentFolder(paths().instruments, TONALITH_SOURCE_DIR "/resources").ok());
  }
};

TEST_F(ModuleInstallTest, InstrumentsAreReadAnewInTheirPlaces) {
  PutDefinition();
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  studio.AddDrivers("Synth.ini");
  studio.GetInstrument(0)->SetOutPort(0, "Out A");
  studio.GetInstrument(1)->SetSysExChannel(9);
  studio.GetInstrument(1)->SetPatchBay(kPatchBayOn, 3, 1, 64, "Out B");
  studio.GetInstrument(1)->drivers[0]->defaultPatch = 2;
  const ZKDrvList* former = studio.GetInstrument(1);
  InstallReport report;
  ModuleInStudio outcome;
  const Result result = InstallInstrumentModule(studio, Package("Synth (1).pvz"), false, &report, &outcome);
  ASSERT_TRUE(result.ok()) << result.text;
  EXPECT_EQ(outcome.reloaded, 2);
  ASSERT_EQ(studio.instruments().size(), 2u) << "none is added";
  EXPECT_NE(studio.GetInstrument(1), former);
  EXPECT_EQ(studio.GetInstrument(0)->outPortName, "Out A");
  const ZKDrvList* second = studio.GetInstrument(1);
  EXPECT_EQ(second->DisplayKey(), "Synth 1");
  EXPECT_EQ(second->sysExChannel, 9);
  EXPECT_EQ(second->patchBayRevertPatch, 64);
  EXPECT_EQ(second->patchBayPortName, "Out B");
  EXPECT_EQ(second->drivers[0]->defaultPatch, 2);
  EXPECT_TRUE(fs::exists(studio.studioFile())) << "the studio is saved";
  EXPECT_TRUE(studio.TakeQueued().empty()) << "what was there is not searched for";
}

TEST_F(ModuleInstallTest, AnInstrumentIsAddedOnceAndTakenAway) {
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  const PackageData package = Package("Synth.pvz");
  InstallReport report;
  ModuleInStudio outcome;
  EXPECT_NE(InstallInstrumentModule(studio, package, true, &report).text.find("Instrument Definition file"),
            std::string::npos);
  PutDefinition();
  ASSERT_TRUE(InstallInstrumentModule(studio, package, true, &report, &outcome).ok());
  EXPECT_EQ(outcome.reloaded, 0);
  EXPECT_EQ(studio.TakeQueued(), std::vector<ZKDrvList*>{outcome.instrument});
  // A new version that cannot be loaded leaves the instrument in the studio.
  PackageFiles broken = {{"Synth.ini", {}}, {"Synth\\bank.PV6", {1, 2, 3}}};
  const std::string ini = "[Instrument]\nName=Synth\nDir=Synth\nNumDrivers=1\nID0=bank.PV6\n";
  broken[0].bytes.assign(ini.begin(), ini.end());
  EXPECT_FALSE(InstallInstrumentModule(studio, Packed("Synth.pvz", broken), false, &report, &outcome).ok());
  ASSERT_EQ(studio.instruments().size(), 1u);
  EXPECT_EQ(studio.GetInstrument(0)->drivers.size(), 2u);
  EXPECT_TRUE(DeleteModuleFiles(studio, "Synth.ini").ok());
  EXPECT_TRUE(studio.instruments().empty());
  EXPECT_FALSE(fs::exists(paths().instruments / "Synth"));
  EXPECT_FALSE(DeleteModuleFiles(studio, "Synth.ini").ok());
}

}  // namespace

}  // namespace tonalith
