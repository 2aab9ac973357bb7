#pragma once
// A bundle in memory: a test sets the information dictionary and maps resource names to paths,
// as a bundle without Info.json or with odd entries would answer.
#include <map>
#include <string>
#include <tuple>

#include "platform/ZefaBundle.h"

class ZefaFakeBundle final : public ZefaBundle {
 public:
  std::optional<ZefaJsonObject> info;
  // Overrides the identifier; without it the identifier is the dictionary's text
  // "CFBundleIdentifier".
  std::optional<std::optional<std::string>> identifier;

  std::optional<ZefaJsonObject> infoDictionary() override { return info; }
  std::optional<std::string> bundleIdentifier() override;
  std::optional<std::string> pathForResource(const std::string& name, const std::string& type,
                                             const std::string& directory) override;

  // Makes pathForResource(name, type, directory) answer `path`.
  void addResource(const std::string& directory, const std::string& name, const std::string& type,
                   std::string path) {
    resources_[{directory, name, type}] = std::move(path);
  }

 private:
  std::map<std::tuple<std::string, std::string, std::string>, std::string> resources_;
};
