#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/result.h"
#include "studio/shipped_files.h"
#include "studio/studio_document.h"

namespace tonalith {

class Paths;

// The studio in the folders of a program; nothing is loaded yet.  What is given outlives it; `ports` may be null.
std::unique_ptr<ZKStudioDoc> MakeStudio(const Paths& paths, Prompts& prompts, StudioPorts* ports = nullptr);

// The packages the program comes with: "modules" in the resources folder.
std::filesystem::path ShippedModulesFolder(const std::filesystem::path& resources);

// Brings the instrument folder up to what the program comes with (InstallShippedPackages).  Several processes of the
// user may do so at the same time: one works, the others wait for it.  `locks` as StudioPaths::locks.  Nothing to do,
// or no packages at all, is success.  A failure names the packages that could not be installed or restored from (the
// others were), or says who has been working for ten seconds; nothing was installed then.
Result InstallShippedModules(const std::filesystem::path& resources, const std::filesystem::path& instruments,
                             const std::filesystem::path& locks, ShippedOutcome* outcome = nullptr);
// The same for the folders of a program.
Result InstallShippedModules(const Paths& paths, ShippedOutcome* outcome = nullptr);

// InstallShippedModules, then the studio as the user left it (all installed modules when there is no studio file yet),
// then the modules that were new.  Used by every front end at its start.
// A failure is that of the installation; the studio was loaded all the same.
Result LoadStudioWithShippedModules(ZKStudioDoc& studio, const std::filesystem::path& resources,
                                    ShippedOutcome* outcome = nullptr);

}  // namespace tonalith
