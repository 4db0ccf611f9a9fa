#pragma once

#include <string>

#include "platform/result.h"

namespace tonalith {

// What saving to `path` replaces: the absolute path with symbolic links followed, also links to what is not there yet.
// In a folder that everyone may write into but where each may remove his own only (such as /tmp), neither a link nor an
// existing file counts when it belongs to somebody else than this account and the folder's owner: the failure says
// which.
Result FindSaveTarget(const std::string& path, std::string& target);

}  // namespace tonalith
