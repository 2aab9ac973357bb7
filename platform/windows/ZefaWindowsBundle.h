#pragma once
// An app bundle that is a plain directory: by default the one that holds the running executable,
// or the one chosen at start-up. Its information dictionary is Info.json (a JSON object) and its
// resources are files under it, found by name, extension and sub-directory. Every call reads the
// directory afresh.
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaBundle.h"

class ZEFA_EXPORT ZefaWindowsBundle final : public ZefaBundle {
 public:
  // The bundle in `directory` (UTF-8; "/" and "\" both separate).
  explicit ZefaWindowsBundle(std::string directory);

  // None when Info.json is missing or does not hold a JSON object.
  std::optional<ZefaJsonObject> infoDictionary() override;
  // The file `directory`/`name`[.`type`] under the bundle; a directory exists with no bytes.
  ZefaBundleResource resource(const std::string& name, const std::string& type,
                              const std::string& directory) override;

  const std::string& directory() const { return directory_; }

  // The default bundle's directory: the one set at start-up, else the executable's directory.
  static std::string defaultDirectory();
  static void setDefaultDirectory(std::string directory);

 private:
  std::string directory_;  // without a trailing separator
};
