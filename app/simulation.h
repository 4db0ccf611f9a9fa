#pragma once

#include <memory>
#include <string>

#include "midi/backends/virtual_backend.h"
#include "simulator/virtual_studio.h"
#include "studio/studio_document.h"

namespace tonalith {

// Simulated instruments on virtual cables, for trying the program without hardware.  What is sent to them is kept in a
// folder, so that they remember it until the next start like the real ones.
class Simulation {
 public:
  // `folder` (UTF-8) is made when something is kept.  `fast`: cables without the pace of a real one.
  Simulation(Clock& clock, std::string folder, bool fast = false);
  ~Simulation();
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  std::shared_ptr<VirtualBackend> backend() const { return backend_; }
  // Plugs these instruments in with what they remember; a sentence for each that could not be read.
  std::string AttachAll(MadeInstruments made = MadeInstruments::All());
  VirtualStudio& studio() { return *virtualStudio_; }
  // Routes every instrument of the studio to the simulated one of its name, where there is one, unless its port is
  // there. `loaded`: the studio was just read; one that was saved without ports has the first port everywhere, which
  // does not count as chosen.
  void RouteInstruments(ZKStudioDoc& studio, StudioPorts& ports, bool loaded = false) const;
  // Keeps the memory of every instrument whose memory changed.
  void Remember();
  bool Plugged(std::size_t place) const { return plugged_[place]; }
  void SetPlugged(std::size_t place, bool plugged);

 private:
  std::string FileOf(std::size_t place) const;

  std::string folder_;
  std::shared_ptr<VirtualBackend> backend_;
  std::unique_ptr<VirtualStudio> virtualStudio_;
  std::vector<std::vector<std::uint8_t>> kept_;  // the memory that the next start finds
  std::vector<bool> plugged_;
};

}  // namespace tonalith
