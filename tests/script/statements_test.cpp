#include <gtest/gtest.h>

#include "macro_test_support.h"

namespace tonalith::test {
namespace {

// --- The scripts of the example instrument

void SetExampleInstrument(MacroRun& run) {
  run.synth.manufacturerId = 0x3E;
  run.synth.fileSize = 136;
  run.synth.numVoices = 1;
  run.synth.optionBits = 3;
  run.synth.noChecksumOnFormat = 1;
  run.synth.sysExChannel = 2;
  run.synth.patchNumber = 9;
  run.image = Bytes(136);
}

TEST(Statements, ExampleBankByRequests) {
  const std::string source = "MV0 = 0 L 4 [ S 7 { F0 3E 11 00 05 00 F7 } C 3 F V0 5 TR 7 R 20 MV0 + 1 ] ]";
  for (const int answered : {4, 2}) {
    MacroRun run;
    SetExampleInstrument(run);
    run.synth.optionBits = 1;
    run.image = Bytes(80);
    for (int i = 0; i < answered; ++i) {
      Bytes reply(20, static_cast<std::uint8_t>(i));
      reply[0] = 0xF0;
      reply[1] = 0x3E;
      reply[19] = 0xF7;
      run.services.replies.push_back(reply);
    }
    EXPECT_EQ(run.Text(source), 20 * answered);
    ASSERT_EQ(run.services.out.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(run.services.out[i][5], i);
    EXPECT_EQ(run.context.timedOut, answered == 2);
  }
}

// --- Transmit

struct TransmitCase {
  const char* name;
  const char* source;
  const char* image;
  int channelMax;
  const char* sent;  // messages between bars
  const char* imageAfter;
};

TEST(Statements, Transmit) {
  const TransmitCase cases[] = {
      {"all of the image, channel patched in place", "T ]", "B0 07 64", 15, "B6 07 64", "B6 07 64"},
      {"a loop of none sends once", "L 0 [ T 1 ]", "F5 01", 15, "F5", "F5 01"},
      {"parts of the transmit data, then the image", "S 4 { F0 01 02 F7 } T 2 T T 2 ]", "0A 0B", 15,
       "F0 01 | 02 F7 | 0A 0B", "0A 0B"},
      {"only what is there", "S 2 { 01 02 } T 100 B 100 B 5 ]", "0A 0B", 15, "01 02 | 0A 0B", "0A 0B"},
      {"back to the image and forth", "S 3 { F0 01 F7 } A T 1 S 1 { FE } T ]", "0A 0B", 15, "0A | FE", "0A 0B"},
      {"channel position", "C 2 T ]", "F0 3E 70 F7", 15, "F0 3E 72 F7", "F0 3E 72 F7"},
      {"whole channel byte", "C 2 T ]", "F0 3E 70 F7", 16, "F0 3E 02 F7", "F0 3E 02 F7"},
      {"channel position outside", "C 4 T ]", "F0 3E 70 F7", 15, "F0 3E 70 F7", "F0 3E 70 F7"},
      {"only the first message", "C 2 T ]", "F0 3E 70 F7 F0 3E 70 F7", 15, "F0 3E 72 F7 F0 3E 70 F7",
       "F0 3E 72 F7 F0 3E 70 F7"},
      {"loops start from the written bytes", "MX = 5 L 2 [ S 3 { F0 00 F7 } FT V0 1 F X 1 T MX + V0 ] ]", "", 15,
       "F0 05 F7 | F0 05 F7", ""},
      {"channel voice data", "S 3 { C0 05 00 } T 2 ]", "", 15, "C6 05", ""},
      {"negative counts send nothing", "MX = 0 MX - 5 T X ]", "F0 F7", 15, "", "F0 F7"},
  };
  for (const TransmitCase& c : cases) {
    SCOPED_TRACE(c.name);
    MacroRun run;
    run.synth.sysExChannel = 2;
    run.synth.midiChannel = 6;
    run.synth.sysExChannelMax = static_cast<std::int8_t>(c.channelMax);
    run.image = Hex(c.image);
    run.Text(c.source);
    std::string sent;
    for (const Bytes& message : run.services.out) sent += (sent.empty() ? "" : " | ") + HexText(message);
    EXPECT_EQ(sent, c.sent);
    EXPECT_EQ(run.image, Hex(c.imageAfter));
  }
  MacroRun failed;
  failed.image = Hex("F0 F7");
  failed.services.failSends = true;
  EXPECT_EQ(failed.Text("MV0 = 1 GP 1 T MV0 = 2 ]"), 1);  // a failed send is a normal end
  EXPECT_EQ(failed.V(0), 1);
}

// --- Receive

struct ReceiveCase {
  const char* name;
  const char* source;
  int options;
  std::vector<const char*> replies;
  int result;
  int v10;
};

TEST(Statements, ReceiveChecks) {
  const ReceiveCase cases[] = {
      {"everything", "R 0 ]", 3, {"F0 3E 01 F7"}, kMacroMissingBytes, kMacroMissingBytes},
      {"size not asked for", "R 5 ]", 1, {"F0 3E 01 F7"}, 4, 4},
      {"another size", "R 5 ]", 2, {"F0 3E 01 F7"}, kMacroMissingBytes, kMacroMissingBytes},
      {"an accepted size", "AddRecvSize 3 AddRecvSize 4 R 5 ]", 2, {"F0 3E 01 F7"}, 4, 4},
      {"no checks for another size", "R 5 ]", 7, {"F0 43 01"}, 3, 3},
      {"checks for the right size", "R 3 ]", 7, {"F0 43 01"}, kMacroWrongId, kMacroWrongId},
      {"id check off", "N R 3 ]", 0, {"F0 43 01"}, 3, 3},
      {"id check off and on", "N N R 3 ]", 0, {"F0 43 01"}, kMacroWrongId, kMacroWrongId},
      {"id check off in the second way", "NS R 3 ]", 0, {"F0 43 01"}, 3, 3},
      {"going on after errors", "ManageMidiErrors 1 R 5 MV0 = 1 ]", 3, {"F0 43 01"}, 3, kMacroNoSysExEnd},
      {"cancelled", "GP 2 R 3 GP 7 ]", 0, {""}, 2, kReceiveCancelled},
      {"cancelled, going on", "ManageMidiErrors 1 R 3 R 3 ]", 0, {"", "F0 3E F7"}, 3, 3},
      {"skipping", "RA 2 3 ]", 0, {"01 02 F0 3E F7"}, 3, 3},
      {"no room", "GP 8 R 0 R 4 ]", 3, {"F0 3E 01 F7"}, 8, 0},
      {"clamped to the room", "GP 6 R 4 ]", 0, {"F0 3E 01 F7"}, 8, 2},
      {"stray status", "SetVerifyReceivingSysX 1 R 5 ]", 0, {"F0 3E 90 01 F7"}, kMacroNoSysExEnd, kMacroNoSysExEnd},
      {"real-time is no stray status", "SetVerifyReceivingSysX 1 R 5 ]", 0, {"F0 3E F8 01 F7"}, 5, 5},
      {"dropped", "RB 3 RBR 1 MV0 @ X RBR 600 ]", 3, {"F0 3E F7"}, 0, 0},
      {"dropped, nothing came", "RB 3 ]", 3, {}, kReceiveNothing, 0},
  };
  for (const ReceiveCase& c : cases) {
    SCOPED_TRACE(c.name);
    MacroRun run;
    run.synth.manufacturerId = 0x3E;
    run.synth.optionBits = static_cast<std::uint8_t>(c.options);
    run.image = Bytes(8);
    for (const char* reply : c.replies) run.services.replies.push_back(Hex(reply));
    EXPECT_EQ(run.Text(c.source), c.result);
    EXPECT_EQ(run.V(10), c.v10);
  }
}

TEST(Statements, ReceiveTimeouts) {
  struct {
    const char* source;
    bool quiet, window, autoConfig;
    int options;
    std::vector<std::int64_t> timeouts;
  } cases[] = {
      {"R 1000 ]", false, false, false, 0, {800}},
      {"R 1000 ]", false, false, true, 0, {1800}},
      {"R 1000 ]", false, true, false, 0, {0}},
      {"R 1000 ]", false, true, false, 8, {800}},
      {"R 1000 ]", true, false, false, 0, {0}},
      {"R 1000 ]", true, false, false, 8, {900}},
      {"TIMEOUT 77 R 1000 R 10 ]", false, false, false, 0, {77, 77}},
      {"R 999999999 ]", false, false, false, 0, {800}},
      {"R 10 R 1000 ]", false, false, false, 0, {305, 800}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.source);
    MacroRun run;
    run.image = Bytes(1000);
    run.synth.optionBits = static_cast<std::uint8_t>(c.options);
    run.context.quiet = c.quiet;
    run.context.hasIoWindow = c.window;
    run.context.autoConfiguring = c.autoConfig;
    run.Text(c.source);
    EXPECT_EQ(run.services.timeouts, c.timeouts);
  }
}

// --- Patterns, ports, windows

// What the context looks like at the moment of a receive.
class PatternServices : public ScriptedServices {
 public:
  int GetDataSkipPort(std::span<std::uint8_t>, int, std::int64_t, TransferContext& context) override {
    accept = context.acceptPattern;
    hasAccept = context.hasAcceptPattern;
    decline = context.declinePatterns;
    end = context.endPattern;
    any = context.acceptAny;
    return kReceiveNothing;
  }
  MidiPattern accept, end;
  std::vector<MidiPattern> decline;
  bool hasAccept = false;
  AcceptAny any = AcceptAny::SysExOnly;
};

TEST(Statements, ReceivePatterns) {
  PatternServices services;
  TransferContext context;
  Synth synth{};
  Bytes image(8);
  const auto run = [&](const std::string& source) {
    return RunTransferMacro(services, context, synth, MacroRun::Compile(source), MacroBuffer(image), 0, 0);
  };
  run("S 2 { F0 41 } SetSysXAccept S 3 { F0 42 FF } SetSysXDecline S 1 { F5 } SetSysXDecline S 1 { F6 } SetSysXDecline "
      "S 2 { F0 12 } SetSysXEnd N R 1 ]");
  EXPECT_TRUE(services.hasAccept);
  EXPECT_EQ(services.accept, Hex("F0 41"));
  EXPECT_EQ(services.decline, (std::vector<MidiPattern>{Hex("F0 42 FF"), Hex("F5")}));
  EXPECT_EQ(services.end, Hex("F0 12"));
  EXPECT_EQ(services.any, AcceptAny::Everything);
  EXPECT_FALSE(context.hasAcceptPattern);  // gone with the interpreter
  EXPECT_TRUE(context.declinePatterns.empty());

  run("NS R 1 ]");
  EXPECT_EQ(services.any, AcceptAny::PastEnd);
  run("S 1 { F0 } SetSysXAccept ClrSysXAccept S 1 { F0 } SetSysXDecline ClrSysXDecline S 1 { F0 } SetSysXEnd "
      "ClrSysXEnd "
      "R 1 ]");
  EXPECT_FALSE(services.hasAccept);
  EXPECT_TRUE(services.decline.empty());
  EXPECT_TRUE(services.end.empty());

  // Without data nothing changes; a third decline pattern still uses its data up.
  image = Hex("0A 0B");
  run("SetSysXAccept R 1 ]");
  EXPECT_FALSE(services.hasAccept);
  services.out.clear();
  run("S 1 { F1 } SetSysXDecline S 1 { F2 } SetSysXDecline S 1 { F3 } SetSysXDecline T 1 ]");
  EXPECT_EQ(services.out, (std::vector<Bytes>{Hex("0A")}));
  std::string longPattern = "S 120 { ";
  for (int i = 0; i < 120; ++i) longPattern += "01 ";
  run(longPattern + "} SetSysXAccept R 1 ]");
  EXPECT_EQ(services.accept.size(), kMaxMidiPattern);
}

TEST(Statements, PortsAndWindows) {
  MacroRun run;
  run.image = Hex("0A 0B");
  run.synth.sysExChannel = 3;
  run.synth.driverId = 1234;
  EXPECT_EQ(
      run.Text(
          "S 3 { F0 FF F7 } C 1 SETERRORMSG T 1 S 2 { F0 F7 } SetWaitForACK 250 D 5000 DM 40 SetWriteToQueue "
          "setDefaultMidiChannel 19 MV0 @ X GetNumOpenMidiInPorts MV1 @ X GetNumOpenMidiOutPorts MV2 @ X "
          "setBasicsVar 255 8 getBasicsVar 255 MV3 @ X getBasicsVar 256 MV4 @ X OneShot 0 MV5 @ X OneShot 0 MV6 @ X "
          "OneShot 16 MV7 @ X SetChildID 9 GetChildID MV8 @ X GETID MV9 @ X getVoiceSize 0 ]"),
      1);
  EXPECT_EQ(run.services.out, (std::vector<Bytes>{Hex("0A")}));
  EXPECT_EQ(run.services.delays, (std::vector<std::uint32_t>{50}));
  // What a script leaves behind is put away at its end.
  EXPECT_EQ(run.services.calls,
            (std::vector<std::string>{"cancel 3", "ack 2 250", "ack off", "output queue", "cancel 0"}));
  EXPECT_EQ(run.services.settings[ScriptSetting::DefaultMidiChannel], 3);
  const std::int32_t expected[] = {0, 3, 5, 8, -1, 1, 0, 0, 9, 1234};
  for (std::size_t i = 0; i < std::size(expected); ++i) EXPECT_EQ(run.V(i), expected[i]) << "V" << i;
  EXPECT_EQ(run.X(), 40);

  MacroRun queue;
  queue.services.collecting = true;
  queue.Text("SetWriteToQueue OutputQueue ]");
  EXPECT_TRUE(queue.services.collecting);  // somebody else had switched it on
  EXPECT_TRUE(queue.services.calls.empty());

  MacroRun roland;
  roland.image = Bytes(10);
  roland.services.rolandResult = 4;
  EXPECT_EQ(roland.Text("MV0 = 1 MV1 = 2 MV2 = 3 MV3 = 4 GP 1 RCOMM ]"), 5);
  EXPECT_EQ(roland.services.calls, (std::vector<std::string>{"roland 9 4 1 2 3"}));

  MacroRun window;
  std::snprintf(window.synth.shortName, sizeof window.synth.shortName, "%s", "ABC");
  std::snprintf(window.synth.typeName, sizeof window.synth.typeName, "%s", "Bank");
  window.services.settings[ScriptSetting::Delay] = 20;
  const std::int64_t before = window.services.time.NowUs();
  window.Text("MESSAGEBOX 0 1 MESSAGEBOX 0 3 MESSAGEBOX 0 50 SLEEP 30 PressCancel 2 MX = 1 ]");
  ASSERT_EQ(window.services.shown.size(), 2u);
  EXPECT_EQ(window.services.shown[0],
            ">>>> If necessary, go to your ABC and manually dump the Bank SysEx.\n"
            ">>>> For more information on transferring SysEx, see device Fast Tips.");
  EXPECT_NE(window.services.shown[1].find("the ABC must be in Librarian mode.\nIf the ABC is"), std::string::npos);
  EXPECT_EQ(window.services.time.NowUs() - before, 50'000);
  EXPECT_EQ(window.context.state.load(), TransferState::Cancel);
  EXPECT_EQ(window.X(), 1);

  MacroRun staged;
  staged.image = Hex("F0 F7");
  staged.Text("TR 2 ]");
  EXPECT_FALSE(staged.context.staged);  // no receive took it
  EXPECT_TRUE(staged.services.out.empty());
}

}  // namespace
}  // namespace tonalith::test
