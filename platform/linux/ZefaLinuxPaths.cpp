#include "platform/linux/ZefaLinuxPaths.h"

#include <errno.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <mutex>
#include <vector>

#include "platform/ZefaPlatform.h"

namespace {

struct Settings {
  std::mutex mutex;
  std::optional<std::string> bundleDirectory;
  std::optional<std::string> dataDirectory;
};

Settings& settings() {
  static Settings shared;
  return shared;
}

std::string withTrailingSlash(std::string path) {
  if (path.empty() || path.back() != '/') path.push_back('/');
  return path;
}

std::string homeDirectory() {
  if (const char* home = getenv("HOME"); home != nullptr && home[0] == '/') return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_dir) {
    return found->pw_dir;
  }
  return "/tmp";
}

}  // namespace

std::optional<std::string> ZefaLinuxPaths::executablePath() {
  std::vector<char> buffer(4096);
  const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (n <= 0 || static_cast<size_t>(n) >= buffer.size()) return std::nullopt;
  return std::string(buffer.data(), static_cast<size_t>(n));
}

std::string ZefaLinuxPaths::bundleDirectory() {
  {
    Settings& s = settings();
    std::lock_guard lock(s.mutex);
    if (s.bundleDirectory) return *s.bundleDirectory;
  }
  const std::optional<std::string> executable = executablePath();
  if (!executable) return ".";
  const size_t slash = executable->rfind('/');
  return slash == 0 ? "/" : executable->substr(0, slash);
}

void ZefaLinuxPaths::setBundleDirectory(std::string directory) {
  Settings& s = settings();
  std::lock_guard lock(s.mutex);
  s.bundleDirectory = std::move(directory);
}

std::string ZefaLinuxPaths::dataDirectory() {
  {
    Settings& s = settings();
    std::lock_guard lock(s.mutex);
    if (s.dataDirectory) return withTrailingSlash(*s.dataDirectory);
  }
  std::optional<std::string> name = ZefaPlatform::current().bundle().bundleIdentifier();
  // An identifier that could climb out of the data home is not used as a directory name.
  if (name &&
      (name->empty() || *name == "." || *name == ".." || name->find('/') != std::string::npos)) {
    name.reset();
  }
  if (!name) {
    const std::optional<std::string> executable = executablePath();
    name = executable ? executable->substr(executable->rfind('/') + 1) : "zefa";
  }
  return defaultDataDirectory(*name);
}

void ZefaLinuxPaths::setDataDirectory(std::string directory) {
  Settings& s = settings();
  std::lock_guard lock(s.mutex);
  s.dataDirectory = std::move(directory);
}

std::string ZefaLinuxPaths::defaultDataDirectory(const std::string& name) {
  const char* xdg = getenv("XDG_DATA_HOME");
  // The convention ignores a relative XDG_DATA_HOME.
  const std::string base = xdg != nullptr && xdg[0] == '/'
                               ? withTrailingSlash(xdg)
                               : withTrailingSlash(homeDirectory()) + ".local/share/";
  return base + name + "/";
}

bool ZefaLinuxPaths::makeDirectories(const std::string& path, mode_t mode) {
  if (path.empty()) return false;
  size_t position = 0;
  while (position != std::string::npos) {
    position = path.find('/', position + 1);
    const std::string prefix = path.substr(0, position);
    if (prefix.empty()) continue;
    if (mkdir(prefix.c_str(), mode) != 0 && errno != EEXIST) return false;
  }
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool ZefaLinuxPaths::makePrivateDirectory(const std::string& path) {
  return makeDirectories(path, 0700) && chmod(path.c_str(), 0700) == 0;
}
