// What the shipped modules say about the inside of their data.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <utility>

#include "editor/model/template_file.h"
#include "parameters/parameter_table.h"
#include "parameters/patch_conversion.h"
#include "parameters/reference_matrix.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

constexpr std::size_t kMost = 8u << 20;

// A file of a module's folder; empty when there is none.
std::string FileOf(ZKStudioDoc& studio, const ZKDrvList& instrument, const std::string& name) {
  std::string text;
  const auto path = studio.facts().ModuleFolder(&instrument) / name;
  return ReadWholeFile(path.string(), text, kMost).ok() ? text : std::string();
}

struct Fields : testing::Test {
  ZKStudioDoc& studio = InstalledModules::Instance().studio();

  // Calls `visit(instrument, driver, name)` for every data type.
  template <class Visit>
  void EachType(const Visit& visit) {
    for (const auto& instrument : studio.instruments())
      for (const auto& driver : instrument->drivers)
        visit(*instrument, *driver, instrument->name + " " + Latin1ToUtf8(driver->TypeName()));
  }

  const ZKDrvList* TypeOf(int driverId) {
    const ZKDrvList* found = nullptr;
    EachType([&](const ZKDrvList&, const ZKDrvList& driver, const std::string&) {
      if (driver.synth()->driverId == driverId) found = &driver;
    });
    return found;
  }
};

}  // namespace

// Every value of every parameter is written into new data and read back; no bit beside it changes.
TEST_F(Fields, EveryParameterIsWrittenAndReadBack) {
  std::size_t parameters = 0;
  EachType([&](const ZKDrvList& instrument, const ZKDrvList& driver, const std::string& name) {
    const std::string text = FileOf(studio, instrument, ParameterTableName(driver.synth()->driverId));
    if (text.empty()) return;
    ParameterTable table;
    const Result read = ReadParameterTable(text, &table);
    ASSERT_TRUE(read.ok()) << name << ": " << read.text;
    Synth synth = *driver.synth();
    const auto body = BodySpan(std::as_const(*driver.dataFile));
    std::vector<std::uint8_t> image(body.begin(), body.end());
    image.resize(image.size() + kBufferSlack);
    const PatchBytes patch(image, synth);
    for (const Parameter& p : table.parameters) {
      if (p.condition >= 0 && p.place.end() > patch.size()) continue;  // not in new data
      const std::vector<std::uint8_t> before = image;
      const std::int64_t old = p.place.Read(patch.view());
      for (const std::int64_t value : {p.range.min, p.range.max, (p.range.min + p.range.max) / 2}) {
        ASSERT_TRUE(p.place.Write(patch, value)) << name << " " << p.name;
        ASSERT_EQ(p.place.Read(patch.view()), value) << name << " " << p.name;
        const auto back = p.display->ValueOf(p.TextOf(value));
        ASSERT_TRUE(back) << name << " " << p.name << " " << p.TextOf(value);
        EXPECT_EQ(p.TextOf(*back), p.TextOf(value)) << name << " " << p.name;
      }
      ASSERT_TRUE(p.place.Write(patch, old)) << name << " " << p.name;
      ASSERT_EQ(image, before) << name << " " << p.name;
      ++parameters;
    }
  });
  EXPECT_GT(parameters, 5000u);
}

TEST_F(Fields, PanelsAndReferencesRead) {
  std::size_t panels = 0;
  EachType([&](const ZKDrvList& instrument, const ZKDrvList& driver, const std::string& name) {
    const std::string id = std::to_string(driver.synth()->driverId);
    const std::string panel = FileOf(studio, instrument, "Panel.ID" + id + ".pvt");
    if (!panel.empty()) {
      const std::vector<std::uint8_t> bytes(panel.begin(), panel.end());
      TemplateFile read;
      ASSERT_TRUE(ReadTemplate(bytes, &read).ok()) << name;
      EXPECT_EQ(WriteTemplate(read), bytes) << name;
      ++panels;
    }
    const std::string references = FileOf(studio, instrument, ReferenceMatrixName(driver.synth()->driverId));
    if (references.empty()) return;
    ReferenceMatrix matrix;
    ASSERT_TRUE(ReadReferenceMatrix(references, &matrix).ok()) << name;
    for (const ReferenceMatrix::Row& row : matrix.rows)
      for (const auto& target : row.targets) EXPECT_TRUE(TypeOf(target.driverId)) << name << " " << row.name;
  });
  EXPECT_GE(panels, 10u);
}

// A patch that goes into its bank and comes back is the same where the parameters and the name are.
TEST_F(Fields, PatchesSurviveTheirBanks) {
  std::size_t conversions = 0;
  EachType([&](const ZKDrvList& instrument, const ZKDrvList& bank, const std::string& name) {
    const std::string text = FileOf(studio, instrument, PatchConversionName(bank.synth()->driverId));
    if (text.empty()) return;
    PatchConversion conversion;
    ASSERT_TRUE(ReadPatchConversion(text, &conversion).ok()) << name;
    const ZKDrvList* type = TypeOf(conversion.patchType);
    ASSERT_TRUE(type) << name;
    const auto copy = [](const ZKDrvList& driver) {
      const auto body = BodySpan(std::as_const(*driver.dataFile));
      std::vector<std::uint8_t> image(body.begin(), body.end());
      image.resize(image.size() + kBufferSlack);
      return image;
    };
    std::vector<std::uint8_t> slots = copy(bank), patch = copy(*type), back = patch;
    std::mt19937 random(1);
    const std::uint32_t slot = bank.synth()->numVoices - 1;
    for (int round = 0; round < 20; ++round) {
      for (const PatchConversion::Pair& pair : conversion.pairs) {
        // A bank that keeps values less exactly holds those that it can show.
        const auto span = static_cast<std::uint64_t>(pair.patchRange.max - pair.patchRange.min) + 1;
        const std::int64_t value = pair.patchRange.min + static_cast<std::int64_t>(random() % span);
        pair.patch.Write(PatchBytes(patch, *type->synth()), value - value % pair.factor);
      }
      EXPECT_EQ(ConvertPatchToSlot(conversion, {patch, *type->synth()}, {slots, *bank.synth(), slot}), 0u) << name;
      EXPECT_EQ(ConvertSlotToPatch(conversion, {slots, *bank.synth(), slot}, {back, *type->synth()}), 0u) << name;
      ASSERT_EQ(back, patch) << name;
    }
    ++conversions;
  });
  EXPECT_GE(conversions, 2u);
}

// Real banks: every voice that becomes a single one and goes back is byte for byte the one of the bank.
TEST_F(Fields, RealVoicesComeBackWhole) {
  const std::filesystem::path dumps = RealDumps();
  if (dumps.empty()) GTEST_SKIP();
  const ZKDrvList* bank = TypeOf(1000);
  ASSERT_TRUE(bank);
  const ZKDrvList* instrument = studio.FindInstrument("Yamaha DX7");
  PatchConversion conversion;
  ASSERT_TRUE(ReadPatchConversion(FileOf(studio, *instrument, PatchConversionName(1000)), &conversion).ok());
  const ZKDrvList* voice = TypeOf(conversion.patchType);
  const Synth synth = *bank->synth();
  std::size_t voices = 0;
  for (const auto& file : std::filesystem::directory_iterator(dumps / "yamaha-dx7")) {
    std::string text;
    ASSERT_TRUE(ReadWholeFile(file.path().string(), text, kMost).ok());
    const std::size_t at = text.find(std::string("\x09\x20\x00", 3));
    if (at == std::string::npos || at < 3 || text.size() < at - 3 + synth.fileSize) continue;
    std::vector<std::uint8_t> image(text.begin() + static_cast<std::ptrdiff_t>(at - 3),
                                    text.begin() + static_cast<std::ptrdiff_t>(at - 3 + synth.fileSize));
    std::vector<std::uint8_t> back(image.size()), single(voice->synth()->fileSize + kBufferSlack);
    std::copy_n(image.begin(), synth.headerSize, back.begin());
    for (std::uint32_t slot = 0; slot < synth.numVoices; ++slot, ++voices) {
      EXPECT_EQ(ConvertSlotToPatch(conversion, {image, synth, slot}, {single, *voice->synth()}), 0u);
      EXPECT_EQ(ConvertPatchToSlot(conversion, {single, *voice->synth()}, {back, synth, slot}), 0u);
    }
    const std::size_t data = synth.headerSize + std::size_t{synth.numVoices} * synth.voiceSize;
    EXPECT_TRUE(std::equal(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(data), back.begin()))
        << file.path();
  }
  EXPECT_GE(voices, 64u);
}

}  // namespace tonalith
