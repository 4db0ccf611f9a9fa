#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/result.h"
#include "studio/package_install.h"

namespace tonalith {

// A file of a module that comes with the program which was damaged or missing and was written anew.
struct RestoredFile {
  std::string path;  // relative to the instrument folder
  std::string kept;  // name of the damaged file, beside it; "" when the file was missing
};

// What bringing the instrument folder up to date did.
struct ShippedOutcome {
  std::vector<InstallReport> installed;
  std::vector<RestoredFile> restored;
};
// What the user is told about restored files; "" when there are none.
std::string RestoredSentence(const ShippedOutcome& outcome);

// Installs every package of a folder whose module is not installed yet, is installed in an older version ("Version" of
// section "Instrument"), or came from other files of the same version.  A module that the user let another one take the
// place of, or installed from a package of the user's own in the same or a newer version, is left alone, and so is any
// other module in its place.
//
// Then the files of modules that did come from these packages are compared with the list in the folder
// (shipped_manifest.h): one that is missing or differs is restored from its package; what was there is kept as
// "NAME.broken".  Initial data and templates that differ are the user's and stay.  A file is read only when its stamp
// is another one than when it was last found right.
//
// A failure names the packages that could not be installed or restored from; the others were.
Result InstallShippedPackages(const std::filesystem::path& packages, const std::filesystem::path& instruments,
                              ShippedOutcome* outcome = nullptr);

}  // namespace tonalith
