#include "tests/house/sources.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace tonalith::house {

namespace {

namespace fs = std::filesystem;

std::size_t IndentOf(const std::string& line) {
  return std::min(line.find_first_not_of(' '), line.size());
}

// Whether a statement that continues on the next line can be before `line`.
bool EndsStatement(const std::string& line) {
  const std::size_t at = IndentOf(line);
  if (at == line.size() || line.compare(at, 2, "//") == 0 || line[at] == '#') return true;
  const char last = line.back();
  return last == ';' || last == '{' || last == '}' || last == ':' || line.find("; //") != std::string::npos ||
         line.find(";  //") != std::string::npos;
}

bool OpensFunction(const std::string& signature) {
  static const std::regex noFunction(
      "(^|\\} )(if|for|while|switch|else|do|namespace|struct|class|union|enum|case|default|try|catch)\\b.*"
      "|.*(=|return|,|\\{|\\() ?\\{$");
  return signature.find('(') != std::string::npos && !std::regex_match(signature, noFunction);
}

// The line that ends what was opened on line `open`: the next one that is not deeper than `indent`.
std::size_t EndOfBlock(const std::vector<std::string>& lines, std::size_t open, std::size_t indent) {
  bool rawText = false;
  for (std::size_t i = open + 1; i < lines.size(); ++i) {
    if (rawText) {
      rawText = lines[i].find(")\"") == std::string::npos;
      continue;
    }
    if (!lines[i].empty() && lines[i][0] != '#' && IndentOf(lines[i]) <= indent) return i;
    const auto raw = lines[i].find("R\"(");
    rawText = raw != std::string::npos && lines[i].find(")\"", raw) == std::string::npos;
  }
  return lines.size() - 1;
}

// How many lines between two stand inside of tables.
std::size_t RowsOfTables(const std::vector<std::string>& lines, std::size_t from, std::size_t to) {
  static const std::regex opensTable(".*(=|return|\\w[>\\]]) ?\\{$");
  std::size_t rows = 0;
  for (std::size_t i = from; i < to; ++i) {
    if (!std::regex_match(lines[i], opensTable)) continue;
    const std::size_t end = EndOfBlock(lines, i, IndentOf(lines[i]));
    rows += end - i - 1;
    i = end;
  }
  return rows;
}

}  // namespace

const std::vector<std::string>& Rooms() {
  static const std::vector<std::string> rooms = {
      "platform", "data",   "parameters", "midi", "script", "services", "document",  "studio", "chart",   "bank",
      "store",    "editor", "tools",      "ui",   "app",    "cli",      "simulator", "sets",   "library", "catalogue"};
  return rooms;
}

std::string TextOf(const std::string& path) {
  std::ifstream file(fs::path(TONALITH_SOURCE_DIR) / path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<SourceFile> SourcesOf(const std::vector<std::string>& folders) {
  const fs::path root = TONALITH_SOURCE_DIR;
  std::vector<SourceFile> files;
  for (const std::string& folder : folders) {
    if (!fs::exists(root / folder)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
      if (entry.path().extension() != ".h" && entry.path().extension() != ".cpp") continue;
      SourceFile source{fs::relative(entry.path(), root).string(), {}};
      std::ifstream file(entry.path());
      for (std::string line; std::getline(file, line);) source.lines.push_back(line);
      files.push_back(std::move(source));
    }
  }
  std::sort(files.begin(), files.end(), [](const SourceFile& a, const SourceFile& b) { return a.path < b.path; });
  return files;
}

std::string CodeOf(const std::string& path) {
  std::string code = TextOf(path);
  enum class Inside { Code, Line, Block, Text, Character } inside = Inside::Code;
  for (std::size_t i = 0; i < code.size(); ++i) {
    const char c = code[i];
    const char next = i + 1 < code.size() ? code[i + 1] : '\0';
    if (inside == Inside::Code) {
      if (c == '/' && next == '/') inside = Inside::Line;
      if (c == '/' && next == '*') inside = Inside::Block;
      if (c == '"') inside = Inside::Text;
      // A quote inside a number separates its digits.
      if (c == '\'' && (i == 0 || !std::isalnum(static_cast<unsigned char>(code[i - 1])))) inside = Inside::Character;
      if (inside == Inside::Code) continue;
    } else if ((inside == Inside::Text || inside == Inside::Character) && c == '\\') {
      code[i] = ' ';
      if (next != '\n') code[++i] = ' ';
      continue;
    } else if ((inside == Inside::Text && c == '"') || (inside == Inside::Character && c == '\'') ||
               (inside == Inside::Line && c == '\n')) {
      inside = Inside::Code;
    } else if (inside == Inside::Block && c == '*' && next == '/') {
      code[i++] = ' ';
      inside = Inside::Code;
    }
    if (code[i] != '\n') code[i] = ' ';
  }
  return code;
}

std::vector<std::string> Matches(const std::string& code, std::initializer_list<const char*> hints,
                                 const std::regex& pattern, const std::string& file) {
  std::vector<std::string> found;
  std::istringstream lines(code);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    const auto stands = [&line](const char* hint) { return line.find(hint) != std::string::npos; };
    if (hints.size() > 0 && std::none_of(hints.begin(), hints.end(), stands)) continue;
    for (std::sregex_iterator at(line.begin(), line.end(), pattern), end; at != end; ++at) {
      found.push_back(file + ":" + std::to_string(number) + ": " + at->str());
    }
  }
  return found;
}

std::vector<Include> IncludesOf(const SourceFile& file) {
  std::vector<Include> includes;
  for (const std::string& line : file.lines) {
    if (line.rfind("#include ", 0) != 0 || line.size() < 12) continue;
    const bool quoted = line[9] == '"';
    includes.push_back({line.substr(10, line.find(quoted ? '"' : '>', 10) - 10), quoted});
  }
  return includes;
}

std::vector<FunctionLines> FunctionsOf(const SourceFile& file) {
  std::vector<FunctionLines> functions;
  const std::vector<std::string>& lines = file.lines;
  for (std::size_t open = 0; open < lines.size(); ++open) {
    if (lines[open].empty() || lines[open].back() != '{') continue;
    std::size_t first = open;
    while (first > 0 && !EndsStatement(lines[first - 1])) --first;
    std::string signature;
    for (std::size_t i = first; i <= open; ++i)
      signature += (i == first ? "" : " ") + lines[i].substr(IndentOf(lines[i]));
    if (!OpensFunction(signature)) continue;
    const std::size_t indent = IndentOf(lines[first]);
    const std::size_t last = EndOfBlock(lines, open, indent);
    functions.push_back({first + 1, last - first + 1 - RowsOfTables(lines, open + 1, last), signature});
  }
  return functions;
}

}  // namespace tonalith::house
