#pragma once

#include <optional>
#include <string>

namespace tonalith {

// The folders of the user and the machine that the program's own folders are made in.  None of them is created here,
// but what stands in for a missing home. Paths are absolute, without a trailing '/'.
struct Folders {
  std::string config;         // user preferences: $XDG_CONFIG_HOME, else ~/.config
  std::string support;        // user application support: $XDG_DATA_HOME, else ~/.local/share
  std::string systemSupport;  // machine-wide application support: /var/lib
  std::string documents;      // the user's documents folder (user-dirs), else ~/Documents
  std::string cache;          // $XDG_CACHE_HOME, else ~/.cache
  std::string runtime;        // sockets and locks, for MakeOwnFolder: "tonalith" in $XDG_RUNTIME_DIR, else in
                              // /run/user/UID, where these are this account's, else "tonalith-run" in the cache folder
  std::string executable;     // full path of the running program; may be empty
  std::string resources;      // $TONALITH_RESOURCES, else ../share/tonalith beside the program, else "resources"

  // The folders of this user.  With a configuration root everything but the resources lies below it: config, share,
  // system, Documents, cache and run (run-UID when another account has "run").
  static Folders Standard();
  static Folders Below(const std::string& configRoot);
};

// The resources folder alone (see Folders::resources).
std::string FindResourceFolder(const std::string& executable);
std::string ExecutablePath();
// $HOME, else what the system knows, else /tmp/tonalith-UID as a folder of this account alone (the first of its names
// that nobody else has, see FirstOwnFolder).
std::string HomeFolder();
// An absolute path without "." and "..", not looking at the disk.
std::string AbsolutePath(const std::string& path);

}  // namespace tonalith
