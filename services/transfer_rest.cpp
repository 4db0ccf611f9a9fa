#include "services/transfer_rest.h"

#include <algorithm>

namespace tonalith {

namespace {

using Patches = std::vector<std::uint8_t>;

bool GoesByPatch(const DataFile& data) {
  return data.synth && PatchAddressable(*data.synth) && UsesCommandSequence(*data.synth);
}

bool Counts(const Patches& patches, std::size_t patch) {
  return patches.empty() || (patch < patches.size() && patches[patch] != 0);
}

// Of the patches that were meant, those that were not done are left, and no other of them.
void Leave(std::size_t voices, const Patches& meant, const Patches& done, Patches* left) {
  left->resize(voices);
  for (std::size_t i = 0; i < voices; ++i)
    if (Counts(meant, i)) (*left)[i] = done[i] ? 0 : 1;
  if (CountPatches(*left) == 0) left->clear();
}

}  // namespace

void NoteGet(const DataFile& data, const Patches& patches, const DeskResult& result, TransferRest* rest) {
  if (!GoesByPatch(data)) return;
  const std::size_t voices = data.synth->numVoices;
  // A Get that was not begun names no patches.
  const bool begun = result.ok || !result.faults.empty() || result.patchesDone > 0;
  Patches done(voices, begun ? 1 : 0);
  for (const PatchFault& fault : result.faults)
    if (!fault.kept && fault.patch >= 0 && static_cast<std::size_t>(fault.patch) < voices)
      done[static_cast<std::size_t>(fault.patch)] = 0;
  Leave(voices, patches, done, &rest->notReceived);
}

void NoteSend(const DataFile& data, const Patches& patches, const DeskResult& result, TransferRest* rest) {
  if (!GoesByPatch(data) || (!result.ok && result.sent.empty())) return;
  const std::size_t voices = data.synth->numVoices;
  Patches done(voices, result.ok ? 1 : 0);
  for (const int patch : result.sent)
    if (patch >= 0 && static_cast<std::size_t>(patch) < voices) done[static_cast<std::size_t>(patch)] = 1;
  Leave(voices, PatchesToSend(data, patches), done, &rest->notSent);
}

Patches PatchesToSend(const DataFile& data, const Patches& patches) {
  Patches sent(data.synth ? +data.synth->numVoices : 0);
  for (std::size_t i = 0; i < sent.size(); ++i)
    sent[i] = Counts(patches, i) && !MapBit(data.emptyMap, data.emptyMapSize, static_cast<std::uint32_t>(i)) ? 1 : 0;
  return sent;
}

int CountPatches(const Patches& patches) {
  return static_cast<int>(patches.size() - static_cast<std::size_t>(std::count(patches.begin(), patches.end(), 0)));
}

std::string SlotsText(const Patches& patches) {
  std::string text;
  for (std::size_t i = 0; i < patches.size(); ++i) {
    if (!patches[i]) continue;
    std::size_t last = i;
    while (last + 1 < patches.size() && patches[last + 1]) ++last;
    text += (text.empty() ? "" : ",") + std::to_string(i) + (last > i ? "-" + std::to_string(last) : "");
    i = last;
  }
  return text;
}

}  // namespace tonalith
