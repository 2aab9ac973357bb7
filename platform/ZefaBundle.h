#pragma once
// The application's bundle: its information dictionary, identifier and resource files.
#include <optional>
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "ZefaBase/ZefaJson.h"

class ZEFA_EXPORT ZefaBundle {
 public:
  virtual ~ZefaBundle() = default;
  // The information dictionary ("CFBundleIdentifier", "CFBundleShortVersionString", ...).
  virtual std::optional<ZefaJsonObject> infoDictionary() = 0;
  // The dictionary's "CFBundleIdentifier" when it is text; a bundle may know it another way.
  virtual std::optional<std::string> bundleIdentifier();
  // The path of resource `name` with extension `type` ("" for none) in sub-directory
  // `directory` ("" for the top level); none when there is no such file.
  virtual std::optional<std::string> pathForResource(const std::string& name,
                                                     const std::string& type,
                                                     const std::string& directory) = 0;
};
