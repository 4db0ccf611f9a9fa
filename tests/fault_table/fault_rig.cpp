#include "tests/fault_table/fault_rig.h"

#include <cstdio>
#include <cstdlib>

#include "data/patch_names.h"
#include "midi/backends/virtual_backend.h"
#include "platform/text.h"
#include "studio/type_check.h"

namespace tonalith::fault_table {

namespace {

constexpr std::int64_t kLongestMs = 36'000'000;  // of one transfer, in virtual time
constexpr std::int64_t kLatestMs = 60'000;       // all late answers have come
constexpr std::int64_t kRestMs = 3000;           // an instrument works on what it was sent

// The program whose settings and folders every rig shares.
class SharedProgram {
 public:
  SharedProgram()
      : program_(Folders::Below(InstalledModules::Instance().folder() / "root"), SystemClock(), prompts_, dispatcher_) {
    program_.ConfigBasics();
  }
  Program& program() { return program_; }

 private:
  ScriptedPrompts prompts_{{}};
  Dispatcher dispatcher_;
  Program program_;
};

Program& TheProgram() {
  static SharedProgram shared;
  return shared.program();
}

// Read once: a rig is made for every row.
const InstrumentDescription& DescriptionOf(const std::string& key) {
  static std::map<std::string, InstrumentDescription> known;
  const auto found = known.find(key);
  if (found != known.end()) return found->second;
  DescriptionResult result = LoadDescriptionByKey(key);
  if (!result.description) {
    std::fprintf(stderr, "The module \"%s\" has no simulated instrument: %s\n", key.c_str(), result.problem.c_str());
    std::exit(EXIT_FAILURE);
  }
  return known.emplace(key, *std::move(result.description)).first->second;
}

}  // namespace

std::vector<TableType> TableTypes() {
  InstalledModules& modules = InstalledModules::Instance();
  std::vector<TableType> types;
  for (const auto& instrument : modules.studio().instruments()) {
    for (const auto& driver : instrument->drivers) {
      TableType type;
      type.module = modules.keys().at(instrument->name);
      type.driver = driver.get();
      const std::string says = modules.Simulated(driver->synth()->driverId);
      if (says == "no") continue;
      const bool sister = says.rfind("as ", 0) == 0;
      type.simulated = sister ? says.substr(3) : type.module;
      if (!sister) type.panel = says;
      const DataFilePtr data = modules.studio().GetNewDataFile(driver.get());
      const Synth& synth = *data->synth;
      type.byPatch = PatchAddressable(synth) && UsesCommandSequence(synth);
      type.sends = !UsesCommandSequence(synth) || data->transmitScript;
      type.hasChecksum = modules.recognizer().Verify(*data) == ChecksumVerdict::kOk;
      types.push_back(std::move(type));
    }
  }
  return types;
}

FaultRig::FaultRig(const std::string& simulated)
    : here_(clock_), dispatcher_(clock_), backend_(std::make_shared<VirtualBackend>(clock_)) {
  studio_ = std::make_unique<VirtualStudio>(*backend_, VirtualStudio::Options{3125});
  studio_->Attach(std::make_unique<SimulatedInstrument>(DescriptionOf(simulated)));
  studio_->With(0, [](SimulatedInstrument& instrument) { instrument.SetMemoryProtect(false); });
  program_ = TheProgram().MakeMidi(clock_, dispatcher_);
  program_->scripts().SetReceivedChecks(
      [](const DataFile& data) { return CheckOfType(InstalledModules::Instance().studio(), data); });
  program_->midi().AddBackend(backend_);
  program_->midi().Start();
  program_->midi().MidiPortInOpenPorts();
  program_->midi().MidiPortOutOpenPorts();
}

FaultRig::~FaultRig() {
  program_.reset();
  studio_.reset();
}

void FaultRig::SetFaults(const std::string& plan) {
  VirtualFaults cable;
  if (plan.rfind(kLostEvent, 0) == 0) {
    cable.loseEvent = std::stoll(plan.substr(kLostEvent.size()));
    return studio_->SetCableFaults(0, cable);
  }
  studio_->SetCableFaults(0, cable);
  std::string problem;
  const auto faults = FaultPlan::Parse(plan, &problem);
  EXPECT_TRUE(faults) << problem;
  studio_->With(0, [&](SimulatedInstrument& instrument) { instrument.SetFaults(faults.value_or(FaultPlan())); });
}

void FaultRig::Route(DataFile& data) {
  const std::string port = studio_->PortName(0);
  data.synth->midiInPort = static_cast<std::uint8_t>(program_->midi().in().FindPort(port));
  data.synth->midiOutPort = static_cast<std::uint8_t>(program_->midi().out().FindPort(port));
}

DeskResult FaultRig::Run(DeskStep::Kind kind, DataFile& data, const std::vector<std::uint8_t>& patches) {
  Route(data);
  DeskRequest request = DeskRequest::Of(kind, &data);
  request.steps.front().patches = patches;
  request.steps.front().get.twice = readTwice_;
  return Run(std::move(request));
}

DeskResult FaultRig::Run(DeskRequest request, const std::function<void(const DeskEvent&)>& during) {
  request.showWindow = 0;
  request.observer = during;
  const TransferDesk::Job job = program_->desk().Submit(std::move(request));
  hung_ = !program_->desk().Wait(job, kLongestMs);
  if (hung_) program_->desk().Cancel(job, true), program_->desk().Wait(job, kLongestMs);
  dispatcher_.RunUntil([] { return false; }, clock_.NowUs() + kRestMs * 1000);
  return job->result();
}

void FaultRig::Recover() {
  SetFaults({});
  studio_->PlugIn(0);
  program_->UpdateMidiPorts();
  dispatcher_.RunUntil([] { return false; }, clock_.NowUs() + kLatestMs * 1000);
}

Bytes FaultRig::PanelDump(const std::string& messages) {
  Bytes dump;
  studio_->With(0, [&](SimulatedInstrument& instrument) {
    std::vector<Reply> replies;
    std::string problem;
    EXPECT_TRUE(instrument.Press(messages, &replies, &problem)) << problem;
    for (const Reply& reply : replies) dump.insert(dump.end(), reply.bytes.begin(), reply.bytes.end());
  });
  return dump;
}

Bytes FaultRig::Memory() {
  Bytes memory;
  studio_->With(0, [&](SimulatedInstrument& instrument) { memory = instrument.Memory(); });
  return memory;
}

void FaultRig::RestoreMemory(const Bytes& memory) {
  studio_->With(0, [&](SimulatedInstrument& instrument) { instrument.RestoreMemory(memory); });
}

int FaultRig::Heard() {
  int count = 0;
  studio_->With(0, [&](SimulatedInstrument& instrument) { count = instrument.messagesReceived(); });
  return count;
}

int FaultRig::Said() {
  int count = 0;
  studio_->With(0, [&](SimulatedInstrument& instrument) { count = instrument.messagesSent(); });
  return count;
}

std::int64_t FaultRig::Carried() {
  return studio_->Carried(0);
}

}  // namespace tonalith::fault_table
