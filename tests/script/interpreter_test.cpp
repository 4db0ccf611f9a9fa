#include <gtest/gtest.h>

#include <cmath>

#include "macro_test_support.h"

namespace tonalith::test {
namespace {

// --- Registers, variables, control flow

struct FlowCase {
  const char* name;
  const char* source;
  std::int32_t x;  // X at the start
  std::int32_t expectX;
  const char* variables;
};

TEST(Interpreter, ControlFlowAndArithmetic) {
  const FlowCase cases[] = {
      {"operators", "MV0 = 100 MV0 + 5 MV0 - 1 MV0 * 3 MV1 = V0 MV1 / 10 MV2 = V0 MV2 % 10 ]", 0, 0,
       "V0=312 V1=31 V2=2"},
      {"truncating", "MX = 0 MX - 7 MV0 @ X MX / 2 MV0 % 3 ]", 0, -3, "V0=-1"},
      {"division by 0 changes nothing", "MX / 0 MX % 0 ]", 41, 41, ""},
      {"shifts take five bits and keep the sign", "MX = 0 MX - 8 MX > 33 MV0 = 1 MV0 < 35 ]", 0, -4, "V0=8"},
      {"bits", "MX = 12 MX | 3 MV0 = 12 MV0 & 9 ]", 0, 15, "V0=8"},
      {"wraps at 32 bits", "MX = 1073741823 MX * 4 MX + 3 MX + 1 MX - 1 ]", 0, -1, ""},
      {"copy", "MV200 = 77 MX @ V5 MV5 = 9 MX @ V5 ]", 0, 9, "V200=77"},
      {"a false condition steps over a copy as it is written",
       "IF V0 MX @ V200 IFX MV1 = 5 L 9 [ IF V0 MX @ V200 IFX MV2 + 1 ] ]", 3, 3, "V1=5 V2=9"},
      {"loop", "MV0 = 0 L 3 [ MV0 + 1 L 4 [ MV1 + 1 ] ] ]", 0, 0, "V0=3 V1=12"},
      {"loop count from a register", "L X [ MV0 + 2 ] ]", 5, 5, "V0=10"},
      // A count of 0 runs the body once; its end is the end of the macro.
      {"loop with count 0", "L 0 [ MX + 1 ] MX + 100 ]", 1, 2, ""},
      {"inner loop with count 0 ends the pass", "L 3 [ MV0 + 1 L 0 [ MV1 + 1 ] MV2 + 1 ] MV3 = 1 ]", 0, 0,
       "V0=3 V1=3 V2=1 V3=0"},
      // After a break the rest of the body runs once more and its end ends the level above.
      {"break", "L 9 [ MV0 + 1 IFQ V0 3 BREAK IFX MV1 + 1 ] MV2 = 1 ]", 0, 0, "V0=3 V1=3 V2=0"},
      {"conditions",
       "IF X MV0 = 1 IFX IFN X MV1 = 1 IFX IFL X MV2 = 1 IFX IFG X MV3 = 1 IFX IFLQ X MV4 = 1 IFX "
       "IFGQ X MV5 = 1 IFX IFQ X 7 MV6 = 1 IFX IFNQ X 7 MV7 = 1 IFX ]",
       7, 7, "V0=1 V1=0 V2=0 V3=1 V4=0 V5=1 V6=1 V7=0"},
      {"nested skipping", "IF X MV0 = 1 IF V5 MV1 = 1 IFX MV2 = 1 IFX MV3 = 1 ]", 0, 0, "V0=0 V2=0 V3=1"},
      {"all closed at once", "IF X IF X IF X IFE MV0 = 1 ]", 0, 0, "V0=1"},
      {"skipped FLOAT needs one more end", "IF X FLOAT V0 IFX MV1 = 1 IFX MV2 = 1 ]", 0, 0, "V1=0 V2=1"},
      {"skipped loops and their ends do nothing", "IF X L 5 [ MV0 + 1 ] ] IFX MV1 = 1 ]", 0, 0, "V0=0 V1=1"},
      {"data bytes are stepped over", "IF X S 3 { 07 07 07 } FA 2 0 { 26 26 } IFX MV1 = 1 ]", 0, 0, "V1=1"},
      {"block access uses twelve bits", "MV5 = 3 VR X 4101 MX + 1 VW 6 X ]", 0, 4, "V5=3 V6=4"},
      {"set entry", "SetVar 8191 5 SetVar 8192 6 MX @ V0 ]", 0, 0, "V8191=5 V8192=0"},
      {"local words", "SetlocalVar 255 9 PutLocalVarInX 255 SetlocalVar 256 4 PutLocalVarInW 300 ]", 0, 9, ""},
      {"beyond the block", "MV60000 = 5 MX = V60000 ]", 3, 0, ""},
      {"masks", "MaskStor 5 240 15 MV0 @ X MaskRetr 175 240 MV1 @ X MaskStor 9 0 1 ]", 0, 9, "V0=95 V1=10"},
      {"range", "Within 5 5 7 MV0 @ X Within 8 5 7 ]", 0, 0, "V0=1"},
      {"factorial", "FACT 5 MV0 @ X FACT 1 MV1 @ X FACT 13 MV2 @ X FACT 40 ]", 0, 0, "V0=120 V1=1 V2=1932053504"},
      {"tenth power, not power of ten", "EXP10 2 MV0 @ X EXP10 0 ]", 0, 0, "V0=1024"},
      {"random is 0", "RANDOM 100 ]", 9, 0, ""},
      {"functions of integers",
       "SIN 1 MV0 @ X SQRT 99 MV1 @ X POW 2 10 MV2 @ X POW 9 99 MV3 @ X ATAN2 1 0 MV4 @ X LOG10 0 "
       "MV5 @ X ACOS 0 MV6 @ X MIN 4 3 MV7 @ X MAX 4 3 ]",
       0, 4, "V0=0 V1=9 V2=1024 V3=2147483647 V4=1 V5=-3 V6=1 V7=3"},
      {"inversion writes through the reference", "MV3 = 5 BITINV V3 BITINV 7 MX @ V3 ]", 0, -6, ""},
      {"version", "isZKVersion 13 1 0 ]", 8, 1, ""},
      {"version keeps X", "isZKVersion 13 0 1 ]", 8, 8, ""},
      {"program", "getPlatform MV0 @ X getRecvTotal MV1 @ X FCFileSize ]", 4, 0, "V0=1 V1=0"},
  };
  for (const FlowCase& c : cases) {
    SCOPED_TRACE(c.name);
    MacroRun run;
    run.x = c.x;
    EXPECT_EQ(run.Text(c.source), 0);
    EXPECT_EQ(run.X(), c.expectX);
    run.Expect(c.variables);
  }
}

TEST(Interpreter, StartValues) {
  MacroRun run;
  run.synth.sysExChannel = 5;
  run.synth.patchNumber = 300;
  run.synth.v40Value = 12;
  run.synth.midiChannel = 9;
  run.x = 7;
  run.extra = 3;
  EXPECT_EQ(run.Text("]"), 0);
  EXPECT_EQ(run.outcome.registers, (std::array<std::int32_t, 4>{0, 7, 5, 300}));
  run.Expect("V40=12 V44=9 V999=3");
}

// How code ends, and how it must not.
TEST(Interpreter, EndsAndUndefinedCode) {
  struct {
    const char* code;
    int result;
  } cases[] = {
      {"", 4},                                     // the code ends: a normal end, 4 bytes consumed by GP
      {"FF", 4},                                   //
      {"04 00 00 00 05 FF", 4},                    // the end byte inside a loop
      {"24 FF", kMacroBroken},                     // BREAK without a loop
      {"0D FF", kMacroBadCommand},                 //
      {"3B", kMacroBadCommand},                    // above the last opcode
      {"17 05 0D FF", kMacroBadCommand},           // also when it is stepped over
      {"00 00 00", 4},                             // cut operand: nothing is sent
      {"08 00 00 00 09 F0 F7", 4},                 // more data bytes than there are
      {"0B 7F FF FF FF 00 00 00 00", 4},           //
      {"39 01 00 00 00", 4},                       // seven numbers missing
      {"35 46 80 00 00 01 FF", kMacroBadCommand},  // the number behind ASSERT is executed
      {"0E 05 08 C8 01", 4},                       // the second byte of a long source index is executed: here a cut "R"
      {"12 63 28 63 34 FE 00 00 00 00 FF", 4},     // members without a row do nothing
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.code);
    MacroRun run;
    run.image = Bytes(8);
    Bytes code = Hex("12 06 00 00 00 04");
    const Bytes rest = Hex(c.code);
    code.insert(code.end(), rest.begin(), rest.end());
    EXPECT_EQ(run.Code(code), c.result);
    EXPECT_TRUE(run.services.out.empty());
  }
}

TEST(Interpreter, MacrosCallMacros) {
  MacroRun run;
  run.services.macros = {MacroRun::Compile("MX + 1 MY = 99 MV3 = 5 ]"),
                         MacroRun::Compile("RET Z ]"),
                         {},
                         MacroRun::Compile("MV0 + 1 MACRO 3 ]"),
                         Hex("0D"),
                         MacroRun::Compile("F X 0 SetlocalVar 1 6 ]"),
                         MacroRun::Compile("L 3 [ MACRO 0 ] BREAK ]")};
  run.x = 5;
  // The result is X of the start unless RET changed it; registers and cursors are copies, variables and buffers are
  // not.
  EXPECT_EQ(run.Text("MACRO 0 MV0 @ X MV1 @ Y MACRO 1 MV2 @ X MACRO 256 MACRO 2 MACRO 99 MACRO 4 MV4 @ X MACRO 6 ]"),
            0);
  run.Expect("V0=5 V1=0 V2=0 V3=5");
  EXPECT_EQ(run.V(4), kMacroBadCommand);
  EXPECT_EQ(run.X(), kMacroBroken);

  MacroRun shared;
  shared.services.macros = run.services.macros;
  shared.x = 0x55;
  EXPECT_EQ(shared.Text("SetlocalVar 1 4 S 3 { F0 00 F7 } MACRO 5 T PutLocalVarInW 1 ]"), 0);
  ASSERT_EQ(shared.services.out.size(), 1u);
  EXPECT_EQ(shared.services.out[0], Hex("55 00 F7"));
  EXPECT_EQ(shared.W(), 4);

  MacroRun endless;
  endless.services.macros = run.services.macros;
  EXPECT_EQ(endless.Text("MACRO 3 MV1 = 1 ]"), kMacroBadCommand);
  EXPECT_EQ(endless.V(0), kMaxMacroDepth);
  EXPECT_EQ(endless.V(1), 0);
}

// Code that is reached later than what stands behind it, longer than what is translated at a time.
TEST(Interpreter, LongCodeInPieces) {
  const auto times = [](int count, const std::string& statement) {
    std::string text;
    for (int i = 0; i < count; ++i) text += statement;
    return text;
  };
  MacroRun run;
  EXPECT_EQ(run.Text("L 3 [ IFQ V0 1 " + times(200, "MV1 + 1 ") + "IFX MV2 + 1 " + times(100, "MV3 + 1 ") +
                     "L 2 [ MV4 + 1 ] MV0 + 1 ] MV5 = 9 ]"),
            0);
  run.Expect("V0=3 V1=200 V2=3 V3=300 V4=6 V5=9");
  // The second byte of a copied variable is executed as a statement, here a "]", but not when it is stepped over:
  // L 3 [ MV1 + 1 IFQ V1 1 MX @ V968 IFX MV0 + 1 ] MV2 = 5 ]
  MacroRun wide;
  EXPECT_EQ(wide.Code(Hex("04 00 00 00 03 0E 05 00 00 00 00 01 21 05 00 00 00 01 0E 01 08 CC 07 26 "
                          "0E 04 00 00 00 00 01 07 0E 06 07 00 00 00 05 07")),
            0);
  wide.Expect("V0=2 V1=3 V2=5");
}

// A request to a window may bring another macro table: what runs goes on, what is called next is new.
TEST(Interpreter, MacroTableIsReplacedWhileItRuns) {
  struct ReplacingHost : RecordingScriptHost {
    std::int64_t Send(ScriptReceiver receiver, const ScriptMessage& message, const CancelToken& cancel) override {
      macros->at(0) = MacroRun::Compile("MV5 + 7 ]");
      return RecordingScriptHost::Send(receiver, message, cancel);
    }
    std::vector<Bytes>* macros = nullptr;
  };
  MacroRun run;
  ReplacingHost host;
  host.macros = &run.services.macros;
  run.services.host = &host;
  run.services.macros = {MacroRun::Compile("MV0 + 1 MACRO 1 GETDIRTY MACRO 0 MV1 + 1 ]"),
                         MacroRun::Compile("MV2 + 1 ]")};
  EXPECT_EQ(run.Text("MACRO 0 MACRO 0 MACRO 1 ]"), 0);
  run.Expect("V0=1 V1=1 V2=2 V5=14");
}

TEST(Interpreter, LimitsEndRunawayScripts) {
  MacroRun deep;
  std::string source;
  for (int i = 0; i < 300; ++i) source += "L 2 [ ";
  EXPECT_EQ(deep.Text(source + "]"), kMacroBadCommand);

  MacroRun run;
  const Bytes code = MacroRun::Compile("L 1000000000 [ L 1000000000 [ MX + 1 ] ] ]");
  {
    MacroSession session(run.services, run.context);
    session.workLimit = 5000;
    ZKMacro macro(session);
    EXPECT_EQ(macro.Run(run.synth, code, {}, 0, true, {}, false), kMacroBadCommand);
    EXPECT_GT(macro.Register(1), 4000);
    EXPECT_LT(macro.Register(1), 6001);
  }
  // Statements that look around at every pass count as well.
  {
    MacroSession session(run.services, run.context);
    session.workLimit = 5000;
    ZKMacro macro(session);
    const Bytes sends = MacroRun::Compile("L 1000000000 [ S 1 { F6 } T ] ]");
    EXPECT_EQ(macro.Run(run.synth, sends, {}, 0, true, {}, false), kMacroBadCommand);
    EXPECT_LT(run.services.out.size(), 5002u);
  }
  run.context.cancel.Cancel();
  EXPECT_EQ(run.Code(code), 0);
  EXPECT_LT(run.X(), 5000);
}

// --- Data

TEST(Interpreter, BytesOfTheImage) {
  MacroRun run;
  run.image = Hex("F0 3E 11 05 06 07 08 F7");
  EXPECT_EQ(run.Text("FG V0 1 FG V1 1000 MX = 0 MX - 1 FG V2 X F X 3 F X 100 FS X 4 FR V3 4 GM MV4 @ X "
                     "GP 2 FG V5 0 FA 2 1 { AA BB } GPINC GPDEC GPDEC FG V6 0 ]"),
            1);
  run.Expect("V0=62 V1=0 V2=0 V4=8 V5=17 V6=62");
  EXPECT_EQ(run.image[3], 0xAA);
  EXPECT_EQ(run.image[4], 0xBB);

  MacroRun packed;
  packed.synth.storageFormat = 4;  // any packing: what is stored is what is read
  packed.image = Bytes(32);
  EXPECT_EQ(packed.Text("MX = 90 FS X 3 FR V0 3 ]"), 0);
  EXPECT_EQ(packed.V(0), 90);

  MacroRun text;
  text.image = Bytes(8, 0x11);
  EXPECT_EQ(text.Text("GW 42 1 ]"), 0);
  EXPECT_EQ(text.image, Hex("11 2B 34 32 00 F7 11 11"));

  MacroRun limited;
  limited.image = Bytes(100, 1);
  limited.image[0] = 0xF0;
  EXPECT_EQ(limited.Text("MX = 31 GM MV0 @ X MX = 30 GM ]"), 0);
  EXPECT_EQ(limited.V(0), 31);
  EXPECT_EQ(limited.X(), 100);
}

TEST(Interpreter, ChecksumsAndInsertions) {
  MacroRun run;
  run.image = Hex("F0 01 02 03 00 F7");
  EXPECT_EQ(run.Text("K 00 00 1 3 4 ]"), 0);
  EXPECT_EQ(run.image[4], 0x7A);
  run.context.suppressChecksums = true;
  run.image[4] = 0;
  run.Text("K 00 00 1 3 4 ]");
  EXPECT_EQ(run.image[4], 0);

  MacroRun insert;
  insert.image = Hex("01 0A 0B 02 03 0A 0B 04 05 06 07 08");
  EXPECT_EQ(insert.Text("SysXInsertBytes 0 10 10 11 2 ]"), 0);
  EXPECT_EQ(insert.image, Hex("01 0A 0B 02 0B 02 03 0A 0B 04 0B 08"));

  MacroRun strip;
  strip.image = Hex("F0 01 F7 F0 02 F7 F0 03");
  EXPECT_EQ(strip.Text("GetSysExBytes 100 MV0 @ X GetSysExBytes 5 MV1 @ X StripF7 4 ]"), 0);
  strip.Expect("V0=6 V1=3");
  EXPECT_EQ(strip.image, Hex("F0 01 00 F0 02 F7 F0 03"));
}

TEST(Interpreter, WorkBuffers) {
  MacroRun run;
  run.image = Hex("01 02 03 04 05 06");
  run.services.replies = {Hex("F0 41 F7")};
  // Received into the work buffer, then copied into the image.
  EXPECT_EQ(run.Text("GA 16 GN R 3 GO GC 0 4 2 GN GP 0 FG V0 1 GP 10 R 0 ]"), 3);
  EXPECT_EQ(run.V(0), 0);  // GO took the place behind the reply as the alternate buffer
  EXPECT_EQ(run.image, Hex("01 02 03 04 01 02"));
  EXPECT_EQ(run.services.asked, (std::vector<std::size_t>{3, 3}));

  MacroRun freed;
  freed.image = Hex("01 02");
  EXPECT_EQ(freed.Text("GA 4 GN MX = 7 F X 0 FG V0 0 GF 0 F X 0 FG V1 0 GO ]"), 0);
  freed.Expect("V0=7 V1=0");

  MacroRun large;
  EXPECT_EQ(large.Text("GA 16777217 ]"), kMacroNoMemory);
  EXPECT_EQ(large.Text("MX = 0 MX - 1 GA X ]"), kMacroNoMemory);

  MacroRun called;
  called.services.macros = {MacroRun::Compile("GA 8 MX = 3 GN F X 0 ]")};
  called.image = Bytes(4);
  EXPECT_EQ(called.Text("GA 4 GN MX = 9 F X 0 MACRO 0 FG V0 0 GO ]"), 0);
  EXPECT_EQ(called.V(0), 9);

  MacroRun disk;
  disk.image = Bytes(6);
  disk.services.disk = Hex("0A 0B 0C 0D");
  EXPECT_EQ(disk.Text("DS 1 DR 100 4 FCFileSize ]"), 0);
  EXPECT_EQ(disk.image, Hex("00 00 00 00 0B 0C"));
  EXPECT_EQ(disk.X(), 4);
}

TEST(Interpreter, FloatMode) {
  ScriptedServices services;
  TransferContext context;
  std::vector<std::int32_t> block(kVariableBlockEntries);
  const std::array<std::int32_t, 4> registers{1, 2, 3, 4};
  const Bytes code =
      MacroRun::Compile("MV0 = 7 MV0 / 2 MV1 = V0 MV1 * 3 SQRT V0 MV2 = X FLOAT V1 MV3 = V1 INT V3 SetVar 9 Y ]");
  EXPECT_EQ(MidiMacroB(services, context, code, registers, block, 0x15), 0);
  const auto companion = [&block](std::size_t i) { return std::bit_cast<float>(block[4096 + i]); };
  EXPECT_EQ(block[0], 3);
  EXPECT_FLOAT_EQ(companion(0), 3.5F);
  EXPECT_EQ(block[1], 9);
  EXPECT_FLOAT_EQ(companion(1), 10.5F);
  EXPECT_EQ(block[2], 1);
  EXPECT_FLOAT_EQ(companion(2), std::sqrt(3.5F));
  EXPECT_EQ(block[3], 10);
  EXPECT_EQ(block[8192 + 1], kFloatType);
  EXPECT_EQ(block[8192 + 3], kIntegerType);
  EXPECT_EQ(block[9], 5);  // Y: the channel
}

TEST(Interpreter, EntryPoints) {
  MacroRun run;
  std::vector<std::int32_t> block(64);
  run.context.acceptedSizes = {5};
  const Bytes code = MacroRun::Compile("MV0 @ W MV1 @ X MV2 @ Y MV3 @ Z RET Y GP 2 ]");
  Bytes image(4);
  EXPECT_EQ(
      MidiMacroEdit(run.services, run.context, run.synth, code, MacroBuffer(image), 0, 20, block, true, 10, 30, 40),
      30);
  EXPECT_EQ((std::vector<std::int32_t>(block.begin(), block.begin() + 4)), (std::vector<std::int32_t>{10, 20, 30, 40}));
  EXPECT_TRUE(run.context.acceptedSizes.empty());
  EXPECT_EQ(MidiMacroA(run.services, run.context, run.synth, code, MacroBuffer(image), 0, 20, true, block, false), 2);
  // Without a block the word of a variable reference stands for itself, and channels come from the descriptor.
  run.synth.midiChannel = 3;
  const Bytes raw = MacroRun::Compile("MX = V5 RET X S 3 { 90 01 02 } T ]");
  EXPECT_EQ(MidiMacroA(run.services, run.context, run.synth, raw, MacroBuffer(image), 0, 0, true, {}, true),
            0x40000005);
  EXPECT_EQ(run.services.out.back(), Hex("93 01 02"));

  int layer = 1;
  unsigned position = 0;
  EXPECT_EQ(CheckLayer(3, 5, &layer, &position), 3);
  EXPECT_EQ(layer, 2);
  EXPECT_EQ(position, 1679u);
  EXPECT_EQ(CheckLayer(5, 5, &layer, &position), 5);
  EXPECT_EQ(layer, 2);
}

TEST(Interpreter, KurzweilAndEffects) {
  MacroRun effects;
  effects.synth.storageFormat = 0;
  effects.image = Bytes(32);
  effects.image[2] = 3;  // 4
  effects.image[4] = 3;  // 4
  EXPECT_EQ(effects.Text("MX = 16 MY = 2 MZ = 0 MW = 0 TrinEff ]"), 0);
  EXPECT_EQ(effects.X(), 1);
  effects.image[6] = 1;
  effects.Text("MX = 16 MY = 2 MZ = 0 TrinEff ]");
  EXPECT_EQ(effects.X(), 0);
  effects.image = Hex("05 05 00");  // both refer to the first, which refers to another one
  effects.Text("MX = 3 MY = 1 MZ = 0 TrinEff ]");
  EXPECT_EQ(effects.X(), 0);

  // Two messages of 64 bytes: object 1 stands before object 0.
  MacroRun kurzweil;
  kurzweil.synth.storageFormat = 6;
  kurzweil.image = Bytes(128);
  const auto put = [&kurzweil](std::size_t at, std::uint8_t object, const std::string& name) {
    Bytes message = Hex("F0 07 00 78 09 00 00");
    message.insert(message.end(), {0, object, 0, 0, 0, 0});
    message.insert(message.end(), name.begin(), name.end());
    message.insert(message.end(), {0, 0x55, 0xF7});
    std::copy(message.begin(), message.end(), kurzweil.image.begin() + static_cast<std::ptrdiff_t>(at));
  };
  put(0, 1, "Piano");
  put(64, 1, "Bass");
  EXPECT_EQ(kurzweil.Text("MV16 = 1 MZ = 2 MY = 64 MX = 0 MW = 2 KURZ ]"), 0);
  EXPECT_EQ(std::string(kurzweil.image.begin() + 64 + 13, kurzweil.image.begin() + 64 + 29), "Piano           ");
  EXPECT_EQ(kurzweil.image[64 + 30], 0x55);
  EXPECT_EQ(kurzweil.image[0], 0);
}

}  // namespace
}  // namespace tonalith::test
