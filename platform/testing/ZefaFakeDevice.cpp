#include "platform/testing/ZefaFakeDevice.h"

void ZefaFakeDevice::setInterfaces(const std::vector<std::string>& names) {
  ZefaJsonObject scoped;
  for (const std::string& name : names) scoped.emplace(name, ZefaJsonObject{});
  proxy = ZefaJsonObject{{"__SCOPED__", std::move(scoped)}};
}
