// Numbers that belong into one place: messages in platform/message_numbers.h, codes of statements in the definition
// file of statements.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const char* const kProduct[] = {"platform", "data",      "midi",   "script", "services", "document", "studio", "bank",
                                "store",    "simulator", "editor", "tools",  "ui",       "app",      "cli"};

// Comments and texts are replaced by blanks, so that lines keep their numbers.
std::string CodeOf(const fs::path& path) {
  std::ifstream file(path);
  std::stringstream stream;
  stream << file.rdbuf();
  std::string code = stream.str();
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

// Lines without one of `hints` are not looked at more closely.
std::vector<std::string> Matches(const std::string& code, std::initializer_list<const char*> hints,
                                 const std::regex& pattern, const std::string& file) {
  std::vector<std::string> found;
  std::istringstream lines(code);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    const auto stands = [&line](const char* hint) { return line.find(hint) != std::string::npos; };
    if (std::none_of(hints.begin(), hints.end(), stands)) continue;
    for (std::sregex_iterator at(line.begin(), line.end(), pattern), end; at != end; ++at) {
      found.push_back(file + ":" + std::to_string(number) + ": " + at->str());
    }
  }
  return found;
}

template <typename Visit>
void VisitFiles(const fs::path& folder, Visit visit) {
  if (!fs::exists(folder)) return;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const auto extension = entry.path().extension();
    if (extension == ".h" || extension == ".cpp" || extension == ".def") visit(entry.path());
  }
}

TEST(House, MessageNumbersStandInOnePlace) {
  const fs::path root = TONALITH_SOURCE_DIR;
  // 8001h to 8215h; 8000h alone is also a bit or an address.
  const std::regex message(
      "\\b0[xX]8(00[1-9A-Fa-f]|0[1-9A-Fa-f][0-9A-Fa-f]|1[0-9A-Fa-f]{2}|20[0-9A-Fa-f]|21[0-5])[uU]?\\b");
  for (const char* room : kProduct) {
    VisitFiles(root / room, [&](const fs::path& path) {
      const std::string name = fs::relative(path, root).string();
      if (name == "platform/message_numbers.h") return;
      for (const std::string& found : Matches(CodeOf(path), {"0x8", "0X8"}, message, name)) {
        ADD_FAILURE() << found << " is a message number: name it in platform/message_numbers.h";
      }
    });
  }
}

bool Names(const std::string& code, const std::string& name) {
  const auto isWord = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; };
  for (auto at = code.find(name); at != std::string::npos; at = code.find(name, at + 1)) {
    const bool begins = at == 0 || !isWord(code[at - 1]);
    if (begins && !isWord(code[at + name.size()])) return true;
  }
  return false;
}

// Every name of a message is used by somebody.
TEST(House, MessageNamesAreUsed) {
  const fs::path root = TONALITH_SOURCE_DIR;
  std::string product;
  for (const char* room : kProduct) {
    VisitFiles(root / room, [&](const fs::path& path) {
      if (path.filename() != "message_numbers.h") product += CodeOf(path);
    });
  }
  const std::string header = CodeOf(root / "platform/message_numbers.h");
  const std::regex enumeration("enum class (\\w+)[^{]*\\{([^}]*)\\}");
  const std::regex enumerator("(\\w+)\\s*=");
  int names = 0;
  for (std::sregex_iterator at(header.begin(), header.end(), enumeration), end; at != end; ++at) {
    const std::string receiver = (*at)[1];
    const std::string body = (*at)[2];
    for (std::sregex_iterator name(body.begin(), body.end(), enumerator); name != end; ++name, ++names) {
      const std::string full = receiver + "::" + (*name)[1].str();
      EXPECT_TRUE(Names(product, full)) << full << " is not used";
    }
  }
  EXPECT_GT(names, 100);
}

// Statements are told apart by Statement, never by the bytes of their code.
TEST(House, StatementCodesStandInTheirDefinition) {
  const fs::path root = TONALITH_SOURCE_DIR;
  const std::regex code(
      "\\bcase\\s+(0[xX][0-9A-Fa-f]+|[0-9]+)\\s*:"
      "|\\b(opcode|sub|subCode|statement\\[0\\])\\s*[=!]=\\s*[0-9]+"
      "|\\b[0-9]+\\s*[=!]=\\s*(opcode|sub|subCode)\\b"
      "|\\b(FindStatement|StatementOperands|IsFamilyOpcode|IsDefinedOpcode)\\(\\s*[0-9]+");
  VisitFiles(root / "script", [&](const fs::path& path) {
    const std::string name = fs::relative(path, root).string();
    // Protocols count their own steps.
    if (path.extension() == ".def" || name.rfind("script/protocols/", 0) == 0) return;
    for (const std::string& found :
         Matches(CodeOf(path), {"case", "code", "sub", "tatement", "IsFamily"}, code, name)) {
      ADD_FAILURE() << found << " looks like the code of a statement: name it as in script/statements.def";
    }
  });
}

}  // namespace
