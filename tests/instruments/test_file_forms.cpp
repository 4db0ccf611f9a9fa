// What an export writes is the form that the module declares: the same type takes it, and gives the same data.

#include <algorithm>
#include <set>

#include "script/render_transmission.h"
#include "studio/file_form.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

// New data of a type with nothing missing; of data that is kept as it comes, the shortest that may come.
DataFilePtr Full(const ZKDrvList& driver) {
  DataFilePtr data = InstalledModules::Instance().studio().GetNewDataFile(&driver);
  data->xtra->hasNoSysEx = 0;
  if (data->emptyMap) std::fill_n(data->emptyMap, data->emptyMapSize, std::uint8_t{0});
  const auto forms = InstalledModules::Instance().recognizer().FormsOf(data->synth->driverId);
  if (data->body[0] == 0xF0 || forms.empty() || forms[0].byAddress() || forms[0].messages[0].length) return data;
  const MessageRule& message = forms[0].messages[0];
  std::vector<std::uint8_t> bytes = message.pattern.value;
  bytes.resize(std::max<std::uint32_t>(message.least, 64));
  bytes.back() = 0xF7;
  Recognition found;
  EXPECT_TRUE(InstalledModules::Instance().recognizer().Recognize(bytes, &found).ok());
  return found.pieces.empty() ? std::move(data) : std::move(found.pieces[0].data);
}

std::vector<std::uint8_t> Joined(const FormMessages& messages) {
  std::vector<std::uint8_t> file;
  for (const auto& message : messages) file.insert(file.end(), message.begin(), message.end());
  return file;
}

// The type itself, or one of the same instrument that looks alike in a file.
bool IsOf(const RecognizedPiece& piece, const ZKDrvList& driver) {
  return piece.driverId == driver.synth()->driverId || piece.instrument == driver.instrument->name;
}

}  // namespace

TEST(FileForms, EveryTypeIsWrittenAndReadAgain) {
  Recognizer& recognizer = InstalledModules::Instance().recognizer();
  std::size_t types = 0;
  std::set<std::string> byScript, twins;
  for (const auto& instrument : InstalledModules::Instance().studio().instruments()) {
    for (const auto& driver : instrument->drivers) {
      SCOPED_TRACE(instrument->name + " " + driver->TypeName());
      for (const int device : {0, 3}) {
        const DataFilePtr data = Full(*driver);
        data->synth->sysExChannel = static_cast<std::uint8_t>(
            std::clamp<int>(device, data->synth->sysExChannelMin, data->synth->sysExChannelMax));
        FormMessages messages = MessagesOfFile(recognizer, *data);
        const bool isDeclared = !messages.empty();
        if (!isDeclared) {
          ScriptedPrompts prompts{{}};
          messages = {RenderTransmission(*data, prompts).stream};
          byScript.insert(instrument->name);
        }
        for (const auto& message : messages) {
          ASSERT_GE(message.size(), 2u);
          EXPECT_TRUE(message.front() == 0xF0 && message.back() == 0xF7);
          // By address: a command that the instrument takes.
          const bool byAddress = instrument->name == "Roland D-50" || instrument->name == "Roland D-110";
          EXPECT_TRUE(!isDeclared || !byAddress || message[4] == 0x12);
          EXPECT_TRUE(!isDeclared ||
                      std::all_of(message.begin() + 1, message.end() - 1, [](auto b) { return b < 0x80; }));
        }
        Recognition found;
        ASSERT_TRUE(recognizer.Recognize(Joined(messages), &found).ok());
        ASSERT_EQ(found.pieces.size(), 1u);
        DataFile& again = *found.pieces[0].data;
        EXPECT_TRUE(IsOf(found.pieces[0], *driver));
        if (found.pieces[0].driverId != data->synth->driverId) twins.insert(instrument->name);
        EXPECT_NE(found.pieces[0].checksum, ChecksumVerdict::kBad);
        // What was read is written as it was.
        EXPECT_TRUE(!isDeclared || MessagesOfFile(recognizer, again) == messages);
        ++types;
      }
    }
  }
  // Coded text, and types for two cables, which have no form of their own: what is sent one way is another type's.
  EXPECT_EQ(byScript, (std::set<std::string>{"ASM Hydrasynth", "Roland D-110", "Roland D-50"}));
  EXPECT_LE(twins.size(), 5u);
  EXPECT_GE(types, 300u);
}

}  // namespace tonalith
