#pragma once
// The application's bundle: its information dictionary, identifier and resources.
#include <optional>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"

// A resource looked up in the bundle. A port whose resources are not files (packed assets, say)
// answers with the bytes all the same.
struct ZEFA_EXPORT ZefaBundleResource {
  bool exists = false;               // the bundle has an entry of that name
  std::optional<std::string> bytes;  // its bytes; none when it cannot be read (a directory, say)
};

class ZEFA_EXPORT ZefaBundle {
 public:
  virtual ~ZefaBundle() = default;
  // The information dictionary ("CFBundleIdentifier", "CFBundleShortVersionString", ...).
  virtual std::optional<ZefaJsonObject> infoDictionary() = 0;
  // The dictionary's "CFBundleIdentifier" when it is text; a bundle may know it another way.
  virtual std::optional<std::string> bundleIdentifier();
  // Resource `name` with extension `type` ("" for none) in sub-directory `directory` ("" for
  // the top level); `name` may hold "/" to reach deeper. An empty name is never found.
  virtual ZefaBundleResource resource(const std::string& name, const std::string& type,
                                      const std::string& directory) = 0;
};
