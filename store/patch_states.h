#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// Which patches of some data are not as its file, or as its instrument, has them.  Keeps a number of 64 bits for what
// each patch holds, not the patches themselves.
class PatchStates {
 public:
  // The data as it is now; to be called after it has changed.  Gives the patches that hold something else than before;
  // of data that had another number of patches none.
  std::vector<int> Read(const DataFile& dataFile);
  // The file holds the data as it was read last.
  void FileHoldsAll() { file_ = now_; }
  // The instrument holds these patches as they were read last; null: all.
  void InstrumentHolds(const std::function<bool(std::size_t patch)>& which = {});
  // The same with what the patches were when their Sounds were taken.
  void InstrumentHolds(const std::vector<std::uint64_t>& sounds, const std::function<bool(std::size_t patch)>& which);

  // The instrument holds what other data of the same form has; patches that are undefined there stay as they are.
  void InstrumentHolds(const DataFile& held);
  // The Sounds that the instrument holds; of another length than the data: it holds nothing of it.
  const std::vector<std::uint64_t>& HeldSounds() const { return instrument_; }
  void TakeHeldSounds(std::vector<std::uint64_t> sounds) { instrument_ = std::move(sounds); }

  // Without a file nothing counts as changed.
  bool DiffersFromFile(int patch) const;
  // What was not changed since it came from a file or the instrument, or was sent there, does not differ.
  bool DiffersFromInstrument(int patch) const;
  // What the patch holds, as a number; another one when it changes.
  std::uint64_t Sound(int patch) const;
  std::vector<std::uint64_t> Sounds() const;

 private:
  struct State {
    std::uint64_t sound = 0;  // bytes, separate name, whether there is anything
    std::uint64_t texts = 0;  // what is kept beside
    bool operator==(const State&) const = default;
  };
  static State StateOf(const DataFile& dataFile, std::uint32_t patch, bool single);

  std::vector<State> now_, file_;
  std::vector<std::uint64_t> instrument_;
};

}  // namespace tonalith
