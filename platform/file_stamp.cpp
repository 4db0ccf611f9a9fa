#include "platform/file_stamp.h"

#include <sys/stat.h>

namespace tonalith {

FileStamp StampOf(const std::string& path) {
  FileStamp stamp;
  stamp.known = true;
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return stamp;
  stamp.exists = true;
  stamp.device = static_cast<std::uint64_t>(info.st_dev);
  stamp.inode = static_cast<std::uint64_t>(info.st_ino);
  stamp.size = static_cast<std::uint64_t>(info.st_size);
  stamp.modified = static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec;
  return stamp;
}

}  // namespace tonalith
