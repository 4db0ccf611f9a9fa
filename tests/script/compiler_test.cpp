#include "script/compiler.h"

#include <gtest/gtest.h>

#include <set>

#include "random_programs.h"
#include "script/lint.h"
#include "script/listing.h"
#include "script/statement_table.h"

namespace tonalith {
namespace {

std::vector<std::uint8_t> BytecodeOf(std::string_view hex) {
  std::vector<std::uint8_t> bytes;
  std::string digits;
  for (const char c : hex) {
    if (c == ' ' || c == '|') continue;
    digits += c;
    if (digits.size() == 2) {
      bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits, nullptr, 16)));
      digits.clear();
    }
  }
  return bytes;
}

std::string BytecodeText(const std::vector<std::uint8_t>& code) {
  std::string text;
  char pair[4];
  for (const std::uint8_t byte : code) {
    std::snprintf(pair, sizeof(pair), "%02X", byte);
    text += pair;
  }
  return text;
}

struct CompileCase {
  const char* source;
  const char* hex;
};

// The shape of every short form, the stepping over separators and what must stay odd.
constexpr CompileCase kCompileCases[] = {
    {"", "FF"},
    {" \t[{}\n\r\n", "FF"},
    {"; nothing T 5\nA ; A", "09 FF"},
    {"A;x\rA", "09 09 FF"},
    {"S 3 { F0 7E F7 }", "08 00000003 F07EF7 FF"},
    {"S 3 {\nF0 7E\nF7 }", "08 00000003 F07EF7 FF"},
    {"S2{F0 f7}A", "08 00000002 F0F7 09 FF"},
    {"S 2 0xF0,0xF7", "08 00000002 F0F7 FF"},
    {"DEC S 2 { 240 247 } S 1 { 40 }", "08 00000002 F0F7 08 00000001 40 FF"},
    {"dec A FA 1 2 { 16 } FA 1 2 { 16 }", "09 0B 00000001 00000002 10 0B 00000001 00000002 16 FF"},
    {"S X A", "08 80000001 09 FF"},
    {"S 4 { F0 7E F7 } A T 1 ]", "08 00000004 F07EF70A 00 00000001 07 FF"},
    {"MX + 5", "0E 01 00 00000005 FF"},
    {"MV1 @ W", "0E 05 08 00 FF"},
    {"MV0=5 mv 0 | V7 M W & z", "0E 04 07 00000005 0E 04 09 40000007 0E 00 0A 80000003 FF"},
    {"MX\n+\n5", "0E 01 00 00000005 FF"},
    {"MX @ V200", "0E 01 08 CC01 FF"},
    {"IF X", "17 01 FF"},
    {"IFV7 ifnX IFLQ Y IFL Y IFGQ Z IFG Z", "17 0B 18 01 2A 02 1B 02 2B 03 1C 03 FF"},
    {"IFNQ V3 2 IFQ X V2", "2E 07 00000002 21 01 40000002 FF"},
    {"IFE IFX I FE", "19 26 19 FF"},
    {"T5 T\n5 T]", "00 00000005 00 00000005 00 00000000 07 FF"},
    {"L2[T1]", "04 00000002 00 00000001 07 FF"},
    {"T X TR 7 tr7 TRX", "00 80000001 10 00000007 10 00000007 10 80000001 FF"},
    {"R 136 RA 1 2 RB 3 RD 4 5 RET X RETV1",
     "01 00000088 1E 00000001 00000002 11 00000003 15 00000004 00000005 14 01 14 05 FF"},
    {"RE ]", "01 00000000 07 07 FF"},
    {"D 5000 DM 1 DR 2 3 DS4 dm5", "06 00001388 0F 00000001 15 00000002 00000003 16 00000004 0F 00000005 FF"},
    {"C 3 B 4 ", "02 00000003 03 00000004 FF"},
    {"N NS NI ND END", "05 31 20 1F 07 1F FF"},
    {"F X 5 F V 200 1 FX 2 FG V0 6 f r Y 7 FS Z 8 FT W 9",
     "0C 01 00000005 0C CC01 00000001 0C 01 00000002 1D 04 00000006 13 02 00000007 1A 03 00000008 23 00 00000009 FF"},
    {"FSX 0 1 2", "33 01 00000000 00000001 00000002 FF"},
    {"K 00 0c 6 128 134", "0A 000C 00000006 00000080 00000086 FF"},
    {"DEC K 10 11 1 2 3", "0A 1011 00000001 00000002 00000003 FF"},
    {"GA 1 GF 2 GN GO GC 1 2 3 GR GP 4 GM GW 5 6",
     "1200 00000001 1201 00000002 1202 1203 1204 00000001 00000002 00000003 1205 1206 00000004 1207 1208 00000005 "
     "00000006 FF"},
    {"GT 1 GTR 2 GL GL2 GD GU 3 GH 4 GHB 5 6 GS 7 GSB 8 9 GJ 1 2 3",
     "1209 00000001 1211 00000002 120A 1215 1216 120B 00000003 120C 00000004 1210 00000005 00000006 120D 00000007 "
     "120F 00000008 00000009 120E 00000001 00000002 00000003 FF"},
    {"VR X 5 VW 6 V7 VS 1 VL V", "3200 01 00000005 3201 00000006 0B 3000 00000001 3001 40000000 FF"},
    {"getval5 ]", "1220 00000000 07 FF"},
    {"setval 3,4", "2F03 00000003 00000004 FF"},
    {"setval 3\n4 setval\n5 6", "2F03 00000003 00000004 2F03 00000005 00000006 FF"},
    {"GP \tA", "1206 00000000 09 FF"},
    {"T 1073741829 T 4294967297 T V1073741824", "00 40000005 00 00000001 00 40000000 FF"},
    {"int V5 float X", "280D 09 280E 01 FF"},
    {"ln 5 log10 5 log 5 exp10 2 exp 2", "2814 00000005 2813 00000005 2814 00000005 2816 00000002 2812 00000002 FF"},
    {"SETSELECT 1 2 3 ASSERT 4", "341C 00000001 00000002 00000003 3546 00000004 FF"},
    {"IDCopy SetValOnly 1 2 SyxFree TableClr 3 FCFileSize", "3606 373F 00000001 00000002 352E 3482 00000003 3545 FF"},
    {"ZKSAVE zksetportin 1 HXAutoSense", "3505 3400 00000001 352C FF"},
    {"Within 1 X V2 LM 1 2 3 LT 4 5",
     "331E 00000001 80000001 40000002 331A 00000001 00000002 00000003 3702 00000004 00000005 FF"},
    {"MEMCPYBNK_NOINIT 1 2 3 4 5 6 7", "3902 00000001 00000002 00000003 00000004 00000005 00000006 00000007 FF"},
    {"macro 3 kurz RCOMM BREAK TrinEff getParm 1 2 Timeout 3",
     "22 00000003 25 27 24 29 2C 00000001 00000002 2D 00000003 FF"},
};

TEST(Compiler, Bytes) {
  for (const CompileCase& c : kCompileCases) {
    const CompileResult result = CompileScript(c.source);
    EXPECT_EQ(result.error, CompileError::None) << c.source << "\n" << result.report;
    EXPECT_EQ(BytecodeText(result.code), BytecodeText(BytecodeOf(c.hex))) << c.source;
  }
}

constexpr char kReceiveScript[] =
    "; ask for the edit voice and read one dump\n"
    "S 7 { F0 3E 11 00 05 00 F7 }    ; transmit data := request\n"
    "C 3                             ; device number goes into byte 3\n"
    "F Z 5                           ; patch number into byte 5\n"
    "TR 7                            ; stage it\n"
    "R 136                           ; send the request, collect the reply\n"
    "IFGQ V10                        ; got something\n"
    "GP 0                            ; back to the start of the buffer\n"
    "FG V0 134                       ; checksum as received\n"
    "K 00 00 6 128 134               ; recompute it\n"
    "FG V1 134\n"
    "MV0 - V1                        ; 0 = equal\n"
    "GP 136                          ; all consumed = success\n"
    "IF V0\nGP 0                            ; nothing consumed = failure\nIFX\nIFX\n]\n";
constexpr CompileCase kWholeScripts[] = {
    {kReceiveScript,
     "08 00000007 F03E11000500F7 | 02 00000003 | 0C 03 00000005 | 10 00000007 | 01 00000088 | 2B 0E | 12 06 00000000 | "
     "1D 04 00000086 | 0A 00 00 00000006 00000080 00000086 | 1D 05 00000086 | 0E 04 01 40000001 | 12 06 00000088 | "
     "17 04 | 12 06 00000000 | 26 | 26 | 07 | FF"},
    {"; whole dump\nC 3\nF Z 5\nK 00 00 6 128 134\nT 136\n]\n",
     "02 00000003 | 0C 03 00000005 | 0A 00 00 00000006 00000080 00000086 | 00 00000088 | 07 | FF"},
    {"MV0 = 0 L 4 [ S 7 { F0 3E 11 00 05 00 F7 } C 3 F V0 5 TR 7 R 20 MV0 + 1 ] ]",
     "0E 04 07 00000000 04 00000004 08 00000007 F03E11000500F7 02 00000003 0C 04 00000005 10 00000007 01 00000014 "
     "0E 04 00 00000001 07 07 FF"},
};

TEST(Compiler, WholeScriptsAndBackFromTheListing) {
  for (const CompileCase& c : kWholeScripts) {
    const CompileResult result = CompileScript(c.source);
    ASSERT_TRUE(result.ok()) << result.report;
    EXPECT_EQ(BytecodeText(result.code), BytecodeText(BytecodeOf(c.hex)));
    const ListingResult listing = ListScript(result.code);
    ASSERT_EQ(listing.error, ListingError::None);
    EXPECT_EQ(BytecodeText(CompileScript(listing.text).code), BytecodeText(result.code)) << listing.text;
    EXPECT_TRUE(Lint(c.source).empty()) << FormatLintWarning(Lint(c.source)[0]);
    // One byte less than needed does not do.
    EXPECT_EQ(CompileScript(c.source, result.code.size()).error, CompileError::None);
    EXPECT_EQ(CompileScript(c.source, result.code.size() - 1).error, CompileError::OutputFull);
  }
}

// Every statement that the listing can print is read back as the same bytes, but for the words that compile to another
// code and those that the compiler does not know.
TEST(Compiler, ReadsTheListingOfEveryStatementBack) {
  const std::set<std::pair<int, int>> notReadBack = {{47, 4},  {51, 11}, {52, 56}, {52, 100}, {52, 131},
                                                     {53, 47}, {53, 69}, {53, 70}, {55, 61},  {58, 0}};
  for (const StatementInfo& info : StatementTable()) {
    if (!info.keyword) continue;
    std::vector<std::uint8_t> code = {info.opcode};
    if (info.IsFamily()) code.push_back(static_cast<std::uint8_t>(info.sub));
    std::uint8_t value = 1;
    for (std::size_t i = 0; i < info.operands.count; ++i, ++value) {
      switch (info.operands.kind[i]) {
        case OperandKind::ReadVar:
        case OperandKind::WriteVar:
        case OperandKind::UpdateVar:
          code.insert(code.end(), {0xC8, 0x01});
          break;
        case OperandKind::Byte:
        case OperandKind::Operator:
          code.push_back(value);
          break;
        case OperandKind::DataBytes:
          code.push_back(0xAB);
          break;
        default:
          code.insert(code.end(), {0, 0, 0, value});
      }
    }
    code.push_back(kEndOfScript);
    const ListingResult listing = ListScript(code);
    ASSERT_EQ(listing.error, ListingError::None) << info.keyword;
    const bool same = CompileScript(listing.text).code == code;
    EXPECT_EQ(same, !notReadBack.count({info.opcode, info.sub})) << listing.text;
  }
}

struct CompileErrorCase {
  const char* source;
  CompileError error;
  int line;  // from 0
  int character;
};

TEST(Compiler, Errors) {
  using E = CompileError;
  const CompileErrorCase cases[] = {
      {"A\n 5", E::UnknownStatement, 1, 1},
      {"H", E::UnknownStatement, 0, 0},
      {"ZX", E::UnknownStatement, 0, 0},
      {"A \xE4", E::UnknownStatement, 0, 2},
      {"Unknown", E::UnknownStatement, 0, 0},
      {"Vague", E::UnknownStatement, 0, 0},
      {"Want", E::UnknownStatement, 0, 0},
      {"IB 5", E::UnknownStatement, 0, 1},
      {"PrintNothing", E::UnknownStatement, 0, 0},
      {"Quark", E::UnknownStatement, 0, 0},
      {"setval 3 -1", E::UnknownStatement, 0, 9},
      {"Other", E::UnknownOpenWord, 0, 0},
      {"S 1 { 100 }", E::ByteTooLarge, 0, 6},
      {"DEC S 1 { 256 }", E::ByteTooLarge, 0, 10},
      {"MX ? 5", E::UnknownOperator, 0, 3},
      {"MX\t+ 5", E::UnknownOperator, 0, 2},
      {"IF 5", E::VariableExpected, 0, 3},
      {"M5 + 1", E::VariableExpected, 0, 1},
      {"F B 5", E::VariableExpected, 0, 2},
      {"G2", E::VariableExpected, 0, 1},
      {"RETA", E::VariableExpected, 0, 3},
      {"IF V", E::VariableExpected, 0, 3},
      {"MX @ 5", E::VariableExpected, 0, 5},
      {"T", E::EndOfSource, 0, 1},
      {"T ", E::EndOfSource, 0, 2},
      {"setval 3\n\n", E::EndOfSource, 2, 0},
      {"MX", E::EndOfSource, 0, 2},
      {"S 4 { F0 7E F7 }", E::EndOfSource, 0, 16},
      {"S 2 F0", E::EndOfSource, 0, 6},
      {"F", E::EndOfSource, 0, 1},
      {"I", E::EndOfSource, 0, 1},
  };
  for (const CompileErrorCase& c : cases) {
    const CompileResult result = CompileScript(c.source);
    EXPECT_EQ(result.error, c.error) << c.source;
    EXPECT_EQ(result.line, c.line) << c.source;
    EXPECT_EQ(result.character, c.character) << c.source;
  }
}

TEST(Compiler, ReportsShiftNumberAndSentence) {
  const struct {
    const char* source;
    std::size_t capacity;
    const char* report;
  } cases[] = {
      {"A A", 2, "Error at Line 2, Character 1\nError #2: Unknown Character\n"},
      {"A\n  T 5 ? x", 99, "Error at Line 2, Character 7\nError #3: Invalid Assignment (ie WA is invalid)\nT 5 ? x"},
      {"?", 99, "Error at Line 1, Character 1\nError #3: Invalid Assignment (ie WA is invalid)\n?"},
      {"K 1FF", 99, "Error at Line 1, Character 3\nError #5: Invalid Math Operation\n1FF"},
      {"MX ! 1", 99, "Error at Line 1, Character 4\nError #6: Invalid Assignment Opcode\n! 1"},
      {"IF 1", 99, "Error at Line 1, Character 4\nError #7: End of Macro Buffer\n1"},
      {"A T", 99, "Error at Line 1, Character 4\nError #0: \n"},
      {"A  SLEEP 5", 1, "Error at Line 1, Character 4\nError #2: Unknown Character\nSLEEP 5"},
      {"A T 5", 1, "Error at Line 1, Character 3\nError #2: Unknown Character\nT 5"},
      {"O", 99, "Error at Line 1, Character 1\nError #-1: \nO"},
  };
  for (const auto& c : cases) EXPECT_EQ(CompileScript(c.source, c.capacity).report, c.report) << c.source;
  const CompileResult longLine = CompileScript(std::string(400, ' ') + "?" + std::string(400, 'x'));
  EXPECT_EQ(longLine.report.size(), std::string("Error at Line 1, Character 401\n").size() +
                                        std::string("Error #3: Invalid Assignment (ie WA is invalid)\n").size() + 300);
}

TEST(Lint, NamesDoubtfulPlaces) {
  const struct {
    const char* source;
    const char* warning;  // beginning of the only warning; empty: none
  } cases[] = {
      {"S 3 { F0 7E F7 } T A L 2 [ T 1 ] IFV7 MV0=5 IFX ]", ""},
      {"F V0 5 FG V0 5\nTR\nR\n]", ""},
      {"SetFoo 3", "1:1: unknown word \"SetFoo\"; its beginning is compiled as S"},
      {"getvalue 3", "1:1: unknown word \"getvalue\"; its beginning is compiled as getval"},
      {"END", "1:1: unknown word \"END\"; its beginning is compiled as ]"},
      {"getval5 ]", "1:1: \"5\" directly behind getval is passed over"},
      {"T 1\nGP -1", "2:4: a number is expected before \"-\""},
      {"GP \t5", "1:4: a number is expected before a tab"},
      {"T\nWithin 1 2 3", "2:1: the beginning of \"Within\" is taken as the operand W"},
      {"T 1073741829", "1:3: a number above 1073741823"},
      {"MX @ V124", "1:6: V124 and above"},
      {"S 4 { F0 7E F7 } A T 1 ]", "1:1: fewer data bytes"},
      {"S 2 { F0 7E F7 } A", "1:1: more data bytes"},
      {"S V1 { }", "1:3: the count of data bytes"},
      {"L 0 [ T 1 ]", "1:1: a loop with count 0"},
      {"L 2 [ T 1", "1:1: the loop is never closed"},
      {"IFX", "1:1: IFX without an open condition"},
      {"IF X FLOAT X IFX", "1:6: FLOAT inside a condition"},
      {"TableClr 1", "1:1: TableClr compiles to the code of TableInit"},
      {"setval 3-4", "1:9: \"-\" between operands"},
      {"IF X T 1 ]", "1:1: the condition is never closed by an IFX"},
      {"IF X IFG Y T 1 IFE L 2 [ IFN V3 BREAK IFX ] ]", ""},
      {"S 1 { F6 } TR 1 ]", "1:12: TR stages a request that no R behind it sends"},
      {"L 3 [ L 2 [ R 5 ] TR 7 ] ]", ""},
      {"L 3 [ TR 7 RA 1 6 ] TR 7 MACRO 1 TR 7 RCOMM ]", ""},
      {"BREAK ]", "1:1: BREAK outside a loop"},
      {"L 2 [ T 1 ] BREAK ]", "1:13: BREAK outside a loop"},
      {"S 3 { F0 ; the end\n7E F7 } T ]", "1:10: a comment between data bytes"},
      {"S 3 { F0 7E F7 ; the end\n} T ; of it\n]", ""},
  };
  for (const auto& c : cases) {
    const std::vector<LintWarning> warnings = Lint(c.source);
    if (!*c.warning) {
      EXPECT_TRUE(warnings.empty()) << c.source << "\n" << FormatLintWarning(warnings[0]);
      continue;
    }
    ASSERT_FALSE(warnings.empty()) << c.source;
    EXPECT_EQ(FormatLintWarning(warnings[0]).rfind(c.warning, 0), 0u) << c.source << "\n"
                                                                      << FormatLintWarning(warnings[0]);
  }
}

// One run names them all, and what follows a fault is looked at as if it were not there.
TEST(Lint, GoesOnBehindEveryFault) {
  const char* const source =
      "PLUGH 3 5 V2\n"
      "T 5 ? 6 GP 1\n"
      "S 3 { F0 1FF F7 } T\n"
      "FOO 3 OTHER\n"
      "IF 5\n"
      "MX ! 3 STOP 3 5\n"
      "TR 5 L 3 [ BREAK ] BREAK\n"
      "S 3 { F0 ; comment\n"
      "7E ; and another\nF7 }\n"
      "IF V0 setval 3 -1\n"
      "QUUX T";
  std::string all;
  for (const LintWarning& warning : Lint(source)) all += FormatLintWarning(warning) + "\n";
  EXPECT_EQ(all,
            "1:1: unknown word \"PLUGH\"\n"
            "2:5: no statement begins with \"?\"\n"
            "3:10: a data byte is at most FF\n"
            "4:1: unknown word \"FOO\"\n"
            "4:7: unknown word \"OTHER\"\n"
            "5:4: a register or variable is expected\n"
            "6:4: an operator of M is expected: one of + - % / > < * = @ | &\n"
            "6:8: unknown word \"STOP\"; its beginning is compiled as S\n"
            "7:1: TR stages a request that no R behind it sends\n"
            "7:20: BREAK outside a loop ends the script with an error\n"
            "8:10: a comment between data bytes: its digits and the letters A to F are read as bytes\n"
            "9:4: a comment between data bytes: its digits and the letters A to F are read as bytes\n"
            "11:1: the condition is never closed by an IFX\n"
            "11:16: a number is expected before \"-\"; 0 is compiled\n"
            "12:1: unknown word \"QUUX\"\n"
            "12:7: the text ends where an operand is expected\n");
  for (const char* odd : {"P", "Q\nP 5", "\t?", "\xE4\xF6", "S 99999 {", "MX\n?", "F\nB", "G", "I\n\nB", "-1 -2"})
    EXPECT_FALSE(Lint(odd).empty()) << odd;
  EXPECT_EQ(FormatLintWarning(Lint(std::string(kMaxScriptBytes, 'A')).back()),
            "1:32767: the script is longer than 32767 bytes from here on");
}

// A statement of the table with some operands, as the listing writes it; empty: it is not read back.
std::string StatementText(const StatementInfo& info, test::RandomNumbers& random) {
  std::vector<std::uint8_t> code = {info.opcode};
  if (info.IsFamily()) code.push_back(static_cast<std::uint8_t>(info.sub));
  for (std::size_t i = 0; i < info.operands.count; ++i) {
    const auto value = static_cast<std::uint8_t>(random.Below(10));
    switch (info.operands.kind[i]) {
      case OperandKind::Count:
        code.insert(code.end(), {0, 0, 0, 3});
        break;
      case OperandKind::DataBytes:
        code.insert(code.end(), {0xF0, value, 0xF7});
        break;
      case OperandKind::ReadVar:
      case OperandKind::WriteVar:
      case OperandKind::UpdateVar:
      case OperandKind::Byte:
      case OperandKind::Operator:
        code.push_back(value);
        break;
      default:
        code.push_back(random.Chance(30) ? 0x40 : 0);
        code.insert(code.end(), {0, 0, value});
    }
  }
  code.push_back(kEndOfScript);
  const std::string text = ListScript(code).text;
  return CompileScript(text).code == code ? text + "\n" : "";
}

void AddStatements(std::string* text, test::RandomNumbers& random, int depth) {
  static constexpr const char* kConditions[] = {"IF X ", "IFNQ V3 5\n", "IFLQ V7 "};
  const auto table = StatementTable();
  for (std::uint32_t left = 1 + random.Below(8); left > 0; --left) {
    const StatementInfo& info = table[random.Below(static_cast<std::uint32_t>(table.size()))];
    if (depth < 4 && random.Chance(15)) {
      *text += random.Chance(50) ? "L 3 [ " : "L V5\n[ ";
      AddStatements(text, random, depth + 1);
      *text += random.Chance(20) ? "BREAK ]\n" : "] ; and on\n";
    } else if (depth < 4 && random.Chance(20)) {
      *text += random.Of(kConditions);
      AddStatements(text, random, depth + 1);
      *text += random.Chance(80) ? "IFX\n" : "IFX ; closed\n";
    } else if (info.keyword && info.condition == ConditionRole::None && info.id != Statement::L &&
               info.id != Statement::EndBlock && info.id != Statement::BREAK && info.id != Statement::TR) {
      *text += StatementText(info, random);
    }
  }
}

TEST(Lint, ValidProgramsAreNotDoubtful) {
  for (std::uint64_t seed = 1; seed <= 1000; ++seed) {
    test::RandomNumbers random(seed);
    std::string text = "; a program\nS 5 { F0 43 20 09 F7 } ; asks\nTR 5 R 9\n";
    for (int i = 0; i < 5; ++i) AddStatements(&text, random, 0);
    text += "]\n";
    ASSERT_TRUE(CompileScript(text).ok()) << CompileScript(text).report << text;
    const std::vector<LintWarning> warnings = Lint(text);
    EXPECT_TRUE(warnings.empty()) << FormatLintWarning(warnings.front()) << "\n" << text;
  }
}

}  // namespace
}  // namespace tonalith
