#include "bank/bank_document.h"
#include "data/patch_names.h"
#include "platform/text.h"
#include "script/render_transmission.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;

// What is sent, and what it is recognised as.
struct Sent {
  std::size_t bytes = 0;
  std::string pieces;
};

Sent Send(DataFile& data) {
  ScriptedPrompts prompts{{}};
  const Bytes stream = RenderTransmission(data, prompts).stream;
  Sent sent{stream.size(), {}};
  Recognition found;
  if (!InstalledModules::Instance().recognizer().Recognize(stream, &found).ok()) return sent;
  for (const RecognizedPiece& piece : found.pieces)
    sent.pieces +=
        piece.dataType + " " + std::to_string(piece.length) + " " + ChecksumVerdictText(piece.checksum) + ";";
  return sent;
}

std::vector<std::size_t> HighBytes(const DataFile& data) {
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < data.synth->fileSize; ++i)
    if (data.body[i] >= 0x80) places.push_back(i);
  return places;
}

}  // namespace

// Whatever is typed as a name, of every kind of data that has names: it can be sent and is known again.
TEST(Names, AnyTextLeavesTheDataSendable) {
  ZKStudioDoc& studio = InstalledModules::Instance().studio();
  int kinds = 0;
  for (const auto& instrument : studio.instruments()) {
    for (const auto& driver : instrument->drivers) {
      SCOPED_TRACE(instrument->name + " " + FieldText(driver->synth()->typeName));
      ZKBankDoc plain(studio.GetNewDataFile(driver.get()));
      if (plain.NameLength() == 0) continue;
      ++kinds;
      // A slot of a new bank holds nothing until it is received.
      const auto fill = [](DataFile& data) { std::fill_n(data.emptyMap, data.emptyMapSize, std::uint8_t{0}); };
      fill(*plain.dataFile());
      ASSERT_TRUE(plain.Rename(0, "ABC").ok());
      const Sent expected = Send(*plain.dataFile());
      for (const char* text : {"Fl\u00FCgel\u00C4", "Fu\u00DF", "a\x7F", "\u00FF\u00FFx", "\xFF", "\u0141\u20AC",
                               "A name that is far too long for any instrument \u00FC"}) {
        SCOPED_TRACE(text);
        ZKBankDoc bank(studio.GetNewDataFile(driver.get()));
        DataFile& data = *bank.dataFile();
        fill(data);
        const auto high = HighBytes(data);
        const RenameResult renamed = bank.Rename(0, text);
        ASSERT_TRUE(renamed.ok()) << renamed.text;
        const std::string shown = renamed.fit.name.substr(0, renamed.fit.name.find_last_not_of(' ') + 1);
        EXPECT_EQ(bank.GetPatchName(0), shown);
        EXPECT_EQ(renamed.fit.Sentence().empty(), Latin1ToUtf8(renamed.fit.name) == text);
        const Sent sent = Send(data);
        EXPECT_EQ(sent.bytes, expected.bytes);
        EXPECT_EQ(sent.pieces, expected.pieces);
        EXPECT_EQ(HighBytes(data), high);
      }
    }
  }
  EXPECT_GE(kinds, 28);
}

}  // namespace tonalith
