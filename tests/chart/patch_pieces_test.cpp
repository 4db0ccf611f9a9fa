// Parameters in data that is packed in more than one way: every packing in front, every packing behind.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "chart/message.h"
#include "chart/module_of_chart.h"
#include "chart/panel_binding.h"
#include "data/container.h"
#include "data/packed_bytes.h"
#include "parameters/parameter_table.h"
#include "parameters/patch_conversion.h"
#include "parameters/reference_matrix.h"
#include "studio/coded_words.h"
#include "tests/script/macro_test_support.h"

namespace tonalith {

namespace {

constexpr char kHead[] = "[Acme One]\ndrivers = 60000   maker = 7D   device = n   sum = sum\n";
constexpr std::uint32_t kBytes = 56;  // of each piece
constexpr int kThrough = 2;

std::string FileEnding(const ModuleImage& module, const std::string& name) {
  for (const PackageFile& file : module.files)
    if (file.path.ends_with("\\" + name)) return {file.bytes.begin(), file.bytes.end()};
  return {};
}

// Packings that messages may have; `bytes`: whose places are bytes when they stand in front.
std::vector<const CodedWord*> Packings(bool bytes) {
  std::vector<const CodedWord*> words;
  for (const CodedWord& word : FindCodedTable("storageFormat")->words) {
    const std::string_view text = word.word;
    if (PackedSize(word.code, kBytes) && (!bytes || (!text.ends_with("by bit") && !text.starts_with("16 bits"))))
      words.push_back(&word);
  }
  return words;
}

// One byte of a piece, the long way.
void SetPacked(int packing, std::uint8_t* raw, std::uint32_t index, std::int64_t value) {
  constexpr int kInFour = 20, kInThree = 21;
  Synth synth{};
  synth.storageFormat = static_cast<std::uint8_t>(packing);
  synth.voiceSize = 2 * kBytes;
  if (packing == kInFour || packing == kInThree) {
    std::uint8_t* word = raw + (packing == kInFour ? 4 : 3) * (index / 2);
    const std::int64_t old = BankGetByte(&synth, word, 0, 0);
    BankSetByte(&synth, word, 0, 0, index % 2 ? (old & 0xFF00) | value : (old & 0xFF) | value << 8);
    return;
  }
  BankSetByte(&synth, raw, 0,
              std::string_view(FindCodedWord(*FindCodedTable("storageFormat"), packing)->word).ends_with("by bit")
                  ? 8 * index
                  : index,
              value);
}

struct Shape {
  const char* name;
  const char* data;  // with % for what a patch consists of
  int slots;
};
constexpr Shape kShapes[] = {{"single", "[data Tone]\ndump = F0 7D 0n 01 % F7\n", 1},
                             {"in one message", "[data Tone]\nholds = 3\ndump = F0 7D 0n 01 {%}*3 F7\n", 3},
                             {"patch by patch", "[data Tone]\nholds = 3\neach = F0 7D 0n 01 pp % F7\n", 3}};

}  // namespace

// What a parameter reads and writes is the byte of its own packing, and nothing else changes.
TEST(PatchPieces, EveryPackingBehindEveryOther) {
  const auto packings = Packings(false);
  ASSERT_GT(packings.size(), 20u);
  std::mt19937 random(3);
  for (const Shape& shape : kShapes)
    for (const CodedWord* front : Packings(true))
      for (const CodedWord* back : packings) {
        if (front->code == kThrough && shape.slots > 1) continue;        // runs through a bank, nothing lies between
        if (front->code + back->code == 0 && shape.slots > 1) continue;  // a patch is its first bytes
        const std::string what = std::string(shape.name) + ": " + front->word + ", " + back->word;
        const std::string packed = " " + std::string(front->word) + ") 55 (56 " + std::string(back->word) + ") (9)";
        std::string chart = kHead + std::string(shape.data);
        chart.replace(chart.find('%'), 1, "(56" + packed);
        const std::string most = back->code == 0 ? "127" : "255";
        const bool allPlain = front->code == 0 && back->code == 0;  // then the 55 counts, too
        const std::uint32_t second = kBytes + (allPlain ? 1 : 0), third = second + kBytes;
        const auto row = [](std::uint32_t byte, const std::string& form, const std::string& rest) {
          return std::to_string(byte) + form + " | " + rest + "\n";
        };
        chart += "[parameters Tone]\n" + row(3, "", "Before | 0..100") + row(second + 1, "", "Whole | 0.." + most) +
                 row(second + 2, " 1-3", "Bits | -4..3") + row(second + 3, " nibbles", "Pair | 0..255") +
                 row(second + 55, "", "Last | 0.." + most) + row(third + 8, "", "Plain | 0..127") +
                 row(5, " 0-2 & " + std::to_string(second + 7) + " 0-3", "Both | 0..127");
        ChartProblems problems("x.chart");
        ModuleImage module;
        ASSERT_TRUE(BuildChart(chart, &problems, &module).ok()) << what << "\n" << problems.First().text;
        DataFilePtr file(AllocDataFile());
        ASSERT_EQ(ContainerReader(module.files.at(1).bytes).DiskReadForm(file.get(), {}), 0);
        ParameterTable table;
        const std::string text = FileEnding(module, ParameterTableName(60000));
        ASSERT_TRUE(ReadParameterTable(text, &table).ok()) << what;
        ASSERT_EQ(ParameterTableText(table), text) << what;
        ASSERT_EQ(table.parameters.size(), 7u) << what;
        EXPECT_EQ(table.Find("Bits")->place.text, std::to_string(second + 2) + " 1-3") << "as it stands in the chart";

        const Synth& synth = *file->synth;
        const std::uint32_t origin = PackedSize(front->code, kBytes) + 1;
        const std::uint32_t slot = shape.slots > 1 ? 2 : 0;
        const std::size_t begin = synth.headerSize + std::size_t{synth.voiceOffset} + slot * +synth.voiceSize;
        std::vector<std::uint8_t> image(file->body, file->body + file->bodySize), expected = image;
        const auto set = [&](std::uint32_t index, std::int64_t value) {
          SetPacked(back->code, expected.data() + begin + origin, index, value);
        };
        const PatchBytes patch(image, synth, slot);
        const auto write = [&](const char* name, std::int64_t value) {
          ASSERT_TRUE(table.Find(name)->place.Write(patch, value)) << what << " " << name;
          ASSERT_EQ(table.Find(name)->place.Read(patch.view()), value) << what << " " << name;
        };
        const auto byte = static_cast<std::int64_t>(random() % (back->code == 0 ? 128 : 256));
        write("Whole", byte);
        set(1, byte);
        write("Bits", -3);
        set(2, 5 << 1);
        write("Pair", 0x5A);
        set(3, 10);
        set(4, 5);
        write("Last", byte);
        set(55, byte);
        write("Plain", 77);
        expected[begin + origin + PackedSize(back->code, kBytes) + 8] = 77;
        write("Before", 99);
        PatchBytes(expected, synth, slot).Set(3, 99);
        write("Both", 0x5B);
        PatchBytes(expected, synth, slot).Set(5, 5);
        set(7, 11);
        ASSERT_EQ(image, expected) << what;
      }
}

// The macros of a panel reach the same bits, however the piece is packed.
TEST(PatchPieces, PanelsReachThem) {
  for (const CodedWord* word : Packings(false)) {
    Synth synth{};
    synth.headerSize = 4;
    synth.voiceBytes = synth.voiceSize = 400;
    synth.numVoices = 1;
    const std::vector<PatchPiece> pieces = {{10, 200, 12, word->code}};
    for (const char* place : {"11", "12 2-5", "13 nibbles", "170", "205 4-6 & 190 0-1"}) {
      Parameter parameter;
      ASSERT_FALSE(ParseFieldPlace(place, false, {0, 0, &pieces}, &parameter.place)) << word->word << " " << place;
      parameter.range = {0, parameter.place.highest()};
      parameter.change = 0;
      ParameterTable table;
      table.changes = {"F0 43 low high offset high offset low F7"};
      const TemplateValues binding = BindParameter(parameter, table, {synth.headerSize, 'n'});
      const auto run = [&](const char* field, std::vector<std::uint8_t>* image, int x, std::vector<test::Bytes>* out) {
        test::ScriptedServices services;
        TransferContext context;
        const std::string& code = binding.Text(field);
        MacroStart start;
        start.x = x;
        start.returnRet = true;
        Synth type = synth;
        const MacroOutcome outcome =
            RunMacro(services, context, type, {reinterpret_cast<const std::uint8_t*>(code.data()), code.size()},
                     MacroBuffer(*image), start);
        if (out) *out = services.out;
        return outcome.returnValue;
      };
      std::vector<std::uint8_t> image(500, 0);
      for (std::uint32_t i = 10; i < 210; ++i) PatchBytes(image, synth).Set(i, pieces[0], i * 37 % 128);
      std::vector<std::uint8_t> expected = image;
      for (const std::int64_t value : {std::int64_t{0}, std::int64_t{5}, parameter.range.max}) {
        ASSERT_TRUE(parameter.place.Write(PatchBytes(expected, synth), value));
        run("Store Macro", &image, static_cast<int>(value), nullptr);
        ASSERT_EQ(image, expected) << word->word << " " << place << " " << value;
        EXPECT_EQ(run("Retrieve Macro", &image, 0, nullptr), value) << word->word << " " << place;
      }
      std::vector<test::Bytes> out;
      run("Transmit", &image, 1, &out);
      // A message for each byte that the place lies in.
      std::vector<test::Bytes> messages;
      for (auto bits = parameter.place.bits.rbegin(); bits != parameter.place.bits.rend(); ++bits) {
        const std::int64_t byte = ConstPatchBytes(image, synth).Get(bits->byte, pieces[0]);
        messages.push_back({0xF0, 0x43, static_cast<std::uint8_t>(byte & 15), static_cast<std::uint8_t>(byte >> 4 & 15),
                            static_cast<std::uint8_t>(bits->byte >> 7), static_cast<std::uint8_t>(bits->byte & 0x7F),
                            0xF7});
      }
      EXPECT_EQ(out, messages) << word->word << " " << place;
    }
  }
}

// A bank's patches are laid out as the patch of its own where both are packed alike; else names join them.
TEST(PatchPieces, BanksAndReferencesFollow) {
  const std::string parameters =
      "[parameters Tone]\n1 | A | 0..9\n5 0-3 | B | 0..15\n[references Tone]\nchild at 6 in 0..2 -> Bank\n";
  const std::string tone = "[data Tone]\ndump = F0 7D 0n 02 (4 nibbles low first) 00 (8 7 of 8) F7\n";
  for (const bool alike : {true, false}) {
    ChartProblems problems("x.chart");
    ModuleImage module;
    const std::string bank = alike ? "{(4 nibbles low first) 00 (8 7 of 8)}*3" : "{(2) (8 bits high first)}*3";
    const std::string own = alike ? "" : "[parameters Bank]\n1 | A | 0..9\n9 1-4 | B | 0..15\n";
    const Result built =
        BuildChart(kHead + ("[data Bank]  3 x Tone\ndump = F0 7D 0n 01 " + bank + " F7\n" + tone + parameters + own),
                   &problems, &module);
    ASSERT_TRUE(built.ok()) << built.text;
    const std::string table = FileEnding(module, ParameterTableName(60000));
    EXPECT_NE(table.find(alike ? "piece\t4\t8\t9\t17" : "piece\t2\t8\t2\t7"), std::string::npos) << table;
    const std::string references = FileEnding(module, ReferenceMatrixName(60001));
    ReferenceMatrix matrix;
    ASSERT_TRUE(ReadReferenceMatrix(references, &matrix).ok());
    EXPECT_EQ(ReferenceMatrixText(matrix), references);
    EXPECT_EQ(matrix.rows.at(0).child.bits.at(0).piece.origin, 9u);
    EXPECT_EQ(FileEnding(module, ReferenceMatrixName(60000)).empty(), !alike);
    const std::string conversion = FileEnding(module, PatchConversionName(60000));
    ASSERT_EQ(conversion.empty(), alike);
    if (alike) continue;
    PatchConversion read;
    ASSERT_TRUE(ReadPatchConversion(conversion, &read).ok());
    EXPECT_EQ(PatchConversionText(read), conversion);
    EXPECT_EQ(read.pairs.at(1).slot.bits.at(0).piece.packing, 7);
    EXPECT_EQ(read.pairs.at(1).patch.bits.at(0).piece.packing, 17);
  }
}

}  // namespace tonalith
