// Feeds any bytes to the container reader; what it accepts must survive naming, dumping and writing.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "data/checksums.h"
#include "data/container.h"
#include "data/data_text.h"
#include "data/packed_bytes.h"
#include "data/patch_names.h"

namespace {

using namespace tonalith;

void Exercise(DataFile* df) {
  DataFileText(*df, false);
  if (!df->synth) return;
  for (int patch = -1; patch < 3; ++patch) SetPatchName(df, patch, GetPatchName(*df, patch) + "x");
  for (std::uint32_t voice = 0; voice < 3; ++voice) VoiceRange(*df, voice);
  const ImageView view(BodySpan(*df), *df->synth);
  view.BankTransferFrom(view, df->synth->headerSize, df->synth->headerSize, 0, df->synth->voiceSize,
                        df->synth->voiceBytes);
  VerifyChecksum(*df->synth, BodySpan(*df));
  FormatNewFile(df->synth, BodySpan(*df));
  const DataFilePtr copy(DupForUser(df));
  std::vector<std::uint8_t> written;
  DiskWriteForm(&written, *df);
}

void ExerciseList(const ListFile& list) {
  if (list.header) Exercise(list.header.get());
  for (const ListMember& member : list.members) {
    if (member.data) Exercise(member.data.get());
    if (member.list) ExerciseList(*member.list);
  }
}

// What could not be read is written again as it stood, and may announce more than it has.
bool KeepsUnread(const ListFile& list) {
  return !list.unread.empty() || std::any_of(list.members.begin(), list.members.end(), [](const ListMember& member) {
    return member.list && KeepsUnread(*member.list);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const bool isShort = MissingBytes({data, size}) != 0;
  if (MissingSentence("x", {data, size}).empty() == isShort) __builtin_trap();
  for (const int mode : {0, 1}) {
    FormReadOptions options;
    options.mode = mode;
    ListFile list;
    if (ReadListOrForm({data, size}, options, &list) != kDiskOk) continue;
    ExerciseList(list);
    std::vector<std::uint8_t> first, second;
    WriteList(&first, list);
    if (MissingBytes(first) != 0 && !KeepsUnread(list)) __builtin_trap();
    // Empty buffers are not written, so that the file may be smaller than what it came from.
    ReadBudget budget(std::size_t{1} << 24);
    options.budget = &budget;
    ListFile again;
    if (ReadList(first, options, &again) != kDiskOk) __builtin_trap();
    WriteList(&second, again);
    if (second != first) __builtin_trap();
  }
  return 0;
}
