#include "platform/testing/ZefaFakeBundle.h"

std::optional<std::string> ZefaFakeBundle::bundleIdentifier() {
  if (identifier) return *identifier;
  return ZefaBundle::bundleIdentifier();
}

ZefaBundleResource ZefaFakeBundle::resource(const std::string& name, const std::string& type,
                                            const std::string& directory) {
  const auto it = resources_.find({directory, name, type});
  if (it == resources_.end()) return {};
  return {.exists = true, .bytes = it->second};
}
