#include "store/sets/set_rank.h"

#include <filesystem>
#include <memory>

#include "store/sets/patch_links.h"
#include "studio/studio_document.h"

namespace tonalith {

SetRank RankInStudio(const ZKStudioDoc& studio, const ZKGrpDoc& set, std::vector<std::string>* problems) {
  const auto folder = [&studio](int driverId) {
    const ZKDrvList* driver = studio.GetDriverWithID(driverId);
    return driver ? studio.facts().ModuleFolder(driver) : std::filesystem::path();
  };
  const auto links = std::make_shared<PatchLinks>(set, folder, problems);
  return [links](int component) { return links->Rank(component); };
}

}  // namespace tonalith
