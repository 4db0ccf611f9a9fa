#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"

namespace tonalith {

// Names in modules, sets and scripts were written on systems that use `\` and do not look at case.  Everything that
// turns such a name into a file goes through here.  Paths are UTF-8 bytes.

// --- Pieces of paths
// ---------------------------------------------------------------------------------------------------

// folder + "/" + name; an absolute name, or an empty folder, gives the name alone.
std::string JoinPath(std::string_view folder, std::string_view name);
std::string FolderOf(std::string_view path);     // up to the last '/'; "." when there is none
std::string FileNameOf(std::string_view path);   // behind the last '/'
std::string ExtensionOf(std::string_view path);  // with its dot, "" when the file name has none
std::string WithoutExtension(std::string_view path);
// The pieces between `/` and `\`, without empty ones and ".".
std::vector<std::string> PathComponents(std::string_view path);
// The whole path with symbolic links followed; nullopt when it does not exist.
std::optional<std::string> RealPath(const std::string& path);

// --- Finding
// -----------------------------------------------------------------------------------------------------------

// Where a name comes from.  Untrusted: out of a file, a package, a script or the net; it then must stay below the root.
enum class PathTrust { Trusted, Untrusted };

// The existing file or folder that `name` means below `root`: each component is looked up exactly first, else as the
// one entry that equals it without regard to case (two such entries: not found).  A trusted name may be absolute and
// may use "..".  Nullopt when there is no such file, or when an untrusted name would leave the root.
std::optional<std::string> FindPath(const std::string& root, std::string_view name, PathTrust trust);

// The path that an untrusted name stands for below `root`, whether it exists or not (existing components are found
// without regard to case, the others are taken as they are written).  Refused: empty names, control characters,
// absolute names, ':' anywhere, any "..", and symbolic links that lead out of the root.
Result SafeJoin(const std::string& root, std::string_view name, std::string& out);

// --- Listing
// -----------------------------------------------------------------------------------------------------------

enum class ListWhat { Files, Folders, Both };

// '*' and '?' match as usual, letters without case; "*.*" matches everything; several patterns are separated by ';'.
bool MatchesPattern(std::string_view pattern, std::string_view name);
// Names (not paths) of the entries that match, sorted without case; hidden ones (leading dot) and "broken" temporary
// files of a save in progress are left out.  Empty when the folder cannot be read.
std::vector<std::string> ListFolder(const std::string& folder, std::string_view pattern = "*",
                                    ListWhat what = ListWhat::Files);

}  // namespace tonalith
