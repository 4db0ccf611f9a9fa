#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "midi/sysex_assembler.h"
#include "midi_rig.h"

namespace tonalith {
namespace {

// Writes what the assembler reports as text: "S 90 3C 40 | X F0 01 F7 | B F0 01 | ..." (X complete, B broken off).
class Scribe final : public SysExAssembler::Listener {
 public:
  std::string text;
  void Short(std::span<const std::uint8_t> m) override { Note('S', m); }
  void SysExBegin() override { message_.clear(); }
  void SysExBytes(std::span<const std::uint8_t> b) override { message_.insert(message_.end(), b.begin(), b.end()); }
  void SysExEnd(bool complete) override { Note(complete ? 'X' : 'B', message_); }
  void Stray(std::span<const std::uint8_t> b) override { Note('D', b); }

 private:
  void Note(char kind, std::span<const std::uint8_t> bytes) {
    if (!text.empty()) text += " | ";
    text += kind;
    char hex[4];
    for (const auto byte : bytes) {
      std::snprintf(hex, sizeof hex, " %02X", static_cast<unsigned>(byte));
      text += hex;
    }
  }
  MidiBytes message_;
};

struct AssemblerCase {
  const char* pieces;  // separated by '/'
  const char* found;
};

TEST(SysExAssembler, KnowsWhatIsStillToCome) {
  Scribe scribe;
  SysExAssembler assembler;
  assembler.Feed(MidiBytes{0x90, 0x3C, 0x40, 0x90, 0x3C}, scribe);
  EXPECT_EQ(assembler.pending(), 2u);
  assembler.Feed(MidiBytes{0x40}, scribe);
  EXPECT_EQ(assembler.pending(), 0u);
}

TEST(SysExAssembler, FindsTheMessagesInWhatArrives) {
  const AssemblerCase cases[] = {
      {"F0 43 00/01 02 F7", "X F0 43 00 01 02 F7"},
      {"F0/F7", "X F0 F7"},
      {"F0 43 F8 00 FE/F8/01 F7", "S F8 | S FE | S F8 | X F0 43 00 01 F7"},
      {"90 3C 40 C0 05 F6 F2 01 02", "S 90 3C 40 | S C0 05 | S F6 | S F2 01 02"},
      {"90/3C/F8/40", "S F8 | S 90 3C 40"},
      {"F0 43 01 02/90 3C 40", "B F0 43 01 02 | S 90 3C 40"},
      {"F0 43 01 90 02 F7", "X F0 43 01 90 02 F7"},
      {"F0 43 01/90 02 05 06 F7", "X F0 43 01 90 02 05 06 F7"},
      {"F0 43 01 F0 43 02 F7", "B F0 43 01 | X F0 43 02 F7"},
      {"F0 07 01 02 F0 03 F7/F0 01 F7", "X F0 07 01 02 F7 | X F0 01 F7"},
      {"F0 07 01 F7 F0 07 02 F7", "X F0 07 01 F7 | X F0 07 02 F7"},
      {"01 02 03 F7 90 3C 40", "D 01 02 03 F7 | S 90 3C 40"},
  };
  for (const AssemblerCase& c : cases) {
    SysExAssembler assembler;
    Scribe scribe;
    std::string piece;
    for (const char* at = c.pieces;; ++at) {
      if (*at && *at != '/') {
        piece += *at;
        continue;
      }
      assembler.Feed(FromHex(piece), scribe);
      piece.clear();
      if (!*at) break;
    }
    EXPECT_EQ(scribe.text, c.found) << c.pieces;
  }
}

}  // namespace
}  // namespace tonalith
