#include "script/statement_table.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <vector>

#include "script/keyword_table.h"

namespace tonalith {
namespace {

TEST(StatementTable, EachCodeHasOneRowThatTheLookupFinds) {
  std::set<std::pair<int, int>> seen;
  for (const StatementInfo& info : StatementTable()) {
    EXPECT_TRUE(seen.insert({info.opcode, info.sub}).second) << int{info.opcode} << "/" << info.sub;
    EXPECT_EQ(FindStatement(info.opcode, info.sub), &info);
    EXPECT_EQ(IsFamilyOpcode(info.opcode), info.IsFamily());
    EXPECT_TRUE(IsDefinedOpcode(info.opcode));
  }
  std::map<int, int> members;
  for (const auto& [opcode, sub] : seen) members[opcode] += 1;
  const std::map<int, int> expected = {{18, 34}, {40, 27}, {47, 25}, {48, 2}, {50, 2}, {51, 32}, {52, 141},
                                       {53, 92}, {54, 7},  {55, 79}, {56, 5}, {57, 3}, {58, 1}};
  for (const auto& [opcode, count] : expected) EXPECT_EQ(members[opcode], count) << opcode;
  for (int opcode = 0; opcode < 256; ++opcode) {
    EXPECT_EQ(members.count(opcode), opcode == 13 || opcode > 58 ? 0u : 1u) << opcode;
    EXPECT_EQ(IsDefinedOpcode(static_cast<std::uint8_t>(opcode)), members.count(opcode) != 0) << opcode;
  }
  EXPECT_EQ(FindStatement(13, -1), nullptr);
  EXPECT_EQ(FindStatement(51, 28), nullptr);
  EXPECT_EQ(FindStatement(59, -1), nullptr);
  EXPECT_EQ(FindStatement(47, 200), FindStatement(47, 24));
}

TEST(StatementTable, RoutesAreComplete) {
  for (const StatementInfo& info : StatementTable()) {
    const Route& route = info.route;
    SCOPED_TRACE(std::to_string(info.opcode) + "/" + std::to_string(info.sub));
    const bool branching = info.id == Statement::MESSAGEBOX || info.id == Statement::HXGetVersionInfo;
    EXPECT_EQ(info.forwarded || branching, route.target != RouteTarget::None);
    if (route.target == RouteTarget::None) continue;
    EXPECT_NE(route.call, RouteCall::None);
    const bool requestPacking = route.packing >= Packing::Params;
    if (route.packing != Packing::Nothing) {
      EXPECT_EQ(requestPacking, route.call == RouteCall::Request);
    }
    if (route.call == RouteCall::Request) {
      EXPECT_LT(route.number, 0x100);
    } else {
      EXPECT_TRUE((route.number >= 0x8100 && route.number <= 0x8215) || route.number == 0xCA);
    }
    const bool either = route.target == RouteTarget::EditorOrSetByDriver ||
                        route.target == RouteTarget::EditorOrSetByZero ||
                        route.target == RouteTarget::EditorOrComponentByDriver ||
                        route.target == RouteTarget::EditorWindowOrSetWindowByDriver;
    EXPECT_EQ(either, route.alternateNumber != 0);
  }
}

TEST(StatementTable, PackedPairs) {
  EXPECT_EQ(SignedPair(100, 2), 0x00020064);
  EXPECT_EQ(SignedPair(0x8000, 1), -0x8000);
  EXPECT_EQ(MaskedPair(0x18000, 1), 0x00018000);
  EXPECT_EQ(MaskedPair(-1, 2), 0x0002FFFF);
}

TEST(StatementTable, StepsOverStatements) {
  struct Case {
    std::vector<std::uint8_t> code;
    std::size_t bytes;
  };
  const Case cases[] = {
      {{0, 0, 0, 0, 5, 255}, 4},
      {{8, 0, 0, 0, 3, 0xF0, 0x7E, 0xF7, 255}, 7},
      {{8, 0, 0, 0, 4, 0xF0, 0x7E, 0xF7}, kBadStatement},
      {{8, 0x80, 0, 0, 1, 255}, 4},  // a reference announces no data
      {{11, 0, 0, 0, 1, 0, 0, 0, 9, 0xAA, 255}, 9},
      {{12, 0xC8, 1, 0, 0, 0, 2, 255}, 6},
      {{14, 1, 0, 0, 0, 0, 5, 255}, 6},
      {{14, 5, 8, 0, 255}, 3},
      {{14, 1, 8, 0xCC, 1, 255}, 4},  // stepped over as it is written, although one byte of it is executed
      {{14, 0xC8, 1, 8, 0xCC, 1, 255}, 5},
      {{14, 1, 8, 0xCC}, kBadStatement},
      {{23, 0x85}, kBadStatement},
      {{18, 4, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 255}, 13},
      {{18, 99, 255}, 1},
      {{40, 13, 4, 255}, 2},
      {{47, 4, 0, 0, 0, 1, 255}, 5},
      {{47, 99, 0, 0, 0, 1, 0, 0, 0, 2, 255}, 9},
      {{50, 1, 0, 0, 0, 1, 4, 255}, 6},
      {{53, 200, 255}, 1},
      {{57, 9, 0, 0, 0}, kBadStatement},
      {{13}, kBadStatement},
      {{59}, kBadStatement},
      {{255}, 0},
      {{52}, kBadStatement},
  };
  for (const Case& c : cases) EXPECT_EQ(OperandBytes(c.code.data(), c.code.size()), c.bytes) << int{c.code[0]};
}

TEST(KeywordTable, WordsNameDefinedCodesAndNoWordHidesALaterOne) {
  std::size_t words = 0;
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const auto list = KeywordsFor(letter);
    words += list.size();
    for (const ScriptKeyword& word : list) {
      EXPECT_EQ(MatchKeyword(word.text), &word) << word.text;
      if (word.opcode != kDecimalMode) {
        EXPECT_NE(FindStatement(word.opcode, word.sub), nullptr) << word.text;
      }
    }
  }
  EXPECT_EQ(words, 439u);
  EXPECT_EQ(MatchKeyword("ZKSAVEX")->sub, 5);
  EXPECT_EQ(MatchKeyword("Z"), nullptr);
  EXPECT_EQ(MatchKeyword(""), nullptr);
}

}  // namespace
}  // namespace tonalith
