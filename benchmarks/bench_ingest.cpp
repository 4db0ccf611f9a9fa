// Dump ingest on one core: split a SysEx stream, verify each message's checksum, read every patch name.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "data/checksums.h"
#include "data/patch_names.h"
#include "data/sysex_split.h"

namespace {
std::size_t allocationCount = 0;
}

[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocationCount;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using namespace tonalith;

constexpr std::size_t kBankSize = 4104;

// 32 voices of 128 bytes with a ten-character name at 118.
Synth BankDescriptor() {
  Synth s{};
  s.fileSize = kBankSize;
  s.headerSize = 6;
  s.numVoices = 32;
  s.voiceSize = s.voiceBytes = 128;
  s.nameLength = 10;
  s.nameOffset = 118;
  s.checksumStart = 6;
  s.checksumLength = 4096;
  s.checksumOffset = 4102;
  return s;
}

std::vector<std::uint8_t> Stream(std::size_t messages) {
  const Synth s = BankDescriptor();
  std::vector<std::uint8_t> stream;
  std::uint32_t state = 1;
  for (std::size_t m = 0; m < messages; ++m) {
    std::vector<std::uint8_t> bank(kBankSize);
    for (auto& b : bank) {
      state = state * 1664525 + 1013904223;
      b = static_cast<std::uint8_t>(state >> 25);
    }
    std::memcpy(bank.data(), "\xF0\x43\x00\x09\x20\x00", 6);
    bank.back() = 0xF7;
    for (std::size_t v = 0; v < 32; ++v) std::memcpy(bank.data() + 6 + 128 * v + 118, "VOICE NAME", 10);
    CSum(bank, 0, s.checksumType, s.checksumStart, s.checksumLength, s.checksumOffset);
    stream.insert(stream.end(), bank.begin(), bank.end());
  }
  return stream;
}

void BM_SplitVerifyWalk(benchmark::State& state) {
  const std::vector<std::uint8_t> stream = Stream(4096);
  const Synth s = BankDescriptor();
  const std::size_t before = allocationCount;
  for (auto _ : state) {
    SysExSplitter splitter(stream);
    SysExPiece piece;
    std::size_t good = 0, letters = 0;
    char name[kNameBuffer];
    while (splitter.Next(&piece)) {
      if (piece.bytes.size() != kBankSize) continue;
      good += VerifyChecksum(s, piece.bytes) == ChecksumVerdict::kOk;
      const auto voices = piece.bytes.subspan(s.headerSize);
      for (std::uint32_t v = 0; v < s.numVoices; ++v) {
        BankDispString(&s, voices, name, s.nameLength, std::int64_t{v} * s.voiceSize, s.nameOffset, s.nameFormat);
        letters += static_cast<std::size_t>(name[0]);
      }
    }
    if (good != 4096) state.SkipWithError("a checksum did not verify");
    benchmark::DoNotOptimize(letters);
  }
  state.counters["allocations_per_message"] =
      static_cast<double>(allocationCount - before) / (4096.0 * static_cast<double>(state.iterations()));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(stream.size()));
}
BENCHMARK(BM_SplitVerifyWalk);

void BM_SplitOnly(benchmark::State& state) {
  const std::vector<std::uint8_t> stream = Stream(4096);
  for (auto _ : state) {
    SysExSplitter splitter(stream);
    SysExPiece piece;
    std::size_t messages = 0;
    while (splitter.Next(&piece)) ++messages;
    benchmark::DoNotOptimize(messages);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(stream.size()));
}
BENCHMARK(BM_SplitOnly);

void BM_Checksum(benchmark::State& state) {
  const std::vector<std::uint8_t> stream = Stream(4096);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        VerifyChecksum(stream, static_cast<int>(state.range(0)), 0, static_cast<std::int64_t>(stream.size()) / 4, 0));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(stream.size()) / 4);
}
BENCHMARK(BM_Checksum)->Arg(0)->Arg(6)->Arg(7)->Arg(13)->Arg(16);

}  // namespace

BENCHMARK_MAIN();
