#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "studio/package.h"

namespace tonalith {

namespace {

namespace fs = std::filesystem;

class TempFolder {
 public:
  TempFolder() {
    static int n = 0;
    path_ = fs::temp_directory_path() / ("tonalith-package-" + std::to_string(::getpid()) + "-" + std::to_string(++n));
    fs::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code error;
    fs::remove_all(path_, error);
  }
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

std::vector<std::uint8_t> TextBytes(const std::string& text) {
  return {text.begin(), text.end()};
}

std::string TextOf(const fs::path& file) {
  std::string text;
  return ReadWholeFile(file.string(), text).ok() ? text : "-";
}

void PutText(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  ASSERT_TRUE(WriteFileAtomically(file.string(), std::string_view(text)).ok());
}

PackageFiles Module(int version, std::vector<std::pair<std::string, std::string>> more = {}) {
  PackageFiles files = {
      {"Synth.ini", TextBytes("[Instrument]\nName=Synth\nDir=Synth\nNumDrivers=1\nID0=a.PV6\nVersion=" +
                              std::to_string(version) + "\n")},
      {"Synth\\a.PV6", TextBytes("driver " + std::to_string(version))}};
  for (const auto& [name, text] : more) files.push_back({name, TextBytes(text)});
  return files;
}

std::vector<std::uint8_t> Packed(const PackageFiles& files) {
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(PackFiles(files, &bytes).ok());
  return bytes;
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

TEST(Package, InstallingAndUpdatingKeepsTheUsersFiles) {
  TempFolder temp;
  const fs::path folder = temp.path() / "Instruments";
  InstallReport report;
  ASSERT_TRUE(
      InstallPackageFiles(Module(1, {{"Synth\\old.txt", "old"}, {"Synth\\html\\tips.html", "tips"}}), folder, &report)
          .ok());
  EXPECT_EQ(report.moduleFile, "Synth.ini");
  EXPECT_EQ(TextOf(folder / "Synth/html/tips.html"), "tips");
  EXPECT_TRUE(fs::exists(folder / kInstrumentDefinitionFile));
  PutText(folder / "Synth/mine/notes.txt", "mine");
  PutText(folder / "Synth/html/tips.html", "changed by hand");
  ASSERT_TRUE(InstallPackageFiles(Module(2, {{"Synth\\html\\tips.html", "new tips"}}), folder, &report).ok());
  EXPECT_EQ(TextOf(folder / "Synth/a.PV6"), "driver 2");
  EXPECT_EQ(TextOf(folder / "Synth/mine/notes.txt"), "mine");
  EXPECT_EQ(TextOf(folder / "Synth/html/tips.html"), "new tips");
  EXPECT_EQ(TextOf(folder / "Synth/html/tips.html.user"), "changed by hand");
  EXPECT_FALSE(fs::exists(folder / "Synth/old.txt")) << "what the former package brought goes with it";
  EXPECT_EQ(report.kept.size(), 2u);
  for (const auto& entry : fs::directory_iterator(folder))
    EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
}

TEST(Package, NothingIsLeftOfAPackageThatCannotBeInstalled) {
  TempFolder temp;
  const fs::path folder = temp.path() / "Instruments";
  InstallReport report;
  ASSERT_TRUE(InstallPackageFiles(Module(1), folder, &report).ok());
  const std::vector<std::pair<PackageFiles, std::string>> cases = {
      {Module(2, {{"Other\\a.txt", "x"}}), "outside the module's folder"},
      {Module(2, {{"loose.txt", "x"}}), "outside the module's folder"},
      {Module(2, {{"Second.ini", "x"}}), "more than one"},
      {{{"Synth\\a.PV6", {}}}, "no module INI"},
      {{{"Synth.ini", TextBytes("[Instrument]\nDir=..\nNumDrivers=1\n")}}, "no folder of its own"},
      {{{"Synth.ini", TextBytes("[Instrument]\nDir=Synth\nNumDrivers=0\n")}}, "There are no drivers in the file"},
      {Module(2, {{"Synth\\a.PV6\\below.txt", "x"}}), ""},
  };
  for (const auto& [files, part] : cases) {
    const Result result = InstallPackageFiles(files, folder, &report);
    EXPECT_FALSE(result.ok()) << part;
    EXPECT_NE(result.text.find(part), std::string::npos) << result.text;
    EXPECT_EQ(TextOf(folder / "Synth/a.PV6"), "driver 1") << part;
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 3)
      << "definition file, INI and folder";
  EXPECT_TRUE(InstallPackageFiles({}, folder, &report).ok()) << "a package without files installs nothing";
  // A link inside the module folder does not lead out of it.
  fs::remove_all(folder / "Synth");
  PutText(temp.path() / "outside/a.PV6", "outside");
  fs::create_directory_symlink(temp.path() / "outside", folder / "Synth");
  InstallPackageFiles(Module(3), folder, &report);
  EXPECT_EQ(TextOf(temp.path() / "outside/a.PV6"), "outside");
}

TEST(Package, ShippedPackagesAreInstalledOnce) {
  TempFolder temp;
  const fs::path folder = temp.path() / "Instruments", shipped = temp.path() / "shipped";
  ASSERT_TRUE(WritePackage(Module(2), shipped / "Synth.pvz").ok());
  PutText(shipped / "bad.pvz", "PVZ nonsense");
  std::vector<InstallReport> reports;
  const Result first = InstallShippedPackages(shipped, folder, &reports);
  EXPECT_NE(first.text.find("bad.pvz"), std::string::npos);
  EXPECT_EQ(reports.size(), 1u);
  fs::remove(shipped / "bad.pvz");
  reports.clear();
  EXPECT_TRUE(InstallShippedPackages(shipped, folder, &reports).ok());
  EXPECT_TRUE(reports.empty());
  ASSERT_TRUE(WritePackage(Module(3), shipped / "Synth.pvz").ok());
  EXPECT_TRUE(InstallShippedPackages(shipped, folder, &reports).ok());
  EXPECT_EQ(reports.size(), 1u);
  EXPECT_EQ(TextOf(folder / "Synth/a.PV6"), "driver 3");
}

}  // namespace tonalith
