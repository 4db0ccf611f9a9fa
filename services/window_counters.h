#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <utility>

#include "services/desktop_file.h"

namespace tonalith {

// How many windows of each kind were created since the program started; the frame counts a child window when it takes
// it in.  The numbers end up in the configuration report.  May be used from any thread.
class WindowCounters {
 public:
  // The kinds and the words that their line of the report begins with, in the order of the report.
  static constexpr std::array<std::pair<WindowType, const char*>, 13> kKinds = {{
      {WindowType::PatchEditor, "Patch Editor windows created"},
      {WindowType::BankEditor, "Bank Editor windows created"},
      {WindowType::Set, "Set windows created"},
      {WindowType::Collection, "Collection windows create"},
      {WindowType::Monitor, "Monitor windows created"},
      {WindowType::Zone, "Patch Zone windows created"},
      {WindowType::OscEditor, "OSC Editor windows created"},
      {WindowType::Remote, "Remote windows created"},
      {WindowType::Controller, "MIDI Controller windows created"},
      {WindowType::GraphicMonitor, "Graphic Monitor windows created"},
      {WindowType::Sequencer, "Sequencer windows created"},
      {WindowType::FileConversion, "File Conversion windows created"},
      {WindowType::Creator, "Instrument Creator windows created"},
  }};

  // A kind that is not in the report counts nowhere.
  void Count(WindowType kind) {
    for (std::size_t i = 0; i < kKinds.size(); ++i)
      if (kKinds[i].first == kind) counts_[i].fetch_add(1, std::memory_order_relaxed);
  }
  int Created(WindowType kind) const {
    for (std::size_t i = 0; i < kKinds.size(); ++i)
      if (kKinds[i].first == kind) return counts_[i].load(std::memory_order_relaxed);
    return 0;
  }

 private:
  std::array<std::atomic<int>, kKinds.size()> counts_{};
};

}  // namespace tonalith
