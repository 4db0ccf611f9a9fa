#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>
#include <utility>

namespace tonalith {

// How many windows of each kind were created since the program started.  A window counts itself in its constructor:
//   WindowCounters::Instance().Count("Bank Editor");
// The numbers end up in the configuration report.  May be used from any thread.
class WindowCounters {
 public:
  // The kinds and the words that their line of the report begins with, in the order of the report.
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 13> kKinds = {{
      {"Patch Editor", "Patch Editor windows created"},
      {"Bank Editor", "Bank Editor windows created"},
      {"Set", "Set windows created"},
      {"Collection", "Collection windows create"},
      {"Monitor", "Monitor windows created"},
      {"Patch Zone", "Patch Zone windows created"},
      {"OSC Editor", "OSC Editor windows created"},
      {"Remote", "Remote windows created"},
      {"MIDI Controller", "MIDI Controller windows created"},
      {"Graphic Monitor", "Graphic Monitor windows created"},
      {"Sequencer", "Sequencer windows created"},
      {"File Conversion", "File Conversion windows created"},
      {"Instrument Creator", "Instrument Creator windows created"},
  }};

  static WindowCounters& Instance() {
    static WindowCounters counters;
    return counters;
  }

  // An unknown kind counts nowhere.
  void Count(std::string_view kind) {
    for (std::size_t i = 0; i < kKinds.size(); ++i)
      if (kKinds[i].first == kind) counts_[i].fetch_add(1, std::memory_order_relaxed);
  }
  int Created(std::string_view kind) const {
    for (std::size_t i = 0; i < kKinds.size(); ++i)
      if (kKinds[i].first == kind) return counts_[i].load(std::memory_order_relaxed);
    return 0;
  }

 private:
  std::array<std::atomic<int>, kKinds.size()> counts_{};
};

}  // namespace tonalith
