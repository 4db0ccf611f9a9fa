#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "simulator/wire_codecs.h"
#include "tests/simulator/simulator_test_tools.h"

namespace tonalith::simulator_test {
namespace {

TEST(Descriptions, EveryInstrumentHasUsableFactoryContents) {
  const auto keys = SimulatedInstrumentKeys();
  ASSERT_GE(keys.size(), 8U);
  for (const std::string& key : keys) {
    auto instrument = Make(key);
    ASSERT_NE(instrument, nullptr);
    const auto list = instrument->PanelList();
    EXPECT_FALSE(list.empty()) << key;
    std::set<std::string> seen;
    for (const PanelEntry& entry : list) {
      EXPECT_TRUE(seen.insert(entry.area + entry.number).second) << key << " " << entry.number;
      EXPECT_TRUE(entry.name.empty() || seen.insert(entry.area + ":" + entry.name).second) << key << entry.name;
    }
    // What one gives out, another takes: memory that is part of the dump is equal then.
    auto other = Make(key);
    const Bytes dump = instrument->Dump();
    ASSERT_FALSE(dump.empty()) << key;
    for (const std::uint8_t byte : dump) ASSERT_TRUE(byte < 0x80 || byte == 0xF0 || byte == 0xF7) << key;
    const auto loaded = other->LoadDump(dump);
    EXPECT_EQ(loaded.taken, loaded.messages) << key;
    EXPECT_TRUE(other->Dump() == dump) << key;
    for (const AreaInfo& area : instrument->description().areas)
      for (const ValueRule& rule : area.values)
        for (int i = 0; i < rule.run && rule.minimum >= 0; ++i) {
          const int raw = instrument->Item(area.key, 0)[static_cast<std::size_t>(rule.offset + i)];
          const int value = raw >> rule.bit & ((1 << rule.width) - 1);
          EXPECT_TRUE(value >= rule.minimum && value <= rule.maximum)
              << key << " " << area.key << " " << rule.offset + i;
        }
  }
}

// A file says the bank of its items, whichever is chosen; the panel sends the chosen one.
TEST(Banks, AreKeptInFiles) {
  auto matrix = Make("oberheim-matrix1000");
  ASSERT_TRUE(matrix->Rename("patches", 142, "BANK ONE"));
  matrix->OnMessage(Hex("F0 10 06 0A 01 F7"), 1'000'000);
  for (const Bytes& file : {matrix->Dump(), matrix->FileOf("single", 142)}) {
    auto other = Make("oberheim-matrix1000");
    other->LoadDump(file);
    EXPECT_EQ(other->Item("patches", 142), matrix->Item("patches", 142));
    EXPECT_NE(other->Item("patches", 42), matrix->Item("patches", 142));
  }
  std::vector<Reply> replies;
  std::string problem;
  ASSERT_TRUE(matrix->Press("single[42] everything", &replies, &problem)) << problem;
  ASSERT_EQ(replies.size(), 102U);
  EXPECT_EQ(replies[0].bytes, matrix->DumpOf("single", 142));
  EXPECT_FALSE(matrix->Press("single[0..1] voice", &replies, &problem));
  EXPECT_EQ(
      problem,
      "The panel of the simulated Oberheim Matrix-1000 sends no \"voice\"; it sends: single edit master everything.");
}

TEST(Descriptions, ProblemsAreSentencesWithALine) {
  const std::pair<const char*, const char*> cases[] = {
      {"[area x\n", "t, line 1: the block heading does not end with ]."},
      {"[instrument]\nkey = a\nbogus = 1\n", "t, line 3: \"bogus\" is not known here."},
      {"[area a]\nbytes = 0\n", "t, line 2: bytes = 0: \"0\" is no number from 1 to 65536."},
      {"[area a]\nbytes = 4\n[message m]\nhead = F0 4X\n",
       "t, line 4: head = F0 4X: \"4X\" is no part of a byte pattern."},
      {"[file_transfer]\nframe = F0 41 37\n", "t, line 2: frame = F0 41 37: the frame needs a {command}."},
      {"[area a]\nbytes = 4\n[message m]\ndata = a@2+3\n",
       "t, line 4: data = a@2+3: expected offset + bytes inside the item."},
      {"[area a]\nbytes = 4\n[change c]\narea = a\nfield = 09 / 3.4.5\n",
       "t, line 5: field = 09 / 3.4.5: \"3.4.5\" is no place in the area."},
      {"[area a]\nbytes = 4\n[change c]\narea = a\nfield = - / 4.0.7\n",
       "t, line 5: field = - / 4.0.7: \"4.0.7\" is no place in the area."},
      {"[area a]\nbytes = 4\n[change c]\nmatch = F0 {v99} F7\n",
       "t, line 4: match = F0 {v99} F7: {v99} is no part of a value."},
      {"[message m]\ndata = nowhere\n", "t, line 2: data = nowhere: there is no area \"nowhere\" before this line."},
      {"[area a]\nbytes = 4\nvalue = 3 0 8 0 5\ncopy_values = 3 1 1 1\n",
       "t, line 4: copy_values = 3 1 1 1: the copied values lie outside the item."},
      {"[area a]\nbytes = 4\nvalue = 3 0 8 0 5 2\n",
       "t, line 3: value = 3 0 8 0 5 2: the value lies outside the item or its byte."},
  };
  for (const auto& [text, problem] : cases) EXPECT_EQ(ParseDescription(text, "t").problem, problem) << text;
  // All of them, each with its place and what would be right, and none that only follows from another.
  const DescriptionResult all = ParseDescription(
      "name = x\n[instrument]\n  name = Orrin\n  delay = 3\n[aera voices]\nitems = 0\n[area voices]\nbytes = many\n"
      "name = 0 10 ascii\n[message patch]\nhead = F0 7D 0n {item}\npacking = tight\n",
      "t");
  std::string report;
  for (const DescriptionMistake& m : all.mistakes)
    report += std::to_string(m.line) + ":" + std::to_string(m.column) + ": " + m.text + "\n";
  EXPECT_EQ(report,
            "1:1: the line stands before the first block\n"
            "4:3: \"delay\" is not known here\n"
            "5:1: there is no block \"aera\"\n"
            "8:9: bytes = many: \"many\" is no number from 1 to 65536\n"
            "12:11: packing = tight: \"tight\" is no packing\n");
  EXPECT_EQ(all.name, "Orrin");
  EXPECT_EQ(all.mistakes[1].hint.substr(0, 35), "[instrument] takes: key, name, port");
  EXPECT_EQ(all.mistakes[2].hint.substr(0, 46), "There are the blocks: instrument, area, link, ");
}

TEST(Descriptions, AWrongOneIsNotAMissingOne) {
  const std::filesystem::path resources =
      std::filesystem::temp_directory_path() / ("tonalith-descriptions-" + std::to_string(::getpid()));
  std::filesystem::create_directories(resources / "simulator");
  std::ofstream(resources / "simulator/eight.sim") << "[instrument]\nname = Orrin Eight\nkee = eight\n";
  ::setenv("TONALITH_RESOURCES", resources.c_str(), 1);
  std::string wrong, missing;
  EXPECT_FALSE(SimulatedInstrument::CreateFor("orrin eight", "", &wrong));
  EXPECT_FALSE(SimulatedInstrument::CreateFor("Orrin Nine", "", &missing));
  ::unsetenv("TONALITH_RESOURCES");
  std::filesystem::remove_all(resources);
  EXPECT_EQ(wrong,
            "The description of the simulated orrin eight is wrong.  eight.sim, line 3: \"kee\" is not known here.");
  EXPECT_EQ(missing, "There is no simulated Orrin Nine.  Descriptions that cannot be read: eight.sim.");
}

TEST(Yamaha, EditBufferFollowsProgramChangeAndStoresBack) {
  auto dx7 = Make("yamaha-dx7");
  Host host(*dx7);
  host.Ask("C0 07");
  EXPECT_EQ(DecodeName(NameCode::kAscii, std::span<const std::uint8_t>(dx7->Item("edit", 0)).subspan(145, 10)),
            dx7->PanelList()[7].name);
  const auto before = dx7->Memory();
  for (int item = 0; item < 32; ++item) {
    ASSERT_TRUE(dx7->SelectPatch("voices", item));
    ASSERT_TRUE(dx7->StorePatch("voices", item));
  }
  host.Ask("C0 07");
  EXPECT_TRUE(dx7->Memory() == before);
  host.Ask("F0 43 10 01 06 04 F7");  // algorithm 5
  EXPECT_EQ(dx7->Item("edit", 0)[134], 4);
  EXPECT_FALSE(dx7->RestoreMemory(std::span(before).first(100)));
  EXPECT_TRUE(dx7->RestoreMemory(before));
  EXPECT_TRUE(dx7->Memory() == before);
  EXPECT_TRUE(host.Ask("F0 43 21 09 F7").empty());  // somebody else's channel
}

TEST(Yamaha, VoiceWithoutItsAdditionalPartInitialisesIt) {
  auto tx = Make("yamaha-tx81z");
  Host host(*tx);
  tx->SelectPatch("voices", 3);
  const Bytes aced = tx->DumpOf("aced");
  const Bytes vced = tx->DumpOf("vced");
  host.Ask(aced);
  host.Ask(vced);
  EXPECT_EQ(tx->DumpOf("aced"), aced);
  host.Ask(vced);
  EXPECT_EQ(tx->Item("aced", 0), Bytes(23, 0));
}

TEST(Protection, WhatMustNotBeWrittenStays) {
  struct Case {
    const char* key;
    const char* message;
    const char* answer;
  };
  const Case cases[] = {{"yamaha-dx7", "bank", ""},
                        {"korg-m1", "programs", "F0 42 30 19 24 F7"},
                        {"kawai-k4", "singles", "F0 40 00 42 00 04 F7"},
                        {"oberheim-matrix1000", "single", ""},
                        {"roland-d50", "patches", ""}};
  for (const Case& test : cases) {
    auto source = Make(test.key);
    auto target = Make(test.key);
    source->Rename(source->PanelList().front().area, 0, "CHANGED");
    target->SetMemoryProtect(true);
    const Bytes before = target->Memory();
    Host host(*target);
    Bytes answers;
    for (const Bytes& message : ScanSysEx(source->DumpOf(test.message))) answers = host.Ask(message);
    EXPECT_EQ(answers, Hex(test.answer)) << test.key;
    EXPECT_TRUE(target->Memory() == before) << test.key;
    EXPECT_EQ(target->display(), "MEMORY PROTECTED") << test.key;
    target->SetMemoryProtect(false);
    for (const Bytes& message : ScanSysEx(source->DumpOf(test.message))) host.Ask(message);
    EXPECT_EQ(target->PanelList().front().name, "CHANGED");
  }
}

TEST(Roland, HandshakeSendsAndReceivesWithRepeats) {
  auto from = Make("roland-d50");
  auto to = Make("roland-d50");
  from->Rename("patches", 0, "Handmade");
  Host source(*from);
  Host target(*to);
  const Bytes ack = Hex("F0 41 00 14 43 F7");
  EXPECT_EQ(target.Ask("F0 41 00 14 40 02 00 00 00 03 40 3B F7"), ack);
  Bytes piece = source.Ask("F0 41 00 14 41 02 00 00 00 03 40 3B F7");
  EXPECT_EQ(piece.size(), 266U);
  EXPECT_EQ(source.Ask("F0 41 00 14 4E F7"), piece);  // once more, please
  Bytes damaged = piece;
  damaged[40] ^= 1;
  EXPECT_EQ(target.Ask(damaged), Hex("F0 41 00 14 4E F7"));
  EXPECT_EQ(target.Ask(piece), ack);
  piece = source.Ask(ack);
  EXPECT_EQ(piece.size(), 202U);
  EXPECT_EQ(target.Ask(piece), ack);
  const Bytes end = source.Ask(ack);
  EXPECT_EQ(end, Hex("F0 41 00 14 45 F7"));
  EXPECT_EQ(target.Ask(end), ack);
  EXPECT_TRUE(source.Ask(ack).empty());
  EXPECT_EQ(to->Item("patches", 0), from->Item("patches", 0));
  EXPECT_EQ(to->PanelList().front().name, "Handmade");
  // Nothing lives there.
  EXPECT_EQ(target.Ask("F0 41 00 14 41 7F 00 00 00 00 01 00 F7"), Hex("F0 41 00 14 4F F7"));
}

TEST(Roland, OneByteAndWholePatchRequests) {
  auto jv = Make("roland-jv1080");
  Host host(*jv);
  const Bytes one = host.Ask("F0 41 10 6A 11 03 00 00 39 00 00 00 01 43 F7");
  ASSERT_EQ(one.size(), 12U);
  EXPECT_EQ(one[9], jv->Item("temporary", 0)[57]);
  EXPECT_EQ(host.Ask("F0 41 10 6A 11 11 00 00 00 00 00 18 00 57 F7").size(), 643U);
  EXPECT_EQ(host.Ask("F0 7E 7F 06 01 F7"), Hex("F0 7E 10 06 02 41 6A 00 00 00 00 00 00 00 F7"));
  auto d50 = Make("roland-d50");
  Host d50Host(*d50);
  const auto replies = d50Host.Talk(Hex("F0 41 00 14 11 00 00 00 00 03 40 3D F7"));
  ASSERT_EQ(replies.size(), 2U);
  EXPECT_EQ(replies[0].bytes.size(), 266U);
  EXPECT_EQ(replies[1].bytes.size(), 202U);
  EXPECT_GE(replies[1].delayUs - replies[0].delayUs, 20000);
}

TEST(Korg, SingleDumpsNeedTheirMode) {
  auto m1 = Make("korg-m1");
  Host host(*m1);
  EXPECT_EQ(host.Ask("F0 42 30 19 10 F7"), Hex("F0 42 30 19 24 F7"));
  EXPECT_EQ(host.Ask("F0 42 30 19 4E 03 10 F7"), Hex("F0 42 30 19 23 F7"));
  EXPECT_EQ(host.Ask("F0 42 30 19 12 F7"), Hex("F0 42 30 19 42 03 00 00 00 F7"));
  Bytes program = host.Ask("F0 42 30 19 10 F7");
  ASSERT_EQ(program.size(), 170U);
  EXPECT_EQ(host.Ask(program), Hex("F0 42 30 19 23 F7"));
  EXPECT_EQ(host.Ask("F0 42 30 19 11 00 05 F7"), Hex("F0 42 30 19 21 F7"));
  EXPECT_EQ(m1->PanelList("programs")[5].name, m1->PanelList("programs")[0].name);
  EXPECT_EQ(host.Ask("F0 42 30 19 11 01 05 F7"), Hex("F0 42 30 19 22 F7"));
  program.insert(program.begin() + 20, 0x11);
  EXPECT_EQ(host.Ask(program), Hex("F0 42 30 19 26 F7"));
  EXPECT_EQ(host.Ask("F0 42 30 19 1D 00 F7").size(), 14179U);
  EXPECT_EQ(host.Ask("F0 7E 7F 06 01 F7"), Hex("F0 7E 00 06 02 42 19 00 00 00 02 00 17 00 F7"));
}

TEST(Kawai, BlocksAndAllPatches) {
  auto k4 = Make("kawai-k4");
  Host host(*k4);
  EXPECT_EQ(host.Ask("F0 40 00 60 F7"), Hex("F0 40 00 61 00 04 F7"));
  EXPECT_EQ(host.Ask("F0 40 00 01 00 04 00 00 F7").size(), 8393U);
  EXPECT_EQ(host.Ask("F0 40 00 01 00 04 00 40 F7").size(), 4937U);
  EXPECT_EQ(host.Ask("F0 40 00 01 00 04 01 00 F7").size(), 1129U);
  Bytes all = host.Ask("F0 40 00 02 00 04 00 00 F7");
  ASSERT_EQ(all.size(), 15123U);
  EXPECT_EQ(host.Ask(all), Hex("F0 40 00 40 00 04 F7"));
  all[9000] ^= 1;
  EXPECT_EQ(host.Ask(all), Hex("F0 40 00 41 00 04 F7"));
  EXPECT_EQ(host.Ask("F0 40 00 01 00 04 02 00 F7"), Hex("F0 40 00 43 00 04 F7"));
  EXPECT_EQ(k4->PanelList("singles")[17].number, "B-2");
}

TEST(Oberheim, BanksParametersAndPacing) {
  auto matrix = Make("oberheim-matrix1000");
  Host host(*matrix);
  host.Ask("F0 10 06 0A 02 F7");
  const Bytes patch = host.Ask("F0 10 06 04 01 05 F7");
  EXPECT_EQ(patch, matrix->DumpOf("single", 205));
  EXPECT_EQ(matrix->PanelList()[205].number, "205");
  EXPECT_TRUE(host.Ask(patch).empty());
  EXPECT_EQ(matrix->display(), "READ ONLY");
  host.Ask("F0 10 06 0A 01 F7");
  host.Ask(patch);
  EXPECT_EQ(matrix->Item("patches", 105), matrix->Item("patches", 205));
  host.Ask("F0 10 06 06 16 7F F7");  // VCF frequency by ENV 1 := -1
  EXPECT_EQ(matrix->Item("edit", 0)[90], 0xFF);
  host.Ask("F0 10 06 06 15 7F F7");  // VCF frequency := 127
  EXPECT_EQ(matrix->Item("edit", 0)[26], 127);
  // Requests on each other's heels are not heard; all of a bank comes with the master parameters.
  EXPECT_EQ(host.Ask("F0 10 06 04 04 00 F7").size(), 275U);
  EXPECT_TRUE(host.Ask("F0 10 06 04 04 00 F7", 10).empty());
  EXPECT_EQ(host.Ask("F0 10 06 04 00 00 F7").size(), 100U * 275 + 351);
}

TEST(Pacing, BytesThatComeTooFastAreLost) {
  auto d50 = Make("roland-d50");
  auto source = Make("roland-d50");
  for (int i = 0; i < 64; ++i) source->Rename("patches", i, "New " + std::to_string(i));
  std::int64_t now = 0;
  for (const std::int64_t gapMs : {0, 20}) {
    now += 1'000'000;
    d50->RestoreFactory();
    const std::int64_t lostBefore = d50->lostBytes();
    for (const Bytes& message : ScanSysEx(source->Dump())) d50->OnBytes(message, now += gapMs * 1000);
    EXPECT_EQ(d50->Dump() == source->Dump(), gapMs != 0);
    EXPECT_EQ(d50->lostBytes() - lostBefore > 1000, gapMs == 0);
  }
}

// At the speed of a real cable the bytes behind a message fall into the time it takes to work on it.
TEST(Pacing, PiecesOfARealCableAreTimedByteByByte) {
  for (const std::int64_t gapUs : {0, 20'000}) {
    auto d50 = Make("roland-d50");
    auto source = Make("roland-d50");
    source->Rename("patches", 63, "Last one");
    d50->SetWireRate(3125);
    std::int64_t now = 1'000'000;
    for (const Reply& reply : source->PanelSend("everything")) {
      now += gapUs;
      for (std::size_t at = 0; at < reply.bytes.size(); at += 100) {
        const std::size_t count = std::min<std::size_t>(100, reply.bytes.size() - at);
        now += static_cast<std::int64_t>(count) * 320;
        d50->OnBytes(std::span(reply.bytes).subspan(at, count), now);
      }
    }
    EXPECT_EQ(d50->Dump() == source->Dump(), gapUs != 0);
    EXPECT_EQ(d50->lostBytes() == 0, gapUs != 0);
  }
}

TEST(Casio, NothingIsTakenBeforeItIsReady) {
  auto cz = Make("casio-cz101");
  Bytes tone = cz->DumpOf("internal", 3);
  tone[20] ^= 1;
  Host host(*cz);
  const Bytes before = cz->Item("internal", 3);
  host.Ask(tone);  // all at once
  EXPECT_EQ(cz->Item("internal", 3), before);
  EXPECT_EQ(host.Ask(Bytes(tone.begin(), tone.begin() + 7), 2000), Hex("F0 44 00 00 70 30"));
  host.Ask(Bytes(tone.begin() + 7, tone.end()), 1);
  EXPECT_NE(cz->Item("internal", 3), before);
  EXPECT_TRUE(host.Ask("F0 44 00 00 70 20 05").empty());  // presets cannot be written
}

}  // namespace
}  // namespace tonalith::simulator_test
