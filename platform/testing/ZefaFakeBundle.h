#pragma once
// A bundle in memory: a test sets the information dictionary and maps resource names to what a
// lookup answers, as a bundle without Info.json or with odd entries would.
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
  ZefaBundleResource resource(const std::string& name, const std::string& type,
                              const std::string& directory) override;

  // Makes resource(name, type, directory) exist with `bytes` (none: it cannot be read).
  void addResource(const std::string& directory, const std::string& name, const std::string& type,
                   std::optional<std::string> bytes) {
    resources_[{directory, name, type}] = std::move(bytes);
  }

 private:
  std::map<std::tuple<std::string, std::string, std::string>, std::optional<std::string>>
      resources_;
};
