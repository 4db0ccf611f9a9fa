#include "catalogue/near_sounds.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "catalogue/file_patches.h"
#include "catalogue/sound_print.h"
#include "data/container.h"
#include "platform/file_bytes.h"
#include "platform/text.h"
#include "studio/recognize.h"

namespace tonalith {

namespace {

using Values = std::span<const std::int32_t>;

std::optional<std::uint32_t> DifferentUpTo(Values a, Values b, std::uint32_t most) {
  if (a.size() != b.size()) return std::nullopt;
  std::uint32_t different = 0;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (a[i] != b[i] && ++different > most) return std::nullopt;
  return different;
}

// Visits the patches of one instrument in a file with their values.
template <typename Take>
Result VisitValues(const Recognizer& recognizer, const std::string& path, const std::string& instrument,
                   const Take& take) {
  FileBytes bytes;
  if (Result read = LoadDiskFile(path, &bytes); !read.ok()) return read;
  FilePatches patches(recognizer);
  SoundPrinter printer;
  const FoundType* type = nullptr;
  patches.Visit(
      bytes, [&type](const FoundPiece& piece) { type = piece.type; },
      [&](std::uint32_t slot, const PatchView& patch) {
        if (type->instrument != instrument) return;
        const PatchSource& source = *patch.source;
        take(slot, patch, *type,
             printer.Values(source.synth, source.layout, source.image, static_cast<std::uint32_t>(patch.slot)));
      });
  return Result::Success();
}

}  // namespace

Result FindNear(Catalogue& catalogue, const Recognizer& recognizer, const std::string& file, std::uint32_t slot,
                std::uint32_t most, const CancelToken& cancel, const NearTaker& take) {
  Catalogue::PatchPlace place;
  if (Result found = catalogue.FindPatch(file, slot, &place); !found.ok()) return found;
  const auto kind = catalogue.kinds().find(place.kind);
  if (kind == catalogue.kinds().end()) return Result::Failure("The instrument of " + file + " is not known.");
  const std::string instrument = kind->second.instrument;
  std::vector<std::int32_t> wanted;
  Result read = VisitValues(recognizer, file, instrument,
                            [&](std::uint32_t number, const PatchView&, const FoundType&, Values values) {
                              if (number == slot) wanted.assign(values.begin(), values.end());
                            });
  if (!read.ok()) return read;
  if (wanted.empty())
    return Result::Failure("The bytes of the patch in slot " + std::to_string(slot) + " of " + file +
                           " cannot be told from those of others.");
  std::vector<std::string> paths;
  if (Result listed = catalogue.FilesWith(instrument, &paths); !listed.ok()) return listed;
  bool goesOn = true;
  for (const std::string& path : paths) {
    if (!goesOn) break;
    if (cancel.Cancelled()) return Result::Failure("Cancelled.");
    if (!catalogue.CheckFile(path).ok()) continue;
    VisitValues(recognizer, path, instrument,
                [&](std::uint32_t number, const PatchView& patch, const FoundType& type, Values values) {
                  if (!goesOn || (number == slot && path == file)) return;
                  const auto different = DifferentUpTo(values, wanted, most);
                  if (!different) return;
                  CatalogueHit hit;
                  hit.instrument = type.instrument;
                  hit.type = type.dataType;
                  hit.path = path;
                  hit.name = Latin1ToUtf8(TrimmedView(patch.name));
                  hit.number = Latin1ToUtf8(patch.number);
                  hit.slot = number;
                  goesOn = take(hit, *different);
                });
  }
  return Result::Success();
}

}  // namespace tonalith
