#pragma once

#include <cstdint>
#include <string>

namespace tonalith {

// Tells whether a file is still the one that was read: its place on the disk, its size and when it was written.
struct FileStamp {
  bool known = false;  // false: nothing was noted; such a stamp says nothing
  bool exists = false;
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified = 0;  // nanoseconds since 1970

  bool operator==(const FileStamp&) const = default;
};

// The stamp of a path as it is now, symbolic links followed.
FileStamp StampOf(const std::string& path);

}  // namespace tonalith
