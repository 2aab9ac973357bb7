#include "platform/linux/ZefaDirectoryBundle.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "platform/ZefaPlatform.h"
#include "platform/linux/ZefaLinuxPaths.h"
#include "platform/linux/ZefaPropertyList.h"

namespace {

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) return std::nullopt;
  return text.str();
}

std::string absolute(std::string directory) {
  if (directory.empty()) directory = ".";
  if (directory.front() != '/') {
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) != nullptr) directory = std::string(cwd) + "/" + directory;
  }
  while (directory.size() > 1 && directory.back() == '/') directory.pop_back();
  return directory;
}

}  // namespace

ZefaDirectoryBundle::ZefaDirectoryBundle(std::string directory)
    : directory_(absolute(std::move(directory))) {}

std::optional<ZefaJsonObject> ZefaDirectoryBundle::infoDictionary() {
  if (const std::optional<std::string> json = readFile(directory_ + "/Info.json")) {
    std::optional<ZefaJson> value = ZefaJsonText::parse(*json);
    if (!value || !value->is_object()) return std::nullopt;
    return std::move(value->get_ref<ZefaJsonObject&>());
  }
  if (const std::optional<std::string> plist = readFile(directory_ + "/Info.plist")) {
    std::optional<ZefaJson> value = ZefaPropertyList::parse(*plist);
    if (!value || !value->is_object()) return std::nullopt;
    return std::move(value->get_ref<ZefaJsonObject&>());
  }
  return std::nullopt;
}

ZefaBundleResource ZefaDirectoryBundle::resource(const std::string& name, const std::string& type,
                                                 const std::string& directory) {
  if (name.empty()) return {};
  std::string path = directory_;
  if (!directory.empty()) {
    if (directory.front() != '/') path.push_back('/');
    path += directory;
  }
  if (path.back() != '/') path.push_back('/');
  path += name;
  if (!type.empty()) {
    if (type.front() != '.') path.push_back('.');
    path += type;
  }
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return {};
  if (S_ISDIR(info.st_mode)) return {.exists = true, .bytes = std::nullopt};
  return {.exists = true, .bytes = readFile(path)};
}

std::shared_ptr<ZefaBundle> zefa::platform_defaults::makeBundle() {
  return std::make_shared<ZefaDirectoryBundle>(ZefaLinuxPaths::bundleDirectory());
}
