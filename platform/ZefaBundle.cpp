#include "platform/ZefaBundle.h"

std::optional<std::string> ZefaBundle::bundleIdentifier() {
  const std::optional<ZefaJsonObject> info = infoDictionary();
  if (!info) return std::nullopt;
  const auto it = info->find("CFBundleIdentifier");
  if (it == info->end() || !it->second.is_string()) return std::nullopt;
  return it->second.get<std::string>();
}
