#include "platform/key_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/path_resolver.h"

namespace tonalith {

std::optional<std::string> KeyStore::Read(std::string_view keyPath, std::string_view name) const {
  std::lock_guard guard(mutex_);
  return IniFile(file_).Find(keyPath, name);
}

template <typename Change>
Result KeyStore::Update(Change change) {
  std::lock_guard guard(mutex_);
  if (const Result made = MakeFolders(FolderOf(file_)); !made) return made;
  // Other processes wait here.  Without the lock file (a read-only folder) the write below fails with the reason.
  const int lock = ::open((file_ + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
  if (lock >= 0) ::flock(lock, LOCK_EX);
  IniFile ini;
  Result result = ini.Load(file_);
  if (result || result.code == kFileMissing) {
    result = change(ini);
    if (result) result = ini.Save();
  }
  if (lock >= 0) ::close(lock);
  return result;
}

Result KeyStore::Write(std::string_view keyPath, std::string_view name, std::string_view value) {
  return Update([&](IniFile& ini) {
    return ini.Set(keyPath, name, value) ? Result::Success()
                                         : Result::Failure("The key " + std::string(keyPath) + " has a bad name.");
  });
}

Result KeyStore::Remove(std::string_view keyPath, std::string_view name) {
  return Update([&](IniFile& ini) {
    ini.RemoveKey(keyPath, name);
    return Result::Success();
  });
}

}  // namespace tonalith
