#include <gtest/gtest.h>

#include <filesystem>

#include "data/hex_text.h"
#include "platform/prompts.h"
#include "studio/module.h"
#include "studio/module_maps.h"
#include "studio/package_install.h"
#include "studio/studio_document.h"
#include "studio/sysex_map.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Two descriptors, written by hand.
constexpr char kMapFile[] =
    "46 4F 52 4D 00 00 00 62 53 59 53 58 44 45 53 43 00 00 00 04 00 00 00 02 "
    "44 41 54 41 00 00 00 30 00 00 00 00 A3 FF FF FF FE 00 00 00 06 01 02 03 04 01 00 00 00 03 "
    "00 00 00 00 FF FF FF FD 00 00 00 06 00 00 00 03 F0 FF 43 01 01 A0 B0 C0 D0 00 "
    "44 41 54 41 00 00 00 12 01 00 00 80 00 00 00 00 07 00 00 70 00 00 00 00 03 14";

BufferDescriptor TwoDescriptors() {
  StdSysXDescriptor standard{163, -2, 6, 0x01020304, 1, {{0, 0xF0}, {-3, 255}, {6, 0x43}}, 1, 1, 0xA0B0C0D0};
  BufferDescriptor map;
  map.descriptors = {standard, RolandSysXDescriptor{0x8000, 7, 28672, 3, 0x14}};
  return map;
}

struct Image {
  Synth synth{};
  DataFilePtr data{AllocDataFile()};

  explicit Image(std::uint32_t size, bool patchByPatch = false) {
    synth.driverId = 1000;
    synth.fileSize = size;
    synth.numVoices = 16;
    synth.voiceSize = size / 16;
    synth.patchByPatch = patchByPatch;
    const DFXtra xtra{};
    AllocChunk(&data->synth, &data->synthSize, kSynthSize, &synth);
    AllocChunk(&data->xtra, &data->xtraSize, kXtraSize, &xtra);
    AllocChunk(&data->body, &data->bodySize, size);
    AllocChunk(&data->emptyMap, &data->emptyMapSize, 2);
    data->xtra->hasNoSysEx = 1;
    data->emptyMap[0] = data->emptyMap[1] = 0xFF;
  }
  std::size_t Take(const SysXDescriptor& descriptor, const Bytes& message, SysXBase base = {}) {
    BufferDescriptor map;
    map.descriptors = {descriptor};
    if (map.Validate(*data, message, base) != 0) return 9999;
    return map.Copy(0, data.get(), message, base);
  }
  std::string Hex() const { return HexText(BodySpan(*data)); }
};

Bytes Message(std::size_t length) {
  Bytes bytes(length, 0x11);
  for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<std::uint8_t>(i & 0x7F);
  bytes.front() = 0xF0;
  bytes.back() = 0xF7;
  return bytes;
}

StdSysXDescriptor AnyMessage() {
  StdSysXDescriptor d;
  d.variable = 1;
  d.pairs = {{0, 0xF0}};
  return d;
}

}  // namespace

TEST(SysExMapFile, IsWrittenAndReadByteForByte) {
  const BufferDescriptor map = TwoDescriptors();
  EXPECT_EQ(HexText(map.ToBytes()), kMapFile);
  BufferDescriptor read;
  ASSERT_TRUE(BufferDescriptor::FromBytes(*ParseHex(kMapFile), &read).ok());
  EXPECT_TRUE(read.loaded);
  EXPECT_EQ(read.descriptors, map.descriptors);
  EXPECT_EQ(HexText(BufferDescriptor().ToBytes()),
            "46 4F 52 4D 00 00 00 10 53 59 53 58 44 45 53 43 00 00 00 04 00 00 00 00");
  // Files of earlier programs end behind the values.
  const Bytes old = *ParseHex(
      "46 4F 52 4D 00 00 00 38 53 59 53 58 44 45 53 43 00 00 00 04 00 00 00 01 44 41 54 41 00 00 00 20 00 00 00 00 0A "
      "00 "
      "00 00 00 00 00 00 00 00 00 00 05 00 00 00 00 01 00 00 00 06 00 00 00 01 43 01");
  ASSERT_TRUE(BufferDescriptor::FromBytes(old, &read).ok());
  const auto& standard = std::get<StdSysXDescriptor>(read.descriptors.at(0));
  EXPECT_EQ(standard.pairs, (std::vector<SysXPair>{{6, 0x43}}));
  EXPECT_EQ(standard.useBase + standard.setBase, 0);
}

TEST(SysExMapFile, DamageIsSaidAndNothingIsUsed) {
  struct Case {
    std::size_t at;
    Bytes bytes;
    const char* problem;
  };
  const std::vector<Case> cases = {
      {0, {'f'}, "no SysEx map"},
      {19, {5}, "no SysEx map"},
      {4, {0x7F, 0xFF, 0xFF, 0xFF}, "shorter than it says"},
      {7, {0x61}, "longer than the file"},
      {20, {0xFF, 0xFF, 0xFF, 0xFF}, "is missing"},
      {23, {1}, "length of the SysEx map"},
      {24, {'d'}, "\"DATA\""},
      {28, {0xFF, 0xFF, 0xFF, 0xFF}, "longer than the file"},
      {31, {0x10}, "too short"},
      {32, {2}, "unknown kind 2"},
      {50, {0xFF, 0xFF, 0xFF, 0xFF}, "fewer pairs"},
      {50, {0x33, 0x33, 0x33, 0x34}, "fewer pairs"},
      {69, {2}, "two numbers of pairs"},
      {104, {0}, "1 to 4 address bytes"},
      {104, {5}, "1 to 4 address bytes"},
  };
  const Bytes good = *ParseHex(kMapFile);
  for (const Case& c : cases) {
    Bytes bytes = good;
    std::copy(c.bytes.begin(), c.bytes.end(), bytes.begin() + static_cast<std::ptrdiff_t>(c.at));
    BufferDescriptor map;
    const Result result = BufferDescriptor::FromBytes(bytes, &map);
    EXPECT_FALSE(result.ok()) << c.at;
    EXPECT_NE(result.text.find(c.problem), std::string::npos) << c.at << ": " << result.text;
    EXPECT_TRUE(map.descriptors.empty());
  }
  for (std::size_t length = 0; length < good.size(); ++length) {
    BufferDescriptor map;
    EXPECT_FALSE(BufferDescriptor::FromBytes(std::span(good).first(length), &map).ok()) << length;
  }
}

TEST(SysExMap, StandardDescriptorsMatchAndCopy) {
  Image image(64);
  StdSysXDescriptor d;
  d.variable = 1;
  SysXBase base;
  const auto matches = [&](const Bytes& message) { return d.Validate(*image.data, message, base); };
  EXPECT_FALSE(matches(Message(10))) << "without pairs nothing matches";
  d.pairs = {{6, 255}};
  EXPECT_TRUE(matches(Message(7)));
  EXPECT_FALSE(matches(Message(6)));
  d.pairs = {{-3, 255}};
  EXPECT_TRUE(matches(Message(7)));
  EXPECT_FALSE(matches(Message(3)));
  for (const std::int32_t offset : {-3, INT32_MIN, INT32_MAX}) {
    d.pairs = {{offset, 0xF7}};
    EXPECT_FALSE(matches(Message(7))) << offset;
  }
  d = AnyMessage();
  d.variable = 0;
  d.size = 8;
  EXPECT_TRUE(matches(Message(8)));
  EXPECT_FALSE(matches(Message(9)));

  d = AnyMessage();
  d.copyBytes = -2;
  EXPECT_EQ(d.Range(Message(100), {})->count, 98u);
  d.copyBytes = -101;
  EXPECT_EQ(Image(64).Take(d, Message(100)), 0u);
}

TEST(SysExMap, CopiesStayInsideMessageAndImage) {
  struct Case {
    std::int32_t copy;
    std::uint32_t from, to;
    std::size_t copied;
  };
  const std::vector<Case> cases = {{0, 0, 0, 16},        {0, 10, 0, 6}, {0, 16, 0, 0},         {0, 0xFFFFFFFF, 0, 0},
                                   {0, 0, 60, 4},        {0, 0, 64, 0}, {4, 1, 0xFFFFFFFF, 0}, {INT32_MAX, 2, 2, 14},
                                   {INT32_MIN, 0, 0, 0}, {-6, 12, 0, 4}};
  for (const Case& c : cases) {
    Image image(64);
    StdSysXDescriptor d = AnyMessage();
    d.copyBytes = c.copy;
    d.sourceOffset = c.from;
    d.destinationOffset = c.to;
    EXPECT_EQ(image.Take(d, Message(16)), c.copied) << c.copy << " " << c.from << " " << c.to;
    EXPECT_EQ(image.data->xtra->hasNoSysEx, c.copied ? 0 : 1);
    EXPECT_EQ(image.data->emptyMap[1], c.copied ? 0 : 0xFF);
    Bytes expected(64);
    const Bytes message = Message(16);
    std::copy_n(message.begin() + (c.copied ? static_cast<std::ptrdiff_t>(c.from) : 0), c.copied,
                expected.begin() + (c.copied ? static_cast<std::ptrdiff_t>(c.to) : 0));
    EXPECT_EQ(image.Hex(), HexText(expected));
  }
  Image byPatch(64, true);
  StdSysXDescriptor d = AnyMessage();
  d.copyBytes = 4;
  d.destinationOffset = 36;
  EXPECT_EQ(byPatch.Take(d, Message(16)), 4u);
  EXPECT_EQ(byPatch.data->emptyMap[0], 0xFF);
  EXPECT_EQ(byPatch.data->emptyMap[1], 0xFD);
}

TEST(SysExMap, TheBaseBelongsToTheDriverThatSetIt) {
  Image image(64);
  SysXBase base;
  BufferDescriptor map;
  StdSysXDescriptor select = AnyMessage();
  select.pairs = {{0, 0xF0}, {1, 5}};
  select.copyBytes = -100;
  select.setBase = 1;
  select.newBaseValue = 32;
  StdSysXDescriptor data = AnyMessage();
  data.useBase = 1;
  data.copyBytes = 2;
  data.destinationOffset = 1;
  map.descriptors = {select, data};
  EXPECT_EQ(map.Validate(*image.data, Message(8), base), BufferDescriptor::kNoMatch);
  Bytes bank = Message(8);
  bank[1] = 5;
  EXPECT_EQ(map.Validate(*image.data, bank, base), 0u);
  EXPECT_EQ(map.Copy(0, image.data.get(), bank, base), 0u);
  ASSERT_EQ(map.Validate(*image.data, Message(8), base), 1u);
  EXPECT_EQ(map.Copy(1, image.data.get(), Message(8), base), 2u);
  EXPECT_EQ(image.data->body[33], 0xF0);
  image.data->synth->driverId = 1001;
  EXPECT_EQ(map.Validate(*image.data, Message(8), base), BufferDescriptor::kNoMatch);
  base.value = 0xFFFFFFFF;
  EXPECT_EQ(map.Copy(1, image.data.get(), Message(8), base), 0u) << "4 GiB and one is not the first byte";
}

TEST(SysExMap, TextsOfOneMakerAreBroughtToTheirLength) {
  Bytes message = Message(13);
  message[1] = 7;
  message.back() = 0x20;
  for (const char c : std::string("ABC")) message.push_back(static_cast<std::uint8_t>(c));
  message.insert(message.end(), {0, 0x55, 0xF7});
  const auto padded = PadSysExText(message);
  ASSERT_TRUE(padded);
  EXPECT_EQ(std::string(padded->begin() + 13, padded->end()), "ABC" + std::string(13, ' ') + std::string("\0U\xF7", 3));
  Image image(64);
  EXPECT_EQ(image.Take(AnyMessage(), message), 32u);
  Bytes longText(message.begin(), message.begin() + 13);
  longText.insert(longText.end(), 16, 'x');
  longText.insert(longText.end(), {0, 0xF7});
  EXPECT_EQ(Image(64).Take(AnyMessage(), longText), 31u);
  longText.insert(longText.begin() + 13, 'x');
  EXPECT_EQ(Image(64).Take(AnyMessage(), longText), 0u) << "17 characters";
  std::replace(message.begin() + 1, message.end(), std::uint8_t{0}, std::uint8_t{1});
  EXPECT_EQ(Image(64).Take(AnyMessage(), message), 0u) << "no end";
}

TEST(SysExMap, RolandAddresses) {
  const RolandSysXDescriptor d{0x100, 10, 20, 3, 0x14};
  const auto message = [](std::uint32_t address, std::size_t count) {
    Bytes bytes = {0xF0, 0x41, 0x00, 0x14, 0x12};
    for (const int shift : {14, 7, 0}) bytes.push_back(static_cast<std::uint8_t>(address >> shift & 0x7F));
    for (std::size_t i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(0x30 + i));
    bytes.insert(bytes.end(), {0x00, 0xF7});
    return bytes;
  };
  EXPECT_FALSE(d.Validate(message(0xFF, 5)));
  EXPECT_TRUE(d.Validate(message(0x100, 5)));
  EXPECT_FALSE(d.Validate(message(0x100, 4))) << "single parameters are too short";
  EXPECT_FALSE(d.Validate(message(0x114, 5)));
  EXPECT_FALSE(d.Validate({}));
  for (const std::size_t at : {1u, 3u, 4u}) {
    Bytes other = message(0x100, 5);
    ++other[at];
    EXPECT_FALSE(d.Validate(other)) << at;
  }
  EXPECT_EQ(Image(64).Take(d, message(0x113, 6)), 1u);
  Image image(64);
  EXPECT_EQ(image.Take(d, message(0x102, 5)), 5u);
  EXPECT_EQ(HexText({image.data->body + 11, 7}), "00 30 31 32 33 34 00");
  EXPECT_EQ(Image(64).Take(RolandSysXDescriptor{0x100, 60, 0xFFFFFFFF, 3, 0x14}, message(0x100, 9)), 4u);
  EXPECT_FALSE((RolandSysXDescriptor{0, 0, 99, 0, 0x14}.Validate(message(0, 5))));
  EXPECT_FALSE((RolandSysXDescriptor{0, 0, 99, 5, 0x14}.Validate(message(0, 5))));
}

namespace {

class MapFolder : public FilesTest {
 protected:
  MapFolder() {
    const ModuleSource source = {
        {"module.ini", "[Module]\nName = Maps\nDriverBase = 70\nTypes = one two\nmanufacturerId = 0x3E\n"},
        {"one.descriptor", "typeName = One\nfileSize = 12\ndumpRequest = F0 3E F7\nmessage = F0 3E 1? 01\n"},
        {"two.descriptor",
         "typeName = Two\nfileSize = 12\ndumpRequest = F0 3E F7\nmap = none\nmessage = F0 3E 1? 02\n"}};
    ModuleImage image;
    InstallReport report;
    EXPECT_TRUE(BuildModule(source, &image).ok());
    EXPECT_TRUE(InstallPackageFiles(image.files, root_, &report).ok());
    studio_ = std::make_unique<ZKStudioDoc>(StudioPaths{root_, root_, root_, {}}, prompts_);
    EXPECT_EQ(studio_->LoadStudio(), 1);
  }
  ZKDrvList& driver(int id) { return *studio_->GetDriverWithID(id); }

  ScriptedPrompts prompts_{{}};
  std::unique_ptr<ZKStudioDoc> studio_;
};

constexpr char kIni[] =
    "[ID Descriptor 70]\nCount=2\nType=0\n"
    "[ID Descriptor 70 - Msg 0]\nSize=163\nisVariable=1\nCopyBytes=-2\nSrcOffset=6\nDstOffset=0x10\nUseBase=1\n"
    "SetBase=1\nNewBaseVal=128\nCount=2\nOfs0=0\nVal0=240\nOfs1=-3\nVal1=255\n"
    "[ID Descriptor 70 - Msg 1]\nSize=7\nCount=0\n";

}  // namespace

TEST_F(MapFolder, TheTextFormBecomesTheMapFile) {
  ASSERT_TRUE(driver(70).SysExMap());
  std::filesystem::remove(Path("Maps/SysXMap.ID70.bin"));
  EXPECT_FALSE(CreateBinDescriptor(studio_->paths(), driver(70)));
  Write("Maps/SysX Descriptors/ID70.ini", kIni);
  EXPECT_FALSE(CreateRolandAddressBinDescriptor(studio_->paths(), driver(70)));
  const auto map = CreateBinDescriptor(studio_->paths(), driver(70));
  ASSERT_TRUE(map);
  EXPECT_EQ(std::get<StdSysXDescriptor>(map->descriptors.at(0)),
            (StdSysXDescriptor{163, -2, 6, 16, 1, {{0, 0xF0}, {-3, 255}}, 1, 1, 128}));
  const auto saved = BufferDescriptor::LoadBin(studio_->paths(), driver(70));
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->descriptors, map->descriptors);

  Write("Maps/SysX Descriptors/ID71.ini",
        "[ID Descriptor 71]\nCount=1\nType=1\n[ID Descriptor 71 - Msg 0]\nRolandBaseAddress=0x8000\nRolandOffset=4\n"
        "RolandSize=448\nRolandAddressBytes=3\nRolandInstrumentID=0x14\n");
  const auto roland = CreateRolandAddressIniDescriptor(studio_->paths(), driver(71));
  ASSERT_TRUE(roland);
  EXPECT_EQ(std::get<RolandSysXDescriptor>(roland->descriptors.at(0)), (RolandSysXDescriptor{0x8000, 4, 448, 3, 0x14}));
  EXPECT_FALSE(CreateIniDescriptor(studio_->paths(), driver(71)));
}

TEST_F(MapFolder, WrongTextFormsAreRefused) {
  const std::vector<std::pair<const char*, const char*>> changes = {{"Count=2\nType", "Count=3\nType"},
                                                                    {"Count=2\nType", "Count=1000000\nType"},
                                                                    {"Count=2\nType", "Count=-1\nType"},
                                                                    {"Count=2\nOfs0", "Count=2000000000\nOfs0"},
                                                                    {"Val0=240", "Val0=256"},
                                                                    {"Size=163", "Size=many"},
                                                                    {"Descriptor 70]", "Descriptor 71]"}};
  BufferDescriptor map = TwoDescriptors();
  for (const auto& [from, to] : changes) {
    std::string text = kIni;
    text.replace(text.find(from), std::string(from).size(), to);
    Write("Maps/try.ini", text);
    EXPECT_FALSE(map.LoadIni(Path("Maps/try.ini"), 70).ok()) << to;
    EXPECT_EQ(map.descriptors.size(), 2u) << "what was there stays";
  }
  std::string other = kIni;
  other.replace(other.find("Type=0"), 6, "Type=2");
  Write("Maps/try.ini", other);
  EXPECT_TRUE(map.LoadIni(Path("Maps/try.ini"), 70).ok());
  EXPECT_TRUE(map.descriptors.empty()) << "an unknown kind loads nothing";
}

TEST_F(MapFolder, TheCheckNamesDriversWithoutAMap) {
  EXPECT_EQ(studio_->OnDriversMissingDescriptor(), "");
  Write("Maps/SysXMap.ID70.bin", std::string("FORM\0\0\0\x10SYSXDESC\0\0\0\4\0\0\0\0", 24));
  EXPECT_EQ(studio_->OnDriversMissingDescriptor(),
            "ID70: Maps (One) Maps.ini -> SysXMap.ID70.bin file exists but no entries\r\n");
  std::filesystem::remove(Path("Maps/SysXMap.ID70.bin"));
  EXPECT_EQ(studio_->OnDriversMissingDescriptor(), "ID70: Maps (One) Maps.ini -> no SysXMap.ID70.bin file.\r\n");
}

TEST_F(MapFolder, TheBaseGoesWithItsInstrument) {
  studio_->list().sysExBase() = {5, 70};
  ASSERT_TRUE(studio_->AddDrivers("Maps.ini"));
  EXPECT_EQ(studio_->list().sysExBase().value, 5u);
  studio_->DeleteInstrument(studio_->GetInstrument(0));
  EXPECT_EQ(studio_->list().sysExBase().driverId, kNoDriver);
}

TEST(ModuleMaps, LinesByHand) {
  Synth synth{};
  synth.fileSize = 100;
  SysXDescriptor d;
  std::string error;
  ASSERT_TRUE(ParseMapLine("F0 43 0? | length any | from 6 | copy -8 | at 4 | base | setbase 9", synth, &d, &error));
  EXPECT_EQ(std::get<StdSysXDescriptor>(d),
            (StdSysXDescriptor{0, -8, 6, 4, 1, {{0, 0xF0}, {1, 0x43}, {2, 255}}, 1, 1, 9}));
  ASSERT_TRUE(ParseMapLine("roland 02 00 00 | model 0x14 | size 448 | at 6", synth, &d, &error));
  EXPECT_EQ(std::get<RolandSysXDescriptor>(d), (RolandSysXDescriptor{0x8000, 6, 448, 3, 0x14}));
  for (const char* wrong :
       {"", "F0 4", "F0 43 | length 1", "F0 43 | length", "F0 43 | copy x", "F0 43 | what 1",
        "roland 02 00 00 | size 4", "roland F0 | model 1 | size 4", "roland 02 | model 300 | size 4"}) {
    EXPECT_FALSE(ParseMapLine(wrong, synth, &d, &error)) << wrong;
    EXPECT_FALSE(error.empty()) << wrong;
  }
}

TEST(ModuleMaps, WhatRulesSay) {
  struct Case {
    const char* what;
    std::uint32_t voices;
    std::vector<std::pair<std::string, std::string>> entries;
    std::vector<SysXDescriptor> map;
  };
  const auto exact = [](std::uint32_t size, std::vector<SysXPair> pairs) {
    StdSysXDescriptor d;
    d.size = size;
    d.pairs = std::move(pairs);
    return d;
  };
  StdSysXDescriptor tail = exact(10, {{0, 0xF0}, {1, 0x44}, {9, 0xF7}});
  tail.copyBytes = 6;
  tail.sourceOffset = 3;
  tail.destinationOffset = 20;
  StdSysXDescriptor slot0 = exact(16, {{0, 0xF0}, {1, 0x43}, {15, 0xF7}, {2, 4}}), slot1 = slot0;
  slot1.pairs.back().value = 5;
  slot1.destinationOffset = 16;
  StdSysXDescriptor chosen = slot0, select;
  chosen.useBase = 1;
  select.variable = 1;
  select.copyBytes = -0x1000000;
  select.setBase = 1;
  select.pairs = {{0, 0xF0}, {1, 0x43}, {2, 0x0A}, {3, 1}};
  StdSysXDescriptor framed =
      exact(15, {{0, 0xF0}, {1, 0x41}, {2, 255}, {3, 0x14}, {4, 0x12}, {14, 0xF7}, {5, 1}, {6, 0}, {7, 2}});
  framed.destinationOffset = 8;
  const std::vector<Case> cases = {
      {"messages in a row",
       1,
       {{"message", "F0 43 0? | length 20"}, {"message", "F0 44 | length 10 | skip 3 | take 6"}},
       {exact(20, {{0, 0xF0}, {1, 0x43}, {2, 255}, {19, 0xF7}}), tail}},
      {"any length", 1, {{"message", "F0 43 | length any"}}, {}},
      {"messages nobody can tell apart", 1, {{"message", "F0 43 | length 16"}, {"message", "F0 43 | length 16"}}, {}},
      {"slots", 2, {{"message", "F0 43"}, {"slots", "2 4 2"}}, {slot0, slot1}},
      {"slots of a chosen bank",
       2,
       {{"message", "F0 43"}, {"slots", "2 4 1"}, {"context", "F0 43 0A | 01"}},
       {select, chosen}},
      {"neighbours become one range",
       2,
       {{"address", "F0 41 ?? 14 ?2 | 3"}, {"area", "02 00 00 | step 10 | slots 2"}, {"block", "00 00 00 | size 16"}},
       {RolandSysXDescriptor{0x8000, 0, 32, 3, 0x14}}},
      {"gaps stay gaps",
       2,
       {{"address", "F0 41 ?? 14 12 | 3"}, {"area", "02 00 00 | step 20 | slots 2"}, {"block", "00 00 00 | size 16"}},
       {RolandSysXDescriptor{0x8000, 0, 16, 3, 0x14}, RolandSysXDescriptor{0x8020, 16, 16, 3, 0x14}}},
      {"whole messages",
       1,
       {{"address", "F0 41 ?? 14 12 | 3"}, {"area", "01 00 00"}, {"block", "00 00 02 | size 5 | at 8 | framed"}},
       {framed}},
  };
  for (const Case& c : cases) {
    Synth synth{};
    synth.fileSize = 32;
    synth.numVoices = c.voices;
    synth.voiceSize = 32 / c.voices;
    RecognizeRule rule;
    const Result result = ParseRecognizeRule(c.entries, synth, &rule);
    ASSERT_TRUE(result.ok()) << c.what << result.text;
    EXPECT_EQ(MapOfRules(synth, {rule}, {}), c.map) << c.what;
  }
}

}  // namespace tonalith
