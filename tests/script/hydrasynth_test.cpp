#include "script/hydrasynth.h"

#include <gtest/gtest.h>
#include <algorithm>

#include "data/checksums.h"
#include "macro_test_support.h"

namespace tonalith::test {
namespace {

Bytes HydraMessage(const Bytes& payload) {
  Bytes record(4);
  StoreLe32(record.data(), ~rc_crc32(0, payload.data(), static_cast<std::int64_t>(payload.size())));
  record.insert(record.end(), payload.begin(), payload.end());
  Bytes message = Hex("F0 00 20 2B 00 6F");
  const auto text = Base64::Encode(record);
  message.insert(message.end(), text.begin(), text.end());
  message.push_back(0xF7);
  return message;
}

Bytes Chunk(std::uint8_t index, std::uint8_t count, std::size_t size) {
  Bytes payload = {22, 0, index, count};
  payload.insert(payload.end(), size, static_cast<std::uint8_t>(0x10 + index));
  return HydraMessage(payload);
}

TEST(Hydrasynth, Base64) {
  for (const auto& [plain, coded] : {std::pair{"", ""},
                                     {"f", "Zg=="},
                                     {"fo", "Zm8="},
                                     {"foo", "Zm9v"},
                                     {"foob", "Zm9vYg=="},
                                     {"\xFB\xFF\xBE", "+/++"}}) {
    const std::string text = plain;
    const std::string code = coded;
    const auto encoded = Base64::Encode({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    EXPECT_EQ(std::string(encoded.begin(), encoded.end()), code);
    const auto decoded = Base64::Decode({reinterpret_cast<const std::uint8_t*>(code.data()), code.size()});
    ASSERT_TRUE(decoded);
    EXPECT_EQ(std::string(decoded->begin(), decoded->end()), text);
  }
  for (const std::string bad : {"Zg=", "Z===", "Zg==Zg==", "Zm9*", "Zm 9"}) {
    EXPECT_FALSE(Base64::Decode({reinterpret_cast<const std::uint8_t*>(bad.data()), bad.size()})) << bad;
  }
}

TEST(Hydrasynth, BanksByDataType) {
  struct {
    int id, patch, mode, bank, expectPatch;
  } cases[] = {{10631, 7, 0, 0, 7}, {10635, 7, 2, 4, 7},   {10645, 12, 0, 6, 12}, {10876, 5, 0, 0, 5},
               {10883, 5, 0, 7, 5}, {10626, 5, 0, 4, 127}, {10875, 5, 0, 4, 127}, {10631, 5, 1, 4, 127},
               {10876, 5, 1, 0, 0}, {10884, 5, 0, 0, 0}};
  for (const auto& c : cases) {
    ScriptedServices services;
    TransferContext context;
    context.state = TransferState::Cancel;
    Synth synth{};
    synth.driverId = static_cast<std::uint16_t>(c.id);
    const ASMHydrasynthMidiIO io(services, context, synth, {}, c.patch, c.mode, 0);
    EXPECT_EQ(io.bank(), c.bank) << c.id;
    EXPECT_EQ(io.patch(), c.expectPatch) << c.id;
    EXPECT_EQ(context.state.load(), TransferState::Running);
  }
}

TEST(Hydrasynth, ReceivesAPatchInChunks) {
  MacroRun run;
  run.synth.driverId = 10631;
  run.image = Bytes(300);
  run.services.replies = {HydraMessage({25, 0}), Chunk(0, 3, 128), Chunk(1, 3, 128), Chunk(2, 3, 10),
                          HydraMessage({27, 0})};
  EXPECT_EQ(run.Text("MW = 0 ASMHydrasynthRecv 0 0 ]"), 266);
  EXPECT_EQ(run.V(10), 266);
  EXPECT_EQ(run.image[127], 0x10);
  EXPECT_EQ(run.image[265], 0x12);
  EXPECT_EQ(run.image[266], 0);
  const std::vector<Bytes> expected = {Hex("F0 00 20 2B 00 6F 57 58 55 39 50 42 67 41 F7"),
                                       Hex("F0 00 20 2B 00 6F 74 4C 66 5A 55 51 51 41 41 41 41 3D F7"),
                                       HydraMessage({23, 0, 0, 3}), HydraMessage({23, 0, 1, 3}),
                                       Hex("F0 00 20 2B 00 6F 32 78 63 4C 44 68 6F 41 F7")};
  EXPECT_EQ(run.services.out, expected);
  EXPECT_EQ(run.services.delays, (std::vector<std::uint32_t>{50, 20, 20, 50}));
  EXPECT_EQ(run.services.timeouts, (std::vector<std::int64_t>{10000, 0, 0, 0, 10000}));
}

TEST(Hydrasynth, Failures) {
  const Bytes lock = HydraMessage({25, 0});
  Bytes wrongHeader = lock;
  wrongHeader[5] = 0x6E;
  Bytes notBase64 = lock;
  notBase64[8] = '*';
  Bytes wrongCheck = Chunk(0, 1, 8);
  wrongCheck[6] = wrongCheck[6] == 'A' ? 'B' : 'A';
  const Bytes odd = Hex("F0 01 F7");
  struct {
    const char* name;
    std::vector<Bytes> replies;
    std::size_t space;
    int result;
    const char* monitor;
  } cases[] = {
      {"no answer", {}, 99, -19, "Hydrasynth: Timeout when waiting for replyCmd=25"},
      {"cancelled", {Bytes()}, 99, 0, "Hydrasynth: Error when waiting replyCmd=25 Error=-1"},
      {"own command comes back",
       {HydraMessage({24, 0})},
       99,
       0,
       "Hydrasynth: RcvCmd not match expected expected=25 vs actual=24"},
      {"header", {wrongHeader}, 99, 0, "Hydrasynth: Invalid hdr received for replyCmd=25"},
      {"text", {notBase64}, 99, 0, "Hydrasynth: Wrong # bytes after Base64 cvt for replyCmd=25 bytes=0"},
      {"length", {odd}, 99, 0, "Msg=F0 01 F7 "},
      {"no data", {lock}, 99, 0, "Hydrasynth: GetData error InBuffer header incorrect"},
      {"no data reply", {lock, HydraMessage({21, 0, 0, 1, 5, 5})}, 99, 0, "Hydrasynth: GetData error buf[4] != 22"},
      {"too long", {lock, Chunk(0, 1, 128)}, 99, -12, nullptr},
      {"no last answer", {lock, Chunk(0, 1, 8)}, 99, -19, "Hydrasynth: Timeout when waiting for replyCmd=27"},
      {"wrong check value, asked again", {lock, wrongCheck, Chunk(0, 1, 8), HydraMessage({27, 0})}, 99, 8, nullptr},
      {"wrong check value again and again", {lock, wrongCheck, wrongCheck, wrongCheck}, 99, -6, nullptr},
      {"one chunk twice, another early",
       {lock, Chunk(0, 3, 8), Chunk(0, 3, 8), Chunk(2, 3, 4), Chunk(1, 3, 8), Chunk(2, 3, 4), HydraMessage({27, 0})},
       99,
       20,
       nullptr},
      {"strangers between", {lock, lock, Chunk(0, 1, 8), lock, HydraMessage({27, 0})}, 99, 8, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    MacroRun run;
    run.synth.driverId = 10631;
    run.image = Bytes(c.space);
    run.services.replies.assign(c.replies.begin(), c.replies.end());
    EXPECT_EQ(run.Text("ASMHydrasynthRecv 0 0 ]"), c.result);
    if (c.monitor) {
      const auto& lines = run.services.monitor;
      EXPECT_NE(std::find(lines.begin(), lines.end(), c.monitor), lines.end());
    }
  }
}

TEST(Hydrasynth, SendingMovesNothing) {
  MacroRun run;
  run.synth.driverId = 10631;
  run.synth.fileSize = 2790;
  run.image = Bytes(20);
  EXPECT_EQ(run.Text("MV10 = 5 ASMHydrasynthBurn 0 0 MV0 @ V10 ]"), 0);
  EXPECT_EQ(run.V(0), 0);
  EXPECT_TRUE(run.services.calls.empty());
  EXPECT_EQ(run.Text("GP 3 ASMHydrasynthSend 0 0 ]"), 3);
  EXPECT_EQ(run.V(10), 0);
  EXPECT_EQ(run.services.calls, (std::vector<std::string>{"window 2790", "stay"}));
  EXPECT_TRUE(run.services.out.empty());
  run.services.HydrasynthQueue().Drain();
  EXPECT_EQ(run.services.HydrasynthQueue().Waiting(), 0u);
}

}  // namespace
}  // namespace tonalith::test
