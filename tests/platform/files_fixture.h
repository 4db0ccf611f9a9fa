#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"

namespace tonalith {

// A folder that goes away with this object.
class TestFolder {
 public:
  explicit TestFolder(const std::filesystem::path& base = std::filesystem::temp_directory_path()) {
    std::string name = base / "tonalith-test-XXXXXX";
    path_ = ::mkdtemp(name.data());
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(path_, ignored);
  }
  std::string At(const std::string& name) const { return (path_ / name).string(); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// A folder of its own for each test.
class FilesTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return folder_.At(name); }
  std::string Read(const std::string& name) const {
    std::string text;
    EXPECT_TRUE(ReadWholeFile(Path(name), text));
    return text;
  }
  void Write(const std::string& name, std::string_view text) {
    ASSERT_TRUE(MakeFolders(FolderOf(Path(name))));
    ASSERT_TRUE(WriteFileAtomically(Path(name), text));
  }
  const TestFolder folder_;
  const std::string root_ = folder_.path().string();
};

}  // namespace tonalith
