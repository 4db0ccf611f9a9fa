// Which data type takes data, above all data that is not its own; and what becomes of many pieces.

#include <algorithm>
#include <numeric>
#include <set>

#include "data/checksums.h"
#include "data/hex_text.h"
#include "data/packed_bytes.h"
#include "data/patch_names.h"
#include "data/sysex_split.h"
#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/text.h"
#include "script/render_transmission.h"
#include "studio/gather_patches.h"
#include "studio/type_forms.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes Sent(DataFile& data) {
  ScriptedPrompts prompts{{}};
  return RenderTransmission(data, prompts).stream;
}

// What a file of new data holds.
Bytes DumpOf(const ZKDrvList& driver) {
  const DataFilePtr data = InstalledModules::Instance().studio().GetNewDataFile(&driver);
  data->xtra->hasNoSysEx = 0;
  if (data->emptyMap) std::fill_n(data->emptyMap, data->emptyMapSize, std::uint8_t{0});
  return Sent(*data);
}

FoundFile FindIn(const Bytes& file) {
  FoundFile found;
  InstalledModules::Instance().recognizer().Find(file, &found);
  return found;
}

bool Takes(const Bytes& file, const ZKDrvList& driver) {
  const FoundFile found = FindIn(file);
  return std::any_of(found.pieces.begin(), found.pieces.end(),
                     [&](const FoundPiece& piece) { return piece.type->driver == &driver; });
}

// Every message with another byte at a place.
Bytes WithByte(Bytes file, std::size_t place, std::uint8_t value) {
  for (const SysExPiece& piece : SplitSysEx(Bytes(file)))
    if (piece.bytes.size() > place + 1) file[piece.offset + place] = value;
  return file;
}

}  // namespace

// New data of every type is taken by its type; from another maker or of another model by nobody, whatever its size.
TEST(Opening, DataOfOtherMakersAndModelsIsNotTakenByItsSize) {
  constexpr std::uint8_t kNobody = 0x7C;
  std::size_t types = 0;
  for (const auto& instrument : InstalledModules::Instance().studio().instruments()) {
    for (const auto& driver : instrument->drivers) {
      SCOPED_TRACE(instrument->name + " " + driver->TypeName());
      const Bytes dump = DumpOf(*driver);
      if (!Takes(dump, *driver)) continue;  // not sent in the form of a file
      ++types;
      const std::size_t makerEnd = dump[1] == 0 ? 3 : 1;
      EXPECT_EQ(FindIn(WithByte(dump, makerEnd, kNobody)).pieces.size(), 0u);
      bool model = false;
      for (std::size_t place = makerEnd + 1; place <= makerEnd + 4 && !model; ++place)
        model = !Takes(WithByte(dump, place, kNobody), *driver);
      EXPECT_TRUE(model) << "only the maker is looked at";
    }
  }
  EXPECT_GE(types, 120u);
}

// Every real file is taken by instruments of its own index entry only, or by nobody.
TEST(Opening, RealFilesAreTakenByTheirOwnInstrumentOrNobody) {
  const std::filesystem::path folder = RealDumps();
  if (folder.empty()) GTEST_SKIP() << "no folder of real dumps (TONALITH_SYSEX_DIR)";
  // Data in a file that belongs to a sister model.
  const std::set<std::pair<std::string, std::string>> sisters = {
      {"yamaha-dx7ii", "yamaha-dx7"}, {"korg-microkorg", "korg-ms2000-microkorg"}, {"yamaha-tg33", "yamaha-sy22-tg33"}};
  std::string index;
  ASSERT_TRUE(ReadWholeFile((folder / "INDEX.tsv").string(), index).ok());
  std::size_t files = 0, taken = 0;
  for (const std::string& line : SplitText(index, '\n')) {
    const std::vector<std::string> fields = SplitText(line, '\t');
    if (fields.size() < 2 || fields[0] == "path") continue;
    SCOPED_TRACE(fields[0]);
    Bytes bytes;
    ASSERT_TRUE(ReadWholeFile((folder / fields[0]).string(), bytes).ok());
    const FoundFile found = FindIn(bytes);
    for (const FoundPiece& piece : found.pieces) {
      const std::string key = InstalledModules::Instance().keys().at(piece.type->instrument);
      EXPECT_TRUE(key.rfind(fields[1], 0) == 0 || sisters.count({fields[1], key}))
          << piece.type->instrument << " " << piece.type->dataType;
    }
    ++files;
    taken += found.pieces.empty() ? 0 : 1;
  }
  EXPECT_GE(files, 140u);
  EXPECT_GE(taken, 40u);
}

// ---- types without rules --------------------------------------------------------------------------------------------

// What is taken by a type whose module does not say how it looks.
TEST(Opening, TypesWithoutRulesLookAtMakerHeadAndSize) {
  struct Case {
    const char* what;
    const char* image;    // how new data begins; empty: with zeros
    const char* request;  // of the type
    std::uint8_t maker;
    const char* message;  // its beginning; 40 bytes with the F7
    bool taken;
  };
  const Case cases[] = {
      {"as new data", "F0 3E 13 00 10", "", 0x3E, "F0 3E 13 00 10", true},
      {"another channel", "F0 3E 13 00 10", "", 0x3E, "F0 3E 13 05 10", true},
      {"another model", "F0 3E 13 00 10", "", 0x3E, "F0 3E 14 00 10", false},
      {"another kind of data", "F0 3E 13 00 10", "", 0x3E, "F0 3E 13 00 11", false},
      {"another maker", "F0 3E 13 00 10", "", 0x3E, "F0 3F 13 00 10", false},
      {"a long maker", "F0 00 20 29 01", "", 0x00, "F0 00 20 29 01", true},
      {"another long maker", "F0 00 20 29 01", "", 0x00, "F0 00 20 2A 01", false},
      {"as requested", "", "F0 40 00 00 00 04 F7", 0x40, "F0 40 00 20 00 04", true},
      {"another model than requested", "", "F0 40 00 00 00 04 F7", 0x40, "F0 40 00 20 00 03", false},
      {"another maker than requested", "", "F0 40 00 00 00 04 F7", 0x40, "F0 41 00 20 00 04", false},
      {"maker and size alone", "", "", 0x40, "F0 40 00 20 00 04", false},
      {"a request that says nothing but the maker", "", "F0 40 05 F7", 0x40, "F0 40 05 01 02", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Synth synth{};
    synth.fileSize = 40;
    synth.headerSize = 5;
    synth.numVoices = 1;
    synth.manufacturerId = c.maker;
    synth.hasSysExChannel = 1;
    synth.sysExChannelOffset = c.maker ? 3 : 30;
    const Bytes request = *ParseHex(c.request);
    std::copy(request.begin(), request.end(), synth.dumpRequest);
    synth.dumpRequestSize = static_cast<std::uint8_t>(request.size());
    Bytes image = *ParseHex(c.image), message = *ParseHex(c.message);
    image.resize(40);
    message.resize(40);
    message.back() = 0xF7;
    bool taken = false, longer = false;
    for (const RecognizeRule& form : FormsOfAnswer(synth, image)) {
      const MessageRule& rule = form.messages.front();
      taken = taken || (rule.length == message.size() && rule.pattern.Matches(message));
      longer = longer || rule.length != message.size();
    }
    EXPECT_EQ(taken, c.taken);
    EXPECT_FALSE(longer) << "another size would be taken";
  }
}

// The bytes of a patch, and of a voice of a bank.
std::vector<std::int64_t> ValuesOf(const DataFile& data, std::uint32_t voice) {
  const Synth& synth = *data.synth;
  const ConstImageView view({data.body, data.bodySize}, synth);
  const std::int64_t slot = std::int64_t{synth.voiceOffset} + std::int64_t{synth.voiceSize} * voice;
  const std::int64_t base = synth.storageFormat == 2 ? slot : BankRealOfs(&synth, slot);
  std::vector<std::int64_t> values;
  for (std::uint32_t i = 0; i < synth.voiceBytes; ++i) values.push_back(view.BankGet(synth.headerSize, base, i));
  return values;
}

std::size_t Alike(const std::vector<std::int64_t>& a, const std::vector<std::int64_t>& b) {
  return static_cast<std::size_t>(
      std::inner_product(a.begin(), a.end(), b.begin(), std::int64_t{0}, std::plus<>(), std::equal_to<>()));
}

// ---- many pieces ----------------------------------------------------------------------------------------------------

// Single patches go into banks of their type: nothing is lost, in the order of the file.
TEST(Opening, ManySinglePatchesBecomeBanks) {
  InstalledModules& modules = InstalledModules::Instance();
  const Recognizer& recognizer = modules.recognizer();
  std::size_t types = 0;
  for (const auto& instrument : modules.studio().instruments()) {
    for (const auto& driver : instrument->drivers) {
      const ZKDrvList* bank = BankOfPatches(*driver);
      if (!bank) continue;
      SCOPED_TRACE(instrument->name + " " + driver->TypeName());
      const std::uint32_t count = bank->synth()->numVoices + 3;
      Bytes file;
      Texts names;
      for (std::uint32_t i = 0; i < count; ++i) {
        const DataFilePtr patch = modules.studio().GetNewDataFile(driver.get());
        patch->xtra->hasNoSysEx = 0;
        SetPatchName(patch.get(), 0, "P" + std::to_string(i));
        file = file + Sent(*patch);
        names.push_back(GetPatchName(*patch, 0));
      }
      FoundFile found = FindIn(file);
      // Some are sent in a way that makes a bank of them at once.
      if (found.pieces.size() != count || found.pieces.front().type->driver != driver.get()) continue;
      ++types;
      const std::vector<PieceGroup> groups = GroupPieces(found);
      ASSERT_EQ(groups.size(), 2u);
      Texts seen;
      for (const PieceGroup& group : groups) {
        ASSERT_EQ(group.bank, bank);
        const DataFilePtr data = MakeGroup(recognizer, found, group);
        ASSERT_TRUE(data);
        EXPECT_NE(recognizer.Verify(*data), ChecksumVerdict::kBad);
        for (const PatchLine& line : recognizer.Patches(*data)) seen.push_back(line.name);
        // Whole messages have their place and their checksum among the bytes.
        const std::size_t alike = instrument->name == "Roland JV-1080" ? 610 : bank->synth()->voiceBytes - 2;
        const auto last = static_cast<std::uint32_t>(group.pieces.size() - 1);
        const DataFilePtr patch = recognizer.Make(found, found.pieces[group.pieces.back()]);
        EXPECT_GE(Alike(ValuesOf(*data, last), ValuesOf(*patch, 0)), alike);
      }
      EXPECT_EQ(seen, names);
    }
  }
  EXPECT_GE(types, 25u);
}

TEST(Opening, PatchesThatAreNoBankStayAsTheyAre) {
  InstalledModules& modules = InstalledModules::Instance();
  const ZKDrvList* single = modules.studio().FindDriver("k4", "Single");
  const ZKDrvList* voice = modules.studio().FindDriver("dx7", "Voice");
  const ZKDrvList* multi = modules.studio().FindDriver("k4", "Multi");
  const Bytes good = DumpOf(*single);
  Bytes bad = good;
  bad[50] ^= 1;
  FoundFile found = FindIn(DumpOf(*multi) + good + DumpOf(*voice) + bad + good + DumpOf(*voice));
  Texts groups;
  for (const PieceGroup& group : GroupPieces(found)) {
    std::string text = group.bank ? group.bank->TypeName() + ":" : "";
    for (const std::uint32_t piece : group.pieces) text += " " + std::to_string(piece);
    groups.push_back(text);
  }
  EXPECT_EQ(groups, (Texts{" 0", "Single Bank: 1 4", " 2", " 3", " 5"}));
}

Texts LinesOf(const std::vector<PatchLine>& patches) {
  Texts lines;
  for (const PatchLine& line : patches)
    lines.push_back(std::to_string(line.slot) + " " + line.number + " " + line.name);
  return lines;
}

// The data of one piece after the other in the same memory is that of pieces made alone, and so are the patches where
// they stand.
TEST(Opening, MemoryOfAPieceIsSharedWithoutTraces) {
  InstalledModules& modules = InstalledModules::Instance();
  const Recognizer& recognizer = modules.recognizer();
  for (const auto& instrument : modules.studio().instruments()) {
    Bytes file;
    for (const auto& driver : instrument->drivers) {
      Bytes dump = DumpOf(*driver);
      file = file + dump;
      for (const std::size_t place : {15, 7}) {
        if (dump.size() > place + 5) dump[place] ^= 1;
        file = file + dump;
      }
    }
    FoundFile found = FindIn(file);
    DataFilePtr shared;
    for (const FoundPiece& piece : found.pieces) {
      SCOPED_TRACE(instrument->name + " " + piece.type->dataType);
      const DataFilePtr alone = recognizer.Make(found, piece);
      ASSERT_TRUE(recognizer.Remake(found, piece, &shared));
      EXPECT_TRUE(std::ranges::equal(BodySpan(*alone), BodySpan(*shared)));
      EXPECT_EQ(alone->synth->patchNumber, shared->synth->patchNumber);
      EXPECT_EQ(alone->synth->sysExChannel, shared->synth->sysExChannel);
      const Texts lines = LinesOf(recognizer.Patches(*alone));
      EXPECT_EQ(LinesOf(recognizer.Patches(*shared)), lines);
      std::vector<PatchLine> visited;
      EXPECT_TRUE(recognizer.VisitPatches(found, piece, [&visited](const PatchView& patch) {
        visited.push_back({patch.slot, std::string(patch.number), std::string(patch.name)});
      }));
      EXPECT_EQ(LinesOf(visited), lines);
    }
  }
}

// A list of messages has an end, and what stands behind it is counted.
TEST(Opening, MessagesAreCounted) {
  Bytes file;
  file.reserve(kMostFileMessages * 4 + 100);
  for (std::size_t i = 0; i < kMostFileMessages + 10; ++i) file.insert(file.end(), {0xF0, 0x7D, 1, 0xF7});
  const FoundFile found = FindIn(file);
  EXPECT_EQ(found.messages, kMostFileMessages);
  EXPECT_EQ(found.skippedBytes, 40u);
}

}  // namespace tonalith
