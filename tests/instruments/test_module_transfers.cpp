#include "midi/port_system.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_services.h"
#include "simulator/virtual_studio.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

// The shipped modules on one side of virtual cables, the simulated instruments on the other, in virtual time.
struct ModuleTransfers : ::testing::Test {
  ModuleTransfers() : here(clock), backend(std::make_shared<VirtualBackend>(clock)), midi(clock) {
    cables = std::make_unique<VirtualStudio>(*backend, VirtualStudio::Options{3125});
    std::string problem;
    EXPECT_TRUE(cables->AttachAll(&problem)) << problem;
    midi.AddBackend(backend);
    midi.Start();
    midi.MidiPortInOpenPorts();
    midi.MidiPortOutOpenPorts();
    services = std::make_unique<MidiScriptServices>(midi.out(), midi.in());
    engine = std::make_unique<TransferEngine>(*services, prompts, &midi.out());
  }
  ~ModuleTransfers() override {
    engine.reset();
    midi.Stop();
    cables.reset();
  }

  TransferResult Run(TransferOperation operation, DataFile& data) {
    TransferRequest request;
    request.operation = operation;
    request.dataFile = &data;
    request.observer = std::make_shared<TransferObserver>();
    request.background = true;
    std::shared_ptr<Transfer> transfer;
    if (engine->MidiIODataFile(request, &transfer) != 1) return {};
    EXPECT_TRUE(transfer->Wait(36'000'000));
    midi.out().MidiOutWaitIdle(data.synth->midiOutPort);
    clock.SleepMs(3000);
    return transfer->Result();
  }
  std::vector<std::uint8_t> Memory(std::size_t place) {
    std::vector<std::uint8_t> memory;
    cables->With(place, [&](SimulatedInstrument& instrument) { memory = instrument.Memory(); });
    return memory;
  }

  VirtualClock clock;
  ClockThread here;
  std::shared_ptr<VirtualBackend> backend;
  MidiPortSystem midi;
  ScriptedPrompts prompts{{}};
  std::unique_ptr<VirtualStudio> cables;
  std::unique_ptr<MidiScriptServices> services;
  std::unique_ptr<TransferEngine> engine;
};

}  // namespace

// Every type that can be asked for is received, sent back and received again: the same bytes, the same instrument.
TEST_F(ModuleTransfers, EveryTypeThereAndBack) {
  ZKStudioDoc& studio = InstalledModules::Instance().studio();
  ASSERT_EQ(InstalledModules::Instance().problem(), "");
  int types = 0;
  for (const auto& [name, key] : std::vector<std::pair<const char*, const char*>>{{"DX7", "yamaha-dx7"},
                                                                                  {"TX81Z", "yamaha-tx81z"},
                                                                                  {"D-50", "roland-d50"},
                                                                                  {"JV-1080", "roland-jv1080"},
                                                                                  {"M1", "korg-m1"},
                                                                                  {"CZ-101", "casio-cz101"},
                                                                                  {"K4", "kawai-k4"},
                                                                                  {"Matrix", "oberheim-matrix1000"}}) {
    const std::size_t place = cables->Find(key);
    ASSERT_LT(place, cables->Count()) << key;
    cables->With(place, [](SimulatedInstrument& instrument) { instrument.SetMemoryProtect(false); });
    const ZKDrvList* instrument = studio.FindInstrument(name);
    ASSERT_NE(instrument, nullptr) << name;
    for (const auto& driver : instrument->drivers) {
      DataFilePtr data = studio.GetNewDataFile(driver.get());
      ASSERT_TRUE(data);
      Synth& synth = *data->synth;
      // Types of sister models; and a voice that resets its additional parameters when it comes alone.
      const std::string type = FieldText(synth.typeName);
      const bool other = type.find("(DX11)") != std::string::npos || type.find("(V50)") != std::string::npos ||
                         type.find("(YS)") != std::string::npos || type.find("(50)") != std::string::npos ||
                         type == "Tone Bank (32)" || type == "CZ-1 Tone" || type == "Voice (VCED)";
      if (other) continue;
      SCOPED_TRACE(std::string(key) + " " + type);
      if (!data->receiveScript && !synth.dumpRequestSize && !synth.rolandSize[0]) continue;
      synth.midiInPort = static_cast<std::uint8_t>(midi.in().FindPort(cables->PortName(place)));
      synth.midiOutPort = static_cast<std::uint8_t>(midi.out().FindPort(cables->PortName(place)));
      const TransferResult first = Run(TransferOperation::kReceive, *data);
      EXPECT_TRUE(first.ok) << first.text;
      if (!first.ok) continue;
      ++types;
      if (UsesCommandSequence(synth) && !data->transmitScript) continue;
      const std::vector<std::uint8_t> body(data->body, data->body + data->bodySize);
      const auto memory = Memory(place);
      const TransferResult sent = Run(TransferOperation::kTransmit, *data);
      EXPECT_TRUE(sent.ok) << sent.text;
      EXPECT_TRUE(Memory(place) == memory);
      const TransferResult again = Run(TransferOperation::kReceive, *data);
      EXPECT_TRUE(again.ok) << again.text;
      EXPECT_TRUE(std::equal(body.begin(), body.end(), data->body));
    }
  }
  EXPECT_GE(types, 36);
}

}  // namespace tonalith
