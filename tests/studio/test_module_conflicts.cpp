#include "package_fixture.h"
#include "platform/ini_file.h"
#include "studio/module_install.h"
#include "studio_fixture.h"

namespace tonalith {

namespace {

constexpr int kYamaha = 0x43;

PackageData Package(const std::string& name, PackageFiles files) {
  return PackageData::Of(name, Packed(files));
}

PackageFiles Joined(PackageFiles one, const PackageFiles& other) {
  one.insert(one.end(), other.begin(), other.end());
  return one;
}

class ModuleConflictTest : public testing::Test {
 protected:
  ModuleConflictTest() : folder_(temp_.path() / "Instruments") {
    InstallReport report;
    const Result installed = InstallPackageFiles(BuiltModule("Yamaha DX7", 100, kYamaha, 3), folder_, &report);
    EXPECT_TRUE(installed.ok()) << installed.text;
    PutText(folder_ / "Yamaha DX7/mine.txt", "mine");
    before_ = Tree(folder_);
  }

  TestFolder temp_;
  fs::path folder_;
  std::map<std::string, std::string> before_;
};

// Each way a package can lay hands on the files of another module, and the ways that are none.
TEST_F(ModuleConflictTest, AnotherModuleLosesItsPlaceOnlyWhenItIsNamed) {
  const struct {
    const char* what;
    PackageFiles files;
    bool conflict;
  } cases[] = {
      {"its folder", BuiltModule("Evil", 900, 1, 1, "Yamaha DX7"), true},
      {"its folder in other letters", BuiltModule("Evil", 900, 1, 1, "yamaha dx7"), true},
      {"a folder inside of its folder", BuiltModule("Evil", 900, 1, 1, "Yamaha DX7\\Inner"), true},
      {"its INI, other data types", BuiltModule("Yamaha DX7", 900, kYamaha), true},
      {"its INI, data types of another maker", BuiltModule("Yamaha DX7", 100, 1), true},
      {"its INI in other letters, another name",
       {{"yamaha dx7.INI", TextBytes("[Instrument]\nName=Evil\nDir=Evil\nNumDrivers=1\nID0=a.PV6\n")},
        {"Evil\\a.PV6", TextBytes("x")}},
       true},
      {"a second module in the package",
       Joined(BuiltModule("Evil", 900, 1), BuiltModule("Worse", 910, 1, 1, "Yamaha DX7")), true},
      {"a new version of it", BuiltModule("Yamaha DX7", 100, kYamaha, 4), false},
      {"an older one", BuiltModule("Yamaha DX7", 100, kYamaha, 1), false},
      {"a new version in a folder of another name", BuiltModule("Yamaha DX7", 100, kYamaha, 4, "DX7"), false},
      {"a module of its own", BuiltModule("Yamaha DX72", 900, kYamaha), false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TestFolder copy;
    const fs::path folder = copy.path() / "Instruments";
    fs::copy(folder_, folder, fs::copy_options::recursive);
    PackagePreview preview;
    const PackageData package = Package("Evil.pvz", c.files);
    ASSERT_TRUE(PreviewPackage(package, folder, &preview).ok());
    EXPECT_EQ(preview.conflicts.size(), c.conflict ? 1U : 0U);
    InstallReport report;
    const Result result = InstallPackage(package, folder, &report);
    EXPECT_EQ(result.code, c.conflict ? kPackageConflict : 0) << result.text;
    if (!c.conflict) continue;
    for (const char* part : {"\"Yamaha DX7\"", "version 3", "Yamaha DX7.ini", "2 files"})
      EXPECT_NE(result.text.find(part), std::string::npos) << result.text;
    EXPECT_TRUE(Tree(folder) == before_) << "nothing was changed";
    InstallOptions options;
    options.replace = {"Somebody else.ini"};
    EXPECT_EQ(InstallPackage(package, folder, &report, options).code, kPackageConflict);
    options.replace = ReplacedModules(preview);
    const Result agreed = InstallPackage(package, folder, &report, options);
    ASSERT_TRUE(agreed.ok()) << agreed.text;
    EXPECT_EQ(report.replaced, std::vector<std::string>{"Yamaha DX7.ini"});
    const auto dates = fs::directory_iterator(folder / ".trash/Yamaha DX7");
    ASSERT_NE(dates, fs::directory_iterator());
    EXPECT_EQ(TextOf(dates->path() / "Yamaha DX7/mine.txt"), "mine") << "the user finds it again";
    EXPECT_EQ(TextOf(dates->path() / "Yamaha DX7.ini"), before_["Yamaha DX7.ini"]);
    EXPECT_FALSE(fs::exists(folder / report.moduleFile / "mine.txt"));
    EXPECT_TRUE(InstallPackage(package, folder, &report).ok()) << "now it is an update of itself";
  }
}

TEST_F(ModuleConflictTest, NamesThatAreFilesOrHiddenAreRefused) {
  PutText(folder_ / "EditorPV.bin", "definition");
  fs::create_directories(folder_ / "Folder.ini");
  PutText(folder_ / "Folder.ini/kept.txt", "kept");
  const auto before = Tree(folder_);
  const auto with = [](const std::string& ini, const std::string& dir) {
    return PackageFiles{{ini, TextBytes("[Instrument]\nDir=" + dir + "\nNumDrivers=1\nID0=a.PV6\n")},
                        {dir + "\\a.PV6", TextBytes("x")}};
  };
  const struct {
    const char* what;
    PackageFiles files;
  } cases[] = {
      {"the definition file as a folder", with("Evil.ini", "EditorPV.bin")},
      {"a module INI as a folder", with("Evil.ini", "Yamaha DX7.ini")},
      {"below a module INI", with("Evil.ini", "Yamaha DX7.ini\\x")},
      {"an INI with the name of a folder", with("Folder.ini", "Evil")},
      {"a hidden INI", with(".evil.ini", "Evil")},
  };
  InstallReport report;
  for (const auto& c : cases) {
    const Result result = InstallPackageFiles(c.files, folder_, &report);
    EXPECT_FALSE(result.ok()) << c.what;
    EXPECT_FALSE(result.text.empty()) << c.what;
    EXPECT_TRUE(Tree(folder_) == before) << c.what;
  }
  for (const char* path : {"Yamaha DX7.\\a", "Yamaha DX7 \\a", "a\\b.", "a\\b ", "a\\...\\b"})
    EXPECT_FALSE(IsSafePackagePath(path)) << path;
}

TEST_F(ModuleConflictTest, AnInstallationThatFailsHalfWayLeavesBothAsTheyWere) {
  InstallOptions options;
  options.replace = {"Yamaha DX7.ini"};
  options.check = [](const fs::path&, const IniFile&) { return Result::Failure("No."); };
  InstallReport report;
  const PackageData package = Package("Evil.pvz", BuiltModule("Evil", 900, 1, 1, "Yamaha DX7"));
  EXPECT_FALSE(InstallPackage(package, folder_, &report, options).ok());
  EXPECT_TRUE(Tree(folder_) == before_);
  fs::create_directory_symlink(temp_.path(), folder_ / ".trash");
  options.check = {};
  EXPECT_FALSE(InstallPackage(package, folder_, &report, options).ok()) << "the trash leads out of the folder";
  EXPECT_EQ(TextOf(folder_ / "Yamaha DX7/mine.txt"), "mine");
}

using ReplacedInStudio = StudioTest;

TEST_F(ReplacedInStudio, InstrumentsOfAReplacedModuleLeaveTheStudioOrStay) {
  ASSERT_TRUE(EnsureInstrumentFolder(paths().instruments, TONALITH_SOURCE_DIR "/resources").ok());
  ZKStudioDoc studio(paths(), prompts_, &ports_);
  studio.LoadStudio();
  studio.AddDrivers("Synth.ini");
  const PackageData package = Package("Evil.pvz", BuiltModule("Evil", 900, 1, 1, "Synth"));
  InstallReport report;
  EXPECT_EQ(InstallInstrumentModule(studio, package, true, &report).code, kPackageConflict);
  InstallOptions options;
  options.replace = {"Synth.ini"};
  bool allowed = false;
  studio.SetCloseHook([&](std::span<ZKDrvList* const>) { return allowed; });
  EXPECT_NE(InstallInstrumentModule(studio, package, true, &report, nullptr, options).text.find("a window still uses"),
            std::string::npos);
  allowed = true;
  CancelToken cancelled;
  cancelled.Cancel();
  options.cancel = cancelled;
  EXPECT_EQ(InstallInstrumentModule(studio, package, true, &report, nullptr, options).code, kPackageCancelled);
  ASSERT_EQ(studio.instruments().size(), 2U);
  EXPECT_EQ(studio.GetInstrument(1)->DisplayKey(), "Synth 1");
  options.cancel = {};
  const Result done = InstallInstrumentModule(studio, package, true, &report, nullptr, options);
  ASSERT_TRUE(done.ok()) << done.text;
  ASSERT_EQ(studio.instruments().size(), 1U);
  EXPECT_EQ(studio.GetInstrument(0)->name, "Evil");
}

// The file may be another one by the time the user has read the question.
TEST_F(ModuleConflictTest, WhatWasShownIsWhatIsInstalled) {
  const fs::path file = temp_.path() / "Good.pvz";
  ASSERT_TRUE(WritePackage(BuiltModule("Good", 700, 1), file).ok());
  PackageData package;
  ASSERT_TRUE(LoadPackage(file, &package).ok());
  EXPECT_EQ(package.sha256.size(), 64U);
  PackagePreview preview;
  ASSERT_TRUE(PreviewPackage(package, folder_, &preview).ok());
  ASSERT_TRUE(WritePackage(BuiltModule("Evil", 900, 1, 1, "Yamaha DX7"), file).ok());
  InstallReport report;
  ASSERT_TRUE(InstallPackage(package, folder_, &report).ok());
  EXPECT_EQ(report.name, preview.module.name);
  EXPECT_FALSE(fs::exists(folder_ / "Evil.ini"));
  EXPECT_EQ(PackageData::Of("", TextBytes("abc")).sha256,
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace

}  // namespace tonalith
