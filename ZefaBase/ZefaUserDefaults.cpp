#include "ZefaBase/ZefaUserDefaults.h"

#include "platform/ZefaPlatform.h"

ZefaUserDefaults& ZefaUserDefaults::standard() {
  static ZefaUserDefaults defaults;
  return defaults;
}

std::optional<std::string> ZefaUserDefaults::string(std::string_view key) {
  return ZefaPlatform::current().keyValueStore().string(key);
}

bool ZefaUserDefaults::setValue(const std::optional<std::string>& value, std::string_view key) {
  auto& store = ZefaPlatform::current().keyValueStore();
  return value ? store.setString(key, *value) : store.remove(key);
}
