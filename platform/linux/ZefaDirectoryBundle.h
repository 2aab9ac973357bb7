#pragma once
// An app bundle that is a plain directory: its information dictionary comes from Info.json (a
// JSON object) or, failing that, Info.plist (an XML property list), and resources are files
// under it, found by name, extension and sub-directory. Every call reads the directory afresh.
#include <string>

#include "ZefaBase/ZefaExport.h"
#include "platform/ZefaBundle.h"

class ZEFA_EXPORT ZefaDirectoryBundle final : public ZefaBundle {
 public:
  explicit ZefaDirectoryBundle(std::string directory);

  // None when neither file exists or the one found does not hold a dictionary.
  std::optional<ZefaJsonObject> infoDictionary() override;
  // The file `directory`/`name`[.`type`] under the bundle.
  ZefaBundleResource resource(const std::string& name, const std::string& type,
                              const std::string& directory) override;

  const std::string& directory() const { return directory_; }

 private:
  std::string directory_;  // absolute, without a trailing "/"
};
