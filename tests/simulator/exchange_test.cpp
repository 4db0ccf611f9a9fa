#include <algorithm>

#include "simulator/wire_codecs.h"
#include "tests/simulator/simulator_test_tools.h"

namespace tonalith::simulator_test {
namespace {

// What an instrument says when it is asked: how the answer begins, and how long it is.  An answer of as many bytes as
// are given is exact.
struct Exchange {
  const char* key;
  const char* request;
  const char* answer;
  std::size_t size;
};

TEST(Exchanges, AnswersBeginAndEndAsTheyShould) {
  const Exchange exchanges[] = {
      {"korg-dw6000", "F0 42 40 F7", "F0 42 30 04 F7", 5},
      {"korg-dw6000", "F0 42 30 04 10 F7", "F0 42 30 04 40", 32},
      {"korg-dw6000", "F0 42 30 04 11 3F F7", "F0 42 30 04 21 F7", 6},
      {"korg-dw6000", "F0 42 30 04 11 40 F7", "F0 42 30 04 22 F7", 6},
      {"korg-dw6000", "F0 42 30 04 40 00 F7", "F0 42 30 04 24 F7", 6},
      {"korg-dw6000", "F0 42 30 04 41 05 3F F7", "", 0},
      {"korg-dw6000", "F0 42 31 04 10 F7", "", 0},
      {"korg-dw6000", "F0 42 30 03 10 F7", "", 0},
      {"korg-dw6000", "F0 7E 7F 06 01 F7", "", 0},
      {"yamaha-fb01", "F0 43 75 00 20 00 06 F7", "F0 43 75 00 00 00 06 00 40", 6363},
      {"yamaha-fb01", "F0 43 75 00 20 00 07 F7", "F0 43 60 04 F7", 5},
      {"yamaha-fb01", "F0 43 20 0C F7", "F0 43 00 0C 00 40", 6360},
      {"yamaha-fb01", "F0 43 75 00 2F 00 00 F7", "F0 43 75 00 0F 00 00 01 00", 139},
      {"yamaha-fb01", "F0 43 75 00 20 01 00 F7", "F0 43 75 00 00 01 00 01 20", 171},
      {"yamaha-fb01", "F0 43 75 00 20 02 13 F7", "F0 43 75 00 00 02 13 01 20", 171},
      {"yamaha-fb01", "F0 43 75 00 20 02 14 F7", "F0 43 60 04 F7", 5},
      {"yamaha-fb01", "F0 43 75 00 20 03 00 F7", "F0 43 75 00 00 03 00 01 20", 2616},
      {"yamaha-fb01", "F0 43 75 00 20 04 00 F7", "F0 43 75 00 00 04 00 00 10 59 41 4D 41 48 41 20", 27},
      {"yamaha-fb01", "F0 43 75 00 28 40 00 F7", "F0 43 60 04 F7", 5},  // protected, as it comes out of the box
      {"yamaha-fb01", "F0 43 75 00 20 40 00 F7", "F0 43 60 04 F7", 5},
      {"yamaha-fb01", "F0 43 75 01 20 01 00 F7", "", 0},
      {"yamaha-fb01", "F0 7E 7F 06 01 F7", "", 0},
      {"emu-proteus2000", "F0 7E 00 06 01 F7", "F0 7E 00 06 02 18 04 04 02 00 32 2E 30 30 F7", 15},
      {"emu-proteus2000", "F0 18 0F 00 55 0A F7", "F0 18 0F 00 55 09 02 00 04 01 06 04 00 00 01 00 08 F7", 18},
      {"emu-proteus2000", "F0 18 0F 7F 55 11 04 7F 7F 00 00 F7",
       "F0 18 0F 00 55 10 03 7F 7F 56 0B 00 00 34 00 13 00 10 00 14 00 04 00 1F 00 03 00 0A 00 2A 00 48 00 00 00 F7",
       1607},
      {"emu-proteus2000", "F0 18 0F 00 55 11 02 05 00 00 00 F7", "F0 18 0F 00 55 10 01 05 00 56 0B 00 00", 36},
      {"emu-proteus2000", "F0 18 0F 00 55 11 04 05 00 04 00 F7", "F0 18 0F 00 55 10 03 05 00 56 0B 00 00", 1607},
      {"emu-proteus2000", "F0 18 0F 00 55 11 04 00 04 00 00 F7", "F0 18 0F 00 55 70 F7", 7},  // no such preset
      {"emu-proteus2000", "F0 18 0F 00 55 0C 01 05 00 00 00 F7", "F0 18 0F 00 55 0B 01 05 00 00 00", 28},
      {"emu-proteus2000", "F0 18 0F 00 55 02 01 01 07 F7", "F0 18 0F 00 55 01 02 01 07 7F 7F F7", 12},  // edit buffer
      {"emu-proteus2000", "F0 18 0F 01 55 0A F7", "", 0},
      {"kawai-k5000", "F0 7E 00 06 01 F7", "F0 7E 00 06 02 40 00 00 0A 02 04 00 00 01 F7", 15},
      {"kawai-k5000", "F0 40 00 00 00 0A 00 04 00 F7", "F0 40 00 20 00 0A 00 04 00", 10 + 5434},
      {"kawai-k5000", "F0 40 00 00 00 0A 00 00 0A F7", "", 0},  // an empty place
      {"kawai-k5000", "F0 40 00 00 00 0A 00 01 00 F7", "", 0},  // a bank of another model
      {"kawai-k5000", "F0 40 00 00 00 0A 20 00 3F F7", "F0 40 00 20 00 0A 20 3F", 112},
      {"kawai-k5000", "F0 40 00 01 00 0A 20 00 00 F7", "F0 40 00 21 00 0A 20", 7 + 64 * 103 + 1},
      {"kawai-k5000", "F0 40 00 01 00 0A 00 03 00 F7",
       "F0 40 00 21 00 0A 00 03 7F 77 7F 06 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00", 37782},
      {"kawai-k5000", "F0 40 01 00 00 0A 00 00 00 F7", "", 0},
      {"roland-jx8p", "F0 41 34 00 21 20 01 00 00 02 F7", "", 0},
      {"roland-jx8p", "F0 7E 7F 06 01 F7", "", 0},
      {"novation-bassstation2", "F0 00 20 29 00 33 00 44 F7", "F0 00 20 29 00 33 00 04 00 0A 40 00 05 01 00 08 00 F7",
       18},
      {"novation-bassstation2", "F0 00 20 29 00 33 00 40 F7", "F0 00 20 29 00 33 00 00 00 00 00 00 00", 154},
      {"novation-bassstation2", "F0 00 20 29 00 33 00 41 7F F7", "F0 00 20 29 00 33 00 01 7F 00 00 00 00", 154},
      {"roland-jd800", "F0 41 10 3D 11 00 00 00 00 03 00 7D F7", "F0 41 10 3D 12 00 00 00", 404},
      {"roland-jd800", "F0 41 10 3D 11 05 7E 00 00 03 00 7A F7", "F0 41 10 3D 12 05 7E 00", 404},
      {"roland-jd800", "F0 41 10 3D 11 06 01 00 00 03 00 76 F7", "F0 41 10 3D 12 06 01 00", 404},
      {"roland-jd800", "F0 41 10 3D 11 05 00 00 01 40 00 3A F7", "F0 41 10 3D 12 05 00 00", 25536},
      {"roland-jd800", "F0 41 10 3D 11 04 00 00 00 2A 02 50 F7", "F0 41 10 3D 12 04 00 00", 5598},
      {"roland-jd800", "F0 41 10 3D 11 02 00 00 00 00 19 65 F7", "F0 41 10 3D 12 02 00 00", 35},
      {"roland-jd800", "F0 41 10 3D 11 03 00 00 00 00 22 5B F7", "F0 41 10 3D 12 03 00 00", 44},
      {"roland-jd800", "F0 41 10 3D 11 00 12 52 00 02 52 48 F7", "F0 41 10 3D 12 00 12 52", 358},
      {"roland-jd800", "F0 41 10 3D 11 07 00 00 00 00 2C 4D F7", "", 0},  // the display cannot be read
      {"roland-jd800", "F0 41 10 3D 11 05 00 00 01 40 01 39 F7", "", 0},  // beyond the patches
      {"roland-jd800", "F0 41 10 3D 11 00 00 00 00 03 00 7C F7", "", 0},
      {"roland-jd800", "F0 41 11 3D 11 00 00 00 00 03 00 7D F7", "", 0},
      {"behringer-pro800", "F0 00 20 32 00 01 24 00 08 00 F7", "F0 00 20 32 00 01 24 00 09 00 01 04 04 F7", 14},
      {"behringer-pro800", "F0 00 20 32 00 01 24 00 06 F7", "F0 00 20 32 00 01 24 00 07 50 52 4F 2D 38 30 30 00 F7",
       18},
      {"behringer-pro800", "F0 00 20 32 00 01 24 00 77 01 01 F7", "F0 00 20 32 00 01 24 00 78 01 01", 210},
      {"behringer-pro800", "F0 00 20 32 00 01 24 00 77 7E 03 F7", "F0 00 20 32 00 01 24 00 78 7E 03", 58},
      {"behringer-pro800", "F0 00 20 32 00 01 24 00 77 0F 03 F7", "F0 F7", 2},  // the last program is empty
      {"behringer-pro800", "F0 00 20 32 00 01 24 00 77 10 03 F7", "F0 00 20 32 00 01 24 00 01 01 F7", 11},
  };
  for (const Exchange& test : exchanges) {
    auto instrument = Make(test.key);
    const Bytes answer = Host(*instrument).Ask(test.request);
    const Bytes begin = Hex(test.answer);
    EXPECT_EQ(answer.size(), test.size) << test.key << " " << test.request;
    ASSERT_GE(answer.size(), begin.size()) << test.key << " " << test.request;
    EXPECT_TRUE(std::equal(begin.begin(), begin.end(), answer.begin())) << test.key << " " << test.request;
  }
}

// What goes out comes back from another instrument of the kind; damage and faults on the way are told.
struct RoundTrip {
  const char* key;
  const char* request;
  const char* taken;      // the answer to the data
  const char* not_taken;  // the answer to damaged data
  std::size_t damage;     // a byte of the data whose change is noticed; 0: no change of one is, but more bytes are
};

TEST(Exchanges, DataComesBackAndDamageIsTold) {
  const RoundTrip trips[] = {
      {"korg-dw6000", "F0 42 30 04 10 F7", "F0 42 30 04 23 F7", "F0 42 30 04 24 F7", 0},
      {"yamaha-fb01", "F0 43 75 00 2B 00 00 F7", "F0 43 60 02 F7", "F0 43 60 03 F7", 20},
      {"yamaha-fb01", "F0 43 75 00 20 01 00 F7", "F0 43 60 02 F7", "F0 43 60 03 F7", 60},
      {"yamaha-fb01", "F0 43 75 00 20 02 0F F7", "F0 43 60 02 F7", "F0 43 60 03 F7", 8},
      {"yamaha-fb01", "F0 43 75 00 20 03 00 F7", "F0 43 60 02 F7", "F0 43 60 03 F7", 2000},
      {"novation-bassstation2", "F0 00 20 29 00 33 00 40 F7", "", "", 0},
      {"novation-bassstation2", "F0 00 20 29 00 33 00 41 05 F7", "", "", 0},
      {"kawai-k5000", "F0 40 00 00 00 0A 20 00 07 F7", "F0 40 00 40 F7", "F0 40 00 41 F7", 50},
      {"kawai-k5000", "F0 40 00 01 00 0A 20 00 00 F7", "F0 40 00 40 F7", "F0 40 00 41 F7", 6500},
      {"behringer-pro800", "F0 00 20 32 00 01 24 00 77 05 02 F7", "F0 00 20 32 00 01 24 00 01 00 F7",
       "F0 00 20 32 00 01 24 00 01 01 F7", 0},
  };
  for (const RoundTrip& test : trips) {
    SCOPED_TRACE(std::string(test.key) + " " + test.request);
    auto from = Make(test.key);
    auto to = Make(test.key);
    // The memory of the sender is another one.
    Bytes memory = from->Memory();
    for (std::uint8_t& byte : memory) byte ^= byte < 0x7E ? 1 : 0;
    ASSERT_TRUE(from->RestoreMemory(memory));
    to->SetMemoryProtect(false);
    const Bytes data = Host(*from).Ask(test.request);
    Host host(*to);
    const Bytes before = host.Ask(test.request);
    EXPECT_NE(data, before);
    Bytes damaged = data;
    if (test.damage > 0)
      damaged[test.damage] ^= 1;
    else
      damaged.insert(damaged.end() - 1, 8, 0x01);
    EXPECT_EQ(host.Ask(damaged), Hex(test.not_taken));
    EXPECT_EQ(host.Ask(test.request), before);
    std::string problem;
    to->SetFaults(*FaultPlan::Parse("refuse-once;no-reply:reply=3", &problem));
    EXPECT_EQ(host.Ask(data), Hex(test.not_taken));
    EXPECT_EQ(host.Ask(test.request), before);
    EXPECT_EQ(host.Ask(data), Bytes()) << "the answer is lost";
    EXPECT_TRUE(host.Ask(test.request) == data);
    EXPECT_EQ(host.Ask(data), Hex(test.taken));
  }
}

TEST(Dw6000, StoresAndFilesAreBanksOfPrograms) {
  auto dw = Make("korg-dw6000");
  Host host(*dw);
  host.Ask("C0 3F");
  EXPECT_EQ(dw->Item("edit", 0), dw->Item("programs", 63));
  host.Ask("F0 42 30 04 41 19 2D F7");  // interval and detune are one byte
  dw->SetMemoryProtect(true);
  EXPECT_EQ(host.Ask("F0 42 30 04 11 05 F7"), Hex("F0 42 30 04 22 F7"));
  dw->SetMemoryProtect(false);
  EXPECT_EQ(host.Ask("F0 42 30 04 11 05 F7"), Hex("F0 42 30 04 21 F7"));
  EXPECT_EQ(dw->Item("programs", 5)[25], 0x2D);
  const Bytes file = dw->Dump();
  ASSERT_EQ(file.size(), 64U * 39 + 32);
  EXPECT_EQ(Hex("F0 42 30 04 11 01 F7"), Bytes(file.begin() + 39 + 32, file.begin() + 78));
}

TEST(Jx8p, TonesAreStoredByTheirProgramNumber) {
  auto jx = Make("roland-jx8p");
  Host host(*jx);
  const Bytes tone = jx->DumpOf("stored_tone", 9);
  ASSERT_EQ(tone.size(), 67U);
  EXPECT_TRUE(host.Ask(tone).empty());
  host.Ask("F0 41 36 00 21 20 01 0B 40 22 7F F7");  // two parameters in one message
  EXPECT_EQ(jx->Item("edit", 0)[11], 0x40);
  EXPECT_EQ(jx->Item("edit", 0)[34], 0x7F);
  host.Ask("F0 41 36 00 21 20 01 0B 20 22 F7");  // a half pair: nothing of it
  EXPECT_EQ(jx->Item("edit", 0)[11], 0x40);
  jx->SetMemoryProtect(true);
  host.Ask("F0 41 34 00 21 20 01 00 1F 02 F7");
  EXPECT_NE(jx->Item("tones", 31), jx->Item("edit", 0));
  jx->SetMemoryProtect(false);
  host.Ask("F0 41 34 00 21 20 01 00 1F 02 F7");
  EXPECT_EQ(jx->Item("tones", 31), jx->Item("edit", 0));
  EXPECT_TRUE(host.Ask("F0 41 35 01 21 20 01 00 F7").empty());
  EXPECT_EQ(jx->Dump().size(), 32U * 78 + 67);
}

TEST(BassStation2, OlderFilesHaveNoName) {
  auto bass = Make("novation-bassstation2");
  Host host(*bass);
  const Bytes before = bass->Item("programs", 3);
  Bytes old = bass->DumpOf("old_program", 9);
  ASSERT_EQ(old.size(), 122U);
  old[8] = 3;
  EXPECT_TRUE(host.Ask(old).empty());
  EXPECT_EQ(bass->Item("programs", 3)[30], bass->Item("programs", 9)[30]);
  const Bytes after = bass->Item("programs", 3);
  EXPECT_TRUE(std::equal(before.begin() + 98, before.end(), after.begin() + 98));
}

// A preset goes from one to the other, packet by packet; what is damaged is sent again.
TEST(Proteus2000, PacketsAreAcknowledged) {
  auto from = Make("emu-proteus2000");
  auto to = Make("emu-proteus2000");
  ASSERT_TRUE(from->Rename("presets", 300, "On The Way"));
  Host sender(*from);
  Host taker(*to);
  const auto number = [](int command, int packet) {
    return Bytes{0xF0, 0x18, 0x0F, 0, 0x55, static_cast<std::uint8_t>(command), static_cast<std::uint8_t>(packet),
                 0,    0xF7};
  };
  Bytes piece = sender.Ask("F0 18 0F 00 55 11 02 2C 02 00 00 F7");
  EXPECT_EQ(taker.Ask(piece), number(0x7F, 0));
  for (int packet = 1; packet <= 7; ++packet) {
    piece = sender.Ask(number(0x7F, packet - 1));
    ASSERT_EQ(piece.size(), packet < 7 ? 255U : 41U);
    Bytes damaged = piece;
    damaged[20] ^= 1;
    EXPECT_EQ(taker.Ask(damaged), number(0x7E, packet));
    EXPECT_TRUE(sender.Ask(number(0x7E, packet)) == piece);
    EXPECT_NE(to->Item("presets", 300), from->Item("presets", 300));
    EXPECT_EQ(taker.Ask(piece), number(0x7F, packet));
    EXPECT_EQ(taker.Ask(piece), number(0x7F, packet)) << "the acknowledgement was lost";
  }
  const Bytes end = Hex("F0 18 0F 00 55 7B F7");
  EXPECT_EQ(sender.Ask(number(0x7F, 7)), end);
  EXPECT_TRUE(taker.Ask(end).empty());
  EXPECT_EQ(to->Item("presets", 300), from->Item("presets", 300));
  // Cancelled, or only begun: the preset stays.
  const auto file = ScanSysEx(from->DumpOf("presets", 7));
  for (const Bytes& over : {number(0x7D, 0), end}) {
    Bytes header = file[0];
    header[6] = 0x01;
    EXPECT_EQ(taker.Ask(header), number(0x7F, 0));
    taker.Ask(over);
    Bytes packet = file[1];
    packet[6] = 0x02;
    EXPECT_EQ(taker.Ask(packet), number(0x7D, 1));
  }
  // ROM presets, other counts.
  Bytes rom = ScanSysEx(from->DumpOf("rom_presets", 3))[0];
  rom[6] = 0x01;
  EXPECT_EQ(taker.Ask(rom), number(0x7D, 0));
  rom[33] = 0;
  rom[13] = 0x35;
  EXPECT_EQ(taker.Ask(rom), number(0x7D, 0));
  std::string problem;
  to->SetFaults(*FaultPlan::Parse("busy-once;no-reply:reply=2", &problem));
  Bytes header = file[0];
  header[6] = 0x01;
  EXPECT_EQ(taker.Ask(header), number(0x7E, 0));
  EXPECT_TRUE(taker.Ask(header).empty());
  EXPECT_EQ(taker.Ask(header), number(0x7F, 0));
}

TEST(Proteus2000, WithoutHandshakeItNeedsTimeBetween) {
  auto from = Make("emu-proteus2000");
  ASSERT_TRUE(from->Rename("presets", 5, "Slowly"));
  for (const int pauseMs : {50, 150}) {
    auto to = Make("emu-proteus2000");
    Host host(*to);
    for (const Bytes& message : ScanSysEx(from->DumpOf("presets", 5))) EXPECT_TRUE(host.Ask(message, pauseMs).empty());
    EXPECT_EQ(to->Item("presets", 5) == from->Item("presets", 5), pauseMs == 150);
  }
}

TEST(Proteus2000, ParametersBelongToThePresetAndLayerThatAreChosen) {
  auto emu = Make("emu-proteus2000");
  Host host(*emu);
  host.Ask("B0 20 02");
  host.Ask("C0 03");
  EXPECT_EQ(emu->Item("edit", 0), emu->Item("presets", 259));
  host.Ask("F0 18 0F 00 55 01 02 02 07 03 00 F7");  // layer 4
  host.Ask("F0 18 0F 00 55 01 02 02 0B 76 7F F7");  // volume -10
  EXPECT_EQ(emu->Item("edit", 0)[232 + 3 * 316], 0x76);
  EXPECT_EQ(host.Ask("F0 18 0F 00 55 02 01 02 0B F7"), Hex("F0 18 0F 00 55 01 02 02 0B 76 7F F7"));
  host.Ask("F0 18 0F 00 55 01 02 01 07 09 00 F7");  // preset 9
  host.Ask("F0 18 0F 00 55 01 02 03 07 41 00 F7");  // first character of the name
  EXPECT_EQ(emu->Item("presets", 9)[0], 'A');
}

TEST(K5000, SinglesHaveTheirSizeAndSums) {
  auto from = Make("kawai-k5000");
  auto to = Make("kawai-k5000");
  Host host(*to);
  const Bytes done = Hex("F0 40 00 40 F7");
  const Bytes error = Hex("F0 40 00 41 F7");
  for (int item = 0; item < 40; ++item) {
    Bytes single = from->DumpOf("singles_a", item);
    if (item % 11 == 10) {
      EXPECT_TRUE(single.empty());
      continue;
    }
    const std::size_t sources = single[9 + 1 + 50];
    const std::size_t behind = single.size() - 10 - 82 - 86 * sources;
    EXPECT_EQ(behind % 806, 0U) << item;
    single[7] = 3;  // into another bank
    const Bytes before = to->Item("singles_e", item);
    for (const std::size_t at : {std::size_t{9}, std::size_t{40}, single.size() - 2}) {
      Bytes damaged = single;
      damaged[at] ^= 1;
      EXPECT_EQ(host.Ask(damaged), error) << item << " " << at;
    }
    Bytes longer = single;
    longer.insert(longer.end() - 1, 0);
    EXPECT_EQ(host.Ask(longer), error);
    EXPECT_EQ(to->Item("singles_e", item), before);
    EXPECT_EQ(host.Ask(single), done) << item;
    EXPECT_EQ(to->Item("singles_e", item), from->Item("singles_a", item));
  }
}

TEST(K5000, BanksAreReplacedAsAWholeAndHaveAnEnd) {
  auto from = Make("kawai-k5000");
  auto to = Make("kawai-k5000");
  Host host(*to);
  Bytes bank = Host(*from).Ask("F0 40 00 01 00 0A 00 00 00 F7");
  bank[7] = 4;
  to->SetMemoryProtect(true);
  EXPECT_EQ(host.Ask(bank), Hex("F0 40 00 42 F7"));
  to->SetMemoryProtect(false);
  Bytes damaged = bank;
  damaged[bank.size() - 2] ^= 1;
  const Bytes before = to->Memory();
  EXPECT_EQ(host.Ask(damaged), Hex("F0 40 00 41 F7"));
  Bytes none = Hex("F0 40 00 21 00 0A 00 04");
  none.resize(8 + 19, 0);
  none.push_back(0xF7);
  EXPECT_EQ(host.Ask(none), Hex("F0 40 00 41 F7"));
  EXPECT_TRUE(to->Memory() == before);
  EXPECT_EQ(host.Ask(bank), Hex("F0 40 00 40 F7"));
  for (int item = 0; item < 128; ++item) EXPECT_EQ(to->Item("singles_f", item), from->Item("singles_a", item)) << item;
  // Big singles until the memory of the bank is full.
  Bytes big = from->DumpOf("singles_a", 0);
  int taken = 0;
  Bytes answer;
  for (int item = 127; item >= 0 && answer != Hex("F0 40 00 44 F7"); --item, ++taken) {
    big[8] = static_cast<std::uint8_t>(item);
    answer = host.Ask(big);
  }
  EXPECT_LT(taken, 20);
  EXPECT_EQ(to->display(), "MEMORY FULL");
}

TEST(K5000, OnlyABackupOutlivesAReset) {
  auto k5000 = Make("kawai-k5000");
  Host host(*k5000);
  const Bytes kept = k5000->Item("singles_d", 3);
  host.Ask("B0 00 66");
  host.Ask("C0 03");
  host.Ask("F0 40 00 10 00 0A 01 00 00 00 00 00 41 F7");  // first character of the name
  EXPECT_EQ(k5000->Item("singles_d", 3)[39], 'A');
  host.Ask("F0 40 00 32 00 0A 01 F7");
  EXPECT_TRUE(host.Ask("F0 40 00 00 00 0A 20 00 00 F7", 14'000).empty()) << "it is busy with the backup";
  host.Ask("F0 40 00 10 00 0A 01 00 00 00 00 00 42 F7", 2'000);
  host.Ask("F0 40 00 10 00 0A 02 40 00 00 02 00 01 F7");
  EXPECT_EQ(k5000->Item("singles_d", 3)[39], 'B');
  host.Ask("F0 40 00 32 00 0A 02 F7");
  EXPECT_EQ(k5000->Item("singles_d", 3)[39], 'A');
  EXPECT_EQ(k5000->Item("singles_d", 3).size(), kept.size());
}

TEST(Jd800, PatchesComeInPiecesWithTimeBetween) {
  auto from = Make("roland-jd800");
  auto to = Make("roland-jd800");
  ASSERT_TRUE(from->Rename("patches", 42, "Across The Pages"));
  const auto pieces = ScanSysEx(from->DumpOf("patches", 42));
  ASSERT_EQ(pieces.size(), 2U);
  Host host(*to);
  to->SetMemoryProtect(true);
  for (const Bytes& piece : pieces) host.Ask(piece);
  EXPECT_NE(to->Item("patches", 42), from->Item("patches", 42));
  to->SetMemoryProtect(false);
  Bytes damaged = pieces[0];
  damaged[30] ^= 1;
  host.Ask(damaged);
  EXPECT_EQ(to->display(), "CHECKSUM ERROR");
  host.Ask(pieces[1]);
  host.Ask(pieces[0], 1);  // too soon: bytes of it are lost
  EXPECT_NE(to->Item("patches", 42), from->Item("patches", 42));
  host.Ask(pieces[0], 25);
  EXPECT_EQ(to->Item("patches", 42), from->Item("patches", 42));
  host.Ask("C0 2A");
  EXPECT_EQ(to->Item("temporary", 0), from->Item("patches", 42));
  host.Ask("C0 6A");  // a card that is not there
  EXPECT_EQ(to->Item("temporary", 0), from->Item("patches", 42));
  host.Ask("F0 41 10 3D 12 00 00 71 00 45 4A F7");  // the waveform of tone A is two bytes
  EXPECT_EQ(to->Item("temporary", 0)[113 + 1], 0x45);
}

TEST(Pro800, ProgramsHaveTheirOwnLengthAndMayBeEmpty) {
  auto pro = Make("behringer-pro800");
  Host host(*pro);
  const Bytes done = Hex("F0 00 20 32 00 01 24 00 01 00 F7");
  const Bytes failed = Hex("F0 00 20 32 00 01 24 00 01 01 F7");
  const Bytes request = Hex("F0 00 20 32 00 01 24 00 77 05 00 F7");
  const Bytes whole = host.Ask(request);
  Bytes shorter(whole.begin(), whole.begin() + 195);
  shorter.push_back(0xF7);
  EXPECT_EQ(host.Ask(shorter), done);
  EXPECT_EQ(host.Ask(request), shorter);
  Bytes longer = whole;
  longer.insert(longer.end() - 1, 8, 0x01);
  EXPECT_EQ(host.Ask(longer), failed);
  Bytes alone(whole.begin(), whole.begin() + 12);  // the top bits of no bytes
  alone.push_back(0xF7);
  EXPECT_EQ(host.Ask(alone), failed);
  EXPECT_EQ(host.Ask(request), shorter);
  EXPECT_EQ(host.Ask("F0 00 20 32 00 01 24 00 78 05 00 F7"), done);
  EXPECT_EQ(host.Ask(request), Hex("F0 F7"));
  EXPECT_FALSE(pro->Rename("programs", 5, "Nobody"));
  auto other = Make("behringer-pro800");
  other->LoadDump(pro->Dump());
  EXPECT_TRUE(other->Memory() == pro->Memory());
  host.Ask("F0 00 20 32 00 01 24 00 7D F7");  // factory reset, without asking
  EXPECT_EQ(host.Ask(request), whole);
}

TEST(Fb01, BanksNeedTimeBetweenTheirBlocks) {
  auto from = Make("yamaha-fb01");
  auto to = Make("yamaha-fb01");
  ASSERT_TRUE(from->Rename("voices", 95, "ANOTHER"));
  const Bytes bank = from->DumpOf("bank", 48);
  Host host(*to);
  const auto send = [&](const Bytes& data, std::int64_t pauseMs) {
    constexpr std::ptrdiff_t kBlock = 131;
    auto at = data.end() - 1 - 48 * kBlock;
    Bytes answer = host.Ask(Bytes(data.begin(), at));
    for (; at < data.end(); at += std::min(kBlock, data.end() - at)) {
      const Bytes more = host.Ask(Bytes(at, at + std::min(kBlock, data.end() - at)), pauseMs);
      answer.insert(answer.end(), more.begin(), more.end());
    }
    return answer;
  };
  EXPECT_EQ(send(bank, 120), Hex("F0 43 60 04 F7"));
  EXPECT_TRUE(host.Ask("F0 43 75 00 10 21 00 F7").empty());
  EXPECT_EQ(send(bank, 20), Hex("F0 43 60 03 F7"));
  EXPECT_NE(to->PanelList()[95].name, "ANOTHER");
  EXPECT_EQ(send(bank, 120), Hex("F0 43 60 02 F7"));
  EXPECT_EQ(to->PanelList()[95].name, "ANOTHER");
  EXPECT_EQ(send(from->DumpOf("bank", 96), 120), Hex("F0 43 60 04 F7"));  // ROM
  EXPECT_EQ(send(from->DumpOf("ram1"), 120), Hex("F0 43 60 02 F7"));
}

TEST(Fb01, InstrumentsTakeTheVoicesTheConfigurationNames) {
  auto fb = Make("yamaha-fb01");
  Host host(*fb);
  host.Ask("F0 43 75 00 10 21 00 F7");
  host.Ask("F0 43 75 00 10 22 07 F7");
  EXPECT_EQ(fb->Item("current", 0), fb->Item("configurations", 7));
  host.Ask("F0 43 75 00 1B 01 0C F7");  // instrument 4 listens to channel 13
  host.Ask("F0 43 75 00 1B 04 02 F7");  // bank 3
  host.Ask("CC 11");
  EXPECT_EQ(fb->Item("instruments", 3), fb->Item("voices", 2 * 48 + 17));
  host.Ask("F0 43 75 00 1B 56 0D 0E F7");  // a whole byte in nibbles, low first
  EXPECT_EQ(fb->Item("instruments", 3)[0x16], 0xED);
  host.Ask("F0 43 1C 15 40 01 04 F7");  // by channel
  EXPECT_EQ(fb->Item("instruments", 3)[0], 'A');
  host.Ask("F0 43 75 70 7C 08 11 7C 09 22 F7");  // two events
  EXPECT_EQ(fb->Item("current", 0)[32 + 48 + 8], 0x11);
  EXPECT_EQ(fb->Item("current", 0)[32 + 48 + 9], 0x22);
  EXPECT_EQ(host.Ask("F0 43 75 00 2B 40 5F F7"), Hex("F0 43 60 02 F7"));
  EXPECT_EQ(fb->Item("voices", 95), fb->Item("instruments", 3));
  EXPECT_EQ(host.Ask("F0 43 75 00 20 40 0F F7"), Hex("F0 43 60 02 F7"));
  EXPECT_EQ(fb->Item("configurations", 15)[32 + 48 + 5], 17);
  host.Ask("F0 43 75 00 10 20 05 F7");
  EXPECT_EQ(host.Ask("F0 43 75 05 20 01 00 F7").size(), 171U);
}

}  // namespace
}  // namespace tonalith::simulator_test
