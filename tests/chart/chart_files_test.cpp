// What charts say of files: data is found in them with its checksums, and written again as it came.

#include <gtest/gtest.h>

#include <string>

#include "chart/module_of_chart.h"
#include "data/hex_text.h"
#include "studio/file_form.h"
#include "studio/package_install.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {

namespace {

// "TYPE VERDICT PATCHES" of every piece with ';' between; behind a piece that is not written as it came: what is.
std::string Found(const Recognizer& recognizer, const std::string& hex) {
  const std::vector<std::uint8_t> file = *ParseHex(hex);
  Recognition found;
  const Result result = recognizer.Recognize(file, &found);
  if (!result.ok()) return "nothing";
  std::string text;
  for (const RecognizedPiece& piece : found.pieces) {
    text += (text.empty() ? "" : "; ") + piece.dataType + " " + ChecksumVerdictText(piece.checksum) + " " +
            std::to_string(recognizer.Patches(*piece.data).size());
    std::vector<std::uint8_t> written;
    for (const auto& message : MessagesOfFile(recognizer, *piece.data))
      written.insert(written.end(), message.begin(), message.end());
    const auto came = std::span(file).subspan(piece.offset, piece.length);
    if (!std::equal(written.begin(), written.end(), came.begin(), came.end())) text += " -> " + HexText(written);
  }
  return text;
}

}  // namespace

TEST(ChartFiles, AreReadAndWrittenAsTheyCame) {
  struct Case {
    const char* what;
    const char* chart;
    const char* file;
    const char* found;
  };
  const char* kStore =
      "[data Bank]  4 x Tone   patch by patch\nstore = F0 7D 0n 02 pp 05 F7   each = F0 7D 0n 01 (2) F7\n"
      "file = each store\n[data Tone]\ndump = F0 7D 0n 01 (2) F7\n";
  const char* kRow =
      "part = F0 7D 0n 01 t (2) sum F7\n[data Bank]  4 x Tone   patch by patch\neach = F0 7D 0n 03 pp F7 + part*2\n"
      "[data Tone]\ndump = F0 7D 0n 03 7F F7 + part*2\n";
  const char* kRows =
      "voice = F0 7D 0n 03 F7 + part*2\npart = F0 7D 0n 01 t (2) F7\n[data Bank]  2 x Tone\n"
      "dump = voice*2\n[data Tone]\ndump = F0 7D 0n 04 F7 + part*2\n";
  const char* kParts =
      "[data Tone]  size = 64   name = none\ndump = F0 7D 0n 01 (any from 8) F7\ninner sum = sum plus a5 6 1 4 more 5 "
      "2\n"
      "inner sum = sum plus a5 8 2 7 behind 5 2 times any step 3\n";
  const Case cases[] = {
      {"the place stands behind, and more behind it", kStore,
       "F0 7D 03 01 11 12 F7 F0 7D 03 02 00 05 F7 "
       "F0 7D 03 01 21 22 F7 F0 7D 03 02 02 05 F7",
       "Bank none 2"},
      {"a message of several patches' row is missing", kRow,
       "F0 7D 03 03 00 F7 F0 7D 03 01 00 01 02 03 F7 "
       "F0 7D 03 01 01 03 04 07 F7 F0 7D 03 03 02 F7 F0 7D 03 01 00 01 02 03 F7",
       "nothing"},
      {"patches of several messages", kRow,
       "F0 7D 03 03 00 F7 F0 7D 03 01 00 01 02 03 F7 F0 7D 03 01 01 03 04 07 F7 "
       "F0 7D 03 03 02 F7 F0 7D 03 01 00 01 02 03 F7 F0 7D 03 01 01 03 04 07 F7",
       "Bank ok 2"},
      {"a bank of them in a row", kRows,
       "F0 7D 03 03 F7 F0 7D 03 01 00 01 02 F7 F0 7D 03 01 01 03 04 F7 "
       "F0 7D 03 03 F7 F0 7D 03 01 00 05 06 F7 F0 7D 03 01 01 07 08 F7",
       "Bank none 2"},
      {"sums over parts whose number is in the data", kParts, "F0 7D 03 01 29 01 01 02 01 28 01 02 28 02 01 F7",
       "Tone ok 1"},
      {"the last of them is wrong", kParts, "F0 7D 03 01 29 01 01 02 01 28 01 02 28 02 02 F7",
       "Tone bad 1 -> F0 7D 03 01 29 01 01 02 01 28 01 02 29 02 02 F7"},
      {"a sum in front", "[data Tone]\ndump = F0 7D 0n 01 sum ahead (2) F7\n", "F0 7D 03 01 05 02 03 F7", "Tone ok 1"},
      {"behind data of any size", "[data Tone]  size = 64\ndump = F0 7D 0n 01 (any) sum F7\n",
       "F0 7D 03 01 01 02 03 06 F7", "Tone ok 1"},
      {"in front of data of any size", "[data Tone]  size = 64\ndump = F0 7D 0n 01 sum ahead (any) F7\n",
       "F0 7D 03 01 07 02 03 F7", "Tone bad 1 -> F0 7D 03 01 05 02 03 F7"},
      {"numbers of 14 bits",
       "[data Bank b = A..B]  100 x Tone   patches = 0..99, 100..199\neach = F0 7D 0n 02 pp low pp high (2) F7\n"
       "[data Tone]   patches = 0..199\ndump = F0 7D 0n 02 pp low pp high (2) F7\n",
       "F0 7D 03 02 7F 00 01 02 F7 F0 7D 03 02 00 01 03 04 F7 F0 7D 03 02 63 00 05 06 F7",
       "Bank B none 2; Tone none 1"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const TestFolder folder;
    ChartProblems problems("x.chart");
    ModuleImage image;
    InstallReport report;
    const std::string head = "[Acme One]\ndrivers = 60000   maker = 7D   device = n   sum = sum\n";
    ASSERT_TRUE(BuildChart(head + c.chart, &problems, &image).ok()) << problems.First().text;
    ASSERT_TRUE(InstallPackageFiles(image.files, folder.path() / "Instruments", &report).ok());
    ScriptedPrompts prompts{{}};
    ZKStudioDoc studio({folder.path() / "Instruments", folder.path() / "Data", folder.path() / "Preferences", {}},
                       prompts);
    studio.LoadStudio();
    EXPECT_EQ(Found(Recognizer(studio), c.file), c.found);
  }
}

}  // namespace tonalith
