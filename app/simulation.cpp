#include "app/simulation.h"

#include <algorithm>

#include "data/patch_names.h"
#include "platform/atomic_file.h"
#include "platform/log.h"
#include "platform/parallel.h"

namespace tonalith {

namespace {

// A real MIDI cable carries 3125 bytes a second; progress and cancelling can be tried at that pace.
constexpr std::uint32_t kCableRate = 3125;

}  // namespace

Simulation::Simulation(Clock& clock, std::string folder, bool fast)
    : folder_(std::move(folder)), backend_(std::make_shared<VirtualBackend>(clock)) {
  VirtualStudio::Options options;
  options.bytesPerSecond = fast ? 0 : kCableRate;
  virtualStudio_ = std::make_unique<VirtualStudio>(*backend_, options);
}

Simulation::~Simulation() {
  Remember();
}

std::string Simulation::FileOf(std::size_t place) const {
  return folder_ + "/" + FixInvalidFilenameCharacters(virtualStudio_->PortName(place)) + ".syx";
}

std::string Simulation::AttachAll(MadeInstruments made) {
  std::string problem;
  virtualStudio_->AttachAll(std::move(made), &problem);
  kept_.resize(virtualStudio_->Count());
  plugged_.assign(virtualStudio_->Count(), true);
  InParallel(virtualStudio_->Count(), [this](std::size_t place) {
    std::vector<std::uint8_t> dump;
    const std::string file = FileOf(place);
    if (FileExists(file) && ReadWholeFile(file, dump).ok()) {
      virtualStudio_->With(place, [&](SimulatedInstrument& instrument) { instrument.LoadDump(dump); });
    }
    virtualStudio_->With(place, [&](SimulatedInstrument& instrument) { kept_[place] = instrument.Memory(); });
  });
  return problem;
}

void Simulation::Remember() {
  for (std::size_t place = 0; place < kept_.size(); ++place) {
    std::vector<std::uint8_t> memory, dump;
    virtualStudio_->With(place, [&](SimulatedInstrument& instrument) {
      memory = instrument.Memory();
      if (memory != kept_[place]) dump = instrument.Dump();
    });
    if (dump.empty()) continue;
    Result result = MakeFolders(folder_);
    if (result.ok()) result = WriteFileAtomically(FileOf(place), std::span<const std::uint8_t>(dump));
    if (result.ok())
      kept_[place] = std::move(memory);
    else
      MonitorMsg("%s", result.text.c_str());
  }
}

void Simulation::RouteInstruments(ZKStudioDoc& studio, StudioPorts& ports, bool loaded) const {
  const auto inputs = ports.InputPortNames();
  const auto outputs = ports.OutputPortNames();
  for (const auto& instrument : studio.instruments()) {
    const auto fits = [&](const std::string& port) {
      return port.size() >= instrument->name.size() &&
             port.compare(port.size() - instrument->name.size(), std::string::npos, instrument->name) == 0;
    };
    const auto in = std::find_if(inputs.begin(), inputs.end(), fits);
    const auto out = std::find_if(outputs.begin(), outputs.end(), fits);
    const auto there = [loaded](const std::vector<std::string>& names, const std::string& name) {
      const auto found = std::find(names.begin(), names.end(), name);
      return !name.empty() && found != names.end() && !(loaded && found == names.begin());
    };
    if (in != inputs.end() && !there(inputs, instrument->inPortName))
      instrument->SetInPort(static_cast<int>(in - inputs.begin()), *in);
    if (out != outputs.end() && !there(outputs, instrument->outPortName))
      instrument->SetOutPort(static_cast<int>(out - outputs.begin()), *out);
  }
}

void Simulation::SetPlugged(std::size_t place, bool plugged) {
  if (place >= plugged_.size() || plugged_[place] == plugged) return;
  plugged_[place] = plugged;
  if (plugged)
    virtualStudio_->PlugIn(place);
  else
    virtualStudio_->Unplug(place);
}

}  // namespace tonalith
