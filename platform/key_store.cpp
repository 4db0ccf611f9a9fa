#include "platform/key_store.h"

#include "platform/atomic_file.h"
#include "platform/ini_file.h"
#include "platform/lock_file.h"
#include "platform/path_resolver.h"

namespace tonalith {

std::optional<std::string> KeyStore::Read(std::string_view keyPath, std::string_view name) const {
  return IniFile(file_).Find(keyPath, name);
}

template <typename Change>
Result KeyStore::Update(Change change) {
  std::lock_guard guard(mutex_);
  if (const Result made = MakeFolders(FolderOf(file_)); !made) return made;
  LockFile lock;
  const Result locked = lock.Take(lockFolder_, LockFile::NameFor("keys", file_), waitMs_, clock_);
  waitMs_ = locked.code == kLockHeld ? 0 : kKeyStoreWaitMs;
  if (!locked) return locked;
  IniFile ini;
  Result result = ini.Load(file_);
  if (result || result.code == kFileMissing) {
    result = change(ini);
    if (result) result = ini.Save();
  }
  return result;
}

Result KeyStore::Write(std::string_view keyPath, std::string_view name, std::string_view value) {
  if (Read(keyPath, name) == value) return Result::Success();
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
