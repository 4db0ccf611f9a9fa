#include <gtest/gtest.h>

#include "macro_test_support.h"
#include "script/statement_table.h"

namespace tonalith::test {
namespace {

using R = ScriptReceiver;

// A statement with the operands 11, 12, 13 ...; its registers are W 1, X 2, Y 3, Z 4.
Bytes StatementBytes(const StatementInfo& info, const std::vector<std::int32_t>& operands) {
  Bytes code;
  for (std::uint8_t i = 0; i < 4; ++i) {
    const Bytes set = {14, i, 7, 0, 0, 0, static_cast<std::uint8_t>(i + 1)};
    code.insert(code.end(), set.begin(), set.end());
  }
  code.push_back(info.opcode);
  if (info.sub >= 0) code.push_back(static_cast<std::uint8_t>(info.sub));
  for (std::size_t i = 0; i < info.operands.count; ++i) {
    const std::int32_t value = i < operands.size() ? operands[i] : static_cast<std::int32_t>(11 + i);
    for (int shift = 24; shift >= 0; shift -= 8) code.push_back(static_cast<std::uint8_t>(value >> shift));
  }
  code.push_back(7);
  return code;
}

// Every forwarded statement reaches exactly one receiver with the number of its row, and leaves X as its rule says when
// nobody is there.
TEST(Routing, EveryForwardedStatement) {
  int walked = 0;
  for (const StatementInfo& info : StatementTable()) {
    if (!info.forwarded) continue;
    ++walked;
    SCOPED_TRACE(info.name ? info.name : "unnamed");
    const Route& route = info.route;
    RecordingScriptHost host;
    host.testEvent = true;
    host.answer = 5;
    host.answers[kSetComponentWindowMessage] = 76;
    host.answers[kSetComponentDocumentMessage] = 77;
    MacroRun run;
    run.services.host = &host;
    run.services.settings[ScriptSetting::Environment] = route.gate == RouteGate::HostedOnly ? 1 : 0;
    run.synth.driverId = 500;
    run.Code(StatementBytes(info, {}));
    ASSERT_FALSE(host.log.empty());
    const auto& seen = host.log.back();
    const bool alternate = route.alternateNumber != 0;
    if (route.call == RouteCall::Request) {
      EXPECT_EQ(seen.number, kMacroRequestMessage);
      EXPECT_EQ(seen.request.command, route.number);
    } else {
      EXPECT_EQ(seen.number, alternate ? route.alternateNumber : route.number);
    }
    EXPECT_EQ(seen.posted, route.call == RouteCall::Posted);
    const bool component =
        route.target == RouteTarget::ComponentWindow || route.target == RouteTarget::EditorOrComponentByDriver;
    EXPECT_EQ(host.log.size(), component ? 2u : 1u);
    switch (route.result) {
      case ResultRule::X:
      case ResultRule::XMinusOne:
      case ResultRule::XIfLastNotZero:
        EXPECT_EQ(run.X(), 5);
        break;
      case ResultRule::XBool:
        EXPECT_EQ(run.X(), 1);
        break;
      case ResultRule::None:
        EXPECT_EQ(run.X(), 2);
        break;
      default:
        break;
    }

    MacroRun alone;
    RecordingScriptHost nobody;
    nobody.present = 0;
    alone.services.host = &nobody;
    EXPECT_EQ(alone.Code(StatementBytes(info, {})), 0);
    EXPECT_TRUE(nobody.log.empty());
    EXPECT_EQ(nobody.postTries, 0);
    const bool query = route.result == ResultRule::X || route.result == ResultRule::XBool ||
                       route.result == ResultRule::XParameter || route.result == ResultRule::XRecordYAnswer ||
                       route.result == ResultRule::XIfLastNotZero;
    EXPECT_EQ(alone.X(), query ? 0 : route.result == ResultRule::XMinusOne ? -1 : 2);
  }
  EXPECT_GT(walked, 200);
}

struct RouteCase {
  const char* name;
  std::uint8_t opcode;
  int sub;
  std::vector<std::int32_t> operands;
  ScriptReceiver receiver;
  std::uint16_t number;
  std::int64_t wParam, lParam;          // messages
  std::vector<std::int32_t> record;     // or a record
  std::int64_t p1 = 0, p2 = 0, p3 = 0;  // requests
};

TEST(Routing, Packing) {
  const RouteCase cases[] = {
      {"GSB", 18, 15, {8, 9}, R::EditorDocument, 0x49, 0, 0, {}, 8, 9, 1},
      {"GD", 18, 22, {}, R::EditorWindow, 0x26, 0, 0, {}, 2, 0, 0},
      {"getParm", 44, -1, {8, 9}, R::EditorDocument, 0x4F, 0, 0, {}, 8, 9, 0},
      {"COPYMAP", 47, 13, {8, 9}, R::EditorDocument, 0x58, 0, 0, {}, 8, 13, 9},
      {"property above the table", 47, 200, {8, 9}, R::EditorDocument, 0x58, 0, 0, {}, 8, 200, 9},
      {"ZKBANKCMD", 47, 16, {8, 9}, R::SetDocument, 0x76, 0, 0, {}, 10, 9, 8},
      {"VL", 48, 1, {8}, R::EditorDocument, 0x62, 0, 0, {}, 1, 0, 8},
      {"GrpMOVE", 51, 4, {8, 2, 3}, R::SetWindow, 0x76, 0, 0, {}, 5, 0x30002, 8},
      {"FWE with a negative low half", 51, 6, {8, 0x8001, 3}, R::SetDocument, 0x76, 0, 0, {}, 13, -32767, 8},
      {"MOVETO", 51, 9, {8, 0x18001, 3}, R::EditorDocument, 0x812D, 8, 0x38001, {}},
      {"ParentChildStringAssign", 51, 18, {0x10008, 9, 7}, R::SetDocument, 0x8185, 0x90008, 7, {}},
      {"ExecuteEx", 51, 17, {8, 9, 7}, R::SetDocument, 0x8180, 0, -1, {8, 9, 1, 2, 3, 4, 7}},
      {"Execute", 55, 12, {8, 9}, R::EditorDocument, 0x8155, 0, -1, {8, 9, 1, 2, 3, 4}},
      {"SetMaxEx", 51, 24, {8, 9, 7}, R::SetDocument, 0x8195, 2, -1, {8, 9, 7}},
      {"SetNotDefined here", 51, 21, {0, 9, 7}, R::EditorDocument, 0x8182, 9, 7, {}},
      {"SetNotDefined by id", 51, 21, {500, 9, 7}, R::EditorDocument, 0x8182, 9, 7, {}},
      {"SetNotDefined elsewhere", 51, 21, {8, 9, 7}, R::SetDocument, 0x818E, 8, 0x70009, {}},
      {"GETMIN", 52, 7, {8}, R::EditorDocument, 0x8119, 0, 8, {}},
      {"GrpICON", 52, 15, {8}, R::EditorDocument, 0x76, 0, 0, {}, 2, 0, 8},
      {"BufferSwap", 52, 59, {8}, R::EditorDocument, 0x8176, 8, 2, {}},
      {"getFileSize elsewhere", 52, 90, {8}, R::SetDocument, 0x815F, 8, 0, {}},
      {"EDITCOMPARE", 53, 1, {}, R::EditorWindow, 0xCA, 169, 0, {}},
      {"isCtrl", 53, 63, {}, R::EditorDocument, 0x818D, 2, 0, {}},
      {"BANKSELID", 55, 3, {8, 9}, R::EditorDocument, 0x76, 0, 0, {}, 19, 8, 9},
      {"SetPopID", 55, 15, {8, 9}, R::EditorDocument, 0x815D, 2, -1, {8, 9}},
      {"SetFileSize here", 55, 34, {0, 9}, R::EditorDocument, 0x8187, 9, 0, {}},
      {"SetFileSize elsewhere", 55, 34, {8, 9}, R::SetDocument, 0x8161, 8, 9, {}},
      {"BankTransmitElement", 55, 44, {8, 9}, R::ComponentWindow, 0x817F, 9, 0, {}},
      {"PostMacro here", 55, 54, {500, 9}, R::EditorWindow, 0x81B5, 9, 0, {0, 1, 2, 3, 4}},
      {"PostMacro elsewhere", 55, 54, {8, 9}, R::SetWindow, 0x819C, 9, 0, {8, 1, 2, 3, 4}},
      {"InvalidateCtlEx here", 55, 57, {500, 9}, R::EditorDocument, 0x8145, 9, 0, {}},
      {"InvalidateCtlEx elsewhere", 55, 57, {8, 9}, R::ComponentDocument, 0x8145, 9, 0, {}},
      {"HXGetVersionInfo of the program", 55, 36, {1, 7}, R::MainWindow, 0x811A, 7, 0, {}},
      {"MESSAGEBOX", 47, 15, {8, 100}, R::EditorWindow, 0x813F, 8, 100, {}},
      {"MEMCPYBNK_NOINIT", 57, 2, {1, 2, 3, 4, 5, 6, 7}, R::EditorDocument, 0x813B, 1, -1, {1, 2, 3, 4, 5, 6, 7}},
      {"AssignMidiChannels", 51, 33, {0x10002, 3, 4}, R::EditorDocument, 0x8212, 0, 0x30002, {}},
  };
  for (const RouteCase& c : cases) {
    SCOPED_TRACE(c.name);
    RecordingScriptHost host;
    host.answers[kSetComponentWindowMessage] = 76;
    host.answers[kSetComponentDocumentMessage] = 77;
    MacroRun run;
    run.services.host = &host;
    run.synth.driverId = 500;
    StatementInfo info = *FindStatement(c.opcode, c.sub);
    info.sub = static_cast<std::int16_t>(c.sub);
    run.Code(StatementBytes(info, c.operands));
    ASSERT_FALSE(host.log.empty());
    const auto& seen = host.log.back();
    EXPECT_EQ(seen.receiver, c.receiver);
    if (seen.number == kMacroRequestMessage) {
      EXPECT_EQ(seen.request.command, c.number);
      EXPECT_EQ(seen.request.parameter1, c.p1);
      EXPECT_EQ(seen.request.parameter2, c.p2);
      EXPECT_EQ(seen.request.parameter3, c.p3);
    } else {
      EXPECT_EQ(seen.number, c.number);
      EXPECT_EQ(seen.wParam, c.wParam);
      if (c.lParam >= 0) {
        EXPECT_EQ(seen.lParam, c.lParam);
      }
      EXPECT_EQ(seen.record, c.record);
    }
  }
}

TEST(Routing, AnswersAndConditions) {
  RecordingScriptHost host;
  MacroRun run;
  run.services.host = &host;
  run.image = Bytes(9);
  host.answer = 1;
  host.parameterAnswer = 321;
  host.recordAnswer = 654;
  run.Text(
      "getParm 1 2 MV0 @ X FRX 1 2 3 MV1 @ X MV2 @ Y MX = 6 FSX 1 2 3 MACROEX 1 2 3 4 5 6 0 MV3 @ X MACROEX 1 2 3 4 5 "
      "6 7 ]");
  run.Expect("V0=321 V1=654 V2=1");
  EXPECT_EQ(host.log[2].request.result, 6);
  EXPECT_EQ(run.V(3), 6);
  EXPECT_EQ(run.X(), 1);

  // GETMAPVAL ends the macro, loops included; the codes of a normal end give the bytes consumed.
  host.answer = 42;
  EXPECT_EQ(run.Text("L 3 [ MV0 + 1 GETMAPVAL 1 2 ] ]"), 42);
  EXPECT_EQ(run.V(0), 1);
  host.answer = 0;
  EXPECT_EQ(run.Text("GP 3 GETMAPVAL 1 2 GP 4 ]"), 3);

  // A Set takes precedence for FRX, the editor for PatchInit.
  host.present = (1u << static_cast<unsigned>(R::SetDocument));
  host.log.clear();
  run.Text("FRX 1 2 3 PatchInit 4 ISVISIBLE 1 ]");
  ASSERT_EQ(host.log.size(), 2u);
  EXPECT_EQ(host.log[0].receiver, R::SetDocument);
  EXPECT_EQ(host.log[1].receiver, R::SetDocument);

  // Both must exist; the test event is reset and awaited.
  host.log.clear();
  run.Text("AssignMidiChannels 1 2 3 ]");
  EXPECT_TRUE(host.log.empty());
  host.present = 0x1F;
  run.Text("TestCtl 5 TestAll ]");
  EXPECT_EQ(host.log.size(), 1u);
  EXPECT_EQ(host.awaits, 1);
  host.testEvent = true;
  run.Text("TestAll ]");
  EXPECT_EQ(host.resets, 2);
  EXPECT_EQ(host.awaits, 2);

  // Posts that are refused are tried again, not for ever.
  for (const auto& [operands, tries] : {std::pair{"0 1", 10}, {"8 1", 11}}) {
    host.refusePosts = 100;
    host.postTries = 0;
    run.Text(std::string("PostMacro ") + operands + " ]");
    EXPECT_EQ(host.postTries, tries);
  }
  // A component that is no patch editor gets nothing.
  host.log.clear();
  host.answers[kSetComponentDocumentMessage] = 55;
  run.Text("InvalidateCtlEx 8 9 ]");
  EXPECT_EQ(host.log.size(), 1u);
  run.Text("HXGetVersionInfo 0 3 MV0 @ X HXGetVersionInfo 1 8 ]");
  EXPECT_EQ(run.V(0), -1);
  EXPECT_EQ(run.X(), -1);
}

}  // namespace
}  // namespace tonalith::test
