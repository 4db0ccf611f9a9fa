// The sources as the house tests read them: files of rooms, lines, includes.
#pragma once

#include <initializer_list>
#include <regex>
#include <string>
#include <vector>

namespace tonalith::house {

// A source file: path from the root of the tree, and its lines without line ends.
struct SourceFile {
  std::string path;
  std::vector<std::string> lines;

  std::string Room() const { return path.substr(0, path.find('/')); }
  // Path without its extension: a header and the file that implements it are one unit.
  std::string Unit() const { return path.substr(0, path.rfind('.')); }
  bool IsHeader() const { return path.size() > 2 && path.compare(path.size() - 2, 2, ".h") == 0; }
};

// Every .h and .cpp below the folders (paths from the root of the tree), sorted by path.
std::vector<SourceFile> SourcesOf(const std::vector<std::string>& folders);

// The rooms of the product, from the bottom up.
const std::vector<std::string>& Rooms();

// Whole text of a file; "" when it cannot be read.
std::string TextOf(const std::string& path);

// Text of a file with its comments and texts replaced by blanks, so that lines keep their numbers.
std::string CodeOf(const std::string& path);

// What a pattern finds in the lines of a code, as "file:line: what".  Lines without one of `hints` are not looked at
// more closely; no hints: every line is.
std::vector<std::string> Matches(const std::string& code, std::initializer_list<const char*> hints,
                                 const std::regex& pattern, const std::string& file);

// What a file includes.
struct Include {
  std::string target;
  bool quoted;
};
std::vector<Include> IncludesOf(const SourceFile& file);

// A function with its body: where it begins (1-based) and how many lines it has, signature and last bracket included,
// the rows of tables in it not.
struct FunctionLines {
  std::size_t line;
  std::size_t count;
  std::string signature;
};

// Functions and lambdas of a file that clang-format laid out: what opens a bracket at the end of a line and is no
// namespace, type, table or control statement.
std::vector<FunctionLines> FunctionsOf(const SourceFile& file);

}  // namespace tonalith::house
