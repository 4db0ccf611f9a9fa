#include "store/entry_state.h"

#include "services/careful_send.h"

namespace tonalith {

namespace {

// No voice of a bank holds anything.
bool AllPlacesEmpty(const DataFile& data) {
  const Synth& synth = *data.synth;
  if (!synth.isBank || !data.emptyMap || synth.numVoices == 0) return false;
  for (std::uint32_t voice = 0; voice < synth.numVoices; ++voice) {
    if (voice / 8 >= data.emptyMapSize || !MapBit(data.emptyMap, data.emptyMapSize, voice)) return false;
  }
  return true;
}

EntryContent ContentOf(const DataFile& data) {
  if (!data.synth) return EntryContent::kUndefined;
  const bool nothingCame = data.xtra && data.xtra->hasNoSysEx != 0;
  const bool noneThere = AllPlacesEmpty(data);
  if (data.synth->isBank && data.synth->patchByPatch != 0) {
    // Its places say what has come, one by one.
    if (noneThere || (nothingCame && !data.emptyMap)) return EntryContent::kUndefined;
  } else if (nothingCame) {
    return EntryContent::kUndefined;
  }
  return noneThere || !data.body || data.bodySize == 0 ? EntryContent::kEmpty : EntryContent::kDefined;
}

}  // namespace

EntryState StateOfEntry(const DataFile& data) {
  EntryState state;
  state.content = ContentOf(data);
  state.inactive = data.xtra && data.xtra->isInactive != 0;
  state.linked = data.isReference != 0;
  state.rom = data.synth && data.synth->isBank != 0 && !CanBeSent(data);
  return state;
}

std::string EntryStateText(const EntryState& state) {
  std::string text = state.content == EntryContent::kDefined ? "defined"
                     : state.content == EntryContent::kEmpty ? "empty"
                                                             : "undefined";
  if (state.inactive) text += ",inactive";
  if (state.linked) text += ",linked";
  return text;
}

void MarkUndefined(DataFile* data) {
  if (data->xtra) data->xtra->hasNoSysEx = 1;
  if (data->emptyMap) std::fill_n(data->emptyMap, data->emptyMapSize, std::uint8_t{0xFF});
}

}  // namespace tonalith
