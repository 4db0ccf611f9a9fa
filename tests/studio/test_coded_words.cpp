#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "data/checksums.h"
#include "data/number_format.h"
#include "data/packed_bytes.h"
#include "data/patch_names.h"
#include "data/synth_fields.h"
#include "platform/text.h"
#include "studio/coded_words.h"
#include "studio/module.h"

namespace tonalith {
namespace {

// Every code has one word, every word one code, and the tables have all codes that the program knows.
TEST(CodedWords, NameEveryCodeOnce) {
  const std::map<std::string, int> codes{{"checksumType", kChecksumTypes + 1},
                                         {"storageFormat", kStorageFormats},
                                         {"nameFormat", kNameFormats},
                                         {"numberFormat", static_cast<int>(NumberFormats().size()) + 1},
                                         {"dataKind", 31},
                                         {"bankSelectMode", 8}};
  for (const CodedTable& table : CodedTables()) {
    SCOPED_TRACE(table.key);
    const auto count = codes.find(table.key);
    EXPECT_TRUE(count == codes.end() || count->second == static_cast<int>(table.words.size()));
    for (const CodedWord& entry : table.words) {
      EXPECT_EQ(FindCodedWord(table, entry.word), &entry) << entry.word;
      EXPECT_EQ(FindCodedWord(table, entry.code), &entry) << entry.code;
      EXPECT_EQ(CodedProblem(table.key, entry.code), "");
      EXPECT_TRUE(*entry.meaning) << entry.word;
    }
  }
  for (int number : NumberFormats()) EXPECT_EQ(CodedProblem("numberFormat", number), "");
  std::set<std::string> flags;
  for (const FlagWord& flag : FlagWords()) {
    EXPECT_TRUE(FindSynthField(flag.field)) << flag.field;
    EXPECT_TRUE(flags.insert(flag.word).second) << flag.word;
  }
}

// A way of numbering is named by its first and last number: the program has to show them so.
TEST(CodedWords, NumberingsAreWhatTheyAreCalled) {
  for (const CodedWord& entry : FindCodedTable("numberFormat")->words) {
    const std::string word = entry.word;
    const std::size_t dots = word.find("..");
    if (dots == std::string::npos) continue;
    Synth synth = BlankSynth();
    synth.numVoices = 64;
    synth.numberFormat = static_cast<std::uint8_t>(entry.code);
    EXPECT_EQ(TrimmedView(MakeNumberStr(synth, 0)), word.substr(0, dots)) << word;
    bool there = false;
    for (int n = 0; n < 10000 && !there; ++n) there = TrimmedView(MakeNumberStr(synth, n)) == word.substr(dots + 2);
    EXPECT_TRUE(there) << word;
  }
}

// A code that no table has does not get into a module, and the sentence says which are right.
TEST(CodedWords, ModulesAreHeldToThem) {
  const std::string module = "[Module]\nName = Try\nDriverBase = 20000\nTypes = patch\n[Instrument]\n";
  const std::string patch = "typeName = Patch\nfileSize = 20\nmessage = F0 7D 01\n";
  struct Row {
    const char* ini;
    const char* line;
    const char* says;  // null: nothing is wrong
  };
  const Row rows[] = {
      {"InstrumentIcon = 1\n", "numberFormat = 28\n", nullptr},
      {"", "numberFormat = 99\n",
       "patch.descriptor:4: numberFormat 99 is no way of numbering; there are: 0 by name, 1 "},
      {"", "nameFormat = 35\n", "patch.descriptor:4: nameFormat 35 is no name code"},
      {"", "storageFormat = 26\n",
       "patch.descriptor:4: storageFormat 26 is no packing; there are: 0 plain, 1 nibbles l"},
      {"", "checksum = 20 1 2 3\n", "patch.descriptor:4: checksumType 20 is no checksum"},
      {"", "verify = 20 1 2 3\n", "patch.descriptor:4: checksumType 20 is no checksum"},
      {"", "dataKind = 31\n", "patch.descriptor:4: dataKind 31 is no kind of data"},
      {"", "protocolLetter = Z\n",
       "patch.descriptor:4: protocolLetter Z is no built-in exchange; there are: 0 none, L "},
      {"", "optionBits = 11\n", nullptr},
      {"", "optionBits = 16\n", "patch.descriptor:4: optionBits 16 is no set of options; there are, and may be added "},
      {"", "bankSelectMode = 8\n", "patch.descriptor:4: bankSelectMode 8 is no bank select"},
      {"", "setResident = 3\n", "patch.descriptor:4: setResident 3 is no way of being kept in a Set"},
      {"", "hasSysExChannel = 2\n", "patch.descriptor:4: hasSysExChannel 2 is out of range: 0 to 1"},
      {"InstrumentIcon = 48\n", "", "module.ini:6: InstrumentIcon 48 is no icon; there are: 0 instrument, 1 keyboard"},
      {"DeviceType = drums\n", "", "module.ini:6: DeviceType is a number: 0 mixer, 1 synth"},
  };
  for (const Row& row : rows) {
    ModuleImage image;
    const Result result =
        BuildModule({{"module.ini", module + row.ini}, {"patch.descriptor", patch + row.line}}, &image);
    EXPECT_EQ(result.ok(), !row.says) << row.line << result.text;
    const std::string says = row.says ? row.says : "";
    EXPECT_EQ(result.text.substr(0, says.size()), says);
  }
}

}  // namespace
}  // namespace tonalith
