#pragma once

#include <string>

namespace tonalith {

// What saving to a path replaces.
struct SaveTarget {
  std::string path;       // absolute, with symbolic links followed, also links to what is not there yet
  int error = 0;          // errno when there can be no such file; `path` is then empty
  std::string strangers;  // "the link /tmp/x" that is somebody else's; `path` is then empty
};

// In a folder that everyone may write into but where each may remove his own only (such as /tmp), neither a link nor an
// existing file counts when it belongs to somebody else than this account and the folder's owner.
SaveTarget FindSaveTarget(const std::string& path);

}  // namespace tonalith
