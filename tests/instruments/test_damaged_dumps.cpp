#include <algorithm>

#include "data/sysex_split.h"
#include "platform/byte_window.h"
#include "script/render_transmission.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

struct ModuleDumps : ::testing::TestWithParam<std::string> {
  InstalledModules& modules = InstalledModules::Instance();

  Recognition Read(const Bytes& file) {
    Recognition found;
    modules.recognizer().Recognize(file, &found);
    return found;
  }
  // The piece of a data type; null: none.
  static const RecognizedPiece* PieceOf(const Recognition& found, int driverId) {
    const auto piece = std::find_if(found.pieces.begin(), found.pieces.end(),
                                    [&](const RecognizedPiece& p) { return p.driverId == driverId; });
    return piece == found.pieces.end() ? nullptr : &*piece;
  }
  Names NamesOf(const RecognizedPiece& piece) {
    Names names;
    for (const PatchLine& line : modules.recognizer().Patches(*piece.data))
      names.push_back(line.number + " " + line.name);
    return names;
  }
  // What a file of new data holds; three patches of a bank that can have gaps.
  Bytes DumpOf(const ZKDrvList& driver) {
    const DataFilePtr data = modules.studio().GetNewDataFile(&driver);
    if (!data || !data->xtra) return {};
    data->xtra->hasNoSysEx = 0;
    const std::uint32_t last = data->synth->numVoices - 1;
    if (data->emptyMap)
      for (std::uint32_t i = 0; i <= last; ++i)
        SetMapBit(data->emptyMap, data->emptyMapSize, i, data->synth->patchByPatch && i > 1 && i < last);
    ScriptedPrompts prompts{{}};
    return RenderTransmission(*data, prompts).stream;
  }
  void ExpectSame(const char* what, const Bytes& file, const RecognizedPiece& as);
};

std::vector<Bytes> MessagesIn(const Bytes& dump) {
  std::vector<Bytes> messages;
  SysExSplitter splitter(dump);
  for (SysExPiece piece; splitter.Next(&piece);)
    if (piece.isTerminated) messages.push_back(CleanSysEx(piece));
  return messages;
}

// A Standard MIDI File with every message in two events, as sequencers write what comes in parts.
Bytes SplitOverEvents(const Bytes& dump) {
  Bytes track;
  const auto length = [&track](std::size_t n) {
    for (int shift = 21; shift > 0; shift -= 7)
      if (n >> shift) track.push_back(static_cast<std::uint8_t>(0x80 | (n >> shift & 0x7F)));
    track.push_back(static_cast<std::uint8_t>(n & 0x7F));
  };
  for (const Bytes& message : MessagesIn(dump)) {
    const auto middle = message.begin() + static_cast<std::ptrdiff_t>(message.size() / 2);
    track.insert(track.end(), {0x00, 0xF0});
    length(message.size() / 2 - 1);
    track.insert(track.end(), message.begin() + 1, middle);
    track.insert(track.end(), {0x0A, 0xF7});
    length(message.size() - message.size() / 2);
    track.insert(track.end(), middle, message.end());
  }
  track.insert(track.end(), {0x00, 0xFF, 0x2F, 0x00});
  Bytes file = {'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 1, 0xE0, 'M', 'T', 'r', 'k', 0, 0, 0, 0};
  StoreBe32(file.data() + file.size() - 4, static_cast<std::uint32_t>(track.size()));
  file.insert(file.end(), track.begin(), track.end());
  return file;
}

}  // namespace

void ModuleDumps::ExpectSame(const char* what, const Bytes& file, const RecognizedPiece& as) {
  const Recognition found = Read(file);
  const RecognizedPiece* piece = PieceOf(found, as.driverId);
  ASSERT_TRUE(piece) << what;
  EXPECT_EQ(piece->checksum, as.checksum) << what;
  EXPECT_EQ(NamesOf(*piece), NamesOf(as)) << what;
}

// What is only in bad company is taken for what it is, what is damaged never for good: every data type of a module.
TEST_P(ModuleDumps, DamageIsSeen) {
  const auto shipped = std::find_if(modules.keys().begin(), modules.keys().end(),
                                    [](const auto& entry) { return entry.second == GetParam(); });
  ASSERT_TRUE(shipped != modules.keys().end());
  int types = 0;
  for (const auto& driver : modules.studio().FindInstrument(shipped->first)->drivers) {
    SCOPED_TRACE(driver->TypeName());
    const int id = driver->synth()->driverId;
    const Bytes dump = DumpOf(*driver);
    const Recognition good = Read(dump);
    const RecognizedPiece* piece = PieceOf(good, id);
    if (!piece) continue;  // it cannot be sent, or new data has no size yet
    ++types;
    const std::vector<Bytes> messages = MessagesIn(dump);
    const Bytes& first = messages.front().size() > 24 || messages.size() == 1 ? messages.front() : messages[1];
    const auto middle = std::search(dump.begin(), dump.end(), first.begin(), first.end()) - dump.begin() +
                        static_cast<std::ptrdiff_t>(first.size() / 2);

    Bytes junk = {0x01, 0x90, 0x3C, 0x7F};
    junk.insert(junk.end(), dump.begin(), dump.end());
    junk.insert(junk.end(), {0xC0, 0x05, 0xFE});
    ExpectSame("bytes around", junk, *piece);
    Bytes clocked = dump;
    clocked.insert(clocked.begin() + middle, {0xF8, 0xFE});
    ExpectSame("clocks inside", clocked, *piece);
    EXPECT_EQ(Read(clocked).realTimeBytes, good.realTimeBytes + 2);
    ExpectSame("parts in a MIDI file", SplitOverEvents(dump), *piece);

    const Recognition torn =
        Read(Bytes(dump.begin(), dump.begin() + static_cast<std::ptrdiff_t>(piece->offset + piece->length - 1)));
    const RecognizedPiece* left = PieceOf(torn, id);
    EXPECT_GE(torn.unterminated, good.unterminated + 1);
    EXPECT_TRUE(!left || left->checksum == ChecksumVerdict::kBad || NamesOf(*left).size() < NamesOf(*piece).size() ||
                left->length < piece->length)
        << "a torn message was taken";
    if (piece->checksum != ChecksumVerdict::kOk) continue;
    Bytes flipped = dump;
    flipped[static_cast<std::size_t>(middle)] ^= 1;
    const Recognition wrong = Read(flipped);
    const RecognizedPiece* bad = PieceOf(wrong, id);
    EXPECT_TRUE(!bad || bad->checksum == ChecksumVerdict::kBad || NamesOf(*bad).size() < NamesOf(*piece).size());
  }
  EXPECT_GE(types, 1);
}

INSTANTIATE_TEST_SUITE_P(All, ModuleDumps, ::testing::ValuesIn(ModuleFolders()), [](const auto& test) {
  std::string name = test.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace tonalith
