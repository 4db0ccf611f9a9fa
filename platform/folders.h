#pragma once

#include <optional>
#include <string>

namespace tonalith {

// The folders of the user and the machine that the program's own folders are made in.  Nothing here creates a folder.
// Paths are absolute, without a trailing '/'.
struct Folders {
  std::string config;         // user preferences: $XDG_CONFIG_HOME, else ~/.config
  std::string support;        // user application support: $XDG_DATA_HOME, else ~/.local/share
  std::string systemSupport;  // machine-wide application support: /var/lib
  std::string documents;      // the user's documents folder (user-dirs), else ~/Documents
  std::string cache;          // $XDG_CACHE_HOME, else ~/.cache
  std::string runtime;        // sockets: $XDG_RUNTIME_DIR, else the cache folder
  std::string executable;     // full path of the running program; may be empty
  std::string resources;      // $TONALITH_RESOURCES, else ../share/tonalith beside the program, else "resources"

  // The folders of this user.  With a configuration root everything but the resources lies below it: config, share,
  // system, Documents, cache and run.
  static Folders Standard();
  static Folders Below(const std::string& configRoot);
};

// The resources folder alone (see Folders::resources).
std::string FindResourceFolder(const std::string& executable);
std::string ExecutablePath();
std::string HomeFolder();
// An absolute path without "." and "..", not looking at the disk.
std::string AbsolutePath(const std::string& path);

}  // namespace tonalith
