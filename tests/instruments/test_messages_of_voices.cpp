#include "data/checksums.h"
#include "data/hex_text.h"
#include "simulator/instrument.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

using Dump = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

Dump Joined(std::initializer_list<Dump> parts) {
  Dump all;
  for (const Dump& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// What the panel of a simulated instrument sends.
class Panel {
 public:
  explicit Panel(const char* key) : instrument_(SimulatedInstrument::Create(key, &problem_)) {
    EXPECT_TRUE(instrument_) << problem_;
  }
  Dump Sends(const char* message, int item = 0) const { return instrument_->DumpOf(message, item); }
  SimulatedInstrument& instrument() { return *instrument_; }

 private:
  std::string problem_;
  std::unique_ptr<SimulatedInstrument> instrument_;
};

// "instrument/type verdict: first name .. last name (count)" of every piece, then what is said about the rest.
Texts Found(const Dump& file) {
  Recognition found;
  Recognizer& recognizer = InstalledModules::Instance().recognizer();
  const Result result = recognizer.Recognize(file, &found);
  Texts out;
  for (const RecognizedPiece& piece : found.pieces) {
    const auto lines = recognizer.Patches(*piece.data);
    std::string text = piece.instrument + "/" + piece.dataType + " " + ChecksumVerdictText(piece.checksum) + ":";
    if (!lines.empty())
      text += " " + lines.front().number + " " + lines.front().name + " .. " + lines.back().number + " " +
              lines.back().name + " (" + std::to_string(lines.size()) + ")";
    out.push_back(text);
  }
  if (!result.ok()) out.push_back(result.text);
  for (const std::string& other : found.others)
    if (result.ok()) out.push_back(other);
  return out;
}

}  // namespace

// Four tones a message: the bank is found in any order, with what is there of it; one message alone is four tones.
TEST(MessagesOfVoices, BanksOfFourToAMessage) {
  Panel juno("roland-alphajuno-mks50");
  Dump whole, backwards, half;
  for (int first = 0; first < 64; first += 4) {
    const Dump block = juno.Sends("tone_block", first);
    whole = Joined({whole, block});
    backwards = Joined({block, backwards});
    if (first >= 32) half = Joined({half, block});
  }
  const std::string bank = "Roland Alpha Juno/Tone Bank none: 11 Soft Bell .. 88 Iron Orgn (64)";
  EXPECT_EQ(Found(whole), Texts{bank});
  EXPECT_EQ(Found(backwards), Texts{bank});
  EXPECT_EQ(Found(Joined({whole, backwards})), (Texts{bank, bank}));
  EXPECT_EQ(Found(half), Texts{"Roland Alpha Juno/Tone Bank none: 51 Iron Bell .. 88 Iron Orgn (32)"});
  EXPECT_EQ(Found(juno.Sends("tone_block", 60)).front().substr(0, 34), "Roland Alpha Juno/Tone Block none:");
  // A torn block in the middle is missed, and said to be.
  Dump torn = whole;
  torn.erase(torn.begin() + 266 * 6 - 40, torn.begin() + 266 * 6);
  EXPECT_EQ(Found(torn), Texts{"Roland Alpha Juno/Tone Bank bad: 11 Soft Bell .. 88 Iron Orgn (60)"});
}

// Voices belong to the block that was chosen last; without a choice they are those of the older instrument.
TEST(MessagesOfVoices, BlocksOfTheDx7II) {
  Panel dx("yamaha-dx7ii-tx802");
  const Dump first = dx.Sends("voices", 0), second = dx.Sends("voices", 32), one = dx.Sends("block", 0),
             two = dx.Sends("block", 1);
  const std::string firstNames = ":  1 Soft Bell .. 32 Soft Orgn (32)";
  EXPECT_EQ(Found(first), Texts{"Yamaha DX7/Voice Bank ok" + firstNames});
  EXPECT_EQ(Found(Joined({one, first, two, second})),
            (Texts{"Yamaha DX7II/Voices 1-32 ok" + firstNames,
                   "Yamaha DX7II/Voices 33-64 ok: 33 Iron Bell .. 64 Iron Orgn (32)"}));
  const Texts alone = Found(Joined({dx.Sends("additional", 0), first}));
  ASSERT_EQ(alone.size(), 2u);
  EXPECT_EQ(alone[0].substr(0, 31), "Yamaha DX7II/Additional 1-32 ok");
  EXPECT_EQ(alone[1], "Yamaha DX7/Voice Bank ok" + firstNames);
  Dump damaged = dx.Sends("fractional", 32);
  damaged[505 * 20 + 100] ^= 1;
  EXPECT_EQ(Found(Joined({two, damaged})).front().substr(0, 34), "Yamaha DX7II/Fractional 33-64 bad:");
  EXPECT_EQ(Found(Joined({dx.Sends("vced"), dx.Sends("aced"), dx.Sends("curves")})),
            Texts{"Yamaha DX7II/Voice ok:  1 Soft Bell ..  1 Soft Bell (1)"});
  EXPECT_EQ(Found(*ParseHex("F0 43 10 1B 51 7F F7")),
            Texts{"The file holds no data that could be kept, only 1 buttons of the Yamaha DX7II."});
}

// What is sent when a patch is selected gathers to a bank; movements of the controls are no data.
TEST(MessagesOfVoices, PatchesOfTheJuno106) {
  Panel juno("roland-juno106");
  const Dump a11 = juno.Sends("patch", 0), b22 = juno.Sends("patch", 73), cutoff = *ParseHex("F0 41 32 00 05 40 F7");
  EXPECT_EQ(Found(Joined({a11, cutoff, b22})),
            (Texts{"Roland Juno-106/Patch Bank none: A11  .. B22  (2)", "1 parameter changes of the Roland Juno-106"}));
  EXPECT_EQ(Found(b22), Texts{"Roland Juno-106/Patch none: B22  .. B22  (1)"});
  EXPECT_EQ(Found(cutoff),
            Texts{"The file holds no data that could be kept, only 1 parameter changes of the Roland Juno-106."});
}

// One address map, several models: every place is known, tones also when the filler behind them is sent.
TEST(MessagesOfVoices, PlacesOfTheD110) {
  Panel d110("roland-d110-mt32");
  const Dump tone = d110.Sends("tones", 3);
  ASSERT_EQ(tone.size(), 266U);
  Dump used(tone.begin(), tone.begin() + 8 + 246);
  used.push_back(RolandCheckSum(used.data() + 5, 249));
  used.push_back(0xF7);
  EXPECT_EQ(Found(tone), Texts{"Roland D-110/Tone ok: i04 Blue Bass .. i04 Blue Bass (1)"});
  EXPECT_EQ(Found(used), Found(tone));
  used[60] ^= 1;
  EXPECT_EQ(Found(used), Texts{"Roland D-110/Tone bad: i04 Blue Bass .. i04 Blue Bass (1)"});
  EXPECT_EQ(Found(Joined({d110.Sends("patches", 0), d110.Sends("patches", 127)})),
            Texts{"Roland D-110/Patches D-10 ok: A11 Soft Bell .. B88 Zinc Orgn (2)"});
  EXPECT_EQ(Found(d110.Sends("rhythm")).front().substr(0, 29), "Roland D-110/Rhythm Setup ok:");
}

}  // namespace tonalith
