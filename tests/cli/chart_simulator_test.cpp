// The descriptions of simulated instruments that charts give: what the module of the chart gets from them and sends.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "chart/instrument.h"
#include "chart/module_of_chart.h"
#include "chart/simulator_of_chart.h"
#include "cli/module_trial.h"
#include "cli_test_tools.h"
#include "data/data_text.h"
#include "platform/text.h"
#include "simulator/instrument.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

// One data type and the instrument it talks to.
class Exchange {
 public:
  Exchange(Session& session, ZKDrvList* driver, const InstrumentDescription& description)
      : rig_(session, TransferRig::Kind::Virtual) {
    auto simulated = std::make_unique<SimulatedInstrument>(description);
    driver->instrument->SetSysExChannel(description.deviceBase + simulated->device());
    place_ = rig_.PlugInstrument(std::move(simulated));
    const std::string port = rig_.cables().PortName(place_);
    opened_ = rig_.OpenPorts(port, port);
    rig_.RoutePorts(driver->instrument);
    data_ = session.studio().GetNewDataFile(driver);
    if (data_) rig_.RoutePorts(data_.get());
  }

  // What went wrong.
  std::string GetSendGet(bool sends) {
    if (!opened_.ok() || !data_) return opened_.text + " no data";
    if (const Result got = Run(TransferOperation::kReceive); !got.ok()) return "getting: " + got.text;
    if (!sends) return {};
    for (const std::size_t patch : Patches()) {
      const auto image = Image(patch);
      image[Place()] ^= 1;
    }
    if (const Result sent = Run(TransferOperation::kTransmit); !sent.ok()) return "sending: " + sent.text;
    std::map<std::size_t, std::vector<std::uint8_t>> wanted;
    for (const std::size_t patch : Patches()) {
      const auto image = Image(patch);
      wanted[patch].assign(image.begin(), image.end());
      image[Place()] ^= 1;
    }
    if (const Result again = Run(TransferOperation::kReceive); !again.ok()) return "getting again: " + again.text;
    for (const auto& [patch, bytes] : wanted) {
      const auto image = Image(patch);
      if (!std::equal(image.begin(), image.end(), bytes.begin()))
        return "patch " + std::to_string(patch) + " is another";
    }
    return {};
  }

 private:
  // A byte of the data of a patch, in its image.
  std::size_t Place() {
    const Synth& synth = *data_->synth;
    const std::size_t size = Image(0).size();
    const std::size_t head = (Count() > 1 ? 0 : std::size_t{+synth.headerSize}) + synth.voiceOffset;
    return std::min(head + (synth.voiceBytes ? synth.voiceBytes / 2 : (size - std::min(size, head)) / 2), size - 1);
  }
  std::size_t Count() const { return PatchAddressable(*data_->synth) ? data_->synth->numVoices : 1; }
  std::set<std::size_t> Patches() const { return {0, std::min<std::size_t>(1, Count() - 1), Count() - 1}; }
  std::span<std::uint8_t> Image(std::size_t patch) {
    const auto body = BodySpan(*data_).first(std::min<std::size_t>(BodySpan(*data_).size(), data_->synth->fileSize));
    return body.subspan(patch * (body.size() / Count()), body.size() / Count());
  }
  Result Run(TransferOperation operation) {
    std::vector<std::uint8_t> mask(Count() > 1 ? data_->synth->numVoices : 0);
    for (const std::size_t patch : Patches())
      if (patch < mask.size()) mask[patch] = 1;
    data_->transferMask = mask.empty() ? nullptr : mask.data();
    data_->transferMaskSize = mask.size();
    if (operation == TransferOperation::kTransmit && data_->xtra) data_->xtra->hasNoSysEx = 0;
    const Result result = rig_.Run(operation, data_.get());
    rig_.clock().SleepMs(200);
    data_->transferMask = nullptr;
    data_->transferMaskSize = 0;
    return result;
  }

  TransferRig rig_;
  std::size_t place_ = 0;
  Result opened_ = Result::Success();
  DataFilePtr data_;
};

bool StartsAtPanel(const ChartType& type) {
  if (type.get.empty()) return type.request.empty() && !type.dump.empty();
  return type.get.front().kind != ChartStep::Kind::kMessage;
}

}  // namespace

// Every data type of every shipped chart is answered by the description, or it is said why not.
TEST(ChartSimulator, AnswersItsOwnModule) {
  std::istringstream in;
  std::ostringstream out, err;
  CliEnvironment environment{in, out, err, Folders::Below("/nonexistent")};
  int charts = 0, types = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TONALITH_SOURCE_DIR "/instruments")) {
    if (entry.path().extension() != ".chart") continue;
    const std::string file = entry.path().filename().string(), text = ReadFileText(entry.path());
    ChartProblems problems(file);
    const ChartSimulator made = SimulatorOfChart(text, &problems);
    const ChartText chart = ReadChartText(text, &problems);
    const ChartInstrument instrument = ReadChartInstrument(chart, &problems);
    ASSERT_FALSE(problems.any()) << problems.First().text;
    EXPECT_EQ(made.present.size() + made.missing.size(), instrument.types.size()) << file;
    for (const auto& [type, why] : made.missing) EXPECT_FALSE(why.empty()) << file << ", " << type;
    if (made.present.empty()) continue;
    const DescriptionResult read = ParseDescription(made.text, file);
    ASSERT_TRUE(read.description) << read.problem << made.text;
    ++charts;
    ModuleImage image;
    ASSERT_TRUE(BuildChart(text, &problems, &image).ok()) << problems.First().text;
    ModuleTrial trial(environment);
    ASSERT_TRUE(trial.Install(image).ok());
    for (const auto& one : trial.session().studio().instruments())
      for (const auto& driver : one->drivers) {
        const ChartType* type = nullptr;
        for (const ChartType& known : instrument.types)
          if (Latin1ToUtf8(driver->TypeName()) == known.name) type = &known;
        if (!type || std::find(made.present.begin(), made.present.end(), type->name) == made.present.end()) continue;
        ++types;
        if (StartsAtPanel(*type)) continue;
        const std::string wrong =
            Exchange(trial.session(), driver.get(), *read.description).GetSendGet(!IsChartReadonly(*type, &problems));
        EXPECT_EQ(wrong, "") << file << ", " << type->name;
      }
  }
  // The others have exchanges, coded text, sums inside of data or bytes between patches.
  EXPECT_EQ(charts, 27);
  EXPECT_GE(types, 151);
}

// A single patch that says its place is one of the bank that comes in one message.
TEST(ChartSimulator, SinglesLieInTheirBank) {
  ChartProblems problems("place.chart");
  const ChartSimulator made = SimulatorOfChart(
      "[Orrin Place]\nmaker = 7D   device = n   drivers = 60500   find = Patch   name = none\n"
      "[data Bank]  8 x Patch   request = F0 7D 0n 11 F7   dump = F0 7D 0n 12 (4)*8 F7\n"
      "[data Patch]  patches = 0..7   request = F0 7D 0n 13 pp F7   dump = F0 7D 0n 14 pp (4) F7\n",
      &problems);
  ASSERT_FALSE(problems.any()) << problems.First().text;
  const DescriptionResult read = ParseDescription(made.text, "place");
  ASSERT_TRUE(read.description) << read.problem << made.text;
  SimulatedInstrument instrument(*read.description);
  const std::vector<std::uint8_t> sent = {0xF0, 0x7D, 0x00, 0x14, 0x05, 0x01, 0x02, 0x03, 0x04, 0xF7};
  instrument.OnMessage(sent, 1'000'000);
  const auto bank = instrument.OnMessage(std::vector<std::uint8_t>{0xF0, 0x7D, 0x00, 0x11, 0xF7}, 2'000'000);
  const auto single = instrument.OnMessage(std::vector<std::uint8_t>{0xF0, 0x7D, 0x00, 0x13, 0x05, 0xF7}, 3'000'000);
  ASSERT_TRUE(bank.size() == 1 && single.size() == 1) << made.text;
  EXPECT_EQ(single.front().bytes, sent);
  ASSERT_EQ(bank.front().bytes.size(), 4u + 8 * 4 + 1);
  EXPECT_TRUE(std::equal(sent.begin() + 5, sent.begin() + 9, bank.front().bytes.begin() + 4 + 5 * 4));
}

}  // namespace tonalith
