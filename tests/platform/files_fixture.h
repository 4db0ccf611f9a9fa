#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/atomic_file.h"
#include "platform/path_resolver.h"

namespace tonalith {

// A folder of its own for each test.
class FilesTest : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/tonalith_files_XXXXXX";
    root_ = ::mkdtemp(name);
  }
  void TearDown() override { std::filesystem::remove_all(root_); }
  std::string Path(const std::string& name) const { return root_ + "/" + name; }
  std::string Read(const std::string& name) const {
    std::string text;
    EXPECT_TRUE(ReadWholeFile(Path(name), text));
    return text;
  }
  void Write(const std::string& name, std::string_view text) {
    ASSERT_TRUE(MakeFolders(FolderOf(Path(name))));
    ASSERT_TRUE(WriteFileAtomically(Path(name), text));
  }
  std::string root_;
};

}  // namespace tonalith
