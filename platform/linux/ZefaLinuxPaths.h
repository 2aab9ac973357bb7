#pragma once
// Where the default platform services keep their files: the bundle directory (Info.json and
// resources) and the app's data directory (user defaults and keychain). Both may be chosen at
// start-up, before the first service is used; otherwise they follow the desktop conventions.
#include <sys/types.h>
#include <optional>
#include <string>

#include "ZefaBase/ZefaExport.h"

class ZEFA_EXPORT ZefaLinuxPaths {
 public:
  // The bundle directory: the one set at start-up, else the running executable's directory.
  static std::string bundleDirectory();
  static void setBundleDirectory(std::string directory);

  // The data directory, with a trailing "/": the one set at start-up, else
  // defaultDataDirectory() for the bundle's identifier (or the executable's name without one).
  static std::string dataDirectory();
  static void setDataDirectory(std::string directory);

  // "$XDG_DATA_HOME/<name>/" when XDG_DATA_HOME is an absolute path, else
  // "$HOME/.local/share/<name>/" (the home directory from the password database without HOME).
  static std::string defaultDataDirectory(const std::string& name);

  // Creates `path` and its missing parents with `mode`; true when it exists as a directory.
  static bool makeDirectories(const std::string& path, mode_t mode);
  // makeDirectories() with mode 0700, and an existing `path` restricted to its owner (0700) too:
  // the data directory holds the player's records and secrets.
  static bool makePrivateDirectory(const std::string& path);

  // The running executable's absolute path, none when /proc/self/exe cannot be read.
  static std::optional<std::string> executablePath();
};
