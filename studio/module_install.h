#pragma once

#include <functional>
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

// How the files of a package are installed, when not by InstallPackage on this thread.
using PackageInstaller =
    std::function<Result(const PackageData& package, const InstallOptions& options, InstallReport* report)>;

// Installs a package whose drivers can be read and brings it into the studio; does not save the studio.  Instruments of
// modules that lose their place to it (InstallOptions::replace) leave the studio first, after their windows.
Result InstallIntoStudio(ZKStudioDoc& studio, const PackageData& package, bool queue, InstallReport* report,
                         ModuleInStudio* outcome, const InstallOptions& options, const PackageInstaller& install = {});
// The same, and saves the studio.
Result InstallInstrumentModule(ZKStudioDoc& studio, const PackageData& package, bool queue, InstallReport* report,
                               ModuleInStudio* outcome = nullptr, const InstallOptions& options = {});

// Every instrument of the module leaves the studio, then its files go to ".trash" in the instrument folder.  Does not
// save the studio.
Result DeleteModuleFiles(ZKStudioDoc& studio, const std::string& moduleFile);

}  // namespace tonalith
