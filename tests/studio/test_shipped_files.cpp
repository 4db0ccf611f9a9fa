#include "studio/shipped_files.h"

#include "package_fixture.h"
#include "platform/ini_file.h"
#include "studio/shipped_manifest.h"

namespace tonalith {

namespace {

// Two shipped modules, installed, with their list.
class ShippedFilesTest : public testing::Test {
 protected:
  ShippedFilesTest() : packages_(temp_.path() / "modules"), folder_(temp_.path() / "Instruments") {
    PackageFiles acme = BuiltModule("Acme", 100, 1, 2);
    acme.push_back({"Acme\\InitForID100.bin", TextBytes("init")});
    acme.push_back({"Acme\\html\\tips.html", TextBytes("tips")});
    Ship("acme.pvz", acme);
    Ship("bolt.pvz", BuiltModule("Bolt", 200, 2));
    Start();
    EXPECT_TRUE(outcome_.restored.empty());
    EXPECT_EQ(outcome_.installed.size(), 2U);
    driver_ = folder_ / "Acme" / IniFile((folder_ / "Acme.ini").string()).GetString("Instrument", "ID0");
    before_ = Tree(folder_);
  }
  void Ship(const std::string& name, const PackageFiles& files) {
    ASSERT_TRUE(WritePackage(files, packages_ / name).ok());
    ASSERT_TRUE(WriteShippedManifest(packages_).ok());
  }
  void Start(const std::string& problem = {}) {
    outcome_ = {};
    const Result result = InstallShippedPackages(packages_, folder_, &outcome_);
    EXPECT_EQ(result.ok(), problem.empty()) << result.text;
    EXPECT_NE(result.text.find(problem), std::string::npos) << result.text;
  }

  TestFolder temp_;
  fs::path packages_, folder_, driver_;
  ShippedOutcome outcome_;
  std::map<std::string, std::string> before_;
};

TEST_F(ShippedFilesTest, DamagedAndMissingFilesAreRestoredAndTold) {
  Start();
  EXPECT_TRUE(outcome_.restored.empty());
  EXPECT_TRUE(Tree(folder_) == before_);
  const std::string driver = driver_.lexically_relative(folder_).string();
  const struct {
    const char* what;
    std::string path;
    std::function<void(const fs::path&)> damage;
    bool kept;
  } cases[] = {
      {"a changed driver", driver, [](const fs::path& file) { PutText(file, "rubbish"); }, true},
      {"an empty driver", driver, [](const fs::path& file) { PutText(file, ""); }, true},
      {"a driver that is gone", driver, [](const fs::path& file) { fs::remove(file); }, false},
      {"a module INI that is cut", "Acme.ini", [](const fs::path& file) { fs::resize_file(file, 9); }, true},
      {"a module INI that is gone", "Acme.ini", [](const fs::path& file) { fs::remove(file); }, false},
      {"a folder in its place", driver,
       [](const fs::path& file) {
         fs::remove(file);
         fs::create_directory(file);
       },
       true},
      {"initial data that is gone", "Acme/InitForID100.bin", [](const fs::path& file) { fs::remove(file); }, false},
      {"a file in a folder that is gone", "Acme/html/tips.html",
       [](const fs::path& file) { fs::remove_all(file.parent_path()); }, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    c.damage(folder_ / c.path);
    Start();
    ASSERT_EQ(outcome_.restored.size(), 1U);
    EXPECT_EQ(outcome_.restored[0].path, c.path);
    EXPECT_TRUE(outcome_.installed.empty());
    EXPECT_EQ(TextOf(folder_ / c.path), before_[c.path]);
    EXPECT_EQ(!outcome_.restored[0].kept.empty(), c.kept);
    if (c.kept) {
      const fs::path kept = (folder_ / c.path).parent_path() / outcome_.restored[0].kept;
      EXPECT_NE(kept.string().find(".broken"), std::string::npos);
      EXPECT_TRUE(fs::exists(kept));
      EXPECT_NE(RestoredSentence(outcome_).find(outcome_.restored[0].kept), std::string::npos);
      fs::remove_all(kept);
    }
    EXPECT_NE(RestoredSentence(outcome_).find(c.path), std::string::npos);
    Start();
    EXPECT_TRUE(outcome_.restored.empty()) << "once is enough";
  }
}

TEST_F(ShippedFilesTest, WhatIsTheUsersIsLeftAlone) {
  PutText(folder_ / "Acme/InitForID100.bin", "my own sound");
  PutText(folder_ / "Acme/mine.txt", "mine");
  PutText(folder_ / "Own.ini", "[Instrument]\nDir=Own\n");
  PutText(folder_ / "Own/a.PV6", "damaged or not");
  // The same version of a shipped module from another package that the user chose.
  InstallReport report;
  PackageFiles bolt = BuiltModule("Bolt", 200, 2);
  bolt.push_back({"Bolt\\more.txt", TextBytes("more")});
  ASSERT_TRUE(InstallPackageFiles(bolt, folder_, &report).ok());
  PutText(folder_ / "Bolt/more.txt", "changed");
  const auto before = Tree(folder_);
  for (int start = 0; start < 2; ++start) {
    Start();
    EXPECT_TRUE(outcome_.restored.empty());
    EXPECT_TRUE(outcome_.installed.empty());
    for (const char* path : {"Acme/InitForID100.bin", "Acme/mine.txt", "Own/a.PV6", "Bolt/more.txt"})
      EXPECT_EQ(TextOf(folder_ / path), before.at(path)) << path;
  }
  Ship("bolt.pvz", BuiltModule("Bolt", 200, 2, 2));
  Start();
  EXPECT_EQ(outcome_.installed.size(), 1U) << "a newer version is an update";
}

// The choice of another module is kept over any number of starts, whichever way the place was taken.
TEST_F(ShippedFilesTest, AModuleThatWasReplacedOnPurposeStaysReplaced) {
  const PackageFiles takers[] = {BuiltModule("Evil", 900, 3, 1, "Acme"), BuiltModule("Acme", 900, 3, 1)};
  for (const PackageFiles& taker : takers) {
    TestFolder copy;
    fs::remove_all(folder_);
    Start();
    InstallOptions options;
    options.replace = {"Acme.ini"};
    InstallReport report;
    ASSERT_TRUE(InstallPackageFiles(taker, folder_, &report, options).ok());
    const std::string ini = TextOf(folder_ / report.moduleFile);
    for (int start = 0; start < 2; ++start) {
      Start();
      EXPECT_TRUE(outcome_.installed.empty());
      EXPECT_TRUE(outcome_.restored.empty());
      EXPECT_EQ(TextOf(folder_ / report.moduleFile), ini);
      EXPECT_FALSE(fs::exists(folder_ / "Acme/html/tips.html"));
    }
    Ship("acme.pvz", BuiltModule("Acme", 100, 1, 9));
    Start();
    EXPECT_TRUE(outcome_.installed.empty()) << "also when a newer one comes with the program";
    options.replace = {report.moduleFile};
    ASSERT_TRUE(InstallPackage(packages_ / "acme.pvz", folder_, &report, options).ok());
    Start();
    EXPECT_EQ(IniFile((folder_ / "Acme.ini").string()).GetInt("Instrument", "Version"), 9) << "taken back on purpose";
    PackageFiles acme = BuiltModule("Acme", 100, 1, 2);
    acme.push_back({"Acme\\html\\tips.html", TextBytes("tips")});
    Ship("acme.pvz", acme);
  }
}

TEST_F(ShippedFilesTest, DamagedListsAndPackagesAreSaidAndDoNoHarm) {
  const std::string marks = TextOf(folder_ / ".installed/verified.marks");
  const std::string list = TextOf(packages_ / kShippedManifest);
  const struct {
    const char* what;
    fs::path file;
    std::string text, problem;
  } cases[] = {
      {"marks that are rubbish", folder_ / ".installed/verified.marks", "package\nfile x y z Acme.ini\n\xFF\xFF", ""},
      {"no marks", folder_ / ".installed/verified.marks", "", ""},
      {"no list of what was installed", folder_ / ".installed/Acme.lst", "", ""},
      {"a list that is cut", packages_ / kShippedManifest, list.substr(0, 40), "is damaged"},
      {"a list with a path that leads out", packages_ / kShippedManifest,
       "package " + std::string(64, 'a') + " acme.pvz\nfile " + std::string(64, 'b') + " ../evil\n", "is damaged"},
      {"an empty list", packages_ / kShippedManifest, "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    PutText(c.file, c.text);
    Start(c.problem);
    EXPECT_TRUE(outcome_.restored.empty());
    EXPECT_EQ(TextOf(driver_), before_[driver_.lexically_relative(folder_).string()]);
    PutText(packages_ / kShippedManifest, list);
    Start();
    EXPECT_EQ(TextOf(folder_ / ".installed/verified.marks").substr(0, 8), marks.substr(0, 8));
  }
  // A package that is not the listed one restores nothing.
  PutText(driver_, "rubbish");
  ASSERT_TRUE(WritePackage(BuiltModule("Acme", 100, 1, 5), packages_ / "acme.pvz").ok());
  Start("cannot be restored");
  EXPECT_EQ(TextOf(driver_), "rubbish");
  EXPECT_TRUE(outcome_.restored.empty());
  EXPECT_FALSE(fs::exists(driver_.string() + ".broken"));
}

}  // namespace

}  // namespace tonalith
