#include <algorithm>
#include <optional>
#include <set>

#include "data/hex_text.h"
#include "data/patch_names.h"
#include "midi/port_system.h"
#include "platform/ini_file.h"
#include "platform/text.h"
#include "script/render_transmission.h"
#include "script/transfer_engine.h"
#include "script/transfer_engine_services.h"
#include "services/transfer_sentences.h"
#include "simulator/virtual_studio.h"
#include "studio/type_check.h"
#include "tests/instruments/installed_modules.h"

namespace tonalith {

namespace {

using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

struct ModuleKnowledge final : TransferPreferences {
  std::shared_ptr<const ReceivedCheck> CheckOf(const DataFile& data) const override {
    return CheckOfType(InstalledModules::Instance().studio(), data);
  }
};

// One shipped module on one side of a virtual cable, its simulated instrument on the other, in virtual time.
struct ModuleTransfers : ::testing::TestWithParam<std::string> {
  ModuleTransfers() : here(clock), backend(std::make_shared<VirtualBackend>(clock)), midi(clock) {
    cables = std::make_unique<VirtualStudio>(*backend, VirtualStudio::Options{3125});
    PlugIn(GetParam());
    for (const auto& [id, text] : modules.simulated())
      if (text.rfind("as ", 0) == 0 && ModuleOf(id) == GetParam()) PlugIn(text.substr(3));
    midi.AddBackend(backend);
    midi.Start();
    midi.MidiPortInOpenPorts();
    midi.MidiPortOutOpenPorts();
    services = std::make_unique<MidiScriptServices>(midi.out(), midi.in());
    engine = std::make_unique<TransferEngine>(*services, prompts, &midi.out(), &knowledge);
    for (const auto& [name, folder] : modules.keys())
      if (folder == GetParam()) instrument = modules.studio().FindInstrument(name);
  }
  ~ModuleTransfers() override {
    engine.reset();
    midi.Stop();
    cables.reset();
  }

  void SetUp() override {
    const auto problem = modules.problems().find(GetParam());
    ASSERT_TRUE(problem == modules.problems().end()) << problem->second;
    ASSERT_NE(instrument, nullptr);
    ASSERT_GE(cables->Count(), 1u);
    for (std::size_t i = 0; i < cables->Count(); ++i)
      cables->With(i, [](SimulatedInstrument& simulated) { simulated.SetMemoryProtect(false); });
  }

  // A sister model may stand on a cable of its own.
  void PlugIn(const std::string& key) {
    if (cables->Find(key) < cables->Count()) return;
    std::string problem;
    auto simulated = SimulatedInstrument::Create(key, &problem);
    EXPECT_TRUE(simulated) << problem;
    if (simulated) cables->Attach(std::move(simulated));
  }
  std::string ModuleOf(int driverId) {
    for (const auto& shipped : modules.studio().instruments())
      for (const auto& driver : shipped->drivers)
        if (driver->synth()->driverId == driverId) return modules.keys().at(shipped->name);
    return {};
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
  Bytes Memory() {
    Bytes memory;
    cables->With(place, [&](SimulatedInstrument& simulated) { memory = simulated.Memory(); });
    return memory;
  }
  void RestoreMemory(const Bytes& memory) {
    cables->With(place, [&](SimulatedInstrument& simulated) { simulated.RestoreMemory(memory); });
  }
  Names NamesOf(const DataFile& data) {
    Names names;
    for (const PatchLine& line : modules.recognizer().Patches(data)) names.push_back(line.name);
    return names;
  }
  bool HasForms(const DataFile& data) const {
    const IniFile ini(instrument->GetIniPath().string());
    return !ini.Entries("Recognize " + std::to_string(data.synth->driverId)).empty();
  }
  void ExpectRecognized(const Bytes& dump, const DataFile& data, const Names& names);
  void PanelSends(const ZKDrvList& driver, const std::string& messages);
  void ThereAndBack(const ZKDrvList& driver);
  void OnePatch(DataFile& data);

  InstalledModules& modules = InstalledModules::Instance();
  std::set<std::string> banksSeen;
  std::size_t place = 0;  // of the simulated instrument that is asked
  VirtualClock clock;
  ClockThread here;
  std::shared_ptr<VirtualBackend> backend;
  MidiPortSystem midi;
  ScriptedPrompts prompts{{}};
  ModuleKnowledge knowledge;
  std::unique_ptr<VirtualStudio> cables;
  std::unique_ptr<MidiScriptServices> services;
  std::unique_ptr<TransferEngine> engine;
  const ZKDrvList* instrument = nullptr;
};

Bytes BodyOf(const DataFile& data) {
  return {data.body, data.body + data.synth->fileSize};
}

// Limits the transfers of a bank to some of its patches, as long as it lives.
class SomePatches {
 public:
  SomePatches(DataFile& data, std::vector<std::uint32_t> patches) : data_(data), mask_(data.synth->numVoices) {
    for (const std::uint32_t patch : patches) mask_[patch] = 1;
    data_.transferMask = mask_.data();
    data_.transferMaskSize = mask_.size();
  }
  ~SomePatches() {
    data_.transferMask = nullptr;
    data_.transferMaskSize = 0;
  }

 private:
  DataFile& data_;
  Bytes mask_;
};

// Something in the first voice becomes different: its name, or a byte in its middle.
void ChangeFirstVoice(DataFile* data) {
  const Synth& synth = *data->synth;
  const bool anySize = (synth.optionBits & 2) == 0;
  const std::size_t middle = anySize ? synth.fileSize / 2 : synth.headerSize + synth.voiceOffset + synth.voiceSize / 2;
  const bool named = !synth.namesSeparate && SetPatchName(data, 0, "NEW");
  if (!named && middle < data->bodySize) data->body[middle] ^= 1;
}

}  // namespace

void ModuleTransfers::ExpectRecognized(const Bytes& dump, const DataFile& data, const Names& names) {
  Recognition found;
  const Result result = modules.recognizer().Recognize(dump, &found);
  EXPECT_TRUE(result.ok()) << result.text;
  bool same = false;
  std::string seen;
  for (const RecognizedPiece& piece : found.pieces) {
    seen += piece.instrument + " " + piece.dataType + " " + ChecksumVerdictText(piece.checksum) + "; ";
    if (piece.driverId != data.synth->driverId || piece.checksum == ChecksumVerdict::kBad) continue;
    same = same || names.empty() || NamesOf(*piece.data) == names;
  }
  EXPECT_TRUE(same) << seen << HexText(dump).substr(0, 100);
}

// Data that cannot be asked for: what the panel sends is recognised for what it is.
void ModuleTransfers::PanelSends(const ZKDrvList& driver, const std::string& messages) {
  Bytes dump;
  cables->With(place, [&](SimulatedInstrument& simulated) {
    std::vector<Reply> replies;
    std::string problem;
    EXPECT_TRUE(simulated.Press(messages, &replies, &problem)) << problem;
    for (const Reply& reply : replies) dump.insert(dump.end(), reply.bytes.begin(), reply.bytes.end());
  });
  ASSERT_FALSE(dump.empty()) << "the simulated instrument does not send \"" << messages << "\"";
  const DataFilePtr data = modules.studio().GetNewDataFile(&driver);
  ExpectRecognized(dump, *data, {});
}

void ModuleTransfers::ThereAndBack(const ZKDrvList& driver) {
  DataFilePtr data = modules.studio().GetNewDataFile(&driver);
  ASSERT_TRUE(data);
  Synth& synth = *data->synth;
  ASSERT_TRUE(data->receiveScript || synth.dumpRequestSize || synth.rolandSize[0] || synth.rolandSize[1] ||
              synth.rolandSize[2])
      << "it cannot be asked for: the source has to say `simulated = ...`";
  synth.midiInPort = static_cast<std::uint8_t>(midi.in().FindPort(cables->PortName(place)));
  synth.midiOutPort = static_cast<std::uint8_t>(midi.out().FindPort(cables->PortName(place)));
  // Of a further bank of the same kind some patches will do.
  const bool byPatch = PatchAddressable(synth) && UsesCommandSequence(synth);
  std::optional<SomePatches> some;
  if (byPatch && !banksSeen.insert(FieldText(synth.typeKey)).second)
    some.emplace(*data, std::vector<std::uint32_t>{0, 1, synth.numVoices / 2});
  const TransferResult first = Run(TransferOperation::kReceive, *data);
  ASSERT_TRUE(first.ok) << EndSentence(FactsOf(first));
  EXPECT_NE(modules.recognizer().Verify(*data), ChecksumVerdict::kBad);
  const Bytes body = BodyOf(*data);
  // Names beside the data are the user's own.
  const Names names = synth.namesSeparate ? Names() : NamesOf(*data);
  if (synth.nameLength) {
    EXPECT_FALSE(names.empty());
    for (const std::string& name : names) EXPECT_FALSE(name.empty());
  }
  if (UsesCommandSequence(synth) && !data->transmitScript) return;

  // Sent back it changes nothing; changed it comes back changed.
  const Bytes memory = Memory();
  const TransferResult back = Run(TransferOperation::kTransmit, *data);
  EXPECT_TRUE(back.ok) << EndSentence(FactsOf(back));
  EXPECT_TRUE(Memory() == memory);
  const Bytes file = RenderTransmission(*data, prompts).stream;
  if (HasForms(*data)) ExpectRecognized(file, *data, names);
  if (!some) {
    EXPECT_GE(file.size(), body.size() / 2) << "a file holds what a handshake would move";
  }
  ChangeFirstVoice(data.get());
  const TransferResult changed = Run(TransferOperation::kTransmit, *data);
  EXPECT_TRUE(changed.ok) << EndSentence(FactsOf(changed));
  EXPECT_FALSE(Memory() == memory) << "the instrument did not take the data";
  const Bytes wanted = BodyOf(*data);
  const TransferResult again = Run(TransferOperation::kReceive, *data);
  EXPECT_TRUE(again.ok) << EndSentence(FactsOf(again));
  EXPECT_TRUE(BodyOf(*data) == wanted);
  if (synth.nameLength) {
    EXPECT_NE(NamesOf(*data), names);
  }
  RestoreMemory(memory);
  some.reset();
  if (byPatch) OnePatch(*data);
}

// A patch of a bank alone: nothing else is fetched, nothing else is sent.
void ModuleTransfers::OnePatch(DataFile& data) {
  const Synth& synth = *data.synth;
  std::uint32_t patch = synth.numVoices - 1;
  while (patch > 0 && MapBit(data.emptyMap, data.emptyMapSize, patch)) --patch;
  const SomePatches only(data, {patch});
  const std::size_t begin = synth.headerSize + std::size_t{synth.voiceSize} * patch;
  const Bytes before = BodyOf(data);
  std::fill_n(data.body + begin, synth.voiceSize, std::uint8_t{0});
  const TransferResult fetched = Run(TransferOperation::kReceive, data);
  EXPECT_TRUE(fetched.ok) << EndSentence(FactsOf(fetched));
  EXPECT_EQ(fetched.patchesToDo, 1);
  EXPECT_TRUE(BodyOf(data) == before);
  const Bytes memory = Memory();
  ChangeFirstVoice(&data);  // which is not sent
  const TransferResult back = Run(TransferOperation::kTransmit, data);
  EXPECT_TRUE(back.ok) << EndSentence(FactsOf(back));
  EXPECT_TRUE(Memory() == memory);
}

// Every data type of the module is received, looked at, sent back, changed and received again.
TEST_P(ModuleTransfers, EveryTypeThereAndBack) {
  for (const auto& driver : instrument->drivers) {
    SCOPED_TRACE(GetParam() + " " + driver->TypeName());
    const std::string simulated = modules.Simulated(driver->synth()->driverId);
    if (simulated == "no") continue;
    const bool sister = simulated.rfind("as ", 0) == 0;
    place = sister ? cables->Find(simulated.substr(3)) : 0;
    ASSERT_LT(place, cables->Count());
    if (simulated.empty() || sister)
      ThereAndBack(*driver);
    else
      PanelSends(*driver, simulated);
  }
}

// A byte that changed on the cable is noticed by every script whose data has a checksum; what was there stays.
TEST_P(ModuleTransfers, DamagedAnswersAreRefused) {
  for (const auto& driver : instrument->drivers) {
    SCOPED_TRACE(GetParam() + " " + driver->TypeName());
    DataFilePtr data = modules.studio().GetNewDataFile(driver.get());
    ASSERT_TRUE(data);
    if (!data->receiveScript || modules.recognizer().Verify(*data) != ChecksumVerdict::kOk) continue;
    if (!modules.Simulated(data->synth->driverId).empty()) continue;
    data->synth->midiInPort = static_cast<std::uint8_t>(midi.in().FindPort(cables->PortName(place)));
    data->synth->midiOutPort = static_cast<std::uint8_t>(midi.out().FindPort(cables->PortName(place)));
    std::string problem;
    const auto plan = FaultPlan::Parse("corrupt-byte:reply=0", &problem);
    ASSERT_TRUE(plan) << problem;
    cables->With(place, [&](SimulatedInstrument& simulated) { simulated.SetFaults(*plan); });
    const Bytes before = BodyOf(*data);
    const TransferResult result = Run(TransferOperation::kReceive, *data);
    EXPECT_FALSE(result.ok);
    EXPECT_TRUE(BodyOf(*data) == before);
    cables->With(place, [&](SimulatedInstrument& simulated) { simulated.SetFaults({}); });
  }
}

INSTANTIATE_TEST_SUITE_P(All, ModuleTransfers, ::testing::ValuesIn(ModuleFolders()), [](const auto& test) {
  std::string name = test.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

}  // namespace tonalith
