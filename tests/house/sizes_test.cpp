// Files and functions stay small enough to be read.

#include <gtest/gtest.h>

#include "tests/house/sources.h"

namespace tonalith::house {

namespace {

constexpr std::size_t kLongestFile = 700;
constexpr std::size_t kLongestFunction = 80;

}  // namespace

TEST(Sizes, NoFileIsTooLong) {
  for (const SourceFile& file : SourcesOf(Rooms())) EXPECT_LE(file.lines.size(), kLongestFile) << file.path;
}

TEST(Sizes, NoFunctionIsTooLong) {
  std::vector<std::string> folders = Rooms();
  folders.insert(folders.end(), {"tests", "benchmarks", "fuzz"});
  std::size_t functions = 0;
  for (const SourceFile& file : SourcesOf(folders)) {
    for (const FunctionLines& function : FunctionsOf(file)) {
      ++functions;
      EXPECT_LE(function.count, kLongestFunction)
          << file.path << ':' << function.line << " has " << function.count << " lines: " << function.signature;
    }
  }
  EXPECT_GT(functions, 3000u) << "the functions are not found";
}

// The finder itself: what it takes for a function and where it sees its end.
TEST(Sizes, FunctionsAreFound) {
  const SourceFile file{"x.cpp",
                        {"namespace {",                                      //
                         "int Plain(int a) {",                               //
                         "  if (a) {",                                       //
                         "    return 1;",                                    //
                         "  }",                                              //
                         "  const int rows[] = {",                           //
                         "      Row(1),",                                    //
                         "  };",                                             //
                         "  Call([&](int b) {",                              //
                         "    return b;",                                    //
                         "  });",                                            //
                         "}",                                                //
                         "",                                                 //
                         "struct Type : Base(int) {",                        //
                         "  Type(int a)",                                    //
                         "      : Base(a) {",                                //
                         "    Run();",                                       //
                         "  }",                                              //
                         "};",                                               //
                         "Result Split(const std::string& first,",           //
                         "             const std::string& second) const {",  //
                         "  return {};",                                     //
                         "}"}};
  std::vector<std::pair<std::size_t, std::size_t>> found;
  for (const FunctionLines& function : FunctionsOf(file)) found.emplace_back(function.line, function.count);
  EXPECT_EQ(found, (std::vector<std::pair<std::size_t, std::size_t>>{{2, 10}, {9, 3}, {15, 4}, {20, 4}}));
}

}  // namespace tonalith::house
