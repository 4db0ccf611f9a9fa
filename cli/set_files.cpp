#include "cli/set_files.h"

#include <utility>
#include <vector>

#include "cli/session.h"
#include "platform/text.h"
#include "store/sets/set_document.h"

namespace tonalith {

Result OpenSet(Session& session, const std::string& path, ZKGrpDoc* set) {
  // Links may lead to dumps of other programs.
  set->SetLinkReader([&session](const std::string& file, const DataFile&, std::vector<DataFilePtr>* data) {
    if (!session.HasStudio()) session.LoadStudio();
    Recognition found;
    if (Result result = RecognizeFile(session, file, &found); !result.ok()) return result;
    for (RecognizedPiece& piece : found.pieces) data->push_back(std::move(piece.data));
    return Result::Success();
  });
  if (Result result = set->Load(path); !result.ok()) return result;
  if (!set->LoadNotice().empty()) session.environment().err << "Note: " << set->LoadNotice() << "\n";
  return Result::Success();
}

Result ComponentOf(const ZKGrpDoc& set, const std::string& text, int* component) {
  const auto number = ParseInteger(text);
  const int count = set.GetDataFileCount();
  if (number && *number >= 0 && *number < count) {
    *component = static_cast<int>(*number);
    return Result::Success();
  }
  if (count == 0) return Result::Failure("The Set has no components.");
  return Result::Failure("The Set has the components 0 to " + std::to_string(count - 1) + ", not \"" + text + "\".");
}

}  // namespace tonalith
