// Numbers that belong into one place: messages in platform/message_numbers.h, codes of statements in the definition
// file of statements.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <regex>
#include <string>
#include <vector>

#include "tests/house/sources.h"

namespace tonalith::house {
namespace {

constexpr const char* kMessageNumbers = "platform/message_numbers.h";

// The files of some rooms, the definitions of statements included.
std::vector<std::string> PathsOf(const std::vector<std::string>& rooms) {
  std::vector<std::string> paths = {"script/statements.def", "script/forms.def"};
  for (const SourceFile& file : SourcesOf(rooms)) paths.push_back(file.path);
  return paths;
}

TEST(House, MessageNumbersStandInOnePlace) {
  // 8001h to 8215h; 8000h alone is also a bit or an address.
  const std::regex message(
      "\\b0[xX]8(00[1-9A-Fa-f]|0[1-9A-Fa-f][0-9A-Fa-f]|1[0-9A-Fa-f]{2}|20[0-9A-Fa-f]|21[0-5])[uU]?\\b");
  for (const std::string& path : PathsOf(Rooms())) {
    if (path == kMessageNumbers) continue;
    for (const std::string& found : Matches(CodeOf(path), {"0x8", "0X8"}, message, path)) {
      ADD_FAILURE() << found << " is a message number: name it in " << kMessageNumbers;
    }
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
  std::string product;
  for (const std::string& path : PathsOf(Rooms())) {
    if (path != kMessageNumbers) product += CodeOf(path);
  }
  const std::string header = CodeOf(kMessageNumbers);
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
  const std::regex code(
      "\\bcase\\s+(0[xX][0-9A-Fa-f]+|[0-9]+)\\s*:"
      "|\\b(opcode|sub|subCode|statement\\[0\\])\\s*[=!]=\\s*[0-9]+"
      "|\\b[0-9]+\\s*[=!]=\\s*(opcode|sub|subCode)\\b"
      "|\\b(FindStatement|StatementOperands|IsFamilyOpcode|IsDefinedOpcode)\\(\\s*[0-9]+");
  for (const std::string& path : PathsOf({"script"})) {
    // Protocols count their own steps.
    if (path.ends_with(".def") || path.starts_with("script/protocols/")) continue;
    for (const std::string& found :
         Matches(CodeOf(path), {"case", "code", "sub", "tatement", "IsFamily"}, code, path)) {
      ADD_FAILURE() << found << " looks like the code of a statement: name it as in script/statements.def";
    }
  }
}

}  // namespace
}  // namespace tonalith::house
