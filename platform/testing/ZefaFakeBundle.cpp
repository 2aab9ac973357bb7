#include "platform/testing/ZefaFakeBundle.h"

std::optional<std::string> ZefaFakeBundle::bundleIdentifier() {
  if (identifier) return *identifier;
  if (!info) return std::nullopt;
  const auto it = info->find("CFBundleIdentifier");
  if (it == info->end() || !it->second.is_string()) return std::nullopt;
  return it->second.get<std::string>();
}

std::optional<std::string> ZefaFakeBundle::pathForResource(const std::string& name,
                                                           const std::string& type,
                                                           const std::string& directory) {
  const auto it = resources_.find({directory, name, type});
  if (it == resources_.end()) return std::nullopt;
  return it->second;
}
