#pragma once

#include <filesystem>
#include <string>

#include "studio/package_install.h"
#include "studio/studio_document.h"

namespace tonalith {

// What an installed package became in the studio.
struct ModuleInStudio {
  ZKDrvList* instrument = nullptr;  // the added instrument, or the first one that was reloaded
  int reloaded = 0;                 // instruments that were there already
  bool kept = false;  // the user kept a window open: some instruments stay as they were until the next start
};

// Brings an installed module into the studio: an instrument is added or, when there are some of this module, these are
// read anew in their places and keep channels, ports and patch bay.  Does not save the studio.  A failure says what is
// wrong (the user has been told more); what was there stays.
Result AddInstalledModule(ZKStudioDoc& studio, const std::string& moduleFile, bool queue, ModuleInStudio* outcome);

// Installs a package, brings it into the studio and saves the studio.
Result InstallInstrumentModule(ZKStudioDoc& studio, const std::filesystem::path& package, bool queue,
                               InstallReport* report, ModuleInStudio* outcome = nullptr,
                               const InstallOptions& options = {});

// Every instrument of the module leaves the studio, then its files go to ".trash" in the instrument folder.  Does not
// save the studio.
Result DeleteModuleFiles(ZKStudioDoc& studio, const std::string& moduleFile);

}  // namespace tonalith
