#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/atomic_file.h"
#include "studio/module.h"
#include "studio/package_install.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {

namespace fs = std::filesystem;

inline std::vector<std::uint8_t> TextBytes(const std::string& text) {
  return {text.begin(), text.end()};
}

inline std::string TextOf(const fs::path& file) {
  std::string text;
  return ReadWholeFile(file.string(), text).ok() ? text : "-";
}

inline void PutText(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  ASSERT_TRUE(WriteFileAtomically(file.string(), std::string_view(text)).ok());
}

inline void PutBytes(const fs::path& file, const std::vector<std::uint8_t>& bytes) {
  ASSERT_TRUE(WriteFileAtomically(file.string(), std::span<const std::uint8_t>(bytes)).ok());
}

// Every file below a folder with its text, hidden ones included.
inline std::map<std::string, std::string> Tree(const fs::path& folder) {
  std::map<std::string, std::string> tree;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    tree[entry.path().lexically_relative(folder).string()] = entry.is_regular_file() ? TextOf(entry.path()) : "/";
  }
  return tree;
}

inline std::vector<std::uint8_t> Packed(const PackageFiles& files) {
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(PackFiles(files, &bytes).ok());
  return bytes;
}

// A module whose drivers are real: one bank, as the module builder makes it.  `dir`: its folder, else its name.
inline PackageFiles BuiltModule(const std::string& name, int driverBase, int maker, int version = 1,
                                const std::string& dir = {}) {
  const ModuleSource source = {
      {"module.ini", "[Module]\nName = " + name + "\nDriverBase = " + std::to_string(driverBase) + "\nVersion = " +
                         std::to_string(version) + "\nTypes = bank\nmanufacturerId = " + std::to_string(maker) + "\n"},
      {"bank.descriptor", "typeName = Bank\nfileSize = 40\nnumVoices = 4\nvoiceSize = 10\nnameLength = 8\n"}};
  ModuleImage image;
  const Result built = BuildModule(source, &image);
  EXPECT_TRUE(built.ok()) << built.text;
  for (PackageFile& file : image.files) {
    if (dir.empty()) break;
    if (file.path.find('\\') == std::string::npos) {
      std::string ini(file.bytes.begin(), file.bytes.end());
      const std::size_t at = ini.find("Dir=");
      ini.replace(at, ini.find_first_of("\r\n", at) - at, "Dir=" + dir);
      file.bytes = TextBytes(ini);
    } else {
      file.path = dir + file.path.substr(file.path.find('\\'));
    }
  }
  return image.files;
}

}  // namespace tonalith
