#include <gtest/gtest.h>

#include <filesystem>

#include "data/patch_names.h"
#include "installed_modules.h"
#include "midi/backends/virtual_backend.h"
#include "services/pacing_calibration.h"
#include "services/paths.h"
#include "services/program.h"
#include "services/program_midi.h"
#include "simulator/virtual_studio.h"

// How fast an instrument may be sent to is found by trying, and it holds afterwards what it held before.

namespace tonalith {
namespace {

TEST(Pacing, TheSearchFindsWhatAnInstrumentTakes) {
  struct Instrument {
    int bytes;    // of a message
    int busyMs;   // after a message
    int perByte;  // microseconds it needs; a cable takes 320
    int buffer;
    bool Takes(const MidiPacing& pacing) const {
      if (pacing.delayMs < busyMs) return false;
      const int chunk = pacing.chunk ? std::min<int>(pacing.chunk, bytes) : bytes;
      std::int64_t waiting = 0;
      for (int at = 0; at < bytes; at += chunk) {
        waiting += chunk - chunk * 320 / perByte;
        if (waiting > buffer) return false;
        waiting = std::max<std::int64_t>(waiting - pacing.gapMs * 1000 / perByte, 0);
      }
      return true;
    }
  };
  const struct {
    Instrument instrument;
    bool found;
    bool plain;
  } cases[] = {
      {{4104, 0, 320, 64}, true, true},     {{4104, 250, 320, 64}, true, false}, {{4104, 0, 700, 300}, true, false},
      {{300, 1400, 2000, 40}, true, false}, {{30000, 0, 900, 64}, true, false},  {{300, 4000, 320, 64}, false, false},
  };
  for (const auto& test : cases) {
    PacingSearch search;
    int tries = 0;
    for (; !search.Over() && tries < 100; ++tries) search.Tell(test.instrument.Takes(*search.Candidate()));
    EXPECT_LT(tries, 40);
    ASSERT_EQ(search.Found().has_value(), test.found) << test.instrument.busyMs;
    if (!test.found) continue;
    EXPECT_TRUE(test.instrument.Takes(*search.Found())) << PacingText(*search.Found());
    EXPECT_EQ(*search.Found() == MidiPacing{}, test.plain) << PacingText(*search.Found());
    EXPECT_LE(search.Found()->delayMs, test.instrument.busyMs * 5 / 4 + 20) << PacingText(*search.Found());
  }
}

// The program and one slow instrument, in virtual time.
class SlowInstrument {
 public:
  SlowInstrument(const std::string& key, int type, const std::function<void(InstrumentDescription&)>& slow)
      : folder_(std::filesystem::temp_directory_path() / ("tonalith-pacing-" + std::to_string(::getpid()))),
        here_(clock_),
        dispatcher_(clock_),
        program_(Folders::Below(folder_), clock_, prompts_, dispatcher_),
        backend_(std::make_shared<VirtualBackend>(clock_)),
        studio_(std::make_unique<VirtualStudio>(*backend_, VirtualStudio::Options{kMidiWireRate})) {
    program_.ConfigBasics();
    DescriptionResult description = LoadDescriptionByKey(key);
    slow(*description.description);
    studio_->Attach(std::make_unique<SimulatedInstrument>(*std::move(description.description)));
    studio_->With(0, [](SimulatedInstrument& instrument) { instrument.SetMemoryProtect(false); });
    side_ = program_.MakeMidi(clock_, dispatcher_);
    side_->midi().AddBackend(backend_);
    side_->midi().Start();
    side_->midi().MidiPortInOpenPorts();
    side_->midi().MidiPortOutOpenPorts();
    for (const auto& instrument : InstalledModules::Instance().studio().instruments())
      if (InstalledModules::Instance().keys().at(instrument->name) == key)
        type_ = InstalledModules::Instance().studio().GetNewDataFile(instrument->drivers.at(type).get());
    type_->synth->midiInPort = type_->synth->midiOutPort = 0;
  }
  ~SlowInstrument() {
    side_.reset();
    studio_.reset();
    std::error_code none;
    std::filesystem::remove_all(folder_, none);
  }

  std::vector<std::uint8_t> Memory() {
    std::vector<std::uint8_t> memory;
    studio_->With(0, [&](SimulatedInstrument& instrument) { memory = instrument.Memory(); });
    return memory;
  }
  // Sends other names; what does the instrument hold then?
  bool SendsWhole(const std::string& name) {
    DataFilePtr data(DupForUser(type_.get()));
    Run(DeskStep::Kind::kGet, *data);
    for (int patch = 0; patch < static_cast<int>(LayoutOf(*data).numVoices); ++patch)
      SetPatchName(data.get(), patch, name);
    Run(DeskStep::Kind::kSend, *data);
    DataFilePtr back(DupForUser(type_.get()));
    Run(DeskStep::Kind::kGet, *back);
    return LoadPatchNames(*back) == LoadPatchNames(*data);
  }
  // `event`: called for each event of the job with its count.
  PacingCalibration::Report Calibrate(const std::function<void(const TransferDesk::Job&, int)>& event = {}) {
    PacingCalibration::Options options;
    options.keepIn = folder_.string();
    int lines = 0;
    TransferDesk::Job job;
    options.tell = [&](const std::string&) {
      ++lines;
      if (event && job) event(job, lines);
    };
    PacingCalibration calibration(side_->desk(), side_->midi(), side_->pacing(), options);
    bool over = false;
    job = calibration.Begin(*type_, [&](const auto&) { over = true; });
    EXPECT_TRUE(dispatcher_.RunUntil([&] { return over; }, clock_.NowUs() + 36'000'000'000));
    return calibration.report();
  }
  const PacingProfile& pacing() { return side_->pacing(); }
  TransferDesk& desk() { return side_->desk(); }
  VirtualStudio& cables() { return *studio_; }
  const std::filesystem::path& folder() const { return folder_; }

 private:
  void Run(DeskStep::Kind kind, DataFile& data) {
    DeskRequest request = DeskRequest::Of(kind, &data);
    request.showWindow = 0;
    EXPECT_TRUE(side_->desk().Wait(side_->desk().Submit(std::move(request)), 3'600'000));
    dispatcher_.RunUntil([] { return false; }, clock_.NowUs() + 3'000'000);
  }

  std::filesystem::path folder_;
  VirtualClock clock_;
  ClockThread here_;
  ScriptedPrompts prompts_{{}};
  Dispatcher dispatcher_;
  Program program_;
  std::shared_ptr<VirtualBackend> backend_;
  std::unique_ptr<VirtualStudio> studio_;
  std::unique_ptr<ProgramMidi> side_;
  DataFilePtr type_;
};

void Slow(InstrumentDescription& description) {
  description.inputBuffer = 300;
  description.inputSpeed = 1500;
}

TEST(Pacing, ACalibratedInstrumentGetsItsDataWhole) {
  const struct {
    const char* key;
    std::function<void(InstrumentDescription&)> slow;
  } cases[] = {{"yamaha-dx7", Slow}, {"oberheim-matrix1000", [](InstrumentDescription& description) {
                                        for (MessageInfo& message : description.messages) message.busyMs = 450;
                                      }}};
  for (const auto& test : cases) {
    SlowInstrument rig(test.key, 0, test.slow);
    EXPECT_FALSE(rig.SendsWhole("ABCD")) << test.key << ": too fast, and damaged";
    const auto before = rig.Memory();
    const PacingCalibration::Report report = rig.Calibrate();
    EXPECT_TRUE(report.ok) << report.sentence;
    EXPECT_TRUE(report.restored);
    EXPECT_EQ(rig.Memory(), before) << test.key;
    EXPECT_LT(report.tries, 40);
    ASSERT_EQ(rig.pacing().All().size(), 1U);
    EXPECT_NE(rig.pacing().All()[0].pacing, MidiPacing{});
    EXPECT_TRUE(rig.SendsWhole("BCDE")) << test.key << ": " << report.sentence;
    const PacingProfile::Entry kept = rig.pacing().All()[0];
    EXPECT_TRUE(rig.pacing().Remove(kept.instrument, kept.port).ok());
    EXPECT_FALSE(rig.SendsWhole("CDEF")) << test.key << ": as fast as before";
  }
}

// Cancelled at any time, the instrument holds what it held; when its cable is pulled, a file does.
TEST(Pacing, WhatTheInstrumentHeldIsNotLost) {
  for (const int line : {2, 3, 5, 8}) {
    SlowInstrument rig("yamaha-dx7", 0, Slow);
    const auto before = rig.Memory();
    const PacingCalibration::Report report = rig.Calibrate([&](const TransferDesk::Job& job, int count) {
      if (count == line) rig.desk().Cancel(job);
    });
    EXPECT_FALSE(report.ok);
    EXPECT_TRUE(report.restored || !report.touched);
    EXPECT_EQ(report.sentence, "The calibration was cancelled.");
    EXPECT_EQ(rig.Memory(), before) << line;
    EXPECT_TRUE(rig.pacing().All().empty());
  }
  SlowInstrument rig("yamaha-dx7", 0, Slow);
  const PacingCalibration::Report report = rig.Calibrate([&](const TransferDesk::Job&, int count) {
    if (count == 4) rig.cables().Unplug(0);
  });
  EXPECT_FALSE(report.ok);
  EXPECT_FALSE(report.restored);
  const std::filesystem::path kept = rig.folder() / "Yamaha DX7 Voice Bank before calibration.DAT";
  EXPECT_NE(report.sentence.find("kept in " + kept.string()), std::string::npos) << report.sentence;
  EXPECT_TRUE(std::filesystem::exists(kept));
}

}  // namespace
}  // namespace tonalith
