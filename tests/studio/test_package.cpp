#include <gtest/gtest.h>

#include <tuple>

#include "package_fixture.h"
#include "platform/byte_window.h"
#include "studio/shipped_files.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

std::vector<std::uint8_t> FromHexText(const std::string& hex) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return bytes;
}

PackageFiles Module(int version, std::vector<std::pair<std::string, std::string>> more = {}) {
  PackageFiles files = {
      {"Synth.ini", TextBytes("[Instrument]\nName=Synth\nDir=Synth\nNumDrivers=1\nID0=a.PV6\nVersion=" +
                              std::to_string(version) + "\n")},
      {"Synth\\a.PV6", TextBytes("driver " + std::to_string(version))}};
  for (const auto& [name, text] : more) files.push_back({name, TextBytes(text)});
  return files;
}

Result Preview(const fs::path& file, const fs::path& instruments, PackagePreview* preview) {
  PackageData package;
  const Result read = LoadPackage(file, &package);
  return read.ok() ? PreviewPackage(package, instruments, preview) : read;
}

// A package entry as it stands, with any name and length.
std::vector<std::uint8_t> Entry(const std::string& name, std::uint32_t length, const std::vector<std::uint8_t>& data) {
  std::vector<std::uint8_t> out = {'P', 'V', 'Z', ' ', 1, 0, 0, 0, static_cast<std::uint8_t>(name.size())};
  out.insert(out.end(), name.begin(), name.end());
  out.resize(out.size() + 4);
  StoreLe32(out.data() + out.size() - 4, length);
  out.insert(out.end(), data.begin(), data.end());
  return out;
}

}  // namespace

// Written by another program, bytes behind the last entry included.
constexpr char kForeignPackage[] =
    "50565a20030000000b41636d652058312e696e69580000001f8b08000000000002038bf6cc2b2e292acd4dcd2b89e5e5f24b"
    "cc4db5754cce4d558830e4e572c92c4270fc4a735d8a32cb528b8a6d813c4f17035b4f1743bd8030335eae30a060667e9ead"
    "312f1700d7aca3114f0000000f41636d652058315c4944312e505636240000001f8b08000000000002036360646266616563"
    "e7e0e4e2e6e1e5e3070088e2cece100000001a41636d652058315c68746d6c5c46617374546970732e68746d6c200000001f"
    "8b0800000000000203b329b02bc92c28b6d12fb0e3020043abba880c000000"
    "00ff";

TEST(Package, APackageOfAnotherProgramIsInstalledAsItStands) {
  TestFolder temp;
  const fs::path folder = temp.path() / "Instruments", package = temp.path() / "Acme X1 (2).pvz";
  PutBytes(package, FromHexText(kForeignPackage));
  PackagePreview preview;
  ASSERT_TRUE(Preview(package, folder, &preview).ok());
  EXPECT_EQ(preview.module.name + "|" + preview.module.version + "|" + preview.module.moduleFile,
            "Acme X1|3|Acme X1.ini");
  EXPECT_EQ(preview.files.size(), 3u);
  EXPECT_FALSE(preview.module.installed);
  EXPECT_FALSE(fs::exists(folder)) << "a look writes nothing";
  PutText(folder / "temp.gz", "the user's");
  ScriptedPrompts prompts({});
  InstallReport report;
  ASSERT_EQ(DecompressFile(prompts, folder, package, &report), 1);
  EXPECT_EQ(report.moduleFile, "Acme X1.ini") << "the package was renamed, its only INI counts";
  EXPECT_EQ(TextOf(folder / "Acme X1/html/FastTips.html"), "<p>tips</p>\n");
  EXPECT_EQ(TextOf(folder / "Acme X1/ID1.PV6").size(), 16u);
  EXPECT_EQ(TextOf(folder / "temp.gz"), "the user's");
  EXPECT_EQ(fs::status(folder / "Acme X1/ID1.PV6").permissions() & fs::perms(0111), fs::perms::none);
  ASSERT_TRUE(Preview(package, folder, &preview).ok());
  EXPECT_EQ(preview.module.installedVersion, "3");
}

TEST(Package, TheUserIsToldWhatIsWrong) {
  TestFolder temp;
  const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
      {"", "Error opening File! Cancel Operation | ", "package.pvz"},
      {"5056590000000000", "Install Instrument Module | ", "Invalid File Header on read"},
      {"50565a2001000000", "File Read Error | ", "entry 1"},
      {"50565a2001000000032e2e6100000000", "File Read Error | ", "damaged"},
      {"50565a2001000000042e2e5c6100000000", "Error opening File! Cancel Operation | ", "..\\a"},
      {"50565a2001000000ff", "File Read Error | ", "name of entry 1"},
  };
  for (const auto& [hex, title, part] : cases) {
    const fs::path package = temp.path() / "package.pvz", folder = temp.path() / "Instruments";
    if (!hex.empty()) PutBytes(package, FromHexText(hex));
    ScriptedPrompts prompts({});
    EXPECT_EQ(DecompressFile(prompts, folder, package), 0) << hex;
    ASSERT_EQ(prompts.Log().size(), 1u);
    EXPECT_EQ(prompts.Log()[0].rfind(title, 0), 0u) << prompts.Log()[0];
    EXPECT_NE(prompts.Log()[0].find(part), std::string::npos) << prompts.Log()[0];
  }
  const fs::path package = temp.path() / "empty.pvz";
  PutBytes(package, FromHexText("50565a2000000000"));
  ScriptedPrompts prompts({});
  EXPECT_EQ(DecompressFile(prompts, temp.path() / "Instruments", package), 1);
  EXPECT_TRUE(prompts.Log().empty());
}

TEST(Package, KeepsFilesAndNames) {
  const PackageFiles files = {
      {"a.ini", {}}, {"x\\y\\z.bin", std::vector<std::uint8_t>(100000, 7)}, {"x\\\xE9.txt", {1, 2, 3}}};
  const auto bytes = Packed(files);
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "PVZ ");
  EXPECT_LT(bytes.size(), 1000u);
  EXPECT_EQ(bytes, Packed(files)) << "the same files give the same package";
  PackageFiles again;
  ASSERT_TRUE(UnpackFiles(bytes, &again).ok());
  ASSERT_EQ(again.size(), files.size());
  for (std::size_t i = 0; i < files.size(); ++i) {
    EXPECT_EQ(again[i].path, files[i].path);
    EXPECT_EQ(again[i].bytes, files[i].bytes);
  }
}

TEST(Package, BadBytesAreRefusedWithASentence) {
  const auto good = Packed({{"a", TextBytes("hello")}});
  const std::vector<std::uint8_t> gzip(good.begin() + 14, good.end());
  auto damaged = good, many = good;
  damaged[damaged.size() - 6] ^= 0xFF;
  StoreLe32(many.data() + 4, 0xFFFFFFFF);
  std::vector<std::uint8_t> other = good;
  other[0] = 'X';
  const std::vector<std::pair<std::vector<std::uint8_t>, std::string>> cases = {
      {other, "Invalid File Header on read"},
      {{'P', 'V', 'Z', ' ', 1}, "ends inside its header"},
      {{'P', 'V', 'Z', ' ', 1, 0, 0, 0}, "ends before entry 1"},
      {many, "too many files"},
      {damaged, "is damaged"},
      {{good.begin(), good.end() - 1}, "ends inside \"a\""},
      {Entry("a", 0xFFFFFFFF, gzip), "ends inside \"a\""},
      {Entry("a", 5, TextBytes("plain")), "is damaged"},
      {Entry("..\\a", static_cast<std::uint32_t>(gzip.size()), gzip), "not allowed"},
      {Entry("/etc/a", static_cast<std::uint32_t>(gzip.size()), gzip), "not allowed"},
      {Entry("C:\\a", static_cast<std::uint32_t>(gzip.size()), gzip), "not allowed"},
      {Entry("", static_cast<std::uint32_t>(gzip.size()), gzip), "not allowed"},
  };
  for (const auto& [bytes, part] : cases) {
    PackageFiles files;
    const Result result = UnpackFiles(bytes, &files);
    EXPECT_FALSE(result.ok()) << part;
    EXPECT_NE(result.text.find(part), std::string::npos) << result.text;
    EXPECT_TRUE(files.empty());
  }
  PackageLimits small;
  small.oneFile = 1000;
  PackageFiles files;
  EXPECT_NE(UnpackFiles(Packed({{"a", std::vector<std::uint8_t>(2000)}}), &files, small).text.find("too large"),
            std::string::npos);
  EXPECT_NE(UnpackFiles(Packed({{"a", std::vector<std::uint8_t>(8 << 20)}}), &files, {4096, 64u << 20, 256u << 20, 100})
                .text.find("too large"),
            std::string::npos);
  std::vector<std::uint8_t> twice;
  EXPECT_FALSE(PackFiles({{"a\\b", {}}, {"A/B", {}}}, &twice).ok());
}

TEST(Package, InstallingAgainKeepsWhatIsTheUsers) {
  TestFolder temp;
  const fs::path folder = temp.path() / "Instruments";
  InstallReport report;
  const std::vector<std::pair<std::string, std::string>> user = {{"Synth\\InitForID1.bin", "init 1"},
                                                                 {"Synth\\InitForID2.3.bin", "init 2"},
                                                                 {"Synth\\Voice.ini", "template"},
                                                                 {"Synth\\html\\tips.html", "tips"}};
  ASSERT_TRUE(InstallPackageFiles(Module(1, user), folder, &report).ok());
  EXPECT_EQ(report.moduleFile, "Synth.ini");
  PutText(folder / "Synth/mine/notes.txt", "mine");
  PutText(folder / "Synth/html/tips.html", "changed by hand");
  PutText(folder / "Synth/InitForID1.bin", "my own sound");
  PutText(folder / "Synth/Voice.ini", "learned");
  for (int again = 0; again < 2; ++again) {
    auto next = user;
    for (auto& [name, text] : next) text = "new " + text;
    ASSERT_TRUE(InstallPackageFiles(Module(2, next), folder, &report).ok());
    EXPECT_EQ(TextOf(folder / "Synth/a.PV6"), "driver 2");
    EXPECT_EQ(TextOf(folder / "Synth/mine/notes.txt"), "mine");
    EXPECT_EQ(TextOf(folder / "Synth/html/tips.html"), "new tips");
    EXPECT_EQ(TextOf(folder / "Synth/InitForID1.bin"), "my own sound");
    EXPECT_EQ(TextOf(folder / "Synth/InitForID1.bin.new"), "new init 1");
    EXPECT_EQ(TextOf(folder / "Synth/InitForID2.3.bin"), "new init 2") << "the user never touched it";
    EXPECT_EQ(TextOf(folder / "Synth/Voice.ini"), "learned");
    EXPECT_EQ(TextOf(folder / "Synth/Voice.ini.new"), "new template");
  }
  const auto dates = fs::directory_iterator(folder / ".backup/Synth");
  EXPECT_EQ(std::distance(dates, fs::directory_iterator()), 1) << "the second time nothing differs";
  for (const auto& date : fs::directory_iterator(folder / ".backup/Synth")) {
    EXPECT_EQ(TextOf(date.path() / "html/tips.html"), "changed by hand");
    EXPECT_EQ(TextOf(date.path() / "a.PV6"), "driver 1");
    EXPECT_NE(TextOf(date.path() / "Synth.ini").find("Version=1"), std::string::npos);
  }
  ASSERT_TRUE(TrashModule(folder, "synth.INI").ok());
  EXPECT_FALSE(fs::exists(folder / "Synth"));
  EXPECT_FALSE(fs::exists(folder / "Synth.ini"));
  for (const auto& date : fs::directory_iterator(folder / ".trash/Synth"))
    EXPECT_EQ(TextOf(date.path() / "Synth/mine/notes.txt"), "mine");
}

TEST(Package, FoldersAreOneWhateverTheirCase) {
  TestFolder temp;
  const fs::path folder = temp.path() / "Instruments";
  InstallReport report;
  ASSERT_TRUE(InstallPackageFiles(Module(1, {{"Synth\\Html\\a.txt", "1"}}), folder, &report).ok());
  const PackageFiles shouting = {Module(2)[0],
                                 {"SYNTH\\A.PV6", TextBytes("driver 2")},
                                 {"synth\\HTML\\a.txt", TextBytes("2")},
                                 {"Other.ini", TextBytes("[Instrument]\nDir=synth\nNumDrivers=1\nID0=a.PV6\n")}};
  const Result result = InstallPackageFiles(shouting, folder, &report, {}, "Synth");
  ASSERT_TRUE(result.ok()) << result.text;
  EXPECT_EQ(TextOf(folder / "Synth/A.PV6"), "driver 2");
  EXPECT_EQ(TextOf(folder / "Synth/HTML/a.txt"), "2");
  EXPECT_TRUE(fs::exists(folder / "Other.ini")) << "two modules may share a folder";
  EXPECT_FALSE(fs::exists(folder / "SYNTH"));
}

TEST(Package, NothingIsWrittenThroughALinkOutOfTheInstrumentFolder) {
  TestFolder temp;
  const fs::path folder = temp.path() / "Instruments", outside = temp.path() / "outside";
  fs::create_directories(outside);
  InstallReport report;
  for (const char* link : {".installed", ".backup", "Deep"}) {
    fs::remove_all(folder);
    PutText(folder / "Synth/a.PV6", "former");
    fs::create_directory_symlink(outside, folder / link);
    const std::string dir = std::string(link) == "Deep" ? "Deep\\Synth" : "Synth";
    const PackageFiles files = {{"Synth.ini", TextBytes("[Instrument]\nDir=" + dir + "\nNumDrivers=1\nID0=a.PV6\n")},
                                {dir + "\\a.PV6", TextBytes("next")}};
    const auto before = Tree(folder);
    EXPECT_FALSE(InstallPackageFiles(files, folder, &report).ok()) << link;
    EXPECT_EQ(Tree(folder), before) << link;
    EXPECT_TRUE(fs::is_empty(outside)) << link;
  }
}

TEST(Package, NothingIsLeftOfAPackageThatCannotBeInstalled) {
  TestFolder temp;
  const fs::path folder = temp.path() / "Instruments";
  InstallReport report;
  ASSERT_TRUE(InstallPackageFiles(Module(1), folder, &report).ok());
  const auto before = Tree(folder);
  const std::vector<std::pair<PackageFiles, std::string>> cases = {
      {Module(2, {{"Other\\a.txt", "x"}}), "outside the module's folder"},
      {Module(2, {{"loose.txt", "x"}}), "outside the module's folder"},
      {Module(2, {{"Second.ini", "x"}}), "no folder of its own"},
      {Module(2, {{"Second.ini", "[Instrument]\nDir=Second\n"}}), "more than one"},
      {{{"Synth\\a.PV6", {}}}, "no module INI"},
      {{{"Synth.ini", TextBytes("[Instrument]\nDir=..\nNumDrivers=1\n")}}, "no folder of its own"},
      {{{"Synth.ini", TextBytes("[Instrument]\nDir=Synth\nNumDrivers=0\n")}}, "There are no drivers in the file"},
      {Module(2, {{"Synth\\a.PV6\\below.txt", "x"}}), ""},
      {Module(2, {{"Second.ini", "[Instrument]\nDir=Synth/Inner\n"}, {"Synth\\Inner\\b.PV6", "x"}}),
       "lie one inside the other"},
  };
  for (const auto& [files, part] : cases) {
    const Result result = InstallPackageFiles(files, folder, &report);
    EXPECT_FALSE(result.ok()) << part;
    EXPECT_NE(result.text.find(part), std::string::npos) << result.text;
    EXPECT_EQ(Tree(folder), before) << part;
  }
  const fs::path damaged = temp.path() / "Synth.pvz";
  auto bytes = Packed(Module(2));
  bytes[bytes.size() - 5] ^= 1;
  PutBytes(damaged, bytes);
  EXPECT_FALSE(InstallPackage(damaged, folder, &report).ok());
  InstallOptions cancelled;
  cancelled.cancel.Cancel();
  PutBytes(damaged, Packed(Module(2)));
  EXPECT_EQ(InstallPackage(damaged, folder, &report, cancelled).code, kPackageCancelled);
  EXPECT_EQ(Tree(folder), before);
  EXPECT_TRUE(InstallPackageFiles({}, folder, &report).ok()) << "a package without files installs nothing";
  // A link inside the module folder does not lead out of it.
  fs::remove_all(folder / "Synth");
  PutText(temp.path() / "outside/a.PV6", "outside");
  fs::create_directory_symlink(temp.path() / "outside", folder / "Synth");
  InstallPackageFiles(Module(3), folder, &report);
  EXPECT_EQ(TextOf(temp.path() / "outside/a.PV6"), "outside");
}

TEST(Package, ShippedPackagesAreInstalledOnce) {
  TestFolder temp;
  const fs::path folder = temp.path() / "Instruments", shipped = temp.path() / "shipped";
  ASSERT_TRUE(WritePackage(Module(2), shipped / "Synth.pvz").ok());
  PutText(shipped / "bad.pvz", "PVZ nonsense");
  ShippedOutcome outcome;
  const auto& reports = outcome.installed;
  const Result first = InstallShippedPackages(shipped, folder, &outcome);
  EXPECT_NE(first.text.find("bad.pvz"), std::string::npos);
  EXPECT_EQ(reports.size(), 1u);
  fs::remove(shipped / "bad.pvz");
  outcome = {};
  EXPECT_TRUE(InstallShippedPackages(shipped, folder, &outcome).ok());
  EXPECT_TRUE(reports.empty());
  ASSERT_TRUE(WritePackage(Module(3), shipped / "Synth.pvz").ok());
  EXPECT_TRUE(InstallShippedPackages(shipped, folder, &outcome).ok());
  EXPECT_EQ(reports.size(), 1u);
  EXPECT_EQ(TextOf(folder / "Synth/a.PV6"), "driver 3");
  EXPECT_FALSE(fs::exists(folder / ".backup")) << "nothing of the user's was replaced";
  PutText(shipped / "zk.pvz", "not for users");
  EXPECT_EQ(OfferedPackages(shipped), std::vector<std::string>{"Synth.pvz"});
  EXPECT_NE(EnsureInstrumentFolder(folder, shipped).text.find("The Instrument Definition file was not found at\n"),
            std::string::npos);
  ASSERT_TRUE(EnsureInstrumentFolder(folder, TONALITH_SOURCE_DIR "/resources").ok());
  EXPECT_EQ(TextOf(folder / kInstrumentDefinitionFile), std::string("EDPV\1\0\0\0", 8));
}

TEST(Package, LongNamesAndBombsAreRefused) {
  TestFolder temp;
  const fs::path folder = temp.path() / "Instruments";
  InstallReport report;
  ASSERT_TRUE(InstallPackageFiles(Module(1), folder, &report).ok());
  const auto before = Tree(folder);
  const std::string longest = "Synth\\" + std::string(249, 'x');
  const Result result = InstallPackageFiles(Module(1, {{longest, "x"}}), folder, &report);
  EXPECT_TRUE(result.ok()) << "255 bytes are allowed: " << result.text;
  EXPECT_FALSE(InstallPackageFiles(Module(2, {{longest + "x", "x"}}), folder, &report).ok());
  fs::remove(folder / "Synth" / std::string(249, 'x'));
  // Zeros at the best ratio gzip has: 64 MiB in 64 KiB.
  PackageFiles none;
  EXPECT_NE(UnpackFiles(Packed({{"a", std::vector<std::uint8_t>(64 << 20)}}), &none).text.find("too large"),
            std::string::npos);
  EXPECT_EQ(TextOf(folder / "Synth/a.PV6"), before.at("Synth/a.PV6"));
}

}  // namespace tonalith
