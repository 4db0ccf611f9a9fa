// What undo costs: a step of a dragged knob, a command on a large bank, undo and redo of a whole receive.

#include <benchmark/benchmark.h>

#include <vector>

#include "document/history.h"

namespace {

using namespace tonalith;

constexpr std::size_t kImage = 100'000;

class OneBuffer : public HistoryTarget {
 public:
  std::vector<BufferId> HistoryBuffers() const override { return {{}}; }
  std::span<std::uint8_t> HistoryBytes(BufferId) override { return bytes; }
  bool ResizeHistoryBuffer(BufferId, std::size_t size) override {
    bytes.resize(size);
    return true;
  }
  std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(kImage);
};

void KnobStep(benchmark::State& state) {
  OneBuffer buffer;
  History history;
  history.SetTarget(&buffer);
  std::uint8_t value = 0;
  for (auto _ : state) {
    ++value;
    history.Begin("Cutoff", 1);
    history.Write({}, 5000, {&value, 1});
    history.End();
    benchmark::DoNotOptimize(history.IsModified());
  }
  state.counters["bytes"] = static_cast<double>(history.MemoryBytes());
}
BENCHMARK(KnobStep);

void CommandThatComparesTheWholeImage(benchmark::State& state) {
  OneBuffer buffer;
  History history;
  history.SetTarget(&buffer);
  for (auto _ : state) {
    history.Begin("Rename");
    history.RememberWhole({});
    ++buffer.bytes[5000];
    history.End();
  }
}
BENCHMARK(CommandThatComparesTheWholeImage);

void UndoAndRedoOfAReceive(benchmark::State& state) {
  OneBuffer buffer;
  History history;
  history.SetTarget(&buffer);
  history.Begin("Get from Instrument");
  history.RememberEverything();
  for (std::size_t i = 0; i < kImage; ++i) buffer.bytes[i] = static_cast<std::uint8_t>(i * 7 % 127 + 1);
  history.End();
  for (auto _ : state) {
    history.Undo();
    history.Redo();
  }
}
BENCHMARK(UndoAndRedoOfAReceive);

}  // namespace

BENCHMARK_MAIN();
