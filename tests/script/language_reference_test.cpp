#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "platform/text.h"
#include "script/compiler.h"
#include "script/statement_table.h"

namespace tonalith {
namespace {

// The forms between backquotes in the language reference, one for each line of a form.
std::vector<std::string> ReferenceForms() {
  std::ifstream file(std::string(TONALITH_SOURCE_DIR) + "/docs/script-language.md");
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const std::vector<std::string> pieces = SplitText(ReplaceAll(text, "```", "\n"), '`');
  std::vector<std::string> forms;
  for (std::size_t i = 1; i < pieces.size(); i += 2) forms.push_back(pieces[i]);
  return forms;
}

// Every word of the language is described, and every described form has the operands that the compiler reads.
TEST(LanguageReference, IsCompleteAndCompiles) {
  const std::vector<std::string> forms = ReferenceForms();
  ASSERT_GT(forms.size(), 400u);
  std::set<std::string> described;
  for (const std::string& form : forms) {
    std::istringstream words(form);
    std::string word, operand;
    words >> word;
    described.insert(AsciiUpper(word));
    std::string source = word;
    int operands = 0;
    bool plain = true;
    for (; words >> operand; ++operands) {
      plain = plain && operand.size() == 1 && std::string("nabcdevo").find(operand) != std::string::npos;
      source += operand == "v" ? " X" : " 1";
    }
    const ScriptKeyword* keyword = MatchKeyword(word);
    if (!plain || !keyword || keyword->text.size() != word.size() || keyword->opcode == kDecimalMode) continue;
    const std::size_t expected = keyword->numbers >= 0 ? static_cast<std::size_t>(keyword->numbers)
                                                       : StatementOperands(keyword->opcode, keyword->sub).count;
    if (operands == 0 && expected > 0) continue;  // named in a sentence
    const CompileResult result = CompileScript(source);
    EXPECT_TRUE(result.ok()) << form << "\n" << result.report;
    EXPECT_EQ(static_cast<std::size_t>(operands), expected) << form;
  }
  for (const StatementInfo& info : StatementTable()) {
    if (!info.name || std::string(info.name) == "M") continue;
    EXPECT_TRUE(described.count(AsciiUpper(info.name))) << info.name;
  }
}

}  // namespace
}  // namespace tonalith
