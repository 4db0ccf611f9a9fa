#include "tools/sysex_words.h"

#include <cstdio>

#include "data/checksums.h"
#include "platform/text.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

constexpr std::size_t kLongestLookedAt = 512 * 1024;  // longer messages are no patches and take too long to look at

struct UniversalName {
  std::uint8_t realTime;  // 0x7E or 0x7F
  std::uint8_t first;
  int second;  // -1: any
  const char* name;
};
constexpr UniversalName kUniversalNames[] = {
    {0x7E, 0x01, -1, "Sample Dump Header"},
    {0x7E, 0x02, -1, "Sample Dump Data"},
    {0x7E, 0x03, -1, "Sample Dump Request"},
    {0x7E, 0x04, -1, "MIDI Time Code Setup"},
    {0x7E, 0x05, -1, "Sample Dump Extension"},
    {0x7E, 0x06, 0x01, "Identity Request"},
    {0x7E, 0x06, 0x02, "Identity Reply"},
    {0x7E, 0x07, -1, "File Dump"},
    {0x7E, 0x08, -1, "Tuning"},
    {0x7E, 0x09, 0x01, "General MIDI On"},
    {0x7E, 0x09, 0x02, "General MIDI Off"},
    {0x7E, 0x09, 0x03, "General MIDI 2 On"},
    {0x7E, 0x7B, -1, "End of File"},
    {0x7E, 0x7C, -1, "Wait"},
    {0x7E, 0x7D, -1, "Cancel"},
    {0x7E, 0x7E, -1, "Not Acknowledged"},
    {0x7E, 0x7F, -1, "Acknowledged"},
    {0x7F, 0x01, -1, "MIDI Time Code"},
    {0x7F, 0x04, 0x01, "Master Volume"},
    {0x7F, 0x04, 0x02, "Master Balance"},
    {0x7F, 0x04, 0x03, "Master Fine Tuning"},
    {0x7F, 0x04, 0x04, "Master Coarse Tuning"},
    {0x7F, 0x06, -1, "MIDI Machine Control"},
    {0x7F, 0x07, -1, "MIDI Machine Control Response"},
    {0x7F, 0x08, -1, "Tuning Change"},
};

std::string IdentityWords(std::span<const std::uint8_t> m) {
  const std::size_t idSize = m.size() > 5 && m[5] == 0 ? 3 : 1;
  const std::size_t data = 5 + idSize;
  if (m.size() < data + 8) return {};
  char text[96];
  char id[12];
  if (idSize == 3)
    std::snprintf(id, sizeof id, "%2.2X %2.2X %2.2X", m[5], m[6], m[7]);
  else
    std::snprintf(id, sizeof id, "%2.2X", m[5]);
  std::snprintf(text, sizeof text, ": maker %s, family %2.2X %2.2X, member %2.2X %2.2X, version %d.%d.%d.%d", id,
                m[data], m[data + 1], m[data + 2], m[data + 3], m[data + 4], m[data + 5], m[data + 6], m[data + 7]);
  return text;
}

}  // namespace

std::string UniversalSysExWords(std::span<const std::uint8_t> m) {
  if (m.size() < 5 || m[0] != 0xF0 || (m[1] != 0x7E && m[1] != 0x7F)) return {};
  for (const UniversalName& row : kUniversalNames) {
    if (row.realTime != m[1] || row.first != m[3] || (row.second >= 0 && row.second != m[4])) continue;
    std::string words = row.name;
    if (row.first == 0x06 && row.second == 0x02) words += IdentityWords(m);
    return words;
  }
  return "Universal SysEx";
}

SysExWords::SysExWords(const ZKStudioDoc* studio) : studio_(studio) {}
SysExWords::~SysExWords() = default;

void SysExWords::StudioChanged() {
  recognizer_.reset();
}

std::string SysExWords::Words(std::span<const std::uint8_t> message) {
  if (const std::string universal = UniversalSysExWords(message); !universal.empty()) return universal;
  return studio_ && message.size() <= kLongestLookedAt ? InstrumentWords(message) : std::string();
}

std::string SysExWords::InstrumentWords(std::span<const std::uint8_t> message) {
  if (!recognizer_) recognizer_ = std::make_unique<Recognizer>(*studio_);
  Recognition found;
  if (!recognizer_->Recognize(message, &found).ok() || found.pieces.empty()) return {};
  const RecognizedPiece& piece = found.pieces.front();
  std::string words = piece.instrument + " " + piece.dataType;
  const Synth& synth = *piece.data->synth;
  if (!synth.isBank) {
    const auto patches = recognizer_->Patches(*piece.data);
    if (patches.size() == 1) {
      if (!patches[0].number.empty()) words += " " + patches[0].number;
      if (!patches[0].name.empty()) words += " \"" + Latin1ToUtf8(patches[0].name) + "\"";
    }
  }
  if (piece.checksum != ChecksumVerdict::kNone)
    words += std::string(", checksum ") + ChecksumVerdictText(piece.checksum);
  return words;
}

}  // namespace tonalith
